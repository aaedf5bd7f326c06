// SPDX-License-Identifier: Apache-2.0
// The values of one track as a plot with axes, over the same window as the time line.
import uPlot from "../third_party/uPlot/uPlot.esm.js";
import { byId, offer, say } from "./elements";
import { arraysOf, grain } from "./feed";
import { count, plural, value } from "./format";
import { SUSPECT } from "./rows";
import { type Timeline } from "./timeline";

export class Values {
  private plot: uPlot | null = null;
  private drawn = "";
  private readonly box = byId("value-plot");
  private readonly choice = byId<HTMLSelectElement>("value-track");

  constructor(private readonly timeline: Timeline) {
    this.choice.onchange = () => this.draw();
    new ResizeObserver(() => this.draw()).observe(this.box);
  }

  /** Draws anew when the panel is open; `style` when the colours have changed. */
  draw(style = false): void {
    const { from, to, layers, overview: { tracks } } = this.timeline;
    offer(this.choice, tracks.filter(({ kind }) => kind === "value").map(({ id, label }) => [id, label]));
    const track = tracks.find(({ id }) => id === this.choice.value);
    if (this.box.clientWidth === 0) return;
    if (!track) return say("values-note", "No track holds values. A stimulus port does with --port-type PORT=TYPE.");
    const layer = layers[layers.length - 1];
    const { time = [], min = [], max = [], last = [], count: counts, flags } = arraysOf(layer, track) ?? {};
    const exact = layer?.exact ?? false;
    const width = layer ? grain(layer) : 0;
    const times = Array.from(time, (begin) => begin + width / 2);
    const inView = (i: number) => times[i] > from - width && times[i] < to + width;
    const keep = [...times.keys()].filter((i) => (inView(i) || inView(i + 1) || inView(i - 1)) && !(flags && flags[i] & SUSPECT));
    const events = keep.filter(inView).reduce((sum, i) => sum + (counts?.[i] ?? 1), 0);
    const kind = `${track.id} ${track.type} ${exact}`;
    if (style || kind !== this.drawn) {
      this.plot?.destroy();
      this.plot = this.make(track.type ?? "", exact);
      this.drawn = kind;
    }
    this.plot!.setSize({ width: this.box.clientWidth - 8, height: Math.max(this.box.clientHeight - 40, 80) });
    this.plot!.setData([times, ...exact ? [last] : [min, max, last]].map((series) => keep.map((i) => series[i])) as uPlot.AlignedData, false);
    this.plot!.setScale("x", { min: from, max: to });
    say("values-note", `${plural(events, "value")} in view, ${exact ? "each drawn; suspects left out" : "as min, max and last of each column"}. ` +
      `${count(track.total)} in all.`);
  }

  private make(type: string, exact: boolean): uPlot {
    const { timeline, timeline: { colors: { faint, grid, line, data, second, band } } } = this;
    const axis = { stroke: faint, grid: { stroke: grid }, ticks: { stroke: line } };
    const curve = (label: string, stroke: string): uPlot.Series => ({
      label, stroke, width: 1.5, value: (_: uPlot, number: number | null) => number === null ? "\u2013" : value(number, type),
      ...exact && { paths: uPlot.paths.stepped!({ align: 1 }) },
    });
    return new uPlot({
      width: 300, height: 200, cursor: { drag: { x: false, y: false } },
      scales: { x: { time: false }, y: { range: (_, low, high) => low === high ? [low - 1, high + 1] : uPlot.rangeNum(low, high, 0.08, true) } },
      axes: [{ ...axis, space: 90, values: (_, places) => places.map((place) => timeline.axis.at(place, Math.max((places[1] ?? place) - places[0], 1))) },
        { ...axis, size: 68, values: (_, numbers) => numbers.map((number) => value(number, type)) }],
      series: [{ label: "at", value: (_: uPlot, place: number | null) => place === null ? "\u2013" : timeline.axis.at(place, 1) },
        ...exact ? [curve("value", data)] : [curve("min", second), curve("max", second), curve("last", data)]],
      bands: exact ? [] : [{ series: [2, 1], fill: band }],
    }, [[]], this.box);
  }
}
