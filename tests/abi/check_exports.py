#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares the exports of a library with a list.

usage: check_exports.py NM LIBRARY NAME...

NM is the tool of that name. Exit status: 0 exactly these exports, 1 others.
"""
import subprocess
import sys


def main():
    tool, library, *expected = sys.argv[1:]
    text = subprocess.run([tool, "-D", "--defined-only", library], capture_output=True, text=True, check=True).stdout
    found = [line.split()[-1].split("@")[0] for line in text.splitlines() if line.split()]
    print("exports:", *sorted(found))
    if sorted(found) != sorted(expected):
        print("expected:", *sorted(expected))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
