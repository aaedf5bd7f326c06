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
import time
import unittest

from pages import dead_links, without_links

BUILD = sys.argv.pop(1)
LIMIT = 300  # seconds; generous, because machines can be busy
OPTIONS = '''<?xml version="1.0" encoding="UTF-8"?>
<CHANNEL-SETUP>
\t<VERSION version="1.1.0.0" Copyright="c"></VERSION>
\t<RCVRNAME>SWO Trace</RCVRNAME>
\t<RCVRFWVER>fw 1.0.0.8</RCVRFWVER>
\t<ENCTYPE>UART</ENCTYPE>
\t<PRESCALAR>Manual</PRESCALAR>
\t<PRESCALARVAL>9</PRESCALARVAL>
\t<CLKFREQ>Manual</CLKFREQ>
\t<CLKFREQVAL>1152000</CLKFREQVAL>
\t<COMPORT>1</COMPORT>
\t<TSPRESCALAR>4</TSPRESCALAR>
</CHANNEL-SETUP>
'''
# What a debugger that loads the plug-in finds beside it, and what is kept apart from it.
PROGRAMS = ["counter_check", "libTarnel.so", "simulated", "swosource", "tracehost"]
SIMULATED = ["libDeviceIdentifier.so", "libICETargetAdapter.so", "libSetupAdapter4.so", "libpelkit.so"]


def run(*command, **options):
    result = subprocess.run(command, text=True, capture_output=True, timeout=LIMIT, check=False, **options)
    return result.returncode, result.stdout, result.stderr


class InstalledTree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="tarnel_installed_")
        status, said, error = run("cmake", "--install", BUILD, "--prefix", os.path.join(cls.folder, "first"), "--strip")
        if status != 0:
            raise AssertionError(said + error)
        cls.root = os.path.join(cls.folder, "moved to another folder")
        os.rename(os.path.join(cls.folder, "first"), cls.root)
        cls.libraries = next(folder for folder, _, files in os.walk(cls.root) if "libTarnel.so" in files)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def setUp(self):
        self.work = tempfile.mkdtemp(dir=self.folder)
        self.environment = {"HOME": self.work, "PATH": os.path.join(self.root, "bin") + ":" + os.environ["PATH"],
                            "TMPDIR": self.work}
        for name in ("CC", "CXX"):
            if name in os.environ:
                self.environment[name] = os.environ[name]

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
        sources = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs")
        for name in os.listdir(sources):
            if not name.endswith(".md"):
                continue
            with open(os.path.join(sources, name), encoding="utf-8") as file:
                source = file.read()
            with open(os.path.join(installed, name), encoding="utf-8") as file:
                page = file.read()
            self.assertEqual(without_links(page), without_links(source), name)

    # --- the example host
    def minimal_host_records(self, host):
        for name, text in (("options.xml", OPTIONS), ("board.json", json.dumps(
                {"set_up_file": "set-up.txt", "device_identification": "0x0B9AF02F", "trace_clock_hz": 1152000})),
                           ("set-up.txt", '$ brantor\n$ product\nname="Brantor"\n$ swd\nswd_debug=enabled\n'
                                          'swo_data=tdo_pin\n')):
            with open(os.path.join(self.work, name), "w", encoding="utf-8") as file:
                file.write(text)
        port, taken = os.path.join(self.work, "port"), os.path.join(self.work, "taken")
        source = subprocess.Popen([os.path.join(self.libraries, "swosource"), "--link", port, "--record-taken", taken,
                                   "--pattern", "counter", "--clock", "1152000", "--prescaler", "9", "--enabled"],
                                  stderr=subprocess.DEVNULL)
        try:
            end = time.monotonic() + LIMIT
            while not os.path.exists(port):
                self.assertLess(time.monotonic(), end, "the signal's port did not come")
                time.sleep(0.01)
            said = self.ok(host, os.path.join(self.libraries, "libTarnel.so"), "options.xml", "saved.bin",
                           KORR_TRACE_COM1=port, TRACEHOST_BOARD=os.path.join(self.work, "board.json"),
                           LD_LIBRARY_PATH=os.path.join(self.libraries, "simulated"))
        finally:
            source.terminate()
            source.wait(LIMIT)
        samples = int(re.fullmatch(r"(\d+) samples of 8 bytes\n", said).group(1))
        with open(os.path.join(self.work, "saved.bin"), "rb") as file:
            saved = file.read()
        with open(taken, "rb") as file:
            handed_over = file.read()
        self.assertEqual(samples, (len(saved) + 7) // 8)
        self.assertGreater(samples, 0)
        # Raw files hold whole samples; what the last one lacks is zero.
        self.assertIn(saved.rstrip(b"\0"), handed_over)

    def test_example_host_from_its_cmake_package(self):
        example = next(folder for folder, _, files in os.walk(os.path.join(self.root, "share"))
                       if folder.endswith("minimal_host") and "main.cpp" in files)
        self.ok("cmake", "-S", example, "-B", "build", "-G", "Ninja", "-DCMAKE_PREFIX_PATH=" + self.root)
        self.ok("cmake", "--build", "build")
        self.minimal_host_records(os.path.join(self.work, "build", "minimal_host"))

    def test_example_host_with_pkg_config(self):
        example = next(folder for folder, _, files in os.walk(os.path.join(self.root, "share"))
                       if folder.endswith("minimal_host") and "main.cpp" in files)
        kit = next(folder for folder, _, files in os.walk(self.root) if "tarnel-host.pc" in files)
        flags = self.ok("pkg-config", "--cflags", "--libs", "tarnel-host", PKG_CONFIG_PATH=kit).replace("\\ ", "\0")
        words = [word.replace("\0", " ") for word in flags.split()]
        self.ok(os.environ.get("CXX", "c++"), "-std=c++20", "-I", os.path.join(example, "posix"),
                os.path.join(example, "main.cpp"), *words, "-o", "minimal_host")
        self.minimal_host_records(os.path.join(self.work, "minimal_host"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
