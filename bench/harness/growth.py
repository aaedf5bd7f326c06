"""How the cost grows: with the bytes captured, and with the drivers that record at once."""
import os
import statistics

from harness import plot, stats
from harness.capture import CLOCK, Collector, MIB, measure
from harness.figures import figure
from harness.processes import Failure, PATIENCE, Talker, cpu_seconds, sync
from harness.road import Road, carry

FIRST_PORT = 61
EACH = 4 * MIB  # bytes of each of several drivers
CPUS = 2  # that all drivers share
LINEAR = ("at most", 1.05)


def repeats(context, size):
    """Fewer rounds for what takes minutes."""
    return 1 if context.smoke or size > 256 * MIB else 3 if size > 64 * MIB else context.rounds


class Drivers:
    """Some drivers of the whole plug-in, in one reference host."""

    def __init__(self, context, links):
        self.road = Road(context, "drivers", links)
        self.outputs = {port: self.road.capture(f"cpu{port}") for port in links}
        self.talkers = []

    def start(self):
        self.host = self.road.host()
        self.talkers = [self.host]
        carry(self.host, "create")
        for port in self.outputs:
            for command in ("allocate board/cpu{}", "configure board/cpu{} {}.xml", "start board/cpu{}"):
                carry(self.host, command.format(port, port))

    def end(self):
        for command in ("stop board/cpu{}", "release board/cpu{}"):
            for port in self.outputs:
                carry(self.host, command.format(port))
        carry(self.host, "destroy")
        return self.host.finish() == 0

    def close(self):
        for talker in self.talkers:
            talker.kill()
        self.road.close()


class BareLoops:
    """As many bare loops, a process each."""

    def __init__(self, context, links):
        self.program, self.log, self.links = context.native("bare_capture"), context.log, links
        self.outputs = {port: context.path(f"{port}.bin") for port in links}
        self.talkers = []

    def start(self):
        self.talkers = [Talker([self.program, link, self.outputs[port]], log=self.log)
                        for port, link in self.links.items()]
        if any(talker.line() != "ready" for talker in self.talkers):
            raise Failure("a bare loop did not start")

    def end(self):
        return all([talker.finish() == 0 for talker in self.talkers])

    def close(self):
        for talker in self.talkers:
            talker.kill()
        for path in self.outputs.values():
            if os.path.exists(path):
                os.unlink(path)


def put_first(pid):
    """A probe does not share the drivers' processors: what stands for it comes first. False without the right."""
    try:
        os.sched_setscheduler(pid, os.SCHED_FIFO, os.sched_param(1))
    except PermissionError:
        return False
    return True


def several(context, kind, count, each):
    """`count` readers, each fed flat out with as much at the same time."""
    links = {FIRST_PORT + i: context.path(f"tty{i}") for i in range(count)}
    feeder = None
    readers = kind(context, links)
    try:
        feeder = Talker([context.native("pty_feeder"), each,
                         *(path for port, link in links.items() for path in (link, readers.outputs[port]))],
                        log=context.log)
        feeder.answer()
        first = put_first(feeder.pid)
        readers.start()
        before = sum(cpu_seconds(talker.pid) for talker in readers.talkers)
        told = feeder.ask("go", PATIENCE + count * each / MIB)
        cpu = sum(cpu_seconds(talker.pid) for talker in readers.talkers) - before
        ended = readers.end()
        if not ended or not told["complete"] or not feeder.ask("check", PATIENCE)["identical"]:
            raise Failure(f"{count} {kind.__name__}: bytes are missing or wrong")
    finally:
        if feeder:
            feeder.kill()
        readers.close()
    sync()
    return {"seconds": told["seconds"], "cpu_seconds": cpu, "feeder_in_real_time": first}


def one(context, size):
    run = measure(context, Collector(context), size)
    return {"seconds": size / run["bytes_per_second"], "cpu_seconds": run["cpu_ns_per_byte"] * size / 1e9}


def point(name, size, runs):
    """{name: size, "rounds": n, "seconds": median, "cpu_seconds": median}"""
    return {name: size, "rounds": len(runs), **{
        key: statistics.median(run[key] for run in runs) for key in ("seconds", "cpu_seconds")}}


def curve(context, name, sizes, run):
    points = []
    for size in sizes:
        context.progress(f"{name} {size}")
        points.append(point(name, size, [run(size) for _ in range(repeats(context, size))]))
    return points


def exponents(points, name, label):
    """How steep a curve is as a whole and at its end, in elapsed and in CPU time. None may be steeper than linear."""
    found = []
    for part, some in (("exponent", points), ("exponent, last three", stats.tail(points))):
        for quantity, key in (("time", "seconds"), ("CPU", "cpu_seconds")):
            steepness = stats.slope([(point[name], point[key]) for point in some])
            found.append(figure(f"{quantity} against {label}", part, stats.summary([steepness]), goal=LINEAR))
    return found


def beside_bare_loops(context, count, each):
    """Rounds of that many collectors and bare loops in turn."""
    rounds = []
    for number in range(context.rounds):
        context.progress(f"{count} bare loops, round {number + 1}")
        rounds.append({"drivers": several(context, Drivers, count, each),
                       "bare loops": several(context, BareLoops, count, each)})
    return rounds


def growth(context):
    sizes = [MIB, 4 * MIB, 16 * MIB] if context.smoke else [MIB * 4 ** i for i in range(7)]
    counts = [1, 2, 4, 8] if context.smoke else [1, 2, 4, 8, 16, 32]
    each = MIB // 8 if context.smoke else EACH
    os.sched_setaffinity(0, sorted(os.sched_getaffinity(0))[:CPUS])  # of all that is started from here on
    by_size = curve(context, "bytes", sizes, lambda size: one(context, size))
    by_count = curve(context, "drivers", counts[:-1], lambda count: several(context, Drivers, count, each))
    beside = beside_bare_loops(context, counts[-1], each)
    by_count.append(point("drivers", counts[-1], [one_round["drivers"] for one_round in beside]))
    figures = [
        *exponents(by_size, "bytes", "bytes captured"),
        *exponents(by_count, "drivers", "drivers at once"),
        figure(f"time of {counts[-1]} drivers", "as many bare loops",
               stats.ratio(beside, "drivers", "bare loops", "seconds")),
        figure(f"CPU of {counts[-1]} drivers", "as many bare loops",
               stats.ratio(beside, "drivers", "bare loops", "cpu_seconds")),
    ]
    return {"figures": figures, "by_bytes": by_size, "by_drivers": by_count, "bytes_of_each_driver": each,
            "beside_bare_loops": beside,
            "note": "what stands for the probes has real-time priority, where that is allowed, as hardware does not share "
                    "the drivers' processors"}


def draw(record, path):
    mebibytes = [dict(point, bytes=point["bytes"] / MIB) for point in record["by_bytes"]]
    plot.write(path, [
        plot.Panel("One collector: cost against bytes captured", "MiB captured", "seconds", mebibytes, "bytes"),
        plot.Panel(f"Drivers at once, {record['bytes_of_each_driver'] // MIB} MiB each", "drivers", "seconds",
                   record["by_drivers"], "drivers"),
    ], {"seconds": "elapsed time", "cpu_seconds": "CPU time"})
