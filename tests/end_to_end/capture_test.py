#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: capture_test.py --build TREE [--windows TREE] CASE

Captures what swosource plays with the receiver's collector, natively or, with --windows, with the Windows program under
Wine. Exit status 0: passed, 1: failed, 77: skipped.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path.insert(0, os.path.join(SOURCE, "simulator", "demo"))
import capture_session as capture  # noqa: E402
from real_time import Skip, expect_in_time, in_real_time  # noqa: E402

SKIPPED = 77
WINE_HIGHEST_BAUD = 4_000_000
REAL_PROBE = 65536           # bytes of a probe's buffer
PATIENT_PROBE = 8 << 20      # of one that loses nothing while the machine does something else
WINE_FALLBACK_BAUD = 38_400
TWELVE_MBAUD = 12_000_000


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


def expect_equal(found, expected, what):
    expect(found == expected, f"{what}: {found!r} instead of {expected!r}")


class Busy:
    """A competing process that never rests."""

    def __enter__(self):
        self.process = subprocess.Popen([sys.executable, "-c", "while True: pass"])

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()


class Test:
    def __init__(self, arguments, folder):
        self.build = arguments.build
        self.wine = arguments.windows is not None
        self.platform = capture.Wine(arguments.windows) if self.wine else capture.Native(arguments.build)
        self.folder = folder

    def session(self, clock):
        return capture.Session(self.build, self.platform, self.folder, clock)

    def baud_check(self, baud):
        """Wine cannot set other rates than those of its list; it leaves the port at 38400 then."""
        return ("--baud-check", "off") if self.wine and baud > WINE_HIGHEST_BAUD else ()

    def run(self, session, prescaler, source, collector):
        """Plays and captures to the end. Returns the first line of the collector and both reports."""
        if "--probe-buffer" not in source:
            source = ["--probe-buffer", PATIENT_PROBE, *source]
        session.start_source(*source)
        session.start_collector(prescaler, *collector)
        ready = session.wait_ready()
        if ready is None:
            raise AssertionError("the collector did not start: " + session.finish_collector()[2])
        session.enable(ready["prescaler"])
        source_status, sent = session.finish_source()
        status, got, message = session.finish_collector()
        print(f"source {source_status}: {sent}\ncollector {status}: {got} {message}")
        return ready, (source_status, sent), (status, got, message)

    def expect_whole(self, session, size, source, collector):
        expect_equal(source[0], 0, "exit status of the source")
        expect_equal(collector[0], 0, "exit status of the collector")
        expect_equal(source[1]["sent"], size, "bytes sent")
        expect_equal(source[1]["taken"], size, "bytes taken")
        expect_equal(collector[1]["bytes"], size, "bytes captured")
        expect(session.identical(), "the capture file differs from what was sent")

    # The cases.

    def itm_at_2_mbaud(self):
        size = 600_000
        with self.session(48_000_000) as session:
            ready, source, collector = self.run(session, 23, ["--pattern", "itm", "--bytes", size], ["--bytes", size])
            self.expect_whole(session, size, source, collector)
            expect_equal(ready["baud"], 2_000_000, "baud rate")
            expect_equal(source[1]["far_end_baud"], 2_000_000, "the port's baud rate")
            expect_equal(source[1]["garbled"], 0, "garbled bytes")

    def auto_prescaler_takes_the_first_rate_of_the_port(self):
        """48 MHz: a pseudo-terminal takes every rate; Wine takes none above 4,000,000, which is 48 MHz / (11 + 1)."""
        size = 100_000
        prescaler, baud = (11, 4_000_000) if self.wine else (0, 48_000_000)
        with self.session(48_000_000) as session:
            ready, source, collector = self.run(session, "auto", ["--bytes", size, "--rate", 100_000],
                                                ["--bytes", size])
            self.expect_whole(session, size, source, collector)
            expect_equal((ready["prescaler"], ready["baud"]), (prescaler, baud), "prescaler and baud rate found")
            expect_equal(collector[1]["prescaler"], prescaler, "prescaler in force")
            expect_equal(source[1]["far_end_baud"], baud, "the port's baud rate")

    def manual_prescaler_does_not_look_at_the_ports_rate(self):
        """The port cannot be set to 9,600,000 baud under Wine and says 38400; the capture goes on."""
        size = 100_000
        with self.session(48_000_000) as session:
            ready, source, collector = self.run(
                session, 4, ["--bytes", size, "--rate", 100_000, "--baud-check", "off"], ["--bytes", size])
            self.expect_whole(session, size, source, collector)
            expect_equal((ready["prescaler"], ready["baud"]), (4, 9_600_000), "prescaler and baud rate")
            expect_equal(source[1]["far_end_baud"], WINE_FALLBACK_BAUD if self.wine else 9_600_000,
                         "the port's baud rate")

    def recorded_stream_of_a_real_target(self):
        recording = os.environ.get("TARNEL_SWO_RECORDING", "")
        if not os.path.exists(recording):
            raise Skip("TARNEL_SWO_RECORDING names no recording of a real target")
        size = os.path.getsize(recording)
        with self.session(8_000_000) as session:
            _, source, collector = self.run(
                session, 0, ["--stream", recording, *self.baud_check(8_000_000)], ["--bytes", size])
            self.expect_whole(session, size, source, collector)
            with open(recording, "rb") as expected, open(session.file("captured.bin"), "rb") as found:
                expect(expected.read() == found.read(), "the capture file differs from the recording")

    def counter_at_12_mbaud(self):
        in_real_time(lambda: self.play_counter_at_12_mbaud(6))

    def counter_at_12_mbaud_for_a_minute(self):
        in_real_time(lambda: self.play_counter_at_12_mbaud(60))

    def play_counter_at_12_mbaud(self, seconds):
        """At 1.2 MB/s, beside a process that keeps one core busy, nothing is lost."""
        size = TWELVE_MBAUD // 10 * seconds
        with Busy(), self.session(TWELVE_MBAUD) as session:
            _, source, collector = self.run(
                session, 0, ["--pattern", "counter", "--bytes", size, "--probe-buffer", REAL_PROBE,
                             *self.baud_check(TWELVE_MBAUD)],
                ["--bytes", size, "--pattern", "counter", "--patience", 5])
            expect_in_time(source[1], collector[1]["bytes"], collector[1]["counter"])
            self.expect_whole(session, size, source, collector)
            expect_equal(source[1]["overruns"]["count"], 0, "overruns")
            expect_equal(collector[1]["counter"], {"lost": 0, "doubled": 0, "changed": 0, "faults": 0}, "faults")

    def reader_that_stands_still_overruns_the_probe(self):
        """100 ms at 1.2 MB/s are 120 KB, of which 4 KB fit. What is lost is known to the byte."""
        size = 2_400_000
        with self.session(TWELVE_MBAUD) as session:
            _, source, collector = self.run(
                session, 0, ["--pattern", "counter", "--bytes", size, "--probe-buffer", 4096,
                             *self.baud_check(TWELVE_MBAUD)],
                ["--pattern", "counter", "--patience", 2, "--pause-after", 600_000, "--pause-ms", 100])
            status, sent = source
            gaps = sent["overruns"]["gaps"]
            expect_equal(status, 3, "exit status of the source")
            expect(sent["overruns"]["longest"] > 10_000, "no gap of more than 10 KB")
            expect_equal(sent["taken"] + sent["dropped"], size, "taken + dropped")
            expect_equal(collector[1]["bytes"] + sent["dropped"], size, "captured + dropped")
            expect_equal(len(gaps), sent["overruns"]["count"], "gaps listed")
            expect_equal(sum(gap["length"] for gap in gaps), sent["dropped"], "bytes in the gaps")
            expect(self.without_gaps(session.file("sent.bin"), gaps) == self.content(session.file("captured.bin")),
                   "the capture file is not what was sent without the gaps")
            self.expect_verifier_agrees(collector[1]["counter"], gaps, size)

    @staticmethod
    def expect_verifier_agrees(counter, gaps, size):
        at_the_end = sum(gap["length"] for gap in gaps if gap["offset"] + gap["length"] == size)
        expect_equal(counter["lost"], sum(gap["length"] for gap in gaps) - at_the_end, "bytes that the verifier misses")
        expect_equal((counter["doubled"], counter["changed"]), (0, 0), "bytes doubled and changed")

    @staticmethod
    def content(path):
        with open(path, "rb") as file:
            return file.read()

    def without_gaps(self, path, gaps):
        sent = self.content(path)
        begins = [0] + [gap["offset"] + gap["length"] for gap in gaps]
        ends = [gap["offset"] for gap in gaps] + [len(sent)]
        return b"".join(sent[begin:end] for begin, end in zip(begins, ends))

    def stream_that_ends_early_is_reported(self):
        with self.session(20_000_000) as session:
            _, source, collector = self.run(session, 9, ["--bytes", 100_000],
                                            ["--bytes", 300_000, "--patience", 5])
            expect_equal(source[0], 0, "exit status of the source")
            expect_equal(collector[0], 4, "exit status of the collector")
            expect_equal(collector[1]["bytes"], 100_000, "bytes captured")
            expect("the stream ended early" in collector[2], "the reason is not given")
            expect(session.identical(), "the capture file differs from what was sent")

    def source_that_dies_leaves_what_came_before(self):
        with self.session(20_000_000) as session:
            session.start_source("--pattern", "counter", "--probe-buffer", PATIENT_PROBE)
            session.start_collector(9, "--bytes", 10_000_000, "--pattern", "counter", "--patience", 5)
            expect(session.wait_ready() is not None, "the collector did not start")
            session.enable(9)
            capture.wait_for(lambda: session.captured() > 200_000, "some bytes")
            session.source.kill()
            session.source.wait()
            status, got, message = session.finish_collector()
            os.unlink(self.platform.link(self.folder))
            print(status, got, message)
            expect_equal(status, 4, "exit status of the collector")
            expect(got["bytes"] > 200_000, "what came before is not in the file")
            expect_equal(got["counter"]["faults"], 0, "faults in what came before")

    def capture_file_on_a_full_device_is_reported(self):
        """The bytes come, the file takes none of them: that is said, and no success is claimed."""
        with self.session(20_000_000) as session:
            os.symlink("/dev/full", session.file("captured.bin"))
            _, source, collector = self.run(session, 9, ["--bytes", 100_000], ["--bytes", 100_000, "--patience", 5])
            expect_equal(source[0], 0, "exit status of the source")
            expect_equal(collector[0], 4, "exit status of the collector")
            expect_equal(collector[1]["bytes"], 0, "bytes captured")
            expect("the capture file did not take all" in collector[2], "the reason is not given")

    def missing_port_is_reported(self):
        with self.session(20_000_000) as session:
            session.start_collector(9, "--bytes", 1)
            expect(session.wait_ready() is None, "the collector started without a port")
            status, report, message = session.finish_collector()
            expect_equal((status, report, message), (1, None, "Failed to open COM port"), "the collector's answer")

    def wrong_baud_rate_garbles_the_stream(self):
        """The port runs at 1,000,000 baud, the line at 2,000,000."""
        with self.session(48_000_000) as session:
            session.start_source("--pattern", "counter", "--bytes", 200_000, "--probe-buffer", PATIENT_PROBE)
            session.start_collector(47, "--pattern", "counter", "--patience", 5)
            expect(session.wait_ready() is not None, "the collector did not start")
            session.enable(23)
            source_status, sent = session.finish_source()
            status, got, _ = session.finish_collector()
            print(sent, got)
            expect_equal((source_status, status), (0, 0), "exit status of source and collector")
            expect_equal(sent["garbled"], 200_000, "garbled bytes")
            expect_equal((sent["line_baud"], sent["far_end_baud"]), (2_000_000, 1_000_000), "baud rates")
            expect_equal(got["bytes"], sent["taken"], "bytes captured")
            expect(got["counter"]["faults"] > 0, "the pattern came through")
            expect(not session.identical(), "the capture file is what was sent")

    def demo(self, *arguments):
        wine = ["--wine", os.path.dirname(os.path.dirname(self.platform.program))] if self.wine else []
        command = [os.path.join(SOURCE, "simulator", "demo", "plugin_demo"), "--build", self.build, *wine,
                   "--output", self.folder, "--seconds", "1", *arguments]
        done = subprocess.run(command, capture_output=True, text=True, timeout=200)
        print(done.stdout, done.stderr)
        return done

    def demo_captures_every_byte(self):
        done = self.demo()
        expect_equal(done.returncode, 0, "exit status")
        expect("Recorded 200,000 bytes, 0 lost" in done.stdout, "bytes and losses are not shown")
        expect_equal(os.path.getsize(os.path.join(self.folder, "trace.bin")), 200_000, "size of the raw file")
        last = re.search(r'the last one "(.*)"', done.stdout)[1]
        expect(f"\n  {last}\n\nThe ledger" in done.stdout, "the last line of text is not shown")
        expect("\n  0 places lost between the target's pin and the file\n" in done.stdout, "the ledger's totals")
        expect("\n  verdict: good\n" in done.stdout, "the ledger's verdict")
        named = re.findall(r"^  (\S*tracehost) ((?:report|decode) .*)$", done.stdout, re.MULTILINE)
        expect_equal([words.split()[0] for _, words in named], ["report", "report", "decode"], "commands to try next")
        for program, words in named:
            tried = subprocess.run(f"{program} {words}", shell=True, capture_output=True, text=True, timeout=60)
            expect_equal((tried.returncode, len(tried.stdout) > 100), (0, True), f"status and output of {words}")

    def demo_says_what_is_wrong(self):
        for fault, reason in (("early", "the source stopped early"), ("baud", "wrong baud rate"),
                              ("port", "Failed to open COM port")):
            done = self.demo("--fault", fault, *(["--seconds", "5"] if fault == "early" else []))
            expect_equal(done.returncode, 1, f"exit status with {fault}")
            expect(reason in done.stderr, f"the reason is not given with {fault}")
            expect("lost" not in done.stdout, f"success is claimed with {fault}")


def main():
    cases = [name for name in vars(Test) if name not in
             ("session", "baud_check", "run", "expect_whole", "expect_verifier_agrees", "content", "without_gaps",
              "play_counter_at_12_mbaud", "demo") and not name.startswith("_")]
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", required=True)
    parser.add_argument("--windows")
    parser.add_argument("case", choices=cases)
    arguments = parser.parse_args()
    if not os.path.exists(os.path.join(arguments.build, "bin", "swosource")):
        print(f"SKIPPED: {arguments.build}/bin/swosource is missing; build the Linux programs first")
        return SKIPPED
    with tempfile.TemporaryDirectory(prefix="capture_test_") as folder:
        try:
            getattr(Test(arguments, folder), arguments.case)()
        except Skip as reason:
            print(f"SKIPPED: {reason}")
            return SKIPPED
        except (AssertionError, capture.Failed) as failure:
            print(f"FAILED: {failure}")
            return 1
    print("PASSED")
    return 0


if __name__ == "__main__":
    sys.exit(main())
