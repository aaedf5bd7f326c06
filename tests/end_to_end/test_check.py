"""tracehost check: the plug-in passes whole, and plug-ins with faults fail at the checks of these faults and no other.

tests/modules/broken_receiver/ is a plug-in that has the faults that TARNEL_TEST_FAULTS names; a fault has the name of the
check that must find it, or of two operations that stand in each other's place. With TARNEL_EVERY_FAULT_ALONE set each fault
is tried on its own, against all checks, otherwise many at once.
"""
import json
import os
import subprocess
import tty
import unittest

from hosting import HostTest, LIMIT, ON_WINE, main
from threading import Thread

SOURCES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
ALONE = os.environ.get("TARNEL_EVERY_FAULT_ALONE")
BROKEN = "tarnel_test_broken_receiver"
BY_A_MODULE_OF_ITS_OWN = ("exports", "exports-delete")
GROUPS = 2  # in which the faults are tried: one after the other they take minutes
FEW_ROUNDS = ("--rounds", "10")


class Pump(Thread):
    """A null modem: what comes out of one pseudo-terminal goes into the other."""

    def __init__(self):
        super().__init__(daemon=True)
        self.near, near_end = os.openpty()
        self.far, far_end = os.openpty()
        self.ends = (near_end, far_end)  # held open, so that both stay what they are
        for end in self.ends:
            tty.setraw(end)
        self.names = [os.ttyname(end) for end in self.ends]
        self.start()

    def run(self):
        try:
            while True:
                data = os.read(self.far, 4096)
                while data:
                    data = data[os.write(self.near, data):]
        except OSError:
            pass


class Check(HostTest):
    def run_quiet(self, *arguments, faults=(), plugin=None):
        """Exit status and output of a run that says nothing on standard error."""
        environment = dict(self.environment(), TARNEL_TEST_FAULTS=",".join(faults))
        words = ["check", *arguments, *([plugin] if plugin else [])]
        result = subprocess.run(self.command(*words), env=environment, text=True, capture_output=True, timeout=LIMIT * 4,
                                cwd=self.folder)
        said = [line for line in result.stderr.splitlines() if not (ON_WINE and line.startswith("wine: Unhandled"))]
        self.assertEqual(said, [])
        return result

    def run_check(self, *arguments, **settings):
        result = self.run_quiet("--json", *arguments, **settings)
        answer = json.loads(result.stdout)
        self.assertEqual(answer["ok"], result.returncode == 0)
        return {check["name"]: check for check in answer["checks"]}

    def outcomes(self, *arguments, **settings):
        """Outcome to the names of the checks that ended so."""
        sorted_by = {}
        for name, check in self.run_check(*arguments, **settings).items():
            sorted_by.setdefault(check["result"], []).append(name)
        return sorted_by

    def pairs(self):
        """Options that give the checks two pairs of ports."""
        words = []
        for index in (1, 3):
            pump = Pump()
            numbers = []
            for offset, name in enumerate(pump.names):
                number, link = self.port(index + offset)
                os.symlink(name, link)
                numbers.append(number)
            words += ["--pair", "{}={}".format(*numbers)]
        return words

    def catalogue(self):
        result = self.run_host("check", "--list", "--json")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return {check["name"]: check for check in json.loads(result.stdout)["checks"]}


class Catalogue(Check):
    DOCUMENT = os.path.join(SOURCES, "docs", "plugin-check.md")

    def test_the_document_holds_the_catalogue(self):
        """TARNEL_WRITE_CATALOGUE writes it anew."""
        with open(self.DOCUMENT) as document:
            text = document.read()
        head = text.split("\n### ")[0].rstrip("\n") + "\n"
        wanted, subject = head, ""
        for check in self.catalogue().values():
            if check["subject"] != subject:
                subject = check["subject"]
                wanted += f"\n### {subject}\n\n| check | asks | why |\n|---|---|---|\n"
            wanted += f"| `{check['name']}` | {check['asks']} | {check['why']} |\n"
        if os.environ.get("TARNEL_WRITE_CATALOGUE"):
            with open(self.DOCUMENT, "w") as document:
                document.write(wanted)
        self.assertEqual(text, wanted)

    def test_the_list_shows_every_check_with_what_it_asks_and_why(self):
        shown = self.run_host("check", "--list").stdout
        for name, check in self.catalogue().items():
            self.assertIn(f"  {name}\n      {check['asks']}.\n      Why: {check['why']}.\n", shown)

    def test_only_takes_checks_and_subjects_in_the_catalogues_order_and_each_once(self):
        checks = self.catalogue()
        library = [name for name, check in checks.items() if check["subject"] == "library"]
        self.assertEqual(list(self.run_check("--only", "status-without-target,library,exports")),
                         [*library, "status-without-target"])

    def test_wrong_usage_is_refused(self):
        for words, text in ((["--only", "none"], '--only "none" is no check: see "tracehost check --list"'),
                            (["--only", "exports,"], '--only "" is no check: see "tracehost check --list"'),
                            (["one", "--plugin", "two"], "two plug-ins are given: check one after the other"),
                            (["--pair", "5"], '--pair "5": give two ports, such as 5=6'),
                            (["--pair", "5=5"], '--pair "5=5": give two different ports, such as 5=6'),
                            (["--rounds", "0"], '--rounds "0": give a number from 1 to 100000'),
                            (["--rounds", "1.5"], '--rounds "1.5": give a number from 1 to 100000')):
            with self.subTest(words):
                result = self.run_host("check", *words)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertTrue(result.stderr.startswith("tracehost: " + text), result.stderr)


class OwnPlugin(Check):
    def test_the_plug_in_passes_whole(self):
        checks = self.run_check(*(self.pairs() if ON_WINE else ()))
        self.assertEqual({name: check for name, check in checks.items()
                          if check["result"] != "pass" or check["reason"]}, {})
        self.assertEqual(sorted(checks), sorted(self.catalogue()))


@unittest.skipIf(ON_WINE, "there the checks have no other ports than pairs, with which all are run")
class Pairs(Check):
    def test_two_pairs_of_ports_do_what_pseudo_terminals_do(self):
        subjects = ("recording", "notifications", "two-cpus", "order")
        checks = self.run_check("--only", ",".join(subjects), *self.pairs())
        self.assertEqual({name: check for name, check in checks.items()
                          if check["result"] != "pass" or check["reason"]}, {})
        self.assertEqual(list(checks), [name for name, check in self.catalogue().items() if check["subject"] in subjects])

    def test_an_own_port_that_cannot_be_used_is_told_with_its_reason(self):
        _, absent = self.port(2)
        _, no_port = self.port(3)
        self.write(os.path.basename(no_port), "a file")
        for pair, told in (("1=2", f"{absent}: No such file or directory"),
                           ("1=3", f"{no_port}: Inappropriate ioctl for device"),
                           ("1=64999", "/dev/ttyACM64999: No such file or directory")):
            check = self.run_check("--only", "recording-bytes", "--pair", pair)["recording-bytes"]
            self.assertEqual((check["result"], check["reason"]), ("fail", "tracehost: " + told))


class BrokenPlugins(Check):
    def test_a_plug_in_without_the_error_classs_member_fails_at_that(self):
        self.assertEqual(self.outcomes("--only", "library", plugin="tarnel_test_without_delete"),
                         {"pass": ["exports", "load-quiet"], "fail": ["exports-delete"]})

    def test_what_is_no_plug_in_fails_at_its_exports_and_nothing_else_is_tried(self):
        for plugin in ("tarnel_test_good", "nowhere"):
            result = self.outcomes(plugin=plugin)
            self.assertEqual(result.pop("fail"), ["exports"])
            self.assertEqual(list(result), ["skip"])

    def test_each_fault_is_found_by_its_check_and_by_no_other(self):
        faults = [name for name in self.catalogue() if name not in BY_A_MODULE_OF_ITS_OWN]
        ports = self.pairs() if ON_WINE else ()
        for some in [[fault] for fault in faults] if ALONE else [faults[i::GROUPS] for i in range(GROUPS)]:
            with self.subTest(some):
                outcomes = self.outcomes(*ports, *FEW_ROUNDS, faults=some, plugin=BROKEN)
                self.assertEqual((sorted(outcomes.pop("fail")), list(outcomes)), (sorted(some), ["pass"]))

    def test_operations_in_each_others_place_are_found_by_the_check_of_the_slots(self):
        for check, fault, reason in (
                ("receiver-slots", "TargetStateChanged/TargetEvent",
                 "GetStatus after TargetStateChanged(4): code, which is left: 1 instead of 99"),
                ("driver-slots", "SetConfiguration/LoadFile",
                 'SetConfiguration without a file is refused with the text: "LoadFile not supported" instead of '
                 '"Internal error setting configuration."'),
                ("driver-slots", "StopRecording/ResumeRecording",
                 "the plug-in refuses what it must not: ResumeRecording not supported"),
                ("driver-slots", "JobStateChanged/SetTargetState", "JobStateChanged(0) is not noted in the log")):
            with self.subTest(fault):
                found = self.run_check("--only", check, faults=[fault], plugin=BROKEN)[check]
                self.assertEqual((found["result"], found["reason"]), ("fail", reason))

    def test_a_fault_that_one_step_of_a_check_finds_is_told_with_what_was_seen_there(self):
        for check, step, reason in (
                ("notify-start-and-stop", "halted",
                 "GetStatus after the target halted, with nothing recorded: code: 99 instead of 16"),
                ("notify-quiet", "no-port", "the plug-in refuses what it must not: the port is not there")):
            with self.subTest(check, step=step):
                found = self.run_check("--only", check, *(self.pairs() if ON_WINE else ()), faults=[f"{check}:{step}"],
                                       plugin=BROKEN)[check]
                self.assertEqual((found["result"], found["reason"]), ("fail", reason))

    def test_a_crash_an_exit_and_a_call_without_end_cost_one_check_and_are_told_with_their_step(self):
        for fault, outcome, reason in (("crash", "crash", r"(signal 11|exception 0xC0000005).*, at GetCpuName"),
                                       ("exit", "crash", "the process ended with status 0, at GetCpuName"),
                                       ("hang", "timeout", "no end within 4 s, at GetCpuName")):
            with self.subTest(fault):
                checks = self.run_check("--only", "driver-slots,driver-progress", "--time-limit", "4" if fault == "hang"
                                        else "60", faults=[fault], plugin=BROKEN)
                self.assertEqual({name: check["result"] for name, check in checks.items()},
                                 {"driver-slots": outcome, "driver-progress": "pass"})
                self.assertRegex(checks["driver-slots"]["reason"], reason)

    def test_without_a_fault_it_passes(self):
        self.assertEqual(list(self.outcomes(*(self.pairs() if ON_WINE else ()), *FEW_ROUNDS, plugin=BROKEN)), ["pass"])


class Text(Check):
    """What a person sees, letter for letter."""
    SLOTS = """\
         asked: Each operation of a driver, called in the interface's order, does what belongs to it
         why:   a plug-in built from other headers answers with the operation beside it
"""

    def expect(self, status, text, *arguments, **settings):
        result = self.run_quiet(*arguments, **settings)
        self.assertEqual(result.stdout, text)
        self.assertEqual(result.returncode, status)

    def test_what_passes_fails_and_crashes_is_told_with_what_was_seen_asked_and_why(self):
        crash, seen = ("exit", "the process ended with status 0") if ON_WINE else ("crash", "signal 11 (Segmentation fault)")
        self.expect(1, f"""\
crash    driver-slots
         {seen}, at GetCpuName
{self.SLOTS}\
fail     driver-progress
         GetProgress: total: 10 instead of 100
         asked: A run-time cast leads to CChannelDriverProgress, which gives 1 of 100
         why:   the host finds this interface in no other way
pass     status-without-target
3 checks: 1 passed, 1 failed, 1 crashed
""", "--only", "driver-slots,driver-progress,status-without-target", faults=[crash, "driver-progress"], plugin=BROKEN)

    def test_control_characters_of_a_reason_are_shown_escaped(self):
        shown = self.run_quiet("--only", "exports", plugin="no\x1bwhere").stdout
        self.assertIn('         cannot load "no\\x1Bwhere": ', shown)
        self.assertNotIn("\x1b", shown)

    def test_what_does_not_end_is_told_with_the_step(self):
        self.expect(1, f"""\
timeout  driver-slots
         no end within 4 s, at GetCpuName
{self.SLOTS}\
1 check: 0 passed, 1 timed out
""", "--only", "driver-slots", "--time-limit", "4", faults=["hang"], plugin=BROKEN)

    def test_what_passes_whole_is_one_line_for_each_and_status_0(self):
        self.expect(0, """\
pass     exports
pass     driver-progress
2 checks: 2 passed
""", "--only", "exports,driver-progress")

    def test_when_every_check_is_skipped_the_status_is_1(self):
        self.expect(1, """\
skip     two-cpus-apart
         needs 2 pairs of COM ports joined by a null modem: see --pair
skip     two-cpus-at-once
         needs 2 pairs of COM ports joined by a null modem: see --pair
2 checks: 0 passed, 2 skipped
""", "--only", "two-cpus", "--pair", "5=6")

    @unittest.skipUnless(ON_WINE, "elsewhere there are pseudo-terminals")
    def test_what_is_not_looked_at_without_ports_is_told_and_does_no_harm(self):
        self.expect(0, """\
pass     status-texts
         not looked at in the states recording and stopped, for which there is no pair of ports
skip     recording-bytes
         needs 1 pair of COM ports joined by a null modem: see --pair
pass     leaks-threads
         without recordings, for which there is no pair of ports
3 checks: 2 passed, 1 skipped
""", "--only", "status-texts,recording-bytes,leaks-threads", "--rounds", "1")


if __name__ == "__main__":
    main()
