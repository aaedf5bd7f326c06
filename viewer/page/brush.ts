// SPDX-License-Identifier: Apache-2.0
// What pictures of a stretch of the time line are drawn with, and what of it they need.
import { make } from "./elements";
import { type Arrays, type Layer, type Overview, columnWidth } from "./feed";
import { type Axis, visible } from "./format";

export const SUSPECT = 1;  // flag of events
export const CLASSES = ["target", "line", "host", "gap", "edge"];  // of losses, by number
export const SIGNS = ["\u25bc", "\u2715", "\u25a0", "\u25c6", "\u2502"];
export const CLASS_COLORS = ["target", "damage", "host", "gap", "edge"];

/** Colours, patterns and the scale of one picture. */
export class Brush {
  readonly hatch: CanvasPattern;
  readonly perPixel = (this.to - this.from) / this.width;
  readonly capacity = this.axis.inTime ? (this.overview.baud ?? 0) / 10 / 1e9 : 0;  // of the line, in bytes a nanosecond; 0 not known

  constructor(readonly ctx: CanvasRenderingContext2D, readonly colors: Record<string, string>, readonly from: number, readonly to: number,
              readonly width: number, readonly axis: Axis, readonly overview: Overview) {
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
    return visible(this.overview.tracks.find(({ number }) => number === wanted)?.label ?? (wanted === 0 ? "thread" : `exception ${wanted}`));
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

/** What is in view, [first, behind): columns that are `width` wide, or, when that is 0, events with one before and one behind. */
export function inView(time: ArrayLike<number>, from: number, to: number, width: number): [number, number] {
  const more = width > 0 ? 0 : 1;
  return [Math.max(firstAbove(time, from - width) - more, 0), Math.min(firstAbove(time, to) + more, time.length)];
}

/** Of the events [first, behind) those that a picture needs with columns of `width` from `from` on: of each the first, lowest, highest
 *  and last number, and one each of what is drawn apart: suspects, and what is infinite or no number. All when `width` is 0. */
export function thin(first: number, behind: number, from: number, width: number, { time, last: numbers, flags }: Arrays): number[] {
  const kept: number[] = [];
  for (let i = first; i < behind;) {
    const end = from + (Math.floor((time[i] - from) / width) + 1) * width;
    const found: Record<string, number> = {};
    do {
      const number = numbers[i];
      if (flags && flags[i] & SUSPECT) found.suspect ??= i;
      else if (!Number.isFinite(number)) found[number] ??= i;
      else {
        found.first ??= i;
        if (!(number >= numbers[found.low])) found.low = i;
        if (!(number <= numbers[found.high])) found.high = i;
        found.last = i;
      }
      i++;
    } while (i < behind && time[i] < end);
    kept.push(...[...new Set(Object.values(found))].sort((one, other) => one - other));
  }
  return kept;
}

/** What is in view: of columns the whole pixels of each, else the events; of them, when asked for, as many as a picture of their
 *  values needs. */
export function each(brush: Brush, layer: Layer, arrays: Arrays, draw: (index: number, x0: number, x1: number) => void, few = false): void {
  const { time, column } = arrays;
  const width = column ? columnWidth(layer) : 0;
  const [first, behind] = inView(time, brush.from, brush.to, width);
  const place = (i: number) => {
    const [x0, x1] = [brush.x(time[i]), brush.x(time[i] + width)];
    if (!column) draw(i, x0, x0);
    else draw(i, Math.round(x0), Math.max(Math.round(x1), Math.round(x0) + 1));
  };
  if (!column && few) thin(first, behind, brush.from, brush.perPixel, arrays).forEach(place);
  else for (let i = first; i < behind; i++) place(i);
}
