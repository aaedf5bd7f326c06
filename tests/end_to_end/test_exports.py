"""`tracehost export` of streams whose content is known, read back by the small readers in export_readers.py."""
import collections
import csv
import json
import math
import os
import shutil
import subprocess
import unittest

import export_readers as readers
from export_streams import FIRMWARE, HOSTILE_BYTES, SHOWN, TYPES, WORK_SHOWN, Trace, everything, framed, tdf
from hosting import HostTest, ON_WINE, main
from test_ledger import firmware

LINE_LOSS = 3
ODD_SHOWN = 'odd;name, "quoted"\n\\ \ufffd'


class Exports(HostTest):
    def put(self, name, data):
        with open(self.file(name), "wb") as out:
            out.write(data)
        return self.host_path(self.file(name))

    def export(self, data, form, *arguments, status=0, name="capture.bin"):
        """What is written; and what is said on standard error is kept."""
        result = self.run_host("export", self.put(name, bytes(data)), "--format", form, "--output", "out", "--force", *arguments)
        self.assertEqual((result.returncode, result.stdout), (status, ""), result.stderr)
        self.said = result.stderr
        if form == "ctf":
            return self.read(self.file("out/stream"))
        return self.read(self.file("out"))

    def events(self, data, *arguments, form="chrome", **more):
        written = self.export(data, form, "--framing", "itm", *arguments, **more)
        events, self.labels = readers.chrome(written) if form == "chrome" else readers.perfetto(written)
        return events

    def spans(self, events):
        """Of exceptions: (begin, end, depth, name, arguments of both ends)."""
        stack, spans = [], []
        for phase, _, track, time, name, arguments in events:
            if track == "exceptions" and phase == "B":
                stack.append((time, name, arguments))
            elif track == "exceptions" and phase == "E":
                begin, what, first = stack.pop()
                spans.append((begin, time, len(stack), what, {**first, **arguments}))
        self.assertEqual(stack, [])
        return sorted(spans, key=lambda span: (span[0], span[2]))


class Timelines(Exports):
    """chrome and perfetto, which hold the same."""
    MICRO = ("--clock", "1M")  # a tick is a microsecond

    def everything(self, form="chrome", *more):
        return self.events(everything().data, *self.MICRO, "--elf", self.put("fw.elf", FIRMWARE), *TYPES, *more, form=form,
                           status=LINE_LOSS)

    def test_both_forms_tell_the_same(self):
        one, two = self.everything("chrome"), None
        labels = self.labels
        two = self.everything("perfetto")
        self.assertEqual(one, two)
        self.assertEqual(labels, self.labels)
        self.assertEqual(labels[1, "labels"], "times are the target's timestamps")
        self.assertEqual(labels[1, "name"], self.host_path(self.file("capture.bin")))
        self.assertGreater(len(one), 30)

    def test_exceptions_are_spans_nested_and_tail_chained(self):
        spans = self.spans(self.everything())
        self.assertEqual([span[:4] for span in spans],
                         [(100_000, 200_000, 0, ODD_SHOWN), (150_000, 160_000, 1, "TIM2_IRQHandler"),
                          (160_000, 170_000, 1, "IRQ 12"), (700_000, 800_000, 0, "TIM2_IRQHandler")])
        self.assertEqual([span[4].get("exit") for span in spans], ["inferred", None, None, "not seen"])
        self.assertEqual([span[4]["number"] for span in spans], [15, 44, 28, 44])

    def test_without_firmware_exceptions_have_the_architectures_names(self):
        spans = self.spans(self.events(everything().data, *self.MICRO, status=LINE_LOSS))
        self.assertEqual([span[3] for span in spans], ["SysTick", "IRQ 28", "IRQ 12", "IRQ 28"])

    def test_numbers_are_counters_and_what_is_none_is_a_mark(self):
        events = self.everything()
        numbers = [(time, track, arguments["value"]) for phase, _, track, time, _, arguments in events if phase == "C"]
        self.assertEqual(numbers, [(300_000, "port 1 (tiny)", -2), (300_000, "port 2", -1000),
                                   (300_000, 'port 3 (speed; "fast")', 1.5), (300_000, "port 4", 0xFFFFFFFF),
                                   (400_000, "watch 1 write", 0xDEADBEEF), (400_000, "watch 0 read", 7),
                                   (400_000, "wraps of cpi", 1), (400_000, "wraps of cyc", 1),
                                   (1_100_000, "port 1 (tiny)", 1)])
        marks = [(time, track, name, arguments["payload"], arguments.get("flags"))
                 for phase, _, track, time, name, arguments in events if phase == "i" and "payload" in arguments]
        self.assertEqual(marks, [(400_000, 'port 3 (speed; "fast")', "value", "0x7fc00000", None),
                                 (400_000, "port 2", "short write", "0x7", None),
                                 (900_000, "port 1 (tiny)", "value", "0x55", "suspect")])

    def test_text_samples_and_losses_are_marks(self):
        events = self.everything()
        def marks(track):
            return [(time, name) for phase, _, each, time, name, _ in events if each == track and phase == "i"]
        self.assertEqual(marks("port 0"), [(500_000, SHOWN), (600_000, "half line")])
        self.assertEqual(marks("PC samples"), [(150_000, "TIM2_IRQHandler"), (170_000, ODD_SHOWN), (200_000, "main"),
                                               (200_000, WORK_SHOWN),
                                               (200_000, "sleeping"), (200_000, "prohibited"), (200_000, "0x20000000")])
        self.assertEqual(marks("losses"), [(800_000, "overflow"), (900_000, "reserved")])
        self.assertEqual(marks("exceptions"), [(800_000, "not known what runs"), (900_000, "not known what runs")])

    def test_offsets_are_those_of_the_capture_and_late_times_say_so(self):
        trace = everything()
        for phase, _, track, time, name, arguments in self.everything():
            if name == "reserved":
                self.assertEqual((trace.data[arguments["offset"]], arguments["bytes"], arguments["time"]), (4, 1, "late"))
            elif phase in "iB":
                self.assertEqual(arguments.get("time"), "late" if time >= 800_000 else None, (track, name))

    def test_a_window_knows_what_ran_before_it(self):
        events = self.everything("chrome", "--from", "150us", "--to", "170us")
        self.assertEqual([span[:4] for span in self.spans(events)],
                         [(150_000, 160_000, 0, ODD_SHOWN), (150_000, 160_000, 1, "TIM2_IRQHandler"),
                          (160_000, 160_000, 1, "IRQ 12")])
        self.assertEqual({event[3] for event in events}, {150_000, 160_000})
        after = self.events(everything().data, *self.MICRO, "--from", "850us", "--to", "950us", status=LINE_LOSS)
        self.assertEqual(after[0][2:5], ("exceptions", 900_000, "not known what runs"))

    def test_ports_that_are_not_wanted_are_left_out(self):
        tracks = {event[2] for event in self.everything("chrome", "--ports", "1")}
        self.assertIn("port 1 (tiny)", tracks)
        self.assertIn("exceptions", tracks)
        self.assertFalse(tracks & {"port 0", "port 2", "port 4"})

    def test_frames_hold_the_same(self):
        data = firmware(60_000)[:15 * 3990 + 14]  # whole frames
        plain = self.events(data, *self.MICRO)
        frames = readers.chrome(self.export(framed(data), "chrome", "--framing", "tpiu:1", *self.MICRO))[0]
        def known(events):
            return [(*event[:5], {name: value for name, value in event[5].items() if name != "offset"}) for event in events
                    if event[5].get("class") != "edge"]
        self.assertEqual(known(frames), known(plain))
        self.assertGreater(len(plain), 2000)

    def test_losses_that_no_packet_tells_are_told(self):
        trace = Trace()
        for count in [*range(300), *range(310, 600)]:
            trace.stimulus(1, bytes((count & 0xFF,)))
            trace.tick(100)
        events = self.events(trace.data, *self.MICRO, "--counter-port", "1", status=LINE_LOSS)
        found = [(time, name, arguments["missing"], arguments["class"]) for _, _, track, time, name, arguments in events
                 if track == "losses" and name == "counter-gap"]
        self.assertEqual(found, [(30_100_000, "counter-gap", 10, "gap")])

    def test_captures_are_processes(self):
        one, two = everything().data, firmware(3000)
        events = self.events(tdf(one, two), *self.MICRO, status=LINE_LOSS, name="both.tdf")
        name = self.host_path(self.file("both.tdf"))
        self.assertEqual((self.labels[1, "name"], self.labels[2, "name"]), (f"{name}, section 1", f"{name}, section 2"))
        alone = self.events(two, *self.MICRO)
        second = [event for event in events if event[1] == 2]
        self.assertEqual([event[2:5] for event in second], [event[2:5] for event in alone])
        chosen = self.events(tdf(one, two), *self.MICRO, "--section", "2", name="both.tdf")
        self.assertEqual([event[2:5] for event in chosen], [event[2:5] for event in alone])

    def test_an_empty_capture_is_an_empty_recording(self):
        self.assertEqual(self.events(b"", status=4), [])
        self.assertEqual(self.events(b"", status=4, form="perfetto"), [])


class Times(Exports):
    """What times are, where the target does not tell them or nobody knows its clock."""
    DATA = b"\x01a\x01\n" * 200

    def times(self, *arguments, data=DATA):
        events = self.events(data, *arguments)
        return [event[3] for event in events if event[2] == "port 0"], self.labels[1, "labels"]

    def test_without_a_clock_a_nanosecond_stands_for_a_tick(self):
        times, label = self.times(data=b"\x01a\x01\n\xC0\x0A" * 20)
        self.assertEqual(times, [10 * (i + 1) for i in range(20)])
        self.assertEqual(label, "the trace clock is not known: a nanosecond stands for a tick of the timestamps")
        self.assertEqual(self.said, f"{self.host_path(self.file('capture.bin'))}: {label}\n")

    def test_prescale_makes_ticks_longer(self):
        times, _ = self.times("--clock", "1M", "--timestamp-prescale", "16", data=b"\x01a\x01\n\xC0\x0A" * 20)
        self.assertEqual(times, [160_000 * (i + 1) for i in range(20)])

    def test_without_timestamps_times_are_the_lines(self):
        times, label = self.times("--baud", "1000000")
        self.assertEqual(times, [40_000 * i for i in range(200)])
        self.assertEqual(label, "no timestamps: times are the earliest possible at 1,000,000 baud")

    def test_without_timestamps_times_are_those_of_arrival(self):
        self.put("capture.bin.sheet.json", json.dumps({"format": "KTRS", "version": 1,
                                                       "arrivals": [[0, 0], [100, 400], [250, 800]]}).encode())
        times, label = self.times()
        self.assertEqual(times, [100_000_000] * 100 + [250_000_000] * 100)
        self.assertEqual(label, "no timestamps: times are those of arrival, within 100 ms")

    def test_without_anything_a_nanosecond_stands_for_a_byte(self):
        times, label = self.times()
        self.assertEqual(times, [4 * i for i in range(200)])
        self.assertEqual(label, "no timestamps, and the line's rate is not known: a nanosecond stands for a byte")

    def test_what_came_before_the_first_timestamp_is_at_the_beginning(self):
        times, _ = self.times("--clock", "1M", data=b"\x01a\x01\n" * 300 + b"\xC0\x0A" + b"\x01b\x01\n\xC0\x0A")
        self.assertEqual(times[:10] + times[-1:], [0] * 10 + [20_000])


class Dumps(Exports):
    def dump(self, *arguments, data=None, status=LINE_LOSS):
        written = self.export(everything().data if data is None else data, "vcd", "--framing", "itm", "--clock", "1M",
                              *arguments, status=status)
        return readers.Vcd(written.decode())

    def test_signals_have_the_streams_values_at_their_times(self):
        vcd = self.dump("--elf", self.put("fw.elf", FIRMWARE), *TYPES)
        self.assertEqual(vcd.types["exceptions.TIM2_IRQHandler_44"], ("wire", 1))
        wires = {name: changes for name, changes in vcd.changes.items() if name.startswith("exceptions.")}
        self.assertEqual(set(wires), {"exceptions.running", "exceptions.odd_name___quoted______15", "exceptions.IRQ_12_28",
                                      "exceptions.TIM2_IRQHandler_44"})
        unknown = [(800_000, None), (900_000, 0), (900_000, None)]
        self.assertEqual(wires["exceptions.odd_name___quoted______15"], [(0, 0), (100_000, 1), (200_000, 0), *unknown])
        self.assertEqual(wires["exceptions.IRQ_12_28"], [(0, 0), (160_000, 1), (170_000, 0), *unknown])
        self.assertEqual(wires["exceptions.TIM2_IRQHandler_44"],
                         [(0, 0), (150_000, 1), (160_000, 0), (700_000, 1), *unknown])
        self.assertEqual(wires["exceptions.running"],
                         [(0, 0), (100_000, 15), (150_000, 44), (160_000, 15), (160_000, 28), (170_000, 15), (200_000, 0),
                          (700_000, 44), *unknown])
        values = vcd.changes
        self.assertEqual(values["ports.port_0"], [(500_000, SHOWN), (700_000, "half line")])
        self.assertEqual(values["ports.port_1__tiny_"], [(0, None), (300_000, 0xFE), (1_100_000, 1)])
        self.assertEqual(values["ports.port_2"], [(0, None), (300_000, 0xFC18)])
        real = values["ports.port_3__speed___fast__"]
        self.assertEqual(real[0], (300_000, 1.5))
        self.assertTrue(math.isnan(real[1][1]) and len(real) == 2)
        self.assertEqual(values["watches.watch_1_write"], [(0, None), (400_000, 0xDEADBEEF)])
        self.assertEqual(values["counters.wraps_of_cyc"], [(0, 0), (400_000, 1)])
        self.assertEqual(values["losses.overflows"], [(0, 0), (800_000, 1)])
        self.assertEqual(values["losses.damaged_bytes"], [(0, 0), (900_000, 1)])
        self.assertEqual(values["losses.suspect"], [(0, 0), (900_000, 1), (900_000, 0)])
        self.assertEqual([name for _, name in values["samples.function"]],
                         ["TIM2_IRQHandler", ODD_SHOWN, "main", WORK_SHOWN, "-", "-", "?"])
        self.assertEqual([time for time, asleep in values["samples.asleep"] if asleep], [200_000])
        self.assertEqual(vcd.end, 1_100_001)

    def test_a_window_knows_what_ran_before_it(self):
        vcd = self.dump("--from", "160us", "--to", "170us")
        self.assertEqual(vcd.changes["exceptions.SysTick_15"], [(0, 0), (160_000, 1)])

    def test_one_capture_a_file(self):
        result = self.run_host("export", self.put("both.tdf", tdf(everything().data, everything().data)), "--format", "vcd",
                               "--output", "out", "--clock", "1M")
        name = self.host_path(self.file("both.tdf"))
        self.assertEqual((result.returncode, result.stderr.splitlines()[-1]),
                         (2, f'tracehost: "{name}" holds several captures, and a VCD file holds one: the first is written; '
                             "--section gives another"))
        first = self.read(self.file("out")).decode()
        self.assertEqual(readers.Vcd(first).changes, self.dump(data=tdf(everything().data)).changes)


class Packets(Exports):
    """Formats with an entry a packet."""

    def test_csv_and_json_lines_name_symbols(self):
        for form in ("csv", "jsonl"):
            text = self.export(everything().data, form, "--framing", "itm", "--elf", self.put("fw.elf", FIRMWARE),
                               status=LINE_LOSS)
            if form == "csv":
                rows = list(csv.DictReader(text.decode(errors="replace").splitlines(keepends=True)))
            else:
                rows = [{name: value or "" for name, value in json.loads(line).items()} for line in text.splitlines()]
            named = [(row["kind"], row["symbol"]) for row in rows if row["kind"] in ("exception", "pc-sample")]
            self.assertEqual(collections.Counter(named), collections.Counter({
                ("exception", ODD_SHOWN): 2, ("exception", "TIM2_IRQHandler"): 4, ("exception", "IRQ 12"): 2,
                ("exception", "Thread"): 2, ("pc-sample", "TIM2_IRQHandler"): 1, ("pc-sample", ODD_SHOWN): 1,
                ("pc-sample", "main"): 1, ("pc-sample", WORK_SHOWN): 1, ("pc-sample", ""): 1}), form)
            self.assertTrue(all(row["symbol"] == "" for row in rows if row["kind"] not in ("exception", "pc-sample")))
            self.assertEqual([row["flags"] for row in rows if row["flags"]], ["suspect"])

    def test_decode_writes_the_same(self):
        words = ("--framing", "itm", "--clock", "1M", "--elf", self.put("fw.elf", FIRMWARE), "--from", "#30")
        for form in ("csv", "jsonl", "text"):
            exported = self.export(everything().data, form, *words, status=LINE_LOSS)
            result = self.run_host("decode", self.file("capture.bin") if not ON_WINE else self.host_path(self.file("capture.bin")),
                                   "--format", form, "--output", "decoded", "--force", *words)
            self.assertEqual(result.returncode, LINE_LOSS)
            self.assertEqual(self.read(self.file("decoded")), exported)
            self.assertGreater(len(exported), 50)

    def test_text_is_what_the_ports_say(self):
        self.assertEqual(self.export(everything().data, "text", "--framing", "itm", status=LINE_LOSS),
                         HOSTILE_BYTES + b"\r\nhalf line\n")
        self.assertEqual(self.export(everything().data, "text", "--framing", "itm", "--ports", "1-2", status=LINE_LOSS),
                         b"\xfe\x18\xfc\x07\x55\x01")

    def test_ctf_has_a_packet_wherever_something_was_lost(self):
        if os.path.exists(self.file("out")):
            os.unlink(self.file("out"))
        stream = self.export(everything().data, "ctf", "--framing", "itm", "--clock", "1M", *TYPES, status=LINE_LOSS)
        self.assertEqual([packet[:3] for packet in readers.ctf_packets(stream)],
                         [(100, 700, 0), (800, 900, 1), (900, 1100, 2)])
        metadata = self.read(self.file("out/metadata")).decode()
        self.assertIn("freq = 1000000;", metadata)
        self.assertIn('"port 3 (speed; \\"fast\\")" = 3', metadata)
        shutil.rmtree(self.file("out"))
        stream = self.export(firmware(400_000), "ctf", "--clock", "1M")
        packets = readers.ctf_packets(stream)
        self.assertGreater(len(packets), 3)
        self.assertTrue(all(one[1] <= two[0] for one, two in zip(packets, packets[1:])))
        self.assertTrue(all(size > 65_000 for *_, size in packets[:-1]))

    def test_ctf_counts_nothing_for_an_end_within_a_packet(self):
        trace = Trace()
        trace.text(0, b"a\n")
        trace.tick(100)
        stream = self.export(bytes(trace.data) + b"\x03\x41", "ctf", "--framing", "itm", "--clock", "1M")
        self.assertEqual([packet[2] for packet in readers.ctf_packets(stream)], [0, 0])

    def test_ctf_folder_is_replaced_only_when_it_is_one(self):
        os.mkdir(self.file("out"))
        self.put("out/metadata", b"old")
        words = ("export", self.put("capture.bin", firmware(2000)), "--format", "ctf", "--output", "out")
        result = self.run_host(*words)
        self.assertEqual((result.returncode, result.stderr),
                         (2, 'tracehost: "out" exists: give another name, or --force to replace it\n'))
        self.put("out/other", b"mine")
        result = self.run_host(*words, "--force")
        self.assertEqual((result.returncode, result.stderr),
                         (2, 'tracehost: "out" holds "other", which is no part of this format: give another name\n'))
        self.assertEqual(self.read(self.file("out/metadata")), b"old")
        os.unlink(self.file("out/other"))
        self.assertEqual(self.run_host(*words, "--force").returncode, 0)
        self.assertTrue(readers.ctf_packets(self.read(self.file("out/stream"))))

    def test_sigrok_holds_the_bytes_on_the_line(self):
        data = firmware(70_000)
        rate, found = readers.sigrok(self.export(data, "sigrok", "--baud", "2000000"))
        self.assertEqual((rate, found), (8_000_000, data[:65536]))
        name = self.host_path(self.file("capture.bin"))
        self.assertIn(f"{name}: of {len(data):,} bytes those from #0 to #65536 are written; --from and --to give others\n", self.said)
        self.assertIn("-P uart:rx=SWO:baudrate=2000000,arm_itm", self.said)
        for begin, end in ((65_000, 66_000), (69_990, 70_100), (70_500, 70_501), (5, 5)):
            _, found = readers.sigrok(self.export(data, "sigrok", "--from", f"#{begin}", "--to", f"#{end}"))
            self.assertEqual(found, data[begin:end])
        self.assertIn("the line's rate is not known and taken for 1,000,000 baud", self.said)

    @unittest.skipIf(ON_WINE, "a pipe through cmd is no binary one")
    def test_standard_input_is_as_good_as_a_file(self):
        data = bytes(everything().data)
        for form in ("chrome", "perfetto", "csv", "folded", "sigrok"):
            whole = self.export(data, form, "--framing", "itm", "--clock", "1M", status=LINE_LOSS)
            done = subprocess.run(self.command("export", "-", "--format", form, "--output", "-", "--framing", "itm", "--clock",
                                               "1M"), input=data, capture_output=True, env=self.environment(), check=False,
                                  timeout=120)
            self.assertEqual(done.returncode, LINE_LOSS)
            name = self.file("capture.bin").encode()
            if form == "chrome":
                self.assertEqual(done.stdout, whole.replace(name, b"standard input"))
            elif form != "perfetto":  # in which lengths of names stand
                self.assertEqual(done.stdout, whole)
            self.assertGreater(len(done.stdout), 100)

    @unittest.skipIf(ON_WINE, "memory of the program itself is told by Linux")
    def test_memory_is_constant(self):
        piece = firmware(1 << 20)
        for form in ("chrome", "perfetto", "csv", "folded"):
            largest = []
            for pieces in (1, 12):
                with open(self.file("out"), "wb") as out, open(self.file("big.bin"), "wb") as big:
                    for _ in range(pieces):
                        big.write(piece)
                    big.flush()
                    process = subprocess.Popen(self.command("export", self.file("big.bin"), "--format", form, "--output", "-",
                                                            "--clock", "1M", "--fail-on", "never"),
                                               stdout=out, stderr=subprocess.DEVNULL, env=self.environment())
                    _, status, usage = os.wait4(process.pid, 0)
                    process.returncode = os.waitstatus_to_exitcode(status)
                self.assertEqual(process.returncode, 0)
                largest.append(usage.ru_maxrss)
            self.assertLess(largest[1] - largest[0], 8 * 1024, (form, largest))


if __name__ == "__main__":
    main()
