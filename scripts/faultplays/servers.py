"""A PostgreSQL server that stops, crashes, is away, or whose word is lost on the way."""

import collections
import os
import select
import socket
import threading

from faultplays.stage import Stage, hold, readings
from rig.postgres import Postgres
from rig.process import wait_for
from rig.substation import read_message

SOCKET = ".s.PGSQL.5432"
READING = b"INSERT INTO Main_Data"
SILENCE = b", 0, 0, 0 ,0, 0, "
CLOCK = b"INSERT INTO time_table"


class Relay:
    """Stands between the daemon and the server, at `directory`, which it makes. It lets the next message with the first of
    the words `armed` through, and cuts the connection when the server has answered; then with the second, and so on."""

    def __init__(self, server, directory):
        self.server, self.armed, self.cuts = server, [], 0
        os.mkdir(directory)
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(os.path.join(directory, SOCKET))
        self.listener.listen()
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            with self.listener.accept()[0] as near, socket.socket(socket.AF_UNIX) as far:
                far.connect(os.path.join(self.server.directory, SOCKET))
                while self.carry(near, far):
                    pass

    def carry(self, near, far):
        for end in select.select([near, far], [], [])[0]:
            data = end.recv(1 << 16)
            if not data:
                return False
            (far if end is near else near).sendall(data)
            if end is near and self.armed and self.armed[0] in data:
                far.recv(1 << 16)
                self.armed = self.armed[1:]
                self.cuts += 1
                return False
        return True


def server_restarts(mode):
    with Postgres() as server, Stage(server) as site:
        site.begin().into_sweep()
        server.stop(mode)
        server.start()
        site.closed_sweep()
        site.complete_sweep()
    return "both sweeps are complete"


def server_away():
    with Postgres() as server, Stage(server) as site:
        site.begin().complete_sweep()
        site.look()
        server.stop()
        site.ask()
        site.closed_sweep([])
        server.start()
        site.complete_sweep()
    return "a sweep without rows while it is away, the next is complete"


def table_locked():
    with Postgres() as server, Stage(server) as site:
        def lock(seconds):
            other = threading.Thread(target=server.psql, args=(f"BEGIN; LOCK TABLE main_data; SELECT pg_sleep({seconds})",))
            other.start()
            wait_for(lambda: server.rows(site, "SELECT 1 FROM pg_locks WHERE NOT granted"), "the daemon waits for the lock")
            return other

        site.begin().into_sweep()
        lock(3).join()
        statuses = site.closed_sweep()
        hold(all(len(of_meter) == 1 for of_meter in statuses.values()), f"not one row a meter: {dict(statuses)}")
        site.into_sweep()
        other = lock(10)
        seconds = site.terminate()
        other.join()
        site.restart(1)
        site.complete_sweep()
    return f"{readings(statuses)} readings in the sweep, exit code 0 after {seconds:.2f} s; the next sweep is complete"


def word_lost():
    with Postgres() as server, Stage(server) as site:
        relay = Relay(server, site.path("relay"))
        site.write_settings(site.settings.replace(f"SqlHostName={server.directory}", f"SqlHostName={site.path('relay')}"))
        site.begin()
        relay.armed = [READING]
        for words in ([READING], [b"COMMIT"], [SILENCE, SILENCE], []):  # the substation's row comes first
            site.into_sweep(1)
            relay.armed = words
            site.closed_sweep()
        site.terminate()
        site.write_settings(site.settings.replace("TimeOfGetTime=^none$", "TimeOfGetTime=."))
        relay.armed = [CLOCK, CLOCK]  # the reference clock comes first
        site.restart(1)
        while read_message(site.peer, 60)[0] != b"tempdb_t":
            pass
        clocks = collections.Counter(server.rows(site, "SELECT * FROM time_table"))
        hold(clocks.total() > 2 and max(clocks.values()) == 1, f"clocks {clocks}")
        hold(relay.cuts == 7, f"{relay.cuts} cuts")
    return "the substation's row, a node's, those for the silent twice, two clocks: none is doubled, the sweeps are complete"
