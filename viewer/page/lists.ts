// SPDX-License-Identifier: Apache-2.0
// The lists beside the time line: losses, text, profile, facts. Untrusted text is only ever set as textContent.
import { type Entry, type Feed, type Line, type Overview } from "./feed";
import { type Axis, count, hex, percent, plural, visible } from "./format";
import { Timeline, byId } from "./timeline";

const ITEM = 20;  // height of an item, as in the style
const CHUNK = 200;
const MOST_HEIGHT = 8e6;  // pixels that every browser can scroll through

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
  private chunks = new Map<number, Item[]>();
  private readonly awaited = new Set<number>();
  private drawing = false;

  constructor(private readonly list: HTMLElement, private readonly load: (from: number, count: number) => Promise<Item[]>,
              private readonly fill: (item: Item, element: HTMLElement) => void,
              private readonly choose: (item: Item) => void, private readonly onTrouble: (message: string) => void) {
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

  private get scale(): number {
    return Math.max(1, this.total * ITEM / MOST_HEIGHT);
  }

  item(index: number): Item | undefined {
    return this.chunks.get(Math.floor(index / CHUNK))?.[index % CHUNK];
  }

  /** Selects an item and brings it into view. */
  select(index: number): void {
    this.selected = Math.min(Math.max(index, 0), this.total - 1);
    const top = this.selected * ITEM / this.scale;
    const room = this.list.clientHeight;
    if (top < this.list.scrollTop || top + ITEM > this.list.scrollTop + room) this.list.scrollTop = top - room / 2;
    this.draw();
  }

  private key(event: KeyboardEvent): void {
    const page = Math.max(Math.floor(this.list.clientHeight / ITEM) - 1, 1);
    const steps: Record<string, number> = { ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page, Home: -Infinity, End: Infinity };
    const step = steps[event.key];
    if (step !== undefined && !event.ctrlKey && !event.altKey) this.select(this.selected + step);
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
    else {
      element.append(span(this.chunks.has(Math.floor(index / CHUNK)) ? "not in this file" : "\u2026", "pending"));
      void this.fetch(Math.floor(index / CHUNK));
    }
    return element;
  }

  /** Reads the items around one, once. */
  async fetch(chunk: number): Promise<void> {
    if (this.awaited.has(chunk) || this.chunks.has(chunk)) return;
    this.awaited.add(chunk);
    try {
      this.chunks.set(chunk, await this.load(chunk * CHUNK, CHUNK));
      this.draw();
    } catch (error) {
      this.onTrouble((error as Error).message);
    }
    this.awaited.delete(chunk);
  }

  async read(index: number): Promise<Item | undefined> {
    await this.fetch(Math.floor(index / CHUNK));
    return this.item(index);
  }
}

export class Lists {
  tab = "losses";
  private readonly losses: LongList<Entry>;
  private readonly lines: LongList<Line>;
  private sought = "";

  constructor(private readonly feed: Feed, private overview: Overview, private readonly timeline: Timeline,
              private readonly onTrouble: (message: string) => void, private readonly onTab: () => void) {
    this.losses = new LongList<Entry>(byId("losses-list"), async (from, most) => (await feed.ledger(from, most)).entries,
      (entry, element) => this.fillLoss(entry, element), (entry) => this.goToLoss(entry), onTrouble);
    this.lines = new LongList<Line>(byId("text-list"), async (from, most) => (await feed.text(this.port, from, most)).rows,
      (line, element) => this.fillLine(line, element), (line) => timeline.goTo(line.time), onTrouble);
    for (const tab of document.querySelectorAll<HTMLButtonElement>("[role=tab]")) {
      tab.addEventListener("click", () => this.open(tab.id.slice(4)));
      tab.addEventListener("keydown", (event) => this.tabKey(event, tab));
    }
    byId("search").addEventListener("submit", (event) => { event.preventDefault(); void this.search(false); });
    byId("search-back").addEventListener("click", () => void this.search(true));
    byId("sought").addEventListener("keydown", (event) => {
      if (event.key !== "Enter" || !event.shiftKey) return;
      event.preventDefault();
      void this.search(true);
    });
    byId("text-port").addEventListener("change", () => { this.lines.selected = -1; void this.readText(); this.onTab(); });
    byId("profile-by").addEventListener("change", () => void this.readProfile());
    this.update(overview);
  }

  private get axis(): Axis {
    return this.timeline.axis;
  }

  get port(): number {
    return Number(byId<HTMLSelectElement>("text-port").value || -1);
  }

  set port(port: number) {
    byId<HTMLSelectElement>("text-port").value = String(port);
    this.lines.selected = -1;
    void this.readText();
  }

  update(overview: Overview): void {
    this.overview = overview;
    offer(byId<HTMLSelectElement>("text-port"), overview.tracks.filter(({ kind }) => kind === "text").map((track) => [String(track.port), track.label]));
    this.writeFacts();
    void this.readLosses();
    void this.readText();
    this.refresh();
  }

  /** Reads again what depends on the view. */
  refresh(): void {
    if (this.tab === "profile") void this.readProfile();
  }

  open(name: string): void {
    const tabs = [...document.querySelectorAll<HTMLButtonElement>("[role=tab]")];
    if (!tabs.some(({ id }) => id === "tab-" + name)) return;
    this.tab = name;
    for (const tab of tabs) {
      const chosen = tab.id === "tab-" + name;
      tab.setAttribute("aria-selected", String(chosen));
      tab.tabIndex = chosen ? 0 : -1;
      byId(tab.id.slice(4)).hidden = !chosen;
    }
    this.refresh();
    this.onTab();
  }

  private tabKey(event: KeyboardEvent, tab: HTMLButtonElement): void {
    const step = event.key === "ArrowRight" ? 1 : event.key === "ArrowLeft" ? -1 : 0;
    if (step === 0) return;
    const tabs = [...tab.parentElement!.children] as HTMLButtonElement[];
    const next = tabs[(tabs.indexOf(tab) + step + tabs.length) % tabs.length]!;
    this.open(next.id.slice(4));
    next.focus();
    event.stopPropagation();
  }

  private async readLosses(): Promise<void> {
    try {
      const { total, unlisted } = await this.feed.ledger(0, 1);
      this.losses.reset(total);
      const { text } = this.overview.lost;
      byId("losses-note").textContent = (total === 0 ? "Nothing is known to be lost." : `${plural(total, "place")}: ${visible(text)}`) +
        (unlisted > 0 ? ` \u00b7 ${count(unlisted)} more are only counted` : "") +
        (this.overview.forecast !== null ? ` \u00b7 A hole would have been noticed with probability ${this.overview.forecast.toFixed(2)}.` : "");
    } catch (error) {
      this.onTrouble((error as Error).message);
    }
  }

  private fillLoss(entry: Entry, element: HTMLElement): void {
    const { axis } = this;
    const times = entry.count > 1 ? ` (${count(entry.count)} times)` : "";
    element.append(span(Timeline.sign(entry.class), `mark ${entry.class}`),
      span(axis.unit === "bytes" ? count(entry.offset) : axis.at(entry.time, axis.length / 1e5), "when"),
      span(`${entry.hint ? "hint: " : ""}${visible(entry.text)}${times}`, "what"));
    element.title = `${entry.class}: ${entry.kind}\noffset ${count(entry.offset)}, ${plural(entry.length, "byte")}`;
  }

  private goToLoss(entry: Entry): void {
    this.timeline.focused = entry.time;
    this.timeline.goTo(entry.time);
  }

  /** Goes to the loss before or behind the one that is selected, else the middle of the view. */
  async stepLoss(step: number): Promise<void> {
    let index = this.losses.selected + step;
    if (this.losses.selected < 0) {
      let low = 0;
      for (let high = this.losses.total; low < high;) {
        const middle = (low + high) >> 1;
        const entry = await this.losses.read(middle);
        if (!entry || entry.time >= this.timeline.middle || this.timeline.whole) high = middle;
        else low = middle + 1;
      }
      index = step > 0 ? low : low - 1;
    }
    if (index < 0 || index >= this.losses.total) return this.tell(step > 0 ? "No loss behind this one" : "No loss before this one");
    const entry = await this.losses.read(index);
    this.losses.select(index);
    if (entry) this.goToLoss(entry);
  }

  private tell(text: string): void {
    byId("state").textContent = text;
  }

  private async readText(): Promise<void> {
    const { port } = this;
    if (port < 0) {
      byId("text-note").textContent = "No stimulus port holds text.";
      return;
    }
    try {
      const answer = await this.feed.text(port, 0, 1);
      if (answer.lines === this.lines.total && this.lines.selected >= 0) return;
      this.lines.reset(answer.lines);
      byId("text-note").textContent = plural(answer.lines, "line");
    } catch (error) {
      this.onTrouble((error as Error).message);
    }
  }

  private fillLine(line: Line, element: HTMLElement): void {
    element.append(span(this.axis.at(line.time, this.axis.length / 1e5), "when"));
    const text = visible(line.text);
    const at = this.sought ? text.toLowerCase().indexOf(this.sought.toLowerCase()) : -1;
    if (at < 0) element.append(span(text, "what"));
    else element.append(span(text.slice(0, at), ""), span(text.slice(at, at + this.sought.length), "found"), span(text.slice(at + this.sought.length), ""));
    if (line.flags & 1) element.append(span(" (suspect)", "pending"));
  }

  private async search(back: boolean): Promise<void> {
    this.sought = byId<HTMLInputElement>("sought").value;
    if (!this.sought || this.port < 0) return this.lines.draw();
    const from = this.lines.selected < 0 ? (back ? this.lines.total - 1 : 0) : this.lines.selected + (back ? -1 : 1);
    byId("text-note").textContent = "Searching \u2026";
    try {
      const found = from < 0 || from >= this.lines.total ? null
        : await this.feed.find(this.port, this.sought, from, back, byId<HTMLInputElement>("match-case").checked);
      if (found === null) {
        this.lines.selected = -1;
        this.lines.draw();
        byId("text-note").textContent = `Not found ${back ? "before" : "behind"} line ${count(Math.max(from, 0) + 1)}; the next search begins at the ${back ? "end" : "beginning"}`;
        return;
      }
      const line = await this.lines.read(found);
      this.lines.select(found);
      byId("text-note").textContent = `Found in line ${count(found + 1)} of ${count(this.lines.total)}`;
      if (line) this.timeline.goTo(line.time);
    } catch (error) {
      this.onTrouble((error as Error).message);
    }
  }

  /** Shows the text at a place of the time line. */
  async showPlace(place: number): Promise<void> {
    if (this.tab !== "text" || this.port < 0) return;
    try {
      const line = await this.feed.lineAt(this.port, place);
      if (line !== null) this.lines.select(line);
    } catch (error) {
      this.onTrouble((error as Error).message);
    }
  }

  private async readProfile(): Promise<void> {
    const by = byId<HTMLSelectElement>("profile-by").value;
    try {
      const profile = await this.feed.profile(this.timeline.from, this.timeline.to, by);
      const all = Math.max(profile.samples, 1);
      const share = (samples: number) => percent(samples / all);
      byId("profile-note").textContent = `${profile.whole ? "Of the whole recording" : "Of the time in view"}: ${plural(profile.samples, "sample")}` +
        (profile.sleeping > 0 ? `, ${share(profile.sleeping)} asleep` : "") + (profile.prohibited > 0 ? `, ${share(profile.prohibited)} prohibited` : "") +
        (profile.other > 0 ? `, ${share(profile.other)} in rows left out` : "") + (this.overview.elf === null ? " \u00b7 with --elf FILE functions have names" : "");
      byId("profile-table").querySelector("th")!.textContent = by === "function" ? "Function" : "Address";
      byId("profile-table").querySelector("tbody")!.replaceChildren(...profile.rows.map(({ name, address, samples }) => {
        const row = document.createElement("tr");
        const cells = [visible(name), count(samples), share(samples)].map((text) => {
          const cell = document.createElement("td");
          cell.textContent = text;
          return cell;
        });
        const meter = document.createElement("meter");
        meter.value = samples / all;
        meter.setAttribute("aria-hidden", "true");
        cells[2]!.prepend(meter);
        row.title = hex(address);
        row.append(...cells);
        return row;
      }));
    } catch (error) {
      this.onTrouble((error as Error).message);
    }
  }

  private writeFacts(): void {
    const { overview } = this;
    const facts: [string, string | null][] = [
      ["Recording", overview.name], ["Verdict", `${overview.verdict.name}: ${overview.verdict.text}`], ["Lost", overview.lost.text],
      ["Size", plural(overview.bytes, "byte")], ["Framing", overview.framing],
      ["Axis", `${this.axis.name}, ${this.axis.at(this.axis.begin, 1)} to ${this.axis.at(this.axis.end, 1)}`],
      ["Trace clock", overview.clock_hz === null ? "not known" : `${count(overview.clock_hz)} Hz`],
      ["Timestamp prescale", String(overview.timestamp_prescale)],
      ["Line", overview.baud === null ? "not known" : `${count(overview.baud)} baud`], ["Port", overview.port], ["Started", overview.started],
      ["Symbols", overview.elf ?? "none: give --elf FILE"],
      ["Holes noticed", overview.forecast === null ? null : `with probability ${overview.forecast.toFixed(2)}`]];
    byId("facts").replaceChildren(...facts.filter(([, fact]) => fact !== null).flatMap(([name, fact]) => {
      const [term, text] = [document.createElement("dt"), document.createElement("dd")];
      term.textContent = name;
      text.textContent = visible(fact!);
      return [term, text];
    }));
  }
}

/** Fills a choice, keeping what is chosen. */
export function offer(select: HTMLSelectElement, choices: [string, string][]): void {
  if (choices.map(([key]) => key).join("\n") === [...select.options].map(({ value }) => value).join("\n")) return;
  const chosen = select.value;
  select.replaceChildren(...choices.map(([key, name]) => new Option(visible(name), key)));
  if (choices.some(([key]) => key === chosen)) select.value = chosen;
}
