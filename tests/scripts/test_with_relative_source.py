# SPDX-License-Identifier: Apache-2.0
"""What a compiler is given by cmake/with-relative-source."""
import pathlib
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "cmake" / "with-relative-source"


class RelativeSource(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        (self.folder / "build").mkdir()
        (self.folder / "a room").mkdir()

    def given(self, *words):
        """The words that the compiler sees, without the first, which prints them."""
        result = subprocess.run([SCRIPT, "printf", "%s\n", *words], cwd=self.folder / "build", capture_output=True, text=True,
                                check=True)
        return result.stdout.splitlines()

    def test_the_word_behind_c_is_relative_to_the_working_directory(self):
        self.assertEqual(self.given("-O2", "-c", f"{self.folder}/a room/x.cpp"), ["-O2", "-c", "../a room/x.cpp"])

    def test_all_other_words_stay(self):
        words = [f"-I{self.folder}", "-o", f"{self.folder}/x.o", "", "*", "a  b"]
        self.assertEqual(self.given(*words, "-c", f"{self.folder}/build/x.cpp", *words), [*words, "-c", "x.cpp", *words])

    def test_a_relative_source_stays(self):
        self.assertEqual(self.given("-c", "../a room/x.cpp"), ["-c", "../a room/x.cpp"])

    def test_files_compiled_together_are_included_by_paths_from_the_folder_of_the_project(self):
        project = SCRIPT.parents[1]
        (self.folder / "build" / "Unity").mkdir()
        (self.folder / "build" / "Unity" / "unity_0_cxx.cxx").write_text(
            f'#line 1 "here"\n#include "{project}/a room/x.cpp"\n#include "{project}s/y.cpp"\n#include "{self.folder}/z.cpp"\n')
        self.assertEqual(self.given("-c", f"{self.folder}/build/Unity/unity_0_cxx.cxx"),
                         ["-c", "Unity/relative_unity_0_cxx.cxx", "-iquote", str(project)])
        self.assertEqual((self.folder / "build" / "Unity" / "relative_unity_0_cxx.cxx").read_text(),
                         f'#line 1 "here"\n#include "a room/x.cpp"\n#include "{project}s/y.cpp"\n#include "{self.folder}/z.cpp"\n')

    def test_files_compiled_together_that_cannot_be_read_are_a_failure(self):
        (self.folder / "build" / "Unity").mkdir()
        result = subprocess.run([SCRIPT, "true", "-c", f"{self.folder}/build/Unity/unity_0_cxx.cxx"], cwd=self.folder,
                                capture_output=True, text=True, check=False)
        self.assertNotEqual(result.returncode, 0)

    def test_c_without_a_source_stays(self):
        self.assertEqual(self.given("-c"), ["-c"])

    def test_the_compilers_status_is_its_own(self):
        self.assertEqual(subprocess.run([SCRIPT, "sh", "-c", "exit 7"], check=False).returncode, 7)


if __name__ == "__main__":
    unittest.main(verbosity=2)
