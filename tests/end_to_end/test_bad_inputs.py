"""Every command with bad inputs: a table of what is given, the status, and what is said of it.

A row that needs root's rights, or what only one system has, is skipped, and said to be, where it cannot be had."""
import os
import re
import subprocess
import unittest

from bad_inputs import (CANNOT_WRITE, can_mount, closed_input, closed_output, ended_reader, full_folder, full_home,
                        full_output, make_files, mounted, no_rights, not_on_windows, on_windows, plain, read_only_folder,
                        variables, with_captures)
from hosting import BIN, HostTest, ON_WINE, main, wine_program

PROGRAM = [wine_program(), os.path.join(BIN, "tracehost.exe")] if ON_WINE else [os.path.join(BIN, "tracehost")]

MISSING = "none/at/all"
LONG = "x" * 300
RECORD = ("record", "--port", "59", "--clock", "48M", "--prescaler", "23", "--output", "o.tdf")
TERMINAL = ("record", "--port", "/dev/ptmx", "--clock", "48M", "--prescaler", "23", "--seconds", "0.1", "--output", "o.tdf")

NO_FILE = "No such file or directory"
HELP = 'see "tracehost {}--help"'
CANNOT_USE = "standard output cannot be used: is it open?"
NO_OPTIONS = 'it is no options file that the plug-in takes: "tracehost options --output FILE" writes one'
UNPARSED = "Undefined exception occurred while parsing emulation setup file"
NO_CAPTURE = "Failed to open binary file for trace data storage"
WRITE_IT = "is its folder there, and may you write into it?"
SAVE_IT = "is its folder there, and may you write in it?"
CAPTURE = "home/.KORR-trace/data/swotrace_cpu.bin"
OWN_CAPTURE = "the file in which the plug-in keeps what it captures: give another name"
NO_PLUGIN = "it is missing, or a library that it needs is"
NO_LIBRARY = "cannot open shared object file: No such file or directory"
PORT = "give a number from 0 to 65535, COM5 or, on Linux, a device such as /dev/ttyACM5"
CLOCK = "give auto or a frequency from 1 Hz to 4 GHz, such as 48000000, 48M or 32.768kHz"
TIME = "give a time from 1 ms to 30 d, such as 10s, 500ms, 2min or 1h"
KINDS = ("sync overflow local-time global-time-low global-time-high page extension stimulus event-counters exception pc-sample "
         "pc-sleep pc-prohibited pmu-overflow data-match data-pc data-address data-value unknown-hardware reserved malformed "
         "unsynchronised truncated-end")
PORT_TYPE = ("give a port from 0 to 255 and its type (text, u8, i8, u16, i16, u32, i32 or f32), and a name for it if you like, "
             "such as 3=f32:speed")
EXPORTS = "give chrome, perfetto, ctf, vcd, sigrok, csv, jsonl, folded or text"
PORTS = "give stimulus ports from 0 to 255, such as 0,3,8-15"
FRAMING = "give auto, itm, tpiu or tpiu:ID"
STREAM = "give a number from 1 to 111"
PLACE = "give a time from 0 to 1000000000 s, such as 10s, 500ms, 2min or 1h"
SIZE = "give a size from 1 B to 34359738360 B, such as 10k, 1.5MB or 4MiB"


def said(text):
    """A line of tracehost's own."""
    return f"tracehost: {text}\n"


def below(message, text):
    """A message of the plug-in, and what is said of it."""
    return f"{message}\ntracehost: {text}\n"


# What is given, in which situation, the status, and all of standard error; "..." stands for any text.
ROWS = [
    # --- the program
    ((), plain, 2, said(f"a command is missing: {HELP.format('')}")),
    (("",), plain, 2, said(f'not understood: "": {HELP.format("")}')),
    (("recrod",), plain, 2, said(f'"recrod" is no command: {HELP.format("")}')),
    (("a\nb\x1b[1m",), plain, 2, said(rf'"a\nb\x1B[1m" is no command: {HELP.format("")}')),
    (("--frob",), plain, 2, said(f'not understood: "--frob": {HELP.format("")}')),
    (("-x", "record"), plain, 2, said(f'not understood: "-x": {HELP.format("record ")}')),
    (("--help",), full_output, 1, said(CANNOT_WRITE)),
    (("--help",), closed_output, 1, said(CANNOT_USE)),
    (("--help",), ended_reader, 1, ""),
    (("--version",), full_output, 1, said(CANNOT_WRITE)),
    (("help", "recrod"), plain, 2, said(f'"recrod" is no command: {HELP.format("")}')),
    (("help", "record", "x"), plain, 2, said(f'not understood: "x": {HELP.format("help ")}')),
    (("version", "x"), plain, 2, said(f'not understood: "x": {HELP.format("version ")}')),
    (("version", "--plugin", ""), plain, 2, said('--plugin "": it must not be empty')),
    (("version",), closed_output, 1, said(CANNOT_USE)),
    # --- info
    (("info",), plain, 2, said(f"FILE is required: {HELP.format('info ')}")),
    (("info", MISSING), plain, 2, said(f'"{MISSING}" cannot be read: {NO_FILE}')),
    (("info", "folder"), plain, 2, said('"folder" cannot be read: Is a directory')),
    (("info", "link"), plain, 2, said(f'"link" cannot be read: {NO_FILE}')),
    (("info", "circle"), plain, 2, said('"circle" cannot be read: Too many levels of symbolic links')),
    (("info", "secret"), no_rights, 2, said('"secret" cannot be read: Permission denied')),
    (("info", ""), plain, 2, said(f'"" cannot be read: {NO_FILE}')),
    (("info", LONG), plain, 2, said(f'"{LONG}" cannot be read: File name too long')),
    (("info", "a\nb\x1b[1m"), plain, 2, said(rf'"a\nb\x1B[1m" cannot be read: {NO_FILE}')),
    (("info", b"\xff\xfe"), plain, 2, said(f'"\ufffd\ufffd" cannot be read: {NO_FILE}')),
    (("info", "--", "-x"), plain, 2, said(f'"-x" cannot be read: {NO_FILE}')),
    (("info", "/dev/zero"), plain, 2, said('"/dev/zero" cannot be read: it is no file that has a size')),
    (("info", "damaged.tdf"), plain, 1,
     said('"damaged.tdf" is damaged at offset 16: the section is longer than the rest of the file')),
    (("info", "some.bin", "extra"), plain, 2, said(f'not understood: "extra": {HELP.format("info ")}')),
    (("info", "some.bin"), full_output, 1, said(CANNOT_WRITE)),
    (("info", "some.bin"), closed_output, 1, said(CANNOT_USE)),
    (("info", "some.bin"), ended_reader, 1, ""),
    (("info", "empty"), plain, 0, ""),
    # --- ports
    (("ports", "x"), plain, 2, said(f'not understood: "x": {HELP.format("ports ")}')),
    (("ports",), full_output, 1, said(CANNOT_WRITE)),
    (("ports", "--json"), closed_output, 1, said(CANNOT_USE)),
    # --- options
    (("options", "--output"), plain, 2, said(f"--output: 1 required FILE missing: {HELP.format('options ')}")),
    (("options", "--output", ""), plain, 2, said('--output "": it must not be empty')),
    (("options", "--output", MISSING), plain, 1,
     below("Cannot open file for writing.", f"{NO_FILE}: {MISSING}; {WRITE_IT}")),
    (("options", "--output", "folder"), plain, 1,
     below("Cannot open file for writing.", f"Is a directory: folder; {WRITE_IT}")),
    (("options", "--output", "circle"), plain, 1,
     below("Cannot open file for writing.", f"Too many levels of symbolic links: circle; {WRITE_IT}")),
    (("options", "--output", LONG), plain, 1,
     below("Cannot open file for writing.", f"File name too long: {LONG}; {WRITE_IT}")),
    (("options", "--output", "secret", "--force"), no_rights, 1,
     below("Cannot open file for writing.", f"Permission denied: secret; {WRITE_IT}")),
    (("options", "--output", "ro/o.xml"), read_only_folder, 1,
     below("Cannot open file for writing.", f"Read-only file system: ro/o.xml; {WRITE_IT}")),
    (("options", "--output", "full/o.xml"), full_folder, 1,
     said('"full/o.xml" could not be written whole: is the disk full?')),
    (("options", "--output", "/dev/full"), plain, 1, said('"/dev/full" could not be written whole: is the disk full?')),
    (("options", "--output", "text"), plain, 2, said('"text" exists: give --force to replace it, or another --output')),
    (("options", "--port", "x"), plain, 2, said(f'--port "x": {PORT}')),
    (("options", "--clock", "nan"), plain, 2, said(f'--clock "nan": {CLOCK}')),
    (("options", "--firmware", "1"), plain, 2,
     said('--firmware "1": give four numbers from 0 to 255 with dots, such as 1.0.0.8')),
    (("options", "--timestamp-prescale", "3"), plain, 2, said('--timestamp-prescale "3": give 1, 4, 16 or 64')),
    (("options", "--prescaler", "1e9"), plain, 2, said('--prescaler "1e9": give auto or a number from 0 to 8191')),
    (("options",), full_output, 1, said(CANNOT_WRITE)),
    # --- record: its words
    (("record", "extra"), plain, 2, said(f'not understood: "extra": {HELP.format("record ")}')),
    (("record", "--po", "5"), plain, 2, said(f'not understood: "--po" "5": {HELP.format("record ")}')),
    (("record", "--port"), plain, 2, said(f"--port: 1 required PORT missing: {HELP.format('record ')}")),
    (("record", "--port", ""), plain, 2, said(f'--port "": {PORT}')),
    (("record", "--seconds", "nan"), plain, 2, said(f'--seconds "nan": {TIME}')),
    (("record", "--seconds", ""), plain, 2, said(f'--seconds "": {TIME}')),
    (("record", "--bytes", "0"), plain, 2, said(f'--bytes "0": {SIZE}')),
    (("record", "--clock", "1e300"), plain, 2, said(f'--clock "1e300": {CLOCK}')),
    (("record", "--demo", "--port", "1"), plain, 2,
     said("--demo brings its own board and port: leave --board and --port out")),
    (("record", "--demo", "--options", "text"), plain, 2,
     said("--demo brings its own port, which an options file cannot name: leave --options out")),
    (("record", "--options", "text", "--port", "1"), plain, 2,
     said("--port cannot be given with --options: the file says it")),
    # --- record: options file, board, plug-in
    (("record", "--options", MISSING, "--output", "o.tdf"), plain, 1, below(UNPARSED, f"{NO_FILE}: {MISSING}; {NO_OPTIONS}")),
    (("record", "--options", "folder", "--output", "o.tdf"), plain, 1,
     below(UNPARSED, f"Is a directory: folder; {NO_OPTIONS}")),
    (("record", "--options", "link", "--output", "o.tdf"), plain, 1, below(UNPARSED, f"{NO_FILE}: link; {NO_OPTIONS}")),
    (("record", "--options", "empty", "--output", "o.tdf"), plain, 1, below(UNPARSED, f"empty; {NO_OPTIONS}")),
    (("record", "--options", "text", "--output", "o.tdf"), plain, 1, below(UNPARSED, f"text; {NO_OPTIONS}")),
    (("record", "--options", "some.bin", "--output", "o.tdf"), plain, 1, below(UNPARSED, f"some.bin; {NO_OPTIONS}")),
    (("record", "--options", "/dev/zero", "--output", "o.tdf"), plain, 1, below(UNPARSED, f"/dev/zero; {NO_OPTIONS}")),
    (("record", "--options", "secret", "--output", "o.tdf"), no_rights, 1,
     below(UNPARSED, f"Permission denied: secret; {NO_OPTIONS}")),
    ((*RECORD, "--board", MISSING), plain, 2, said(f"board file {MISSING}: {NO_FILE}")),
    ((*RECORD, "--board", "folder"), plain, 2, said("board file folder: Is a directory")),
    ((*RECORD, "--board", "text"), plain, 2, said("board file text: is no JSON: ...")),
    ((*RECORD, "--board", "empty"), plain, 2, said("board file empty: is no JSON: ...")),
    ((*RECORD, "--board", "board.bad"), plain, 2, said('board file board.bad: "jurnal" is an unknown key')),
    ((*RECORD, "--board", "/dev/zero"), plain, 2, said("board file /dev/zero: is longer than 1048576 bytes")),
    ((*RECORD, "--board", "secret"), no_rights, 2, said("board file secret: Permission denied")),
    ((*RECORD, "--board", ""), plain, 2, said('--board "": it must not be empty')),
    (RECORD, variables(TRACEHOST_BOARD="none.json"), 2, said(f"board file none.json: {NO_FILE}")),
    ((*RECORD, "--plugin", MISSING), plain, 1, said(f'cannot load "{MISSING}": none/at/liball.so: {NO_LIBRARY}; {NO_PLUGIN}')),
    ((*RECORD, "--plugin", "folder"), plain, 1, said(f'cannot load "folder": ...libfolder.so: {NO_LIBRARY}; {NO_PLUGIN}')),
    ((*RECORD, "--plugin", "pelkit"), plain, 1, said('"pelkit" does not export CreateRcvr')),
    # --- record: port, home, output
    (RECORD, plain, 1, below("Failed to open COM port", f"{NO_FILE}: /dev/ttyACM59; connect the probe; ...")),
    (("record", "--port", "/dev/null", *RECORD[3:]), plain, 1,
     below("Failed to get COM port state", "Inappropriate ioctl for device: /dev/null; this is no serial port: ...")),
    (("record", "--port", "/nowhere", *RECORD[3:]), plain, 1,
     below("Failed to open COM port", f'{NO_FILE}: /nowhere; connect the probe; "tracehost ports" lists the ports that are '
           "there")),
    ((*TERMINAL, "--cpu", "a/b/c"), plain, 1, below(NO_CAPTURE, f"{NO_FILE}: ...swotrace_a/b/c.bin; {WRITE_IT}")),
    ((*TERMINAL, "--cpu", LONG), plain, 1, below(NO_CAPTURE, f"File name too long: ...swotrace_{LONG}.bin; {WRITE_IT}")),
    (TERMINAL, variables(USERPROFILE=None, HOME=None), 1,
     below(NO_CAPTURE, "captures go below the user's home, which is not known: set HOME")),
    (TERMINAL, mounted("ro"), 1, below(NO_CAPTURE, "Read-only file system: ...; captures go below the user's home: it must "
                                       "be a folder in which you may write")),
    (TERMINAL, closed_output, 1, said(CANNOT_USE)),
    (TERMINAL, full_output, 1,
     said("nothing usable came: no-bytes (sure): the port is open and silent") + said(CANNOT_WRITE)),
    (RECORD, variables(KORR_TRACE_LOGGING="7"), 1,
     said('KORR_TRACE_LOGGING "7" is no level from 0 to 6: the plug-in logs nothing') +
     below("Failed to open COM port", f"{NO_FILE}: /dev/ttyACM59; connect the probe; ...")),
    # --- script
    (("script",), plain, 2, said(f"FILE is required: {HELP.format('script ')}")),
    (("script", MISSING), plain, 2, said(f'script "{MISSING}" cannot be opened: {NO_FILE}')),
    (("script", "folder"), plain, 2, said('script "folder" cannot be opened: Is a directory')),
    (("script", "link"), plain, 2, said(f'script "link" cannot be opened: {NO_FILE}')),
    (("script", "secret"), no_rights, 2, said('script "secret" cannot be opened: Permission denied')),
    (("script", "text"), plain, 2, said(f'text, line 1: "no" is no command: {HELP.format("script ")}')),
    (("script", "refusing.txt"), plain, 2,
     said("refusing.txt, line 2: wrong number of arguments: allocate CPU [CPUID [CHANNEL]]")),
    (("script", "/dev/zero"), plain, 2, said("/dev/zero, line 1: the line is longer than 65536 bytes")),
    (("script", "some.bin"), plain, 2, said(f'some.bin, line 1: "...\\x01x..." is no command: {HELP.format("script ")}')),
    (("script", "-"), closed_input, 1, said("standard input cannot be read: is it open?")),
    (("script", "refusing.txt"), full_output, 1, said(CANNOT_WRITE)),
    (("script", "refusing.txt"), closed_output, 1, said(CANNOT_USE)),
    (("script", "--board", MISSING, "refusing.txt"), plain, 2, said(f"board file {MISSING}: {NO_FILE}")),
    (("script", "--plugin", "folder", "refusing.txt"), plain, 1,
     said(f'cannot load "folder": ...libfolder.so: {NO_LIBRARY}; {NO_PLUGIN}')),
    # --- decode, report
    (("decode",), plain, 2, said(f"FILE is required: {HELP.format('decode ')}")),
    (("decode", MISSING), plain, 2, said(f'"{MISSING}" cannot be read: {NO_FILE}')),
    (("decode", "folder"), plain, 2, said('"folder" cannot be read: Is a directory')),
    (("decode", "secret"), no_rights, 2, said('"secret" cannot be read: Permission denied')),
    (("decode", "damaged.tdf"), plain, 1,
     said('"damaged.tdf" is damaged at offset 16: the section is longer than the rest of the file')),
    (("decode", "some.bin"), closed_output, 1, said(CANNOT_USE)),
    (("decode", "some.bin", "--clock", "nan"), plain, 2, said('--clock "nan": give a frequency from 1 Hz to 4 GHz, ...')),
    (("decode", "-"), closed_input, 1, said("standard input cannot be read: is it open?")),
    *((("decode", "some.bin", option, ""), plain, 2, said(f'{option} "": it must not be empty'))
      for option in ("--kinds", "--ports", "--from", "--to", "--output")),
    (("decode", "some.bin", "--output", "some.bin"), plain, 2,
     said('"some.bin" exists: give another name, or --force to replace it')),
    (("decode", "some.bin", "--output", "folder"), plain, 2,
     said(f'"folder" cannot be written: ...: {SAVE_IT}')),
    (("decode", "some.bin", "--output", "none/x"), plain, 2, said(f'"none/x" cannot be written: {NO_FILE}: {SAVE_IT}')),
    (("decode", "some.bin", "--format", "csv", "--output", "/dev/full"), plain, 1,
     "some.bin: nothing usable ...\n" + said('"/dev/full" could not be written whole: is the disk full?')),
    (("decode", "some.bin", "--output", "some.bin", "--force"), plain, 2,
     said('"some.bin" is the file that is read: give another name')),
    (("decode", "some.bin", "--elf", MISSING), plain, 2, said(f'"{MISSING}" cannot be read: {NO_FILE}')),
    (("decode", "some.bin", "--elf", "some.bin"), plain, 2, said('--elf "some.bin": this is no ELF file')),
    (("report", "some.bin", "--json", ""), plain, 2, said('--json "": it must not be empty')),
    (("decode", "some.bin", "--kinds", "stimulus,sample"), plain, 2, said(f'--kinds "sample": the kinds are {KINDS}')),
    (("decode", "some.bin", "--kinds", "Stimulus"), plain, 2, said(f'--kinds "Stimulus": the kinds are {KINDS}')),
    (("decode", "some.bin", "--ports", "0,256"), plain, 2, said(f'--ports "0,256": {PORTS}')),
    (("decode", "some.bin", "--ports", "3-"), plain, 2, said(f'--ports "3-": {PORTS}')),
    (("decode", "some.bin", "--format", "csv", "--ports", "x"), plain, 2, said(f'--ports "x": {PORTS}')),
    (("decode", "some.bin", "--from", "#x"), plain, 2,
     said('--from "#x": give a time such as 1.5s, or an offset such as #12345')),
    (("decode", "some.bin", "--to", "#"), plain, 2, said('--to "#": give a time such as 1.5s, or an offset such as #12345')),
    (("decode", "some.bin", "--to", "x"), plain, 2, said(f'--to "x": {PLACE}')),
    (("decode", "some.bin", "--from", "1s"), plain, 2,
     said("a time needs the trace clock, which no recording sheet tells: give --clock")),
    (("decode", "some.bin", "--format", "jsonl", "--to", "1s"), plain, 2,
     said("a time needs the trace clock, which no recording sheet tells: give --clock")),
    (("decode", "some.bin", "--framing", "TPIU"), plain, 2, said(f'--framing "TPIU": {FRAMING}')),
    (("report", "some.bin", "--framing", "tpiu1"), plain, 2, said(f'--framing "tpiu1": {FRAMING}')),
    (("diagnose", "some.bin", "--framing", "swo"), plain, 2, said(f'--framing "swo": {FRAMING}')),
    (("decode", "some.bin", "--framing", "tpiu:0"), plain, 2, said(f'--framing tpiu:ID "0": {STREAM}')),
    (("decode", "some.bin", "--framing", "tpiu:112"), plain, 2, said(f'--framing tpiu:ID "112": {STREAM}')),
    (("decode", "some.bin", "--framing", "tpiu:x"), plain, 2, said(f'--framing tpiu:ID "x": {STREAM}')),
    (("decode", "some.bin", "--format", "xml"), plain, 2, said('--format "xml": give text, csv or jsonl')),
    (("decode", "some.bin", "--section", "1"), plain, 2,
     said('--section: "some.bin" is no TDF file, it has no sections')),
    (("decode", "other.tdf"), plain, 2, said('"other.tdf" holds no section "BinTraceData"')),
    (("report", "other.tdf"), plain, 2, said('"other.tdf" holds no section "BinTraceData"')),
    (("diagnose", "other.tdf"), plain, 2, said('"other.tdf" holds no section "BinTraceData"')),
    (("decode", "other.tdf", "--section", "2"), plain, 2, said('"other.tdf" has no section "BinTraceData" number 2')),
    ((*RECORD, "--print", "0,,1"), plain, 2, said(f'--print "0,,1": {PORTS}')),
    ((*RECORD, "--print", "256"), plain, 2, said(f'--print "256": {PORTS}')),
    (("report",), plain, 2, said(f"FILE is required: {HELP.format('report ')}")),
    (("report", MISSING), plain, 2, said(f'"{MISSING}" cannot be read: {NO_FILE}')),
    (("report", "folder"), plain, 2, said('"folder" cannot be read: Is a directory')),
    (("report", "secret"), no_rights, 2, said('"secret" cannot be read: Permission denied')),
    (("report", "damaged.tdf"), plain, 1,
     said('"damaged.tdf" is damaged at offset 16: the section is longer than the rest of the file')),
    (("report", "some.bin"), full_output, 1, said(CANNOT_WRITE)),
    (("report", "some.bin"), closed_output, 1, said(CANNOT_USE)),
    (("report", "some.bin"), ended_reader, 1, ""),
    (("decode", "some.bin", "--format", "csv"), ended_reader, 1,
     'some.bin: nothing usable (rate-too-low); "tracehost diagnose" tells more\n'),
    (("report", "empty"), plain, 4, ""),
    # --- export
    (("export", "some.bin"), plain, 2, said(f"--format is required: {HELP.format('export ')}")),
    (("export", "some.bin", "--format", "chrome"), plain, 2, said(f"--output is required: {HELP.format('export ')}")),
    *((("export", *words, "--format", "chrome", "--output", "out"), setting, status, said(text))
      for words, setting, status, text in (
          ((MISSING,), plain, 2, f'"{MISSING}" cannot be read: {NO_FILE}'),
          (("folder",), plain, 2, '"folder" cannot be read: Is a directory'),
          (("secret",), no_rights, 2, '"secret" cannot be read: Permission denied'),
          (("some.bin", "--elf", "secret"), no_rights, 2, '"secret" cannot be read: Permission denied'),
          (("some.bin", "--elf", "some.bin"), plain, 2, '--elf "some.bin": this is no ELF file'),
          (("some.bin", "--elf", ""), plain, 2, '--elf "": it must not be empty'),
          (("some.bin", "--ports", "0,256"), plain, 2, f'--ports "0,256": {PORTS}'),
          (("some.bin", "--port-type", "3=f64"), plain, 2, f'--port-type "3=f64": {PORT_TYPE}'),
          (("some.bin", "--port-type", "3=u8", "--port-type", "3=u8"), plain, 2,
           '--port-type "3=u8": port 3 has its type already'),
          (("some.bin", "--baud", "0"), plain, 2, '--baud "0": give a number from 1 to 1000000000'),
          (("some.bin", "--from", "1s"), plain, 2,
           "a time needs the trace clock, which no recording sheet tells: give --clock"),
          (("some.bin", "--section", "1"), plain, 2, '--section: "some.bin" is no TDF file, it has no sections'))),
    (("view",), plain, 2, said(f"FILE is required: {HELP.format('view ')}")),
    (("view", MISSING), plain, 2, said(f'"{MISSING}" cannot be read: {NO_FILE}')),
    (("view", "folder"), plain, 2, said('"folder" cannot be read: Is a directory')),
    (("view", "-"), plain, 2, said('"-" is no file on a disk: a view reads it again and again')),
    *((("view", "some.bin", *words), plain, 2, said(told)) for words, told in (
        (("--listen", "65536"), '--listen "65536": give a number from 0 to 65535'),
        (("--elf", "some.bin"), '--elf "some.bin": this is no ELF file'),
        (("--section", "1"), '--section: "some.bin" is no TDF file, it has no sections'),
        (("--port-type", "3=u9"), '--port-type "3=u9": give a port from 0 to 255 and its type (text, u8, ...'))),
    (("export", "some.bin", "--format", "xml", "--output", "out"), plain, 2, said(f'--format "xml": {EXPORTS}')),
    (("export", "some.bin", "--format", "chrome", "--output", "some.bin"), plain, 2,
     said('"some.bin" exists: give another name, or --force to replace it')),
    (("export", "some.bin", "--format", "chrome", "--output", "some.bin", "--force"), plain, 2,
     said('"some.bin" is the file that is read: give another name')),
    (("export", "ctf/stream", "--format", "ctf", "--output", "ctf", "--force"), plain, 2,
     said('"...stream" is the file that is read: give another name')),
    (("export", "some.bin", "--format", "chrome", "--output", "folder"), plain, 2,
     said(f'"folder" cannot be written: ...: {SAVE_IT}')),
    (("export", "-", "--format", "vcd", "--output", "out"), plain, 2,
     said('"-": a VCD file takes two looks at the capture: save it to a file first')),
    (("export", "some.bin", "--format", "ctf", "--output", "-"), plain, 2, said('--output "-": ctf is a folder: name one')),
    (("export", "some.bin", "--format", "ctf", "--output", "text"), plain, 2,
     said('"text" is no folder, as ctf is: give another name')),
    (("export", "some.bin", "--format", "ctf", "--output", "folder"), plain, 2,
     said('"folder" exists: give another name, or --force to replace it')),
    (("export", "some.bin", "--format", "ctf", "--output", "none/x"), plain, 2, said(f'"none/x" cannot be made: {NO_FILE}')),
    (("export", "some.bin", "--format", "sigrok", "--output", "out", "--from", "1s"), plain, 2,
     said("sigrok takes offsets such as #12345 for --from and --to, not times")),
    (("export", "some.bin", "--format", "sigrok", "--output", "out", "--from", "#10", "--to", "#65547"), plain, 2,
     said("sigrok takes windows of at most 65,536 bytes: --to at most #65546")),
    *((("export", "some.bin", "--format", name, "--output", "out", "--from", "#10", "--to", "#9"), plain, 2,
       said('--to "#9" lies before --from "#10"')) for name in ("sigrok", "csv", "chrome")),
    (("decode", "some.bin", "--from", "2s", "--to", "1s"), plain, 2, said('--to "1s" lies before --from "2s"')),
    (("profile", "some.bin", "--by", "address", "--from", "#2", "--to", "#1"), plain, 2,
     said('--to "#1" lies before --from "#2"')),
    *((("export", "said.bin", "--format", name, "--output", "-", "--from", "#1000"), plain, 0,
       "...said.bin: nothing lies between --from and --to: the capture has 206 bytes\n...")
      for name in ("csv", "chrome", "text", "sigrok", "folded")),
    (("export", "said.bin", "--format", "text", "--output", "-", "--ports", "9"), plain, 0,
     'said.bin: these stimulus ports said nothing; "tracehost report" tells which did\n'),
    (("export", "said.bin", "--format", "folded", "--output", "-"), plain, 0,
     "said.bin: no PC samples came: there is nothing to count\n"),
    (("export", "some.bin", "--format", "csv", "--output", "a", "--output", "b"), plain, 2,
     said(f"--output is given 2 times: once is enough: {HELP.format('export ')}")),
    (("view", "some.bin", "--listen", "1", "--listen", "2", "--listen", "3"), plain, 2,
     said(f"--listen is given 3 times: once is enough: {HELP.format('view ')}")),
    *((("view", "some.bin", "--listen", word), plain, 2, said(f'--listen "{word}": give a number from 0 to 65535'))
      for word in ("abc", "-1", "70000", "1.5", "", "0x50")),
    *((("record", "--demo", "--tcp", word), plain, 2, said(f'--tcp "{word}": give a number from 0 to 65535'))
      for word in ("abc", "-1", "70000", "")),
    (("view", "other.tdf"), plain, 2, said('"other.tdf" holds no section "BinTraceData"')),
    *((("report", "some.bin", "--html", word), plain, 2, said(told)) for word, told in (
        ("", '--html "": it must not be empty'), ("folder", f'"folder" cannot be written: ...: {SAVE_IT}'),
        ("none/x.html", f'"none/x.html" cannot be written: {NO_FILE}: {SAVE_IT}'),
        ("some.bin", '"some.bin" exists: give another name, or --force to replace it'))),
    (("report", "some.bin", "--html", "ro/x.html"), read_only_folder, 2,
     said(f'"ro/x.html" cannot be written: Read-only file system: {SAVE_IT}')),
    (("report", "empty", "--html", "out"), plain, 4, ""),
    *(((*words, "--force"), plain, 2, said('"other.tdf" holds no section "BinTraceData"')) for words in (
        ("report", "other.tdf", "--html", "text"), ("report", "other.tdf", "--json", "text"),
        ("decode", "other.tdf", "--output", "text"), ("export", "other.tdf", "--format", "csv", "--output", "text"))),
    (("report", "some.bin", "--html", "out", "--elf", "text"), plain, 2, said('--elf "text": this is no ELF file')),
    *(((*words, "out"), plain, 2, said('"other.tdf" holds no section "BinTraceData"')) for words in (
        ("report", "other.tdf", "--html"), ("report", "other.tdf", "--json"), ("decode", "other.tdf", "--output"),
        *(("export", "other.tdf", "--format", name, "--output") for name in ("chrome", "ctf", "vcd", "sigrok", "csv", "folded")))),
    *((("export", "some.bin", "--format", name, "--output", "/dev/full"), plain, 1,
       "some.bin: ...nothing usable ...\n" + said('"/dev/full" could not be written whole: is the disk full?'))
      for name in ("chrome", "perfetto", "vcd", "csv", "jsonl")),
    *((("export", "some.bin", "--format", name, "--output", f"full/{name}"), full_folder, 1,
       "some.bin: ...nothing usable ...\n" + said(f'"full/{full}" could not be written whole: is the disk full?'))
      for name, full in (("chrome", "chrome"), ("sigrok", "sigrok"), ("ctf", "ctf/metadata"))),
    *((("export", "some.bin", "--format", name, "--output", "-"), ended_reader, 1, "some.bin: ...nothing usable ...\n")
      for name in ("chrome", "perfetto", "csv")),
    # --- profile
    (("profile",), plain, 2, said(f"FILE is required: {HELP.format('profile ')}")),
    (("profile", "some.bin"), plain, 2, said(f"--elf is required, but for --by address: {HELP.format('profile ')}")),
    (("profile", "some.bin", "--elf", MISSING), plain, 2, said(f'"{MISSING}" cannot be read: {NO_FILE}')),
    (("profile", "some.bin", "--elf", "some.bin"), plain, 2, said('--elf "some.bin": this is no ELF file')),
    (("profile", "some.bin", "--by", "file"), plain, 2, said('--by "file": give function, line or address')),
    (("profile", MISSING, "--by", "address"), plain, 2, said(f'"{MISSING}" cannot be read: {NO_FILE}')),
    (("profile", "some.bin", "--by", "address", "--from", "1s"), plain, 2,
     said("a time needs the trace clock, which no recording sheet tells: give --clock")),
    (("profile", "some.bin", "--by", "address"), full_output, 1, "some.bin: nothing usable ...\n" + said(CANNOT_WRITE)),
    (("profile", "some.bin", "--by", "address"), closed_output, 1, said(CANNOT_USE)),
    # --- diagnose, rates
    (("diagnose",), variables(TRACEHOST_BOARD=""), 2, said('name a FILE, or the port to look at (--port, with --clock and --prescaler): '
                                   f"{HELP.format('diagnose ')}")),
    (("diagnose", "--port", "59"), variables(TRACEHOST_BOARD=""), 2, said("--clock and --prescaler are needed, both: ...")),
    (("diagnose", "--port", "59", "--clock", "48M", "--prescaler", "23"), plain, 1,
     "Failed to open COM port\n" + said(f"{NO_FILE}: /dev/ttyACM59; connect the probe; ...")),
    (("diagnose", "some.bin", "--port", "59"), plain, 2, said("--port cannot be given with FILE: it is for looking at a port")),
    (("diagnose", "--demo", "--section", "2"), plain, 2, said("--section is for a FILE, and none is given")),
    (("diagnose", "--demo", "--port", "2"), plain, 2, said("--demo brings its own board and port: leave --board and --port out")),
    (("diagnose", "--demo", "--options", "text"), plain, 2,
     said("--demo brings its own port, which an options file cannot name: leave --options out")),
    (("diagnose", "--demo", "--seconds", "nan"), plain, 2, said('--seconds "nan": ...')),
    (("diagnose", MISSING), plain, 2, said(f'"{MISSING}" cannot be read: {NO_FILE}')),
    (("diagnose", "folder"), plain, 2, said('"folder" cannot be read: Is a directory')),
    (("diagnose", "secret"), no_rights, 2, said('"secret" cannot be read: Permission denied')),
    (("diagnose", "empty"), full_output, 1, said(CANNOT_WRITE)),
    (("diagnose", "empty"), closed_output, 1, said(CANNOT_USE)),
    (("diagnose", "empty"), plain, 4, ""),
    (("rates",), plain, 2, said(f"--port is required: {HELP.format('rates ')}")),
    (("rates", "--port", "x", "--clock", "48M"), plain, 2, said(f'--port "x": {PORT}')),
    (("rates", "--port", "59"), plain, 2, said(f"--clock is required: {HELP.format('rates ')}")),
    (("rates", "--port", "59", "--clock", "48M"), plain, 1, said(f"{NO_FILE}: /dev/ttyACM59; connect the probe; ...")),
    (("rates", "--port", "/dev/null", "--clock", "48M"), plain, 1,
     said("Inappropriate ioctl for device: /dev/null; this is no serial port: ...")),
    (("rates", "--port", "59", "--clock", "48M", "--from", "9", "--to", "3"), plain, 2,
     said("--from is above --to: no prescaler lies between them")),
    (("rates", "--port", "/dev/null", "--clock", "48M"), closed_output, 1, said(CANNOT_USE)),
    # --- completion
    (("completion",), plain, 2, said(f"SHELL is required: {HELP.format('completion ')}")),
    (("completion", "nosh"), plain, 2, said('SHELL "nosh": give bash, zsh or fish')),
    (("completion", ""), plain, 2, said('SHELL "": give bash, zsh or fish')),
    (("completion", "bash", "x"), plain, 2, said(f'not understood: "x": {HELP.format("completion ")}')),
    (("completion", "bash"), full_output, 1, said(CANNOT_WRITE)),
    (("completion", "bash"), closed_output, 1, said(CANNOT_USE)),
    (("completion", "zsh"), ended_reader, 1, ""),
    # --- temporary folder
    (("record", "--demo"), variables(TMPDIR=MISSING), 1,
     said(f'"{MISSING}" is no folder for temporary files ({NO_FILE}): set TMPDIR to one that is there')),
    (("record", "--demo"), variables(TMPDIR="secret"), 1,
     said('"secret" is no folder for temporary files (Not a directory): set TMPDIR to one that is there')),
    (("diagnose", "--demo"), variables(TMPDIR="/proc"), 1,
     said('no temporary folder can be made in "/proc" (No such file or directory): set TMPDIR to a folder that you may '
          "write in")),
    # --- record: output
    ((*RECORD[:-1], ""), plain, 2, said('--output "": it must not be empty')),
    ((*RECORD[:-1], "folder"), plain, 2, said('"folder" is a folder: name a file in it')),
    ((*RECORD[:-1], MISSING), plain, 2, said(f'"{MISSING}" cannot be written: {NO_FILE}: {SAVE_IT}')),
    ((*RECORD[:-1], "circle"), plain, 2, said(f'"circle" cannot be written: Too many levels of symbolic links: {SAVE_IT}')),
    ((*RECORD[:-1], LONG), plain, 2, said(f'"{LONG}" cannot be written: File name too long: {SAVE_IT}')),
    ((*RECORD[:-1], "text"), plain, 2, said('"text" exists and is no TDF file of this host: give another --output')),
    ((*RECORD[:-1], "sheeted.bin"), plain, 2,
     said('"sheeted.bin.sheet.json" exists and is no recording sheet: give another name, or --force to replace it')),
    ((*RECORD[:-1], CAPTURE), with_captures, 2, said(f'"{CAPTURE}" is {OWN_CAPTURE}')),
    ((*RECORD[:-1], CAPTURE, "--force"), with_captures, 2, said(f'"{CAPTURE}" is {OWN_CAPTURE}')),
    ((*RECORD[:-1], "secret"), no_rights, 2, said(f'"secret" cannot be written: Permission denied: {SAVE_IT}')),
    ((*RECORD[:-1], "ro/o.tdf"), read_only_folder, 2, said(f'"ro/o.tdf" cannot be written: Read-only file system: {SAVE_IT}')),
    ((*RECORD[:-1], "full/o.tdf"), full_folder, 1, said('"full/o.tdf" cannot be written: is the folder there, and is there room?')),
    # --- check, doctor
    (("check", "--only", "nonsense"), plain, 2, said('--only "nonsense" is no check: see "tracehost check --list"')),
    (("check", "--pair", "5"), plain, 2, said('--pair "5": give two ports, such as 5=6')),
    (("check", "--pair", "5=x"), plain, 2, said(f'--port "x": {PORT}')),
    (("check", "--rounds", "0"), plain, 2, said('--rounds "0": give a number from 1 to 100000')),
    (("check", "--time-limit", "nan"), plain, 2, said('--time-limit "nan": ...')),
    (("check", "--list"), full_output, 1, said(CANNOT_WRITE)),
    (("check", "--list"), closed_output, 1, said(CANNOT_USE)),
    (("doctor", "x"), plain, 2, said(f'not understood: "x": {HELP.format("doctor ")}')),
    (("doctor", "--port", "x"), plain, 2, said(f'--port "x": {PORT}')),
    (("doctor", "--port", ""), plain, 2, said('--port "": it must not be empty')),
    (("doctor",), full_output, 1, said(CANNOT_WRITE)),
    (("doctor",), closed_output, 1, said(CANNOT_USE)),
    (("doctor", "--port", "/dev/ptmx"), full_home, 1, ""),
]


class BadInputs(HostTest):
    """One method a row, so that each can be run alone."""

    def check(self, words, situation, status, errors):
        if ON_WINE and (reason := not_on_windows(words, situation)):
            self.skipTest(reason)
        needs_mount = situation in (full_folder, full_home, read_only_folder) or situation.__qualname__.startswith("mounted")
        if needs_mount and not can_mount():
            self.skipTest("needs root, and a file system of its own")
        make_files(self)
        environment = self.environment()
        command, changes = situation(self, [*PROGRAM, *words])
        before = {*os.listdir(self.folder), "full", "ro", "status", "journal"}
        for name, value in changes.items():
            environment.pop(name, None)
            if value is not None:
                environment[name] = value
        result = subprocess.run(command, env=environment, input=b"", capture_output=True, timeout=60, cwd=self.folder,
                                check=False)
        told = result.stderr.decode(errors="replace").replace("\r\n", "\n")
        expected = on_windows(errors, situation) if ON_WINE else errors
        pattern = ".*".join(re.escape(piece) for piece in expected.split("..."))
        self.assertRegex(told, re.compile(rf"\A{pattern}\Z", re.DOTALL))
        self.assertEqual(result.returncode, status)
        if status == 2:
            self.assertEqual(set(os.listdir(self.folder)) - before, set(), "what a command leaves that is refused")
            self.assertEqual(self.read(self.file("text")), b"no XML, no JSON, no script\n", "what it was to replace")
        self.assertFalse(os.path.exists(self.file("o.tdf")) and status in (1, 2) and CANNOT_WRITE not in errors)

    def test_there_are_rows_for_every_command(self):
        self.assertGreaterEqual(len(ROWS), 80)
        shown = self.run_host("--help").stdout.split("\nSubcommands:\n")[1].split("\n\n")[0]
        commands = set(re.findall(r"^  ([a-z]+) ", shown, re.MULTILINE))
        self.assertEqual(commands - {row[0][0] for row in ROWS if row[0]}, set())


def name_of(number, words, situation):
    parts = [word if isinstance(word, str) else word.decode(errors="replace") for word in words]
    text = re.sub(r"\W+", "_", "_".join(parts) or "nothing")[:60]
    return f"test_{number:03}_{text}_{situation.__name__}"


for count, row in enumerate(ROWS):
    def method(self, given=row):
        self.check(*given)
    setattr(BadInputs, name_of(count, row[0], row[1]), method)

if __name__ == "__main__":
    main()
