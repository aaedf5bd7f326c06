"""Runs tracehost, natively or under Wine, with a board, a signal and a home folder of its own per test.

Set by CTest: TARNEL_BIN (folder of tracehost), TARNEL_SOURCE (the swosource program), TARNEL_WINEPREFIX (for a
Windows tracehost; its presence means Wine).
"""
import json
import os
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

BIN = os.environ["TARNEL_BIN"]
SOURCE = os.environ["TARNEL_SOURCE"]
PREFIX = os.environ.get("TARNEL_WINEPREFIX")
WINE_PREFIX = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "cmake", "wine-prefix")
ON_WINE = bool(PREFIX)
LIMIT = 120  # seconds; generous, because machines can be busy
FIRST_PORT = 300 + os.getpid() % 900 * 10  # ports of this process under Wine, where all share one prefix

SWD = '$ brantor\n$ product\nname="Brantor"\n$ swd\nswd_debug=enabled\nswo_data=tdo_pin\n'
QUILLER = '$ product\nname="Quiller"\n$ swd\nswd_debug=enabled\nswo_data=tdo_pin\n'


def wine_program():
    """The path of wine64, for a prefix that is ready and whose server runs."""
    return subprocess.check_output([WINE_PREFIX, PREFIX], text=True, timeout=300).strip()


def host_path(path):
    """A path as tracehost sees it."""
    return "Z:" + str(path).replace("/", "\\") if ON_WINE else path


def host_command(*arguments, home=True):
    """The command line of tracehost. `home`: the one that `wine_environment` names is its home folder under Wine."""
    if not ON_WINE:
        return [os.path.join(BIN, "tracehost"), *arguments]
    # Wine gives every program its own USERPROFILE. The words stay apart, so that it quotes those with blanks.
    folder = "%TARNEL_TEST_HOME%" if home else ""
    return [wine_program(), "cmd", "/c", "set", f"USERPROFILE={folder}&&",
            host_path(os.path.join(BIN, "tracehost.exe")), *arguments]


def wine_environment(home):
    """The variables that Wine wants; none natively. `home`: a folder, or None."""
    if not ON_WINE:
        return {}
    variables = {"WINEPREFIX": PREFIX, "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "winedbg.exe=d;mscoree=;mshtml="}
    if home:
        variables["TARNEL_TEST_HOME"] = host_path(home)
    return variables


def without_override(words):
    """The command for which permissions hold when root runs it, too, and which reaches all else that its user may reach."""
    rights = "-dac_override,-dac_read_search"
    return ["setpriv", "--bounding-set", rights, "--inh-caps", rights, *words] if os.geteuid() == 0 else list(words)


def has_open(process, path):
    """Whether a process of Linux has the file open at this moment."""
    folder = f"/proc/{process.pid}/fd"
    for number in os.listdir(folder):
        try:
            if os.readlink(f"{folder}/{number}") == os.path.realpath(path):
                return True
        except FileNotFoundError:
            pass  # closed meanwhile
    return False


def wait_for(condition, what):
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.01)
    raise AssertionError("waited in vain for " + what)


def anonymous_kib(process):
    """KiB of a process's memory that is no file's, counted page by page."""
    with open(f"/proc/{process}/smaps_rollup") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("Anonymous:"))


def find_process(name, folder):
    """Process id of a program whose environment names a test's folder; None when there is none."""
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/comm") as comm, open(f"/proc/{pid}/environ", "rb") as environ:
                if comm.read().startswith(name) and os.path.basename(folder).encode() in environ.read():
                    return int(pid)
        except OSError:
            continue
    return None


def server_process():
    """Process id of the Wine server of this prefix, which works in a folder named after it."""
    info = os.stat(PREFIX)
    folder = f"server-{info.st_dev:x}-{info.st_ino:x}"
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/comm") as comm:
                if comm.read().startswith("wineserver") and \
                        os.path.basename(os.readlink(f"/proc/{pid}/cwd")) == folder:
                    return int(pid)
        except OSError:
            continue
    raise AssertionError("the prefix's Wine server was not found")


def kill_hosts(running, folder):
    """Ends a tracehost that would go on, at once. Under Wine it is no child of this process."""
    while ON_WINE and (process := find_process("tracehost", folder)):
        os.kill(process, signal.SIGKILL)
        wait_for(lambda: not os.path.exists(f"/proc/{process}"), "the end of tracehost")
    if running.poll() is None:
        running.kill()
    running.communicate()


class Script:
    """One running "tracehost script -", asked line by line."""

    def __init__(self, test, environment):
        self.process = subprocess.Popen(test.command("script", "-"), env=environment, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=test.errors)
        self.rest = b""
        self.folder, self.errors = test.folder, test.errors.name

    def host_process(self):
        """Process id of tracehost itself, which under Wine is a child of the process that was started."""
        if not ON_WINE:
            return self.process.pid
        return wait_for(lambda: find_process("tracehost", self.folder), "the tracehost process")

    def ask(self, command):
        self.process.stdin.write((command + "\n").encode())
        self.process.stdin.flush()
        return json.loads(self._line(command))

    def _line(self, command):
        end = time.monotonic() + LIMIT
        while b"\n" not in self.rest:
            ready = select.select([self.process.stdout], [], [], max(0, end - time.monotonic()))[0]
            block = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            if not block:
                with open(self.errors, errors="replace") as said:
                    raise AssertionError(f"no answer to {command!r} (status {self.process.poll()}): {said.read(2000)}")
            self.rest += block
        line, _, self.rest = self.rest.partition(b"\n")
        return line

    def end(self):
        """Ends the input and gives the exit status."""
        if self.process.stdin:
            self.process.stdin.close()
            self.process.stdin = None
        self.process.stdout.close()
        return self.process.wait(LIMIT)


class Source:
    """One running swosource. Counts nothing itself: `taken` is what it handed to the far end. Without `records` the
    files `sent` and `taken` are not written."""

    def __init__(self, test, link, *arguments, records=True):
        self.sent = link + ".sent"
        self.taken = link + ".taken"
        self.report = link + ".report"
        command = [SOURCE, "--link", link, "--report", self.report, *arguments]
        if records:
            command += ["--record", self.sent, "--record-taken", self.taken]
        if ON_WINE:
            command += ["--baud-check", "off"]
        self.process = subprocess.Popen(command, stderr=test.errors)
        wait_for(lambda: os.path.exists(link), "the signal's port")

    def end(self):
        self.process.terminate()
        self.process.wait(LIMIT)


class HostTest(unittest.TestCase):
    """A folder with board, home and files; everything started is ended again."""

    def setUp(self):
        if ON_WINE:
            wine_program()  # makes the prefix, in which the ports are linked
        self.folder = tempfile.mkdtemp(prefix="tarnel_e2e_")
        self.home = self.file("home")  # None: the host gets no home
        os.mkdir(self.home)
        self.level = 0
        self.links = {}
        self.started = []
        self.errors = open(self.file("errors"), "ab")
        self.board = {"set_up_file": "set-up.txt", "device_identification": "0x0B9AF02F",
                      "journal": "journal", "tpiu": "tpiu.json", "trace_clock_hz": 1152000}
        self.write("set-up.txt", SWD)

    def tearDown(self):
        for running in reversed(self.started):
            if running.process.poll() is None:
                running.end()
        for link in self.links.values():
            if os.path.islink(link):  # and never a device that it leads to
                os.unlink(link)
        self.errors.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    # --- files
    def file(self, name):
        return os.path.join(self.folder, name)

    def host_path(self, path):
        return host_path(path)

    def write(self, name, text):
        with open(self.file(name), "w", newline="\n") as out:
            out.write(text)
        return self.host_path(self.file(name))

    def read(self, path):
        with open(path, "rb") as content:
            return content.read()

    def capture(self, short_name="cpu"):
        return os.path.join(self.home, ".KORR-trace", "data", f"swotrace_{short_name}.bin")

    def journal(self, library=None):
        path = self.file("journal")
        if not os.path.exists(path):
            return []
        lines = [json.loads(line) for line in self.read(path).splitlines()]
        return [line for line in lines if library in (None, line["library"])]

    def log(self):
        folder = os.path.join(self.home, ".KORR-trace")
        names = [name for name in os.listdir(folder) if name.startswith("korr_trace_log_")]
        text = "".join(self.read(os.path.join(folder, name)).decode(errors="replace") for name in names)
        return text.replace("\r\n", "\n")  # text mode on Windows

    def options(self, name="options.xml", **values):
        """An options file in the documented form."""
        chosen = {"RCVRFWVER": "fw 1.0.0.8", "ENCTYPE": "UART", "PRESCALAR": "Manual", "PRESCALARVAL": "9",
                  "CLKFREQ": "Manual", "CLKFREQVAL": "1152000", "COMPORT": "1", "TSPRESCALAR": "4", **values}
        lines = "".join(f"\t<{key}>{value}</{key}>\n" for key, value in chosen.items() if value is not None)
        return self.write(name, '<?xml version="1.0" encoding="UTF-8"?>\n<CHANNEL-SETUP>\n'
                          '\t<VERSION version="1.1.0.0" Copyright="c"></VERSION>\n'
                          f'\t<RCVRNAME>SWO Trace</RCVRNAME>\n{lines}</CHANNEL-SETUP>\n')

    # --- processes
    def command(self, *arguments):
        return host_command(*arguments, home=bool(self.home))

    def environment(self):
        with open(self.file("board.new"), "w") as board:
            json.dump(self.board, board)
        os.replace(self.file("board.new"), self.file("board.json"))  # a running source may be reading it
        environment = dict(os.environ, KORR_TRACE_LOGGING=str(self.level),
                           TRACEHOST_BOARD=self.host_path(self.file("board.json")))
        if self.home:
            environment["USERPROFILE"] = self.home
        elif not ON_WINE:
            environment.pop("USERPROFILE", None)
            environment.pop("HOME", None)
        environment.pop("KORR_TRACE_DEBUGCLIENT_PID", None)
        for port, link in self.links.items():
            environment[f"KORR_TRACE_COM{port}"] = link
        return {**environment, **wine_environment(self.home)}

    def host(self):
        script = Script(self, self.environment())
        self.started.append(script)
        return script

    def run_host(self, *arguments, text="", board=True):
        """Runs one tracehost command to its end; without the test's board, it has the one that it brings itself."""
        environment = self.environment()
        if not board:
            del environment["TRACEHOST_BOARD"]
        return subprocess.run(self.command(*arguments), env=environment, input=text, text=True,
                              capture_output=True, timeout=LIMIT, cwd=self.folder)

    def port(self, index=1):
        """The number of this test's COM port `index`, and where its link is made."""
        number = FIRST_PORT + index if ON_WINE else index
        link = os.path.join(PREFIX, "dosdevices", f"com{number}") if ON_WINE else self.file(f"port{index}")
        self.links[number] = link
        if os.path.lexists(link):
            os.unlink(link)  # of a test that was killed
        return number, link

    def source(self, *arguments, index=1, records=True):
        """Plays a signal into port `index`. Its records lie beside the link, or in the folder under Wine."""
        self.environment()  # the board file
        number, link = self.port(index)
        own = self.file(f"source{index}")
        source = Source(self, own, *arguments, records=records)
        self.started.append(source)
        os.symlink(os.path.realpath(own), link)
        return number, source

    # --- checks
    def ok(self, answer):
        self.assertTrue(answer["ok"], answer)
        return answer

    def refused(self, answer, text, severity=2):
        self.assertEqual((answer["ok"], answer.get("error"), answer.get("severity")), (False, text, severity))

    def no_violations(self):
        self.assertEqual([line for line in self.journal() if "violation" in line], [])

    def settled(self, path):
        """The content of a capture once it has stopped growing to at least one byte."""
        return wait_for(lambda: os.path.exists(path) and self.read(path), "captured bytes")


def exit_status(result):
    """0: all passed, 1: failed, 77: nothing but skipped tests. Prints what was skipped."""
    for test, reason in result.skipped:
        print(f"SKIPPED: {test}: {reason}")
    return 1 if not result.wasSuccessful() else 77 if len(result.skipped) == result.testsRun else 0


def main():
    sys.exit(exit_status(unittest.main(verbosity=2, exit=False).result))
