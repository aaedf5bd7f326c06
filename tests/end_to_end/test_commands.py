"""tracehost's own commands, as a person uses them."""
import json
import os
import pty
import re
import shutil
import signal
import struct
import subprocess
import time
import unittest

from hosting import BIN, LIMIT, HostTest, ON_WINE, find_process, main, wait_for

DOCS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs")


class Commands(HostTest):
    def fails(self, status, text, *arguments, stdin=""):
        result = self.run_host(*arguments, text=stdin)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertIn(text, result.stderr)
        return result

    def test_every_command_has_help_with_an_example(self):
        for command in re.findall(r"^  ([a-z]+)  ", self.run_host("--help").stdout.split("Subcommands:")[1], re.MULTILINE):
            result = self.run_host(command, "--help")
            self.assertEqual(result.returncode, 0)
            self.assertIn("Example", result.stdout)
            self.assertEqual("--plugin" in result.stdout, command not in ("help", "completion"))
            self.assertEqual(self.run_host("help", command).stdout, result.stdout)

    def test_wrong_usage_is_status_2(self):
        self.fails(2, 'a command is missing: see "tracehost --help"')
        self.fails(2, '"nonsense" is no command', "nonsense")
        self.fails(2, "--port cannot be given with --options", "record", "--port", "1", "--options", "x")
        self.fails(2, "--demo brings its own board", "record", "--demo", "--port", "1")
        self.fails(2, "--demo brings its own port, which an options file cannot name", "record", "--demo", "--options",
                   "x")

    def test_number_that_is_none_or_out_of_bounds_is_refused_in_one_style(self):
        time = "give a time from 1 ms to 30 d, such as 10s, 500ms, 2min or 1h"
        size = "give a size from 1 B to 34359738360 B, such as 10k, 1.5MB or 4MiB"
        clock = "give auto or a frequency from 1 Hz to 4 GHz, such as 48000000, 48M or 32.768kHz"
        prescaler = "give auto or a number from 0 to 8191"
        for option, form, values in (("--seconds", time, ("0", "nan", "inf", "-1", "1e300", "ten", "2592000.1")),
                                     ("--bytes", size, ("0", "nan", "-5", "1.5", "5x", "34359738361")),
                                     ("--clock", clock, ("fast", "nan", "1e300", "0", "-1", "48mHz")),
                                     ("--prescaler", prescaler, ("8192", "nan", "-1", "1.5", "Auto")),
                                     ("--timestamp-prescale", "give 1, 4, 16 or 64", ("5", "nan", "4.0")),
                                     ("--format", "give tdf or raw", ("xml", "TDF"))):
            for value in values:
                with self.subTest(option=option, value=value):
                    result = self.run_host("record", "--port", "1", option, value)
                    self.assertEqual((result.returncode, result.stderr),
                                     (2, f'tracehost: {option} "{value}": {form}\n'))

    def test_words_that_are_no_options_are_refused_with_the_help_to_read(self):
        for arguments, text in ((("record", "--sekonds", "1"), 'see "tracehost record --help"'),
                                (("info",), 'see "tracehost info --help"'),
                                (("--frob",), 'see "tracehost --help"')):
            with self.subTest(arguments):
                result = self.run_host(*arguments)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertRegex(result.stderr, f"^tracehost: .*: {text}\n$")

    def test_exit_statuses_are_the_same_in_help_document_and_man_page(self):
        shown = re.findall(r"^  (\d)  (.*)$", self.run_host("--help").stdout, re.MULTILINE)
        self.assertEqual([int(status) for status, _ in shown], [0, 1, 2, 3, 4, 5])
        with open(os.path.join(DOCS, "exit-status.md")) as file:
            self.assertEqual(re.findall(r"^\| (\d) \| (.*) \|$", file.read(), re.MULTILINE), shown)
        with open(os.path.join(DOCS, "tracehost.1")) as file:
            section = file.read().split(".SH EXIT STATUS\n")[1].split(".SH ")[0].replace("\\-", "-")
        self.assertEqual(re.findall(r"^\.B (\d)\n(.*)$", section, re.MULTILINE), shown)

    def test_script_stops_at_a_line_that_is_no_command(self):
        result = self.fails(2, "line 3: \"alocate\" is no command", "script", "-", stdin="create\n\nalocate x\ncpus\n")
        self.assertEqual(len(result.stdout.splitlines()), 1)
        self.fails(2, "line 1: wrong number of arguments: allocate CPU", "script", "-", stdin="allocate\n")
        self.fails(2, "line 1: a double quote is not closed", "script", "-", stdin='find "x\n')
        self.fails(2, "is no number from 0 to 131072", "script", "-",
                   stdin="create\nallocate board/cpu\nread board/cpu 0 131073\n")

    def test_script_without_a_board_has_the_board_of_a_recording(self):
        result = self.run_host("script", "-", text="create\nallocate board/cpu\ndestroy\n", board=False)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual([json.loads(line)["ok"] for line in result.stdout.splitlines()], [True] * 3)

    def test_example_of_the_scripts_help_works_as_it_stands(self):
        example = re.search(r"printf '(.*)' \| tracehost script -", self.run_host("script", "--help").stdout).group(1)
        result = self.run_host("script", "-", text=example.replace("\\n", "\n"), board=False)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual([json.loads(line)["ok"] for line in result.stdout.splitlines()], [True] * 3)

    def test_strict_script_ends_at_the_first_answer_that_is_not_ok(self):
        lines = "create\n\nrelease y\ncpus\n"
        self.assertEqual(len(self.run_host("script", "-", text=lines).stdout.splitlines()), 3)
        result = self.fails(1, "standard input, line 3: \"release\" was refused: no driver is allocated", "script", "--strict",
                            "-", stdin=lines)
        self.assertEqual(len(result.stdout.splitlines()), 2)
        self.assertFalse(json.loads(result.stdout.splitlines()[1])["ok"])
        self.assertEqual(self.run_host("script", "--strict", "-", text="create\ndestroy\n").returncode, 0)

    def test_folder_is_no_script(self):
        self.fails(2, "cannot be opened: ", "script", self.host_path(self.folder))

    def test_control_characters_in_messages_are_shown_escaped(self):
        result = self.fails(2, r'line 1: "\x1B[31mred" is no command', "script", "-", stdin="\x1b[31mred\n")
        self.assertNotIn("\x1b", result.stderr)
        if not ON_WINE:
            result = self.fails(2, r'script "a\nb\x07" cannot be opened', "script", "a\nb\x07")
            self.assertEqual(len(result.stderr.splitlines()), 1)

    def test_script_file_gives_one_answer_per_command(self):
        path = self.write("s.txt", "# comment\ncreate\ncpus # now\n\ndestroy\n")
        result = self.run_host("script", path)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout.splitlines(), [
            '{"line":2,"command":"create","ok":true,"receiver":"r1"}',
            '{"line":3,"command":"cpus","ok":true,"count":0,"names":[]}',
            '{"line":5,"command":"destroy","ok":true,"receiver":"r1"}'])
        self.fails(2, "cannot be opened", "script", "none.txt")

    def test_answers_stand_alone_on_standard_output_at_every_log_level(self):
        self.level = 6
        result = self.run_host("script", "-", text="create\ncpus\ndestroy\n")
        self.assertEqual(len(result.stdout.splitlines()), 3)
        self.assertIn("Tarnel_Receiver: Created SWO receiver", result.stderr)

    def test_unknown_board_key_is_named(self):
        self.board["jurnal"] = "x"
        self.fails(2, '"jurnal" is an unknown key', "record", "--port", "1", "--clock", "1000")
        answer = self.host().ask("board results.Enable 1")
        self.assertFalse(answer["ok"])
        self.assertNotIn("severity", answer)

    def test_missing_plug_in_is_named(self):
        self.fails(1, 'cannot load "nowhere"', "record", "--plugin", "nowhere", "--port", "1", "--clock", "1000")

    def test_options_file_that_cannot_be_written_is_named(self):
        result = self.fails(1, ": none/x.xml; is its folder there, and may you write into it?\n", "options", "--output",
                            "none/x.xml")
        self.assertTrue(result.stderr.startswith("Cannot open file for writing.\ntracehost: "), result.stderr)

    def test_plug_in_refusal_stands_as_it_is_and_leaves_no_file(self):
        result = self.fails(1, "connect the probe", "record", "--port", "59", "--clock", "115200", "--output", "x.tdf")
        self.assertTrue(result.stderr.startswith("Failed to open COM port\ntracehost: "), result.stderr)
        self.assertFalse(os.path.exists(self.file("x.tdf")))

    def test_output_that_cannot_be_written_is_refused_before_recording(self):
        for plugin in ([], ["--plugin", self.host_path(self.file("none"))]):  # which is not even loaded
            self.fails(2, "cannot be written", "record", *plugin, "--port", "59", "--clock", "1000", "--output",
                       "none/x.tdf")
        self.write("text.txt", "this is no TDF file, and must not become one")
        self.fails(2, "is no TDF file of this host", "record", "--port", "59", "--clock", "1000", "--output", "text.txt")

    def test_standard_output_that_cannot_be_written_is_told(self):
        self.write("raw.bin", "x")
        full = "cannot be written: is the disk full"
        for arguments in (("info", "raw.bin"), ("ports",), ("options",), ("--help",), ("--version",),
                          ("record", "--help"), ("script", "-")):
            with self.subTest(arguments), open("/dev/full", "w") as output:
                result = subprocess.run(self.command(*arguments), env=self.environment(), input="create\n", text=True,
                                        stdout=output, stderr=subprocess.PIPE, timeout=120, cwd=self.folder)
                self.assertEqual((result.returncode, result.stderr.count(full)), (1, 1), result.stderr)

    @unittest.skipIf(ON_WINE, "needs /dev/full")
    def test_options_file_on_a_full_disk_is_told(self):
        self.fails(1, '"/dev/full" could not be written whole', "options", "--output", "/dev/full")

    def test_script_line_without_an_end_is_refused_before_it_is_read_whole(self):
        with subprocess.Popen(self.command("script", "-"), env=self.environment(), stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.folder) as running:
            running.stdin.write(b"x" * 70000)  # and no line end, nor the end of the input
            running.stdin.flush()
            error = running.stderr.read().decode()
        self.assertEqual(running.returncode, 2)
        self.assertIn("line 1: the line is longer than 65536 bytes", error)

    def test_options_are_shown_and_written(self):
        result = self.run_host("options", "--output", "o.xml")
        self.assertEqual(result.returncode, 0)
        self.assertIn("TSPRESCALAR", result.stdout)
        self.assertIn(b"<ENCTYPE>UART</ENCTYPE>", self.read(self.file("o.xml")))

    def test_options_with_the_settings_of_a_recording_write_a_file_that_records_as_it_is(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        result = self.run_host("options", "--port", str(number), "--clock", "1.152M", "--prescaler", "9",
                               "--timestamp-prescale", "16", "--firmware", "1.0.0.7", "--output", "o.xml", board=False)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for line in ("<RCVRFWVER>firmware 1.0.0.7<", "<PRESCALAR>Manual<", "<PRESCALARVAL>9<", "<CLKFREQ>Manual<",
                     "<CLKFREQVAL>1152000<", f"<COMPORT>{number}<", "<TSPRESCALAR>16<"):
            self.assertIn(line, self.read(self.file("o.xml")).decode())
        result = self.run_host("record", "--options", "o.xml", "--bytes", "100", "--output", "o.tdf", "--fail-on", "never")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("baud rate     115200", result.stdout)

    def test_options_without_settings_say_what_is_to_be_filled_in(self):
        result = self.run_host("options", "--output", "o.xml", board=False)
        self.assertEqual(result.returncode, 0)
        told = re.findall(r'^tracehost: "o.xml": to be filled in: (\w+): .+$', result.stderr, re.MULTILINE)
        self.assertEqual(told, ["RCVRFWVER", "PRESCALAR", "CLKFREQ", "COMPORT"])
        told = self.run_host("options", "--output", "p.xml").stderr  # with a board, whose clock can be read
        self.assertEqual(re.findall(r"to be filled in: (\w+): ", told), ["RCVRFWVER", "COMPORT"])
        self.assertEqual(self.run_host("options").stderr, "")

    def test_options_replace_no_file_unasked(self):
        self.write("o.xml", "mine")
        self.fails(2, '"o.xml" exists: give --force to replace it', "options", "--output", "o.xml")
        self.assertEqual(self.read(self.file("o.xml")), b"mine")
        self.assertEqual(self.run_host("options", "--output", "o.xml", "--force").returncode, 0)
        self.assertIn(b"CHANNEL-SETUP", self.read(self.file("o.xml")))

    def test_options_as_json(self):
        result = self.run_host("options", "--port", "7", "--json", "--output", "o.xml", board=False)
        shown = json.loads(result.stdout)
        self.assertEqual(list(shown), ["file", "options", "missing"])
        self.assertEqual(shown["file"], "o.xml")
        self.assertEqual([option["key"] for option in shown["options"]], [
            "RCVRFWVER", "ENCTYPE", "PRESCALAR", "PRESCALARVAL", "CLKFREQ", "CLKFREQVAL", "COMPORT", "TSPRESCALAR"])
        self.assertEqual(shown["options"][6], {"id": 6, "key": "COMPORT", "value": "7", "choices":
                                               shown["options"][6]["choices"]})
        self.assertEqual([missing["key"] for missing in shown["missing"]], ["PRESCALAR", "CLKFREQ"])
        self.assertIsNone(json.loads(self.run_host("options", "--json").stdout)["file"])

    def test_clock_or_prescaler_that_nobody_can_find_out_is_refused_naming_both(self):
        for arguments in ((), ("--clock", "48M"), ("--prescaler", "9"), ("--clock", "auto", "--prescaler", "9"),
                          ("--clock", "48M", "--prescaler", "auto")):
            with self.subTest(arguments):
                result = self.run_host("record", "--port", "5", *arguments, "--output", "o.tdf", board=False)
                self.assertEqual(result.returncode, 2)
                self.assertTrue(result.stderr.startswith("tracehost: --clock and --prescaler are needed, both: "),
                                result.stderr)
                self.assertFalse(os.path.exists(self.file("o.tdf")))
        for key in ("PRESCALAR", "CLKFREQ"):
            options = self.options(COMPORT=5, **{key: "Auto"})
            result = self.run_host("record", "--options", options, "--output", "o.tdf", board=False)
            self.assertEqual(result.returncode, 2)
            self.assertIn(f'"{options}": {key} must be Manual', result.stderr)

    def test_ports_are_listed(self):
        result = self.run_host("ports")
        self.assertEqual(result.returncode, 0)
        self.assertIn("All port devices:", result.stdout)

    @unittest.skipIf(ON_WINE, "ports have numbers alone there")
    def test_ports_that_the_environment_names_are_listed_with_why_they_are_not_taken(self):
        os.symlink("/dev/ptmx", self.file("terminal"))
        self.links = {7: self.file("terminal"), 12: self.file("gone")}
        lines = self.run_host("ports").stdout.splitlines()
        at = next(i for i, line in enumerate(lines) if line.startswith("COM7 "))
        self.assertEqual(lines[at].split(maxsplit=2)[1:], [self.file("terminal"), "named by KORR_TRACE_COM7"])
        self.assertEqual(lines[at + 1].strip(),
                         "not taken by itself: named by the environment alone; --port 7 takes it")
        self.assertRegex(lines[at + 3], "but No such file or directory; connect the probe, or correct the variable "
                         "KORR_TRACE_COM12, which names this device$")
        shown = json.loads(self.run_host("ports", "--json").stdout)["ports"]
        port, = [port for port in shown if port["number"] == 7]
        self.assertEqual(list(port), ["number", "device", "name", "probe", "environment", "default", "looked_at", "problem",
                                      "advice", "why"])
        self.assertEqual((port["device"], port["environment"], port["default"], port["looked_at"]),
                         (self.file("terminal"), True, False, True))

    @unittest.skipIf(ON_WINE, "ports have numbers alone there")
    def test_port_can_be_a_number_a_com_name_or_a_device(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        device = self.links[number]
        for port, unset in ((str(number), False), (f"COM{number}", False), (f"com{number}", False), (device, False),
                            (device, True)):
            with self.subTest(port=port, unset=unset):
                environment = self.environment()
                if unset:
                    del environment[f"KORR_TRACE_COM{number}"]
                result = subprocess.run(self.command("record", "--port", port, "--clock", "1152000", "--prescaler", "9",
                                                     "--bytes", "100", "--output", "o.tdf", "--fail-on", "never"),
                                        env=environment, text=True,
                                        capture_output=True, timeout=120, cwd=self.folder)
                self.assertEqual(result.returncode, 0, result.stderr)

    def test_port_that_is_none_is_refused(self):
        for text in ("x", "COM", "COMx", "-1", "70000", "1.5", "5x", "ttyACM5"):
            with self.subTest(text):
                self.fails(2, f'--port "{text}": give a number from 0 to 65535, COM5 or, on Linux, a device such as '
                           "/dev/ttyACM5", "record", "--port", text)

    def test_firmware_version_that_is_none_is_refused(self):
        for text in ("1.0", "1.0.0.256", "1.0.0.8.1", "fw 1.0.0.8", "1..0.8", "a.b.c.d", "1.0.0.", "1000.0.0.8"):
            with self.subTest(text):
                self.fails(2, f'--firmware "{text}": give four numbers from 0 to 255 with dots', "record", "--firmware",
                           text)

    def test_log_level_that_the_plug_in_does_not_take_is_told(self):
        for level, meant in (("7", "logs nothing"), ("-1", "logs nothing"), ("loud", "logs nothing"), ("5x", "takes it for 5"),
                             ("99999999999999999999", "logs nothing"), (" 3", "takes it for 3")):
            with self.subTest(level):
                self.level = level
                result = self.run_host("script", "-", text="create\n")
                self.assertEqual((result.returncode, len(result.stdout.splitlines())), (0, 1))
                self.assertIn(f'tracehost: KORR_TRACE_LOGGING "{level}" is no level from 0 to 6: the plug-in {meant}\n',
                              result.stderr)
        for level in range(7):
            self.level = level
            self.assertNotIn("is no level", self.run_host("script", "-", text="create\n").stderr)

    def test_version_tells_commit_and_the_plug_ins_file_and_version(self):
        version = self.run_host("version")
        self.assertEqual(version.returncode, 0)
        own, plugin = version.stdout.splitlines()
        text = re.fullmatch(r"tracehost (\d+\.\d+\.\d+ \((?:[0-9a-f]{7,}(?:-dirty)?|unknown)\))", own).group(1)
        if os.path.exists(os.path.join(DOCS, "..", ".git")):
            self.assertNotIn("unknown", text)
        self.assertRegex(plugin, "^plug-in   " + re.escape(text) + r", .*Tarnel\.(so|dll)$")
        for flag in ("--version", "-V"):
            self.assertEqual(self.run_host(flag).stdout, version.stdout)
        self.assertIn('plug-in   cannot load "nowhere": ', self.run_host("version", "--plugin", "nowhere").stdout)

    def test_info_as_json(self):
        self.write("raw.bin", "x" * 13)
        self.assertEqual(json.loads(self.run_host("info", "raw.bin", "--json").stdout),
                         {"file": "raw.bin", "format": "raw", "bytes": 13, "samples": 2})
        section = struct.pack("<III", 20, 1, 4) + b"name" + b"data"
        with open(self.file("o.tdf"), "wb") as out:
            out.write(b"KTDF" + struct.pack("<III", 1, 16, 0) + section + b"more")
        result = self.fails(1, "is damaged at offset 36", "info", "--json", "o.tdf")
        self.assertEqual(json.loads(result.stdout), {
            "file": "o.tdf", "format": "tdf", "bytes": 40, "sections": [
                {"offset": 16, "version": 1, "length": 20, "name": "name"}],
            "damage": "at offset 36: the file ends within a section header"})

    def test_info_shows_raw_and_damaged_files(self):
        self.write("raw.bin", "x" * 13)
        self.assertIn("raw file, 13 bytes (2 samples of 8 bytes)", self.run_host("info", "raw.bin").stdout)
        with open(self.file("bad.tdf"), "wb") as out:
            out.write(b"KTDF" + struct.pack("<III", 1, 16, 0) + struct.pack("<III", 0xFFFFFFFF, 1, 4) + b"name")
        self.fails(1, "is damaged at offset 16: the section is longer than the rest of the file", "info", "bad.tdf")
        self.fails(2, "cannot be read", "info", "none")


class Record(HostTest):
    def arguments(self, number, *more):
        return ("record", "--port", str(number), "--clock", "1152000", "--prescaler", "9",
                "--fail-on", "never", *more)  # the numbered pattern is no trace

    def recording(self, number, stderr):
        """A recording without an end, of which more than 2000 bytes were captured."""
        running = subprocess.Popen(self.command(*self.arguments(number, "--output", "o.bin", "--format", "raw")),
                                   env=self.environment(), cwd=self.folder, stdout=subprocess.PIPE, stderr=stderr)
        wait_for(lambda: os.path.exists(self.capture()) and os.path.getsize(self.capture()) > 2000, "a capture")
        return running

    def interrupt(self, running):
        process = wait_for(lambda: find_process("tracehost", self.folder), "tracehost") if ON_WINE else running.pid
        os.kill(process, signal.SIGINT)

    def test_stops_on_size_and_saves_raw(self):
        number, source = self.source("--board", self.file("board.json"), "--pattern", "counter")
        result = self.run_host(*self.arguments(number, "--bytes", "5k", "--output", "o.bin", "--format", "raw"))
        self.assertEqual(result.returncode, 0, result.stderr)
        saved = self.read(self.file("o.bin"))
        self.assertGreaterEqual(os.path.getsize(self.capture()), 5000)
        self.assertIn("Recorded 5000 bytes in", result.stdout)
        source.end()
        self.assertEqual(saved, self.read(source.taken)[:5000])
        for text in ("Recorded", "trace clock   1.152 MHz", "prescaler     9", "baud rate     115200", "o.bin (raw)"):
            self.assertIn(text, result.stdout)
        self.no_violations()

    def test_stops_on_time_with_a_line_per_second_and_adds_a_section(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        for count in (1, 2):
            result = self.run_host(*self.arguments(number, "--seconds", "1.5", "--output", "o.tdf"))
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertGreaterEqual(sum(" left   lost: " in line for line in result.stdout.splitlines()), 1)
            listed = self.run_host("info", "o.tdf").stdout
            self.assertEqual(listed.count("BinTraceData"), count)

    def test_summary_as_json(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        result = self.run_host(*self.arguments(number, "--bytes", "2000", "--output", "o.tdf", "--json"))
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(len(result.stdout.splitlines()), 1)
        shown = json.loads(result.stdout)
        self.assertEqual(list(shown), ["status", "problem", "end", "cpu", "bytes", "started", "seconds", "lost_bytes",
                                       "trace_clock_hz", "prescaler", "baud_rate", "format", "tcp", "rates", "parts"])
        self.assertIsNone(shown["tcp"])
        self.assertLess(abs(time.time() - shown["seconds"] - shown["started"]), LIMIT)
        self.assertEqual([shown[name] for name in ("status", "problem", "end", "cpu", "bytes", "lost_bytes")],
                         [0, None, "bytes", "board/cpu", 2000, 0])
        self.assertEqual([shown[name] for name in ("trace_clock_hz", "prescaler", "baud_rate", "format")],
                         [1152000, 9, 115200, "tdf"])
        part, = shown["parts"]
        self.assertEqual(list(part), ["file", "capture_file", "begin", "end", "bytes", "fault", "fault_at"])
        self.assertEqual((part["file"], part["bytes"], part["fault"], part["fault_at"]), ("o.tdf", 2000, None, None))
        self.assertIn(" bytes/s ", result.stderr)  # the progress
        quiet = self.run_host(*self.arguments(number, "--bytes", "100", "--output", "p.tdf", "--json", "--quiet"))
        self.assertEqual((quiet.stderr, json.loads(quiet.stdout)["status"]), ("", 0))

    @unittest.skipIf(ON_WINE, "names of files there hold no control characters")
    def test_control_characters_of_names_are_shown_escaped(self):
        result = self.run_host("options", "--output", "a\x1b[1m.xml", board=False)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Written to a\\x1B[1m.xml\n", result.stdout)
        self.assertIn('tracehost: "a\\x1B[1m.xml": to be filled in: ', result.stderr)
        os.environ["KORR_TRACE_COM41"] = "/dev/a\x1b[1m"
        self.addCleanup(os.environ.pop, "KORR_TRACE_COM41")
        for command in (("ports",), ("record", "--port", "41", "--explain", "--clock", "48M", "--prescaler", "9")):
            result = self.run_host(*command)
            self.assertIn("/dev/a\\x1B[1m", result.stdout + result.stderr)
            self.assertNotIn("\x1b", result.stdout + result.stderr)

    def test_json_and_trace_do_not_share_standard_output(self):
        result = self.run_host(*self.arguments(59, "--output", "-", "--json"))
        self.assertEqual((result.returncode, result.stderr), (
            2, "tracehost: --json and this --output both want standard output: save into a file\n"))

    @unittest.skipIf(ON_WINE, "needs a port that takes every rate")
    def test_rates_are_exact(self):
        """The plug-in's attributes have six digits: 80 MHz / 3 would be 2.66667e+07."""
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        for clock, prescaler, rate in ((80000000, 2, 26666666), (16777216, 1, 8388608), (1152000.5, 9, 115200)):
            result = self.run_host("record", "--port", str(number), "--clock", str(clock), "--prescaler", str(prescaler),
                                   "--seconds", "0.1", "--output", "o.tdf")
            self.assertIn(f"  trace clock   {clock / 1e6:.10g} MHz\n", result.stdout)
            self.assertIn(f"  prescaler     {prescaler}\n  baud rate     {rate}\n", result.stdout)

    def test_options_file_is_taken_as_it_is(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        options = self.options(COMPORT=number, PRESCALARVAL="19")
        result = self.run_host("record", "--options", options, "--bytes", "100", "--output", "o.tdf", "--fail-on",
                               "never")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("baud rate     57600", result.stdout)

    def test_interrupt_stops_and_saves(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        running = self.recording(number, stderr=self.errors)
        self.interrupt(running)
        output = running.communicate(timeout=120)[0].decode()
        self.assertEqual(running.returncode, 0, output)
        self.assertIn("Recorded", output)
        self.assertGreaterEqual(os.path.getsize(self.file("o.bin")), 2000)

    @unittest.skipIf(ON_WINE, "needs a terminal of this system")
    def test_progress_is_one_refreshed_line_on_a_terminal(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        near_end, far_end = pty.openpty()
        with subprocess.Popen(self.command(*self.arguments(number, "--seconds", "1", "--output", "o.tdf")),
                              env=self.environment(), cwd=self.folder, stdout=far_end, stderr=self.errors) as running:
            os.close(far_end)
            shown = b""
            while True:
                try:
                    block = os.read(near_end, 4096)
                except OSError:
                    break
                shown += block
        os.close(near_end)
        self.assertEqual(running.returncode, 0)
        progress = shown.split(b"\n")[0]
        self.assertGreaterEqual(progress.count(b"\r"), 2)
        self.assertIn(b"left", progress)

    @unittest.skipIf(ON_WINE, "needs /dev/full")
    def test_full_disk_is_reported_and_the_capture_stays(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        os.symlink("/dev/full", self.file("full.bin"))
        result = self.run_host(*self.arguments(number, "--bytes", "1000", "--output", "full.bin", "--format", "raw"))
        self.assertEqual(result.returncode, 5)
        self.assertIn("is the disk full?", result.stderr)
        self.assertIn(self.capture(), result.stderr)
        self.assertGreater(os.path.getsize(self.capture()), 0)

    def test_summary_that_cannot_be_written_is_told_and_the_trace_is_saved(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        with open("/dev/full", "w") as output:
            result = subprocess.run(self.command(*self.arguments(number, "--bytes", "1000", "--output", "o.tdf")),
                                    env=self.environment(), stdout=output, stderr=subprocess.PIPE, text=True,
                                    timeout=120, cwd=self.folder)
        self.assertEqual(result.returncode, 1)
        self.assertIn("standard output cannot be written", result.stderr)
        self.assertGreaterEqual(os.path.getsize(self.file("o.tdf")), 1000)

    @unittest.skipIf(ON_WINE, "needs a pipe of this system")
    def test_reader_of_the_progress_that_ends_does_not_end_the_recording(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        reader, writer = os.pipe()
        os.close(reader)
        result = subprocess.run(self.command(*self.arguments(number, "--bytes", "1000", "--output", "o.tdf")),
                                env=self.environment(), stdout=writer, stderr=subprocess.PIPE, text=True,
                                timeout=120, cwd=self.folder)
        os.close(writer)
        self.assertEqual((result.returncode, result.stderr), (1, ""))  # who ended the reader knows
        self.assertGreaterEqual(os.path.getsize(self.file("o.tdf")), 1000)

    def test_failing_stop_is_told_and_what_was_captured_is_saved(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        running = self.recording(number, stderr=subprocess.PIPE)
        self.board["broken"] = True  # every call of the simulated target adapter now throws
        self.environment()
        self.interrupt(running)
        error = running.communicate(timeout=120)[1].decode().replace("\r\n", "\n")
        self.assertEqual(running.returncode, 1, error)
        self.assertIn('"broken" is an unknown key\ntracehost: what was captured until then is saved in "o.bin"', error)
        saved = self.read(self.file("o.bin"))
        self.assertGreater(len(saved), 2000)
        self.assertEqual(saved[:2000], self.read(self.capture())[:2000])

    @unittest.skipIf(ON_WINE, "the demonstration's signal needs pseudo-terminals")
    def test_demo_records_through_its_own_board_and_signal(self):
        result = self.run_host("record", "--demo", "--seconds", "0.5", "--output", "demo.tdf")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("trace clock   24 MHz", result.stdout)
        self.assertGreater(os.path.getsize(self.file("demo.tdf")), 1000)

    def demo_beside(self, signal_source):
        """The demonstration of a tracehost that has this script beside it, or no swosource for None."""
        folder = self.file("programs")
        os.makedirs(folder, exist_ok=True)
        shutil.copy(os.path.join(BIN, "tracehost"), folder)
        if signal_source is not None:
            path = self.write("programs/swosource", "#!/bin/sh\n" + signal_source)
            os.chmod(path, 0o755)
        environment = dict(self.environment(), LD_LIBRARY_PATH=BIN)
        return subprocess.run([os.path.join(folder, "tracehost"), "record", "--demo"], env=environment,
                              capture_output=True, text=True, timeout=120, check=False)

    @unittest.skipIf(ON_WINE, "the demonstration's signal needs pseudo-terminals")
    def test_demo_without_its_signal_says_so_and_leaves_nothing_running(self):
        result = self.demo_beside(None)
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, '"[^"]*/swosource" cannot be started: is swosource beside tracehost\\?')
        without_port = 'swosource did not make its port "[^"]*"'
        result = self.demo_beside("exit 3")
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, without_port)
        started = self.file("started")
        result = self.demo_beside(f"echo $$ >'{started}'; exec sleep 300")
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, without_port)
        with self.assertRaises(ProcessLookupError):
            os.kill(int(self.read(started)), 0)

    @unittest.skipUnless(ON_WINE, "natively the demonstration works")
    def test_demo_says_what_it_needs(self):
        result = self.run_host("record", "--demo")
        self.assertEqual(result.returncode, 2)
        self.assertIn("make demo-windows", result.stderr)


if __name__ == "__main__":
    main()
