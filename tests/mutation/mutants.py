#!/usr/bin/env python3
"""Proves that the tests can fail: changes one line of the product at a time and runs the native tests.

usage: mutants.py [--count N] [--seed S] [--only REGEX] [--tests LABELS] [--near] [--results FILE] [--list]

Works on a copy of the committed sources in build/mutants, so the tree stays as it is. What only plays the target and the
host's libraries (simulator/) is not changed, nor are the Windows bodies, which the native tests do not see. Every mutant
is built; one that does not compile is replaced by another. A mutant is killed when a test fails or does not end in its
time; a mutant that all tests pass has survived and is listed with its line. Results are appended to a file as they come,
one JSON object a line, and a second run with the same file goes on where the first stopped; survivors of an earlier
commit are tried again, since tests may have been mended. With --near only the tests that are the likeliest to notice are run, and
what they do not notice stays undecided until a run without it. Exit status: 0 when at least 97 % of COUNT mutants were
killed.
"""
import argparse
import io
import json
import pathlib
import random
import re
import subprocess
import sys
import tarfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPY = ROOT / "build" / "mutants"
RACES = "linux-tsan"
ONE_THREAD = ("options", "tracehost", "trace")  # rooms whose tests the thread sanitizer does not run
SLOW = "long|soak|native-only"  # what takes a minute, and what needs a quiet machine
LENGTHY = "end_to_end_recording"  # tried after all others
ROOMS = ("host_api", "source_utilities", "uart", "options", "channel", "receiver", "tracehost", "trace")
GOAL = 0.97


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
    yield "log level", re.compile(r"\b(kLogOrdinary|kLogChatty|kLogTrace)\b"), \
        lambda m: {"kLogOrdinary": "kLogChatty", "kLogChatty": "kLogOrdinary", "kLogTrace": "kLogChatty"}[m[1]]


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
            for name, number, covers, text in candidates(path) if path.suffix == ".cpp" else candidates_in_header(path):
                found.append({"file": relative, "line": number + 1, "covers": len(covers), "kind": name, "text": text})
    return found


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


def run(command, limit):
    """None when it does not end in `limit` seconds; all that it started is ended then."""
    with subprocess.Popen(command, cwd=COPY, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          start_new_session=True) as process:
        try:
            output, _ = process.communicate(timeout=limit)
        except subprocess.TimeoutExpired:
            subprocess.run(["pkill", "-KILL", "-s", str(process.pid)], check=False)
            return None
        return subprocess.CompletedProcess(command, process.returncode, output)


def build(folders=("",), tree="linux"):
    """The targets of these folders of the build tree; of the whole tree for the empty name."""
    targets = [f"{folder}/all" if folder else "all" for folder in folders]
    result = run(["ninja", "-C", f"build/{tree}", *targets], 900)
    return result is not None and result.returncode == 0


def has_tests(labels, folder, tree):
    result = run(["ctest", "--test-dir", f"build/{tree}/{folder}", "-N", "-L", labels, "-LE", SLOW], 60)
    return "Total Tests: 0" not in result.stdout


def tests_pass(labels, folder="", tree="linux", limit=300, options=()):
    if not has_tests(labels, folder, tree):
        return True
    result = run(["ctest", "--test-dir", f"build/{tree}/{folder}", "-L", labels, "-LE", SLOW, "--stop-on-failure",
                  "-j", "2", "--timeout", "60", "--no-tests=error", *options], limit)
    return result is not None and result.returncode == 0


def near_folders(mutant):
    """Folders with the tests that are the likeliest to notice, which are tried before all others."""
    room = mutant["file"].split("/")[0]
    if mutant["kind"] == "swapped slots":
        return ["tests/abi"]
    return [f"tests/unit/{room}"] + (["tests/contract"] if "/posix/" in mutant["file"] else [])


def races(mutant, labels, near):
    """Whether the thread sanitizer, under which the tests are run as well, notices a lock that is gone."""
    if not mutant["kind"].endswith("lock") or mutant["file"].split("/")[0] in (*ONE_THREAD, "host_api"):
        return False
    return not build(near, RACES) or not all(tests_pass(labels, folder, RACES) for folder in near)


def outcome(mutant, labels, near_only):
    near = near_folders(mutant)
    if not build(near):
        return "not built"
    if not all(tests_pass(labels, folder) for folder in near) or races(mutant, labels, near):
        return "killed"
    if near_only:
        return "undecided"
    if not build():
        return "not built"
    # A test that waits for what never comes may take some minutes: whoever takes twice the usual time has failed.
    again = ("--repeat", "until-pass:2")  # so that other work on the machine kills nothing
    passed = tests_pass(labels) and tests_pass("end-to-end", limit=150, options=(*again, "-E", LENGTHY)) and \
        tests_pass("end-to-end", options=(*again, "-R", LENGTHY))
    return "survived" if passed else "killed"


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


def prepare():
    COPY.mkdir(parents=True, exist_ok=True)
    copy_sources()
    options = {"linux": ["-DTARNEL_WARNINGS_AS_ERRORS=OFF", "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O0 -g0"], RACES: ["-DTARNEL_WARNINGS_AS_ERRORS=OFF"]}
    for tree, more in options.items():
        if not (COPY / "build" / tree / "build.ninja").exists():
            subprocess.run(["cmake", "--preset", tree, *more], cwd=COPY, check=True, capture_output=True)


def try_mutant(mutant, labels, near_only):
    path = COPY / mutant["file"]
    before = path.read_text(encoding="utf-8")
    lines = before.split("\n")
    first = mutant["line"] - 1
    mutant["was"] = "\n".join(lines[first:first + mutant["covers"]])
    lines[first:first + mutant["covers"]] = [mutant["text"]]
    path.write_text("\n".join(lines), encoding="utf-8")
    try:
        return outcome(mutant, labels, near_only)
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


def unchanged_passes(mutants, labels, near_only):
    rooms = sorted({mutant["file"].split("/")[0] for mutant in mutants} - {"host_api"})
    near = [f"tests/unit/{room}" for room in rooms] + ["tests/contract"]
    threads = [folder for folder in near if folder.split("/")[-1] not in ONE_THREAD]
    passed = build(near) and all(tests_pass(labels, folder) for folder in near) if near_only else \
        build() and tests_pass(labels)
    return passed and build(threads, RACES) and all(tests_pass(labels, folder, RACES) for folder in threads)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--count", type=int, default=600)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", help="files to change, as a regular expression")
    parser.add_argument("--tests", default="unit", help="labels of the tests to run before the end-to-end tests")
    parser.add_argument("--results", type=pathlib.Path, default=ROOT / "build" / "mutants.jsonl")
    parser.add_argument("--near", action="store_true", help="run the likeliest tests alone")
    parser.add_argument("--list", action="store_true", help="show the mutants and end")
    arguments = parser.parse_args()

    prepare()
    order = spread(all_candidates(arguments.only), arguments.seed)
    if arguments.list:
        for mutant in order[:arguments.count]:
            print(f'{mutant["file"]}:{mutant["line"]} {mutant["kind"]}: {mutant["text"].strip()}')
        return 0
    print("building and testing without a change", flush=True)
    if not unchanged_passes(order, arguments.tests, arguments.near):
        print("the unchanged sources do not pass; nothing can be said", file=sys.stderr)
        return 1
    head = subprocess.run(["git", "rev-parse", "HEAD"], cwd=ROOT, capture_output=True, text=True,
                          check=True).stdout.strip()
    results = []
    if arguments.results.exists():
        results = [json.loads(line) for line in arguments.results.read_text().splitlines()]
        results = [r for r in results if r["outcome"] == "undecided" and arguments.near or
                   r["outcome"] == "survived" and r.get("head") == head or r["outcome"] in ("killed", "not built")]
    done = {(r["file"], r["line"], r["kind"], r["text"]) for r in results}
    judged = sum(r["outcome"] != "not built" for r in results)
    for mutant in order:
        if judged >= arguments.count:
            break
        if (mutant["file"], mutant["line"], mutant["kind"], mutant["text"]) in done:
            continue
        started = time.monotonic()
        mutant["outcome"] = try_mutant(mutant, arguments.tests, arguments.near)
        mutant["head"] = head
        mutant["seconds"] = round(time.monotonic() - started, 1)
        results.append(mutant)
        judged += mutant["outcome"] != "not built"
        with arguments.results.open("a") as file:
            file.write(json.dumps(mutant) + "\n")
        print(f'{judged:4} {mutant["outcome"]:9} {mutant["file"]}:{mutant["line"]} {mutant["kind"]}', flush=True)
    share = report(results)
    if judged < arguments.count and not arguments.only:
        print(f"only {judged} of {arguments.count} mutants could be made", file=sys.stderr)
        return 1
    return 0 if share >= GOAL else 1


if __name__ == "__main__":
    sys.exit(main())
