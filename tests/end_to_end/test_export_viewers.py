"""What other people's programs read in the files of `tracehost export`: babeltrace2, protoc, sigrok-cli. Each test is skipped
where its program is not installed."""
import os
import re
import shutil
import subprocess
import unittest

from export_streams import FIRMWARE, TYPES, WORK_SHOWN, Trace, everything, framed
from hosting import main
from test_exports import LINE_LOSS, Exports
from test_ledger import firmware

HERE = os.path.dirname(os.path.abspath(__file__))


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is not installed")


def run(*words, **more):
    return subprocess.run(words, capture_output=True, timeout=120, check=False, **more)


@needs("babeltrace2")
class Babeltrace(Exports):
    def read_back(self, data, *arguments, status=0):
        """(nanoseconds, name, fields) of the events, and (begin, end) of what is discarded."""
        self.export(data, "ctf", *arguments, status=status)
        result = run("babeltrace2", "--clock-seconds", "--names", "all", self.file("out"))
        self.assertEqual(result.returncode, 0, result.stderr)
        warnings = result.stderr.decode()
        lost = re.findall(r"Tracer discarded (\d+) events? between \[([\d.]+)\] and \[([\d.]+)\]", warnings)
        self.assertEqual(warnings.count("\n"), len(lost), warnings)  # and nothing else
        events = []
        for line in result.stdout.decode().splitlines():
            parts = re.match(r"timestamp = (\d+)\.(\d{9}), delta = [^,]*, name = ([a-z_]+), "
                             r"stream\.event\.context = \{ (.*?) \}, event\.fields = \{ (.*)\}$", line)
            self.assertTrue(parts, line)
            events.append((int(parts.group(1)) * 10**9 + int(parts.group(2)), parts.group(3), parts.group(4), parts.group(5)))
        return events, lost

    def test_every_event_comes_back(self):
        events, lost = self.read_back(everything().data, "--framing", "itm", "--clock", "1M", "--elf",
                                      self.put("fw.elf", FIRMWARE), *TYPES, status=LINE_LOSS)
        self.assertEqual(lost, [("1", "0.000700000", "0.000900000"), ("1", "0.000900000", "0.001100000")])
        self.assertEqual([event[0] for event in events], sorted(event[0] for event in events))
        told = [(time, name, fields) for time, name, _, fields in events]
        self.assertEqual([each[1] for each in told].count("exception"), 10)
        for time, name, words in (
                (100_000, "exception", ("= 15 )", '"enter"')), (160_000, "exception", ('"TIM2_IRQHandler"', '"exit"')),
                (160_000, "exception", ('"IRQ 12"', '"enter"')), (200_000, "pc_sample", ("0x8000301", f'"{WORK_SHOWN}"')),
                (200_000, "pc_sample", ("0x20000000", '"\\?"')), (200_000, "pc_sleep", ()), (200_000, "pc_prohibited", ()),
                (300_000, "value", ('"port 1 (tiny)"', "= -2")), (300_000, "value", ("= -1000",)),
                (300_000, "value", ("= 4294967295",)), (300_000, "float_value", ("= 1.5",)), (400_000, "float_value", ("nan",)),
                (400_000, "short_write", ("= 0x7",)), (400_000, "data_value", ('"write"', "0xDEADBEEF")),
                (400_000, "event_counters", ("0x21",)), (700_000, "text", ('"half line"',)),
                (800_000, "overflow", ()), (900_000, "damage", ('"reserved"', "bytes = 1"))):
            self.assertTrue(any(each[:2] == (time, name) and all(word in each[2] for word in words) for each in told),
                            (time, name, words, [each for each in told if each[1] == name]))
        text = [fields for time, name, fields in told if (time, name) == (500_000, "text")]
        self.assertIn("a \\\"b\\\" \\\\ <script>alert(1)</script>; c\\td\\x01", text[0])
        self.assertEqual([context for _, name, context, _ in events if name == "value"][-2].count("suspect = 1"), 1)

    def test_many_packets(self):
        data = firmware(300_000)
        events, lost = self.read_back(data, "--clock", "1M")
        table = self.export(data, "csv").decode().splitlines() if not shutil.rmtree(self.file("out")) else []
        for name, kind in (("exception", "exception"), ("pc_sample", "pc-sample")):
            self.assertEqual([event[1] for event in events].count(name), sum(f",{kind}," in row for row in table))
        self.assertEqual(lost, [])

    def test_many_losses(self):
        trace = Trace()
        for i in range(500):
            trace.text(0, b"x\n")
            if i % 5 == 0:
                trace.overflow()
            trace.tick(100)
        events, lost = self.read_back(trace.data, "--framing", "itm")
        self.assertEqual(sum(int(one[0]) for one in lost), 100)
        self.assertEqual([event[1] for event in events].count("overflow"), 100)
        self.assertEqual([event[1] for event in events].count("text"), 500)

    def test_loss_before_anything_else(self):
        trace = Trace()
        trace.overflow()
        trace.tick(100)
        trace.text(0, b"a\n")
        trace.tick(100)
        events, lost = self.read_back(trace.data, "--framing", "itm")
        self.assertEqual([event[1] for event in events], ["overflow", "text"])
        self.assertEqual(len(lost), 1)


@needs("protoc")
class Protoc(Exports):
    def test_every_field_is_a_known_one(self):
        data = self.export(everything().data, "perfetto", "--framing", "itm", "--clock", "1M", "--elf",
                           self.put("fw.elf", FIRMWARE), *TYPES, status=LINE_LOSS)
        result = run("protoc", "--decode=Trace", f"--proto_path={HERE}", "perfetto.proto", input=data)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        text = result.stdout.decode()
        self.assertIsNone(re.search(r"^\s*\d+[:{ ]", text, re.MULTILINE), "a field without a name")
        for count, word in ((1, "process_name:"), (5, "TYPE_SLICE_BEGIN"), (5, "TYPE_SLICE_END"), (9, "TYPE_COUNTER"),
                            (1, "double_counter_value: 1.5"), (1, "counter_value: -1000"), (1, "counter_value: 4294967295")):
            self.assertEqual(text.count(word), count if "SLICE" not in word else 4, word)
        self.assertIn("<script>alert(1)</script>", text)
        again = run("protoc", "--encode=Trace", f"--proto_path={HERE}", "perfetto.proto", input=result.stdout)
        self.assertEqual(len(again.stdout), len(data))  # nothing was passed over


@needs("sigrok-cli")
class Sigrok(Exports):
    def decoded(self, data, stack, rows, *arguments, rate=1_000_000):
        self.export(data, "sigrok", "--baud", str(rate), *arguments)
        os.replace(self.file("out"), self.file("out.srzip"))
        result = run("sigrok-cli", "-i", self.file("out.srzip"), "-P", f"uart:rx=SWO:baudrate={rate}" + stack, "-A", rows)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout.decode()

    def test_the_bytes_come_back(self):
        data = firmware(3000)
        shown = self.decoded(data, "", "uart=rx-data")
        self.assertEqual(bytes(int(line.split(": ")[1], 16) for line in shown.splitlines()), data)

    def test_a_foreign_decoder_reads_packets_and_text(self):
        shown = self.decoded(firmware(5000), ",arm_itm", "arm_itm")
        self.assertIn('"tick 000001, level 307 mV', shown)
        self.assertGreater(shown.count("Enter: SysTick"), 50)

    def test_a_foreign_decoder_reads_the_frames(self):
        data = firmware(6000)[:15 * 390 + 14]
        shown = self.decoded(framed(data), ",arm_tpiu:stream=1,arm_itm", "arm_itm", "--framing", "tpiu:1")
        self.assertIn('"tick 000002, level 314 mV', shown)

    def test_signals_of_a_dump_come_back(self):
        trace = Trace()
        trace.tick(1)
        for _ in range(3):
            trace.enter(15)
            trace.tick(2)
            trace.exit(15)
            trace.back(0)
            trace.tick(3)
        dump = self.export(trace.data, "vcd", "--framing", "itm", "--clock", "1M").decode()
        with open(self.file("wires"), "w") as out:  # it ends at numbers of several bits
            out.writelines(line for line in dump.splitlines(keepends=True) if line[0] != "b")
        result = run("sigrok-cli", "-I", "vcd:downsample=1000", "-i", self.file("wires"), "-O", "csv")
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = result.stdout.decode().splitlines()
        names = next(line for line in lines if line.startswith("; Channels")).split(": ")[1].split(", ")
        rows = [line.split(",") for line in lines if re.match(r"[01](,|$)", line)]
        bits = "".join(row[names.index("SysTick_15")] for row in rows)
        self.assertEqual(bits, "0001110011100111")  # a row a microsecond: three enters at 3, 8, 13, exits 3 later


if __name__ == "__main__":
    main()
