"""Peers and an administrator that misbehave while a sweep runs."""

import contextlib
import os
import random

from faultplays.stage import Stage, hold
from rig import buspeer as bus
from rig.process import SANITIZED, wait_for

BURST = 300
MEGABYTE = 1 << 20


def descriptors(site):
    return len(os.listdir(f"/proc/{site.process.pid}/fd"))


def peers():
    with Stage() as site:
        site.begin().into_sweep(1)
        open_before = descriptors(site)
        half = [site.connect("probe") for _ in range(5)]
        for length, peer in enumerate(half, 1):
            peer.send(bus.identify(b"half")[:2 * length])
        for guest in range(BURST):
            with contextlib.closing(site.connect("probe")) as peer, contextlib.suppress(ConnectionError):
                peer.send(bus.identify(b"guest")[:guest % 14])
        site.closed_sweep()
        for peer in half:
            peer.close()
        site.complete_sweep()
        wait_for(lambda: descriptors(site) == open_before, "all connections closed")
    return f"5 half frames, {BURST} peers came and went; both sweeps are complete, no connection is left over"


def deaf():
    """20 MB are shown to an administrator, who reads nothing meanwhile."""
    with Stage() as site:
        site.begin().into_sweep(1)
        site.peer.send(bus.command(b"Watch_Arrow_On"))
        for _ in range(20):
            site.peer.send(bus.data(7, bytes(MEGABYTE)))
        site.closed_sweep()
        site.shown("does not read")
        with open(f"/proc/{site.process.pid}/status", encoding="ascii") as status:
            resident = next(int(line.split()[1]) for line in status if line.startswith("VmHWM"))
        hold(SANITIZED or resident < 100_000, f"{resident} KiB resident")
        site.peer.send(bus.command(b"Watch_Arrow_Off"))
        site.complete_sweep()
    return f"dropped, the log says so, never more than {resident // 1024} MiB resident; both sweeps are complete"


def garbage():
    sent = refused = 0
    with Stage() as site:
        site.begin().into_sweep(1)
        while sent < MEGABYTE:
            noise = random.choice([b"", b"\0\0\0\x20", b"\0\0"]) + random.randbytes(1 << 14)
            with contextlib.closing(site.connect("probe")) as peer:
                peer.socket.settimeout(20)
                try:
                    peer.send(noise)
                except ConnectionError:
                    refused += 1
                sent += len(noise)
        site.closed_sweep()
        site.complete_sweep()
    return f"{sent} bytes over {sent >> 14} connections; both sweeps are complete"
