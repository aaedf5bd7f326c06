// SPDX-License-Identifier: Apache-2.0
// What a row says at a place: the text beside the pointer.
import { type Arrays, type Layer, type Track, grain } from "./feed";
import { count, hex, percent, plural, value, visible } from "./format";
import { type Brush, CLASSES, NO_TIME, SIGNS, SUSPECT, firstAbove, lineText } from "./rows";

const NEAR = 6;  // pixels in which an event counts as pointed at
const SPAN_FLAGS: [number, string][] = [[1, "its end follows from later packets"], [2, "began before or unseen"], [4, "goes on behind"], [16, "suspect"]];
const EVENT_FLAGS: [number, string][] = [[SUSPECT, "suspect: beside damage"], [2, "salvaged"], [8, "time known within bounds"], [16, "time late"], [NO_TIME, "no time"]];

function told(flags: number, names: [number, string][]): string {
  const found = names.filter(([bit]) => flags & bit).map(([, name]) => name);
  return found.length > 0 ? "\n" + found.join(", ") : "";
}

/** The event nearest to `place`, when it is near enough; of several at one place the first. */
function nearest(brush: Brush, times: ArrayLike<number>, place: number): number | null {
  let best: number | null = null;
  for (let i = Math.max(firstAbove(times, place - NEAR * brush.perPixel) - 1, 0); i < times.length; i++) {
    if (times[i]! > place + NEAR * brush.perPixel) break;
    if (best === null || Math.abs(times[i]! - place) < Math.abs(times[best]! - place)) best = i;
  }
  return best !== null && Math.abs(times[best]! - place) <= NEAR * brush.perPixel ? best : null;
}

/** The index of the column at `place`. */
function columnAt(layer: Layer, arrays: Arrays, place: number): number | null {
  const c = Math.min(Math.floor((place - layer.from) / grain(layer)), layer.pixels - 1);
  const column = arrays["column"];
  if (!column) return c;
  const i = firstAbove(column, c) - 1;
  return i >= 0 && column[i] === c ? i : null;
}

function spanAt(brush: Brush, arrays: Arrays, place: number): string {
  const { begin, end, number, flags, depth } = arrays as Record<string, Float64Array>;
  const lines: string[] = [];
  for (let i = 0; i < begin!.length && lines.length < 8; i++) {
    const slack = Math.max(brush.perPixel - (end![i]! - begin![i]!), 0) * NEAR / 2;
    if (begin![i]! - slack > place || end![i]! + slack < place) continue;
    const name = number ? brush.names.get(number[i]!) ?? (number[i] === 0 ? "thread" : `exception ${number[i]}`) : "active";
    const what = flags![i]! & 8 ? "not known: trace was lost" : visible(name);
    const level = depth && depth[i]! > 0 ? `, depth ${depth[i]}` : "";
    lines.push(`${what} for ${brush.axis.span(end![i]! - begin![i]!)}${level}\nfrom ${brush.axis.at(begin![i]!, 1)}${told(flags![i]!, SPAN_FLAGS)}`);
  }
  return lines.join("\n");
}

function eventAt(brush: Brush, track: Track, arrays: Arrays, place: number): string {
  const times = arrays["time"]!;
  const near = nearest(brush, times, place);
  const i = near ?? (track.kind === "value" ? firstAbove(times, place) - 1 : -1);
  if (i < 0) return "";
  const flags = arrays["flags"]![i]!;
  const where = `${near === null ? "since" : "at"} ${brush.axis.at(times[i]!, 1)}, offset ${count(arrays["offset"]![i]!)}${told(flags, EVENT_FLAGS)}`;
  if (track.kind === "value") return `${value(arrays["value"]![i]!, track.type ?? "")}${flags & 4 ? " written" : ""}\n${where}`;
  if (track.kind === "text") return `${lineText(arrays, i).slice(0, 500)}\n${where}`;
  if (track.kind === "pc") {
    const pc = arrays["pc"]![i]!;
    return `${pc === -1 ? "asleep" : pc === -2 ? "trace prohibited" : hex(pc)}\n${where}`;
  }
  return where;
}

function summaryAt(brush: Brush, track: Track, layer: Layer, arrays: Arrays, place: number): string {
  const i = columnAt(layer, arrays, place);
  if (i === null) return "";
  const number = (name: string) => arrays[name]?.[i] ?? 0;
  const width = grain(layer);
  const type = track.type ?? "";
  switch (track.kind) {
    case "value":
      return `${plural(number("count"), "value")}: min ${value(number("min"), type)}, max ${value(number("max"), type)}\n` +
        `first ${value(number("first"), type)}, last ${value(number("last"), type)}`;
    case "nesting":
      return `mostly ${visible(brush.names.get(number("number")) ?? (number("number") === 0 ? "thread" : `exception ${number("number")}`))}, ` +
        `${percent(number("share"))} in exceptions, at most ${plural(number("depth"), "level")} deep` +
        (number("unknown") > 0 ? `\nnot known for ${percent(number("unknown"))}` : "");
    case "exception":
      return `${plural(number("entries"), "entry").replace(/entrys$/, "entries")}, active ${percent(number("share"))}`;
    case "text":
      return `${plural(number("lines"), "line")}, ${plural(number("bytes"), "byte")}`;
    case "counter":
      return `${plural(number("count"), "time")}, ${brush.axis.often(number("count"), width)}`;
    case "pc":
      return `${plural(number("samples"), "sample")}, ${count(number("sleeping"))} asleep`;
    default:
      return "";
  }
}

function bandwidthAt(brush: Brush, layer: Layer, arrays: Arrays, place: number): string {
  const width = (layer.to - layer.from) / layer.pixels;
  const i = Math.min(Math.floor((place - layer.from) / width), layer.pixels - 1);
  const bytes = arrays["bytes"]![i]!;
  const { baud } = brush.overview;
  const used = baud && brush.axis.unit === "ns" ? `, ${percent(bytes * 1e9 / width / (baud / 10))} of the line` : "";
  const lines = [`${brush.axis.rate(bytes, width)}${used}`];
  if (arrays["padding"]![i]! > 0) lines.push(`${brush.axis.rate(arrays["padding"]![i]!, width)} of it padding`);
  if (arrays["overflows"]![i]! > 0) lines.push(`${SIGNS[0]} ${plural(arrays["overflows"]![i]!, "overflow")} in the target`);
  if (arrays["damage"]![i]! > 0) lines.push(`${SIGNS[1]} ${plural(arrays["damage"]![i]!, "place")} damaged`);
  return lines.join("\n");
}

/** Lines of text about `track` at `place`, from the best of `layers`. */
export function describe(brush: Brush, track: Track, layers: Layer[], place: number): string {
  const head = `${visible(track.label)} \u00b7 ${brush.axis.at(place, brush.perPixel)}`;
  const layer = [...layers].reverse().find(({ from, to }) => from <= place && place <= to);
  const arrays = layer?.tracks.get(track.id);
  if (!layer) return head;
  const nothing = `${head}\nnothing here`;
  if (!arrays) return nothing;
  if (track.kind === "bandwidth") return `${head}\n${bandwidthAt(brush, layer, arrays, place)}`;
  if (!layer.exact) {
    const summary = summaryAt(brush, track, layer, arrays, place);
    return summary ? `${head}\n${summary}\nsummary of ${brush.axis.span(grain(layer))}` : nothing;
  }
  const text = arrays["begin"] ? spanAt(brush, arrays, place) : eventAt(brush, track, arrays, place);
  return text ? `${head}\n${text}` : nothing;
}

/** What was lost within some pixels of `place`. */
export function describeMarks(brush: Brush, layers: Layer[], place: number): string {
  const lines: string[] = [];
  const layer = [...layers].reverse().find(({ from, to }) => from <= place && place <= to);
  const { time, end, offset, hint, count: times } = layer?.marks ?? {};
  const kinds = layer?.marks["class"];
  if (!time || !kinds) return "";
  const slack = NEAR * brush.perPixel;
  for (let i = 0; i < time.length && lines.length < 6; i++) {
    if (time[i]! - slack > place || Math.max(end![i]!, time[i]!) + slack < place) continue;
    const [one, what] = [["lost in the target", "places lost in the target"], ["damaged on the line", "places damaged on the line"], ["lost in the host", "places lost in the host"],
      ["gap", "gaps"], ["edge of the recording", "edges"]].map((names) => names as [string, string])[kinds[i]!] ?? ["lost", "lost"];
    lines.push(`${SIGNS[kinds[i]!] ?? "?"} ${hint![i] ? "hint: " : ""}${times![i] === 1 ? one : `${count(times![i]!)} ${what}`}, offset ${count(offset![i]!)}`);
  }
  return lines.join("\n");
}

export function className(kind: number): string {
  return CLASSES[kind] ?? "edge";
}
