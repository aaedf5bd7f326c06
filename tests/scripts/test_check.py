# SPDX-License-Identifier: Apache-2.0
"""cmake/check with a Makefile whose targets only tell that they ran, in the file `told`."""
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "cmake/check"
BUILT = ["build-asan", "build-tsan", "build-windows", "package", "lint", "docs"]
RUN = ["packages-all", "test", "test-page", "run-asan", "run-tsan", "run-windows", "run-packages", "run-soak"]
NEEDED = {"run-asan": "build-asan", "run-tsan": "build-tsan", "run-windows": "build-windows", "run-packages": "package",
          "run-soak": "docs"}


class Check(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tarnel_check_"))
        self.addCleanup(shutil.rmtree, self.folder)
        (self.folder / "cmake").mkdir()
        shutil.copy(CHECK, self.folder / "cmake/check")

    def start(self, **commands):
        """The check, with these commands in place of a target's own: underscores stand for dashes."""
        commands = {name.replace("_", "-"): command for name, command in commands.items()}
        rules = "".join(f"{name}:\n\t@echo begin {name} >>told; {commands.get(name, 'true')} && echo end {name} >>told\n"
                        for name in BUILT + RUN)
        (self.folder / "Makefile").write_text(f".PHONY: {' '.join(BUILT + RUN)}\n" + rules)
        return subprocess.Popen([self.folder / "cmake/check"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def told(self, event):
        path = self.folder / "told"
        lines = [line.split() for line in path.read_text().splitlines()] if path.exists() else []
        return [name for what, name in lines if what == event]

    def lines(self):
        return (self.folder / "told").read_text().splitlines()

    def test_every_step_runs_once_and_behind_what_it_needs(self):
        check = self.start(docs="sleep 0.3")
        output, errors = check.communicate(timeout=60)
        self.assertEqual((check.returncode, errors), (0, ""))
        ended = self.told("end")
        self.assertEqual([name for name in ended if name in RUN], RUN)
        self.assertEqual([name for name in ended if name in BUILT], BUILT)
        for target, before in NEEDED.items():
            self.assertLess(self.lines().index(f"end {before}"), self.lines().index(f"begin {target}"))
        for name in RUN:
            self.assertRegex(output, rf"(?ms)^--- make {name}$.*^--- make {name}: \d+ s$")
        for name in BUILT:
            self.assertRegex(output, rf"(?m)^--- make {name}, beside the tests: \d+ s$")

    def test_what_is_built_beside_tests_is_idle_work(self):
        check = self.start(build_asan="chrt -p $$$$ >policy; cat /proc/self/autogroup >share || true",
                           test="chrt -p $$$$ >own_policy; sleep 0.3")
        check.communicate(timeout=60)
        if share := (self.folder / "share").read_text():  # of a kernel that has such groups
            self.assertRegex(share, "nice 19$")
        self.assertIn("SCHED_IDLE", (self.folder / "policy").read_text())
        self.assertIn("SCHED_OTHER", (self.folder / "own_policy").read_text())

    def test_a_failing_test_is_named_and_ends_what_is_built(self):
        check = self.start(test="false", build_asan="echo $$$$ >building; exec sleep 60", packages_all="true")
        _, errors = check.communicate(timeout=30)
        self.assertEqual(check.returncode, 1)
        self.assertIn("make test failed.\n", errors)
        self.assertNotIn("test-page", self.told("begin"))
        self.expect_ended("building")

    def test_a_failing_build_is_named_with_its_output(self):
        check = self.start(build_tsan="echo no such compiler; false")
        output, errors = check.communicate(timeout=60)
        self.assertEqual(check.returncode, 1)
        self.assertTrue(errors.endswith("make build-tsan failed.\n"), errors)
        self.assertIn("no such compiler\n", output)
        self.assertEqual([name for name in self.told("begin") if name in BUILT], BUILT[:2])
        self.assertNotIn("run-tsan", self.told("begin"))

    def test_an_interrupted_check_leaves_nothing_running(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(signal=number):
                (self.folder / "told").unlink(missing_ok=True)
                check = self.start(test="echo $$$$ >testing; exec sleep 60", build_asan="echo $$$$ >building; exec sleep 60")
                deadline = time.monotonic() + 20
                while not {"test", "build-asan"} <= set(self.told("begin")) and time.monotonic() < deadline:
                    time.sleep(0.02)
                time.sleep(0.2)
                check.send_signal(number)
                check.communicate(timeout=30)
                self.assertEqual(check.returncode, 128 + number)
                self.expect_ended("building")
                self.expect_ended("testing")

    def expect_ended(self, name):
        """The process whose number is in this file is gone, or goes."""
        path = self.folder / name
        if not path.exists():  # it was not begun
            return
        deadline = time.monotonic() + 10
        while pathlib.Path("/proc", path.read_text().strip()).exists():
            self.assertLess(time.monotonic(), deadline, f"{name} goes on")
            time.sleep(0.02)

    def test_words_are_refused(self):
        done = subprocess.run([CHECK, "everything"], capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr[:18]), (1, "usage: cmake/check"))


if __name__ == "__main__":
    os.environ.pop("MAKEFLAGS", None)
    unittest.main()
