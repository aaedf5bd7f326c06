// SPDX-License-Identifier: Apache-2.0
// Where the page gets its answers from: a server, or the file it stands in. docs/viewer-feed.md has the forms.

export interface Track {
  id: string; kind: string; label: string; total: number;
  number?: number; port?: number; comparator?: number; type?: string;
}

export interface Overview {
  version: number; name: string; live: boolean; complete: boolean; revision: number; bytes: number; indexed: number;
  framing: string; axis: { kind: string; unit: string; begin: number; end: number };
  clock_hz: number | null; timestamp_prescale: number; baud: number | null;
  verdict: { name: string; text: string }; lost: { target: number; line: number; hints: number; text: string };
  forecast: number | null; elf: string | null; port: string | null; started: string | null; tracks: Track[];
}

export interface Line { time: number; offset: number; text: string; flags: number }
export interface TextAnswer { lines: number; first: number; rows: Line[] }
export interface Entry {
  index: number; offset: number; length: number; time: number; quality: string; class: string; kind: string;
  hint: boolean; count: number; text: string;
}
export interface LedgerAnswer { total: number; unlisted: number; entries: Entry[] }
export interface ProfileAnswer {
  samples: number; sleeping: number; prohibited: number; other: number;
  rows: { name: string; address: number; samples: number }[];
  whole?: boolean;  // of the whole recording, whatever was asked
}
export interface State { revision: number; bytes: number; indexed: number; end: number; live: boolean }

export type Numbers = Uint8Array | Uint16Array | Uint32Array | Float32Array | Float64Array;
export type Arrays = Record<string, Numbers>;

/** One answer about a window: `exact`, or summaries in `pixels` columns. */
export interface Layer {
  from: number; to: number; pixels: number; exact: boolean; note: string; revision: number;
  tracks: Map<string, Arrays>; marks: Arrays;
}

export interface Feed {
  overview(): Promise<Overview>;
  /** What there is for a window, coarsest first; each is better than those before where it says something. */
  layers(from: number, to: number, pixels: number): Promise<Layer[]>;
  text(port: number, line: number, count: number): Promise<TextAnswer>;
  /** The line that holds `sought`; null when there is none. */
  find(port: number, sought: string, line: number, back: boolean, matchCase: boolean): Promise<number | null>;
  lineAt(port: number, time: number): Promise<number | null>;
  ledger(from: number, count: number): Promise<LedgerAnswer>;
  profile(from: number, to: number, by: string): Promise<ProfileAnswer>;
  /** Tells what changes. `trouble` is null when all is well again. */
  follow(changed: (state: State) => void, trouble: (message: string | null) => void): void;
}

const TYPES = { u8: Uint8Array, u16: Uint16Array, u32: Uint32Array, f32: Float32Array, f64: Float64Array };

/** Reads the binary form of a window; what it is not throws. */
export function readWindow(buffer: ArrayBuffer): Layer {
  const view = new DataView(buffer);
  if (buffer.byteLength < 8 || view.getUint32(0, true) !== 0x3157544b) throw new Error("a window does not begin with KTW1");
  const length = view.getUint32(4, true);
  const header = JSON.parse(new TextDecoder().decode(new Uint8Array(buffer, 8, length)));
  const base = Math.ceil((8 + length) / 8) * 8;
  const arrays = (described: Record<string, { type: keyof typeof TYPES; at: number; count: number }> | undefined) => {
    const found: Arrays = {};
    for (const [name, { type, at, count }] of Object.entries(described ?? {})) {
      if (!(type in TYPES)) throw new Error(`a window holds numbers of an unknown type, ${type}`);
      found[name] = new TYPES[type](buffer, base + at, count);
    }
    return found;
  };
  const tracks = new Map<string, Arrays>();
  for (const track of header.tracks) tracks.set(track.id, arrays(track.arrays));
  return { from: header.from, to: header.to, pixels: header.pixels, exact: header.exact, note: header.note ?? "",
    revision: header.revision, tracks, marks: arrays(header.marks?.arrays) };
}

/** The column's width; of an exact window nothing. */
export function grain(layer: Layer): number { return layer.exact ? 0 : (layer.to - layer.from) / layer.pixels; }

const GONE = "The server does not answer. It ends with the tracehost that opened this page; retrying \u2026";
const WHOLE_PIXELS = 1024;
const WHOLE_LASTS = 2000;  // ms that the picture of the whole is good for while a recording runs

/** Asks the server that the page came from. */
export class ServedFeed implements Feed {
  private readonly token = new URLSearchParams(location.search).get("token") ?? "";
  private whole: Layer | null = null;
  private wholeTime = 0;
  private axis = { begin: 0, end: 1 };
  private live = false;

  private async ask<T>(what: string, question: Record<string, string | number>, read: (answer: Response) => Promise<T>): Promise<T> {
    const words = new URLSearchParams({ token: this.token });
    for (const [name, word] of Object.entries(question))
      words.set(name, typeof word === "number" ? String(Number(word.toFixed(3))) : word);
    const answer = await fetch(`/api/${what}?${words}`, { cache: "no-store" }).catch(() => { throw new Error(GONE); });
    if (!answer.ok) {
      const refusal: { error?: string } = await answer.json().catch(() => ({}));
      throw new Error(`The server refused "${what}" (${answer.status}): ${refusal.error ?? answer.statusText}`);
    }
    return read(answer).catch((error) => { throw new Error(`The server's answer to "${what}" is not understood: ${error.message}`); });
  }

  private json<T>(what: string, question: Record<string, string | number> = {}): Promise<T> {
    return this.ask(what, question, (answer) => answer.json());
  }

  private window(from: number, to: number, pixels: number): Promise<Layer> {
    return this.ask("window", { from, to, pixels }, async (answer) => readWindow(await answer.arrayBuffer()));
  }

  async overview(): Promise<Overview> {
    const overview = await this.json<Overview>("overview");
    this.axis = overview.axis;
    this.live = overview.live || !overview.complete;
    return overview;
  }

  async layers(from: number, to: number, pixels: number): Promise<Layer[]> {
    const layer = await this.window(from, to, pixels);
    if (from <= this.axis.begin && to >= this.axis.end) {
      this.whole = layer;
      return [layer];
    }
    const late = this.live && performance.now() - this.wholeTime > WHOLE_LASTS;
    if (!this.whole || (late && this.whole.revision !== layer.revision)) {
      this.wholeTime = performance.now();
      this.whole = await this.window(this.axis.begin, Math.max(this.axis.end, this.axis.begin + 1), WHOLE_PIXELS);
    }
    return [this.whole, layer];
  }

  text(port: number, line: number, count: number): Promise<TextAnswer> { return this.json("text", { port, line, count }); }

  async find(port: number, sought: string, line: number, back: boolean, matchCase: boolean): Promise<number | null> {
    for (let from: number | undefined = line; from !== undefined;) {
      const question: Record<string, string | number> = { port, text: sought, line: from };
      if (back) question.back = 1;
      if (matchCase) question.case = 1;
      const answer: { line: number | null; next?: number } = await this.json("find", question);
      if (answer.line !== null) return answer.line;
      from = answer.next;
    }
    return null;
  }

  async lineAt(port: number, time: number): Promise<number | null> {
    return (await this.json<{ line: number | null }>("line", { port, time })).line;
  }

  ledger(from: number, count: number): Promise<LedgerAnswer> { return this.json("ledger", { from, count }); }
  profile(from: number, to: number, by: string): Promise<ProfileAnswer> { return this.json("profile", { from, to, by }); }

  follow(changed: (state: State) => void, trouble: (message: string | null) => void): void {
    const events = new EventSource(`/api/events?${new URLSearchParams({ token: this.token })}`);
    events.onopen = () => trouble(null);
    events.onerror = () => trouble(GONE);
    events.onmessage = (event) => changed(JSON.parse(event.data));
  }
}

interface Embedded {
  overview: Overview; windows: string[]; text: Record<string, TextAnswer>; ledger: LedgerAnswer;
  profile: Record<string, ProfileAnswer>;
}

/** Answers from what was written into the page. */
export class EmbeddedFeed implements Feed {
  private readonly held: Embedded;
  private readonly windows: Layer[];

  constructor(json: string) {
    this.held = JSON.parse(json);
    this.windows = this.held.windows.map((text) => readWindow(Uint8Array.from(atob(text), (c) => c.charCodeAt(0)).buffer));
    this.windows.sort((one, other) => grain(other) - grain(one));
  }

  async overview(): Promise<Overview> { return this.held.overview; }

  async layers(from: number, to: number, pixels: number): Promise<Layer[]> {
    const wanted = (to - from) / pixels;
    const fit = this.windows.filter((layer) => layer.from < to && layer.to > from);
    const covering = fit.filter((layer) => layer.from <= from && layer.to >= to);
    const finest = covering[covering.length - 1];
    const base = finest?.exact ? finest : covering.find((layer) => grain(layer) <= wanted * 1.001) ?? finest;
    if (base && grain(base) <= wanted * 1.001) return [base];
    return fit.filter((layer) => layer === base ||
      (grain(layer) < (base ? grain(base) : Infinity) && layer.to - layer.from > 2 * wanted));
  }

  private port(port: number): TextAnswer { return this.held.text[`port:${port}`] ?? { lines: 0, first: 0, rows: [] }; }

  async text(port: number, line: number, count: number): Promise<TextAnswer> {
    const { lines, first, rows } = this.port(port);
    const begin = Math.max(line, first);
    return { lines, first: begin, rows: rows.slice(begin - first, Math.max(line + count - first, 0)) };
  }

  async find(port: number, sought: string, line: number, back: boolean, matchCase: boolean): Promise<number | null> {
    const { first, rows } = this.port(port);
    const fold = (text: string) => matchCase ? text : text.replace(/[A-Z]/g, (letter) => letter.toLowerCase());
    const step = back ? -1 : 1;
    for (let at = line - first; at >= 0 && at < rows.length; at += step)
      if (fold(rows[at].text).includes(fold(sought))) return at + first;
    return null;
  }

  async lineAt(port: number, time: number): Promise<number | null> {
    const { first, rows } = this.port(port);
    const found = rows.findIndex((row) => row.time >= time);
    return found < 0 ? null : found + first;
  }

  async ledger(from: number, count: number): Promise<LedgerAnswer> {
    const { total, unlisted, entries } = this.held.ledger;
    return { total, unlisted, entries: entries.filter(({ index }) => index >= from && index < from + count) };
  }

  async profile(_from: number, _to: number, by: string): Promise<ProfileAnswer> {
    const held = this.held.profile[by] ?? { samples: 0, sleeping: 0, prohibited: 0, other: 0, rows: [] };
    return { ...held, whole: true };
  }

  follow(): void {}
}
