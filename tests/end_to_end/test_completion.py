"""The completions of the shells offer what the help shows, no more and no less."""
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import time
import unittest

from help_text import commands_of, options_of
from hosting import BIN, HostTest, LIMIT, ON_WINE, main

PROGRAM = os.path.join(BIN, "tracehost")


class ShellTest:
    """What every shell offers; `complete` gives it for the last of some words."""
    shell = ""

    def setUp(self):
        super().setUp()
        if not shutil.which(self.shell):
            self.skipTest(f"{self.shell} is not installed")
        result = self.run_host("completion", self.shell)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.script = self.file(self.script_name)
        self.write(self.script_name, result.stdout)
        self.work = self.file("work")
        os.mkdir(self.work)
        for name in ("trace.tdf", "transfer.bin"):
            self.write(os.path.join("work", name), "")

    script_name = "completion"

    def test_offers_every_command_and_the_options_of_each(self):
        commands = commands_of(self.run_host("--help").stdout)
        self.assertGreaterEqual(len(commands), 14)
        self.assertLessEqual(set(commands), self.complete(""))
        self.assertLessEqual(self.complete("") - set(commands), {"--help", "--version"})
        self.assertEqual(self.complete("--"), {"--help", "--version"})
        self.assertEqual(self.complete("help", ""), set(commands))
        self.assertEqual(self.complete("do"), {"doctor"})
        for command in commands:
            with self.subTest(command):
                self.assertEqual(self.complete(command, "--"), set(options_of(self.run_host(command, "--help").stdout)))

    def test_offers_words_and_files_where_an_option_takes_them(self):
        self.assertEqual(self.complete("record", "--format", ""), {"tdf", "raw"})
        self.assertEqual(self.complete("record", "--clock", ""), {"auto"})
        self.assertEqual(self.complete("record", "--timestamp-prescale", "1"), {"1", "16"})
        self.assertEqual(self.complete("completion", ""), {"bash", "zsh", "fish"})
        self.assertEqual(self.complete("record", "--seconds", ""), set())
        for words in (("info", "tr"), ("record", "--output", "tr"), ("script", "tr"), ("check", "tr"),
                      ("decode", "--output", "tr"), ("record", "--options", "tr")):
            self.assertEqual(self.complete(*words), {"trace.tdf", "transfer.bin"}, words)


@unittest.skipIf(ON_WINE, "a shell of this system")
class Bash(ShellTest, HostTest):
    shell = "bash"

    def complete(self, *words):
        line = (f'source "{self.script}"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tracehost; '
                'printf "%s\\n" "${COMPREPLY[@]}"')
        result = subprocess.run(["bash", "-c", line, "bash", "tracehost", *words], text=True, capture_output=True,
                                timeout=LIMIT, cwd=self.work, check=True)
        self.assertEqual(result.stderr, "")
        return set(result.stdout.split())

    def test_offers_nothing_behind_what_is_no_command(self):
        self.assertEqual(self.complete("nonsense", ""), set())


@unittest.skipIf(ON_WINE, "a shell of this system")
class Fish(ShellTest, HostTest):
    shell = "fish"

    def complete(self, *words):
        line = f'source "{self.script}"; complete -C "tracehost {" ".join(words)}"'
        result = subprocess.run(["fish", "--no-config", "-c", line], text=True, capture_output=True, timeout=LIMIT,
                                cwd=self.work, env=dict(os.environ, HOME=self.work), check=True)
        self.assertEqual(result.stderr, "")
        return {offered.split("\t")[0] for offered in result.stdout.splitlines()}


@unittest.skipIf(ON_WINE, "a shell of this system")
class Zsh(ShellTest, HostTest):
    """Asked as a user asks it, at a terminal: its completion lives in the line editor alone."""
    shell = "zsh"
    script_name = "_tracehost"
    START = ("fpath=('{folder}' $fpath); autoload -U compinit; compinit -u -D; PROMPT=; LISTMAX=0; "
             "unset zle_bracketed_paste; zstyle ':completion:*' verbose no; bindkey '^T' list-choices; "
             "begin() {{ zle -I; print BE''GIN }}; zle -N begin; bindkey '^B' begin; "
             "finish() {{ zle kill-whole-line; zle -I; print DO''NE }}; zle -N finish; bindkey '^F' finish; print DO''NE\n")

    def setUp(self):
        super().setUp()
        process, self.terminal = pty.fork()
        if process == 0:
            os.chdir(self.work)
            os.execvpe("zsh", ["zsh", "-f", "-i"], dict(os.environ, TERM="dumb", COLUMNS="200", LINES="500", HOME=self.work,
                                                        PATH=f"{BIN}:/usr/bin:/bin"))
        self.process = process
        os.write(self.terminal, self.START.format(folder=self.folder).encode())
        self.said()

    def tearDown(self):
        if hasattr(self, "process"):
            os.kill(self.process, signal.SIGKILL)
            os.waitpid(self.process, 0)
            os.close(self.terminal)
        super().tearDown()

    def said(self):
        """What comes until zsh says that it is done."""
        text, end = "", time.monotonic() + LIMIT
        while "DONE" not in text:
            if not select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0]:
                raise AssertionError(f"zsh does not answer: {text}")
            text += os.read(self.terminal, 65536).decode(errors="replace")
        return text

    def complete(self, *words):
        line = "tracehost " + " ".join(words)
        os.write(self.terminal, line.encode() + b"\x02\x14\x06")
        # The terminal itself may echo what was typed before zsh reads it, and zsh shows the line above and below the list.
        listed = self.said().partition("BEGIN")[2].partition("DONE")[0]
        return set(re.findall(r"[!-~]+", re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]", "", listed).replace(line.rstrip(), "\n")))


if __name__ == "__main__":
    main()
