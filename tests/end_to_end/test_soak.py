"""Records at 1.2 MB/s (12 Mbaud) through the whole plug-in for SOAK_SECONDS (60), while the host asks for the status
and the number of samples and reads data all the time.

Everything is checked that the host reads, and the whole capture at the end. The resources of the host's process are
looked at every second and must not grow; a summary is printed. SOAK_REPORT names a file for a hundred or two of these
looks (JSON). SOAK_BUSY (0) processes that only need a processor run beside; SOAK_POLLS asks at most so often a second.
"""
import json
import os
import platform
import statistics
import subprocess
import time

from hosting import BIN, HostTest, anonymous_kib, main, wait_for
from real_time import Skip, expect_in_time, in_real_time

SECONDS = int(os.environ.get("SOAK_SECONDS", "60"))
REPORT = os.environ.get("SOAK_REPORT")
BUSY = int(os.environ.get("SOAK_BUSY", "0"))
POLLS = int(os.environ.get("SOAK_POLLS", "0"))  # a second at most; 0: as often as they are answered
BYTES_PER_SECOND = 1_200_000
SIZE = SECONDS * BYTES_PER_SECOND
SAMPLE = 8
READ = 512  # samples a call
WARM_UP = 30  # seconds at most, in which buffers fill
MOST_GROWTH = 128  # KiB from the first to the last tenth
CPU = "board/cpu"


def block(number):
    """The block of the numbered pattern that stands in sample `number`."""
    check = ((number + 1) * 0x9E3779B97F4A7C15 & 0xFFFFFFFFFFFFFFFF) >> 40
    return b"\xa6" + number.to_bytes(4, "little") + check.to_bytes(3, "little")


def resources(process):
    folder = f"/proc/{process}"
    with open(folder + "/status") as status:
        fields = dict(line.split(":", 1) for line in status)
    return {"handles": len(os.listdir(folder + "/fd")), "threads": int(fields["Threads"]),
            "resident_kib": int(fields["VmRSS"].split()[0]), "anonymous_kib": anonymous_kib(process)}


class Soak(HostTest):
    def record(self):
        """A host at the beginning of a recording, and the source that plays to it."""
        self.board.pop("journal", None)
        self.board["trace_clock_hz"] = 12_000_000
        number, source = self.source("--board", self.file("board.json"), "--pattern", "counter", "--bytes", str(SIZE),
                                     records=False)
        host = self.host()
        self.ok(host.ask("create"))
        self.ok(host.ask(f"allocate {CPU}"))
        options = self.options(COMPORT=number, CLKFREQVAL="12000000", PRESCALARVAL="0")
        self.ok(host.ask(f"configure {CPU} {options}"))
        self.ok(host.ask(f"start {CPU}"))
        return host, source

    def poll(self, host):
        """Status, number of samples, and the newest whole samples, which are checked."""
        self.assertEqual(host.ask(f"status {CPU}")["text"], "Recording")
        samples = host.ask(f"samples {CPU}")["samples"]
        first = max(0, samples - 1 - READ)  # the last one may be in the making
        count = min(READ, max(0, samples - 1 - first))
        if count:
            answer = self.ok(host.ask(f"read {CPU} {first} {count}"))
            self.assertEqual(answer["samples"], count)
            self.assertEqual(bytes.fromhex(answer["data"]), b"".join(map(block, range(first, first + count))))
        return samples

    def checked(self):
        """What the check of the whole capture says."""
        done = subprocess.run([os.path.join(BIN, "counter_check"), self.capture()], capture_output=True, text=True,
                              check=False)
        return json.loads(done.stdout)

    def expect_whole(self, host, source):
        """The report of a source that has ended, if all that it sent stands in the capture."""
        self.assertIn(source.process.wait(), (0, 3))  # 3: bytes were dropped
        report = json.loads(self.read(source.report))
        wanted = report["sent"] - report["dropped"]
        wait_for(lambda: host.ask(f"samples {CPU}")["samples"] >= wanted // SAMPLE, "the whole capture")
        self.ok(host.ask(f"stop {CPU}"))
        found = self.checked()
        expect_in_time(report, found["bytes"], found)
        self.assertEqual((found["bytes"], report["sent"], found["lost"], found["faults"]), (SIZE, SIZE, 0, 0))
        return report

    def test_long_recording_loses_nothing_and_grows_nowhere(self):
        try:
            in_real_time(self.play_once, 2)
        except Skip as reason:
            self.skipTest(str(reason))

    def play_once(self):
        competitors = [subprocess.Popen(["sh", "-c", "while :; do :; done"]) for _ in range(BUSY)]
        try:
            self.play()
        finally:
            for competitor in competitors:
                competitor.kill()
                competitor.wait()
            while self.started:
                self.started.pop().end()

    def play(self):
        host, source = self.record()
        seen, polls, second = [], 0, 0
        started = time.monotonic()
        try:
            while source.process.poll() is None:
                self.poll(host)
                polls += 1
                if time.monotonic() - started >= second:
                    seen.append({"second": second, **resources(host.host_process())})
                    second += 1
                if POLLS:
                    time.sleep(1 / POLLS)
        except AssertionError:
            self.expect_whole(host, source)  # after a loss, other bytes than expected are read
            raise
        report = self.expect_whole(host, source)
        took = time.monotonic() - started
        steady = seen[min(len(seen) // 6, WARM_UP):]
        tenth = max(1, len(steady) // 10)
        memory = [statistics.median(entry["anonymous_kib"] for entry in some)
                  for some in (steady[:tenth], steady[-tenth:])]
        print(f"{SIZE:,} bytes in {took:.1f} s ({SIZE / took / 1e6:.3f} MB/s), 0 lost; {polls:,} polls; memory at "
              f"first {memory[0]:,.0f} KiB, at last {memory[1]:,.0f} KiB, resident at most "
              f"{max(entry['resident_kib'] for entry in seen):,} KiB")
        if REPORT:
            with open(REPORT, "w") as out:
                json.dump({"cpus": os.cpu_count(), "kernel": platform.release(),
                           "date": time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime()), "bytes": SIZE, "seconds": round(took, 1),
                           "busy_beside": BUSY, "polls": polls, "source": report,
                           "resources": seen[::max(1, len(seen) // 120)]}, out, indent=1)
        self.assertEqual(len({(entry["handles"], entry["threads"]) for entry in steady}), 1, steady)
        self.assertLessEqual(memory[1], memory[0] + MOST_GROWTH)


if __name__ == "__main__":
    main()
