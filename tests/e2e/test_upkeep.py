"""What keeps an installation going: old rows deleted and the database copied beside a writer, on both kinds of database."""

import contextlib
import glob
import os
import sqlite3
import stat
import subprocess
import tempfile
import threading
import unittest

from rig.postgres import PASSWORD, Postgres
from rig.process import faketime_environment, ravelinctl, write_file

METERS = "global_id,UIN,Number,Model,Type,KI_Number\n1,000D6F0000000001,1,SET3,0,\n"
# A row a day and 10,000 of one old day, the last of 2016-02-28; the clock says 2016-03-15.
DAYS = "WITH RECURSIVE days(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM days WHERE n < {last}) "
READINGS = "INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) "
FILL = [READINGS + DAYS.format(last=9999) + "SELECT 1, n, n, n, n, n, '2015-01-31', '08:30:00', 0 FROM days",
        READINGS + DAYS.format(last=99) + "SELECT 1, n, n, n, n, n, {day}, '08:30:00', 0 FROM days",
        "INSERT INTO time_table(uin, date_c, time_c, date_r, time_r) " + DAYS.format(last=99) +
        "SELECT '1', {day}, '00:15:01', {day}, '00:15:00' FROM days"]


class Both:
    """What holds for either kind of database; `sql` runs a statement on it."""

    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory(prefix="ravelin-upkeep-"))
        self.prepare()
        self.settings_path = write_file(self.directory, "the.ini", self.settings)
        for words in (["init"], ["import", write_file(self.directory, "r.csv", METERS)]):
            self.assertEqual(self.tool("register", *words)[0], 0)
        for statement in FILL:
            self.sql(statement.replace("{day}", self.day))

    def tool(self, *words, **environment):
        return ravelinctl(*words, "-settings", self.settings_path, **environment)

    def retain(self, *words):
        return self.tool("retain", *words, **faketime_environment(1, "2016-03-15 10:00:00"))

    def counts(self):
        return [int(self.sql(f"SELECT count(*) FROM {table}")) for table in ("Main_Data", "time_table")]

    def test_retain(self):
        found = f"{self.name}: older than 2016-01-15 are 10055 readings and 55 clock readings."
        self.assertEqual(self.retain("--keep", "2", "--dry-run"), (0, [found], []))
        self.assertEqual(self.counts(), [10100, 100])
        stop, added = threading.Event(), []

        def add():
            while not stop.wait(0.01):  # a writer without any pause would have the lock all the time
                self.sql(READINGS + "VALUES (1, 0, 0, 0, 0, 0, '2016-03-15', '10:00:00', 0)")
                added.append(1)

        writer = threading.Thread(target=add)
        writer.start()
        code, report, complaints = self.retain("--keep", "2")
        stop.set()
        writer.join()
        self.assertEqual((code, report[:2], complaints), (0, [found, "Deleted rows: 10110."], []))
        self.assertGreater(len(added), 1)
        self.assertEqual(self.counts(), [45 + len(added), 45])
        self.sql("DELETE FROM Main_Data WHERE date_r > '2016-02-28'")
        self.assertEqual(self.retain("--keep", "1")[0], 0)
        for table in ("Main_Data", "time_table"):  # of the newest day all stays, however old
            self.sql(f"UPDATE {table} SET date_r = '2001-01-01'")
        self.assertIn("Deleted rows: 0.", self.retain("--keep", "1")[1])
        self.assertEqual(self.counts(), [14, 14])
        for months in ("0", "x", "1201"):
            self.assertEqual(self.retain("--keep", months)[0], 2)

    def test_backup(self):
        copy = os.path.join(self.directory, "co'py %")
        code, report, complaints = self.tool("backup", copy)
        self.assertEqual((code, complaints), (0, []))
        self.assertRegex(report[0].lower(), "counters: 1, main_data: 10100, time_table: 100.$")
        self.assertEqual(stat.S_IMODE(os.stat(copy).st_mode), 0o640)
        self.assertEqual(self.rows_in(copy), "10100")
        self.sql("DELETE FROM time_table")
        self.assertEqual(self.tool("backup", copy), (1, [], [f"{copy}: it is there already; --replace takes its place"]))
        self.assertIn("time_table: 0.", self.tool("backup", copy, "--replace")[1][0])
        self.sql("DROP TABLE time_table")
        self.assertEqual(self.tool("backup", copy, "--replace")[:2], (1, []))
        self.assertEqual(self.rows_in(copy), "10100")  # the good one is still there
        self.assertEqual(glob.glob(os.path.join(self.directory, "*.part")), [])


class OnSqlite(Both, unittest.TestCase):
    day = "date('2016-02-28', (n - 99) || ' days')"

    def prepare(self):
        self.path = os.path.join(self.directory, "z.db")
        self.settings, self.name = f"[Base]\nBaseName={self.path}\n", "database " + self.path

    def sql(self, statement, path=None):
        with contextlib.closing(sqlite3.connect(path or self.path, timeout=5)) as connection, connection:
            return "".join("|".join(map(str, row)) for row in connection.execute(statement))

    def rows_in(self, copy):
        return self.sql("SELECT count(*) FROM Main_Data", copy)

    def test_shrink(self):
        self.retain("--keep", "1")
        self.assertGreater(int(self.sql("PRAGMA freelist_count")), 100)
        self.assertEqual(self.retain("--keep", "1", "--shrink")[::2], (0, []))
        self.assertEqual(self.sql("PRAGMA freelist_count"), "0")
        self.sql("PRAGMA auto_vacuum = NONE")
        with contextlib.closing(sqlite3.connect(self.path)) as connection:  # as older ones were made
            connection.executescript("PRAGMA journal_mode = DELETE; PRAGMA auto_vacuum = NONE; VACUUM")
        self.assertIn("without a way to shrink", self.retain("--keep", "1", "--shrink")[2][0])


class OnPostgres(Both, unittest.TestCase):
    day = "('2016-02-28'::date - 99 + n)::text"

    @classmethod
    def setUpClass(cls):
        cls.server = cls.enterClassContext(Postgres())

    def prepare(self):
        self.server.psql("DROP SCHEMA public CASCADE; CREATE SCHEMA public")
        self.settings = self.server.settings
        self.name = f"database postgres on {self.server.directory}"

    def sql(self, statement):
        return self.server.psql(statement)

    def rows_in(self, copy):
        self.sql("DROP DATABASE IF EXISTS again")
        self.sql("CREATE DATABASE again")
        address = ["-h", self.server.directory, "-U", "postgres", "-d", "again"]
        environment = dict(os.environ, PGPASSWORD=PASSWORD)
        subprocess.run(["pg_restore", *address, copy], check=True, env=environment)
        return subprocess.run(["psql", "-At", *address, "-c", "SELECT count(*) FROM main_data"], check=True,
                              env=environment, capture_output=True, text=True).stdout.strip()


if __name__ == "__main__":
    unittest.main(verbosity=2)
