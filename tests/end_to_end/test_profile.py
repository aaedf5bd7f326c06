"""`tracehost profile` and folded stacks: samples of streams whose content is known, and of a real recording."""
import collections
import json
import os
import subprocess
import unittest

from export_streams import FIRMWARE, HANDLER, MAIN, ODD, WORK, WORK_SHOWN, Trace, everything, tdf
from hosting import ON_WINE, main
from test_exports import LINE_LOSS, ODD_SHOWN, Exports

RECORDED = os.environ.get("TARNEL_SWO_RECORDING", "")


class Samples(Exports):
    """folded and profile."""

    def profile(self, data, *arguments, status=0):
        words = self.command("profile", self.put("capture.bin", bytes(data)), "--framing", "itm", *arguments)
        result = subprocess.run(words, env=self.environment(), capture_output=True, timeout=120, cwd=self.folder, check=False)
        self.assertEqual(result.returncode, status, result.stderr)
        return result.stdout.decode(errors="replace").replace("\r\n", "\n")

    def test_folded_counts_by_exception_and_function(self):
        text = self.export(everything().data, "folded", "--framing", "itm", "--elf", self.put("fw.elf", FIRMWARE),
                           status=LINE_LOSS).decode()
        odd = 'odd:name, "quoted" \\ \ufffd'
        self.assertEqual(text.splitlines(), sorted(["TIM2_IRQHandler;TIM2_IRQHandler 1", "Thread;0x20000000 1",
                                                    "Thread;[prohibited] 1", "Thread;[sleeping] 1", "Thread;main 1",
                                                    f"Thread;{WORK_SHOWN} 1", f"{odd};{odd} 1"]))

    def test_folded_does_not_guess_what_ran(self):
        trace = Trace()
        trace.tick(10)
        trace.enter(44)
        trace.pc(HANDLER)
        trace.overflow()
        trace.pc(HANDLER)
        trace.pc(MAIN)
        trace.back(0)
        trace.pc(MAIN)
        trace.tick(10)
        text = self.export(trace.data, "folded", "--framing", "itm", "--elf", self.put("fw.elf", FIRMWARE)).decode()
        self.assertEqual(text.splitlines(), ["TIM2_IRQHandler;TIM2_IRQHandler 1", "Thread;main 1", "[unknown];TIM2_IRQHandler 1",
                                             "[unknown];main 1"])

    def samples(self):
        trace = Trace()
        for _ in range(8):
            trace.pc(MAIN + 4)
        for _ in range(5):
            trace.pc(WORK)
        trace.pc(WORK + 2)
        trace.asleep()
        trace.asleep()
        trace.prohibited()
        trace.tick(10)
        trace.pc(MAIN)  # suspect
        trace.damage()
        trace.sync()
        trace.pc(ODD)
        trace.tick(10)
        return trace.data

    def test_profile_by_function(self):
        shown = self.profile(self.samples(), "--elf", self.put("fw.elf", FIRMWARE), status=LINE_LOSS)
        name = self.host_path(self.file("capture.bin"))
        self.assertEqual(shown, f"{name}: 18 PC samples, 2 of them sleeping, 1 where trace is prohibited; 1 suspect one left "
                                "out\n"
                                "     samples     share  function\n"
                                "           8   44.44 %  main\n"
                                f"           6   33.33 %  {WORK_SHOWN}\n"
                                '           1    5.56 %  odd;name, "quoted"\\n\\ \ufffd\n'
                                "           2   11.11 %  (sleeping)\n"
                                "           1    5.56 %  (prohibited)\n")

    def test_profile_by_address_and_as_json(self):
        shown = self.profile(self.samples(), "--by", "address", status=LINE_LOSS)
        self.assertEqual(shown.splitlines()[2:6], ["           8   44.44 %  0x8000204", "           5   27.78 %  0x8000300",
                                                   "           1    5.56 %  0x8000302", "           1    5.56 %  0x8000500"])
        found = json.loads(self.profile(self.samples(), "--elf", self.put("fw.elf", FIRMWARE), "--by", "address", "--json",
                                        status=LINE_LOSS))["captures"]
        self.assertEqual(len(found), 1)
        self.assertEqual({name: found[0][name] for name in found[0] if name not in ("rows", "capture")},
                         {"by": "address", "placed": 15, "sleeping": 2, "prohibited": 1, "unplaced": 0, "suspects": 1})
        self.assertEqual([(row["name"], row["address"], row["samples"]) for row in found[0]["rows"]],
                         [("0x8000204 main+0x4", MAIN + 4, 8), (f"0x8000300 {WORK_SHOWN}", WORK, 5),
                          (f"0x8000302 {WORK_SHOWN}+0x2", WORK + 2, 1), (f"0x8000500 {ODD_SHOWN}", ODD, 1)])

    def test_profile_of_a_window_and_of_sections(self):
        elf_file = self.put("fw.elf", FIRMWARE)
        found = json.loads(self.profile(self.samples(), "--elf", elf_file, "--clock", "1M", "--from", "20us", "--json",
                                        status=LINE_LOSS))["captures"][0]
        self.assertEqual([(row["name"], row["samples"]) for row in found["rows"]], [(ODD_SHOWN, 1)])
        both = json.loads(self.profile(tdf(self.samples(), self.samples()), "--elf", elf_file, "--json",
                                       status=LINE_LOSS))["captures"]
        self.assertEqual([capture["placed"] for capture in both], [15, 15])

    def test_a_capture_without_samples(self):
        name = self.host_path(self.file("capture.bin"))
        self.assertEqual(self.profile(b"\x01a" * 500, "--by", "address"), f"{name}: 0 PC samples\n")

    @unittest.skipIf(ON_WINE, "a made-up program of the PATH is a script")
    def test_lines_are_told_by_a_program_of_the_path(self):
        folder = self.file("programs")
        os.mkdir(folder)
        self.environment_path = folder
        result = self.run_lines()
        self.assertEqual((result.returncode, result.stderr.splitlines()[-1]),
                         (1, "tracehost: source lines take arm-none-eabi-addr2line, llvm-addr2line or addr2line, and none is in "
                             "the PATH: install one, or take --by function"))
        self.script("addr2line", 'shift 2; for a; do case $a in 0x8000204) echo "main.c:7 (discriminator 2)";; '
                                 '0x8000300|0x8000302) echo "/src/a b.c:12";; *) echo "??:0";; esac; done')
        rows = [line.split(None, 3)[3] for line in self.run_lines().stdout.splitlines()[2:5]]
        self.assertEqual(rows[:2], ["main.c:7", "/src/a b.c:12"])
        self.assertTrue(rows[2].startswith("odd;name"), rows)
        for body, why in (("echo broken; exit 3", "broken"), ("echo one:1", "its answer is not understood"),
                          ("kill -9 $$", "signal 9 (Killed)")):
            self.script("addr2line", body)
            result = self.run_lines()
            self.assertEqual((result.returncode, result.stderr.splitlines()[-1]),
                             (1, f'tracehost: "{folder}/addr2line" tells no source lines of "{self.file("fw.elf")}": {why}'))
        self.script("arm-none-eabi-addr2line", 'shift 2; for a; do echo "arm.c:1"; done')  # is asked first
        self.assertEqual(self.run_lines().stdout.splitlines()[2].split()[-1], "arm.c:1")

    def script(self, name, body):
        path = os.path.join(self.environment_path, name)
        with open(path, "w") as out:
            out.write("#!/bin/sh\n" + body + "\n")
        os.chmod(path, 0o755)

    def run_lines(self):
        name = self.put("capture.bin", bytes(self.samples()))
        environment = dict(self.environment(), PATH=f"relative:{self.environment_path}")
        return subprocess.run(self.command("profile", name, "--elf", self.put("fw.elf", FIRMWARE), "--by", "line"),
                              env=environment, capture_output=True, text=True, errors="replace", timeout=120, check=False)

    @unittest.skipUnless(os.path.exists(RECORDED), "TARNEL_SWO_RECORDING names no recording of a real target")
    def test_profile_of_a_real_recording(self):
        """Counted here from the frames' bytes: sync-free TPIU frames with one ITM stream of PC samples."""
        def stream_one(data):
            out, current = bytearray(), None
            for begin in range(0, len(data) - 15, 16):
                frame, pending = data[begin:begin + 16], None
                for place in range(15):
                    byte = frame[place]
                    if place % 2 == 0:
                        low = frame[15] >> place // 2 & 1
                        if byte & 1:
                            if low:
                                pending = byte >> 1
                            else:
                                current = byte >> 1
                            continue
                        byte |= low
                    if current == 1:
                        out.append(byte)
                    if pending is not None and place % 2 == 1:
                        current, pending = pending, None
            return bytes(out)

        data = stream_one(self.read(RECORDED))
        place, counts = 0, collections.Counter()
        while place < len(data):
            header = data[place]
            size = (0, 1, 2, 4)[header & 3] if header & 3 else 0
            if header & 0xCF == 0xC0:
                while data[place + 1 + size] & 0x80:
                    size += 1
                size += 1
            if header == 0x17 and place + 5 <= len(data):
                counts[int.from_bytes(data[place + 1:place + 5], "little")] += 1
            place += 1 + size
        self.assertGreater(sum(counts.values()), 300)
        elf_file = os.path.splitext(RECORDED)[0] + ".elf"
        words = (self.host_path(RECORDED), "--elf", self.host_path(elf_file), "--json")
        captures = json.loads(self.run_host("profile", *words, "--by", "address").stdout)["captures"]
        self.assertEqual({row["address"]: row["samples"] for row in captures[0]["rows"]}, dict(counts))
        functions = json.loads(self.run_host("profile", *words).stdout)["captures"][0]["rows"]
        starts = {row["name"]: row["address"] for row in functions}
        self.assertLessEqual({"delay", "bubble_sort", "TIM2_IRQ"}, set(starts))
        order = sorted(starts.values())
        for row in functions:
            behind = [start for start in order if start > row["address"]]
            end = behind[0] if behind else 1 << 32
            self.assertEqual(row["samples"], sum(count for pc, count in counts.items() if row["address"] <= pc < end), row)


if __name__ == "__main__":
    main()
