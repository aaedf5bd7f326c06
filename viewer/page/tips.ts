// SPDX-License-Identifier: Apache-2.0
// What a row says at a place: the text beside the pointer.
import { type Brush, SIGNS, firstAbove } from "./brush";
import { type Arrays, type Layer, type Track, arraysOf, columnWidth } from "./feed";
import { count, hex, percent, plural, value, visible } from "./format";
import { SPAN_UNKNOWN, lineText } from "./rows";

const NEAR = 6;  // pixels in which something counts as pointed at
const SPAN_FLAGS: [number, string][] = [[1, "its end follows from later packets"], [2, "began before or unseen"],
  [4, "goes on behind"], [16, "suspect: beside damage"], [32, "salvaged"]];
const EVENT_FLAGS: [number, string][] =
  [[1, "suspect: beside damage"], [2, "salvaged"], [8, "time known within bounds"], [16, "time late"], [32, "no time"]];
const LOSSES = ["lost in the target", "damaged on the line", "lost in the host", "gap", "edge of what was recorded"];

function told(flags: number, names: [number, string][]): string {
  return names.filter(([bit]) => flags & bit).map(([, name], i) => (i > 0 ? ", " : "\n") + name).join("");
}

/** Index of the number nearest to `place` and at most `slack` off; of equals the first. */
function nearest(numbers: ArrayLike<number>, place: number, slack: number): number | null {
  let best: number | null = null;
  for (let i = firstAbove(numbers, place - slack - 1e-9); i < numbers.length && numbers[i] <= place + slack; i++)
    if (best === null || Math.abs(numbers[i] - place) < Math.abs(numbers[best] - place)) best = i;
  return best;
}

/** Tells of the first `most` stretches that are within `near` pixels of `place`, together with their own length. */
function stretchesAt(brush: Brush, begin: ArrayLike<number>, end: ArrayLike<number>, place: number, near: number, most: number,
                     tell: (index: number) => string): string[] {
  const lines: string[] = [];
  for (let i = 0; i < begin.length && lines.length < most; i++) {
    const slack = Math.max(brush.perPixel * near - Math.max(end[i] - begin[i], 0), 0) / 2;
    if (begin[i] - slack <= place && Math.max(end[i], begin[i]) + slack >= place) lines.push(tell(i));
  }
  return lines;
}

function spansAt(brush: Brush, { begin, end, offset, number, flags, depth }: Arrays, place: number): string {
  return stretchesAt(brush, begin, end, place, NEAR, 8, (i) => {
    const what = flags[i] & SPAN_UNKNOWN ? "not known: trace was lost" : number ? brush.exception(number[i]) : "active";
    return `${what} for ${brush.axis.span(end[i] - begin[i])}${depth[i] > 0 ? `, ${depth[i]} below it` : ""}\n` +
      `from ${brush.axis.at(begin[i], 1)}, offset ${count(offset[i])}${told(flags[i], SPAN_FLAGS)}`;
  }).join("\n");
}

function marksAt(brush: Brush, { marks: { time, end, offset, hint, count: times, class: kinds } }: Layer, place: number): string[] {
  return stretchesAt(brush, time ?? [], end, place, 2 * NEAR, 6, (i) => {
    const often = times[i] > 1 ? `, ${count(times[i])} times` : "";
    return `${SIGNS[kinds[i]] ?? "?"} ${hint[i] ? "hint: " : ""}${LOSSES[kinds[i]] ?? "lost"}${often}, offset ${count(offset[i])}`;
  });
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

function columnAt(brush: Brush, { kind, type = "" }: Track, layer: Layer, arrays: Arrays, place: number): string {
  const { axis } = brush;
  const width = columnWidth(layer);
  const i = nearest(arrays.time, place - width / 2, Math.max(width, NEAR * brush.perPixel) / 2);
  if (i === null) return "";
  const number = (name: string) => arrays[name]?.[i] ?? 0;
  const written = (name: string) => value(number(name), type);
  const when = (name: string, text: (number: number) => string) => number(name) > 0 ? [text(number(name))] : [];
  const what: Record<string, () => string[]> = {
    bandwidth: () => [axis.rate(number("bytes"), width) + (brush.capacity ? `, ${percent(number("bytes") / width / brush.capacity)} of the line` : ""),
      ...when("padding", (padding) => `${axis.rate(padding, width)} of it padding`),
      ...when("overflows", (overflows) => `${SIGNS[0]} ${plural(overflows, "overflow")} in the target`),
      ...when("damage", (damage) => `${SIGNS[1]} ${plural(damage, "place")} damaged`)],
    value: () => number("count") === 1 ? [written("last")]
      : [`${plural(number("count"), "value")}: min ${written("min")}, max ${written("max")}`, `first ${written("first")}, last ${written("last")}`],
    nesting: () => [...when("number", (exception) =>
      `mostly ${brush.exception(exception)}, ${percent(number("share"))} of the time; ${number("depth") + 1} deep`),
      ...when("unknown", (unknown) => `not known for ${percent(unknown)}`)],
    exception: () => [`entered ${plural(number("entries"), "time")}, active ${percent(number("share"))}`],
    text: () => [`${plural(number("lines"), "line")}, ${plural(number("bytes"), "byte")}`],
    counter: () => [`${plural(number("count"), "time")}, ${axis.often(number("count"), width)}`],
    pc: () => [`${plural(number("samples"), "sample")}, ${count(number("sleeping"))} asleep`],
  };
  return [...what[kind](), ...kind === "bandwidth" ? [] : [`summary of ${axis.span(width)}`]].join("\n");
}

/** The best answer about a place. */
export const bestAt = (layers: Layer[], place: number) => [...layers].reverse().find(({ from, to }) => from <= place && place <= to);

/** Lines of text about a place from the best of `layers`: what `track` shows there, none in the ruler, and what was lost. */
export function describe(brush: Brush, track: Track | undefined, layers: Layer[], place: number): string {
  const layer = bestAt(layers, place);
  const arrays = track && arraysOf(layer, track);
  const where = brush.axis.at(place, brush.perPixel);
  const what = !layer || !arrays ? "" : arrays.column ? columnAt(brush, track, layer, arrays, place)
    : arrays.begin ? spansAt(brush, arrays, place) : eventAt(brush, track, layer, arrays, place);
  const about = track ? [`${visible(track.label)} \u00b7 ${where}`, what || "nothing here"] : [where];
  return [...about, ...layer ? marksAt(brush, layer, place) : []].join("\n");
}
