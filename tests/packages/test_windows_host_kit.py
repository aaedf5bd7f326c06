"""usage: test_windows_host_kit.py BUILD_TREE [TEST...]

Installs the Windows build into an empty folder, builds the example host against it with the cross compiler, from its CMake
package and with pkg-config, and records with it under Wine.
"""
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = os.path.abspath(sys.argv.pop(1))
HERE = os.path.dirname(os.path.abspath(__file__))
SOURCES = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.join(HERE, "..", "end_to_end"))
from hosting import HostTest, LIMIT, main, wine_program  # noqa: E402

WITH_PKG_CONFIG = """cmake_minimum_required(VERSION 3.25)
project(minimal_host LANGUAGES C CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(PkgConfig REQUIRED)
pkg_check_modules(kit REQUIRED tarnel-host)
add_executable(minimal_host "{example}/main.cpp")
target_include_directories(minimal_host PRIVATE "{example}/windows")
target_compile_options(minimal_host PRIVATE ${{kit_CFLAGS}})
target_link_options(minimal_host PRIVATE ${{kit_LDFLAGS}})
"""


def run(*command, **options):
    result = subprocess.run(command, text=True, capture_output=True, timeout=LIMIT, check=False, **options)
    if result.returncode != 0:
        raise AssertionError(f"{command}: status {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


class WindowsHostKit(HostTest):
    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(prefix="tarnel_kit_")
        cls.root = os.path.join(cls.place, "installed")
        run("cmake", "--install", BUILD, "--prefix", cls.root)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)

    def build(self, sources, *definitions, **environment):
        """The example, built by its own CMakeLists.txt with the compiler of the Windows build."""
        tree = self.file("build")
        run("cmake", "-S", sources, "-B", tree, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
            f"-DCMAKE_TOOLCHAIN_FILE={SOURCES}/cmake/windows-x64.cmake",
            f"-DTARNEL_WINDOWS_START={BUILD}/lib/module_start.lib", *definitions, env=dict(os.environ, **environment))
        run("cmake", "--build", tree)
        return os.path.join(tree, "minimal_host.exe")

    def records(self, host):
        number, source = self.source("--pattern", "counter", "--clock", "1152000", "--prescaler", "9", "--enabled")
        environment = dict(self.environment(), WINEPATH=self.host_path(os.path.join(self.root, "simulated")))
        said = run(wine_program(), self.host_path(host), self.host_path(os.path.join(self.root, "Tarnel.dll")),
                   self.options(COMPORT=number), self.host_path(self.file("saved.bin")), env=environment)
        source.end()
        samples = int(re.fullmatch(r"(\d+) samples of 8 bytes\s*", said).group(1))
        saved = self.read(self.file("saved.bin"))
        self.assertGreater(samples, 0)
        self.assertEqual(samples, len(saved) // 8)
        self.assertIn(saved.rstrip(b"\0"), self.read(source.taken))  # zeros fill the last sample up

    def example(self):
        return glob.glob(os.path.join(self.root, "docs/examples/minimal_host"))[0]

    def test_example_host_from_its_cmake_package(self):
        kit = os.path.dirname(glob.glob(self.root + "/**/TarnelHostConfig.cmake", recursive=True)[0])
        self.records(self.build(self.example(), f"-DTarnelHost_DIR={kit}"))

    def test_example_host_with_pkg_config(self):
        kit = os.path.dirname(glob.glob(self.root + "/**/tarnel-host.pc", recursive=True)[0])
        self.write("CMakeLists.txt", WITH_PKG_CONFIG.format(example=self.example()))
        self.records(self.build(self.folder, PKG_CONFIG_PATH=kit))


if __name__ == "__main__":
    main()
