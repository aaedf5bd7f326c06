// SPDX-License-Identifier: Apache-2.0
// Puts the page together: feed, time line, lists, keys, and the address that holds the view.
import { act, answer, attempt, byId, choose, endAnswers, oneAtATime, say, tell, trouble } from "./elements";
import { EmbeddedFeed, type Feed, type News, type Overview, ServedFeed } from "./feed";
import { count, percent, visible } from "./format";
import { Lists } from "./lists";
import { Timeline } from "./timeline";
import { Values } from "./values";

const OVERVIEW_EVERY = 300;  // ms at the least between two looks at a running recording

class Page {
  private readonly timeline = new Timeline(this.feed, this.overview);
  private readonly values = new Values(this.timeline);
  private readonly lists = new Lists(this.feed, this.timeline, () => this.changed(), (port, type) => {
    this.types.set(port, type);
    this.showPorts();
    this.changed();
  });
  private following = false;
  private readonly types = new Map<string, string>();  // of ports, by number, as the user chose them here
  private settling = 0;
  private revision = this.overview.revision;  // of what is shown
  private news: News = { revision: this.revision, trouble: null };

  constructor(private readonly feed: Feed, private overview: Overview) {
    this.timeline.onChange = () => this.changed();
    this.timeline.onPlace = (place) => this.lists.showPlace(place);
    this.timeline.onRow = (track) => {
      if (track.kind === "text") this.lists.port = track.port!;
      if (track.kind === "value") choose(byId("value-track"), track.id);
      this.lists.open({ text: "text", value: "values", pc: "profile", bandwidth: "losses" }[track.kind] ?? "about");
      this.values.draw();
    };
    this.connect();
    this.readAddress();
    this.write();
    this.follow(overview.live && this.timeline.whole);
    addEventListener("hashchange", () => this.readAddress());
    this.timeline.onOther = () => { this.revision = 0; void this.grow(); };
    feed.follow((news) => { this.news = news; this.write(); void this.grow(); }, trouble);
  }

  private connect(): void {
    const { timeline, lists } = this;
    const actions: [string, string[], () => unknown][] = [
      ["zoom-in", ["+", "="], () => timeline.zoom(1 / 1.6)], ["zoom-out", ["-", "_"], () => timeline.zoom(1.6)],
      ["whole", ["Home"], () => timeline.lookWhole()], ["", ["End"], () => timeline.lookAtEnd()],
      ["", ["ArrowLeft"], () => timeline.pan(-0.1)], ["", ["ArrowRight"], () => timeline.pan(0.1)],
      ["", ["Shift+ArrowLeft"], () => timeline.pan(-1)], ["", ["Shift+ArrowRight"], () => timeline.pan(1)],
      ["", ["ArrowUp"], () => timeline.scroll(-1)], ["", ["ArrowDown"], () => timeline.scroll(1)],
      ["previous-loss", ["p"], () => lists.stepLoss(-1)], ["next-loss", ["n"], () => lists.stepLoss(1)],
      ["set-a", ["a"], () => timeline.setCursor(0)], ["set-b", ["b"], () => timeline.setCursor(1)],
      ["clear-cursors", ["c"], () => timeline.setCursor(-1)], ["follow", ["f"], () => this.follow(!this.following)],
      ["stop", [], () => this.stop()], ["", ["/"], () => { lists.open("text"); byId("sought").focus(); }], ["", ["i"], () => timeline.explain()],
      ["theme", ["t"], () => this.setTheme(document.documentElement.dataset.theme === "dark" ? "light" : "dark")],
      ["help", ["?"], () => byId<HTMLDialogElement>("help-text").showModal()], ["", ["Escape"], () => timeline.hideTip()]];
    for (const [id, , action] of actions) if (id) byId(id).onclick = () => act(action);
    document.onkeydown = (event) => {
      const target = event.target as HTMLElement;
      if (event.ctrlKey || event.altKey || event.metaKey || target.closest("input, select, dialog")) return;
      const pressed = (event.shiftKey && event.key.startsWith("Arrow") ? "Shift+" : "") + event.key;
      const action = actions.find(([, keys]) => keys.includes(pressed));
      if (!action || (target.closest(".list") && /Arrow(Up|Down)|Home|End/.test(pressed))) return;
      event.preventDefault();
      void act(action[2]);
    };
    const dark = matchMedia("(prefers-color-scheme: dark)");
    dark.onchange = () => this.setTheme(dark.matches ? "dark" : "light");
    this.setTheme(dark.matches ? "dark" : "light");
  }

  private setTheme(theme: string): void {
    document.documentElement.dataset.theme = theme;
    say("theme", theme === "dark" ? "Light" : "Dark");
    this.timeline.readColors();
    this.values.draw();
    this.lists.refresh();
  }

  /** After the view, the cursors or the open list have changed. */
  private changed(): void {
    const { timeline } = this;
    const [a, b] = timeline.cursors;
    const step = (timeline.to - timeline.from) / timeline.width / 10;
    const words = [a, b].flatMap((place, i) => place === null ? [] : `${"AB"[i]} ${timeline.axis.at(place, step)}`);
    if (a !== null && b !== null) {
      const frequency = timeline.axis.frequency(Math.abs(b - a));
      words.push(`\u0394 ${b < a ? "\u2212" : ""}${timeline.axis.span(Math.abs(b - a))}${frequency ? ` (${frequency})` : ""}`);
    }
    say("cursors", words.join(" \u00b7 "));
    if (this.following && !timeline.whole && timeline.to < timeline.axis.end - 1) this.follow(false);
    this.values.draw();
    if (this.settling && this.overview.live) return;  // a running recording never settles
    clearTimeout(this.settling);
    this.settling = window.setTimeout(() => {
      this.settling = 0;
      this.lists.refresh();
      this.writeAddress();
    }, 250);
  }

  private writeAddress(): void {
    const { timeline, lists } = this;
    const words = new URLSearchParams();
    if (!timeline.whole) words.set("v", [timeline.from, timeline.to].map((place) => place.toFixed(0)).join(","));
    timeline.cursors.forEach((place, i) => { if (place !== null) words.set("ab"[i], place.toFixed(0)); });
    if (lists.tab !== "losses") words.set("list", lists.tab);
    if (lists.tab === "text" && lists.port >= 0) words.set("port", String(lists.port));
    if (this.types.size > 0) words.set("types", [...this.types].map((choice) => choice.join(":")).join(","));
    if (location.hash.slice(1) !== words.toString()) history.replaceState(null, "", "#" + words.toString());
  }

  private readAddress(): void {
    const words = new URLSearchParams(location.hash.slice(1));
    const number = (name: string) => words.has(name) && Number.isFinite(Number(words.get(name))) ? Number(words.get(name)) : null;
    const view = (words.get("v") ?? "").split(",").map(Number);
    this.timeline.cursors = [number("a"), number("b")];
    if (number("port") !== null) this.lists.port = number("port")!;
    this.lists.open(words.get("list") ?? "losses");
    if (view.length === 2 && view[1] > view[0]) this.timeline.look(view[0], view[1]);
    else this.timeline.lookWhole();
    for (const [, port, type] of (words.get("types") ?? "").matchAll(/\b(\d+):(text|[ui](?:8|16|32)|f32)\b/g)) this.types.set(port, type);
    this.showPorts();
  }

  /** Has ports shown as they were chosen here, where they are not. */
  private showPorts(): void {
    const shown = new Map(this.overview.tracks.map(({ port, type = "text" }) => [String(port), type]));
    const wanted = [...this.types].filter(([port, type]) => shown.get(port) !== type);
    if (this.overview.changeable && wanted.length > 0)
      void act(() => this.feed.post("ports", { types: wanted.map((choice) => choice.join(":")).join(",") }));
  }

  private async stop(): Promise<void> {
    if (!confirm("End the recording? All that was captured is saved.")) return;
    await this.feed.post("stop");
    answer("state", "ending \u2026");
  }

  private write(): void {
    const { overview, news } = this;
    const badge = (id: string, text: string, title: string, good: boolean) =>
      Object.assign(byId(id), { textContent: visible(text), title: visible(title), className: `badge ${good ? "good" : "bad"}` });
    const { name, verdict, lost } = overview;
    const nothing = lost.target + lost.line === 0;
    say("name", document.title = visible(name));
    badge("verdict", verdict.name, verdict.text, /^(good|tpiu-framed)/.test(verdict.name));
    badge("lost", nothing ? "nothing lost" : `lost: ${lost.text}`, lost.text, nothing);
    byId("follow").hidden = !overview.live;
    byId("stop").hidden = !overview.stoppable;
    say("no-more", visible(news.trouble ?? ""));
    tell("state", overview.live ? (news.trouble === null ? "recording" : "not shown any more") : overview.complete ? ""
      : `read so far: ${percent(overview.indexed / Math.max(overview.bytes, 1))} of ${count(overview.bytes)} bytes`);
  }

  private follow(on: boolean): void {
    this.following = on && this.overview.live;
    byId("follow").setAttribute("aria-pressed", String(this.following));
    if (this.following && !this.timeline.whole) this.timeline.lookAtEnd();
  }

  /** The recording has grown, or is known better. */
  private readonly grow = oneAtATime(async () => {
    if (this.news.revision <= this.revision) return;
    await attempt(async () => {
      this.overview = await this.feed.ask<Overview>("overview");
      const { whole, from, to, axis, recording } = this.timeline;  // as they are now, not as they were when that was asked
      this.revision = this.overview.revision;
      this.timeline.update(this.overview);
      if (this.timeline.recording !== recording) endAnswers();
      if (this.following && !whole && this.timeline.axis.unit === axis.unit) this.timeline.lookAtEnd(to - from);
      this.lists.update();
      this.values.draw();
      this.write();
    });
    await new Promise((done) => setTimeout(done, OVERVIEW_EVERY));
    void this.grow();
  });
}

addEventListener("error", (event) => trouble(`The page itself failed: ${event.message}`));
addEventListener("unhandledrejection", (event) => trouble(`The page itself failed: ${event.reason}`));
async function begin(): Promise<void> {
  const held = document.getElementById("recording");
  const feed: Feed = held ? await EmbeddedFeed.read(held.textContent!) : new ServedFeed();
  new Page(feed, await feed.ask<Overview>("overview"));
}
begin().catch((error) => trouble(`This recording cannot be shown: ${error.message}`));
