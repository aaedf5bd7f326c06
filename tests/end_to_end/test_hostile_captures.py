"""Captures that are too large, change while they are read, or are broken: documented answers, bounded memory."""
import csv
import io
import os
import random
import re
import subprocess
import unittest

from hosting import HostTest, ON_WINE, main

SYNC = b"\0\0\0\0\0\x80"
TEXT = b"".join(bytes((0x01, 0x41 + i % 26)) for i in range(600))
MOST_MEMORY = 32_000_000  # bytes
DAMAGED = 'tracehost: "{}" is damaged at offset {}: {}\n'


def most_memory(pid):
    """The most bytes that a process has had in memory; 0 when it has ended."""
    with open(f"/proc/{pid}/status") as file:
        found = re.search(r"VmHWM:\s+(\d+) kB", file.read())
    return int(found[1]) * 1024 if found else 0


class HostileCaptures(HostTest):
    def capture(self, content, name="capture.bin"):
        path = self.file(name)
        with open(path, "wb") as out:
            out.write(content)
        return path

    def decode(self, *arguments):
        return self.run_host("decode", *arguments)

    def rows(self, path, *arguments):
        result = self.decode(self.host_path(path), "--format", "csv", *arguments)
        return result, list(csv.DictReader(io.StringIO(result.stdout)))


class Sizes(HostileCaptures):
    @unittest.skipIf(ON_WINE, "the memory of a program under Wine is Wine's as well")
    def test_offsets_beyond_4_gib_are_told_and_memory_stays_small(self):
        path = self.capture(TEXT * 260)
        end = (4 << 30) + 8  # zeros up to here are a synchronisation that is longer than any
        with open(path, "r+b") as out:
            out.seek(end)
            out.write(b"\x80" + TEXT + b"\x70" + TEXT)
        process = subprocess.Popen(self.command("decode", path, "--format", "csv"), stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL, env=self.environment(), text=True)
        rows, memory = [], 0
        for row in csv.DictReader(process.stdout):
            if len(rows) % 1000 == 0:
                memory = max(memory, most_memory(process.pid))
            rows.append(row)
        process.stdout.close()
        self.assertEqual(process.wait(timeout=100), 3)
        self.assertGreater(memory, 0)
        if not os.environ.get("TARNEL_SANITIZE"):  # which take memory of their own
            self.assertLess(memory, MOST_MEMORY)
        begin = len(TEXT) * 260
        self.assertEqual([int(row["offset"]) for row in rows[:600 * 260]], list(range(0, begin, 2)))
        behind = [row for row in rows if int(row["offset"]) > end]
        self.assertEqual([int(row["offset"]) for row in behind[:600]], list(range(end + 1, end + 1201, 2)))
        self.assertEqual((behind[600]["kind"], int(behind[600]["offset"])), ("overflow", end + 1201))
        runs = [row for row in rows if row["kind"] in ("malformed", "unsynchronised", "sync")]
        self.assertEqual(sum(int(row["size"]) for row in runs), end + 1 - begin)
        last = int(runs[0]["offset"])
        for row in runs:
            self.assertEqual(int(row["offset"]), last)
            last += int(row["size"])

    def test_any_bytes_of_any_length_get_an_answer(self):
        chance = random.Random(5)
        contents = [b"", b"\0", b"\x80", b"\xff", SYNC, SYNC[1:], b"\0" * 70_000, b"\xff" * 70_000, b"KTDF", b"\xff\xff\xff\x7f" * 50]
        contents += [chance.randbytes(length) for length in (*range(1, 20), 63, 64, 65, 255, 4095, 4096, 4097, 70_000)]
        for content in contents:
            path = self.capture(content)
            with self.subTest(length=len(content), first=content[:4]):
                result, rows = self.rows(path)
                self.assertIn(result.returncode, (0, 3, 4), result.stderr)
                offsets = [int(row["offset"]) for row in rows]
                self.assertEqual(offsets, sorted(offsets))
                self.assertTrue(all(offset < len(content) for offset in offsets))
                report = self.run_host("report", self.host_path(path))
                self.assertEqual(report.returncode, result.returncode, report.stderr)

    def test_length_of_padding_is_no_packet(self):
        _, rows = self.rows(self.capture(TEXT + b"\0" * 7))
        self.assertEqual({row["kind"] for row in rows}, {"stimulus"})
        _, rows = self.rows(self.capture(TEXT + b"\0" * 8))
        self.assertEqual(rows[-1]["kind"], "truncated-end")


@unittest.skipIf(ON_WINE, "a file that is open cannot be cut there")
class Changing(HostileCaptures):
    """The reader of the output stops until the file has changed: decode waits meanwhile."""

    def decode_while(self, change):
        path = self.capture(TEXT * 1000)
        process = subprocess.Popen(self.command("decode", path, "--format", "csv"), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=self.environment(), text=True)
        rows = csv.DictReader(process.stdout)
        first = next(rows)
        change(path)
        rows = [first, *rows]
        _, errors = process.communicate(timeout=100)
        return path, rows, errors, process.returncode

    def test_file_that_grows_is_read_up_to_its_length_at_the_start(self):
        def grow(path):
            with open(path, "ab") as out:
                out.write(TEXT * 1000)
        _, rows, errors, status = self.decode_while(grow)
        self.assertEqual((len(rows), status), (600_000, 0), errors)
        self.assertEqual(int(rows[-1]["offset"]), 1_199_998)

    def test_file_that_shrinks_is_told(self):
        path, rows, errors, status = self.decode_while(lambda path: os.truncate(path, 600_000))
        self.assertEqual(status, 1)
        self.assertEqual(errors, f'tracehost: "{path}" cannot be read beyond 600000 bytes: did it become shorter while it '
                                 "was read?\n")
        self.assertLessEqual(len(rows), 300_000)


class Tdf(HostileCaptures):
    HEADER = b"KTDF\x01\0\0\0\x10\0\0\0\0\0\0\0"

    @staticmethod
    def section(name, content, length=None):
        body = name + content
        size = 12 + len(body) if length is None else length
        return size.to_bytes(4, "little") + (1).to_bytes(4, "little") + len(name).to_bytes(4, "little") + body

    def check(self, content, status, text, damage):
        path = self.capture(self.HEADER + content, "capture.tdf")
        result = self.decode(self.host_path(path))
        self.assertEqual((result.stdout, result.returncode), (text, status), result.stderr)
        expected = DAMAGED.format(self.host_path(path), *damage) if damage else ""
        self.assertTrue(result.stderr.endswith(expected), result.stderr)

    def test_sections_are_read_up_to_the_damage(self):
        hello = b"".join(bytes((0x01, c)) for c in b"hello, world: this is a text of some length\n" * 3)
        text = "hello, world: this is a text of some length\n" * 3
        capture = self.section(b"BinTraceData", hello)
        behind = 16 + len(capture)
        longer = "the section is longer than the rest of the file"
        self.check(capture, 0, text, None)
        self.check(capture + b"\1\2\3", 1, text, (behind, "the file ends within a section header"))
        self.check(self.section(b"BinTraceData", hello, 1 << 20), 1, text, (16, longer))
        self.check(self.section(b"BinTraceData", hello, 0xFFFFFFFF), 1, text, (16, longer))
        self.check(capture + self.section(b"Other", b"", 5), 1, text,
                   (behind, "the section length is below its header's"))
        self.check(capture + (12).to_bytes(4, "little") + bytes(4) + (50).to_bytes(4, "little"), 1, text,
                   (behind, "the name is longer than the section"))

    def test_section_of_a_raw_capture_is_refused(self):
        path = self.host_path(self.capture(bytes((0x01, 0x68)) * 100))
        for command in ("decode", "report"):
            result = self.run_host(command, path, "--section", "1")
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            self.assertEqual(result.stderr, f'tracehost: --section: "{path}" is no TDF file, it has no sections\n')


class Sheets(HostileCaptures):
    def check(self, sheet, problem):
        path = self.capture(TEXT)
        with open(path + ".sheet.json", "wb") as out:
            out.write(sheet)
        result = self.decode(self.host_path(path))
        warning = f"tracehost: the recording sheet of {self.host_path(path)}: {problem}\n" if problem else ""
        self.assertEqual(result.stderr, warning)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(len(result.stdout), 600)

    def test_broken_sheets_are_told_and_do_not_stop_decoding(self):
        ktrs = b'{"format": "KTRS"'
        for sheet, problem in ((b"", "it is no JSON object"), (b"[]", "it is no JSON object"), (b"{", "it is no JSON object"),
                               (b'{"format": "KTRS", "host": "\xff"}', "it is no JSON object"),
                               (b"[" * 100_000, "it is no JSON object"), (b"{}", 'its format is not "KTRS"'),
                               (b'{"format": 5}', 'its format is not "KTRS"'),
                               (ktrs + b', "host": "' + b"x" * (1 << 20) + b'"}', "it is longer than 1048576 bytes"),
                               (ktrs + b', "prescaler": 8192}', 'its field "prescaler" cannot be used'),
                               (ktrs + b', "timestamp_prescale": 2}', 'its field "timestamp_prescale" cannot be used'),
                               (ktrs + b', "seconds": -1}', 'its field "seconds" cannot be used'),
                               (ktrs + b', "arrivals": [[2, 3], [1, 4]]}', 'its field "arrivals" cannot be used'),
                               (ktrs + b', "bytes": 1e300}', 'its field "bytes" cannot be used'),
                               (ktrs + b', "tomorrow": 1}', None), (ktrs + b', "bytes": 18446744073709551615}', None)):
            with self.subTest(sheet=sheet[:60]):
                self.check(sheet, problem)

    def test_sheet_that_is_a_folder_is_none(self):
        path = self.capture(TEXT)
        os.mkdir(path + ".sheet.json")
        result = self.decode(self.host_path(path))
        self.assertEqual((result.returncode, result.stderr), (0, ""))


if __name__ == "__main__":
    main()
