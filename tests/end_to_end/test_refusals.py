"""What tracehost says below a refusal of the plug-in: path, reason, what to do."""
import os
import re
import subprocess
import unittest

from hosting import BIN, HostTest, ON_WINE, QUILLER, main, without_override

SOURCES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
NO_CAPTURE = "Failed to open binary file for trace data storage"


class Refusals(HostTest):
    """Recordings that the plug-in refuses, from a port that takes everything unless the test says otherwise."""

    def setUp(self):
        super().setUp()
        number, link = self.port()
        self.number = number
        if not ON_WINE:
            near_end, far_end = os.openpty()
            self.addCleanup(os.close, near_end)
            self.addCleanup(os.close, far_end)
            os.symlink(os.ttyname(far_end), link)

    def record(self, *arguments, options=None, command=None):
        given = ["--options", options] if options else ["--port", str(self.number), "--clock", "1152000", "--prescaler",
                                                        "9"]
        arguments = ["record", *given, "--seconds", "0.2", "--output", "o.tdf", *arguments]
        return subprocess.run(command or self.command(*arguments), env=self.environment(), text=True, timeout=120,
                              capture_output=True, cwd=self.folder)

    def refuses(self, message, said, *arguments, **keywords):
        """The plug-in's message stands first and as it is; what is said of it follows."""
        result = self.record(*arguments, **keywords)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertEqual(result.stderr.split("\ntracehost: ")[0], message)
        self.assertRegex(result.stderr, re.compile("^tracehost: " + said + "$", re.MULTILINE))
        self.assertFalse(os.path.exists(self.file("o.tdf")))

    # --- port
    @unittest.skipIf(ON_WINE, "devices of this system")
    def test_port_that_is_not_there(self):
        os.unlink(self.links[self.number])
        self.refuses("Failed to open COM port", f"No such file or directory: {self.links[self.number]}; connect the "
                     f"probe, or correct the variable KORR_TRACE_COM{self.number}, which names this device")

    @unittest.skipIf(ON_WINE, "devices of this system")
    def test_usual_port_that_is_not_there(self):
        self.links.clear()
        self.number = 4711
        self.refuses("Failed to open COM port", 'No such file or directory: /dev/ttyACM4711; connect the probe; '
                     '"tracehost ports" lists the ports that are there, and KORR_TRACE_COM4711 can name another device')

    @unittest.skipUnless(ON_WINE, "elsewhere the reason is known better")
    def test_port_that_is_not_there_on_windows(self):
        self.refuses("Failed to open COM port", r".+: \\\\\.\\COM\d+; connect the probe; .*")

    @unittest.skipIf(ON_WINE, "devices of this system")
    def test_port_that_is_no_serial_port(self):
        os.unlink(self.links[self.number])
        os.symlink("/dev/null", self.links[self.number])
        self.refuses("Failed to get COM port state", "Inappropriate ioctl for device: .*; this is no serial port: "
                     '"tracehost ports" lists those that are there')

    @unittest.skipUnless(not ON_WINE and os.geteuid() == 0, "needs to give a port away")
    def test_port_without_the_right_to_read_it(self):
        terminal = os.path.realpath(self.links[self.number])
        before = os.stat(terminal)
        os.chown(terminal, 65534, 20)  # dialout
        os.chmod(terminal, 0o660)
        self.addCleanup(os.chown, terminal, before.st_uid, before.st_gid)
        command = without_override(self.command("record", "--port", str(self.number), "--clock", "1152000",
                                                "--prescaler", "9", "--seconds", "0.2", "--output", "o.tdf"))
        self.refuses("Failed to open COM port", f"Permission denied: {self.links[self.number]}; join the group dialout "
                     r'\(sudo usermod -aG dialout "\$USER", then log in again\)', command=command)

    # --- capture
    @unittest.skipIf(ON_WINE, "the home is given otherwise")
    def test_home_that_is_not_known(self):
        self.home = None
        self.refuses(NO_CAPTURE, "captures go below the user's home, which is not known: set HOME")

    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_home_below_a_file(self):
        self.write("plain", "")
        self.home = self.file("plain/home")
        self.refuses(NO_CAPTURE, f"Not a directory: {self.home}; captures go below the user's home: it must be a folder "
                     "in which you may write")

    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_folder_in_the_place_of_the_capture(self):
        os.makedirs(self.capture())
        self.refuses(NO_CAPTURE, f"Is a directory: {self.capture()}; is its folder there, and may you write into it\\?")

    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_cpu_whose_name_leads_into_a_folder_that_is_not_there(self):
        self.refuses(NO_CAPTURE, "No such file or directory: .*swotrace_a/b/c.bin; is its folder there, and may you "
                     "write into it\\?", "--cpu", "a/b/c")

    # --- options
    def test_options_file_that_is_not_there(self):
        self.refuses("Undefined exception occurred while parsing emulation setup file",
                     '.+: none.xml; it is no options file that the plug-in takes: "tracehost options --output FILE" writes '
                     "one", options="none.xml")

    def test_options_file_that_is_none(self):
        self.write("o.xml", "no XML at all")
        self.refuses("Undefined exception occurred while parsing emulation setup file",
                     'o.xml; it is no options file that the plug-in takes: "tracehost options --output FILE" writes one',
                     options="o.xml")

    def test_options_file_of_another_program(self):
        self.write("o.xml", "<CHANNEL-SETUP></CHANNEL-SETUP>")
        result = self.record(options="o.xml")
        self.assertTrue(result.stderr.startswith("RCVRNAME xml tag not found in this xml file.\n"), result.stderr)
        self.assertIn("\ntracehost: o.xml; it is no options file that the plug-in takes", result.stderr)

    def test_options_that_were_not_filled_in(self):
        for message, said, values in (
                ("Please specify prescalar in Receiver settings", "PRESCALARVAL needs a number from 0 to 8191 when "
                 "PRESCALAR is Manual", {"PRESCALARVAL": "Prescalar value"}),
                ("Please specify clock frequency in Receiver Settings", "CLKFREQVAL needs the trace clock in Hz when "
                 "CLKFREQ is Manual", {"CLKFREQVAL": "Frequency in Hz"}),
                ("Please specify valid COM port number in Receiver Settings", "COMPORT needs the number of the probe's "
                 'COM port; "tracehost ports" lists them', {"COMPORT": ""}),
                ("Invalid trace clock frequency", "CLKFREQVAL needs the trace clock in Hz, above 0", {"CLKFREQVAL": "0"}),
                ("SWO is not supported by the current emulator firmware. Update the firmware to the latest version (check "
                 "with your emulator's vendor for details)", "firmware 1.0.0.5 or later is needed: give --firmware as the "
                 "probe has it, or, in an options file, <RCVRFWVER>firmware 1.0.0.8</RCVRFWVER>, a word before the number",
                 {"RCVRFWVER": "1.0.0.8"})):
            with self.subTest(message):
                file = self.options(**{"COMPORT": self.number, **values})
                self.refuses(message, re.escape(f"{file}; {said}"), options=file)

    # --- board
    def board_file(self):
        return re.escape(self.host_path(self.file("board.json")))

    def test_probe_that_the_set_up_file_does_not_name(self):
        self.write("set-up.txt", '$ product\nname="Other"\n')
        self.refuses("SWO trace is not supported by this emulator.", '.*set-up.txt; the set-up file must name a Brantor or '
                     'a Quiller probe; "simulator/boards" holds examples')

    def test_set_up_file_that_is_not_there(self):
        self.board["set_up_file"] = "none.txt"
        self.refuses("SWO trace is not supported by this emulator.", ".+: .*none.txt; the set-up file must name .*")

    def test_board_without_a_set_up_file(self):
        del self.board["set_up_file"]
        self.refuses("SWO trace is not supported by this emulator.",
                     self.board_file() + '; it names no "set_up_file" for the CPU board/cpu')

    def test_device_that_cannot_send_swo(self):
        self.board["device_identification"] = "0x12345678"
        self.refuses("SWO trace is not supported by this device.", self.board_file() + '; its "device_identification" must '
                     "be that of a device that can send SWO")

    def test_pins_that_are_set_up_otherwise(self):
        self.write("set-up.txt", "$ brantor\n")
        self.refuses("Please check the target configuration(VELXML). Debug probe protocol must be SWD with COM port "
                     "connected to TDO.", self.board_file() + "; the set-up file that the board file names does not say "
                     'so; "simulator/boards" holds examples')

    def test_target_that_refuses_a_step(self):
        for operation, message in (("SetTpiuPrescaler", "Invalid Prescalar Value"),
                                   ("SetTpiuPinProtocol", "Invalid Pin Protocol"),
                                   ("SetTimestampPrescale", "Failed to configure timestamping resolution"),
                                   ("ProgramTpiu", "Failed to program TPIU"),
                                   ("EnableTpiu", "Failed to Enable TPIU for SWO trace")):
            if ON_WINE:
                self.skipTest("needs a port that opens")
            with self.subTest(operation):
                self.board["results"] = {operation: 1}
                self.refuses(message, self.board_file() + '; the board file says that the target refuses this, under '
                             '"results"')

    def test_target_adapter_that_is_not_given(self):
        self.board["target_adapter"] = {"create": False}
        self.refuses("Cannot get target adapter for SWO receiver. Bad installation or setup.",
                     self.board_file() + "; the target adapter library gives none for this CPU; is --cpu as the board file "
                     "has it\\?")

    def test_device_identifier_that_is_not_given(self):
        self.board["device_identifier"] = {"create": False}
        self.refuses("Internal error, failed to create device identifier", self.board_file() + "; the device identifier "
                     'library gives none; the board file can say so, under "device_identifier"')

    def test_clock_that_cannot_be_read(self):
        said = "give --clock, the trace clock in Hz: it cannot be read from this device"
        for information, message in (
                (None, "Internal error: Device information could not be parsed"),
                ({}, "Internal error: Trace clock freq could not be deftermined for this device"),
                ({"MOD_SYSCLK": {}}, "Internal error: Trace clock freq could not be deftermined for this device")):
            if ON_WINE:
                self.skipTest("needs a port that opens")
            with self.subTest(information=information):
                self.board.pop("device_information", None)
                if information is not None:
                    self.board["device_information"] = information
                self.refuses(message, said, options=self.options(COMPORT=self.number, CLKFREQ="Auto"))

    # --- libraries
    def test_plug_in_that_does_not_load(self):
        result = self.record("--plugin", "nowhere")
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, '^tracehost: cannot load "nowhere": .+; it is missing, or a library that it needs '
                         "is\n$")
        if not ON_WINE:
            self.assertIn("cannot open shared object file", result.stderr)

    @unittest.skipIf(ON_WINE, "the loader of this system")
    def test_plug_in_that_is_no_library_is_told_in_the_loaders_words(self):
        self.write("libfake.so", "no library")
        result = self.record("--plugin", self.file("libfake.so"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("file too short", result.stderr)

    @unittest.skipIf(ON_WINE, "links of this system")
    def test_host_library_that_is_missing_beside_the_plug_in(self):
        lonely = self.file("lonely")
        os.mkdir(lonely)
        for name in ("libTarnel.so", "libpelkit.so", "tracehost"):
            with open(os.path.join(BIN, name), "rb") as source, open(os.path.join(lonely, name), "wb") as copy:
                copy.write(source.read())
        os.chmod(os.path.join(lonely, "tracehost"), 0o755)
        command = [os.path.join(lonely, "tracehost"), "record", "--port", str(self.number), "--clock", "1152000",
                   "--prescaler", "9", "--output", "o.tdf"]
        missing = r".*lib{}.so: cannot open shared object file: No such file or directory: {}; install the host's libraries"
        self.refuses("Failed to load DeviceIdentifier", missing.format("DeviceIdentifier", "DeviceIdentifier") + " beside "
                     'the plug-in anew; "tracehost doctor" lists them', command=command)

    # --- the table
    def test_every_message_of_the_plug_ins_sources_stands_in_the_table(self):
        with open(os.path.join(SOURCES, "tracehost", "explanation_table.cpp")) as file:
            table = re.findall(r'^    \{"((?:[^"\\]|\\.)*)"', file.read(), re.MULTILINE)
        # No recording brings these about: calls that tracehost does not make, and details that stay inside the reader.
        table += ["Failed to release unknown SWO channel driver", "Cannot get data source", "Null attribute name",
                  "ResumeRecording not supported", "LoadFile not supported"]
        self.assertGreater(len(table), 55)
        call = re.compile(r'\b(?:Fail|LogAndFail|Throw|ThrowError|ThrowReceiverError)\(\s*"((?:[^"\\]|\\.)*)"')
        constant = re.compile(r'char(?:\* ?| )k\w+(?:\[\])? =\s*"((?:[^"\\]|\\.)*(?:[a-z]{3} |[a-z]\.)(?:[^"\\]|\\.)*)"')
        found = set()
        for room in ("receiver", "channel", "uart"):
            for name in os.listdir(os.path.join(SOURCES, room)):
                if name.endswith(".cpp"):
                    with open(os.path.join(SOURCES, room, name)) as file:
                        text = file.read()
                    found.update(call.findall(text))
                    found.update(match for match in constant.findall(text) if "Port" not in match)
        self.assertGreater(len(found), 40)
        for message in found:
            self.assertTrue(any(message.startswith(row) or row.startswith(message) for row in table), message)


if __name__ == "__main__":
    main()
