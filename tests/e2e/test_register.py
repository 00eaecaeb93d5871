"""The operator's tool against both kinds of database, which are looked at from outside; and the schemas' indexes."""

import json
import os
import shutil
import sqlite3
import subprocess
import tempfile
import unittest

from postgres import Postgres
from process import BUILD

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
EXAMPLE = os.path.join(ROOT, "share", "register.csv.example")
HEADER = "global_id,UIN,Number,Model,Type,KI_Number\n"
COLUMNS = '"global_id", "UIN", "Number", "Model", "Type", "KI_Number"'

# What the daemon says to its database, one statement a way to ask, about the node with global_id 17.
UIN = "000D6F00000000A7"
SWEEP = "date_r = '2016-02-29' and time_r = '12:30:00'"
QUESTIONS = {
    3: "SELECT \"UIN\" FROM \"Counters\" WHERE \"Type\" = 0",
    5: "SELECT \"Number\", \"Model\" FROM \"Counters\" WHERE \"Type\" = 1",
    6: "SELECT \"UIN\" FROM \"Counters\" WHERE \"Type\" = '0'",
    7: "SELECT b.\"UIN\", b.global_id, b.\"Type\", a.global_id FROM \"Main_Data\"a, \"Counters\"b WHERE a.date_r = "
       "'2016-02-29' and a.time_r = '12:30:00' and a.global_id = b.global_id and b.\"Type\" = '0'",
    8: "SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, status FROM Main_Data WHERE " + SWEEP,
    11: f"SELECT global_id,\"UIN\" FROM \"Counters\" WHERE \"UIN\" = '{UIN}'",
    13: "SELECT b.uin,b.date_c,b.time_c,b.date_r, b.time_r FROM time_table b WHERE b.date_r = '2016-02-29'",
    15: "SELECT \"UIN\" FROM \"Counters\" WHERE \"Type\" = '1'",
    16: f"SELECT count(date_r) FROM time_table WHERE uin = '{UIN}' and date_r >= '2016-02-29'",
    17: "SELECT DISTINCT uin FROM time_table WHERE date_r >= '2016-02-29'",
    24: f"SELECT \"Model\", \"global_id\" FROM \"Counters\" WHERE \"UIN\" = '{UIN}'",
}
READING = "INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) VALUES "
INSERTS = {
    9: READING + "(17, 0, 0, 0 ,0, 0, '2016-02-29', '12:30:00', 255)",
    19: READING + "(17, 1234.5, 1e+06, 0.25 ,3, 4, '2016-02-29', '12:30:00', 0)",
    20: READING + "(1, 0, 0, 0 ,0, 0, '2016-02-29', '12:30:00', 1)",
    21: f"INSERT INTO time_table (uin,date_c,time_c, date_r, time_r) VALUES ('{UIN}','2016-02-29','12:30:01',"
        "'2016-02-29','12:30:00')",
}
REFUSED = f"INSERT INTO time_table(uin, date_c, time_c, date_r, time_r) VALUES ({UIN}, 2000-01-01, 00:00:00, " \
          "2000-01-01, 00:00:00)"
ANSWERS = {
    3: UIN, 5: "9|CE301", 6: UIN, 7: f"{UIN}|17|0|17\n{UIN}|17|0|17", 11: f"17|{UIN}", 15: "КТП", 16: "2", 17: UIN,
    8: "1|0|0|0|0|0|1\n17|0|0|0|0|0|255\n17|1234.5|1000000|0.25|3|4|0", 24: "SET3|17",
    13: f"{UIN}|2016-02-29|12:30:01|2016-02-29|12:30:00\n" * 2,
}
TWO_METERS = HEADER + f"17,{UIN},70017,SET3,0,40\n1,КТП,9,CE301,1,\n"


def sorted_lines(text):
    return sorted(text.strip().splitlines())


# 500 days of four sweeps and one clock reading of 100 meters, up to and with the day of the questions.
METERS = HEADER + "".join(f"{i},000D6F00000000{i:02X},{i},SET3,0,\n" for i in range(101, 201)) + "1,КТП,9,CE301,1,\n"
FILL_DAYS = "WITH RECURSIVE days(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM days WHERE n < 499) "
FILL = [
    "INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) " + FILL_DAYS +
    "SELECT global_id, n, n, n, n, n, {day}, time_r, 0 FROM days, \"Counters\", (SELECT '00:30:00' AS time_r UNION "
    "SELECT '06:30:00' UNION SELECT '12:30:00' UNION SELECT '18:30:00') AS sweeps",
    "INSERT INTO time_table(uin, date_c, time_c, date_r, time_r) " + FILL_DAYS +
    "SELECT \"UIN\", {day}, '00:15:01', {day}, '00:15:00' FROM days, \"Counters\"",
]


def ravelinctl(*arguments, program=os.path.join(BUILD, "ravelinctl"), **options):
    """Exit code, stdout, and stderr without the tool's name: lines."""
    done = subprocess.run([program, *arguments], capture_output=True, text=True, timeout=60, **options)
    prefix = "ravelinctl: "
    complaints = done.stderr.splitlines()
    assert all(line.startswith(prefix) for line in complaints), done.stderr
    return done.returncode, done.stdout.splitlines(), [line[len(prefix):] for line in complaints]


def write(directory, name, text):
    path = os.path.join(directory, name)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    return path


class Both:
    """What holds for either kind of database; `sql` is one of them, empty."""

    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory(prefix="ravelin-register-"))
        self.prepare()
        self.settings_path = write(self.directory, "the.ini", self.settings)

    def tool(self, *arguments):
        return ravelinctl("register", *arguments, "-settings", self.settings_path)

    def load(self, text):
        return self.tool("import", write(self.directory, "r.csv", text))

    def loaded(self, text):
        self.assertEqual(self.tool("init")[0], 0)
        self.assertEqual(self.load(text)[::2], (0, []))

    def counters(self):
        return self.sql(f'SELECT {COLUMNS} FROM "Counters" ORDER BY global_id').splitlines()

    def test_init(self):
        code, report, complaints = self.tool("init")
        self.assertEqual((code, complaints, [line for line in report if "already" in line]), (0, [], []))
        whole = self.schema()
        self.sql(READING + "(1, 0, 0, 0, 0, 0, 'd', 't', 0)")
        self.sql("DROP TABLE time_table")
        self.sql('DROP TABLE "Counters"')
        for arguments in (["check"], ["import", EXAMPLE]):
            code, report, complaints = self.tool(*arguments)
            self.assertEqual((code, report), (1, []))
            self.assertIn("Counters", complaints[0])
        self.assertIn("Made the index time_table_day.", self.tool("init")[1])
        code, report, complaints = self.tool("init")
        self.assertEqual((code, [line for line in report if "already" not in line], complaints),
                         (0, [f"The {self.name} is ready."], []))
        self.assertEqual(self.schema(), whole)
        self.assertEqual(self.sql('SELECT count(*) FROM "Main_Data"'), "1\n")

    def test_import(self):
        self.tool("init")
        self.assertEqual(self.tool("import", EXAMPLE), (0, [f"{self.name}: 13 added, 0 changed, 0 as they were, "
                                                           "0 not in the file."], []))
        self.assertEqual(self.counters()[::12], ["1|KTP-1|009217034000145|CE301|1|",
                                                 '26|000D6F0000190B5D|009217034000613|CE301|0|Boiler house, "B"'])
        for file, name in ([], self.name), ([EXAMPLE], EXAMPLE):
            self.assertEqual(self.tool("check", *file),
                             (0, [f"{name}: no problems; meters behind nodes: 12, substation meters: 1."], []))

        # Two meters swap their nodes, one is new, the others stay.
        report = self.load(HEADER + "11,000D6F00001733F2,60217,CE102,0,101\n12,000D6F00001733EB,60218,CE102,0,102\n"
                                    "30,000D6F0000190BFF,7,SET1,0,о'к\n21,000D6F0000190B10,70000,SET3,0,201\n")
        self.assertEqual(report[:2], (0, [f"{self.name}: 1 added, 2 changed, 1 as they were, 10 not in the file."]))
        self.assertEqual([row for row in self.counters() if row[:2] in ("11", "12", "30")],
                         ["11|000D6F00001733F2|60217|CE102|0|101", "12|000D6F00001733EB|60218|CE102|0|102",
                          "30|000D6F0000190BFF|7|SET1|0|о'к"])

    def test_nothing_is_written_when_something_is_wrong(self):
        self.loaded(TWO_METERS)
        path = os.path.join(self.directory, "r.csv")
        new = HEADER + "40,000D6F0000000001,1,CE102,0,5\n"
        self.assertEqual(self.load(new + "41,KTP-2,,SET9,1,\n"), (1, [], [
            f'{path}, line 3: Model must be CE102, CE301, SET1 or SET3, not "SET9"']))
        self.assertEqual(self.load(new + f"41,{UIN},1,CE102,0,\n42,KTP-2,,CE301,1,\n"), (1, [], [
            f'{path}, line 3: the UIN is "{UIN}", as in {self.name}, global_id 17',
            f"{path}, line 4: this is a substation meter, as in {self.name}, global_id 1"]))
        # The database refuses the last of several rows.
        self.sql('CREATE UNIQUE INDEX refuses ON "Counters" ("KI_Number")')
        code, _, complaints = self.load(new + f"17,{UIN},70018,SET3,0,40\n41,000D6F0000000002,1,CE102,0,5\n")
        self.assertEqual(code, 1)
        self.assertRegex(complaints[0], f"^{self.name}: {path}, line 4: .*(refuses|UNIQUE)")
        self.assertEqual(self.counters(), ["1|КТП|9|CE301|1|", f"17|{UIN}|70017|SET3|0|40"])

    def test_check_of_the_database(self):
        self.loaded(TWO_METERS)
        self.sql(f"INSERT INTO \"Counters\" ({COLUMNS}) VALUES (40, '{UIN}', 'no', 'SET3', 0, '')")
        at = f"{self.name}, global_id "
        self.assertEqual(self.tool("check"), (1, [], [
            at + '40: the Number of a SET3 must be a whole number from 0 to 2147483647, not "no"',
            at + f'40: the UIN is "{UIN}", as in {at}17']))

    def test_statements(self):
        """Each does its work: both spellings of a table, numbers beside texts, rows that are there twice."""
        self.loaded(TWO_METERS)
        for insert in (9, 19, 20, 21, 21):
            self.sql(INSERTS[insert])
        for number, answer in ANSWERS.items():
            with self.subTest(number):
                self.assertEqual(sorted_lines(self.sql(QUESTIONS[number])), sorted_lines(answer))
        for value in (UIN, "0000000000000001", "1000000000000000"):
            self.assertRaises((sqlite3.Error, RuntimeError), self.sql, REFUSED.replace(UIN, value))
        self.assertEqual(self.sql("SELECT count(*) FROM time_table"), "2\n")

    def test_no_statement_walks_what_grows(self):
        self.loaded(METERS)
        for statement in FILL:
            self.sql(statement.format(day=self.day))
        self.assertEqual(self.sql("SELECT count(*) FROM Main_Data"), "202000\n")
        for planner in self.planners:
            self.sql(planner)
            for number, statement in {**QUESTIONS, **INSERTS}.items():
                with self.subTest(number, planner=planner):
                    self.assertEqual(self.walks(statement), [])
        # What would be found if one did.
        self.assertNotEqual(self.walks("SELECT * FROM Main_Data WHERE status = 3"), [])
        self.assertNotEqual(self.walks("SELECT DISTINCT date_r FROM time_table"), [])


class OnSqlite(Both, unittest.TestCase):
    planners = ["", "ANALYZE"]  # without statistics, as nearly everywhere, and with them
    day = "date('2016-02-29', -n || ' days')"

    def prepare(self):
        self.path = os.path.join(self.directory, "new", "directory", "z.db")
        self.settings = f"[Base]\nBaseName={self.path}\n"
        self.name = "database " + self.path

    def sql(self, statement):
        connection = sqlite3.connect(self.path)
        try:
            with connection:
                rows = connection.execute(statement).fetchall()
        finally:
            connection.close()
        return "".join("|".join(f"{value:.15g}" if isinstance(value, float) else str(value) for value in row) + "\n"
                       for row in rows)

    def schema(self):
        return sorted_lines(self.sql("SELECT type, name, sql FROM sqlite_master") + self.sql("PRAGMA journal_mode"))

    def walks(self, statement):
        """The steps of its plan that go through a whole table, index or first column of an index; the register's aside."""
        register = ("|SCAN Counters", "|SCAN b") if '"Counters"b' in statement else "|SCAN Counters"
        return [line for line in self.sql("EXPLAIN QUERY PLAN " + statement).splitlines()
                if ("SCAN" in line or "ANY(" in line) and not line.endswith(register)]

    def test_faults(self):
        missing = f'{self.name}: it does not exist; "ravelinctl register init" makes it'
        self.assertEqual(self.tool("check"), (1, [], [missing]))
        self.assertEqual(self.tool("import", EXAMPLE), (1, [], [missing]))
        self.assertFalse(os.path.exists(os.path.dirname(self.path)))
        write(self.directory, "new", "in the way")
        self.assertEqual(self.tool("init"), (1, [], [
            f"{self.name}: the directory {os.path.dirname(self.path)} cannot be made"]))
        os.remove(os.path.join(self.directory, "new"))
        os.makedirs(os.path.dirname(self.path))
        write(self.directory, self.path, "this is no database, but long enough to be taken for one" * 50)
        self.assertEqual(self.tool("init"), (1, [], [f"{self.name}: file is not a database"]))
        os.remove(self.path)
        self.tool("init")
        self.assertEqual(self.sql("PRAGMA journal_mode"), "wal\n")

    def test_where_the_daemon_looks(self):
        """Beside the program: ravelin.ini, and a database without a leading slash."""
        program = shutil.copy(os.path.join(BUILD, "ravelinctl"), self.directory)
        base = write(self.directory, "base.ini", "[Base]\nBaseName=db/other.db\n")
        write(self.directory, "ravelin.ini", f"[Base]\nBaseName=unused.db\nBaseIni={base}\n")
        self.assertEqual(ravelinctl("register", "init", program=program, cwd="/")[0], 0)
        self.assertTrue(os.path.exists(os.path.join(self.directory, "db", "other.db")))
        self.assertFalse(os.path.exists(os.path.join(self.directory, "unused.db")))


class OnPostgres(Both, unittest.TestCase):
    planners = ["ANALYZE"]  # the server gathers statistics by itself
    day = "('2016-02-29'::date - n)::text"

    @classmethod
    def setUpClass(cls):
        cls.server = cls.enterClassContext(Postgres())

    def prepare(self):
        self.server.psql("DROP SCHEMA public CASCADE; CREATE SCHEMA public")
        self.settings = self.server.settings
        self.name = f"database postgres on {self.server.directory}"

    def sql(self, statement):
        return self.server.psql(statement)

    def schema(self):
        return sorted_lines(self.sql(
            "SELECT relkind, relname FROM pg_class WHERE relnamespace = 'public'::regnamespace"))

    def walks(self, statement):
        """The steps of its plan that go through the whole of a growing table or of an index."""
        def steps(plan):
            yield plan
            for child in plan.get("Plans", []):
                yield from steps(child)

        plan = json.loads(self.sql("EXPLAIN (FORMAT JSON) " + statement))[0]["Plan"]
        return [step for step in steps(plan)
                if step["Node Type"] == "Seq Scan" and step["Relation Name"] in ("main_data", "time_table")
                or "Index" in step["Node Type"] and "Index Cond" not in step]

    def test_wrong_password(self):
        write(self.directory, "the.ini", self.server.settings.replace("wort", "falsch"))
        code, report, complaints = self.tool("check")
        self.assertEqual((code, report, len(complaints)), (1, [], 1))
        self.assertIn("password authentication failed", complaints[0])
        self.assertNotIn("falsch", complaints[0])

    def test_init_is_all_or_nothing(self):
        self.sql("CREATE VIEW main_data AS SELECT 1 AS global_id")
        code, report, complaints = self.tool("init")
        self.assertEqual((code, report), (1, []))
        self.assertIn("main_data", complaints[0])
        self.assertEqual(self.schema(), ["v|main_data"])


class CommandLine(unittest.TestCase):
    def test_usage(self):
        rows = [
            (["bogus"], 2, 'There is no command "bogus". See ravelinctl --help'),
            (["register", "import"], 2, "A file is missing. See ravelinctl register import --help"),
            (["register", "check", "/dev/zero"], 1, "/dev/zero: this is not a regular file"),
            (["register", "init", "-settings", "/none"], 1,
             "Settings file /none is not read, defaults apply: it does not exist"),
        ]
        for arguments, code, complaint in rows:
            with self.subTest(arguments):
                done = ravelinctl(*arguments)
                self.assertEqual((done[0], done[1], done[2][0]), (code, [], complaint))


if __name__ == "__main__":
    unittest.main(verbosity=2)
