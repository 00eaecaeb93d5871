"""Copies of a database that is being written, as a power cut would leave it."""

import collections
import contextlib
import os
import random
import shutil
import signal
import sqlite3
import time

from faultplays.stage import ROWS, Stage, hold
from rig.substation import NODE, SITE

MANY = 150  # meters, half of them silent: their rows are one long transaction
COPIES = 150


def power_cut():
    """Copies are made while the daemon stands still: what the system held at that moment. In the second check what came
    behind the rows that were seen stored is cut off or overwritten, as on a disk that had not written it all."""
    register = "global_id,UIN,Number,Model,Type,KI_Number\n1,KTP-1,12345,CE301,1,\n" + "".join(
        f"{10 + i},{NODE % i},{70000 + i},SET3,0,{i}\n" for i in range(1, MANY + 1))
    settings = "UCAST_to_UCAST_Delay=50\nBCAST_to_UCAST_Delay=5000\nRepeatQueryNumber=0\nTimeOfQuery=.\n" \
               "TimeOfSetTime=^none$\nTimeOfGetTime=^none$\n"
    torn = 0
    with Stage(settings=SITE + settings, register=register, scenario="[all]\nloss = 0.5\n") as site:
        site.begin()
        for copy in range(COPIES):
            rows = site.look()
            size = size_of(site.path("z.db-wal"))
            time.sleep(random.uniform(0, 0.02))
            site.signal(signal.SIGSTOP)
            database, journal = copied(site, f"copy{copy}", copy % 2)
            site.signal(signal.SIGCONT)
            if (behind := size_of(journal)) > size:
                torn += 1
                check_copy(*copied(site, f"torn{copy}", False, f"copy{copy}"), rows, random.randrange(size, behind))
            check_copy(database, journal, rows)
        hold(torn, "no copy was made in mid-write")
        stored = site.look().total()
    return f"{COPIES} copies while {stored} rows were written, {torn} of them torn: all sound, no stored row is missing"


def size_of(path):
    return os.path.getsize(path) if os.path.exists(path) else 0


def copied(site, name, with_index, source="."):
    os.mkdir(site.path(name))
    for ending in ("", "-wal") + (("-shm",) if with_index else ()):
        with contextlib.suppress(FileNotFoundError):
            shutil.copy(os.path.join(site.path(source), "z.db" + ending), site.path(name))
    return site.path(name + "/z.db"), site.path(name + "/z.db-wal")


def check_copy(database, journal, rows, spoil_at=None):
    if spoil_at is not None and spoil_at % 2:
        os.truncate(journal, spoil_at)
    elif spoil_at is not None:
        with open(journal, "r+b") as file:
            file.seek(spoil_at)
            file.write(random.randbytes(512))
    with contextlib.closing(sqlite3.connect(database)) as connection:
        hold(connection.execute("PRAGMA integrity_check").fetchall() == [("ok",)], f"{database} is damaged")
        lost = rows - collections.Counter(connection.execute(ROWS).fetchall())
        hold(not lost, f"{database} lacks {lost.total()} rows that were stored")
