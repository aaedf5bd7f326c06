"""cmake/fetch-sources, with the same fake tools: what it takes, what it refuses, and when it fetches anew."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from test_windows_libraries import HERE, LIMIT, TREE

VERSIONS = {"libcpp-httplib-dev": "0.11.4+ds-1", "zlib1g-dev": "1:1.2.13.dfsg-1"}
ARCHIVES = {"http": "cpp-httplib_0.11.4+ds.orig.tar.xz", "zlib": "zlib_1.2.13.dfsg.orig.tar.xz"}
SOURCES = {"http": ("cpp-httplib", "0.11.4+ds-1"), "zlib": ("zlib", "1:1.2.13.dfsg-1")}
FILES = {"http": ["include/LICENSE", "include/httplib.h"], "zlib": ["deflate.c", "include/zconf.h", "include/zlib.h", "inflate.c"]}


class Fetched(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tarnel_sources_"))
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.tools, self.cmake = self.folder / "tools", self.folder / "cmake"
        self.tools.mkdir()
        self.cmake.mkdir()
        for tool in ("dpkg-query", "apt-config", "apt-get", "dpkg-source"):
            shutil.copy(HERE / "fake_tool", self.tools / tool)
        for name in ("fetch-sources", "library-builds"):
            shutil.copy(TREE / "cmake" / name, self.cmake)
        self.has_packages(VERSIONS)
        for library in SOURCES:
            self.pins(library).write_text(self.sum_of(library))

    def has_packages(self, versions):
        (self.folder / "versions").write_text("".join(f"{package} {version}\n" for package, version in versions.items()))

    def pins(self, library):
        return self.cmake / f"{library}-sources.sha256"

    def environment(self, **more):
        return dict(os.environ, PATH=f"{self.tools}:{os.environ['PATH']}", FAKE_FOLDER=str(self.folder),
                    TARNEL_CACHE=str(self.folder / "cache"), TMPDIR=str(self.folder), **more)

    def sum_of(self, library):
        """Of the archive that the fake apt-get makes."""
        with tempfile.TemporaryDirectory() as scratch:
            subprocess.run([self.tools / "apt-get", "source", "=".join(SOURCES[library])], cwd=scratch, check=True,
                           env=dict(os.environ, FAKE_FOLDER=scratch))
            return subprocess.check_output(["sha256sum", ARCHIVES[library]], cwd=scratch, text=True)

    def fetch(self, *arguments, **more):
        return subprocess.run([self.cmake / "fetch-sources", *arguments], env=self.environment(**more), capture_output=True,
                              text=True, timeout=LIMIT, check=False)

    def root(self, library):
        return pathlib.Path(self.fetch(library, "--print-root").stdout.strip())

    def is_refused(self, result, text):
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertIn("fetch-sources: " + text, result.stderr)
        self.assertEqual([str(path) for path in self.folder.rglob("*.building*")], [])
        self.assertEqual([str(path) for path in self.folder.glob("tmp.*")], [])

    def test_first_call_fetches_and_the_second_finds_it(self):
        for library, (package, version) in SOURCES.items():
            root, files = self.root(library), FILES[library]
            self.assertFalse(root.exists())
            result = self.fetch(library)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertEqual(result.stdout, f"fetch-sources: fetching {package} {version}, once, into {root}\nfetch-sources: done\n")
            found = sorted(str(path.relative_to(root)) for path in root.rglob("*") if path.is_file())
            self.assertEqual(found, sorted([*files, "files.sha256"]))
            calls = (self.folder / "calls").read_text()
            result = self.fetch(library)
            self.assertEqual((result.returncode, result.stdout), (0, f"fetch-sources: {root} is there already\n"))
            self.assertEqual((self.folder / "calls").read_text().count("apt-get"), calls.count("apt-get"))

    def test_archive_that_is_not_the_pinned_one_is_refused(self):
        for library, archive in ARCHIVES.items():
            line = self.pins(library).read_text()
            self.pins(library).write_text("0" * 64 + line[64:])
            result = self.fetch(library)
            self.is_refused(result, f"{library}-sources.sha256 does not pin {archive}. ")
            self.assertIn("\nwrite there: " + line, result.stderr)
            self.assertFalse(self.root(library).exists())

    def test_name_of_the_result_follows_everything_that_goes_in(self):
        for library in SOURCES:
            names = {self.root(library)}
            for name in ("fetch-sources", "library-builds", f"{library}-sources.sha256"):
                with open(self.cmake / name, "a") as file:
                    file.write("# another\n")
                names.add(self.root(library))
            self.has_packages({package: version + "+b1" for package, version in VERSIONS.items()})
            names.add(self.root(library))
            self.has_packages(VERSIONS)
            self.assertEqual(len(names), 5, names)

    def test_sources_without_a_file_are_no_result(self):
        self.is_refused(self.fetch("zlib", FAKE_LEAVES_OUT="inflate.c"), "the build left no inflate.c; the whole log is ")
        self.assertFalse(self.root("zlib").exists())

    def test_wrong_usage(self):
        for words in ((), ("--print-root",), ("https",)):
            self.is_refused(self.fetch(*words), "what is to be fetched is http or zlib\n")
        self.is_refused(self.fetch("zlib", "--prnit-root"), "unknown argument --prnit-root\n")
        self.has_packages({})
        self.is_refused(self.fetch("zlib"), "zlib1g-dev is not installed; its version is part of what is built\n")


if __name__ == "__main__":
    sys.exit(unittest.main())
