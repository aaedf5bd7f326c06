"""Where a recording goes, how much of it, what is shown meanwhile, and what a killed one leaves behind."""
import fcntl
import json
import os
import pty
import re
import resource
import signal
import struct
import subprocess
import termios
import time
import unittest

from hosting import BIN, HostTest, LIMIT, ON_WINE, SOURCE, find_process, main, wait_for


class Played(HostTest):
    """Recordings of a counter that plays as long as it takes."""

    def setUp(self):
        super().setUp()
        self.number, self.signal = self.source("--board", self.file("board.json"), "--pattern", "counter")

    def arguments(self, *more):
        return ("record", "--port", str(self.number), "--clock", "1152000", "--prescaler", "9",
                "--fail-on", "never", *more)  # the numbered pattern is no trace

    def record(self, *more, **keywords):
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **keywords}
        return subprocess.run(self.command(*self.arguments(*more)), env=self.environment(), timeout=LIMIT,
                              cwd=self.folder, check=False, **streams)

    def is_done(self, result, status=0):
        self.assertEqual(result.returncode, status, result.stderr)

    def is_what_was_sent(self, data, size):
        self.assertEqual(len(data), size)
        self.signal.end()
        self.assertEqual(data, self.read(self.signal.taken)[:size])


class Size(Played):
    def test_exactly_the_bytes_asked_for_are_saved_raw(self):
        result = self.record("--bytes", "5000", "--output", "o.bin")
        self.is_done(result)
        self.assertIn(b"Recorded 5000 bytes in", result.stdout)
        self.assertGreaterEqual(os.path.getsize(self.capture()), 5000)
        self.is_what_was_sent(self.read(self.file("o.bin")), 5000)

    def test_a_sample_that_was_begun_is_saved_whole(self):
        self.is_done(self.record("--bytes", "1003", "--output", "o.raw"))
        self.is_what_was_sent(self.read(self.file("o.raw")), 1008)

    def test_exactly_the_bytes_asked_for_are_saved_as_a_section(self):
        for count in (1, 2):
            self.is_done(self.record("--bytes", "2000", "--output", "o.tdf"))
            listed = self.run_host("info", "o.tdf")
            self.assertEqual(listed.returncode, 0, listed.stderr)
            self.assertEqual(re.findall(r"^ +\d+ +1 +(\d+)  BinTraceData$", listed.stdout, re.MULTILINE),
                             ["2024"] * count)
        self.is_what_was_sent(self.read(self.file("o.tdf"))[16 + 24:16 + 2024], 2000)


class Replaced(Played):
    def test_existing_file_is_replaced_only_when_forced(self):
        for name in ("o.bin", "o.txt"):
            self.write(name, "precious")
            result = self.record("--bytes", "100", "--output", name, "--format", "raw")
            self.is_done(result, 2)
            self.assertEqual(result.stderr.decode().replace("\r\n", "\n"), f'tracehost: "{name}" exists: give another name, or --force to '
                             "replace it\n")
            self.assertEqual(self.read(self.file(name)), b"precious")
            self.is_done(self.record("--bytes", "100", "--output", name, "--format", "raw", "--force"))
            self.assertEqual(os.path.getsize(self.file(name)), 104)

    def test_file_that_is_to_be_replaced_stays_when_the_start_is_refused(self):
        self.write("o.tdf", "precious")
        self.board["results"] = {"EnableTpiu": 5}
        self.is_done(self.record("--bytes", "100", "--output", "o.tdf", "--force"), 1)
        self.assertEqual(self.read(self.file("o.tdf")), b"precious")

    def test_other_file_in_a_tdf_files_place_is_replaced_when_forced(self):
        self.write("o.tdf", "precious")
        self.is_done(self.record("--bytes", "100", "--output", "o.tdf"), 2)
        self.assertEqual(self.read(self.file("o.tdf")), b"precious")
        self.is_done(self.record("--bytes", "100", "--output", "o.tdf", "--force"))
        self.assertEqual(self.run_host("info", "o.tdf").stdout.count("BinTraceData"), 1)
        self.is_done(self.record("--bytes", "100", "--output", "o.tdf"))
        self.assertEqual(self.run_host("info", "o.tdf").stdout.count("BinTraceData"), 2)
        self.is_done(self.record("--bytes", "100", "--output", "o.tdf", "--force"))
        self.assertEqual(self.run_host("info", "o.tdf").stdout.count("BinTraceData"), 1)

    def test_empty_file_is_no_loss(self):
        self.write("o.bin", "")
        self.is_done(self.record("--bytes", "100", "--output", "o.bin"))

    def test_extension_tells_the_format_unless_told(self):
        for name, more, raw in (("a.bin", (), True), ("a.raw", (), True), ("a.BIN", (), True), ("a.tdf", (), False),
                                ("a", (), False), ("a.swo", (), False), ("b.tdf", ("--format", "raw"), True),
                                ("b.bin", ("--format", "tdf"), False)):
            with self.subTest(name=name):
                self.is_done(self.record("--bytes", "80", "--output", name, *more))
                self.assertEqual(self.read(self.file(name))[:4] != b"KTDF", raw)
                os.unlink(self.file(name))

    def test_folder_is_no_file(self):
        os.mkdir(self.file("folder.tdf"))
        result = self.record("--bytes", "100", "--output", "folder.tdf")
        self.is_done(result, 2)
        self.assertEqual(result.stderr.decode().replace("\r\n", "\n"), 'tracehost: "folder.tdf" is a folder: name a file in it\n')


@unittest.skipIf(ON_WINE, "pipes and devices of this system")
class Streams(Played):
    def test_standard_output_gets_the_bytes_and_standard_error_the_words(self):
        for name in ("-", "/dev/stdout"):
            result = self.record("--bytes", "5000", "--output", name)
            self.is_done(result)
            self.assertEqual(len(result.stdout), 5000)
            self.assertIn(b"Recorded 5000 bytes in", result.stderr)
            self.assertIn(f"saved         {name} (raw, as it came)".encode(), result.stderr)
        self.signal.end()
        self.assertIn(result.stdout, self.read(self.signal.taken))

    def test_bytes_come_while_they_are_recorded(self):
        with subprocess.Popen(self.command(*self.arguments("--output", "-", "--quiet")), env=self.environment(),
                              cwd=self.folder, stdout=subprocess.PIPE, stderr=self.errors) as running:
            data = running.stdout.read(2000)
            self.assertIsNone(running.poll())
            running.send_signal(signal.SIGINT)
            data += running.stdout.read()
            running.wait(LIMIT)
        self.assertEqual((running.returncode, self.read(self.errors.name)), (0, b""))
        self.assertEqual(data, self.read(self.capture()))

    def test_request_to_end_while_a_reader_is_slow_loses_nothing(self):
        with subprocess.Popen(self.command(*self.arguments("--output", "-", "--quiet")), env=self.environment(),
                              cwd=self.folder, stdout=subprocess.PIPE, stderr=self.errors) as running:
            fcntl.fcntl(running.stdout, fcntl.F_SETPIPE_SZ, 4096)
            wait_for(lambda: os.path.exists(self.capture()) and os.path.getsize(self.capture()) > 12_000, "a full pipe")
            running.send_signal(signal.SIGTERM)
            time.sleep(0.2)
            self.assertIsNone(running.poll())
            data = running.stdout.read()
            running.wait(LIMIT)
        self.assertEqual((running.returncode, self.read(self.errors.name)), (0, b""))
        self.assertEqual(data, self.read(self.capture()))

    def test_reader_that_closes_ends_the_recording(self):
        with subprocess.Popen(self.command(*self.arguments("--output", "-")), env=self.environment(), cwd=self.folder,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as running:
            self.assertEqual(len(running.stdout.read(100)), 100)
            running.stdout.close()
            error = running.stderr.read().decode()
            running.wait(LIMIT)
        self.assertEqual(running.returncode, 0, error)
        self.assertIn('The reader of "-" closed it: the recording ended there.', error)

    def test_devices_and_fifos_are_written(self):
        self.is_done(self.record("--bytes", "1000", "--output", "/dev/null"))
        fifo = self.file("fifo")
        os.mkfifo(fifo)
        reader = os.open(fifo, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        self.is_done(self.record("--bytes", "3000", "--output", "fifo"))
        self.assertEqual(len(os.read(reader, 10000)), 3000)

    def test_fifo_without_a_reader_is_refused(self):
        os.mkfifo(self.file("fifo"))
        result = self.record("--bytes", "1000", "--output", "fifo")
        self.is_done(result, 2)
        self.assertEqual(result.stderr.decode().replace("\r\n", "\n"), 'tracehost: "fifo" cannot be written: nobody reads it\n')

    def test_sections_need_a_file_on_a_disk(self):
        result = self.record("--bytes", "1000", "--output", "-", "--format", "tdf")
        self.is_done(result, 2)
        self.assertIn(b'"-" takes the captured bytes alone, not the sections of a TDF file', result.stderr)

    def test_full_device_cuts_the_recording_short(self):
        result = self.record("--output", "/dev/full")
        self.is_done(result, 5)
        self.assertRegex(result.stderr.decode(), r'tracehost: the recording was cut short after \d\.\d s and \d+ bytes: '
                         r'"/dev/full" '
                         r"cannot be written \(No space left on device\): is the disk full\?; the bytes captured are still in "
                         rf'"{re.escape(self.capture())}"\n\Z')
        result = self.record("--output", "/dev/full", "--json", "--quiet")
        self.is_done(result, 5)
        shown = json.loads(result.stdout)
        self.assertEqual((shown["status"], shown["end"]), (5, "output-full"))
        self.assertIn("is the disk full?", shown["parts"][0]["fault"])

    def test_capture_file_is_no_output(self):
        for more in ((), ("--force",), ("--format", "tdf")):
            with self.subTest(more=more):
                os.makedirs(os.path.dirname(self.capture()), exist_ok=True)
                result = self.record("--bytes", "1000", "--output", self.capture(), *more)
                self.is_done(result, 2)
                self.assertEqual(result.stderr.decode(), f'tracehost: "{self.capture()}" is the file in which the plug-in keeps '
                                 "what it captures: give another name\n")
                self.assertFalse(os.path.exists(self.capture()))
        self.is_done(self.record("--bytes", "1000", "--output", "o.bin"), 0)
        before = self.read(self.capture())
        os.link(self.capture(), self.file("link.bin"))
        self.is_done(self.record("--bytes", "1000", "--output", "link.bin", "--force"), 2)
        self.assertEqual(self.read(self.capture()), before)


@unittest.skipIf(ON_WINE, "needs a terminal of this system")
class Shown(Played):
    def on_terminal(self, *more, words=None, columns=80, keys=b"", keys_after=b""):
        """What a terminal is shown of a recording, or of other words, and the exit status. Keys are pressed once `keys_after`
        was shown."""
        pid, terminal = pty.fork()
        if pid == 0:
            try:
                fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 25, columns, 0, 0))
                os.chdir(self.folder)
                command = self.command(*(words or self.arguments(*more)))
                os.execve(command[0], command, self.environment())
            finally:
                os._exit(99)
        shown = b""
        while True:
            try:
                block = os.read(terminal, 4096)
            except OSError:
                break
            if not block:
                break
            shown += block
            if keys and keys_after in shown:
                os.write(terminal, keys)
                keys = b""
        os.close(terminal)
        return shown.decode(), os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])

    def test_line_fits_into_a_narrow_terminal(self):
        for columns in (80, 40, 30, 20, 12):
            with self.subTest(columns=columns):
                shown, status = self.on_terminal("--seconds", "0.6", "--output", f"{columns}.bin", columns=columns)
                self.assertEqual(status, 0, shown)
                lines = shown.split("\r\n")[0].split("\r")[1:]
                self.assertGreaterEqual(len(lines), 2)
                for line in lines[:-1]:
                    self.assertLess(len(line.rstrip()), columns - 2)

    def test_interrupt_leaves_no_trace_in_the_line(self):
        shown, status = self.on_terminal("--output", "o.bin", keys=b"\x03", keys_after=b"bytes/s")
        self.assertEqual(status, 0, shown)
        self.assertIn("^C", shown)
        screen = []
        at = 0
        for character in shown.split("\r\n")[0]:
            if character == "\r":
                at = 0
                continue
            screen[at:at + 1] = character
            at += 1
        self.assertRegex("".join(screen), r"^\d.*Ctrl-C stops and saves +lost: 0 overflows, \d+ damaged *$")

    def test_interrupted_wait_is_told_on_a_line_of_its_own(self):
        shown, status = self.on_terminal(words=("record", "--port", "77", "--clock", "1M", "--prescaler", "0", "--output",
                                                "o.bin", "--wait-for-port", "60"), keys=b"\x03", keys_after=b"waiting for COM77")
        self.assertEqual(status, 1, shown)
        self.assertTrue(shown.endswith("\r\ntracehost: interrupted before the recording began: nothing was captured\r\n"), shown)

    def test_time_left_is_no_second_when_it_is_less(self):
        shown, status = self.on_terminal("--seconds", "0.5", "--output", "o.bin")
        self.assertEqual(status, 0, shown)
        self.assertNotIn("0:01 left", shown)
        self.assertRegex(shown, r"0\.\d s left")

    def test_control_characters_of_names_are_shown_escaped(self):
        name = "two\nlines \x1b[31mred.bin"
        shown = "two\\nlines \\x1B[31mred.bin"
        result = self.record("--bytes", "1000", "--output", name)
        self.assertIn(f"  saved         {shown} (raw)\n", result.stdout.decode())
        for command in ("report", "diagnose"):
            self.assertTrue(self.run_host(command, name).stdout.startswith(shown + ": "), command)
        self.assertIn(f'"{shown}" exists', self.run_host("record", "--demo", "--output", name).stderr)
        self.assertIn(shown, self.run_host("decode", name).stderr)

    def test_quiet_shows_nothing(self):
        shown, status = self.on_terminal("--seconds", "0.3", "--quiet", "--output", "o.bin")
        self.assertEqual((shown, status), ("", 0))
        self.assertGreater(os.path.getsize(self.file("o.bin")), 0)


@unittest.skipIf(ON_WINE, "the demonstration's signal needs pseudo-terminals")
class Demo(HostTest):
    def setUp(self):
        super().setUp()
        self.temporary = self.file("tmp")
        os.mkdir(self.temporary)

    def environment(self):
        return dict(super().environment(), TMPDIR=self.temporary)

    def test_demo_plays_at_two_megabaud(self):
        result = self.run_host("record", "--demo", "--seconds", "0.5", "--output", "demo.bin")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("baud rate     2000000", result.stdout)
        self.assertLess(os.path.getsize(self.file("demo.bin")), 2_000_000)
        self.assertEqual((result.stderr, os.listdir(self.temporary)), ("", []))

    def test_bytes_that_the_demonstration_loses_are_told(self):
        folder = self.file("programs")
        os.mkdir(folder)
        for name in os.listdir(BIN):
            if name == "tracehost" or name.startswith("lib"):
                os.symlink(os.path.join(BIN, name), os.path.join(folder, name))
        # A copy, so that it looks for swosource beside itself.
        os.unlink(os.path.join(folder, "tracehost"))
        with open(os.path.join(BIN, "tracehost"), "rb") as source, open(os.path.join(folder, "tracehost"), "wb") as copy:
            copy.write(source.read())
        self.write("programs/swosource", f'#!/bin/sh\nexec "{SOURCE}" "$@" --probe-buffer 16\n')
        for name in ("tracehost", "swosource"):
            os.chmod(os.path.join(folder, name), 0o755)
        environment = dict(self.environment(), LD_LIBRARY_PATH=BIN)
        result = subprocess.run([os.path.join(folder, "tracehost"), "record", "--demo", "--seconds", "0.5", "--output",
                                 "demo.bin"], env=environment, capture_output=True, text=True, timeout=LIMIT,
                                cwd=self.folder, check=False)
        # What so many holes leave may be no trace any more.
        self.assertIn(result.returncode, (3, 4), result.stderr)
        self.assertRegex(result.stderr, r"^tracehost: trace was lost: the simulated probe had to drop \d+ bytes, because its "
                         r"port was not read in time\n")
        dropped = re.search(r"had to drop (\d+) bytes", result.stderr)[1]
        self.assertIn(f"  dropped       {dropped} bytes, by the simulated probe: its port was not read in time\n", result.stdout)

    def ends_by(self, *signals):
        """A demonstration that is killed. Its signal ends as well, and the next start sweeps what it left."""
        running = subprocess.Popen(self.command("record", "--demo", "--output", "killed.bin"), env=self.environment(),
                                   cwd=self.folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        signal_source = wait_for(lambda: find_process("swosource", self.folder), "the signal")
        wait_for(lambda: os.path.exists(self.capture()) and os.path.getsize(self.capture()), "a capture")
        os.kill(running.pid, signal.SIGSTOP)  # so that the first one is not answered in between
        for number in signals:
            os.kill(running.pid, number)
        os.kill(running.pid, signal.SIGCONT)
        running.wait(LIMIT)
        wait_for(lambda: not alive(signal_source), "the end of the signal")
        return running.returncode

    def test_killed_demonstration_leaves_no_program_and_its_folder_is_swept(self):
        self.assertEqual(self.ends_by(signal.SIGKILL), -signal.SIGKILL)
        left = os.listdir(self.temporary)
        self.assertEqual(len(left), 1)
        foreign = os.path.join(self.temporary, "tracehost-of-another-kind")
        os.mkdir(foreign)
        self.assertEqual(self.run_host("record", "--demo", "--seconds", "0.1", "--output", "o.bin").returncode, 0)
        self.assertEqual(os.listdir(self.temporary), ["tracehost-of-another-kind"])

    @unittest.skipIf("thread" in os.environ.get("TARNEL_SANITIZE", ""),
                     "the thread sanitizer keeps signals back while a call of the system blocks")
    def test_second_sigterm_leaves_no_program_and_its_folder_is_swept(self):
        """The first one is not answered: nobody reads what is written."""
        running = subprocess.Popen(self.command("record", "--demo", "--output", "-"), env=self.environment(),
                                   cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.started.append(Ended(running))
        self.addCleanup(running.stdout.close)
        signal_source = wait_for(lambda: find_process("swosource", self.folder), "the signal")
        wait_for(lambda: os.path.exists(self.capture()) and os.path.getsize(self.capture()) > 200_000, "a full pipe")
        running.send_signal(signal.SIGTERM)
        time.sleep(0.7)
        self.assertIsNone(running.poll())
        running.send_signal(signal.SIGTERM)
        self.assertEqual(running.wait(LIMIT), -signal.SIGTERM)
        wait_for(lambda: not alive(signal_source), "the end of the signal")
        self.assertEqual(len(os.listdir(self.temporary)), 1)
        self.assertEqual(self.run_host("record", "--demo", "--seconds", "0.1", "--output", "o.bin").returncode, 0)
        self.assertEqual(os.listdir(self.temporary), [])

    def test_signal_that_comes_twice_at_once_is_one_wish(self):
        """As timeout(1) sends it: to the program and to its group."""
        for number in (signal.SIGTERM, signal.SIGINT):
            running = subprocess.Popen(self.command("record", "--demo", "--force", "--output", "o.bin"), text=True,
                                       env=self.environment(), cwd=self.folder, stdout=subprocess.PIPE)
            wait_for(lambda: os.path.exists(self.capture()) and os.path.getsize(self.capture()), "a capture")
            for _ in range(20):
                running.send_signal(number)
                time.sleep(0.0005)
            output, _ = running.communicate(timeout=LIMIT)
            self.assertIn(running.returncode, (0, 3))
            self.assertIn("\nRecorded ", output)
            self.assertGreater(os.path.getsize(self.file("o.bin")), 0)
            os.unlink(self.capture())

    def test_limit_on_the_size_of_files_leaves_no_program_and_no_folder(self):
        result = subprocess.run(self.command("record", "--demo", "--seconds", "60", "--output", "o.bin"), text=True,
                                env=self.environment(), cwd=self.folder, capture_output=True, timeout=LIMIT, check=False,
                                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (60_000, 60_000)))
        self.assertEqual(result.returncode, 5, result.stderr)
        self.assertIn("takes no more (error 27: File too large; ", result.stderr)
        self.assertEqual(os.path.getsize(self.file("o.bin")), 60_000)
        self.assertIsNone(find_process("swosource", self.folder))
        self.assertEqual(os.listdir(self.temporary), [])

    def test_sigxfsz_ends_neither_recording_nor_signal(self):
        running = subprocess.Popen(self.command("record", "--demo", "--quiet", "--output", "o.bin"), env=self.environment(),
                                   cwd=self.folder)
        self.started.append(Ended(running))
        signal_source = wait_for(lambda: find_process("swosource", self.folder), "the signal")
        wait_for(lambda: os.path.exists(self.capture()) and os.path.getsize(self.capture()), "a capture")
        running.send_signal(signal.SIGXFSZ)
        before = os.path.getsize(self.capture())
        wait_for(lambda: os.path.getsize(self.capture()) > before + 1000, "more of the capture")
        running.send_signal(signal.SIGTERM)
        self.assertIn(running.wait(LIMIT), (0, 3))
        self.assertFalse(alive(signal_source))
        self.assertEqual(os.listdir(self.temporary), [])

    def test_signal_that_ends_by_itself_is_told_as_a_vanished_port(self):
        running = subprocess.Popen(self.command("record", "--demo", "--output", "o.bin"), env=self.environment(), text=True,
                                   cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.started.append(Ended(running))
        signal_source = wait_for(lambda: find_process("swosource", self.folder), "the signal")
        wait_for(lambda: os.path.exists(self.capture()) and os.path.getsize(self.capture()), "a capture")
        os.kill(signal_source, signal.SIGXFSZ)
        _, error = running.communicate(timeout=LIMIT)
        self.assertEqual(running.returncode, 5, error)
        self.assertRegex(error, r"bytes: COM1 \(\S+\) (vanished|could not be read any more)")
        self.assertEqual(os.listdir(self.temporary), [])

    def test_folder_of_a_living_recording_is_left_alone(self):
        running = subprocess.Popen(self.command("record", "--demo", "--output", "o.bin"), env=self.environment(),
                                   cwd=self.folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.started.append(Ended(running))
        folder, = wait_for(lambda: os.listdir(self.temporary), "the folder")
        wait_for(lambda: os.path.exists(os.path.join(self.temporary, folder, "in-use")), "its mark")
        self.run_host("record", "--port", "77", "--clock", "1M", "--prescaler", "0", "--output", "other.bin")
        self.assertEqual(os.listdir(self.temporary), [folder])


class Ended:
    """A program that a test leaves running."""

    def __init__(self, process):
        self.process = process

    def end(self):
        self.process.kill()
        self.process.wait()


def alive(pid):
    try:
        with open(f"/proc/{pid}/stat") as stat:
            return stat.read().rsplit(")", 1)[1].split()[0] != "Z"
    except OSError:
        return False


if __name__ == "__main__":
    main()
