"""How long a query sweep takes: the real daemon against nodes behind one to five hops on a line of 19200 baud, one sweep
with the default settings and one with each variant of the group [Field]. Times are those of the play."""

import argparse
import collections
import os
import re
import struct
import sys
import time

from rig import buspeer as bus
from rig.machine import Machine
from rig.sqlite import Sqlite
from rig.substation import SITE, Site, read_message

VARIANTS = [
    ("default", ""),
    ("answers, window 1", "Pacing=answers\nWindow=1"),
    ("answers, window 4", "Pacing=answers\nWindow=4"),
    ("answers, window 8", "Pacing=answers\nWindow=8"),
]
MODELS = ["CE301", "SET3", "SET1", "CE102"]
NOT_READ = "CE102"  # its answers, unless the remedy "ce102" is on
BYTES_PER_SECOND = 1920
ON_DEMAND = SITE + "TimeOfQuery=^none$\nTimeOfSetTime=^none$\nTimeOfGetTime=^none$\n"
ROWS = "SELECT global_id, status FROM Main_Data"
MEASURE = r"\r\xc0\x01\xc1"  # as the traffic log shows the broadcast that begins a sweep
TRAFFIC = re.compile(r"\S+ (daemon|modem) (.*)")
Result = collections.namedtuple("Result", "seconds readings statuses modem_bytes stall")


class Substation:
    """The register and the faults that the options ask for."""

    def __init__(self, options):
        self.nodes = [("000D6F00%08X" % (0x1000 + i), MODELS[i % len(MODELS)]) for i in range(options.nodes)]
        faulty = round(options.nodes * options.silent)
        step = options.nodes / faulty if faulty else 0
        self.faulty = {int(i * step): "nack = 1" if i % 2 == 0 else "silent = yes" for i in range(faulty)}
        self.loss, self.seed = options.loss, options.seed
        self.not_read = set() if {"all", "ce102"} & set(options.remedies.split()) else {NOT_READ}

    def register(self):
        rows = [f"{10 + i},{uin},{70000 + i},{model},0,{i}" for i, (uin, model) in enumerate(self.nodes)]
        return "\n".join(["global_id,UIN,Number,Model,Type,KI_Number", "1,KTP-1,12345,CE301,1,", *rows, ""])

    def scenario(self):
        nodes = [f"[node {self.nodes[i][0]}]\n{fault}" for i, fault in self.faulty.items()]
        return "\n".join([f"[all]\nseed = {self.seed}\nhops = 5\nnack-time = 4000\nloss = {self.loss}", *nodes, ""])

    def readable(self):
        """The nodes that give a reading when nothing is lost, and the substation's own meter."""
        return 1 + sum(model not in self.not_read and i not in self.faulty for i, (_, model) in enumerate(self.nodes))


class Traffic:
    """The lines that the substation has written of its modem's line since this was made, or asked last."""

    def __init__(self, path):
        self.file, self.rest = open(path, encoding="ascii"), ""
        self.file.seek(0, os.SEEK_END)

    def lines(self):
        *whole, self.rest = (self.rest + self.file.read()).split("\n")
        return [TRAFFIC.fullmatch(line).groups() for line in whole]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()


def size(text):
    """Of the bytes that a text of the traffic log stands for."""
    return len(re.sub(r"\\(x..|.)", "?", text))


def first_message(traffic, patience):
    """When the broadcast that begins the sweep came to the modem."""
    deadline = time.monotonic() + patience
    while time.monotonic() < deadline:
        if any(who == "daemon" and text.endswith(MEASURE) for who, text in traffic.lines()):
            return time.monotonic()
        time.sleep(0.001)
    raise TimeoutError("the sweep does not begin")


def sweep(field, substation, options):
    """One sweep, as a Result."""
    remedies = f"Remedies={options.remedies}\n" if options.remedies else ""
    settings = ON_DEMAND + f"[Field]\n{remedies}{field}\n"
    base = Sqlite()
    with Site(base.keys, "2014-03-04 08:31:00", options.speed, substation.scenario(), substation.register(),
              settings) as site:
        admin, peer = site.start_all()
        with Machine() as machine, Traffic(site.path("traffic")) as traffic:
            admin.send(bus.command(b"Need_query"))
            begun = first_message(traffic, 120)
            word, _, records = read_message(peer, options.patience)
            seconds = (time.monotonic() - begun) * options.speed
            assert word == b"tempdb", f"the first message is {word}"
            modem_bytes = sum(size(text) for who, text in traffic.lines() if who == "modem")
            statuses = collections.defaultdict(list)
            for record in records:
                statuses[struct.unpack("<i", record[:4])[0]].append(struct.unpack("<h", record[42:])[0])
            stored = base.rows(site, ROWS)
            assert len(stored) >= len(records), f"{len(records)} records told, {len(stored)} rows stored"
    rest = collections.Counter(min(of_meter) for of_meter in statuses.values() if 0 not in of_meter)
    missing = len(substation.nodes) + 1 - len(statuses)
    assert not missing, f"{missing} meters have no row"
    return Result(seconds, len(statuses) - rest.total(), rest, modem_bytes, machine.longest * options.speed)


def table_row(name, result, default, readable):
    rest = ", ".join(f"{count} x {status}" for status, count in sorted(result.statuses.items())) or "none"
    share = result.modem_bytes / BYTES_PER_SECOND / result.seconds
    return (f"| {name} | {result.seconds:.1f} s | {result.readings} / {readable} | {rest} | {result.modem_bytes} | "
            f"{share:.1%} | {result.seconds / default.seconds:.3f} | {result.stall:.1f} s |")


def main():
    parser = argparse.ArgumentParser(prog="scripts/sweeptime", description=__doc__)
    parser.add_argument("--nodes", type=int, default=40)
    parser.add_argument("--loss", type=float, default=0, help="how often a message vanishes in the air")
    parser.add_argument("--silent", type=float, default=0, help="the share of nodes that cannot be reached, or never answer")
    parser.add_argument("--remedies", default="", metavar="NAMES", help="go with every variant, the default one too")
    parser.add_argument("--speed", type=int, default=50, help="how many times as fast as life; a hop takes 20 to 60 ms of it")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--patience", type=float, default=1800, help="the longest that a sweep may take, real seconds")
    options = parser.parse_args()
    if options.nodes < 1 or not 0 <= options.silent <= 1 or options.speed < 1:
        parser.error("nodes and speed are at least 1, silent is from 0 to 1")

    substation = Substation(options)
    print(f"{options.nodes} nodes, {len(substation.faulty)} of them silent, loss {options.loss:g}, "
          f"{options.speed} times as fast as life. A stall of the machine makes a sweep longer.\n", flush=True)
    print("| [Field] | sweep | readings / readable | statuses of the rest | bytes from the modem | of the line's time | "
          "of the default's | longest stall |\n|---|---|---|---|---|---|---|---|", flush=True)
    results = []
    for name, field in VARIANTS:
        results.append(sweep(field, substation, options))
        print(table_row(name, results[-1], results[0], substation.readable()), flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
