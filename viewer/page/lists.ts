// SPDX-License-Identifier: Apache-2.0
// The lists beside the time line: losses, text, profile, facts. Untrusted text is only ever set as textContent.
import { CLASSES, SIGNS } from "./brush";
import { act, answer, attempt, byId, choose, fit, make, offer, oneAtATime, say, span, tell } from "./elements";
import { type Entry, type Feed, type Found, type LedgerAnswer, type Line, type ProfileAnswer, type TextAnswer } from "./feed";
import { count, hex, percent, placeIn, plural, visible } from "./format";
import { LongList } from "./long_list";
import { type Timeline } from "./timeline";

const STRIP = 48;  // columns of a row of the profile over time
const TYPES = ["text", "u8", "i8", "u16", "i16", "u32", "i32", "f32"];

export class Lists {
  tab = "losses";
  private readonly missing = this.feed.inFile ? "not in this file" : "\u2026";
  private readonly losses = new LongList<Entry>(byId("losses-list"), this.missing, async (from, most) => (await this.askLosses(from, most)).entries,
    (entry, element) => this.fillLoss(entry, element), (entry) => this.timeline.goTo(entry.time));
  private readonly lines = new LongList<Line>(byId("text-list"), this.missing, async (line, most) => (await this.askText(line, most)).rows,
    (line, element) => this.fillLine(line, element), (line) => this.timeline.goTo(line.time));
  private readonly ports = byId<HTMLSelectElement>("text-port");
  private readonly tabs = [...document.querySelectorAll<HTMLButtonElement>("[role=tab]")];
  private sought = "";
  private matchCase = false;
  private recording = 0;
  private search: object = {};  // the last question that was put
  private unlisted = 0;  // losses that are only counted
  private held = 0;  // lines of the port that can be read here

  constructor(private readonly feed: Feed, private readonly timeline: Timeline, private readonly onTab: () => void,
              onType: (port: string, type: string) => void) {
    this.tabs.forEach((tab, i) => {
      tab.onclick = () => this.open(tab.value);
      tab.onkeydown = (event) => {
        const step = { ArrowRight: 1, ArrowLeft: this.tabs.length - 1 }[event.key];
        if (step === undefined) return;
        const next = this.tabs[(i + step) % this.tabs.length];
        this.open(next.value);
        next.focus();
        event.stopPropagation();
      };
    });
    byId("search").onsubmit = (event) => { event.preventDefault(); void act(() => this.seek(event.submitter === byId("search-back"))); };
    byId("sought").onkeydown = (event) => {
      if (event.key !== "Enter" || !event.shiftKey) return;
      event.preventDefault();
      void act(() => this.seek(true));
    };
    this.ports.onchange = () => { this.port = this.port; onTab(); };
    byId("profile-by").onchange = () => this.refresh();
    byId("port-types").onchange = ({ target }) => { onType((target as HTMLSelectElement).name, (target as HTMLSelectElement).value); };
    this.update();
  }

  get port(): number { return Number(this.ports.value || -1); }

  set port(port: number) {
    choose(this.ports, String(port));
    this.lines.selected = -1;
    void attempt(() => this.readText());
  }

  update(): void {
    const { recording, overview: { tracks, lines } } = this.timeline;
    if (recording !== this.recording) {
      this.recording = recording;
      this.losses.update(0, String(recording));
      this.lines.update(0, "");
    }
    offer(this.ports, tracks.filter(({ kind }) => kind === "text").map((track) => [String(track.port), track.label]));
    offer(byId("profile-by"), [["function", "function"], ...lines ? [["line", "source line"] as [string, string]] : [], ["address", "address"]]);
    this.writeFacts();
    this.writePorts();
    void attempt(() => this.readLosses());
    void attempt(() => this.readText());
    this.refresh();
  }

  /** Reads again what depends on the view. */
  refresh(): void { if (this.tab === "profile") void this.profile(); }

  open(name: string): void {
    if (!this.tabs.some(({ value }) => value === name)) return;
    this.tab = name;
    for (const tab of this.tabs) {
      tab.setAttribute("aria-selected", String(tab.value === name));
      tab.tabIndex = tab.value === name ? 0 : -1;
      byId(tab.value).hidden = tab.value !== name;
    }
    this.refresh();
    this.onTab();
  }

  private askLosses(from: number, most: number): Promise<LedgerAnswer> { return this.feed.ask("ledger", { from, count: most }); }
  private askText(line: number, most: number): Promise<TextAnswer> { return this.feed.ask("text", { port: this.port, line, count: most }); }

  private async readLosses(): Promise<void> {
    const { recording } = this.timeline;
    const { total, unlisted } = await this.askLosses(0, 1);
    if (recording !== this.timeline.recording) return;  // another is asked about
    this.unlisted = unlisted;
    const { lost, forecast } = this.timeline.overview;
    this.losses.update(total, String(recording));
    say("losses-note", (total === 0 ? "Nothing is known to be lost." : `${plural(total, "entry", "entries")}; lost: ${visible(lost.text)}`) +
      (unlisted > 0 ? ` \u00b7 ${count(unlisted)} more are only counted` : "") +
      (forecast !== null ? ` \u00b7 A hole would have been noticed with probability ${forecast.toFixed(2)}.` : ""));
  }

  private when(time: number): HTMLElement { return span(this.timeline.axis.at(time, this.timeline.axis.length / 1e5), "when"); }

  private fillLoss(entry: Entry, element: HTMLElement): void {
    const times = entry.count > 1 ? ` (${count(entry.count)} times)` : "";
    element.title = `${entry.class}: ${entry.kind}\noffset ${count(entry.offset)}, ${plural(entry.length, "byte")}`;
    element.append(span(SIGNS[CLASSES.indexOf(entry.class)] ?? "?", `mark ${entry.class}`), this.when(entry.time),
      span(`${entry.hint ? "hint: " : ""}${visible(entry.text)}${times}`, "what"));
  }

  /** Goes to the loss before or behind the one that is selected, at first the one nearest to the middle of the view. */
  async stepLoss(step: number): Promise<void> {
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
    const entry = await this.losses.read(index);
    answer("state", !listed ? `no loss ${step < 0 ? "before this" : "behind this" + (this.unlisted > 0
      ? ` is listed: ${count(this.unlisted)} more are only counted` : "")}`
      : `loss ${count(index + 1)} of ${count(total)}${entry ? "" : " and those behind it are not in this file"}`);
    if (!entry) return;
    this.losses.select(index);
    this.timeline.goTo(entry.time);
  }

  private async readText(): Promise<void> {
    const { port, timeline: { recording } } = this;
    const { lines, held = lines }: { lines: number; held?: number } = port < 0 ? { lines: 0 } : await this.askText(0, 1);
    if (port !== this.port || recording !== this.timeline.recording) return;  // another is asked about
    this.held = held;
    this.lines.update(lines, `${recording}:${port}`);
    tell("text-note", port < 0 ? "No stimulus port holds text."
      : plural(lines, "line") + (held < lines ? `, of which the first ${count(held)} are in this file` : ""));
  }

  private fillLine(line: Line, element: HTMLElement): void {
    const found = this.sought ? placeIn(line.text, this.sought, this.matchCase) : -1;
    const [begin, end] = found < 0 ? [0, 0] : [found, found + this.sought.length];
    const part = (from: number, to: number, name = "") => span(visible(line.text.slice(from, to)), name);
    element.append(this.when(line.time), part(0, begin), part(begin, end, "found"), part(end, line.text.length));
    if (line.flags & 1) element.append(span(" (suspect)", "pending"));
  }

  private async seek(back: boolean): Promise<void> {
    this.sought = byId<HTMLInputElement>("sought").value;
    this.matchCase = byId<HTMLInputElement>("match-case").checked;
    const { lines: { total, selected }, held, port, timeline: { recording } } = this;
    if (!this.sought || port < 0) return this.lines.draw();
    answer("text-note", "Searching \u2026");
    let found: Found = { line: null, next: selected < 0 ? (back ? total - 1 : 0) : selected + (back ? -1 : 1) };
    const how = this.search = { port, text: this.sought, ...back && { back: 1 }, ...this.matchCase && { case: 1 } };
    const wanted = () => how === this.search && port === this.port && recording === this.timeline.recording;
    while (wanted() && found.line === null && found.next !== undefined)
      found = found.next < 0 || found.next >= total ? { line: null } : await this.feed.ask<Found>("find", { ...how, line: found.next });
    const line = !wanted() || found.line === null ? undefined : await this.lines.read(found.line);
    if (!wanted()) return;  // another is sought, or elsewhere
    this.lines.select(found.line ?? -1);
    answer("text-note", found.line !== null ? `Found in line ${count(found.line + 1)} of ${count(total)}`
      : `Not found ${back ? "before" : "behind"} here; the next search begins at the ${back ? "end" : "beginning"}` +
        (held < total ? `. Of ${plural(total, "line")} the first ${count(held)} alone are in this file` : ""));
    if (line) this.timeline.goTo(line.time);
  }

  /** Shows the text at a place of the time line. */
  showPlace(place: number): void {
    if (this.tab !== "text" || this.port < 0) return;
    void attempt(async () => this.lines.select((await this.feed.ask<Found>("line", { port: this.port, time: place })).line ?? -1));
  }

  private readonly profile = oneAtATime(() => attempt(async () => {
    const by = byId<HTMLSelectElement>("profile-by").value;
    const { from, to, overview } = this.timeline;
    const { samples, sleeping, prohibited, other, rows, whole } = await this.feed.ask<ProfileAnswer>("profile", { from, to, by, strip: STRIP });
    const all = samples + sleeping + prohibited;
    const share = (part: number) => percent(part / Math.max(all, 1));
    const told = (part: number, what: string) => part > 0 ? `, ${share(part)} ${what}` : "";
    say("profile-note", `${whole ? "Of the whole recording" : "Of the time in view"}: ${plural(all, "sample")}` +
      told(sleeping, "asleep") + told(prohibited, "prohibited") + told(other, "in rows left out") +
      (overview.elf === null ? " \u00b7 with --elf FILE functions have names" : ""));
    const [head] = byId<HTMLTableElement>("profile-table").rows;
    head.cells[0].textContent = { function: "Function", line: "Source line", address: "Address" }[by] ?? by;
    const hottest = Math.max(...rows.flatMap(({ strip }) => strip ?? []), 1e-9);
    byId<HTMLTableElement>("profile-table").tBodies[0].replaceChildren(...rows.map((row) => make("tr", { title: hex(row.address) },
      ...[visible(row.name), count(row.samples), share(row.samples)].map((text) => make("td", {}, text)),
      make("td", {}, row.strip ? this.strip(row.strip, hottest) : ""))));
  }));

  /** A row of the profile over the time in view: the fuller, the more samples. */
  private strip(strip: number[], hottest: number): HTMLCanvasElement {
    const canvas = make("canvas", { ariaHidden: "true" });
    const ctx = fit(canvas, 2 * STRIP, 12);
    ctx.fillStyle = this.timeline.colors.data;
    strip.forEach((samples, i) => {
      ctx.globalAlpha = samples > 0 ? 0.15 + 0.85 * samples / hottest : 0;
      ctx.fillRect(2 * i, 0, 2, 12);
    });
    return canvas;
  }

  /** A choice of type for each stimulus port. */
  private writePorts(): void {
    const { tracks, changeable } = this.timeline.overview;
    const ports = tracks.filter(({ port }) => port !== undefined);
    const box = byId("port-types");
    const shown = [...box.querySelectorAll("select")].map(({ name, value }) => name + value);
    if (shown.join() === ports.map(({ port, type = "text" }) => port + type).join()) return;
    say("ports-note", changeable ? "" : "In a file they stay as they are; tracehost report has --port-type for that.");
    box.replaceChildren(...ports.map(({ port, label, type = "text" }) => make("label", {}, span(visible(label), ""),
      make("select", { name: String(port), disabled: !changeable }, ...TYPES.map((name) => new Option(name, name, false, name === type))))));
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
    byId("facts").replaceChildren(...facts.filter(([, fact]) => fact !== null).flatMap(([name, fact]) =>
      [make("dt", {}, name), make("dd", {}, visible(fact!))]));
  }
}
