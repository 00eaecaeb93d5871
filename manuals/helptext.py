"""What a program says of itself: its --help, taken apart."""

import dataclasses
import os
import re
import subprocess

HEADINGS = {"Options:": "options", "Commands:": "commands", "Arguments:": "arguments"}


@dataclasses.dataclass
class Entry:
    """An option, "--settings <file>", a command or an argument."""
    name: str
    meaning: str


@dataclasses.dataclass
class Help:
    way: str  # what is typed to get there: "ravelinctl register"
    usage: list = dataclasses.field(default_factory=list)
    about: list = dataclasses.field(default_factory=list)  # lines
    options: list = dataclasses.field(default_factory=list)
    commands: list = dataclasses.field(default_factory=list)
    arguments: list = dataclasses.field(default_factory=list)
    parts: list = dataclasses.field(default_factory=list)  # the help of each command, in the order of `commands`

    def leaves(self):
        """The commands that do something, and are no group of commands."""
        return [leaf for part in self.parts for leaf in part.leaves()] if self.parts else [self]


def parse(way, text):
    parsed = Help(way)
    entries = None  # of the heading that was read last; None before the first
    for line in text.splitlines():
        if line in HEADINGS:
            entries = getattr(parsed, HEADINGS[line])
        elif found := re.fullmatch(r"(?:Usage: | {7})(%s\b.*)" % re.escape(way.split()[0]), line):
            parsed.usage.append(found[1])
        elif entries is not None:
            add_to(entries, line)
        elif line.startswith("  -"):
            add_to(parsed.options, line)  # the daemon's have no heading
        else:
            parsed.about.append(line)
    return parsed


def add_to(entries, line):
    """Below the entries may stand where to read on: a manual page needs no such line."""
    if line.startswith("   "):
        entries[-1].meaning += " " + line.strip()
    elif line.startswith("  "):
        gap = " {2,}" if line.startswith("  -") else " +"  # an option's name has blanks
        entries.append(Entry(*re.split(gap, line.strip(), maxsplit=1)))


def ask(program, directory, bindir, words=()):
    """The help of `program` in `directory`, and of all its commands; it names its files as if it was in `bindir`."""
    done = subprocess.run([program, *words, "--help"], executable=os.path.join(directory, program), check=True,
                          capture_output=True, text=True, env={**os.environ, "LC_ALL": "C.UTF-8", "LANGUAGE": ""})
    said = parse(" ".join([program, *words]), done.stdout.replace(directory, bindir))
    said.parts = [ask(program, directory, bindir, [*words, command.name]) for command in said.commands]
    return said
