"""What was captured is read by an independent decoder: the bytes become a UART signal again, sigrok-cli decodes it."""
import collections
import csv
import json
import os
import random
import re
import shutil
import subprocess
import unittest

from hosting import HostTest, main
from uart_waveform import waveform

RECORDED = os.environ.get("TARNEL_SWO_RECORDING", "")
SAMPLES_PER_BIT = 4
BAUD = 1_000_000  # of the signal in the file; only its ratio to the sample rate matters

# Starts of the decoder's lines, and what swosource calls such a packet.
KINDS = {"Unhandled sync: 00 00 00 00 00 80": "synchronisation", "1: 0x": "port 1", "31: 0x": "port 31",
         "Timestamp: ": "local timestamp", "PC: 0x": "PC sample", "Overflow": "overflow", "Enter: ": "exception trace",
         "Exit: ": "exception trace", "Resume: ": "exception trace"}


def timestamp(chance):
    """A local timestamp: ticks of up to 28 bits, the last byte without its highest bit."""
    if chance.random() < 0.3:
        return bytes([chance.randrange(1, 7) << 4])
    ticks = [chance.randrange(128) for _ in range(chance.randrange(1, 5))]
    return bytes([0xC0 | chance.randrange(3) << 4, *(part | 0x80 for part in ticks[:-1]), ticks[-1]])


def packet(chance):
    """A random packet of those that both decoders know."""
    comparator = chance.randrange(4)
    return chance.choice([
        lambda: bytes(5) + b"\x80",
        lambda: b"\x70",
        lambda: timestamp(chance),
        lambda: bytes([chance.randrange(32) << 3 | 2]) + chance.randbytes(2),
        lambda: bytes([chance.randrange(32) << 3 | 3]) + chance.randbytes(4),
        lambda: b"\x0e\x0f" + bytes([chance.choice([0x10, 0x20, 0x30])]),
        lambda: b"\x17" + chance.randbytes(4),
        lambda: b"\x05" + bytes([chance.randrange(1, 64)]),
        lambda: bytes([0x47 | comparator << 4]) + chance.randbytes(4),
        lambda: bytes([0x4E | comparator << 4]) + chance.randbytes(2),
        lambda: bytes([0x85 | comparator << 4 | chance.choice([0, 8])]) + chance.randbytes(1),
        lambda: bytes([0x86 | comparator << 4 | chance.choice([0, 8])]) + chance.randbytes(2),
        lambda: bytes([0x87 | comparator << 4 | chance.choice([0, 8])]) + chance.randbytes(4),
    ])()


def as_shown(row):
    """The other decoder's line for a row of `tracehost decode --format csv`, as far as both tell the same."""
    value = int(row["value"], 16) if row["value"] else 0
    digits = f"0x{value:0{2 * int(row['size'])}x}"
    counters = ["Cyc", "Fold", "LSU", "Sleep", "Exc", "CPI"]
    return {
        "sync": lambda: "Unhandled sync: 00 00 00 00 00 80",
        "overflow": lambda: "Overflow",
        "local-time": lambda: f"Timestamp: {row['ticks']}",
        "stimulus": lambda: f"{row['source']}: {digits}",
        "exception": lambda: {"enter": "Enter", "exit": "Exit", "return": "Resume"}[row["function"]] + ": SysTick",
        "pc-sample": lambda: f"PC: {digits}",
        "event-counters": lambda: "DWT events: " + " ".join(
            name for place, name in zip(range(5, -1, -1), counters) if value >> place & 1),
        "data-pc": lambda: f"Watchpoint {row['source']}: PC {digits}",
        "data-address": lambda: f"Watchpoint {row['source']}: address 0x????{digits[2:]}",
        "data-value": lambda: f"Watchpoint {row['source']}: {row['function'].capitalize()} data {digits}",
    }[row["kind"]]()


@unittest.skipUnless(shutil.which("sigrok-cli"), "sigrok-cli is not installed")
class Decoding(HostTest):
    def record(self, size, *source):
        """Records `size` bytes of a signal with tracehost and gives the raw file without its padding."""
        number, _ = self.source("--board", self.file("board.json"), *source)
        raw = self.file("trace.bin")
        done = self.run_host("record", "--port", str(number), "--clock", "1152000", "--prescaler", "9", "--cpu",
                             "board/cpu", "--bytes", str(size), "--format", "raw", "--output", self.host_path(raw))
        self.assertEqual(done.returncode, 0, done.stderr)
        return self.read(raw)[:size]

    def decode(self, data, decoders):
        """The lines of the instruction trace decoder. A line of text may hold line feeds: they are kept."""
        signal = self.file("signal.bin")
        with open(signal, "wb") as out:
            out.write(waveform(data, SAMPLES_PER_BIT))
        done = subprocess.run(
            ["sigrok-cli", "-i", signal, "-I", f"binary:numchannels=1:samplerate={BAUD * SAMPLES_PER_BIT}", "-P",
             f"uart:rx=0:baudrate={BAUD},{decoders}", "-A", "arm_itm"], capture_output=True, text=True, timeout=300)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.split("arm_itm-1: ")[1:]

    @staticmethod
    def text(lines, port=0):
        return "".join(match[1] for match in (re.match(rf'{port}: "(.*)"', line, re.S) for line in lines) if match)

    def test_decoder_reads_the_packets_that_were_sent(self):
        number = 40_000
        data = self.record(number, "--pattern", "itm", "--bytes", str(number), "--rate", "20000")
        self.started[0].process.wait(60)
        with open(self.started[0].report) as file:
            sent = json.load(file)["content"]
        lines = self.decode(data, "arm_itm")
        counts = collections.Counter(kind for line in lines for start, kind in KINDS.items() if line.startswith(start))
        expected = {kind: count for kind, count in sent["packets"].items() if kind != "port 0"}
        self.assertEqual(dict(counts), expected)
        text = self.text(lines)
        # The decoder shows a text when the next thing comes, so the last line may be missing.
        whole = text.splitlines()[:text.count("\n")]
        self.assertGreaterEqual(len(whole), sent["text"]["lines"] - 1)
        self.assertEqual(whole, [f"tick {tick:06}, level {300 + tick * 7 % 400} mV" for tick in range(len(whole))])

    def test_both_decoders_tell_the_same_of_random_packets(self):
        chance = random.Random(11)
        data = b"".join(packet(chance) for _ in range(3000)) + b"\x70"
        lines = [re.sub(r" \((exact|timestamp delayed|event delayed)\)$", "", line.strip()) for line in
                 self.decode(data, "arm_itm")]
        lines = [line for line in lines if line not in ("Unhandled sync: 00", "SysTick", "Thread")]
        raw = self.file("trace.bin")
        with open(raw, "wb") as out:
            out.write(data)
        done = self.run_host("decode", self.host_path(raw), "--framing", "itm", "--format", "csv")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual([as_shown(row) for row in csv.DictReader(done.stdout.splitlines())], lines)
        self.assertEqual(len(lines), 3001)

    @unittest.skipUnless(os.path.exists(RECORDED), "TARNEL_SWO_RECORDING names no recording of a real target")
    def test_decoder_reads_what_a_real_target_printed(self):
        size = os.path.getsize(RECORDED)
        data = self.record(size, "--stream", RECORDED, "--rate", "8000")
        self.assertEqual(data, self.read(RECORDED))
        printed = self.text(self.decode(data, "arm_tpiu:stream=1,arm_itm"))
        self.assertEqual(re.sub("(On|Off)", "", printed), "", printed)
        self.assertGreaterEqual(printed.count("On"), 3)
        self.assertGreaterEqual(printed.count("Off"), 3)


if __name__ == "__main__":
    main()
