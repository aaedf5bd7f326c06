"""The capture figures: native beside the programs of the system, under Wine beside the bare loop there."""
from harness import capture, stats
from harness.capture import MIB
from harness.figures import figure

BYTES, CPU = "bytes_per_second", "cpu_ns_per_byte"


def native(context):
    readers = {"collector": capture.Collector, "dd bs=100": capture.Dd, "bare loop": capture.Bare,
               "cat": capture.Cat, "socat": capture.Socat}
    size = (1 if context.smoke else 64) * MIB
    rounds = capture.compare(context, readers, context.rounds, lambda reader: capture.measure(context, reader, size))

    def ratio(baseline, quantity):
        return stats.ratio(rounds, "collector", baseline, quantity)

    figures = [
        figure("capture flat out, bytes/s", "dd bs=100", ratio("dd bs=100", BYTES), goal=("at least", 1.0)),
        figure("capture flat out, CPU/byte", "dd bs=100", ratio("dd bs=100", CPU), goal=("at most", 1.0)),
        figure("capture flat out, bytes/s", "bare loop", ratio("bare loop", BYTES), goal=("at least", 0.97)),
        figure("capture flat out, CPU/byte", "bare loop", ratio("bare loop", CPU)),
        figure("capture flat out, bytes/s", "cat", ratio("cat", BYTES)),
        figure("capture flat out, CPU/byte", "cat", ratio("cat", CPU)),
        figure("capture flat out, bytes/s", "socat", ratio("socat", BYTES)),
        figure("capture flat out, CPU/byte", "socat", ratio("socat", CPU)),
    ]
    return {"figures": figures, "bytes": size, "rounds": rounds,
            "note": "cat and socat read in large blocks and wait for data: the price of polling with reads of at most "
                    "100 bytes, which is what the receiver has to do"}


def paced(context):
    readers = {"collector": capture.Collector, "dd bs=100": capture.Dd, "bare loop": capture.Bare, "cat": capture.Cat}
    rate, seconds = (200_000, 0.3) if context.smoke else (1_200_000, 3)
    rounds = capture.compare(context, readers, context.rounds,
                             lambda reader: capture.measure_paced(context, reader, rate, seconds))
    figures = [figure(f"capture at {rate / 1e6:g} MB/s, CPU/byte", baseline,
                      stats.ratio(rounds, "collector", baseline, CPU)) for baseline in list(readers)[1:]]
    return {"figures": figures, "bytes_per_second": rate, "seconds": seconds, "rounds": rounds,
            "note": "a polling reader takes a whole processor, whatever comes; readers that wait take what they need"}


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
