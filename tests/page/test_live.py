"""A recording while it is made: trouble that is told, a loss that is seen in time, a port that goes and comes back."""
import json
import os
import pathlib
import queue
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
import tty

from selenium.webdriver.common.keys import Keys
from itm_signal import Signal
from known_signal import STEP, known_signal
from page_test import BUILD, around, ns
from test_served import RED_IN_RULER, ServedTest
from real_time import Skip, Starved, in_real_time

IN_TIME = 1  # second from an overflow in the target to its mark in the page
ROUND = 0.005  # seconds
LINE = ("--clock", "1MHz", "--prescaler", "0", "--timestamp-prescale", "1")


class LiveTest(ServedTest):
    """Recordings of a port whose other end the test holds."""

    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        self.link = self.home / "port"
        self.ends = ()
        self.addCleanup(self.unplug)

    def plug_in(self):
        self.ends = os.openpty()
        tty.setraw(self.ends[1])
        os.symlink(os.ttyname(self.ends[1]), self.link)

    def unplug(self):
        """The name first: a terminal's number can be another one's as soon as it is free."""
        self.link.unlink(missing_ok=True)
        for end in reversed(self.ends):
            os.close(end)
        self.ends = ()

    def record(self, *more):
        return self.start("record", "--port", "9", *LINE, "--fail-on", "never", "--view", "--quiet", "--force",
                          "--output", self.home / "live.bin", *more,
                          environment={"KORR_TRACE_COM9": str(self.link), "HOME": str(self.home), "USERPROFILE": str(self.home)})

    def captured(self):
        """Bytes that the plug-in has captured; None before it does."""
        return next((file.stat().st_size for file in self.home.rglob("swotrace_*.bin")), None)

    def say(self, data):
        """What comes before the port is open would be discarded."""
        self.browser.wait(lambda: self.captured() == 0, "an empty capture")
        os.write(self.ends[0], data)


class Trouble(ServedTest):
    def test_that_not_all_is_shown_is_said_in_the_page(self):
        file = self.folder / "short.tdf"
        subprocess.run([BUILD / "bin/tracehost", "record", "--demo", "--seconds", "1", "--quiet", "--fail-on", "never", "--output", file],
                       check=True, capture_output=True, timeout=60, env={**os.environ, "HOME": str(self.folder)})
        _, address = self.start("view", file)
        self.open(address)
        self.assertFalse(self.browser.element("#no-more").is_displayed())
        os.truncate(file, file.stat().st_size // 2)
        told = "^Not all of the recording is shown: \".*\" has become shorter while it is shown: begin again to see what it holds now$"
        self.wait_text("#no-more", told)
        self.assertTrue(self.browser.element("#no-more").is_displayed())
        self.open(address)  # a page that is opened later
        self.wait_text("#no-more", told)

    def test_a_recording_that_is_not_shown_any_more_is_not_called_running(self):
        """What the server tells is made up here: nothing makes it give up a live view at will."""
        self.browser.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": """
            const Plain = EventSource;
            window.EventSource = class extends Plain { constructor(...words) { super(...words); window.events_ = this; } };
            window.EventSource.CLOSED = Plain.CLOSED;"""})
        _, address = self.start("record", "--demo", "--seconds", "60", "--view", "--quiet", "--output", "given-up.tdf", "--force")
        self.open(address)
        self.wait_text("#state", "^recording$")
        self.browser.run("""
            const take = window.events_.onmessage;
            window.events_.onmessage = () => {};
            take({ data: JSON.stringify({ revision: 1, live: true, trouble: "No more of it: <b>gone</b>" }) });""")
        self.assertEqual(self.browser.text("#no-more"), "No more of it: <b>gone</b>")
        self.assertTrue(self.browser.element("#no-more").is_displayed())
        self.assertEqual(self.browser.text("#state"), "not shown any more")
        self.assertTrue(self.browser.element("#stop").is_displayed(), "it still goes on")


class Reconnected(LiveTest):
    # What is seen behind each picture of a frame: lines of the first part under the name of the second.
    WATCH_LINES = """
        window.wrong_ = window.looks_ = 0;
        const look = () => requestAnimationFrame(() => {
            const second = document.getElementById("name").textContent.includes("part 2");
            setTimeout(() => {  // behind the frame
                const lines = [...document.querySelectorAll("#text-list .item")].map((line) => line.textContent).join();
                window.looks_ += second;
                window.wrong_ += second && lines.includes("round");
                look();
            });
        });
        look();"""

    def test_the_next_part_is_shown_as_what_it_is(self):
        self.plug_in()
        _, address = self.record("--reconnect", "--port-type", "3=f32:level")
        self.say(known_signal(60).bytes)
        view, place = around(20 * STEP)
        self.browser.open(address)
        self.wait_text("#text-note", "^60 lines$")
        self.open(address, f"{place}&list=text&port=0&a={view[0]:.0f}")
        self.wait_text("#summary", "exact: every packet$")
        self.browser.keys("/", "round 12 ", Keys.ENTER)
        self.wait_text("#text-note", "^Found in line 13 of 60$")
        self.browser.wait(lambda: self.view()[0] < ns(12 * STEP + 70) < self.view()[1], "the view around the line")
        before = self.view()
        self.browser.run(self.WATCH_LINES)

        self.unplug()
        self.wait_text("#state", "^$")
        self.wait_text("#losses-note", r"^\d+ entr")
        self.browser.wait(lambda: "port-lost" in self.browser.run(
            "return [...document.querySelectorAll('#losses-list .item')].map(({ title }) => title).join()"), "the loss of the port")
        self.assertEqual(self.view(), before)
        self.assertEqual(self.browser.text("#text-note"), "Found in line 13 of 60")
        self.assertRegex(self.browser.tip("port:0", ns(12 * STEP + 70), before), r"\nround 12 ")

        self.plug_in()
        second = Signal().sync()
        for i in range(31):  # of which the last bytes, less than a sample, are not shown yet
            second.text(0, f"second {i}\n").wait(100)
        self.say(second.bytes)
        self.wait_text("#text-note", "^3[01] lines$")
        self.wait_text("#name", r"^live-2\.bin, part 2$")
        self.wait_text("#state", "^recording$")
        self.browser.wait(lambda: not re.search(r"\b[va]=", self.browser.driver.current_url), "the whole without cursors")
        self.browser.wait(lambda: self.browser.texts(".row b") == ["Bandwidth", "Port 0"], "the rows of the second part")
        self.wait_text("#text-list-29", "second 29$")
        self.assertEqual(self.browser.text("#cursors"), "")
        self.assertEqual(self.browser.elements("#text-list [aria-selected=true]"), [])
        self.wait_text("#losses-note", r"^Nothing is known to be lost\.")
        self.assertRegex(self.browser.tip("port:0", ns(1200), (0, self.axis_end())), r"\nsecond 11\n")
        wrong, looks = self.browser.run("return [window.wrong_, window.looks_]")
        self.assertGreater(looks, 0)
        self.assertEqual(wrong, 0)

    def axis_end(self):
        """In nanoseconds, as "About" tells it."""
        return float(re.search(r"to ([\d.\u2009]+) s", self.browser.text("#facts"))[1].replace("\u2009", "")) * 1e9


class Target(threading.Thread):
    """Firmware that runs: writes what its trace unit sends into a pipe, and overflows when it is told to."""

    def __init__(self, pipe):
        super().__init__(daemon=True)
        self.pipe = os.open(pipe, os.O_RDWR)  # does not wait for a reader
        self.wanted, self.over, self.moments = threading.Event(), threading.Event(), queue.Queue()

    def run(self):
        rounds = 0
        while not self.over.is_set():
            trace = Signal()
            if rounds % 100 == 0:
                trace.sync()
            trace.text(0, f"tick {rounds}\n").wait(round(ROUND * 1e6))
            if self.wanted.is_set():
                self.wanted.clear()
                trace.overflow()
                self.moments.put(time.monotonic())
            os.write(self.pipe, trace.bytes)
            rounds += 1
            time.sleep(ROUND)
        os.close(self.pipe)

    def overflow(self):
        """\return when it happened"""
        self.wanted.set()
        return self.moments.get(timeout=10)

    def end(self):
        self.over.set()
        self.join(10)


class Overflows(LiveTest):
    def test_the_mark_stands_in_the_page_within_a_second_of_the_overflow(self):
        try:
            in_real_time(self.look_at_overflows)
        except Skip as reason:
            self.skipTest(str(reason))

    def look_at_overflows(self):
        pipe, report = self.home / "signal", self.home / "report.json"
        for file in (pipe, report, self.link):
            file.unlink(missing_ok=True)
        os.mkfifo(pipe)
        source = subprocess.Popen([BUILD / "bin/swosource", "--link", self.link, "--stream", pipe, "--rate", "50000", "--enabled",
                                   "--baud-check", "off", "--report", report], stdout=subprocess.DEVNULL)
        self.addCleanup(lambda: source.poll() is None and (source.kill(), source.wait()))
        target = Target(pipe)
        self.browser.wait(self.link.exists, "the signal's port")
        process, address = self.record()
        self.browser.open(address)
        self.wait_text("#state", "^recording$")
        target.start()
        self.addCleanup(target.end)
        self.wait_text("#text-note", r"^\d\d+ lines$")
        took = []
        for _ in range(3):
            red = self.browser.run(RED_IN_RULER)
            begin = target.overflow()
            self.browser.wait(lambda: self.browser.run(RED_IN_RULER) > red + 10, "the mark")
            took.append(time.monotonic() - begin)
            time.sleep(0.5)
        self.wait_text("#lost", r"\b3 in the target\b")
        process.send_signal(signal.SIGINT)
        process.wait(30)
        self.browser.open("about:blank")
        target.end()
        source.wait(30)
        print(f"\noverflows in the target stood in the page after {', '.join(f'{one:.2f}' for one in took)} s", file=sys.stderr)
        if max(took) >= IN_TIME:
            raise Starved(f"a mark came after {max(took):.2f} s", json.loads(report.read_text())["real_time"])
