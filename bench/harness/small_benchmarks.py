"""An idle port, the prescaler search, log lines, the options file: programs that measure themselves."""
import json
import os
import subprocess

from harness import stats
from harness.figures import figure
from harness.processes import Failure


def idle_port(context):
    length, rounds = (50, 2) if context.smoke else (2000, 11)  # ms
    done = subprocess.run([context.native("idle_port"), str(length), str(rounds)], capture_output=True, check=False,
                          env=dict(os.environ, USERPROFILE=context.work))
    if done.returncode != 0:
        raise Failure("idle_port failed")
    measured = json.loads(done.stdout)["rounds"]
    figures = [figure("idle port", "a core", stats.summary([one["core_share"] for one in measured]),
                      goal=("at most", 0.01)),
               figure("stop on an idle port", "", stats.summary([one["stop_ms"] for one in measured]), "ms",
                      goal=("at most", 5))]
    return {"figures": figures, "milliseconds": length, "rounds": measured}


def google(context, program, pattern, level="0"):
    """Runs a Google Benchmark program: {benchmark: [repetition]}, times in ns."""
    output = context.path("google.json")
    times = ["--benchmark_min_time=0.001"] if context.smoke else ["--benchmark_min_time=0.1"]
    command = [context.native(program), f"--benchmark_filter={pattern}", f"--benchmark_repetitions={context.rounds}",
               "--benchmark_enable_random_interleaving=true", f"--benchmark_out={output}", *times]
    env = dict(os.environ, USERPROFILE=context.work, KORR_TRACE_LOGGING=level)
    done = subprocess.run(command, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    if done.returncode != 0:
        raise Failure(f"{program} failed")
    with open(output) as file:
        runs = [run for run in json.load(file)["benchmarks"] if run["run_type"] == "iteration"]
    os.unlink(output)
    for run in runs:
        if run.get("error_occurred"):
            raise Failure(f"{program}: {run['error_message']}")
    names = sorted({run["name"] for run in runs}, key=lambda name: [run["name"] for run in runs].index(name))
    return {name: [run for run in runs if run["name"] == name] for name in names}


def times(runs, divisor=1):
    return stats.summary([run["cpu_time"] / divisor for run in runs])


def calibration(context):
    runs = google(context, "calibration", "Calibration")
    longest = runs["Calibration/8192"]
    points = [(repetitions[0]["rates"], times(repetitions)["median"]) for repetitions in runs.values()]
    allocations = max(run["allocations"] for repetitions in runs.values() for run in repetitions)
    if allocations:
        raise Failure(f"the prescaler search allocates memory {allocations:g} times")
    figures = [
        figure("calibration, 8192 rates", "per rate", times(longest, 8192), "ns"),
        figure("calibration, cost against rates", "exponent", stats.summary([stats.slope(points)]),
               goal=("at most", 1.05)),
        figure("calibration, cost against rates", "exponent, 512 to 8192",
               stats.summary([stats.slope(stats.tail(points))]), goal=("at most", 1.05)),
        figure("calibration, allocations", "whole search", stats.summary([allocations]), goal=("at most", 0)),
    ]
    return {"figures": figures, "cpu_ns_by_rates": points, "rounds": len(longest)}


def log(context):
    lines = google(context, "small_calls", "Line", level="6")
    below = google(context, "small_calls", "Below", level="1")["LogCallBelowLevel"]
    written = lines["LogLine"]
    if not all(run["locks"] >= 1 and run["formats"] >= 1 and run["level"] == 3 for run in written):
        raise Failure("small_calls: the lines of level 6 were not written, or the counts do not count")
    if any(run["locks"] or run["formats"] for run in below):
        raise Failure("a log call below its level takes a lock or formats its text")
    ratio = stats.summary([a["cpu_time"] / b["cpu_time"] for a, b in zip(written, lines["PlainLine"])])
    figures = [
        figure("log line at level 6", "", times(written), "ns"),
        figure("log line at level 6", "same text, 3 plain writes", ratio),
        figure("log call below its level", "", times(below), "ns"),
        figure("log call below its level", "locks + formats",
               stats.summary([run["locks"] + run["formats"] for run in below]), goal=("at most", 0)),
    ]
    return {"figures": figures, "rounds": len(written)}


def options(context):
    runs = google(context, "small_calls", "OptionsFile")
    whole, parser = runs["ReadOptionsFile"], runs["ParseOptionsFile"]
    ratio = stats.summary([a["cpu_time"] / b["cpu_time"] for a, b in zip(whole, parser)])
    figures = [figure("options file read", "", times(whole, 1e6), "ms"),
               figure("options file read", "parser alone", ratio)]
    return {"figures": figures, "rounds": len(whole)}


def trace_decode(context):
    runs = google(context, "trace_decode", "Trace")

    def speed(name):
        """MB/s of CPU time."""
        return stats.summary([run["bytes"] * 1e3 / run["cpu_time"] for run in runs[name]])

    allocations = max(run["allocations"] for repetitions in runs.values() for run in repetitions if "allocations" in run)
    if allocations:
        raise Failure(f"decoding a stream allocates memory {allocations:g} times")
    sizes = [name for name in runs if name.startswith("TraceMixed/")]
    points = [(runs[name][0]["bytes"], times(runs[name])["median"]) for name in sizes]
    largest = sizes[-1]
    loop = stats.summary([(a["cpu_time"] / a["bytes"]) / (b["cpu_time"] / b["bytes"])
                          for a, b in zip(runs[largest], runs["TraceByteLoop"])])
    packet = stats.summary([run["cpu_time"] / run["packets"] for run in runs[largest]])
    figures = [
        figure("decode a mixed stream", "", speed(largest), "MB/s", goal=("at least", 300)),
        figure("decode a mixed stream", "per packet", packet, "ns"),
        figure("decode a mixed stream", "each byte looked up", loop),
        figure("decode a mixed stream", "with times and suspects", speed("TraceMixedWithTimes"), "MB/s"),
        figure("decode a stream of event counters", "", speed("TraceEvents"), "MB/s"),
        figure("decode noise", "", speed("TraceNoise"), "MB/s"),
        figure("decode TPIU frames", "", speed("TraceFrames"), "MB/s", goal=("at least", 500)),
        figure("decode, cost against bytes", "exponent", stats.summary([stats.slope(points)]), goal=("at most", 1.05)),
        figure("decode, allocations", "whole stream", stats.summary([allocations]), goal=("at most", 0)),
    ]
    return {"figures": figures, "cpu_ns_by_bytes": points, "rounds": len(runs[largest])}
