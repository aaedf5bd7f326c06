"""How the cost grows: with the bytes captured, and with the collectors that record at once."""
import os
import statistics

from harness import plot, stats
from harness.capture import CLOCK, Collector, MIB, measure
from harness.figures import figure
from harness.processes import Failure, PATIENCE, Talker, cpu_seconds, sync

FIRST_PORT = 61
EACH = 4 * MIB  # bytes of each of several collectors
LINEAR = ("at most", 1.05)


def repeats(context, size):
    """Fewer rounds for what takes minutes."""
    return 1 if context.smoke or size > 1024 * MIB else 3 if size > 64 * MIB else context.rounds


def several(context, count, each):
    """`count` collectors of one process, each fed flat out with as much at the same time."""
    ports = [FIRST_PORT + i for i in range(count)]
    links = {port: context.path(f"tty{port}") for port in ports}
    pairs = [path for port in ports for path in (links[port], context.path(f"{port}.bin"))]
    env = dict(os.environ, USERPROFILE=context.work, **{f"KORR_TRACE_COM{port}": links[port] for port in ports})
    feeder = Talker([context.native("pty_feeder"), each, *pairs], log=context.log)
    reader = None
    try:
        feeder.answer()
        reader = Talker([context.native("capture_run"), CLOCK, context.path(""), *ports], env, context.log)
        if reader.line() != "ready":
            raise Failure("capture_run did not start")
        before = cpu_seconds(reader.pid)
        told = feeder.ask("go", PATIENCE + count * each / MIB)
        cpu = cpu_seconds(reader.pid) - before
        if reader.finish() != 0 or not told["complete"] or not feeder.ask("check", PATIENCE)["identical"]:
            raise Failure(f"{count} collectors: bytes are missing or wrong")
    finally:
        feeder.kill()
        if reader:
            reader.kill()
    for port in ports:
        os.unlink(context.path(f"{port}.bin"))
    sync()
    return {"seconds": told["seconds"], "cpu_seconds": cpu}


def one(context, size):
    run = measure(context, Collector(context), size)
    return {"seconds": size / run["bytes_per_second"], "cpu_seconds": run["cpu_ns_per_byte"] * size / 1e9}


def curve(context, name, sizes, amount, run):
    """[{name: size, "rounds": n, "seconds": median, "cpu_seconds": median}]; `amount` gives the bytes of a size."""
    points = []
    for size in sizes:
        context.progress(f"{name} {size}")
        runs = [run(size) for _ in range(repeats(context, amount(size)))]
        points.append({name: size, "rounds": len(runs), **{
            key: statistics.median(each[key] for each in runs) for key in ("seconds", "cpu_seconds")}})
    return points


def exponent(points, name, key):
    return stats.summary([stats.slope([(point[name], point[key]) for point in points])])


def growth(context):
    sizes = [MIB, 4 * MIB] if context.smoke else [MIB * 4 ** i for i in range(7)]
    counts = [1, 2] if context.smoke else [1, 2, 4, 8, 16, 32]
    each = MIB // 4 if context.smoke else EACH
    by_size = curve(context, "bytes", sizes, lambda size: size, lambda size: one(context, size))
    by_count = curve(context, "collectors", counts, lambda count: count * each,
                     lambda count: several(context, count, each))
    figures = [
        figure("time against bytes captured", "exponent", exponent(by_size, "bytes", "seconds"), goal=LINEAR),
        figure("CPU against bytes captured", "exponent", exponent(by_size, "bytes", "cpu_seconds"), goal=LINEAR),
        figure("time against collectors at once", "exponent", exponent(by_count, "collectors", "seconds"), goal=LINEAR),
        figure("CPU against collectors at once", "exponent", exponent(by_count, "collectors", "cpu_seconds"),
               goal=LINEAR),
    ]
    return {"figures": figures, "by_bytes": by_size, "by_collectors": by_count, "bytes_of_each_collector": each}


def draw(record, path):
    mebibytes = [dict(point, bytes=point["bytes"] / MIB) for point in record["by_bytes"]]
    plot.write(path, [
        plot.Panel("One collector: cost against bytes captured", "MiB captured", "seconds", mebibytes, "bytes"),
        plot.Panel(f"Collectors at once, {record['bytes_of_each_collector'] // MIB} MiB each", "collectors", "seconds",
                   record["by_collectors"], "collectors"),
    ], {"seconds": "elapsed time", "cpu_seconds": "CPU time"})
