"""The administrator's commands and live view, byte for byte: on the bus, on the modem's line, on the debug output."""

import contextlib
import os
import pty
import select
import shutil
import sqlite3
import struct
import subprocess
import time
import tty
import unittest

from rig import BUILD
from rig import buspeer as bus
from rig.process import Process, wait_for, write_file

SETTINGS = "[Base]\nAdminServerName=admin\nServerName=probe\nBaseName=%s\n[Main]\nPortKS=%s\nPortCounterKTP=%s\nRepeateQueryKTPNumber=0\n"
UIN, NODE = b"000D6F0000000001", b"000D6F00001733EB"


class ModemLine:
    """The modem's end of the daemon's serial line."""

    def __init__(self):
        self.master, self.slave = pty.openpty()
        tty.setraw(self.slave)
        self.path = os.ttyname(self.slave)
        self.received = b""

    def say(self, raw):
        os.write(self.master, raw)

    def expect(self, raw):
        """The next bytes that the daemon writes are `raw`."""
        before = self.skip_to(raw)
        assert not before, before

    def skip_to(self, raw, timeout=20.0):
        """What the daemon writes before `raw`."""
        deadline = time.monotonic() + timeout
        while raw not in self.received:
            if not select.select([self.master], [], [], max(0.0, deadline - time.monotonic()))[0]:
                raise TimeoutError(f"the daemon wrote only {self.received!r}")
            self.received += os.read(self.master, 4096)
        before, self.received = self.received.split(raw, 1)
        return before

    def close(self):
        os.close(self.master)
        os.close(self.slave)


class CommandLine(unittest.TestCase):
    def test_questions(self):
        with Process(settings=None) as home:
            program = shutil.copy(os.path.join(BUILD, "ravelin"), os.path.join(home.directory, "twin"))
            environment = dict(os.environ, XDG_STATE_HOME=home.directory)
            for question, words in (("--version", ["ravelin 0.1.0\n"]),
                                    ("--help", ["Usage: ravelin [-settings FILE]...\n", " /etc/ravelin/twin.ini,",
                                                f"{program}.ini.\n"])):
                done = subprocess.run([program, question], env=environment, capture_output=True, text=True, timeout=10)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                for word in words:
                    self.assertIn(word, done.stdout)
            self.assertEqual(os.listdir(home.directory), ["twin"])

    def test_rights_of_what_it_makes(self):
        """The user's and the group's alone, whatever its caller has set."""
        with Process(speed=50) as home:
            home.write_settings(SETTINGS % (os.path.join(home.directory, "new.db"), "/none", "/none"))
            self.addCleanup(os.umask, os.umask(0))
            home.start_with_admin("probe")
            for name, rights in (("the.log", 0o640), ("new.db", 0o640), ("probe", 0o770)):
                self.assertEqual(oct(os.stat(os.path.join(home.directory, name)).st_mode & 0o777), oct(rights), name)

    def test_settings_at_the_end(self):
        """Without a file behind it, it stands for the usual files, which then count alone."""
        with contextlib.closing(ModemLine()) as named, contextlib.closing(ModemLine()) as usual, Process() as home:
            home.program = shutil.copy(os.path.join(BUILD, "ravelin"), os.path.join(home.directory, "twin"))
            home.arguments = ["-settings", write_file(home.directory, "a.ini", f"[Main]\nPortKS={named.path}\n"), "-settings"]
            write_file(home.directory, "twin.ini", f"[Main]\nPortKS={usual.path}\n")
            home.start()
            usual.expect(b"atz\r\n")


class Administrator(unittest.TestCase):
    def setUp(self):
        self.modem, self.counter = ModemLine(), ModemLine()
        self.addCleanup(self.modem.close)
        self.addCleanup(self.counter.close)
        self.home = self.enterContext(Process(speed=8))
        self.database = os.path.join(self.home.directory, "z.db")
        self.home.write_settings(SETTINGS % (self.database, self.modem.path, self.counter.path))
        with contextlib.closing(sqlite3.connect(self.database)) as connection:
            connection.execute('CREATE TABLE "Counters" (global_id, "UIN", "Number", "Model", "Type" integer, "KI_Number")')
            connection.execute('INSERT INTO "Counters" VALUES (7, ?, 192, \'SET3\', 0, 40)', (NODE.decode(),))
            connection.execute('INSERT INTO "Counters" VALUES (1, "KTP", 1, \'CE301\', 1, 0)')
            connection.commit()
        listener = self.home.listen("admin")
        self.home.start()
        self.modem.expect(b"atz\r\nati\r\n")
        self.assertNotIn("Start Ok!", self.home.log_texts())
        self.modem.say(b"\r\nR123X\r\n" + UIN + b"\r\nOK\r\n")
        self.modem.expect(b"atz\r\nat+jn\r\nat+en\r\nat+sn\r\n")
        self.modem.expect(b"at+bcastb:13,00\r\xc0\x05" + UIN + b"\xc1")
        self.admin = self.home.accept(listener)
        self.admin.read_frame()
        self.home.wait_for_log("Start Ok!")

    def expect_action(self, name, message, data, connection):
        self.assertEqual(self.admin.read_frame(), bus.action(name, message, data, connection))

    def test_commands(self):
        self.admin.send(bus.command(b"About", connection=7))
        self.expect_action(b"About", "----\nИнформация о сборке.\nВерсия модуля: 5.4.54:0df2e73b28c0\nВерсия Tessel: 0.1.0\n\n"
                           f"----\nИнформация о работе модуля.\nБаза данных: {self.database}\n".encode(), b"", 7)

        self.modem.say(b"\r\nFFD:" + NODE + b"\r\n")
        wait_for(lambda: '"NEW: 000D6F00001733EB\\n"' in self.home.stderr(), "the node")
        self.admin.send(bus.command(b"xGet_ZDevices2", connection=-3))
        nodes = struct.pack(">i", 2) + bus.byte_array(UIN) + bus.byte_array(NODE)
        self.expect_action(b"xGet_ZDevices2", b"xGet_ZDevices2", nodes, -3)

        self.admin.send(bus.command(b"Send_counters_numbers") + bus.command(b"Send_main_UIN"))
        self.modem.expect(b"at+bcastb:13,00\r\xc0\x05" + UIN + b"\xc1")
        self.admin.send(bus.command(b"Need_query"))
        self.modem.skip_to(b"at+bcastb:03,00\r\xc0\x01\xc1")
        self.modem.skip_to(b"at+ucastb:03," + NODE + b"\r\xc0\x02\xc1at+bcastb:02,00\r\xc0\xc1")

    def test_commands_to_the_modem(self):
        for nothing in (b"xSend_main_UIN", b"send_main_uin", b"Send_04_command", b"Send_counter_number"):
            self.admin.send(bus.command(nothing))
        rows = [
            (b"Send_counter_number", NODE, b"at+ucastb:08," + NODE + b"\r\xc0\x07\x7d\xe0\x00\x00\x00\xc1"),
            (b"Send_KI_number", NODE, b"at+ucastb:05," + NODE + b"\r\xc0\x0640\xc1"),
            (b"Write_direct_in_port", b"\x00\xffat\r", b"\x00\xffat\r"),
            (b"Query_counter", NODE, b"at+ucastb:03," + NODE + b"\r\xc0\x01\xc1at+ucastb:03," + NODE + b"\r\xc0\x02\xc1"),
            (b"Query_counter", None, b"at+ucastb:03,\r\xc0\x01\xc1"),  # an empty address
        ]
        for name, argument, sent in rows:
            self.admin.send(bus.command(name, b"" if argument is None else bus.byte_array(argument)))
            self.modem.expect(sent)
        self.modem.skip_to(b"\xc0\x02\xc1")  # no command waits any more
        self.admin.send(bus.command(b"Reset_KS", bus.byte_array(NODE)) + bus.command(b"QuitSignal"))
        for write in (b"16=01f8", b"18=00f0", b"18=01f0", b"16=00f8"):  # not left halfway
            self.modem.skip_to(b"ATREMS:%s,%s\r\n" % (NODE, write))
        self.assertEqual(self.home.wait(), 0)

    def test_live_view(self):
        self.modem.say(b"unseen")
        wait_for(lambda: '"unseen"' in self.home.stderr(), "debug output without the live view")
        self.admin.send(bus.command(b"Input_Data_On") + bus.command(b"About"))
        self.admin.read_frame()
        line = b"\r\nFFD:" + NODE + b"\r\n"
        self.modem.say(line)
        self.expect_action(b"InData", b"COM-port data", line, -1)
        self.expect_action(b"InData", b"New node: " + NODE, b"", -1)
        ticks = [bus.action(b"InData", b"Timer event: 04 08:2%d" % minute, b"", -1) for minute in range(5)]
        self.assertIn(self.admin.read_frame(), ticks)

        self.admin.send(bus.command(b"Need_query"))
        self.counter.skip_to(b"/?!")
        self.counter.say(b"42")
        shown = bus.action(b"InData", b"COM-port data counter port", b"42", -1)
        wait_for(lambda: self.admin.read_frame() == shown, "the substation meter's bytes")
        self.admin.send(bus.command(b"Input_Data_Off") + bus.command(b"About", connection=5))
        while not self.admin.read_frame().endswith(b"\0\0\0\x05"):
            pass
        self.modem.say(b"unseen again")
        wait_for(lambda: '"unseen again"' in self.home.stderr(), "debug output after the live view")
        self.admin.send(bus.command(b"About", connection=1))
        self.assertEqual(self.admin.read_frame()[-4:], b"\0\0\0\x01")
        shown = self.home.stderr().splitlines()
        self.assertIn('"\\r\\nFFD:000D6F00001733EB\\r\\n"', shown)
        self.assertEqual(shown[shown.index('"unseen"') + 1], "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
