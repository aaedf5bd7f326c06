"""Folders, files and ports that do not stay as they were, around recordings of the whole plug-in."""
import os
import shutil
import subprocess
import unittest

from hosting import LIMIT, ON_WINE, main, wait_for, wine_program
from recorder import BYTES, NO_CAPTURE, Recorder


class Folders(Recorder):
    def setUp(self):
        super().setUp()
        self.level = 1
        self.base = os.path.join(self.home, ".KORR-trace")

    def asks_windows(self, *words):
        """Lets another Windows program, which observes how files are shared, do something or be refused."""
        subprocess.run([wine_program(), "cmd", "/c", *words], env=self.environment(), capture_output=True,
                       timeout=LIMIT, check=False)

    def moves(self, path, name):
        if ON_WINE:
            self.asks_windows("ren", self.host_path(path), name)
        else:
            os.rename(path, os.path.join(os.path.dirname(path), name))

    def capture_failure(self):
        """What the log says of a capture file whose folder is not there."""
        return ("Tarnel_UARTCollector: Failed to open binary file "
                f"{self.host_path(self.capture())} with error code {3 if ON_WINE else 2}")

    def test_folders_that_are_moved_while_recording_keep_what_is_written(self):
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        moved = os.path.join(self.home, "moved")
        self.moves(self.base, "moved")
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        self.assertEqual(host.ask("samples board/cpu")["samples"], 0)
        os.write(ends[0], BYTES)
        wait_for(lambda: self.read(moved + "/data/swotrace_cpu.bin") == 2 * BYTES, "bytes behind the moved folder")
        self.ok(host.ask("stop board/cpu"))
        self.refused(host.ask("start board/cpu"), NO_CAPTURE)
        self.assertFalse(os.path.exists(self.base))
        self.moves(moved, ".KORR-trace")
        self.has_closed(host)
        self.assertEqual(self.errors_logged(), [self.capture_failure()])
        self.captures(host, ends[0])
        self.ends(host)
        self.assertIn("Receiver destroyed", self.log())
        self.unplug(*ends)

    @unittest.skipIf(ON_WINE, "they cannot be deleted there")
    def test_folders_that_are_deleted_while_recording_lose_the_recording_and_are_made_by_the_next_process(self):
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        log, = self.logs()
        files = {}
        for path in (log, self.capture()):
            files[path] = open(path, "rb")
            self.addCleanup(files[path].close)
        shutil.rmtree(self.base)
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        self.assertEqual(host.ask("samples board/cpu")["samples"], 0)
        os.write(ends[0], BYTES)
        capture = files[self.capture()]
        wait_for(lambda: capture.seek(0) or capture.read() == 2 * BYTES, "bytes in the deleted file")
        self.stops(host)
        self.assertEqual(host.ask("status board/cpu")["text"], "Stopped by user")
        self.assertEqual(host.ask("samples board/cpu")["samples"], 0)
        self.start_is_refused(host)
        self.assertFalse(os.path.exists(self.base))
        self.records(port=2)
        self.captures(host, ends[0])
        self.ends(host)
        self.assertEqual(self.errors_logged(files[log].read().decode()), [self.capture_failure()])
        self.unplug(*ends)

    @unittest.skipUnless(ON_WINE, "they can elsewhere")
    def test_folders_cannot_be_deleted_while_recording(self):
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        log, = self.logs()
        deletion = ("rmdir", "/s", "/q", self.host_path(self.base))
        self.asks_windows(*deletion)
        for path in (log, self.capture()):
            self.asks_windows("del", "/q", self.host_path(path))
            self.assertTrue(os.path.exists(path), path)
        os.write(ends[0], BYTES)
        wait_for(lambda: self.read(self.capture()) == 2 * BYTES, "the rest of the capture")
        self.ends(host)
        self.unplug(*ends)
        self.assertIn("Receiver destroyed", self.log())
        self.assertEqual(self.errors_logged(), [])
        self.asks_windows(*deletion)
        self.assertFalse(os.path.exists(self.base))
        self.records()

    def test_capture_file_of_another_process_is_refused_and_goes_on(self):
        number, *ends = self.plug_in()
        other_number, *other_ends = self.plug_in(2)
        first, second = self.ready(number), self.ready(other_number)
        self.captures(first, ends[0])
        self.refused(second.ask("start board/cpu"), NO_CAPTURE)
        os.write(ends[0], BYTES)
        wait_for(lambda: self.read(self.capture()) == 2 * BYTES, "the rest of the first capture")
        self.ends(first)
        self.captures(second, other_ends[0])
        self.ends(second)
        self.unplug(*ends)
        self.unplug(*other_ends)


@unittest.skipIf(ON_WINE, "the far end of a terminal does not vanish there")
class Ports(Recorder):
    # The second line is left out when the reader learns of the end a moment before the terminal is told.
    CAPTURE_ENDED = [
        "Tarnel_UARTCollector: Reading COM port failed with error code 5",
        "Tarnel_UARTCollector: Failed to send Comm break state with error code = 5",
        "Tarnel_UARTCollector: Reading COM port failed with error code 5",
    ]
    STOPPED = [
        "Tarnel_UARTCollector: Purge Comm failed with error code = 5.",
        "Tarnel_UARTCollector: Restoring communication state failed with error code 5",
    ]

    def setUp(self):
        super().setUp()
        self.level = 1

    def unplugged_while_recording(self):
        """A host whose port went away after it had captured BYTES."""
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        self.unplug(*ends)
        wait_for(lambda: self.errors_logged().count(self.CAPTURE_ENDED[0]) == 2, "the end of the capture")
        self.capture_ended = self.errors_logged()
        self.assertIn(self.capture_ended, (self.CAPTURE_ENDED, self.CAPTURE_ENDED[::2]))
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        return host, number

    def is_stopped(self, host):
        self.stops(host)
        self.assertEqual(host.ask("status board/cpu")["text"], "Stopped by user")
        self.assertEqual(self.errors_logged(), self.capture_ended + self.STOPPED)
        self.assertEqual(host.ask("samples board/cpu")["samples"], len(BYTES) // 8)
        self.assertEqual(self.read(self.capture()), BYTES)

    def test_port_unplugged_while_recording_keeps_what_came_and_can_be_plugged_in_again(self):
        host, number = self.unplugged_while_recording()
        self.is_stopped(host)
        os.unlink(self.links[number])  # the number of its terminal may be another program's by now
        self.start_is_refused(host, "Failed to open COM port")
        self.assertEqual(self.read(self.capture()), BYTES)
        number, *ends = self.plug_in()
        self.captures(host, ends[0])
        self.ends(host)
        self.assertEqual(self.errors_logged(), [
            *self.capture_ended, *self.STOPPED,
            f"Tarnel_UARTCollector: Failed to open COM{number} with error code = 2"])
        self.unplug(*ends)

    def test_port_plugged_in_again_before_the_stop_is_recorded_by_the_next_start(self):
        host, _ = self.unplugged_while_recording()
        _, *ends = self.plug_in()
        os.write(ends[0], BYTES[::-1])
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        self.assertEqual(host.ask("samples board/cpu")["samples"], len(BYTES) // 8)
        self.is_stopped(host)
        self.captures(host, ends[0])
        self.ends(host)
        self.assertEqual(self.errors_logged(), self.capture_ended + self.STOPPED)
        self.unplug(*ends)


if __name__ == "__main__":
    main()
