#!/usr/bin/env python3
"""Compares the exports of a library with a list.

usage: check_exports.py nm|objdump TOOL LIBRARY NAME...

The first argument says which of the two TOOL is. Exit status: 0 exactly these exports, 1 others, 2 no answer.
"""
import re
import subprocess
import sys


def exports_by_nm(tool, library):
    text = subprocess.run([tool, "-D", "--defined-only", library], capture_output=True, text=True, check=True).stdout
    return [line.split()[-1].split("@")[0] for line in text.splitlines() if line.split()]


def exports_by_objdump(tool, library):
    text = subprocess.run([tool, "-p", library], capture_output=True, text=True, check=True).stdout
    table = text.split("[Ordinal/Name Pointer] Table")
    if len(table) != 2:
        sys.exit(2)
    return re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+\w+\s+)?(\S+)", table[1].split("\n\n")[0], re.MULTILINE)


def main():
    kind, tool, library, *expected = sys.argv[1:]
    found = exports_by_nm(tool, library) if kind == "nm" else exports_by_objdump(tool, library)
    print("exports:", *sorted(found))
    if sorted(found) != sorted(expected):
        print("expected:", *sorted(expected))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
