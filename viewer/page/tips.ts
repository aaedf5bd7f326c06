// SPDX-License-Identifier: Apache-2.0
// What a row says at a place: the text beside the pointer.
import { type Brush, SIGNS, firstAbove } from "./brush";
import { type Arrays, type Layer, type Track, arraysOf, grain } from "./feed";
import { count, hex, percent, plural, value, visible } from "./format";
import { SPAN_UNKNOWN, lineText } from "./rows";

const NEAR = 6;  // pixels in which something counts as pointed at
const SPAN_FLAGS: [number, string][] =
  [[1, "its end follows from later packets"], [2, "began before or unseen"], [4, "goes on behind"], [16, "suspect: beside damage"],
    [32, "salvaged"]];
const EVENT_FLAGS: [number, string][] =
  [[1, "suspect: beside damage"], [2, "salvaged"], [8, "time known within bounds"], [16, "time late"], [32, "no time"]];
const LOSSES = ["lost in the target", "damaged on the line", "lost in the host", "gap", "edge of what was recorded"];

function told(flags: number, names: [number, string][]): string {
  const found = names.filter(([bit]) => flags & bit).map(([, name]) => name);
  return found.length > 0 ? "\n" + found.join(", ") : "";
}

/** Index of the number nearest to `place` and at most `slack` off; of equals the first. */
function nearest(numbers: ArrayLike<number>, place: number, slack: number): number | null {
  let best: number | null = null;
  for (let i = firstAbove(numbers, place - slack - 1e-9); i < numbers.length && numbers[i] <= place + slack; i++)
    if (best === null || Math.abs(numbers[i] - place) < Math.abs(numbers[best] - place)) best = i;
  return best;
}

function spanAt(brush: Brush, { begin, end, offset, number, flags, depth }: Arrays, place: number): string {
  const lines: string[] = [];
  for (let i = 0; i < begin.length && lines.length < 8; i++) {
    const length = end[i] - begin[i];
    const slack = Math.max(brush.perPixel * NEAR - length, 0) / 2;
    if (begin[i] - slack > place || end[i] + slack < place) continue;
    const what = flags[i] & SPAN_UNKNOWN ? "not known: trace was lost" : number ? brush.exception(number[i]) : "active";
    lines.push(`${what} for ${brush.axis.span(length)}${depth[i] > 0 ? `, ${depth[i]} below it` : ""}\n` +
      `from ${brush.axis.at(begin[i], 1)}, offset ${count(offset[i])}${told(flags[i], SPAN_FLAGS)}`);
  }
  return lines.join("\n");
}

/** PC and address that a comparator sent with the value at `offset`: behind its last value. */
function matchOf(comparator: number, layer: Layer, offset: number): string {
  const last = (kind: string) => {
    const { offset: offsets = [], value: numbers = [] } = layer.tracks.get(`watch:${comparator}:${kind}`) ?? {};
    const i = firstAbove(offsets, offset - 0.5) - 1;
    return { at: offsets[i] ?? -1, number: numbers[i] };
  };
  const before = Math.max(last("read").at, last("write").at);
  const sent = [["PC", last("pc")], ["address", last("address")]] as const;
  return sent.map(([name, { at, number }]) => at > before ? `\n${name} ${hex(number)}` : "").join("");
}

function eventAt(brush: Brush, track: Track, layer: Layer, arrays: Arrays, place: number): string {
  const times = arrays.time;
  const near = nearest(times, place, NEAR * brush.perPixel);
  const i = near ?? (track.kind === "value" ? firstAbove(times, place) - 1 : -1);
  if (i < 0) return "";
  const flags = arrays.flags[i];
  const where = `${near === null ? "since" : "at"} ${brush.axis.at(times[i], 1)}, offset ${count(arrays.offset[i])}${told(flags, EVENT_FLAGS)}`;
  const pc = arrays.pc?.[i] ?? 0;
  const what: Record<string, () => string> = {
    value: () => value(arrays.value[i], track.type ?? "") + (flags & 4 ? " written" : "") +
      (/:(read|write)$/.test(track.id) ? matchOf(track.comparator!, layer, arrays.offset[i]) : "") + "\n",
    text: () => lineText(arrays, i).slice(0, 500) + "\n",
    pc: () => (pc === -1 ? "asleep" : pc === -2 ? "trace prohibited" : hex(pc)) + "\n",
    counter: () => i > 0 ? `${brush.axis.often(firstAbove(times, times[i]) - i, times[i] - times[i - 1])} since the one before\n` : "",
  };
  return (what[track.kind]?.() ?? "") + where;
}

function summaryAt(brush: Brush, track: Track, layer: Layer, arrays: Arrays, place: number): string {
  const width = grain(layer);
  const i = nearest(arrays.time, place - width / 2, Math.max(width, NEAR * brush.perPixel) / 2);
  if (i === null) return "";
  const number = (name: string) => arrays[name]?.[i] ?? 0;
  const written = (name: string) => value(number(name), track.type ?? "");
  const what: Record<string, () => string> = {
    value: () => number("count") === 1 ? written("last") : `${plural(number("count"), "value")}: min ${written("min")}, max ${written("max")}\nfirst ${written("first")}, last ${written("last")}`,
    nesting: () => [number("number") > 0 ? `mostly ${brush.exception(number("number"))}, ${percent(number("share"))} of the time; ${number("depth") + 1} deep` : "",
      number("unknown") > 0 ? `not known for ${percent(number("unknown"))}` : ""].filter((line) => line).join("\n"),
    exception: () => `entered ${plural(number("entries"), "time")}, active ${percent(number("share"))}`,
    text: () => `${plural(number("lines"), "line")}, ${plural(number("bytes"), "byte")}`,
    counter: () => `${plural(number("count"), "time")}, ${brush.axis.often(number("count"), width)}`,
    pc: () => `${plural(number("samples"), "sample")}, ${count(number("sleeping"))} asleep`,
  };
  return `${what[track.kind]()}\nsummary of ${brush.axis.span(width)}`;
}

function bandwidthAt({ axis, overview: { baud } }: Brush, layer: Layer, arrays: Arrays, place: number): string {
  const width = (layer.to - layer.from) / layer.pixels;
  const i = Math.min(Math.floor((place - layer.from) / width), layer.pixels - 1);
  const [bytes, padding, overflows, damage] = ["bytes", "padding", "overflows", "damage"].map((name) => arrays[name][i]);
  const used = baud && axis.inTime ? `, ${percent(bytes * 1e9 / width / (baud / 10))} of the line` : "";
  return `${axis.rate(bytes, width)}${used}` + (padding > 0 ? `\n${axis.rate(padding, width)} of it padding` : "") +
    (overflows > 0 ? `\n${SIGNS[0]} ${plural(overflows, "overflow")} in the target` : "") +
    (damage > 0 ? `\n${SIGNS[1]} ${plural(damage, "place")} damaged` : "");
}

/** The best answer about a place. */
export function bestAt(layers: Layer[], place: number): Layer | undefined {
  return [...layers].reverse().find(({ from, to }) => from <= place && place <= to);
}

/** Lines of text about `track` at `place`, from the best of `layers`. */
export function describe(brush: Brush, track: Track, layers: Layer[], place: number): string {
  const layer = bestAt(layers, place);
  const arrays = arraysOf(layer, track);
  const what = !layer || !arrays ? "" : track.kind === "bandwidth" ? bandwidthAt(brush, layer, arrays, place)
    : !layer.exact ? summaryAt(brush, track, layer, arrays, place)
    : arrays.begin ? spanAt(brush, arrays, place) : eventAt(brush, track, layer, arrays, place);
  return `${visible(track.label)} \u00b7 ${brush.axis.at(place, brush.perPixel)}\n${what || "nothing here"}`;
}

/** What was lost within some pixels of `place`. */
export function describeMarks(brush: Brush, layers: Layer[], place: number): string {
  const { time, end, offset, hint, count: times, class: kinds } = bestAt(layers, place)?.marks ?? {};
  const lines: string[] = [];
  const slack = NEAR * brush.perPixel;
  for (let i = 0; i < (time?.length ?? 0) && lines.length < 6; i++) {
    if (time[i] - slack > place || Math.max(end[i], time[i]) + slack < place) continue;
    const often = times[i] > 1 ? `, ${count(times[i])} times` : "";
    lines.push(`${SIGNS[kinds[i]] ?? "?"} ${hint[i] ? "hint: " : ""}${LOSSES[kinds[i]] ?? "lost"}${often}, offset ${count(offset[i])}`);
  }
  return lines.join("\n");
}
