"""usage: test_packages.py PACKAGES [TEST...]

Installs each of the packages in a folder into an empty root, looks at what is there, records with it, builds the example
host against its host kit and records with that, and removes it. The compiler for Windows is that of the build tree
beside the folder.
"""
import glob
import io
import os
import re
import shutil
import struct
import subprocess
import sys
import tarfile
import tempfile
import zipfile

PACKAGES = os.path.abspath(sys.argv.pop(1))
HERE = os.path.dirname(os.path.abspath(__file__))
SOURCES = os.path.dirname(os.path.dirname(HERE))
os.environ.setdefault("TARNEL_BIN", "")  # each class sets its own
os.environ.setdefault("TARNEL_SOURCE", "")
sys.path.insert(0, os.path.join(HERE, "..", "end_to_end"))
import hosting  # noqa: E402
from example_host import ExampleHost, folder_of  # noqa: E402
from pages import dead_links  # noqa: E402

SYSTEM = {"libc.so.6", "libgcc_s.so.1", "libm.so.6", "libstdc++.so.6", "ld-linux-x86-64.so.2"}
EXPORTS = {"CreateRcvr", "DestroyRcvr", "_ZN12cPelkitError6DeleteEv"}
LIMIT = 300  # seconds; generous, because machines can be busy


def run(*command, **options):
    result = subprocess.run(command, text=True, capture_output=True, timeout=LIMIT, check=False, **options)
    if result.returncode != 0:
        raise AssertionError(f"{command}: status {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def package(pattern):
    """The one package of this kind."""
    found = glob.glob(os.path.join(PACKAGES, pattern))
    if len(found) != 1:
        raise AssertionError(f"{pattern} in {PACKAGES}: {found}")
    return found[0]


def dpkg(root, *words):
    """Nothing of this machine is touched; what is not in the root, such as the C library, is not asked for."""
    as_root = [] if os.geteuid() == 0 else ["unshare", "--map-root-user"]
    return run(*as_root, "dpkg", f"--root={root}", "--force-depends", "--log=/dev/null", *words)


def files_below(root):
    return {os.path.relpath(os.path.join(folder, name), root)
            for folder, folders, names in os.walk(root) for name in [*folders, *names]}


def modules_below(root):
    for folder, _, names in os.walk(root):
        for name in names:
            path = os.path.join(folder, name)
            with open(path, "rb") as file:
                if not os.path.islink(path) and file.read(4) == b"\x7fELF":
                    yield path


def build_id(module):
    return re.search(r"Build ID: ([0-9a-f]+)", run("readelf", "-n", module)).group(1)


class PackageTest(hosting.HostTest):
    """A class has a folder of its own, in which its package is unpacked once."""

    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(prefix="tarnel_packages_")
        cls.root = os.path.join(cls.place, "root")
        os.mkdir(cls.root)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)

    @classmethod
    def use(cls, programs, source, prefix=None):
        """Lets the tests of the class run these programs."""
        hosting.BIN, hosting.SOURCE, hosting.PREFIX, hosting.ON_WINE = programs, source, prefix, bool(prefix)

    def records(self):
        """Records what swosource sends, with the board that tracehost brings itself, and compares the bytes."""
        number, source = self.source("--pattern", "counter", "--clock", "1152000", "--prescaler", "9", "--enabled")
        output = self.file("trace.bin")
        result = self.run_host("record", "--port", str(number), "--clock", "1152000", "--prescaler", "9", "--bytes",
                               "8000", "--fail-on", "never", "--output", self.host_path(output), board=False)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        source.end()
        recorded = self.read(output)
        self.assertEqual(len(recorded), 8000)
        self.assertIn(recorded, self.read(source.taken))

    def tells_versions(self):
        lines = self.run_host("--version").stdout.splitlines()
        version = re.fullmatch(r"tracehost (\d+\.\d+\.\d+ \([0-9a-f]{7,}(?:-dirty)?\))", lines[0]).group(1)
        self.assertIn(version, lines[1])


class LinuxFiles:
    """What is the same in every Linux package."""

    def test_needs_nothing_but_the_systems_own_libraries(self):
        modules = list(modules_below(self.root))
        own = {os.path.basename(module) for module in modules}
        self.assertIn("libTarnel.so", own)
        for module in modules:
            needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", run("readelf", "-d", module)))
            self.assertLessEqual(needed - own, SYSTEM, module)

    def test_plug_in_exports_what_is_documented(self):
        plugin = next(module for module in modules_below(self.root) if module.endswith("libTarnel.so"))
        names = run("nm", "--dynamic", "--defined-only", "--format=just-symbols", plugin).split()
        self.assertEqual(set(names), EXPORTS)

    def test_programs_and_libraries_are_stripped(self):
        for module in modules_below(self.root):
            sections = run("readelf", "-SW", module)
            self.assertNotRegex(sections, r"\.(symtab|debug_info)\b", module)

    def test_no_path_of_the_machine_that_built_it_is_left(self):
        for module in modules_below(self.root):
            with open(module, "rb") as file:
                content = file.read()
            for path in (SOURCES, os.path.expanduser("~/.cache")):
                self.assertFalse(path.encode() in content, f"{path} in {module}")

    def test_man_page_and_completions_are_where_the_system_looks(self):
        usr = next(folder for folder in (os.path.join(self.root, "usr"), self.root) if os.path.isdir(folder))
        for place in ("share/man/man1/tracehost.1.gz", "share/bash-completion/completions/tracehost",
                      "share/zsh/vendor-completions/_tracehost", "share/fish/vendor_completions.d/tracehost.fish"):
            self.assertTrue(os.path.getsize(os.path.join(usr, place)), place)

    def test_links_of_the_documents_lead_to_what_is_installed(self):
        pages, links, dead = dead_links(self.root)
        self.assertEqual(dead, [])
        self.assertTrue(any(page.endswith("doc/tarnel/first-trace.md") for page in pages), pages)
        self.assertGreater(links, 20)

    def test_records(self):
        self.tells_versions()
        self.records()

    def test_the_commands_of_the_documents_make_a_host_that_records(self):
        """docs/hosting.md as it is installed, its commands with the root of this package for "/usr"."""
        with open(os.path.join(folder_of(self.root, "hosting.md"), "hosting.md"), encoding="utf-8") as file:
            section = re.search(r"^## Build and run the example\n(.*?)^## ", file.read(), re.MULTILINE | re.DOTALL)[1]
        commands = "".join(re.findall(r"^    (.*\n)", section, re.MULTILINE))
        self.assertEqual(commands.count("prefix=/usr\n"), 1, commands)
        usr = os.path.join(self.root, "usr")
        commands = commands.replace("prefix=/usr\n", f"prefix={usr if os.path.isdir(usr) else self.root}\n")
        environment = {**os.environ, "HOME": self.home, "USERPROFILE": self.home}
        said = run("bash", "-euc", commands, cwd=self.folder, env=environment)
        samples = int(re.search(r"^(\d+) samples of 8 bytes$", said, re.MULTILINE)[1])
        self.assertGreater(samples, 0)
        self.assertEqual(os.path.getsize(self.file("trace.bin")), samples * 8)


class Deb(LinuxFiles, ExampleHost, PackageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        os.makedirs(os.path.join(cls.root, "var/lib/dpkg/updates"))
        for name in ("status", "available"):
            open(os.path.join(cls.root, "var/lib/dpkg", name), "w").close()
        cls.packages = [package("tarnel_*.deb"), package("tarnel-host-dev_*.deb")]
        dpkg(cls.root, "--install", *cls.packages)
        library = os.path.join(cls.root, "usr/lib/x86_64-linux-gnu/tarnel")
        cls.use(os.path.join(cls.root, "usr/bin"), os.path.join(library, "swosource"))

    def test_depends_on_the_systems_own_packages_alone(self):
        runtime, kit = (run("dpkg-deb", "--field", file, "Depends").strip() for file in self.packages)
        names = {re.match(r"\S+", each.strip()).group() for each in runtime.split(",")}
        self.assertEqual(names, {"libc6", "libgcc-s1", "libstdc++6"})
        self.assertRegex(kit, r"^tarnel \(= \S+\)$")

    def test_debug_symbols_fit(self):
        symbols = os.path.join(self.place, "symbols")
        run("dpkg-deb", "--extract", package("tarnel-dbgsym_*deb"), symbols)
        for module in modules_below(self.root):
            own = build_id(module)
            file = os.path.join(symbols, "usr/lib/debug/.build-id", own[:2], own[2:] + ".debug")
            self.assertIn(".debug_info", run("readelf", "-SW", file), module)

    def test_sums_name_the_files_as_they_are_installed(self):
        for file in (*self.packages, package("tarnel-dbgsym_*deb")):
            control = os.path.join(self.place, "control-" + os.path.basename(file))
            run("dpkg-deb", "--control", file, control)
            with open(os.path.join(control, "md5sums"), encoding="utf-8") as sums:
                named = {line.split("  ", 1)[1].rstrip("\n") for line in sums}
            listed = subprocess.run(["dpkg-deb", "--fsys-tarfile", file], capture_output=True, timeout=LIMIT, check=True)
            with tarfile.open(fileobj=io.BytesIO(listed.stdout)) as archive:
                inside = {member.name.removeprefix("./") for member in archive if member.isfile()}
            self.assertEqual(named, inside, file)

    def test_lintian_finds_no_error(self):
        if not shutil.which("lintian"):
            self.skipTest("lintian is not installed")
        run("lintian", "--allow-root", "--fail-on", "error", *self.packages)

    def test_nothing_is_left_when_it_is_removed(self):
        """In a root of its own, for the other tests use theirs."""
        root = os.path.join(self.place, "removed")
        os.makedirs(os.path.join(root, "var/lib/dpkg/updates"))
        for name in ("status", "available"):
            open(os.path.join(root, "var/lib/dpkg", name), "w").close()
        dpkg(root, "--install", *self.packages)
        self.assertIn("usr/bin/tracehost", files_below(root))
        dpkg(root, "--purge", "tarnel", "tarnel-host-dev")
        left = {name for name in files_below(root) if not name.startswith("var/lib/dpkg")}
        self.assertEqual(left, {"var", "var/lib"})


class Archive(LinuxFiles, ExampleHost, PackageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        with tarfile.open(package("tarnel-*-linux-x64.tar.gz")) as archive:
            archive.extractall(cls.place)
        os.rmdir(cls.root)
        os.rename(glob.glob(os.path.join(cls.place, "tarnel-*"))[0], cls.root)
        library = next(folder for folder, _, names in os.walk(cls.root) if "libTarnel.so" in names)
        cls.use(os.path.join(os.path.dirname(next(iter(glob.glob(cls.root + "/**/bin/tracehost", recursive=True)))), ""),
                os.path.join(library, "swosource"))

    def test_carries_the_licences(self):
        names = {os.path.basename(name) for name in files_below(self.root)}
        self.assertLessEqual({"LICENSE", "NOTICE"}, names)

    def test_debug_symbols_fit(self):
        with tarfile.open(package("tarnel-*-linux-x64-symbols.tar.gz")) as archive:
            names = archive.getnames()
        for module in modules_below(self.root):
            own = build_id(module)
            self.assertTrue(any(name.endswith(f"{own[:2]}/{own[2:]}.debug") for name in names), module)


class Zip(ExampleHost, PackageTest):
    windows_tree = os.path.join(os.path.dirname(PACKAGES), "windows")

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        with tarfile.open(package("tarnel-*-linux-x64.tar.gz")) as archive:  # the signal's far end is on Linux
            archive.extractall(cls.place)
        source = glob.glob(cls.place + "/**/tarnel/swosource", recursive=True)[0]
        for name in ("windows-x64.zip", "windows-x64-symbols.zip"):
            with zipfile.ZipFile(package("tarnel-*-" + name)) as archive:
                archive.extractall(os.path.join(cls.root, name))
        cls.zip, cls.symbols = (glob.glob(os.path.join(cls.root, name, "*"))[0]
                                for name in ("windows-x64.zip", "windows-x64-symbols.zip"))
        cls.root = cls.zip  # without the symbols
        cls.prefix = os.path.join(cls.place, "wine")
        cls.use(os.path.join(cls.zip, "simulated"), source, cls.prefix)

    @classmethod
    def tearDownClass(cls):
        run(hosting.WINE_PREFIX, "--end", cls.prefix)
        super().tearDownClass()

    def test_plug_in_lies_alone_and_the_simulated_libraries_apart(self):
        above = {name for name in os.listdir(self.zip) if name.endswith((".dll", ".exe"))}
        self.assertEqual(above, {"Tarnel.dll"})
        below = {name for name in os.listdir(os.path.join(self.zip, "simulated"))}
        self.assertEqual(below, {"tracehost.exe", "counter_check.exe", "pelkit.dll", "SetupAdapter4.dll",
                                 "DeviceIdentifier.dll", "ICETargetAdapter.dll"})

    def test_import_libraries_name_what_their_libraries_export(self):
        names = [name for name in os.listdir(os.path.join(self.zip, "lib")) if name.endswith(".lib")]
        self.assertEqual(len(names), 4)
        for name in names:
            library = os.path.join(self.zip, "simulated", name[:-4] + ".dll")
            exported = re.findall(r"^ *Name: (.+)$", run("llvm-readobj-19", "--coff-exports", library), re.MULTILINE)
            imported = re.findall(r" T __imp_(.+)$", run("llvm-nm-19", os.path.join(self.zip, "lib", name)), re.MULTILINE)
            self.assertEqual((name, sorted(imported)), (name, sorted(exported)))

    def test_carries_the_licences(self):
        self.assertLessEqual({"LICENSE", "NOTICE", "README.md"}, set(os.listdir(self.zip)))

    def test_links_of_the_documents_lead_to_what_is_installed(self):
        pages, links, dead = dead_links(self.zip)
        self.assertEqual(dead, [])
        self.assertLessEqual({"README.md", "docs/first-trace.md"}, set(pages))
        self.assertGreater(links, 20)

    def test_debug_symbols_fit(self):
        count = 0
        for folder, _, names in os.walk(self.zip):
            for name in names:
                if not name.endswith((".dll", ".exe")):
                    continue
                with open(os.path.join(folder, name), "rb") as file:
                    identity, age, path = re.search(rb"RSDS(.{16})(.{4})([ -~]*)\0", file.read(), re.DOTALL).groups()
                self.assertEqual(path.decode(), name.rpartition(".")[0] + ".pdb")
                self.assertEqual(struct.unpack("<I", age), (1,))
                symbols = os.path.join(self.symbols, os.path.relpath(folder, self.zip), path.decode())
                with open(symbols, "rb") as file:
                    self.assertTrue(identity in file.read(), name)
                count += 1
        self.assertEqual(count, 7)

    def test_records(self):
        self.tells_versions()
        self.records()


if __name__ == "__main__":
    hosting.main()
