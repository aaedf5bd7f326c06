// SPDX-License-Identifier: Apache-2.0
// The values of one track as a plot with axes, over the same window as the time line.
import uPlot from "../third_party/uPlot/uPlot.esm.js";
import { type Arrays, type Layer, type Overview } from "./feed";
import { count, plural, value } from "./format";
import { offer } from "./lists";
import { SUSPECT } from "./rows";
import { type Timeline, byId } from "./timeline";

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
    const { series, events } = arrays ? (exact ? exactSeries(arrays) : summarySeries(layer!, arrays)) : { series: exact ? [[], []] : [[], [], [], []], events: 0 };
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
      axes: [{ ...axis, space: 90, values: (_: uPlot, places: number[]) => places.map((place) => timeline.axis.at(place, Math.max((places[1] ?? place) - places[0]!, 1))) },
        { ...axis, size: 68, values: (_: uPlot, numbers: number[]) => numbers.map((number) => value(number, type)) }],
      series: [{ label: "at", value: (_: uPlot, place: number | null) => place === null ? "\u2013" : timeline.axis.at(place, 1) },
        ...(exact ? [{ ...line("value", color("data")), ...step }] : [line("min", color("second")), line("max", color("second")), line("last", color("data"))])],
      bands: exact ? [] : [{ series: [2, 1], fill: color("band") }],
    }, [[]], this.box);
  }
}

function exactSeries(arrays: Arrays): { series: Series; events: number } {
  const keep = [...arrays["time"]!.keys()].filter((i) => !(arrays["flags"]![i]! & SUSPECT));
  return { series: [keep.map((i) => arrays["time"]![i]!), keep.map((i) => arrays["value"]![i]!)], events: keep.length };
}

function summarySeries(layer: Layer, arrays: Arrays): { series: Series; events: number } {
  const width = (layer.to - layer.from) / layer.pixels;
  const times = Array.from(arrays["column"]!, (c) => layer.from + (c + 0.5) * width);
  const events = (arrays["count"] as Uint32Array).reduce((sum, number) => sum + number, 0);
  return { series: [times, ...["min", "max", "last"].map((name) => Array.from(arrays[name]!))], events };
}
