"""tracehost doctor: what it looks at, and what it says is to be done."""
import fcntl
import json
import os
import shutil
import subprocess
import unittest

from hosting import BIN, HostTest, ON_WINE, main, wine_program, without_override

DEVICE = r"HKLM\System\CurrentControlSet\Enum\USB\VID_1234&PID_5678&MI_03"
PORTS = "{4d36e978-e325-11ce-bfc1-08002be10318}"  # the class of ports
ROOT = not ON_WINE and os.geteuid() == 0


class Doctor(HostTest):
    @classmethod
    def setUpClass(cls):
        if ON_WINE:
            cls.registry("delete", DEVICE, "/f", check=False)  # of a run that was killed

    def setUp(self):
        super().setUp()
        self.number, link = self.port()
        if not ON_WINE:
            near_end, far_end = os.openpty()
            self.addCleanup(os.close, near_end)
            self.addCleanup(os.close, far_end)
            os.symlink(os.ttyname(far_end), link)

    def ask(self, *arguments, command=None, **changes):
        """Status and checks: name to (ok, found, advice)."""
        environment = self.environment()
        for name, value in changes.items():
            environment.pop(name, None)
            if value is not None:
                environment[name] = value
        words = ["doctor", "--json", *(arguments or ("--port", str(self.number)))]
        result = subprocess.run((command or self.command)(*words), env=environment, text=True, capture_output=True,
                                timeout=120, cwd=self.folder)
        self.assertIn(result.returncode, (0, 1), result.stderr)
        answer = json.loads(result.stdout)
        self.assertEqual(list(answer), ["ok", "checks"])
        self.assertEqual(answer["ok"], result.returncode == 0)
        self.assertEqual(answer["ok"], all(check["ok"] for check in answer["checks"]))
        checks = {}
        for check in answer["checks"]:
            self.assertEqual(list(check), ["name", "ok", "found", "advice"])
            self.assertEqual(check["ok"], check["advice"] is None)
            checks.setdefault(check["name"], (check["ok"], check["found"], check["advice"]))
        return result.returncode, checks

    def one_to_do(self, name, found, advice, *arguments, **changes):
        status, checks = self.ask(*arguments, **changes)
        self.assertEqual(status, 1)
        self.assertEqual([key for key, check in checks.items() if not check[0]], [name], checks)
        self.assertIn(found, checks[name][1])
        self.assertIn(advice, checks[name][2])

    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_all_is_well(self):
        status, checks = self.ask()
        self.assertEqual((status, [name for name, check in checks.items() if not check[0]]), (0, []), checks)
        self.assertEqual(list(checks), ["environment", "home", "captures", "settings", "free space", "log",
                                        "temporary files", f"port {self.number}", "plug-in", "library DeviceIdentifier",
                                        "library SetupAdapter4", "library ICETargetAdapter", "plug-in's answer"])
        self.assertEqual(checks["home"][1], self.home)
        self.assertEqual(checks[f"port {self.number}"][1], self.links[self.number])
        self.assertTrue(checks["plug-in"][1].startswith(os.path.join(BIN, "libTarnel.so, ")))
        self.assertEqual(checks["library SetupAdapter4"][1], os.path.join(BIN, "libSetupAdapter4.so"))

    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_text_says_the_same_a_line_each(self):
        result = self.run_host("doctor", "--port", str(self.number))
        self.assertEqual(result.returncode, 0)
        lines = result.stdout.splitlines()
        self.assertTrue(all(line.startswith("ok     ") for line in lines), lines)
        result = self.run_host("doctor", "--port", "4711")
        self.assertEqual(result.returncode, 1)
        line, = [line for line in result.stdout.splitlines() if line.startswith("to do  ")]
        self.assertRegex(line, "^to do  port 4711 .*: /dev/ttyACM4711; connect the probe; ")

    def test_windows_says_it_too(self):
        status, checks = self.ask("--port", "999")
        self.assertEqual(status, 1)
        self.assertFalse(checks["port 999"][0])
        for name in ("home", "captures", "settings", "plug-in", "library DeviceIdentifier", "plug-in's answer"):
            self.assertTrue(checks[name][0], checks[name])

    # --- ports
    def probe_device(self, number):
        """The entry of a probe's port in Wine's registry, which the run shares with nobody."""
        for value, text in (("Class", "Ports"), ("ClassGUID", PORTS), ("FriendlyName", f"Brantor Serial Port (COM{number})")):
            self.registry("add", DEVICE + r"\1001", "/v", value, "/d", text, "/f")
        self.addCleanup(self.registry, "delete", DEVICE, "/f")

    @staticmethod
    def registry(*words, check=True):
        environment = dict(os.environ, WINEPREFIX=os.environ["TARNEL_WINEPREFIX"], WINEDEBUG="-all")
        subprocess.run([wine_program(), "reg", *words], env=environment, capture_output=True, timeout=120, check=check)

    @unittest.skipUnless(ON_WINE, "ports are looked at without opening them here")
    def test_port_of_a_probe_that_is_not_opened_is_not_said_to_be_well(self):
        number = self.number + 1  # nothing is there
        self.probe_device(number)
        status, checks = self.ask("--plugin", "Tarnel")
        self.assertEqual((status, checks[f"port {number}"]),
                         (1, (False, rf"not opened: \\.\COM{number}", f"--port {number} looks at it")))
        self.assertIn(f'taken: the first port of a probe; not opened, "tracehost doctor --port {number}" looks at it',
                      self.run_host("ports").stdout)
        port, = [port for port in json.loads(self.run_host("ports", "--json").stdout)["ports"] if port["number"] == number]
        self.assertEqual((port["looked_at"], port["problem"]), (False, None))
        status, checks = self.ask("--port", str(number))
        self.assertEqual((status, checks[f"port {number}"][0]), (1, False))
        self.assertNotIn("not opened", checks[f"port {number}"][1])

    @unittest.skipIf(ON_WINE, "devices of this system")
    def test_port_that_is_not_there(self):
        os.unlink(self.links[self.number])
        self.one_to_do(f"port {self.number}", "No such file or directory", f"KORR_TRACE_COM{self.number}, which names this")

    @unittest.skipIf(ON_WINE, "devices of this system")
    def test_port_that_is_none(self):
        self.one_to_do("port 1000", "Inappropriate ioctl for device: /dev/null", "this is no serial port", "--port",
                       "/dev/null")

    @unittest.skipIf(ON_WINE, "devices of this system")
    def test_port_that_another_program_has_locked_is_told_with_the_program(self):
        with open(self.links[self.number], "rb", buffering=0) as terminal:
            fcntl.flock(terminal, fcntl.LOCK_EX)
            holder = f"python3 (process {os.getpid()})"
            self.one_to_do(f"port {self.number}", f"in use by another program ({holder})", f"end {holder} first")

    @unittest.skipUnless(ROOT, "needs to give a port away")
    def test_port_without_the_right_to_read_it(self):
        terminal = os.path.realpath(self.links[self.number])
        os.chown(terminal, 65534, 20)
        os.chmod(terminal, 0o660)
        self.one_to_do(f"port {self.number}", "Permission denied: ", "join the group dialout (sudo usermod -aG dialout ",
                       command=lambda *words: without_override(self.command(*words)))

    @unittest.skipIf(ON_WINE, "ports have numbers alone there")
    def test_ports_of_the_environment_are_looked_at_when_none_is_given(self):
        status, checks = self.ask("--plugin", "Tarnel")
        self.assertEqual(status, 0, checks)
        self.assertEqual(checks[f"port {self.number}"][:2], (True, self.links[self.number]))

    def test_no_port_at_all(self):
        self.links.clear()
        status, checks = self.ask("--plugin", "Tarnel")
        self.assertEqual(status, 1)
        self.assertEqual(checks["port"][1], "no port of a probe was found")

    # --- home
    @unittest.skipIf(ON_WINE, "the home is given otherwise")
    def test_home_that_is_not_known(self):
        self.home = None
        self.one_to_do("home", "not known", "set HOME")

    @unittest.skipIf(ON_WINE, "words of this system")
    def test_home_below_a_file(self):
        self.write("plain", "")
        self.home = self.file("plain/home")
        status, checks = self.ask()
        self.assertEqual(status, 1)
        for name in ("home", "captures", "settings"):
            self.assertFalse(checks[name][0])
            self.assertIn("Not a directory: " + self.home, checks[name][1])

    @unittest.skipIf(ON_WINE, "words of this system")
    def test_file_in_the_place_of_the_captures(self):
        os.makedirs(os.path.join(self.home, ".KORR-trace"))
        with open(os.path.join(self.home, ".KORR-trace", "data"), "w"):
            pass
        self.one_to_do("captures", "Not a directory: ", "make it a folder in which you may write")

    @unittest.skipUnless(ROOT, "needs a file system of its own")
    def test_disk_that_is_nearly_full_and_home_that_is_read_only(self):
        def with_mount(options):
            line = f"mount -t tmpfs -o {options} none '{self.home}' && exec \"$@\""
            return lambda *words: ["unshare", "-m", "sh", "-c", line, "sh", *self.command(*words)]
        if subprocess.run(with_mount("size=64k")("version"), env=self.environment(), capture_output=True, timeout=60,
                          check=False).returncode != 0:
            self.skipTest("no file system can be mounted here")
        self.one_to_do("free space", "65.5 kB in " + self.home, "make room: captures stop when the disk is full; no log is",
                       command=with_mount("size=64k"))
        self.one_to_do("free space", "20.5 MB in " + self.home, "make room: a fast recording fills this",
                       command=with_mount("size=20000k"))
        _, checks = self.ask(command=with_mount("ro"))
        for name in ("home", "captures", "settings"):
            self.assertIn("Read-only file system: " + self.home, checks[name][1])

    # --- environment
    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_log_level(self):
        self.level = 9
        self.one_to_do("log", 'KORR_TRACE_LOGGING "9" is no level from 0 to 6', "set it to a number from 0 to 6")
        self.level = 1
        _, checks = self.ask()
        self.assertEqual(checks["log"][1], f"level 1, {self.home}/.KORR-trace/korr_trace_log_*.txt")

    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_temporary_folder_that_is_not_there(self):
        status, checks = self.ask(TMPDIR=self.file("none"))
        self.assertEqual(status, 1)
        self.assertEqual(checks["temporary files"][1], f'"{self.file("none")}" is no folder for temporary files (No such file '
                         "or directory): set TMPDIR to one that is there")
        self.assertIn("not tried", checks["plug-in"][1])

    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_board_that_is_none(self):
        status, checks = self.ask(TRACEHOST_BOARD=self.file("none.json"))
        self.assertEqual((status, checks["environment"][0]), (1, False))
        self.assertIn("No such file or directory", checks["environment"][1])
        self.assertIn("none.json: cannot be opened", checks["plug-in's answer"][1])
        self.assertEqual(checks["plug-in's answer"][2], "correct or unset TRACEHOST_BOARD")

    # --- plug-in
    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_plug_in_that_is_not_there(self):
        self.one_to_do("plug-in", 'cannot load "nowhere": ', "give --plugin PATH", "--plugin", "nowhere")

    @unittest.skipIf(ON_WINE, "links of this system")
    def test_libraries_of_the_host(self):
        lonely = self.file("lonely")
        os.mkdir(lonely)
        for name in ("libTarnel.so", "libpelkit.so", "tracehost", "libSetupAdapter4.so", "libDeviceIdentifier.so"):
            shutil.copy(os.path.join(BIN, name), lonely)
        os.remove(os.path.join(lonely, "libDeviceIdentifier.so"))
        shutil.copy(os.path.join(BIN, "libpelkit.so"), os.path.join(lonely, "libICETargetAdapter.so"))
        # One library twice is what the address sanitizer takes for two libraries that define the same.
        checked = os.environ.get("ASAN_OPTIONS", "") + ":detect_odr_violation=0"
        status, checks = self.ask(command=lambda *words: [os.path.join(lonely, "tracehost"), *words],
                                  ASAN_OPTIONS=checked)
        self.assertEqual(status, 1)
        self.assertEqual(checks["library SetupAdapter4"][:2], (True, os.path.join(lonely, "libSetupAdapter4.so")))
        self.assertIn("cannot open shared object file", checks["library DeviceIdentifier"][1])
        self.assertIn("does not export NewTargetAdapter", checks["library ICETargetAdapter"][1])
        self.assertNotIn("plug-in's answer", checks)

    @unittest.skipIf(ON_WINE, "needs a port that opens")
    def test_plug_in_that_refuses_to_make_a_receiver(self):
        self.board["device_identifier"] = {"create": False}
        self.one_to_do("plug-in's answer", "Internal error, failed to create device identifier",
                       "the device identifier library gives none")


if __name__ == "__main__":
    main()
