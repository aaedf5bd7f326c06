#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what a Windows module tells of itself with what it must be.

usage: check_module.py exports MODULE NAME...
       check_module.py imports MODULE LIBRARIES LIST
       check_module.py hardening MODULE
       check_module.py version MODULE VERSION FILE_NAME DESCRIPTION
       check_module.py free-of MODULE FOLDER

LIST holds a library, a name and where the name is known from a line; with --write in its place the list is printed.
LIBRARIES is the folder of the import libraries. Exit status: 0 as it must be, 1 not, with the differences.
"""
import pathlib
import re
import sys

from pe_file import PeFile

# Functions of the plug-in's rooms, of libc++ and of xerces-c have arrays on the stack. The pieces of msvc_abi/ alone have
# a handful.
ENOUGH_CHECKS = 500

# The operations that the host's error library is known to have (host_api/cPelkitError.h).
ERROR_CLASS = ("??0cPelkitError@@QEAA@AEBV0@@Z", "??0cPelkitError@@QEAA@PEBDW4Severity_Type@cPelkitErrorIF@@@Z",
               "??0cPelkitError@@QEAA@AEBV?$basic_string@DU?$char_traits@D@std@@V?$allocator@D@2@@std@@"
               "W4Severity_Type@cPelkitErrorIF@@@Z", "??1cPelkitError@@UEAA@XZ")

ADVICE = """The plug-in's imports have changed. A host's machine must have each of them: see whether a new one can be done
without, and whether every Windows 10 has it; then keep the list that "check_module.py imports MODULE LIBRARIES --write"
prints."""


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


def known_names(folder):
    """Library and name of each entry of the import libraries, and the list that the library was made of."""
    known = {("pelkit.dll", name): "host_api" for name in ERROR_CLASS}
    for file in pathlib.Path(folder).glob("*.lib"):
        if file.stem in ("c++", "xerces-c"):
            continue
        for name, library in re.findall(rb"([!-~]+)\0([\w-]+\.dll)\0", file.read_bytes()):
            source = "ucrt_math.def" if file.stem == "ucrt_math" else "mingw-w64"
            known.setdefault((library.decode().lower(), name.decode()), source)
    return known


def check_imports(module, folder, path):
    known = known_names(folder)
    found = [f"{library} {name} {known.get((library, name), 'unknown')}" for library, name in module.imports()]
    if path == "--write":
        print(*sorted(found), sep="\n")
        return True
    if compare("import", found, read_list(path)):
        return True
    print(ADVICE)
    return False


def check_hardening(module):
    checks = module.stack_cookie_checks()
    print(f"calls that check a stack cookie: {checks}")
    wanted = {
        "loaded at a random address": module.characteristics & module.DYNAMIC_BASE and module.has_relocations(),
        "random address in all 64 bits": module.characteristics & module.HIGH_ENTROPY_BASE,
        "data is not executed": module.characteristics & module.NX_COMPATIBLE,
        "code is not written": not module.writable_code(),
        "stack cookie that the loader finds": module.stack_cookie() is not None,
        "functions that check their stack cookie": checks >= ENOUGH_CHECKS,
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


def check_free_of(path, folder):
    """Neither the module nor its debug information names the folder."""
    naming = [file for file in (pathlib.Path(path), pathlib.Path(path).with_suffix(".pdb"))
              if folder.encode() in file.read_bytes()]
    for file in naming:
        print(f"{file.name} names {folder}")
    return not naming


def main():
    check, path, *arguments = sys.argv[1:]
    module = PeFile(path)
    checks = {
        "exports": lambda: compare("export", module.exports(), arguments),
        "imports": lambda: check_imports(module, *arguments),
        "hardening": lambda: check_hardening(module),
        "version": lambda: check_version(module, *arguments),
        "free-of": lambda: check_free_of(path, *arguments),
    }
    return 0 if checks[check]() else 1


if __name__ == "__main__":
    sys.exit(main())
