// SPDX-License-Identifier: Apache-2.0
// Draws the rows of the time line. Never one rectangle an event where there are more events than pixels.
import { type Brush, SUSPECT, each, firstAbove, inView } from "./brush";
import { type Arrays, type Layer, type Track, arraysOf, columnWidth, grain, seenIn } from "./feed";
import { value, visible } from "./format";

/** `low` and `high` are of what is in view, as is `often`: of what is counted the most, for each unit of the axis. */
export interface Row { track: Track; label: HTMLButtonElement; top: number; height: number; low: number; high: number; often: number }

export const SPAN_UNKNOWN = 8;  // flags of spans
const SPAN_SUSPECT = 16;
const LEVEL = 15;  // height of one level of nesting, as in the style

/** One exception, or all of them one above the other. Exactly each at least a pixel wide; of those of one depth that would fall into the
 *  same pixel, the first, and suspects. */
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
  const drawn: number[] = [];  // up to which pixel, by depth
  for (let i = 0; i < begin.length; i++) {
    const x0 = Math.max(brush.x(begin[i]), -2);
    const x1 = Math.min(Math.max(brush.x(end[i]), x0 + 1), brush.width + 2);
    if (end[i] < brush.from || begin[i] > brush.to || (x1 <= drawn[depth[i]] && !(flags[i] & SPAN_SUSPECT))) continue;
    drawn[depth[i]] = Math.ceil(x1);
    if (nested && flags[i] & SPAN_UNKNOWN && end[i] > begin[i]) brush.rectangle(x0, row.top + 2, x1, row.height - 4, brush.hatch);
    if (nested && (flags[i] & SPAN_UNKNOWN || number[i] === 0)) continue;
    const [y, tall] = nested ? [bottom - (depth[i] + 1) * LEVEL, LEVEL - 1] : [bottom - most, most];
    brush.rectangle(x0, y, x1, tall, hue(i));
    if (flags[i] & SPAN_SUSPECT) brush.rectangle(x0, y, Math.max(x1, x0 + 5), tall, brush.hatch);
    if (nested) brush.fitted(brush.exception(number[i]), x0, x1, y + LEVEL / 2);
  }
}

/** Lowest and highest number in view, and the most that is counted. Suspects, what is infinite or no number, and samples without an
 *  address are left out. */
function findScale(brush: Brush, row: Row, layers: Layer[]): void {
  [row.low, row.high, row.often] = [Infinity, -Infinity, 0];
  for (const layer of layers) {
    const arrays = arraysOf(layer, row.track) ?? {};
    const { time, flags, pc, min, max, first, last } = arrays;
    if (time && !pc && !min) rates(brush, layer, arrays, (rate) => { row.often = Math.max(row.often, rate); });
    const [begin, end] = inView(time ?? [], brush.from, brush.to, grain(layer));
    for (const numbers of new Set([pc, min, max, first, last])) if (numbers) for (let i = begin; i < end; i++) {
      if (!Number.isFinite(numbers[i]) || (pc && numbers[i] < 0) || flags?.[i] & SUSPECT) continue;
      row.low = Math.min(row.low, numbers[i]);
      row.high = Math.max(row.high, numbers[i]);
    }
  }
  if (row.track.kind === "bandwidth" && row.often > brush.capacity / 8) row.often = Math.max(row.often, brush.capacity);
}

/** Where a number stands; what is infinite beyond all others, and what is no number nowhere. */
function height({ top, height, low, high }: Row, number: number): number {
  if (Number.isNaN(number)) return NaN;
  if (!Number.isFinite(number)) return number > 0 ? top + 3 : top + height - 4;
  if (!(high > low)) return top + height / 2;
  return top + height - 9 - (Math.min(Math.max(number, low), high) - low) / (high - low) * (height - 18);
}

function paintScale(brush: Brush, { track, top, height, low, high, often }: Row): void {
  const type = track.kind === "pc" ? "hex" : track.type ?? "";
  if (track.kind === "bandwidth" && often > 0) brush.caption(brush.axis.rate(often, 1), top + 14);  // below the marks of damage
  else if (high >= low) brush.caption(value(high, type), top + 9);
  else if (often > 0) brush.caption(brush.axis.often(often, 1), top + 9);
  if (high > low) brush.caption(value(low, type), top + height - 9);
}

/** The value that holds at `place`, as the best of `layers` knows it; NaN when none does. */
function heldAt({ track }: Row, layers: Layer[], place: number): number {
  let [since, held] = [-Infinity, NaN];
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
  let before = height(row, heldAt(row, layers, layer.from));  // where the line is; a path leaves out what is nowhere
  path.moveTo(brush.x(layer.from), before);
  let named = -Infinity;
  const name = (number: number, x: number) => {
    if (Number.isFinite(number) || x < named + 26) return;
    named = x;
    brush.text(Number.isNaN(number) ? "NaN" : number > 0 ? "+\u221e" : "\u2212\u221e", x + 3, number > 0 ? row.top + 9 : row.top + row.height - 10);
  };
  ctx.strokeStyle = brush.colors.data;
  ctx.lineWidth = 1.5;
  each(brush, layer, arrays, (i, x0, x1) => {
    const y = height(row, first[i]);
    if (flags?.[i] & SUSPECT) {
      brush.rectangle(x0 - 4, y - 4, x0 + 4, 8, brush.hatch);
      return ctx.strokeRect(x0 - 4, y - 4, 8, 8);
    }
    name(max[i], x0);
    if (min[i] !== max[i]) name(min[i], x0);
    const top = height(row, max[i]);
    if (!layer.exact) brush.rectangle(x0, top - 0.5, x1, Math.max(height(row, min[i]) - top, 0) + 1, brush.colors.second);
    else if (apart > 5) brush.rectangle(x0 - 2, y - 2, x0 + 2, 4, brush.colors.data);
    path.lineTo(x0, before);  // a value holds until the next
    if (Number.isNaN(before)) path.moveTo(x0, y);
    path.lineTo(x0, y);
    path.lineTo(x1, before = height(row, last[i]));
  }, true);
  path.lineTo(brush.x(layer.to), before);
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
  const drawn: number[] = [];  // the last place, of suspects apart
  each(brush, layer, arrays, (i, x) => {
    const next = i + 1 < time.length ? brush.x(time[i + 1]) : Infinity;
    const suspect = flags[i] & SUSPECT;
    if (x < drawn[suspect] + 1 && next < x + 20) return;
    brush.rectangle(drawn[suspect] = x, top + 5, x + 1.5, height - 10, brush.colors.data);
    if (next - x > 20) brush.fitted(lineText(arrays, i), x + 1, next, middle);
    if (suspect) brush.rectangle(x, top + 5, Math.min(Math.max(next, x + 5), x + 40), height - 10, brush.hatch);
  });
}

/** How often something came, for each unit of the axis, and what of it was idle: column by column, of events from one to the next that
 *  is a pixel behind it. */
function rates(brush: Brush, layer: Layer, arrays: Arrays, draw: (rate: number, x0: number, x1: number, idle: number) => void): void {
  const { time, flags, column, count, bytes, padding, samples, sleeping } = arrays;
  const width = columnWidth(layer);
  let [since, number] = [-1, 0];
  each(brush, layer, arrays, (i, x0, x1) => {
    const idle = (padding ?? sleeping)?.[i] ?? 0;
    if (column) return draw(((count ?? bytes ?? samples)[i] + (sleeping?.[i] ?? 0)) / width, x0, x1, idle / width);
    if (flags[i] & SUSPECT) return;
    number++;
    if (since >= 0 && x0 < brush.x(time[since]) + 1) return;
    if (since >= 0) draw(number / (time[i] - time[since]), brush.x(time[since]), x0, 0);
    [since, number] = [i, 0];
  });
}

/** Bytes, event counters, and PC samples in summaries. */
function paintCounts(brush: Brush, { top, height, often }: Row, layer: Layer, arrays: Arrays): void {
  const { column, flags, bytes, overflows, damage } = arrays;
  const bottom = top + height - (bytes ? 10 : 5);  // there is something below bytes
  const room = bottom - top - 6;
  rates(brush, layer, arrays, (rate, x0, x1, idle) => {
    const tall = Math.max(rate / often * room, bytes ? 0 : 1);
    const busy = Math.max(rate - idle, 0) / often * room;
    brush.rectangle(x0, bottom - tall, x1, tall, idle > 0 ? brush.colors.padding : column ? brush.colors.second : brush.colors.band);
    if (idle > 0) brush.rectangle(x0, bottom - busy, x1, busy, brush.colors.second);
  });
  if (bytes && often === brush.capacity) brush.rectangle(0, Math.floor(bottom - room), brush.width, 1, brush.colors.line);
  const drawn: number[] = [];  // the last place, of suspects apart
  each(brush, layer, arrays, (i, x, x1) => {
    if (overflows?.[i]) brush.rectangle(x, bottom + 2, Math.max(x1, x + 2), 6, brush.colors.target);
    if (damage?.[i]) brush.rectangle(x, top + 1, Math.max(x1, x + 2), 5, brush.colors.damage);
    const suspect = flags?.[i] & SUSPECT;
    if (column || x < drawn[suspect] + 1) return;
    drawn[suspect] = x;
    brush.rectangle(x, top + 6, x + (suspect ? 5 : 1), room, suspect ? brush.hatch : brush.colors.data);
  });
}

/** Every sample by its address; asleep and prohibited below the line. */
function paintSamples(brush: Brush, row: Row, layer: Layer, arrays: Arrays): void {
  const { pc, flags } = arrays;
  const bottom = row.top + row.height - 7;
  brush.rectangle(0, bottom, brush.width, 1, brush.colors.grid);
  const drawn = new Map<number, number>();  // by height, or kind of what has none: the last column of pixels in which it was drawn
  each(brush, layer, arrays, (i, x) => {
    const suspect = flags[i] & SUSPECT;
    const y = Math.round(height(row, pc[i]));
    const what = pc[i] < 0 ? pc[i] : suspect ? y + 1e6 : y;
    if (drawn.get(what) === Math.round(x)) return;
    drawn.set(what, Math.round(x));
    if (pc[i] < 0) brush.rectangle(x, bottom + 1, x + 2, pc[i] === -1 ? 3 : 5, brush.colors[pc[i] === -1 ? "padding" : "damage"]);
    else brush.rectangle(x - 1, height(row, pc[i]) - 1, x + (suspect ? 6 : 1.5), suspect ? 7 : 2.5, suspect ? brush.hatch : brush.colors.data);
  });
}

const PAINTERS: Record<string, (brush: Brush, row: Row, layer: Layer, arrays: Arrays, layers: Layer[]) => void> =
  { nesting: paintExceptions, exception: paintExceptions, value: paintValue, text: paintText, samples: paintSamples };

/** Draws one row from all layers, coarsest first, each inside its own window. */
export function paintRow(brush: Brush, row: Row, layers: Layer[]): void {
  const { ctx } = brush;
  const { kind } = row.track;
  const seen = seenIn(layers, brush.from, brush.to);
  const scaled = ["bandwidth", "value", "counter", "pc"].includes(kind);
  if (scaled) findScale(brush, row, seen);
  for (const layer of seen) {
    const left = Math.max(brush.x(layer.from), 0);
    const right = Math.min(brush.x(layer.to), brush.width);
    if (right <= left) continue;
    ctx.save();
    ctx.beginPath();
    ctx.rect(left, row.top, right - left, row.height - 1);
    ctx.clip();
    if (layer !== seen[0]) ctx.clearRect(left, row.top, right - left, row.height - 1);
    const arrays = arraysOf(layer, row.track);
    const paint = PAINTERS[kind === "pc" && layer.exact ? "samples" : kind] ?? paintCounts;
    if (arrays) paint(brush, row, layer, arrays, layers);
    ctx.restore();
  }
  if (scaled) paintScale(brush, row);
}
