// SPDX-License-Identifier: Apache-2.0
// How places, spans, numbers and untrusted text are written for people.

const UNSEEN = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufe00-\ufe0f\ufeff\ufff9-\ufffb\ud800-\udfff]|[\u{e0000}-\u{e0fff}]/gu;

/** Text of the trace as it may be shown: what cannot be seen, or turns the writing round, is replaced by a picture. */
export function visible(text: string): string {
  return text.replace(UNSEEN, (hidden) => {
    const code = hidden.codePointAt(0)!;
    if (code < 0x20) return String.fromCharCode(0x2400 + code);
    if (code === 0x7f) return "\u2421";
    if (code >= 0xd800 && code < 0xe000) return "\ufffd";
    return `\u27e8U+${code.toString(16).toUpperCase().padStart(4, "0")}\u27e9`;
  });
}

/** Where `sought` stands in a text, below 0 nowhere. Without `matchCase` A to Z are the same as a to z, and those alone. */
export function placeIn(text: string, sought: string, matchCase: boolean): number {
  const fold = (word: string) => matchCase ? word : word.replace(/[A-Z]/g, (letter) => letter.toLowerCase());
  return fold(text).indexOf(fold(sought));
}

export function count(number: number): string { return Math.round(number).toString().replace(/\B(?=(\d{3})+$)/g, ","); }
export function plural(number: number, one: string, more = one + "s"): string { return `${count(number)} ${number === 1 ? one : more}`; }
export function hex(number: number): string { return "0x" + number.toString(16).toUpperCase().padStart(8, "0"); }
export function percent(share: number): string { return `${(100 * share).toFixed(share > 0 && share < 0.0995 ? 1 : 0)} %`; }

/** A value of a track whose type is `type`. */
export function value(number: number, type: string): string {
  if (type === "hex") return hex(number);
  if (!Number.isFinite(number)) return Number.isNaN(number) ? "not a number" : `${number < 0 ? "\u2212" : ""}infinite`;
  if (type === "f32") return String(Number(number.toPrecision(7)));
  return (number < 0 ? "\u2212" : "") + count(Math.abs(number));
}

/** At most four digits, of which none is made up. */
function short(number: number): string { return number >= 1000 ? count(number) : String(Number(number.toPrecision(number >= 10 ? 3 : 2))); }

function scaled(number: number, units: [number, string][]): string {
  const [size, name] = units.find(([least]) => Math.abs(number) >= least * 0.9995) ?? units[units.length - 1];
  return `${short(number / size)} ${name}`;
}

const TIMES: [number, string][] = [[1e9, "s"], [1e6, "ms"], [1e3, "\u00b5s"], [1, "ns"]];
const RATES: [number, string][] = [[1e6, "MB/s"], [1e3, "kB/s"], [1, "B/s"]];
const FREQUENCIES: [number, string][] = [[1e6, "MHz"], [1e3, "kHz"], [1, "Hz"], [1e-3, "mHz"]];
const NAMES: Record<string, string> = {
  timestamps: "Target time, from timestamps", arrival: "Time of arrival, \u00b1100 ms", line: "Time on the line, not before",
  bytes: "Offset in the capture", ticks: "Target's ticks; the trace clock is not known",
};

/** The number line of a recording. */
export class Axis {
  readonly inTime = this.unit === "ns";
  readonly name = NAMES[this.unit === "ticks" ? "ticks" : this.kind] ?? this.kind;
  readonly least = this.inTime ? 100 : 16;  // the shortest view
  readonly length = Math.max(this.end - this.begin, this.least);
  private readonly word = this.unit === "bytes" ? "B" : "ticks";  // of a unit that is none of time

  constructor(readonly kind: string, readonly unit: string, readonly begin: number, readonly end: number) {}

  /** A place, told as finely as `step`. */
  at(place: number, step: number): string {
    if (!this.inTime) return `${count(place)} ${this.word}`;
    const digits = Math.min(9, Math.max(0, Math.ceil(9 - Math.log10(Math.max(step, 1)) - 1e-9)));
    const [whole, rest] = (Math.abs(place) / 1e9).toFixed(digits).split(".");
    const grouped = rest ? "." + rest.replace(/(\d{3})(?=\d)/g, "$1\u2009") : "";
    return `${place < 0 ? "\u2212" : ""}${count(Number(whole))}${grouped} s`;
  }

  span(length: number): string { return this.inTime ? scaled(length, TIMES) : `${short(length)} ${this.word}`; }

  /** How often something comes that comes every `length`. */
  frequency(length: number): string { return this.inTime && length > 0 ? scaled(1e9 / length, FREQUENCIES) : ""; }

  /** `bytes` over `length`. */
  rate(bytes: number, length: number): string {
    if (this.inTime) return scaled(bytes * 1e9 / length, RATES);
    return this.unit === "bytes" ? `${short(bytes / length)} B per byte of the capture` : `${short(bytes * 1000 / length)} B per 1,000 ticks`;
  }

  /** Something that was seen `number` times over `length`. */
  often(number: number, length: number): string {
    return this.inTime ? `${short(number * 1e6 / length)} per ms` : `${short(number * 1000 / length)} per 1,000 ${this.unit}`;
  }

  /** 1, 2 or 5 times a power of ten, at least `least`. */
  step(least: number): number {
    const power = 10 ** Math.floor(Math.log10(Math.max(least, 1)));
    return power * ([1, 2, 5, 10].find((factor) => factor * power >= least) ?? 10);
  }
}
