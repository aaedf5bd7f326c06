"""tracehost check: the plug-in passes whole, and plug-ins with faults fail at the checks of these faults and no other.

tests/modules/broken_receiver/ is a plug-in that has the faults that TARNEL_TEST_FAULTS names; a fault has the name of the
check that must find it. With TARNEL_EVERY_FAULT_ALONE set each fault is tried on its own, against all checks.
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
GROUPS = 4  # in which the faults are tried: one after the other they take minutes
FEW_ROUNDS = ("--rounds", "10")
NOT_FOUND_UNDER_WINE = ("leaks-memory", "leaks-handles")  # too little leaks in a few rounds; open: see docs/testing.md


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
    def run_check(self, *arguments, faults=(), plugin=None):
        environment = dict(self.environment(), TARNEL_TEST_FAULTS=",".join(faults))
        words = ["check", "--json", *arguments, *([plugin] if plugin else [])]
        result = subprocess.run(self.command(*words), env=environment, text=True, capture_output=True, timeout=LIMIT * 4,
                                cwd=self.folder)
        said = [line for line in result.stderr.splitlines() if not (ON_WINE and line.startswith("wine: Unhandled"))]
        self.assertEqual(said, [])
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
                            (["--rounds", "0"], '--rounds "0": give a number from 1 to 100000')):
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
        left_out = BY_A_MODULE_OF_ITS_OWN + (NOT_FOUND_UNDER_WINE if ON_WINE else ())
        faults = [name for name in self.catalogue() if name not in left_out]
        ports = self.pairs() if ON_WINE else ()
        for some in [[fault] for fault in faults] if ALONE else [faults[i::GROUPS] for i in range(GROUPS)]:
            with self.subTest(some):
                outcomes = self.outcomes(*ports, *FEW_ROUNDS, faults=some, plugin=BROKEN)
                self.assertEqual((sorted(outcomes.pop("fail")), list(outcomes)), (sorted(some), ["pass"]))

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


if __name__ == "__main__":
    main()
