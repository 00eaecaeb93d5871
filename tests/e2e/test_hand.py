"""The operator's hand: ravelinctl status, watch and command, through the hub, at a real daemon and at a played one."""

import contextlib
import json
import os
import re
import signal
import socket
import sqlite3
import subprocess
import unittest

from rig import BUILD
from rig import buspeer as bus
from rig.hub import Hub, PlayedDaemon
from rig.process import Process, faketime_environment, ravelinctl, wait_for, write_file
from rig.sqlite import Sqlite
from rig.substation import NODE, SETTINGS, SIMULATOR, Site

HOSTILE = b"\r\nFFD:000D6F00\x1b[2J\x9b000\r\n\r\nx\x1b]0;y\x07\xe2\x80\xae\r\n"
UNIT = {"\\r": "\r", "\\n": "\n", "\\\\": "\\"}


def harmful(text):
    return [c for c in text if not c.isprintable() and c != "\n"]


def writes(path, speaker):
    """The bytes of a recording, of one side of the line."""
    with open(path, encoding="ascii") as file:
        lines = [line.rstrip("\n").split(" ", 2) for line in file]
    texts = [re.sub(r"\\(x..|.)", lambda m: chr(int(m[1][1:], 16)) if m[1][0] == "x" else UNIT[m[0]], text)
             for _, who, text in lines if who == speaker]
    return "".join(texts).encode("latin-1")


class Watch:
    """`ravelinctl watch`, which writes into a file."""

    def __init__(self, hub, *words):
        self.path, self.errors = (hub.path(name + "".join(words[:1])) for name in ("watched", "watch-stderr"))
        with open(self.path, "wb") as out, open(self.errors, "wb") as errors:
            self.process = subprocess.Popen([os.path.join(BUILD, "ravelinctl"), "watch", "--hub", hub.socket_path, *words],
                                            stdout=out, stderr=errors, env={**os.environ, "LC_ALL": "C.UTF-8", "LANGUAGE": ""})

    def text(self, path=None):
        with open(path or self.path, encoding="utf-8") as file:
            return file.read()

    def wait_for(self, text, times=1, timeout=60):
        wait_for(lambda: self.text().count(text) >= times, f"{text!r} x{times} in {self.text()[-2000:]}", timeout)

    def end(self):
        """The exit code after Ctrl-C."""
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(20)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()


class Tool(unittest.TestCase):
    def tool(self, hub, *words):
        """Exit code, stdout, complaints: none of them does a terminal harm."""
        code, lines, complaints = ravelinctl(*words, "--hub", hub.socket_path)
        self.assertEqual(harmful("\n".join(lines + complaints)), [])
        return code, "\n".join(lines), " ".join(complaints)

    def status_is(self, hub, code, text):
        """Sooner or later; the tool's words of then."""
        def is_so():
            said = self.tool(hub, "status")
            return said if said[0] == code and text in said[1] + said[2] else None
        return wait_for(is_so, f"status {code} with {text!r}", 60, 0.2)


class RealDaemon(Tool):
    def setUp(self):
        self.site = self.enterContext(Site(Sqlite().keys, speed=40, start="2014-03-04 08:20:00",
                                           settings=SETTINGS + "TimeOfQuery=\"0[0-9]:[03]0$\"\n[Field]\nRemedies=bus\n"))
        self.hub = self.enterContext(Hub(self.site))

    def test_from_start_to_quit(self):
        """One story: everything away, a sweep that is watched and recorded, restarts, every command, the end."""
        self.assertEqual(self.tool(self.hub, "status")[0], 1)
        self.hub.start()
        self.status_is(self.hub, 3, "The daemon is not connected.")
        self.site.start_substation()
        self.site.start()
        recording = self.hub.path("recording")
        with Watch(self.hub, "--record", recording) as watch:
            watch.wait_for("the daemon is connected")
            self.wait_for_words("command", "Need_query")
            watch.wait_for("a sweep has closed, read: 6 of 9 (", timeout=120)
            said = self.status_is(self.hub, 0, "all is well")
            self.assertIn("modem: working", said[1])
            self.check_readings(watch.text())
            self.assertIn(writes(recording, "modem"), writes(self.site.path("traffic"), "modem"))
            self.restart_hub(watch)
            self.every_command(watch)
            self.status_is(self.hub, 3, "The daemon is not connected.")
            self.assertEqual(self.site.wait(), 0)
            earlier = [watch.text().count(text) for text in ("Timer event", "the daemon is connected\n")]
            self.site.start()
            watch.wait_for("the daemon is connected\n", earlier[1] + 1)
            watch.wait_for("Timer event", earlier[0] + 1)
            self.assertEqual(watch.end(), 0)
            self.assertEqual(harmful(watch.text()), [])
        self.check_recording(recording)

    def wait_for_words(self, *words):
        wait_for(lambda: self.tool(self.hub, *words)[0] == 0, f"{words} is carried out", 60, 0.2)

    def check_readings(self, shown):
        """What the substation says that it sent stands there in words, meter by meter."""
        sent = [row for row in self.site.report() if (row["kind"], row["whole"], row["flaw"]) == ("energy", "yes", "")]
        told = {}
        for row in sent:
            total = float(row["values"].split()[0])
            who = "substation" if row["uin"] == "KTP-1" else row["uin"]
            found = [float(n) for n in re.findall(rf" {who} +{row['model']}: ([0-9.]+) kWh", shown)]
            # On a busy machine the substation meter may answer too late, and is asked again.
            told[who] = told.get(who, False) or any(abs(n - total) <= total * 1e-7 + 0.005 for n in found)
        self.assertEqual([who for who in told if not told[who]], [], shown)
        self.assertEqual({row["model"] for row in sent}, {"CE301", "SET3", "SET1", "CE102"})

    def restart_hub(self, watch):
        before = watch.text().count("the daemon is connected\n")
        self.hub.signal(signal.SIGKILL)
        self.hub.process.wait()
        wait_for(lambda: "tried again" in watch.text(watch.errors), "the loss of the hub", 60)
        self.assertEqual(self.tool(self.hub, "status")[0], 1)
        self.hub.start()
        watch.wait_for("the daemon is connected\n", before + 1)
        self.assertIn("The hub answers again.", watch.text(watch.errors))

    def every_command(self, watch):
        node = NODE % 1
        written = lambda: writes(self.site.path("traffic"), "daemon")
        arguments = {"Query_counter": [node], "Reset_KS": [node, "--yes"], "Write_direct_in_port": ["61 74 69 0d 0a", "--yes"],
                     "Send_counter_number": [node], "Send_KI_number": [node], "QuitSignal": ["--yes"]}
        leaves = {"Query_counter": b"\xc0\x02\xc1", "Reset_KS": b"ATREMS:" + node.encode() + b",16=00f8", "Write_direct_in_port": b"ati\r\n",
                  "Send_counter_number": b"\xc0\x07", "Send_KI_number": b"\xc0\x061\xc1", "Send_main_UIN": b"\xc0\x05"}
        names = [c["name"] for c in json.loads(self.tool(self.hub, "command", "--list", "--json")[1])["commands"]]
        self.assertEqual((len(names), names[-1]), (14, "QuitSignal"))
        for name in names:
            with self.subTest(name):
                before = len(written())
                code, text, complaints = self.tool(self.hub, "command", name, *arguments.get(name, []))
                self.assertEqual((code, complaints), (0, ""), text)
                if name == "About":
                    self.assertIn("Версия модуля", text)
                elif name == "Get_ZDevices":
                    self.assertEqual(text.split("\n")[1:].count(node), 1)
                else:
                    self.assertIn("Sent", text)
                wait_for(lambda: leaves.get(name, b"") in written()[before:], f"{name} on the line", 60)
        watch.wait_for("QuitSignal")

    def check_recording(self, recording):
        """The bytes of the line, and played again the same ones."""
        recorded = writes(recording, "modem")
        self.assertGreater(recorded.count(b"UCAST:"), 9)
        sent = writes(self.site.path("traffic"), "modem")
        for part in recorded.split(b"\r\n"):
            self.assertIn(part, sent)
        self.site.stop_substation()
        self.site.substation = None
        again = self.site.path("again")
        os.mkdir(again)
        with subprocess.Popen([*SIMULATOR, "--replay", recording, "--traffic", self.site.path("played"), again],
                              env=dict(os.environ, TZ="UTC", **faketime_environment(2000, "2014-03-04 08:20:00")),
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL) as simulator:
            wait_for(lambda: os.path.exists(self.site.path("played")) and writes(self.site.path("played"), "modem") == recorded,
                     "the recording, played", 60)
            simulator.terminate()


class States(Tool):
    """A daemon that is connected, and what the rows of its database tell."""

    def test_codes(self):
        nobody, all_read, no_database = 255, 0, None
        for status, hours, code, words in ((all_read, range(10), 0, "all is well"), (nobody, range(10), 3, "! The modem hears nobody"),
                                             (all_read, range(8), 3, "! The last sweep that was due was not made."),
                                             (no_database, range(10), 3, "cannot be read: ")):
            with self.subTest(words), Process(settings=None, speed=20, start="2014-03-04 09:20:00") as site:
                base = os.path.join(site.directory, "z.db")
                site.write_settings(f"[Base]\nServerName=probe\nAdminServerName=admin\nConnections=hub\nBaseName={base}\n"
                                    "[Main]\nTimeOfQuery=\"0[0-9]:00$\"\n")
                if status is not None:
                    self.fill(site, base, status, hours)
                with Hub(site) as hub:
                    hub.start()
                    with contextlib.closing(PlayedDaemon(hub)):
                        self.status_is(hub, code, words)

    def fill(self, site, base, nodes, hours):
        register = write_file(site.directory, "register.csv", "global_id,UIN,Number,Model,Type,KI_Number\n1,KTP,1,CE301,1,\n" + "".join(
            f"{n},{NODE % n},{n},SET1,0,\n" for n in (2, 3)))
        for words in (["init"], ["import", register]):
            self.assertEqual(ravelinctl("register", *words, "-settings", site.settings_path)[0], 0)
        with contextlib.closing(sqlite3.connect(base)) as connection, connection:
            for hour in hours:
                for meter in (1, 2, 3):
                    status = 0 if meter == 1 else nodes
                    connection.execute("INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) "
                                       "VALUES (?, ?, ?, 0, 0, 0, '2014-03-04', ?, ?)",
                                       (meter, *(2 * [0 if status else 10 + hour]), f"{hour:02}:00:05", status))


class PlayedTraffic(Tool):
    def setUp(self):
        self.site = self.enterContext(Process(settings="[Base]\nServerName=probe\nAdminServerName=admin\nConnections=hub\n", speed=0))
        self.hub = self.enterContext(Hub(self.site))
        self.hub.start()

    def test_hostile_texts(self):
        daemon = PlayedDaemon(self.hub)
        with Watch(self.hub) as text, Watch(self.hub, "--json") as as_json:
            wait_for(lambda: b"Input_Data_On" in daemon.admin.read_frame(20), "the live view")
            tell = lambda message, data=b"": daemon.admin.send(bus.action(b"InData", message, data, -1)) or True
            wait_for(lambda: tell(b"ready") and all("ready" in watch.text() for watch in (text, as_json)), "both", pause=0.1)
            for message, data in ((b"COM-port data", HOSTILE), (HOSTILE, b""), (b"last", b"")):
                tell(message, data)
            for watch, escaped in ((text, "u{1b}[2J"), (as_json, "u001b[2J")):
                watch.wait_for("last")
                self.assertEqual(harmful(watch.text()), [])
                self.assertIn(escaped, watch.text())
                self.assertEqual(watch.end(), 0)

    def test_words_and_codes(self):
        """Each with what the complaint or the answer says."""
        node = NODE % 1
        for words, code, said in ((["command", "Need_query"], 1, "The daemon is not connected."), (["command", "Need_quer"], 2, 'Is "Need_query" meant?'),
                                  (["command", "Need_query", "1"], 2, "takes no argument"), (["command", "Reset_KS", node[1:]], 2, "16 hexadecimal"),
                                  (["command", "Write_direct_in_port", "6"], 2, "takes bytes"), (["command", "QuitSignal"], 2, "--yes confirms"), (["command", "Reset_KS", node], 2, "--yes confirms"),
                                  (["command"], 2, "--list"), (["watch", "--kinds", "x"], 1, "The hub answers: "),
                                  (["status", "--controller", "x"], 1, "The hub answers: "), (["watch", "--record", self.hub.path("hub.ini")], 1, "cannot be written")):
            with self.subTest(words):
                got = self.tool(self.hub, *words)
                self.assertEqual(got[0], code, got)
                self.assertIn(said, got[2])

    def test_no_right_and_nobody(self):
        os.chmod(self.hub.socket_path, 0o600)
        os.chmod(self.site.directory, 0o755)
        tool = [os.path.join(BUILD, "ravelinctl"), "status", "--hub", self.hub.socket_path]
        if os.geteuid() == 0:
            done = subprocess.run(["setpriv", "--reuid=65534", "--clear-groups", *tool], capture_output=True, text=True, env={"LC_ALL": "C.UTF-8"})
            self.assertEqual((done.returncode, "for the user root" in done.stderr), (1, True), done.stderr)
        stale = self.hub.path("stale")
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(stale)
        self.assertIn("Nobody listens", " ".join(ravelinctl("status", "--hub", stale)[2]))

    def test_nobody_reads(self):
        """A closed pipe ends it, also while nothing is shown."""
        with subprocess.Popen([os.path.join(BUILD, "ravelinctl"), "watch", "--kinds", "sweep", "--hub", self.hub.socket_path],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as watch:
            watch.stdout.close()
            self.assertEqual((watch.wait(20), watch.stderr.read()), (0, b""))


if __name__ == "__main__":
    unittest.main(verbosity=2)
