"""What stands beside damage, and how often something comes."""
from itm_signal import ENTER, EXIT, RETURN, Signal
from page_test import PageTest, around, ns

ROUNDS = 40
COLOURS = """
    const [x, y] = arguments;
    const box = document.getElementById("plot").getBoundingClientRect();
    const data = document.getElementById("plot").getContext("2d").getImageData(x - box.left - 6, y - box.top - 4, 12, 8).data;
    const seen = new Set();
    for (let i = 0; i < data.length; i += 4) seen.add(data.slice(i, i + 3).map((part) => part >> 4).join());
    return [...seen];"""


def add_round(signal):
    return signal.exception(15, ENTER).wait(10).wait(20).exception(15, EXIT).exception(0, RETURN).wait(20)


class Suspects(PageTest):
    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for _ in range(ROUNDS):
            add_round(signal)
        cls.offset, cls.begin = len(signal.bytes), signal.ticks
        signal.exception(15, ENTER).wait(10).wait(20).exception(15, EXIT)  # no timestamp stands between the exit
        signal.add(0xA0)  # and what stands for nothing
        for _ in range(ROUNDS):
            add_round(signal)
        cls.page = cls.page_of("suspect.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm")

    def test_a_span_beside_damage_is_hatched_and_says_so(self):
        view, address = around(self.begin, 120)
        self.open(self.page, address)
        self.wait_text("#summary", "exact")
        good, suspect = ns(self.begin - 30), ns(self.begin + 20)
        for track in ("exception:15", "nesting"):
            with self.subTest(track):
                self.assertNotIn("suspect", self.browser.tip(track, good, view))
                tip = self.browser.tip(track, suspect, view)
                self.assertIn("suspect: beside damage", tip)
                self.assertIn(f", offset {self.offset:,}\n", tip)
        self.browser.mouse(5, 5)
        self.assertEqual(len(self.browser.run(COLOURS, *self.browser.place("exception:15", good, view))), 1)
        self.assertGreater(len(self.browser.run(COLOURS, *self.browser.place("exception:15", suspect, view))), 1)

    def test_a_span_behind_damage_is_salvaged_and_says_so(self):
        end = self.begin + 30 + 50 * ROUNDS
        view, address = around(end - 100, 120)
        self.open(self.page, address)
        self.wait_text("#summary", "exact")
        self.assertIn("\nsalvaged", self.browser.tip("exception:15", ns(end - 70), view))


class Rates(PageTest):
    """A counter that wraps every 100 ticks, and then every 25."""

    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for i in range(40):
            signal.counters(0x20).wait(100 if i < 20 else 25)
        cls.end = signal.ticks
        cls.page = cls.page_of("rates.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm")

    def test_single_counts_tell_their_rate(self):
        self.open(self.page)
        self.wait_text("#summary", "exact")
        for tick, rate in ((1000, 10), (2475, 40)):
            tip = self.browser.tip("counter:cyc", ns(tick), (0, ns(self.end)))
            self.assertIn(f"\n{rate} per ms since the one before\nat ", tip)

    def test_the_row_shows_the_rate(self):
        self.open(self.page)
        self.wait_text("#summary", "exact")
        shown = {}
        for tick in (1050, 2462):
            x, y = self.browser.place("counter:cyc", ns(tick), (0, ns(self.end)))
            shown[tick] = self.browser.run("""
                const [x, y] = arguments;
                const plot = document.getElementById("plot"), box = plot.getBoundingClientRect();
                const data = plot.getContext("2d").getImageData(Math.round(x - box.left), Math.round(y - box.top) - 17, 1, 34).data;
                let tall = 0;
                for (let i = 0; i < data.length; i += 4) tall += data[i] === 188 && data[i + 1] === 211 && data[i + 2] === 236;
                return tall;""", x, y)
        self.assertGreater(shown[2462], 15)
        self.assertAlmostEqual(shown[1050], shown[2462] / 4, delta=2)


class DenseCounts(PageTest):
    """A counter that wraps with every tick: three times in each pixel."""

    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for _ in range(2000):
            signal.counters(0x20).wait(1)
        cls.end = signal.ticks
        cls.page = cls.page_of("dense.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm")

    def test_ticks_are_seen_wherever_they_are(self):
        self.open(self.page)
        self.wait_text("#summary", "exact: every packet")
        x, y = self.browser.place("counter:cyc", ns(self.end / 2), (0, ns(self.end)))
        drawn, width = self.browser.run("""
            const y = arguments[1];
            const plot = document.getElementById("plot"), box = plot.getBoundingClientRect(), ctx = plot.getContext("2d");
            ctx.fillStyle = getComputedStyle(document.documentElement).getPropertyValue("--data");
            const wanted = [1, 3, 5].map((at) => parseInt(ctx.fillStyle.slice(at, at + 2), 16));
            const row = ctx.getImageData(0, Math.round(y - box.top), plot.width, 1).data;
            let drawn = 0;
            for (let i = 0; i < row.length; i += 4) drawn += wanted.every((part, at) => Math.abs(row[i + at] - part) < 40);
            return [drawn, plot.width];""", x, y)
        self.assertGreater(drawn, width / 3)
