"""Homes, folders, files and ports that are not as they should be, around recordings of the whole plug-in."""
import os
import shutil
import unittest

from hosting import ON_WINE, main, wait_for
from recorder import BYTES, NO_CAPTURE, Recorder


class Homes(Recorder):
    def setUp(self):
        super().setUp()
        self.level = 1

    def works(self, home):
        self.home = home
        self.records()
        self.assertIn("Receiver destroyed", self.log())

    def is_refused(self, home):
        """Without folders there is a receiver and no log, and nothing can be recorded; an earlier capture in another
        home stays, and that home then works."""
        self.works(self.home)
        good, self.home = self.home, home
        logs, earlier = self.logs(), os.stat(self.capture_in(good))
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.assertEqual(host.ask("status board/cpu")["text"], "Ready to record")
        self.start_is_refused(host)
        self.assertEqual(host.ask("status board/cpu")["text"], "Ready to record")
        self.assertEqual(host.ask("samples board/cpu")["samples"], 0)
        self.leaves(host)
        self.unplug(*ends)
        self.assertEqual(self.logs(), logs)
        self.assertEqual(os.stat(self.capture_in(good)).st_mtime_ns, earlier.st_mtime_ns)
        self.assertEqual(self.read(self.capture_in(good)), BYTES)
        self.works(good)

    def capture_in(self, home):
        return os.path.join(home, ".KORR-trace", "data", "swotrace_cpu.bin")

    def test_unknown_home_is_refused(self):
        self.is_refused(None)

    def test_missing_home_is_made(self):
        self.works(self.file("not/yet/there"))

    def test_home_that_cannot_be_made_is_refused(self):
        self.write("plain", "a file")
        self.is_refused(self.file("plain/home"))
        self.assertEqual(self.read(self.file("plain")), b"a file")

    def test_home_with_blanks_works(self):
        self.works(self.file("a home  with blanks"))

    def test_home_with_western_letters_works(self):
        self.works(self.file("Zoë Müller"))

    @unittest.skipIf(ON_WINE, "refused there")
    def test_home_with_other_letters_works(self):
        self.works(self.file("Дом 家"))

    @unittest.skipUnless(ON_WINE, "works elsewhere")
    def test_home_with_letters_outside_the_code_page_is_refused(self):
        self.is_refused(self.file("Дом 家"))

    def home_of_250_characters(self):
        home = self.folder
        while len(self.host_path(home)) < 250:
            home += "/" + "h" * min(60, 249 - len(self.host_path(home)))
        self.assertEqual(len(self.host_path(home)), 250)
        return home

    @unittest.skipIf(ON_WINE, "refused there")
    def test_home_of_250_characters_works(self):
        self.works(self.home_of_250_characters())

    @unittest.skipUnless(ON_WINE, "works elsewhere")
    def test_home_too_long_for_the_capture_files_name_is_refused(self):
        self.is_refused(self.home_of_250_characters())


@unittest.skipIf(ON_WINE, "Wine does not show permissions to root")
class Permissions(Recorder):
    """Folders that are there and must not be written; then the permission is given back."""

    def setUp(self):
        super().setUp()
        self.level = 1
        self.base = os.path.join(self.home, ".KORR-trace")

    def command(self, *arguments):
        """Permissions hold for root as well when it may not override them."""
        held = "-dac_override"
        root = ["setpriv", "--bounding-set", held, "--inh-caps", held] if os.geteuid() == 0 else []
        return root + super().command(*arguments)

    def make_folders(self):
        for name in ("data", "settings"):
            os.makedirs(os.path.join(self.base, name))

    def test_home_without_permission_is_refused_until_a_driver_is_allocated_with_it(self):
        os.chmod(self.home, 0o555)
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.start_is_refused(host)
        self.assertEqual(host.ask("status board/cpu")["text"], "Ready to record")
        self.assertEqual(os.listdir(self.home), [])
        os.chmod(self.home, 0o755)
        self.refused(host.ask("start board/cpu"), NO_CAPTURE)
        self.has_opened_its_log(host)
        self.has_closed(host)
        self.assertEqual(self.errors_logged(), [
            "Tarnel_UARTCollector: Failed to open binary file /data/swotrace_cpu.bin with error code 2"])
        self.ok(host.ask("release board/cpu"))
        self.allocates(host, number)
        self.captures(host, ends[0])
        self.ends(host)
        self.assertEqual(len(self.errors_logged()), 1)
        self.unplug(*ends)

    def test_data_folder_without_permission_takes_no_new_capture(self):
        self.make_folders()
        os.chmod(self.base + "/data", 0o555)
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.start_is_refused(host)
        self.assertEqual(host.ask("status board/cpu")["text"], "Ready to record")
        self.assertEqual(os.listdir(self.base + "/data"), [])
        os.chmod(self.base + "/data", 0o755)
        self.captures(host, ends[0])
        self.ends(host)
        self.assertEqual(self.errors_logged(), [
            f"Tarnel_UARTCollector: Failed to open binary file {self.capture()} with error code 13"])
        self.unplug(*ends)

    def test_data_folder_without_permission_takes_a_capture_into_the_earlier_file(self):
        self.make_folders()
        with open(self.capture(), "wb") as earlier:
            earlier.write(2 * BYTES)
        os.chmod(self.base + "/data", 0o555)
        self.records()
        self.assertEqual(self.errors_logged(), [])
        os.chmod(self.base + "/data", 0o755)
        self.records()

    def test_log_folder_without_permission_loses_the_log_until_it_has_it(self):
        self.make_folders()
        os.chmod(self.base, 0o555)
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        self.stops(host)
        self.assertEqual(self.logs(), [])
        os.chmod(self.base, 0o755)
        self.captures(host, ends[0])
        self.has_opened_its_log(host)
        self.ends(host)
        self.assertNotIn("Created SWO receiver", self.log())
        self.assertIn("Receiver destroyed", self.log())
        self.assertEqual(self.errors_logged(), [])
        self.unplug(*ends)


class Folders(Recorder):
    def setUp(self):
        super().setUp()
        self.level = 1
        self.base = os.path.join(self.home, ".KORR-trace")

    @unittest.skipIf(ON_WINE, "it is another test's there")
    def test_folders_that_are_moved_while_recording_keep_what_is_written(self):
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        moved = self.file("moved")
        os.rename(self.base, moved)
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        self.assertEqual(host.ask("samples board/cpu")["samples"], 0)
        os.write(ends[0], BYTES)
        wait_for(lambda: self.read(moved + "/data/swotrace_cpu.bin") == 2 * BYTES, "bytes behind the moved folder")
        self.ok(host.ask("stop board/cpu"))
        self.refused(host.ask("start board/cpu"), NO_CAPTURE)
        self.assertFalse(os.path.exists(self.base))
        os.rename(moved, self.base)
        self.has_closed(host)
        self.assertEqual(self.errors_logged(), [
            f"Tarnel_UARTCollector: Failed to open binary file {self.capture()} with error code 2"])
        self.captures(host, ends[0])
        self.ends(host)
        self.assertIn("Receiver destroyed", self.log())
        self.unplug(*ends)

    @unittest.skipIf(ON_WINE, "it is another test's there")
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
        self.assertEqual(self.errors_logged(files[log].read().decode()), [
            f"Tarnel_UARTCollector: Failed to open binary file {self.capture()} with error code 2"])
        self.unplug(*ends)

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
        wait_for(lambda: len(self.errors_logged()) >= len(self.CAPTURE_ENDED), "the end of the capture")
        self.assertEqual(self.errors_logged(), self.CAPTURE_ENDED)
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        return host, number

    def is_stopped(self, host):
        self.stops(host)
        self.assertEqual(host.ask("status board/cpu")["text"], "Stopped by user")
        self.assertEqual(self.errors_logged(), self.CAPTURE_ENDED + self.STOPPED)
        self.assertEqual(host.ask("samples board/cpu")["samples"], len(BYTES) // 8)
        self.assertEqual(self.read(self.capture()), BYTES)

    def test_port_unplugged_while_recording_keeps_what_came_and_can_be_plugged_in_again(self):
        host, number = self.unplugged_while_recording()
        self.is_stopped(host)
        self.start_is_refused(host, "Failed to open COM port")
        self.assertEqual(self.read(self.capture()), BYTES)
        number, *ends = self.plug_in()
        self.captures(host, ends[0])
        self.ends(host)
        self.assertEqual(self.errors_logged(), [
            *self.CAPTURE_ENDED, *self.STOPPED,
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
        self.assertEqual(self.errors_logged(), self.CAPTURE_ENDED + self.STOPPED)
        self.unplug(*ends)


if __name__ == "__main__":
    main()
