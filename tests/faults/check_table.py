#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: check_table.py PROJECT

Checks the tables of docs/faults.md: every row has its six cells, every test that it names exists and runs on the row's
platforms, and a row that the test of all calls reads says nothing beside what that test compares.
"""
import pathlib
import re
import sys

project = pathlib.Path(sys.argv[1])
LINUX, WINDOWS = frozenset({"Linux"}), frozenset({"Windows"})
PLATFORMS = {"both": LINUX | WINDOWS, "Linux": LINUX, "Windows": WINDOWS}
HEADERS = {LINUX: r"<(?:asm|sys)/|<(?:dlfcn|pthread)\.h>", WINDOWS: r"<windows\.h>"}


def platforms_of_source(path, text):
    """As its folder or its name tells, or a header that only one platform has."""
    name = path.relative_to(project).as_posix()
    for platform, word in ((LINUX, "posix"), (WINDOWS, "windows")):
        if re.search(rf"/{word}[/_]", name) or re.search(rf"^#include (?:{HEADERS[platform]})", text, re.MULTILINE):
            return platform
    return LINUX | WINDOWS


def tests_of_programs():
    pattern = re.compile(r"\bTEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)")
    for path in (project / "tests").rglob("*.cpp"):
        text = path.read_text()
        for found in pattern.findall(text):
            yield ".".join(found), platforms_of_source(path, text)


def platforms_of_script(decorators):
    if "skipIf(ON_WINE" in decorators:
        return LINUX
    return WINDOWS if "skipUnless(ON_WINE" in decorators else LINUX | WINDOWS


def tests_of_scripts():
    pattern = re.compile(r"^((?: *@.*\n)*)(?:class (\w+)|    def (test_\w+))", re.MULTILINE)
    for path in (project / "tests" / "end_to_end").glob("*.py"):
        suite, there = None, frozenset()
        for decorators, name, test in pattern.findall(path.read_text()):
            if name:
                suite, there = name, platforms_of_script(decorators)
            else:
                yield f"{suite}.{test}", there & platforms_of_script(decorators)


def known_tests():
    known = {}
    for tests in (tests_of_programs(), tests_of_scripts()):
        for name, platforms in tests:
            known[name] = known.get(name, frozenset()) | platforms
    return known


def problems_of_tests(names, platform, known):
    if not names:
        yield "no test is named"
    yield from (f"there is no test {name}" for name in names if name not in known)
    there = [(name, known[name]) for name in names if name in known]
    yield from (f"{name} runs on no platform of the row" for name, on in there if not on & PLATFORMS[platform])
    if there and not PLATFORMS[platform] <= frozenset().union(*(on for _, on in there)):
        yield f"{', '.join(names)}: not on {platform}"


def problems_of(row, known):
    cells = [cell.strip() for cell in row.strip().strip("|").split("|")]
    if len(cells) != 6 or cells[5] not in PLATFORMS:
        yield "not six cells with a platform at the end"
        return
    names = re.findall(r"`([^`]+)`", cells[4])
    yield from problems_of_tests(names, cells[5], known)
    if any(name.startswith("CallFaults.") for name in names):
        quoted = re.fullmatch(r"`[^`]+`(?:<br>`[^`]+`)*", cells[2])
        if cells[2] != "nothing" and not quoted:
            yield f"neither \"nothing\" nor quoted texts: {cells[2]}"


def rows_of(text):
    lines = [line for line in text.splitlines() if line.startswith("|")]
    return [line for line in lines if not line.startswith("| fault |") and not line.startswith("|--")]


def see_what_is_wrong():
    known = {"A.B": LINUX | WINDOWS, "A.L": LINUX, "A.W": WINDOWS, "CallFaults.C": LINUX | WINDOWS}
    good = ["| a | b | c | d | `A.B`, `A.L` | both |", "| a | b | c | d | `A.L`, `A.W` | both |",
            "| a | b | nothing | d | `CallFaults.C` | both |", "| a | b | `c`<br>`d` | d | `CallFaults.C` | both |"]
    broken = ["| a | b | c | d | `No.Such` | both |", "| a | b | c | d | e | both |", "| a | `No.Such` | both |",
              "| a | b | c | d | `A.L` | both |", "| a | b | c | d | `A.B`, `A.W` | Linux |",
              "| a | b | some lines are lost | d | `CallFaults.C` | both |",
              "| a | b | `c` and more | d | `CallFaults.C` | both |"]
    return not any(list(problems_of(row, known)) for row in good) and \
        all(len(list(problems_of(row, known))) == 1 for row in broken)


known = known_tests()
rows = rows_of((project / "docs" / "faults.md").read_text())
found = [f"{problem}: {row[:100]}" for row in rows for problem in problems_of(row, known)]
for problem in found:
    print(problem)
if not see_what_is_wrong():
    sys.exit("the check does not see what is wrong")
if not rows or found:
    sys.exit("docs/faults.md does not match the tests")
print(f"{len(rows)} rows, {len(known)} tests known")
