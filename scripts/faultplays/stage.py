"""What every play needs: a site that sweeps when asked to, and the demands that hold whatever happens to it."""

import collections
import datetime
import os
import select
import signal
import struct
import time

from rig import buspeer as bus
from rig.process import wait_for
from rig.sqlite import Sqlite
from rig.substation import SETTINGS, Site, read_message

START = datetime.datetime(2014, 3, 4, 8, 31)
ON_DEMAND = SETTINGS + "TimeOfQuery=^none$\nTimeOfSetTime=^none$\nTimeOfGetTime=^none$\n"
ROWS = "SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status FROM Main_Data"
READABLE = 6  # of the nine meters: a CE102 is not read, one node is silent, one's answers are spoiled
SUBSTATION = 1  # its global_id


class Broken(Exception):
    """A promise was not kept."""


def hold(kept, otherwise):
    if not kept:
        raise Broken(otherwise)


def readings(statuses):
    """How many of a sweep's meters have a reading."""
    return sum(0 in of_meter for of_meter in statuses.values())


class Stage(Site):
    """Left in peace it demands: the daemon still runs and ends on SIGTERM, the database is sound, no row that was ever
    seen is gone, no row is there twice, and no meter has two rows for its silence in one sweep."""

    def __init__(self, base=None, start=START, speed=100, settings=ON_DEMAND, **options):
        self.base = base or Sqlite()
        super().__init__(self.base.keys, str(start), speed, settings=settings, **options)
        self.seen = collections.Counter()
        self.admin = self.peer = None
        self.ended = self.finished = False

    def begin(self):
        self.start_substation()
        return self.meet()

    def meet(self):
        self.admin, self.peer = self.join()
        self.ended = False
        return self

    def restart(self, hours_later):
        """At another time: two sweeps of one second would be one."""
        self.start_time = str(START + datetime.timedelta(hours=hours_later))
        self.forget_peers()
        return self.meet()

    def look(self):
        """The rows that are stored by now. From now on they stay."""
        rows = collections.Counter(self.base.rows(self, ROWS))
        lost = self.seen - rows
        hold(not lost, f"{lost.total()} stored rows are gone, the first: {next(iter(lost), None)}")
        self.seen = rows
        return rows

    def ask(self):
        self.admin.send(bus.command(b"Need_query"))

    def into_sweep(self, rows=3):
        """Asks for a sweep; returns when so many of its rows are stored."""
        before = self.look().total()
        self.ask()
        wait_for(lambda: self.look().total() >= before + rows, "rows of a sweep", 60)

    def registered(self):
        return sorted(row[0] for row in self.base.rows(self, 'SELECT global_id FROM "Counters"'))

    def peer_speaks(self, seconds):
        """Whether something comes on the bus within so many seconds of the daemon's."""
        return bool(select.select([self.peer.socket], [], [], seconds / self.speed)[0])

    def closed_sweep(self, meters=None):
        """Waits for a sweep's message, which must name `meters`, or all that are registered: meter -> its statuses."""
        word = None
        while word != b"tempdb":
            word, name, records = read_message(self.peer, 120)
        statuses = collections.defaultdict(list)
        for record in records:
            statuses[struct.unpack("<i", record[:4])[0]].append(struct.unpack("<h", record[42:])[0])
        expected = self.registered() if meters is None else meters
        hold(sorted(statuses) == expected, f"sweep {name} has the meters {sorted(statuses)}, not {expected}")
        self.last_sweep = name
        return statuses

    def complete_sweep(self, expected=READABLE):
        """Asks for a sweep: it must have a row for every meter and so many readings."""
        self.ask()
        statuses = self.closed_sweep()
        read = readings(statuses)
        hold(read >= expected, f"sweep {self.last_sweep} has {read} readings, not {expected}: {dict(statuses)}")
        return statuses

    def shown(self, text, times=1):
        """Waits until the debug output, the log or the modem's line has shown `text`."""
        wait_for(lambda: (self.stderr() + self.traffic() + "\n".join(self.log())).count(text) >= times,
                 f"{text!r} x{times}", 120)

    def traffic(self):
        if not os.path.exists(self.path("traffic")):
            return ""
        with open(self.path("traffic"), encoding="ascii") as file:
            return file.read()

    def end(self, how, code=0, within=2.0):
        """The seconds that the daemon took to end."""
        begun = time.monotonic()
        how()
        ended_with = self.wait()
        seconds = time.monotonic() - begun
        self.ended = True
        hold(ended_with == code, f"exit code {ended_with}, not {code}: {self.log()[-1:]} {self.last_words()}")
        hold(seconds < within, f"it took {seconds:.2f} s to end")
        return seconds

    def terminate(self):
        return self.end(lambda: self.signal(signal.SIGTERM))

    def finish(self):
        self.finished = True
        if not self.ended:
            hold(self.process.poll() is None, f"the daemon ended by itself: {self.process.poll()} {self.log()[-1:]}")
            self.terminate()
        rows = self.look()
        hold(self.base.sound(self), "the database is damaged")
        hold(max(rows.values(), default=0) <= 1, f"doubled rows: {[row for row, n in rows.items() if n > 1]}")
        silences = collections.Counter((row[0], row[6], row[7]) for row in rows if row[8] != 0)
        hold(max(silences.values(), default=0) <= 1, f"two rows for silence: {silences.most_common(1)}")

    def __exit__(self, kind, *rest):
        try:
            if kind is None and not self.finished:
                self.finish()
        finally:
            super().__exit__(kind, *rest)
