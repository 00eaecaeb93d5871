"""Tables of the documentation."""

import re


def table(text, chapter):
    """The rows of the first table in the chapter, without its heading: lists of cells."""
    body = re.search(r"^## %s\n(.*?)(?=^## |\Z)" % re.escape(chapter), text, re.DOTALL | re.MULTILINE)[1]
    rows = [re.split(r"(?<!\\)\|", line)[1:-1] for line in body.splitlines() if line.startswith("|")]
    return [[cell.strip().replace("`", "").replace(r"\|", "|") for cell in row] for row in rows[2:]]
