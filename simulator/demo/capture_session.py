"""One capture from beginning to end: swosource plays, collector_capture captures, natively or under Wine.

The two programs meet at a pseudo-terminal and know nothing of each other. This module stands for what lies around
them: it starts the capture, then programs and enables the simulated TPIU, as a debugger does.
"""
import json
import os
import signal
import subprocess
import time

PORT = 5
WINE_PREFIX = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "cmake", "wine-prefix")


class Failed(Exception):
    """Something that has to be there is not, or does not come in time."""


def wait_for(condition, what, seconds=60):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.01)
    raise Failed(f"waited {seconds} s in vain for {what}")


def read_text(path):
    """At most 1 MB: a dying wineserver can print without end."""
    try:
        with open(path, errors="replace") as file:
            return file.read(1 << 20)
    except FileNotFoundError:
        return ""


def built(program):
    """The program, which has to be there."""
    if not os.path.exists(program):
        raise Failed(f"{program} is missing: build it first")
    return program


class Native:
    """Programs of the Linux build; the port is named by an environment variable."""
    name = "native"
    port = PORT

    def __init__(self, build):
        self.program = os.path.join(build, "bin", "collector_capture")

    def link(self, folder):
        return os.path.join(folder, "port")

    def path(self, path):
        return path

    def environment(self, folder):
        home = os.path.join(folder, "home")
        return dict(os.environ, HOME=home, USERPROFILE=home, **{f"KORR_TRACE_COM{PORT}": self.link(folder)})

    def command(self, folder, arguments):
        return [built(self.program), "--port", str(PORT), *arguments], self.environment(folder)

    def host_command(self, folder, arguments):
        environment = self.environment(folder)
        return [built(os.path.join(os.path.dirname(self.program), "tracehost")), *arguments], environment


class Wine:
    """Programs of the Windows build; the port is a device link of the Wine prefix, with a number of its own."""
    name = "wine"

    def __init__(self, build):
        self.program = os.path.join(build, "bin", "collector_capture.exe")
        self.prefix = os.path.abspath(os.environ.get("TARNEL_WINEPREFIX", os.path.join(build, "wine")))
        prepared = subprocess.run([WINE_PREFIX, self.prefix], stdout=subprocess.PIPE, text=True, timeout=300,
                                  check=False)
        if prepared.returncode != 0:
            raise Failed("Wine is not ready")
        self.wine = prepared.stdout.strip()
        self.port = int(os.environ.get("TARNEL_COM_PORT", 99))

    def link(self, _):
        return os.path.join(self.prefix, "dosdevices", f"com{self.port}")

    def path(self, path):
        return "Z:" + os.path.abspath(path).replace("/", "\\")

    def environment(self):
        return dict(os.environ, WINEPREFIX=self.prefix, WINEDEBUG="-all",
                    WINEDLLOVERRIDES="winedbg.exe=d;mscoree=;mshtml=")

    def command(self, _, arguments):
        return [self.wine, built(self.program), "--port", str(self.port), *arguments], self.environment()

    def host_command(self, folder, arguments):
        """Through the command interpreter, because Wine sets the user's home itself."""
        environment = self.environment()
        program = self.path(built(os.path.join(os.path.dirname(self.program), "tracehost.exe")))
        home = self.path(os.path.join(folder, "home"))
        return [self.wine, "cmd", "/c", f"set USERPROFILE={home}&& {program} {' '.join(arguments)}"], environment


class Session:
    """Files in `folder`: board.json, tpiu.json, sent.bin (the wire), captured.bin, source.json (its report)."""

    def __init__(self, build, platform, folder, clock):
        self.swosource = os.path.join(build, "bin", "swosource")
        built(self.swosource)
        self.platform = platform
        self.folder = folder
        self.clock = clock
        self.source = None
        self.collector = None
        os.makedirs(os.path.join(folder, "home"), exist_ok=True)
        for name in ("tpiu.json", "sent.bin", "captured.bin", "source.json", "collector.out", "collector.err"):
            if os.path.exists(self.file(name)):
                os.unlink(self.file(name))
        self.write("board.json", {"trace_clock_hz": clock, "tpiu": "tpiu.json"})

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in (self.collector, self.source):
            if process is not None and process.poll() is None:
                process.terminate()
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()

    def file(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        """In one step: whoever reads it sees the old content or the new one."""
        with open(self.file(name + ".new"), "w") as file:
            json.dump(content, file)
        os.replace(self.file(name + ".new"), self.file(name))

    def start_source(self, *arguments):
        link = self.platform.link(self.folder)
        command = [self.swosource, "--board", self.file("board.json"), "--link", link,
                   "--record", self.file("sent.bin"), "--report", self.file("source.json"), *map(str, arguments)]
        with open(self.file("source.err"), "w") as errors:
            self.source = subprocess.Popen(command, stderr=errors)
        wait_for(lambda: self.source.poll() is not None or os.path.exists(link), "the pseudo-terminal")
        if self.source.poll() is not None:
            raise Failed(read_text(self.file("source.err")).strip())

    def start_collector(self, prescaler, *arguments):
        output = self.platform.path(self.file("captured.bin"))
        command, environment = self.platform.command(
            self.folder,
            ["--clock", str(self.clock), "--prescaler", str(prescaler), "--output", output, *map(str, arguments)])
        with open(self.file("collector.out"), "w") as out, open(self.file("collector.err"), "w") as errors:
            self.collector = subprocess.Popen(command, env=environment, stdout=out, stderr=errors)

    def lines(self):
        return [json.loads(line) for line in read_text(self.file("collector.out")).splitlines(keepends=True)
                if line.startswith("{") and line.endswith("\n")]

    def wait_ready(self):
        """The collector's first line; None when it has ended without one."""
        wait_for(lambda: self.lines() or self.collector.poll() is not None, "the collector's port")
        return self.lines()[0] if self.lines() else None

    def enable(self, prescaler, enabled=True):
        """What the debugger does to the target's TPIU."""
        self.write("tpiu.json", {"prescaler": prescaler, "pinProtocol": 2, "programmed": True, "enabled": enabled})

    def played(self):
        return os.path.getsize(self.file("sent.bin"))

    def captured(self):
        try:
            return os.path.getsize(self.file("captured.bin"))
        except FileNotFoundError:
            return 0

    def stop_source(self):
        self.source.send_signal(signal.SIGTERM)

    def finish_source(self, seconds=120):
        """Exit status and report."""
        status = self.source.wait(seconds)
        return status, json.loads(read_text(self.file("source.json")) or "null")

    def finish_collector(self, seconds=120):
        """Exit status, report (None without one) and what it said is wrong."""
        status = self.collector.wait(seconds)
        reports = [line for line in self.lines() if "ready" not in line]
        errors = [line for line in read_text(self.file("collector.err")).splitlines()
                  if line.startswith("collector_capture: ")]
        return status, reports[-1] if reports else None, "\n".join(errors).replace("collector_capture: ", "")

    def identical(self):
        """Whether exactly what was on the wire stands in the capture file."""
        size = 1 << 20
        with open(self.file("sent.bin"), "rb") as sent, open(self.file("captured.bin"), "rb") as captured:
            while True:
                piece = sent.read(size)
                if piece != captured.read(size):
                    return False
                if not piece:
                    return True
