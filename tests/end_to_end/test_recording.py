"""The road of a recording through the plug-in, as a debugger takes it."""
import json
import os
import sys
import time
import unittest

from hosting import HostTest, ON_WINE, anonymous_kib, main, server_process, wait_for
from recorder import SANITIZER_THREADS

RATES = "the signal cannot see the rate of a port under Wine"
OWN_SERVER = bool(os.environ.get("TARNEL_OWN_SERVER"))  # Wine's server serves nothing but the test
LIVE_MEMORY = os.environ.get("TARNEL_LIVE_MEMORY")  # the library that counts a program's heap
SANITIZED = bool(os.environ.get("TARNEL_SANITIZE"))  # sanitizers keep freed memory for a while


class Recording(HostTest):
    def board_path(self):
        return self.file("board.json")

    def start(self, host, cpu="board/cpu", options=None, **values):
        self.ok(host.ask("create"))
        self.ok(host.ask(f"allocate {cpu} 7"))
        self.ok(host.ask(f"configure {cpu} {options or self.options(**values)}"))
        self.ok(host.ask(f"start {cpu}"))

    def captured(self, source, path):
        """Waits until a source with an end has been taken whole, and for the whole capture. Both are given back."""
        self.assertEqual(source.process.wait(120), 0, "bytes were dropped")
        report = json.loads(self.read(source.report))
        self.assertEqual((report["garbled"], report["dropped"]), (0, 0))
        sent = self.read(source.sent)
        self.assertGreater(len(sent), 0)
        return wait_for(lambda: self.read(path) if os.path.getsize(path) >= len(sent) else None,
                        "the whole capture"), sent

    def programmed_prescaler(self):
        return [line["arguments"]["prescaler"] for line in self.journal() if line["operation"] == "SetTpiuPrescaler"]

    def test_typical_road_captures_what_the_target_sends(self):
        number, source = self.source("--board", self.board_path(), "--pattern", "itm", "--bytes", "60000")
        host = self.host()
        self.start(host, COMPORT=number)
        data, sent = self.captured(source, self.capture())
        self.assertEqual(data, sent)
        self.assertEqual(json.loads(self.read(source.report))["far_end_baud"], 115200)
        self.assertEqual(host.ask("samples board/cpu")["samples"], (len(sent) + 7) // 8)
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        self.ok(host.ask("stop board/cpu"))
        self.assertEqual(host.ask("status board/cpu")["text"], "Stopped by user")
        raw = self.file("saved.bin")
        self.ok(host.ask(f"save board/cpu {self.host_path(raw)} 2"))
        self.assertEqual(self.read(raw), sent + b"\0" * (-len(sent) % 8))
        self.ok(host.ask("release board/cpu"))
        self.ok(host.ask("destroy"))
        self.assertEqual(host.end(), 0)
        calls = [(line["operation"], {key: value for key, value in line["arguments"].items() if key != "cpu"})
                 for line in self.journal("ICETargetAdapter")]
        cpu = {"cpu_id": 7}
        self.assertEqual(calls, [
            ("CreateTargetAdapter", cpu),
            ("NewTargetAdapter", {}),
            ("TraceExportOpA", cpu), ("TraceExportOpB", cpu), ("GetExportStatus", {**cpu, "status": 0}),
            ("SetTpiuPrescaler", {**cpu, "prescaler": 9}), ("SetTpiuPinProtocol", {**cpu, "protocol": 2}),
            ("SetTimestampPrescale", {**cpu, "prescale": 4}), ("ProgramTpiu", cpu), ("EnableTpiu", cpu),
            ("TraceExportOpB", cpu), ("TraceExportOpA", cpu),
            ("GetExportStatus", {**cpu, "status": 0}), ("TraceExportOpB", cpu), ("TraceRelease", cpu),
            ("DestroyTargetAdapter", {"adapter": "adapter"})])
        self.no_violations()

    def test_calibrated_prescaler_is_programmed_and_sets_the_rate(self):
        self.board["trace_clock_hz"] = 230400
        number, source = self.source("--board", self.board_path(), "--pattern", "counter", "--bytes", "4000")
        host = self.host()
        started = time.monotonic()
        self.start(host, COMPORT=number, PRESCALAR="Auto", CLKFREQVAL="230400")
        prescaler = self.programmed_prescaler()[0]
        frequency = float(host.ask('attribute board/cpu "Trace Data Frequency"')["value"])
        self.assertEqual(round(frequency), round(230400 / (prescaler + 1)))
        with open(self.file("tpiu.json")) as state:
            self.assertEqual(json.load(state)["prescaler"], prescaler)
        data, sent = self.captured(source, self.capture())
        self.assertEqual(data, sent)
        self.assertGreaterEqual(time.monotonic() - started, 4000 * 10 / frequency * 0.9)
        self.ok(host.ask("stop board/cpu"))

    def test_calibration_takes_the_first_rate_that_the_port_takes(self):
        """48 MHz: a pseudo-terminal takes every rate, a COM port of Wine none above 4,000,000, 48 MHz / (11 + 1)."""
        self.board["trace_clock_hz"] = 48_000_000
        number, source = self.source("--board", self.board_path(), "--pattern", "counter", "--bytes", "40000", "--rate",
                                     "100000")
        host = self.host()
        self.start(host, COMPORT=number, PRESCALAR="Auto", CLKFREQVAL="48000000")
        self.assertEqual(self.programmed_prescaler(), [11 if ON_WINE else 0])
        data, sent = self.captured(source, self.capture())
        self.assertEqual(data, sent)
        self.assertEqual(json.loads(self.read(source.report))["far_end_baud"], 4_000_000 if ON_WINE else 48_000_000)
        self.assertEqual(host.ask('attribute board/cpu "Trace Data Frequency"')["value"],
                         "4e+06" if ON_WINE else "4.8e+07")
        self.ok(host.ask("stop board/cpu"))

    def test_target_is_silent_until_its_tpiu_is_enabled(self):
        number, source = self.source("--board", self.board_path(), "--pattern", "counter")
        self.board["results"] = {"EnableTpiu": 5}
        host = self.host()
        self.ok(host.ask("create"))
        self.ok(host.ask("allocate board/cpu"))
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT=number)}"))
        self.refused(host.ask("start board/cpu"), "Failed to Enable TPIU for SWO trace")
        time.sleep(0.3)
        self.assertEqual(os.path.getsize(source.sent), 0)
        self.ok(host.ask("board results.EnableTpiu 0"))
        self.ok(host.ask("start board/cpu"))
        self.assertGreaterEqual(self.ok(host.ask("wait-samples board/cpu 10 60000"))["samples"], 10)

    def garbled(self, *source_arguments, **values):
        number, source = self.source("--board", self.board_path(), "--pattern", "counter", "--bytes", "4000",
                                     *source_arguments)
        host = self.host()
        self.start(host, COMPORT=number, **values)
        self.assertEqual(source.process.wait(120), 0)
        counted = json.loads(self.read(source.report))
        taken = self.read(source.taken)
        data = wait_for(lambda: self.read(self.capture()) if os.path.getsize(self.capture()) >= len(taken) else None,
                        "the whole capture")
        self.assertEqual((counted["played"], counted["dropped"]), (4000, 0))
        self.assertGreater(counted["garbled"], 0)
        self.assertEqual(len(data), counted["sent"])  # bytes that the probe's UART made of the signal
        self.assertEqual(data, taken)
        played = self.read(source.sent)
        self.assertEqual(len(played), 4000)
        self.assertNotEqual(data[:len(played)], played[:len(data)])
        self.ok(host.ask("stop board/cpu"))

    @unittest.skipIf(ON_WINE, RATES)
    def test_wrong_trace_clock_garbles_the_capture(self):
        self.garbled(CLKFREQVAL="1000000")

    @unittest.skipIf(ON_WINE, RATES)
    def test_wrong_prescaler_for_a_target_that_sets_up_its_own_tpiu_garbles_the_capture(self):
        self.garbled("--prescaler", "9", PRESCALARVAL="4")

    def signals(self, names, size):
        """A source for each of some CPUs of the board, the patterns in turn. {name: (port, source)}"""
        self.board["tpiu"] = {f"board/{name}": f"{name}.tpiu" for name in names}
        sources = {}
        for index, name in enumerate(names, 1):
            with open(self.file(f"{name}.json"), "w") as out:
                json.dump({"tpiu": f"{name}.tpiu", "trace_clock_hz": 1152000}, out)
            sources[name] = self.source("--board", self.file(f"{name}.json"), "--pattern",
                                        ("counter", "itm")[index % 2], "--bytes", str(size), index=index)
        return sources

    def record_at_once(self, host, sources):
        """Starts all, looks at all while they record, and compares every capture with what was sent."""
        for name, (number, _) in sources.items():
            self.ok(host.ask(f"allocate board/{name}"))
            self.ok(host.ask(f"configure board/{name} {self.options(name + '.xml', COMPORT=number)}"))
        for name in sources:
            self.ok(host.ask(f"start board/{name}"))
        self.assertEqual(host.ask("cpus")["names"], [f"board/{name}" for name in sources])
        for name, (_, source) in sources.items():
            self.assertEqual(host.ask(f"status board/{name}")["text"], "Recording")
            data, sent = self.captured(source, self.capture(name))
            self.assertEqual(data, sent)
            self.assertEqual(host.ask(f"samples board/{name}")["samples"], (len(sent) + 7) // 8)
        for name in sources:
            self.ok(host.ask(f"stop board/{name}"))
        self.no_violations()

    def test_two_cpus_record_at_once(self):
        sources = self.signals(["a", "b"], 30000)
        host = self.host()
        self.ok(host.ask("create"))
        self.record_at_once(host, sources)

    @unittest.skipIf(ON_WINE, "so many ports under Wine take minutes")
    def test_many_cpus_record_at_once(self):
        sources = self.signals([f"cpu{number}" for number in range(8 if SANITIZED else 32)], 10000)
        host = self.host()
        self.ok(host.ask("create"))
        before = Rounds.resources(host.host_process())
        self.record_at_once(host, sources)
        for name in sources:
            self.ok(host.ask(f"release board/{name}"))
        process = host.host_process()
        wait_for(lambda: Rounds.resources(process)[1] <= before[1] + SANITIZER_THREADS, "the end of all threads")
        self.assertEqual(Rounds.resources(process)[0], before[0], "open files")

    def test_target_state_notifications_start_and_stop(self):
        number, _ = self.source("--board", self.board_path(), "--pattern", "counter")
        host = self.host()
        self.ok(host.ask("create"))
        self.ok(host.ask("allocate board/cpu"))
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT=number)}"))
        self.ok(host.ask("target-state board/cpu 5"))
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        self.ok(host.ask("target-state board/cpu 7"))
        self.assertEqual(host.ask("status board/cpu")["text"], "Stopped by user")
        self.ok(host.ask("target-state board/cpu 6"))
        self.assertEqual(host.ask("status board/cpu")["text"], "Recording")
        self.refused(host.ask("stop board/cpu"),
                     "Trace cannot be stopped while target is running. Please halt the target.")
        self.ok(host.ask("target-state board/cpu 8"))
        self.assertEqual(host.ask("status board/cpu")["text"], "Stopped by user")
        self.ok(host.ask("target-state board/cpu 3"))
        status = self.ok(host.ask("status board/cpu"))
        self.assertEqual([status[key] for key in ("code", "text", "flags")], [99, "untouched", [True] * 5])
        self.ok(host.ask("target-state nobody 6"))
        self.ok(host.ask("target-state - 6"))
        self.ok(host.ask("target-event board/cpu 0"))
        self.ok(host.ask("target-event board/cpu 1"))

    def test_second_recording_begins_with_an_empty_capture(self):
        number, _ = self.source("--board", self.board_path(), "--pattern", "counter")
        host = self.host()
        self.start(host, COMPORT=number)
        self.ok(host.ask("wait-samples board/cpu 400 60000"))
        self.ok(host.ask("stop board/cpu"))
        first = self.read(self.capture())
        self.ok(host.ask("start board/cpu"))
        self.ok(host.ask("wait-samples board/cpu 4 60000"))
        self.ok(host.ask("stop board/cpu"))
        self.assertNotEqual(self.read(self.capture())[:24], first[:24], "the numbered pattern never repeats")
        self.no_violations()


class Rounds(HostTest):
    ROUNDS = int(os.environ.get("TARNEL_ROUNDS", 200 if ON_WINE or SANITIZED else 1000))
    WARM_UP = ROUNDS * 3 // 10  # tracehost and the simulated libraries remember some released objects
    MOST_HEAP = 4096  # bytes; the smallest block, leaked each round, is 16,800
    MOST_RESIDENT = 128  # KiB: heaps grow by fragments too

    @staticmethod
    def resources(process):
        """Open files, threads and KiB of memory that is no file's."""
        folder = f"/proc/{process}"
        with open(folder + "/status") as status:
            fields = dict(line.split(":", 1) for line in status)
        return len(os.listdir(folder + "/fd")), int(fields["Threads"]), anonymous_kib(process)

    def environment(self):
        environment = super().environment()
        if LIVE_MEMORY:
            environment.update(LD_PRELOAD=LIVE_MEMORY, TARNEL_LIVE_MEMORY_FILE=self.file("live"))
        return environment

    def heap(self):
        """Bytes that the host has on its heap; None where they are not counted."""
        return int.from_bytes(self.read(self.file("live")), sys.byteorder, signed=True) if LIVE_MEMORY else None

    def round(self, host, options):
        for command in ("allocate board/cpu", f"configure board/cpu {options}", "start board/cpu",
                        "stop board/cpu", "release board/cpu"):
            self.ok(host.ask(command))

    def test_rounds_leak_no_handle_thread_or_memory(self):
        del self.board["journal"]
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        host = self.host()
        self.ok(host.ask("create"))
        options = self.options(COMPORT=number)
        # Handles of Windows objects are kept by Wine's server: a leaked one is some hundred bytes there.
        processes = {"host": host.host_process()} | ({"Wine's server": server_process()} if OWN_SERVER else {})
        for _ in range(self.WARM_UP):
            self.round(host, options)
        first = {name: self.resources(process) for name, process in processes.items()}
        first_heap = self.heap()
        for _ in range(self.ROUNDS - self.WARM_UP):
            self.round(host, options)
        for name, process in processes.items():
            with self.subTest(name):
                wait_for(lambda: self.resources(process)[1] <= first[name][1], "the end of the threads")
                last = self.resources(process)
                print(f"{name}: open files, threads, KiB: {first[name]}, then {last}")
                self.assertLessEqual(last[0], first[name][0], "open files")
                if not SANITIZED:
                    self.assertLessEqual(last[2], first[name][2] + self.MOST_RESIDENT, "KiB of memory")
        if LIVE_MEMORY:
            print(f"host: bytes on the heap: {first_heap:,}, then {self.heap():,}")
            self.assertGreater(first_heap, 0)
            self.assertLessEqual(self.heap(), first_heap + self.MOST_HEAP, "bytes on the heap")


if __name__ == "__main__":
    main()
