"""A day of the default schedule without faults: every decodable meter has a reading in every sweep, and it is the meter's.

Not among the tests, it takes its time:  RAVELIN_BUILD=build/release python3 scripts/play_day.py [--postgres] [--speed 100]
"""

import argparse
import contextlib
import os
import struct
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
from postgres import Postgres  # noqa: E402
from substation import REGISTER, SITE, Site, read_message  # noqa: E402

METERS = {int(line.split(",")[0]): line.split(",") for line in REGISTER.splitlines()[1:]}
UNREADABLE = {meter for meter, row in METERS.items() if row[3] == "CE102"}


def single(value):
    return struct.unpack("<f", struct.pack("<f", float(value)))[0]


def stored(value):
    """What six significant digits leave of a value."""
    return single("%.6g" % single(value))


class Day:
    def __init__(self, site, peer):
        self.site, self.peer = site, peer
        self.sweeps, self.readings, self.clocks, self.faults = [], [], 0, []

    def play(self, sweeps):
        while len(self.sweeps) < sweeps:
            word, name, records = read_message(self.peer, 600)
            if word == b"tempdb":
                self.take_sweep(name, [struct.unpack("<i5f10s8sh", record) for record in records])
            else:
                self.clocks += len(records)

    def take_sweep(self, name, records):
        self.sweeps.append(name)
        if sorted(record[0] for record in records) != sorted(METERS):
            self.faults.append(f"{name}: meters {sorted(record[0] for record in records)}")
        for meter, *energies, _, _, status in records:
            if status == 0:
                self.readings.append((name, meter, energies))
            elif meter not in UNREADABLE:
                self.faults.append(f"{name}: meter {meter} has status {status}")

    def compare_with_meters(self):
        held = {}
        for answer in self.site.report():
            if answer["kind"] == "energy":
                held.setdefault(answer["uin"], set()).add(tuple(stored(v) for v in answer["values"].split()))
        for name, meter, energies in self.readings:
            if tuple(energies) not in held.get(METERS[meter][1], ()):
                self.faults.append(f"{name}: meter {meter} never held {energies}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--postgres", action="store_true")
    parser.add_argument("--speed", type=int, default=100)
    parser.add_argument("--sweeps", type=int, default=48)
    options = parser.parse_args()
    begun = time.monotonic()
    with contextlib.ExitStack() as stack:
        database = "BDType=sqlite3\nBaseName={directory}/z.db"
        if options.postgres:
            database = stack.enter_context(Postgres()).settings.replace("[Base]\n", "")
        site = stack.enter_context(Site(database, "2014-03-04 23:55:00", options.speed, "", settings=SITE))
        day = Day(site, site.start_all()[1])
        day.play(options.sweeps)
        day.compare_with_meters()
        with open(site.path("traffic"), encoding="ascii") as traffic:
            clock_settings = sum(r"\x04\x01W1\x02TIME_(" in line for line in traffic)
    print(f"{len(day.sweeps)} sweeps from {day.sweeps[0]} to {day.sweeps[-1]}, {len(day.readings)} readings, "
          f"{day.clocks} clock records, {clock_settings} clock settings, {len(day.faults)} faults, "
          f"{time.monotonic() - begun:.0f} s")
    for fault in day.faults:
        print(fault)
    expected = options.sweeps * (len(METERS) - len(UNREADABLE))
    return 0 if not day.faults and len(day.readings) == expected and clock_settings == len(METERS) - 1 else 1


if __name__ == "__main__":
    sys.exit(main())
