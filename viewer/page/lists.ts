// SPDX-License-Identifier: Apache-2.0
// The lists beside the time line: losses, text, profile, facts. Untrusted text is only ever set as textContent.
import { type Entry, type Feed, type Found, type LedgerAnswer, type Line, type ProfileAnswer, type TextAnswer } from "./feed";
import { count, hex, percent, plural, visible } from "./format";
import { LongList, span } from "./long_list";
import { CLASSES, SIGNS } from "./rows";
import { type Timeline, byId, fit } from "./timeline";

const STRIP = 48;  // columns of a row of the profile over time
const TYPES = ["text", "u8", "i8", "u16", "i16", "u32", "i32", "f32"];

/** Does something that may fail, and shows why it did. */
export type Attempt = (action: () => Promise<unknown>) => Promise<void>;

export class Lists {
  tab = "losses";
  private readonly losses: LongList<Entry>;
  private readonly lines: LongList<Line>;
  private readonly ports = byId<HTMLSelectElement>("text-port");
  private readonly tabs = [...document.querySelectorAll<HTMLButtonElement>("[role=tab]")];
  private sought = "";
  private stale = false;  // the profile, while it is read
  private profiling = false;

  constructor(private readonly feed: Feed, private readonly timeline: Timeline, private readonly attempt: Attempt,
              private readonly onTab: () => void, onType: (port: number, type: string) => void) {
    const missing = feed.inFile ? "not in this file" : "\u2026";
    this.losses = new LongList<Entry>(byId("losses-list"), async (from, most) => (await feed.ask<LedgerAnswer>("ledger", { from, count: most })).entries,
      (entry, element) => this.fillLoss(entry, element), (entry) => this.goToLoss(entry), attempt, missing);
    this.lines = new LongList<Line>(byId("text-list"), async (line, most) => (await feed.ask<TextAnswer>("text", { port: this.port, line, count: most })).rows,
      (line, element) => this.fillLine(line, element), (line) => timeline.goTo(line.time), attempt, missing);
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
    this.ports.addEventListener("change", () => { this.port = this.port; onTab(); });
    byId("profile-by").addEventListener("change", () => this.refresh());
    byId("port-types").addEventListener("change", ({ target }) => {
      const { name, value } = target as HTMLSelectElement;
      onType(Number(name), value);
    });
    this.update();
  }

  get port(): number { return Number(this.ports.value || -1); }

  set port(port: number) {
    choose(this.ports, String(port));
    this.lines.selected = -1;
    void this.attempt(() => this.readText());
  }

  update(): void {
    const { tracks, lines } = this.timeline.overview;
    offer(this.ports, tracks.filter(({ kind }) => kind === "text").map((track) => [String(track.port), track.label]));
    offer(byId("profile-by"), [["function", "function"], ...lines ? [["line", "source line"] as [string, string]] : [], ["address", "address"]]);
    this.writeFacts();
    this.writePorts();
    void this.attempt(() => this.readLosses());
    void this.attempt(() => this.readText());
    this.refresh();
  }

  /** Reads again what depends on the view. */
  refresh(): void {
    this.stale = this.tab === "profile";
    if (!this.stale || this.profiling) return;
    this.profiling = true;
    void this.attempt(async () => {
      while (this.stale) {
        this.stale = false;
        await this.readProfile();
      }
    }).finally(() => { this.profiling = false; });
  }

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
    const { total, unlisted } = await this.feed.ask<LedgerAnswer>("ledger", { from: 0, count: 1 });
    const { lost, forecast } = this.timeline.overview;
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
      const { total, selected } = this.losses;
      let index = selected + step;
      if (selected < 0) {
        let low = 0;
        for (let high = this.timeline.whole ? 0 : total; low < high;) {
          const middle = (low + high) >> 1;
          const entry = await this.losses.read(middle);
          if (!entry || entry.time >= this.timeline.middle) high = middle;
          else low = middle + 1;
        }
        index = step > 0 ? low : low - 1;
      }
      const listed = index >= 0 && index < total;
      const entry = listed ? await this.losses.read(index) : undefined;
      byId("state").textContent = !listed ? `no loss ${step > 0 ? "behind" : "before"} this`
        : `loss ${count(index + 1)} of ${count(total)}${entry ? "" : " and those behind it are not in this file"}`;
      if (!entry) return;
      this.losses.select(index);
      this.goToLoss(entry);
    });
  }

  private async readText(): Promise<void> {
    const note = byId("text-note");
    if (this.port < 0) {
      note.textContent = "No stimulus port holds text.";
      return;
    }
    const { lines } = await this.feed.ask<TextAnswer>("text", { port: this.port, line: 0, count: 1 });
    if (lines === this.lines.total && this.lines.selected >= 0) return;
    this.lines.reset(lines);
    const held = await this.linesHere();
    note.textContent = plural(lines, "line") + (held < lines ? `, of which the first ${count(held)} are in this file` : "");
  }

  /** How many lines of the port there are to be read here. */
  private async linesHere(): Promise<number> {
    const { total } = this.lines;
    return this.feed.inFile ? (await this.feed.ask<TextAnswer>("text", { port: this.port, line: 0, count: total })).rows.length : total;
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
    const note = byId("text-note");
    void this.attempt(async () => {
      if (!this.sought || this.port < 0) return this.lines.draw();
      note.textContent = "Searching \u2026";
      let found: Found = { line: null, next: selected < 0 ? (back ? total - 1 : 0) : selected + (back ? -1 : 1) };
      const how = { port: this.port, text: this.sought, ...back && { back: 1 }, ...byId<HTMLInputElement>("match-case").checked && { case: 1 } };
      while (found.line === null && found.next !== undefined)
        found = found.next < 0 || found.next >= total ? { line: null } : await this.feed.ask<Found>("find", { ...how, line: found.next });
      const line = found.line === null ? undefined : await this.lines.read(found.line);
      this.lines.select(found.line ?? -1);
      const held = await this.linesHere();
      note.textContent = found.line !== null ? `Found in line ${count(found.line + 1)} of ${count(total)}`
        : `Not found ${back ? "before" : "behind"} here; the next search begins at the ${back ? "end" : "beginning"}` +
          (held < total ? `. Of ${plural(total, "line")} the first ${count(held)} alone are in this file` : "");
      if (line) this.timeline.goTo(line.time);
    });
  }

  /** Shows the text at a place of the time line. */
  showPlace(place: number): void {
    if (this.tab !== "text" || this.port < 0) return;
    void this.attempt(async () => this.lines.select((await this.feed.ask<Found>("line", { port: this.port, time: place })).line ?? -1));
  }

  private async readProfile(): Promise<void> {
    const by = byId<HTMLSelectElement>("profile-by").value;
    const { from, to, overview } = this.timeline;
    const { samples: addressed, sleeping, prohibited, other, rows, whole } = await this.feed.ask<ProfileAnswer>("profile", { from, to, by, strip: STRIP });
    const all = Math.max(addressed + sleeping + prohibited, 1);
    const part = (samples: number, what: string) => samples > 0 ? `, ${percent(samples / all)} ${what}` : "";
    byId("profile-note").textContent = `${whole ? "Of the whole recording" : "Of the time in view"}: ${plural(addressed + sleeping + prohibited, "sample")}` +
      part(sleeping, "asleep") + part(prohibited, "prohibited") + part(other, "in rows left out") +
      (overview.elf === null ? " \u00b7 with --elf FILE functions have names" : "");
    const table = byId("profile-table");
    table.querySelector("th")!.textContent = { function: "Function", line: "Source line", address: "Address" }[by] ?? by;
    const hottest = Math.max(...rows.flatMap(({ strip }) => strip ?? []), 1e-9);
    table.querySelector("tbody")!.replaceChildren(...rows.map(({ name, address, samples, strip }) => {
      const row = document.createElement("tr");
      for (const text of [visible(name), count(samples), percent(samples / all), ""]) row.insertCell().textContent = text;
      row.title = hex(address);
      if (strip) this.paintStrip(row.lastElementChild!, strip, hottest);
      return row;
    }));
  }

  /** A row of the profile over the time in view: the fuller, the more samples. */
  private paintStrip(cell: Element, strip: number[], hottest: number): void {
    const canvas = document.createElement("canvas");
    cell.append(canvas);
    canvas.setAttribute("aria-hidden", "true");
    const ctx = fit(canvas, 2 * STRIP, 12);
    ctx.fillStyle = this.timeline.colors.data;
    strip.forEach((samples, i) => {
      ctx.globalAlpha = samples > 0 ? 0.15 + 0.85 * samples / hottest : 0;
      ctx.fillRect(2 * i, 0, 2, 12);
    });
  }

  /** A choice of type for each stimulus port. */
  private writePorts(): void {
    const { tracks, changeable } = this.timeline.overview;
    const ports = tracks.filter(({ port }) => port !== undefined);
    const box = byId("port-types");
    const choices = box.querySelectorAll("select");
    if ([...choices].map(({ name, value }) => name + value).join() === ports.map(({ port, type = "text" }) => port + type).join()) return;
    byId("ports-note").textContent = changeable ? "" : "In a file they stay as they are; tracehost report has --port-type for that.";
    box.replaceChildren(...ports.map(({ port, label, type = "text" }) => {
      const line = document.createElement("label");
      const choice = document.createElement("select");
      [choice.name, choice.disabled] = [String(port), !changeable];
      offer(choice, TYPES.map((name) => [name, name]));
      choice.value = type;
      line.append(span(visible(label), ""), choice);
      return line;
    }));
  }

  private writeFacts(): void {
    const { overview, axis } = this.timeline;
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
  choose(select, chosen);
}

/** Chooses what is offered; else it stays as it is. */
export function choose(select: HTMLSelectElement, key: string): void {
  if ([...select.options].some(({ value }) => value === key)) select.value = key;
}
