"""The example boards, which may be installed where nothing can be written."""
import json
import os
import shutil
import subprocess
import unittest

from bad_inputs import can_mount
from hosting import HostTest, LIMIT, ON_WINE, main

BOARDS = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "simulator", "boards"))


class Boards(HostTest):
    """A copy of them, read-only."""

    CLOCKS = {"ferrin": "12", "glintar": "33.3333", "mothwing": "24"}  # MHz

    def setUp(self):
        super().setUp()
        self.installed = self.file("installed")
        shutil.copytree(BOARDS, self.installed)
        for name in os.listdir(self.installed):
            os.chmod(os.path.join(self.installed, name), 0o444)
        os.chmod(self.installed, 0o555)
        self.before = self.content()

    def tearDown(self):
        os.chmod(self.installed, 0o755)
        super().tearDown()

    def content(self):
        """Of the folder: names with bytes and times."""
        files = [(name, os.path.join(self.installed, name)) for name in sorted(os.listdir(self.installed))]
        return [(name, self.read(path), os.stat(path).st_mtime_ns) for name, path in files]

    def read_only(self, command):
        """Rights do not keep root from writing, but a mount does."""
        if ON_WINE or not can_mount():
            return command
        line = 'mount --bind "$0" "$0" && mount -o remount,ro,bind "$0" && exec "$@"'
        return ["unshare", "-m", "sh", "-c", line, self.installed, *command]

    def run_on(self, name, *arguments, text=None, **variables):
        """A command with an example board. Nothing is to lead its state to where the machine's other programs are."""
        environment = dict(self.environment(), **{"XDG_RUNTIME_DIR": self.file("user"), **variables})
        board = self.host_path(os.path.join(self.installed, name + ".json"))
        command = self.command(*[board if word == "BOARD" else word for word in arguments])
        return subprocess.run(self.read_only(command), env=environment, capture_output=True, text=True, input=text,
                              timeout=LIMIT, cwd=self.folder, check=False)

    @unittest.skipIf(ON_WINE, "rights and mounts of Linux")
    def test_nothing_can_be_written_there(self):
        """What the other tests rest on, unless root has no right to mount."""
        if os.geteuid() == 0 and not can_mount():
            self.skipTest("root may write everywhere, and may not mount")
        written = subprocess.run(self.read_only(["touch", os.path.join(self.installed, "x")]), capture_output=True, check=False)
        self.assertNotEqual(written.returncode, 0)

    def test_recordings_write_nothing_beside_them(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        run = self.file("run")
        for name, clock in self.CLOCKS.items():
            with self.subTest(board=name):
                result = self.run_on(name, "record", "--board", "BOARD", "--port", str(number), "--prescaler", "9", "--seconds",
                                     "0.2", "--output", name + ".bin", TRACEHOST_RUN_FOLDER=self.host_path(run))
                # Silent: the source has another board, whose TPIU nobody enables.
                self.assertEqual(result.returncode, 4, result.stderr)
                self.assertRegex(result.stdout, rf"trace clock   {clock}\d* MHz")
                self.wrote_its_state(run, name)
        self.assertEqual(self.content(), self.before)

    def wrote_its_state(self, folder, name):
        self.assertGreater(os.path.getsize(os.path.join(folder, name + ".journal")), 0)
        with open(os.path.join(folder, name + ".tpiu")) as state:
            self.assertIn("prescaler", json.load(state))

    @unittest.skipIf(ON_WINE, "folders of Linux")
    def test_state_goes_into_a_folder_of_the_user_or_of_temporary_files(self):
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        os.mkdir(self.file("user"))
        os.mkdir(self.file("tmp"))
        for folder, changes in ((self.file("user/tracehost"), {}), (self.file("tmp/tracehost-run-somebody"), {
                "XDG_RUNTIME_DIR": "", "TMPDIR": self.file("tmp"), "USER": "somebody"})):
            result = self.run_on("mothwing", "record", "--board", "BOARD", "--port", str(number), "--prescaler", "9",
                                 "--seconds", "0.2", "--force", "--output", "o.bin", **changes)
            self.assertEqual(result.returncode, 4, result.stderr)
            self.wrote_its_state(folder, "mothwing")
        self.assertEqual(self.content(), self.before)

    def test_scripts_and_the_doctor_write_nothing_beside_them(self):
        lines = "create\nallocate board/cpu 7\nrelease board/cpu\ndestroy\n"
        result = self.run_on("ferrin", "script", "--board", "BOARD", "--strict", "-", text=lines,
                             TRACEHOST_RUN_FOLDER=self.host_path(self.file("run")))
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        board = self.host_path(os.path.join(self.installed, "ferrin.json"))
        result = self.run_on("ferrin", "doctor", "--json", TRACEHOST_BOARD=board,
                             TRACEHOST_RUN_FOLDER=self.host_path(self.file("run")))
        checks = {check["name"]: check["ok"] for check in json.loads(result.stdout)["checks"]}
        self.assertTrue(checks["environment"] and checks["plug-in's answer"], result.stdout)
        self.assertEqual(self.content(), self.before)


if __name__ == "__main__":
    main()
