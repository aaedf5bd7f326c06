"""Capturing flat out from a pseudo-terminal: the collector beside what a user would take instead."""
import os
import subprocess
import time

from harness.processes import Failure, PATIENCE, Talker, cpu_seconds, end, sync
from harness.target import Target

MIB = 1 << 20
PORT = 61
CLOCK = 115200  # Hz; a pseudo-terminal takes every rate and ignores it


class Reader:
    """A program that copies a pseudo-terminal into a file. Subclasses start it and know when it is ready."""

    def __init__(self, context):
        self.context = context

    def cpu(self):
        return cpu_seconds(self.pid)


class OwnReader(Reader):
    """One of the programs here: says "ready", ends with its input."""

    def start(self, link, output):
        self.talker = Talker(self.arguments(link, output), self.env(link), self.log())
        self.pid = self.talker.pid
        if self.talker.line() != "ready":
            raise Failure(f"{self.talker.name} did not start")

    def stop(self):
        if self.talker.finish() != 0:
            raise Failure(f"{self.talker.name} failed")

    def log(self):
        return self.context.log

    def env(self, link):
        return dict(os.environ, USERPROFILE=self.context.work, **{f"KORR_TRACE_COM{PORT}": link})


class Collector(OwnReader):
    def arguments(self, link, output):
        return [self.context.native("capture_run"), CLOCK, output[:-len(f"{PORT}.bin")], PORT]


class Bare(OwnReader):
    def arguments(self, link, output):
        return [self.context.native("bare_capture"), link, output]


class WineReader(OwnReader):
    """Counts the CPU of Wine's server as well."""

    def start(self, link, output):
        self.context.wine.plug(PORT, os.path.realpath(link))
        super().start(link, output)
        self.server = self.context.wine.server()

    def cpu(self):
        return cpu_seconds(self.pid) + cpu_seconds(self.server)

    def log(self):
        return None  # a server that is going down can print without end

    def env(self, link):
        return self.context.wine.env


class WineCollector(WineReader):
    def arguments(self, link, output):
        prefix = self.context.wine.path(output)[:-len(f"{PORT}.bin")]
        return self.context.wine.command(self.context.windows("capture_run.exe"), CLOCK, prefix, PORT)


class WineBare(WineReader):
    def arguments(self, link, output):
        return self.context.wine.command(self.context.windows("bare_capture.exe"), f"\\\\.\\COM{PORT}",
                                         self.context.wine.path(output))


class Tool(Reader):
    """A program of the system, which reads until the pseudo-terminal is closed."""

    def start(self, link, output):
        device = os.path.realpath(link)
        with open(output, "wb") as out:
            self.process = subprocess.Popen(self.arguments(link, output), stdin=subprocess.DEVNULL,
                                            stderr=subprocess.DEVNULL, stdout=out)
        self.pid = self.process.pid
        limit = time.monotonic() + PATIENCE
        while not self.has_open(device):
            if self.process.poll() is not None or time.monotonic() > limit:
                raise Failure(f"{self.arguments(link, output)[0]} did not open {device}")
            time.sleep(0.002)

    def has_open(self, device):
        folder = f"/proc/{self.pid}/fd"
        for name in os.listdir(folder):
            try:
                if os.readlink(f"{folder}/{name}") == device:
                    return True
            except OSError:
                continue
        return False

    def stop(self):
        self.process.kill()
        end(self.process)


class Dd(Tool):
    size = 4096

    def arguments(self, link, output):
        return ["dd", f"bs={self.size}", f"if={link}", f"of={output}", "status=none"]


class SmallDd(Dd):
    size = 100


class Cat(Tool):
    def arguments(self, link, output):
        return ["cat", link]


class Socat(Tool):
    def arguments(self, link, output):
        return ["socat", "-u", f"OPEN:{link},noctty", f"CREATE:{output}"]


def measure(context, reader, size):
    """One run: bytes per second and CPU seconds of the reader, the bytes verified."""
    link, output = context.path("tty"), context.path(f"{PORT}.bin")
    feeder = Talker([context.native("pty_feeder"), size, link, output], log=context.log)
    try:
        feeder.answer()
        reader.start(link, output)
        before = reader.cpu()
        told = feeder.ask("go", PATIENCE + size / MIB)
        cpu = reader.cpu() - before
        reader.stop()
        if not told["complete"]:
            raise Failure(f"{type(reader).__name__}: bytes are missing")
        found = feeder.ask("check", PATIENCE + size / MIB)
        if not found["identical"]:
            raise Failure(f"{type(reader).__name__}: {found}")
    finally:
        feeder.kill()
    os.unlink(output)
    sync()
    return {"bytes_per_second": size / told["seconds"], "cpu_ns_per_byte": cpu / size * 1e9}


def measure_paced(context, reader, rate, seconds):
    """One run at the pace of a wire: CPU seconds of the reader, the bytes compared with those sent."""
    output, sent = context.path(f"{PORT}.bin"), context.path("sent.bin")
    target = Target(context, rate, seconds, ["--record", sent, "--baud-check", "off", "--probe-buffer", str(64 * MIB)])
    try:
        reader.start(target.link, output)
        before = reader.cpu()
        target.enable()
        report = target.report()
        cpu = reader.cpu() - before
        reader.stop()
    finally:
        target.close()
    with open(output, "rb") as captured, open(sent, "rb") as wanted:
        if captured.read() != wanted.read():
            raise Failure(f"{type(reader).__name__}: {report['dropped']} of {report['sent']} bytes were dropped")
    os.unlink(output)
    os.unlink(sent)
    sync()
    return {"cpu_ns_per_byte": cpu / report["sent"] * 1e9, "core_share": cpu / report["wire_seconds"]}


def compare(context, readers, rounds, run):
    """Rounds of one run each, in turn. The first round only warms the caches and is not counted."""
    result = []
    for number in range(rounds + 1):
        context.progress(f"round {number} of {rounds}")
        result.append({name: run(make(context)) for name, make in readers.items()})
    return result[1:]
