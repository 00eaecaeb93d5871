"""The forwarder: killed, with a centre that crashes, a link that breaks at each step, disks that are full."""

import collections
import contextlib
import os
import random
import re
import select
import shutil
import signal
import socket
import sqlite3
import subprocess
import threading
import time

from faultplays.stage import hold
from rig.centre import CLOCKS, READINGS, TODAY, Centre, Controller
from rig.process import wait_for

ROWS, KILLS, CRASHES = 50_000, 50, 10
SOCKET = ".s.PGSQL.5432"
# What of a delivery passes the link, in its order; each is cut before and behind it has reached the centre.
STEPS = [b"UPDATE forward_marks SET last_row", b"COPY fleet.readings", b"\t08:30:00\t", b"COMMIT"]


def rows(first, last):
    return [(number, number / 8, number % 7 / 4, 0.0, 2048.0, 0.0, str(TODAY), "08:30:00", number % 3)
            for number in range(first, last)]


def delivered(one, timeout=120):
    """Waits until the centre has as many rows as the daemon; then it must have the same ones."""
    for table, target, columns in (("Main_Data", "readings", READINGS), ("time_table", "clock_readings", CLOCKS)):
        here = one.here(table, columns)
        wait_for(lambda: len(one.there(target, columns)) >= len(here), f"all {target} at the centre: {one.log()[-400:]}",
                 timeout, 0.2)
        there = one.there(target, columns)
        lost, doubled = collections.Counter(here), collections.Counter(there)
        hold(here == there, f"{(lost - doubled).total()} lost, {(doubled - lost).total()} too many or changed")
    return len(one.here())


@contextlib.contextmanager
def stage(keys="EverySeconds=1", name="north", string=None):
    with Centre() as centre:
        centre.add(name)
        with Controller(centre, name, keys, string and string(centre)) as one:
            yield centre, one
            if one.process.poll() is None:
                began = time.monotonic()
                one.process.terminate()
                hold(one.process.wait(20) == 0, f"exit code {one.process.returncode}")
                hold(time.monotonic() - began < 2, f"it took {time.monotonic() - began:.1f} s to end")


def killed():
    share = ROWS // KILLS
    with stage("BatchRows=50") as (centre, one):
        def write(first):
            for at in range(first, first + share, 100):
                one.add(*rows(at, at + 100))
                one.add(*((f"{at}", "a\tb", "\\.", str(TODAY), "08:30:00"),) * 2, table="time_table")

        crashes = amid = 0
        one.start()
        for turn in range(KILLS):
            writer = threading.Thread(target=write, args=(turn * share,))
            writer.start()
            time.sleep(random.uniform(0, 0.6))  # wherever it is then
            if turn % (KILLS // CRASHES) == 0:
                centre.restart("immediate")
                crashes += 1
            one.kill()
            writer.join()
            amid += one.status()["readings"]["waiting"] > 0
            one.start()
        count = delivered(one)
        hold(count == share * KILLS and crashes == CRASHES, f"{count} rows, {crashes} crashes")
    return f"{count} rows once each, through {KILLS} SIGKILLs of the forwarder, {amid} with rows on their way, and {crashes} crashes of the centre"


class Link:
    """Between the forwarder and the centre. The next request with the word `armed` in it is cut off: before it reaches the
    centre, or `behind`, when it has and the answer has not come back; with `crash` the centre crashes with it. With `late` it
    reaches the centre when the forwarder, connected anew, has asked for its mark to be moved."""

    def __init__(self, centre, directory):
        self.centre, self.armed, self.behind, self.crash, self.cuts = centre, None, False, False, 0
        self.late, self.kept = False, None
        os.mkdir(directory)
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(os.path.join(directory, SOCKET))
        self.listener.listen()
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            near = self.listener.accept()[0]
            with near, socket.socket(socket.AF_UNIX) as far, contextlib.suppress(OSError):
                far.connect(os.path.join(self.centre.directory, SOCKET))
                while self.carry(near, far):
                    pass

    def carry(self, near, far):
        for end in select.select([near, far], [], [])[0]:
            data = end.recv(1 << 16)
            if not data:
                return False
            cut = end is near and self.armed and self.armed in data
            if not cut or self.behind:
                (far if end is near else near).sendall(data)
            if self.kept and end is near and STEPS[0] in data:
                time.sleep(0.3)  # it waits for the transaction that is open
                with self.kept[0] as earlier:
                    earlier.sendall(self.kept[1])
                self.kept = None
            if cut:
                if self.late:
                    self.kept = (far.dup(), data)
                if self.behind and self.armed == b"COMMIT":
                    far.recv(1 << 16)
                self.armed = None
                if self.crash:
                    self.centre.restart("immediate")
                self.cuts += 1
                return False
        return True


def cut_at_each_step():
    with stage(string=lambda centre: centre.string("north").replace(centre.directory, centre.directory + "/link")) as (
            centre, one):
        link = Link(centre, os.path.join(centre.directory, "link"))
        one.start()
        count = 0
        for crash in (False, True):
            for step in STEPS:
                for link.behind in (False, True):
                    link.crash, cuts = crash, link.cuts
                    link.armed = step
                    one.add(*rows(count, count + 50))
                    count += 50
                    wait_for(lambda: link.cuts > cuts, f"the link is cut at {step}", 60)
                    delivered(one)
        link.crash, link.behind, link.late, link.armed = False, False, True, b"COMMIT"
        one.add(*rows(count, count + 50))
        wait_for(lambda: link.cuts > 4 * len(STEPS) and not link.kept, "the late commit has come", 60)
        one.add(*rows(count + 50, count + 100))
        delivered(one)
        hold(link.cuts == 4 * len(STEPS) + 1, f"{link.cuts} cuts")
    return f"{count + 100} rows once each, through {link.cuts} cuts: with the centre up, with its crash, and a commit that came late"


def full_disks():
    hold(os.geteuid() == 0, "needs root, to mount small file systems")
    with stage() as (centre, one), contextlib.ExitStack() as mounts:
        def small(path, megabytes):
            os.makedirs(path, exist_ok=True)
            subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={megabytes}m,mode=777", "tmpfs", path], check=True)
            mounts.callback(subprocess.run, ["umount", "--lazy", path], check=True)
            return path

        def fill(path):
            filler = os.path.join(path, "filler")
            with contextlib.suppress(OSError), open(filler, "wb", buffering=0) as file:
                while file.write(b"x" * 512):
                    pass
            return filler

        disk = small(os.path.join(one.directory, "disk"), 32)
        with one.open() as file:
            file.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        shutil.move(one.file, os.path.join(disk, "z.db"))
        os.symlink(os.path.join(disk, "z.db"), one.file)
        one.start()
        one.add(*rows(0, 2000))
        before = delivered(one)
        with one.open() as file:  # its write-ahead log has room for some more rows
            file.execute("PRAGMA wal_checkpoint(RESTART)")
            filler, stored = fill(disk), before
            with contextlib.suppress(sqlite3.OperationalError):
                for row in rows(before, 9000):
                    file.execute(f"INSERT INTO Main_Data VALUES ({','.join('?' * 9)})", row)
                    stored += 1
        hold(before < stored < 9000 and delivered(one) == stored, f"{stored} rows were stored")
        one.wait_for_log("The notes in")
        os.unlink(filler)
        one.add(*rows(9000, 9100))
        delivered(one)
        one.wait_for_log("The notes are kept again")

        place = small(os.path.join(centre.directory, "space"), 8)
        os.chmod(place, 0o777)
        shutil.chown(place, "postgres", "postgres")
        os.chmod(place, 0o700)
        centre.psql(f"CREATE TABLESPACE small LOCATION '{place}'")
        for kind in ("readings", "clock_readings"):
            centre.psql(f"ALTER TABLE fleet.{kind}_{TODAY:%Y_%m} SET TABLESPACE small")
        filler = fill(place)
        one.add(*rows(10000, 14000))
        one.wait_for_log("No space left on device")
        hold(one.status()["readings"]["waiting"] > 0, "the centre's disk was not full")
        os.unlink(filler)
        count = delivered(one)
        waits = len(re.findall("No space left", one.log()))
    return f"{count} rows once each; full here: {stored - before} more rows went in and were delivered, the notes did not; full there: told {waits} times"


def week_away():
    """A week of 200 meters, every half hour, is there when the centre comes back."""
    with stage() as (centre, one):
        one.start()
        one.wait_for_log("Connected")
        centre.stop()
        week = 7 * 48 * 200
        one.add(*rows(0, week))
        one.wait_for_log("The centre cannot be reached")
        centre.start()
        began = time.monotonic()
        wait_for(lambda: centre.psql("SELECT count(*) FROM fleet.readings").strip() == str(week), "the week's rows", 300, 0.2)
        seconds = time.monotonic() - began
        delivered(one)
    return f"{week} rows once each, {seconds:.0f} s after the centre was back"
