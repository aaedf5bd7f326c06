"""Tests that claim something of a machine that has the time for it."""
import time

MOST_OTHER_WORK = 0.5
MOST_LATE = 0.01  # of the time that a signal took


class Skip(Exception):
    pass


class Starved(AssertionError):
    """What a machine that is short of time brings about, and nothing else: bytes lost, a signal that came late."""


def expect_in_time(sent, bytes_captured, faults):
    """Judges by the source's report, the length of the capture and what a check of the counter pattern found in it.
    Bytes may be missing in a `Starved` capture; anything that is wrong is wrong on every machine."""
    if (faults["doubled"], faults["changed"], bytes_captured + sent["dropped"]) != (0, 0, sent["sent"]):
        raise AssertionError(f"{bytes_captured} bytes captured, {faults}; sent: {sent}")
    if sent["dropped"]:
        raise Starved(f"{sent['dropped']} of {sent['sent']} bytes lost")
    late = sent["lag"]["total_ms"] / 1e3
    if late > MOST_LATE * sent["wire_seconds"]:
        raise Starved(f"a signal of {sent['wire_seconds']:.1f} s came {late:.2f} s late")


def other_work():
    """How many other processes want to run, on average over a second in which the test does nothing."""
    samples = []
    for _ in range(50):
        with open("/proc/stat") as file:
            samples += [int(line.split()[1]) - 1 for line in file if line.startswith("procs_running")]
        time.sleep(0.02)
    return sum(samples) / len(samples)


def in_real_time(play, tries=3):
    """Losing nothing is claimed of a machine that does nothing else. Where other work goes on all the time, a loss
    proves nothing, and the test is skipped; where there is none, the last of `tries` losses is a failure."""
    for tries_left in reversed(range(tries)):
        before = other_work()
        try:
            return play()
        except Starved as failure:
            work = max(before, other_work())
            print(f"{failure}; besides the test, {work:.1f} processes wanted to run")
            if tries_left == 0 and work > MOST_OTHER_WORK:
                raise Skip("the machine was too busy with other work") from failure
            if tries_left == 0:
                raise
