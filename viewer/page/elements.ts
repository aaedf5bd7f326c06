// SPDX-License-Identifier: Apache-2.0
// What all parts of the page need of the browser: its elements, work that is not done twice, and telling what went wrong.
import { visible } from "./format";

export const byId = <T extends HTMLElement>(id: string): T => document.getElementById(id) as T;
export const say = (id: string, text: string): void => { if (byId(id).textContent !== text) byId(id).textContent = text; };

const withheld = new Map<string, string | null>();  // by the element in which an answer stands: what would stand there else

/** Says what the user asked for, which stays until he does something else. */
export function answer(id: string, text: string): void {
  say(id, text);
  if (!withheld.has(id)) withheld.set(id, null);
}

/** Says how things are, once no answer stands there. */
export function tell(id: string, text: string): void {
  if (withheld.has(id)) withheld.set(id, text);
  else say(id, text);
}

/** No answer is waited for any more: how things are is said again. */
export function endAnswers(): void {
  withheld.forEach((text, id) => { if (text !== null) say(id, text); });
  withheld.clear();
}
for (const action of ["pointerdown", "keydown"]) addEventListener(action, endAnswers, true);

type Tags = HTMLElementTagNameMap;

/** A new element; strings in it stay text. */
export function make<Tag extends keyof Tags>(tag: Tag, properties: Partial<Tags[Tag]>, ...inside: (Node | string)[]): Tags[Tag] {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...inside);
  return element;
}

export function span(text: string, className: string): HTMLSpanElement { return make("span", { className }, text); }

/** Fills a choice, keeping what is chosen. */
export function offer(select: HTMLSelectElement, choices: [string, string][]): void {
  if (choices.map(([key]) => key).join("\n") === [...select.options].map(({ value }) => value).join("\n")) return;
  const chosen = select.value;
  select.replaceChildren(...choices.map(([key, name]) => new Option(visible(name), key)));
  choose(select, chosen);
}

/** Chooses what is offered; else it stays as it is. */
export function choose(select: HTMLSelectElement, key: string): void {
  if ([...select.options].some(({ value }) => value === key)) select.value = key;
}

/** A canvas as sharp as the screen, empty. */
export function fit(canvas: HTMLCanvasElement, width: number, height: number): CanvasRenderingContext2D {
  const scale = window.devicePixelRatio || 1;
  const [wide, high] = [Math.round(width * scale), Math.round(height * scale)];
  if (canvas.width !== wide || canvas.height !== high) {
    [canvas.width, canvas.height] = [wide, high];
    [canvas.style.width, canvas.style.height] = [`${width}px`, `${height}px`];
  }
  const ctx = canvas.getContext("2d")!;
  ctx.setTransform(scale, 0, 0, scale, 0, 0);
  ctx.clearRect(0, 0, width, height);
  ctx.font = `11px ${getComputedStyle(document.documentElement).fontFamily}`;
  ctx.textBaseline = "middle";
  return ctx;
}

/** Draws with the next frame, however often that is asked for until then. */
export function onFrame(draw: () => void): () => void {
  let asked = 0;
  return () => { if (asked === 0) asked = requestAnimationFrame(() => { asked = 0; draw(); }); };
}

/** Acts when asked to, never twice at once: once more when it was asked meanwhile. */
export function oneAtATime(action: () => Promise<unknown>): () => Promise<void> {
  let [acting, again] = [false, false];
  return async () => {
    again = true;
    while (again && !acting) {
      [acting, again] = [true, false];
      await action().finally(() => { acting = false; });
    }
  };
}

/** Shows what went wrong, until it goes right again. */
export function trouble(message: string | null): void { tell("trouble", visible(message ?? "")); }

/** Does something that may fail, and shows why it did. */
export async function attempt(action: () => unknown, failed: () => void = () => {}, show: (message: string) => void = trouble): Promise<void> {
  try {
    await action();
  } catch (error) {
    show((error as Error).message);
    failed();
  }
}

/** The same of what the user asked for: why it failed stays until he does something else. */
export const act = (action: () => unknown): Promise<void> => attempt(action, undefined, (message) => answer("trouble", visible(message)));
