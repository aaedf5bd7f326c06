"""The version is the same wherever it is named."""
import json
import os
import re
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def found(pattern, *path):
    with open(os.path.join(ROOT, *path), encoding="utf-8") as file:
        return re.search(pattern, file.read(), re.MULTILINE).group(1)


class Versions(unittest.TestCase):
    def setUp(self):
        self.version = found(r"^project\(Tarnel VERSION (\d+\.\d+\.\d+) ", "CMakeLists.txt")

    def test_changelog_has_a_dated_section_for_it(self):
        self.assertEqual(found(r"^## (\d\S*) - \d{4}-\d\d-\d\d$", "CHANGELOG.md"), self.version)

    def test_the_packages_changelog_has_it_on_top(self):
        self.assertEqual(found(r"\Atarnel \((\S+)\) ", "packaging", "changelog"), self.version)

    def test_the_manifest_for_windows_has_it(self):
        with open(os.path.join(ROOT, "vcpkg.json"), encoding="utf-8") as file:
            self.assertEqual(json.load(file)["version"], self.version)

    def test_the_example_host_asks_for_its_kit(self):
        wanted = found(r"^find_package\(TarnelHost (\S+) REQUIRED\)$", "examples", "minimal_host", "CMakeLists.txt")
        self.assertEqual(wanted, self.version.rpartition(".")[0])


if __name__ == "__main__":
    unittest.main(verbosity=2)
