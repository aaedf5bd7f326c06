#!/usr/bin/env python3
"""usage: check_table.py PROJECT

Checks docs/faults.md: every row has its six cells, and every test that it names exists.
"""
import pathlib
import re
import sys

project = pathlib.Path(sys.argv[1])
PLATFORMS = {"both", "Linux", "Windows"}


def tests_of_programs():
    pattern = re.compile(r"\bTEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)")
    for path in (project / "tests").rglob("*.cpp"):
        yield from (".".join(found) for found in pattern.findall(path.read_text()))


def tests_of_scripts():
    for path in (project / "tests" / "end_to_end").glob("*.py"):
        suite = None
        for line in path.read_text().splitlines():
            found = re.match(r"class (\w+)|    def (test_\w+)", line)
            if found:
                suite = found[1] or suite
                if found[2]:
                    yield f"{suite}.{found[2]}"


def problems(rows, known):
    for row in rows:
        cells = [cell.strip() for cell in row.strip().strip("|").split("|")]
        if len(cells) != 6 or cells[5] not in PLATFORMS:
            yield f"not six cells with a platform at the end: {row}"
            continue
        names = re.findall(r"`([^`]+)`", cells[4])
        if not names:
            yield f"no test is named: {row}"
        yield from (f"there is no test {name}" for name in names if name not in known)


known = set(tests_of_programs()) | set(tests_of_scripts())
table = [line for line in (project / "docs" / "faults.md").read_text().splitlines() if line.startswith("|")]
rows = table[2:]
found = list(problems(rows, known))
for problem in found:
    print(problem)
broken = ["| a | b | c | d | `No.Such` | both |", "| a | b | c | d | e | both |", "| a | `No.Such` | both |"]
if len(list(problems(broken, known))) != len(broken):
    sys.exit("the check does not see what is wrong")
if not rows or found:
    sys.exit("docs/faults.md does not match the tests")
print(f"{len(rows)} rows, {len(known)} tests known")
