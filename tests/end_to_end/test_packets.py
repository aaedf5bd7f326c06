"""Packets of every kind come back through `tracehost decode`, as CSV, JSON lines and text, whole, in pieces and with holes;
what the recording's sheet tells, and the rates of a port."""
import bisect
import csv
import fcntl
import json
import os
import random
import struct
import subprocess
import termios
import tty
import unittest

from hosting import HostTest, ON_WINE, main, wait_for
from test_ledger import firmware

COLUMNS = ["offset", "ns", "ticks", "quality", "kind", "source", "size", "value", "function", "symbol", "flags"]
KINDS = ("sync overflow local-time global-time-low global-time-high page extension stimulus event-counters exception pc-sample "
         "pc-sleep pc-prohibited pmu-overflow data-match data-pc data-address data-value unknown-hardware reserved malformed "
         "unsynchronised truncated-end")
OUT_OF_STEP = {"reserved", "malformed", "unsynchronised", "truncated-end"}
FUNCTIONS = {1: "enter", 2: "exit", 3: "return"}


class Encoder:
    """Random packets of every kind, written from the architecture's table of headers and payloads. Each gives its bytes and
    what a row of CSV says of it: kind, source, size, value, function."""

    def __init__(self, seed):
        self.chance = random.Random(seed)
        self.page = 0

    def payload(self, size):
        return self.chance.getrandbits(8 * size)

    def source(self, number, hardware, size, value):
        header = number << 3 | hardware << 2 | {1: 1, 2: 2, 4: 3}[size]
        return bytes([header]) + value.to_bytes(size, "little")

    def hardware(self, kind, number, size, value, source="", function=""):
        return self.source(number, 1, size, value), (kind, str(source), size, hex(value), function)

    @staticmethod
    def continued(header, value, count):
        """Seven bits a byte, all but the last with the highest bit."""
        return bytes([header, *((value >> 7 * i & 0x7F) | (0x80 if i + 1 < count else 0) for i in range(count))])

    def sync(self):
        self.page = 0
        data = bytes(self.chance.randrange(5, 40)) + b"\x80"
        return data, ("sync", "", len(data), "", "")

    def overflow(self):
        return b"\x70", ("overflow", "", 0, "", "")

    def short_local_time(self):
        ticks = self.chance.randrange(1, 7)
        return bytes([ticks << 4]), ("local-time", "", 0, hex(ticks), "")

    def local_time(self):
        count = self.chance.randrange(1, 5)
        ticks = self.chance.getrandbits(7 * count)
        return (self.continued(0xC0 | self.chance.randrange(4) << 4, ticks, count),
                ("local-time", "", count, hex(ticks), ""))

    def global_time_low(self):
        count = self.chance.randrange(1, 5)
        bits = self.chance.getrandbits(min(26, 7 * count))
        marks = self.chance.randrange(4) << 26 if count == 4 else 0
        return self.continued(0x94, bits | marks, count), ("global-time-low", "", count, hex(bits), "")

    def global_time_high(self):
        count = self.chance.choice((4, 6))
        bits = self.chance.getrandbits(7 * count)
        return self.continued(0xB4, bits, count), ("global-time-high", "", count, hex(bits), "")

    def stimulus_page(self):
        self.page = self.chance.randrange(8)
        return bytes([self.page << 4 | 0x08]), ("page", "", 0, hex(self.page), "")

    def extension(self):
        """Of hardware, or of software with more than the three bits of a page."""
        low, count = self.chance.randrange(8), self.chance.randrange(0, 5)
        hardware = 1 if count == 0 else self.chance.randrange(2)
        high = self.chance.getrandbits(7 * count) if count else 0
        header = low << 4 | 0x08 | hardware << 2 | (0x80 if count else 0)
        return self.continued(header, high, count), ("extension", "", count, hex(high << 3 | low), "")

    def stimulus(self):
        port, size = self.chance.randrange(32), self.chance.choice((1, 2, 4))
        value = self.payload(size)
        return self.source(port, 0, size, value), ("stimulus", str(32 * self.page + port), size, hex(value), "")

    def event_counters(self):
        return self.hardware("event-counters", 0, 1, self.chance.randrange(64))

    def exception(self):
        number, function = self.chance.randrange(512), self.chance.randrange(1, 4)
        return self.hardware("exception", 1, 2, function << 12 | number, number, FUNCTIONS[function])

    def pc_sample(self):
        return self.hardware("pc-sample", 2, 4, self.payload(4))

    def pc_sleep(self):
        return self.hardware("pc-sleep", 2, 1, 0)

    def pc_prohibited(self):
        return self.hardware("pc-prohibited", 2, 1, 0xFF)

    def pmu_overflow(self):
        return self.hardware("pmu-overflow", 3, 1, self.payload(1))

    def data_match(self):
        comparator = self.chance.randrange(4)
        return self.hardware("data-match", 8 + 2 * comparator, 1, 1, comparator)

    def data_pc(self):
        comparator, size = self.chance.randrange(4), self.chance.choice((2, 4))
        return self.hardware("data-pc", 8 + 2 * comparator, size, self.payload(size), comparator)

    def data_address(self):
        comparator, size = self.chance.randrange(4), self.chance.choice((1, 2, 4))
        return self.hardware("data-address", 9 + 2 * comparator, size, self.payload(size), comparator)

    def data_value(self):
        comparator, size, write = self.chance.randrange(4), self.chance.choice((1, 2, 4)), self.chance.randrange(2)
        return self.hardware("data-value", 16 + 2 * comparator + write, size, self.payload(size), comparator,
                             ("read", "write")[write])

    def unknown_hardware(self):
        discriminator, size = self.chance.randrange(24, 32), self.chance.choice((1, 2, 4))
        return self.hardware("unknown-hardware", discriminator, size, self.payload(size), discriminator)

    EVERY_KIND = (sync, overflow, short_local_time, local_time, global_time_low, global_time_high, stimulus_page, extension,
                  stimulus, event_counters, exception, pc_sample, pc_sleep, pc_prohibited, pmu_overflow, data_match, data_pc,
                  data_address, data_value, unknown_hardware)

    def stream(self, packets):
        """The bytes, and the rows: offset before what a packet's method gives."""
        data, rows = bytearray(), []
        for _ in range(packets):
            more, row = self.chance.choice(self.EVERY_KIND)(self)
            rows.append((len(data), *row))
            data += more
        return bytes(data), rows


def naive_end(data, begin):
    """Where the packet at a place ends; None: there is none. By the table of headers alone."""
    header = data[begin]
    place = begin + 1
    if header == 0:
        while place < len(data) and data[place] == 0:
            place += 1
        return place + 1 if place - begin >= 5 and place < len(data) and data[place] == 0x80 else None
    if header & 3:
        return place + (0, 1, 2, 4)[header & 3]
    longest = 6 if header == 0xB4 else 4
    if header & 0x8F == 0 or header & 0x8B == 0x08:  # overflow, short timestamps, extensions of one byte
        return place
    if header & 0xCF != 0xC0 and header & 0x8B != 0x88 and header not in (0x94, 0xB4):
        return None
    for count in range(longest):
        if place + count >= len(data) or not data[place + count] & 0x80:
            return place + count + 1
    return None


class Packets(HostTest):
    def capture_of(self, data, name="capture.bin"):
        with open(self.file(name), "wb") as out:
            out.write(data)
        return self.host_path(self.file(name))

    def decode(self, data, *arguments, status=0):
        result = self.run_host("decode", self.capture_of(data), *arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        return result

    @staticmethod
    def rows_of(text):
        return [(int(row["offset"]), row["kind"], row["source"], int(row["size"]), row["value"], row["function"])
                for row in csv.DictReader(text.splitlines())]


class EveryKind(Packets):
    def test_every_packet_is_a_row(self):
        kinds = set()
        for seed in range(1, 6):
            data, rows = Encoder(seed).stream(4000)
            result = self.decode(data, "--framing", "itm", "--format", "csv")
            self.assertEqual(result.stdout.splitlines()[0], ",".join(COLUMNS))
            self.assertEqual(self.rows_of(result.stdout), rows)
            kinds |= {row[1] for row in rows}
        self.assertEqual(kinds, set(KINDS.split()) - OUT_OF_STEP)

    def test_lines_of_json_tell_the_same(self):
        data, _ = Encoder(6).stream(3000)
        words = ("--framing", "itm", "--clock", "1M")
        table = csv.DictReader(self.decode(data, *words, "--format", "csv").stdout.splitlines())
        lines = [json.loads(line) for line in self.decode(data, *words, "--format", "jsonl").stdout.splitlines()]
        numbers = {"offset", "ns", "ticks", "source", "size"}
        expected = [{name: None if cell == "" else int(cell) if name in numbers else cell for name, cell in row.items()}
                    for row in table]
        self.assertEqual(len(lines), 3000)
        self.assertEqual(lines, expected)
        self.assertEqual(list(lines[0]), COLUMNS)

    @unittest.skipIf(ON_WINE, "a pipe through cmd has no pieces that a test decides")
    def test_pieces_of_a_pipe_change_nothing(self):
        data, rows = Encoder(7).stream(600)
        chance = random.Random(7)
        with open(self.file("rows.csv"), "wb") as out:
            with subprocess.Popen(self.command("decode", "-", "--framing", "itm", "--format", "csv"), stdin=subprocess.PIPE,
                                  stdout=out, stderr=subprocess.DEVNULL, env=self.environment(), bufsize=0) as process:
                done = 0
                while done < len(data):
                    size = chance.choice((1, 2, 3, 7, 50))
                    process.stdin.write(data[done:done + size])
                    done += size
                    wait_for(lambda: self.is_empty(process.stdin), "the piece to be read, or it would join the next")
        self.assertEqual(process.returncode, 0)
        self.assertEqual(self.rows_of(self.read(self.file("rows.csv")).decode()), rows)

    @staticmethod
    def is_empty(pipe):
        return struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, bytes(4)))[0] == 0

    def test_around_a_hole_everything_is_right_and_its_status_is_3_unless_nobody_could_see_it(self):
        data, rows = Encoder(8).stream(5000)
        begins = [row[0] for row in rows]
        chance = random.Random(8)
        holes = 20 if ON_WINE else 60
        seen = 0
        for number in range(holes):
            begin = chance.randrange(len(data) // 2, len(data) - 3000)
            length = chance.randrange(1, 300)
            left = data[:begin] + data[begin + length:]
            result = self.run_host("decode", self.capture_of(left), "--framing", "itm", "--format", "csv")
            found = self.rows_of(result.stdout)
            cut = begins[bisect.bisect_right(begins, begin) - 1]  # the packet in which the hole begins
            with self.subTest(number=number, begin=begin, length=length):
                self.assertEqual([row for row in found if row[0] < cut], [row for row in rows if row[0] < cut])
                # Which page a port is of is lost with the packet that told it, until the next one.
                safe = next(row[0] - length for row in rows
                            if row[0] >= begin + length and row[1] in ("page", "sync"))
                behind = [self.without_page(row, row[0] < safe) for row in found if row[0] >= begin + 300]
                wanted = [(row[0] - length, *row[1:]) for row in rows]
                self.assertEqual(behind, [self.without_page(row, row[0] < safe) for row in wanted if row[0] >= begin + 300])
                if result.returncode == 0:
                    self.assertTrue(self.fits(left, cut, {row[0] - length for row in rows if row[0] >= begin + length}))
                else:
                    self.assertEqual(result.returncode, 3, result.stderr)
                    seen += 1
        print(f"{seen} of {holes} holes seen")
        self.assertGreater(seen, holes // 8)

    @staticmethod
    def without_page(row, unknown):
        return (row[0], row[1], str(int(row[2]) % 32), *row[3:]) if unknown and row[1] == "stimulus" else row

    @staticmethod
    def fits(data, place, begins):
        """Whether packets follow each other from a place on until one of these begins: then no decoder can know."""
        while place is not None and place < len(data):
            if place in begins:
                return True
            place = naive_end(data, place)
        return False


class Options(Packets):
    """Which packets of a capture are shown."""
    # A capture by hand: text of ports 0 to 3, an exception, PC samples, local timestamps of 1,000 ticks.
    DATA = (b"\0\0\0\0\0\x80" b"\x01a" b"\xC0\xE8\x07" b"\x09b" b"\x01c" b"\xC0\xE8\x07" b"\x0E\x0F\x10" b"\x11d"
            b"\xC0\xE8\x07" b"\x17\x00\x01\x00\x08" b"\x19e" b"\x01f" b"\xC0\xE8\x07")
    PLACES = {"sync": 0, "a": 6, "b": 11, "c": 13, "exception": 18, "d": 21, "pc": 26, "e": 31, "f": 33}

    def shown(self, *arguments):
        """Offsets of the rows."""
        return [row[0] for row in self.rows_of(self.decode(self.DATA, "--framing", "itm", "--format", "csv", *arguments).stdout)]

    def text(self, *arguments):
        return self.decode(self.DATA, "--framing", "itm", *arguments).stdout

    def test_kinds(self):
        self.assertEqual(self.shown("--kinds", "exception,pc-sample"), [18, 26])
        self.assertEqual(self.shown("--kinds", "stimulus"), [6, 11, 13, 21, 31, 33])
        self.assertEqual(self.shown("--kinds", "overflow"), [])

    def test_ports(self):
        self.assertEqual(self.shown("--ports", "1,3"), [11, 31])  # stimulus packets alone
        self.assertEqual(self.shown("--ports", "1", "--kinds", "exception,stimulus"), [11, 18])
        self.assertEqual(self.text(), "acf")
        self.assertEqual(self.text("--ports", "1-3"), "bde")
        self.assertEqual(self.text("--ports", "0,2"), "acdf")
        self.assertEqual(self.text("--ports", "200"), "")

    def test_from_and_to_are_offsets(self):
        self.assertEqual(self.shown("--from", "#13", "--to", "#21"), [13, 15, 18])
        self.assertEqual(self.shown("--from", "#33"), [33, 35])
        self.assertEqual(self.shown("--to", "#0"), [])
        self.assertEqual(self.text("--from", "#11"), "cf")
        self.assertEqual(self.text("--to", "#13", "--ports", "0-3"), "ab")

    def test_from_and_to_are_times(self):
        """At 1 MHz a tick is a microsecond: packets get the time of the timestamp behind them."""
        clock = ("--clock", "1M")
        times = {int(row["offset"]): row["ns"] for row in csv.DictReader(
            self.decode(self.DATA, "--framing", "itm", "--format", "csv", *clock).stdout.splitlines())}
        self.assertEqual([times[self.PLACES[name]] for name in ("a", "b", "c", "exception", "d", "pc", "e", "f")],
                         ["1000000", "2000000", "2000000", "3000000", "3000000", "4000000", "4000000", "4000000"])
        self.assertEqual(self.shown(*clock, "--from", "2ms", "--to", "3ms"), [11, 13, 15])
        self.assertEqual(self.shown(*clock, "--from", "3.5ms", "--kinds", "stimulus"), [31, 33])
        self.assertEqual(self.text(*clock, "--from", "2ms", "--ports", "0-3"), "bcdef")
        self.assertEqual(self.text(*clock, "--to", "3ms", "--ports", "0-3"), "abc")
        self.assertEqual(self.text(*clock, "--from", "1us", "--to", "#13"), "a")
        self.assertEqual(self.text(*clock, "--timestamp-prescale", "4", "--to", "5ms"), "a")

    @staticmethod
    def framed(data):
        """As stream 1 in TPIU frames, whose first byte says so. The data fill whole frames."""
        assert len(data) % 15 == 14
        given, out = bytes([1 << 1 | 1]) + data, bytearray()
        for begin in range(0, len(given), 15):
            frame, low = bytearray(given[begin:begin + 15]), 0
            for place in range(0 if begin else 2, 15, 2):  # the lowest bits of data at even places are in the last byte
                low |= (frame[place] & 1) << place // 2
                frame[place] &= 0xFE
            out += frame + bytes([low])
        return b"\xff\xff\xff\x7f" + bytes(out)

    def test_framing(self):
        data = firmware(30_000)[:15 * 1990 + 14]
        text = self.decode(data, "--framing", "itm").stdout
        self.assertTrue(text.startswith("tick 000000, level 300 mV\ntick 000001, level 307 mV\n"), text[:60])
        frames = self.framed(data)
        for words in ((), ("--framing", "auto"), ("--framing", "tpiu"), ("--framing", "tpiu:1")):
            self.assertEqual(self.decode(frames, *words).stdout, text, words)
        self.assertEqual(self.decode(frames, "--framing", "tpiu:2", status=4).stdout, "")
        self.assertNotIn("tick 000001, level", self.decode(frames, "--framing", "itm", status=4).stdout)


class Sheet(Packets):
    """What the sheet tells of port, driver and reader."""
    BEFORE = {"overrun": 1000, "buffer_overrun": 2000, "framing": 3000, "parity": 4000, "break": 5000}
    GROWN = {"overrun": 2, "buffer_overrun": 3, "framing": 5, "parity": 7, "break": 11}

    def told(self, data, **sheet):
        name = self.capture_of(data)
        self.write("capture.bin.sheet.json", json.dumps({"format": "KTRS", "version": 1, **sheet}))
        lines = [json.loads(line) for line in self.run_host("report", name, "--json", "-").stdout.splitlines()]
        entries = {entry["kind"]: entry for entry in lines[:-1] if entry["severity"] != "edge"}
        return entries, lines[-1]["totals"], self.run_host("report", name), self.run_host("diagnose", name)

    def test_growth_of_each_counter_is_a_loss_of_its_kind(self):
        data = firmware(20_000)
        after = {name: count + self.GROWN[name] for name, count in self.BEFORE.items()}
        entries, totals, report, diagnosis = self.told(data, port_counters_before=self.BEFORE, port_counters_after=after)
        self.assertEqual({kind: (entry["class"], entry["severity"], entry["count"], entry["offset"], entry["what"])
                          for kind, entry in entries.items()},
                         {"driver-overrun": ("host", "loss", 2, 20_000, "the port's hardware lost bytes 2 times"),
                          "driver-buffer-overrun": ("host", "loss", 3, 20_000, "the driver's buffer was full 3 times"),
                          "framing": ("host", "loss", 5, 20_000, "5 bytes without a stop bit"),
                          "parity": ("host", "loss", 7, 20_000, "7 parity errors"),
                          "break": ("host", "loss", 11, 20_000, "11 breaks on the line")})
        self.assertEqual((totals["lost_between_pin_and_file"], totals["status"]), (28, 3))
        self.assertEqual(report.returncode, 3)
        for entry in entries.values():
            self.assertIn("  " + entry["what"] + "\n", report.stdout)
        self.assertIn("\nLOST  28 places (28 between pin and file)\n", "\n" + report.stdout)
        self.assertRegex(diagnosis.stdout, r"\n  errors of the line       23\n")

    def test_each_counter_alone(self):
        data = firmware(5_000)
        kinds = {"overrun": "driver-overrun", "buffer_overrun": "driver-buffer-overrun", "framing": "framing",
                 "parity": "parity", "break": "break"}
        for name, kind in kinds.items():
            after = {**self.BEFORE, name: self.BEFORE[name] + 1}
            entries, _, _, _ = self.told(data, port_counters_before=self.BEFORE, port_counters_after=after)
            self.assertEqual({each: entry["count"] for each, entry in entries.items()}, {kind: 1})

    def test_counters_that_stand_still_or_began_anew_tell_no_loss(self):
        data = firmware(5_000)
        for after in (self.BEFORE, {name: 0 for name in self.BEFORE}):
            entries, totals, _, diagnosis = self.told(data, port_counters_before=self.BEFORE, port_counters_after=after)
            self.assertEqual((entries, totals["status"]), ({}, 0))
            self.assertRegex(diagnosis.stdout, r"\n  errors of the line       0\n")
        _, _, _, diagnosis = self.told(data, port_counters_before=self.BEFORE)
        self.assertRegex(diagnosis.stdout, r"\n  errors of the line       not told by this port\n")

    def test_reader_that_stopped_and_port_that_was_lost_are_losses(self):
        entries, totals, report, _ = self.told(firmware(5_000), ledger={"reader-stopped": 1, "port-lost": 2, "malformed": 9})
        self.assertEqual({kind: (entry["class"], entry["count"], entry["what"]) for kind, entry in entries.items()},
                         {"reader-stopped": ("host", 1, "the receiver stopped reading"),
                          "port-lost": ("host", 2, "the port was lost")})
        self.assertEqual((totals["lost_between_pin_and_file"], report.returncode), (3, 3))

    def test_silence_of_a_busy_line_is_a_hint(self):
        """10 bytes a millisecond, looked at each 100 ms; once nothing comes for 300 ms more."""
        arrivals = [[100 * look + (300 if look > 10 else 0), 1000 * look] for look in range(21)]
        entries, totals, report, _ = self.told(firmware(20_000), arrivals=arrivals)
        self.assertEqual({kind: (entry["class"], entry["severity"], entry["offset"], entry["missing"], entry["what"])
                          for kind, entry in entries.items()},
                         {"arrival-gap": ("gap", "hint", 10_000, 300, "hint: a busy line was silent for 300 ms")})
        self.assertEqual((totals["hints"], report.returncode), (1, 0))

    def test_read_error_of_the_line_is_told_by_diagnose(self):
        noise = Encoder(1).stream(3)[0] + random.Random(5).randbytes(30_000)
        damaged = bytearray(firmware(20_000))
        damaged[50::97] = bytes((0x04,)) * len(damaged[50::97])
        told = "  The driver ended the reads with error 995, as it does when the line has errors.\n"
        for code, there in ((995, True), (5, False)):
            for data, verdict in ((noise, "noise"), (bytes(damaged), "line-errors" if there else "damaged")):
                _, totals, _, diagnosis = self.told(data, read_error=code)
                self.assertEqual(told in diagnosis.stdout, there, diagnosis.stdout)
                self.assertEqual(totals["verdict"], verdict, totals)


class Documented(Packets):
    """docs/packets.md lists the members that `report --json FILE` writes."""

    def members(self, head):
        page = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "packets.md")
        with open(page) as file:
            table = file.read().split(head)[1].split("\n\n")[0]
        return {name.strip("` ") for row in table.splitlines() if row.startswith("| `")
                for name in row.split("|")[1].split(",")}

    def test_every_member_is_documented_and_no_other_is(self):
        holed = bytearray(firmware(200_000))
        for place in range(20_000, 180_000, 20_000):
            del holed[place:place + 777]
        holed[100_000:100_003] = b"\x04\x04\x04"  # no packet has such a header
        overflown = (b"\x01A" * 33 + b"\x70") * 70_000  # more places than are kept
        entries, totals = set(), set()
        for data in (holed, overflown):
            result = self.run_host("report", self.capture_of(data), "--json", "-", "--counter-port", "1", "--clock", "1M",
                                   "--framing", "itm")
            lines = [json.loads(line) for line in result.stdout.splitlines()]
            totals |= set(lines.pop()["totals"])
            entries |= set().union(*map(set, lines))
        self.assertEqual(entries, self.members("| member of an entry | meaning |\n"))
        self.assertEqual(totals, self.members("| member of `totals` | meaning |\n"))


@unittest.skipIf(ON_WINE, "a pseudo-terminal is a port of Linux")
class Rates(HostTest):
    """A pseudo-terminal takes every rate."""
    HEAD = "prescaler     rate asked     rate taken      error\n"

    def setUp(self):
        super().setUp()
        self.number, link = self.port()
        self.near_end, self.far_end = os.openpty()
        tty.setraw(self.far_end)
        os.symlink(os.ttyname(self.far_end), link)

    def tearDown(self):
        os.close(self.far_end)
        os.close(self.near_end)
        super().tearDown()

    def rates(self, *arguments):
        result = self.run_host("rates", "--port", str(self.number), *arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def rows(self, clock, prescalers):
        lines = [f"{prescaler:9} {round(clock / (prescaler + 1)):14,} {clock // (prescaler + 1):14,} "
                 f"{100 * (clock // (prescaler + 1) / (clock / (prescaler + 1)) - 1):8.2f} %\n" for prescaler in prescalers]
        return self.HEAD + "".join(lines)

    def test_rates_are_a_table(self):
        self.assertEqual(self.rates("--clock", "1152000", "--from", "8", "--to", "11"),
                         self.HEAD +
                         "        8        128,000        128,000     0.00 %\n"
                         "        9        115,200        115,200     0.00 %\n"
                         "       10        104,727        104,727    -0.00 %\n"
                         "       11         96,000         96,000     0.00 %\n")

    def test_around_has_eight_on_each_side_as_far_as_there_are(self):
        self.assertEqual(self.rates("--clock", "48M", "--around", "23"), self.rows(48_000_000, range(15, 32)))
        self.assertEqual(self.rates("--clock", "48M", "--around", "3"), self.rows(48_000_000, range(0, 12)))
        self.assertEqual(self.rates("--clock", "48M", "--around", "8190"), self.rows(48_000_000, range(8182, 8192)))
        self.assertEqual(self.rates("--clock", "48M", "--around", "0", "--from", "7", "--to", "2"),
                         self.rows(48_000_000, range(0, 9)))

    def test_without_a_stretch_every_prescaler_is_asked(self):
        self.assertEqual(self.rates("--clock", "1152000").count("\n"), 1 + 8192)


if __name__ == "__main__":
    main()
