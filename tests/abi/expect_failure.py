#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Shows that a check notices what it looks for: runs it where it must fail.

usage: expect_failure.py TEXT COMMAND [ARGUMENT...]

Exit status: 0 when the command ended with status 1 and said TEXT, 1 when not, with what it did.
"""
import subprocess
import sys

LIMIT = 300  # seconds


def main():
    text, *command = sys.argv[1:]
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                            timeout=LIMIT, check=False)
    print(result.stdout, end="")
    if result.returncode == 1 and text in result.stdout:
        return 0
    print(f'expected: status 1 and "{text}"; it ended with status {result.returncode}')
    return 1


if __name__ == "__main__":
    sys.exit(main())
