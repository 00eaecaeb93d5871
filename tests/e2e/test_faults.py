"""What a site lives through: ends and kills in a sweep, a database that goes away, a noisy radio."""

import contextlib
import signal
import sqlite3
import time
import unittest

from postgres import Postgres
from process import wait_for
from substation import Site, read_message

SQLITE = "BDType=sqlite3\nBaseName={directory}/z.db"
COUNT = "SELECT count(DISTINCT global_id) FROM Main_Data WHERE time_r LIKE '08:30:%'"  # a late answer may add a row
ALL = 9  # the register's meters


def sqlite_rows(site, sql):
    with contextlib.closing(sqlite3.connect(f"file:{site.path('z.db')}?mode=ro", uri=True)) as connection:
        return connection.execute(sql).fetchall()


class OnSqlite(unittest.TestCase):
    def site(self, **options):
        return self.enterContext(Site(SQLITE, "2014-03-04 08:29:00", **options))

    def count(self, site):
        return sqlite_rows(site, COUNT)[0][0]

    def into_the_read_out(self, site):
        """Returns with a sweep's first readings stored."""
        site.start_all()
        return wait_for(lambda: (count := self.count(site)) >= 3 and count, "readings", 60)

    def test_terminated_in_a_sweep(self):
        site = self.site(speed=20)
        stored = self.into_the_read_out(site)
        begun = time.monotonic()
        site.signal(signal.SIGTERM)
        self.assertEqual(site.wait(), 0)
        self.assertLess(time.monotonic() - begun, 1.0)  # the read-out alone would have taken longer
        self.assertGreaterEqual(self.count(site), stored)
        self.assertLess(self.count(site), ALL)

    def test_killed_in_a_sweep(self):
        site = self.site()
        stored = self.into_the_read_out(site)
        site.signal(signal.SIGKILL)
        site.wait()
        self.assertGreaterEqual(self.count(site), stored)
        stored = self.count(site)

        site.start_time = "2014-03-04 08:59:00"
        site.forget_peers()
        site.start_with_admin("probe")
        peer = site.connect("probe")
        word, _, records = read_message(peer, 60)
        self.assertEqual((word, len(records)), (b"tempdb", ALL))
        self.assertEqual(self.count(site), stored, "the rows of the sweep that was killed")
        self.assertEqual(sqlite_rows(site, "PRAGMA integrity_check"), [("ok",)])

    def test_database_locked_for_a_while(self):
        site = self.site()
        _, peer = site.start_all()
        wait_for(lambda: self.count(site), "the first row", 60)
        with contextlib.closing(sqlite3.connect(site.path("z.db"), isolation_level=None)) as other:
            other.execute("BEGIN IMMEDIATE")
            self.assertRaises(TimeoutError, peer.read_frame, 3 / site.speed)
            other.execute("ROLLBACK")
        self.assertEqual(len(read_message(peer, 60)[2]), ALL)

    def test_no_database(self):
        with Site(SQLITE, "2014-03-04 08:29:00") as site:
            site.write_settings(site.settings.replace("/z.db", "/none/z.db"))
            _, peer = site.start_all()
            self.assertIn("unable to open database file Error opening database (alias name)", site.log_texts())
            word, name, records = read_message(peer, 60)
            self.assertEqual((word, name[:14], records), (b"tempdb", "2014-03-04-08-", []))

    def test_noise(self):
        """Every sweep closes with a row for each meter, whatever the radio makes of the answers."""
        site = self.site(scenario="[all]\nloss = 0.1\nnack = 0.1\ngarbage = 0.3\nfragment = 0.2\n")
        _, peer = site.start_all()
        for _ in range(2):
            self.assertGreaterEqual(len(read_message(peer, 60)[2]), ALL)
        readings = sqlite_rows(site, "SELECT count(*) FROM Main_Data WHERE status = 0")[0][0]
        self.assertGreater(readings, ALL)


class OnPostgres(unittest.TestCase):
    def test_server_restarts_in_a_sweep(self):
        with Postgres() as server, Site(server.settings.replace("[Base]\n", ""), "2014-03-04 08:29:00") as site:
            _, peer = site.start_all()
            wait_for(lambda: int(server.psql(COUNT)) >= 3, "readings", 60)
            server.restart("immediate")
            self.assertEqual(len(read_message(peer, 60)[2]), ALL)
            self.assertEqual(int(server.psql(COUNT)), ALL)


if __name__ == "__main__":
    unittest.main(verbosity=2)
