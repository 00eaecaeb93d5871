"""What the operator's tool says of an installation and of its schedule; that it touches nothing."""

import contextlib
import os
import pathlib
import re
import sqlite3
import tempfile
import unittest

from rig import ROOT
from rig.process import ravelinctl, write_file

EXAMPLE = os.path.join(ROOT, "share", "ravelin.ini.example")
REGISTER = os.path.join(ROOT, "share", "register.csv.example")
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
time sweep, TimeOfGetTime "00:15$":
  2014-03-05 00:15
query sweep, TimeOfQuery ":[30]0$":
  2014-03-04 23:30
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


class Installation(unittest.TestCase):
    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory(prefix="ravelin-check-"))
        self.database = os.path.join(self.directory, "z.db")
        self.modem, self.substation = self.terminal(), self.terminal()
        self.settings = SETTINGS.format(directory=self.directory, modem=self.modem, substation=self.substation)
        os.chmod(write_file(self.directory, "ntpq", "#!/bin/sh\n"), 0o755)
        self.path = write_file(self.directory, "the.ini", self.settings)
        for words in (["init"], ["import", REGISTER]):
            self.assertEqual(ravelinctl("register", *words, "-settings", self.path)[0], 0)

    def terminal(self):
        master, slave = os.openpty()
        self.addCleanup(os.close, master)
        self.addCleanup(os.close, slave)
        return os.ttyname(slave).removeprefix("/dev/")

    def look(self, command, *words, settings=None, path=None):
        """Without touching."""
        write_file(self.directory, "the.ini", settings or self.settings)
        before = self.everything()
        done = ravelinctl(command, "-settings", self.path, *words, PATH=path or self.directory)
        self.assertEqual(self.everything(), before)
        return done

    def everything(self):
        return {path: path.name.endswith("-shm") or path.read_bytes()
                for path in pathlib.Path(self.directory).rglob("*") if path.is_file()}

    def assert_complains(self, complaint, settings=None):
        """Of this alone."""
        code, _, complaints = self.look("check", settings=settings)
        self.assertEqual((code, len(complaints)), (1, 1), complaints)
        self.assertIn(complaint, complaints[0])

    def main(self, *lines):
        return self.settings.replace("[Main]", "\n".join(["[Main]", *lines]))

    def put(self, key, value):
        return re.sub(f"{key}=.*", f"{key}={value}", self.settings)

    def sql(self, statement):
        with contextlib.closing(sqlite3.connect(self.database)) as connection, connection:
            connection.execute(statement)

    def test_good(self):
        base = write_file(self.directory, "base.ini", f"[Base]\nBaseName={self.database}\nSqlPassword=geheim\n")
        # What the format leaves alone, and what keeps its backslashes.
        fine = self.main('TimeOfQuery=":\\\\d0$"', "TimeOfGetTime=(00|12):1{1,1}5 ;\\d").replace(self.database, "/unused")
        code, report, complaints = self.look("check", settings="; \\d\n" + fine + f"BaseIni={base}\n[Other]\nPath=C:\\new\n")
        self.assertEqual((code, complaints), (0, []))
        for line in (f"Main/PortKS = {self.modem} ({self.path})", f"Main/TimeOfQuery = :\\d0$ ({self.path})",
                     "Main/TimeOfSetTime = 00:00$ (default)", f"Base/BaseName = {self.database} ({base})",
                     f"Base/SqlPassword = *** ({base})"):
            self.assertIn(line, report)

    def test_mistakes_in_settings(self):
        delay = "Delay must be from 1 to 65535, not "
        rows = [
            (self.main("TimeOfQery=:00$"), "Main/TimeOfQery is no key of the daemon's; is Main/TimeOfQuery meant?"),
            (self.main("portalarmbutton=x"), "is Main/PortAlarmButton meant?"),
            (self.main("SqlPort=1"), "Main/SqlPort is no key of the daemon's; is Base/SqlPort"),
            (self.settings + "[main]\nNtpServer=x\n", "main/NtpServer is no key"),
            (self.main("Colour=red"), "Main/Colour is no key of the daemon's"),
            (self.main("RepeatQueryNumber=five"), 'Main/RepeatQueryNumber is not a number: "five"'),
            (self.main("UCAST_to_UCAST_Delay=65536"), f"UCAST_to_UCAST_{delay}65536: only"),
            (self.main("BCAST_to_UCAST_Delay=0"), f"BCAST_to_UCAST_{delay}0: the modem"),
            (self.main("RepeateQueryKTPNumber=256"), "must be from 0 to 255, not 256"),
            (self.main("RepeatQueryNumber=128"), "must be from 0 to 127, not 128"),
            (self.main("CounterKTPMultiplier=0"), "Main/CounterKTPMultiplier must be more than 0, not 0"),
            (self.main("TimeOfQuery=:(00$"), 'Main/TimeOfQuery, ":(00$": '),
            (self.main(r'TimeOfGetTime="[0-9;]"\d:15$'), r"in TimeOfGetTime, \d is an escape"),
            (self.main("TimeOfGetTime=24:00"), 'Main/TimeOfGetTime, "24:00": no time "dd hh:mm"'),
            (self.main("TimeOfSetTime="), 'Main/TimeOfSetTime, "": every minute matches'),
            (self.settings.replace("ServerName=ravelin\n", ""), "Base/ServerName is not set (NoName)"),
            (self.put("\nServerName", ""), "Base/ServerName is empty"),
            (self.put("PortKS", "/dev/none"), "Main/PortKS, /dev/none: No such file or directory"),
            (self.put("PortCounterKTP", self.database), f"{self.database}: it is no device"),
            (self.put("PortKS", "/dev/null"), "Main/PortKS, /dev/null: it is no serial line"),
            (self.put("PortCounterKTP", self.modem), f"{self.modem}: this is the modem's line"),
            (self.put("LogName", "/dev/null/x"), "Base/LogName, /dev/null/x: it cannot be written"),
            (self.settings + "BDType=mysql\n", 'BDType must be sqlite3 or postgres, not "mysql"'),
            (self.put("BaseName", self.directory + "/new.db"), "new.db: it does not exist"),
        ]
        for settings, complaint in rows:
            with self.subTest(complaint):
                self.assert_complains(complaint, settings)

    def test_all_at_once(self):
        code, _, complaints = self.look("check", path="/none",
                                        settings="[Main]\nRepeatQueryNumber=200\nPortKS=/none\n[Base]\nBaseIni=/no\n")
        self.assertEqual(code, 1)
        for word in ("RepeatQueryNumber", "/none", "AdminServerName", "/no is not read", "z.db", "ntpq is not in PATH"):
            self.assertTrue(any(word in line for line in complaints), (word, complaints))

    def test_the_database(self):
        # Beside a running daemon: what a writer has not brought into the file yet counts, and its files stay.
        with contextlib.closing(sqlite3.connect(self.database)) as writer:
            writer.execute('DELETE FROM "Counters" WHERE global_id <> 11')
            writer.commit()
            self.assertTrue(os.path.exists(self.database + "-wal"))
            self.assertEqual(self.look("check", settings=self.put("PortCounterKTP", "/none"))[::2], (0, []))
        for statement, complaint in (("UPDATE \"Counters\" SET \"UIN\" = 'x'", "global_id 11: the UIN of a node must"),
                                     ('DELETE FROM "Counters"', f"database {self.database}: no meter is registered"),
                                     ('DROP TABLE time_table', "no such table: time_table")):
            self.sql(statement)
            self.assert_complains(complaint)
        write_file(self.directory, "z.db", "no database, but long enough to be taken for one" * 50)
        self.assert_complains(f"database {self.database}: file is not a database")

    def test_schedule(self):
        words = ["schedule", "--from", "2014-03-04 23:29", "--count", "1"]
        self.assertEqual(self.look(*words), (0, SCHEDULE.splitlines(), []))
        # Longer than the half hour between two sweeps, even at best.
        report = self.look(*words, settings=self.main("UCAST_to_UCAST_Delay=60000", "TimeOfSetTime=^32",
                                                      "TimeOfGetTime=^32"))[1]
        self.assertEqual(report[:2], ['clock setting, TimeOfSetTime "^32":', "  never"])
        self.assertEqual([line for line in report if line.startswith("Warning")], [
            "Warning: the query sweep of 2014-03-04 23:30 cannot be over before 2014-03-05 00:00: 2822.6 s (47.0 min) "
            "at best; meters behind nodes that would fit: 4",
            "Warning: the query sweep of 2014-03-04 23:30 may not be over before 2014-03-05 00:00: 9161.6 s "
            "(152.7 min) at worst; meters behind nodes that would fit: 0"])

    def test_every_key_with_its_default(self):
        known = set()
        for source in ("collector/sysvar.cpp", "bus/serverplugin.cpp"):
            with open(os.path.join(ROOT, source), encoding="utf-8") as file:
                known |= set(re.findall(r'u"((?:Main|Base|Field)/\w+)"_s', file.read()))
        report = ravelinctl("check", "-settings", os.devnull)[1]
        self.assertEqual({line.split(" = ")[0] for line in report}, known)
        self.assertEqual([line.replace("(default)", f"({EXAMPLE})") for line in report],
                         ravelinctl("check", "-settings", EXAMPLE)[1])


if __name__ == "__main__":
    unittest.main(verbosity=2)
