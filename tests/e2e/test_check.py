"""What the operator's tool says of an installation and of its schedule; that it touches nothing."""

import contextlib
import fcntl
import grp
import json
import os
import pathlib
import pwd
import re
import shutil
import sqlite3
import tempfile
import termios
import unittest

from rig import BUILD, ROOT
from rig.process import Process, faketime_environment, ravelinctl, wait_for, write_file

EXAMPLE = os.path.join(ROOT, "share", "ravelin.ini.example")
TOOL = os.path.join(BUILD, "ravelinctl")
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
    # Root, too, is held to the modes of files and to the locks of lines.
    held = ["--bounding-set=-dac_override,-dac_read_search,-sys_admin", TOOL] if os.geteuid() == 0 else [TOOL]
    program = shutil.which("setpriv" if os.geteuid() == 0 else "env")

    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory(prefix="ravelin-check-"))
        self.database = os.path.join(self.directory, "z.db")
        self.slaves = {}
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
        name = os.ttyname(slave).removeprefix("/dev/")
        self.slaves[name] = slave
        return name

    def look(self, command, *words, settings=None, **environment):
        """Without touching."""
        write_file(self.directory, "the.ini", settings or self.settings)
        before = self.everything()
        done = ravelinctl(*self.held, command, "-settings", self.path, *words, program=self.program,
                          **{"PATH": self.directory, "TMPDIR": self.directory, **environment})
        self.assertEqual(self.everything(), before)
        return done

    def everything(self):
        return {path: path.name.endswith("-shm") or path.read_bytes()
                for path in pathlib.Path(self.directory).rglob("*") if path.is_file()}

    def assert_complains(self, complaint, settings=None, **environment):
        """Of this alone."""
        code, report, complaints = self.look("check", settings=settings, **environment)
        self.assertEqual((code, len(complaints)), (1, 1), complaints)
        self.assertIn(complaint, complaints[0])
        self.assertRegex("\n".join(report), r"^Problems: 1, hints: 0\. Looked as the user .*; settings: .*\.$")

    def assert_hints(self, hint, settings=None, **environment):
        """At this alone."""
        code, report, complaints = self.look("check", settings=settings, **environment)
        self.assertEqual((code, len(report), complaints), (0, 2, []), report)
        self.assertRegex(report[0], "^hint: .*" + re.escape(hint))

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
        fine = self.main('TimeOfQuery="\\\\d:00$"', "TimeOfGetTime=(00|12):1{1,1}5 ;\\d",
                         "PortAlarmButton=; none").replace(self.database, "/unused")
        settings = "; \\d\n" + fine + f"BaseIni={base}\n[Other]\nPath=C:\\new\nPath=#;x\n"
        code, report, complaints = self.look("check", settings=settings)
        self.assertEqual((code, complaints, len(report)), (0, [], 1))
        user = pwd.getpwuid(os.geteuid()).pw_name
        self.assertRegex(report[0], rf"^All is well\. Looked as the user {user}\b.*; settings: {self.path}, {base}\.$")
        in_force = self.look("check", "--settings-in-force", settings=settings)[1][1:]
        for line in (f"Main/PortKS = {self.modem} ({self.path})", f"Main/TimeOfQuery = \\d:00$ ({self.path})",
                     "Main/TimeOfSetTime = 00:00$ (default)", f"Base/BaseName = {self.database} ({base})",
                     f"Base/SqlPassword = *** ({base})"):
            self.assertIn(line, in_force)

    def test_json(self):
        base = write_file(self.directory, "base.ini", f"[Base]\nBaseName={self.database}\nSqlPassword=geheim\n")
        settings = self.put("\nLog", "0").replace("PortKS=", "PortKS=/none") + f"BaseIni={base}\n"
        code, report, complaints = self.look("check", "--json", settings=settings)
        found = json.loads("\n".join(report))
        in_force = found.pop("settings")
        self.assertEqual((code, complaints, found), (1, [], {
            "user": pwd.getpwuid(os.geteuid()).pw_name, "settingsFiles": [self.path, base],
            "problems": [{"about": "Main/PortKS", "text": f"Main/PortKS, /none{self.modem}: No such file or directory"}],
            "hints": [{"about": "Base/Log", "text": "Base/Log is 0: nothing will be logged but what is wrong with the "
                                                    "settings; set it to 1"}]}))
        self.assertIn({"key": "Base/SqlPassword", "value": "***", "origin": base}, in_force)
        self.assertIn({"key": "Main/NtpServer", "value": "", "origin": "default"}, in_force)

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
            (self.settings + "SqlPort=65536\n", "Base/SqlPort must be -1 or from 1 to 65535, not 65536"),
            (self.main("TimeOfQuery=:(00$"), 'Main/TimeOfQuery, ":(00$": '),
            (self.main(r'TimeOfGetTime="[0-9;]"\d:15$'), r"ini, line 2: in TimeOfGetTime, \d is an escape"),
            (self.main("TimeOfGetTime=24:00"), 'Main/TimeOfGetTime, "24:00": no time "dd hh:mm"'),
            (self.main("TimeOfSetTime="), 'Main/TimeOfSetTime, "": every minute matches'),
            (self.settings + "SqlPassword=ge;heim\n", "line 11: the value of Base/SqlPassword ends at the semicolon;"),
            (self.settings + "SqlPassword=;heim\r\n", "line 11: the value of Base/SqlPassword ends at the semicolon;"),
            (self.main('PortAlarmButton="a', 'NtpServer="'), "line 2: the value of Main/PortAlarmButton goes on in the next line"),
            (self.main("PortAlarmButton=a\\", "NtpServer="), "2: the value of Main/PortAlarmButton goes on in the next line"),
            (self.main("# The modem's line:"), f'{self.path}, line 2: "#" begins no comment in this format'),
            (self.main("", "#TimeOfQuery=:00$"), f'{self.path}, line 3: "#" begins no comment in this format'),
            (self.main("NtpServer 192.0.2.7"), f"{self.path}, line 2: this is neither [group] nor key=value"),
            (self.settings.replace("ServerName=ravelin\n", ""), "Base/ServerName is not set (NoName)"),
            (self.put("\nServerName", ""), "Base/ServerName is empty"),
            (self.put("Connections", "store ravelin"), 'Base/Connections names the daemon itself, "ravelin"'),
            (self.put("Connections", "store,hub"), '"store,hub" is one name; between two names stands a blank'),
            (self.put("AdminServerName", "ravelin"), 'Base/ServerName and Base/AdminServerName are the same, "ravelin"'),
            (self.put("\nServerName", "/none/ravelin"), "/none/ravelin: there is no directory /none"),
            (self.put("\nServerName", "s" * 108), "is too long for a socket, 107 bytes are the most"),
            (self.put("PortKS", "/dev/none"), "Main/PortKS, /dev/none: No such file or directory"),
            (self.put("PortCounterKTP", self.database), f"{self.database}: it is no device"),
            (self.put("PortKS", "/dev/null"), "Main/PortKS, /dev/null: it is no serial line"),
            (self.put("PortCounterKTP", self.modem), f"{self.modem}: this is the modem's line"),
            (self.put("LogName", "/dev/null/x"), "Base/LogName, /dev/null/x: it cannot be written"),
            (self.settings + "BDType=mysql\n", 'BDType must be sqlite3 or postgres, not "mysql"'),
            (self.put("BaseName", self.directory + "/new.db"), "new.db: it does not exist"),
            (self.main("TimeOfQuery=:(00|11)$", "TimeOfGetTime=03:35", "TimeOfSetTime=03:20"), "672.6 s (11.2 min) at best; meters behind nodes that would fit: 10"),
        ]
        for settings, complaint in rows:
            with self.subTest(complaint):
                self.assert_complains(complaint, settings)

    def test_hints(self):
        everybodys = os.path.join(self.directory, "everybodys")
        os.mkdir(everybodys)
        os.chmod(everybodys, 0o777)
        rows = [
            (self.put("\nLog", "0"), "Base/Log is 0: nothing will be logged"),
            (self.main("NtpServer=x", "NtpServer="), "line 3: Main/NtpServer is set in line 2 already; only the last"),
            (self.put("LogName", "the.log"), "Base/LogName, the.log: looked for in the directory that the daemon is started"),
            (self.put("AdminServerName", everybodys + "/admin"), f"everybody may write into {everybodys}, so whoever is first "
                                                                 f"there can take a name of the bus ({everybodys}/admin);"),
        ]
        for settings, hint in rows:
            with self.subTest(hint):
                self.assert_hints(hint, settings)
        self.assert_hints("everybody may write into /tmp, so whoever is first there can take a name of the bus "
                          "(admin, ravelin, store);", TMPDIR="/tmp")

    def test_time_daemon(self):
        rows = [
            ("echo '*192.0.2.70 .GPS.'", "NtpServer=192.0.2.7", None),  # anywhere in the line, as the daemon looks
            ("echo ' remote refid'; echo ===; echo '*192.0.2.70 .GPS.'; echo '+198.51.100.1 x'", "NtpServer=192.0.2.8",
             "Main/NtpServer, 192.0.2.8: ntpq -pn does not list it; polling would stand still from the first time sweep "
             "on (192.0.2.70, 198.51.100.1)"),
            ("echo 'read: Connection refused' >&2", "NtpServer=192.0.2.7",
             "Main/NtpServer, 192.0.2.7: ntpq -pn lists no server, the time daemon does not work; polling would stand "
             "still from the first time sweep on (read: Connection refused)"),
            ("sleep 100000 & echo $! > $CHILD; wait", "",
             "ntpq -pn: it has not ended within 30 s; polling would stop at the first time sweep"),
        ]
        child = self.enterContext(tempfile.NamedTemporaryFile("r", encoding="utf-8"))
        environment = {"CHILD": child.name, **faketime_environment(50, "2014-03-04 08:20:00"), "PATH": f"{self.directory}:/bin"}
        for script, line, complaint in rows:
            os.chmod(write_file(self.directory, "ntpq", f"#!/bin/sh\nexec 3<&0\n{script}\n"), 0o755)
            with self.subTest(script):
                if complaint:
                    self.assert_complains(complaint, self.main(line), **environment)
                else:
                    self.assertEqual(self.look("check", settings=self.main(line), **environment)[::2], (0, []))
        number = child.read().strip()
        wait_for(lambda: not os.path.exists(f"/proc/{number}"), "what ntpq started has ended, too")

    def test_files_and_directories(self):
        os.chmod(self.directory, 0o755)
        settings = self.settings + "SqlPassword=geheim\n"
        self.assert_complains(f"{self.path}: everybody can read the password (Base/SqlPassword); chmod o= helps", settings)
        os.chmod(self.path, 0o640)
        self.assertEqual(self.look("check", settings=settings)[::2], (0, []))
        self.assert_complains("Base/ServerName, ravelin: there is no directory /none", TMPDIR="/none")
        os.mkdir(os.path.join(self.directory, "bus"), 0o555)
        self.assert_complains(f"the directory {self.directory}/bus cannot be written", TMPDIR=self.directory + "/bus")
        os.chmod(self.path, 0)
        self.assertIn(f"Settings file {self.path} is not read", ravelinctl(
            *self.held, "check", "-settings", self.path, program=self.program)[2][0])

    def test_lines(self):
        line = "/dev/" + self.modem
        user, group = pwd.getpwuid(os.geteuid()).pw_name, grp.getgrgid(os.stat(line).st_gid).gr_name
        self.addCleanup(os.chmod, line, 0o620)
        os.chmod(line, 0)
        refused = f"Main/PortKS, {self.modem}: the user {user} may not open it; it belongs to the user {user} and the group "
        self.assert_complains(refused + f"{group}, mode 0")
        os.chmod(line, 0o060)
        if os.geteuid() == 0:
            os.chown(line, -1, grp.getgrnam(group := "dialout").gr_gid)
        self.assert_complains(refused + f"{group}, mode 60; put the user into the group: adduser {user} {group}")
        os.chmod(line, 0o620)
        with Process(settings=f"[Main]\nPortKS={self.modem}\n[Base]\n").start() as daemon:
            wait_for(lambda: self.look("check")[1][0].startswith("hint"), "the daemon has its line")
            self.assert_hints(f"the daemon runs (process {daemon.process.pid}) and has it")
        lock = write_file(os.path.realpath("/var/lock"), "LCK.." + self.modem.replace("/", "_"), f"{os.getpid()}\npython3\nhost\n")
        self.addCleanup(os.unlink, lock)
        self.assert_complains(f"Main/PortKS, {self.modem}: locked by process {os.getpid()}, lock file {lock}")
        fcntl.ioctl(self.slaves[self.modem], termios.TIOCEXCL)
        self.assert_complains(f"Main/PortKS, {self.modem}: another program has it: python3 (process {os.getpid()})")

    def test_all_at_once(self):
        code, _, complaints = self.look("check", PATH="/none",
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
        code, report, _ = self.look(*words, settings=self.main("UCAST_to_UCAST_Delay=60000", "TimeOfSetTime=^32",
                                                               "TimeOfGetTime=^32"))
        self.assertEqual(code, 1)
        self.assertEqual(report[:2], ['clock setting, TimeOfSetTime "^32":', "  never"])
        self.assertEqual([line for line in report if line.startswith("Warning")], [
            "Warning: the query sweep of 2014-03-04 23:30 cannot be over before 2014-03-05 00:00: 2822.6 s (47.0 min) "
            "at best; meters behind nodes that would fit: 4",
            "Warning: the query sweep of 2014-03-04 23:30 may not be over before 2014-03-05 00:00: 9161.6 s "
            "(152.7 min) at worst; meters behind nodes that would fit: 0"])
        self.assertEqual(report[-1], "In the group Field this would make it fit: Remedies=ce102")

    def test_every_key_with_its_default(self):
        known = set()
        for source in ("support/sysvar.cpp", "bus/serverplugin.cpp", "support/fieldconduct.cpp"):
            with open(os.path.join(ROOT, source), encoding="utf-8") as file:
                known |= set(re.findall(r'u"((?:Main|Base|Field)/\w+)"_s', file.read()))
        in_force = [ravelinctl("check", "--settings-in-force", "-settings", path)[1][-len(known):]
                    for path in (os.devnull, EXAMPLE)]
        self.assertEqual({line.split(" = ")[0] for line in in_force[0]}, known)
        self.assertEqual([line.replace("(default)", f"({EXAMPLE})") for line in in_force[0]], in_force[1])


if __name__ == "__main__":
    unittest.main(verbosity=2)
