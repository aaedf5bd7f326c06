"""Every refusal and message that a host can meet, letter for letter."""
import os
import shutil
import unittest

import hosting
from hosting import HostTest, ON_WINE, QUILLER, main

EMULATOR = "SWO trace is not supported by this emulator."
CLOCK = ("Could not determine the System clock frequency automatically. "
         "Please set it manually in the receiver properties.")


class Messages(HostTest):
    def allocated(self, cpu="board/cpu"):
        host = self.host()
        self.ok(host.ask("create"))
        self.ok(host.ask(f"allocate {cpu}"))
        return host

    def configured(self, **values):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        host = self.allocated()
        self.ok(host.ask(f"configure board/cpu {self.options(**{'COMPORT': number, **values})}"))
        return host

    def refuses_allocation(self, text):
        host = self.host()
        self.ok(host.ask("create"))
        self.refused(host.ask("allocate board/cpu"), text)
        self.assertEqual(host.ask("cpus")["count"], 0)

    def refuses_configuration(self, text, host=None, **values):
        host = host or self.allocated()
        self.refused(host.ask(f"configure board/cpu {self.options(**values)}"), text)
        self.assertEqual(host.ask("status board/cpu")["text"], "Calibrating ...")

    def refuses_start(self, text, **values):
        host = self.configured(**values)
        self.refused(host.ask("start board/cpu"), text)
        self.assertEqual(host.ask("status board/cpu")["text"], "Ready to record")
        return host


class Receiver(Messages):
    def test_two_creations_give_one_receiver_that_dies_with_the_second_destruction(self):
        host = self.host()
        self.assertEqual(host.ask("create")["receiver"], "r1")
        self.assertEqual(host.ask("create")["receiver"], "r1")
        self.ok(host.ask("destroy"))
        self.assertEqual(host.ask("next-channel")["channel"], 1)
        self.ok(host.ask("destroy"))
        self.assertEqual(self.journal("DeviceIdentifier")[-1]["operation"], "DestroyDeviceIdentifier")
        self.ok(host.ask("destroy"))
        self.assertEqual(host.ask("create")["receiver"], "r2")

    def test_destroying_without_a_receiver_does_nothing(self):
        self.ok(self.host().ask("destroy"))
        self.assertEqual(self.journal(), [])

    def test_two_drivers_of_one_cpu_are_both_there_and_the_first_is_found(self):
        host = self.allocated()
        self.assertEqual(host.ask("allocate board/cpu")["driver"], "d2")
        self.assertEqual(host.ask("find board/cpu")["driver"], "d1")
        self.assertEqual(host.ask("cpus")["names"], ["board/cpu"] * 2)
        self.assertEqual(host.ask("next-channel")["channel"], 3)

    def test_releasing_twice_is_refused(self):
        host = self.allocated()
        self.ok(host.ask("release -"))
        self.ok(host.ask("release board/cpu"))
        self.refused(host.ask("release board/cpu"), "Failed to release unknown SWO channel driver")

    def test_data_source_is_refused(self):
        self.refused(self.allocated().ask("data-source"), "Cannot get data source")

    def test_unknown_driver_is_tracehosts_own_answer(self):
        answer = self.allocated().ask("start other")
        self.assertFalse(answer["ok"])
        self.assertIn("other", answer["error"])
        self.assertNotIn("severity", answer)


class ProbeAndDevice(Messages):
    def test_set_up_data_without_a_known_probe_is_refused(self):
        self.write("set-up.txt", '$ product\nname="Other"\n')
        self.refuses_allocation(EMULATOR)

    def test_missing_set_up_adapter_is_refused(self):
        self.board["setup_adapter"] = {"create": False}
        self.level = 1
        self.refuses_allocation(EMULATOR)
        self.assertIn("Tarnel_Receiver: CreateSetupAdapter returned null in SetupAdapter4\n", self.log())

    def test_failing_set_up_adapter_is_refused(self):
        self.board["setup_adapter"] = {"initialise_error": "no licence"}
        self.level = 1
        self.refuses_allocation(EMULATOR)
        self.assertIn("Tarnel_Receiver: Unable to initialize SetupAdapter4 : no licence\n", self.log())

    def test_throwing_set_up_adapter_is_refused(self):
        self.board["setup_adapter"] = {"throws": True}
        self.level = 1
        self.refuses_allocation(EMULATOR)
        self.assertIn("Tarnel_Receiver: exception using SetupAdapter4\n", self.log())
        self.assertEqual(self.journal("SetupAdapter4")[-1]["operation"], "DestroySetupAdapter")
        self.no_violations()

    def test_unknown_device_is_refused(self):
        self.board["device_identification"] = "0x12345678"
        self.refuses_allocation("SWO trace is not supported by this device.")
        asked = [line["arguments"]["value"] for line in self.journal() if line["operation"] == "Match"]
        self.assertEqual(asked, ["0xF0F0F0F0", "0x0B9AF02F", "0x0BB4D02F", "0x0B99A02F", "0x0B9BE02F", "0x0BB4102F"])

    def test_wrong_swd_set_up_is_refused(self):
        self.write("set-up.txt", "$ brantor\n$ swd\nswd_debug=enabled\nswo_data=uart_pin\n")
        self.refuses_allocation("Please check the target configuration(VELXML). Debug probe protocol must be SWD "
                                "with COM port connected to TDO.")

    def test_wrong_cjtag_set_up_is_refused(self):
        self.board["device_identification"] = "0x0B99A02F"
        self.refuses_allocation(
            "Please check the target configuration(VELXML). Debug probe protocol must be set to either: \n"
            " 1. 2-pin CJTAG with Aux COM port connected to target TDO or UART pin.\n"
            " 1. 4-pin CJTAG with Aux COM port connected to target UART pin.")

    def test_missing_memory_accessor_is_refused(self):
        self.board["target_adapter"] = {"create": False}
        self.refuses_allocation("Cannot get target adapter for SWO receiver. Bad installation or setup.")

    def test_missing_device_identifier_is_refused(self):
        self.board["device_identifier"] = {"create": False}
        self.refused(self.host().ask("create"), "Internal error, failed to create device identifier")

    def test_null_parameters_are_refused(self):
        host = self.host()
        self.ok(host.ask("create"))
        self.refused(host.ask("allocate -"), "Internal error creating Channel Driver. Null parameters.")


class Installation(Messages):
    """A host folder in which a library is missing or is another one."""

    PREFIX, SUFFIX = ("", ".dll") if ON_WINE else ("lib", ".so")

    def setUp(self):
        super().setUp()
        self.bin = self.file("bin")
        os.mkdir(self.bin)
        for name in os.listdir(hosting.BIN):
            if name.startswith("tracehost") or name.endswith((".dll", ".so")):
                shutil.copy(os.path.join(hosting.BIN, name), self.bin)

    def command(self, *arguments):
        whole, hosting.BIN = hosting.BIN, self.bin
        try:
            return super().command(*arguments)
        finally:
            hosting.BIN = whole

    def library(self, name):
        return os.path.join(self.bin, self.PREFIX + name + self.SUFFIX)

    def test_missing_device_identifier_library_is_named(self):
        os.unlink(self.library("DeviceIdentifier"))
        self.refused(self.host().ask("create"), "Failed to load DeviceIdentifier")

    def test_device_identifier_library_without_its_exports_is_refused(self):
        shutil.copy(self.library("SetupAdapter4"), self.library("DeviceIdentifier"))
        self.refused(self.host().ask("create"), "Missing exports in device identifier dll")

    def test_missing_set_up_adapter_library_is_logged(self):
        os.unlink(self.library("SetupAdapter4"))
        self.level = 1
        self.refuses_allocation(EMULATOR)
        self.assertIn("uDll: failed to load SetupAdapter4 with error code 126\n", self.log())

    def test_set_up_adapter_library_without_its_export_is_logged(self):
        shutil.copy(self.library("DeviceIdentifier"), self.library("SetupAdapter4"))
        self.level = 1
        self.refuses_allocation(EMULATOR)
        self.assertIn("Tarnel_Receiver: Unable to find CreateSetupAdapter in SetupAdapter4\n", self.log())

    def twin(self, kind, name):
        """Puts a bad twin in the place of a library."""
        file = os.path.basename(self.library(name))
        shutil.copy(os.path.join(hosting.BIN, "host_twins", kind, file), self.library(name))

    def test_missing_target_adapter_library_is_named(self):
        os.unlink(self.library("ICETargetAdapter"))
        self.refuses_allocation("Failed to load ICETargetAdapter")

    def test_target_adapter_library_without_its_export_is_refused(self):
        self.twin("no_factory", "ICETargetAdapter")
        self.refuses_allocation("Cannot get target adapter factory. Bad installation.")

    def test_target_adapter_without_a_handle_is_refused(self):
        self.twin("no_handle", "ICETargetAdapter")
        self.refuses_allocation("Internal error: Cannot get target adapter handle. Bad installation or setup.")

    def test_exception_of_the_destruction_is_logged(self):
        self.twin("throwing_end", "DeviceIdentifier")
        self.level = 1
        host = self.host()
        self.ok(host.ask("create"))
        self.ok(host.ask("destroy"))
        self.assertEqual(self.log().count("Tarnel_Receiver: An expection for caught when destroying receiver\n"), 1)
        self.assertNotIn("Receiver destroyed", self.log())
        self.assertEqual(host.end(), 0)

    def test_missing_plug_in_is_named(self):
        os.unlink(self.library("Tarnel"))
        result = self.run_host("script", "-")
        self.assertEqual(result.returncode, 1)
        self.assertIn('cannot load "Tarnel"', result.stderr)


class Configuration(Messages):
    def test_null_options_file_is_refused(self):
        self.refused(self.allocated().ask("configure board/cpu -"), "Internal error setting configuration.")

    def test_old_firmware_is_refused_for_the_brantor_family(self):
        for text in ("fw 1.0.0.4", "1.0.0.5", "fw 1.0.5", ""):
            with self.subTest(text):
                self.refuses_configuration(
                    "SWO is not supported by the current emulator firmware. Update the firmware to the latest "
                    "version (check with your emulator's vendor for details)", RCVRFWVER=text)

    def test_old_firmware_passes_for_the_quiller_probe(self):
        self.write("set-up.txt", QUILLER)
        self.ok(self.allocated().ask(f"configure board/cpu {self.options(RCVRFWVER='fw 1.0.0.4')}"))

    def test_placeholders_are_refused(self):
        for values, text in (
                ({"PRESCALARVAL": "Prescalar value"}, "Please specify prescalar in Receiver settings"),
                ({"CLKFREQVAL": "Frequency in Hz"}, "Please specify clock frequency in Receiver Settings"),
                ({"COMPORT": None}, "Please specify valid COM port number in Receiver Settings")):
            with self.subTest(text):
                self.refuses_configuration(text, **values)

    def test_automatic_prescaler_does_not_read_its_value(self):
        options = self.options(PRESCALAR="Auto", PRESCALARVAL="Prescalar value")
        self.ok(self.allocated().ask(f"configure board/cpu {options}"))

    def test_malformed_options_files_are_refused(self):
        undefined = "Undefined exception occurred while parsing emulation setup file"
        missing = ("RCVRNAME xml tag not found in this xml file.\n"
                   "If this file was created with Trace V1.0, then please recreate\n"
                   "the file using Trace V1.1 software by setting the same options\n"
                   "and saving to the same file name.\n"
                   "It is also possible this file is corrupted. Saving the file again\n"
                   "as desribed above will resolve this problem.")
        whole = ('<CHANNEL-SETUP><VERSION version="1.1.0.0"></VERSION>'
                 "<RCVRNAME>SWO Trace</RCVRNAME></CHANNEL-SETUP>")
        host = self.allocated()
        for text, message in ((whole.replace("SWO Trace", "SWO trace"), undefined),
                              (whole.replace("1.1.0.0", "1.1.0"), undefined),
                              (whole.replace(' version="1.1.0.0"', ""), undefined),
                              (whole.replace("</RCVRNAME>", ""), undefined),
                              (whole.replace("<RCVRNAME>SWO Trace</RCVRNAME>", ""), missing),
                              (whole.replace('<VERSION version="1.1.0.0"></VERSION>', ""), missing)):
            with self.subTest(text):
                self.refused(host.ask(f"configure board/cpu {self.write('bad.xml', text)}"), message)

    def test_options_that_cannot_be_written_are_refused(self):
        host = self.host()
        self.refused(host.ask('default-options ""'), "No XML file specified to save options.")
        self.refused(host.ask(f"default-options {self.host_path(self.file('none/o.xml'))}"),
                     "Cannot open file for writing.")

    def test_default_options_read_back_as_written(self):
        host = self.host()
        path = self.host_path(self.file("o.xml"))
        written = self.ok(host.ask(f"default-options {path}"))["options"]
        self.assertEqual([option["key"] for option in written],
                         ["RCVRFWVER", "ENCTYPE", "PRESCALAR", "PRESCALARVAL", "CLKFREQ", "CLKFREQVAL", "COMPORT",
                          "TSPRESCALAR"])
        read = self.ok(host.ask(f"options {path}"))["options"]
        self.assertEqual(read, written)


class Recording(Messages):
    def test_unsupported_operations_are_refused(self):
        host = self.allocated()
        self.refused(host.ask("resume board/cpu"), "ResumeRecording not supported")
        self.refused(host.ask("load board/cpu x"), "LoadFile not supported")
        self.refused(host.ask("attribute board/cpu -"), "Null attribute name")

    def test_every_refusing_target_adapter_operation_is_reported_and_stops_the_capture(self):
        self.level = 1
        for operation, text, logged in (
                ("SetTpiuPrescaler", "Invalid Prescalar Value", "Failed to setup TPIU prescalar"),
                ("SetTpiuPinProtocol", "Invalid Pin Protocol", "Failed to setup TPIU pin protocol"),
                ("SetTimestampPrescale", "Failed to configure timestamping resolution",
                 "Failed to setup timestamping resolution"),
                ("ProgramTpiu", "Failed to program TPIU", "Failed to program TPIU"),
                ("EnableTpiu", "Failed to Enable TPIU for SWO trace", "Failed to enable TPIU for tracing")):
            with self.subTest(operation):
                self.board["results"] = {operation: 1}
                host = self.refuses_start(text)
                self.assertEqual(self.log().count(f"Tarnel_ChannelDriver: {logged}\n"), 1)
                self.ok(host.ask(f"board results.{operation} 0"))
                self.ok(host.ask("start board/cpu"))
                self.ok(host.ask("stop board/cpu"))
                self.started.pop().end()

    def test_prescaler_beyond_the_register_is_refused_by_the_target_adapter(self):
        self.refuses_start("Invalid Prescalar Value", PRESCALARVAL="8192")

    def test_trace_clock_of_zero_is_refused_at_the_start(self):
        self.refuses_start("Invalid trace clock frequency", CLKFREQVAL="0")

    def test_missing_port_is_refused(self):
        host = self.allocated()
        self.level = 1
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT='59')}"))
        self.refused(host.ask("start board/cpu"), "Failed to open COM port")

    def test_port_that_is_no_serial_port_is_refused(self):
        number, link = self.port()
        os.symlink(self.file("set-up.txt"), link)
        host = self.allocated()
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT=number)}"))
        answer = host.ask("start board/cpu")
        self.assertIn(answer["error"], ("Failed to setup COM port communication", "Failed to get COM port state"))
        self.assertEqual(answer["severity"], 2)

    def test_capture_file_in_a_missing_folder_is_refused(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        host = self.allocated("a/b/c")
        self.ok(host.ask(f"configure a/b/c {self.options(COMPORT=number)}"))
        self.refused(host.ask("start a/b/c"), "Failed to open binary file for trace data storage")

    @unittest.skipUnless(ON_WINE, "a pseudo-terminal takes every rate")
    def test_port_that_takes_no_rate_ends_the_calibration(self):
        self.refuses_start("Failed to calibrate prescalar automatically. Please set prescalar manually in Receiver "
                           "settings", PRESCALAR="Auto", CLKFREQVAL="17")

    def test_refusals_by_state_are_logged_and_return(self):
        self.level = 1
        host = self.configured()
        self.ok(host.ask("allocate board/new"))
        self.ok(host.ask("start board/new"))
        self.ok(host.ask("stop board/new"))
        self.ok(host.ask("start board/cpu"))
        self.ok(host.ask("start board/cpu"))
        self.ok(host.ask("set-target-state board/cpu 4"))
        self.ok(host.ask("start board/cpu"))
        self.ok(host.ask("stop board/cpu"))
        self.ok(host.ask("set-target-state board/cpu 0"))
        self.ok(host.ask("stop board/cpu"))
        log = self.log()
        for line in ("Cannot start recording unless caltibration is complete",
                     "Cannot stop recording as recording has not started yet",
                     "Cannot start recording since recording is already in progress",
                     "Cannot start recording unless target is connected",
                     "Cannot stop recording unless target is connected"):
            self.assertEqual(log.count(f"Tarnel_ChannelDriver: {line}\n"), 1, line)
        programmed = [line for line in self.journal() if line["operation"] == "ProgramTpiu"]
        self.assertEqual(len(programmed), 1)

    def test_export_status_is_logged_and_cleared(self):
        self.level = 1
        self.board["export_status"] = 5
        host = self.configured()
        self.ok(host.ask("start board/cpu"))
        self.ok(host.ask("stop board/cpu"))
        self.assertEqual(self.log().count("Tarnel_ChannelDriver: Trace export (xmtr) status 0x5.\n"), 1)
        cleared = [line["arguments"]["status"] for line in self.journal() if line["operation"] == "ClearExportStatus"]
        self.assertEqual(cleared, [5])


class AutomaticClock(Messages):
    REGISTERS = {
        "ferrin": ("CSCTL0", "CSCTL1", "CSCTL2", "CSCTL3", "CSCLKEN", "TLVBASE"),
        "mothwing": ("CPUCLKDIV",),
        "glintar": ("DID0", "RCC", "RCC2", "RSCLKCFG", "PLLFREQ0", "PLLFREQ1")}

    def clock(self, family, identification, words, text=None):
        """Starts with an automatic clock; the clock as the driver reports it, or the refusal."""
        addresses = {name: f"4000{index:04X}" for index, name in enumerate(self.REGISTERS[family])}
        self.board.update(device_identification=identification, device_information={"MOD_SYSCLK": addresses},
                          memory={addresses[name]: f"0x{word:08X}" for name, word in words.items()})
        self.write("set-up.txt", hosting.SWD + "$ dot7\nts_pin_width=only_two\n")
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        host = self.allocated()
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT=number, CLKFREQ='Auto', PRESCALARVAL='100')}"))
        answer = host.ask("start board/cpu")
        if text:
            self.refused(answer, text)
            value = None
        else:
            self.ok(answer)
            value = host.ask('attribute board/cpu "Timing Clock Frequency"')["value"]
            self.ok(host.ask("stop board/cpu"))
        while self.started:
            self.started.pop().end()
        self.no_violations()
        return value

    def test_ferrin(self):
        for identification in ("0x0B9AF02F", "0x1BB4D02F"):
            for words, clock in (({"CSCTL0": 0x30000, "CSCTL1": 0x10003}, "6e+06"), ({"CSCTL1": 0}, "32768"),
                                 ({"CSCTL1": 1}, "10240"), ({"CSCTL1": 2, "CSCLKEN": 0x8000}, "131072"),
                                 ({"CSCTL1": 4}, "2.51658e+07")):
                with self.subTest(identification=identification, words=words):
                    self.assertEqual(self.clock("ferrin", identification, words), clock)

    def test_ferrin_without_a_source_is_refused(self):
        self.clock("ferrin", "0x0B9AF02F", {"CSCTL1": 5}, CLOCK)

    def test_mothwing(self):
        for identification in ("0x0B99A02F", "0x0B9BE02F", "0x0BB4102F"):
            for word, clock in ((0, "4.8e+07"), (3, "2.4e+07")):
                with self.subTest(identification=identification, word=word):
                    self.assertEqual(self.clock("mothwing", identification, {"CPUCLKDIV": word}), clock)

    def test_glintar(self):
        for words, clock in (({"DID0": 0x10000, "RCC": 0x810}, "1.2e+07"), ({"DID0": 0x50000, "RCC": 0x810}, "1.6e+07"),
                             ({"DID0": 0x50000, "RCC": 0x02C00000}, "3.33333e+07"),
                             ({"DID0": 0x50000, "RCC": 0x00400000, "RCC2": 0xC1400000}, "6.66667e+07")):
            with self.subTest(words=words):
                self.assertEqual(self.clock("glintar", "0xF0F0F0F0", words), clock)

    def test_glintar_rimefold(self):
        for device_class in (10, 12):
            words = {"DID0": device_class << 16, "RSCLKCFG": 0x10000003, "PLLFREQ0": 96, "PLLFREQ1": 4}
            self.assertEqual(self.clock("glintar", "0xF0F0F0F0", words), "7.68e+07")

    def test_rimefold_with_another_source_is_refused(self):
        self.clock("glintar", "0xF0F0F0F0", {"DID0": 0xA0000, "RSCLKCFG": 0x00200000}, CLOCK)

    def test_exception_map_follows_the_device_class(self):
        for device_class, name in ((10, "MOD_EXCEPTIONMAP_129"), (5, "MOD_EXCEPTIONMAP_123")):
            self.board.update(device_identification="0xF0F0F0F0", memory={"40000000": f"{device_class << 16:X}"},
                              device_information={"MOD_SYSCLK": dict.fromkeys(self.REGISTERS["glintar"], "40000000")})
            host = self.configured()
            self.ok(host.ask("start board/cpu"))
            self.assertEqual(host.ask('attribute board/cpu "ITM Exception Map Name"')["value"], name)
            while self.started:
                self.started.pop().end()

    def test_missing_device_information_is_refused(self):
        self.refuses_start("Internal error: Device information could not be parsed", CLKFREQ="Auto")

    def test_missing_clock_module_is_refused(self):
        self.board["device_information"] = {"MOD_OTHER": {}}
        self.refuses_start("Internal error: Trace clock freq could not be deftermined for this device", CLKFREQ="Auto")

    def test_device_without_a_reader_is_refused(self):
        host = self.configured(CLKFREQ="Auto")
        self.ok(host.ask("board device_identification 0x12345678"))
        self.refused(host.ask("start board/cpu"), CLOCK)


if __name__ == "__main__":
    main()
