"""The daemon reads meters: real bytes over pseudo-terminals into real databases, held against what the meters say."""

import struct
import unittest

from postgres import Postgres
from process import wait_for
from sqlite import Sqlite
from substation import NODE, Site, read_message


def as_stored(value):
    """How a single-precision value stands in the database: six significant digits."""
    return float("%.6g" % struct.unpack("<f", struct.pack("<f", float(value)))[0])


def seconds(clock):
    hours, minutes, rest = clock.split(":")
    return int(hours) * 3600 + int(minutes) * 60 + int(rest)


class Sweeps:
    """One play, whichever database it goes into."""

    def rows(self, sql):
        return self.base.rows(self.site, sql)

    def check_query_sweep(self, peer, date, clock):
        word, name, records = read_message(peer, 60)
        self.assertEqual((word, name), (b"tempdb", f"{date}-{clock.replace(':', '-')}.db"))
        rows = self.rows("SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, status FROM Main_Data "
                         f"WHERE date_r = '{date}' and time_r = '{clock}'")
        sent = [struct.unpack("<i5f10s8sh", record) for record in records]
        self.assertEqual([(r[0], r[6], r[7], r[8]) for r in sent],
                         [(row[0], date.encode(), clock.encode(), row[6]) for row in rows])
        for record, row in zip(sent, rows):
            self.assertEqual([as_stored(v) for v in record[1:6]], [as_stored(v) for v in row[1:6]])
        status = {row[0]: row[6] for row in rows}
        self.assertEqual(len(rows), len(status), "one row a meter")
        # A CE102 is heard, but its answer is not read; the silent node takes what it is sent; a wrong sum counts as
        # heard too when the delivery report is read together with it.
        self.assertIn(status.pop(15), (1, 2))
        self.assertEqual(status, {1: 0, 11: 0, 12: 0, 13: 0, 14: 2, 16: 0, 17: 0, 18: 2})
        return {row[0]: [float(value) for value in row[1:6]] for row in rows if row[6] == 0}

    def check_against_meters(self, readings):
        """Every stored reading is one that its meter gave, to the digits that are stored."""
        uin_of = {10 + i: NODE % i for i in range(1, 9)} | {1: "KTP-1"}
        given = {}
        for answer in self.site.report():
            if answer["kind"] == "energy" and answer["whole"] == "yes" and not answer["flaw"]:
                factor = 40 if answer["uin"] == "KTP-1" else 1
                values = [as_stored(factor * float(value)) for value in answer["values"].split()]
                given.setdefault(answer["uin"], []).append(values)
        for global_id, values in readings.items():
            self.assertIn([as_stored(v) for v in values], given[uin_of[global_id]], f"meter {global_id}")
            self.assertGreater(values[0], 0)

    def test_query_sweeps(self):
        with Site(self.base.keys, "2014-03-04 08:28:30") as self.site:
            _, peer = self.site.start_all()
            first = self.check_query_sweep(peer, "2014-03-04", self.sweep_time("08:30"))
            second = self.check_query_sweep(peer, "2014-03-04", self.sweep_time("09:00"))
            self.check_against_meters(first)
            self.check_against_meters(second)
            for meter, values in first.items():
                self.assertGreater(second[meter][0], values[0], "half an hour's energy")

    def sweep_time(self, minute):
        """The start of the one sweep whose tick fell into `minute`."""
        times = wait_for(lambda: self.rows(f"SELECT DISTINCT time_r FROM Main_Data WHERE time_r LIKE '{minute}:%'"),
                         f"a row of {minute}", 60)
        return times[-1][0]

    def test_time_sweep_and_clock_setting(self):
        with Site(self.base.keys, "2014-03-04 23:58:30") as self.site:
            _, peer = self.site.start_all()
            while (message := read_message(peer, 60))[0] != b"tempdb_t":
                pass
            clocks = []
            for record in message[2]:
                global_id, shown, asked, reserved = struct.unpack("<i19s19sh", record)
                clocks.append((global_id, shown.decode(), asked.decode()))
                self.assertEqual(reserved, 0)
            stored = self.rows("SELECT uin, date_c, time_c, date_r, time_r FROM time_table")
            self.assertEqual(sorted(clock[1:] for clock in clocks),
                             sorted((f"{r[1]} {r[2]}", f"{r[3]} {r[4]}") for r in stored))
            # The CE102 has no clock that is read; a SET1 guards its clock by no sum; the substation's row is the system's time.
            self.assertEqual(sorted({clock[0] for clock in clocks}), [1, 11, 12, 13, 15, 16, 17])
            given = {(a["uin"], a["values"][-8:]) for a in self.site.report() if a["kind"] == "clock"}
            for uin, _, shown, _, asked in stored:
                if uin != "KTP-1":
                    self.assertIn((uin, shown), given)
                else:
                    self.assertIn(seconds(asked) - seconds(shown), (1, 2), "what the time server says, in whole seconds")
            with open(self.site.path("traffic"), encoding="ascii") as traffic:
                writes = traffic.read()
            self.assertIn(r"\x04\x01W1\x02TIME_(00:0", writes, "a CE301 is registered: its message to every node")


class OnSqlite(Sweeps, unittest.TestCase):
    base = Sqlite()


class OnPostgres(Sweeps, unittest.TestCase):
    def setUp(self):
        self.base = self.enterContext(Postgres())


if __name__ == "__main__":
    unittest.main(verbosity=2)
