"""The daemon killed, terminated, left by its administrator, told to quit."""

import random
import signal
import time

from faultplays.stage import ON_DEMAND, Stage, hold
from rig import buspeer as bus
from rig.substation import NTPQ, SITE

KILLS = 20
PATTERNS = "TimeOfQuery={}\nTimeOfSetTime={}\nTimeOfGetTime={}\n"
NOW, NEVER = ".", "^none$"
QUERY = PATTERNS.format(NOW, NEVER, NEVER)
CLOCKS = PATTERNS.format(NEVER, NOW, NEVER)
TIMES = PATTERNS.format(NEVER, NEVER, NOW)
PAUSES = "RepeatQueryNumber=2\nBCAST_to_UCAST_Delay={}\nUCAST_to_UCAST_Delay={}\n"
LONG, FIRST_LONG, OTHERS_LONG = PAUSES.format(60000, 60000), PAUSES.format(60000, 500), PAUSES.format(3000, 60000)
PATIENT = ON_DEMAND.replace("UCAST_to_UCAST_Delay=2000", "UCAST_to_UCAST_Delay=60000")
HANGS = "#!/bin/sh\necho asked >> stderr\nexec sleep 60\n"
# Each goes on for longer than the end may take. Phase, speed, settings, ntpq, what shows that it has begun.
PHASES = [
    ("modem start-up", 1, QUERY, NTPQ, "atz"),
    ("between ticks", 5, QUERY, NTPQ, "Start Ok!"),
    ("substation read", 20, QUERY + LONG, NTPQ, "Broadcast query..."),
    ("broadcast wait", 20, QUERY + FIRST_LONG, NTPQ, "KTP ok"),
    ("read-out", 20, QUERY + OTHERS_LONG, NTPQ, "Begin query of counters"),
    ("re-ask pass", 20, QUERY + FIRST_LONG, NTPQ, "Repeat query..."),
    ("clock setting", 20, CLOCKS + LONG, NTPQ, "TIME_("),
    ("time sweep", 20, TIMES + LONG, NTPQ, "at+ucastb"),
    ("ntpq hangs", 5, TIMES + LONG, HANGS, "asked"),
    ("ntpq lacks the server", 20, TIMES + LONG, NTPQ.replace("192.0.2.7", "192.0.2.8"), "ntpq does not list"),
]


def killed():
    stored = []
    with Stage() as site:
        site.begin()
        begun = time.monotonic()
        site.complete_sweep()
        sweep_lasts = time.monotonic() - begun
        for kill in range(1, KILLS + 1):
            before = site.look().total()
            site.ask()
            until = time.monotonic() + random.uniform(0, sweep_lasts)
            while time.monotonic() < until:
                site.look()
            site.end(lambda: site.signal(signal.SIGKILL), -signal.SIGKILL)
            stored.append(site.look().total() - before)
            hold(site.base.sound(site), f"kill {kill}: the database is damaged")
            site.restart(kill)
            site.complete_sweep()
    return f"{KILLS} kills with {min(stored)} to {max(stored)} rows of the sweep stored, {site.seen.total()} rows at the end"


def terminated():
    slowest = (0.0, "")
    for phase, speed, settings, ntpq, sign in PHASES:
        scenario = "[substation]\nsilent = yes\n" if phase == "substation read" else ""
        with Stage(speed=speed, settings=SITE + settings, scenario=scenario) as site:
            site.write("ntpq", ntpq)
            site.start_substation()
            site.start()
            site.shown(sign)
            site.look()
            slowest = max(slowest, (site.terminate(), phase))
    return f"{len(PHASES)} phases, exit code 0 each time, the slowest after {slowest[0]:.2f} s: {slowest[1]}"


def quick(site):
    site.stop_substation()
    site.speed = 100
    site.start_substation()
    site.write_settings(site.settings.replace("UCAST_to_UCAST_Delay=60000", "UCAST_to_UCAST_Delay=2000"))
    return site


def admin_lost():
    with Stage(speed=20, settings=PATIENT) as site:
        site.begin().into_sweep(1)
        seconds = site.end(site.admin.close, 5)
        quick(site).restart(1)
        site.complete_sweep()
    return f"exit code 5 after {seconds:.2f} s within a wait of 3 s; the next sweep is complete"


def admin_returns():
    """With the remedy, a peer that never comes, and an administrator who goes in a wait and comes back."""
    settings = ON_DEMAND.replace("Connections=\n", "Connections=nobody\n") + "[Field]\nRemedies=bus\n"
    with Stage(speed=50, settings=settings) as site:
        site.start_substation()
        listener = site.listen("admin")
        site.start()
        site.admin = site.accept(listener)
        site.shown("Start server: probe Ok!!!! ")
        site.peer = site.connect("probe")
        site.into_sweep(1)
        site.admin.close()
        site.admin = site.accept(listener)
        site.shown("The administrative server admin is lost")
        site.closed_sweep()
        site.admin.send(bus.command(b"About"))
        hold(b"About" in site.admin.read_frame() + site.admin.read_frame(), "no answer to the administrator")
    return "the sweep is closed, the administrator is connected again and answered"


def told_to_quit():
    word = bus.command(b"QuitSignal")

    def in_pieces(site):
        for i in range(len(word)):
            site.admin.send(word[i:i + 1])

    def and_gone(site):
        site.admin.send(word)
        site.admin.close()

    def gone_before_it_is_read(site):
        site.signal(signal.SIGSTOP)
        site.admin.send(bus.command(b"About") + word)
        site.admin.close()
        site.signal(signal.SIGCONT)

    ways = [lambda site: site.admin.send(word),
            lambda site: site.admin.send(bus.command(b"About") + bus.data(7, b"x" * 5000) + word),
            lambda site: site.peer.send(word), in_pieces, and_gone]
    slowest = 0.0
    with Stage(speed=20, settings=PATIENT) as site:
        site.begin()
        for hours, way in enumerate(ways, 1):
            site.admin.send(bus.command(b"quitsignal") + bus.command(b"QuitSignal "))  # mean nothing
            site.into_sweep(1)
            slowest = max(slowest, site.end(lambda: way(site)))
            hold(site.log_texts()[-1] == "QuitSignal received. Stopping application.", "the log does not say why")
            (quick(site) if hours == len(ways) else site).restart(hours)
        site.complete_sweep()
        site.end(lambda: gone_before_it_is_read(site))
    return f"{len(ways) + 1} ways, exit code 0 after at most {slowest:.2f} s within a wait of 3 s; the next sweep is complete"
