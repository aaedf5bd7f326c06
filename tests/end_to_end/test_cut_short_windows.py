"""Recordings that something ends, on Windows: what Wine can be brought to show of test_cut_short.py.

A port goes with the driver's device behind its name, which the program port_device makes and takes away. Wine goes on
answering the reads of a pseudo-terminal without a far end with no bytes, so that no read fails here.
"""
import os
import re
import signal
import subprocess
import time
import unittest

from hosting import BIN, LIMIT, ON_WINE, find_process, main, server_process, wait_for, wine_program
from recorder import BYTES
from test_cut_short import TINY, CutShort


class Seen(CutShort):
    def is_over(self, running):
        """Ends tracehost itself, which is a child of the process that was started and holds its output open."""
        process = find_process("tracehost", self.folder)
        if process:
            os.kill(process, signal.SIGKILL)
        super().is_over(running)

    def sends_and_is_seen(self, running, near_end):
        """Until the recording has looked at its capture: it cannot tell a port that went before, as no read fails here."""
        self.sends(near_end)
        wait_for(lambda: f"{len(BYTES)} bytes" in running.stdout.readline(), "a look at the capture")


class Probed(Seen):
    """Records a port whose device can be taken away."""

    def plug_in(self, index=1):
        number, *ends = super().plug_in(index)
        self.device = subprocess.Popen([wine_program(), os.path.join(BIN, "port_device.exe"), str(number)],
                                       env=self.environment(), stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(self.device.communicate, timeout=LIMIT)
        self.assertEqual(self.device.stdout.readline().strip(), b"ready")
        return number, *ends

    def is_taken_away(self, number, ends):
        self.device.stdin.close()
        self.assertEqual(self.device.wait(LIMIT), 0)
        self.device.stdin = None
        os.unlink(self.links[number])
        self.unplug(*ends)


@unittest.skipUnless(ON_WINE, "test_cut_short.py is this system's")
class Port(Probed):
    GONE = r"COM\d+ vanished( \(error \d+: [^\n]*\))?: is the probe plugged in\?"  # the error, should a read fail after all

    def test_port_that_vanishes_ends_the_recording_and_what_came_is_saved(self):
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin")
        self.sends_and_is_seen(running, ends[0])
        began = time.monotonic()
        self.is_taken_away(number, ends)
        output = self.is_cut_short(running, f"{len(BYTES)} bytes: {self.GONE}", began)
        self.assertIn(f"Recorded {len(BYTES)} bytes in", output)
        self.assertEqual(self.read(self.file("o.bin")), BYTES)
        self.assertEqual(self.logs(), [], "a log that nobody asked for was left in the home")

    def test_port_that_comes_late_is_waited_for(self):
        number, _ = self.port()
        running = self.begins(number, "--output", "o.bin", "--wait-for-port", "60", "--bytes", str(len(BYTES)))
        self.assertIn(f"waiting for COM{number}", running.stdout.readline())
        _, *ends = self.plug_in()
        self.sends(ends[0])
        error = running.communicate(timeout=LIMIT)[1]
        self.assertEqual((running.returncode, error), (0, ""))
        self.assertEqual(self.read(self.file("o.bin")), BYTES)
        self.unplug(*ends)

    def test_port_that_does_not_come_is_told(self):
        number, _ = self.port()
        result = self.run_host(*self.arguments(number, "--output", "o.bin", "--wait-for-port", "0.3"))
        self.assertEqual((result.returncode, result.stderr.splitlines()[0]), (
            1, f"tracehost: COM{number} did not come within 0:01: is the probe plugged in? "
            '"tracehost ports" lists what is there'))
        self.assertFalse(os.path.exists(self.file("o.bin")))

    def test_replugged_port_is_recorded_into_another_section(self):
        number, *ends = self.plug_in()
        running = self.begins(number, "--reconnect", "--output", "o.tdf", "--bytes", str(2 * len(BYTES)))
        self.sends_and_is_seen(running, ends[0])
        self.is_taken_away(number, ends)
        time.sleep(0.5)
        self.assertIsNone(running.poll())
        _, *ends = self.plug_in()
        wait_for(lambda: os.path.getsize(self.capture()) == 0, "the second capture")
        os.write(ends[0], BYTES[::-1])
        self.has(len(BYTES))
        output, error = running.communicate(timeout=LIMIT)
        self.assertEqual(running.returncode, 3, error)
        self.assertRegex(error, rf"trace was lost while the port was away 1 time\(s\), .*: {self.GONE}")
        self.assertIn(f"Recorded {2 * len(BYTES)} bytes in", output)
        listed = re.findall(r"BinTraceData|RecordingSheet", self.run_host("info", "o.tdf").stdout)
        self.assertEqual(listed, ["BinTraceData", "RecordingSheet"] * 2)
        self.unplug(*ends)


@unittest.skipUnless(ON_WINE, "test_cut_short.py is this system's")
class Disk(Seen):
    FULL = r"error 112: Disk full"

    def disk(self, folder, size):
        """Wine's server opens the files; one that was started in another mount namespace would open those below the disk."""
        super().disk(folder, size)
        if os.stat(f"/proc/{server_process()}/root{folder}").st_dev != os.stat(folder).st_dev:
            self.skipTest("the prefix's Wine server does not see what is mounted here")

    def test_full_disk_ends_the_recording_and_what_came_is_saved(self):
        self.disk(self.home, TINY)
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin")
        sent = self.floods(running, ends[0])
        path = re.escape(self.host_path(self.capture()))
        self.is_cut_short(running, rf'{TINY} bytes: the capture file "{path}" takes no more \({self.FULL}; 0 bytes free on its '
                          r"disk\): make room there, or lift the limit on file sizes", time.monotonic())
        self.assertEqual(self.read(self.file("o.bin")), sent[:TINY])
        self.unplug(*ends)

    def test_full_disk_that_also_takes_the_saved_file_keeps_the_capture(self):
        self.disk(self.home, TINY)
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", self.host_path(os.path.join(self.home, "o.bin")))
        self.floods(running, ends[0])
        error = running.communicate(timeout=LIMIT)[1]
        self.assertEqual(running.returncode, 1, error)
        self.assertIn("the recording was cut short after", error)
        self.assertIn("is the disk full?", error)
        self.assertIn(f'the bytes captured are still in "{self.host_path(self.capture())}"', error)
        self.assertEqual(os.path.getsize(self.capture()), TINY)
        self.unplug(*ends)

    def test_capture_file_that_another_program_removes_is_told(self):
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin")
        self.sends_and_is_seen(running, ends[0])
        os.unlink(self.capture())
        error = running.communicate(timeout=LIMIT)[1]
        self.assertEqual(running.returncode, 5, error)
        self.assertIn(f'the capture file "{self.host_path(self.capture())}" was removed or shortened', error)
        self.unplug(*ends)


if __name__ == "__main__":
    main()
