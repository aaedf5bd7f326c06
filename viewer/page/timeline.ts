// SPDX-License-Identifier: Apache-2.0
// The time line: which window is looked at, how it is moved, and its picture.
import { type Feed, type Layer, type Overview, type Track, grain } from "./feed";
import { Axis, count, plural, visible } from "./format";
import { Brush, type Row, SIGNS, CLASSES, paintRow, rowHeight, shown, totalText } from "./rows";
import { describe, describeMarks } from "./tips";

export const byId = <T extends HTMLElement>(id: string): T => document.getElementById(id) as T;
const RULER = 44;
const LEAST_MARKS = 74;  // pixels between labels of the ruler
const RETRY = 2000;  // ms
const COLORS = ["back", "face", "line", "ink", "faint", "grid", "data", "second", "band", "padding", "target", "damage", "host", "gap", "edge",
  "cursor", "hatch", "lightness"];

/** A canvas as sharp as the screen. */
function fit(canvas: HTMLCanvasElement, width: number, height: number): CanvasRenderingContext2D {
  const scale = window.devicePixelRatio || 1;
  const [wide, high] = [Math.round(width * scale), Math.round(height * scale)];
  if (canvas.width !== wide || canvas.height !== high) {
    canvas.width = wide;
    canvas.height = high;
    canvas.style.width = `${width}px`;
    canvas.style.height = `${height}px`;
  }
  const ctx = canvas.getContext("2d")!;
  ctx.setTransform(scale, 0, 0, scale, 0, 0);
  ctx.clearRect(0, 0, width, height);
  ctx.font = `11px ${getComputedStyle(document.documentElement).fontFamily}`;
  ctx.textBaseline = "middle";
  return ctx;
}

export class Timeline {
  axis: Axis;
  from: number;
  to: number;
  cursors: (number | null)[] = [null, null];
  focused: number | null = null;  // the loss that was gone to last
  layers: Layer[] = [];
  /** Told after the view or its answer has changed. */
  onChange: () => void = () => {};
  onTrouble: (message: string | null) => void = () => {};
  /** A row's name was pressed. */
  onRow: (track: Track) => void = () => {};
  /** A place was clicked. */
  onPlace: (place: number) => void = () => {};

  private rows: Row[] = [];
  private readonly names = new Map<number, string>();
  private deepest = 2;
  private readonly plot = byId<HTMLCanvasElement>("plot");
  private readonly ruler = byId<HTMLCanvasElement>("ruler");
  private readonly scroller = byId("scroller");
  private readonly tip = byId("tip");
  private colors: Record<string, string> = {};
  private pointer: { x: number; y: number; ruler: boolean } | null = null;  // within its canvas
  private drag: { x: number; from: number; cursor: number | null; moved: boolean } | null = null;
  private painting = false;
  private asking = false;
  private askedAgain = false;

  constructor(private readonly feed: Feed, public overview: Overview) {
    this.axis = new Axis(overview.axis.kind, overview.axis.unit, overview.axis.begin, overview.axis.end);
    this.from = this.axis.begin;
    this.to = this.axis.begin + this.axis.length;
    this.readColors();
    this.buildRows();
    this.listen(this.plot, false);
    this.listen(this.ruler, true);
    this.scroller.addEventListener("scroll", () => { this.hideTip(); this.repaint(); });
    new ResizeObserver(() => { this.repaint(); this.ask(); }).observe(this.scroller);
  }

  get width(): number {
    return Math.max(Math.floor(this.ruler.parentElement!.clientWidth - this.plotLeft()), 50);
  }

  private plotLeft(): number {
    return parseFloat(getComputedStyle(this.plot).marginLeft);
  }

  get whole(): boolean {
    return this.from <= this.axis.begin && this.to >= this.axis.begin + this.axis.length;
  }

  get middle(): number {
    return (this.from + this.to) / 2;
  }

  readColors(): void {
    const style = getComputedStyle(document.documentElement);
    this.colors = Object.fromEntries(COLORS.map((name) => [name, style.getPropertyValue("--" + name).trim()]));
    this.repaint();
  }

  /** The recording has grown, or is known better. */
  update(overview: Overview): void {
    const wasWhole = this.whole;
    this.overview = overview;
    this.axis = new Axis(overview.axis.kind, overview.axis.unit, overview.axis.begin, overview.axis.end);
    this.buildRows();
    if (wasWhole) this.look(this.axis.begin, this.axis.begin + this.axis.length);
    else this.ask();
  }

  private buildRows(): void {
    const { tracks } = this.overview;
    const names = tracks.map(({ id }) => id).join("\n");
    if (names !== this.rows.map(({ track }) => track.id).join("\n")) {
      for (const row of this.rows) row.label.remove();
      this.rows = tracks.map((track) => ({ track, top: 0, height: 0, label: this.makeLabel(track), low: 0, high: 0 }));
    }
    tracks.forEach((track, i) => {
      const row = this.rows[i]!;
      row.track = track;
      if (track.kind === "exception") this.names.set(track.number!, track.label);
      const [name, total] = [row.label.firstElementChild!, row.label.lastElementChild!];
      name.textContent = visible(track.label);
      total.textContent = totalText(track);
      row.label.title = `${visible(track.label)}, ${totalText(track)}`;
    });
    this.layOut();
  }

  private makeLabel(track: Track): HTMLButtonElement {
    const label = document.createElement("button");
    label.className = "row";
    label.dataset["track"] = track.id;
    label.append(document.createElement("b"), document.createElement("small"));
    label.addEventListener("click", () => this.onRow(this.rows.find((row) => row.label === label)!.track));
    byId("rows").append(label);
    return label;
  }

  private layOut(): void {
    let top = 0;
    for (const row of this.rows) {
      row.top = top;
      row.height = rowHeight(row.track, this.deepest);
      row.label.style.top = `${top}px`;
      row.label.style.height = `${row.height}px`;
      row.label.lastElementChild!.toggleAttribute("hidden", row.height < 30);
      top += row.height;
    }
    byId("rows").style.height = `${top}px`;
    this.repaint();
  }

  /** Looks at a window, as far as there is one. */
  look(from: number, to: number): void {
    if (!Number.isFinite(from) || !Number.isFinite(to)) return;
    const length = Math.min(Math.max(to - from, this.axis.least), this.axis.length);
    this.from = Math.min(Math.max(from, this.axis.begin), this.axis.begin + this.axis.length - length);
    this.to = this.from + length;
    this.repaint();
    this.ask();
  }

  zoom(factor: number, around = this.pointed() ?? this.middle): void {
    const length = Math.min(Math.max((this.to - this.from) * factor, this.axis.least), this.axis.length);
    const from = around - (around - this.from) * length / (this.to - this.from);
    this.look(from, from + length);
  }

  pan(share: number): void {
    const by = (this.to - this.from) * share;
    this.look(this.from + by, this.to + by);
  }

  lookWhole(): void {
    this.look(this.axis.begin, this.axis.begin + this.axis.length);
  }

  /** Looks at `place`, not more closely than now; out of the whole so closely that single events are seen. */
  goTo(place: number, length = 0): void {
    const { bytes } = this.overview;
    const close = this.axis.length * Math.min(1, 4096 / Math.max(bytes, 1));
    const span = this.to - this.from > this.axis.length / 4 ? Math.max(close, length * 3) : this.to - this.from;
    this.look(place - span / 2, place + span / 2);
  }

  scroll(rows: number): void {
    this.scroller.scrollTop += rows * 40;
  }

  setCursor(which: number): void {
    this.cursors[which] = this.pointed() ?? this.middle;
    this.changed();
  }

  clearCursors(): void {
    this.cursors = [null, null];
    this.changed();
  }

  private changed(): void {
    this.repaint();
    this.onChange();
  }

  /** The place under the pointer; null when it is elsewhere. */
  private pointed(): number | null {
    return this.pointer && this.from + this.pointer.x / this.width * (this.to - this.from);
  }

  /** Asks for what is looked at, one question at a time. */
  ask(): void {
    this.askedAgain = true;
    if (!this.asking) void this.askNow();
  }

  private async askNow(): Promise<void> {
    this.asking = true;
    while (this.askedAgain) {
      this.askedAgain = false;
      try {
        this.layers = await this.feed.layers(this.from, this.to, Math.min(Math.round(this.width), 4096));
        this.see();
        this.onTrouble(null);
      } catch (error) {
        this.onTrouble((error as Error).message);
        setTimeout(() => this.ask(), RETRY);
        break;
      }
      this.changed();
    }
    this.asking = false;
  }

  /** The nesting row grows with the deepest level that was ever seen. */
  private see(): void {
    let deepest = this.deepest;
    for (const layer of this.layers)
      for (const depth of layer.tracks.get("nesting")?.["depth"] ?? []) deepest = Math.max(deepest, depth);
    if (deepest === this.deepest) return;
    this.deepest = deepest;
    this.layOut();
  }

  repaint(): void {
    if (this.painting) return;
    this.painting = true;
    requestAnimationFrame(() => { this.painting = false; this.paint(); });
  }

  private brush(ctx: CanvasRenderingContext2D): Brush {
    const brush = new Brush(ctx, this.colors, this.from, this.to, this.width, this.axis, this.overview);
    brush.names = this.names;
    return brush;
  }

  private paint(): void {
    const height = this.scroller.clientHeight;
    const ctx = fit(this.plot, this.width, height);
    const brush = this.brush(ctx);
    const top = this.scroller.scrollTop;
    ctx.save();
    ctx.translate(0, -top);
    for (const row of this.rows) {
      if (row.top + row.height < top || row.top > top + height) continue;
      brush.rectangle(0, row.top + row.height - 1, brush.width, 1, brush.color("grid"));
      paintRow(brush, row, this.layers);
    }
    ctx.restore();
    this.paintMarks(brush, height, false);
    this.paintCursors(brush, height, false);
    const rulerBrush = this.brush(fit(this.ruler, this.width, RULER));
    this.paintRuler(rulerBrush);
    this.paintMarks(rulerBrush, RULER, true);
    this.paintCursors(rulerBrush, RULER, true);
    byId("summary").textContent = this.summary(brush);
    byId("axis").textContent = this.axis.name;
    this.placeTip();
  }

  private paintRuler(brush: Brush): void {
    const step = this.axis.step(brush.perPixel * LEAST_MARKS * (this.axis.unit === "ns" ? 1 : 1.3));
    const digits = this.axis.at(this.to, step).length * 6 + 14;
    const stride = Math.max(1, Math.ceil(digits * brush.perPixel / step));
    for (let k = Math.ceil(this.from / step); k * step <= this.to; k++) {
      const x = Math.round(brush.x(k * step));
      brush.rectangle(x, k % stride === 0 ? 18 : 23, x + 1, k % stride === 0 ? 10 : 5, brush.color("faint"));
      if (k % stride === 0) brush.text(this.axis.at(k * step, step), Math.min(x + 3, brush.width - digits + 10), 10);
    }
    const middle = brush.width / 2;
    brush.rectangle(middle - 3, 0, middle + 3, 2, brush.color("faint"));
  }

  /** What was lost: signs in the ruler, lines and stretches across the rows. */
  private paintMarks(brush: Brush, height: number, ruler: boolean): void {
    const drawn = new Map<number, number>();
    for (const layer of this.layers) {
      if (layer === this.layers[0] && this.layers.length > 1 && this.layers.some((other) => other !== layer && other.from <= this.from && other.to >= this.to)) continue;
      const { time, end, hint, class: kinds } = layer.marks;
      if (!time) continue;
      for (let i = 0; i < time.length; i++) {
        const kind = kinds![i]!;
        const x = brush.x(time[i]!);
        const x1 = Math.max(brush.x(end![i]!), x + 1);
        if (x1 < -6 || x > brush.width + 6) continue;
        const color = brush.color(["target", "damage", "host", "gap", "edge"][kind] ?? "edge");
        brush.ctx.globalAlpha = ruler ? 1 : hint![i] ? 0.25 : 0.5;
        if (!ruler) {
          brush.rectangle(Math.round(x), 0, Math.round(x) + 1, height, color);
          if (x1 - x > 2) brush.rectangle(x, 0, x1, height, brush.hatch);
        } else if (x - (drawn.get(kind) ?? -9) >= 7) {
          drawn.set(kind, x);
          if (!hint![i]) brush.text(SIGNS[kind] ?? "?", x - 5, 36, color);
          else {
            brush.ctx.strokeStyle = color;
            brush.ctx.lineWidth = 1;
            brush.ctx.strokeText(SIGNS[kind] ?? "?", x - 5, 36);
          }
        }
        brush.ctx.globalAlpha = 1;
      }
    }
    if (this.focused === null) return;
    const x = Math.round(brush.x(this.focused));
    brush.ctx.strokeStyle = brush.color("target");
    brush.ctx.lineWidth = 1.5;
    if (ruler) brush.ctx.strokeRect(x - 8, 28, 16, 15);
  }

  private paintCursors(brush: Brush, height: number, ruler: boolean): void {
    this.cursors.forEach((place, i) => {
      if (place === null) return;
      const x = Math.round(brush.x(place));
      brush.rectangle(x, 0, x + 1, height, brush.color("cursor"));
      if (!ruler) return;
      brush.rectangle(x, 0, x + 15, 16, brush.color("cursor"));
      brush.text("AB"[i]!, x + 4, 8, brush.color("back"));
    });
  }

  /** How exact the picture is, in words. */
  private summary(brush: Brush): string {
    const span = `${this.axis.span(this.to - this.from)} shown, 1 px = ${this.axis.span(brush.perPixel)}`;
    const best = this.layers[this.layers.length - 1];
    if (!best) return span;
    const worst = this.layers.length === 1 || (best.from <= this.from && best.to >= this.to) ? best : this.layers[0]!;
    if (worst.exact) return `${span} \u00b7 exact: every packet`;
    const values = this.rows.filter(({ track }) => track.kind === "value").reduce((sum, row) => sum + shown(brush, row, worst), 0);
    const columns = grain(worst) > brush.perPixel * 1.01 ? `no finer picture in this file: 1 column = ${this.axis.span(grain(worst))}` : "summary";
    const part = worst !== best && best.exact ? ", exact in parts" : "";
    return `${span} \u00b7 ${columns}${part}${values > 0 ? `, min/max of ${plural(values, "value")}` : ""}`;
  }

  private listen(canvas: HTMLCanvasElement, ruler: boolean): void {
    canvas.addEventListener("wheel", (event) => {
      event.preventDefault();
      this.point(event, ruler);
      const unit = event.deltaMode === 1 ? 30 : 1;
      if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) return this.pan((event.deltaX || event.deltaY) * unit / this.width);
      this.zoom(1.0022 ** Math.max(-400, Math.min(400, event.deltaY * unit)));
    }, { passive: false });
    canvas.addEventListener("pointerdown", (event) => {
      if (event.button !== 0) return;
      this.point(event, ruler);
      canvas.setPointerCapture(event.pointerId);
      this.drag = { x: event.offsetX, from: this.from, cursor: ruler ? this.cursorAt(event.offsetX) : null, moved: false };
    });
    canvas.addEventListener("pointermove", (event) => { this.point(event, ruler); this.dragTo(event.offsetX); });
    canvas.addEventListener("pointerup", () => {
      const place = this.pointed();
      if (this.drag && !this.drag.moved && place !== null) this.onPlace(place);
      this.drag = null;
    });
    canvas.addEventListener("pointercancel", () => { this.drag = null; });
    canvas.addEventListener("pointerleave", () => { this.pointer = null; this.hideTip(); });
    canvas.addEventListener("dblclick", () => this.lookWhole());
  }

  private cursorAt(x: number): number | null {
    const found = this.cursors.findIndex((place) => place !== null && Math.abs((place - this.from) / (this.to - this.from) * this.width - x + 5) < 12);
    return found < 0 ? null : found;
  }

  private dragTo(x: number): void {
    if (!this.drag) return;
    if (Math.abs(x - this.drag.x) > 3) this.drag.moved = true;
    if (!this.drag.moved) return;
    if (this.drag.cursor !== null) {
      this.cursors[this.drag.cursor] = this.pointed();
      return this.changed();
    }
    const from = this.drag.from - (x - this.drag.x) / this.width * (this.to - this.from);
    this.look(from, from + this.to - this.from);
  }

  private point(event: MouseEvent, ruler: boolean): void {
    this.pointer = { x: event.offsetX, y: event.offsetY, ruler };
    this.placeTip();
  }

  hideTip(): void {
    this.tip.hidden = true;
  }

  private placeTip(): void {
    if (!this.pointer || this.drag?.moved || this.layers.length === 0) return this.hideTip();
    const { x, y, ruler } = this.pointer;
    const row = ruler ? undefined : this.rows.find(({ top, height }) => y + this.scroller.scrollTop >= top && y + this.scroller.scrollTop < top + height);
    const box = (ruler ? this.ruler : this.plot).getBoundingClientRect();
    this.showTip(this.words(row ?? null, this.pointed()!), box.left + x, box.top + y);
  }

  private words(row: Row | null, place: number): string {
    const brush = this.brush(this.plot.getContext("2d")!);
    const marks = describeMarks(brush, this.layers, place);
    const about = row ? describe(brush, row.track, this.layers, place) : this.axis.at(place, brush.perPixel);
    return about + (marks ? "\n" + marks : "");
  }

  private showTip(text: string, x: number, y: number): void {
    this.tip.textContent = text;
    this.tip.hidden = false;
    const { width, height } = this.tip.getBoundingClientRect();
    this.tip.style.left = `${Math.max(4, x + 16 + width > innerWidth ? x - width - 12 : x + 16)}px`;
    this.tip.style.top = `${Math.max(4, y + 18 + height > innerHeight ? y - height - 10 : y + 18)}px`;
  }

  /** The tip of the row whose name has the focus, in the middle. */
  explain(): void {
    const row = this.rows.find(({ label }) => label === document.activeElement) ?? this.rows[0];
    if (!row || this.layers.length === 0) return;
    row.label.scrollIntoView({ block: "nearest" });
    const box = this.plot.getBoundingClientRect();
    const y = box.top + row.top - this.scroller.scrollTop + row.height / 2;
    this.showTip(this.words(row, this.middle), box.left + this.width / 2, y);
    byId("state").textContent = count(row.track.total) + " in all";
  }

  /** The next or previous loss among the marks in view; the lists know the others. */
  static sign(kind: string): string {
    return SIGNS[CLASSES.indexOf(kind)] ?? "?";
  }
}
