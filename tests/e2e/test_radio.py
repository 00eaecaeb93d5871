"""The daemon's radio link on the virtual substation's line: what went over it and when, and what became of a lost one."""

import datetime
import os
import signal
import subprocess
import time
import unittest

import buspeer as bus
from process import faketime_environment, wait_for
from substation import NODE, Site

NODES = [NODE % i for i in range(1, 9)]


class Radio(unittest.TestCase):
    def start(self, speed):
        self.site = self.enterContext(
            Site("BDType=sqlite3\nBaseName={directory}/z.db", "2014-03-04 08:20:00", speed, scenario=""))
        self.admin, _ = self.site.start_all()
        self.assertEqual(self.nodes(), NODES)

    def nodes(self):
        """All that are new since the debug output began, in this order."""
        wait_for(lambda: f'"NEW: {NODES[-1]}\\n"' in self.site.stderr(), "the last node")
        return [line[6:22] for line in self.site.stderr().splitlines() if line.startswith('"NEW: ')]

    def simulate(self, *command):
        self.site.substation.kill()
        self.site.substation.wait()
        os.unlink(self.site.path("modem"))
        self.site.substation = subprocess.Popen(
            command, env=dict(os.environ, **faketime_environment(self.site.speed, self.site.start_time)),
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        wait_for(lambda: os.path.exists(self.site.path("modem")), "the line")

    def test_start_up_and_its_replay(self):
        self.start(4)
        with open(self.site.path("traffic"), encoding="ascii") as traffic:
            writes = [line.rstrip("\n").split(" ", 2) for line in traffic]
        sent = [(datetime.datetime.fromisoformat(when), text) for when, who, text in writes if who == "daemon"][:6]
        self.assertEqual([text.split("at+bcastb")[0] for _, text in sent],  # which follows the last one at once
                         [r"atz\r\n", r"ati\r\n", r"atz\r\n", r"at+jn\r\n", r"at+en\r\n", r"at+sn\r\n"])
        gaps = [(then - now).total_seconds() * 1000 for (now, _), (then, _) in zip(sent, sent[1:])]
        for gap, nominal in zip(gaps, [5000, 1000, 5200, 1000, 1000]):
            self.assertGreater(gap, nominal - 100)
            self.assertLess(gap, nominal + 800)

        self.site.signal(signal.SIGTERM)
        self.assertEqual(self.site.wait(), 0)
        self.site.forget_peers()
        os.unlink(self.site.stderr_path)
        os.rename(self.site.path("traffic"), self.site.path("recording"))
        self.simulate(self.site.substation.args[0], "--replay", self.site.path("recording"), self.site.directory)
        self.site.start_with_admin("probe")
        self.assertEqual(self.nodes(), NODES)

    def test_unplugged_and_back(self):
        self.start(20)
        port = self.site.path("modem")
        self.site.substation.kill()
        self.site.wait_for_log(f"The modem port {port} broke: the line was hung up")
        before = self.cpu_seconds()
        time.sleep(1)
        self.assertLess(self.cpu_seconds() - before, 0.5, "it spins on a line that hung up")
        self.simulate(*self.site.substation.args)
        works = f"The modem port {port} works again"
        question = bus.command(b"Write_direct_in_port", bus.byte_array(b"ati\r\n"))  # lost until a poll opens the line
        wait_for(lambda: self.admin.send(question) or works in self.site.log_texts(), works)
        port_lines = [text for text in self.site.log_texts() if port in text]
        self.assertEqual((port_lines[-1], len(port_lines) <= 3), (works, True))

    def cpu_seconds(self):
        with open(f"/proc/{self.site.process.pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


if __name__ == "__main__":
    unittest.main(verbosity=2)
