"""Plots of values: many of them, and such as are no numbers."""
import math
import struct
import sys

from itm_signal import Signal
from page_test import PageTest, ns

# Of a canvas below `selector`, within `over` or all of it: in which columns and rows the colour of data stands, as shares.
DATA_COLOURED = """
    const [selector, over] = arguments;
    const canvas = document.querySelector(selector);
    const box = canvas.getBoundingClientRect();
    const part = over ? document.querySelector(over).getBoundingClientRect() : box;
    const scale = canvas.width / box.width;
    const [left, top, width, height] = [part.left - box.left, part.top - box.top, part.width, part.height].map((n) => Math.round(n * scale));
    const data = canvas.getContext("2d").getImageData(left, top, width, height).data;
    const found = [];
    for (let i = 0; i < data.length; i += 4) {
        const near = Math.abs(data[i] - 37) + Math.abs(data[i + 1] - 99) + Math.abs(data[i + 2] - 168) < 60 && data[i + 3] > 150;
        if (near) found.push([(i / 4 % width) / width, Math.floor(i / 4 / width) / height]);
    }
    return found;"""


class ManyValues(PageTest):
    VALUES = 99_990  # as many packets as are shown one by one
    SPIKE = 70_000
    OVERFLOW = 30_000

    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for i in range(cls.VALUES):
            signal.port(3, (60_000 if i == cls.SPIKE else i * 7919 % 1000).to_bytes(2, "little"))
            if i == cls.OVERFLOW:
                signal.overflow()
        cls.size = len(signal.bytes)
        cls.page = cls.page_of("values.bin", bytes(signal.bytes), "--framing", "itm", "--port-type", "3=u16:level", "--detail", "8M")

    def test_frames_with_their_plot_take_less_than_a_sixtieth_of_a_second(self):
        self.open(self.page, "list=values")
        self.wait_text("#summary", "exact: every packet$")
        self.wait_text("#values-note", f"^{self.VALUES:,} values in view, of each pixel the first, lowest, highest and last drawn; ")
        self.browser.run("""
            window.lines_ = 0;
            const plain = Path2D.prototype.lineTo;
            Path2D.prototype.lineTo = function (...place) { window.lines_++; plain.apply(this, place); };
            window.frames_.length = 0;""")
        for i in range(40):  # all, and some less
            self.browser.wheel(500, 300, -60 if i % 2 else 60)
        frames, lines = self.browser.run("return [window.frames_, window.lines_]")
        self.judge_frames(frames, f"of {self.VALUES:,} values with their plot")
        print(f"{lines / len(frames):,.0f} lines a frame", file=sys.stderr)
        self.assertGreater(lines / len(frames), 1000)
        self.assertLess(lines / len(frames), self.VALUES / 4)

    def test_one_value_among_many_is_seen_where_it_is(self):
        self.open(self.page, "list=values")
        self.wait_text("#values-note", f"^{self.VALUES:,} values in view")
        share = (7 + 3 * self.SPIKE) / self.size
        high = self.browser.wait(lambda: [x for x, y in self.browser.run(DATA_COLOURED, "#value-plot canvas", "#value-plot .u-over")
                                          if 0.02 < y < 0.6], "the spike")
        for x in high:
            self.assertAlmostEqual(x, share, delta=0.01)
        row = self.browser.element("[data-track='port:3']").rect
        plot = self.browser.element("#plot").rect
        top, bottom = (row["y"] - plot["y"]) / plot["height"], (row["y"] + row["height"] - plot["y"]) / plot["height"]
        high = [x for x, y in self.browser.run(DATA_COLOURED, "#plot") if top < y < top + (bottom - top) * 0.6]
        self.assertTrue(high)
        for x in high:
            self.assertAlmostEqual(x, share, delta=0.01)

    def test_a_loss_is_seen_in_the_plot(self):
        self.open(self.page, "list=values")
        self.wait_text("#values-note", f"^{self.VALUES:,} values in view")
        share = 3 * self.OVERFLOW / self.size
        red = """
            const canvas = document.querySelector("#value-plot canvas").getBoundingClientRect();
            const over = document.querySelector("#value-plot .u-over").getBoundingClientRect();
            const ctx = document.querySelector("#value-plot canvas").getContext("2d");
            const data = ctx.getImageData(over.left - canvas.left, over.top - canvas.top, over.width, over.height / 2).data;
            const columns = new Set();
            for (let i = 0; i < data.length; i += 4)
                if (data[i] > 120 && data[i + 1] < 90 && data[i + 2] < 90 && data[i + 3] > 100) columns.add(i / 4 % Math.round(over.width));
            return [...columns].map((column) => column / over.width);"""
        found = self.browser.wait(lambda: self.browser.run(red), "the loss")
        for x in found:
            self.assertAlmostEqual(x, share, delta=0.01)


NUMBERS = (1.5, 4.0, math.inf, 0.0, -math.inf, -3.25, math.nan, 2.0)
LOW, HIGH = -3.25, 4.0


class OddNumbers(PageTest):
    EVERY = 100  # ticks

    @classmethod
    def prepare(cls):
        signal = Signal().sync().wait(50)
        for number in NUMBERS:
            signal.float(3, number).wait(cls.EVERY)
        signal.text(0, "end\n").wait(cls.EVERY)
        cls.end = signal.ticks
        cls.page = cls.page_of("odd.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm", "--port-type", "3=f32:level")

    def time(self, i):
        return ns(50 + (i + 1) * self.EVERY)

    def test_tips_say_what_is_no_ordinary_number(self):
        self.open(self.page)
        self.wait_text("#summary", "exact")
        for i, told in enumerate(("1.5", "4", "infinite", "0", "\u2212infinite", "-3.25", "not a number", "2")):
            with self.subTest(told):
                self.assertIn(f"\n{told}\nat ", self.browser.tip("port:3", self.time(i), (0, ns(self.end))))

    def test_the_row_is_scaled_by_ordinary_numbers(self):
        self.open(self.page)
        self.wait_text("#summary", "exact")
        row, plot = self.browser.element("[data-track='port:3']").rect, self.browser.element("#plot").rect
        found = self.browser.run(DATA_COLOURED, "#plot")
        for i, number in enumerate(NUMBERS):
            x = (self.time(i) + ns(self.EVERY) * 0.75) / ns(self.end)  # it holds until the next
            heights = {round(y * plot["height"] + plot["y"] - row["y"]) for at, y in found
                       if abs(at - x) < 0.002 and 0 <= y * plot["height"] + plot["y"] - row["y"] < row["height"]}
            with self.subTest(number=number):
                if math.isnan(number):
                    self.assertEqual(heights, set())
                    continue
                expected = 3 if number == math.inf else row["height"] - 4 if number == -math.inf else \
                    row["height"] - 9 - (number - LOW) / (HIGH - LOW) * (row["height"] - 18)
                self.assertTrue(heights)
                for height in heights:
                    self.assertAlmostEqual(height, expected, delta=2)

    def test_the_plot_is_scaled_by_ordinary_numbers(self):
        self.open(self.page, "list=values")
        self.wait_text("#values-note", "^8 values in view, each drawn; suspects left out; what is infinite or no number is left out. 8 in all.$")
        found = self.browser.wait(lambda: self.browser.run(DATA_COLOURED, "#value-plot canvas", "#value-plot .u-over"), "the plot")
        self.assertLess(min(y for _, y in found), 0.2)
        self.assertGreater(max(y for _, y in found), 0.8)


class OddNumbersFarAway(PageTest):
    """Too many for each to be shown."""
    COUNT = 130_000
    ODD = {40_000: math.inf, 80_000: -math.inf, 100_000: math.nan}

    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for i in range(cls.COUNT):
            signal.bytes += struct.pack("<Bf", 0x1B, cls.ODD.get(i, math.sin(i / 5000)))
        cls.page = cls.page_of("far.bin", bytes(signal.bytes), "--framing", "itm", "--port-type", "3=f32:level", "--detail", "300k")

    def test_columns_are_scaled_by_ordinary_numbers(self):
        self.open(self.page, "list=values")
        self.wait_text("#summary", "min/max of ")
        size = 6 + 5 * self.COUNT
        for i, told in ((40_000, r"max infinite\n"), (80_000, r": min \u2212infinite")):
            self.assertRegex(self.browser.tip("port:3", 6 + 5 * i, (0, size)), told)
        row, plot = self.browser.element("[data-track='port:3']").rect, self.browser.element("#plot").rect
        heights = [(y * plot["height"] + plot["y"] - row["y"]) / row["height"] for x, y in self.browser.run(DATA_COLOURED, "#plot")
                   if 0.32 < x < 0.6]  # more than a wave, without odd ones
        inside = [height for height in heights if 0 < height < 1]
        self.assertGreater(max(inside) - min(inside), 0.5)
        self.wait_text("#values-note", f"^{self.COUNT - 1:,} values in view, as min, max and last of each column; "
                       "what is infinite or no number is left out")
