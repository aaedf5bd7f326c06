#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: swosource_test.py SWOSOURCE [TEST...]

How swosource behaves at its command line and towards a plain reader of its pseudo-terminal.
"""
import fcntl
import json
import os
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

sys.dont_write_bytecode = True
from uart_waveform import waveform  # noqa: E402

SWOSOURCE = sys.argv.pop(1) if len(sys.argv) > 1 else ""
TCGETS2, TCSETS2 = 0x802C542A, 0x402C542B
KERNEL_BUFFER = 22_048  # bytes that a pseudo-terminal takes without a reader (measured)
BOTHER, RATE_MASK = 0o010000, 0o010017
TERMIOS2 = "4I20B2I"


def wait_for(condition, seconds=30):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if condition():
            return
        time.sleep(0.005)
    raise AssertionError("waited in vain")


class Reader:
    """Reads a port on a thread until it is gone."""

    def __init__(self, port, baud=None, reading=True):
        self.data = b""
        self.file = os.open(port, os.O_RDONLY | os.O_NOCTTY)
        if baud:
            settings = list(struct.unpack(TERMIOS2, fcntl.ioctl(self.file, TCGETS2, bytes(struct.calcsize(TERMIOS2)))))
            settings[2] = settings[2] & ~RATE_MASK | BOTHER
            settings[-2:] = [baud, baud]
            fcntl.ioctl(self.file, TCSETS2, struct.pack(TERMIOS2, *settings))
        self.thread = threading.Thread(target=self.read) if reading else None
        if self.thread:
            self.thread.start()

    def read(self):
        try:
            while piece := os.read(self.file, 4096):
                self.data += piece
        except OSError:
            pass

    def close(self):
        if self.thread:
            self.thread.join()
        os.close(self.file)


class SwoSource(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="swosource_test_")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.link = self.file("port")
        self.source = None

    def file(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.file(name + ".new"), "w") as file:
            file.write(content if isinstance(content, str) else json.dumps(content))
        os.replace(self.file(name + ".new"), self.file(name))

    def refused(self, *arguments):
        done = subprocess.run([SWOSOURCE, *arguments], capture_output=True, text=True, timeout=30)
        return done.returncode, done.stderr

    def start(self, *arguments):
        self.source = subprocess.Popen([SWOSOURCE, "--link", self.link, "--report", self.file("report.json"),
                                        "--record", self.file("sent.bin"), *map(str, arguments)],
                                       stderr=subprocess.PIPE, text=True)
        self.addCleanup(self.end)
        wait_for(lambda: os.path.exists(self.link) or self.source.poll() is not None)

    def end(self):
        if self.source.poll() is None:
            self.source.kill()
        self.source.communicate()

    def finish(self):
        """Exit status and report."""
        self.source.communicate(timeout=60)
        with open(self.file("report.json")) as file:
            return self.source.returncode, json.load(file)

    def sent(self):
        with open(self.file("sent.bin"), "rb") as file:
            return file.read()

    def board(self, clock, **tpiu):
        self.write("board.json", {"trace_clock_hz": clock, "tpiu": "tpiu.json"})
        self.write("tpiu.json", tpiu)
        return "--board", self.file("board.json")

    def test_wrong_usage_ends_with_status_2(self):
        self.write("some.bin", "x")
        for arguments in ([], ["--link", self.link], ["--link", self.link, "--enabled"],
                          ["--link", self.link, "--enabled", "--clock", "0"],
                          ["--link", self.link, "--enabled", "--rate", "fast"],
                          ["--link", self.link, "--enabled", "--rate", "-1"],
                          ["--link", self.link, "--enabled", "--rate", "nan"],
                          ["--link", self.link, "--enabled", "--rate", "max", "--pattern", "noise"],
                          ["--link", self.link, "--enabled", "--rate", "max", "--probe-buffer", "0"],
                          ["--link", self.link, "--enabled", "--rate", "max", "--pattern", "itm", "--stream",
                           self.file("some.bin")],
                          ["--link", self.link, "--board", self.file("no board")]):
            status, message = self.refused(*arguments)
            self.assertEqual(status, 2, arguments)
            self.assertNotEqual(message, "")

    def test_a_board_that_cannot_be_used_ends_with_status_1_and_its_reason(self):
        for board, reason in (({"trace_clock_hz": 1e6, "tpiu": "t", "colour": 1}, "colour"),
                              ({"trace_clock_hz": 1e6}, '"tpiu" is missing'),
                              ({"tpiu": "t"}, '"trace_clock_hz" is missing')):
            self.write("board.json", board)
            status, message = self.refused("--link", self.link, "--board", self.file("board.json"))
            self.assertEqual(status, 1)
            self.assertIn(reason, message)
            self.assertFalse(os.path.lexists(self.link))

    def test_a_bad_tpiu_state_ends_with_status_1_and_its_reason(self):
        board = self.board(1e6)
        self.write("tpiu.json", {"prescalar": 1})
        status, message = self.refused("--link", self.link, *board)
        self.assertEqual(status, 1)
        self.assertIn('unknown key "prescalar"', message)

    def test_replaces_a_link_but_no_file(self):
        os.symlink("/nowhere", self.link)
        self.start("--enabled", "--rate", "max", "--bytes", 0)
        self.assertEqual(self.finish()[0], 0)
        self.write("port", "precious")
        status, message = self.refused("--link", self.link, "--enabled", "--rate", "max", "--bytes", "0")
        self.assertEqual(status, 1)
        self.assertIn("cannot make the link", message)
        with open(self.link) as file:
            self.assertEqual(file.read(), "precious")

    def test_removes_its_link_when_it_is_told_to_stop(self):
        for request in (signal.SIGTERM, signal.SIGINT):
            self.start("--enabled", "--rate", 1000)
            self.assertTrue(os.path.islink(self.link))
            self.source.send_signal(request)
            self.assertEqual(self.finish()[0], 0)
            self.assertFalse(os.path.lexists(self.link))

    def naps(self):
        """How often threads of the source have gone to sleep."""
        count = 0
        for thread in os.listdir(f"/proc/{self.source.pid}/task"):
            with open(f"/proc/{self.source.pid}/task/{thread}/status") as file:
                count += int(file.read().partition("\nvoluntary_ctxt_switches:")[2].split()[0])
        return count

    def test_is_seldom_awake_while_it_is_silent(self):
        self.start(*self.board(1_000_000, prescaler=0, enabled=False), "--pattern", "counter")
        before, began = self.naps(), time.monotonic()
        time.sleep(1)
        self.assertLess(self.naps() - before, 400 * (time.monotonic() - began))  # 100, of two threads

    def test_is_silent_until_the_tpiu_is_enabled_and_after_it_is_disabled(self):
        board = self.board(1_000_000, prescaler=0, enabled=False)
        self.start(*board, "--pattern", "counter")
        reader = Reader(self.link, 1_000_000)
        time.sleep(0.2)
        self.assertEqual(reader.data, b"")
        self.write("tpiu.json", {"prescaler": 0, "enabled": True})
        wait_for(lambda: len(reader.data) > 1000)
        self.write("tpiu.json", {"prescaler": 0, "enabled": False})
        wait_for(self.is_quiet)
        self.write("tpiu.json", {"prescaler": 0, "enabled": True})
        before = len(reader.data)
        wait_for(lambda: len(reader.data) > before + 1000)
        self.source.terminate()
        status, report = self.finish()
        reader.close()
        self.assertEqual(status, 0)
        self.assertEqual(reader.data, self.sent())
        self.assertEqual(report["taken"], len(reader.data))

    def is_quiet(self):
        before = os.path.getsize(self.file("sent.bin"))
        time.sleep(0.2)
        return os.path.getsize(self.file("sent.bin")) == before

    def test_a_new_prescaler_changes_the_rate_of_the_line(self):
        board = self.board(10_000_000)
        self.start(*board, "--seconds", 0.5, "--baud-check", "off")
        reader = Reader(self.link)
        self.write("tpiu.json", {"prescaler": 99, "enabled": True})
        status, report = self.finish()
        reader.close()
        self.assertEqual((status, report["line_baud"]), (0, 100_000))
        self.assertAlmostEqual(report["played"], 5_000, delta=60)

    def test_plays_at_the_rate_it_is_given(self):
        board = self.board(1_000_000)
        self.start(*board, "--rate", 50_000, "--seconds", 1)
        reader = Reader(self.link, 1_000_000)
        self.write("tpiu.json", {"enabled": True})
        status, report = self.finish()
        reader.close()
        self.assertEqual(status, 0)
        self.assertAlmostEqual(report["played"], 50_000, delta=200)
        self.assertEqual(reader.data, self.sent())

    def test_at_the_highest_rate_nothing_overruns(self):
        self.start("--enabled", "--rate", "max", "--bytes", 2_000_000, "--pattern", "counter")
        reader = Reader(self.link)
        status, report = self.finish()
        reader.close()
        self.assertEqual((status, report["dropped"], report["taken"]), (0, 0, 2_000_000))
        self.assertEqual(reader.data, self.sent())

    def test_at_the_highest_rate_a_small_probe_buffer_does_not_overrun(self):
        self.start("--enabled", "--rate", "max", "--bytes", 300_000, "--pattern", "counter", "--probe-buffer", 1000)
        reader = Reader(self.link)
        status, report = self.finish()
        reader.close()
        self.assertEqual((status, report["dropped"], report["taken"]), (0, 0, 300_000))
        self.assertEqual(reader.data, self.sent())

    def test_its_own_standstill_is_lag_and_no_loss(self):
        board = self.board(4_000_000)
        self.start(*board, "--rate", 400_000, "--seconds", 1, "--pattern", "counter", "--probe-buffer", 65536)
        reader = Reader(self.link, 4_000_000)
        self.write("tpiu.json", {"enabled": True})
        wait_for(lambda: len(reader.data) > 100_000)
        self.source.send_signal(signal.SIGSTOP)
        time.sleep(0.3)
        self.source.send_signal(signal.SIGCONT)
        status, report = self.finish()
        reader.close()
        self.assertEqual((status, report["dropped"]), (0, 0))
        self.assertGreaterEqual(report["lag"]["longest_ms"], 290)
        self.assertAlmostEqual(report["wire_seconds"], 1, delta=0.05)
        self.assertEqual(report["taken"], report["sent"])
        self.assertAlmostEqual(report["sent"], 400_000, delta=20_000)

    def test_plays_a_file_once(self):
        content = os.urandom(30_001)
        with open(self.file("stream.bin"), "wb") as file:
            file.write(content)
        board = self.board(2_000_000)
        self.start(*board, "--rate", 200_000, "--stream", self.file("stream.bin"))
        reader = Reader(self.link, 2_000_000)
        self.write("tpiu.json", {"enabled": True})
        status, report = self.finish()
        reader.close()
        self.assertEqual((status, report["sent"]), (0, 30_001))
        self.assertEqual(reader.data, content)

    def test_a_far_end_within_3_percent_gets_every_byte_and_one_beyond_gets_others(self):
        for baud, same in ((1_030_000, True), (970_000, True), (1_031_000, False), (969_000, False)):
            with self.subTest(baud=baud):
                board = self.board(1_000_000, prescaler=0, enabled=False)
                self.start(*board, "--bytes", 2000)
                reader = Reader(self.link, baud)
                self.write("tpiu.json", {"enabled": True})
                status, report = self.finish()
                reader.close()
                self.assertEqual((status, report["far_end_baud"]), (0, baud))
                self.assertEqual(report["garbled"], 0 if same else 2000)

    def test_bytes_that_the_far_end_leaves_behind_are_dropped(self):
        board = self.board(1_000_000)
        self.start(*board, "--bytes", 1000)
        reader = Reader(self.link, 1_000_000, reading=False)
        self.write("tpiu.json", {"enabled": True})
        status, report = self.finish()
        reader.close()
        self.assertEqual((status, report["sent"], report["taken"], report["dropped"], report["left_behind"]),
                         (3, 1000, 0, 1000, 1000))

    def test_bytes_dropped_while_nobody_listens_are_no_failure(self):
        self.start("--enabled", "--rate", 100_000, "--bytes", 20_000, "--probe-buffer", 1000)
        status, report = self.finish()
        self.assertEqual((status, report["sent"], report["taken"], report["dropped"], report["dropped_unattended"]),
                         (0, 20_000, 0, 20_000, 20_000))

    def test_a_reader_that_stands_still_overruns_the_probe(self):
        board = self.board(1_000_000)
        self.start(*board, "--bytes", 60_000, "--probe-buffer", 1000)
        reader = Reader(self.link, 1_000_000, reading=False)
        self.write("tpiu.json", {"enabled": True})
        wait_for(lambda: os.path.getsize(self.file("sent.bin")) > 50_000)
        rest = threading.Thread(target=reader.read)
        rest.start()
        status, report = self.finish()
        rest.join()
        reader.close()
        self.assertEqual(status, 3)
        self.assertEqual(report["taken"], len(reader.data))
        self.assertEqual(report["sent"], report["taken"] + report["dropped"])
        gap = report["overruns"]["gaps"][0]
        # The probe may learn late what the far end has not read; the kernel holds at most this much in between.
        self.assertTrue(1000 <= gap["offset"] <= 1000 + KERNEL_BUFFER, gap)
        self.assertGreater(gap["length"], 10_000)
        self.assertEqual(reader.data[:1000], self.sent()[:1000])

    def test_reports_an_unwritable_record(self):
        status, message = self.refused("--link", self.link, "--enabled", "--rate", "max", "--record",
                                       self.file("no/folder"))
        self.assertEqual(status, 1)
        self.assertIn("cannot be written", message)

    @unittest.skipUnless(shutil.which("sigrok-cli"), "sigrok-cli is not there")
    def test_another_decoder_reads_the_itm_stream(self):
        board = self.board(1_000_000)
        self.start(*board, "--bytes", 1500, "--pattern", "itm")
        reader = Reader(self.link, 1_000_000)
        self.write("tpiu.json", {"enabled": True})
        self.assertEqual(self.finish()[0], 0)
        reader.close()
        with open(self.file("line.bin"), "wb") as line:
            line.write(waveform(reader.data))
        done = subprocess.run(["sigrok-cli", "-i", self.file("line.bin"), "-I",
                               "binary:numchannels=8:samplerate=400000", "-P",
                               "uart:rx=0:baudrate=100000,arm_itm", "-A", "arm_itm"],
                              capture_output=True, text=True, timeout=100)
        self.assertIn("tick 000002, level 314 mV", done.stdout)
        self.assertIn("Enter: SysTick", done.stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
