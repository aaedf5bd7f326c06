"""Recordings that something ends: a port that vanishes, a full disk, a limit, another recording on the same port."""
import fcntl
import json
import os
import re
import resource
import signal
import subprocess
import tempfile
import termios
import time
import unittest

from hosting import LIMIT, ON_WINE, has_open, main, wait_for
from recorder import BYTES, Recorder

FILE_LIMIT = 40000  # bytes
LOG_LIMIT = 4000  # bytes, which a log of level 6 has soon
TINY = 256 * 1024  # bytes of a disk
LATE = 10  # seconds; told within one, but machines can be busy


class CutShort(Recorder):
    def arguments(self, number, *more):
        return ("record", "--port", str(number), "--clock", "1152000", "--prescaler", "9",
                "--fail-on", "never", *more)  # the numbered pattern is no trace

    def begins(self, number, *more, **keywords):
        """A recording that has begun to capture."""
        running = subprocess.Popen(self.command(*self.arguments(number, *more)), env=self.environment(), text=True,
                                   cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **keywords)
        self.addCleanup(self.is_over, running)
        return running

    def is_over(self, running):
        if running.poll() is None:
            running.kill()
        running.communicate()

    def has(self, count, path=None):
        path = path or self.capture()
        wait_for(lambda: os.path.exists(path) and os.path.getsize(path) >= count, f"{count} bytes in {path}")

    def sends(self, near_end, *, path=None):
        """What is sent before the capture began would be discarded: it is there when the port is open."""
        wait_for(lambda: os.path.exists(path or self.capture()), "the capture file")
        os.write(near_end, BYTES)
        self.has(len(BYTES), path)

    def is_cut_short(self, running, told, began):
        """Ends by itself with status 5 and one sentence."""
        output, error = running.communicate(timeout=LIMIT)
        self.assertEqual(running.returncode, 5, error)
        self.assertLess(time.monotonic() - began, LATE)
        sentence = rf"^tracehost: the recording was cut short after \d+\.\d s and {told}$"
        self.assertEqual(len(re.findall(sentence, error, re.MULTILINE)), 1, error)
        self.assertNotIn("while the port was away", error)
        return output

    def disk(self, folder, size):
        """A disk of its own in the folder's place."""
        os.makedirs(folder, exist_ok=True)
        done = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", folder], capture_output=True,
                              text=True, check=False)
        if done.returncode != 0:
            self.skipTest("no right to mount a small disk: " + done.stderr.strip())
        self.addCleanup(subprocess.run, ["umount", "-l", folder], check=False)

    def small_temporary_folder(self):
        """Too small for a log."""
        folder = self.file("tmp")
        self.disk(folder, "2m")
        return folder

    def floods(self, running, near_end):
        """Sends until the recording has ended. What was sent is given back."""
        os.set_blocking(near_end, False)
        wait_for(lambda: os.path.exists(self.capture()), "the capture file")
        sent = b""
        end = time.monotonic() + LIMIT
        while running.poll() is None and time.monotonic() < end:
            try:
                sent += BYTES[:os.write(near_end, BYTES)]
            except BlockingIOError:
                time.sleep(0.005)
        return sent


@unittest.skipIf(ON_WINE, "the far end of a terminal does not vanish there")
class Port(CutShort):
    GONE = r"{} bytes: COM\d+ \(\S+\) vanished \(error 5: Input/output error\): is the probe plugged in\?"

    def vanishes(self, *more, environment=None):
        number, *ends = self.plug_in()
        if environment:
            os.environ.update(environment)
            for name in environment:
                self.addCleanup(os.environ.pop, name)
        running = self.begins(number, "--output", "o.bin", *more)
        self.sends(ends[0])
        began = time.monotonic()
        self.unplug(*ends)
        return running, began

    def test_port_that_vanishes_ends_the_recording_and_what_came_is_saved(self):
        output = self.is_cut_short(*self.with_told(self.vanishes(), self.GONE.format(len(BYTES))))
        self.assertIn(f"Recorded {len(BYTES)} bytes in", output)
        self.assertEqual(self.read(self.file("o.bin")), BYTES)
        self.assertEqual(self.logs(), [], "a log that nobody asked for was left in the home")

    def test_vanished_port_stands_in_the_json_object(self):
        running, _ = self.vanishes("--json", "--quiet")
        output, error = running.communicate(timeout=LIMIT)
        shown = json.loads(output)
        self.assertEqual((running.returncode, shown["status"], shown["end"], shown["bytes"]), (5, 5, "fault", len(BYTES)))
        self.assertEqual(error, f"tracehost: {shown['problem']}\n")
        part, = shown["parts"]
        self.assertLess(part["begin"], part["fault_at"])
        self.assertLessEqual(part["fault_at"], part["end"])
        self.assertRegex(part["fault"], r"^COM\d+ \(\S+\) vanished \(error 5: Input/output error\): is the probe plugged in\?$")
        self.assertTrue(shown["problem"].endswith(f" s and {len(BYTES)} bytes: {part['fault']}"), shown)

    def test_vanished_port_stands_in_the_sheet_and_in_the_report(self):
        self.is_cut_short(*self.with_told(self.vanishes(), self.GONE.format(len(BYTES))))
        with open(self.file("o.bin.sheet.json")) as file:
            sheet = json.load(file)
        self.assertRegex(sheet["stop_reason"], r"^a fault: COM\d+ \(\S+\) .* \(error 5: Input/output error\)")
        self.assertEqual((sheet["read_error"], sheet["ledger"]["port-lost"]), (5, 1))
        self.assertIn("the port was lost", self.run_host("report", "o.bin", "--framing", "itm").stdout)

    def with_told(self, started, told):
        running, began = started
        return running, told, began

    def test_the_users_own_log_tells_the_error_as_well(self):
        self.level = 1
        self.is_cut_short(*self.with_told(self.vanishes("--quiet"), self.GONE.format(len(BYTES))))
        self.assertIn("Tarnel_UARTCollector: Reading COM port failed with error code 5", self.errors_logged())

    def test_port_that_vanishes_is_noticed_without_a_log(self):
        temporary = self.small_temporary_folder()
        running, began = self.vanishes(environment={"TMPDIR": temporary})
        self.is_cut_short(running, rf"{len(BYTES)} bytes: COM\d+ \(\S+\) vanished: is the probe plugged in\?", began)
        self.assertEqual(self.read(self.file("o.bin")), BYTES)

    def test_port_that_vanishes_just_before_the_end_is_noticed_without_a_log(self):
        os.environ["TMPDIR"] = self.small_temporary_folder()
        self.addCleanup(os.environ.pop, "TMPDIR")
        seconds = 2
        for before in (0.2, 0.1):
            number, *ends = self.plug_in()
            running = self.begins(number, "--output", "o.bin", "--force", "--seconds", str(seconds))
            wait_for(lambda: has_open(running, self.capture()), "a capture")
            began = time.monotonic()
            os.write(ends[0], BYTES)
            time.sleep(seconds - before - 0.05)
            self.is_taken_away(number, ends)
            self.is_cut_short(running, rf"{len(BYTES)} bytes: COM\d+ \(\S+\) vanished: is the probe plugged in\?", began)

    def test_port_that_vanishes_once_all_bytes_have_come_is_no_fault(self):
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin", "--bytes", str(len(BYTES)))
        self.sends(ends[0])
        running.send_signal(signal.SIGSTOP)  # mostly before it has looked
        self.unplug(*ends)
        running.send_signal(signal.SIGCONT)
        error = running.communicate(timeout=LIMIT)[1]
        self.assertEqual((running.returncode, error), (0, ""))
        self.assertEqual(self.read(self.file("o.bin")), BYTES)

    def test_port_whose_place_is_taken_at_once_is_noticed_without_a_log(self):
        temporary = self.small_temporary_folder()
        running, began = self.vanishes(environment={"TMPDIR": temporary})
        taken = os.openpty()  # may get the number that has just become free
        for end in taken:
            self.addCleanup(os.close, end)
        self.is_cut_short(running, rf"{len(BYTES)} bytes: COM\d+ \(\S+\) vanished: is the probe plugged in\?", began)

    def test_second_recording_of_a_port_is_refused_and_the_first_goes_on(self):
        number, *ends = self.plug_in()
        first = self.begins(number, "--output", "first.bin", "--bytes", str(2 * len(BYTES)))
        self.sends(ends[0])
        for cpu in ("board/cpu", "board/other"):
            second = self.run_host("record", "--port", str(number), "--cpu", cpu, "--clock", "2304000", "--prescaler", "0",
                                   "--output", "second.bin", "--seconds", "0.2")
            self.assertEqual(second.returncode, 1, second.stderr)
            self.assertTrue(second.stderr.startswith("Failed to open COM port\n"), second.stderr)
            self.assertIn("in use by another program", second.stderr)
            self.assertFalse(os.path.exists(self.file("second.bin")))
        os.write(ends[0], BYTES)
        error = first.communicate(timeout=LIMIT)[1]
        self.assertEqual(first.returncode, 0, error)
        self.assertEqual(self.read(self.file("first.bin")), 2 * BYTES)

    def test_port_that_another_program_holds_exclusively_is_in_use(self):
        number, *ends = self.plug_in()
        fcntl.ioctl(ends[1], termios.TIOCEXCL)
        result = self.run_host(*self.arguments(number, "--output", "o.bin", "--seconds", "0.2"))
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertTrue(result.stderr.startswith("Failed to open COM port\n"), result.stderr)
        self.assertIn("tracehost: in use by another program", result.stderr)
        self.assertIn("in use by another program", self.run_host("doctor", "--port", str(number)).stdout)

    def test_port_that_comes_late_is_waited_for(self):
        number, link = self.port()
        running = self.begins(number, "--output", "o.bin", "--wait-for-port", "60", "--bytes", str(len(BYTES)))
        self.assertIn(f"waiting for COM{number} ({link})", running.stdout.readline())
        _, *ends = self.plug_in()
        self.sends(ends[0])
        _, error = running.communicate(timeout=LIMIT)
        self.assertEqual(running.returncode, 0, error)
        self.assertEqual(self.read(self.file("o.bin")), BYTES)

    def test_port_that_cannot_be_opened_yet_is_waited_for(self):
        number, *ends = self.plug_in()
        fcntl.flock(ends[1], fcntl.LOCK_EX)
        running = self.begins(number, "--output", "o.bin", "--wait-for-port", "60", "--bytes", str(len(BYTES)))
        self.assertIn(f"waiting for COM{number} ({self.links[number]}), which cannot be opened yet", running.stdout.readline())
        fcntl.flock(ends[1], fcntl.LOCK_UN)
        self.sends(ends[0])
        _, error = running.communicate(timeout=LIMIT)
        self.assertEqual(running.returncode, 0, error)
        self.assertEqual(self.read(self.file("o.bin")), BYTES)

    def test_port_that_cannot_be_opened_in_time_is_told_with_the_reason(self):
        number, *ends = self.plug_in()
        fcntl.flock(ends[1], fcntl.LOCK_EX)
        result = self.run_host(*self.arguments(number, "--output", "o.bin", "--wait-for-port", "0.3"))
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertTrue(result.stderr.startswith("Failed to open COM port\ntracehost: in use by another program"), result.stderr)

    def test_port_that_does_not_come_is_told(self):
        number, link = self.port()
        result = self.run_host(*self.arguments(number, "--output", "o.bin", "--wait-for-port", "0.3"))
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn(f"tracehost: COM{number} ({link}) did not come within 0:01: is the probe plugged in?", result.stderr)
        self.assertFalse(os.path.exists(self.file("o.bin")))

    def test_any_port_that_does_not_come_is_told(self):
        result = self.run_host("record", "--clock", "1152000", "--prescaler", "9", "--output", "o.bin", "--wait-for-port", "0.3")
        self.assertEqual((result.returncode, result.stderr), (
            1, 'tracehost: the COM port of a probe did not come within 0:01: is the probe plugged in? "tracehost ports" lists '
            "what is there\n"))

    def test_next_file_that_cannot_be_written_is_a_failure_and_no_wrong_usage(self):
        os.mkdir(self.file("o-2.bin"))
        number, *ends = self.plug_in()
        running = self.begins(number, "--reconnect", "--force", "--output", "o.bin")
        self.sends(ends[0])
        self.is_taken_away(number, ends)
        error = running.communicate(timeout=LIMIT)[1]
        self.assertEqual((running.returncode, error), (
            1, 'tracehost: "o-2.bin" is a folder: name a file in it; what was captured until then is saved in "o.bin"\n'))
        self.assertEqual(self.read(self.file("o.bin")), BYTES)

    def comes_back(self, *more, held=False):
        """A recording whose port goes and comes once, with BYTES before and after. Somebody can hold it for a moment when it
        comes."""
        number, *ends = self.plug_in()
        running = self.begins(number, "--reconnect", *more)
        self.sends(ends[0])
        self.is_taken_away(number, ends)
        time.sleep(0.5)
        self.assertIsNone(running.poll())
        before = os.stat(self.capture())
        for log in self.logs():
            with open(log, "a") as late:  # what the end of the old port brings is no fault of the new one
                late.write("    E 00:00:00:000 | Tarnel_UARTCollector: Reading COM port failed with error code 5\n")
        _, *ends = self.plug_in(held=held)
        if held:
            time.sleep(0.5)
            self.assertEqual((running.poll(), os.path.getsize(self.capture())), (None, len(BYTES)))
            fcntl.flock(ends[1], fcntl.LOCK_UN)
        wait_for(lambda: os.path.getsize(self.capture()) == 0, "the second capture")
        self.assertEqual(os.stat(self.capture()).st_ino, before.st_ino)
        os.write(ends[0], BYTES[::-1])
        self.has(len(BYTES))
        return running, number

    def is_taken_away(self, number, ends):
        """The name first: a terminal's number can be another one's as soon as it is free."""
        os.unlink(self.links[number])
        self.unplug(*ends)

    AWAY = (r"trace was lost while the port was away 1 time\(s\), first after \d+\.\d s and {} bytes: COM\d+ \(\S+\) vanished"
            r" \(error 5: Input/output error\): is the probe plugged in\?").format(len(BYTES))

    def is_told_as_lost(self, running, count=2 * len(BYTES)):
        output, error = running.communicate(timeout=LIMIT)
        self.assertEqual(running.returncode, 3, error)
        self.assertRegex(error, rf"(?m)^tracehost: {self.AWAY}$")
        self.assertIn("The port went away 1 time(s); what the target sent meanwhile is lost:", output)
        self.assertIn(f"Recorded {count} bytes in", output)
        return output

    def test_replugged_port_is_recorded_into_another_file(self):
        running, _ = self.comes_back("--output", "o.bin")
        running.send_signal(signal.SIGINT)
        output = self.is_told_as_lost(running)
        self.assertRegex(output, rf"  part 1  0.0 s to \d+\.\d s  {len(BYTES)} bytes in o\.bin, then COM\d+ .* vanished")
        self.assertRegex(output, rf"  part 2  .* s  {len(BYTES)} bytes in o-2\.bin\n")
        self.assertEqual(self.read(self.file("o.bin")), BYTES)
        self.assertEqual(self.read(self.file("o-2.bin")), BYTES[::-1])
        for name in ("o.bin", "o-2.bin"):
            with open(self.file(name + ".sheet.json")) as file:
                self.assertEqual(json.load(file)["bytes"], len(BYTES))

    def test_late_error_of_the_port_that_went_away_is_none_of_the_one_that_came_back(self):
        self.level = 1
        running, number = self.comes_back("--output", "o.bin")
        time.sleep(0.6)
        running.send_signal(signal.SIGINT)
        output, error = running.communicate(timeout=LIMIT)
        self.assertEqual((running.returncode, output.count(f", then COM{number} ")), (3, 1), error)
        self.assertFalse(os.path.exists(self.file("o-3.bin")))

    def test_replugged_port_that_cannot_be_opened_yet_is_waited_for(self):
        running, _ = self.comes_back("--output", "o.bin", held=True)
        running.send_signal(signal.SIGINT)
        self.is_told_as_lost(running)
        self.assertEqual(self.read(self.file("o-2.bin")), BYTES[::-1])

    def test_replugged_port_is_recorded_into_another_section(self):
        running, _ = self.comes_back("--output", "o.tdf", "--bytes", str(2 * len(BYTES)))
        self.is_told_as_lost(running)
        listed = re.findall(r"BinTraceData|RecordingSheet", self.run_host("info", "o.tdf").stdout)
        self.assertEqual(listed, ["BinTraceData", "RecordingSheet"] * 2)
        first, second = self.sheets("o.tdf")
        for sheet in (first, second):
            self.assertEqual((sheet["bytes"], sheet["arrivals"][-1][1]), (len(BYTES), len(BYTES)))
        self.assertEqual((first["ledger"].get("port-lost"), second.get("ledger", {}).get("port-lost")), (1, None))
        self.assertRegex(first["stop_reason"], "^a fault: COM")
        self.assertEqual(second["stop_reason"], "size")

    def test_replugged_port_stands_in_the_json_object_part_by_part(self):
        running, _ = self.comes_back("--output", "o.bin", "--json", "--quiet")
        running.send_signal(signal.SIGINT)
        output, error = running.communicate(timeout=LIMIT)
        shown = json.loads(output)
        self.assertEqual((running.returncode, shown["status"], shown["end"]), (3, 3, "interrupt"))
        self.assertRegex(shown["problem"], f"^{self.AWAY}$")
        self.assertEqual(error, f"tracehost: {shown['problem']}\n")
        first, second = shown["parts"]
        self.assertEqual([(part["file"], part["bytes"]) for part in (first, second)],
                         [("o.bin", len(BYTES)), ("o-2.bin", len(BYTES))])
        self.assertRegex(first["fault"], r"^COM\d+ \(\S+\) vanished \(error 5: ")
        self.assertLessEqual(first["fault_at"], first["end"])
        self.assertGreater(second["begin"], first["end"] + 0.4)
        self.assertEqual((second["fault"], second["fault_at"]), (None, None))

    def sheets(self, name):
        """Of the sections of a TDF file."""
        with open(self.file(name), "rb") as file:
            parts = file.read().split(b"RecordingSheet")[1:]
        return [json.JSONDecoder().raw_decode(part.decode(errors="replace"))[0] for part in parts]

    def test_port_that_stays_away_ends_with_the_users_wish(self):
        number, *ends = self.plug_in()
        running = self.begins(number, "--reconnect", "--output", "o.bin", "--seconds", "3")
        self.sends(ends[0])
        self.is_taken_away(number, ends)
        output = self.is_told_as_lost(running, len(BYTES))
        self.assertIn(f"waiting for COM{number}", output)
        self.assertRegex(output, rf"  part 1  0.0 s to \d+\.\d s  {len(BYTES)} bytes in o\.bin, then COM\d+ .* vanished")
        self.assertEqual(self.read(self.file("o.bin")), BYTES)
        self.assertFalse(os.path.exists(self.file("o-2.bin")))


@unittest.skipIf(ON_WINE, "needs disks and limits of this system")
class Disk(CutShort):
    def test_full_disk_ends_the_recording_and_what_came_is_saved(self):
        self.disk(self.home, TINY)
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin")
        sent = self.floods(running, ends[0])
        self.is_cut_short(running, rf'{TINY} bytes: the capture file "{re.escape(self.capture())}" takes no more \(error 28: '
                          r"No space left on device; 0 bytes free on its disk\): make room there, or lift the limit on file "
                          "sizes", time.monotonic())
        self.assertEqual(self.read(self.file("o.bin")), sent[:TINY])
        self.unplug(*ends)

    def test_full_disk_is_no_port_that_comes_back(self):
        self.disk(self.home, TINY)
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin", "--reconnect")
        self.floods(running, ends[0])
        self.is_cut_short(running, rf"{TINY} bytes: the capture file .* takes no more \(error 28: .*", time.monotonic())
        self.assertFalse(os.path.exists(self.file("o-2.bin")))
        self.unplug(*ends)

    def test_full_disk_is_noticed_without_a_log(self):
        self.disk(self.home, TINY)
        os.environ["TMPDIR"] = self.small_temporary_folder()
        self.addCleanup(os.environ.pop, "TMPDIR")
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin")
        self.floods(running, ends[0])
        self.is_cut_short(running, rf'{TINY} bytes: the capture file "{re.escape(self.capture())}" takes no more \(the disk is '
                          r"full; 0 bytes free on its disk\): .*", time.monotonic())
        self.unplug(*ends)

    def test_full_disk_that_also_takes_the_saved_file_keeps_the_capture(self):
        self.disk(self.home, TINY)
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", os.path.join(self.home, "o.bin"))
        self.floods(running, ends[0])
        error = running.communicate(timeout=LIMIT)[1]
        self.assertEqual(running.returncode, 1, error)
        self.assertIn("the recording was cut short after", error)
        self.assertIn("is the disk full?", error)
        self.assertIn(f'the bytes captured are still in "{self.capture()}"', error)
        self.assertEqual(os.path.getsize(self.capture()), TINY)
        self.unplug(*ends)

    def test_limit_on_the_size_of_files_ends_the_recording_and_not_the_program(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT, FILE_LIMIT))
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin", preexec_fn=limit)
        self.floods(running, ends[0])
        self.is_cut_short(running, rf"{FILE_LIMIT} bytes: the capture file .* \(error 27: File too large; .*", time.monotonic())
        self.assertEqual(len(self.read(self.file("o.bin"))), FILE_LIMIT)
        self.unplug(*ends)

    def test_limit_on_the_size_of_files_that_the_log_has_reached_too_is_told(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (LOG_LIMIT, LOG_LIMIT))
        self.level = 6
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin", preexec_fn=limit)
        wait_for(lambda: any(os.path.getsize(log) == LOG_LIMIT for log in self.logs()), "a full log")
        os.write(ends[0], 5 * LOG_LIMIT // len(BYTES) * BYTES)
        self.is_cut_short(running, rf"{LOG_LIMIT} bytes: the capture file .* takes no more \(a file may have no more than "
                          rf"{LOG_LIMIT} bytes; .*", time.monotonic())
        self.assertEqual(len(self.read(self.file("o.bin"))), LOG_LIMIT)
        self.unplug(*ends)

    def test_capture_file_that_another_program_removes_is_told(self):
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin")
        self.sends(ends[0])
        wait_for(lambda: self.knows_of_bytes(running), "a look at the capture")
        os.unlink(self.capture())
        output, error = running.communicate(timeout=LIMIT)
        self.assertEqual(running.returncode, 5, error)
        self.assertIn(f'the capture file "{self.capture()}" was removed or shortened', error)
        self.unplug(*ends)

    def test_capture_file_that_is_removed_before_its_first_byte_is_told(self):
        number, *ends = self.plug_in()
        running = self.begins(number, "--output", "o.bin")
        wait_for(running.stdout.readline, "the progress")
        os.unlink(self.capture())
        error = running.communicate(timeout=LIMIT)[1]
        self.assertEqual(running.returncode, 5, error)
        self.assertIn(f' s and 0 bytes: the capture file "{self.capture()}" was removed or shortened', error)
        self.unplug(*ends)

    def knows_of_bytes(self, running):
        return f"{len(BYTES)} bytes" in running.stdout.readline()


if __name__ == "__main__":
    main()
