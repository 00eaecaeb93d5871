"""Processes on the daemon's bus that come and go."""

import contextlib
import os

from rig import buspeer as bus


def drain(connection):
    """All whole frames that have come."""
    frames = []
    with contextlib.suppress(TimeoutError):
        while (frame := connection.read_frame(0)) is not None:
            frames.append(frame)
    return frames


class Peer:
    """Comes and goes: either connects to the daemon, or listens for it under `name`. Must get what the watcher gets."""

    def __init__(self, soak, name, listens):
        self.soak, self.name, self.listens = soak, name, listens
        self.connection = self.listener = None

    def come(self):
        site = self.soak.site
        if self.listens:
            self.listener = self.listener or bus.Listener(site.directory, self.name)
            self.connection = self.listener.accept()
        else:
            self.connection = bus.connect(site.directory, "probe")
            self.connection.send(bus.identify(self.name.encode()))
        self.seen = len(self.soak.frames)

    def go(self):
        """Closes the connection, and the listener with it."""
        mine = [frame for frame in drain(self.connection) if frame[4] == 0]
        if mine != self.soak.frames[self.seen:]:
            self.soak.account.fault(f"peer {self.name} got {len(mine)} messages that are not those sent meanwhile")
        self.soak.account.counts["messages to peers that come and go"] += len(mine)
        self.connection.close()
        if self.listener:
            self.listener.close()
            os.unlink(self.soak.site.path(self.name))
        self.connection = self.listener = None
