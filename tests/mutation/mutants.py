#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Proves that the tests can fail: changes one line of the product at a time and runs the native tests.

usage: mutants.py [--count N] [--seed S] [--only REGEX] [--near] [--results FILE] [--list]

Works on a copy of the committed sources in build/mutants, so the tree stays as it is. What only plays the target and the
host's libraries (simulator/) is not changed, nor are the Windows bodies, which the native tests do not see. Every mutant
is built; one that does not compile is replaced by another. A mutant is killed when a test fails or does not end in its
time; a mutant that all tests pass has survived and is listed with its line. Those that equivalent.json lists are not
tried: they do what the sources do, for the reason that stands there. Results are appended to a file as they come,
one JSON object a line, and a second run with the same file goes on where the first stopped; survivors of an earlier
commit are tried again, since tests may have been mended. The tests that are the likeliest to notice, those of the
file's own room, are built and run first, one program after the other; all others come after them, several at once. With
--near they do not, and what the first do not notice stays undecided until a run without it. TARNEL_MUTANT_JOBS compilers
run at once, and twice as many tests (2). Exit status: 0 when at least 97 % of COUNT mutants were killed.
"""
import argparse
import collections
import concurrent.futures
import fcntl
import io
import json
import os
import pathlib
import random
import re
import subprocess
import sys
import tarfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPY = ROOT / "build" / "mutants"
RACES = "linux-tsan"
ONE_THREAD = ("options", "tracehost", "trace")  # rooms whose tests the thread sanitizer does not run
SLOW = "long|soak|native-only"  # what takes a minute, and what needs a quiet machine
ROOMS = ("host_api", "source_utilities", "uart", "options", "channel", "receiver", "tracehost", "trace")
GOAL = 0.97
JOBS = os.environ.get("TARNEL_MUTANT_JOBS", "2")  # of the builds


def operators():
    """Name, pattern of the place, and what to put there. Each match of a pattern in code is a possible mutant."""
    flip = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
    yield "comparison", re.compile(r" (<=|>=|==|!=|<|>|&&|\|\|) "), lambda m: f" {flip[m[1]]} "
    yield "off by one", re.compile(r"([+-]) 1\b"), lambda m: f"{m[1]} 2"
    yield "number", re.compile(r"(?<![\w.\"])([2-9]|[1-9][0-9]{1,6})(?=[;,) ])"), lambda m: str(int(m[1]) + 1)
    yield "mask", re.compile(r"0x([0-9A-Fa-f]*[0-9A-Fa-f])(?=\W)"), lambda m: hex(int(m[1], 16) ^ 1)
    yield "boolean", re.compile(r"\b(true|false)\b"), lambda m: "false" if m[1] == "true" else "true"
    yield "negation", re.compile(r"if \(!"), lambda m: "if ("
    yield "dropped unlock", re.compile(r"^(\s+)[\w:.>-]*[Uu]nlock\w*\(.*\);$"), lambda m: f"{m[1]};"
    yield "dropped lock", re.compile(r"^(\s+)(?:const )?(?:\w+::)*(?:uMutexLock|lock_guard|unique_lock)\b.*;$"), \
        lambda m: f"{m[1]};"
    yield "dropped call", re.compile(r"^(\s+)[\w:.>-]+\([^{}]*\);$"), lambda m: f"{m[1]};"
    yield "dropped assignment", re.compile(r"^(\s+)[\w.>\[\]-]+ = [^{}]*;$"), lambda m: f"{m[1]};"
    yield "wider field", re.compile(r"\bBits\(([\w.]+(?:\(\))?), (\d+), (\d+)\)"), \
        lambda m: f"Bits({m[1]}, {m[2]}, {int(m[3]) + 1})" if int(m[3]) < 31 else f"Bits({m[1]}, {int(m[2]) - 1}, {m[3]})"
    yield "wider field below", re.compile(r"\bBits\(([\w.]+(?:\(\))?), ([1-9]\d*), (\d+)\)"), \
        lambda m: f"Bits({m[1]}, {int(m[2]) - 1}, {m[3]})"
    yield "log level", re.compile(r"\b(?:KORR_PLIM::)?(kLogOrdinary|kLogChatty|kLogTrace)\b"), \
        lambda m: {"kLogOrdinary": "2", "kLogChatty": "1", "kLogTrace": "2"}[m[1]]
    yield "raw value", re.compile(r"\b(?:KORR_PLIM::)?Visible\(((?:[^()]|\([^()]*\))*)\)\.Text\(\)"), \
        lambda m: f"std::string({m[1]}).c_str()"


def letter_changed(line):
    """A message with one letter changed: the last letter of the first long enough literal."""
    match = re.search(r'"((?:[^"\\]|\\.){6,})"', line)
    if not match or line.lstrip().startswith("#"):
        return None
    letters = [i for i in range(match.start(1), match.end(1)) if line[i].isalpha() and line[i - 1] not in "%\\"]
    if not letters:
        return None
    place = letters[-1]
    return line[:place] + ("x" if line[place] != "x" else "y") + line[place + 1:]


CALL = re.compile(r"^\s+[\w.>-]+\([^{}]*\);$")
STATEMENT = re.compile(r"^\s+[\w.>\[\]-]+(?: [|&+-]?= [^{}]*|\([^{}]*\));$")  # a call or an assignment
VIRTUAL = re.compile(r"^\s+virtual [^{}]*;")


def swapped(lines, number, pattern):
    """Two lines of this form that follow each other, in the other order; comments between them stay where they are."""
    if not pattern.match(lines[number]):
        return None
    other = number + 1
    while pattern is VIRTUAL and other < len(lines) and lines[other].lstrip().startswith("//"):
        other += 1
    if other >= len(lines) or not pattern.match(lines[other]) or lines[number].strip() == lines[other].strip():
        return None
    return [lines[other], *lines[number + 1:other], lines[number]]


def candidates(path):
    lines = path.read_text(encoding="utf-8").split("\n")
    for number, line in enumerate(lines):
        code = line.split("//")[0].rstrip()
        if not code.strip() or code.lstrip().startswith(("#", "*", "static_assert", "using", "namespace")):
            continue
        for name, pattern, put in operators():
            for match in pattern.finditer(code):
                if code[:match.start()].count('"') % 2 == 0:
                    yield name, number, [number], code[:match.start()] + put(match) + code[match.end():]
        text = letter_changed(code)
        if text:
            yield "message", number, [number], text
        for kind, pattern in (("swapped calls", CALL), ("swapped statements", STATEMENT)):
            both = swapped(lines, number, pattern)
            if both and (pattern is CALL or not (CALL.match(both[0]) and CALL.match(both[1]))):
                yield kind, number, [number, number + 1], "\n".join(both)


def candidates_in_header(path):
    """Neighbouring virtual operations exchanged: the slots of a table that a host calls by number."""
    lines = path.read_text(encoding="utf-8").split("\n")
    for number in range(len(lines)):
        block = swapped(lines, number, VIRTUAL)
        if block and "~" not in block[0] + block[-1] and not ("Reserved" in block[0] and "Reserved" in block[-1]):
            yield "swapped slots", number, list(range(number, number + len(block))), "\n".join(block)


def all_candidates(only):
    found = []
    for room in ROOMS:
        for path in sorted([*(COPY / room).rglob("*.cpp"), *(COPY / room).rglob("*.h")]):
            if path.parent.name == "windows":
                continue
            relative = str(path.relative_to(COPY))
            if only and not re.search(only, relative):
                continue
            lines = path.read_text(encoding="utf-8").split("\n")
            for name, number, covers, text in candidates(path) if path.suffix == ".cpp" else candidates_in_header(path):
                found.append({"file": relative, "line": number + 1, "covers": len(covers), "kind": name, "text": text,
                              "was": "\n".join(lines[number:number + len(covers)])})
    return found


def judged_equivalent():
    """File, old text and new text of the mutants that no test could notice, as read by a person."""
    listed = json.loads((ROOT / "tests" / "mutation" / "equivalent.json").read_text(encoding="utf-8"))
    return {(judged["file"], judged["was"], judged["now"]) for judged in listed}


def spread(found, seed):
    """All candidates in an order that visits rooms and kinds in turn, so that any first N covers them evenly."""
    chance = random.Random(seed)
    groups = {}
    for mutant in found:
        groups.setdefault((mutant["file"].split("/")[0], mutant["kind"]), []).append(mutant)
    for group in groups.values():
        chance.shuffle(group)
    order = []
    while groups:
        for key in sorted(groups):
            order.append(groups[key].pop())
        groups = {key: group for key, group in groups.items() if group}
    return order


def run(command, limit, environment=None, folder=COPY):
    """None when it does not end in `limit` seconds; all that it started is ended then."""
    with subprocess.Popen(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", start_new_session=True, env=environment) as process:
        try:
            output, _ = process.communicate(timeout=limit)
        except subprocess.TimeoutExpired:
            subprocess.run(["pkill", "-KILL", "-s", str(process.pid)], check=False)
            return None
        return subprocess.CompletedProcess(command, process.returncode, output)


def build(targets=("all",), tree="linux"):
    result = run(["ninja", "-j", JOBS, "-C", f"build/{tree}", *targets], 1800)
    return result is not None and result.returncode == 0


class Test:
    """One test of the build tree, run as it is by ctest: a test program whole, or a script."""

    def __init__(self, tree, described):
        properties = {p["name"]: p["value"] for p in described["properties"]}
        self.name = described["name"]
        self.tree = tree
        self.command = described["command"]
        self.labels = properties.get("LABELS", [])
        self.skipped = properties.get("SKIP_RETURN_CODE")
        self.expected = properties.get("PASS_REGULAR_EXPRESSION")
        self.folder = properties.get("WORKING_DIRECTORY", str(COPY / "build" / tree))
        self.environment = {**os.environ, **dict(v.split("=", 1) for v in properties.get("ENVIRONMENT", [])),
                            "GTEST_FAIL_FAST": "1"}
        self.usual = 5.0  # seconds
        self.kills = collections.Counter()  # by file and by room
        programs = COPY / "build" / tree / "bin"
        program = pathlib.Path(self.command[0])
        if program.parent == programs:
            self.targets = [f"bin/{program.name}"]
        elif "unit" in self.labels:  # a script that looks at what its folder and the product are built of
            self.targets = ["products", f"{pathlib.Path(self.folder).relative_to(programs.parent)}/all"]
        else:
            self.targets = ["all"]

    def notices(self):
        """Whether it fails, twice so that other work on the machine kills nothing, or does not end in its time."""
        passed = self.passes()
        return passed is None or not passed and not self.passes()

    def passes(self):
        """None when it does not end in its time. Several tests may be asked at once, each by a thread of its own."""
        started = time.monotonic()
        result = run(self.command, max(60.0, 8 * self.usual), self.environment, self.folder)
        if result is None:
            return None
        passed = result.returncode in (0, self.skipped)
        if self.expected:
            passed = any(re.search(expression, result.stdout) for expression in self.expected)
        if passed:
            self.usual = max(self.usual if self.usual != 5.0 else 0.1, time.monotonic() - started)
        return passed

    def promise(self, mutant):
        """Sorts those first that noticed most in the same file, then in the same room, then the quickest."""
        room = mutant["file"].split("/")[0]
        return -self.kills[mutant["file"]], -self.kills[room], self.usual


def run_until_one_fails(tests):
    """Runs tests in their order, several at once: those that failed, and those that were not begun."""
    failed, left, changes = [], [], threading.Lock()

    def run_one(test):
        with changes:
            if failed:
                left.append(test)
                return
        if not test.passes():
            with changes:
                failed.append(test)

    with concurrent.futures.ThreadPoolExecutor(2 * int(JOBS)) as pool:
        list(pool.map(run_one, tests))
    return failed, left


def tests_of(tree, folder=""):
    """All tests below a folder of the build tree, without those that take too long or need a quiet machine."""
    listed = run(["ctest", "--test-dir", f"build/{tree}/{folder}", "-LE", SLOW, "--show-only=json-v1"], 60)
    tests = [Test(tree, described) for described in json.loads(listed.stdout)["tests"] if "command" in described]
    return [test for test in tests if {"unit", "end-to-end"} & set(test.labels)]


class Suite:
    """The tests of the mutants' build tree. Those that noticed most so far are tried first."""

    def __init__(self, near_only):
        self.near_only = near_only
        self.tests = {}
        self.races = {}

    def near(self, mutant):
        """Folders with the tests that are the likeliest to notice."""
        room = mutant["file"].split("/")[0]
        if mutant["kind"] == "swapped slots":
            return ["tests/abi", f"tests/unit/{room}"]
        return [f"tests/unit/{room}"] + (["tests/contract"] if "/posix/" in mutant["file"] else []) + \
            {"uart": ["tests/second_reading"], "trace": ["tests/unit/viewer"]}.get(room, [])

    def tests_in(self, folder, tree="linux"):
        known = self.tests if tree == "linux" else self.races
        if folder not in known:
            if not build([f"{folder}/all" if folder else "all"], tree):  # only what is built is listed
                raise SystemExit(f"the unchanged sources do not build: {tree}, {folder or 'all'}")
            known[folder] = tests_of(tree, folder)
        return known[folder]

    def killer(self, mutant, tests):
        """The first test that notices; "not built" as soon as one cannot be built; None when none notices."""
        for test in sorted(tests, key=lambda test: test.promise(mutant)):
            if not build(test.targets, test.tree):
                return "not built"
            if test.notices():
                test.kills.update([mutant["file"], mutant["file"].split("/")[0]])
                return test.name
        return None

    def killer_of_many(self, mutant, tests):
        """As `killer`, for tests that take long together: several run at once. Those that fail are tried again alone."""
        left = sorted(tests, key=lambda test: test.promise(mutant))
        while left:
            if not build():
                return "not built"
            failed, left = run_until_one_fails(left)
            for test in failed:
                if test.notices():
                    test.kills.update([mutant["file"], mutant["file"].split("/")[0]])
                    return test.name
        return None

    def outcome(self, mutant):
        near = [test for folder in self.near(mutant) for test in self.tests_in(folder)]
        noticed = self.killer(mutant, near)
        if noticed is None and self.has_races(mutant):
            noticed = self.killer(mutant, [test for folder in self.near(mutant)
                                           if (COPY / "build" / RACES / folder).exists()  # it has not all of them
                                           for test in self.tests_in(folder, RACES)])
        if noticed is None and not self.near_only:
            names = {test.name for test in near}
            others = [test for test in self.tests_in("") if test.name not in names]
            noticed = self.killer_of_many(mutant, others)
        if noticed == "not built":
            return "not built", None
        if noticed:
            return "killed", noticed
        return ("undecided" if self.near_only else "survived"), None

    @staticmethod
    def has_races(mutant):
        """Whether the thread sanitizer, under which the tests are run as well, may notice a lock that is gone."""
        return mutant["kind"].endswith("lock") and mutant["file"].split("/")[0] not in (*ONE_THREAD, "host_api")

    def unchanged_passes(self, mutants):
        """Whether all tests pass as they are; those that do not are named. Learns how long each takes."""
        folders = sorted({folder for mutant in mutants for folder in self.near(mutant)}) if self.near_only else [""]
        tests = {test.name: test for folder in folders for test in self.tests_in(folder)}
        if not build(sorted({target for test in tests.values() for target in test.targets})):
            raise SystemExit("the unchanged sources do not build: what the tests run")
        failed, left = [], list(tests.values())
        while left:
            doubtful, left = run_until_one_fails(left)
            failed += [test.name for test in doubtful if test.notices()]
        for folder in {folder for mutant in mutants for folder in self.near(mutant)}:
            for test in self.tests_in(folder):  # the same test may have been listed twice
                test.usual = tests[test.name].usual if test.name in tests else test.usual
        print("".join(f"fails without a change: {name}\n" for name in failed), end="", flush=True)
        return not failed


def copy_sources():
    """The committed sources, and nothing else beside the build trees. What is as it was keeps its time."""
    archive = subprocess.run(["git", "archive", "HEAD"], cwd=ROOT, capture_output=True, check=True).stdout
    with tarfile.open(fileobj=io.BytesIO(archive)) as files:
        sources = {COPY / member.name: (files.extractfile(member).read(), member.mode)
                   for member in files if member.isfile()}
    for old in COPY.rglob("*"):
        if old.is_file() and old not in sources and old.relative_to(COPY).parts[0] != "build":
            old.unlink()
    for path, (text, mode) in sources.items():
        if not path.exists() or path.read_bytes() != text:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(text)
            path.chmod(mode)


def lock_copy():
    """Two runs in one copy would see each other's mutants. Held for as long as what is returned is open."""
    COPY.mkdir(parents=True, exist_ok=True)
    lock = (COPY.parent / "mutants.lock").open("w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise SystemExit(f"another run works in {COPY}") from None
    return lock


def prepare():
    copy_sources()
    fast_link = [f"-DCMAKE_{kind}_LINKER_FLAGS=-fuse-ld=gold" for kind in ("EXE", "SHARED", "MODULE")]
    options = {"linux": ["-DCMAKE_CXX_FLAGS_RELEASE=-O0", *fast_link], RACES: []}
    for tree, more in options.items():
        if not (COPY / "build" / tree / "build.ninja").exists():
            subprocess.run(["cmake", "--preset", tree, "-DTARNEL_WARNINGS_AS_ERRORS=OFF", *more], cwd=COPY, check=True,
                           capture_output=True)


def try_mutant(mutant, suite):
    path = COPY / mutant["file"]
    before = path.read_text(encoding="utf-8")
    lines = before.split("\n")
    first = mutant["line"] - 1
    lines[first:first + mutant["covers"]] = [mutant["text"]]
    path.write_text("\n".join(lines), encoding="utf-8")
    try:
        return suite.outcome(mutant)
    finally:
        path.write_text(before, encoding="utf-8")


def report(results):
    judged = [r for r in results if r["outcome"] in ("killed", "survived")]
    survivors = [r for r in judged if r["outcome"] == "survived"]
    for r in survivors:
        print(f'survived: {r["file"]}:{r["line"]} ({r["kind"]})\n  was: {r["was"].strip()}\n  now: {r["text"].strip()}')
    by_room = {}
    for r in judged:
        killed, total = by_room.get(r["file"].split("/")[0], (0, 0))
        by_room[r["file"].split("/")[0]] = (killed + (r["outcome"] == "killed"), total + 1)
    for room, (killed, total) in sorted(by_room.items()):
        print(f"{room}: {killed} of {total} killed")
    share = (len(judged) - len(survivors)) / len(judged) if judged else 0.0
    print(f"{len(judged)} mutants, {len(judged) - len(survivors)} killed, {len(survivors)} survived ({share:.1%} killed)")
    return share


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--count", type=int, default=600)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", help="files to change, as a regular expression")
    parser.add_argument("--results", type=pathlib.Path, default=ROOT / "build" / "mutants.jsonl")
    parser.add_argument("--near", action="store_true", help="run the likeliest tests alone")
    parser.add_argument("--list", action="store_true", help="show the mutants and end")
    arguments = parser.parse_args()

    lock = lock_copy()  # until the end
    prepare()
    equivalent = judged_equivalent()
    order = [mutant for mutant in spread(all_candidates(arguments.only), arguments.seed)
             if (mutant["file"], mutant["was"], mutant["text"]) not in equivalent]
    if arguments.list:
        for mutant in order[:arguments.count]:
            print(f'{mutant["file"]}:{mutant["line"]} {mutant["kind"]}: {mutant["text"].strip()}')
        return 0
    print("building and testing without a change", flush=True)
    suite = Suite(arguments.near)
    if not suite.unchanged_passes(order):
        print("the unchanged sources do not pass; nothing can be said", file=sys.stderr)
        return 1
    head = subprocess.run(["git", "rev-parse", "HEAD"], cwd=ROOT, capture_output=True, text=True,
                          check=True).stdout.strip()
    results = []
    if arguments.results.exists():
        results = [json.loads(line) for line in arguments.results.read_text().splitlines()]
        lasting = ("killed", "not built")
        passing = ("survived", "undecided") if arguments.near else ("survived",)
        results = [r for r in results if r["outcome"] in lasting or r["outcome"] in passing and r.get("head") == head]
    done = {(r["file"], r["kind"], r["was"], r["text"]) for r in results}
    judged = sum(r["outcome"] != "not built" for r in results)
    for mutant in order:
        if judged >= arguments.count:
            break
        if (mutant["file"], mutant["kind"], mutant["was"], mutant["text"]) in done:  # wherever it stands by now
            continue
        started = time.monotonic()
        mutant["outcome"], mutant["by"] = try_mutant(mutant, suite)
        mutant["head"] = head
        mutant["seconds"] = round(time.monotonic() - started, 1)
        results.append(mutant)
        judged += mutant["outcome"] != "not built"
        with arguments.results.open("a") as file:
            file.write(json.dumps(mutant) + "\n")
        print(f'{judged:4} {mutant["outcome"]:9} {mutant["file"]}:{mutant["line"]} {mutant["kind"]}', flush=True)
    share = report(results)
    lock.close()
    if judged < arguments.count and not arguments.only:
        print(f"only {judged} of {arguments.count} mutants could be made", file=sys.stderr)
        return 1
    return 0 if share >= GOAL else 1


if __name__ == "__main__":
    sys.exit(main())
