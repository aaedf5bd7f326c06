"""usage: test_installed_tree.py BUILD_TREE [TEST...]

Installs a build into an empty folder, moves it elsewhere, and uses it there: records with tracehost, and builds and runs
the example host, from its CMake package and with pkg-config.
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = sys.argv.pop(1)
HERE = os.path.dirname(os.path.abspath(__file__))
os.environ.setdefault("TARNEL_BIN", "")  # the class sets its own
os.environ.setdefault("TARNEL_SOURCE", "")
sys.path.insert(0, os.path.join(HERE, "..", "end_to_end"))
import hosting  # noqa: E402
from example_host import ExampleHost  # noqa: E402
from pages import dead_links, without_links  # noqa: E402

LIMIT = 300  # seconds; generous, because machines can be busy
# What a debugger that loads the plug-in finds beside it, and what is kept apart from it.
PROGRAMS = ["counter_check", "libTarnel.so", "simulated", "swosource", "tracehost"]
SIMULATED = ["libDeviceIdentifier.so", "libICETargetAdapter.so", "libSetupAdapter4.so", "libpelkit.so"]


def run(*command, **options):
    result = subprocess.run(command, text=True, capture_output=True, timeout=LIMIT, check=False, **options)
    return result.returncode, result.stdout, result.stderr


class Installed:
    """A class has a folder of its own, into which the build is installed once."""

    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(prefix="tarnel_installed_")
        status, said, error = run("cmake", "--install", BUILD, "--prefix", os.path.join(cls.place, "first"), "--strip")
        if status != 0:
            raise AssertionError(said + error)
        cls.root = os.path.join(cls.place, "moved to another folder")
        os.rename(os.path.join(cls.place, "first"), cls.root)
        cls.libraries = next(folder for folder, _, files in os.walk(cls.root) if "libTarnel.so" in files)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)


class InstalledTree(Installed, unittest.TestCase):
    def setUp(self):
        self.work = tempfile.mkdtemp(dir=self.place)
        self.environment = {"HOME": self.work, "PATH": os.path.join(self.root, "bin") + ":" + os.environ["PATH"],
                            "TMPDIR": self.work}

    def ok(self, *command, **changes):
        status, said, error = run(*command, env={**self.environment, **changes}, cwd=self.work)
        self.assertEqual(status, 0, said + error)
        return said

    def test_simulated_libraries_lie_apart_from_the_plug_in(self):
        self.assertEqual(sorted(os.listdir(self.libraries)), PROGRAMS)
        self.assertEqual(sorted(os.listdir(os.path.join(self.libraries, "simulated"))), SIMULATED)

    def test_tracehost_records_as_it_is_found_by_its_name(self):
        said = self.ok("tracehost", "record", "--demo", "--seconds", "0.3", "--fail-on", "never", "--output", "t.bin")
        recorded = int(re.search(r"Recorded (\d+) bytes", said).group(1))
        self.assertGreater(recorded, 0)
        whole = (recorded + 7) // 8 * 8  # the file holds whole samples
        self.assertEqual(os.path.getsize(os.path.join(self.work, "t.bin")), whole)

    def test_doctor_finds_the_simulated_libraries(self):
        _, said, _ = run("tracehost", "doctor", "--json", env=self.environment, cwd=self.work)
        found = {check["name"]: check["found"] for check in json.loads(said)["checks"]}
        for library in ("DeviceIdentifier", "SetupAdapter4", "ICETargetAdapter"):
            self.assertEqual(found["library " + library],
                             os.path.join(self.libraries, "simulated", f"lib{library}.so"))

    def test_the_hosts_own_library_beside_the_plug_in_is_preferred(self):
        own = os.path.join(self.libraries, "libSetupAdapter4.so")
        shutil.copy(os.path.join(self.libraries, "simulated", "libSetupAdapter4.so"), own)
        self.addCleanup(os.remove, own)
        _, said, _ = run("tracehost", "doctor", "--json", env=self.environment, cwd=self.work)
        found = {check["name"]: check["found"] for check in json.loads(said)["checks"]}
        self.assertEqual(found["library SetupAdapter4"], own)

    def test_plug_in_alone_in_the_folder_above_is_found(self):
        """As the archive for Windows has it."""
        below = os.path.join(self.work, "simulated")
        shutil.copytree(os.path.join(self.libraries, "simulated"), below)
        for program in ("tracehost", "swosource"):
            shutil.copy(os.path.join(self.libraries, program), below)
        plugin = os.path.join(self.work, "Tarnel.so")
        shutil.copy(os.path.join(self.libraries, "libTarnel.so"), plugin)
        _, said, error = run(os.path.join(below, "tracehost"), "doctor", "--json", env=self.environment, cwd=self.work)
        found = {check["name"]: check["found"] for check in json.loads(said)["checks"]}
        self.assertTrue(found["plug-in"].startswith(plugin), said + error)
        self.assertIn("was made", found["plug-in's answer"])

    def test_man_page_and_completions_are_where_the_system_looks(self):
        for place in ("share/man/man1/tracehost.1.gz", "share/bash-completion/completions/tracehost",
                      "share/zsh/site-functions/_tracehost", "share/fish/vendor_completions.d/tracehost.fish"):
            self.assertTrue(os.path.getsize(os.path.join(self.root, place)), place)

    def test_links_of_the_documents_lead_to_what_is_installed(self):
        pages, links, dead = dead_links(self.root)
        self.assertEqual(dead, [])
        self.assertIn("share/doc/tarnel/first-trace.md", pages)
        self.assertGreater(links, 20)

    def test_pages_lose_nothing_but_links(self):
        """What is not installed is named as before; no bracket of a link is left behind."""
        installed = os.path.join(self.root, "share", "doc", "tarnel")
        sources = os.path.join(HERE, "..", "..", "docs")
        for name in os.listdir(sources):
            if not name.endswith(".md"):
                continue
            with open(os.path.join(sources, name), encoding="utf-8") as file:
                source = file.read()
            with open(os.path.join(installed, name), encoding="utf-8") as file:
                page = file.read()
            self.assertEqual(without_links(page), without_links(source), name)


class InstalledHostKit(Installed, ExampleHost, hosting.HostTest):
    """From its CMake package and with pkg-config: see ExampleHost."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        hosting.BIN, hosting.SOURCE = os.path.join(cls.root, "bin"), os.path.join(cls.libraries, "swosource")


if __name__ == "__main__":
    unittest.main(verbosity=2)
