"""The manual pages as a reader sees them, and what bash offers: nothing that the programs know is left out."""

import os
import re
import subprocess
import tempfile
import unittest

from rig import BUILD, ROOT

MANUALS = os.path.join(BUILD, "manuals")
PAGES = ["ravelin.8", "ravelin.ini.5", "ravelin-hub.8", "ravelin-hub.ini.5", "ravelin-forward.8", "ravelin-forward.ini.5",
         "ravelin-sim.1", "ravelinctl.1"]

# The words of a command line, the last one is to be completed; what bash is given. FILES: the names of files.
FILES = ["-o default"]
COMPLETIONS = [
    ("ravelinctl sch", "schedule"),
    ("ravelinctl --", "--help --version"),
    ("ravelinctl register i", "import init"),
    ("ravelinctl help register im", "import"),
    ("ravelinctl sweep i", ""),
    ("ravelinctl check --s", "--settings --settings-in-force"),
    ("ravelinctl check -s", "-settings -settings-in-force"),
    ("ravelinctl check --json --settings ", FILES),
    ("ravelinctl check -settings the.in", FILES),
    ("ravelinctl check --settings =", FILES),
    ("ravelinctl check --settings = the", FILES),
    ("ravelinctl check --json > the", FILES),
    ("ravelinctl check ", ""),
    ("ravelinctl schedule --count ", ""),
    ("ravelinctl register import ", FILES),
    ("ravelinctl register import --he", "--help"),
    ("ravelinctl register remove ", ""),
    ("ravelin -", "--help --version -settings"),
    ("ravelin -settings ", FILES),
    ("ravelin -settings the.ini -", "-settings"),
]
ASK_BASH = """
compopt() { echo "$*"; }
program=$1 COMP_WORDS=("${@:2}")
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
. "$0/completions/$program"
set -- $(complete -p "$program")
$3
printf '%s\\n' "${COMPREPLY[@]}"
"""


def shown(page):
    """The page on a terminal of 80 columns, and complaints."""
    done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", os.path.join(MANUALS, page)], capture_output=True,
                          text=True, check=True, env={"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "MANWIDTH": "80"})
    return re.sub(".\b", "", done.stdout), done.stderr


def helps(program, *words):
    """What the program and its commands tell of themselves, by the way to each."""
    text = subprocess.run([os.path.join(BUILD, program), *words, "--help"], capture_output=True, text=True, check=True,
                          env={**os.environ, "LC_ALL": "C.UTF-8", "LANGUAGE": ""}).stdout
    found = {words: text}
    if "\nCommands:\n" in text:
        for name in re.findall(r"^  ([a-z]\S*)", text.split("\nCommands:\n")[1], re.MULTILINE):
            found |= helps(program, *words, name)
    return found


def section(page, heading):
    return re.search(rf"^ {{,3}}{heading}\n(.*?)^ {{,3}}\S", page, re.DOTALL | re.MULTILINE)[1]


def groups(program):
    """The commands behind each way that leads to several."""
    ways = {}
    for words in filter(None, helps(program)):
        ways.setdefault((program, *words[:-1]), []).append(words[-1])
    return ways


def sentences(said):
    """What a help text tells, line by line; not what names this directory or stands for itself."""
    noise = r"^  --settings <.*?(?=^  -|^$|\Z)|^[A-Z]\w+:$|^Usage: |[^\n]* tells more\.$"
    said = re.sub(noise, "", said, flags=re.DOTALL | re.MULTILINE)
    return [re.split(" {2,}", line.strip())[-1] for line in said.splitlines() if BUILD not in line]


def options(text, indent):
    """Of the lines that explain one: they begin with it."""
    return set(re.findall(r"(?<![\w-])--?[a-z][\w-]*", "\n".join(re.findall(rf"^{indent}-.*", text, re.MULTILINE))))


class Manuals(unittest.TestCase):
    def test_pages_are_sound(self):
        for page in PAGES:
            with self.subTest(page):
                text, complaints = shown(page)
                self.assertEqual(complaints, "")
                self.assertNotIn("@", text)
                self.assertNotIn(tempfile.gettempdir() + "/", text)  # where it was made
                self.assertEqual([line for line in text.splitlines() if len(line) > 80], [])

    def test_every_key_with_its_default_and_text(self):
        for name in ("ravelin", "ravelin-hub", "ravelin-forward"):
            self.look_for_keys(*shown(name + ".ini.5")[:1], os.path.join(ROOT, "share", name + ".ini.example"))

    def look_for_keys(self, page, path):
        at = 0
        with open(path, encoding="utf-8") as example:
            lines = list(filter(None, example.read().splitlines()))
        words = " ".join(page.split())
        for line in lines:
            if line.startswith(";"):
                self.assertIn(line.removeprefix("; - ").strip("; "), words)
                continue
            at = page.find(f"\n{line}\n" if line.startswith("[") else f"\n       {line}", at)
            self.assertNotEqual(at, -1, f"{line} is not there, or not in its place")

    def test_every_remedy(self):
        text = " ".join(shown("ravelin.ini.5")[0].split())
        names, meanings = re.search(r"between them: (.*?), and checksums.* REMEDIES What (.*) EXAMPLES ", text).groups()
        for name in [*names.split(), "checksums"]:
            self.assertIn(f" {name} ", meanings)

    def test_every_command_and_option(self):
        for page in ("ravelin.8", "ravelin-hub.8", "ravelin-forward.8", "ravelin-sim.1", "ravelinctl.1"):
            text = shown(page)[0]
            for words, said in helps(page[:-2]).items():
                with self.subTest(page, words=words):
                    told = section(text, " ".join(words)) + section(text, "OPTIONS") if words else text
                    for sentence in sentences(said):
                        self.assertIn(sentence, " ".join(told.split()))
                    self.assertEqual(options(said, " " * 2) - options(told, " " * 7), set())

    def test_completion(self):
        offers = [(" ".join([*way, ""]), " ".join(sorted([*part, "help"]))) for way, part in groups("ravelinctl").items()]
        for words, expected in COMPLETIONS + offers:
            with self.subTest(words):
                program, *rest = words.split(" ")
                done = subprocess.run(["bash", "--norc", "-c", ASK_BASH, MANUALS, program, program, *rest],
                                      capture_output=True, text=True, check=True)
                self.assertEqual(done.stderr, "")
                offered = sorted(filter(None, done.stdout.split("\n")))
                self.assertEqual(offered, expected if expected is FILES else expected.split())


if __name__ == "__main__":
    unittest.main(verbosity=2)
