"""Situations in which a command is given something bad: how each is made."""
import os
import re
import subprocess

from hosting import without_override

CANNOT_WRITE = "standard output cannot be written: is the disk full, or did its reader end?"


def make_files(test):
    """Things that stand in a file's place."""
    os.mkdir(test.file("folder"))
    os.mkdir(test.file("ctf"))
    test.write("ctf/stream", "x" * 600)
    os.symlink("leads-nowhere", test.file("link"))
    os.symlink("circle", test.file("circle"))
    test.write("empty", "")
    test.write("text", "no XML, no JSON, no script\n")
    test.write("sheeted.bin.sheet.json", "no recording sheet\n")
    test.write("board.bad", '{"jurnal": "x"}')
    test.write("refusing.txt", "create\nallocate\n")
    with open(test.file("damaged.tdf"), "wb") as out:
        out.write(b"KTDF\x01\0\0\0\x10\0\0\0\0\0\0\0\xff\xff\xff\xff\x01\0\0\0\x04\0\0\0name")
    with open(test.file("other.tdf"), "wb") as out:
        out.write(b"KTDF\x01\0\0\0\x10\0\0\0\0\0\0\0\x10\0\0\0\x01\0\0\0\x04\0\0\0name")
    with open(test.file("some.bin"), "wb") as out:
        out.write(b"\x80\x80\x80\x80\x01x" * 100)
    with open(test.file("said.bin"), "wb") as out:
        out.write(bytes(5) + b"\x80" + b"\x01x" * 100)
    test.write("secret", "x")
    os.chmod(test.file("secret"), 0)


def plain(test, words):
    return words, {}


def with_captures(test, words):
    """After a first recording has made the folder of the captures."""
    os.makedirs(os.path.dirname(test.capture()))
    return words, {}


def no_rights(test, words):
    """As somebody for whom permissions hold."""
    return without_override(words), {}


def shell(name, line):
    """Through a line of the shell, in which "$@" is the command."""
    def situation(test, words):
        return ["sh", "-c", line, "sh", *words], {}
    situation.__name__ = name
    return situation


def mounted(options):
    """With a home of its own, mounted with these options."""
    def mounted_home(test, words):
        line = f"mount -t tmpfs -o {options} none '{test.home}' && exec \"$@\""
        return ["unshare", "-m", "sh", "-c", line, "sh", *words], {}
    return mounted_home


def full_home(test, words):
    line = (f"mount -t tmpfs -o size=64k none '{test.home}' && mkdir -p '{test.home}/.KORR-trace/data' && "
            f"head -c 65536 /dev/zero >'{test.home}/fill' 2>/dev/null; exec \"$@\"")
    return ["unshare", "-m", "sh", "-c", line, "sh", *words], {}


def full_folder(test, words):
    line = "mkdir full && mount -t tmpfs -o size=16k none full && head -c 16384 /dev/zero >full/fill 2>/dev/null; exec \"$@\""
    return ["unshare", "-m", "sh", "-c", line, "sh", *words], {}


def read_only_folder(test, words):
    return ["unshare", "-m", "sh", "-c", "mkdir ro && mount -t tmpfs -o ro none ro && exec \"$@\"", "sh", *words], {}


def variables(**changes):
    """With these environment variables; None removes one."""
    def changed_variables(test, words):
        return words, changes
    changed_variables.of_linux = any(name in ("TMPDIR", "USERPROFILE") for name in changes)
    return changed_variables


for everywhere in (plain, with_captures):
    everywhere.of_linux = False
closed_output = shell("closed_output", 'exec "$@" >&-')
closed_input = shell("closed_input", 'exec "$@" <&-')
full_output = shell("full_output", 'exec "$@" >/dev/full')
ended_reader = shell("ended_reader", '{ sleep 0.2; "$@"; echo $? >status; } | true; sleep 0.1; '
                     'while ! [ -s status ]; do sleep 0.05; done; exit $(cat status)')
ended_reader.of_linux = False

LINUX_WORDS = re.compile(r"\S+\.so: .*?(?=;)|cannot open shared object file: No such file or directory|No such file or "
                         r"directory|File name too long|Too many levels of symbolic links")


def not_on_windows(words, situation):
    """Why a row has no meaning there; empty when it has one."""
    if getattr(situation, "of_linux", True):
        return "closed and full outputs, rights and mounts of Linux"
    if any(isinstance(word, bytes) for word in words):
        return "names that are no text are of Linux"
    if situation is with_captures:
        return "the home is given otherwise under Wine"
    if any(word.startswith(("/dev/", "/nowhere")) for word in words):
        return "devices of Linux"
    return ""


def on_windows(errors, situation):
    """What is said there: the system's own words are others, and stand as "..."; that a reader has ended is not known, and
    told like any other failure."""
    told = LINUX_WORDS.sub("...", errors).replace("/dev/ttyACM59", r"\\.\COM59")
    return told + f"tracehost: {CANNOT_WRITE}\n" if situation is ended_reader else told


def can_mount():
    return os.geteuid() == 0 and subprocess.run(["unshare", "-m", "mount", "-t", "tmpfs", "none", "/mnt"],
                                                capture_output=True, check=False).returncode == 0
