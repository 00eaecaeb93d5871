"""The forwarder between a real SQLite file and a real PostgreSQL server."""

import datetime
import os
import random
import shutil
import signal
import socket
import sqlite3
import threading
import types
import unittest

from rig.centre import CLOCKS, TODAY, Centre, Controller
from rig.hub import Hub
from rig.process import wait_for

DAY = str(TODAY)
ENDED = {signal.SIGKILL: -9, signal.SIGTERM: 0}


def row(number, day=DAY, time="08:30:00", pwr=0.5, status=0):
    return (number, pwr, 0.25, 1.5, 2048.0, 123456.0, day, time, status)


class Forward(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.centre = cls.enterClassContext(Centre())

    def controller(self, **options):
        name = self.id().rsplit(".", 1)[1].removeprefix("test_")
        if not self.centre.psql(f"SELECT 1 FROM pg_roles WHERE rolname = '{name}'"):
            self.centre.add(name)
        return self.enterContext(Controller(self.centre, name, **options))

    def delivers(self, controller, *expected):
        self.assertEqual(controller.run("--once"), (0, "", ""), controller.log())
        self.assertEqual(controller.there(), sorted(expected, key=repr))

    def dead(self, controller):
        return self.centre.psql(f"SELECT kind, source_row, sqlstate FROM fleet.dead_letters WHERE controller = "
                                f"'{controller.name}' ORDER BY kind, source_row").split()

    def test_values(self):
        one = self.controller(keys="BatchRows=2")
        texts = [("u", "a\\b\tc\nd\r\\.", "x", DAY, "zz"), ("\\N", "", "'", DAY, "\\"), ("ж€😀", "\\.", "%1", DAY, "")]
        one.add(row(1), row(1), row(2**31 - 1, status=255), row(-7))  # equal rows are two rows
        one.add(*texts, table="time_table")
        self.delivers(one, *one.here())
        self.assertEqual(one.there("clock_readings", CLOCKS), sorted(texts, key=repr))

    def test_dead_letters(self):
        one = self.controller(keys="BatchRows=40")
        good = [row(number) for number in range(100)]
        bad = {3: row(3, pwr=1e300), 4: row(4, status=99999), 17: row("x\0y"), 41: row(41, day="now"),
               42: row(42, time="25:00:00"), 80: row(80, day=str(TODAY + datetime.timedelta(days=400))),
               99: row(99, day="1999-01-01")}
        one.add(*(bad.get(number, good[number]) for number in range(100)))
        one.add(("a\0b", "", "", DAY, ""), ("u", "", "", DAY, ""), table="time_table")
        self.delivers(one, *(good[number] for number in range(100) if number not in bad))
        self.assertEqual(self.dead(one), ["clocks|1|22021", "readings|4|22003", "readings|5|22003", "readings|18|22021",
                                          "readings|42|22007", "readings|43|22007", "readings|81|23514", "readings|100|23514"])
        self.assertEqual(one.status()["deadLetters"], 8)
        self.assertEqual(one.log().count("becomes a dead letter"), 8)

    def test_month_is_missing(self):
        one = self.controller()
        next_month = (TODAY.replace(day=1) + datetime.timedelta(days=31)).replace(day=1)
        self.centre.drop_month(next_month)
        rows = [row(1), row(2, day=str(next_month)), row(3)]
        one.add(*rows)
        self.assertEqual(one.run("--once")[0], 1)
        self.assertEqual(one.there(), rows[:1])
        self.assertEqual((one.status()["readings"]["waiting"], self.dead(one)), (2, []))
        self.assertIn("ravelinctl fleet months", one.status()["problem"])
        self.centre.fleet("months")
        self.delivers(one, *rows)

    def test_source_is_replaced(self):
        one = self.controller()
        copy = os.path.join(one.directory, "copy.db")
        rows = [row(number) for number in range(300)]
        one.add(*rows[:100])
        self.delivers(one, *rows[:100])
        with one.open() as file:
            file.execute(f"VACUUM INTO '{copy}'")
        one.add(*rows[100:150])
        self.delivers(one, *rows[:150])

        def put(path):
            for end in ("", "-wal", "-shm"):
                if os.path.exists(one.file + end):
                    os.unlink(one.file + end)
            if path:
                shutil.copy(path, one.file)
            else:
                one.make_file()

        put(copy)  # the rows that come now have the numbers of others that were delivered
        one.add(*rows[150:220])
        self.delivers(one, *rows[:220])
        with one.open() as file:
            file.execute("DELETE FROM Main_Data WHERE rowid < 160")
            file.execute("VACUUM")
        self.delivers(one, *rows[:220])
        with one.open() as file:
            file.execute("DELETE FROM Main_Data")
        one.add(*rows[220:240])
        self.delivers(one, *rows[:240])
        one.start()  # under its eyes
        one.wait_for_log("up to row 20,")
        put(None)
        one.add(*rows[240:270])
        wait_for(lambda: len(one.there()) >= 270, "the rows of the new file")
        one.process.terminate()
        self.assertEqual(one.process.wait(20), 0)
        os.unlink(one.file + "-forward")  # the notes are lost: the centre's mark tells which file it is
        one.add(*rows[270:])
        self.delivers(one, *rows)

    def test_killed(self):
        one = self.controller(keys="BatchRows=50")
        chance = random.Random(5)
        rows = [row(number) for number in range(6000)]
        writer = threading.Thread(target=lambda: [one.add(*rows[at:at + 200]) for at in range(0, 6000, 200)])
        writer.start()
        for signal_number in [signal.SIGKILL, signal.SIGTERM] * 5:
            one.start()
            before = len(one.there())
            wait_for(lambda: len(one.there()) > before + chance.randrange(300) or len(one.there()) == 6000, "rows")
            one.process.send_signal(signal_number)
            self.assertEqual(one.process.wait(20), ENDED[signal_number], one.log())
        writer.join()
        self.delivers(one, *rows)

    def test_complaints(self):
        good = self.controller()
        good.add(row(1))
        for string, what in [
                (self.centre.string(good.name, "wrong"), "password authentication failed"),
                (self.centre.string("nobody"), "password authentication failed"),
                (self.centre.string("other"), "The connection to the centre is that of the controller other"),
                (self.centre.string("removed"), "The centre does not know the controller"),
                ("host=192.0.2.1 hostaddr=127.0.0.1 port=1", "Connection refused"),
                ("host=no.such.host.invalid", "no.such.host.invalid")]:
            with self.subTest(what), Controller(self.centre, good.name, string=string) as one:
                for name in ("other", "removed"):
                    if not self.centre.psql(f"SELECT 1 FROM pg_roles WHERE rolname = '{name}'"):
                        self.centre.add(name)
                self.centre.psql("UPDATE fleet.controllers SET removed = now() WHERE controller = 'removed'")
                one.add(row(1))
                self.assertEqual(one.run("--once")[0], 1)
                self.assertIn(what, one.log())
                self.assertNotIn("wrong", one.log())
        for change, what in [("UPDATE fleet.info SET version = 7", "has another version: 7, not 1"),
                             ("ALTER VIEW fleet_schema RENAME TO away", "has another version: none, not 1")]:
            self.centre.psql(change)
            self.assertEqual(good.run("--once")[0], 1)
            self.assertIn(what, good.log())
        self.centre.psql("ALTER VIEW away RENAME TO fleet_schema; UPDATE fleet.info SET version = 1")
        self.delivers(good, row(1))

    def test_wrong_use(self):
        one = self.controller()
        for keys, what in [("Register=both", "Register must be"), ("BatchRows=0", "BatchRows must be"),
                           ("Controller=", "Controller is missing"), ("Centre=password=ge heim", "no connection string"),
                           ("Source=/nowhere.ini", "/nowhere.ini")]:
            with Controller(self.centre, one.name) as other:
                with open(other.settings, "a", encoding="utf-8") as file:
                    file.write(keys + "\n")
                code, _, complaints = other.run("--once")
                self.assertEqual(code, 2)
                self.assertIn(what, complaints)
        self.assertEqual(one.run("--json")[0], 2)
        os.unlink(one.file)
        self.assertEqual(one.run("--once")[0], 1)
        self.assertIn("there is no such file yet", one.log())

    def test_two_forwarders(self):
        one = self.controller()
        one.start()
        one.wait_for_log("Connected")
        self.assertEqual(one.run(), (3, "", f"ravelin-forward: another forwarder delivers this source, lock file "
                                            f"{one.file}-forward.lock\n"))
        self.assertTrue(one.status()["running"])

    def test_stops_while_nobody_answers(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            one = self.controller(string=f"host=127.0.0.1 port={silent.getsockname()[1]} user=x")
            one.start()
            with silent.accept()[0]:
                one.process.terminate()
                self.assertEqual(one.process.wait(10), 0)

    def test_foreign_rows(self):
        one, victim = self.controller(), "victim"
        self.centre.add(victim)
        with Controller(self.centre, victim) as other:
            other.add(row(1))
            self.assertEqual(other.run("--once")[0], 0)
        for sql in ("SELECT * FROM fleet.readings", "SELECT * FROM fleet.marks", "SELECT * FROM fleet.dead_letters",
                    f"COPY fleet.readings (controller, global_id) FROM STDIN;\n{victim}\t1\n\\.",
                    f"INSERT INTO fleet.readings (controller) VALUES ('{victim}')", "DELETE FROM main_data",
                    "UPDATE main_data SET pwr = 0", "TRUNCATE fleet.readings", "COPY fleet.readings TO STDOUT"):
            code, said = self.centre.as_role(one.name, sql)
            self.assertEqual(code, 3, sql)
            self.assertIn("permission denied", said, sql)
        for sql in ("SELECT * FROM main_data", "SELECT * FROM forward_marks", "UPDATE forward_marks SET last_row = 9",
                    "SET SESSION ROLE none; SELECT * FROM main_data",
                    "CREATE FUNCTION pg_temp.look(int) RETURNS bool AS $$ BEGIN RAISE NOTICE 'row %', $1; RETURN true; END $$ "
                    "LANGUAGE plpgsql COST 0.0001; SELECT * FROM main_data WHERE pg_temp.look(global_id)"):
            self.assertEqual(self.centre.as_role(one.name, sql), (0, ""), sql)
        self.assertEqual(self.centre.psql(f"SELECT last_row FROM fleet.marks WHERE controller = '{victim}' "
                                          "AND kind = 'readings'"), "1\n")

    def test_register(self):
        meters = [(1, "KTP", "12345", "CE301", 1, ""), (2, "000D6F0000000001", "7", "SET3", 0, "it's")]
        down, up = self.controller(keys="Register=centre"), self.controller(keys="Register=local")
        up.add(*meters, table='"Counters"')
        self.assertEqual(up.run("--once"), (0, "", ""), up.log())
        self.assertEqual(down.run("--once")[0], 0)
        self.assertEqual(down.here('"Counters"', "*"), meters)
        self.centre.as_role(down.name, "UPDATE \"Counters\" SET \"Model\" = 'CE999' WHERE global_id = 2")
        self.assertEqual(down.run("--once")[0], 0)
        self.assertIn("Model must be", down.status()["register"])
        self.centre.as_role(down.name, "DELETE FROM \"Counters\"")
        self.assertEqual(down.run("--once")[0], 0)
        self.assertIn("is empty", down.status()["register"])
        self.assertEqual(down.here('"Counters"', "*"), meters)

    def test_the_hub_tells_how_far_it_is(self):
        one = self.controller()
        daemon = os.path.join(one.directory, "daemon.ini")
        with open(daemon, "a", encoding="utf-8") as file:
            file.write("ServerName=probe\nAdminServerName=admin\n")
        site = types.SimpleNamespace(speed=0, start_time=None, directory=one.directory, settings_path=daemon)
        with Hub(site).start() as hub:
            told = lambda: hub.ask("GET", "/api/status")[1]["forwarder"]
            self.assertIsNone(told())
            one.add(row(1))
            self.assertEqual(one.run("--once")[0], 0)
            one.add(row(2), row(3))
            one.add(("u", DAY, "", DAY, ""), table="time_table")
            self.assertEqual(told() | {"lagSeconds": 0}, {"running": False, "problem": "", "deadLetters": 0, "waiting": 3,
                                                          "lagSeconds": 0})
            one.start()
            wait_for(lambda: told()["waiting"] == 0, "the hub to tell that nothing waits")
            self.assertTrue(told()["running"])


if __name__ == "__main__":
    unittest.main()
