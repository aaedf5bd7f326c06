"""What is lost: the counter pattern at the pace of a wire, through a probe's buffer, with and without competition."""
import hashlib
import json
import os
import subprocess
import sys
import time

from harness.context import await_quiet, machine, save
from harness.processes import Failure, Talker, end, sync
from harness.target import Target

PORT = 61
PROBE_BUFFER = 65536
RATES = {"0.2": 200_000, "1.2": 1_200_000, "3": 3_000_000}  # MB/s
PLATFORMS = ("native", "wine")
BUSY = (0, 1, 2)
GATE_RATE, GATE_BUSY = 1_200_000, 1  # up to here nothing may be lost
MOST_LATE = 0.01  # of a run's time; a signal that came later than this was no test of the reader


def cells():
    """Names of all measurements, in an order in which an interrupted table says most."""
    return [f"{platform}:{rate}:{busy}" for busy in BUSY for rate in RATES for platform in PLATFORMS]


def is_gate(cell):
    _, rate, busy = cell.split(":")
    return RATES[rate] <= GATE_RATE and int(busy) <= GATE_BUSY


class Busy:
    """Processes that do nothing but need a processor."""

    def __init__(self, count):
        self.processes = [subprocess.Popen(["sh", "-c", "while :; do :; done"]) for _ in range(count)]

    def close(self):
        for process in self.processes:
            process.kill()
            process.wait()


def recorder(context, platform, rate, output):
    """The collector, told to go on until nothing comes any more."""
    env, wine = dict(os.environ, USERPROFILE=context.work), None
    command = [context.native("collector_capture")]
    if platform == "wine":
        wine = context.wine
        wine.plug(PORT, os.path.realpath(context.path("tty")))
        env, output = wine.env, wine.path(output)
        command = wine.command(context.windows("collector_capture.exe"))
    env[f"KORR_TRACE_COM{PORT}"] = context.path("tty")
    return Talker([*command, "--port", PORT, "--clock", rate * 10, "--prescaler", "0", "--output", output, "--pattern",
                   "counter"], env, None if wine else context.log)


def measure(context, cell, seconds):
    """One run: what was sent, what became of it."""
    platform, rate, busy = cell.split(":")
    output = context.path("loss.bin")
    idle = None if context.smoke else await_quiet()
    options = ["--probe-buffer", str(PROBE_BUFFER), *(["--baud-check", "off"] if platform == "wine" else [])]
    target = Target(context, RATES[rate], seconds, options)
    competitors, reader = None, None
    try:
        reader = recorder(context, platform, RATES[rate], output)
        if not reader.answer().get("ready"):
            raise Failure("collector_capture did not start")
        competitors = Busy(int(busy))
        time.sleep(0.5)
        target.enable()
        sent = target.report()
        competitors.close()
        told = reader.answer()
        if reader.finish() != 0:
            raise Failure("collector_capture failed")
    finally:
        if competitors:
            competitors.close()
        if reader:
            reader.kill()
        target.close()
    os.unlink(output)
    sync()
    return judge(sent, told, idle)


def judge(sent, told, idle):
    """Everything sent was captured, dropped by the probe or left behind; anything else is an error in itself."""
    pattern = told["counter"]
    gone = sent["dropped"]  # those left behind in the probe's buffer included
    return {"sent": sent["sent"], "captured": told["bytes"], "dropped": sent["dropped"],
            "left_behind": sent["left_behind"], "lost": sent["sent"] - told["bytes"],
            "doubled": pattern["doubled"], "changed": pattern["changed"],
            "adds_up": told["bytes"] + gone == sent["sent"] and pattern["lost"] <= gone and
                       pattern["doubled"] == 0 and pattern["changed"] == 0,
            "most_waiting": sent["probe_buffer"]["most_waiting"],
            "late": round(sent["lag"]["total_ms"] / 1e3 / sent["wire_seconds"], 5),
            "source_real_time": sent["real_time"], "reader_cpu_seconds": told["cpu_seconds"],
            "reader_seconds": told["seconds"], "reads": told["reads"], "empty_reads": told["empty_reads"],
            "idle_before": idle}


def digest(*programs):
    """Short name of what was measured: of the bytes of some programs, as far as they are built."""
    found = hashlib.sha256()
    for program in filter(os.path.exists, programs):
        with open(program, "rb") as file:
            found.update(file.read())
    return found.hexdigest()[:16]


class Table:
    """The runs so far, kept in a file after each one, so that the whole can be interrupted and taken up again. Runs of
    other programs, of another length or on another kernel are dropped."""

    def __init__(self, folder, seconds, programs):
        self.folder = folder
        same = {"seconds": seconds, "probe_buffer": PROBE_BUFFER, "programs": programs,
                "kernel": machine()["kernel"]}
        self.record = {**same, "machine": machine(), "cells": {}}
        path = os.path.join(folder, "loss.json")
        if os.path.exists(path):
            with open(path) as file:
                old = json.load(file)
            if all(old.get(key) == value for key, value in same.items()):
                self.record = old
            else:
                print("the runs that are there were made otherwise or of other programs; starting again",
                      file=sys.stderr)

    def runs(self, cell):
        return self.record["cells"].get(cell, [])

    def add(self, cell, run):
        self.record["cells"].setdefault(cell, []).append(run)
        save(self.folder, "loss", self.record)

    def failures(self, gates):
        """Runs whose bytes do not add up and, if `gates`, losses where nothing may be lost."""
        found = []
        for cell, runs in self.record["cells"].items():
            if any(not run["adds_up"] for run in runs):
                found.append(f"{cell}: bytes were changed, doubled or are not accounted for")
            if gates and is_gate(cell) and any(run["lost"] for run in runs):
                found.append(f"{cell}: bytes were lost")
            if gates and is_gate(cell) and any(run["late"] > MOST_LATE for run in runs):
                found.append(f"{cell}: the signal came late, so nothing was shown")
        return found

    def text(self):
        lines = ["runs with loss / runs, bytes lost of bytes sent (* may lose nothing; L: the signal came more than "
                 f"{MOST_LATE:.0%} late)",
                 "platform  busy  " + "".join(f"{rate + ' MB/s':>28}" for rate in RATES)]
        for platform in PLATFORMS:
            for busy in BUSY:
                shown = [self.cell_text(f"{platform}:{rate}:{busy}") for rate in RATES]
                lines.append(f"{platform:10}{busy:<6}" + "".join(f"{text:>28}" for text in shown))
        return "\n".join(lines)

    def cell_text(self, cell):
        runs = self.runs(cell)
        if not runs:
            return "-"
        lossy = sum(1 for run in runs if run["lost"])
        lost, sent = (sum(run[key] for run in runs) for key in ("lost", "sent"))
        late = any(run["late"] > MOST_LATE for run in runs)
        return (f"{lossy}/{len(runs)}, {lost} of {sent / 1e6:.1f} M" + ("*" if is_gate(cell) else "") +
                (" L" if late else ""))
