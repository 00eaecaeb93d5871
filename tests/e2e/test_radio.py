"""The daemon's start-up on the virtual substation's line, recorded and played back."""

import datetime
import os
import signal
import subprocess
import unittest

from rig.machine import Machine
from rig.process import faketime_environment, wait_for
from rig.substation import NODE, SIMULATOR, Site

NODES = [NODE % i for i in range(1, 9)]


class Radio(unittest.TestCase):
    def assert_finds_all_nodes(self, site):
        wait_for(lambda: f'"NEW: {NODES[-1]}\\n"' in site.stderr(), "the last node")
        self.assertEqual([line[6:22] for line in site.stderr().splitlines() if line.startswith('"NEW: ')], NODES)

    def test_start_up_and_its_replay(self):
        site = self.enterContext(
            Site("BDType=sqlite3\nBaseName={directory}/z.db", "2014-03-04 08:20:00", speed=4, scenario=""))
        with Machine() as machine:
            site.start_all()
            self.assert_finds_all_nodes(site)
        with open(site.path("traffic"), encoding="ascii") as traffic:
            writes = [line.rstrip("\n").split(" ", 2) for line in traffic]
        sent = [(datetime.datetime.fromisoformat(when), text) for when, who, text in writes if who == "daemon"][:6]
        late = 2 * machine.longest * site.speed * 1000  # the writer and the reader, who notes the times
        stalled = f"this machine was late by up to {late:.0f} ms"
        self.assertEqual([text.split("at+bcastb")[0] for _, text in sent],  # which follows the last one at once
                         [r"atz\r\n", r"ati\r\n", r"atz\r\n", r"at+jn\r\n", r"at+en\r\n", r"at+sn\r\n"], stalled)
        gaps = [(then - now).total_seconds() * 1000 for (now, _), (then, _) in zip(sent, sent[1:])]
        for gap, nominal in zip(gaps, [5000, 1000, 5200, 1000, 1000]):
            self.assertGreater(gap, nominal - 400 - late, f"{gaps}; {stalled}")
            self.assertLess(gap, nominal + 800 + late, f"{gaps}; {stalled}")

        site.signal(signal.SIGTERM)
        self.assertEqual(site.wait(), 0)
        site.forget_peers()
        os.unlink(site.stderr_path)
        os.rename(site.path("traffic"), site.path("recording"))
        site.substation.kill()
        site.substation.wait()
        os.unlink(site.path("modem"))
        site.substation = subprocess.Popen(
            [*SIMULATOR, "--replay", site.path("recording"), site.directory], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, env=dict(os.environ, **faketime_environment(site.speed, site.start_time)))
        wait_for(lambda: os.path.exists(site.path("modem")), "the line")
        site.start_with_admin("probe")
        self.assert_finds_all_nodes(site)


if __name__ == "__main__":
    unittest.main(verbosity=2)
