// SPDX-License-Identifier: Apache-2.0
// The time line: which window is looked at, how it is moved, and its picture.
import { Brush, CLASS_COLORS, SIGNS, each } from "./brush";
import { attempt, byId, fit, make, onFrame, oneAtATime, say, trouble } from "./elements";
import { RETRY, type Feed, type Layer, type Overview, type Track, grain, readingOf, seenIn } from "./feed";
import { Axis, plural, visible } from "./format";
import { type Row, paintRow } from "./rows";
import { bestAt, describe } from "./tips";

const RULER = 44;
const GO_TO = 4096;  // bytes of the capture that are looked at when one place is gone to
const COUNTED: Record<string, string> = { value: "value", counter: "time", pc: "sample" };  // by kind of track; else packets
const COLORS = ["back", "ink", "faint", "line", "grid", "data", "second", "band", "padding", "cursor", "hatch", "lightness", ...CLASS_COLORS];

export class Timeline {
  axis!: Axis;
  overview!: Overview;
  colors: Record<string, string> = {};
  from = 0;  // of what is in view, as `to`
  to = 0;
  cursors: (number | null)[] = [null, null];
  recording = 0;  // changes when places, lines and losses known so far mean nothing any more
  layers: Layer[] = [];
  onChange: () => void = () => {};  // the view or its answer
  onRow: (track: Track) => void = () => {};  // a row's name was pressed
  onPlace: (place: number) => void = () => {};  // a place was clicked
  onOther: () => void = () => {};  // the answers are not about what `overview` is about

  private rows: Row[] = [];
  private deepest = 2;
  private readonly plot = byId<HTMLCanvasElement>("plot");
  private readonly ruler = byId<HTMLCanvasElement>("ruler");
  private readonly scroller = byId("scroller");
  private readonly tip = byId("tip");
  private pointer: { x: number; y: number; ruler: boolean } | null = null;  // within its canvas
  private drag: { x: number; from: number; cursor: number; moved: boolean } | null = null;

  constructor(private readonly feed: Feed, overview: Overview) {
    this.take(overview);
    this.lookWhole();
    this.listen(this.plot, false);
    this.listen(this.ruler, true);
    this.scroller.onscroll = this.repaint;
    new ResizeObserver(() => { this.repaint(); void this.ask(); }).observe(this.scroller);
  }

  get width(): number { return Math.max(this.scroller.clientWidth - byId("rows").offsetWidth, 50); }
  get whole(): boolean { return this.from <= this.axis.begin && this.to >= this.axis.begin + this.axis.length; }
  get middle(): number { return (this.from + this.to) / 2; }

  /** The place under the pointer; null when it is elsewhere. */
  private get pointed(): number | null { return this.pointer && this.from + this.pointer.x / this.width * (this.to - this.from); }

  readColors(): void {
    const style = getComputedStyle(document.documentElement);
    this.colors = Object.fromEntries(COLORS.map((name) => [name, style.getPropertyValue("--" + name).trim()]));
    this.repaint();
  }

  /** The recording has grown, or is known better; or it is another, or has another number line: then places known so far mean nothing. */
  update(overview: Overview): void {
    const { whole, overview: { axis, recording, indexed } } = this;
    const otherAxis = overview.indexed > 0 && (overview.axis.kind !== axis.kind || overview.axis.unit !== axis.unit);
    const other = indexed > 0 && (overview.recording !== recording || otherAxis);
    this.take(overview);
    if (other) {
      this.recording++;
      [this.cursors, this.layers] = [[null, null], []];
      this.hideTip();
    }
    if (other || whole) this.lookWhole();
    else void this.ask();
  }

  private take(overview: Overview): void {
    const { axis, tracks } = this.overview = overview;
    this.axis = new Axis(axis.kind, axis.unit, axis.begin, axis.end);
    say("axis", this.axis.name);
    if (tracks.map(({ id }) => id).join("\n") !== this.rows.map(({ track }) => track.id).join("\n")) {
      this.rows = tracks.map((track) => ({ track, top: 0, height: 0, label: make("button", { className: "row" }), low: 0, high: 0, often: 0 }));
      byId("rows").replaceChildren(...this.rows.map(({ label }) => label));
    }
    tracks.forEach((track, i) => {
      const { label } = this.rows[i];
      const name = visible(track.label);
      const total = plural(track.total, COUNTED[track.kind] ?? "packet") + (track.type && track.type !== "hex" ? ", " + track.type : "");
      this.rows[i].track = track;
      Object.assign(label, { title: `${name}, ${total}`, onclick: () => this.onRow(track) });
      Object.assign(label.dataset, { track: track.id, kind: track.kind });
      label.replaceChildren(make("b", {}, name), make("small", {}, total));
    });
    this.repaint();
  }

  /** Looks at a window, as far as there is one. */
  look(from: number, to: number): void {
    if (!Number.isFinite(from) || !Number.isFinite(to)) return;
    const length = Math.min(Math.max(to - from, this.axis.least), this.axis.length);
    const eighths = (place: number) => Math.round(place * 8) / 8;  // so that the window asked for is the one shown, to the last bit
    this.from = eighths(Math.min(Math.max(from, this.axis.begin), this.axis.begin + this.axis.length - length));
    this.to = length === this.axis.length ? this.axis.begin + length : eighths(this.from + length);
    this.changed();
    void this.ask();
  }

  zoom(factor: number, around = this.pointed ?? this.middle): void {
    const wanted = Math.max(factor, this.axis.least / (this.to - this.from));
    this.look(around - (around - this.from) * wanted, around + (this.to - around) * wanted);
  }

  pan(share: number): void { this.look(this.from + (this.to - this.from) * share, this.to + (this.to - this.from) * share); }
  lookWhole(): void { this.look(this.axis.begin, this.axis.begin + this.axis.length); }
  lookAtEnd(length = this.to - this.from): void { this.look(this.axis.end - length, this.axis.end); }
  scroll(rows: number): void { this.scroller.scrollTop += rows * 40; }
  hideTip(): void { [this.pointer, this.tip.hidden] = [null, true]; }

  /** Looks at `place`, as closely as now; out of a wide view so closely that single events are seen. */
  goTo(place: number): void {
    const close = this.axis.length * Math.min(1, GO_TO / Math.max(this.overview.bytes, 1));
    const span = this.to - this.from > this.axis.length / 4 ? close : this.to - this.from;
    this.look(place - span / 2, place + span / 2);
  }

  /** `which` 0 or 1; below 0 both are removed. */
  setCursor(which: number): void {
    if (which < 0) this.cursors = [null, null];
    else this.cursors[which] = this.pointed ?? this.middle;
    this.changed();
  }

  private changed(): void {
    this.repaint();
    this.onChange();
  }

  /** Asks for what is looked at, one question at a time. */
  readonly ask = oneAtATime(() => attempt(async () => {
    const layers = await this.feed.layers(this.from, this.to, Math.min(this.width, 4096), this.axis);
    if (layers.some((layer) => readingOf(layer) !== readingOf(this.overview))) return this.onOther();
    this.layers = layers;
    for (const { tracks } of this.layers) tracks.get("nesting")?.depth.forEach((depth) => { this.deepest = Math.max(this.deepest, depth + 1); });
    byId("rows").style.setProperty("--levels", String(Math.min(this.deepest, 8)));
    trouble(null);
    this.changed();
  }, () => setTimeout(this.ask, RETRY)));

  readonly repaint = onFrame(() => this.paint());

  brush(ctx: CanvasRenderingContext2D, width = this.width): Brush {
    return new Brush(ctx, this.colors, this.from, this.to, width, this.axis, this.overview);
  }

  private paint(): void {
    const { clientHeight: height, scrollTop: top } = this.scroller;
    const brush = this.brush(fit(this.plot, this.width, height));
    brush.ctx.translate(0, -top);
    for (const row of this.rows) {
      [row.top, row.height] = [row.label.offsetTop, row.label.offsetHeight];
      if (row.top + row.height < top || row.top > top + height) continue;
      paintRow(brush, row, this.layers);
      brush.rectangle(0, row.top + row.height - 1, brush.width, 1, brush.colors.grid);
    }
    brush.ctx.translate(0, top);
    const ruler = this.brush(fit(this.ruler, this.width, RULER));
    this.paintRuler(ruler);
    for (const [pen, tall] of [[brush, height], [ruler, RULER]] as [Brush, number][]) {
      this.paintMarks(pen, tall, pen === ruler);
      this.paintCursors(pen, tall, pen === ruler);
    }
    say("summary", this.summary(brush));
    this.placeTip();
  }

  private paintRuler(brush: Brush): void {
    const wide = brush.ctx.measureText(this.axis.at(this.to, brush.perPixel * 100)).width + 12;
    const step = this.axis.step(brush.perPixel * wide);
    const parts = /^2/.test(String(step)) ? 4 : 5;
    for (let k = Math.ceil(this.from / step * parts); k * step / parts <= this.to; k++) {
      const x = Math.round(brush.x(k * step / parts));
      const [y, tall] = k % parts === 0 ? [18, 10] : [23, 5];
      brush.rectangle(x, y, x + 1, tall, brush.colors.faint);
      if (k % parts === 0 && x + wide < brush.width + 12) brush.text(this.axis.at(k * step / parts, step), x + 3, 10);
    }
    brush.rectangle(brush.width / 2 - 3, 0, brush.width / 2 + 3, 2, brush.colors.faint);
  }

  /** What was lost: signs in the ruler, lines and stretches across the rows. */
  paintMarks(brush: Brush, height: number, ruler: boolean): void {
    const { ctx } = brush;
    const drawn: number[] = [];
    for (const { marks } of seenIn(this.layers, this.from, this.to)) {
      const { time = [], end, hint, class: kinds } = marks;
      for (let i = 0; i < time.length; i++) {
        const kind = kinds[i];
        const [x0, x1] = [brush.x(time[i]), brush.x(end[i])];
        if (Math.max(x0, x1) < -6 || x0 > brush.width + 6) continue;
        ctx.fillStyle = ctx.strokeStyle = brush.colors[CLASS_COLORS[kind] ?? "edge"];
        const x = Math.round(Math.min(Math.max(x0, 0), brush.width - 1));
        if (!ruler) {
          ctx.globalAlpha = (hint[i] ? 0.25 : 0.5) * Math.max(Math.min(1, brush.width / 16 / time.length), 0.15);
          ctx.fillRect(x, 0, 1, height);
          if (x1 - x0 > 2) brush.rectangle(x0, 0, x1, height, brush.hatch);
          ctx.globalAlpha = 1;
        } else if (x - (drawn[kind] ?? -9) >= 7) {
          drawn[kind] = x;
          const left = Math.min(Math.max(x - 5, 0), brush.width - 11);
          if (hint[i]) ctx.strokeText(SIGNS[kind] ?? "?", left, 36);
          else ctx.fillText(SIGNS[kind] ?? "?", left, 36);
        }
      }
    }
  }

  private paintCursors(brush: Brush, height: number, ruler: boolean): void {
    this.cursors.forEach((place, i) => {
      if (place === null) return;
      const x = Math.round(brush.x(place));
      brush.rectangle(x, 0, x + 1, height, brush.colors.cursor);
      if (!ruler) return;
      brush.rectangle(x, 0, x + 15, 16, brush.colors.cursor);
      brush.text("AB"[i], x + 4, 8, brush.colors.back);
    });
  }

  /** How exact the picture is, in words. */
  private summary(brush: Brush): string {
    const span = `${this.axis.span(this.to - this.from)} in view, 1 px = ${this.axis.span(brush.perPixel)}`;
    const seen = Array.from({ length: 65 }, (_, i) => bestAt(this.layers, this.from + (this.to - this.from) * i / 64) ?? []).flat();
    const worst = seen.reduce((one, other) => grain(other) > grain(one) ? other : one, seen[0]);
    if (!worst) return span;
    if (worst.exact) return `${span} \u00b7 exact: every packet`;
    let values = 0;
    for (const arrays of worst.tracks.values())
      if (arrays.min) each(brush, worst, arrays, (i) => { values += arrays.count[i]; });
    const coarse = grain(worst) > brush.perPixel * 1.01;
    return `${span} \u00b7 ${coarse ? `no finer picture here: 1 column = ${this.axis.span(grain(worst))}` : "summary"}` +
      (values > 0 ? `, min/max of ${plural(values, "value")}` : "") + (seen.some(({ exact }) => exact) ? ", exact in parts" : "");
  }

  private listen(canvas: HTMLCanvasElement, ruler: boolean): void {
    const point = (event: MouseEvent) => {
      this.pointer = { x: event.offsetX, y: event.offsetY, ruler };
      this.placeTip();
    };
    canvas.onwheel = (event) => {
      event.preventDefault();
      point(event);
      const unit = event.deltaMode === 1 ? 30 : 1;
      const aside = event.deltaX || (event.shiftKey ? event.deltaY : 0);
      if (Math.abs(aside) > Math.abs(event.deltaY) || event.shiftKey) this.pan(aside * unit / this.width);
      else this.zoom(1.0022 ** Math.max(-400, Math.min(400, event.deltaY * unit)));
    };
    canvas.onpointerdown = (event) => {
      if (event.button !== 0) return;
      point(event);
      canvas.setPointerCapture(event.pointerId);
      const flag = (place: number | null) => place !== null && Math.abs((place - this.pointed!) / (this.to - this.from) * this.width + 6) < 12;
      this.drag = { x: event.offsetX, from: this.from, cursor: ruler ? this.cursors.findIndex(flag) : -1, moved: false };
    };
    canvas.onpointermove = (event) => {
      point(event);
      if (!this.drag) return;
      const { x, from, cursor } = this.drag;
      this.drag.moved ||= Math.abs(event.offsetX - x) > 3;
      const begin = from - (event.offsetX - x) / this.width * (this.to - this.from);
      if (this.drag.moved && cursor >= 0) this.setCursor(cursor);
      else if (this.drag.moved) this.look(begin, begin + this.to - this.from);
    };
    canvas.onpointerup = () => { if (this.drag && !this.drag.moved) this.onPlace(this.pointed!); };
    canvas.onlostpointercapture = () => { this.drag = null; };
    canvas.onpointerleave = () => this.hideTip();
    canvas.ondblclick = () => this.lookWhole();
  }

  /** Says what is at the pointer, but for what is dragged. */
  private placeTip(): void {
    if (!this.pointer) return;
    this.tip.hidden = this.drag?.moved ?? false;
    if (this.tip.hidden) return;
    const { x, y, ruler } = this.pointer;
    const at = y + this.scroller.scrollTop;
    const row = ruler ? undefined : this.rows.find(({ top, height }) => at >= top && at < top + height);
    const canvas = ruler ? this.ruler : this.plot;
    this.tip.textContent = describe(this.brush(canvas.getContext("2d")!), row?.track, this.layers, this.pointed!);
    const box = canvas.getBoundingClientRect();
    const [left, top] = [box.left + x, box.top + y];
    const { width, height } = this.tip.getBoundingClientRect();
    this.tip.style.left = `${Math.max(4, left + 16 + width > innerWidth ? left - width - 12 : left + 16)}px`;
    this.tip.style.top = `${Math.max(4, top + 18 + height > innerHeight ? top - height - 10 : top + 18)}px`;
  }

  /** The tip of the row whose name has the focus, as if the pointer were in its middle. */
  explain(): void {
    const row = this.rows.find(({ label }) => label === document.activeElement) ?? this.rows[0];
    row.label.scrollIntoView({ block: "nearest" });
    this.pointer = { x: this.width / 2, y: row.top + row.height / 2 - this.scroller.scrollTop, ruler: false };
    this.placeTip();
  }
}
