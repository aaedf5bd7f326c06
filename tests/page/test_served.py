"""The page as it is served: beside a file, beside one that grows, and, natively, beside a recording while it is made."""
import json
import os
import re
import signal
import socket
import statistics
import subprocess
import sys
import time
import unittest

from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select
from hosting import ON_WINE, kill_hosts
from itm_signal import Signal
from known_signal import CLOCK, ROUNDS, STEP, WORDS, known_signal
from page_test import BUILD, FRAME, PageTest, around, ns, tracehost
from real_time import Skip, Starved, in_real_time
from test_known_signal import SignalShown

MINUTE = 60
SECONDS = int(os.environ.get("TARNEL_LIVE_SECONDS") or "8")  # of a recording that is looked at
SPEED = 1_200_000  # bytes a second
# Bytes that waited in the probe before its port was opened come first, and leave it no room for others until they are read.
WAITED = 128 * 1024
UNIQUE = 128 * 1024  # bytes that the signal repeats nowhere
LONGEST_FRAME = 100  # ms
NATIVE = "pages beside a recording are tested natively alone"


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

    def start(self, *words, environment=None):
        """Runs tracehost until the test ends. Gives the process and the page's address."""
        command, own = tracehost(self.folder, *words, "--no-browser")
        process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, stderr=subprocess.STDOUT,
                                   stdin=subprocess.DEVNULL, cwd=self.folder, env={**own, **(environment or {})})
        self.addCleanup(self.end, process)
        for line in process.stdout:
            if found := re.search(r"http://127\.0\.0\.1:\d+/\?token=\w+", line):
                return process, found[0]
        raise AssertionError(f"{words[0]} tells no address")

    def end(self, process):
        if process.stdout.closed:
            return
        if ON_WINE:
            kill_hosts(process, str(self.folder))
            return
        if process.poll() is None:
            process.send_signal(signal.SIGINT)
        process.communicate(timeout=30)

    def view_of(self, data, name="served.bin", complete=False):
        """Of a file that may still grow, or of one that nobody has written for long."""
        capture = self.folder / name
        capture.write_bytes(data)
        if complete:
            os.utime(capture, (1e9, 1e9))
        return capture, *self.start("view", capture, *CLOCK, "--framing", "itm", "--port-type", "3=f32:level")


class ServedSignal(SignalShown, ServedTest):
    def setUp(self):
        _, _, self.page = self.view_of(known_signal().bytes, "known.bin", complete=True)

    def open(self, address, view=""):
        super().open(address, view)
        self.browser.wait(lambda: self.browser.text("#state") == "", "all bytes to be looked at")


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


class GrowingPage(ServedTest):
    def grow(self, capture, seconds=1.5):
        """The file grows by a line of text, again and again, which the page is seen to follow."""
        before = self.browser.run("return window.overviews_")
        end = time.monotonic() + seconds
        with open(capture, "ab") as file:
            while time.monotonic() < end:
                file.write(Signal().text(0, "one more\n").wait(50).bytes)
                file.flush()
                time.sleep(0.1)
        self.browser.wait(lambda: self.browser.run("return window.overviews_") > before + 2, "overviews")

    def open_growing(self, place):
        capture, _, address = self.view_of(known_signal(60).bytes, "growing.bin")
        self.open(address, place)
        self.wait_text("#text-list-3", "round")
        self.browser.run("""
            window.overviews_ = window.blank_ = 0;
            const plain = window.fetch;
            window.fetch = (address, ...more) => { window.overviews_ += address.includes("/overview"); return plain(address, ...more); };
            const look = () => { window.blank_ += document.querySelectorAll("#text-list .pending").length; };
            new MutationObserver(look).observe(document.getElementById("text-list"), { childList: true, subtree: true });""")
        return capture

    def test_rows_stay_while_newer_ones_are_read(self):
        capture = self.open_growing("list=text&port=0")
        self.grow(capture)
        self.assertEqual(self.browser.run("return window.blank_"), 0)

    def test_a_click_that_takes_long_is_none_the_less_one(self):
        capture = self.open_growing("list=text&port=0")
        box = self.browser.element("#text-list-3").rect
        x, y = box["x"] + 60, box["y"] + box["height"] / 2
        self.browser.mouse(x, y)
        self.browser.mouse(x, y, "mousePressed", button="left", clickCount=1)
        self.grow(capture)
        self.browser.mouse(x, y, "mouseReleased", button="left", clickCount=1)
        self.browser.wait(lambda: self.browser.elements("#text-list-3[aria-selected=true]"), "the line that was clicked")

    def test_answers_stay_until_the_user_does_something_else(self):
        capture = self.open_growing("list=text&port=0")
        self.browser.keys("/", "round 12 ", Keys.ENTER)
        self.wait_text("#text-note", "^Found in line 13 of 60$")
        self.grow(capture)
        self.assertEqual(self.browser.text("#text-note"), "Found in line 13 of 60")
        self.browser.keys(Keys.TAB)
        self.wait_text("#text-note", r"^\d+ lines$")
        self.browser.click("#next-loss")
        self.wait_text("#state", "^no loss behind this$")
        self.grow(capture)
        self.assertEqual(self.browser.text("#state"), "no loss behind this")
        self.browser.keys("c")
        self.wait_text("#state", "^recording$")

    def test_of_another_file_in_its_place_the_whole_is_shown(self):
        view, place = around(20 * STEP)
        for rounds in (30, 90):  # smaller, and larger
            with self.subTest(rounds=rounds):
                capture = self.open_growing(f"{place}&list=text&port=0&a={view[0]:.0f}")
                self.assertNotEqual(self.browser.text("#cursors"), "")
                self.browser.click("#text-list-3")
                self.browser.keys("/", "round 12 ", Keys.ENTER)
                self.wait_text("#text-note", "^Found in line 13 of 60$")
                other = self.folder / "other.bin"
                other.write_bytes(known_signal(rounds).bytes)
                os.replace(other, capture)
                self.wait_text("#text-note", f"^{rounds} lines$")  # and no answer about the one before
                self.browser.wait(lambda: not re.search(r"\b[va]=", self.browser.driver.current_url), "the whole without cursors")
                self.assertEqual(self.browser.text("#cursors"), "")
                self.assertEqual(self.browser.elements("#text-list [aria-selected=true]"), [])
                self.doCleanups()


class ChangedPage(ServedTest):
    def shown(self, port):
        return self.browser.text(f'[data-track="port:{port}"] small').rpartition(", ")[2]

    def choose(self, port, type_):
        """At once: typing it letter by letter chooses another on the way."""
        Select(self.browser.element(f"#port-types [name='{port}']")).select_by_value(type_)

    def test_the_type_of_a_port_is_chosen_and_stays_in_the_address(self):
        _, _, address = self.view_of(known_signal().bytes)
        self.open(address, "list=about")
        self.wait_text("#summary", "exact")
        self.assertEqual(self.shown(3), "f32")
        self.choose(3, "u32")
        self.browser.wait(lambda: self.shown(3) == "u32", "whole numbers")
        self.browser.wait(lambda: "types=3%3Au32" in self.browser.driver.current_url, "the address")
        self.choose(0, "u8")
        self.browser.wait(lambda: self.shown(0) == "u8", "numbers instead of text")
        self.assertEqual(self.browser.texts("#text-port option"), [])
        self.browser.click("#tab-text")
        self.wait_text("#text-note", "^No stimulus port holds text.$")
        self.browser.errors()  # lines that were asked for before the change may have been refused behind it

    def test_an_address_with_types_shows_them(self):
        _, _, address = self.view_of(known_signal().bytes)
        view, place = around(57 * STEP + 80)
        self.open(address, place + "&types=3%3Ai16%2C0%3Atext")
        self.browser.wait(lambda: self.shown(3) == "i16", "whole numbers")
        self.wait_text("#summary", "exact")
        self.browser.wait(lambda: re.search(r"\n\u2212?[\d,]+\nat ", self.browser.tip("port:3", ns(57 * STEP + 80), view)), "a whole number")
        self.assertEqual(self.shown(0), self.browser.text('[data-track="port:0"] small'))  # has no type

    def test_types_in_an_address_that_are_none_change_nothing(self):
        _, _, address = self.view_of(known_signal().bytes)
        self.open(address, "types=3:f64,0:%3Cb%3E,x:u8,:u8,3")
        self.wait_text("#summary", "exact")
        self.assertEqual(self.shown(3), "f32")

    @unittest.skipIf(ON_WINE, NATIVE)
    def test_the_recording_is_ended_from_the_page(self):
        process, address = self.start("record", "--demo", "--view", "--quiet", "--output", "stopped.tdf", "--force")
        self.browser.open(address)
        self.wait_text("#state", "recording")
        self.browser.click("#stop")
        self.browser.driver.switch_to.alert.dismiss()
        time.sleep(0.3)
        self.assertIsNone(process.poll())
        self.browser.click("#stop")
        asked = self.browser.driver.switch_to.alert
        self.assertEqual(asked.text, "End the recording? All that was captured is saved.")
        asked.accept()
        self.assertIn(process.wait(20), (0, 3))
        self.assertGreater((self.folder / "stopped.tdf").stat().st_size, 1000)
        self.wait_text("#trouble", "^The server does not answer")
        self.browser.open("about:blank")


class ManyPages(ServedTest):
    STREAMS = 4

    def take_places(self, address):
        """Connections that wait for news, as many as there may be."""
        port = int(re.search(r":(\d+)/", address)[1])
        places = []
        for _ in range(self.STREAMS):
            connection = socket.create_connection(("127.0.0.1", port), timeout=20)
            self.addCleanup(connection.close)
            token = address.partition("token=")[2]
            connection.sendall(f"GET /api/stream?token={token} HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\n\r\n".encode())
            places.append((connection, connection.recv(65536).split()[1]))
        return places

    def test_a_page_that_is_one_too_many_is_told_so_and_follows_later(self):
        _, _, address = self.view_of(known_signal().bytes)
        places = self.take_places(address)
        self.assertEqual([status for _, status in places], [b"200"] * self.STREAMS)
        self.browser.open(address)
        self.wait_text("#summary", "exact")
        self.wait_text("#trouble", r'^The server refused "stream" \(503\): too many pages are open: close one$')
        places[0][0].close()
        self.browser.wait(lambda: not self.browser.element("#trouble").is_displayed(), "a place")
        self.browser.errors()  # tell of the refusal

    def test_a_page_that_is_not_seen_takes_no_place(self):
        _, _, address = self.view_of(known_signal().bytes)
        self.open(address)
        self.wait_text("#summary", "exact")
        self.browser.wait(lambda: b"503" in [status for _, status in self.take_places(address)], "the page's place")
        hide = "Object.defineProperty(document, 'hidden', { configurable: true, value: arguments[0] }); document.dispatchEvent(new Event('visibilitychange'))"
        self.browser.run(hide, True)
        self.doCleanups()
        _, _, address = self.view_of(known_signal().bytes)
        self.open(address)
        self.wait_text("#summary", "exact")
        self.browser.run(hide, True)
        self.browser.wait(lambda: [status for _, status in self.take_places(address)] == [b"200"] * self.STREAMS, "all places")

    def test_seven_pages_of_one_browser_all_answer(self):
        _, _, address = self.view_of(known_signal().bytes)
        driver = self.browser.driver
        first = driver.current_window_handle
        self.browser.open(address)
        others = []
        for _ in range(6):
            driver.switch_to.new_window("window")
            others.append(driver.current_window_handle)
            self.browser.open(address)
        for handle in [first, *others]:
            driver.switch_to.window(handle)
            self.wait_text("#summary", "exact")
            self.browser.click("#zoom-in")
            self.browser.wait(lambda: "v=" in driver.current_url, "the closer view")
            self.wait_text("#summary", "exact: every packet$")
        for handle in others:
            driver.switch_to.window(handle)
            driver.close()
        driver.switch_to.window(first)
        self.browser.errors()  # tell of pages that are too many


@unittest.skipIf(ON_WINE, NATIVE)
class RunningRecording(ServedTest):
    def test_the_end_is_followed(self):
        _, address = self.start("record", "--demo", "--seconds", str(MINUTE), "--view", "--quiet", "--output", "live.tdf")
        self.open(address)
        self.wait_text("#state", "recording")
        self.browser.click("#zoom-in")
        self.browser.keys("f", Keys.END) if self.browser.element("#follow").get_attribute("aria-pressed") == "false" else None
        self.assertEqual(self.browser.element("#follow").get_attribute("aria-pressed"), "true")
        first, losses = self.view(), self.browser.text("#lost")
        self.browser.wait(lambda: self.view()[0] > first[0], "the view further right")
        self.browser.wait(lambda: self.browser.text("#lost") != losses, "a loss")  # the simulated target overflows now and then
        self.browser.click("#zoom-out")
        self.browser.click("#whole")
        self.browser.wait(lambda: "v=" not in self.browser.driver.current_url, "the whole")

    def test_nothing_is_lost_at_full_speed(self):
        """At 1.2 MB/s. Frames are judged of a minute, LIVE_SECONDS=60, which wants a machine that does nothing else."""
        try:
            in_real_time(self.look_at_full_speed)
        except Skip as reason:
            self.skipTest(str(reason))

    def look_at_full_speed(self):
        link, sent, report = self.folder / "pin", self.folder / "sent.bin", self.folder / "report.json"
        for file in (link, report):
            file.unlink(missing_ok=True)
        source = subprocess.Popen([BUILD / "bin/swosource", "--link", link, "--rate", str(SPEED), "--enabled", "--baud-check", "off",
                                   "--record", sent, "--report", report], stdout=subprocess.DEVNULL)
        self.addCleanup(lambda: source.poll() is None and (source.kill(), source.wait()))
        self.browser.wait(link.exists, "the signal's port")
        process, address = self.start("record", "--port", "9", "--clock", "12MHz", "--prescaler", "0", "--view", "--quiet", "--seconds",
                                      str(SECONDS), "--output", "fast.bin", "--force", environment={"KORR_TRACE_COM9": str(link)})
        self.browser.open(address)
        self.wait_text("#state", "recording")
        self.browser.wait(lambda: len(self.browser.texts(".row b")) >= 5, "rows")
        self.browser.click("#zoom-in")
        self.browser.keys("f")
        self.browser.run("window.frames_.length = window.gaps_.length = 0")
        end = time.monotonic() + SECONDS - 3
        seen = [self.view()[1]]
        while time.monotonic() < end and process.poll() is None:
            time.sleep(1)
            seen.append(self.view()[1])
        frames, gaps = self.browser.run("return [window.frames_, window.gaps_]")
        status = process.wait(SECONDS + 60)
        self.browser.open("about:blank")
        source.send_signal(signal.SIGTERM)
        source.wait(60)
        saved, all_ = (self.folder / "fast.bin").read_bytes()[WAITED:-8], sent.read_bytes()  # its last sample may be filled up
        begin = all_.find(saved[:UNIQUE])
        behind = begin + len(saved)
        told = json.loads(report.read_text())
        lost = sum(gap["length"] for gap in told["overruns"]["gaps"] if begin <= gap["offset"] < behind)
        print(f"\n{len(saved)} bytes recorded in {SECONDS} s, {lost} lost; {len(frames)} frames, median {statistics.median(frames):.1f} ms, "
              f"most {max(frames):.1f} ms, longest gap {max(gaps, default=0):.0f} ms", file=sys.stderr)
        self.assertGreater(len(set(seen)), len(seen) / 2)  # it moves
        if lost:
            raise Starved(f"{lost} bytes lost", told["real_time"])
        self.assertIn(status, (0, 3))  # the simulated target overflows
        self.assertGreater(len(saved), 0.9 * SECONDS * SPEED)
        self.assertTrue(saved == all_[begin:behind])  # in one piece
        late = max(*frames, *gaps) > LONGEST_FRAME or statistics.median(frames) > FRAME
        if SECONDS >= MINUTE and late:
            raise Starved("frames came late", told["real_time"])
