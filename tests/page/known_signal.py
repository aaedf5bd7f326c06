"""A signal of which it is known what the page has to show."""
import math

from itm_signal import ENTER, EXIT, RETURN, Signal

CLOCK = ("--clock", "1MHz", "--timestamp-prescale", "1")
STEP = 100  # ticks that a round of the target takes
ROUNDS = 400
OVERFLOW, DAMAGE = 100, 200  # rounds behind which trace is lost
WORDS = "alpha beta gamma delta epsilon".split()


def known_signal(rounds=ROUNDS):
    """Rounds of STEP ticks: SysTick, in it a data watch and exception 22; text, a value, a PC sample, a counter."""
    signal = Signal().sync()
    for i in range(rounds):
        assert signal.ticks == i * STEP
        signal.exception(15, ENTER).wait(10)
        signal.written(0, 1000 + i).wait(20)
        signal.exception(22, ENTER).wait(5)
        signal.exception(22, EXIT).exception(15, RETURN).wait(10)
        signal.exception(15, EXIT).exception(0, RETURN).wait(15)
        signal.text(0, f"round {i} {WORDS[i % len(WORDS)]}\n").wait(10)
        signal.float(3, level(i)).wait(10)
        (signal.sleep() if i % 5 == 0 else signal.sample(0x08000100 + 4 * (i % 16))).wait(10)
        signal.counters(0x20).wait(10)
        if i == OVERFLOW:
            signal.overflow()
        if i == DAMAGE:
            signal.add(0xA0)  # a header that stands for nothing
    return signal


def level(i):
    return math.sin(i / 20) * 2
