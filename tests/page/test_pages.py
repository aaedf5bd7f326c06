"""Pages of the simulated and of a real target, how fast they are drawn, and how the page is made."""
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import tty
import unittest

from selenium.webdriver.common.keys import Keys
from itm_signal import ENTER, EXIT, RETURN, Signal
from page_test import BUILD, ROOT, PageTest

RECORDING = os.environ.get("TARNEL_TEST_DATA", "")


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
        self.judge_frames(frames, f"of {rows} rows")


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
            self.judge_frames(frames, f"of ten rows, {view or 'the whole'}")


class ManySamples(PageTest):
    SAMPLES = 90_000  # and their timestamps, about as many packets as are shown one by one

    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for i in range(cls.SAMPLES):
            signal.sample(0x08000000 + i * 7919 % 4096)
            if i % 10 == 9:
                signal.wait(1)
        cls.page = cls.page_of("samples.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm", "--detail", "8M")

    def test_samples_beyond_the_pixels_cost_no_rectangles(self):
        self.open(self.page)
        self.wait_text("#summary", "exact: every packet$")
        self.browser.run("""
            window.rectangles_ = 0;
            const plain = CanvasRenderingContext2D.prototype.fillRect;
            CanvasRenderingContext2D.prototype.fillRect = function (...box) { window.rectangles_++; plain.apply(this, box); };
            window.frames_.length = 0;
            document.getElementById("set-a").click();""")
        self.browser.wait(lambda: self.browser.run("return window.frames_.length"), "a frame")
        drawn = self.browser.run("return window.rectangles_ / window.frames_.length")
        print(f"\n{drawn:,.0f} rectangles a frame of {self.SAMPLES:,} samples", file=sys.stderr)
        self.assertGreater(drawn, 1000)
        self.assertLess(drawn, self.SAMPLES / 4)


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

    @unittest.skipUnless(shutil.which("addr2line"), "no program here reads debug information")
    def test_the_profile_names_source_lines(self):
        self.open(self.page, "list=profile")
        self.browser.wait(lambda: self.browser.texts("#profile-by option") == ["function", "source line", "address"], "the choice")
        self.browser.element("#profile-by").send_keys("source")
        self.wait_text("#profile-table th", "^Source line$")
        rows = self.browser.texts("#profile-table tbody td:first-child")
        self.assertTrue(any(re.fullmatch(r"[\w.-]+\.[chsS]:\d+", row) for row in rows), rows)
        self.assertFalse(any("/" in row for row in rows), rows)  # no folders


class Picture(unittest.TestCase):
    ROWS = ["Bandwidth", "Exceptions", "SysTick", "Port 0", "level", "sequence", "PC samples"]

    def described(self, picture):
        """What the page said when a picture was taken, see docs/pictures/draw_page."""
        length, kind = struct.unpack(">I4s", picture[33:41])
        self.assertEqual((kind, picture[41:53]), (b"tEXt", b"Description\0"))
        return json.loads(picture[53:41 + length])

    def test_the_readmes_picture_shows_what_the_page_shows(self):
        with tempfile.TemporaryDirectory() as folder:
            picture = pathlib.Path(folder) / "page.png"
            done = subprocess.run([ROOT / "docs/pictures/draw_page", BUILD, picture], capture_output=True, text=True,
                                  timeout=200, check=False)
            self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)
            now, kept = picture.read_bytes(), (ROOT / "docs/pictures/page.png").read_bytes()
        self.assertEqual(now[:24], kept[:24])  # a PNG of the same width and height
        self.assertGreater(len(now), len(kept) // 2)
        shown = self.described(now)
        self.assertEqual(shown["drawn"], sorted(self.ROWS))
        for told in ("trace.tdf, section 0", "good", "lost: 0 places (0 in the target)", "0 stick 0 level 0 mV", "level \u00b7 0 s",
                     "0 ms in view, 0 px = 0 \u00b5s \u00b7 exact: every packet", *self.ROWS):
            self.assertIn(told, shown["text"])
        self.assertEqual(self.described(kept), shown, "`make pictures` draws it anew")


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
