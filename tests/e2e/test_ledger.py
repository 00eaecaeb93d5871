"""What the operator's tool reads out of stored rows, on both kinds of database: a day with a silent meter, a modem that was
deaf, and texts that a stranger chose."""

import contextlib
import csv
import json
import sqlite3
import subprocess
import tempfile
import unittest

from rig.postgres import PASSWORD, Postgres
from rig.process import ravelinctl, write_file

HOSTILE = "=1+1\"',\x1b[2J\u009b\u202e%1%2\n'; DROP TABLE time_table; --"
SHOWN = "=1+1\"',\\u{1b}[2J\\u{9b}\\u{202e}%1%2\\u{a}'; DROP TABLE time_table; --"
SCHEDULE = '[Main]\nTimeOfQuery="0[0-5]:00$"\n'
METERS = [(1, "KTP", "CE301", 1), (11, "000D6F00000000A1", "SET3", 0), (12, HOSTILE, "SET1", 0)]
# 11 is late once and once silent; at 03:00 and 04:00 nodes are silent; 05:00 is not there; 12 goes back.
ROWS = [(1, 10 + hour, hour, 0) for hour in range(5)] + [(11, 0, 0, 255), (11, 20, 0, 0), (11, 0, 1, 3), (11, 21, 2, 0),
        (12, 500, 0, 0), (12, 7, 1, 0), (12, 8, 2, 0), (11, 0, 3, 255), (12, 0, 3, 255), (11, 0, 4, 255), (12, 0, 4, 255)]
CLOCKS = [("KTP", "00:15:00", "00:15:00"), ("000D6F00000000A1", "00:15:09", "00:15:02"), (HOSTILE, HOSTILE, "00:15:04")]


def quoted(text):
    return "'" + text.replace("'", "''") + "'"


def statements():
    for global_id, uin, model, kind in METERS:
        yield f'INSERT INTO "Counters" VALUES ({global_id}, {quoted(uin)}, \'7\', \'{model}\', {kind}, \'\')'
    for global_id, total, hour, status in ROWS:
        yield "INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) VALUES " \
            f"({global_id}, {total}, {total}, 0, 0, 0, '2024-03-04', '0{hour}:00:07', {status})"
    yield "INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) VALUES " \
        "(11, 1, 1, 0, 0, 0, '2024-03-04', 'later', 0)"
    for uin, shown, asked in CLOCKS:
        yield f"INSERT INTO time_table VALUES ({quoted(uin)}, '2024-03-04', {quoted(shown)}, '2024-03-04', '{asked}')"


class Both:
    """What holds for either kind of database; `sql` runs statements on it."""

    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory(prefix="ravelin-ledger-"))
        self.settings_path = write_file(self.directory, "the.ini", self.keys() + SCHEDULE)
        self.assertEqual(ravelinctl("register", "init", "-settings", self.settings_path)[0], 0)
        self.sql(list(statements()))

    def tool(self, *words, **environment):
        code, lines, complaints = ravelinctl(*words, "-settings", self.settings_path, **environment)
        self.assertFalse([c for c in "".join(lines + complaints) if not c.isprintable()])
        return code, "\n".join(lines), complaints

    def test_report(self):
        code, text, complaints = self.tool("report", "--day", "2024-03-04")
        self.assertEqual((code, complaints), (3, []))
        for line in ("2024-03-04: sweeps due: 6, made: 5", "readings due: 18, there: 10 (55.5 %), of these late: 1",
                     "in time, by 06:00 of the day after: 9 (50.0 %), and perhaps 1: the rows do not tell",
                     "rows whose time is none, left out: 1",
                     "       6       2    33.3       1       2  11 (000D6F00000000A1, SET3): not delivered (3): 1, "
                     "nothing heard (255): 2, no sweep: 1",
                     f"  12 ({SHOWN}, SET1): at 2024-03-04 01:00 from 500 back to 7 kWh, and it goes on from there: "
                     "exchanged or reset",
                     "  11 (000D6F00000000A1, SET3): +7 s at 2024-03-04 00:15, drift unknown, readings: 1",
                     f"  12 ({SHOWN}, SET1): no clock reading; rows that are no time: 1"):
            self.assertIn(line, text.split("\n"))
        self.assertIn("показаний ожидалось: 18", self.tool("report", "--day", "2024-03-04", LC_ALL="ru_RU.UTF-8")[1])

    def test_formats(self):
        code, text, _ = self.tool("report", "--month", "2024-03", "--format", "json")
        report = json.loads(text)
        self.assertEqual((code, report["meters"][2]["uin"], report["meters"][2]["gaps"], report["readings"][0]["kind"]),
                         (3, SHOWN, {"no_sweep": 163, "nothing_heard": 2}, "went_back"))
        code, text, _ = self.tool("report", "--month", "2024-03", "--format", "csv")
        rows = list(csv.DictReader(text.splitlines()))
        self.assertEqual((code, len(rows), rows[2]["uin"], rows[2]["nothing_heard"]), (3, 28 * 3, "'" + SHOWN, "2"))

    def test_incidents(self):
        code, text, _ = self.tool("incidents", "--from", "2024-03-04", "--to", "2024-03-04", "--json")
        found = json.loads(text)["incidents"]
        self.assertEqual((code, [(i["kind"], i["since"], i["until"], len(i["meters"])) for i in found]), (3, [
            ("modem_deaf", "2024-03-04 03:00:00", None, 2), ("no_rows", "2024-03-04 05:00:00", None, 0)]))
        self.assertEqual(self.tool("incidents", "--from", "2024-03-01", "--to", "2024-03-03")[0], 0)

    def test_exit_codes(self):
        self.sql(["DELETE FROM Main_Data WHERE time_r > '03' OR status > 0 OR global_id = 12", "DELETE FROM time_table"])
        for words, code in ((["--at-least", "41"], 0), (["--at-least", "42"], 3), (["--day", "2024-02-30"], 2),
                            (["--format", "xml"], 2), (["--most-kw", "0"], 2)):
            day = [] if "--day" in words else ["--day", "2024-03-04"]
            self.assertEqual(self.tool("report", *day, *words)[0], code, words)
        self.sql(["DROP TABLE time_table"])
        code, text, complaints = self.tool("report", "--day", "2024-03-04", "--format", "json")
        self.assertEqual((code, text, "time_table" in "".join(complaints)), (1, "", True))


class OnSqlite(Both, unittest.TestCase):
    def keys(self):
        return f"[Base]\nBaseName={self.directory}/z.db\n"

    def sql(self, all_statements):
        with contextlib.closing(sqlite3.connect(f"{self.directory}/z.db")) as connection, connection:
            for statement in all_statements:
                connection.execute(statement)


class OnPostgres(Both, unittest.TestCase):
    def keys(self):
        self.server = self.enterContext(Postgres())
        return self.server.settings

    def sql(self, all_statements):
        subprocess.run(["psql", "-qv", "ON_ERROR_STOP=1", "-h", self.server.directory, "-U", "postgres", "postgres"],
                       input=";\n".join(all_statements) + ";\n", env={"PGPASSWORD": PASSWORD, "PATH": "/usr/bin"},
                       check=True, text=True, encoding="utf-8")


if __name__ == "__main__":
    unittest.main()
