"""A real Prometheus that scrapes the hub beside a daemon; the alert rules, and what the dashboard asks for."""

import json
import os
import re
import socket
import subprocess
import unittest
import urllib.parse
import urllib.request

from rig import ROOT
from rig.hub import Hub
from rig.process import wait_for, write_file
from rig.sqlite import Sqlite
from rig.substation import SETTINGS, SILENT, Site

SHARE = os.path.join(ROOT, "share", "prometheus")
JOULES = 3.6e6


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Rules(unittest.TestCase):
    def test_rules(self):
        for words in (["check", "rules", "ravelin.rules.yml"], ["test", "rules", "ravelin.rules.test.yml"]):
            done = subprocess.run(["promtool", *words], cwd=SHARE, capture_output=True, text=True)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)


class Scrape(unittest.TestCase):
    def setUp(self):
        settings = SETTINGS.replace("[Main]", "[Field]\nRemedies=all\nPacing=answers\n[Main]\nTimeOfQuery=never")
        self.site = self.enterContext(Site(Sqlite().keys, start="2014-03-04 08:20:00", speed=40, settings=settings,
                                           scenario=f"[all]\nseed = 3\n[node {SILENT}]\nsilent = yes\n"))
        self.site.start_substation()
        port, self.port = free_port(), free_port()
        # The broker is one that nobody is at.
        self.hub = self.enterContext(Hub(self.site, f"Listen=127.0.0.1:{port}\nOpenReading=yes\n[MQTT]\nBroker=127.0.0.1:{free_port()}\n")).start()
        self.site.start()
        self.hub.wait_for_log("The daemon probe is connected")
        config = write_file(self.site.directory, "prometheus.yml", json.dumps({
            "global": {"evaluation_interval": "1s"}, "rule_files": [os.path.join(SHARE, "ravelin.rules.yml")],
            "scrape_configs": [{"job_name": "ravelin", "scrape_interval": "1s", "static_configs": [{"targets": [f"127.0.0.1:{port}"]}]}]}))
        with open(self.site.path("prometheus.log"), "wb") as log:
            prometheus = subprocess.Popen(["prometheus", f"--config.file={config}", f"--storage.tsdb.path={self.site.path('tsdb')}",
                                           f"--web.listen-address=127.0.0.1:{self.port}"], stdout=log, stderr=log)
        self.addCleanup(prometheus.wait, 20)
        self.addCleanup(prometheus.terminate)

    def query(self, expression):
        """Label sets without their usual ones, and values; nothing while Prometheus does not answer yet."""
        try:
            with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/api/v1/query?query={urllib.parse.quote(expression)}") as answer:
                found = json.load(answer)["data"]["result"]
        except OSError:
            return {}
        usual = ("__name__", "instance", "job", "controller")
        return {",".join(value for name, value in sorted(one["metric"].items()) if name not in usual): float(one["value"][1]) for one in found}

    def test_values(self):
        wait_for(lambda: self.query("up") == {"": 1}, "a scrape", 60)
        self.assertEqual(self.hub.ask("POST", "/api/commands/Need_query")[0], 202)
        wait_for(lambda: self.query("ravelin_sweeps_total") == {"readings": 1}, "a sweep", 120)
        rows = self.site_rows()
        self.assertEqual(len(rows), 9)
        energies = {str(id): round(total * JOULES) for id, total, status in rows if status == 0}
        wait_for(lambda: len(self.query("ravelin_meter_energy_joules_total")) == len(energies), "the ledger", 60)
        found = self.query("ravelin_meter_energy_joules_total")
        self.assertEqual(set(found), set(energies))
        for id, joules in energies.items():
            self.assertAlmostEqual(found[id] / joules, 1, 6)
        self.assertEqual(self.query("ravelin_sweep_meters"), {"read": 8, "no_reading": 1})
        for expression, expected in (("ravelin_controller_up", {"": 1}), ("ravelin_mqtt_connected", {"": 0}),
                                     ("ravelin_commands_total", {"Need_query": 1}), ("count(ravelin_build_info)", {"": 1}),
                                     ("count(ravelin_meter_readings_expected_total)", {"": 9}),
                                     ("sum(ravelin_incidents)", {"": 0})):
            with self.subTest(expression):
                self.assertEqual(self.query(expression), expected)
        # Whatever rules and dashboard ask for is told of: a slip of the pen would never be seen to be missing.
        told = set(re.findall(r"^# TYPE (\w+)", self.hub.ask("GET", "/metrics")[1], re.MULTILINE))
        asked = told.union(*(re.findall(r"\bravelin_\w+", self.text("share", "prometheus", name))
                             for name in ("ravelin.rules.yml", "ravelin-dashboard.json")))
        self.assertEqual(asked, set(re.findall(r"^\| (ravelin_\w+)", self.text("docs", "metrics.md"), re.MULTILINE)))
        self.site.signal(9)
        wait_for(lambda: self.query('ALERTS{alertname="RavelinDaemonDown"}'), "an alert", 120)

    def text(self, *path):
        with open(os.path.join(ROOT, *path), encoding="utf-8") as file:
            return file.read()

    def site_rows(self):
        return Sqlite().rows(self.site, "SELECT global_id, pwr, status FROM Main_Data")


if __name__ == "__main__":
    unittest.main(verbosity=2)
