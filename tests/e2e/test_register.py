"""The register and its database through the operator's tool, on both kinds of database, which are looked at from outside."""

import contextlib
import functools
import json
import os
import re
import shutil
import sqlite3
import subprocess
import tempfile
import unittest

from rig import BUILD, ROOT
from rig.postgres import Postgres
from rig.process import ravelinctl, write_file

EXAMPLE = os.path.join(ROOT, "share", "register.csv.example")
HEADER = "global_id,UIN,Number,Model,Type,KI_Number\n"
SUBSTATION = "1,КТП,9,CE301,1,\n"
UIN = "000D6F00000000A7"

# 500 days of four sweeps and one clock reading of 100 meters, up to and with DAY.
DAY = "2016-02-29"
METERS = HEADER + "".join(f"{i},000D6F00000000{i:02X},{i},SET3,0,\n" for i in range(101, 201)) + SUBSTATION
DAYS = "WITH RECURSIVE days(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM days WHERE n < 499) "
FILL = [
    "INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) " + DAYS +
    "SELECT global_id, n, n, n, n, n, {day}, time_r, 0 FROM days, \"Counters\", (SELECT '00:30:00' AS time_r UNION "
    "SELECT '06:30:00' UNION SELECT '12:30:00' UNION SELECT '18:30:00') AS sweeps",
    "INSERT INTO time_table(uin, date_c, time_c, date_r, time_r) " + DAYS +
    "SELECT \"UIN\", {day}, '00:15:01', {day}, '00:15:00' FROM days, \"Counters\"",
]


def statements():
    """What the daemon says to its database, by name, about a meter, a day and a sweep that are there."""
    with open(os.path.join(ROOT, "collector", "statements.h"), encoding="utf-8") as header:
        constants = re.findall(r'QStringView (\w+) =\s*u"(.*?)";\n', header.read(), re.DOTALL)
    values = {'"UIN"': UIN, "uin": UIN, "date_r": DAY, "time_r": "12:30:00"}
    for name, text in constants:
        text = re.sub(r'(?<!\\)"\s*u"', "", text).replace('\\"', '"')
        text = re.sub(r"""("UIN"|uin|date_r|time_r) (>?=) '%\d'""", lambda m: f"{m[1]} {m[2]} '{values[m[1]]}'", text)
        yield name, re.sub(r"%\d", "17", text)


class Both:
    """What holds for either kind of database; `sql` runs a statement on it."""

    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory(prefix="ravelin-register-"))
        self.prepare()
        self.settings_path = write_file(self.directory, "the.ini", self.settings)

    def tool(self, *arguments):
        return ravelinctl("register", *arguments, "-settings", self.settings_path)

    def load(self, text):
        return self.tool("import", write_file(self.directory, "r.csv", text))

    def counters(self):
        return self.sql('SELECT global_id, "UIN", "Number", "Model", "Type", "KI_Number" FROM "Counters" '
                        'ORDER BY global_id').splitlines()

    def test_init(self):
        code, report, complaints = self.tool("init")
        self.assertEqual((code, complaints, [line for line in report if "already" in line]), (0, [], []))
        whole = self.schema()
        self.sql("DROP TABLE time_table")
        self.sql('DROP TABLE "Counters"')
        for arguments in (["check"], ["import", EXAMPLE]):
            code, report, complaints = self.tool(*arguments)
            self.assertEqual((code, report, "Counters" in complaints[0]), (1, [], True))
        self.assertIn("Made the index time_table_day.", self.tool("init")[1])
        code, report, complaints = self.tool("init")
        self.assertEqual((code, [line for line in report if "already" not in line], complaints),
                         (0, [f"The {self.name} is ready."], []))
        self.assertEqual(self.schema(), whole)

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
                                    "30,000D6F0000190BFF,7,SET1,0,o'k\n21,000D6F0000190B10,70000,SET3,0,201\n")
        self.assertEqual(report[:2], (0, [f"{self.name}: 1 added, 2 changed, 1 as they were, 10 not in the file."]))
        self.assertEqual([row for row in self.counters() if row[:2] in ("11", "12", "30")],
                         ["11|000D6F00001733F2|60217|CE102|0|101", "12|000D6F00001733EB|60218|CE102|0|102",
                          "30|000D6F0000190BFF|7|SET1|0|o'k"])
        self.assertEqual(self.tool("remove", "11", "7", "x"), (1, [], [
            f'{self.name}: no meter with global_id "{unknown}" is registered' for unknown in "7x"]))
        self.assertEqual(self.tool("remove", "30", "11"), (0, [
            f"Removed {self.name}, global_id 11: CE102, UIN 000D6F00001733F2.",
            f"Removed {self.name}, global_id 30: SET1, UIN 000D6F0000190BFF."], []))
        self.assertRegex(self.load(HEADER + "31,000D6F00001733F2,1,CE102,0,\n")[1][0], "1 added, .* 12 not in the file")

    def test_nothing_is_written_when_something_is_wrong(self):
        self.tool("init")
        self.load(HEADER + f"17,{UIN},70017,SET3,0,40\n" + SUBSTATION)
        path = os.path.join(self.directory, "r.csv")
        new = HEADER + "40,000D6F0000000001,1,CE102,0,5\n"
        self.assertEqual(self.load(new + f"41,{UIN},1,CE102,0,\n42,KTP-2,,CE301,1,\n"), (1, [], [
            f'{path}, line 3: the UIN is "{UIN}", as in {self.name}, global_id 17',
            f"{path}, line 4: this is a substation meter, as in {self.name}, global_id 1"]))
        # The database refuses the last of several rows.
        self.sql('CREATE UNIQUE INDEX refuses ON "Counters" ("KI_Number")')
        code, _, complaints = self.load(new + f"17,{UIN},70018,SET3,0,40\n41,000D6F0000000002,1,CE102,0,5\n")
        self.assertEqual(code, 1)
        self.assertRegex(complaints[0], f"^{self.name}: {path}, line 4: .*(refuses|UNIQUE)")
        self.assertEqual(self.counters(), ["1|КТП|9|CE301|1|", f"17|{UIN}|70017|SET3|0|40"])

    def test_no_statement_walks_what_grows(self):
        self.tool("init")
        self.load(METERS)
        for fill in FILL:
            self.sql(fill.format(day=self.day))
        self.assertEqual(self.sql("SELECT count(*) FROM Main_Data"), "202000\n")
        asked = dict(statements())
        self.assertEqual(len(asked), 24)
        with self.assertRaises((sqlite3.Error, RuntimeError)):
            self.sql(asked.pop("InsertClockPlaceholder"))
        for planner in self.planners:
            self.sql(planner)
            for name, statement in asked.items():
                with self.subTest(name, planner=planner):
                    self.assertEqual(self.walks(statement), [])
        # What would be found if one did.
        self.assertNotEqual(self.walks("SELECT * FROM Main_Data WHERE status = 3"), [])
        self.assertNotEqual(self.walks("SELECT DISTINCT date_r FROM time_table"), [])


class OnSqlite(Both, unittest.TestCase):
    planners = ["", "ANALYZE"]  # without statistics, as nearly everywhere, and with them
    day = f"date('{DAY}', -n || ' days')"

    def prepare(self):
        self.path = os.path.join(self.directory, "new", "directory", "z.db")
        self.settings = f"[Base]\nBaseName={self.path}\n"
        self.name = "database " + self.path

    def sql(self, statement):
        with contextlib.closing(sqlite3.connect(self.path)) as connection, connection:
            rows = connection.execute(statement).fetchall()
        return "".join("|".join(map(str, row)) + "\n" for row in rows)

    def schema(self):
        return sorted(self.sql("SELECT type, name, sql FROM sqlite_master").split("\n")) + [self.sql("PRAGMA journal_mode")]

    def walks(self, statement):
        """The steps of its plan that go through a whole table, index or first column of an index; the register's aside."""
        register = ("|SCAN Counters", "|SCAN b") if '"Counters"b' in statement else "|SCAN Counters"
        return [line for line in self.sql("EXPLAIN QUERY PLAN " + statement).splitlines()
                if ("SCAN" in line or "ANY(" in line) and not line.endswith(register)]

    def test_faults(self):
        missing = f'{self.name}: it does not exist; "ravelinctl register init" makes it'
        self.assertEqual(self.tool("import", EXAMPLE), (1, [], [missing]))
        self.assertFalse(os.path.exists(os.path.dirname(self.path)))
        write_file(self.directory, "new", "in the way")
        self.assertEqual(self.tool("init"), (1, [], [
            f"{self.name}: the directory {os.path.dirname(self.path)} cannot be made"]))

    def test_files_that_may_only_be_read(self):
        # Root, too, is held to the modes of files.
        held = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else ["env"]
        tool = functools.partial(ravelinctl, *held[1:], os.path.join(BUILD, "ravelinctl"), program=held[0])
        self.tool("init")
        self.load(METERS)
        with contextlib.closing(sqlite3.connect(self.path, isolation_level=None)) as other:
            other.execute('DELETE FROM "Counters" WHERE "Type" = 0')
            copies = [shutil.copy(path, self.directory) for path in (self.path, self.path + "-wal")]
            paths = [self.path, self.path + "-wal", self.path + "-shm"]
            for path in paths:
                os.chmod(path, 0o444)
            complaints = tool("check", "-settings", self.settings_path)[2]
            self.assertLessEqual({f"{self.name}: {path} cannot be written" for path in paths}, set(complaints))
        os.chmod(os.path.dirname(self.path), 0o555)
        self.assertEqual(tool("register", "check", "-settings", self.settings_path)[::2], (0, []))
        self.assertEqual(os.listdir(os.path.dirname(self.path)), ["z.db"])
        # As it was while the log was in use.
        write_file(self.directory, "the.ini", f"[Base]\nBaseName={copies[0]}\n")
        self.assertIn("meters behind nodes: 0,", self.tool("check")[1][0])

    def test_driver_that_is_not_installed(self):
        program = shutil.copy(os.path.join(BUILD, "ravelinctl"), self.directory)
        write_file(self.directory, "qt.conf", "[Paths]\nPlugins=/none\n")
        for kind, package in (("sqlite3", "sqlite"), ("postgres", "psql")):
            write_file(self.directory, "the.ini", f"[Base]\nBDType={kind}\n")
            self.assertRegex(ravelinctl("register", "init", "-settings", self.settings_path, program=program)[2][0],
                             rf"its driver is not installed; it is in the package libqt6sql6-{package}$")

    def test_where_settings_are_looked_for(self):
        program = shutil.copy(os.path.join(BUILD, "ravelinctl"), self.directory)
        etc = os.path.join(self.directory, "etc")
        os.makedirs(os.path.join(etc, "ravelin"))
        with_this_etc = ["-m" if os.geteuid() == 0 else "-rm", "sh", "-c", 'mount --bind "$0" /etc && exec "$@"', etc]
        if subprocess.run(["unshare", *with_this_etc, "true"], stderr=subprocess.DEVNULL).returncode:
            self.skipTest("nothing may be mounted here")

        def tool(*words):
            return ravelinctl(*with_this_etc, program, *words, program=shutil.which("unshare"))

        usual = "/etc/ravelin/ravelin.ini", os.path.join(self.directory, "ravelin.ini")
        complaint = f"There is no settings file, neither {usual[0]} nor {usual[1]}; name one: -settings FILE"
        for words in (["register", "check"], ["schedule"]):
            self.assertEqual(tool(*words), (1, [], [complaint]))
        self.assertEqual(tool("check"), (1, ["Problems: 1, hints: 0. Looked as the user 0, who may open nearly "
                                             "everything; settings: none."], [complaint]))
        # A database without a leading slash, too, is looked for beside the program.
        base = write_file(self.directory, "base.ini", "[Base]\nBaseName=db/other.db\n")
        write_file(self.directory, "ravelin.ini", f"[Base]\nBaseName=unused.db\nBaseIni={base}\n")
        self.assertEqual(tool("register", "init")[1][0], f"No -settings was given; {usual[1]} is taken.")
        self.assertTrue(os.path.exists(os.path.join(self.directory, "db", "other.db")))
        write_file(os.path.join(etc, "ravelin"), "ravelin.ini", f"[Base]\nBaseName={self.path}\n")
        self.assertEqual(tool("register", "init")[1][0], f"No -settings was given; {usual[0]} is taken.")
        self.assertTrue(os.path.exists(self.path))
        report = tool("check")[1]
        self.assertIn(f"hint: {usual[1]} is there, too; a daemon that is started without -settings", report[0])
        self.assertIn(f"settings: {usual[0]} (no -settings was given).", report[-1])


class OnPostgres(Both, unittest.TestCase):
    planners = ["ANALYZE"]  # the server gathers statistics by itself
    day = f"('{DAY}'::date - n)::text"

    @classmethod
    def setUpClass(cls):
        cls.server = cls.enterClassContext(Postgres())

    def prepare(self):
        self.server.psql("DROP SCHEMA public CASCADE; CREATE SCHEMA public; GRANT USAGE ON SCHEMA public TO public")
        self.settings = self.server.settings
        self.name = f"database postgres on {self.server.directory}"

    def sql(self, statement):
        return self.server.psql(statement)

    def schema(self):
        return sorted(self.sql(
            "SELECT relkind, relname FROM pg_class WHERE relnamespace = 'public'::regnamespace").splitlines())

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
        write_file(self.directory, "the.ini", self.server.settings.replace("wort", "falsch"))
        code, _, complaints = self.tool("check")
        self.assertEqual((code, len(complaints)), (1, 1))
        self.assertIn("password authentication failed", complaints[0])
        self.assertNotIn("falsch", complaints[0])

    def test_check_tells_what_the_role_may_not(self):
        self.tool("init")
        self.sql("CREATE ROLE reader LOGIN PASSWORD 'r'; GRANT SELECT ON main_data, time_table, \"Counters\" TO reader")
        write_file(self.directory, "the.ini", self.settings + "SqlLogin=reader\nSqlPassword=r\n")
        complaints = ravelinctl("check", "-settings", self.settings_path)[2]
        for right in ("INSERT in table Main_Data", 'SELECT in table "Main_Data"', "INSERT in table time_table"):
            self.assertIn(f"{self.name}: the role reader may not {right}", complaints)

    def test_check_knows_both_spellings(self):
        self.tool("init")
        self.load(METERS)
        rows = [
            ("SELECT 1", None),
            ('DROP VIEW "Main_Data"', 'relation "Main_Data" does not exist'),
            ('DROP VIEW "Main_Data"; CREATE TABLE "Main_Data" AS TABLE main_data', 'are two tables'),
            ('ALTER TABLE "Main_Data" DROP COLUMN pwr4; DROP TABLE main_data; '
             'CREATE VIEW main_data AS SELECT *, 0 AS pwr4 FROM "Main_Data"', 'table "Main_Data" has no column pwr4'),
            ('ALTER TABLE "Main_Data" ADD pwr4 int; ALTER TABLE "Counters" RENAME "UIN" TO uin', 'has no column UIN'),
            ('ALTER TABLE "Counters" RENAME uin TO "UIN"', None),
        ]
        for statement, complaint in rows:
            self.sql(statement)
            complaints = ravelinctl("check", "-settings", self.settings_path)[2]
            found = [line for line in complaints if line.startswith(self.name)]
            self.assertEqual([complaint in line for line in found], [True] if complaint else [])
            self.assertEqual(self.tool("init")[2], [line for line in found if "does not exist" not in line])

    def test_init_is_all_or_nothing(self):
        self.sql("CREATE VIEW main_data AS SELECT 1 AS global_id")
        code, _, complaints = self.tool("init")
        self.assertEqual((code, complaints[0]), (1, f"{self.name}: table Main_Data has no column pwr"))
        self.assertEqual(self.schema(), ["v|main_data"])


class Usage(unittest.TestCase):
    def test_refused(self):
        rows = [
            (["bogus"], 2, 'There is no command "bogus". See ravelinctl --help'),
            (["Shedule"], 2, 'There is no command "Shedule". Is "schedule" meant? See ravelinctl --help'),
            (["register", "imprt"], 2, 'There is no command "imprt". Is "import" meant? See ravelinctl register --help'),
            (["check", "-setings", "x"], 2,
             'There is no option "setings". Is "--settings" meant? See ravelinctl check --help'),
            (["register", "import"], 2, "A file is missing. See ravelinctl register import --help"),
            (["schedule", "--count", "0"], 2, '--from takes "yyyy-MM-dd hh:mm", --count a number from 1 to 1000.'),
            (["register", "check", "/dev/zero"], 1, "/dev/zero: this is not a regular file"),
            (["register", "check", "/proc/self/mem"], 1, "/proc/self/mem: this cannot be read to its end"),
            (["register", "init", "-settings", "/none"], 1,
             "Settings file /none is not read, defaults apply: it does not exist"),
        ]
        for words, code, complaint in rows:
            with self.subTest(words):
                done = ravelinctl(*words)
                self.assertEqual((done[0], done[1], done[2][0]), (code, [], complaint))

    def test_spreadsheets(self):
        semicolons = HEADER.replace(",", ";").replace("\n", ";;\n")
        rows = [
            ((semicolons + "1;КТП;9;CE301;1;;;\n").encode("cp1251"), 'line 2: this is not UTF-8 text; have the spreadsheet '
                                                                     'save it as "CSV UTF-8"'),
            ((semicolons + f"7;{UIN};9,21703E+12;CE301;0;40;;\n").encode(), "line 2: the Number must have all its digits (in "
             'the spreadsheet, make the column text), not "9,21703E+12"'),
            ((semicolons + f"7;{UIN};1;SET1;0;дом;;\n").encode(), 'line 2: KI_Number must be of Latin letters, digits and '
             'signs (Latin-1), not "дом"; Cyrillic letters: 1, 2, 3'),
            ((HEADER.replace(",", "\t") + "1\tКТП\t9\tCE301\t1\t\n").encode("utf-16"), None),
        ]
        with tempfile.NamedTemporaryFile() as file:
            for contents, complaint in rows:
                with self.subTest(complaint):
                    file.seek(0)
                    file.truncate()
                    file.write(contents)
                    file.flush()
                    done = ravelinctl("register", "check", file.name)
                    self.assertEqual(done[::2], (1, [f"{file.name}, {complaint}"]) if complaint else (0, []))

    def test_in_russian(self):
        csv = write_file(self.enterContext(tempfile.TemporaryDirectory()), "r.csv", HEADER + f"1,{UIN},1,СET3,0,\n")
        english = f'{csv}, line 2: Model must be CE102, CE301, SET1 or SET3, not "СET3"; the first letter is Cyrillic'
        russian = f"{csv}, строка 2: Model должен быть CE102, CE301, SET1 или SET3, а не «СET3»; первая буква — кириллица"
        for complaint, environment in ((russian, {"LC_ALL": "ru_RU.UTF-8"}), (russian, {"LC_ALL": "", "LC_MESSAGES": "",
                                       "LANG": "ru_RU.UTF-8"}), (english, {"LC_ALL": "C", "LANG": "ru_RU.UTF-8"})):
            self.assertEqual(ravelinctl("register", "check", csv, **environment), (1, [], [complaint]))

    def test_help_and_version(self):
        self.assertRegex(ravelinctl("-v")[1][0], r"^\d+\.\d+\.\d+$")
        for words, first in ((["help"], "Usage: ravelinctl COMMAND ..."),
                             (["register", "help"], "Usage: ravelinctl register COMMAND ..."),
                             (["help", "register", "import"], "Usage: ravelinctl register import [options] FILE.csv")):
            self.assertEqual(ravelinctl(*words)[::2], (0, []))
            self.assertEqual(ravelinctl(*words)[1][0], first)


if __name__ == "__main__":
    unittest.main(verbosity=2)
