"""What the example settings say: the text above a key explains it."""

import dataclasses
import itertools
import re


@dataclasses.dataclass
class Explained:
    """A text and the lines "key=default" that it explains; none if it stands for itself."""
    text: list  # lines
    keys: list


def read(text):
    """What stands before the first group, and what stands in each group."""
    head, *rest = re.split(r"^\[(\w+)\]$", text, flags=re.MULTILINE)
    return explanations(head), {name: explanations(body) for name, body in zip(rest[::2], rest[1::2])}


def explanations(text):
    return [explained(block.splitlines()) for block in re.split(r"\n{2,}", text.strip())]


def explained(lines):
    comments = list(itertools.takewhile(lambda line: line.startswith(";"), lines))
    keys = lines[len(comments):]
    if not comments or any(line.startswith(";") for line in keys):
        raise SystemExit(f"Which text explains {keys[0]}? It stands above its keys, between empty lines.")
    return Explained([line[1:].removeprefix(" ") for line in comments], keys)
