"""What was lost is found: holes that swosource made and reports are compared with the ledger of the capture."""
import json
import os
import random
import re
import select
import subprocess
import time
import tty
import unittest

from hosting import HostTest, ON_WINE, SOURCE, main, wait_for

NEAR = 300  # bytes behind a hole in which its entry stands
BEFORE = 8  # the packet that a hole falls in began so much before at most


class Ledger(HostTest):
    def report(self, data, *arguments, status=None):
        """The ledger's entries and its totals."""
        capture = self.file("capture.bin")
        with open(capture, "wb") as out:
            out.write(data)
        result = self.run_host("report", self.host_path(capture), "--json", "-", *arguments)
        lines = [json.loads(line) for line in result.stdout.splitlines()]
        totals = lines.pop()["totals"]
        self.assertEqual(result.returncode, totals["status"], result.stderr)
        if status is not None:
            self.assertEqual(totals["status"], status, result.stdout[-2000:])
        return lines, totals


def firmware(size):
    """The trace of a small made-up firmware, written here: text on port 0, a counter on port 1, exceptions, PC samples and
    local timestamps. No overflows, so that every entry is a hole's."""
    stream = bytearray()
    tick = 0

    def timestamp(ticks):
        if 1 <= ticks <= 6:
            stream.append(ticks << 4)
            return
        stream.append(0xC0)
        while True:
            more = 0x80 if ticks > 0x7F else 0
            stream.append(ticks & 0x7F | more)
            ticks >>= 7
            if not ticks:
                return

    while len(stream) < size:
        if tick % 16 == 0:
            stream.extend(b"\0\0\0\0\0\x80")
        stream.extend((0x0E, 15, 0x10))
        timestamp(5)
        stream.extend(b"\x0B" + tick.to_bytes(4, "little"))
        stream.extend((0x0E, 15, 0x20, 0x0E, 0, 0x30))
        timestamp(3 + tick % 500)
        for character in b"tick %06u, level %3u mV\n" % (tick, 300 + tick * 7 % 400):
            stream.extend((0x01, character))
        timestamp(40000 + tick % 5000)
        stream.extend(b"\x17" + (0x08000100 + tick * 52 % 0x4000).to_bytes(4, "little"))
        stream.extend(b"\xFA" + (tick & 0xFFFF).to_bytes(2, "little"))
        tick += 1
    return bytes(stream[:size])


def counters(data):
    """Offsets behind which a whole value of the counter on port 1 has come."""
    places, i = [], 0
    while i < len(data):
        header = data[i]
        if header == 0:
            i = data.index(0x80, i) + 1
            continue
        if header == 0xC0:
            i += 1
            while i < len(data) and data[i] & 0x80:
                i += 1
            i += 1
            continue
        length = 1 + (0, 1, 2, 4)[header & 3] if header & 3 else 1
        if header == 0x0B:
            places.append((i, i + length))
        i += length
    return places


class Holes(Ledger):
    """Holes in a stream, far enough apart that each has its place in the ledger."""

    @classmethod
    def setUpClass(cls):
        cls.whole = firmware(1_500_000)

    def cut(self, holes, seed, longest=5000):
        """The stream with holes, and for each hole its place in what is left and its length."""
        chance = random.Random(seed)
        left, cuts, taken = bytearray(), [], 0
        step = len(self.whole) // (holes + 1)
        for hole in range(1, holes + 1):
            place = step * hole + chance.randrange(step // 4)
            length = chance.randrange(1, longest)
            left += self.whole[taken:place]
            cuts.append((len(left), length))
            taken = place + length
        left += self.whole[taken:]
        return bytes(left), cuts

    @staticmethod
    def of_hole(entry, place):
        return place - BEFORE <= entry["offset"] <= place + NEAR

    def test_whole_stream_has_no_entry(self):
        entries, totals = self.report(self.whole[:1_000_000], status=0)
        self.assertEqual([entry for entry in entries if entry["severity"] != "edge"], [])
        self.assertEqual(totals["verdict"], "good")

    def test_holes_have_entries_beside_them_and_nothing_else_has(self):
        seen, holes, promised, tried = 0, 0, 0, 0
        for seed in range(1, 5):
            left, cuts = self.cut(100, seed)
            entries, totals = self.report(left, status=3)
            entries = [entry for entry in entries if entry["severity"] != "edge"]
            for entry in entries:
                self.assertTrue(any(self.of_hole(entry, place) for place, _ in cuts), entry)
            seen += sum(any(self.of_hole(entry, place) for entry in entries) for place, _ in cuts)
            holes += len(cuts)
            forecast = totals["forecast"]
            promised += forecast["seen_as_loss"] + forecast["seen_as_hint"]
            tried += forecast["holes"]
        print(f"seen {seen / holes:.2f}, forecast {promised / tried:.2f}")
        self.assertLessEqual(abs(seen / holes - promised / tried), 0.1)

    def test_counter_port_shows_every_hole_and_counts_what_is_missing(self):
        left, cuts = self.cut(60, 2)
        entries, totals = self.report(left, "--counter-port", "1", status=3)
        gaps = [entry for entry in entries if entry["kind"] == "counter-gap"]
        removed, missing = 0, 0
        values = counters(self.whole)
        for place, length in cuts:
            begin = place + removed
            removed += length
            lost = sum(1 for first, end in values if first < begin + length and end > begin)
            missing += lost
            own = [gap for gap in gaps if 0 <= gap["offset"] - place <= 400]
            if lost:
                self.assertEqual(sum(gap["missing"] for gap in own), lost, (place, length, own))
        self.assertEqual(totals["missing"], missing)

    def test_damage_without_a_hole_is_found(self):
        data = bytearray(self.whole[:200_000])
        for place in range(10_000, 190_000, 20_000):
            data[place:place + 12] = b"\x04" * 12
        entries, totals = self.report(bytes(data), status=3)
        self.assertEqual(totals["lost_in_target"], 0)
        for place in range(10_000, 190_000, 20_000):
            self.assertTrue(any(self.of_hole(entry, place) for entry in entries), place)

    def test_what_fail_on_says_decides_the_status_but_not_what_is_told(self):
        data = self.whole[:50_000] + b"\x04\x04" + self.whole[50_000:100_000]
        boundary = counters(self.whole[:50_000])[-1][0]
        overflown = self.whole[:boundary] + b"\x70" + self.whole[boundary:100_000]
        for content, choice, status in ((data, "line", 3), (data, "any", 3), (data, "never", 0),
                                        (overflown, "line", 0), (overflown, "any", 3), (overflown, "never", 0)):
            with self.subTest(choice=choice, status=status):
                _, totals = self.report(content, "--fail-on", choice, status=status)
                self.assertGreaterEqual(totals["lost_between_pin_and_file"] + totals["lost_in_target"], 1)

    def test_decode_gives_the_same_status_and_tells_the_loss_on_standard_error(self):
        self.write("empty", "")
        capture = self.file("capture.bin")
        with open(capture, "wb") as out:
            out.write(self.whole[:50_000] + b"\x04\x04" + self.whole[50_000:100_000])
        result = self.run_host("decode", self.host_path(capture), "--format", "csv", "--output",
                               self.host_path(self.file("rows.csv")))
        self.assertEqual(result.returncode, 3)
        self.assertIn("lost: 1 place (1 between pin and file): 2 bytes damaged", result.stderr)
        result = self.run_host("decode", self.host_path(self.file("empty")))
        self.assertEqual((result.returncode, result.stdout), (4, ""))
        self.assertIn("nothing usable (no-bytes)", result.stderr)


def framed(stream):
    """The stream as stream 1 of TPIU frames, each of which begins with its number; the last one is filled up."""
    frames = bytearray()
    for begin in range(0, len(stream), 14):
        part = stream[begin:begin + 14]
        places = bytearray(b"\x03" + part + bytes(14 - len(part)))
        lowest = 0
        for place in range(2, 15, 2):
            lowest |= (places[place] & 1) << place // 2
            places[place] &= 0xFE
        frames += places + bytes((lowest,))
    return bytes(frames)


class Waiting(Ledger):
    """What comes before the first synchronisation packet is not wanted: it is neither damage nor loss."""

    def setUp(self):
        super().setUp()
        self.late = firmware(6000)[6:]  # without its first synchronisation packet
        self.sync = self.late.index(bytes(5) + b"\x80")
        self.assertGreater(self.sync, len(self.late) // 5)

    def check(self, data, verdict):
        entries, totals = self.report(data, "--wait-for-sync", status=0)
        self.assertEqual((totals["verdict"], totals["lost_between_pin_and_file"]), (verdict, 0))
        self.assertEqual({entry["severity"] for entry in entries}, {"edge"})
        decoded = self.run_host("decode", self.host_path(self.file("capture.bin")), "--wait-for-sync", "--format", "csv")
        self.assertEqual(decoded.returncode, 0, decoded.stderr)

    def test_raw_capture(self):
        self.check(self.late, "good")

    def test_framed_capture(self):
        self.check(framed(self.late), "tpiu-framed")


class TheSheetTells(Ledger):
    """What the port's driver counted while recording stands in the sheet beside the capture."""

    def check(self, data, status, verdict, **sheet):
        with open(self.file("capture.bin.sheet.json"), "w") as out:
            json.dump({"format": "KTRS", "version": 1, **sheet}, out)
        entries, totals = self.report(data, status=status)
        self.assertEqual(totals["verdict"], verdict)
        decoded = self.run_host("decode", self.host_path(self.file("capture.bin")), "--format", "csv", "--output",
                                self.host_path(self.file("rows.csv")), "--force")
        self.assertEqual(decoded.returncode, status, decoded.stderr)
        return entries, decoded.stderr

    def test_driver_losses_stand_where_they_were_noticed(self):
        entries, told = self.check(
            firmware(50_000), 3, "good", port_counters_before={"overrun": 1}, port_counters_after={"overrun": 7},
            port_counter_growth=[[10_000, 2, 0, 0, 0, 0], [30_000, 1, 0, 0, 0, 0]])
        losses = [(entry["offset"], entry["kind"], entry["count"]) for entry in entries if entry["severity"] == "loss"]
        self.assertEqual(losses, [(10_000, "driver-overrun", 2), (30_000, "driver-overrun", 1), (50_000, "driver-overrun", 3)])
        self.assertIn("lost: 6 places (6 between pin and file)", told)

    def test_a_port_that_was_lost_is_a_loss_for_decode_too(self):
        _, told = self.check(firmware(50_000), 3, "good", ledger={"port-lost": 1})
        self.assertIn("lost: 1 place (1 between pin and file)", told)

    def test_line_errors_hide_no_wrong_rate(self):
        errors = {"port_counters_before": {"framing": 0}, "port_counters_after": {"framing": 90}}
        _, told = self.check(bytes((0x04, 0x0C, 0x84)) * 1000, 4, "rate-too-high", **errors)
        self.assertIn("nothing usable (rate-too-high)", told)
        _, told = self.check(bytes(random.Random(1).choices(range(64, 192), k=5000)), 4, "rate-too-low", **errors)
        self.assertIn("nothing usable (rate-too-low)", told)
        self.check(b"", 4, "line-errors", **errors)
        self.check(firmware(50_000), 3, "line-errors", **errors)


@unittest.skipIf(ON_WINE, "swosource hands its bytes to a port of the same platform")
class Overrun(Ledger):
    """What a probe drops because nobody takes its bytes: swosource tells where."""

    def taken_in_bursts(self):
        """A stream with holes, and where swosource dropped bytes: place in what is left, and length."""
        link = self.file("probe")
        command = [SOURCE, "--link", link, "--enabled", "--baud-check", "off", "--rate", "400000", "--bytes", "1000000",
                   "--probe-buffer", "2000", "--report", self.file("played.json"), "--record-taken", self.file("taken.bin")]
        with subprocess.Popen(command, stderr=subprocess.DEVNULL) as source:
            wait_for(lambda: os.path.exists(link), "swosource's link")
            port = os.open(link, os.O_RDWR | os.O_NOCTTY)
            tty.setraw(port)
            while source.poll() is None:
                until = time.monotonic() + 0.04
                while time.monotonic() < until:
                    if select.select([port], [], [], 0.005)[0]:
                        os.read(port, 65536)
                time.sleep(0.03)
            os.close(port)
        with open(self.file("played.json")) as file:
            played = json.load(file)
        self.assertEqual(played["garbled"], 0)
        cuts, before = [], played["dropped_unattended"]  # until the port was open
        for gap in played["overruns"]["gaps"]:
            cuts.append((gap["offset"] - before, gap["length"]))
            before += gap["length"]
        self.assertEqual(played["dropped"], before)
        return self.read(self.file("taken.bin")), cuts

    def test_ledger_agrees_with_what_the_source_has_dropped(self):
        data, cuts = self.taken_in_bursts()
        # What was dropped before the port was open, and while little was known, is left out.
        first = 20_000
        inside = [place for place, _ in cuts if first < place < len(data) - 1000]
        self.assertGreater(len(inside), 5)
        entries, totals = self.report(data)
        told = [entry for entry in entries if entry["class"] != "target" and entry["severity"] != "edge" and
                entry["offset"] > first - BEFORE]
        for entry in told:
            self.assertTrue(any(Holes.of_hole(entry, place) for place, _ in cuts), entry)
        seen = sum(any(Holes.of_hole(entry, place) for entry in told) for place in inside)
        print(f"{len(cuts)} holes, of {len(inside)} {seen} seen; forecast {totals['forecast']}")
        self.assertGreater(seen, len(inside) // 4)


@unittest.skipIf(ON_WINE, "swosource hands its bytes to a port of the same platform")
class Recorded(Ledger):
    """Recordings through the plug-in."""

    def record(self, number, *more):
        return self.run_host("record", "--port", str(number), "--clock", "1152000", "--prescaler", "9", "--output",
                             self.file("trace.bin"), *more)

    def test_recording_tells_what_was_lost_and_keeps_a_sheet(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm", "--bytes", "60000")
        result = self.record(number, "--bytes", "60000")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertRegex(result.stdout, r"  lost          \d+ places \(\d+ in the target\)\n")
        with open(self.file("trace.bin.sheet.json")) as file:
            sheet = json.load(file)
        self.assertEqual((sheet["format"], sheet["bytes"], sheet["trace_clock_hz"], sheet["prescaler"],
                          sheet["timestamp_prescale"], sheet["stop_reason"], sheet["baud_taken"]),
                         ("KTRS", 60000, 1152000, 9, 4, "size", 115200))
        self.assertEqual(sheet["port_counters_note"], "not told by this port")
        self.assertEqual(sheet["arrivals"][-1][1], 60000)
        report = self.run_host("report", self.file("trace.bin"))
        self.assertIn("of 4 cycles at 1,152,000 Hz", report.stdout)  # from the sheet

    def test_sheet_tells_versions_port_and_rate_also_when_nothing_comes(self):
        number, link = self.port()
        near_end, far_end = os.openpty()
        os.symlink(os.ttyname(far_end), link)
        self.record(number, "--seconds", "0.3", "--timestamp-prescale", "16")
        os.close(far_end)
        os.close(near_end)
        with open(self.file("trace.bin.sheet.json")) as file:
            sheet = json.load(file)
        version = r"1\.\d+\.\d+ \([0-9a-f]{7}(-dirty)?\)"
        self.assertRegex(sheet["host"], f"^tracehost {version}$")
        self.assertRegex(sheet["plugin"], f"^libTarnel.so {version}$")
        self.assertEqual((sheet["port"], sheet["baud_taken"], sheet["bytes"], sheet["trace_clock_from"],
                          sheet["timestamp_prescale"]), (f"COM{number}", 115200, 0, "given", 16))
        self.assertNotIn("rates", sheet)

    def test_sheet_tells_what_an_options_file_asked_for(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm", "--bytes", "4000")
        self.run_host("record", "--options", self.options(COMPORT=number, TSPRESCALAR="64"), "--bytes", "4000", "--output",
                      self.file("trace.bin"))
        with open(self.file("trace.bin.sheet.json")) as file:
            sheet = json.load(file)
        self.assertEqual((sheet["trace_clock_from"], sheet["timestamp_prescale"]), ("given", 64))

    EXPLAINED = (r"COM\d+ \(\S+\) at a trace clock of 1\.152 MHz, prescaler {}:\n"
                 r"prescaler     rate asked     rate taken      error\n{}\n\n")

    def test_explain_shows_the_search_for_the_prescaler(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm", "--bytes", "4000")
        words = ("record", "--port", str(number), "--clock", "1152000", "--bytes", "4000", "--output",
                 self.file("trace.bin"), "--force", "--explain")
        result = self.run_host(*words)
        self.assertRegex(result.stdout, "^" + self.EXPLAINED.format(
            "searched", r"        0      1,152,000      1,152,000     0\.00 %  <- taken by auto"))
        self.assertIn("\n  prescaler     0\n", result.stdout)
        with open(self.file("trace.bin.sheet.json")) as file:
            self.assertEqual(json.load(file)["rates"], [[0, 1152000.0, 1152000]])

    def test_explain_of_a_given_prescaler_shows_its_rate(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm")
        result = self.record(number, "--bytes", "4000", "--explain")
        self.assertRegex(result.stdout, self.EXPLAINED.format(
            "as given", r"        9        115,200        115,200     0\.00 %"))
        shown = json.loads(self.record(number, "--seconds", "0.1", "--explain", "--json", "--force").stdout)
        self.assertEqual(shown["rates"], [{"prescaler": 9, "asked": 115200.0, "taken": 115200, "error": 0.0}])

    def test_explain_says_when_the_port_cannot_be_asked(self):
        result = self.record(77, "--seconds", "0.1", "--explain")
        self.assertEqual(result.returncode, 1)
        self.assertIn("tracehost: --explain: no rates can be shown: No such file or directory: /dev/ttyACM77", result.stderr)

    LOOK = ("diagnose", "--clock", "1152000", "--prescaler", "9", "--port")

    def test_live_port_is_diagnosed_and_nothing_is_kept(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm")
        before = sorted(os.listdir(self.folder))
        result = self.run_host(*self.LOOK, str(number))
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(result.stdout.startswith(f"COM{number}: good (sure): ITM packets, "), result.stdout)
        looked = int(re.search(r"bytes looked at +([\d,]+)", result.stdout)[1].replace(",", ""))
        self.assertTrue(5_000 < looked < 40_000, looked)  # of two seconds at 11,520 a second
        self.assertEqual(sorted(os.listdir(self.folder)), sorted({*before, "tpiu.json", "journal"}))

    def test_live_port_at_the_wrong_rate_is_diagnosed(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm", "--clock", "576000")
        result = self.run_host(*self.LOOK, str(number))
        self.assertEqual(result.returncode, 4, result.stderr)
        self.assertIn("rate-too-high (sure): the port runs 1.88 to 2.12 times as fast as the line", result.stdout)
        self.assertRegex(result.stdout, r"the trace clock is about 0\.5\d\d MHz in place of 1\.152 MHz, or the prescaler is 19 in "
                                        r"place of 9\.")

    def test_silent_port_is_diagnosed(self):
        number, link = self.port()
        near_end, far_end = os.openpty()
        os.symlink(os.ttyname(far_end), link)
        result = self.run_host(*self.LOOK, str(number), "--seconds", "200ms")
        os.close(far_end)
        os.close(near_end)
        self.assertEqual(result.returncode, 4, result.stderr)
        self.assertTrue(result.stdout.startswith(f"COM{number}: no-bytes (sure): the port is open and silent\n"))

    def test_port_that_vanishes_is_told_and_what_came_is_diagnosed(self):
        number, link = self.port()
        near_end, far_end = os.openpty()
        os.symlink(os.ttyname(far_end), link)
        running = subprocess.Popen(self.command(*self.LOOK, str(number), "--seconds", "60"), env=self.environment(),
                                   text=True, cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        wait_for(lambda: os.path.exists(self.capture()), "the capture file")
        os.close(far_end)
        os.close(near_end)
        output, error = running.communicate(timeout=60)
        self.assertEqual(running.returncode, 5, error)
        self.assertIn("the recording was cut short after", error)
        self.assertTrue(output.startswith(f"COM{number}: no-bytes"), output)

    def test_print_gives_the_text_of_the_port_on_standard_output(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm", "--bytes", "40000")
        result = self.record(number, "--bytes", "40000", "--print", "0")
        lines = result.stdout.splitlines()
        self.assertEqual(lines[0], "tick 000000, level 300 mV")
        self.assertGreater(len(lines), 100)
        self.assertTrue(all(line.startswith("tick ") for line in lines))
        self.assertIn("Recorded 40000 bytes", result.stderr)

    def test_stream_can_be_decoded_while_it_is_recorded(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm", "--bytes", "40000")
        command = " ".join(self.command("record", "--port", str(number), "--clock", "1152000", "--prescaler", "9",
                                        "--bytes", "40000", "--quiet", "--output", "-"))
        result = subprocess.run(f"{command} | {' '.join(self.command('decode', '-'))}", shell=True, text=True,
                                env=self.environment(), capture_output=True, timeout=100, cwd=self.folder)
        self.assertTrue(result.stdout.startswith("tick 000000, level 300 mV\n"), result.stderr)
        self.assertGreater(result.stdout.count("\n"), 100)

    def test_silent_target_gives_status_4(self):
        number, link = self.port()
        near_end, far_end = os.openpty()
        os.symlink(os.ttyname(far_end), link)
        result = self.record(number, "--seconds", "0.3")
        os.close(far_end)
        os.close(near_end)
        self.assertEqual(result.returncode, 4, result.stdout)
        self.assertIn("verdict       no-bytes", result.stdout)

    def test_wrong_rate_gives_status_4_and_the_ratio(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "itm", "--clock", "576000")
        result = self.record(number, "--bytes", "20000")
        self.assertEqual(result.returncode, 4, result.stdout)
        told = "rate-too-high (sure): the port runs 1.88 to 2.12 times as fast as the line"
        self.assertIn(told, result.stdout)
        self.assertEqual(result.stderr, f"tracehost: nothing usable came: {told}\n")

    def test_recording_and_file_have_the_same_status_however_sure_the_verdict_is(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        # Of few bytes any packet is believed, and more are captured than are saved.
        for size, status, told in ((200, 3, r"^tracehost: trace was lost: 1 place "),
                                   (20000, 4, r"^tracehost: nothing usable came: rate-too-low \(unsure\): ")):
            result = self.record(number, "--bytes", str(size), "--cpu", f"board/cpu{size}", "--force")
            self.assertRegex(result.stderr, told)
            report = self.run_host("report", self.file("trace.bin"))
            decoded = self.run_host("decode", "--format", "csv", self.file("trace.bin"))
            self.assertEqual((result.returncode, report.returncode, decoded.returncode), (status, status, status))

    def test_what_went_wrong_is_told_without_a_summary_too(self):
        number, link = self.port()
        near_end, far_end = os.openpty()
        os.symlink(os.ttyname(far_end), link)
        told = "nothing usable came: no-bytes (sure): the port is open and silent"
        quiet = self.record(number, "--seconds", "0.2", "--quiet")
        self.assertEqual((quiet.returncode, quiet.stdout, quiet.stderr), (4, "", f"tracehost: {told}\n"))
        result = self.record(number, "--seconds", "0.2", "--quiet", "--json")
        shown = json.loads(result.stdout)
        self.assertEqual((result.returncode, shown["status"], shown["problem"], result.stderr),
                         (4, 4, told, f"tracehost: {told}\n"))
        os.close(far_end)
        os.close(near_end)

    def test_lost_trace_is_told_without_a_summary_too(self):
        data = bytearray(firmware(200_000))
        for place in range(20_000, 180_000, 20_000):
            del data[place:place + 777]
        for index, more in enumerate((("--quiet",), ("--quiet", "--json"))):
            number, link = self.port(index + 1)
            near_end, far_end = os.openpty()
            tty.setraw(far_end)
            os.symlink(os.ttyname(far_end), link)
            running = subprocess.Popen(self.command("record", "--port", str(number), "--clock", "1152000", "--prescaler", "9",
                                                    "--cpu", f"board/cpu{index}", "--counter-port", "1", "--bytes",
                                                    str(len(data)), *more),
                                       env=self.environment(), text=True, cwd=self.folder, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE)
            wait_for(lambda name=f"cpu{index}": os.path.exists(self.capture(name)), "the capture file")
            sent = 0
            while sent < len(data):
                sent += os.write(near_end, data[sent:sent + 1000])
            output, error = running.communicate(timeout=100)
            self.assertEqual(running.returncode, 3, error)
            self.assertRegex(error, r"^tracehost: trace was lost: \d+ places? \(\d+ between pin and file")
            if "--json" in more:
                shown = json.loads(output)
                self.assertEqual((shown["status"], f"tracehost: {shown['problem']}\n"), (3, error))
            os.close(far_end)
            os.close(near_end)


if __name__ == "__main__":
    main()
