#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: test_page.py BUILD [TEST...]

The page in a real Chromium, from file:// with the network off. What it has to show comes from captures that this test
writes byte by byte, and from what the simulated signal reports, never from the product's own decoder.
"""
import json
import math
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import tty
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from selenium.webdriver.common.keys import Keys
from browser import Browser
from itm_signal import ENTER, EXIT, RETURN, Signal

BUILD = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/linux").resolve()
ROOT = pathlib.Path(__file__).resolve().parents[2]
RECORDING = os.environ.get("TARNEL_TEST_DATA", "")
TICK = 1000  # ns, at a trace clock of 1 MHz
STEP = 100  # ticks that a round of the target takes
ROUNDS = 400
OVERFLOW, DAMAGE = 100, 200  # rounds behind which trace is lost
WORDS = "alpha beta gamma delta epsilon".split()


def known_signal():
    """Rounds of STEP ticks: SysTick, in it a data watch and exception 22; text, a value, a PC sample, a counter."""
    signal = Signal().sync()
    for i in range(ROUNDS):
        assert signal.ticks == i * STEP
        signal.exception(15, ENTER).wait(10)
        signal.written(0, 1000 + i).wait(20)
        signal.exception(22, ENTER).wait(5)
        signal.exception(22, EXIT).exception(15, RETURN).wait(10)
        signal.exception(15, EXIT).exception(0, RETURN).wait(15)
        signal.text(0, f"round {i} {WORDS[i % len(WORDS)]}\n").wait(10)
        signal.float(3, level(i)).wait(10)
        (signal.sleep() if i % 5 == 0 else signal.sample(0x08000100 + 4 * (i % 16))).wait(10)
        signal.counters(0x20).wait(10)
        if i == OVERFLOW:
            signal.overflow()
        if i == DAMAGE:
            signal.add(0xA0)  # a header that stands for nothing
    return signal


def level(i):
    return math.sin(i / 20) * 2


def ns(ticks):
    return ticks * TICK


def around(ticks, width=STEP):
    """A window in nanoseconds, and the address that shows it."""
    view = ns(ticks - width / 2), ns(ticks + width / 2)
    return view, f"v={view[0]:.0f},{view[1]:.0f}"


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="tarnel-page-test-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, True)
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)
        cls.browser.offline(True)
        cls.prepare()

    @classmethod
    def prepare(cls):
        """Makes the captures of a class of tests."""

    @classmethod
    def page_of(cls, name, data, *options):
        """The address of a capture's page."""
        capture = cls.folder / name
        capture.write_bytes(data)
        return cls.report(capture, *options)

    @classmethod
    def report(cls, capture, *options):
        html = cls.folder / (capture.name + ".html")
        done = subprocess.run([BUILD / "bin/tracehost", "report", capture, "--html", html, "--force", *options],
                              capture_output=True, text=True, check=False, timeout=120,
                              env={**os.environ, "HOME": str(cls.folder)})
        if done.returncode not in (0, 3):
            raise AssertionError(f"tracehost report ended with {done.returncode}: {done.stderr}")
        return html.as_uri()

    def open(self, address, view=""):
        self.browser.open(address, view)
        self.browser.wait(lambda: self.browser.text("#summary"), "the page")
        self.addCleanup(self.no_errors)

    def no_errors(self):
        self.assertEqual(self.browser.errors(), [])
        self.assertFalse(self.browser.element("#trouble").is_displayed(), self.browser.text("#trouble"))

    def summary(self):
        return self.browser.text("#summary")

    def wait_text(self, selector, pattern):
        self.browser.wait(lambda: re.search(pattern, self.browser.text(selector)), f"{pattern} in {selector}, where "
                          f"{self.browser.text(selector)!r} stands")

    def view(self):
        """What the address says is in view, in nanoseconds."""
        found = self.browser.wait(lambda: re.search(r"v=(\d+)(?:,|%2C)(\d+)", self.browser.driver.current_url), "a view")
        return int(found[1]), int(found[2])


class KnownSignal(PageTest):
    @classmethod
    def prepare(cls):
        cls.signal = known_signal()
        cls.page = cls.page_of("known.bin", bytes(cls.signal.bytes), "--clock", "1MHz", "--timestamp-prescale", "1",
                               "--port-type", "3=f32:level", "--framing", "itm")

    def test_lanes_have_the_names_and_totals_of_the_signal(self):
        self.open(self.page)
        self.assertEqual(self.browser.texts(".row b"), ["Bandwidth", "Exceptions", "SysTick", "IRQ 6", "Port 0", "level",
                                                        "Watch 0 written", "Cycle counter", "PC samples"])
        totals = dict(zip(self.browser.texts(".row b"), self.browser.texts(".row small")))
        text = sum(len(f"round {i} {WORDS[i % len(WORDS)]}\n") for i in range(ROUNDS))
        self.assertEqual(totals["Port 0"], f"{text:,} packets")
        self.assertEqual(totals["level"], f"{ROUNDS} values, f32")
        self.assertEqual(totals["PC samples"], f"{ROUNDS} samples")
        self.assertEqual(totals["Cycle counter"], f"{ROUNDS} times")

    def test_tips_tell_what_the_signal_holds(self):
        for i in (7, 57, 398):
            start = i * STEP
            view, address = around(start + STEP / 2, 1.2 * STEP)
            self.open(self.page, address)
            self.wait_text("#summary", "exact: every packet")
            for track, ticks, expected in (
                    ("exception:15", 40, r"^SysTick .*\nactive for 50 µs\n"),
                    ("exception:22", 40, r"^IRQ 6 .*\nactive for 10 µs, 1 below it\n"),
                    ("nesting", 20, rf"\nSysTick for 50 µs\nfrom {ns(start + 10) / 1e9:.9f} s$"),
                    ("nesting", 40, r"\nSysTick for 50 µs\n.*\nIRQ 6 for 10 µs, 1 below it\n"),
                    ("nesting", 75, r"\nnothing here$"),
                    ("watch:0:write", 30, rf"\n{1000 + i:,} written\nat "),
                    ("watch:0:write", 60, rf"\n{1000 + i:,} written\nsince "),
                    ("port:0", 70, rf"\nround {i} {WORDS[i % len(WORDS)]}\nat "),
                    ("counter:cyc", 100, r"\nat "),
                    ("pc", 90, rf"\n0x{0x08000100 + 4 * (i % 16):08X}\nat ")):
                with self.subTest(round=i, track=track, ticks=ticks):
                    self.assertRegex(self.browser.tip(track, ns(start + ticks), view), expected)
            with self.subTest(round=i, track="port:3"):
                shown = self.browser.tip("port:3", ns(start + 80), view).split("\n")[1]
                self.assertAlmostEqual(float(shown), level(i), places=5)

    def test_sleep_is_no_address(self):
        view, address = around(10 * STEP + 90)
        self.open(self.page, address)
        self.assertRegex(self.browser.tip("pc", ns(10 * STEP + 90), view), r"\nasleep\nat ")

    def test_tips_tell_the_time_of_the_events(self):
        start = 57 * STEP
        view, address = around(start + STEP / 2)
        self.open(self.page, address)
        for track, ticks in (("watch:0:write", 30), ("port:0", 70), ("port:3", 80), ("pc", 90)):
            with self.subTest(track=track):
                tip = self.browser.tip(track, ns(start + ticks), view)
                self.assertIn(f"at {ns(start + ticks) / 1e9:.9f} s, offset ", tip)

    def test_the_ledger_has_a_row_for_each_loss_and_each_row_leads_there(self):
        self.open(self.page)
        rows = self.browser.wait(lambda: self.browser.texts("#losses-list .item:not(:has(.pending)) .what"), "the ledger")
        self.assertIn("the target dropped packets (overflow)", rows[0])
        self.assertEqual(sum("overflow" in row for row in rows), 1)
        self.assertIn("2 ", self.browser.text("#losses-note"))
        for row, round_ in ((0, OVERFLOW), (1, DAMAGE)):
            self.browser.click(f"#losses-list-{row}")
            low, high = self.view()
            place = ns((round_ + 1) * STEP)
            self.assertTrue(low < place < high, f"{low} {place} {high}")
            self.assertLess(high - low, ns(ROUNDS * STEP) / 4)
            self.assertEqual(self.browser.element(f"#losses-list-{row}").get_attribute("aria-selected"), "true")
            self.browser.click("#whole")
            self.browser.wait(lambda: "v=" not in self.browser.driver.current_url, "the whole")

    def test_a_loss_is_drawn_where_it_is(self):
        lost = (OVERFLOW + 1) * STEP + 10  # the timestamp behind it
        view, address = around(lost, 4 * STEP)
        self.open(self.page, address)
        self.wait_text("#summary", "exact")
        x, y = self.browser.place("bandwidth", ns(lost), view)
        self.browser.mouse(x, y)
        self.assertRegex(self.browser.text("#tip"), "\n\u25bc lost in the target, offset ")
        red = """
            const canvas = document.getElementById(arguments[0]);
            const x = Math.round(arguments[1] - canvas.getBoundingClientRect().left);
            const data = canvas.getContext("2d").getImageData(x - 3, arguments[2], 7, arguments[3]).data;
            let found = 0;
            for (let i = 0; i < data.length; i += 4) found += data[i] > 120 && data[i + 1] < 90 && data[i + 2] < 90 && data[i + 3] > 100;
            return found;"""
        self.assertGreater(self.browser.run(red, "ruler", x, 30, 12), 10)
        self.assertGreater(self.browser.run(red, "plot", x, 0, 400), 200)
        self.assertEqual(self.browser.run(red, "ruler", x + 100, 30, 12), 0)

    def test_what_is_not_known_is_hatched_and_says_so(self):
        lost = (DAMAGE + 1) * STEP  # up to the next exception packet, which is 10 ticks later
        view, address = around(lost, STEP)
        self.open(self.page, address)
        self.assertRegex(self.browser.tip("nesting", ns(lost + 5), view), "not known: trace was lost for 10 µs")
        self.assertRegex(self.browser.tip("nesting", ns(lost - 30), view), "nothing here")
        hatched = """
            const [x, y] = arguments;
            const box = document.getElementById("plot").getBoundingClientRect();
            const data = document.getElementById("plot").getContext("2d").getImageData(x - box.left - 6, y - box.top - 6, 12, 12).data;
            const shades = new Set();
            for (let i = 0; i < data.length; i += 4) shades.add(data[i + 3] > 60);
            return shades.size;"""
        self.browser.mouse(5, 5)
        x, y = self.browser.place("nesting", ns(lost + 5), view)
        self.assertEqual(self.browser.run(hatched, x, y), 2)
        x, y = self.browser.place("nesting", ns(lost - 30), view)
        self.assertEqual(self.browser.run(hatched, x, y), 1)

    def test_keys_go_from_loss_to_loss(self):
        self.open(self.page)
        self.browser.keys("n")
        low, high = self.view()
        self.assertTrue(low < ns((OVERFLOW + 1) * STEP) < high)
        self.browser.keys("n")
        self.wait_text("#state", "loss 2 of")
        self.browser.wait(lambda: self.view()[0] < ns((DAMAGE + 1) * STEP) < self.view()[1], "the second loss")
        self.browser.keys("p")
        self.wait_text("#state", "loss 1 of")
        self.browser.keys("p")
        self.wait_text("#state", "no loss before")

    def test_text_is_found(self):
        self.open(self.page)
        self.browser.keys("/")
        self.assertEqual(self.browser.run("return document.activeElement.id"), "sought")
        self.browser.keys("GAMMA", Keys.ENTER)
        self.wait_text("#text-note", "Found in line 3 of 400")
        self.assertIn("round 2 gamma", self.browser.text("#text-list [aria-selected=true]"))
        self.assertEqual(self.browser.text("#text-list [aria-selected=true] .found"), "gamma")
        low, high = self.view()
        self.assertTrue(low <= ns(2 * STEP + 70) <= high)
        self.browser.keys(Keys.ENTER)
        self.wait_text("#text-note", "Found in line 8 of 400")
        self.browser.run("document.getElementById('search-back').click()")
        self.wait_text("#text-note", "Found in line 3 of 400")
        self.browser.click("#match-case")
        self.browser.click("#sought")
        self.browser.keys(Keys.ENTER)
        self.wait_text("#text-note", "Not found")

    def test_the_list_of_text_is_the_text(self):
        self.open(self.page, "list=text&port=0")
        self.browser.click("#text-list")
        self.browser.keys(Keys.END)
        last = self.browser.wait(lambda: self.browser.texts("#text-list-399 span:not(.pending)"), "the last line")
        self.assertIn(f"round 399 {WORDS[399 % 5]}", "".join(last))
        self.assertAlmostEqual(float(last[0].replace("\u2009", "").split()[0]), ns(399 * STEP + 70) / 1e9, places=5)
        self.browser.keys(Keys.ENTER)
        low, high = self.view()
        self.assertTrue(low <= ns(399 * STEP + 70) <= high)

    def test_a_click_in_the_rows_shows_the_text_of_that_time(self):
        view, address = around(50 * STEP, 20 * STEP)
        self.open(self.page, address + "&list=text&port=0")
        self.browser.press(*self.browser.place("port:3", ns(52 * STEP + 40), view))
        self.browser.wait(lambda: "round 52 " in "".join(self.browser.texts("#text-list [aria-selected=true]")), "the line")

    def test_the_profile_counts_the_samples(self):
        self.open(self.page, "list=profile")
        self.browser.element("#profile-by").send_keys("address")
        rows = self.browser.wait(lambda: self.browser.texts("#profile-table tbody tr"), "the profile")
        samples = [0x08000100 + 4 * (i % 16) for i in range(ROUNDS) if i % 5 != 0]
        top = f"0x{0x08000104:08x}"
        self.assertTrue(any(row.lower().startswith(top + str(samples.count(0x08000104))) for row in rows), rows)
        self.assertEqual(len(rows), 16)
        self.wait_text("#profile-note", "20 % asleep")

    def test_values_are_plotted_with_axes(self):
        self.open(self.page, "list=values")
        self.browser.wait(lambda: self.browser.elements("#value-plot canvas"), "the plot")
        self.wait_text("#values-note", "400 values in view, each drawn")
        self.assertEqual(self.browser.texts("#value-track option"), ["level", "Watch 0 written"])
        self.browser.click("[data-track='watch:0:write']")
        self.wait_text("#values-note", "400 in all")
        self.assertEqual(self.browser.run("return document.getElementById('value-track').value"), "watch:0:write")

    def test_cursors_measure(self):
        view, address = around(50 * STEP)
        self.open(self.page, address)
        for key, ticks in (("a", 5000), ("b", 5025)):
            self.browser.mouse(*self.browser.place("bandwidth", ns(ticks), view))
            self.browser.keys(key)
        found = self.browser.wait(lambda: re.search(r"\u0394 ([\d.]+) µs \(([\d.]+) kHz\)", self.browser.text("#cursors")), "the cursors")
        self.assertAlmostEqual(float(found[1]), 25, delta=0.5)
        self.assertAlmostEqual(float(found[2]), 40, delta=1)
        self.browser.wait(lambda: "a=" in self.browser.driver.current_url, "the address")
        self.browser.keys("c")
        self.browser.wait(lambda: self.browser.text("#cursors") == "", "no cursors")

    def test_the_wheel_zooms_at_the_pointer_and_dragging_pans(self):
        self.open(self.page)
        whole = 0, ns(ROUNDS * STEP)
        place = ns(100 * STEP)
        x, y = self.browser.place("bandwidth", place, whole)
        for _ in range(8):
            self.browser.wheel(x, y, -240)
        low, high = self.view()
        self.assertLess(high - low, whole[1] / 20)
        self.assertAlmostEqual((place - low) / (high - low), 0.25, delta=0.02)
        self.browser.mouse(x, y, "mousePressed", button="left", clickCount=1)
        self.browser.mouse(x + 50, y, button="left", buttons=1)
        self.browser.mouse(x + 100, y, button="left", buttons=1)
        self.browser.mouse(x + 100, y, "mouseReleased", button="left", clickCount=1)
        self.browser.wait(lambda: self.view()[0] < low - (high - low) / 20, "the view further left")
        for click in (1, 2):
            self.browser.press(x, y, click)
        self.browser.wait(lambda: "v=" not in self.browser.driver.current_url, "the whole")

    def test_everything_works_from_the_keyboard(self):
        self.open(self.page)
        self.browser.keys("+", "+")
        low, high = self.view()
        self.assertAlmostEqual(high - low, ns(ROUNDS * STEP) / 1.6 ** 2, delta=ns(STEP))
        self.browser.keys(Keys.ARROW_RIGHT)
        self.browser.wait(lambda: self.view()[0] > low, "the view further right")
        self.browser.keys(Keys.END)
        self.browser.wait(lambda: self.view()[1] >= ns(ROUNDS * STEP) - TICK, "the end")
        self.browser.keys("-", Keys.HOME)
        self.browser.wait(lambda: "v=" not in self.browser.driver.current_url, "the whole")
        self.browser.keys("?")
        self.assertTrue(self.browser.element("#help-text").is_displayed())
        self.browser.keys(Keys.ESCAPE)
        self.assertFalse(self.browser.element("#help-text").is_displayed())
        seen = []
        for _ in range(40):  # through everything that takes the focus, each time visibly
            self.browser.keys(Keys.TAB)
            focused, outline = self.browser.run("""
                const element = document.activeElement;
                return [element.id || element.dataset.track || element.tagName, getComputedStyle(element).outlineStyle];""")
            if focused == "BODY":
                break
            seen.append(focused)
            self.assertNotEqual(outline, "none", focused)
        for needed in ("theme", "help", "zoom-in", "next-loss", "set-a", "scroller", "bandwidth", "port:0", "tab-losses", "losses-list"):
            self.assertIn(needed, seen)
        self.browser.run("document.querySelector('[data-track=\"port:0\"]').focus()")
        self.browser.keys("i")
        self.assertTrue(self.browser.element("#tip").is_displayed())
        self.browser.keys(Keys.ENTER)
        self.assertTrue(self.browser.element("#text").is_displayed())
        self.browser.run("document.getElementById('tab-text').focus()")
        self.browser.keys(Keys.ARROW_RIGHT)
        self.assertTrue(self.browser.element("#values").is_displayed())

    def test_controls_have_names(self):
        self.open(self.page)
        nameless = self.browser.run("""
            return [...document.querySelectorAll("button, select, input, [tabindex='0'], canvas")].filter((element) =>
              !(element.textContent.trim() || element.getAttribute("aria-label") || element.title || element.labels?.length
                || element.getAttribute("aria-labelledby"))).map((element) => element.outerHTML.slice(0, 80));""")
        self.assertEqual(nameless, [])

    def test_narrow_windows_hold_everything(self):
        for width, height in ((900, 700), (640, 700), (420, 800)):
            self.browser.resize(width, height)
            self.addCleanup(self.browser.resize, 1400, 900)
            self.open(self.page)
            self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)
            outside = self.browser.run("""
                return [...document.querySelectorAll("button, canvas, #summary, [role=tab]")].filter((element) => element.offsetParent).
                  filter((element) => !element.closest("#scroller, dialog")).filter((element) => {
                    const box = element.getBoundingClientRect();
                    return box.left < -1 || box.right > innerWidth + 1 || box.bottom > innerHeight + 1;
                  }).map((element) => element.id);""")
            self.assertEqual(outside, [], f"at {width} pixels")
            self.assertGreater(self.browser.run("return document.getElementById('plot').clientHeight"), 100)

    def test_dark_and_light(self):
        back = "return getComputedStyle(document.body).backgroundColor.match(/\\d+/g).map(Number)"
        self.browser.prefer("dark")
        self.addCleanup(self.browser.prefer, "light")
        self.open(self.page)
        self.assertLess(max(self.browser.run(back)), 60)
        self.browser.click("#theme")
        self.assertGreater(min(self.browser.run(back)), 200)
        self.browser.keys("t")
        self.assertLess(max(self.browser.run(back)), 60)
        self.browser.prefer("light")
        self.browser.wait(lambda: min(self.browser.run(back)) > 200, "light")

    def test_nothing_is_loaded_and_nothing_else_runs(self):
        self.open(self.page)
        self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').map((entry) => entry.name)"), [])
        self.assertEqual(self.browser.run("return window.refused_"), [])
        self.browser.run("""
            const script = document.createElement("script");
            script.textContent = "window.hacked_ = 1";
            document.body.append(script);
            const button = document.createElement("button");
            button.setAttribute("onclick", "window.hacked_ = 2");
            document.body.append(button);
            button.click();
            button.remove();
            const picture = new Image();
            picture.src = "http://127.0.0.1:9/x.png";
            document.body.append(picture);
            picture.remove();""")
        self.browser.wait(lambda: len(self.browser.run("return window.refused_")) >= 3, "the policy's refusals")
        self.assertIsNone(self.browser.run("return window.hacked_ ?? null"))
        self.browser.errors()  # these are the refusals


HOSTILE = ("<script>window.hacked_=1</script>", "</script><img src=x onerror=window.hacked_=1>", "\"quotes' & &amp; `${1}`",
           "bidi \u202etxet\u202c \u2066x\u2069 \u200b\ufeff", "nul \0 bell \a escape \x1b[31m del \x7f c1 \u0085")
SHOWN = (HOSTILE[0], HOSTILE[1], HOSTILE[2],
         "bidi \u27e8U+202E\u27e9txet\u27e8U+202C\u27e9 \u27e8U+2066\u27e9x\u27e8U+2069\u27e9 \u27e8U+200B\u27e9\u27e8U+FEFF\u27e9",
         "nul \u2400 bell \u2407 escape \u241b[31m del \u2421 c1 \u27e8U+0085\u27e9")


class HostileSignal(PageTest):
    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for line in (*HOSTILE, *HOSTILE[:1]):
            signal.text(0, line + "\n").wait(100)
        signal.text(0, b"\xff\xfe broken\n").wait(100)
        for i in range(50):
            signal.port(5, bytes([i])).wait(10)
        cls.page = cls.page_of("<b>'&x.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm",
                               "--port-type", "5=u8:</script><img src=x onerror=window.hacked_=1>")

    def test_text_stays_text(self):
        self.open(self.page, "list=text&port=0")
        lines = self.browser.wait(lambda: self.browser.texts("#text-list .item") or None, "the lines")
        for line, shown in zip(lines, SHOWN):
            self.assertTrue(line.endswith(" s" + shown), f"{line!r} is not {shown!r}")
        self.assertTrue(lines[6].endswith("\ufffd\ufffd broken"), repr(lines[6]))
        self.assertIsNone(self.browser.run("return window.hacked_ ?? null"))
        self.assertEqual(self.browser.elements("img, iframe, #text-list script"), [])

    def test_tips_names_and_choices_stay_text(self):
        view, address = around(600, 1200)
        self.open(self.page, address)
        self.assertIn("</script><img src=x onerror=window.hacked_=1>", self.browser.texts(".row b"))
        self.assertEqual(self.browser.text("h1"), "<b>'&x.bin")
        self.assertIn(SHOWN[3], self.browser.tip("port:0", 400_000, view))
        self.assertIn(SHOWN[4], self.browser.tip("port:0", 500_000, view))
        self.browser.click("#tab-about")
        self.assertIn("<b>'&x.bin", self.browser.text("#facts"))
        self.assertIsNone(self.browser.run("return window.hacked_ ?? null"))
        self.assertEqual(self.browser.elements("img, iframe"), [])

    def test_what_is_sought_stays_text(self):
        self.open(self.page)
        self.browser.keys("/", "<script>", Keys.ENTER)
        self.wait_text("#text-note", "Found in line 1 of")
        self.assertEqual(self.browser.text("#text-list .found"), "<script>")
        self.assertIsNone(self.browser.run("return window.hacked_ ?? null"))

    def test_a_page_that_is_damaged_says_so(self):
        html = (self.folder / "<b>'&x.bin.html").read_text(encoding="utf-8")
        for name, text in (("cut", re.sub(r'"windows":\["[^"]{8}', '"windows":["', html)), ("json", html.replace('{"overview"', '{"overview', 1))):
            damaged = self.folder / f"{name}.html"
            damaged.write_text(text, encoding="utf-8")
            self.browser.open(damaged.as_uri())
            self.browser.wait(lambda: self.browser.element("#trouble").is_displayed(), "the trouble")
            self.assertEqual(self.browser.element("#trouble").get_attribute("role"), "alert")
            self.assertRegex(self.browser.text("#trouble"), "^This recording cannot be shown: ")


def play(folder, size):
    """The bytes of the simulated target, and what it says of them."""
    link, report = folder / "pin", folder / "report.json"
    source = subprocess.Popen([BUILD / "bin/swosource", "--link", link, "--rate", "max", "--bytes", str(size), "--record",
                               folder / "sent.bin", "--report", report, "--enabled", "--baud-check", "off"],
                              stdout=subprocess.DEVNULL)
    try:
        end = time.monotonic() + 30
        while not link.exists() and time.monotonic() < end:
            time.sleep(0.01)
        port = os.open(link, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(port)
        read = 0
        try:
            while read < size:
                read += len(os.read(port, 65536)) or size
        except OSError:
            pass
        status = source.wait(timeout=60)
        os.close(port)
    finally:
        source.kill()
        source.wait()
    if status != 0:
        raise AssertionError(f"swosource ended with {status}")
    return folder / "sent.bin", json.loads(report.read_text())


class SimulatedTarget(PageTest):
    SIZE = 400_000

    @classmethod
    def prepare(cls):
        cls.capture, cls.truth = play(cls.folder, cls.SIZE)
        cls.page = cls.report(cls.capture, "--clock", "48MHz", "--timestamp-prescale", "4", "--baud", "2000000")

    def test_the_file_is_small(self):
        self.assertLess((self.folder / "sent.bin.html").stat().st_size, 1_000_000)

    def test_the_whole_is_a_summary_that_says_so(self):
        self.open(self.page)
        self.assertRegex(self.summary(), r"^[\d.]+ m?s in view, 1 px = [\d.]+ [mµ]s \u00b7 summary, min/max of [\d,]+ values$")
        self.assertRegex(self.browser.text("#about"), f"{self.SIZE:,} bytes")

    def test_the_text_is_the_simulated_targets(self):
        text = self.truth["content"]["text"]
        self.open(self.page, "list=text&port=0")
        self.wait_text("#text-note", f"^{text['lines']:,} lines|^{text['lines'] + 1:,} lines")

    def test_frames_take_less_than_a_sixtieth_of_a_second(self):
        self.open(self.page)
        rows = len(self.browser.texts(".row b"))
        self.browser.run("window.frames_.length = 0")
        x, y = 700, 300
        for i in range(60):
            self.browser.wheel(x, y, -120 if i % 20 < 12 else 120)
            if i % 3 == 0:
                self.browser.keys(Keys.ARROW_RIGHT)
        frames = self.browser.run("return window.frames_")
        print(f"\n{len(frames)} frames of {rows} rows: median {statistics.median(frames):.2f} ms, most {max(frames):.1f} ms",
              file=sys.stderr)
        self.assertGreater(len(frames), 30)
        self.assertLessEqual(statistics.median(frames), 16.7)


class TenTracks(PageTest):
    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for i in range(3000):
            signal.exception(15, ENTER).wait(3).exception(15, EXIT).exception(0, RETURN).wait(3)
            for port in range(1, 7):
                signal.port(port, (i * port % 1000).to_bytes(2, "little"))
            signal.text(0, "x\n" if i % 10 else "a line\n").written(0, i).sample(0x08000000 + i % 4096).wait(20)
        types = [word for port in range(1, 7) for word in ("--port-type", f"{port}=u16")]
        cls.page = cls.page_of("ten.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm", *types)

    def test_frames_of_ten_tracks_take_less_than_a_sixtieth_of_a_second(self):
        for view in ("", "v=0,20000000", "v=40000000,41000000"):
            self.open(self.page, view)
            self.assertGreaterEqual(len(self.browser.texts(".row b")), 10)
            self.browser.run("window.frames_.length = 0")
            for i in range(40):
                self.browser.wheel(700, 300, -60 if i % 2 else 60)
                self.browser.keys(Keys.ARROW_RIGHT if i % 4 < 2 else Keys.ARROW_LEFT)
            frames = self.browser.run("return window.frames_")
            print(f"\n{len(frames)} frames {view}: median {statistics.median(frames):.2f} ms, most {max(frames):.1f} ms", file=sys.stderr)
            self.assertGreater(len(frames), 20)
            self.assertLessEqual(statistics.median(frames), 16.7)


@unittest.skipUnless(os.path.exists(os.path.join(RECORDING, "swo-tpiu-8mbaud.elf")) and RECORDING,
                     "TARNEL_TEST_DATA names no folder with swo-tpiu-8mbaud.bin and its .elf")
class RealTarget(PageTest):
    @classmethod
    def prepare(cls):
        cls.page = cls.report(pathlib.Path(RECORDING) / "swo-tpiu-8mbaud.bin", "--elf",
                              os.path.join(RECORDING, "swo-tpiu-8mbaud.elf"))

    def test_the_profile_names_functions(self):
        self.open(self.page, "list=profile")
        rows = self.browser.wait(lambda: self.browser.texts("#profile-table tbody tr"), "the profile")
        self.assertEqual([row[:len(name)] for row, name in zip(rows, ("delay381", "bubble_sort7", "TIM2_IRQ3"))],
                         ["delay381", "bubble_sort7", "TIM2_IRQ3"])
        self.assertIn("TIM2_IRQ", self.browser.texts(".row b"))


class Picture(unittest.TestCase):
    def test_the_readmes_picture_can_be_drawn(self):
        with tempfile.TemporaryDirectory() as folder:
            picture = pathlib.Path(folder) / "page.png"
            done = subprocess.run([ROOT / "docs/pictures/draw_page", BUILD, picture], capture_output=True, text=True,
                                  timeout=200, check=False)
            self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)
            now, kept = picture.read_bytes(), (ROOT / "docs/pictures/page.png").read_bytes()
        self.assertEqual(now[:24], kept[:24])  # a PNG of the same width and height
        self.assertGreater(len(now), len(kept) // 2)


class BuildPage(unittest.TestCase):
    def test_the_same_sources_make_the_same_page(self):
        with tempfile.TemporaryDirectory() as folder:
            pages = []
            for name in ("one", "two"):
                page = pathlib.Path(folder) / f"{name}.html"
                subprocess.run([ROOT / "viewer/build-page", pathlib.Path(folder) / "page.cpp", "--html", page], check=True)
                pages.append(page.read_bytes())
        self.assertEqual(pages[0], pages[1])
        self.assertNotIn(b"https://", pages[0])
        self.assertEqual(re.findall(rb"(?:src|href)=\"(?!data:)", pages[0]), [])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "--verbose", *sys.argv[2:]])
