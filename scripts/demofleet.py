"""Three virtual substations, their daemons and forwarders, and one centre, which is away in the middle of a sweep."""

import concurrent.futures
import contextlib
import json
import os
import signal
import subprocess

from rig import BUILD
from rig import buspeer as bus
from rig.centre import READINGS, Centre
from rig.process import ravelinctl, wait_for, write_file
from rig.postgres import PASSWORD
from rig.sqlite import Sqlite
from rig.substation import Site, read_message

NAMES = ["ktp-north", "ktp-south", "ktp-west"]
PATIENCE = 300


class Substation:
    """A site and the forwarder beside its daemon."""

    def __init__(self, name, site, centre):
        self.name, self.site, self.centre, self.forwarder = name, site, centre, None
        string = centre.string(name).replace("\\", "\\\\")
        self.settings = write_file(site.directory, "forward.ini", f"[Forward]\nSource={site.settings_path}\nController={name}\n"
                                   f"Centre=\"{string}\"\nEverySeconds=1\nLogName={site.path('forward.log')}\n")

    def command(self, *words):
        return [os.path.join(BUILD, "ravelin-forward"), "-settings", self.settings, *words]

    def start_forwarder(self):
        with open(self.site.path("forward.stderr"), "ab") as stderr:
            self.forwarder = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", *self.command()],
                                              stdin=subprocess.DEVNULL, stdout=stderr, stderr=stderr)

    def stop(self):
        self.forwarder.terminate()
        self.site.signal(signal.SIGTERM)
        return self.forwarder.wait(20), self.site.wait()

    def here(self):
        return sorted(Sqlite().rows(self.site, f"SELECT {READINGS} FROM Main_Data"))

    def there(self):
        found = self.centre.psql(f"SELECT json_build_array({READINGS}) FROM fleet.readings WHERE controller = '{self.name}'")
        return sorted(tuple(json.loads(line)) for line in found.splitlines())

    def waiting(self):
        status = subprocess.run(self.command("--status", "--json"), capture_output=True, text=True, check=False).stdout
        return json.loads(status)["readings"]["waiting"]


def end_of_sweep(peer):
    """The records of the next summary of readings."""
    word, _, records = read_message(peer, PATIENCE)
    return records if word == b"tempdb" else end_of_sweep(peer)


def show(substations, centre):
    listed = ravelinctl("fleet", "list", "--centre", centre.string("postgres", PASSWORD), TZ=os.environ.get("TZ", ""))
    print("\nravelinctl fleet list:\n" + "\n".join(listed[1]) + "\n")
    equal = listed[0] == 0
    print(f"{'controller':12} {'rows here':>10} {'at the centre':>14}  values")
    for one in substations:
        here, there = one.here(), one.there()
        print(f"{one.name:12} {len(here):10} {len(there):14}  {'equal' if here == there else 'DIFFER'}")
        equal = equal and here == there and len(here) > 0
    return equal


def play(tell, register, settings, scenario):
    with contextlib.ExitStack() as stack:
        tell("a private PostgreSQL server starts; it gets the schema of a centre and a role for each controller")
        centre = stack.enter_context(Centre())
        for name in NAMES:
            centre.add(name)
        substations = []
        for seed, name in enumerate(NAMES, 1):
            seeded = scenario.replace("[all]", f"[all]\nseed = {seed}")
            site = stack.enter_context(Site(Sqlite().keys, speed=0, scenario=seeded, register=register, settings=settings))
            substations.append(Substation(name, site, centre))
        tell("three virtual substations, daemons and forwarders start; modem start-up, 13 s")
        for one in substations:  # by this thread: they end with the one that started them
            one.site.start_substation()
            one.start_forwarder()
        with concurrent.futures.ThreadPoolExecutor(len(NAMES)) as pool:
            connections = list(pool.map(lambda one: one.site.join(), substations))
        tell("all daemons are asked for a sweep now")
        for admin, _ in connections:
            admin.send(bus.command(b"Need_query"))
        wait_for(lambda: all(one.there() for one in substations), "rows of each at the centre", PATIENCE, 0.2)
        centre.stop("immediate")
        tell("each controller has rows at the centre; the centre is taken away, as if it had crashed")
        for one, (_, peer) in zip(substations, connections):
            records = end_of_sweep(peer)
            tell(f"{one.name}: its sweep is closed, rows: {len(records)}; not at the centre: {one.waiting()}")
        centre.start()
        tell("the centre is back")
        wait_for(lambda: all(one.there() == one.here() for one in substations), "all rows at the centre", PATIENCE, 0.2)
        tell("all rows are at the centre")
        wait_for(lambda: centre.psql("SELECT count(*) FROM fleet.marks WHERE kind = 'readings' AND newest_row = last_row")
                 == f"{len(NAMES)}\n", "the forwarders have told so", PATIENCE, 0.2)
        equal = show(substations, centre)
        codes = [one.stop() for one in substations]
        tell(f"forwarders and daemons ended with exit codes {codes}")
        return 0 if equal and set(codes) == {(0, 0)} else 1
