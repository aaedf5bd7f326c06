"""The page as it is served: beside a file, beside one that grows, and beside a recording while it is made."""
import os
import re
import signal
import statistics
import subprocess
import sys
import time

from selenium.webdriver.common.keys import Keys
from itm_signal import Signal
from known_signal import CLOCK, ROUNDS, STEP, WORDS, known_signal
from page_test import BUILD, PageTest, around, ns

SECONDS = int(os.environ.get("TARNEL_LIVE_SECONDS", "8"))  # of a recording that is looked at


RED_IN_RULER = """
    const canvas = document.getElementById("ruler");
    const data = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
    let found = 0;
    for (let i = 0; i < data.length; i += 4) found += data[i] > 120 && data[i + 1] < 90 && data[i + 2] < 90 && data[i + 3] > 100;
    return found;"""


class ServedTest(PageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.browser.offline(False)

    def start(self, *words):
        """Runs tracehost until the test ends. Gives the process and the page's address."""
        process = subprocess.Popen([BUILD / "bin/tracehost", *words, "--no-browser"], stdout=subprocess.PIPE, text=True,
                                   stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, cwd=self.folder,
                                   env={**os.environ, "HOME": str(self.folder)})
        self.addCleanup(self.end, process)
        for line in process.stdout:
            if found := re.search(r"http://127\.0\.0\.1:\d+/\?token=\w+", line):
                return process, found[0]
        raise AssertionError(f"{words[0]} tells no address")

    @staticmethod
    def end(process):
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=30)

    def view_of(self, data, name="served.bin"):
        capture = self.folder / name
        capture.write_bytes(data)
        return capture, *self.start("view", capture, *CLOCK, "--framing", "itm", "--port-type", "3=f32:level")


class ServedPage(ServedTest):
    def test_it_shows_what_the_signal_holds(self):
        _, _, address = self.view_of(known_signal().bytes)
        start = 57 * STEP
        view, place = around(start + STEP / 2, 1.2 * STEP)
        self.open(address, place)
        self.wait_text("#summary", "exact: every packet$")
        self.assertRegex(self.browser.tip("watch:0:write", ns(start + 30), view), r"\n1,057 written\nat ")
        self.assertRegex(self.browser.tip("exception:22", ns(start + 40), view), r"\nactive for 10 µs, 1 below it\n")
        self.browser.keys("/", "ROUND 388 ", Keys.ENTER)
        self.wait_text("#text-note", f"Found in line 389 of {ROUNDS}")
        self.browser.wait(lambda: f"round 388 {WORDS[388 % 5]}" in "".join(self.browser.texts("#text-list [aria-selected=true]")), "the line")
        self.assertNotIn("token", self.browser.run("return location.hash"))

    def test_the_profile_is_that_of_the_view(self):
        _, _, address = self.view_of(known_signal().bytes)
        self.open(address, f"v={ns(100 * STEP)},{ns(150 * STEP)}&list=profile")
        self.wait_text("#profile-note", "^Of the time in view: 50 samples, 20 % asleep")
        self.browser.keys(Keys.HOME)
        self.wait_text("#profile-note", f"^Of the time in view: {ROUNDS} samples, 20 % asleep")

    def test_a_server_that_ends_is_told(self):
        _, process, address = self.view_of(known_signal().bytes)
        self.browser.open(address)
        self.wait_text("#summary", "exact")
        self.end(process)
        self.wait_text("#trouble", "^The server does not answer")
        self.assertTrue(self.browser.element("#trouble").is_displayed())

    def test_what_is_refused_is_told(self):
        _, _, address = self.view_of(known_signal().bytes)
        self.open(address)
        self.wait_text("#summary", "exact")
        self.browser.run("""
            const plain = window.fetch;
            window.fetch = (address, ...more) => plain(address.replace("/window?", "/window?x=1&"), ...more);""")
        self.browser.keys("+")
        self.wait_text("#trouble", r'^The server refused "window" \(400\): ')
        self.browser.run("location.reload()")
        self.wait_text("#summary", "exact")
        self.browser.errors()  # tell of the refusal

    def test_an_overflow_is_marked_within_a_second(self):
        capture, _, address = self.view_of(known_signal(50).bytes, "growing.bin")
        self.open(address)
        self.wait_text("#summary", "exact")
        self.assertEqual(self.browser.text("#lost"), "nothing lost")
        self.assertEqual(self.browser.run(RED_IN_RULER), 0)
        self.assertEqual(self.browser.text("#state"), "recording")
        took = []
        with open(capture, "ab") as file:
            for i in range(3):
                file.write(Signal().overflow().text(0, f"more {i}\n").wait(50).bytes)
                file.flush()
                begin = time.monotonic()
                self.wait_text("#lost", rf"^lost: {i + 1} place")
                self.browser.wait(lambda: self.browser.run(RED_IN_RULER) > 10, "the mark")
                took.append(time.monotonic() - begin)
                time.sleep(0.3)
        print(f"\noverflows were marked after {', '.join(f'{one:.2f}' for one in took)} s", file=sys.stderr)
        self.assertLess(statistics.median(took), 1)
        self.browser.click("#tab-text")
        self.browser.click("#text-list")
        self.browser.keys(Keys.END)
        self.wait_text("#text-list", "more 2")


class RunningRecording(ServedTest):
    def test_the_end_is_followed_and_frames_are_fast(self):
        _, address = self.start("record", "--demo", "--seconds", str(SECONDS + 60), "--view", "--quiet", "--output", "live.tdf")
        self.open(address)
        self.wait_text("#state", "recording")
        self.browser.click("#zoom-in")
        self.browser.keys("f", Keys.END) if self.browser.element("#follow").get_attribute("aria-pressed") == "false" else None
        self.assertEqual(self.browser.element("#follow").get_attribute("aria-pressed"), "true")
        self.browser.run("window.frames_.length = 0")
        first, losses = self.view(), self.browser.text("#lost")
        time.sleep(SECONDS)
        frames = self.browser.run("return window.frames_")
        self.assertGreater(self.view()[0], first[0])
        self.assertNotEqual(self.browser.text("#lost"), losses)  # the simulated target overflows now and then
        self.judge_frames(frames, "beside a recording")
        self.browser.click("#zoom-out")
        self.browser.click("#whole")
        self.browser.wait(lambda: "v=" not in self.browser.driver.current_url, "the whole")
