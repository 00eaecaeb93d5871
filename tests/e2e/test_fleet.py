"""One database for many controllers: what a controller's role may and what it may not, the daemon's own statements and the
daemon itself on the views, months that come and go, and what is made of the rows there and in SQLite."""

import contextlib
import json
import os
import sqlite3
import subprocess
import tempfile
import unittest

from rig import ROOT
from rig.postgres import PASSWORD, Postgres
from rig.process import faketime_environment, ravelinctl, write_file
from rig.statements import daemon_statements, filled
from rig.substation import Site, read_message

NOW = faketime_environment(1, "2024-03-20 10:00:00")
OWN, OTHER = "probe", "Подстанция '2'"
KEYS = 'BDType=postgres\nBaseName=postgres\nSqlHostName={directory}\nSqlLogin=probe\nSqlPassword="secret"\n'
COLUMNS = "(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status)"
READING = f"INSERT INTO Main_Data{COLUMNS} VALUES ({{}}, 1.5, 1, 0.5, 0, 0, '2024-03-20', '08:30:07', 0)"
MARK = "'00000000-0000-0000-0000-000000000007'"
# Without the index the server may ask the cheap function first.
LEAK = "SET enable_indexscan = off; SET enable_bitmapscan = off; CREATE FUNCTION pg_temp.leak(integer) RETURNS boolean LANGUAGE plpgsql COST 0.0001 AS " \
    "$$ BEGIN RAISE WARNING 'saw %', $1; RETURN true; END $$; "
REFUSED = [
    "SELECT FROM fleet.readings", "SELECT FROM fleet.readings_2024_03", "SELECT FROM fleet.meters",
    "SELECT FROM fleet.marks", "SELECT FROM fleet.dead_letters", "DELETE FROM main_data", "UPDATE main_data SET pwr = 1",
    "DELETE FROM time_table", "DELETE FROM dead_letters", "TRUNCATE fleet.readings", "DROP VIEW main_data",
    f"INSERT INTO fleet.readings{COLUMNS[:-1]}, controller) VALUES (9, 1, 1, 1, 1, 1, '2024-03-20', '01:00', 0, 'x')",
    f"INSERT INTO fleet.readings_2024_03{COLUMNS} VALUES (9, 1, 1, 1, 1, 1, '2024-03-20', '01:00', 0)",
    f"SET ROLE {{other}}; {READING.format(9)}", "SET SESSION AUTHORIZATION {other}", "CREATE TABLE public.mine (a integer)",
    "UPDATE fleet.controllers SET register_version = 9", "UPDATE fleet_self SET controller = 'x'",
    "UPDATE fleet.info SET version = 2", "SELECT * FROM main_data WHERE date_r = '2024-03-20' AND 1 / (global_id - 7) = 5",
]


class WithCentre(unittest.TestCase):
    def setUp(self):
        self.server = self.enterContext(Postgres())
        self.directory = self.enterContext(tempfile.TemporaryDirectory(prefix="ravelin-fleet-"))
        self.settings_path = write_file(self.directory, "the.ini", self.server.settings)
        self.assertEqual(self.fleet("init")[0], 0)
        password = write_file(self.directory, "password", "secret\nmore\n")
        for name in (OWN, OTHER):
            self.assertEqual(self.fleet("add", name, "--password-file", password)[0], 0)

    def fleet(self, *words):
        return ravelinctl("fleet", *words, "-settings", self.settings_path, **NOW)

    def sql(self, statement, role="postgres", database="postgres"):
        """Exit code, what it gave, and what it said."""
        done = subprocess.run(["psql", "-XqAt", "-v", "ON_ERROR_STOP=1", "-h", self.server.directory, "-U", role, database],
                              input=statement, capture_output=True, text=True,
                              env={**os.environ, "PGPASSWORD": PASSWORD if role == "postgres" else "secret"})
        return done.returncode, done.stdout.splitlines(), done.stderr


class Centre(WithCentre):
    def test_rights(self):
        own_row = "INSERT INTO \"Counters\" VALUES ({}, 'U', '', 'SET3', 0, '')"
        mark = f"INSERT INTO forward_marks(source, kind, last_row, last_digest) VALUES ({MARK}, 'readings', {{}}, 1)"
        for role, key in ((OWN, 1), (OTHER, 7)):
            for statement in (READING.format(key), own_row.format(key), mark.format(key)):
                self.assertEqual(self.sql(statement, role)[::2], (0, ""), statement)
        for statement in REFUSED:
            code, rows, said = self.sql(statement.replace("{other}", '"' + OTHER + '"'), OWN)
            if "1 / (" in statement:  # a foreign row would divide by zero
                self.assertEqual((code, rows, said), (0, [], ""))
            else:
                self.assertRegex(said, "permission denied|must be owner|cannot update view", statement)
        for table in ('"Counters"', "main_data", '"Main_Data"'):
            code, rows, said = self.sql(f"{LEAK} SELECT global_id FROM {table} WHERE pg_temp.leak(global_id)", OWN)
            self.assertEqual((code, rows), (0, ["1"]))
            self.assertNotIn("saw 7", said)
        self.assertEqual(self.sql('UPDATE "Counters" SET "Number" = \'9\'; UPDATE forward_marks SET last_row = 99', OWN)[0], 0)
        self.assertEqual(self.sql('DELETE FROM "Counters" WHERE global_id = 7', OWN)[0], 0)
        self.assertEqual(self.sql("SELECT controller, last_row FROM fleet.marks ORDER BY 2")[1], [f"{OTHER}|7", f"{OWN}|99"])
        self.assertEqual(self.sql("SELECT controller, register_version FROM fleet.controllers ORDER BY 2")[1],
                         [f"{OTHER}|1", f"{OWN}|2"])
        copy = f"COPY fleet.readings{COLUMNS} FROM STDIN;\n2\t1\t1\t1\t1\t1\t2024-03-20\t09:00:00\t0\n\\.\n"
        self.assertEqual(self.sql(copy, OWN)[::2], (0, ""))
        self.assertEqual(self.sql("SELECT controller, global_id FROM fleet.readings ORDER BY 2")[1],
                         [f"{OWN}|1", f"{OWN}|2", f"{OTHER}|7"])
        self.assertEqual(self.fleet("remove", OTHER)[0], 0)
        self.assertNotEqual(self.sql("SELECT", OTHER)[0], 0)
        self.assertEqual(self.fleet("remove", OTHER), (1, [], [f"There is no controller {OTHER}."]))
        listed = json.loads("\n".join(self.fleet("list", "--json")[1]))["controllers"]
        self.assertEqual([(c["controller"], c["isRemoved"], c["rowsToday"], c["percentToday"], c["waiting"]) for c in listed],
                         [(OWN, False, 2, 100, None), (OTHER, True, 1, 100, None)])

    def test_daemons_statements_give_what_its_own_tables_give(self):
        self.sql("CREATE DATABASE alone")
        with open(os.path.join(ROOT, "share", "schema", "postgres.sql"), encoding="utf-8") as file:
            self.assertEqual(self.sql(file.read(), database="alone")[2], "")
        # 7 belongs to another controller, in the same sweep and with the same UIN.
        self.assertEqual(self.sql(READING.format(7) + "; INSERT INTO \"Counters\" VALUES (7, 'A', '9', 'SET3', 0, '')",
                                  OTHER)[0], 0)
        meters = 'INSERT INTO "Counters" VALUES (1, \'K\', \'11\', \'CE301\', 1, \'\'), (2, \'A\', \'12\', \'SET3\', 0, \'5\')'
        known = daemon_statements()
        self.assertGreater(len(known), 20)
        values = {"InsertReading": [2, 123.456, 100000, 0, 7.5, 0, "2024-03-20", "08:30:07"],
                  "InsertSilent": [2, "2024-03-20", "08:30:07", 255],
                  "InsertSubstationSilent": [1, "2024-03-20", "08:30:07"],
                  "InsertClockReading": ["A", "2000-00-00", "no time", "2024-03-20", "00:15:01"],
                  "InsertClockPlaceholder": ["A"], "ClockReadingCountSince": ["A", "2024-03-19"],
                  "ClockReadSince": ["2024-03-20"], "ClockReadingsOfDate": ["2024-03-20"],
                  "AnsweredInSweep": ["2024-03-20", "08:30:07"], "ReadingsOfSweep": ["2024-03-20", "08:30:07"]}
        order = sorted(known, key=lambda name: not name.startswith("Insert"))
        answers = []
        for name in order:
            statement = filled(known[name], values.get(name, ["A"]))
            own, view = (self.sql((meters + ";" if name == order[0] else "") + statement, role, database)
                         for role, database in (("postgres", "alone"), (OWN, "postgres")))
            self.assertEqual((own[0], sorted(own[1])), (view[0], sorted(view[1])), statement)
            answers += view[1]
        self.assertIn("2|123.456|100000|0|7.5|0|0", answers)
        self.assertIn("A|2000-00-00|no time|2024-03-20|00:15:01", answers)

    def test_the_daemon_on_the_views(self):
        site = self.enterContext(Site(KEYS.format(directory=self.server.directory), start="2024-03-20 08:29:00"))
        _, peer = site.start_all()
        word, name, records = read_message(peer, 60)
        self.assertEqual((word, name[:13], len(records)), (b"tempdb", "2024-03-20-08", 9))
        rows = self.sql("SELECT controller, count(*), count(*) FILTER (WHERE status = 0) FROM fleet.readings GROUP BY 1")[1]
        self.assertEqual(rows, ["probe|9|6"])
        site.process.terminate()
        self.assertEqual(site.wait(), 0)

    def test_months(self):
        months = "SELECT substr(relname, 10) FROM pg_class WHERE relname ~ '^readings_20' AND relkind = 'r' ORDER BY 1"
        self.assertEqual(self.sql(months)[1], ["2024_03", "2024_04", "2024_05", "2024_06"])
        self.assertEqual(self.fleet("months", "--since", "2024-01", "--ahead", "1")[1], ["Months made: 2024-01, 2024-02."])
        self.assertEqual(self.sql("SELECT kept_since FROM fleet_schema", OWN)[1], ["2024-01-01"])
        self.assertIn("no partition", self.sql(READING.format(1).replace("2024-03-20", "2023-12-31"), OWN)[2])
        self.assertEqual(self.fleet("retain", "--keep", "1", "--dry-run")[1], ["Months that would go: 2024-01."])
        # What an interrupted run leaves: one month out of its table and not dropped.
        self.assertEqual(self.sql("ALTER TABLE fleet.readings DETACH PARTITION fleet.readings_2024_01")[2], "")
        self.assertEqual(self.fleet("retain", "--keep", "1"),
                         (0, ["Months dropped: 2024-01. Rows are kept since 2024-02."], []))
        self.assertEqual(self.sql("SELECT count(*) FROM pg_class WHERE relname LIKE '%2024_01%'")[1], ["0"])
        self.assertEqual(self.sql("SELECT kept_since FROM fleet_schema", OWN)[1], ["2024-02-01"])
        self.sql("DROP TABLE fleet.readings_2024_04")
        code, _, complaints = self.fleet("list")
        self.assertEqual((code, complaints), (1, ['The centre has no month after 2024-03: run "ravelinctl fleet months".']))
        self.assertEqual(self.fleet("months")[1], ["Months made: 2024-04."])
        self.sql("UPDATE fleet.info SET version = 9")
        for words in (["init"], ["list"], ["add", "x"], ["retain", "--keep", "1"]):
            self.assertEqual(self.fleet(*words)[::2], (1, ["The centre's schema has version 9, this program knows version 1."]))
        for words in (["months", "--ahead", "0"], ["months", "--since", "2024-04"], ["retain"], ["add", "pg_x"], ["add", "a\nb"]):
            self.assertEqual(self.fleet(*words)[0], 2, words)


# Meter 1 goes through; 2 has no reading in the first hour, begins with one before the month and ends with one after it;
# 3 was exchanged; 4 has one reading; 5 none; 6 has a single wrong reading at its end; 7 has no row; 8 is in no register.
ROWS = [(1, "02-29 23:30:07", 100, 0), (1, "03-01 00:00:07", 100.5, 0), (1, "03-15 00:00:07", 120, 0),
        (1, "03-31 23:30:07", 140, 0), (1, "04-01 00:00:07", 141.25, 0), (1, "04-01 00:30:07", 142, 0),
        (2, "02-28 12:00:07", 10, 0), (2, "03-01 05:00:07", 12, 0), (2, "04-01 00:30:07", 30, 0),
        (3, "03-01 00:00:07", 500, 0), (3, "03-15 00:00:07", 3, 0), (3, "03-15 00:30:07", 4, 0), (3, "04-01 00:00:07", 900, 0),
        (4, "03-15 00:00:07", 7, 0), (4, "03-15 00:30:07", 0, 0), (5, "03-15 00:00:07", 0, 3), (5, "03-15 00:30:07", 0, 255),
        (6, "03-01 00:00:07", 50, 0), (6, "03-31 23:30:07", 60, 0), (6, "04-01 00:00:07", 9, 0), (6, "04-01 00:30:07", 60.5, 0),
        (8, "03-01 00:00:07", 1, 0), (8, "04-01 00:00:07", 2, 0)]
USES = [(1, "2024-03-01 00:00:07", "2024-04-01 00:00:07", 40.75, None), (2, "2024-02-28 12:00:07", "2024-04-01 00:30:07", 20, None),
        (3, "2024-03-01 00:00:07", "2024-04-01 00:00:07", None, "exchanged"), (4, "2024-03-15 00:00:07", None, None, "one_reading"),
        (5, None, None, None, "no_reading"), (6, "2024-03-01 00:00:07", "2024-04-01 00:00:07", None, "doubtful"),
        (7, None, None, None, "no_reading"), (8, "2024-03-01 00:00:07", "2024-04-01 00:00:07", 1, None)]
SCHEDULE = '[Main]\nTimeOfQuery="(01 00:00|15 00:[03]0)$"\n'


class BillAndReadings(WithCentre):
    def setUp(self):
        super().setUp()
        self.fleet("months", "--since", "2024-02")
        meters = [f"INSERT INTO \"Counters\" VALUES ({m}, 'U{m}', '=7', 'SET3', 0, '')" for m in range(1, 8)]
        rows = [f"INSERT INTO Main_Data{COLUMNS} VALUES ({m}, {v}, {v}, 0, 0, 0, '2024-{at[:5]}', '{at[6:]}', {status})"
                for m, at, v, status in ROWS]
        self.assertEqual(self.sql(";".join(meters + rows), OTHER)[2], "")
        self.assertEqual(self.sql(READING.format(1), OWN)[2], "")
        self.file = write_file(self.directory, "file.ini", f"[Base]\nBaseName={self.directory}/z.db\n" + SCHEDULE)
        self.assertEqual(ravelinctl("register", "init", "-settings", self.file)[0], 0)
        with contextlib.closing(sqlite3.connect(f"{self.directory}/z.db")) as connection, connection:
            for statement in meters + rows:
                connection.execute(statement)
        write_file(self.directory, "the.ini", self.server.settings + SCHEDULE)
        centre = f"host={self.server.directory} dbname=postgres user='{{}}' password='{{}}'".format
        admin, role = (centre(*(text.replace("'", "\\'") for text in login))
                       for login in (("postgres", PASSWORD), (OTHER, "secret")))
        self.sites = (["-settings", self.file], ["-settings", self.settings_path, "--controller", OTHER],
                      ["-settings", self.settings_path, "--centre", admin, "--controller", OTHER],
                      ["-settings", self.settings_path, "--centre", role])

    def tool(self, *words, **environment):
        """What all of them say, which is the same."""
        said = [ravelinctl(*words, *site, **{**faketime_environment(1, "2024-04-10 10:00:00"), **environment})
                for site in self.sites]
        for other in said[1:]:
            self.assertEqual(said[0], other)
        return said[0]

    def test_bill(self):
        code, lines, complaints = self.tool("bill", "--format", "json")
        meters = json.loads("\n".join(lines))["meters"]
        stamp = {None: None}
        self.assertEqual([(m["globalId"], (m["first"] or stamp).get("at"), (m["last"] or stamp).get("at"),
                           m["use"] and m["use"][0], m["lack"]) for m in meters], USES)
        self.assertEqual((code, complaints, meters[4]["text"]),
                         (3, [], "no reading: not delivered (3): 1, nothing heard (255): 1"))
        self.assertIn("2024-03: meters with a use: 3 of 8", self.tool("bill", "--month", "2024-03")[1])
        self.assertIn("  3 (U3, SET3): 2024-03-15 00:00 с 500 назад к 3 кВт·ч, ", "\n".join(self.tool("bill", LC_ALL="ru_RU.UTF-8")[1]))
        csv = self.tool("bill", "--format", "csv")[1]
        self.assertEqual(csv[1], "2024-03,1,\"U1\",\"'=7\",\"SET3\",2024-03-01 00:00:07,100.5,100.5,0,0,0,"
                                 "2024-04-01 00:00:07,141.25,141.25,0,0,0,40.75,40.75,0,0,0,none,\"\"")
        for words in (["--month", "2024-05"], ["--month", "2024-3"], ["--format", "xml"]):
            self.assertEqual(self.tool("bill", *words)[0], 2, words)

    def test_readings(self):
        range_ = ["readings", "--from", "2024-03-15", "--to", "2024-03-31"]
        code, lines, complaints = self.tool(*range_, "--format", "csv")
        self.assertEqual((code, complaints, len(lines)), (0, [], 10))
        self.assertEqual(lines[1:6:4], ["2024-03-15,00:00:07,1,\"U1\",\"'=7\",0,120,120,0,0,0",
                                        "2024-03-15,00:30:07,3,\"U3\",\"'=7\",0,4,4,0,0,0"])
        self.assertEqual(lines[7], "2024-03-15,00:30:07,5,\"U5\",\"'=7\",255,,,,,")
        readings = json.loads("\n".join(self.tool(*range_, "--format", "json", "--meter", "U5")[1]))["readings"]
        self.assertEqual([(r["at"], r["status"], r["energy"]) for r in readings],
                         [("2024-03-15 00:00:07", 3, None), ("2024-03-15 00:30:07", 255, None)])
        self.assertEqual(len(self.tool("readings", "--from", "2024-02-01", "--meter", "8")[1]), 3)
        self.assertIn("5 (U5, SET3): not delivered (3)", "\n".join(self.tool(*range_)[1]))
        self.assertEqual(self.tool("readings", "--meter", "U9")[::2], (1, ['There is no meter "U9" in the register.']))
        self.assertEqual(self.tool("readings", "--from", "2024-03-02", "--to", "2024-03-01")[0], 2)
        code, _, complaints = ravelinctl("readings", "-settings", self.settings_path, "--controller", "x")
        self.assertEqual((code, complaints), (1, ["controller x at the centre: there is no such controller"]))


if __name__ == "__main__":
    unittest.main()
