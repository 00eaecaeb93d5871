"""The hub and a real broker that is killed, stopped, and refuses; and one that only stalls."""

import contextlib
import datetime
import json
import os
import re
import signal
import socket
import sqlite3
import subprocess
import time
import unittest

from rig.hub import Hub, PlayedDaemon, reading
from rig.process import Process, ravelinctl, wait_for, write_file

DAEMON = """[Base]
ServerName=probe
AdminServerName=admin
Connections=hub
BDType=sqlite3
BaseName={directory}/z.db
"""
REGISTER = "global_id,UIN,Number,Model,Type,KI_Number\n1,KTP,1,CE301,1,\n" + "".join(
    f"{id},000D6F00000010{id},{id},SET3,0,{id}\n" for id in (10, 11))
EPOCH = datetime.datetime(2014, 3, 4)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Told:
    """A program's output, as it grows."""

    def __init__(self, path, *command):
        self.path = path
        with open(path, "ab") as out:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out, stderr=out)

    def text(self):
        with open(self.path, encoding="utf-8", errors="replace") as file:
            return file.read()

    def wait_for(self, pattern, times=1):
        try:
            wait_for(lambda: len(re.findall(pattern, self.text(), re.MULTILINE)) >= times, "", 60)
        except AssertionError:
            raise AssertionError(f"no {pattern} x{times}: {self.text()[-2000:]}") from None

    def end(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        return self.process.wait(10)


class Broker(unittest.TestCase):
    def setUp(self):
        self.site = self.enterContext(Process(settings=None, speed=20, start=time.strftime("%Y-%m-%d %H:%M:%S")))
        self.site.write_settings(DAEMON.format(directory=self.site.directory))
        register = write_file(self.site.directory, "register.csv", REGISTER)
        for words in (["init"], ["import", register]):
            done = ravelinctl("register", *words, "-settings", self.site.settings_path)
            self.assertEqual(done[0], 0, done)
        self.port, self.programs, self.sweeps = free_port(), [], 0
        self.addCleanup(lambda: [told.end(signal.SIGKILL) for told in self.programs if told.process.poll() is None])

    def path(self, name):
        return os.path.join(self.site.directory, name)

    def run_program(self, name, *command):
        self.programs.append(Told(self.path(name), *command))
        return self.programs[-1]

    def broker(self, settings="allow_anonymous true"):
        """Its own bounds are off: it would drop what its listener has not read yet."""
        config = write_file(self.site.directory, "broker.conf", f"""listener {self.port} 127.0.0.1
user root
max_inflight_messages 0
max_queued_messages 0
queue_qos0_messages true
persistence true
persistence_location {self.site.directory}/
{settings}
""")
        started = self.broker_text().count(" running\n")
        broker = self.run_program("broker", "mosquitto", "-v", "-c", config)
        broker.wait_for(" running$", started + 1)
        return broker

    def broker_text(self):
        with contextlib.suppress(FileNotFoundError), open(self.path("broker"), encoding="utf-8") as file:
            return file.read()
        return ""

    def hub(self, settings="", host="127.0.0.1"):
        hub = self.enterContext(Hub(self.site, f"[MQTT]\nBroker={host}:{self.port}\n{settings}\n"))
        hub.start()
        self.daemon = PlayedDaemon(hub)
        self.addCleanup(self.daemon.close)
        return hub

    def wait_for_log(self, hub, pattern, times=1):
        wait_for(lambda: self.count(hub, pattern) >= times, f"{pattern} x{times}", 60)

    def count(self, hub, pattern):
        return sum(bool(re.search(pattern, line)) for line in hub.log_texts())

    def sweep(self, *readings):
        """`readings` are pairs: global_id and total, where 0 is a silent meter's."""
        self.sweeps += 1
        at = EPOCH + datetime.timedelta(seconds=self.sweeps)
        day, hour = (at.strftime(form).encode() for form in ("%Y-%m-%d", "%H:%M:%S"))
        self.daemon.send_sweep(at.strftime("%Y-%m-%d-%H-%M-%S.db"),
                               b"".join(reading(id, (total, total, 0, 0, 0), day, hour) for id, total in readings))

    def sweeps_of(self, totals, size=100):
        totals = list(totals)
        for first in range(0, len(totals), size):
            self.sweep(*((10, total) for total in totals[first:first + size]))

    def listen(self, topic):
        """Remembered by the broker: nothing is missed between two connections. It confirms nothing: in doing so to a broker that
        was just killed it would throw away what it has not read yet."""
        seen = self.run_program("seen", "mosquitto_sub", "-p", str(self.port), "-c", "-i", "listener", "-q", "0", "-v", "-t", topic)
        wait_for(lambda: "Sending SUBACK to listener" in self.broker_text(), "the listener")
        return seen

    def totals(self, seen):
        return [json.loads(text)["total"] for text in re.findall("/10/reading (.*)", seen.text())]

    def test_killed_under_load(self):
        broker = self.broker()
        seen = self.listen("ravelin/probe/+/reading")
        broker.process.send_signal(signal.SIGUSR1)  # what it knows now it knows after a kill, too
        wait_for(lambda: os.path.exists(self.path("mosquitto.db")), "the broker's database")
        hub = self.hub()
        self.wait_for_log(hub, "The broker is connected")
        count = 0
        for kill in (signal.SIGKILL, signal.SIGKILL, signal.SIGSTOP):
            connected, failed = (self.count(hub, f"The broker {words}") for words in ("is connected", "is not connected"))
            self.sweeps_of(range(count + 1, count + 2001))
            seen.wait_for(f'"total":{count + 500}}}')  # it is in the midst of them
            broker.process.send_signal(kill)
            if kill == signal.SIGKILL:
                broker.process.wait()
            self.sweeps_of(range(count + 2001, count + 3001))
            count += 3000
            self.wait_for_log(hub, "The broker is not connected", failed + 1)
            if kill == signal.SIGKILL:
                broker = self.broker()
            else:
                broker.process.send_signal(signal.SIGCONT)
            self.wait_for_log(hub, "The broker is connected", connected + 1)
            seen.wait_for(f'"total":{count}}}')
        totals = self.totals(seen)
        self.assertEqual(list(dict.fromkeys(totals)), list(range(1, count + 1)))
        self.assertLess(len(totals), count + 4 * 64)  # what was not confirmed comes twice, and nothing else

    def test_refusals(self):
        write_file(self.site.directory, "passwords", "")
        set_password = lambda word: subprocess.run(["mosquitto_passwd", "-b", self.path("passwords"), "hub", word], check=True)
        set_password("another")
        broker = self.broker(f"allow_anonymous false\npassword_file {self.path('passwords')}")
        write_file(self.site.directory, "password", "secret\n")
        hub = self.hub(f"User=hub\nPasswordFile={self.path('password')}")
        self.wait_for_log(hub, "is not connected for probe: Connection Refused: not authorised")
        broker.wait_for("not authorised", 3)  # it goes on trying
        set_password("secret")
        broker.process.send_signal(signal.SIGHUP)
        self.wait_for_log(hub, "The broker is connected")
        self.assertEqual(self.count(hub, "not authorised"), 1)
        broker.end()
        self.wait_for_log(hub, "is not connected for probe: Connection refused")

    def test_stalls(self):
        broker = self.broker()
        self.listen("ravelin/#").end()  # the broker keeps for it what comes before it is here again
        broker.end()
        with socket.create_server(("127.0.0.1", self.port)) as server:
            hub = self.hub()
            silent = server.accept()[0]
            self.wait_for_log(hub, "The broker is not connected")
            silent.close()
            self.sweeps_of(range(1, 10_003), 1000)
            self.wait_for_log(hub, "Readings of probe for the broker are lost: too many wait")
        self.broker()
        seen = self.listen("ravelin/#")
        self.wait_for_log(hub, "The broker is connected")
        seen.wait_for('/reading .*"total":10002}')
        self.assertEqual(sorted(set(self.totals(seen))), list(range(3, 10_003)))

    def test_discovery(self):
        self.broker()
        seen = self.listen("#")
        hub = self.hub()
        seen.wait_for("^homeassistant/device/ravelin_probe_11/config {")
        self.sweep((10, 0), (11, 5))
        seen.wait_for("^ravelin/probe/11/state {")
        self.assertNotRegex(seen.text(), "(?m)^ravelin/probe/10/")
        config = json.loads(re.search("homeassistant/device/ravelin_probe_11/config (.*)", seen.text())[1])
        self.assertEqual(config["cmps"]["total"]["unique_id"], "ravelin_probe_11_total")
        before = len(re.findall("(?m)^homeassistant/device/ravelin_probe_11/config {", seen.text()))
        subprocess.run(["mosquitto_pub", "-p", str(self.port), "-t", "homeassistant/status", "-m", "online"], check=True)
        seen.wait_for("^homeassistant/device/ravelin_probe_11/config {", before + 1)
        self.forget(11)
        seen.wait_for(r"^ravelin/probe/11/state \(null\)$")
        seen.wait_for(r"^homeassistant/device/ravelin_probe_11/config \(null\)$")
        hub.signal(signal.SIGKILL)
        hub.wait()
        seen.wait_for("^ravelin/probe/availability offline$")
        self.forget(10)  # while the hub is away
        hub.start()
        seen.wait_for(r"^homeassistant/device/ravelin_probe_10/config \(null\)$")
        hub.signal(signal.SIGTERM)
        self.assertEqual(hub.wait(), 0)
        seen.wait_for("^ravelin/probe/availability offline$", 2)

    def forget(self, global_id):
        with contextlib.closing(sqlite3.connect(self.path("z.db"), isolation_level=None)) as database:
            database.execute('DELETE FROM "Counters" WHERE global_id = ?', (global_id,))

    def test_tls(self):
        for name, subject in (("ca", "/CN=test ca"), ("stranger", "/CN=stranger")):
            self.openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "36500", "-subj", subject,
                         "-keyout", f"{name}.key", "-out", f"{name}.crt")
        for name in ("localhost", "hub"):
            self.openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "36500", "-subj", f"/CN={name}",
                         "-addext", f"subjectAltName=DNS:{name}", "-CA", "ca.crt", "-CAkey", "ca.key", "-keyout", f"{name}.key",
                         "-out", f"{name}.crt")
        files = {name: self.path(name) for name in ("ca.crt", "localhost.crt", "localhost.key")}
        self.broker(f"allow_anonymous true\ncafile {files['ca.crt']}\ncertfile {files['localhost.crt']}\n"
                    f"keyfile {files['localhost.key']}\nrequire_certificate true")
        own = f"CertFile={self.path('hub.crt')}\nKeyFile={self.path('hub.key')}\n"
        rows = [("localhost", f"CaFile={self.path('stranger.crt')}\n{own}", "is not connected for probe: .*certificate verify failed"),
                ("127.0.0.1", f"CaFile={files['ca.crt']}\n{own}", "is not connected"),  # the certificate is another name's
                ("localhost", f"CaFile={files['ca.crt']}", "is not connected"),  # nobody is let in without one
                ("localhost", f"CaFile={files['ca.crt']}\n{own}", "is connected")]
        for host, settings, expected in rows:
            with self.subTest(host=host, settings=settings):
                hub = self.hub(settings, host)
                self.wait_for_log(hub, f"The broker {expected}")
                self.assertEqual(self.count(hub, "The broker is connected"), expected.count("is connected"))
                hub.signal(signal.SIGTERM)
                hub.wait()
                self.daemon.close()
                os.unlink(hub.log_path)

    def openssl(self, *arguments):
        subprocess.run(["openssl", *arguments], check=True, cwd=self.site.directory, capture_output=True)


if __name__ == "__main__":
    unittest.main(verbosity=2)
