"""What make says of skipped tests at its end: see cmake/name-skipped."""
import os
import re
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LIMIT = 120  # seconds; generous, because machines can be busy
GOOGLETEST = r"""[ RUN      ] Ports.Are0Found
[       OK ] Ports.Are0Found (0 ms)
[ RUN      ] Ports.Vanish
/sources/port_test.cpp:161: Skipped
this platform reads nothing

[  SKIPPED ] Ports.Vanish (1 ms)
[ RUN      ] Rates/Table.IsWhole/3
C:\sources\rate_test.cpp(7): Skipped
this platform reads nothing
[  SKIPPED ] Rates/Table.IsWhole/3, where GetParam() = 4-byte object (12 ms)
[ RUN      ] Ports.SayNothing
[  SKIPPED ] Ports.SayNothing (0 ms)
[  SKIPPED ] 3 tests, listed below:
[  SKIPPED ] Ports.Vanish
"""
PLAIN_UNITTEST = """test_a (__main__.Source.test_a) ... skipped 'sigrok-cli is not there'
test_b (__main__.Source.test_b)
What it shows. ... skipped "the reader's end is not there"
test_c (__main__.Source.test_c) ... ok
"""
UNITTEST = """test_a (__main__.Doctor.test_a) ... skipped 'needs a port: one that opens'
SKIPPED: test_a (__main__.Doctor.test_a): needs a port: one that opens
SKIPPED: test_b (__main__.Doctor.test_b): needs a port: one that opens
SKIPPED: test_c (__main__.Doctor.test_c) (command='record'): no disk
"""


class Records(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnel_scripts_")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def write(self, name, text):
        path = os.path.join(self.folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8", newline="") as file:
            file.write(text)
        return path

    def name_skipped(self, *records):
        done = subprocess.run([os.path.join(ROOT, "cmake/name-skipped"), *records], text=True, capture_output=True,
                              timeout=LIMIT, check=False)
        return done.returncode, done.stdout, done.stderr

    def record_of(self, programs):
        """What CTest writes, asked as the Makefile asks it, of programs that print a text and end with a status."""
        tree = os.path.join(self.folder, "linux")
        listed = ""
        for name, (text, status) in programs.items():
            path = self.write(f"linux/{name}.txt", text)
            listed += (f'add_test({name} sh -c "cat {path}; exit {status}")\n'
                       f"set_tests_properties({name} PROPERTIES SKIP_RETURN_CODE 77)\n")
        self.write("linux/CTestTestfile.cmake", listed)
        with open(os.path.join(ROOT, "Makefile"), encoding="utf-8") as file:
            command = re.search(r"^CTEST = ((?:.*\\\n)*.*)$", file.read(), re.MULTILINE)[1]
        words = command.replace("\\\n", " ").replace("$(JOBS)", "1").replace("$(TRIES)", "1").split()
        done = subprocess.run([*words, "--test-dir", tree], text=True, capture_output=True, timeout=LIMIT, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return os.path.join(tree, "tests.xml")

    def test_single_tests_are_named_with_their_reasons_however_much_the_program_says(self):
        much = "".join(f"line {number} & <all>\n" for number in range(5000))
        record = self.record_of({"doctor": (much + UNITTEST + much, 0), "ports": (GOOGLETEST.replace("\n", "\r\n"), 0),
                                 "source": (PLAIN_UNITTEST, 0), "quiet": ("all well\n", 0)})
        self.assertEqual(self.name_skipped(record), (0,
                         "Skipped: doctor (linux), 2 tests: needs a port: one that opens\n"
                         "Skipped: doctor (linux), 1 test: no disk\n"
                         "Skipped: ports (linux), 2 tests: this platform reads nothing\n"
                         "Skipped: ports (linux), 1 test: it does not say why\n"
                         "Skipped: source (linux), 1 test: sigrok-cli is not there\n"
                         "Skipped: source (linux), 1 test: the reader's end is not there\n", ""))

    def test_programs_that_are_skipped_whole_are_named(self):
        record = self.record_of({"soak": ("SKIPPED: test_soak (test_soak.Soak.test_soak): the machine had no time\n", 77),
                                 "bench": ("no such program is built\n", 77), "quiet": ("all well\n", 0)})
        self.assertEqual(self.name_skipped(record), (0, "Skipped: soak (linux), whole: the machine had no time\n"
                                                        "Skipped: bench (linux), whole: it says why above\n", ""))

    def test_output_of_a_program_is_a_record_too(self):
        log = self.write("page.log", "Ran 9 tests\n" + UNITTEST + "SKIPPED: there is no browser here\n")
        self.assertEqual(self.name_skipped(log), (0, "Skipped: page, 2 tests: needs a port: one that opens\n"
                                                     "Skipped: page, 1 test: no disk\n"
                                                     "Skipped: page, 1 test: there is no browser here\n", ""))

    def test_it_is_said_when_nothing_was_skipped(self):
        record = self.record_of({"quiet": ("all well\n", 0)})
        self.assertEqual(self.name_skipped(record), (0, "No test was skipped.\n", ""))

    def test_a_record_that_is_missing_or_no_record_is_an_error(self):
        missing = os.path.join(self.folder, "none.xml")
        status, said, error = self.name_skipped(missing)
        self.assertEqual((status, said), (1, ""))
        self.assertIn(missing, error)
        status, said, error = self.name_skipped(self.write("cut.xml", "<testsuite><testcase"))
        self.assertEqual((status, said), (1, ""))
        self.assertIn("name-skipped: ", error)


if __name__ == "__main__":
    unittest.main(verbosity=2)
