// SPDX-License-Identifier: Apache-2.0
// A list of any length, of which only what is in view exists.
import { attempt, make, onFrame, span } from "./elements";

const ITEM = 20;  // height of an item, as in the style
const CHUNK = 200;
const MOST_HEIGHT = 8e6;  // pixels that every browser can scroll through

export class LongList<Item> {
  total = 0;
  selected = -1;
  private readonly space = make("div", {});
  private of = "";  // what it is a list of
  private items: Item[] = [];  // those that were read, by index
  private asked = new Map<number, Promise<void>>();  // by first index

  /** `load` may give fewer than asked, none when there are no more; `missing` stands in their place. */
  constructor(private readonly list: HTMLElement, private readonly missing: string,
              private readonly load: (from: number, count: number) => Promise<Item[]>,
              private readonly fill: (item: Item, element: HTMLElement) => void, private readonly choose: (item: Item) => void) {
    list.append(this.space);
    list.onscroll = this.draw;
    list.onkeydown = (event) => this.key(event);
    new ResizeObserver(this.draw).observe(list);
  }

  /** The list `of` something has `total` items. Those that were read are read again, and stay until then, but for another list's. */
  update(total: number, of: string): void {
    if (of !== this.of) [this.of, this.items, this.selected] = [of, [], -1];
    if (total < this.items.length) this.items.length = total;
    [this.total, this.asked] = [total, new Map()];
    this.draw();
  }

  private get scale(): number { return Math.max(1, this.total * ITEM / MOST_HEIGHT); }

  /** Selects an item and brings it into view; none below 0. */
  select(index: number): void {
    this.selected = Math.min(Math.max(index, -1), this.total - 1);
    const top = this.selected * ITEM / this.scale;
    const { scrollTop, clientHeight } = this.list;
    if (this.selected >= 0 && (top < scrollTop || top + ITEM > scrollTop + clientHeight)) this.list.scrollTop = top - clientHeight / 2;
    this.draw();
  }

  private key(event: KeyboardEvent): void {
    const page = Math.max(Math.floor(this.list.clientHeight / ITEM) - 1, 1);
    const step = { ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page, Home: -Infinity, End: Infinity }[event.key];
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

  readonly draw = onFrame(() => {
    const { scrollTop, clientHeight } = this.list;
    this.space.style.height = `${this.total * ITEM / this.scale}px`;
    const first = Math.floor(scrollTop * this.scale / ITEM);
    const shift = this.scale > 1 ? scrollTop - first * ITEM : 0;
    const shown = Math.max(Math.min(Math.ceil(clientHeight / ITEM) + 1, this.total - first), 0);
    while (this.space.childElementCount > shown) this.space.lastElementChild!.remove();
    for (let i = 0; i < shown; i++) this.place(this.element(first + i, (first + i) * ITEM + shift), this.space.children[i]);
    this.list.setAttribute("aria-activedescendant", this.space.querySelector("[aria-selected=true]")?.id ?? "");
  });

  /** What shows the same already stays, so that a click is not lost whose button is down. */
  private place(element: HTMLElement, before: Element | undefined): void {
    if (!before) return this.space.append(element);
    before.ariaSetSize = element.ariaSetSize;
    if (!before.isEqualNode(element)) before.replaceWith(element);
  }

  private element(index: number, top: number): HTMLElement {
    const [ariaSetSize, ariaPosInSet, ariaSelected] = [this.total, index + 1, index === this.selected].map(String);
    const element = make("div", { className: "item", id: `${this.list.id}-${index}`, ariaSetSize, ariaPosInSet, ariaSelected });
    element.setAttribute("role", "option");
    element.onclick = () => this.pick(index);
    element.style.top = `${top}px`;
    if (index in this.items) this.fill(this.items[index], element);
    else element.append(span(this.missing, "pending"));
    if (!this.asked.has(index - index % CHUNK)) void attempt(() => this.read(index));
    return element;
  }

  /** An item, and those around it, which are read once. */
  async read(index: number): Promise<Item | undefined> {
    const { items, asked } = this;
    const first = index - index % CHUNK;
    const end = Math.min(first + CHUNK, this.total);
    const readFrom = async (at: number): Promise<void> => {
      const found = at < end ? await this.load(at, end - at) : [];
      found.forEach((item, i) => { if (asked === this.asked || !(at + i in items)) items[at + i] = item; });  // never an older one
      if (found.length > 0) await readFrom(at + found.length);
    };
    if (!asked.has(first)) asked.set(first, readFrom(first).catch((error) => { asked.delete(first); throw error; }));
    await asked.get(first);
    this.draw();
    return items[index];
  }
}
