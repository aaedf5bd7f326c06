// SPDX-License-Identifier: Apache-2.0
// The values of one track as a plot with axes, over the same window as the time line.
import uPlot from "../third_party/uPlot/uPlot.esm.js";
import { SUSPECT, inView, thin } from "./brush";
import { byId, offer, onFrame, say } from "./elements";
import { type Layer, arraysOf, grain } from "./feed";
import { count, plural, value } from "./format";
import { type Timeline } from "./timeline";

export class Values {
  private plot: uPlot | null = null;
  private drawn = "";  // what the plot was made for
  private readonly box = byId("value-plot");
  private readonly choice = byId<HTMLSelectElement>("value-track");

  constructor(private readonly timeline: Timeline) {
    this.choice.onchange = this.draw;
    new ResizeObserver(this.draw).observe(this.box);
  }

  /** Draws anew when the panel is open. */
  readonly draw = onFrame(() => {
    const { from, to, overview: { tracks } } = this.timeline;
    offer(this.choice, tracks.filter(({ kind }) => kind === "value").map(({ id, label }) => [id, label]));
    const track = tracks.find(({ id }) => id === this.choice.value);
    const [width, height] = [this.box.clientWidth - 8, Math.max(this.box.clientHeight - 40, 80)];
    if (width <= 0) return;
    const layer = this.layer;
    const exact = layer?.exact ?? false;
    const kind = track ? `${track.id} ${track.type} ${exact} ${document.documentElement.dataset.theme}` : "";
    if (kind !== this.drawn) {
      this.plot?.destroy();
      this.plot = track ? this.make(track.type ?? "", exact) : null;
      this.drawn = kind;
    }
    if (!track) return say("values-note", "No track holds values. A stimulus port does with --port-type PORT=TYPE.");
    const column = layer ? grain(layer) : 0;
    const arrays = arraysOf(layer, track);
    const { time = [], min = [], max = [], last = [], count: counts, flags } = arrays ?? {};
    const [first, behind] = inView(time, from, to, column);
    const keep = thin(first, behind, from, exact ? (to - from) / width : 0, arrays ?? {}).filter((i) => !(flags?.[i] & SUSPECT));
    let [fair, events] = [0, 0];
    for (let i = first; i < behind; i++) {
      if (flags?.[i] & SUSPECT) continue;
      fair++;
      if (time[i] + column >= from && time[i] < to) events += counts?.[i] ?? 1;
    }
    const infinite = keep.filter((i) => !Number.isFinite(min[i]) || !Number.isFinite(max[i])).length;
    const pick = (numbers: ArrayLike<number>) => keep.map((i) => Number.isFinite(numbers[i]) ? numbers[i] : null);
    this.plot!.batch(() => {
      if (width !== this.plot!.width || height !== this.plot!.height) this.plot!.setSize({ width, height });
      this.plot!.setData([keep.map((i) => time[i] + column / 2), ...(exact ? [last] : [min, max, last]).map(pick)], false);
      this.plot!.setScale("x", { min: from, max: to });
    });
    say("values-note", `${plural(events, "value")} in view, ${!exact ? "as min, max and last of each column" : (keep.length === fair
      ? "each drawn" : "of each pixel the first, lowest, highest and last drawn") + "; suspects left out"}` +
      `${infinite > 0 ? "; what is infinite or no number is left out" : ""}. ${count(track.total)} in all.`);
  });

  /** The finest that tells of most of the view. */
  private get layer(): Layer | undefined {
    const { from, to, layers } = this.timeline;
    return [...layers].reverse().find((layer) => Math.min(layer.to, to) - Math.max(layer.from, from) > (to - from) / 2) ?? layers[0];
  }

  /** What was lost, across the plot. */
  private paintLosses({ ctx, bbox: { left, top, width, height } }: uPlot): void {
    ctx.save();
    ctx.translate(left, top);
    this.timeline.paintMarks(this.timeline.brush(ctx, width), height, false);
    ctx.restore();
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
      hooks: { drawAxes: [(plot) => this.paintLosses(plot)] },
    }, [[]], this.box);
  }
}
