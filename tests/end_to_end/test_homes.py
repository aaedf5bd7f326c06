"""Homes that are not as they should be, or must not be written, around recordings of the whole plug-in."""
import os
import unittest

from hosting import ON_WINE, main, without_override
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
        return without_override(super().command(*arguments))

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


if __name__ == "__main__":
    main()
