"""Tests that claim something of a machine that has the time for it."""
import os
import time

MOST_OTHER_WORK = 0.5  # processes
MOST_TAKEN = 0.01  # of the time, by what shares the hardware; and of waits for a disk
MOST_LATE = 0.01  # of the time that a signal took


class Skip(Exception):
    pass


class Starved(AssertionError):
    """What a machine that is short of time brings about, and nothing else: bytes lost, a signal that came late.
    `played_first` tells whether the source had real-time priority, as a probe needs no processor of the machine's."""

    def __init__(self, text, played_first=True):
        super().__init__(text)
        self.played_first = played_first


def expect_in_time(sent, bytes_captured, faults):
    """Judges by the source's report, the length of the capture and what a check of the counter pattern found in it.
    Bytes may be missing in a `Starved` capture; anything that is wrong is wrong on every machine."""
    if (faults["doubled"], faults["changed"], bytes_captured + sent["dropped"]) != (0, 0, sent["sent"]):
        raise AssertionError(f"{bytes_captured} bytes captured, {faults}; sent: {sent}")
    if sent["dropped"]:
        raise Starved(f"{sent['dropped']} of {sent['sent']} bytes lost", sent["real_time"])
    late = sent["lag"]["total_ms"] / 1e3
    if late > MOST_LATE * sent["wire_seconds"]:
        raise Starved(f"a signal of {sent['wire_seconds']:.1f} s came {late:.2f} s late", sent["real_time"])


def other_work():
    """How many other processes want to run, on average over a second in which the test does nothing."""
    samples = []
    for _ in range(50):
        with open("/proc/stat") as file:
            samples += [int(line.split()[1]) - 1 for line in file if line.startswith("procs_running")]
        time.sleep(0.02)
    return sum(samples) / len(samples)


def taken_seconds():
    """Seconds so far that a hypervisor took from the processors, and in which something waited for a disk."""
    with open("/proc/stat") as file:
        stolen = int(file.readline().split()[8]) / os.sysconf("SC_CLK_TCK")
    try:
        with open("/proc/pressure/io") as file:
            waited = int(file.readline().rpartition("total=")[2]) / 1e6
    except OSError:  # not every kernel tells
        waited = 0.0
    return stolen, waited


def excuses(failure, work, stolen, waited):
    """What speaks for a machine that had no time rather than for a fault. The last two are shares of the time."""
    found = []
    if work > MOST_OTHER_WORK:
        found.append(f"{work:.1f} other processes wanted to run")
    if stolen > MOST_TAKEN:
        found.append(f"{stolen:.1%} of the time were taken from its processors")
    if waited > MOST_TAKEN:
        found.append(f"{waited:.1%} of the time something waited for a disk")
    if not failure.played_first:
        found.append("the source had no real-time priority")
    return found


def in_real_time(play, tries=3):
    """Losing nothing is claimed of a machine that does nothing else. Where other work goes on all the time, a loss
    proves nothing, and the test is skipped; where there is none, the last of `tries` losses is a failure."""
    for tries_left in reversed(range(tries)):
        before = other_work()
        begin, taken = time.monotonic(), taken_seconds()
        try:
            return play()
        except Starved as failure:
            took = time.monotonic() - begin
            stolen, waited = ((now - then) / took for now, then in zip(taken_seconds(), taken))
            found = excuses(failure, max(before, other_work()), stolen, waited)
            print(f"{failure}; " + (", ".join(found) or "besides the test, the machine did nothing"))
            if tries_left == 0 and found:
                raise Skip("the machine had no time: " + ", ".join(found)) from failure
            if tries_left == 0:
                raise
