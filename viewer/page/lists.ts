// SPDX-License-Identifier: Apache-2.0
// The lists beside the time line: losses, text, profile, facts. Untrusted text is only ever set as textContent.
import { type Entry, type Feed, type Line, type Overview } from "./feed";
import { count, hex, percent, plural, visible } from "./format";
import { CLASSES, SIGNS } from "./rows";
import { type Timeline, byId } from "./timeline";

const ITEM = 20;  // height of an item, as in the style
const CHUNK = 200;
const MOST_HEIGHT = 8e6;  // pixels that every browser can scroll through

/** Does something that may fail, and shows why it did. */
export type Attempt = (action: () => Promise<unknown>) => Promise<void>;

function span(text: string, name: string): HTMLSpanElement {
  const element = document.createElement("span");
  element.className = name;
  element.textContent = text;
  return element;
}

/** A list of any length, of which only what is in view exists. */
class LongList<Item> {
  total = 0;
  selected = -1;
  private readonly space = document.createElement("div");
  private readonly chunks = new Map<number, Promise<Item[]> | Item[]>();
  private drawing = false;

  constructor(private readonly list: HTMLElement, private readonly load: (from: number, count: number) => Promise<Item[]>,
              private readonly fill: (item: Item, element: HTMLElement) => void, private readonly choose: (item: Item) => void,
              private readonly attempt: Attempt) {
    list.append(this.space);
    list.addEventListener("scroll", () => this.draw());
    list.addEventListener("keydown", (event) => this.key(event));
    new ResizeObserver(() => this.draw()).observe(list);
  }

  /** The list has `total` items; those that were read are read again. */
  reset(total: number): void {
    this.total = total;
    this.chunks.clear();
    this.draw();
  }

  private get scale(): number { return Math.max(1, this.total * ITEM / MOST_HEIGHT); }

  private item(index: number): Item | undefined {
    const chunk = this.chunks.get(Math.floor(index / CHUNK));
    return Array.isArray(chunk) ? chunk[index % CHUNK] : undefined;
  }

  /** Selects an item and brings it into view; none below 0. */
  select(index: number): void {
    this.selected = Math.min(Math.max(index, -1), this.total - 1);
    if (this.selected < 0) return this.draw();
    const top = this.selected * ITEM / this.scale;
    const room = this.list.clientHeight;
    if (top < this.list.scrollTop || top + ITEM > this.list.scrollTop + room) this.list.scrollTop = top - room / 2;
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
    const item = this.item(index);
    this.select(index);
    if (item !== undefined) this.choose(item);
  }

  draw(): void {
    if (this.drawing) return;
    this.drawing = true;
    requestAnimationFrame(() => { this.drawing = false; this.drawNow(); });
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
    element.setAttribute("role", "option");
    element.setAttribute("aria-setsize", String(this.total));
    element.setAttribute("aria-posinset", String(index + 1));
    element.setAttribute("aria-selected", String(index === this.selected));
    element.style.top = `${top}px`;
    element.addEventListener("click", () => this.pick(index));
    if (index === this.selected) this.list.setAttribute("aria-activedescendant", element.id);
    const item = this.item(index);
    if (item !== undefined) this.fill(item, element);
    else element.append(span(Array.isArray(this.chunks.get(Math.floor(index / CHUNK))) ? "not in this file" : "\u2026", "pending"));
    if (!this.chunks.has(Math.floor(index / CHUNK))) void this.attempt(() => this.read(index));
    return element;
  }

  /** An item, and those around it, which are read once. */
  async read(index: number): Promise<Item | undefined> {
    const chunk = Math.floor(index / CHUNK);
    const asked = this.chunks.get(chunk) ?? this.load(chunk * CHUNK, CHUNK);
    this.chunks.set(chunk, asked);
    try {
      const items = await asked;
      if (this.chunks.get(chunk) === asked) this.chunks.set(chunk, items);
    } catch (error) {
      this.chunks.delete(chunk);
      throw error;
    }
    this.draw();
    return this.item(index);
  }
}

export class Lists {
  tab = "losses";
  private readonly losses: LongList<Entry>;
  private readonly lines: LongList<Line>;
  private readonly portChoice = byId<HTMLSelectElement>("text-port");
  private readonly tabs = [...document.querySelectorAll<HTMLButtonElement>("[role=tab]")];
  private sought = "";

  constructor(private readonly feed: Feed, private overview: Overview, private readonly timeline: Timeline,
              private readonly attempt: Attempt, private readonly onTab: () => void) {
    this.losses = new LongList<Entry>(byId("losses-list"), async (from, most) => (await feed.ledger(from, most)).entries,
      (entry, element) => this.fillLoss(entry, element), (entry) => this.goToLoss(entry), attempt);
    this.lines = new LongList<Line>(byId("text-list"), async (from, most) => (await feed.text(this.port, from, most)).rows,
      (line, element) => this.fillLine(line, element), (line) => timeline.goTo(line.time), attempt);
    for (const tab of this.tabs) {
      tab.addEventListener("click", () => this.open(tab.id.slice(4)));
      tab.addEventListener("keydown", (event) => this.tabKey(event, tab));
    }
    byId("search").addEventListener("submit", (event) => { event.preventDefault(); this.search(false); });
    byId("search-back").addEventListener("click", () => this.search(true));
    byId("sought").addEventListener("keydown", (event) => {
      if (event.key !== "Enter" || !event.shiftKey) return;
      event.preventDefault();
      this.search(true);
    });
    this.portChoice.addEventListener("change", () => { this.port = this.port; onTab(); });
    byId("profile-by").addEventListener("change", () => this.refresh());
    this.update(overview);
  }

  get port(): number { return Number(this.portChoice.value || -1); }

  set port(port: number) {
    this.portChoice.value = String(port);
    this.lines.selected = -1;
    void this.attempt(() => this.readText());
  }

  update(overview: Overview): void {
    this.overview = overview;
    offer(this.portChoice, overview.tracks.filter(({ kind }) => kind === "text").map((track) => [String(track.port), track.label]));
    this.writeFacts();
    void this.attempt(() => this.readLosses());
    void this.attempt(() => this.readText());
    this.refresh();
  }

  /** Reads again what depends on the view. */
  refresh(): void { if (this.tab === "profile") void this.attempt(() => this.readProfile()); }

  open(name: string): void {
    if (!this.tabs.some(({ id }) => id === "tab-" + name)) return;
    this.tab = name;
    for (const tab of this.tabs) {
      const chosen = tab.id === "tab-" + name;
      tab.setAttribute("aria-selected", String(chosen));
      tab.tabIndex = chosen ? 0 : -1;
      byId(tab.id.slice(4)).hidden = !chosen;
    }
    this.refresh();
    this.onTab();
  }

  private tabKey(event: KeyboardEvent, tab: HTMLButtonElement): void {
    const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (step === undefined) return;
    const next = this.tabs[(this.tabs.indexOf(tab) + step + this.tabs.length) % this.tabs.length];
    this.open(next.id.slice(4));
    next.focus();
    event.stopPropagation();
  }

  private async readLosses(): Promise<void> {
    const { total, unlisted } = await this.feed.ledger(0, 1);
    const { lost, forecast } = this.overview;
    this.losses.reset(total);
    byId("losses-note").textContent = (total === 0 ? "Nothing is known to be lost." : `${total === 1 ? "1 entry" : `${count(total)} entries`}; lost: ${visible(lost.text)}`) +
      (unlisted > 0 ? ` \u00b7 ${count(unlisted)} more are only counted` : "") +
      (forecast !== null ? ` \u00b7 A hole would have been noticed with probability ${forecast.toFixed(2)}.` : "");
  }

  private when(time: number): HTMLElement { return span(this.timeline.axis.at(time, this.timeline.axis.length / 1e5), "when"); }

  private fillLoss(entry: Entry, element: HTMLElement): void {
    const times = entry.count > 1 ? ` (${count(entry.count)} times)` : "";
    element.append(span(SIGNS[CLASSES.indexOf(entry.class)] ?? "?", `mark ${entry.class}`), this.when(entry.time),
      span(`${entry.hint ? "hint: " : ""}${visible(entry.text)}${times}`, "what"));
    element.title = `${entry.class}: ${entry.kind}\noffset ${count(entry.offset)}, ${plural(entry.length, "byte")}`;
  }

  private goToLoss(entry: Entry): void {
    this.timeline.focused = entry.time;
    this.timeline.goTo(entry.time);
  }

  /** Goes to the loss before or behind the one that is selected, at first the one nearest to the middle of the view. */
  stepLoss(step: number): void {
    void this.attempt(async () => {
      let index = this.losses.selected + step;
      if (this.losses.selected < 0) {
        let low = 0;
        for (let high = this.timeline.whole ? 0 : this.losses.total; low < high;) {
          const middle = (low + high) >> 1;
          const entry = await this.losses.read(middle);
          if (!entry || entry.time >= this.timeline.middle) high = middle;
          else low = middle + 1;
        }
        index = step > 0 ? low : low - 1;
      }
      const entry = index >= 0 && index < this.losses.total ? await this.losses.read(index) : undefined;
      byId("state").textContent = entry ? `loss ${count(index + 1)} of ${count(this.losses.total)}` : `no loss ${step > 0 ? "behind" : "before"} this`;
      if (!entry) return;
      this.losses.select(index);
      this.goToLoss(entry);
    });
  }

  private async readText(): Promise<void> {
    if (this.port < 0) {
      byId("text-note").textContent = "No stimulus port holds text.";
      return;
    }
    const { lines } = await this.feed.text(this.port, 0, 1);
    if (lines === this.lines.total && this.lines.selected >= 0) return;
    this.lines.reset(lines);
    byId("text-note").textContent = plural(lines, "line");
  }

  private fillLine(line: Line, element: HTMLElement): void {
    const text = visible(line.text);
    const at = this.sought ? text.toLowerCase().indexOf(this.sought.toLowerCase()) : -1;
    const end = at < 0 ? 0 : at + this.sought.length;
    element.append(this.when(line.time), span(text.slice(0, Math.max(at, 0)), ""), span(text.slice(Math.max(at, 0), end), "found"), span(text.slice(end), ""));
    if (line.flags & 1) element.append(span(" (suspect)", "pending"));
  }

  private search(back: boolean): void {
    this.sought = byId<HTMLInputElement>("sought").value;
    const { total, selected } = this.lines;
    const from = selected < 0 ? (back ? total - 1 : 0) : selected + (back ? -1 : 1);
    const note = byId("text-note");
    void this.attempt(async () => {
      if (!this.sought || this.port < 0) return this.lines.draw();
      note.textContent = "Searching \u2026";
      const found = from < 0 || from >= total ? null
        : await this.feed.find(this.port, this.sought, from, back, byId<HTMLInputElement>("match-case").checked);
      const line = found === null ? undefined : await this.lines.read(found);
      this.lines.select(found ?? -1);
      note.textContent = found === null ? `Not found ${back ? "before" : "behind"} here; the next search begins at the ${back ? "end" : "beginning"}`
        : `Found in line ${count(found + 1)} of ${count(total)}`;
      if (line) this.timeline.goTo(line.time);
    });
  }

  /** Shows the text at a place of the time line. */
  showPlace(place: number): void {
    if (this.tab !== "text" || this.port < 0) return;
    void this.attempt(async () => {
      const line = await this.feed.lineAt(this.port, place);
      if (line !== null) this.lines.select(line);
    });
  }

  private async readProfile(): Promise<void> {
    const by = byId<HTMLSelectElement>("profile-by").value;
    const { samples: addressed, sleeping, prohibited, other, rows, whole } = await this.feed.profile(this.timeline.from, this.timeline.to, by);
    const all = Math.max(addressed + sleeping + prohibited, 1);
    const part = (samples: number, what: string) => samples > 0 ? `, ${percent(samples / all)} ${what}` : "";
    byId("profile-note").textContent = `${whole ? "Of the whole recording" : "Of the time in view"}: ${plural(addressed + sleeping + prohibited, "sample")}` +
      part(sleeping, "asleep") + part(prohibited, "prohibited") + part(other, "in rows left out") +
      (this.overview.elf === null ? " \u00b7 with --elf FILE functions have names" : "");
    const table = byId("profile-table");
    table.querySelector("th")!.textContent = by === "function" ? "Function" : "Address";
    table.querySelector("tbody")!.replaceChildren(...rows.map(({ name, address, samples }) => {
      const row = document.createElement("tr");
      for (const text of [visible(name), count(samples), percent(samples / all)]) row.insertCell().textContent = text;
      const meter = document.createElement("meter");
      meter.value = samples / all;
      meter.setAttribute("aria-hidden", "true");
      row.lastElementChild!.prepend(meter);
      row.title = hex(address);
      return row;
    }));
  }

  private writeFacts(): void {
    const { overview, timeline: { axis } } = this;
    const facts: [string, string | null][] = [
      ["Recording", overview.name], ["Verdict", `${overview.verdict.name}: ${overview.verdict.text}`], ["Lost", overview.lost.text],
      ["Holes noticed", overview.forecast === null ? null : `with probability ${overview.forecast.toFixed(2)}`],
      ["Size", plural(overview.bytes, "byte")], ["Framing", overview.framing],
      ["Axis", `${axis.name}, ${axis.at(axis.begin, 1)} to ${axis.at(axis.end, 1)}`],
      ["Trace clock", overview.clock_hz === null ? "not known" : `${count(overview.clock_hz)} Hz`],
      ["Timestamp prescale", String(overview.timestamp_prescale)],
      ["Line", overview.baud === null ? "not known" : `${count(overview.baud)} baud`], ["Port", overview.port], ["Started", overview.started],
      ["Symbols", overview.elf ?? "none; --elf FILE gives names"]];
    byId("facts").replaceChildren(...facts.filter(([, fact]) => fact !== null).flatMap((words) => words.map((word, i) => {
      const element = document.createElement(i === 0 ? "dt" : "dd");
      element.textContent = visible(word!);
      return element;
    })));
  }
}

/** Fills a choice, keeping what is chosen. */
export function offer(select: HTMLSelectElement, choices: [string, string][]): void {
  if (choices.map(([key]) => key).join("\n") === [...select.options].map(({ value }) => value).join("\n")) return;
  const chosen = select.value;
  select.replaceChildren(...choices.map(([key, name]) => new Option(visible(name), key)));
  if (choices.some(([key]) => key === chosen)) select.value = chosen;
}
