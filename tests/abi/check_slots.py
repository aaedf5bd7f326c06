#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares virtual tables, the host interfaces' and the plug-in's own, as a compiler for Windows lays them out, with
tests/abi/slots.txt.

usage: check_slots.py CLANG SOURCE_FOLDER [--swapped]

With --swapped the check checks itself: in a copy of the headers it exchanges every two neighbouring operations in turn,
in the plug-in's own classes the destructor too, and every exchange must be found. Exit status: 0 as expected, 1 not, 77 when the compiler is missing.
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOMS = ("host_api", "options", "source_utilities", "uart")  # of the headers that are laid out
OWN = ("uRunnable", "ChannelOptionsHandler")  # classes of the plug-in whose destructor is exchanged as well


def read_slots(path):
    """Class name -> (whole table known, {slot: operation})."""
    classes = {}
    for line in path.read_text().splitlines():
        words = line.split("#")[0].split()
        if not words:
            continue
        if words[0].isdigit():
            current[int(words[0])] = words[1]
        else:
            current = {}
            classes[words[0]] = ("partial" not in words, current)
    return classes


def operation_of(entry):
    """'void ns::Class::Name(int) [pure]' -> 'Name'; a destructor -> 'destructor'."""
    name = re.search(r"([\w~]+)\(", entry).group(1)
    return "destructor" if name.startswith("~") else name


def lay_out(clang, source, headers):
    """Class name -> {slot: operation}, for the platform's own compiler's ABI."""
    command = [clang, "--target=x86_64-pc-windows-msvc", "-std=c++20", "-nostdinc", "-isystem",
               str(source / "tests/abi/std"), "-I", str(headers), "-I", str(headers / "host_api/windows-msvc"),
               "-Xclang", "-fdump-vtable-layouts", "-S",
               "-emit-llvm", "-o", "-", str(source / "tests/abi/host_interfaces.cpp")]
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        sys.exit(f"the headers do not compile:\n{result.stderr}")
    tables = {}
    table = None
    for line in (result.stdout + "\n" + result.stderr).splitlines():
        # Without vbase and vcall adjustments a table belongs to the last class of the line.
        start = re.match(r"VFTable for (.*) \(\d+ entr", line)
        entry = re.match(r"\s*(\d+) \| (.*)", line)
        if start:
            name = re.findall(r"'([^']*)'", start.group(1))[-1].split("::")[-1]
            table = tables.setdefault(name, {})
        elif entry and table is not None:
            if not entry.group(2).endswith("RTTI"):  # stands before slot 0
                table[int(entry.group(1)) - 1] = operation_of(entry.group(2))
        else:
            table = None
    return tables


def mismatches(expected, tables):
    found = []
    for name, (whole, slots) in expected.items():
        table = tables.get(name, {})
        for slot, operation in slots.items():
            if table.get(slot) != operation:
                found.append(f"{name} slot {slot} is {table.get(slot)} instead of {operation}")
        if whole and len(table) != len(slots):
            found.append(f"{name} has {len(table)} slots instead of {len(slots)}")
    return found


def exchange(headers, name, first, second):
    """Exchanges the names of two operations; of a class of the plug-in the declarations of its destructor and another."""
    for path in headers.glob("*/*.h"):
        text = path.read_text()
        if first != "destructor":
            swapped = re.sub(rf"\b({first}|{second})\(", lambda m: (second if m[1] == first else first) + "(", text)
        else:
            swapped = re.sub(rf"(virtual ~{name}\([^;]*;)(.*?)(virtual [^;]*\b{second}\([^;]*;)", r"\3\2\1", text,
                             flags=re.DOTALL)
        path.write_text(swapped)


def check_itself(clang, source, expected):
    """Every exchange of two neighbouring operations must be found."""
    missed = 0
    for name, (_, slots) in expected.items():
        operations = [operation for operation in slots.values() if operation != "destructor" or name in OWN]
        for first, second in zip(operations, operations[1:]):
            with tempfile.TemporaryDirectory() as folder:
                headers = pathlib.Path(folder)
                for room in ROOMS:
                    shutil.copytree(source / room, headers / room, ignore=shutil.ignore_patterns("*.cpp"))
                exchange(headers, name, first, second)
                found = mismatches(expected, lay_out(clang, source, headers))
            print(f"{name}: {first} and {second} exchanged: {len(found)} mismatches")
            missed += not found
    return missed == 0


def main():
    clang, source = sys.argv[1], pathlib.Path(sys.argv[2])
    if shutil.which(clang) is None:
        print("no clang++ found")
        return 77
    expected = read_slots(source / "tests/abi/slots.txt")
    if "--swapped" in sys.argv[3:]:
        return 0 if check_itself(clang, source, expected) else 1
    found = mismatches(expected, lay_out(clang, source, source))
    print("\n".join(found) or f"{len(expected)} interfaces as expected")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
