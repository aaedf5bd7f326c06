"""What decoding a capture costs: tracehost, from a file and through a pipe from 16 MiB to 4 GiB; opening one to see it."""
import json
import os
import shutil
import subprocess

from harness import stats
from harness.figures import figure
from harness.processes import Failure, PATIENCE

MIB = 1 << 20
DONE, TRACE_LOST, NOTHING_USABLE = 0, 3, 4
FEWEST_CPU = 1e-3  # seconds that are told exactly enough


def cost(process):
    """Waits for a program: its exit status, CPU seconds and largest memory in MB."""
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return process.returncode, max(usage.ru_utime + usage.ru_stime, FEWEST_CPU), usage.ru_maxrss * 1024 / 1e6


def run(context, arguments, statuses, source=None):
    process = subprocess.Popen([context.native("tracehost"), *arguments], stdin=source, stdout=subprocess.DEVNULL,
                               stderr=context.log)
    status, seconds, memory = cost(process)
    if status not in statuses:
        raise Failure(f"tracehost {arguments[0]} ended with status {status}")
    return {"cpu_seconds": seconds, "memory_mb": memory}


def feed(context, kind, size, output):
    return subprocess.Popen([context.native("trace_feed"), kind, str(size)], stdout=output, stderr=context.log)


def piped(context, kind, size, arguments, statuses):
    """tracehost decoding so many bytes that trace_feed makes."""
    feeder = feed(context, kind, size, subprocess.PIPE)
    try:
        found = run(context, arguments, statuses, feeder.stdout)
    finally:
        feeder.stdout.close()
        feeder.wait(timeout=PATIENCE)
    if feeder.returncode != 0:
        raise Failure(f"trace_feed {kind} ended with status {feeder.returncode}")
    return found


def report_of(context, kind, size, statuses):
    """MB/s of CPU time of `report` for a file: decoding, times, ledger, summaries."""
    name = context.path(f"{kind}.bin")
    with open(name, "wb") as file:
        if feed(context, kind, size, file).wait(timeout=PATIENCE) != 0:
            raise Failure("trace_feed failed")
    speeds = []
    for turn in range(context.rounds + 1):
        context.progress(f"report, {kind}, round {turn}")
        found = run(context, ["report", name], statuses)
        if turn > 0:
            speeds.append(size / 1e6 / found["cpu_seconds"])
    os.unlink(name)
    return stats.summary(speeds)


def growth(context):
    """`decode` of ever more bytes through a pipe: (bytes, CPU seconds, MB of memory)."""
    sizes = [MIB << shift for shift in ((0, 1, 2) if context.smoke else (4, 6, 8, 10, 12))]
    points = []
    for size in sizes:
        rounds = context.rounds if size <= 64 * MIB else 1
        runs = []
        for turn in range(rounds):
            context.progress(f"decode, {size // MIB} MiB, round {turn + 1}")
            runs.append(piped(context, "mixed", size, ["decode", "-"], [DONE]))
        points.append((size, stats.summary([one["cpu_seconds"] for one in runs])["median"],
                       max(one["memory_mb"] for one in runs)))
    return points


def trace_files(context):
    size = (1 if context.smoke else 256) * MIB
    reports = {"mixed": report_of(context, "mixed", size, [DONE]),
               "damaged": report_of(context, "damaged", size, [TRACE_LOST]),
               "noise": report_of(context, "noise", size // 4, [NOTHING_USABLE])}
    points = growth(context)
    noise = piped(context, "noise", size, ["decode", "-"], [NOTHING_USABLE])
    rows = piped(context, "mixed", size, ["decode", "-", "--format", "csv"], [DONE])
    memory = [point[2] for point in points] + [noise["memory_mb"], rows["memory_mb"]]
    exponent = stats.summary([stats.slope([(size, seconds) for size, seconds, _ in points])])
    figures = [
        figure("report of a file", "whole", reports["mixed"], "MB/s", goal=("at least", 150)),
        figure("report of a file", "a hole in every 64 KiB", reports["damaged"], "MB/s", goal=("at least", 150)),
        figure("report of a file", "noise", reports["noise"], "MB/s"),
        figure("decode of a pipe", f"exponent, up to {points[-1][0] // MIB} MiB", exponent, goal=("at most", 1.05)),
        figure("decode of a pipe", "most memory", stats.summary([max(memory)]), "MB", goal=("at most", 32)),
        figure("decode of a pipe to CSV", "", stats.summary([size / 1e6 / rows["cpu_seconds"]]), "MB/s"),
    ]
    return {"figures": figures, "rounds": context.rounds,
            "by_bytes": [{"bytes": size, "cpu_seconds": seconds, "memory_mb": used} for size, seconds, used in points]}


def trace_view(context):
    """Opening a recording of 4.3 GB as the page does."""
    size = 8 * MIB if context.smoke else 4_300_000_000
    runs = []
    for turn in range(min(context.rounds, 3)):
        context.progress(f"trace-view, round {turn + 1}")
        done = subprocess.run([context.native("trace_view"), str(size)], stdout=subprocess.PIPE, stderr=context.log,
                              check=False)
        if done.returncode != 0:
            raise Failure(f"trace_view ended with status {done.returncode}")
        runs.append(json.loads(done.stdout))

    def of(name):
        return stats.summary([run[name] for run in runs])

    what = f"opening {size / 1e9:.1f} GB"
    figures = [
        figure(what, "first picture", of("first_picture_s"), "s", goal=("at most", 1)),
        figure(what, "complete", of("complete_s"), "s", goal=("at most", 30)),
        figure(what, "index, by the clock", of("index_mb_s"), "MB/s", goal=("at least", 150)),
        figure(what, "index, CPU of all threads", of("index_cpu_s"), "s"),
        figure(what, "memory", of("memory_mb"), "MB", goal=("at most", 256)),
        figure("exact window", "median of 101", of("exact_ms"), "ms", goal=("at most", 30)),
        figure("exact window", "longest of 101", of("longest_exact_ms"), "ms"),
        figure("picture of the whole while indexing", "longest", of("longest_picture_ms"), "ms"),
        figure("profile of 46 %", "", of("profile_ms"), "ms"),
    ]
    return {"figures": figures, "bytes": size, "rounds": runs}


def export_of(context, form, name, size):
    """MB/s of CPU time of `export`, and the most memory it took."""
    folder = context.path("exported")
    speeds, memory = [], []
    for turn in range(context.rounds + 1):
        context.progress(f"export, {form}, round {turn}")
        output = folder if form == "ctf" else os.devnull
        found = run(context, ["export", name, "--format", form, "--output", output, "--clock", "48M", "--port-type", "1=u32"],
                    [DONE])
        shutil.rmtree(folder, ignore_errors=True)
        memory.append(found["memory_mb"])
        if turn > 0:
            speeds.append(size / 1e6 / found["cpu_seconds"])
    return stats.summary(speeds), max(memory)


def trace_exports(context):
    size = (1 if context.smoke else 64) * MIB
    name = context.path("mixed.bin")
    with open(name, "wb") as file:
        if feed(context, "mixed", size, file).wait(timeout=PATIENCE) != 0:
            raise Failure("trace_feed failed")
    figures, memory = [], []
    for form, goal in (("chrome", 20), ("csv", 20), ("jsonl", 20), ("vcd", 20), ("perfetto", 50), ("ctf", 50), ("folded", 50)):
        speed, used = export_of(context, form, name, size)
        figures.append(figure("export of a file", form, speed, "MB/s", goal=("at least", goal)))
        memory.append(used)
    os.unlink(name)
    figures.append(figure("export of a file", "most memory", stats.summary([max(memory)]), "MB", goal=("at most", 32)))
    return {"figures": figures, "rounds": context.rounds}
