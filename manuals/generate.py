"""Writes the manual pages, and the completions for bash, out of what the programs and the example settings say."""

import argparse
import datetime
import os
import pathlib
import re
import shutil
import tempfile

import completion
import helptext
import markdown
import pages
import settingstext

HERE = pathlib.Path(__file__).parent
SOURCE = HERE.parent
PROGRAMS = ["ravelin", "ravelinctl", "ravelin-hub", "ravelin-forward", "ravelin-sim"]


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("programs", "bindir", "docdir", "version", "output"):
        parser.add_argument("--" + name, required=True)
    return parser.parse_args()


def helps(programs, bindir):
    """Of each program. They name their own directory: a short one, for a name that is longer than a line is broken."""
    with tempfile.TemporaryDirectory() as directory:
        for name in PROGRAMS:
            shutil.copy(os.path.join(programs, name), directory)
        return {name: helptext.ask(name, directory, bindir) for name in PROGRAMS}


def date():
    """Of what is built. None without SOURCE_DATE_EPOCH: two builds of one source are the same."""
    epoch = os.environ.get("SOURCE_DATE_EPOCH")
    return datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc).date().isoformat() if epoch else ""


def fill(template, pieces, path):
    text = (HERE / template).read_text(encoding="utf-8")
    path.write_text(re.sub(r"@(\w+)@", lambda found: pieces[found[1]], text), encoding="utf-8")


def main():
    options = arguments()
    output = pathlib.Path(options.output)
    said = helps(options.programs, options.bindir)
    settings, hub_settings, forward_settings = (
        settingstext.read((SOURCE / f"share/{name}.ini.example").read_text(encoding="utf-8"))
        for name in ("ravelin", "ravelin-hub", "ravelin-forward"))
    remedies = markdown.table((SOURCE / "docs/operations.md").read_text(encoding="utf-8"), "Remedies")
    frame = {"date": date(), "version": options.version, "docdir": options.docdir}
    for name, pieces in {"ravelin.8": pages.program(said["ravelin"]), "ravelinctl.1": pages.tool(said["ravelinctl"]),
                         "ravelin-sim.1": pages.program(said["ravelin-sim"]),
                         "ravelin-hub.8": pages.program(said["ravelin-hub"]),
                         "ravelin-hub.ini.5": pages.settings(*hub_settings, []),
                         "ravelin-forward.8": pages.program(said["ravelin-forward"]),
                         "ravelin-forward.ini.5": pages.settings(*forward_settings, []),
                         "ravelin.ini.5": pages.settings(*settings, remedies)}.items():
        fill(name + ".in", frame | pieces, output / name)
    (output / "completions").mkdir(exist_ok=True)
    for name in ("ravelin", "ravelinctl", "ravelin-hub", "ravelin-forward"):
        fill("completion.bash.in", {"program": name, "cases": completion.case(said[name])}, output / "completions" / name)


if __name__ == "__main__":
    main()
