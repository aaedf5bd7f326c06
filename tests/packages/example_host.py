"""The example host, built against a host kit that is installed or unpacked, and recording with what lies beside it."""
import os
import re
import subprocess

import hosting

SOURCES = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TOOL_CHAIN = os.path.join(SOURCES, "cmake", "windows-x64.cmake")
LIMIT = 300  # seconds; generous, because machines can be busy
# The cross compiler's flags are those of a tool chain file: there the flags of pkg-config are taken by CMake.
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


def folder_of(root, name, ending=""):
    """The one folder below a root in which such a file lies."""
    found = [folder for folder, _, names in os.walk(root) if name in names and folder.endswith(ending)]
    if len(found) != 1:
        raise AssertionError(f"{name} below {root}: {found}")
    return found[0]


class ExampleHost:
    """Tests for a hosting.HostTest: its class has `root`, the folder below which the kit lies, and, for a kit for Windows,
    `windows_tree`, the build tree that it comes from."""
    windows_tree = None

    def run_in_folder(self, *command, **environment):
        result = subprocess.run(command, text=True, capture_output=True, timeout=LIMIT, check=False, cwd=self.folder,
                                env={**os.environ, **environment})
        self.assertEqual(result.returncode, 0, f"{command}\n{result.stdout}{result.stderr}")
        return result.stdout

    def example(self):
        return folder_of(self.root, "main.cpp", "minimal_host")

    def build_tree(self, sources, *definitions, **environment):
        """What CMake says, and the program."""
        tree = self.file("build")
        if self.windows_tree:
            definitions += ("-DCMAKE_BUILD_TYPE=Release",
                            f"-DCMAKE_TOOLCHAIN_FILE={TOOL_CHAIN}",
                            f"-DTARNEL_WINDOWS_START={self.windows_tree}/lib/module_start.lib")
        said = self.run_in_folder("cmake", "-S", sources, "-B", tree, "-G", "Ninja", *definitions, **environment)
        self.run_in_folder("cmake", "--build", tree)
        return said, os.path.join(tree, "minimal_host" + (".exe" if self.windows_tree else ""))

    def host_from_cmake_package(self):
        """The host, and where the package says that plug-in and simulated libraries lie."""
        kit = folder_of(self.root, "TarnelHostConfig.cmake")
        said, host = self.build_tree(self.example(), f"-DTarnelHost_DIR={kit}")
        return host, *(re.search(rf"^-- {what}: (.*)$", said, re.MULTILINE)[1]
                       for what in ("Plug-in", "Simulated host libraries"))

    def host_with_pkg_config(self):
        """The same of pkg-config's module."""
        kit = {"PKG_CONFIG_PATH": folder_of(self.root, "tarnel-host.pc")}
        places = [self.run_in_folder("pkg-config", f"--variable={name}", "tarnel-host", **kit).rstrip("\n").replace("\\ ", " ")
                  for name in ("plugindir", "simulateddir")]
        if self.windows_tree:
            self.write("CMakeLists.txt", WITH_PKG_CONFIG.format(example=self.example()))
            return self.build_tree(self.folder, **kit)[1], *places
        flags = self.run_in_folder("pkg-config", "--cflags", "--libs", "tarnel-host", **kit).replace("\\ ", "\0")
        words = [word.replace("\0", " ") for word in flags.split()]
        host = self.file("minimal_host")
        self.run_in_folder(os.environ.get("CXX", "c++"), "-std=c++20", "-I", os.path.join(self.example(), "posix"),
                           os.path.join(self.example(), "main.cpp"), *words, "-o", host)
        return host, *places

    def host_records(self, host, plugin, simulated):
        """It finds the host's libraries in the folder `simulated` alone, and what it saves is what was sent."""
        number, source = self.source("--pattern", "counter", "--clock", "1152000", "--prescaler", "9", "--enabled")
        environment = self.environment()
        environment["WINEPATH" if hosting.ON_WINE else "LD_LIBRARY_PATH"] = self.host_path(simulated)
        plugin = os.path.join(plugin, "Tarnel.dll" if hosting.ON_WINE else "libTarnel.so")
        command = [self.host_path(host), self.host_path(plugin), self.options(COMPORT=number),
                   self.host_path(self.file("saved.bin"))]
        if hosting.ON_WINE:
            command.insert(0, hosting.wine_program())
        said = self.run_in_folder(*command, **environment)
        source.end()
        samples = int(re.fullmatch(r"(\d+) samples of 8 bytes\s*", said)[1])
        saved = self.read(self.file("saved.bin"))
        self.assertGreater(samples, 0)
        self.assertEqual(samples * 8, len(saved))
        self.assertIn(saved.rstrip(b"\0"), self.read(source.taken))  # zeros fill the last sample up

    def test_example_host_from_its_cmake_package(self):
        self.host_records(*self.host_from_cmake_package())

    def test_example_host_with_pkg_config(self):
        self.host_records(*self.host_with_pkg_config())
