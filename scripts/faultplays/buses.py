"""Peers and an administrator that misbehave while a sweep runs, and strangers who mean harm."""

import contextlib
import os
import random
import resource
import select
import signal
import struct
import time

from faultplays.stage import ON_DEMAND, Stage, hold
from rig import buspeer as bus
from rig.process import SANITIZED, wait_for
from rig.substation import NTPQ

BURST = 300
MEGABYTE = 1 << 20
LARGEST = 50_000_000  # the length field of a frame


def descriptors(site):
    return len(os.listdir(f"/proc/{site.process.pid}/fd"))


def resident(site, which="VmRSS"):
    """MiB; 0 where it says nothing."""
    with open(f"/proc/{site.process.pid}/status", encoding="ascii") as status:
        return 0 if SANITIZED else next(int(line.split()[1]) for line in status if line.startswith(which)) / 1024


def cpu_seconds(site):
    with open(f"/proc/{site.process.pid}/stat", encoding="ascii") as stat:
        return sum(map(int, stat.read().split()[13:15])) / os.sysconf("SC_CLK_TCK")


def crowd(site, size):
    """So many connections; room for them on both sides."""
    room = min(resource.getrlimit(resource.RLIMIT_NOFILE)[1], 3 * size + 200)
    resource.setrlimit(resource.RLIMIT_NOFILE, (room, room))
    resource.prlimit(site.process.pid, resource.RLIMIT_NOFILE, (room, room))
    size = min(size, room // 2 - 100)
    return [site.connect("probe") for _ in range(size)]


def sends(peer, raw):
    """False when the daemon has hung up on it."""
    peer.socket.settimeout(20)
    try:
        peer.send(raw)
    except ConnectionError:
        return False
    return True


def answers(site):
    """The seconds that the administrator waits for an answer."""
    begun = time.monotonic()
    site.admin.send(bus.command(b"About", connection=77))
    while not (site.admin.read_frame() or b"").endswith(struct.pack(">i", 77)):
        pass
    return time.monotonic() - begun


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
        most = resident(site, "VmHWM")
        hold(most < 100, f"{most:.0f} MiB resident")
        site.peer.send(bus.command(b"Watch_Arrow_Off"))
        site.complete_sweep()
    return f"dropped, the log says so, never more than {most:.0f} MiB resident; both sweeps are complete"


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


def hoarders():
    """Each announces the largest frame and stops short of its end."""
    with Stage() as site:
        site.begin().complete_sweep()
        before = resident(site)
        peers = [site.connect("probe") for _ in range(40)]
        kept = sum(sends(peer, struct.pack(">i", LARGEST) + bytes(49_000_000)) for peer in peers)
        honest = bus.command(b"About", bytes(LARGEST - 18), 78)
        hold(sends(site.peer, honest), "a peer with a whole frame was disconnected")
        while not site.admin.read_frame().endswith(struct.pack(">i", 78)):
            pass
        most = resident(site, "VmHWM")
        hold(most < before + 300, f"{most:.0f} MiB resident, {before:.0f} before")
        site.shown("all unfinished frames together have")
        for peer in peers:
            peer.close()
        wait_for(lambda: resident(site) <= 1.1 * before, "the memory is given back")
        after = resident(site)
        site.complete_sweep()
    return f"{before:.0f} MiB resident, never more than {most:.0f}, {after:.0f} afterwards; {kept} of 40 could send it all"


def leave_at_once():
    with Stage() as site:
        site.begin().complete_sweep()
        open_before = descriptors(site)

        def all_leave():
            peers = crowd(site, 3000)
            wait_for(lambda: descriptors(site) == open_before + len(peers), "all are connected")
            site.signal(signal.SIGSTOP)
            for peer in peers:
                peer.close()
            return len(peers)

        left, begun = all_leave(), time.monotonic()
        site.signal(signal.SIGCONT)
        wait_for(lambda: descriptors(site) == open_before, "all connections closed", 60)
        answers(site)
        busy = time.monotonic() - begun
        hold(SANITIZED or busy < 0.5, f"busy for {busy:.2f} s with {left} peers that left")
        site.complete_sweep()
        all_leave()
        site.signal(signal.SIGTERM)
        seconds = site.end(lambda: site.signal(signal.SIGCONT))
    return f"{left} peers: busy for {busy:.2f} s; told to end at the same moment: exit code 0 after {seconds:.2f} s"


def flooded():
    """By 500 peers with as many frames as go through."""
    with Stage(speed=20) as site:
        site.begin()
        peers = crowd(site, 500)
        flood = os.fork()
        if flood == 0:
            for peer in peers:
                peer.socket.setblocking(False)
            while True:
                for ready in select.select([], [peer.socket for peer in peers], [])[1]:
                    try:
                        ready.send(struct.pack(">iB", 1, 7) * 40_000)
                    except BlockingIOError:
                        pass
                    except OSError:
                        os._exit(0)
        try:
            wait_for(lambda: cpu_seconds(site) > 3, "it is busy")
            seconds = site.terminate()
        finally:
            os.kill(flood, signal.SIGKILL)
            os.waitpid(flood, 0)
    return f"{len(peers)} peers: exit code 0 after {seconds:.2f} s"


def too_many():
    """More than the daemon has descriptors for."""
    with Stage(settings=ON_DEMAND.replace("TimeOfGetTime=^none$", "TimeOfGetTime=^04 08:[45]")) as site:
        site.write("ntpq", NTPQ.replace("\n", "\necho asked >> stderr\n", 1))
        site.begin()
        resource.prlimit(site.process.pid, resource.RLIMIT_NOFILE, (256, 256))
        own = descriptors(site)
        peers = [site.connect("probe") for _ in range(1000)]
        site.shown("A connection is refused: 128 are open")
        most = descriptors(site)
        hold(most < own + 128 + 5, f"{most} descriptors, {own} before")
        site.ask()
        site.closed_sweep()
        site.shown("asked")
        hold(site.log_texts().count("Start server: probe Ok!!!! ") == 1, "the own server was closed")
        for peer in peers:
            peer.close()
        wait_for(lambda: descriptors(site) < own + 5, "all connections closed")
        site.connect("probe").send(bus.identify(b"late"))
        site.complete_sweep()
    return f"{most} descriptors of 256, {own} of them its own; swept, ntpq asked, the own server stayed"


def chatter():
    """All that a stranger can make it write into the log."""
    with Stage(speed=5) as site:
        site.begin()
        before = resident(site)
        for _ in range(20_000):
            site.connect("probe").close()
        site.shown("... and ")  # the next lines count anew
        with contextlib.closing(site.connect("probe")) as peer:
            peer.send(bus.identify(b"\x1b[31m\0" + "\u2028\u202e".encode() + bytes(49_000_000).replace(b"\0", b"x")))
        site.shown("\\u{1b}[31m\\u{0}\\u{2028}\\u{202e}xxx")
        longest = max(map(len, site.log()))
        hold(longest < 400, f"a line of {longest} characters")
        size, most = os.path.getsize(site.log_path), resident(site, "VmHWM")
        hold(size < 200_000, f"{size} bytes of log")
        hold(most < before + 250, f"{most:.0f} MiB resident, {before:.0f} before")
    return f"20,000 connections and a name of 49 MB: {size} bytes of log, at most {most:.0f} MiB resident"


def hostile():
    """Ten thousand connections, in groups; what they send is left unfinished."""
    kinds = [b"", b"\0\0", struct.pack(">i", LARGEST) + bytes(300_000), struct.pack(">i", -1), struct.pack(">i", LARGEST + 1),
             bus.identify(b"x" * MEGABYTE), bus.data(7, b"x") * 20_000, bus.command(b"?") * 5_000, bus.command(b"x")[:-1],
             bus.frame(bus.COMMAND, struct.pack(">i", 2_000_000_000) + b"x")]
    with Stage() as site:
        site.begin().complete_sweep()
        open_before, before, sent, slowest = descriptors(site), resident(site), 0, 0.0
        for _ in range(100):
            group = [(site.connect("probe"), random.choice(kinds + [random.randbytes(5000)])) for _ in range(100)]
            for peer, raw in group:
                sends(peer, raw)
                sent += len(raw)
            slowest = max(slowest, answers(site))
            for peer, _ in group:
                peer.close()
        wait_for(lambda: descriptors(site) == open_before, "all connections closed")
        wait_for(lambda: resident(site) <= 1.1 * before, f"no more than a tenth above {before:.0f} MiB resident")
        after, most = resident(site), resident(site, "VmHWM")
        site.complete_sweep()
    return f"{sent >> 20} MiB sent: {before:.1f} MiB resident before, {after:.1f} after, at most {most:.0f}; slowest answer {slowest:.2f} s"


def read_some(peer, most):
    """Up to so many bytes, until no more come."""
    got = 0
    while got < most and select.select([peer.socket], [], [], 0.3)[0]:
        got += len(peer.socket.recv(min(1 << 16, most - got)))
    return got


def slow_reader():
    """An administrator is shown large frames and always reads just not all of what waits."""
    rounds, kernel = 8, MEGABYTE // 2  # what the socket's buffer takes
    with Stage() as site:
        site.begin().complete_sweep()
        read_some(site.admin, MEGABYTE)
        site.peer.send(bus.command(b"Watch_Arrow_On"))
        for _ in range(rounds):
            site.peer.send(bus.data(7, bytes(7 * MEGABYTE)))
            read_some(site.admin, 6 * MEGABYTE)
        site.peer.send(bus.data(7, bytes(7 * MEGABYTE)) + bus.command(b"Watch_Arrow_Off"))
        waited = read_some(site.admin, 100 * MEGABYTE)
        hold(waited < 8 * MEGABYTE + kernel, f"{waited} bytes were waiting")
        site.complete_sweep()
    return f"{waited} bytes were waiting after {rounds + 1} frames of 7 MiB"
