# SPDX-License-Identifier: Apache-2.0
"""The list of mutants that do what the sources do."""
import json
import pathlib
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Equivalent(unittest.TestCase):
    def setUp(self):
        self.listed = json.loads((ROOT / "tests" / "mutation" / "equivalent.json").read_text(encoding="utf-8"))

    def test_each_is_a_change_of_lines_that_are_there(self):
        for judged in self.listed:
            with self.subTest(**judged):
                lines = (ROOT / judged["file"]).read_text(encoding="utf-8")
                self.assertIn("\n" + judged["was"] + "\n", lines)
                self.assertNotEqual(judged["was"], judged["now"])

    def test_each_says_why_once(self):
        self.assertEqual([judged for judged in self.listed if sorted(judged) != ["file", "now", "was", "why"]], [])
        self.assertEqual([judged for judged in self.listed if len(judged["why"].split()) < 4], [])
        changes = [(judged["file"], judged["was"], judged["now"]) for judged in self.listed]
        self.assertEqual(len(changes), len(set(changes)))


if __name__ == "__main__":
    unittest.main(verbosity=2)
