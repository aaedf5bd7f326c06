// SPDX-License-Identifier: Apache-2.0
// The values of one track as a plot with axes, over the same window as the time line.
import uPlot from "../third_party/uPlot/uPlot.esm.js";
import { type Arrays, type Layer, type Numbers, type Overview } from "./feed";
import { count, plural, value } from "./format";
import { offer } from "./lists";
import { SUSPECT, firstAbove } from "./rows";
import { type Timeline, byId } from "./timeline";

interface View { from: number; to: number }
type Series = (number | null)[][];

export class Values {
  private plot: uPlot | null = null;
  private drawn = "";
  private readonly box = byId("value-plot");
  private readonly choice = byId<HTMLSelectElement>("value-track");

  constructor(private overview: Overview, private readonly timeline: Timeline) {
    this.choice.addEventListener("change", () => this.draw());
    new ResizeObserver(() => this.draw()).observe(this.box);
    this.update(overview);
  }

  update(overview: Overview): void {
    this.overview = overview;
    offer(this.choice, overview.tracks.filter(({ kind }) => kind === "value").map(({ id, label }) => [id, label]));
  }

  choose(id: string): void {
    this.choice.value = id;
    this.draw();
  }

  /** Draws anew when the panel is open; `style` when the colours have changed. */
  draw(style = false): void {
    const track = this.overview.tracks.find(({ id }) => id === this.choice.value);
    if (this.box.clientWidth === 0) return;
    if (!track) {
      byId("values-note").textContent = "No track holds values. A stimulus port does with --port-type PORT=TYPE.";
      return;
    }
    const layer = this.timeline.layers[this.timeline.layers.length - 1];
    const arrays = layer?.tracks.get(track.id);
    const exact = layer?.exact ?? false;
    const { series, events } = arrays ? (exact ? exactSeries(this.timeline, arrays) : summarySeries(this.timeline, layer!, arrays)) : { series: exact ? [[], []] : [[], [], [], []], events: 0 };
    const kind = `${track.id} ${exact}`;
    if (style || kind !== this.drawn) {
      this.plot?.destroy();
      this.plot = this.make(track.type ?? "", exact);
      this.drawn = kind;
    }
    this.plot!.setSize({ width: this.box.clientWidth - 8, height: Math.max(this.box.clientHeight - 40, 80) });
    this.plot!.setData(series as uPlot.AlignedData, false);
    this.plot!.setScale("x", { min: this.timeline.from, max: this.timeline.to });
    byId("values-note").textContent = `${plural(events, "value")} in view, ${exact ? "each drawn; suspects left out" : "as min, max and last of each column"}. ${count(track.total)} in all.`;
  }

  private make(type: string, exact: boolean): uPlot {
    const style = getComputedStyle(document.documentElement);
    const color = (name: string) => style.getPropertyValue("--" + name).trim();
    const axis = { stroke: color("faint"), grid: { stroke: color("grid") }, ticks: { stroke: color("line") } };
    const line = (label: string, stroke: string): uPlot.Series => ({ label, stroke, width: 1.5, value: (_: uPlot, number: number | null) => number === null ? "\u2013" : value(number, type) });
    const step = { paths: uPlot.paths.stepped!({ align: 1 }) };
    const { timeline } = this;
    return new uPlot({
      width: 300, height: 200, cursor: { drag: { x: false, y: false } },
      scales: { x: { time: false } , y: { range: (_plot: uPlot, low: number, high: number) => low === high ? [low - 1, high + 1] : uPlot.rangeNum(low, high, 0.08, true) } },
      axes: [{ ...axis, space: 90, values: (_: uPlot, places: number[]) => places.map((place) => timeline.axis.at(place, Math.max((places[1] ?? place) - places[0], 1))) },
        { ...axis, size: 68, values: (_: uPlot, numbers: number[]) => numbers.map((number) => value(number, type)) }],
      series: [{ label: "at", value: (_: uPlot, place: number | null) => place === null ? "\u2013" : timeline.axis.at(place, 1) },
        ...(exact ? [{ ...line("value", color("data")), ...step }] : [line("min", color("second")), line("max", color("second")), line("last", color("data"))])],
      bands: exact ? [] : [{ series: [2, 1], fill: color("band") }],
    }, [[]], this.box);
  }
}

/** What is in view, with one value on each side; `events` counts those in view. */
function exactSeries({ from, to }: View, arrays: Arrays): { series: Series; events: number } {
  const { time, flags, value: numbers } = arrays as Record<"time" | "flags" | "value", Numbers>;
  const [first, behind] = [firstAbove(time, from), firstAbove(time, to)];
  const keep = [...time.keys()].slice(Math.max(first - 1, 0), behind + 1).filter((i) => !(flags[i] & SUSPECT));
  return { series: [keep.map((i) => time[i]), keep.map((i) => numbers[i])], events: keep.filter((i) => i >= first && i < behind).length };
}

function summarySeries({ from, to }: View, layer: Layer, arrays: Arrays): { series: Series; events: number } {
  const width = (layer.to - layer.from) / layer.pixels;
  const times = Array.from(arrays.column, (c) => layer.from + (c + 0.5) * width);
  const keep = [...times.keys()].filter((i) => times[i] > from - width && times[i] < to + width);
  const pick = (numbers: ArrayLike<number>) => keep.map((i) => numbers[i]);
  return { series: [times, ...["min", "max", "last"].map((name) => arrays[name])].map(pick),
    events: pick(arrays.count).reduce((sum, number) => sum + number, 0) };
}
