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
RATES = {"0.2": 200_000, "1.2": 1_200_000, "3": 3_000_000, "6": 6_000_000}  # MB/s
# What is measured of each platform, and up to where nothing may be lost.
# polling: the native reader as it would be without its larger reads and waits; raised: with a higher priority.
RATES_OF = {"native": ("0.2", "1.2", "3", "6"), "polling": ("1.2", "3", "6"), "raised": ("1.2", "3", "6"),
            "wine": ("0.2", "1.2", "3")}
BUSY_OF = {"native": (0, 1, 2, 4), "polling": (1, 2), "raised": (1, 2), "wine": (0, 1, 2)}
READER_OPTIONS = {"polling": ["--polling"], "raised": ["--priority", "2"]}
NAMES = {"native": "native", "polling": "native, polling", "raised": "native, raised priority", "wine": "under Wine"}
GATES = {"native": (3_000_000, 2), "wine": (1_200_000, 1)}  # bytes/s, busy processes
PLATFORMS = tuple(RATES_OF)
MOST_LATE = 0.01  # of a run's time; a signal that came later than this was no test of the reader


def cells():
    """Names of all measurements, in an order in which an interrupted table says most."""
    return [f"{platform}:{rate}:{busy}" for platform in PLATFORMS for busy in BUSY_OF[platform]
            for rate in RATES_OF[platform]]


def is_gate(cell):
    platform, rate, busy = cell.split(":")
    fastest, busiest = GATES.get(platform, (0, 0))
    return RATES[rate] <= fastest and int(busy) <= busiest


class Busy:
    """Processes that do nothing but need a processor."""

    def __init__(self, count):
        self.processes = [subprocess.Popen(["sh", "-c", "while :; do :; done"]) for _ in range(count)]

    def close(self):
        for process in self.processes:
            process.kill()
            process.wait()


def program_of(context, platform):
    """The program that captures there."""
    return context.windows("collector_capture.exe") if platform == "wine" else context.native("collector_capture")


def recorder(context, platform, rate, output):
    """The collector, told to go on until nothing comes any more."""
    env, wine = dict(os.environ, USERPROFILE=context.work), None
    command = [program_of(context, platform)]
    if platform == "wine":
        wine = context.wine
        wine.plug(PORT, os.path.realpath(context.path("tty")))
        env, output = wine.env, wine.path(output)
        command = wine.command(program_of(context, platform))
    env[f"KORR_TRACE_COM{PORT}"] = context.path("tty")
    return Talker([*command, "--port", PORT, "--clock", rate * 10, "--prescaler", "0", "--output", output, "--pattern",
                   "counter", *READER_OPTIONS.get(platform, [])], env, None if wine else context.log)


def has_raised_thread(process):
    """Whether a thread of it comes to its turn before ordinary ones."""
    tasks = f"/proc/{process}/task"
    return any(os.getpriority(os.PRIO_PROCESS, int(task)) < 0 for task in os.listdir(tasks))


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
        if platform == "raised" and not has_raised_thread(reader.pid):
            raise Failure("the capture thread's priority was refused")
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
    another length or on another kernel are dropped, and those of a platform whose `programs` are others now."""

    def __init__(self, folder, seconds, programs):
        self.folder = folder
        same = {"seconds": seconds, "probe_buffer": PROBE_BUFFER, "kernel": machine()["kernel"]}
        self.record = {**same, "programs": programs, "machine": machine(), "cells": {}}
        path = os.path.join(folder, "loss.json")
        if os.path.exists(path):
            with open(path) as file:
                old = json.load(file)
            if all(old.get(key) == value for key, value in same.items()):
                self.keep(old)
            if self.record["cells"].keys() != old["cells"].keys():
                print("runs that are there were made otherwise or of other programs: these are made anew",
                      file=sys.stderr)

    def keep(self, old):
        """Takes over the runs of programs that are still the same."""
        programs = self.record["programs"]
        for cell, runs in old["cells"].items():
            platform = cell.split(":")[0]
            if old["programs"][platform] == programs[platform]:
                self.record["cells"][cell] = runs

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
                 "reader    busy  " + "".join(f"{rate + ' MB/s':>28}" for rate in RATES)]
        for platform in PLATFORMS:
            for busy in BUSY_OF[platform]:
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


def markdown(folder, platforms):
    """The runs of these platforms that are kept in `folder`, as a table of Markdown."""
    with open(os.path.join(folder, "loss.json")) as file:
        cells = json.load(file)["cells"]
    rows = [["", "busy processes beside", *(f"{rate} MB/s" for rate in RATES)],
            ["---"] * (2 + len(RATES))]
    for platform in platforms:
        for busy in BUSY_OF[platform]:
            found = [cells.get(f"{platform}:{rate}:{busy}", []) for rate in RATES]
            rows.append([NAMES[platform], str(busy), *map(markdown_cell, found)])
    return "\n".join("| " + " | ".join(row) + " |" for row in rows)


def markdown_cell(runs):
    if not runs:
        return ""
    lossy = sum(1 for run in runs if run["lost"])
    late = " (late)" if any(run["late"] > MOST_LATE for run in runs) else ""
    return f"{lossy} of {len(runs)}; {sum(run['lost'] for run in runs):,} of {sum(run['sent'] for run in runs):,}{late}"
