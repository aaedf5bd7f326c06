"""What tracehost's help shows."""
import re


def commands_of(help_text):
    return re.findall(r"^  ([a-z]+) ", help_text.split("\nSubcommands:\n")[1].split("\n\n")[0], re.MULTILINE)


def options_of(help_text):
    """Option to what it takes, as help shows it; empty for a flag."""
    lines = re.findall(r"^  (?:-\w,)?(--[a-z-]+)(?: ([^ \n]+))?", help_text, re.MULTILINE)
    return {name: kind.split("=")[0] for name, kind in lines}
