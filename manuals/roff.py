"""Text as a manual page has it, in the macros of man(7)."""

import itertools
import re

# As they are typed, so that what is copied from a page works.
CHARACTERS = str.maketrans({"\\": r"\e", "-": r"\-", "'": r"\(aq", "`": r"\(ga", "^": r"\(ha", "~": r"\(ti"})


def plain(text):
    """Text that may stand at the beginning of a line."""
    text = text.translate(CHARACTERS)
    return r"\&" + text if text.startswith(".") else text


def bold(text):
    return rf"\fB{text.translate(CHARACTERS)}\fR"


def typed(text):
    """An option: its names are typed, its <meaning> stands for something."""
    return re.sub(r"<([^>]+)>", r"\\fI\1\\fR", bold(text).replace(" <", r"\fR <"))


def synopsis(help_):
    """What is typed, then the rest."""
    return "\n.br\n".join(bold(help_.way) + plain(line.removeprefix(help_.way)) for line in help_.usage)


def blocks(lines):
    """Paragraphs, items that begin with "- ", and indented lines, which stay as they are: kinds with their lines."""
    kind = None
    for line in lines:
        if not line:
            kind = None
        elif line.startswith("- "):
            kind = "item"
            yield kind, line[2:]
        elif line.startswith("  ") and kind != "item":
            kind = "literal"
            yield kind, line
        elif kind in ("item", "text"):
            yield "more", line.strip()
        else:
            kind = "text"
            yield kind, line


def prose(lines, paragraph=".PP"):
    """`lines` as paragraphs; `paragraph` begins one."""
    text = []
    for literal, group in itertools.groupby(blocks(lines), key=lambda block: block[0] == "literal"):
        if literal:
            text += [paragraph, ".EX", *(plain(line) for _, line in group), ".EE"]
            continue
        for kind, line in group:
            text += {"text": [paragraph], "item": [r".IP \(bu 2"], "more": []}[kind] + [plain(line)]
    return "\n".join(text)


def tagged(tags, lines):
    """What `tags`, as roff, mean; the text is indented below them."""
    text = prose(lines, ".IP").removeprefix(".IP\n")
    return "\n".join([".TP", "\n.TQ\n".join(tags), text])


def described(entries):
    return "\n".join(tagged([typed(entry.name)], [entry.meaning]) for entry in entries)
