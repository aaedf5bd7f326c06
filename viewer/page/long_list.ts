// SPDX-License-Identifier: Apache-2.0
// A list of any length, of which only what is in view exists.
import { type Attempt } from "./lists";

const ITEM = 20;  // height of an item, as in the style
const CHUNK = 200;
const MOST_HEIGHT = 8e6;  // pixels that every browser can scroll through

export function span(text: string, name: string): HTMLSpanElement {
  const element = document.createElement("span");
  element.className = name;
  element.textContent = text;
  return element;
}

export class LongList<Item> {
  total = 0;
  selected = -1;
  private readonly space = document.createElement("div");
  private items: Item[] = [];  // those that were read, by index
  private asked = new Map<number, Promise<void>>();  // by first index
  private drawing = false;

  /** `load` may give fewer than asked, none when there are no more; `missing` stands in their place. */
  constructor(private readonly list: HTMLElement, private readonly load: (from: number, count: number) => Promise<Item[]>,
              private readonly fill: (item: Item, element: HTMLElement) => void, private readonly choose: (item: Item) => void,
              private readonly attempt: Attempt, private readonly missing: string) {
    list.append(this.space);
    list.addEventListener("scroll", () => this.draw());
    list.addEventListener("keydown", (event) => this.key(event));
    new ResizeObserver(() => this.draw()).observe(list);
  }

  /** The list has `total` items; those that were read are read again. */
  reset(total: number): void {
    [this.total, this.items, this.asked] = [total, [], new Map()];
    this.draw();
  }

  private get scale(): number { return Math.max(1, this.total * ITEM / MOST_HEIGHT); }

  /** Selects an item and brings it into view; none below 0. */
  select(index: number): void {
    this.selected = Math.min(Math.max(index, -1), this.total - 1);
    const top = this.selected * ITEM / this.scale;
    const room = this.list.clientHeight;
    const inView = top >= this.list.scrollTop && top + ITEM <= this.list.scrollTop + room;
    if (this.selected >= 0 && !inView) this.list.scrollTop = top - room / 2;
    this.draw();
  }

  private key(event: KeyboardEvent): void {
    const page = Math.max(Math.floor(this.list.clientHeight / ITEM) - 1, 1);
    const steps: Record<string, number> = { ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page, Home: -Infinity, End: Infinity };
    const step = steps[event.key];
    if (step !== undefined && !event.ctrlKey && !event.altKey) this.select(Math.max(this.selected + step, 0));
    else if (event.key === "Enter") this.pick(this.selected);
    else return;
    event.preventDefault();
    event.stopPropagation();
  }

  private pick(index: number): void {
    this.select(index);
    if (index in this.items) this.choose(this.items[index]);
  }

  draw(): void {
    if (!this.drawing) requestAnimationFrame(() => { this.drawing = false; this.drawNow(); });
    this.drawing = true;
  }

  private drawNow(): void {
    const { scrollTop, clientHeight } = this.list;
    this.space.style.height = `${this.total * ITEM / this.scale}px`;
    const first = Math.floor(scrollTop * this.scale / ITEM);
    const shift = this.scale > 1 ? scrollTop - first * ITEM : 0;
    const elements: HTMLElement[] = [];
    this.list.removeAttribute("aria-activedescendant");
    for (let i = first; i < Math.min(first + Math.ceil(clientHeight / ITEM) + 1, this.total); i++)
      elements.push(this.element(i, i * ITEM + shift));
    this.space.replaceChildren(...elements);
  }

  private element(index: number, top: number): HTMLElement {
    const element = document.createElement("div");
    element.className = "item";
    element.id = `${this.list.id}-${index}`;
    const roles = { role: "option", "aria-setsize": this.total, "aria-posinset": index + 1, "aria-selected": index === this.selected };
    for (const [name, value] of Object.entries(roles)) element.setAttribute(name, String(value));
    element.style.top = `${top}px`;
    element.addEventListener("click", () => this.pick(index));
    if (index === this.selected) this.list.setAttribute("aria-activedescendant", element.id);
    if (index in this.items) this.fill(this.items[index], element);
    else element.append(span(this.missing, "pending"));
    if (!this.asked.has(index - index % CHUNK)) void this.attempt(() => this.read(index));
    return element;
  }

  /** An item, and those around it, which are read once. */
  async read(index: number): Promise<Item | undefined> {
    const { items, asked } = this;
    const first = index - index % CHUNK;
    if (!asked.has(first)) asked.set(first, this.readChunk(items, first));
    await asked.get(first)!.catch((error) => {
      asked.delete(first);
      throw error;
    });
    this.draw();
    return items[index];
  }

  private async readChunk(items: Item[], first: number): Promise<void> {
    const end = Math.min(first + CHUNK, this.total);
    for (let at = first; at < end;) {
      const found = await this.load(at, end - at);
      if (found.length === 0) return;
      for (const item of found) items[at++] = item;
    }
  }
}
