"""cmake/build-windows-libraries, in a copy of the folders that it uses and with fake tools: what it takes for the sources
that it wants, and what interruptions, a second call, failures and damage leave. Fetches and compiles nothing."""
import functools
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parents[1]
LIMIT = 60  # seconds; generous, because machines can be busy
VERSIONS = {"clang-19": "1:19.1.7-3", "libxerces-c-dev": "3.2.4-1", "libwine-dev": "8.0-4", "mingw-w64-x86-64-dev": "10.0-3"}
SOURCES = {"llvm-toolchain-19": VERSIONS["clang-19"], "xerces-c": VERSIONS["libxerces-c-dev"]}
LLVM, XERCES = "llvm-toolchain-19_19.1.7.orig.tar.xz", "xerces-c_3.2.4.orig.tar.xz"
TOOLS = ("dpkg-query", "apt-config", "apt-get", "dpkg-source", "cmake", "ninja", "clang-19", "lld-link-19", "llvm-ar-19",
         "llvm-lib-19", "llvm-dlltool-19")


def wait_for(condition, what):
    end = time.monotonic() + LIMIT
    while not condition():
        if time.monotonic() > end:
            raise AssertionError("waited in vain for " + what)
        time.sleep(0.01)


@functools.cache
def sums(text=None):
    """Lines of the pins, for the archives that the fake apt-get makes. text: the tool's, when it is another one"""
    with tempfile.TemporaryDirectory() as scratch:
        tool = pathlib.Path(scratch, "apt-get")
        shutil.copy(HERE / "fake_tool", tool)
        if text:
            tool.write_text(text)
        for name, version in SOURCES.items():
            subprocess.run([tool, "source", f"{name}={version}"], cwd=scratch, check=True,
                           env=dict(os.environ, FAKE_FOLDER=scratch))
        return subprocess.check_output(["sha256sum", LLVM, XERCES], cwd=scratch, text=True).splitlines(True)


class Libraries(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tarnel_libraries_"))
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.tools = self.folder / "tools"
        self.tools.mkdir()
        for tool in TOOLS:
            shutil.copy(HERE / "fake_tool", self.tools / tool)
        self.copy_tree()
        self.has_packages(VERSIONS)
        self.pins = self.folder / "cmake/windows-sources.sha256"
        self.pin(sums())

    def copy_tree(self):
        """What the script uses beside itself; the lists of the system's libraries lie in a folder of the test."""
        (self.folder / "cmake").mkdir()
        for name in ("build-windows-libraries", "library-builds", "windows-x64.cmake"):
            shutil.copy(TREE / "cmake" / name, self.folder / "cmake")
        shutil.copy(HERE / "fake_tool", self.folder / "cmake/make-import-libraries")
        shutil.copytree(TREE / "msvc_abi", self.folder / "msvc_abi")
        self.script = self.folder / "cmake/build-windows-libraries"
        real = "/usr/x86_64-w64-mingw32/lib"
        text = self.script.read_text()
        self.assertEqual(text.count(real), 1)
        self.script.write_text(text.replace(real, str(self.folder / "lists")))
        (self.folder / "lists").mkdir()
        for library in text.split('import_libraries="')[1].split('"')[0].split():
            (self.folder / f"lists/lib{library}.a").write_text("list\n")

    def has_packages(self, versions):
        lines = [f"{package} {version}\n" for package, version in versions.items()]
        (self.folder / "versions").write_text("".join(lines))

    def pin(self, lines):
        self.pins.write_text("".join(lines))

    def environment(self, **more):
        return dict(os.environ, PATH=f"{self.tools}:{os.environ['PATH']}", FAKE_FOLDER=str(self.folder),
                    TARNEL_CACHE=str(self.folder / "cache"), TMPDIR=str(self.folder), **more)

    def run_script(self, *arguments, **more):
        return subprocess.run([self.script, *arguments], env=self.environment(**more), capture_output=True, text=True,
                              timeout=LIMIT, check=False)

    def start(self, **more):
        """A build that has come to libc++ and goes on when the file go is there."""
        running = subprocess.Popen([self.script], env=self.environment(FAKE_HANGS="1", **more), text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)
        self.addCleanup(self.end, running)
        wait_for(lambda: (self.folder / "hangs").exists() or running.poll() is not None, "the build of libc++")
        self.assertIsNone(running.poll())
        return running

    def end(self, running):
        (self.folder / "go").touch()
        running.communicate(timeout=LIMIT)

    def root(self):
        return pathlib.Path(self.run_script("--print-root").stdout.strip())

    def calls(self, start):
        path = self.folder / "calls"
        return [line for line in path.read_text().splitlines() if line.startswith(start)] if path.exists() else []

    def is_built(self, result):
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("building libc++ 1:19.1.7-3 and xerces-c 3.2.4-1 for Windows, once, into", result.stdout)
        self.is_whole()

    def is_whole(self):
        root = self.root()
        for name in ("lib/c++.lib", "lib/xerces-c.lib", "lib/ucrt_math.lib", "lib/libkernel32.lib",
                     "include/c++/v1/__config_site"):
            self.assertTrue((root / name).exists(), name)
        self.leaves_nothing_else()

    def leaves_nothing_else(self):
        """No half of a build, and none of the folders that it fetched into."""
        self.assertEqual([str(path) for path in self.folder.rglob("*.building*")], [])
        self.assertEqual([str(path) for path in self.folder.glob("tmp.*")], [])

    def is_refused(self, result, text):
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("build-windows-libraries: " + text, result.stderr)
        self.assertFalse(self.root().exists())
        self.leaves_nothing_else()


class Sources(Libraries):
    def test_first_call_builds_and_the_second_finds_it(self):
        self.is_built(self.run_script())
        before = len(self.calls("cmake"))
        result = self.run_script()
        self.assertEqual((result.returncode, result.stdout), (0, f"build-windows-libraries: {self.root()} is there already\n"))
        self.assertEqual(len(self.calls("cmake")), before)
        self.assertEqual(len(self.calls("apt-get")), 3)

    def test_archive_that_is_not_the_pinned_one_is_refused(self):
        first, second = sums()
        self.pin([first, "0" * 64 + second[64:]])
        self.is_refused(self.run_script(), f"{XERCES} is not the archive that is pinned\n")
        self.assertEqual(self.calls("cmake"), [])

    def test_archive_without_a_pin_is_refused_with_the_line_to_add(self):
        first, second = sums()
        self.pin([second])
        result = self.run_script()
        self.is_refused(result, f"windows-sources.sha256 does not pin {LLVM}: ")
        self.assertIn("add the line: " + first, result.stderr)
        self.assertEqual(self.calls("cmake"), [])

    def test_pin_of_a_longer_name_is_no_pin(self):
        first, second = sums()
        self.pin(["0" * 64 + "  other-" + first[66:], second])
        self.is_refused(self.run_script(), "windows-sources.sha256 does not pin llvm-toolchain-19")

    def test_libcxx_that_cannot_be_mended_is_refused(self):
        fake = self.tools / "apt-get"
        fake.write_text(fake.read_text().replace("_LIBCPP_HAS_NO_OFF_T_FUNCTIONS", "_ANOTHER"))
        self.pin(sums(fake.read_text()))
        result = self.run_script()
        self.is_refused(result, "the build failed; the whole log is ")
        self.assertIn("std::fstream of libc++ 1:19.1.7-3 is another one", result.stderr)

    def test_name_of_the_result_follows_everything_that_goes_in(self):
        names = {self.root()}
        for name in ("cmake/build-windows-libraries", "cmake/library-builds", "cmake/windows-sources.sha256",
                     "cmake/windows-x64.cmake", "cmake/make-import-libraries", "msvc_abi/ucrt_math.def",
                     "msvc_abi/include/stdio.h", "msvc_abi/include/sys/types.h"):
            with open(self.folder / name, "a") as file:
                file.write("# another\n")
            names.add(self.root())
        for package, version in VERSIONS.items():
            self.has_packages({**VERSIONS, package: version + "+b1"})
            names.add(self.root())
        self.assertEqual(len(names), 1 + 8 + len(VERSIONS), names)

    def test_package_that_is_missing_is_named(self):
        for package in VERSIONS:
            self.has_packages({name: version for name, version in VERSIONS.items() if name != package})
            for arguments in ((), ("--print-root",)):
                result = self.run_script(*arguments)
                self.assertEqual((result.returncode, result.stdout, result.stderr), (
                    1, "", f"build-windows-libraries: {package} is not installed; its version is part of what is built\n"))

    def test_list_that_is_missing_is_named(self):
        (self.folder / "lists/libole32.a").unlink()
        self.is_refused(self.run_script(), f"{self.folder}/lists/libole32.a is missing (apt-get install mingw-w64-x86-64-dev)")

    def test_unknown_argument_is_refused(self):
        self.is_refused(self.run_script("--prnit-root"), "unknown argument --prnit-root\n")


class Ends(Libraries):
    def test_failing_build_leaves_nothing_but_its_log(self):
        result = self.run_script(FAKE_FAILS="1")
        self.is_refused(result, f"the build failed; the whole log is {self.root()}.log")
        self.assertTrue(result.stderr.startswith("error: no such thing\n"), result.stderr)
        self.is_built(self.run_script())

    def test_build_that_leaves_a_file_out_is_no_result(self):
        result = self.run_script(FAKE_LEAVES_OUT="SAXParser.hpp")
        self.is_refused(result, "the build left no include/xercesc/parsers/SAXParser.hpp; the whole log is ")
        self.is_built(self.run_script())

    def is_interrupted(self, number, status):
        running = self.start()
        running.send_signal(number)
        error = running.communicate(timeout=LIMIT)[1]
        self.assertEqual(running.returncode, status, error)
        self.assertFalse(self.root().exists())
        self.leaves_nothing_else()
        (self.folder / "hangs").unlink()
        self.is_built(self.run_script())

    def test_interrupted_build_ends_what_it_started_and_the_next_begins_afresh(self):
        self.is_interrupted(signal.SIGINT, 130)

    def test_terminated_build_ends_what_it_started_and_the_next_begins_afresh(self):
        self.is_interrupted(signal.SIGTERM, 143)

    def test_build_whose_terminal_goes_ends_what_it_started_and_the_next_begins_afresh(self):
        self.is_interrupted(signal.SIGHUP, 129)

    def test_after_a_killed_build_the_next_waits_for_what_that_started(self):
        killed = self.start()
        killed.kill()
        killed.wait(LIMIT)
        following = subprocess.Popen([self.script], env=self.environment(), text=True, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE)
        time.sleep(0.3)
        self.assertIsNone(following.poll(), "did not wait")
        self.assertEqual(self.calls("cmake --install"), [])
        (self.folder / "go").touch()
        output, error = following.communicate(timeout=LIMIT)
        self.assertEqual((following.returncode, error), (0, ""))
        self.assertIn("building libc++", output)
        for folder in self.folder.glob("tmp.*"):  # what it fetched into stays, as nobody could remove it
            shutil.rmtree(folder)
        self.is_whole()

    def test_second_build_waits_for_the_first_and_takes_its_result(self):
        first = self.start()
        second = subprocess.Popen([self.script], env=self.environment(), text=True, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE)
        time.sleep(0.3)
        self.assertIsNone(second.poll(), "did not wait")
        (self.folder / "go").touch()
        for running, text in ((first, "building libc++"), (second, "is there already")):
            output, error = running.communicate(timeout=LIMIT)
            self.assertEqual((running.returncode, error), (0, ""))
            self.assertIn(text, output)
        self.assertEqual(len(self.calls("cmake --install")), 1)
        self.is_whole()


class Damage(Libraries):
    def is_rebuilt(self, damage):
        self.is_built(self.run_script())
        damage(self.root())
        result = self.run_script()
        self.assertEqual((result.returncode, result.stderr), (
            0, f"build-windows-libraries: {self.root()} is damaged: a file in it is missing or is not the one that was built\n"))
        self.assertEqual(len(self.calls("cmake --install")), 2)
        self.is_whole()

    def test_changed_file_is_noticed(self):
        self.is_rebuilt(lambda root: (root / "lib/c++.lib").write_text("mode\n"))

    def test_missing_file_is_noticed(self):
        self.is_rebuilt(lambda root: (root / "lib/libkernel32.lib").unlink())

    def test_missing_list_of_files_is_noticed(self):
        self.is_rebuilt(lambda root: (root / "files.sha256").unlink())

    def test_empty_list_of_files_is_noticed(self):
        self.is_rebuilt(lambda root: (root / "files.sha256").write_text(""))


if __name__ == "__main__":
    sys.exit(unittest.main())
