"""The statements that our programs run, as their sources have them."""

import os
import re

from rig import ROOT


def _constants(path, declaration):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        text = re.sub(r"^\s*//.*$", "", file.read(), flags=re.MULTILINE)
    found = re.findall(declaration + r" (\w+)\s*=((?:\s*u?\"(?:[^\"\\]|\\.)*\")+);", text)
    return {name: "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', parts)).replace('\\"', '"') for name, parts in found}


def daemon_statements():
    return _constants("collector/statements.h", "QStringView")


def forwarder_statements():
    return _constants("forward/centrestatements.h", "auto")


def filled(statement, values):
    """Its places, in ascending order of their numbers, with these values."""
    places = sorted(set(re.findall(r"%\d", statement)))
    assert len(places) <= len(values), (statement, values)
    for place, value in zip(places, values):
        statement = statement.replace(place, str(value))
    return statement
