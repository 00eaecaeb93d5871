"""Faults played on the real daemon at a virtual substation; each row of PLAYS is a promise that must hold."""

import argparse
import random
import sys
import time
import traceback
from functools import partial

from faultplays import buses, clocks, ends, forward, ports, powercut, radio, remedies, servers, storage

NEXT = "the sweep closes with a row for every meter, the next one is complete"
NO_ROWS = "the sweep passes without rows, what was stored stays, the next sweep is complete"
BOTH = "without the remedy the fault shows, with it not: "


def remedy(name, promise, fault, variant=""):
    return f"remedy-{name}{variant}", BOTH + promise, partial(remedies.mended, name, fault)


PLAYS = [
    ("killed", "kill -9 anywhere in a sweep: stored rows stay, the database is sound, the next sweep is complete", ends.killed),
    ("terminated", "SIGTERM in any phase: exit code 0 within 2 s, stored rows stay", ends.terminated),
    ("admin-lost", "the administrator goes in a sweep: exit code 5 within 2 s", ends.admin_lost),
    ("admin-returns", "with Remedies=bus, a peer missing: the administrator goes in a sweep, which is closed; he is connected again", ends.admin_returns),
    ("told-to-quit", "QuitSignal in a sweep, from anyone, in pieces, by one who has gone: exit code 0 within 2 s", ends.told_to_quit),
    ("modem-unplugged", "modem port gone in a sweep and back: " + NEXT, ports.modem_unplugged),
    ("modem-started-anew", "with Remedies=modem, port gone and back, modem silent: started anew, told; the next sweeps are complete", ports.modem_started_anew),
    ("substation-unplugged", "substation port gone while it is read: status 1, and a reading in the next sweep", ports.substation_unplugged),
    ("ports-never-there", "no port at the start: told in the log, a row for every meter; used once they are there", ports.never_there),
    ("modem-noise", "1 MB of garbage from the modem in a sweep: " + NEXT, ports.modem_noise),
    ("substation-noise", "1 MB of garbage from the substation meter: " + NEXT, ports.substation_noise),
    ("database-missing", "told in the log, " + NO_ROWS, storage.missing),
    ("database-read-only", "file and directory cannot be written: " + NO_ROWS, storage.read_only),
    ("database-locked", "locked by another process for a second again and again: no meter is asked twice", storage.locked_briefly),
    ("database-locked-long", "not to be written for 20 s, four times the patience of SQLite: " + NEXT, storage.locked_long),
    ("table-gone", "a table is taken away in a sweep: stored rows stay, the next sweep is complete", storage.table_gone),
    ("disk-full", "the disk fills up in a sweep: stored rows stay, the next sweep is complete once there is room", storage.full),
    ("postgres-fast", "PostgreSQL stopped and started in a sweep: " + NEXT, partial(servers.server_restarts, "fast")),
    ("postgres-immediate", "PostgreSQL crashes and starts in a sweep: " + NEXT, partial(servers.server_restarts, "immediate")),
    ("postgres-away", "PostgreSQL away for a sweep: " + NO_ROWS, servers.server_away),
    ("postgres-locked", "a table locked by another session: nothing is lost or doubled, exit code 0 within 2 s; the next sweep is complete", servers.table_locked),
    ("postgres-word-lost", "the connection breaks when a row is stored and not confirmed: it is not doubled", servers.word_lost),
    ("power-cut", "a copy of the database at any moment opens, is sound and has all stored rows", powercut.power_cut),
    ("bus-peers", "half frames, and hundreds of peers that come and go in a sweep: " + NEXT, buses.peers),
    ("bus-deaf", "20 MB for an administrator who does not read: dropped above 8 MiB, " + NEXT, buses.deaf),
    ("bus-slow-reader", "7 MB frames for an administrator who always leaves some: never more than 8 MiB wait", buses.slow_reader),
    ("bus-hoarders", "40 peers that send all but the end of a 50 MB frame: bounded, given back, an honest frame passes", buses.hoarders),
    ("bus-leave-at-once", "3,000 peers that leave at once: busy for less than 0.5 s, exit code 0 within 2 s", buses.leave_at_once),
    ("bus-flooded", "500 peers send as much as goes through: SIGTERM ends it with exit code 0 within 2 s", buses.flooded),
    ("bus-too-many", "more connections than descriptors: refused, the sweep closes, ntpq is asked, the next is complete", buses.too_many),
    ("bus-chatter", "20,000 connections, a name of 49 MB with control characters: a short log, short lines", buses.chatter),
    ("bus-hostile", "10,000 hostile connections: answers go on, no connection is left, memory is back within 10 %", buses.hostile),
    ("bus-garbage", "1 MB of garbage from peers: " + NEXT, buses.garbage),
    ("clock-stepped", "an hour forward and back, in and between sweeps: the next tick follows, sweeps keep their start's stamp", clocks.stepped),
    ("summer-begins", "01:59 is followed by 03:00: the schedule goes on with local time", clocks.summer_begins),
    ("summer-ends", "the hour from 02:00 comes twice: it is swept twice", clocks.summer_ends),
    ("register-changes", "meters added, removed and remodelled in a sweep, quotes in their names: it closes, the next follows", radio.register_changes),
    ("alarms", "alarms of several meters at once in a sweep: each is told on the bus, the sweep is complete", radio.alarms),
    ("strangers", "unknown nodes, reports nobody waits for, refusals: told, no rows; " + NEXT, radio.strangers),
    ("noise-sqlite", "loss, refusals, garbage, cut lines: every sweep closes with a row for every meter", partial(radio.noise, False)),
    ("noise-postgres", "the same into PostgreSQL", partial(radio.noise, True)),
    ("forward-killed", "50,000 rows arrive while the forwarder is killed 50 times and the centre crashes 10 times: each row is there once", forward.killed),
    ("forward-cut", "the link is cut, or the centre crashes, before and behind each step of a delivery: each row is there once", forward.cut_at_each_step),
    ("forward-disk-full", "no room here, then at the centre: told, each row is there once when there is room", forward.full_disks),
    ("forward-week", "the centre is away for a week's rows of 200 meters: each is there once when it is back", forward.week_away),
    remedy("reports", "delivery reports lost and late, statuses are those of other nodes", remedies.reports),
    remedy("ntp", "ntpq is not installed, no sweep any more", partial(remedies.ntp, "missing"), "-missing"),
    remedy("ntp", "ntpq hangs, no sweep any more", partial(remedies.ntp, "hangs"), "-hangs"),
    remedy("order", "a time sweep falls due in an open query sweep, which is closed as a time sweep", remedies.order),
    remedy("schedule", "a due minute longer than its tick counts twice, one that passes in a tick not at all", remedies.schedule),
    remedy("modem", "a power cut takes the modem's network, no reading any more", partial(remedies.modem, "power-cut"), "-power"),
    remedy("modem", "the modem is deaf until it is started, no reading any more", partial(remedies.modem, "deaf"), "-deaf"),
    ("pacing", "Pacing=answers, a window larger than the modem's, silent nodes, reports lost: every readable meter is read",
     partial(remedies.pacing, "[Field]\nPacing=answers\nWindow=8\n")),
    remedy("ce102", "the energy of a CE102 is not stored", remedies.ce102),
    remedy("checksums", "an answer with a wrong checksum is stored", remedies.checksums),
    remedy("digits", "a total of more than six digits is rounded", remedies.digits),
    remedy("substation", "a substation meter that is not registered is tried", remedies.substation),
    remedy("clocks", "every node is sent the clock message of a CE301", remedies.clocks),
    remedy("numbers", "nobody is told his number", remedies.numbers),
    remedy("alarms", "opened cases behind other bytes, and of a node that is not registered, are not told", remedies.alarms),
    remedy("memory", "10,500 nodes speak, the node table keeps them all", remedies.memory),
]
QUICK = ["killed", "admin-lost", "told-to-quit", "modem-unplugged", "substation-unplugged", "database-missing",
         "database-locked", "disk-full", "postgres-word-lost", "power-cut", "bus-peers", "bus-deaf", "register-changes",
         "alarms", "strangers", "noise-sqlite", "forward-killed"]


def played(seed, name, promise, play):
    """The row of the table."""
    random.seed(f"{seed} {name}")
    begun = time.monotonic()
    try:
        seen, verdict = play(), "held"
    except Exception as fault:  # whatever it is, the promise was not seen to hold
        traceback.print_exc()
        seen, verdict = f"{type(fault).__name__}: {fault}"[:400], "BROKEN"
    row = [name, promise, seen, verdict, f"{time.monotonic() - begun:.0f}"]
    print(f"{row[3]:6} {row[4]:>4} s  {name}: {seen}", flush=True)
    return row


def main():
    names = [name for name, _, _ in PLAYS]
    parser = argparse.ArgumentParser(prog="scripts/faults", description=__doc__)
    parser.add_argument("names", nargs="*", metavar="NAME", help="plays; without any, all", choices=[[], *names])
    parser.add_argument("--list", action="store_true", help="the plays and what they promise")
    parser.add_argument("--quick", action="store_true", help="a part of it in a minute and a half, with fewer kills")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32), help="of everything random")
    options = parser.parse_args()
    if options.list:
        for name, promise, _ in PLAYS:
            print(f"{name:22} {promise}")
        return 0
    print(f"seed {options.seed}", flush=True)
    chosen = options.names or names
    if options.quick:
        chosen, ends.KILLS = QUICK, 2
        forward.ROWS, forward.KILLS, forward.CRASHES = 4800, 6, 2
    rows = [played(options.seed, *play) for play in PLAYS if play[0] in chosen]
    print("\n| fault | promise | seen | | s |\n|---|---|---|---|---|")
    for row in rows:
        print(f"| {' | '.join(row)} |")
    return int(any(row[3] != "held" for row in rows))


if __name__ == "__main__":
    sys.exit(main())
