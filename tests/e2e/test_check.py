"""What the operator's tool says of an installation and of its schedule; that it touches nothing."""

import contextlib
import os
import re
import sqlite3
import subprocess
import tempfile
import unittest

from postgres import Postgres
from process import BUILD

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
EXAMPLE = os.path.join(ROOT, "share", "ravelin.ini.example")
REGISTER = os.path.join(ROOT, "share", "register.csv.example")
DEFAULTS = {
    "Main/PortKS": "/dev/ttyUSB0", "Main/PortCounterKTP": "/dev/ttyS2", "Main/PortAlarmButton": "/dev/ttyS3",
    "Main/CounterKTPMultiplier": "1", "Main/BCAST_to_UCAST_Delay": "15000", "Main/UCAST_to_UCAST_Delay": "10000",
    "Main/RepeateQueryKTPNumber": "15", "Main/RepeatQueryNumber": "5", "Main/TimeOfQuery": ":[30]0$",
    "Main/TimeOfSetTime": "00:00$", "Main/TimeOfGetTime": "00:15$", "Main/NtpServer": "", "Base/LogName": "",
    "Base/Log": "0", "Base/AdminServerName": "NoName", "Base/ServerName": "NoName", "Base/Connections": "NoName",
    "Base/BaseIni": "", "Base/BDType": "sqlite3", "Base/BaseName": "db/z.db", "Base/SqlHostName": "192.168.0.0",
    "Base/SqlPort": "-1", "Base/SqlLogin": "postgres", "Base/SqlPassword": "",
}
SETTINGS = """[Main]
PortKS={modem}
PortCounterKTP={substation}
[Base]
AdminServerName=admin
ServerName=ravelin
Connections=store
LogName={directory}/log/the.log
Log=1
BaseName={directory}/z.db
"""
SCHEDULE = """clock setting, TimeOfSetTime "00:00$":
  2014-03-05 00:00, together with the query sweep
  2014-03-06 00:00, together with the query sweep
  2014-03-07 00:00, together with the query sweep
time sweep, TimeOfGetTime "00:15$":
  2014-03-05 00:15
  2014-03-06 00:15
  2014-03-07 00:15
query sweep, TimeOfQuery ":[30]0$":
  2014-03-04 23:30
  2014-03-05 00:00, together with the clock setting
  2014-03-05 00:30
airtime, meters behind nodes: 12, substation meters: 1:
  clock setting: 120.0 s (2.0 min) at best, 120.0 s (2.0 min) at worst
  time sweep: 653.0 s (10.9 min) at best, 1553.0 s (25.9 min) at worst
  query sweep: 672.6 s (11.2 min) at best, 1761.6 s (29.4 min) at worst
  At best, too, every pass is made for the meters whose answers are never stored (CE102): 3
Warning: the time sweep of 2014-03-05 00:15 may not be over before 2014-03-05 00:30: 1553.0 s (25.9 min) at worst; \
meters behind nodes that would fit: 6
Warning: the clock setting and query sweep of 2014-03-05 00:00 may not be over before 2014-03-05 00:15: \
1881.6 s (31.4 min) at worst; meters behind nodes that would fit: 3
"""


def ravelinctl(*arguments, **environment):
    """Exit code, stdout and stderr: lines."""
    done = subprocess.run([os.path.join(BUILD, "ravelinctl"), *arguments], capture_output=True, text=True, timeout=60,
                          env=dict(os.environ, TZ="UTC", **environment))
    return done.returncode, done.stdout.splitlines(), [line.removeprefix("ravelinctl: ")
                                                       for line in done.stderr.splitlines()]


class Installation(unittest.TestCase):
    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory(prefix="ravelin-check-"))
        self.modem, self.substation = self.terminal(), self.terminal()
        self.settings = SETTINGS.format(directory=self.directory, modem=self.modem, substation=self.substation)
        self.path = self.write("the.ini", self.settings)
        self.database = os.path.join(self.directory, "z.db")
        self.write("ntpq", "#!/bin/sh\n")
        os.chmod(os.path.join(self.directory, "ntpq"), 0o755)
        for arguments in (["init"], ["import", REGISTER]):
            self.assertEqual(ravelinctl("register", *arguments, "-settings", self.path)[0], 0)

    def terminal(self):
        master, slave = os.openpty()
        self.addCleanup(os.close, master)
        self.addCleanup(os.close, slave)
        return os.ttyname(slave)

    def write(self, name, text):
        path = os.path.join(self.directory, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def check(self, settings=None, path=None):
        """Looks without touching."""
        self.write("the.ini", settings or self.settings)
        before = self.everything()
        done = ravelinctl("check", "-settings", self.path, PATH=self.directory if path is None else path)
        self.assertEqual(self.everything(), before)
        return done

    def everything(self):
        contents = {}
        for directory, _, names in os.walk(self.directory):
            for name in names:
                with open(os.path.join(directory, name), "rb") as file:
                    contents[name] = b"" if name.endswith("-shm") else file.read()
        return contents

    def sql(self, statement):
        with contextlib.closing(sqlite3.connect(self.database)) as connection, connection:
            connection.execute(statement)


class OnSqlite(Installation):
    def test_good(self):
        code, report, complaints = self.check()
        self.assertEqual((code, complaints), (0, []))
        self.assertEqual(len(report), 24)
        self.assertIn(f"Main/PortKS = {self.modem} ({self.path})", report)
        self.assertIn("Main/TimeOfQuery = :[30]0$ (default)", report)
        # What the format leaves alone, and what keeps its backslashes.
        fine = self.settings.replace("[Main]", "; \\d\n[Main]\nTimeOfQuery=\":\\\\d0$\"\nTimeOfGetTime=(00|12):1{1,1}5")
        code, report, complaints = self.check(fine)
        self.assertEqual((code, complaints), (0, []))
        self.assertIn(f"Main/TimeOfQuery = :\\d0$ ({self.path})", report)

    def test_mistakes_in_settings(self):
        def main(lines):
            return self.settings.replace("[Main]", "[Main]\n" + lines)

        def put(key, value):
            return re.sub(f"{key}=.*", f"{key}={value}", self.settings)

        range_of_delays = "Delay must be from 1 to 65535, not "
        rows = [
            ("mistyped key", main("TimeOfQery=:00$"), "Main/TimeOfQery is no key of the daemon's; is Main/TimeOfQuery"),
            ("key in small letters", main("portalarmbutton=x"), "is Main/PortAlarmButton meant?"),
            ("key of the other group", main("SqlPort=1"), "Main/SqlPort is no key of the daemon's; is Base/SqlPort"),
            ("group in small letters", self.settings + "[main]\nNtpServer=x\n", "main/NtpServer is no key"),
            ("key like none", main("Colour=red"), "Main/Colour is no key of the daemon's"),
            ("no number", main("RepeatQueryNumber=five"), 'Main/RepeatQueryNumber is not a number: "five"'),
            ("delay too long", main("UCAST_to_UCAST_Delay=65536"), "UCAST_to_UCAST_" + range_of_delays + "65536: only"),
            ("no delay", main("BCAST_to_UCAST_Delay=0"), "BCAST_to_UCAST_" + range_of_delays + "0: the modem"),
            ("count beyond a byte", main("RepeateQueryKTPNumber=256"), "must be from 0 to 255, not 256"),
            ("endless sweep", main("RepeatQueryNumber=128"), "must be from 0 to 127, not 128"),
            ("nothing times", main("CounterKTPMultiplier=0"), "Main/CounterKTPMultiplier must be more than 0, not 0"),
            ("no pattern", main("TimeOfQuery=:(00$"), 'Main/TimeOfQuery, ":(00$": '),
            ("the escape eaten", main(r"TimeOfGetTime=[0-9]\d:15$"), r"in TimeOfGetTime, \d is an escape"),
            ("a pattern of no time", main("TimeOfGetTime=24:00"), 'Main/TimeOfGetTime, "24:00": no time "dd hh:mm"'),
            ("empty pattern", main("TimeOfSetTime="), 'Main/TimeOfSetTime, "": every minute matches'),
            ("no name", self.settings.replace("ServerName=ravelin\n", ""), "Base/ServerName is not set (NoName)"),
            ("no port", put("PortKS", "/dev/none"), "Main/PortKS, /dev/none: No such file or directory"),
            ("a file as port", put("PortCounterKTP", self.database), f"{self.database}: it is no device"),
            ("no line", put("PortKS", "/dev/null"), "Main/PortKS, /dev/null: it is no serial line"),
            ("one port for two", put("PortCounterKTP", self.modem), f"{self.modem}: this is the modem's line"),
            ("log on nothing", put("LogName", "/dev/null/x"), "Base/LogName, /dev/null/x: it cannot be written"),
            ("no such kind", self.settings + "BDType=mysql\n", 'BDType must be sqlite3 or postgres, not "mysql"'),
            ("no database", put("BaseName", self.directory + "/new.db"), "new.db: it does not exist"),
            ("no other file", self.settings + f"BaseIni=/none\nBaseName={self.database}\n",
             "Settings file /none is not read, defaults apply: it does not exist"),
            ("no line of its kind", self.settings + "what is this\n", "has lines that are neither [group] nor key="),
        ]
        for name, settings, complaint in rows:
            with self.subTest(name):
                code, _, complaints = self.check(settings)
                self.assertEqual(code, 1)
                self.assertEqual([line for line in complaints if complaint in line], complaints[:1])
                if name != "no other file":  # then the database is another one, too
                    self.assertEqual(len(complaints), 1)

    def test_all_at_once(self):
        code, _, complaints = self.check("[Main]\nRepeatQueryNumber=200\nTimeOfQery=x\nPortKS=/none\n", path="/none")
        self.assertEqual(code, 1)
        for word in ("RepeatQueryNumber", "TimeOfQery", "/none", "AdminServerName", "z.db", "ntpq is not in PATH"):
            self.assertTrue(any(word in line for line in complaints), (word, complaints))

    def test_mistakes_in_the_database(self):
        rows = [
            ("UPDATE \"Counters\" SET \"UIN\" = 'x' WHERE global_id = 11", "global_id 11: the UIN of a node must be"),
            ('ALTER TABLE "Counters" DROP COLUMN "KI_Number"', 'table "Counters" has no column KI_Number'),
            ('DROP TABLE time_table', "no such table: time_table"),
        ]
        for statement, complaint in rows:
            with self.subTest(statement):
                with open(self.database, "rb") as file:
                    good = file.read()
                self.sql(statement)
                code, _, complaints = self.check()
                self.assertEqual((code, len(complaints)), (1, 1), complaints)
                self.assertIn(complaint, complaints[0])
                with open(self.database, "wb") as file:
                    file.write(good)
        self.write("z.db", "no database, but long enough to be taken for one" * 50)
        self.assertEqual(self.check()[::2], (1, [f"database {self.database}: file is not a database"]))

    def test_no_substation_meter_needs_no_port(self):
        self.sql("DELETE FROM \"Counters\" WHERE \"Type\" = 1")
        self.assertEqual(self.check(re.sub("PortCounterKTP=.*", "PortCounterKTP=/none", self.settings))[::2], (0, []))

    def test_beside_a_running_daemon(self):
        """What a writer has not brought into the file yet counts, and its files stay."""
        with contextlib.closing(sqlite3.connect(self.database)) as writer:
            writer.execute('DELETE FROM "Counters"')
            writer.commit()
            self.assertTrue(os.path.exists(self.database + "-wal"))
            self.assertEqual(self.check()[::2], (1, [f"database {self.database}: no meter is registered"]))

    def test_other_file_for_the_database(self):
        base = self.write("base.ini", f"[Base]\nBaseName={self.database}\nSqlPassword=geheim\n")
        code, report, complaints = self.check(self.settings.replace(self.database, "/unused") + f"BaseIni={base}\n")
        self.assertEqual((code, complaints), (0, []))
        self.assertIn(f"Base/BaseName = {self.database} ({base})", report)
        self.assertNotIn("geheim", "\n".join(report))

    def test_schedule(self):
        arguments = ["schedule", "-settings", self.path, "--from", "2014-03-04 23:29", "--count", "3"]
        before = self.everything()
        self.assertEqual(ravelinctl(*arguments), (0, SCHEDULE.splitlines(), []))
        self.assertEqual(self.everything(), before)
        # Few meters and short delays: nothing to warn of.
        self.write("the.ini", self.settings.replace("[Main]", "[Main]\nUCAST_to_UCAST_Delay=1000\nTimeOfSetTime=^32"))
        code, report, _ = ravelinctl(*arguments)
        self.assertEqual(code, 0)
        self.assertEqual(report[:2], ['clock setting, TimeOfSetTime "^32":', "  never"])
        self.assertEqual([line for line in report if line.startswith("Warning")], [])
        # Longer than the half hour between two sweeps, even at best.
        self.write("the.ini", self.settings.replace(
            "[Main]", "[Main]\nUCAST_to_UCAST_Delay=60000\nTimeOfSetTime=^32\nTimeOfGetTime=^32\nTimeOfQuery=:[03]0"))
        warnings = [line for line in ravelinctl(*arguments)[1] if line.startswith("Warning")]
        self.assertEqual(warnings, [
            "Warning: the query sweep of 2014-03-04 23:30 cannot be over before 2014-03-05 00:00: 2822.6 s (47.0 min) "
            "at best; meters behind nodes that would fit: 4",
            "Warning: the query sweep of 2014-03-04 23:30 may not be over before 2014-03-05 00:00: 9161.6 s "
            "(152.7 min) at worst; meters behind nodes that would fit: 0"])
        for wrong in (["--from", "tomorrow"], ["--count", "0"]):
            self.assertEqual(ravelinctl("schedule", *wrong)[0], 2)


class OnPostgres(Installation):
    def test_both_spellings(self):
        with Postgres() as server:
            settings = re.sub("BaseName=.*\n", "", self.settings) + server.settings.replace("[Base]\n", "")
            self.write("the.ini", settings)
            for arguments in (["init"], ["import", REGISTER]):
                self.assertEqual(ravelinctl("register", *arguments, "-settings", self.path)[0], 0)
            self.assertEqual(self.check(settings)[::2], (0, []))
            name = f"database postgres on {server.directory}"
            rows = [
                ('DROP VIEW "Main_Data"', 'relation "Main_Data" does not exist'),
                ('CREATE TABLE "Main_Data" AS SELECT * FROM main_data',
                 f'{name}: Main_Data and "Main_Data" are two tables'),
                ('ALTER TABLE "Main_Data" DROP COLUMN pwr4; DROP TABLE main_data; '
                 'CREATE VIEW main_data AS SELECT *, 0 AS pwr4 FROM "Main_Data"',
                 f'{name}: table "Main_Data" has no column pwr4'),
                ('DROP VIEW main_data', 'relation "main_data" does not exist'),
                ('ALTER TABLE "Counters" RENAME "UIN" TO uin', f'{name}: table "Counters" has no column UIN'),
            ]
            for statement, complaint in rows:
                with self.subTest(statement):
                    server.psql(statement)
                    code, _, complaints = self.check(settings)
                    self.assertEqual(code, 1)
                    self.assertTrue(any(complaint in line for line in complaints), complaints)


class Example(unittest.TestCase):
    def test_every_key_with_its_default(self):
        known = set()
        for source in ("collector/sysvar.cpp", "bus/serverplugin.cpp"):
            with open(os.path.join(ROOT, source), encoding="utf-8") as file:
                known |= set(re.findall(r'u"((?:Main|Base)/\w+)"_s', file.read()))
        self.assertEqual(known, set(DEFAULTS))
        _, report, _ = ravelinctl("check", "-settings", EXAMPLE)
        self.assertEqual(sorted(report), sorted(f"{key} = {value} ({EXAMPLE})" for key, value in DEFAULTS.items()))
        _, report, complaints = ravelinctl("check")
        self.assertEqual([line for line in complaints if "Settings file" in line], [])
        self.assertEqual(sorted(report), sorted(f"{key} = {value} (default)" for key, value in DEFAULTS.items()))


if __name__ == "__main__":
    unittest.main(verbosity=2)
