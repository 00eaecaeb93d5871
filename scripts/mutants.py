"""Mutants of C++ source files against the tests of their folders; see scripts/mutants."""

import argparse
import collections
import contextlib
import os
import pathlib
import random
import re
import resource
import signal
import subprocess
import sys
import tempfile
import time

# The quickest first. A test_* is the script of that name in tests/e2e/.
TESTS = {
    "app": ["tst_ravelin", "test_bus", "test_admin"],
    "bus": ["tst_ravelin", "test_bus"],
    "collector": ["tst_collectorvalues", "tst_collector", "tst_answers", "tst_fieldconduct", "tst_pacing"],
    "meters": ["tst_meters", "tst_metermodel", "tst_answers"],
    "ledger": ["tst_ledger"],
    "register": ["tst_register"],
    "support": ["tst_support"],
    "tools": ["tst_airtimeplan"],
    "zigbee": ["tst_modemparser", "tst_radiolists", "tst_radiolink"],
}
# What the scripts run: targets of the build.
PROGRAMS = {"test_bus": ["busprobe", "ravelin", "translations"], "test_admin": ["ravelin"]}
DEFAULT_FILES = ["zigbee/modemparser.cpp", "collector/pollingcycle.cpp"]
MEMORY = 4 << 30  # bytes a test may claim: a mutant may append for ever

TOKEN = re.compile(r"""
    (?P<skip> //[^\n]* | /\*.*?\*/ | ^\s*\#[^\n]* | \bstatic_assert\b[^;]*; | "(?:\\.|[^"\\])*" )
  | (?P<char> '(?:\\.[0-9A-Fa-f]*|[^'\\])' )
  | (?P<number> \b\d[\w'.]* )
  | (?P<word> \b[A-Za-z_]\w* )
  | (?P<operator> <<=|>>=|<=>|->\*|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[-+*/%&|^<>=!] )
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

# Between blanks, which tells a comparison from a template's brackets and a product from a pointer.
BINARY = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<",
    "+=": "-=", "-=": "+=", "&=": "|=", "|=": "&=",
}
UNARY = {"++": "--", "--": "++", "!": ""}

# A statement on a line of its own that is no declaration, no jump and no debug output.
STATEMENT = re.compile(
    r"^ +(?!(?:const|constexpr|static|using|return|case|break|continue|for|if|else|while|switch|qDebug)\b)"
    r"(?![\w:<>, ]+[&*]? \w+(?: =|;|\(|\{))[^\s/#}].*;$", re.MULTILINE)

Mutant = collections.namedtuple("Mutant", "begin end text")


def without_text(source):
    """The same characters, with blanks for comments, strings and preprocessor lines."""
    return TOKEN.sub(lambda m: re.sub(r"[^\n]", " ", m[0]) if m["skip"] else m[0], source)


def next_number(text):
    body = text.replace("'", "")
    match = re.fullmatch(r"(0[xX][0-9a-fA-F]+|0|[1-9]\d*)([uUlL]*)", body)
    if match:
        value = int(match[1], 0) + 1
        return (hex(value) if body[:2].lower() == "0x" else str(value)) + match[2]
    match = re.fullmatch(r"(\d+\.\d*)([fF]?)", body)
    return str(float(match[1]) + 1) + match[2] if match else None


def closing(source, opening):
    depth = 0
    for at in range(opening, len(source)):
        depth += {"(": 1, ")": -1}.get(source[at], 0)
        if depth == 0:
            return at
    raise ValueError("an opening parenthesis without its closing one")


def mutants_of(source):
    for match in TOKEN.finditer(source):
        begin, end = match.span()
        token = match[0]
        blanks = source[begin - 1].isspace() and source[end:end + 1].isspace()
        if match["number"]:
            if (number := next_number(token)) is not None:
                yield Mutant(begin, end, number)
        elif match["char"]:
            yield Mutant(begin, end, "'\\x01'")
        elif match["operator"] and blanks and token in BINARY:
            yield Mutant(begin, end, BINARY[token])
        elif match["operator"] and token in UNARY:
            yield Mutant(begin, end, UNARY[token])
        elif token in ("true", "false"):
            yield Mutant(begin, end, "false" if token == "true" else "true")

    plain = without_text(source)
    for match in re.finditer(r"\b(?:if|while) \(", plain):
        end = closing(plain, match.end() - 1)
        condition = plain[match.end():end]
        declares = "=" in re.sub(r"[=!<>]=", "", condition)
        done_above = re.search(r"^!|[=!]=", condition) and not re.search(r"&&|\|\|", condition)
        if not declares and not done_above:
            yield Mutant(match.end(), end, f"!({source[match.end():end]})")
    for match in re.finditer(r"\breturn (?!true;|false;|std::nullopt;|\{\};)[^;{}]+;", plain):
        yield Mutant(*match.span(), "return {};")
    for match in STATEMENT.finditer(plain):
        before = plain[:match.start()].rstrip()
        if before.endswith((";", "{", "}", ")", ":", "else")):
            begin = match.start() + len(match[0]) - len(match[0].lstrip())
            yield Mutant(begin, match.end(), "static_cast<void>(0);")


class Bench:
    """A copy of the tree and its build."""

    def __init__(self, root):
        self.root = root
        self.copy = root / "build" / "mutants" / "source"
        self.build = root / "build" / "mutants" / "build"
        self.copy.mkdir(parents=True, exist_ok=True)
        listing = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=root,
                                 check=True, capture_output=True, text=True)
        for name in listing.stdout.split("\n"):
            if (root / name).is_file():
                self.write(name, (root / name).read_bytes())
        os.environ.pop("CMAKE_CXX_COMPILER_LAUNCHER", None)  # a cache would fill with what is never asked for again
        os.environ["QTEST_DISABLE_STACK_DUMP"] = "1"  # dying is an answer, and a debugger would take seconds to start
        subprocess.run(["cmake", "-S", self.copy, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                        "-DCMAKE_CXX_FLAGS_DEBUG=-O0"], check=True, stdout=subprocess.DEVNULL)

    def write(self, name, contents):
        path = self.copy / name
        if not path.exists() or path.read_bytes() != contents:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(contents)
            path.chmod((self.root / name).stat().st_mode)

    def builds(self, tests, quiet=True):
        output = subprocess.DEVNULL if quiet else None
        targets = sorted({target for test in tests for target in PROGRAMS.get(test, [test])})
        return subprocess.run(["cmake", "--build", self.build, "--parallel", "2", "--target", *targets],
                              stdout=output, stderr=output).returncode == 0

    def command(self, test):
        if test in PROGRAMS:
            return [sys.executable, self.copy / "tests" / "e2e" / f"{test}.py", "--failfast"]
        return [self.build / test]

    def passes(self, test, timeout):
        with tempfile.TemporaryDirectory(prefix="mutant-") as scratch:  # a killed script leaves its files behind
            os.chmod(scratch, 0o755)  # some scripts play other users
            environment = dict(os.environ, TMPDIR=scratch, RAVELIN_BUILD=str(self.build), PYTHONDONTWRITEBYTECODE="1",
                               PYTHONPATH=str(self.copy / "scripts"))
            process = subprocess.Popen(self.command(test), cwd=self.build, env=environment, start_new_session=True,
                                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                       preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY)))
            try:
                return process.wait(timeout) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(process.pid, signal.SIGKILL)  # and all that it has started
                process.wait()


def try_file(bench, name, limit, seed):
    """Returns how many mutants were killed and survived."""
    tests = TESTS[pathlib.PurePath(name).parts[0]]
    source = (bench.root / name).read_text()
    if not bench.builds(tests, quiet=False):
        sys.exit(f"{name}: does not build as it is")
    begin = time.monotonic()
    if not all(bench.passes(test, 120) for test in tests):
        sys.exit(f"{name}: its tests fail as it is")
    timeout = 5 + 5 * (time.monotonic() - begin)

    mutants = sorted(set(mutants_of(source)))
    if len(mutants) > limit:
        mutants = sorted(random.Random(f"{seed} {name}").sample(mutants, limit))
    killed = survived = refused = 0
    for mutant in mutants:
        bench.write(name, (source[:mutant.begin] + mutant.text + source[mutant.end:]).encode())
        if not bench.builds(tests):
            refused += 1
        elif all(bench.passes(test, timeout) for test in tests):
            survived += 1
            line = source.count("\n", 0, mutant.begin) + 1
            original = " ".join(source[mutant.begin:mutant.end].split())
            print(f"  survived {name}:{line}: {original}  ->  {mutant.text or 'nothing'}", flush=True)
        else:
            killed += 1
    bench.write(name, source.encode())
    print(f"{name}: {killed} of {killed + survived} killed; {refused} more do not compile", flush=True)
    return killed, survived


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    parser = argparse.ArgumentParser(prog="scripts/mutants")
    parser.add_argument("--limit", type=int, default=100, help="mutants of each file (default 100)")
    parser.add_argument("--seed", type=int, default=1, help="which ones, where there are more")
    parser.add_argument("files", nargs="*", metavar="FILE", help="relative to the repository")
    arguments = parser.parse_args()
    files = arguments.files or sorted(str(p.relative_to(root)) for p in (root / "meters").glob("*.cpp")) + DEFAULT_FILES

    bench = Bench(root)
    results = [try_file(bench, name, arguments.limit, arguments.seed) for name in files]
    killed, survived = map(sum, zip(*results))
    print(f"All: {killed} of {killed + survived} killed")


main()
