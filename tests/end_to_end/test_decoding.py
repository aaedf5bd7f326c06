"""What was captured is read by an independent decoder: the bytes become a UART signal again, sigrok-cli decodes it."""
import collections
import json
import os
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
