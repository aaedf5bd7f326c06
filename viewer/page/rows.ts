// SPDX-License-Identifier: Apache-2.0
// Draws the rows of the time line. Never one rectangle an event where there are more events than pixels.
import { type Arrays, type Layer, type Overview, type Track, grain } from "./feed";
import { type Axis, count, value, visible } from "./format";

export interface Row {
  track: Track; top: number; height: number;
  label: HTMLButtonElement;
  low: number; high: number;  // of what is shown
}

export const SUSPECT = 1;
export const NO_TIME = 32;
const SPAN_UNKNOWN = 8;
const SPAN_SUSPECT = 16;
const LEVEL = 15;  // height of one level of nesting
const HEIGHTS: Record<string, number> = { bandwidth: 58, nesting: 2 * LEVEL + 8, exception: 24, text: 30, value: 66, counter: 32, pc: 46 };
export const CLASSES = ["target", "line", "host", "gap", "edge"];
export const SIGNS = ["\u25bc", "\u2715", "\u25a0", "\u25c6", "\u2502"];

export function rowHeight(track: Track, deepest: number): number {
  return track.kind === "nesting" ? Math.max(2, Math.min(deepest, 8)) * LEVEL + 8 : HEIGHTS[track.kind] ?? 24;
}

/** Colours, patterns and the scale of one picture. */
export class Brush {
  readonly hatch: CanvasPattern;
  names = new Map<number, string>();

  constructor(readonly ctx: CanvasRenderingContext2D, readonly colors: Record<string, string>, readonly from: number,
              readonly to: number, readonly width: number, readonly axis: Axis, readonly overview: Overview) {
    const tile = document.createElement("canvas");
    tile.width = tile.height = 6;
    const pen = tile.getContext("2d")!;
    pen.strokeStyle = colors["hatch"]!;
    pen.beginPath();
    for (const shift of [-6, 0, 6]) {
      pen.moveTo(shift - 1, 7);
      pen.lineTo(shift + 7, -1);
    }
    pen.stroke();
    this.hatch = ctx.createPattern(tile, "repeat")!;
  }

  get perPixel(): number {
    return (this.to - this.from) / this.width;
  }

  x(place: number): number {
    return (place - this.from) / (this.to - this.from) * this.width;
  }

  color(name: string): string {
    return this.colors[name]!;
  }

  /** A colour for an exception; which one it is also stands in its name. */
  hue(number: number): string {
    return number === 0 ? this.color("grid") : `hsl(${(number * 137.5) % 360} 55% ${this.color("lightness")})`;
  }

  rectangle(x0: number, y: number, x1: number, height: number, style: string | CanvasPattern): void {
    this.ctx.fillStyle = style;
    this.ctx.fillRect(x0, y, x1 - x0, height);
  }

  text(text: string, x: number, y: number, style = this.color("ink")): void {
    this.ctx.fillStyle = style;
    this.ctx.fillText(text, x, y);
  }
}

/** Index of the first number of a rising array that is above `limit`. */
export function firstAbove(numbers: ArrayLike<number>, limit: number): number {
  let low = 0;
  for (let high = numbers.length; low < high;) {
    const middle = (low + high) >> 1;
    if (numbers[middle]! > limit) high = middle;
    else low = middle + 1;
  }
  return low;
}

/** The part of a sparse or dense layer that is in view: index and whole pixels of each column. */
function columns(brush: Brush, layer: Layer, arrays: Arrays, draw: (index: number, x0: number, x1: number) => void): void {
  const width = (layer.to - layer.from) / layer.pixels;
  const column = arrays["column"];
  const total = column ? column.length : layer.pixels;
  const first = Math.floor((brush.from - layer.from) / width);
  for (let i = column ? firstAbove(column, first - 1) : Math.max(first, 0); i < total; i++) {
    const c = column ? column[i]! : i;
    const x0 = Math.floor(brush.x(layer.from + c * width));
    if (x0 > brush.width) return;
    const x1 = Math.floor(brush.x(layer.from + (c + 1) * width));
    if (x1 >= 0) draw(i, x0, Math.max(x1, x0 + 1));
  }
}

/** The events of an exact layer that are in view, with one before and one behind. */
function events(brush: Brush, times: ArrayLike<number>, draw: (index: number, x: number) => void): void {
  const last = Math.min(firstAbove(times, brush.to) + 1, times.length);
  for (let i = Math.max(firstAbove(times, brush.from) - 1, 0); i < last; i++) draw(i, brush.x(times[i]!));
}

/** What a dense array of a layer adds up to, pixel by pixel. */
function gather(brush: Brush, layer: Layer, numbers: ArrayLike<number>, sums: Float64Array): void {
  const width = (layer.to - layer.from) / layer.pixels;
  sums.fill(0, Math.max(Math.floor(brush.x(layer.from)), 0), Math.max(Math.ceil(brush.x(layer.to)), 0));
  const begin = Math.max(Math.floor((brush.from - layer.from) / width), 0);
  const end = Math.min(Math.ceil((brush.to - layer.from) / width), layer.pixels);
  for (let c = begin; c < end; c++) {
    if (!numbers[c]) continue;
    const x0 = brush.x(layer.from + c * width);
    const x1 = brush.x(layer.from + (c + 1) * width);
    for (let p = Math.max(Math.floor(x0), 0); p < Math.min(x1, brush.width); p++)
      sums[p] += numbers[c]! * (Math.min(p + 1, x1) - Math.max(p, x0)) / (x1 - x0);
  }
}

function paintBandwidth(brush: Brush, row: Row, layers: Layer[]): void {
  const pixels = Math.ceil(brush.width);
  const sums = ["bytes", "padding", "overflows", "damage"].map((name) => {
    const sum = new Float64Array(pixels);
    for (const layer of layers) gather(brush, layer, layer.tracks.get(row.track.id)?.[name] ?? [], sum);
    return sum;
  });
  const [bytes, padding, overflows, damage] = sums as [Float64Array, Float64Array, Float64Array, Float64Array];
  const capacity = brush.overview.baud && brush.axis.unit === "ns" ? brush.overview.baud / 10 * brush.perPixel / 1e9 : 0;
  let peak = 0;
  for (const number of bytes) peak = Math.max(peak, number);
  const high = capacity > 0 && peak > capacity / 8 ? Math.max(capacity, peak) : peak;
  row.low = 0;
  row.high = high / brush.perPixel;
  if (high === 0) return;
  const bottom = row.top + row.height - 10;
  const scale = (row.height - 16) / high;
  for (let p = 0; p < pixels; p++) {
    if (!bytes[p]) continue;
    const useful = (bytes[p]! - Math.min(padding[p]!, bytes[p]!)) * scale;
    brush.rectangle(p, bottom - useful, p + 1, useful, brush.color("second"));
    if (padding[p]) brush.rectangle(p, bottom - bytes[p]! * scale, p + 1, bytes[p]! * scale - useful, brush.color("padding"));
  }
  if (capacity > 0 && high >= capacity) brush.rectangle(0, Math.floor(bottom - capacity * scale), pixels, 1, brush.color("line"));
  for (let p = 0; p < pixels; p++) {  // below the bars: overflows as low marks, damage over the whole height
    if (overflows[p]) brush.rectangle(p, bottom + 2, p + 1, 6, brush.color("target"));
    if (damage[p]) brush.rectangle(p, row.top + 2, p + 1, row.height - 4, brush.color("damage"));
  }
  brush.text(brush.axis.rate(row.high, 1), 4, row.top + 9, brush.color("faint"));
}

function nameOf(brush: Brush, number: number): string {
  return brush.names.get(number) ?? (number === 0 ? "thread" : `exception ${number}`);
}

function paintNesting(brush: Brush, row: Row, layer: Layer, arrays: Arrays): void {
  const bottom = row.top + row.height - 4;
  const number = arrays["number"]!;
  const depth = arrays["depth"]!;
  if (!layer.exact) {
    columns(brush, layer, arrays, (i, x0, x1) => {
      const height = depth[i]! * LEVEL;
      brush.rectangle(x0, bottom - height, x1, height, brush.color("band"));
      brush.rectangle(x0, bottom - height * arrays["share"]![i]!, x1, height * arrays["share"]![i]!, brush.hue(number[i]!));
      if (arrays["unknown"]![i]! > 0) brush.rectangle(x0, row.top + 2, x1, (row.height - 4) * arrays["unknown"]![i]!, brush.hatch);
    });
    return;
  }
  spans(brush, arrays, (i, x0, x1, flags) => {
    if (flags & SPAN_UNKNOWN) return brush.rectangle(x0, row.top + 2, x1, row.height - 4, brush.hatch);
    if (number[i] === 0) return;
    const y = bottom - Math.max(depth[i]!, 1) * LEVEL;
    brush.rectangle(x0, y, x1, LEVEL - 1, brush.hue(number[i]!));
    if (flags & SPAN_SUSPECT) brush.rectangle(x0, y, x1, LEVEL - 1, brush.hatch);
    fitted(brush, nameOf(brush, number[i]!), x0, x1, y + LEVEL / 2);
  });
}

/** Begin and end of spans in view, at least a pixel wide; those that would fall into the same pixel are drawn once. */
function spans(brush: Brush, arrays: Arrays, draw: (index: number, x0: number, x1: number, flags: number) => void): void {
  const { begin, end, flags, depth } = arrays as Record<string, Float64Array>;
  const drawn: number[] = [];
  for (let i = 0; i < begin!.length; i++) {
    if (end![i]! < brush.from || begin![i]! > brush.to) continue;
    const x0 = Math.max(brush.x(begin![i]!), -2);
    const x1 = Math.min(Math.max(brush.x(end![i]!), x0 + 1), brush.width + 2);
    const level = depth?.[i] ?? 0;
    if (x1 <= (drawn[level] ?? -3)) continue;
    drawn[level] = Math.ceil(x1);
    draw(i, x0, x1, flags![i]!);
  }
}

/** A name inside a box, when it has the room. */
function fitted(brush: Brush, name: string, x0: number, x1: number, y: number): void {
  const left = Math.max(x0, 0) + 3;
  const room = Math.min(x1, brush.width) - left - 2;
  if (room < 18) return;
  let text = visible(name).slice(0, 200);
  if (brush.ctx.measureText(text).width > room) text = text.slice(0, Math.floor(room / 7)) + "\u2026";
  if (brush.ctx.measureText(text).width <= room) brush.text(text, left, y);
}

function paintException(brush: Brush, row: Row, layer: Layer, arrays: Arrays): void {
  const bottom = row.top + row.height - 4;
  const most = row.height - 8;
  const color = brush.hue(row.track.number ?? 1);
  if (!layer.exact) {
    columns(brush, layer, arrays, (i, x0, x1) => {
      const height = Math.max(arrays["share"]![i]! * most, 2);
      brush.rectangle(x0, bottom - height, x1, height, color);
    });
    return;
  }
  spans(brush, { ...arrays, depth: new Uint8Array(0) }, (_, x0, x1, flags) => {
    brush.rectangle(x0, bottom - most, x1, most, color);
    if (flags & (SPAN_SUSPECT | SPAN_UNKNOWN)) brush.rectangle(x0, bottom - most, x1, most, brush.hatch);
  });
}

/** Lowest and highest of what is in view, suspects left out. */
function findScale(brush: Brush, row: Row, layers: Layer[]): void {
  row.low = Infinity;
  row.high = -Infinity;
  const see = (low: number, high: number) => {
    if (low < row.low) row.low = low;
    if (high > row.high) row.high = high;
  };
  for (const layer of layers) {
    const arrays = layer.tracks.get(row.track.id);
    if (!arrays) continue;
    if (!layer.exact) columns(brush, layer, arrays, (i) => see(arrays["min"]![i]!, arrays["max"]![i]!));
    else events(brush, arrays["time"]!, (i) => { if (!(arrays["flags"]![i]! & SUSPECT)) see(arrays["value"]![i]!, arrays["value"]![i]!); });
  }
}

function paintValue(brush: Brush, row: Row, layer: Layer, arrays: Arrays): void {
  const { ctx } = brush;
  const bottom = row.top + row.height - 8;
  const range = row.high - row.low;
  const y = (number: number) => range > 0 ? bottom - (Math.min(Math.max(number, row.low), row.high) - row.low) / range * (row.height - 16)
    : row.top + row.height / 2;
  ctx.strokeStyle = brush.color("data");
  ctx.lineWidth = 1.5;
  if (!layer.exact) {
    const { min, max, first, last } = arrays as Record<string, Float64Array>;
    const path = new Path2D();
    let before = -Infinity;
    columns(brush, layer, arrays, (i, x0, x1) => {
      const top = y(max![i]!);
      brush.rectangle(x0, top - 0.5, x1, Math.max(y(min![i]!) - top, 0) + 1, brush.color("second"));
      if (before > -Infinity) path.lineTo(x0, y(first![i]!));
      else path.moveTo(x0, y(first![i]!));
      path.lineTo(x1, y(last![i]!));
      before = x1;
    });
    ctx.stroke(path);
    return;
  }
  const { time, flags } = arrays;
  const numbers = arrays["value"]!;
  const apart = brush.width / Math.max(firstAbove(time!, brush.to) - firstAbove(time!, brush.from), 1);
  ctx.beginPath();
  let level: number | null = null;
  events(brush, time!, (i, x) => {
    if (flags![i]! & SUSPECT) return;
    if (level !== null) ctx.lineTo(x, level);
    else ctx.moveTo(x, y(numbers[i]!));
    level = y(numbers[i]!);
    ctx.lineTo(x, level);
  });
  ctx.stroke();
  let last = -Infinity;
  events(brush, time!, (i, x) => {
    const at = y(numbers[i]!);
    if (flags![i]! & SUSPECT) {
      brush.rectangle(x - 4, at - 4, x + 4, 8, brush.hatch);
      ctx.strokeRect(x - 4, at - 4, 8, 8);
    } else if (apart > 5 && x - last > 3) {
      brush.rectangle(x - 2, at - 2, x + 2, 4, brush.color("data"));
      last = x;
    }
  });
}

function paintScale(brush: Brush, row: Row): void {
  if (!(row.high >= row.low)) return;
  const type = row.track.type ?? "";
  const places: [number, number][] = row.high > row.low ? [[row.high, row.top + 9], [row.low, row.top + row.height - 8]] : [[row.high, row.top + 9]];
  for (const [number, y] of places) {
    const text = value(number, type);
    brush.ctx.globalAlpha = 0.75;
    brush.rectangle(2, y - 7, 6 + brush.ctx.measureText(text).width, 14, brush.color("back"));
    brush.ctx.globalAlpha = 1;
    brush.text(text, 4, y, brush.color("faint"));
  }
}

/** Text of line `i` of an exact layer. */
export function lineText(arrays: Arrays, i: number): string {
  const bytes = arrays["bytes"] as Uint8Array;
  return visible(new TextDecoder().decode(bytes.subarray(arrays["start"]![i]!, arrays["start"]![i + 1] ?? bytes.length).slice(0, 4096))
    .replace(/\r?\n$/, ""));
}

function paintText(brush: Brush, row: Row, layer: Layer, arrays: Arrays): void {
  const middle = row.top + row.height / 2;
  if (!layer.exact) {
    columns(brush, layer, arrays, (i, x0, x1) => {
      const height = Math.min(4 + 3 * Math.log2(1 + arrays["bytes"]![i]! / (x1 - x0)), row.height - 8);
      brush.rectangle(x0, middle - height / 2, x1, height, brush.color("second"));
    });
    return;
  }
  const { time, flags } = arrays;
  let drawn = -Infinity;
  events(brush, time!, (i, x) => {
    if (x < drawn + 1 && i + 1 < time!.length) return;
    drawn = x;
    brush.rectangle(x, row.top + 5, x + 1.5, row.height - 10, brush.color("data"));
    const next = i + 1 < time!.length ? brush.x(time![i + 1]!) : Infinity;
    fitted(brush, next - x > 20 ? lineText(arrays, i) : "", x + 1, next, middle);
    if (flags![i]! & SUSPECT) brush.rectangle(x, row.top + 5, Math.min(next, x + 40), row.height - 10, brush.hatch);
  });
}

function paintCounts(brush: Brush, row: Row, layer: Layer, arrays: Arrays): void {
  const bottom = row.top + row.height - 5;
  if (layer.exact) {
    let drawn = -Infinity;
    events(brush, arrays["time"]!, (i, x) => {
      const suspect = arrays["flags"]![i]! & SUSPECT;
      if (x >= drawn + 1 || suspect) brush.rectangle(x, row.top + 6, x + (suspect ? 5 : 1), row.height - 11, suspect ? brush.hatch : brush.color("data"));
      drawn = x;
    });
    return;
  }
  const numbers = arrays["count"] ?? arrays["samples"]!;
  let most = 1;
  columns(brush, layer, arrays, (i) => { most = Math.max(most, numbers[i]!); });
  columns(brush, layer, arrays, (i, x0, x1) => {
    const height = Math.max(numbers[i]! / most * (row.height - 11), 1);
    brush.rectangle(x0, bottom - height, x1, height, brush.color("second"));
    const asleep = (arrays["sleeping"]?.[i] ?? 0) / most * (row.height - 11);
    if (asleep > 0) brush.rectangle(x0, bottom - asleep, x1, asleep, brush.color("padding"));
  });
}

/** Every sample by its address: what ran when, as far as the samples tell. */
function paintSamples(brush: Brush, row: Row, arrays: Arrays): void {
  const { time, pc, flags } = arrays;
  const bottom = row.top + row.height - 9;
  brush.rectangle(0, bottom + 2, brush.width, 1, brush.color("grid"));
  events(brush, time!, (i, x) => {
    if (pc![i]! < 0) return brush.rectangle(x, bottom + 3, x + 2, 4, brush.color(pc![i] === -1 ? "padding" : "damage"));
    const share = row.high > row.low ? (pc![i]! - row.low) / (row.high - row.low) : 0.5;
    const suspect = flags![i]! & SUSPECT;
    brush.rectangle(x - 1, bottom - share * (row.height - 16) - 1, x + (suspect ? 5 : 1), suspect ? 6 : 2, suspect ? brush.hatch : brush.color("data"));
  });
}

function samplesScale(brush: Brush, row: Row, layers: Layer[]): void {
  row.low = Infinity;
  row.high = -Infinity;
  for (const layer of layers) {
    const arrays = layer.exact && layer.tracks.get(row.track.id);
    if (!arrays) continue;
    events(brush, arrays["time"]!, (i) => {
      const pc = arrays["pc"]![i]!;
      if (pc < 0 || arrays["flags"]![i]! & SUSPECT) return;
      row.low = Math.min(row.low, pc);
      row.high = Math.max(row.high, pc);
    });
  }
}

/** Draws one row from all layers, coarsest first, each inside its own window. */
export function paintRow(brush: Brush, row: Row, layers: Layer[]): void {
  const { ctx } = brush;
  const { kind, id } = row.track;
  if (kind === "bandwidth") return paintBandwidth(brush, row, layers);
  if (kind === "value") findScale(brush, row, layers);
  if (kind === "pc") samplesScale(brush, row, layers);
  for (const layer of layers) {
    const left = Math.max(brush.x(layer.from), 0);
    const right = Math.min(brush.x(layer.to), brush.width);
    if (right <= left) continue;
    ctx.save();
    ctx.beginPath();
    ctx.rect(left, row.top, right - left, row.height - 1);
    ctx.clip();
    if (layer !== layers[0]) ctx.clearRect(left, row.top, right - left, row.height - 1);
    const arrays = layer.tracks.get(id);
    if (arrays) {
      if (kind === "nesting") paintNesting(brush, row, layer, arrays);
      else if (kind === "exception") paintException(brush, row, layer, arrays);
      else if (kind === "value") paintValue(brush, row, layer, arrays);
      else if (kind === "text") paintText(brush, row, layer, arrays);
      else if (kind === "pc" && layer.exact) paintSamples(brush, row, arrays);
      else paintCounts(brush, row, layer, arrays);
    }
    ctx.restore();
  }
  if (kind === "value" || kind === "pc") paintScale(brush, row.track.kind === "pc" ? { ...row, track: { ...row.track, type: "hex" } } : row);
}

/** How many events a row shows in view, for the line that says what is summarised. */
export function shown(brush: Brush, row: Row, layer: Layer): number {
  const arrays = layer.tracks.get(row.track.id);
  if (!arrays || grain(layer) === 0) return 0;
  const numbers = arrays["count"];
  let total = 0;
  if (numbers) columns(brush, layer, arrays, (i) => { total += numbers[i]!; });
  return total;
}

/** The title of a row's second line. */
export function totalText(track: Track): string {
  const units: Record<string, string> = { bandwidth: "byte", nesting: "packet", exception: "packet", text: "packet", value: "value", counter: "time", pc: "sample" };
  const unit = units[track.kind] ?? "packet";
  return `${count(track.total)} ${unit}${track.total === 1 ? "" : "s"}${track.type && track.type !== "hex" ? ", " + track.type : ""}`;
}
