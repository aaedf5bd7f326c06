// SPDX-License-Identifier: Apache-2.0
// Draws the rows of the time line. Never one rectangle an event where there are more events than pixels.
import { make } from "./elements";
import { type Arrays, type Layer, type Overview, type Track, arraysOf, grain } from "./feed";
import { type Axis, plural, value, visible } from "./format";

export interface Row {
  track: Track; top: number; height: number; label: HTMLButtonElement;
  low: number; high: number;  // of what is in view
}

export const SUSPECT = 1;  // flag of events
export const SPAN_UNKNOWN = 8;
const SPAN_SUSPECT = 16;
const LEVEL = 15;  // height of one level of nesting, as in the style
export const CLASSES = ["target", "line", "host", "gap", "edge"];  // of losses, by number
export const SIGNS = ["\u25bc", "\u2715", "\u25a0", "\u25c6", "\u2502"];
export const CLASS_COLORS = ["target", "damage", "host", "gap", "edge"];

/** Colours, patterns and the scale of one picture. */
export class Brush {
  readonly hatch: CanvasPattern;
  readonly perPixel: number;

  constructor(readonly ctx: CanvasRenderingContext2D, readonly colors: Record<string, string>, readonly from: number, readonly to: number,
              readonly width: number, readonly axis: Axis, readonly overview: Overview) {
    this.perPixel = (to - from) / width;
    const tile = make("canvas", { width: 6, height: 6 });
    const pen = tile.getContext("2d")!;
    pen.strokeStyle = colors.hatch;
    pen.stroke(new Path2D("M-7 7L1-1M-1 7L7-1M5 7L13-1"));
    this.hatch = ctx.createPattern(tile, "repeat")!;
  }

  x(place: number): number { return (place - this.from) / (this.to - this.from) * this.width; }

  /** A colour for an exception; which one it is also stands in its name. */
  hue(number: number): string { return `hsl(${(number * 137.5) % 360} 55% ${this.colors.lightness})`; }

  exception(wanted: number): string {
    const track = this.overview.tracks.find(({ number }) => number === wanted);
    return visible(track?.label ?? (wanted === 0 ? "thread" : `exception ${wanted}`));
  }

  rectangle(x0: number, y: number, x1: number, height: number, style: string | CanvasPattern): void {
    this.ctx.fillStyle = style;
    this.ctx.fillRect(x0, y, x1 - x0, height);
  }

  text(text: string, x: number, y: number, style = this.colors.ink): void {
    this.ctx.fillStyle = style;
    this.ctx.fillText(text, x, y);
  }

  /** A faint text that stays legible on whatever is below it. */
  caption(text: string, y: number): void {
    this.ctx.globalAlpha = 0.75;
    this.rectangle(2, y - 7, 6 + this.ctx.measureText(text).width, 14, this.colors.back);
    this.ctx.globalAlpha = 1;
    this.text(text, 4, y, this.colors.faint);
  }

  /** A text between two places, as much of it as has the room. */
  fitted(text: string, x0: number, x1: number, y: number): void {
    const left = Math.max(x0, 0) + 3;
    const room = Math.min(x1, this.width) - left - 2;
    if (room < 18) return;
    let part = text.slice(0, 200);
    const { width } = this.ctx.measureText(part);
    if (width > room) part = part.slice(0, Math.floor(part.length * room / width) - 2) + "\u2026";
    if (this.ctx.measureText(part).width <= room) this.text(part, left, y);
  }
}

/** Index of the first number of a rising array that is above `limit`. */
export function firstAbove(numbers: ArrayLike<number>, limit: number): number {
  let low = 0;
  for (let high = numbers.length; low < high;) {
    const middle = (low + high) >> 1;
    if (numbers[middle] > limit) high = middle;
    else low = middle + 1;
  }
  return low;
}

type Draw = (index: number, x0: number, x1: number) => void;

/** What is in view: of a summary the whole pixels of each column, of an exact layer the events, with one before and one behind. */
export function each(brush: Brush, layer: Layer, { time }: Arrays, draw: Draw): void {
  const width = grain(layer);
  const more = layer.exact ? 1 : 0;
  const last = Math.min(firstAbove(time, brush.to) + more, time.length);
  for (let i = Math.max(firstAbove(time, brush.from - width) - more, 0); i < last; i++) {
    const [x0, x1] = [brush.x(time[i]), brush.x(time[i] + width)];
    if (layer.exact) draw(i, x0, x0);
    else draw(i, Math.round(x0), Math.max(Math.round(x1), Math.round(x0) + 1));
  }
}

/** Spans in view, at least a pixel wide; of those of one depth that would fall into the same pixel, the first. */
function spans(brush: Brush, { begin, end, depth }: Arrays, draw: Draw): void {
  const drawn: number[] = [];
  for (let i = 0; i < begin.length; i++) {
    if (end[i] < brush.from || begin[i] > brush.to) continue;
    const x0 = Math.max(brush.x(begin[i]), -2);
    const x1 = Math.min(Math.max(brush.x(end[i]), x0 + 1), brush.width + 2);
    if (x1 <= (drawn[depth[i]] ?? -3)) continue;
    drawn[depth[i]] = Math.ceil(x1);
    draw(i, x0, x1);
  }
}

/** Adds up a dense array of layers, pixel by pixel; of a finer layer in place of what was there. */
function gather(brush: Brush, layers: Layer[], id: string, name: string): Float64Array {
  const sums = new Float64Array(Math.ceil(brush.width));
  for (const layer of layers) {
    const width = (layer.to - layer.from) / layer.pixels;
    const numbers = layer.tracks.get(id)?.[name] ?? [];
    sums.fill(0, Math.max(Math.floor(brush.x(layer.from)), 0), Math.max(Math.ceil(brush.x(layer.to)), 0));
    const end = Math.min(Math.ceil((brush.to - layer.from) / width), layer.pixels);
    for (let c = Math.max(Math.floor((brush.from - layer.from) / width), 0); c < end; c++) {
      if (!numbers[c]) continue;
      const x0 = brush.x(layer.from + c * width);
      const x1 = brush.x(layer.from + (c + 1) * width);
      for (let p = Math.max(Math.floor(x0), 0); p < Math.min(x1, brush.width); p++)
        sums[p] += numbers[c] * (Math.min(p + 1, x1) - Math.max(p, x0)) / (x1 - x0);
    }
  }
  return sums;
}

function paintBandwidth(brush: Brush, { top, height, track }: Row, layers: Layer[]): void {
  const [bytes, padding, overflows, damage] = ["bytes", "padding", "overflows", "damage"].map((name) => gather(brush, layers, track.id, name));
  const { baud } = brush.overview;
  const capacity = baud && brush.axis.inTime ? baud / 10 * brush.perPixel / 1e9 : 0;
  const peak = bytes.reduce((most, number) => Math.max(most, number), 0);
  const high = capacity > 0 && peak > capacity / 8 ? Math.max(capacity, peak) : peak;
  if (high === 0) return;
  const bottom = top + height - 10;
  const scale = (height - 16) / high;
  bytes.forEach((number, p) => {
    const useful = (number - Math.min(padding[p], number)) * scale;
    if (useful > 0) brush.rectangle(p, bottom - useful, p + 1, useful, brush.colors.second);
    if (padding[p]) brush.rectangle(p, bottom - number * scale, p + 1, number * scale - useful, brush.colors.padding);
    if (overflows[p]) brush.rectangle(p, bottom + 2, p + 1, 6, brush.colors.target);
    if (damage[p]) brush.rectangle(p, top + 1, p + 1, 5, brush.colors.damage);
  });
  if (high === capacity) brush.rectangle(0, Math.floor(bottom - capacity * scale), brush.width, 1, brush.colors.line);
  brush.caption(brush.axis.rate(high / brush.perPixel, 1), top + 14);
}

/** One exception, or all of them one above the other. */
function paintExceptions(brush: Brush, row: Row, layer: Layer, arrays: Arrays): void {
  const nested = row.track.kind === "nesting";
  const bottom = row.top + row.height - 4;
  const most = row.height - 8;
  const { number, depth, share, unknown, begin, end, flags } = arrays;
  const hue = (i: number) => brush.hue(nested ? number[i] : row.track.number ?? 1);
  if (!layer.exact) return each(brush, layer, arrays, (i, x0, x1) => {
    const tall = !nested ? most : number[i] === 0 ? 0 : (depth[i] + 1) * LEVEL;
    const ran = nested ? tall * share[i] : Math.max(tall * share[i], 2);
    if (nested) brush.rectangle(x0, bottom - tall, x1, tall, brush.colors.band);
    brush.rectangle(x0, bottom - ran, x1, ran, hue(i));
    if (unknown?.[i] > 0) brush.rectangle(x0, row.top + 2, x1, (row.height - 4) * unknown[i], brush.hatch);
  });
  spans(brush, arrays, (i, x0, x1) => {
    if (nested && flags[i] & SPAN_UNKNOWN && end[i] > begin[i]) brush.rectangle(x0, row.top + 2, x1, row.height - 4, brush.hatch);
    if (nested && (flags[i] & SPAN_UNKNOWN || number[i] === 0)) return;
    const [y, tall] = nested ? [bottom - (depth[i] + 1) * LEVEL, LEVEL - 1] : [bottom - most, most];
    brush.rectangle(x0, y, x1, tall, hue(i));
    if (flags[i] & (SPAN_SUSPECT | SPAN_UNKNOWN)) brush.rectangle(x0, y, x1, tall, brush.hatch);
    if (nested) brush.fitted(brush.exception(number[i]), x0, x1, y + LEVEL / 2);
  });
}

/** Lowest and highest number in view, suspects and what is no address left out. */
function findScale(brush: Brush, row: Row, layers: Layer[]): void {
  [row.low, row.high] = [Infinity, -Infinity];
  const see = (low: number, high: number) => { [row.low, row.high] = [Math.min(row.low, low), Math.max(row.high, high)]; };
  for (const layer of layers) {
    const arrays = arraysOf(layer, row.track) ?? {};
    const { flags, pc, min = pc, max = pc } = arrays;
    if (min) each(brush, layer, arrays, (i) => { if (!(flags?.[i] & SUSPECT) && !(pc?.[i] < 0)) see(min[i], max[i]); });
  }
}

function height({ top, height, low, high }: Row, number: number): number {
  if (!(high > low)) return top + height / 2;
  return top + height - 9 - (Math.min(Math.max(number, low), high) - low) / (high - low) * (height - 18);
}

function paintScale(brush: Brush, { track, top, height, low, high }: Row): void {
  const type = track.kind === "pc" ? "hex" : track.type ?? "";
  if (high >= low) brush.caption(value(high, type), top + 9);
  if (high > low) brush.caption(value(low, type), top + height - 9);
}

/** The value that holds at `place`, as the best of `layers` knows it. */
function heldAt({ track }: Row, layers: Layer[], place: number): number | null {
  let [since, held]: [number, number | null] = [-Infinity, null];
  for (const layer of layers) {
    const { time = [], last } = arraysOf(layer, track) ?? {};
    const i = firstAbove(time, place - grain(layer)) - 1;
    const known = layer.to >= place && !(time[i + 1] < place);  // else it does not tell what came later
    if (known && time[i] >= since) [since, held] = [time[i], last![i]];
  }
  return held;
}

function paintValue(brush: Brush, row: Row, layer: Layer, arrays: Arrays, layers: Layer[]): void {
  const { ctx } = brush;
  const { min, max, time, flags, first, last } = arrays;
  const apart = brush.width / Math.max(firstAbove(time, brush.to) - firstAbove(time, brush.from), 1);
  const path = new Path2D();
  const held = heldAt(row, layers, layer.from);
  let before = held === null ? null : height(row, held);  // where the line is
  if (before !== null) path.moveTo(brush.x(layer.from), before);
  ctx.strokeStyle = brush.colors.data;
  ctx.lineWidth = 1.5;
  each(brush, layer, arrays, (i, x0, x1) => {
    const y = height(row, first[i]);
    if (flags?.[i] & SUSPECT) {
      brush.rectangle(x0 - 4, y - 4, x0 + 4, 8, brush.hatch);
      return ctx.strokeRect(x0 - 4, y - 4, 8, 8);
    }
    const top = height(row, max[i]);
    if (!layer.exact) brush.rectangle(x0, top - 0.5, x1, Math.max(height(row, min[i]) - top, 0) + 1, brush.colors.second);
    else if (apart > 5) brush.rectangle(x0 - 2, y - 2, x0 + 2, 4, brush.colors.data);
    if (before === null) path.moveTo(x0, y);
    else path.lineTo(x0, before);  // a value holds until the next
    path.lineTo(x0, y);
    path.lineTo(x1, before = height(row, last[i]));
  });
  if (before !== null) path.lineTo(brush.x(layer.to), before);
  ctx.stroke(path);
}

/** Text of line `i` of an exact layer. */
export function lineText(arrays: Arrays, i: number): string {
  const bytes = arrays.bytes as Uint8Array;
  const line = bytes.subarray(arrays.start[i], arrays.start[i + 1] ?? bytes.length).subarray(0, 4096);
  return visible(new TextDecoder().decode(line).replace(/\r?\n$/, ""));
}

function paintText(brush: Brush, { top, height }: Row, layer: Layer, arrays: Arrays): void {
  const middle = top + height / 2;
  if (!layer.exact) return each(brush, layer, arrays, (i, x0, x1) => {
    const tall = Math.min(4 + 3 * Math.log2(1 + arrays.bytes[i] / (x1 - x0)), height - 8);
    brush.rectangle(x0, middle - tall / 2, x1, tall, brush.colors.second);
  });
  const { time, flags } = arrays;
  let drawn = -Infinity;
  each(brush, layer, arrays, (i, x) => {
    const next = i + 1 < time.length ? brush.x(time[i + 1]) : Infinity;
    if (x < drawn + 1 && next < x + 20) return;
    brush.rectangle(drawn = x, top + 5, x + 1.5, height - 10, brush.colors.data);
    if (next - x > 20) brush.fitted(lineText(arrays, i), x + 1, next, middle);
    if (flags[i] & SUSPECT) brush.rectangle(x, top + 5, Math.min(next, x + 40), height - 10, brush.hatch);
  });
}

/** How often something came: event counters, and PC samples in summaries. */
function paintCounts(brush: Brush, { top, height }: Row, layer: Layer, arrays: Arrays): void {
  const bottom = top + height - 5;
  const room = height - 11;
  let drawn = -Infinity;
  if (layer.exact) return each(brush, layer, arrays, (i, x) => {
    const suspect = arrays.flags[i] & SUSPECT;
    if (x >= drawn + 1 || suspect) brush.rectangle(x, top + 6, x + (suspect ? 5 : 1), room, suspect ? brush.hatch : brush.colors.data);
    drawn = x;
  });
  const numbers = arrays.count ?? arrays.samples;
  let most = 1;
  each(brush, layer, arrays, (i) => { most = Math.max(most, numbers[i]); });
  each(brush, layer, arrays, (i, x0, x1) => {
    const tall = Math.max(numbers[i] / most * room, 1);
    const asleep = (arrays.sleeping?.[i] ?? 0) / most * room;
    brush.rectangle(x0, bottom - tall, x1, tall, brush.colors.second);
    brush.rectangle(x0, bottom - asleep, x1, asleep, brush.colors.padding);
  });
}

/** Every sample by its address; asleep and prohibited below the line. */
function paintSamples(brush: Brush, row: Row, layer: Layer, arrays: Arrays): void {
  const { pc, flags } = arrays;
  const bottom = row.top + row.height - 7;
  brush.rectangle(0, bottom, brush.width, 1, brush.colors.grid);
  let column = NaN;
  const drawn = new Set<number>();  // in this column of pixels: heights, and kinds of what has none
  each(brush, layer, arrays, (i, x) => {
    const suspect = flags[i] & SUSPECT;
    const y = Math.round(height(row, pc[i]));
    const what = pc[i] < 0 ? pc[i] : suspect ? y + 1e6 : y;
    if (column !== Math.round(x)) drawn.clear();
    else if (drawn.has(what)) return;
    column = Math.round(x);
    drawn.add(what);
    if (pc[i] < 0) brush.rectangle(x, bottom + 1, x + 2, pc[i] === -1 ? 3 : 5, brush.colors[pc[i] === -1 ? "padding" : "damage"]);
    else brush.rectangle(x - 1, height(row, pc[i]) - 1, x + (suspect ? 6 : 1.5), suspect ? 7 : 2.5, suspect ? brush.hatch : brush.colors.data);
  });
}

type Painter = (brush: Brush, row: Row, layer: Layer, arrays: Arrays, layers: Layer[]) => void;
const PAINTERS: Record<string, Painter> =
  { nesting: paintExceptions, exception: paintExceptions, value: paintValue, text: paintText, samples: paintSamples };

/** Draws one row from all layers, coarsest first, each inside its own window. */
export function paintRow(brush: Brush, row: Row, layers: Layer[]): void {
  const { ctx } = brush;
  const { kind } = row.track;
  if (kind === "bandwidth") return paintBandwidth(brush, row, layers);
  const scaled = kind === "value" || kind === "pc";
  if (scaled) findScale(brush, row, layers);
  for (const layer of layers) {
    const left = Math.max(brush.x(layer.from), 0);
    const right = Math.min(brush.x(layer.to), brush.width);
    if (right <= left) continue;
    ctx.save();
    ctx.beginPath();
    ctx.rect(left, row.top, right - left, row.height - 1);
    ctx.clip();
    if (layer !== layers[0]) ctx.clearRect(left, row.top, right - left, row.height - 1);
    const arrays = arraysOf(layer, row.track);
    const paint = PAINTERS[kind === "pc" && layer.exact ? "samples" : kind] ?? paintCounts;
    if (arrays) paint(brush, row, layer, arrays, layers);
    ctx.restore();
  }
  if (scaled) paintScale(brush, row);
}

/** The second line of a row's name. */
export function totalText({ kind, total, type }: Track): string {
  const units: Record<string, string> = { value: "value", counter: "time", pc: "sample" };
  return plural(total, units[kind] ?? "packet") + (type && type !== "hex" ? ", " + type : "");
}
