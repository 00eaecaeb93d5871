"""The hub: strangers on its bus, the files of sweeps through faults, and beside a real daemon."""

import concurrent.futures
import contextlib
import os
import signal
import socket
import sqlite3
import struct
import subprocess
import unittest

from rig import BUILD
from rig import buspeer as bus
from rig.hub import Hub, PlayedDaemon, clock, reading
from rig.process import Process, wait_for, write_file
from rig.sqlite import Sqlite
from rig.substation import NODE, SETTINGS, Site

DAEMON = "[Base]\nServerName=probe\nAdminServerName=admin\nConnections=other hub\n"
NAME = "2014-03-04-08-30-00.db"


def rows(path, table="Main_Data"):
    with contextlib.closing(sqlite3.connect(f"file:{path}?mode=ro", uri=True)) as connection:
        return connection.execute(f'SELECT * FROM "{table}"').fetchall()


class Played(unittest.TestCase):
    """A hub whose daemon is played by the test."""

    def setUp(self):
        self.site = self.enterContext(Process(settings=DAEMON, speed=20))
        self.hub = self.enterContext(Hub(self.site))
        self.hub.start()


class Settings(Played):
    def test_what_is_wrong(self):
        """Each told in a line; the hub works with the default."""
        wrong = [("KeepDays=0", "Hub/KeepDays is 0, not 1 to 36500. The default 30 applies"),
                 ("LedgerDays=many", "Hub/LedgerDays is not a number: \"many\". The default 62 applies"),
                 ("OpenReading=perhaps", "Hub/OpenReading is \"perhaps\", neither yes nor no. no applies"),
                 ("Deadline=25:00", "Hub/Deadline is \"25:00\", no time as in 06:00, which applies"),
                 ("Socketgroup=x", "Hub/Socketgroup is no setting"), ("BusUsers=nobody-here", "Hub/BusUsers: there is no user nobody-here"),
                 ("AdminName=boss", f"{self.site.settings_path} has the AdminServerName \"admin\", not boss: that daemon will not connect")]
        with Hub(self.site, "\n".join(line for line, _ in wrong)) as hub:
            hub.start()
            for _, sentence in wrong:
                line = f"Settings file {hub.settings_path}: {sentence}"
                self.assertIn(line, hub.log_texts())
                self.assertIn(line + "\n", hub.stderr())

    def test_service_manager(self):
        """It is told that the hub is up, which daemons are away, again and again that it works, and that it ends."""
        with contextlib.closing(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)) as manager, Hub(self.site, "AdminName=a\nPeerName=b\n") as hub:
            manager.bind(hub.path("notify"))
            manager.settimeout(20)
            hub.environment = {"NOTIFY_SOCKET": hub.path("notify"), "WATCHDOG_USEC": "4000000"}
            hub.start()
            self.assertEqual({manager.recv(999) for _ in range(5)}, {b"STATUS=daemons that are not connected: probe", b"READY=1", b"WATCHDOG=1"})
            hub.signal(signal.SIGTERM)
            self.assertEqual(hub.wait(), 0)
            while manager.recv(999) != b"STOPPING=1":
                pass

    def test_no_daemon(self):
        for text, sentence in (("", "has no ServerName: that daemon cannot be connected"),
                               ("[Base]\nServerName=../up\n", "cannot be a directory's name: that daemon is left out"),
                               ("[Base]\nServerName=hub\n", "which is the hub's own: that daemon is left out")):
            path = write_file(self.site.directory, "none.ini", text)
            settings = write_file(self.site.directory, "alone.ini", f"[Hub]\nDaemons={path}\nLogName={path}.log\n")
            done = subprocess.run([os.path.join(BUILD, "ravelin-hub"), "--settings", settings], capture_output=True, text=True,
                                  timeout=20, env=dict(os.environ, TMPDIR=self.site.directory))
            self.assertEqual(done.returncode, 1)
            self.assertIn(sentence, done.stderr)
            self.assertIn("No daemon is left", done.stderr)


class Strangers(Played):
    def test_they_do_no_harm(self):
        daemon = PlayedDaemon(self.hub)
        self.hub.wait_for_log("The daemon probe is connected")
        sent_away = [("garbage", os.urandom(4096)), ("a length below 0", struct.pack(">i", -1)),
                     ("a long frame", struct.pack(">i", 49_000_000) + b"x" * 2000),
                     ("a command first", bus.command(b"QuitSignal")), ("another name", bus.identify(b"\x1b[31mprobe")),
                     ("a sweep first", bus.data(0, b"tempdb"))]
        for name in ("admin", "hub"):
            for what, sent in sent_away:
                with self.subTest(what, name=name), contextlib.suppress(ConnectionResetError, BrokenPipeError):
                    stranger = self.hub.connect(name)
                    stranger.send(sent)
                    self.assertIsNone(stranger.read_frame(20))
        silent = [self.hub.connect("hub") for _ in range(40)]
        for stranger in silent:  # those beyond the number at once, the others when their time is over
            with contextlib.suppress(ConnectionResetError):
                self.assertIsNone(stranger.read_frame(20))
        self.assertNotIn("\x1b", "".join(self.hub.log()))
        daemon.send_sweep(NAME, reading(7))
        self.hub.wait_for_file(NAME)

    def test_a_name_that_is_taken(self):
        """The name of a bus that somebody listens under is left to him, and taken when it is free."""
        with Process(settings=DAEMON) as site, Hub(site) as hub:
            other = hub.listen("admin")
            hub.start()
            hub.wait_for_log("Cannot listen on the bus as admin: another program does")
            other.close()
            hub.wait_for_log("Listening on the bus as admin")


class SweepFiles(Played):
    def test_records(self):
        """Whatever numbers and texts: each record is a row."""
        daemon = PlayedDaemon(self.hub)
        nan = float("nan")
        daemon.send_sweep(NAME, reading(-1, (0.1, 16777216, -2.5, nan, 1e30)) + reading(7, date=b"'; DROP --", time=b"\xff\0x", status=-3))
        self.assertEqual(rows(self.hub.wait_for_file(NAME)), [(-1, 0.1, 16777216.0, -2.5, None, 1e30, "2014-03-04", "08:30:00", 0),
                                                              (7, 0, 0, 0, 0, 0, "'; DROP --", "ÿ", -3)])
        times = "time_'now'-'now'.db"
        daemon.send_sweep(times, clock(7, b"2014-03-04 08:31:07", b"2014-03-04 08:31:00") + clock(8, b"odd", b""), b"tempdb_t")
        self.assertEqual(rows(self.hub.wait_for_file(times), "time_table"),
                         [(7, "2014-03-04", "08:31:07", "2014-03-04", "08:31:00"), (8, "odd", "", "", "")])

    def test_names_and_empty_sweeps(self):
        daemon = PlayedDaemon(self.hub)
        daemon.send_sweep(NAME, reading(7))
        for name in ("../" + NAME, "/tmp/" + NAME, "", ".db", "x" * 100_000, NAME + "\n", NAME + "\0.db", "time_" + NAME,
                     "2014-03-04-08-30-0\x1b.db"):
            daemon.send_sweep(name, reading(8))
        daemon.send_sweep(NAME, b"")
        daemon.send_sweep(NAME.replace("08-30", "09-00"), b"")
        daemon.send_sweep(NAME.replace("08-30", "09-30"), reading(9) + b"half of one")
        self.hub.wait_for_file(NAME.replace("08-30", "09-30"))
        self.assertEqual(self.hub.files(), [NAME, NAME.replace("08-30", "09-30")])
        self.assertEqual([row[0] for name in self.hub.files() for row in rows(os.path.join(self.hub.sweeps, "probe", name))], [7, 9])
        self.assertEqual(sum(" is refused: its file name is " in line for line in self.hub.log()), 9)
        self.assertNotIn("\x1b", "".join(self.hub.log()))

    def test_newest_days_stay(self):
        self.hub.__exit__(None)
        with Hub(self.site, "KeepDays=2") as hub:
            hub.start()
            daemon = PlayedDaemon(hub)
            for day in ("2014-03-04", "1970-01-01", "2014-03-06", "2014-03-05"):
                for prefix, word, row in (("", b"tempdb", reading(7)), ("time_", b"tempdb_t", clock(7, b"", b""))):
                    daemon.send_sweep(f"{prefix}{day}-08-30-00.db", row, word)
            wait_for(lambda: hub.files() == [f"{prefix}2014-03-0{day}-08-30-00.db" for prefix in ("", "time_") for day in (5, 6)],
                     f"the newest two days: {hub.files()}")

    def test_what_cannot_be_written_waits(self):
        write_file(self.hub.directory, "sweeps", "in the way")
        daemon = PlayedDaemon(self.hub)
        names = [f"2014-03-04-{hour:02}-00-00.db" for hour in range(24)]
        for name in names:
            daemon.send_sweep(name, reading(7))
        complaint = f"Sweep files cannot be written to {self.hub.sweeps}/probe: Not a directory"
        self.hub.wait_for_log(complaint)
        os.unlink(self.hub.sweeps)
        self.hub.wait_for_log(f"Sweep files are written to {self.hub.sweeps}/probe again")
        wait_for(lambda: self.hub.files() == names, "all of them")
        self.assertEqual(self.hub.log_texts().count(complaint), 1)

    def test_a_kill_leaves_no_half_file(self):
        many = b"".join(map(reading, range(60_000)))
        for time in range(5):
            daemon = PlayedDaemon(self.hub)
            daemon.send_sweep(NAME, reading(time))
            path = self.hub.wait_for_file(NAME)
            wait_for(lambda now=time: rows(path)[0][0] == now, "the small sweep")
            daemon.send_sweep(NAME, many)
            wait_for(lambda: ".unfinished" in self.hub.files() or len(rows(path)) > 1, "the hub writes", pause=0)
            self.hub.signal(signal.SIGKILL)
            self.hub.wait()
            daemon.close()
            self.assertIn(len(rows(path)), (1, 60_000))
            self.hub.start()
            self.assertEqual(self.hub.files(), [NAME])

    def test_what_was_sent_before_the_end_is_kept(self):
        daemon = PlayedDaemon(self.hub)
        self.hub.wait_for_log("The daemon probe is connected")
        self.hub.signal(signal.SIGSTOP)
        names = [f"2014-03-04-{hour:02}-30-00.db" for hour in range(24)]
        for name in names:
            daemon.send_sweep(name, b"".join(map(reading, range(100))))
        daemon.close()
        self.hub.signal(signal.SIGTERM)
        self.hub.signal(signal.SIGCONT)
        self.assertEqual(self.hub.wait(), 0)
        self.assertEqual(self.hub.files(), names)


class Links(unittest.TestCase):
    """Two daemons, one that connects to its peer and one that the hub connects to, played by the test."""

    def setUp(self):
        self.site = self.enterContext(Process(settings=DAEMON, speed=20))
        west = write_file(self.site.directory, "west.ini", "[Base]\nServerName=west\nAdminServerName=admin\n")
        self.hub = self.enterContext(Hub(self.site, f"Daemons={self.site.settings_path} {west}\n"))
        self.west_server = self.hub.listen("west")
        self.hub.start()
        self.probe = PlayedDaemon(self.hub)
        self.west = PlayedDaemon(self.hub, "west", self.hub.accept(self.west_server))
        self.assertEqual(self.west.peer.read_frame(), bus.identify(b"hub"))
        for daemon in (self.probe, self.west):
            self.assertEqual(daemon.read_command()[0], b"Input_Data_Off")
            self.assertEqual(daemon.read_command()[0], b"Get_ZDevices")

    def ask_later(self, *words):
        return self.enterContext(concurrent.futures.ThreadPoolExecutor()).submit(self.hub.ask, "POST", *words)

    def test_replies_find_their_callers(self):
        first, second = [self.ask_later("/api/commands/About?controller=west") for _ in range(2)]
        ids = [self.west.read_command()[2] for _ in range(2)]
        noise = [(b"About", ids[0] + 1000), (b"Get_ZDevices", ids[0]), (b"InData", ids[0]), (b"", -1)]
        for name, connection in noise:
            self.west.admin.send(bus.action(name, b"wrong", b"", connection))
        self.probe.admin.send(bus.action(b"About", b"wrong", b"", ids[0]))
        for connection in reversed(ids):
            self.west.admin.send(bus.action(b"About", b"%d" % connection, b"", connection) * 2)
        self.assertEqual({first.result(20)[1]["reply"], second.result(20)[1]["reply"]}, {str(connection) for connection in ids})

    def test_no_answer(self):
        silent = self.ask_later("/api/commands/About")
        self.probe.read_command()
        self.assertEqual(silent.result(20)[0], 504)
        lost = self.ask_later("/api/commands/Get_ZDevices")
        self.probe.read_command()
        self.probe.close()
        self.assertEqual(lost.result(20)[0], 503)
        self.assertEqual(self.hub.ask("POST", "/api/commands/Need_query")[0], 503)
        self.assertEqual(self.hub.ask("POST", "/api/commands/Need_query?controller=west")[0], 202)

    def test_directories(self):
        """Each daemon has its own, and one that connects again has one still."""
        self.west.send_sweep(NAME, reading(2))
        self.probe.send_sweep(NAME, reading(1))
        again = PlayedDaemon(self.hub)
        self.assertIsNone(self.probe.peer.read_frame(20))
        again.send_sweep(NAME.replace("08", "09"), reading(3))
        self.hub.wait_for_file(NAME.replace("08", "09"))
        wait_for(lambda: [self.hub.files("probe"), self.hub.files("west")] == [[NAME, NAME.replace("08", "09")], [NAME]], "the files")
        self.west.peer.close()
        self.west.peer = self.hub.accept(self.west_server)  # the hub connects again
        self.west.send_sweep(NAME.replace("08", "10"), reading(4))
        self.hub.wait_for_file(NAME.replace("08", "10"), "west")

    def test_live_view(self):
        """On while somebody follows the traffic, also in a daemon that was started meanwhile."""
        reader = self.hub.follow("/api/events?kinds=traffic,log,alarm")
        self.assertEqual([self.probe.read_command()[0], self.west.read_command()[0]], [b"Input_Data_On"] * 2)
        for message, data in ((b"COM-port data", b"\r\nFFD:000D6F0000001001\r\n"), ("Данные COM-порта".encode(), b"\xff"),
                              (b"COM-port data counter port", b"42"), (b"\x1b]0;odd\xff", b"")):
            self.west.admin.send(bus.action(b"InData", message, data, -1))
        self.probe.peer.send(bus.data(0, b"".join(map(bus.byte_array, (
            b"error", "Error-x".encode("utf-16-be"), b"1#2014-03-04 08:30:00#ERROR:256#\n")))))
        seen = sorted((next(reader) for _ in range(5)), key=lambda event: event[1]["controller"] == "west")
        kinds = [(kind, data["controller"], data.get("port"), data.get("bytes"), data.get("code")) for kind, data in seen]
        self.assertEqual(kinds, [("alarm", "probe", None, None, 256), ("traffic", "west", "modem", b"\r\nFFD:000D6F0000001001\r\n".hex(), None),
                                 ("traffic", "west", "modem", "ff", None), ("traffic", "west", "substation", "3432", None),
                                 ("log", "west", None, None, None)])
        self.assertEqual(seen[1][1]["lines"][0]["uin"], "000D6F0000001001")
        self.west.close()
        west = PlayedDaemon(self.hub, "west", self.hub.accept(self.west_server))
        self.assertEqual(west.read_command()[0], b"Input_Data_On")
        reader.close()
        commands = iter(self.probe.read_command, None)
        self.assertEqual(next(commands)[0], b"Input_Data_Off")


class Beside(unittest.TestCase):
    """A hub beside a real daemon and the virtual substation."""

    def setUp(self):
        settings = SETTINGS.replace("[Main]", "[Field]\nRemedies=all\nPacing=answers\n[Main]\nTimeOfQuery=never")
        self.database = Sqlite()
        self.site = self.enterContext(Site(self.database.keys, start="2014-03-04 08:20:00", speed=40, settings=settings,
                                            scenario=f"[all]\nseed = 3\n[node {NODE % 8}]\nsilent = yes\n"))
        self.site.start_substation()
        self.hub = self.enterContext(Hub(self.site)).start()
        self.site.start()
        self.hub.wait_for_log("The daemon probe is connected")

    def command(self, name, argument=None):
        return self.hub.ask("POST", f"/api/commands/{name}", None if argument is None else {"argument": argument})

    def traffic(self):
        with open(self.site.path("traffic"), encoding="ascii") as file:
            return file.read()

    def test_commands(self):
        """Each acts or answers; what is none does neither."""
        self.assertEqual(len(self.hub.ask("GET", "/api/commands")[1]["commands"]), 14)
        status, said = self.command("About")
        self.assertEqual((status, said["command"]), (200, "About"))
        self.assertIn(f"База данных: {self.site.path('z.db')}\n", said["reply"])
        nodes = [NODE % i for i in range(1, 9)]  # the modem has listed some of them at first
        wait_for(lambda: sorted(self.command("Get_ZDevices")[1]["reply"])[1:] == nodes, "all nodes")
        for name in ("Reset_KS", "Query_counter", "Send_counter_number", "Send_KI_number"):
            for argument in (None, "", "x", NODE % 1 + "\r"):
                self.assertEqual(self.command(name, argument)[0], 400, name)
        self.assertEqual(self.command("Need_query", "x")[0], 400)
        for name in ("need_query", "Watch_Arrow_On", "", "..%2F", "Get_ZDevices2"):
            self.assertEqual(self.command(name)[0], 404, name)
        seen = [("Write_direct_in_port", "61 74 69 0d 0a", "daemon ati\\r\\n"), ("Send_counter_number", NODE % 2, "\\xc0\\x07"),
                ("Send_KI_number", NODE % 3, "\\xc0\\x063\\xc1"), ("Reset_KS", NODE % 1, f"ATREMS:{NODE % 1},16=00f8"),
                ("Send_main_UIN", None, "\\xc0\\x05000D6F0000000001"), ("Query_counter", NODE % 4, "\\xc0\\x02\\xc1")]
        for name, argument, on_the_line in seen:
            before = self.traffic().count(on_the_line)
            self.assertEqual(self.command(name, argument), (202, {"command": name, "sent": True}))
            wait_for(lambda: self.traffic().count(on_the_line) > before, name)
        for name in ("Send_04_command", "Input_Data_On", "Input_Data_Off", "Send_counters_numbers", "Need_query"):
            self.assertEqual(self.command(name)[0], 202, name)
        wait_for(self.hub.files, "the sweep that was asked for", 60)
        self.assertEqual(self.command("QuitSignal")[0], 202)
        self.assertEqual(self.site.wait(), 0)
        self.hub.wait_for_log("The daemon probe is not connected any more")
        self.assertEqual(self.command("About"), (503, {"error": "The daemon is not connected."}))
        self.assertIn("daemon", [problem["key"] for problem in self.hub.ask("GET", "/api/status")[1]["problems"]])

    def test_restarts(self):
        """Sweeps of a daemon before and after either was started anew are files with the daemon's rows."""
        self.command("Need_query")
        wait_for(self.hub.files, "the first sweep", 60)
        self.hub.signal(signal.SIGTERM)
        self.assertEqual(self.hub.wait(), 0)
        self.site.wait_for_log("The administrative server admin is lost, and will be connected again")
        self.hub.start()
        self.hub.wait_for_log("The daemon probe is connected", 2)
        self.command("Need_query")
        wait_for(lambda: len(self.hub.files()) == 2, "the second sweep", 60)
        self.site.signal(signal.SIGKILL)
        self.site.wait()
        for lock in self.site.port_locks():
            os.unlink(lock)
        self.site.start_time = "2014-03-04 10:00:00"  # its clock would begin anew, and a sweep might have the first one's stamp
        self.site.start()
        self.hub.wait_for_log("The daemon probe is connected", 3)
        self.command("Need_query")
        wait_for(lambda: len(self.hub.files()) == 3, "the third sweep", 60)
        kept = sorted(row for name in self.hub.files() for row in rows(os.path.join(self.hub.sweeps, "probe", name)))
        stored = self.database.rows(self.site, 'SELECT * FROM "Main_Data" WHERE time_r IN (%s)' % ", ".join(f"'{row[7]}'" for row in kept))
        as_floats = lambda row: (row[0], *(struct.pack("f", energy) for energy in row[1:6]), *row[6:])
        self.assertEqual(sorted(map(as_floats, kept)), sorted(map(as_floats, stored)))
        self.assertEqual(len(kept), 27)


if __name__ == "__main__":
    unittest.main(verbosity=2)
