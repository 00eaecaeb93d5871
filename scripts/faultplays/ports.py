"""Serial lines that are not there, go away, or carry what they should not."""

import random
import signal
import threading
import time

from faultplays.cable import Cable
from faultplays.stage import ON_DEMAND, READABLE, SUBSTATION, Stage, hold, readings
from rig.substation import read_message

MEGABYTE = 1 << 20


def modem_unplugged():
    with Stage() as site:
        site.start_substation()
        with Cable(site.path("modem")) as cable:
            site.meet().into_sweep()
            cable.unplug()
            without = site.closed_sweep()
            site.shown("broke: ")
            cable.plug()
            again = site.complete_sweep()
    return f"{readings(without)} of {READABLE} readings in the sweep, {readings(again)} in the next"


def modem_started_anew():
    """With the remedy: pulled out in a sweep and back, and struck dumb for a while."""
    def told(times):
        site.shown("at+jn", times)
        word = None
        while word != b"error":
            word, _, text = read_message(site.peer, 120)
        hold(b"".join(text).endswith(b"#ERROR:256#\n"), f"error {text}")

    with Stage(settings=ON_DEMAND + "[Field]\nRemedies=modem\n") as site:
        site.start_substation()
        with Cable(site.path("modem")) as cable:
            site.meet().into_sweep()
            cable.unplug()
            site.shown("broke: ")
            cable.plug()
            told(2)
            site.complete_sweep()
            site.substation.send_signal(signal.SIGSTOP)
            site.shown("The modem said nothing to ")
            site.substation.send_signal(signal.SIGCONT)
            told(3)
            site.complete_sweep()
    return "the start-up again after both, told on the bus; the next sweeps are complete"


def substation_unplugged():
    with Stage(speed=40) as site:  # at a hundred the port has answered before it is pulled
        site.start_substation()
        with Cable(site.path("substation")) as cable:
            site.meet().ask()
            site.shown("Broadcast query...")
            cable.unplug()
            without = site.closed_sweep()[SUBSTATION]
            cable.plug()
            again = site.complete_sweep()[SUBSTATION]
            hold((without, again) == ([1], [0]), f"the substation's statuses are {without}, then {again}")
    return "status 1 without the port, a reading in the next sweep"


def never_there():
    with Stage() as site:
        site.meet().ask()
        site.shown("Cannot open the modem port")
        without = site.closed_sweep()
        expected = {meter: [255] for meter in without} | {SUBSTATION: [1]}
        hold(without == expected, f"statuses {dict(without)}")
        site.start_substation()
        again = site.complete_sweep()
    return f"a row for each of {len(without)} meters; {readings(again)} readings once the ports are there"


def modem_noise():
    """Bytes at random, and what looks like a modem's lines around them."""
    tags = [b"\r\nUCAST:", b"BCAST:", b"\r\nACK:", b"\r\nNACK:", b"ERROR:", b"+UCASTB:", b",FF?", b"=", b"\xC0", b"\xC1"]
    noise = b"".join(random.choice(tags) + random.randbytes(random.randrange(60)) for _ in range(MEGABYTE // 34))
    with Stage() as site:
        site.start_substation()
        with Cable(site.path("modem")) as cable:
            site.meet().into_sweep(1)
            begun = time.monotonic()
            taken = cable.put(noise)
            seconds = time.monotonic() - begun
            hold(taken == len(noise), f"the daemon took {taken} bytes of {len(noise)}")
            within = readings(site.closed_sweep())
            site.complete_sweep()
    return f"{taken} bytes taken in {seconds:.1f} s, {within} readings in the sweep; the next is complete"


def substation_noise():
    """The port is open for moments alone, so it takes some sweeps."""
    with Stage() as site:
        site.start_substation()
        with Cable(site.path("substation")) as cable:
            site.meet()
            taken, statuses = [], []
            flood = threading.Thread(target=lambda: taken.append(cable.put(random.randbytes(MEGABYTE), 60)))
            flood.start()
            while flood.is_alive():
                site.ask()
                statuses += site.closed_sweep()[SUBSTATION]
            hold(taken == [MEGABYTE], f"the daemon took {taken} bytes")
            hold(site.complete_sweep()[SUBSTATION] == [0], "no reading of the substation when the line is quiet again")
    return f"{taken[0]} bytes taken in {len(statuses)} sweeps with status {sorted(set(statuses))}; a reading in the next"
