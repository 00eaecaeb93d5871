"""The main job on a table: a virtual substation, the daemon, one sweep over all meters, and what is stored of it."""

import argparse
import contextlib
import csv
import os
import re
import secrets
import signal
import sys
import threading
import time

from rig import ROOT
from rig import buspeer as bus
from rig.hub import Hub
from rig.process import wait_for
from rig.sqlite import Sqlite
from rig.substation import SITE, Site, read_message

ADDRESS = "127.0.0.1:8480"

SILENT, SPOILED, DEAF = "000D6F0000173425", "000D6F000017341C", "000D6F0000190B17"
SCENARIO = f"""[all]
drift = 40
[node {SILENT}]
silent = yes
[node {SPOILED}]
undecodable = checksum
[node {DEAF}]
nack = 0.5
"""
SETTINGS = SITE + """CounterKTPMultiplier=40
BCAST_to_UCAST_Delay={broadcast_pause}
UCAST_to_UCAST_Delay=600
RepeatQueryNumber=1
RepeateQueryKTPNumber=2
"""
WITHOUT_READING = {SILENT: "expected: silent by the play", SPOILED: "expected: checksum spoiled by the play",
                   DEAF: "may be: half of the sends to it fail by the play"}
STATUS = {0: "read", 1: "answer not decodable", 2: "node heard, no reading", 3: "not delivered", 255: "nothing heard"}
ROWS = "SELECT global_id, status, pwr, pwr1, pwr2, pwr3, pwr4 FROM Main_Data WHERE date_r = '{}' and time_r = '{}'"
BEGUN = time.monotonic()


def tell(text):
    print(f"{time.monotonic() - BEGUN:6.1f} s  {text}", flush=True)


class Progress:
    """Says in words what the daemon's debug output shows."""

    def __init__(self, path, meters):
        self.path, self.meters, self.asked, self.passes = path, meters, 0, 0
        self.phases = [
            (r"openned\.\.\.", self.modem_ready),
            (r'"Timer event: .. (.*)"', lambda time: tell(f"tick of the schedule, {time}")),
            (r"Broadcast query\.\.\.", lambda: tell('measure command to all nodes ("C0 01 C1")')),
            (r'"KTP Data: (.*)"', lambda total: tell(f"substation meter read: {total} kWh")),
            (r'"Not received data from KTP"', lambda: tell("substation meter silent")),
            (r'"([0-9A-F]{16})"    "\\xC0\\x02\\xC1"', self.read_out),
            (r'"([0-9A-F]{16}) send data: (.*) kW\*h"', lambda uin, energy: tell(f"    {uin} sends {energy} kWh")),
            (r'"Error\. Received \'NACK\' .* (.*)"', lambda uin: tell(f"    {uin} cannot be reached")),
            (r"Repeat query\.\.\.", self.re_ask),
            (r'"Observed reading!"', lambda: tell("sweep closed")),
        ]

    def modem_ready(self):
        tell("modem ready; the first tick comes after 25 s")

    def read_out(self, uin):
        self.asked += 1
        of = f" of {self.meters}" if not self.passes else ""
        tell(f"read-out {self.asked}{of}: {uin}")

    def re_ask(self):
        self.passes, self.asked = self.passes + 1, 0
        tell(f"re-ask pass {self.passes}: the silent ones")

    def follow(self):
        with open(self.path, encoding="utf-8", errors="replace") as output:
            while True:
                line = output.readline()
                if not line:
                    time.sleep(0.1)
                for pattern, say in self.phases:
                    if match := re.fullmatch(pattern, line.rstrip()):
                        say(*match.groups())


def remark(meter, status):
    """Why a meter has no reading."""
    if int(status) == 0:
        return ""
    if meter["Model"] == "CE102":
        return "expected: a CE102 is not stored by default"
    return WITHOUT_READING.get(meter["UIN"], "NOT EXPECTED")


def show_table(rows, meters):
    print(f"\n{'meter':>6}  {'model':6} {'UIN':17} {'status':24} {'total':>10} " +
          " ".join(f"{'tariff ' + str(i):>10}" for i in range(1, 5)) + "  without a reading")
    for global_id, status, *energies in sorted(rows):
        meter = meters[int(global_id)]
        print(f"{int(global_id):6}  {meter['Model']:6} {meter['UIN']:17} {STATUS[int(status)]:24} " +
              " ".join(f"{float(energy):10.6g}" for energy in energies) + f"  {remark(meter, status)}".rstrip())


def strangers(rows, meters, report):
    """The readings that are not what their meter says it held, to the six digits that are stored."""
    held = {}
    for answer in report:
        if answer["kind"] == "energy":
            factor = 40 if meters[1]["UIN"] == answer["uin"] else 1
            held.setdefault(answer["uin"], []).append([factor * float(value) for value in answer["values"].split()])
    return [int(row[0]) for row in rows if int(row[1]) == 0 and not any(
        all(abs(float(a) - b) <= 1e-5 * abs(b) for a, b in zip(row[2:], values))
        for values in held.get(meters[int(row[0])]["UIN"], []))]


def read_register(path):
    with open(path, encoding="utf-8") as file:
        text = "".join(line for line in file if line.strip() and not line.startswith("#"))
    return text, {int(row["global_id"]): row for row in csv.DictReader(text.splitlines())}


def sweep(site, peer, rows, meters):
    """Shows the next sweep; False when a reading is not what the meter held, or there is none."""
    word, name, records = read_message(peer, 3600)
    while word != b"tempdb":
        word, name, records = read_message(peer, 3600)
    date, clock = name[:10], name[11:19].replace("-", ":")
    stored = rows(site, ROWS.format(date, clock))
    show_table(stored, meters)
    wrong = strangers(stored, meters, site.report())
    print(f"\nSummary message to the peers: {name}, {len(records)} records.")
    print(f"Readings that differ from what the virtual meters held: {wrong or 'none'}.\n", flush=True)
    return not wrong and any(int(row[1]) == 0 for row in stored)


def database(options):
    if not options.postgres:
        return Sqlite()
    from rig.postgres import Postgres
    tell("a private PostgreSQL server starts")
    return Postgres()


def ask_alone(site):
    """This script is administrator and peer; returns the peer's connection."""
    admin, peer = site.start_all()
    tell('administrator connected; asks for a sweep now ("Need_query")')
    admin.send(bus.command(b"Need_query"))
    return peer


def ask_hub(site, stack):
    """The hub is the administrator, and a peer as well; what it shows is there until the end."""
    token = secrets.token_hex(16)
    site.write("token", token + "\n")
    os.chmod(site.path("token"), 0o600)
    hub = stack.enter_context(Hub(site, f"Listen={ADDRESS}\nTokenFile={site.path('token')}\nOpenReading=yes\n")).start()
    tell(f"the console: http://{ADDRESS}/  its token for commands: {token}")
    site.start_substation()
    site.start()
    site.wait_for_log("Start server: probe Ok!!!! ", timeout=60)
    peer = site.connect("probe")
    peer.send(bus.identify(b"peer"))
    wait_for(lambda: hub.ask("GET", "/api/status")[1]["daemon"]["connected"], "the daemon at the hub")
    tell('the hub is the administrator; it asks for a sweep now ("Need_query")')
    status, answer = hub.ask("POST", "/api/commands/Need_query", {})
    assert status == 202, answer
    return peer


def play(options):
    register, meters = read_register(os.path.join(ROOT, "share", "register.csv.example"))
    # A tick that starts a sweep on schedule must outlast its minute, or the next one finds the minute due again.
    settings = SETTINGS.replace("{broadcast_pause}", "30000" if options.keep else "3000")
    if options.fleet:
        import demofleet
        return demofleet.play(tell, register, settings, SCENARIO)
    with contextlib.ExitStack() as stack, database(options) as base, Site(base.keys, speed=0, scenario=SCENARIO, register=register, settings=settings) as site:
        tell(f"database provisioned, {len(meters)} meters registered, virtual substation and daemon start")
        tell("modem start-up, 13 s")
        open(site.stderr_path, "a", encoding="utf-8").close()
        progress = Progress(site.stderr_path, len(meters) - 1)
        threading.Thread(target=progress.follow, daemon=True).start()
        peer = ask_hub(site, stack) if options.keep else ask_alone(site)
        right = sweep(site, peer, base.rows, meters)
        while options.keep:
            tell("goes on as scheduled: a sweep every half hour; Ctrl-C ends it")
            progress.passes = progress.asked = 0
            right = sweep(site, peer, base.rows, meters) and right
        site.signal(signal.SIGTERM)
        code = site.wait()
        tell(f"daemon ended with exit code {code}")
        return 0 if right and code == 0 else 1


if __name__ == "__main__":
    parser = argparse.ArgumentParser(prog="scripts/demo", description=__doc__)
    parser.add_argument("--keep", action="store_true", help="go on with a sweep every half hour, and show it in a browser: the hub runs, too")
    parser.add_argument("--postgres", action="store_true", help="store into a private PostgreSQL server, not into SQLite")
    parser.add_argument("--fleet", action="store_true",
                        help="three substations and one centre, which goes away in a sweep and comes back")
    try:
        sys.exit(play(parser.parse_args()))
    except KeyboardInterrupt:
        tell("stopped")
        sys.exit(130)
