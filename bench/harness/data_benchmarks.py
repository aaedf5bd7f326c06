"""Reading captured data back, and saving it: through the driver, and by the documented file calls in plain C."""
import os
import resource
import shutil
import subprocess
import time

from harness import stats
from harness.capture import MIB
from harness.figures import figure
from harness.processes import Failure, Talker, cpu_seconds, sync

CALL = 65536  # bytes of one read
READERS = ("driver", "plain", "once")  # the last one opens the file once for each call, the others twice
SLICES = 64   # pieces of a round that are read in turn
TDF_HEAD = b"a host's head of the file\0\0\0\0\0\0\0"
SECTION_HEAD = 24  # length, version, name length, "BinTraceData"
GOAL = ("at least", 0.95)


class Data:
    """A capture of some size, and the program that reads and saves it."""

    def __init__(self, context, size, windows):
        self.size = size
        self.folder = context.path("data")
        self.capture = os.path.join(self.folder, "data", "swotrace_bench.bin")
        os.makedirs(os.path.dirname(self.capture))
        self.wine = context.wine if windows else None
        with open(self.capture, "wb") as file:
            subprocess.run([context.native("pty_feeder"), "pattern", str(size)], stdout=file, check=True)
        sync()
        command = [context.native("data_access"), self.folder]
        if windows:
            command = self.wine.command(context.windows("data_access.exe"), self.wine.path(self.folder))
        self.program = Talker(command, self.wine.env if windows else None)

    def path(self, path):
        return self.wine.path(path) if self.wine else path

    def seconds(self, command):
        told = self.program.ask(command, 600)
        if not told["good"]:
            raise Failure(f"data_access: {command}: a call failed or gave other bytes")
        return told["seconds"]

    def cpu(self):
        """CPU seconds so far, under Wine with those of its server, which does the opening and closing of files."""
        return cpu_seconds(self.program.pid) + (cpu_seconds(self.wine.server()) if self.wine else 0)

    def close(self):
        self.program.finish()
        shutil.rmtree(self.folder)


def read_round(data):
    """All read the whole capture, slice by slice in turn: their rates and CPU time, and the driver's seconds for
    each slice."""
    calls = data.size // CALL // SLICES
    slices = {who: [] for who in READERS}
    cpu = dict.fromkeys(READERS, 0)
    for piece in range(SLICES):
        for who in READERS if piece % 2 == 0 else reversed(READERS):
            before = data.cpu()
            slices[who].append(data.seconds(f"read {who} {piece * calls} {calls}"))
            cpu[who] += data.cpu() - before
    for who in slices:
        data.seconds(f"check {who} 0 {calls * SLICES}")
    sync()
    driver = slices["driver"]
    return {**{who: {"rate": 1 / sum(slices[who]), "cpu": cpu[who]} for who in slices}, "slices": driver,
            "last to first": sum(driver[-SLICES // 8:]) / sum(driver[:SLICES // 8])}


def seek_read(context, windows=False):
    data = Data(context, (4 if context.smoke else 1024) * MIB, windows)
    try:
        rounds = []
        for number in range(context.rounds + 1):
            context.progress(f"round {number} of {context.rounds}")
            rounds.append(read_round(data))
        rounds = rounds[1:]  # the first one warmed the caches
    finally:
        data.close()
    figures = [
        figure("SeekReadTraceData, bytes/s", "same calls in C", stats.ratio(rounds, "driver", "plain", "rate"),
               goal=GOAL, wine=windows),
        figure("SeekReadTraceData, CPU/byte", "same calls in C", stats.ratio(rounds, "driver", "plain", "cpu"),
               wine=windows),
        figure("SeekReadTraceData, bytes/s", "open, seek, read, close", stats.ratio(rounds, "driver", "once", "rate"),
               wine=windows),
        figure("SeekReadTraceData, time/call", "last eighth/first",
               stats.summary([one["last to first"] for one in rounds]), goal=("at most", 1.1), wine=windows),
    ]
    return {"figures": figures, "bytes": data.size, "bytes_per_call": CALL, "rounds": rounds}


def check_saved(data, path, tdf):
    skip = len(TDF_HEAD) + SECTION_HEAD if tdf else 0
    if os.path.getsize(path) != data.size + skip:
        raise Failure(f"{path}: wrong size")
    if tdf:
        with open(path, "rb") as file:
            head = file.read(skip)
        length = (data.size + SECTION_HEAD).to_bytes(4, "little")
        if head != TDF_HEAD + length + (1).to_bytes(4, "little") + (12).to_bytes(4, "little") + b"BinTraceData":
            raise Failure(f"{path}: wrong section header")
    if subprocess.run(["cmp", "-s", "-i", f"{skip}:0", path, data.capture], check=False).returncode != 0:
        raise Failure(f"{path}: other bytes than the capture's")


def save_once(data, output, who, number):
    """One save: seconds. The bytes are verified, the file is removed and the disk left idle again."""
    tdf = number != 2
    if tdf:
        with open(output, "wb") as file:
            file.write(TDF_HEAD)
    if who == "cp":
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.perf_counter()
        subprocess.run(["cp", data.capture, output], check=True)
        seconds = time.perf_counter() - start
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    else:
        before = data.cpu()
        seconds = data.seconds(f"save {who} {number} {data.path(output)}")
        cpu = data.cpu() - before
    check_saved(data, output, tdf and who != "cp")
    os.unlink(output)
    sync()
    return {"rate": 1 / seconds, "cpu": cpu}


def save_file(context, windows=False):
    whole = 256 if windows else 1024  # Wine takes minutes for each GiB
    data = Data(context, (4 if context.smoke else whole) * MIB, windows)
    output = context.path("saved")
    rounds = {"raw": [], "TDF": []}
    try:
        for kind, number in (("raw", 2), ("TDF", 0)):
            for turn in range(context.rounds + 1):
                context.progress(f"{kind}, round {turn} of {context.rounds}")
                who = ("driver", "plain") if windows else ("driver", "plain", "cp")
                rounds[kind].append({name: save_once(data, output, name, number) for name in who})
            rounds[kind].pop(0)
    finally:
        data.close()
    figures = [figure(f"SaveFile {kind}, bytes/s", "same calls in C",
                      stats.ratio(rounds[kind], "driver", "plain", "rate"), goal=GOAL, wine=windows)
               for kind in rounds]
    figures += [figure(f"SaveFile {kind}, CPU/byte", "same calls in C",
                       stats.ratio(rounds[kind], "driver", "plain", "cpu"), wine=windows) for kind in rounds]
    if not windows:
        figures += [figure(f"SaveFile {kind}, {label}", "cp", stats.ratio(rounds[kind], "driver", "cp", quantity))
                    for kind in rounds for label, quantity in (("bytes/s", "rate"), ("CPU/byte", "cpu"))]
    return {"figures": figures, "bytes": data.size, "rounds": rounds}
