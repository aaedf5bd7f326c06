"""The capture figures: native beside the programs of the system, under Wine beside the bare loop there."""
from harness import capture, stats
from harness.capture import MIB
from harness.figures import figure

BYTES, CPU = "bytes_per_second", "cpu_ns_per_byte"


def native(context):
    readers = {"collector": capture.Collector, "bare loop": capture.Bare, "cat": capture.Cat, "socat": capture.Socat,
               "dd bs=4096": capture.Dd, "dd bs=100": capture.SmallDd}
    size = (1 if context.smoke else 64) * MIB
    rounds = capture.compare(context, readers, context.rounds, lambda reader: capture.measure(context, reader, size))
    goals = {"bare loop": (0.97, None), "cat": (0.97, 1.1), "dd bs=100": (1.0, 1.0)}  # fewest bytes/s, most CPU/byte
    figures = []
    for baseline in list(readers)[1:]:
        fewest, most = goals.get(baseline, (None, None))
        figures.append(figure("capture flat out, bytes/s", baseline, stats.ratio(rounds, "collector", baseline, BYTES),
                              goal=fewest and ("at least", fewest)))
        figures.append(figure("capture flat out, CPU/byte", baseline, stats.ratio(rounds, "collector", baseline, CPU),
                              goal=most and ("at most", most)))
    return {"figures": figures, "bytes": size, "rounds": rounds}


def paced(context):
    readers = {"collector": capture.Collector, "bare loop": capture.Bare, "cat": capture.Cat, "dd bs=4096": capture.Dd,
               "dd bs=100": capture.SmallDd}
    rate, seconds = (200_000, 0.3) if context.smoke else (1_200_000, 6)
    rounds = capture.compare(context, readers, context.rounds,
                             lambda reader: capture.measure_paced(context, reader, rate, seconds))
    what = f"capture at {rate / 1e6:g} MB/s"
    figures = [figure(f"{what}, CPU/byte", baseline, stats.ratio(rounds, "collector", baseline, CPU),
                      goal=("at most", 1.3) if baseline == "cat" else None) for baseline in list(readers)[1:]]
    figures.append(figure(f"{what}, CPU", "a core", stats.summary([one["collector"]["core_share"] for one in rounds]),
                          goal=("at most", 0.05)))
    return {"figures": figures, "bytes_per_second": rate, "seconds": seconds, "rounds": rounds}


def wine(context):
    readers = {"collector": capture.WineCollector, "bare loop": capture.WineBare}
    size = (1 if context.smoke else 64) * MIB
    rounds = capture.compare(context, readers, context.rounds, lambda reader: capture.measure(context, reader, size))
    figures = [
        figure("capture flat out, bytes/s", "bare loop", stats.ratio(rounds, "collector", "bare loop", BYTES),
               goal=("at least", 0.97), wine=True),
        figure("capture flat out, CPU/byte", "bare loop", stats.ratio(rounds, "collector", "bare loop", CPU),
               wine=True),
    ]
    return {"figures": figures, "bytes": size, "rounds": rounds, "note": "the CPU time includes that of Wine's server"}
