"""Homes, folders, files and ports that are not as they should be, around recordings of the whole plug-in."""
import os
import tty
import unittest

from hosting import HostTest, ON_WINE, main, wait_for

NO_CAPTURE = "Failed to open binary file for trace data storage"
BYTES = bytes(range(200)) * 4


class Recorder(HostTest):
    """Records what is written into a terminal."""

    def plug_in(self, index=1):
        number, link = self.port(index)
        near_end, far_end = os.openpty()
        tty.setraw(far_end)
        if os.path.lexists(link):
            os.unlink(link)
        os.symlink(os.ttyname(far_end), link)
        return number, near_end, far_end

    def unplug(self, near_end, far_end):
        os.close(far_end)
        os.close(near_end)

    def ready(self, number):
        """A host with a driver that is ready to record."""
        host = self.host()
        self.ok(host.ask("create"))
        self.ok(host.ask("allocate board/cpu 7"))
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT=number)}"))
        return host

    def captures(self, host, near_end, path=None):
        """Starts and waits until what is sent is in the capture."""
        self.ok(host.ask("start board/cpu"))
        os.write(near_end, BYTES)
        path = path or self.capture()
        wait_for(lambda: self.read(path) == BYTES, "the whole capture")

    def ends(self, host):
        for command in ("stop board/cpu", "release board/cpu", "destroy"):
            self.ok(host.ask(command))
        self.assertEqual(host.end(), 0)

    def records(self):
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        self.assertEqual(host.ask("samples board/cpu")["samples"], len(BYTES) // 8)
        self.ends(host)
        self.unplug(*ends)
        self.assertEqual(self.read(self.capture()), BYTES)


class Homes(Recorder):
    def setUp(self):
        super().setUp()
        self.level = 1

    def works(self, home):
        self.home = home
        self.records()
        self.assertIn("Receiver destroyed", self.log())

    def is_refused(self, home):
        """Without folders there is a receiver and no log, and nothing can be recorded; another home then works."""
        good, self.home = self.home, home
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.refused(host.ask("start board/cpu"), NO_CAPTURE)
        self.assertEqual(host.ask("status board/cpu")["text"], "Ready to record")
        self.assertEqual(host.ask("samples board/cpu")["samples"], 0)
        self.ok(host.ask("release board/cpu"))
        self.ok(host.ask("destroy"))
        self.assertEqual(host.end(), 0)
        self.unplug(*ends)
        self.works(good)

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


class Folders(Recorder):
    @unittest.skipIf(ON_WINE, "a folder with an open file cannot be moved")
    def test_folders_that_vanish_while_recording_keep_what_is_written(self):
        self.level = 1
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        base, moved = os.path.join(self.home, ".KORR-trace"), self.file("moved")
        os.rename(base, moved)
        self.assertEqual(host.ask("samples board/cpu")["samples"], 0)
        os.write(ends[0], BYTES)
        wait_for(lambda: self.read(moved + "/data/swotrace_cpu.bin") == 2 * BYTES, "bytes behind the moved folder")
        self.ok(host.ask("stop board/cpu"))
        self.refused(host.ask("start board/cpu"), NO_CAPTURE)
        self.assertFalse(os.path.exists(base))
        os.rename(moved, base)
        self.assertIn("Failed to open binary file", self.log())
        self.captures(host, ends[0])
        self.ends(host)
        self.assertIn("Receiver destroyed", self.log())
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


class Ports(Recorder):
    @unittest.skipIf(ON_WINE, "the far end of a terminal does not vanish there")
    def test_port_unplugged_while_recording_keeps_what_came_and_can_be_plugged_in_again(self):
        self.level = 1
        number, *ends = self.plug_in()
        host = self.ready(number)
        self.captures(host, ends[0])
        self.unplug(*ends)
        line = "E Tarnel_UARTCollector: Reading COM port failed with error code 5"
        wait_for(lambda: line.split(": ", 1)[1] in self.log(), "the end of the capture")
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        self.ok(host.ask("stop board/cpu"))
        self.assertEqual(self.read(self.capture()), BYTES)
        self.refused(host.ask("start board/cpu"), "Failed to open COM port")
        self.assertEqual(self.read(self.capture()), BYTES)
        number, *ends = self.plug_in()
        self.captures(host, ends[0])
        self.ends(host)
        self.unplug(*ends)


if __name__ == "__main__":
    main()
