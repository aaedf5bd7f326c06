"""The man page says what the help says, no more and no less."""
import json
import os
import re
import subprocess

from help_text import commands_of, options_of
from hosting import HostTest, ON_WINE, main

SOURCES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
EVERYWHERE = ("--help", "--plugin")  # told once, for all commands


def sections_of(page):
    parts = re.split(r"^\.SH (.*)\n", page, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def options_in(section):
    """Option to what it takes, as a section's list shows it."""
    heads = re.findall(r"^\.T[PQ]\n\.(?:B|BI) (.*)$", section.replace("\\-", "-"), re.MULTILINE)
    pairs = (re.match(r'(--[a-z-]+)(?: " ([^"]*)")?$', head) for head in heads)
    return {pair.group(1): pair.group(2) or "" for pair in pairs if pair}


def members_of(value):
    """Names of all members of an object and of the objects in it."""
    if isinstance(value, list):
        return set().union(*map(members_of, value))
    return set(value).union(*map(members_of, value.values())) if isinstance(value, dict) else set()


class ManPage(HostTest):
    @classmethod
    def setUpClass(cls):
        with open(os.path.join(SOURCES, "docs", "tracehost.1")) as page:
            cls.page = page.read()
        cls.sections = sections_of(cls.page)

    def help(self, *command):
        result = self.run_host(*command, "--help")
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout

    def test_every_command_has_a_section_and_a_line_of_the_synopsis_and_no_other_has(self):
        commands = commands_of(self.help())
        self.assertGreaterEqual(len(commands), 8)
        synopsis = re.findall(r"^\.B tracehost ([a-z]+)$", self.sections["SYNOPSIS"], re.MULTILINE)
        self.assertEqual(sorted(synopsis), sorted(commands))
        others = {"NAME", "SYNOPSIS", "DESCRIPTION", "EXIT STATUS", "FILES", "ENVIRONMENT", "EXAMPLES"}
        self.assertEqual(set(self.sections) - others, {command.upper() for command in commands})
        self.assertEqual(others - set(self.sections), set())

    def test_every_option_stands_in_its_commands_section_with_what_it_takes_and_no_other_does(self):
        for command in commands_of(self.help()):
            with self.subTest(command):
                shown = options_of(self.help(command))
                for option in EVERYWHERE:
                    shown.pop(option, None)
                told = options_in(self.sections[command.upper()])
                self.assertEqual(sorted(told), sorted(shown))
                for option, kind in shown.items():
                    self.assertEqual(bool(told[option]), bool(kind), option)
                    if kind != "TEXT":
                        self.assertEqual(told[option], kind, option)

    def test_every_member_of_the_json_objects_is_documented(self):
        with open(os.path.join(SOURCES, "docs", "json.md")) as file:
            sections = dict(re.findall(r"^## `tracehost (\w+) --json`\n(.*?)(?=^## |\Z)", file.read(), re.MULTILINE | re.DOTALL))
        takes_flag = [command for command in commands_of(self.help())
                      if options_of(self.help(command)).get("--json", "FILE") == ""]
        self.assertEqual(sorted(sections), sorted(takes_flag))
        self.write("raw.bin", "x")
        self.write("samples.bin", "\x17abcd")
        with open(self.file("o.tdf"), "wb") as out:
            out.write(b"KTDF\x01\0\0\0\x10\0\0\0\0\0\0\0\x10\0\0\0\x01\0\0\0\x04\0\0\0name")
        number, _ = self.source("--board", self.file("board.json"), "--pattern", "counter")
        for words in (["ports"], ["options"], ["info", "raw.bin"], ["info", "o.tdf"], ["doctor"],
                      ["profile", "samples.bin", "--by", "address"], ["check", "--only", "exports"], ["check", "--list"],
                      ["record", "--port", str(number), "--clock", "1152000", "--prescaler", "9", "--bytes", "100",
                       "--output", "p.tdf"]):
            with self.subTest(words):
                shown = json.loads(self.run_host(*words, "--json").stdout)
                told = set(re.findall(r"[`.\]](\w+)`", sections[words[0]]))
                self.assertEqual(members_of(shown) - told, set())

    def test_the_page_has_no_faults_of_form(self):
        try:
            result = subprocess.run(["man", "--warnings", "-l", os.path.join(SOURCES, "docs", "tracehost.1")],
                                    env=dict(os.environ, MANWIDTH="80", LC_ALL="C.UTF-8"), capture_output=True, text=True,
                                    timeout=60, check=False)
        except FileNotFoundError:
            self.skipTest("man is not installed")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("EXIT STATUS", result.stdout)

    def test_every_variable_that_is_read_is_told_here_and_by_doctor(self):
        read = set()
        for folder in ("tracehost", "simulator/board", "source_utilities", "uart", "receiver", "channel"):
            for where, _, names in os.walk(os.path.join(SOURCES, folder)):
                for name in names:
                    with open(os.path.join(where, name), errors="replace") as source:
                        read |= set(re.findall(r'"((?:TRACEHOST|KORR_TRACE)_[A-Z_]+)"', source.read()))
        read -= {"KORR_TRACE_LOGGING_DIR", "KORR_TRACE_DATA_DIR", "KORR_TRACE_SETTINGS_DIR"}  # the plug-in sets them
        self.assertLessEqual({"TRACEHOST_RUN_FOLDER", "KORR_TRACE_COM"}, read)
        for variable in {*read, "USERPROFILE", "HOME", "TMPDIR"}:
            self.assertIn(variable, self.sections["ENVIRONMENT"])
        given = {name + "7" if name == "KORR_TRACE_COM" else name: "3" for name in read
                 if name != "KORR_TRACE_COM" or not ON_WINE}  # which has COM numbers of its own
        result = subprocess.run(self.command("doctor", "--json"), env=dict(self.environment(), **given), text=True,
                                capture_output=True, timeout=60, cwd=self.folder, check=False)
        found = [check["found"] for check in json.loads(result.stdout)["checks"] if check["name"] == "environment"]
        for name in given:
            self.assertTrue(any(f"{name}=3" in each for each in found), (name, found))

    def test_examples_are_commands_that_parse(self):
        """Up to what they need: no example is refused as wrong usage of the command line."""
        lines = [line for line in self.sections["EXAMPLES"].splitlines() if line.startswith("tracehost ")]
        self.assertGreaterEqual(len(lines), 5)
        for line in lines:
            words = line.split()[1:]
            known = options_of(self.help(words[0]))
            for word in words[1:]:
                self.assertTrue(not word.startswith("--") or word in known, line)


if __name__ == "__main__":
    main()
