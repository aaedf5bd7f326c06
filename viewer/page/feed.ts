// SPDX-License-Identifier: Apache-2.0
// Where the page gets its answers from: a server, or the file it stands in. docs/viewer-feed.md has the forms.
import { placeIn } from "./format";

export interface Track { id: string; kind: string; label: string; total: number; number?: number; port?: number; comparator?: number; type?: string }
export interface Overview {
  name: string; recording: number; live: boolean; complete: boolean; stoppable: boolean; changeable: boolean;
  revision: number; bytes: number; indexed: number; framing: string;
  axis: { kind: string; unit: string; begin: number; end: number }; clock_hz: number | null; timestamp_prescale: number; baud: number | null;
  verdict: { name: string; text: string }; lost: { target: number; line: number; hints: number; text: string };
  forecast: number | null; elf: string | null; lines: boolean; port: string | null; started: string | null; tracks: Track[];
}
export interface Line { time: number; offset: number; text: string; flags: number }
export interface TextAnswer { lines: number; held?: number; rows: Line[] }  // `held` of them can be read here
export interface Found { line: number | null; next?: number }
export interface Entry {
  index: number; offset: number; length: number; time: number; class: string; kind: string; hint: boolean; count: number; text: string;
}
export interface LedgerAnswer { total: number; unlisted: number; entries: Entry[] }
export interface ProfileAnswer {
  samples: number; sleeping: number; prohibited: number; other: number; whole?: boolean;  // of the whole recording, whatever was asked
  rows: { name: string; address: number; samples: number; strip?: number[] }[];
}

export type Numbers = Uint8Array | Uint16Array | Uint32Array | Float32Array | Float64Array;
export type Arrays = Record<string, Numbers>;
type Question = Record<string, string | number>;

/** One answer about a window: `exact`, or summaries in `pixels` columns, of which `time` is where each begins. */
export interface Layer { from: number; to: number; pixels: number; exact: boolean; revision: number; tracks: Map<string, Arrays>; marks: Arrays }

/** How far a recording has come. */
export interface News { revision: number; trouble: string | null }  // why no more is shown of it

/** Whatever answers as a server does. */
export type Feed = Pick<ServedFeed, keyof ServedFeed>;

const TYPES = { u8: Uint8Array, u16: Uint16Array, u32: Uint32Array, f32: Float32Array, f64: Float64Array };
const readJson = (buffer: ArrayBuffer, at: number, length: number) => JSON.parse(new TextDecoder().decode(new Uint8Array(buffer, at, length)));
const behind = (size: number) => Math.ceil(size / 8) * 8;

/** Reads the binary form of a window; what it is not throws. */
function readWindow(buffer: ArrayBuffer): Layer {
  const view = new DataView(buffer);
  if (buffer.byteLength < 8 || view.getUint32(0, true) !== 0x3157544b) throw new Error("a window does not begin with KTW1");
  const length = view.getUint32(4, true);
  const header = readJson(buffer, 8, length);
  const arrays = (described: Record<string, { type: keyof typeof TYPES; at: number; count: number }>): Arrays => {
    const found: Arrays = Object.fromEntries(Object.entries(described).map(([name, { type, at, count }]) =>
      [name, new TYPES[type](buffer, behind(8 + length) + at, count)]));
    const { padding, value } = found;
    if (padding) found.column = Uint16Array.from(padding, (_, number) => number);  // which is told of each column
    if (found.column) found.time = Float64Array.from(found.column, (number) => header.from + number * columnWidth(header));
    return value ? { ...found, min: value, max: value, first: value, last: value } : found;
  };
  const tracks: { id: string; arrays: Parameters<typeof arrays>[0] }[] = header.tracks;
  return { ...header, tracks: new Map(tracks.map((track) => [track.id, arrays(track.arrays)])), marks: arrays(header.marks.arrays) };
}

/** What a layer knows of a track; nothing while it tells of it in another form: the track's type has changed since. */
export function arraysOf(layer: Layer | undefined, { id, kind }: Track): Arrays | undefined {
  const arrays = layer?.tracks.get(id);
  const needed = { value: "last", text: "bytes" }[kind];
  return arrays && (!needed || needed in arrays) ? arrays : undefined;
}

/** Which of the server's readings of a recording, or of several, a revision belongs to. */
export function readingOf({ revision }: { revision: number }): number { return Math.floor(revision / 2 ** 32); }

/** Of what is told by columns, some of it in exact windows, too. */
export function columnWidth({ from, to, pixels }: Layer): number { return (to - from) / pixels; }

/** The column's width; of an exact window nothing. */
export function grain(layer: Layer): number { return layer.exact ? 0 : columnWidth(layer); }

/** Which of `layers` are seen between two places: the finest that covers them, and what is finer in parts. */
export function seenIn(layers: Layer[], from: number, to: number): Layer[] {
  return layers.slice(Math.max(layers.map((layer) => layer.from <= from && layer.to >= to).lastIndexOf(true), 0));
}

const GONE = "The server does not answer. It ends with the tracehost that opened this page; retrying \u2026";
const WHOLE_PIXELS = 1024;
const WHOLE_LASTS = 2000;  // ms that the picture of the whole is good for while a recording runs
export const RETRY = 2000;  // ms

/** Asks the server that the page came from. */
export class ServedFeed {
  readonly inFile: boolean = false;  // where there may be no answer to some questions
  private readonly token = new URLSearchParams(location.search).get("token") ?? "";
  private whole: Layer | null = null;
  private wholeTime = 0;

  private async send<T>(method: string, what: string, question: Question, read: (answer: Response) => Promise<T>): Promise<T> {
    const words = new URLSearchParams({ token: this.token });
    for (const [name, word] of Object.entries(question))
      words.set(name, typeof word === "number" ? String(Number(word.toFixed(3))) : word);
    const answer = await fetch(`/api/${what}?${words}`, { method, cache: "no-store" }).catch(() => { throw new Error(GONE); });
    if (!answer.ok) {
      const refusal: { error?: string } = await answer.json().catch(() => ({}));
      throw new Error(`The server refused "${what}" (${answer.status}): ${refusal.error ?? answer.statusText}`);
    }
    return read(answer).catch((error) => { throw new Error(`The server's answer to "${what}" is not understood: ${error.message}`); });
  }

  ask<T>(what: string, question: Question = {}): Promise<T> { return this.send("GET", what, question, (answer) => answer.json()); }

  /** Changes something about the recording, or how it is shown. */
  post(what: string, question: Question = {}): Promise<unknown> { return this.send("POST", what, question, (answer) => answer.json()); }

  private window(from: number, to: number, pixels: number): Promise<Layer> {
    return this.send("GET", "window", { from, to, pixels }, async (answer) => readWindow(await answer.arrayBuffer()));
  }

  /** What there is for a window, coarsest first; each is better than those before where it says something. */
  async layers(from: number, to: number, pixels: number, axis: { begin: number; end: number }): Promise<Layer[]> {
    const layer = await this.window(from, to, pixels);
    if (from <= axis.begin && to >= axis.end) return [this.whole = layer];
    const late = performance.now() - this.wholeTime > WHOLE_LASTS;
    if (!this.whole || readingOf(this.whole) !== readingOf(layer) || (late && this.whole.revision !== layer.revision)) {
      this.wholeTime = performance.now();
      this.whole = await this.window(axis.begin, Math.max(axis.end, axis.begin + 1), WHOLE_PIXELS);
    }
    return [this.whole, layer];
  }

  /** Tells what changes; `trouble` is null when all is well again. Only while the page is seen: a browser has six connections to one
   *  server, for all its pages. */
  follow(changed: (news: News) => void, trouble: (message: string | null) => void): void {
    let events: EventSource | null = null;
    const listen = () => {
      events?.close();
      if (document.hidden) return;
      events = new EventSource(`/api/stream?${new URLSearchParams({ token: this.token })}`);
      events.onopen = () => trouble(null);
      events.onmessage = (event) => changed(JSON.parse(event.data));
      events.onerror = () => {
        if (events!.readyState !== EventSource.CLOSED) return trouble(GONE);  // it tries again by itself
        this.send("GET", "stream", {}, async (answer) => answer.body?.cancel()).catch((error) => trouble(error.message));  // which tells why
        setTimeout(listen, RETRY);
      };
    };
    document.addEventListener("visibilitychange", listen);
    listen();
  }
}

interface Held { overview: Overview; windows: number[]; text: Record<string, TextAnswer>; ledger: LedgerAnswer; profile: Record<string, ProfileAnswer> }
declare const DecompressionStream: new (form: string) => GenericTransformStream;

/** Answers from what was written into the page. */
export class EmbeddedFeed implements Feed {
  readonly inFile = true;

  private constructor(private readonly held: Held, private readonly windows: Layer[]) {}

  static async read(text: string): Promise<Feed> {
    const packed = new Blob([Uint8Array.from(atob(text), (digit) => digit.charCodeAt(0))]);
    const data = await new Response(packed.stream().pipeThrough(new DecompressionStream("gzip"))).arrayBuffer();
    const length = new DataView(data).getUint32(0, true);
    const held: Held = readJson(data, 4, length);
    let at = behind(4 + length);
    const windows = held.windows.map((size) => readWindow(data.slice(at, at += size)));
    return new EmbeddedFeed(held, windows.sort((one, other) => grain(other) - grain(one)));
  }

  async post(): Promise<unknown> { throw new Error("Nothing can be changed in a file."); }
  follow(): void {}

  async ask<T>(what: string, { port, line, count, text, back, case: matchCase, time, from, by }: Question = {}): Promise<T> {
    const { overview, ledger, profile } = this.held;
    const { lines, rows } = this.held.text[`port:${port}`] ?? { lines: 0, rows: [] };
    const answers: Record<string, () => object> = {
      overview: () => overview,
      text: () => ({ lines, held: rows.length, rows: rows.slice(+line, +line + +count) }),
      line: () => ({ line: rows.findIndex((row) => row.time >= time) }),
      ledger: () => ({ ...ledger, entries: ledger.entries.filter(({ index }) => index >= from && index < +from + +count) }),
      profile: () => ({ ...profile[by], whole: true }),
      find: () => {
        const found = rows.flatMap((row, at) => placeIn(row.text, String(text), Boolean(matchCase)) >= 0 ? [at] : []);
        return { line: (back ? found.reverse().find((at) => at <= line) : found.find((at) => at >= line)) ?? null };
      },
    };
    return answers[what]() as unknown as T;
  }

  async layers(from: number, to: number, pixels: number): Promise<Layer[]> {
    const wanted = (to - from) / pixels;
    const fit = this.windows.filter((layer) => layer.from < to && layer.to > from);
    const covering = fit.filter((layer) => layer.from <= from && layer.to >= to);
    const finest = covering[covering.length - 1];
    const base = finest?.exact ? finest : covering.find((layer) => grain(layer) <= wanted * 1.001) ?? finest;
    if (base && grain(base) <= wanted * 1.001) return [base];
    return fit.filter((layer) => layer === base || (grain(layer) < (base ? grain(base) : Infinity) && layer.to - layer.from > 2 * wanted));
  }
}
