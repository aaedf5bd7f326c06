#!/usr/bin/env python3
"""Compares what a Windows module tells of itself with what it must be.

usage: check_module.py exports MODULE NAME...
       check_module.py imports MODULE LIST
       check_module.py hardening MODULE
       check_module.py version MODULE VERSION FILE_NAME DESCRIPTION

LIST holds a library and a name a line; with --write in its place the list is printed. Exit status: 0 as it must be, 1
not, with the differences.
"""
import sys

from pe_file import PeFile

ADVICE = """The plug-in's imports have changed. A host's machine must have each of them: see whether a new one can be done
without, and whether every Windows 10 has it; then keep the list that "check_module.py imports MODULE --write" prints."""


def read_list(path):
    with open(path, encoding="utf-8") as file:
        return [line.strip() for line in file if line.strip() and not line.startswith("#")]


def compare(what, found, expected):
    missing, additional = sorted(set(expected) - set(found)), sorted(set(found) - set(expected))
    for name in missing:
        print(f"missing {what}: {name}")
    for name in additional:
        print(f"additional {what}: {name}")
    return not missing and not additional


def check_imports(module, path):
    found = [" ".join(pair) for pair in module.imports()]
    if path == "--write":
        print(*sorted(found), sep="\n")
        return True
    if compare("import", found, read_list(path)):
        return True
    print(ADVICE)
    return False


def check_hardening(module):
    wanted = {
        "loaded at a random address": module.characteristics & module.DYNAMIC_BASE and module.has_relocations(),
        "random address in all 64 bits": module.characteristics & module.HIGH_ENTROPY_BASE,
        "data is not executed": module.characteristics & module.NX_COMPATIBLE,
        "code is not written": not module.writable_code(),
        "stack cookies": module.has_stack_cookie(),
        "no thread-local section": not module.has_thread_local_section(),
    }
    for name, given in wanted.items():
        print(f"{name}: {'yes' if given else 'NO'}")
    return all(wanted.values())


def check_version(module, version, name, description):
    found = module.version()
    expected = {"FixedFileVersion": f"{version}.0", "FileVersion": version, "ProductVersion": version,
                "ProductName": "Tarnel", "FileDescription": description,
                "InternalName": name.partition(".")[0], "OriginalFilename": name}
    return compare("version value", [f"{name} = {value}" for name, value in found.items()],
                   [f"{name} = {value}" for name, value in expected.items()])


def main():
    check, path, *arguments = sys.argv[1:]
    module = PeFile(path)
    checks = {
        "exports": lambda: compare("export", module.exports(), arguments),
        "imports": lambda: check_imports(module, *arguments),
        "hardening": lambda: check_hardening(module),
        "version": lambda: check_version(module, *arguments),
    }
    return 0 if checks[check]() else 1


if __name__ == "__main__":
    sys.exit(main())
