"""The host's less common calls through the library boundary, and what they leave in the log, letter for letter."""
import time

from hosting import HostTest, main

DRIVER = "Tarnel_ChannelDriver: "
RECEIVER = "Tarnel_Receiver: "


class HostCalls(HostTest):
    def setUp(self):
        super().setUp()
        self.level = 6

    def allocated(self):
        host = self.host()
        self.ok(host.ask("create"))
        self.ok(host.ask("allocate board/cpu"))
        return host

    def recording(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        host = self.allocated()
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT=number)}"))
        self.ok(host.ask("start board/cpu"))
        return host

    def logged(self, line, times=1):
        """Whether the log holds the line, apart from its head."""
        lines = [entry.split(" | ", 1)[-1] for entry in self.log().split("\n")]
        self.assertEqual(lines.count(line), times, f"{line!r} in\n" + "\n".join(lines[-30:]))

    def test_buffer_never_wraps_also_while_recording(self):
        host = self.recording()
        self.assertIs(host.ask("wrapped board/cpu")["wrapped"], False)
        self.assertGreaterEqual(self.ok(host.ask("wait-samples board/cpu 10 60000"))["samples"], 10)
        self.assertIs(host.ask("wrapped board/cpu")["wrapped"], False)

    def test_extended_information_is_not_there(self):
        self.assertEqual(self.allocated().ask("info board/cpu")["text"], "Not implemented")

    def test_progress_is_always_one_of_a_hundred(self):
        answer = self.ok(self.allocated().ask("progress board/cpu"))
        self.assertEqual((answer["current"], answer["total"]), (1, 100))

    def test_job_state_zero_is_logged_and_others_are_not(self):
        host = self.allocated()
        for state in (0, 1, 4294967295):
            self.ok(host.ask(f"job-state board/cpu {state}"))
        self.logged(DRIVER + "state changed to eJOB_MODIFIED_DISABLE_RESUME")

    def test_halt_state_is_logged_when_it_is_replaced(self):
        host = self.allocated()
        self.ok(host.ask("set-halt-state board/cpu board/cpu 1"))
        self.logged(DRIVER + "modified halt state for board/cpu to 1", times=0)
        self.ok(host.ask("set-halt-state board/cpu board/cpu 255"))
        self.logged(DRIVER + "modified halt state for board/cpu to 255")

    def test_unregistering_is_logged_for_a_known_cpu_only(self):
        host = self.allocated()
        self.ok(host.ask("unregister board/cpu other"))
        self.logged(DRIVER + "CPU unregistered.", times=0)
        self.ok(host.ask("set-halt-state board/cpu other 1"))
        self.ok(host.ask("unregister board/cpu other"))
        self.logged(DRIVER + "CPU unregistered.")
        self.ok(host.ask("set-halt-state board/cpu other 2"))
        self.logged(DRIVER + "modified halt state for other to 2", times=0)

    def test_null_options_file_is_logged_with_the_short_name(self):
        self.refused(self.allocated().ask("configure board/cpu -"), "Internal error setting configuration.")
        self.logged("SetConfiguration called with null options for cpu")

    def test_stopping_while_the_target_runs_is_logged_shorter_than_it_is_thrown(self):
        host = self.recording()
        self.ok(host.ask("set-target-state board/cpu 6"))
        self.refused(host.ask("stop board/cpu"),
                     "Trace cannot be stopped while target is running. Please halt the target.")
        self.logged(DRIVER + "Trace cannot be stopped while target is running.")

    def test_missing_port_is_logged_with_its_number(self):
        host = self.allocated()
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT='59')}"))
        self.refused(host.ask("start board/cpu"), "Failed to open COM port")
        self.assertIn("Failed to open COM59", self.log())

    def test_listing_cpus_and_finding_a_driver_are_logged(self):
        host = self.allocated()
        self.assertEqual(host.ask("cpus")["count"], 1)
        self.assertTrue(host.ask("find board/cpu")["ok"])
        self.logged(RECEIVER + "number of attached cpus is 1")
        self.logged(RECEIVER + "cpuName[0] is board/cpu")
        self.logged(RECEIVER + "Get channel driver for CPU board/cpu.")

    def test_sleep_lasts_as_long_as_asked(self):
        host = self.host()
        started = time.monotonic()
        self.ok(host.ask("sleep 300"))
        self.assertGreaterEqual(time.monotonic() - started, 0.3)


if __name__ == "__main__":
    main()
