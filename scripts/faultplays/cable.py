"""A serial cable between a simulated line and the daemon: it can be pulled out, and noise can be put on it."""

import os
import pty
import select
import threading
import time
import tty


class Cable:
    """Takes the place of the terminal at `path`."""

    def __init__(self, path):
        self.path = path
        self.far = os.open(os.readlink(path), os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        self.near = self.slave = None
        self.lock = threading.Lock()
        self.left = False
        self.plug()
        self.thread = threading.Thread(target=self.carry, daemon=True)
        self.thread.start()

    def plug(self):
        with self.lock:
            self.near, self.slave = pty.openpty()
            tty.setraw(self.slave)
            os.set_blocking(self.near, False)
            os.unlink(self.path) if os.path.islink(self.path) else None
            os.symlink(os.ttyname(self.slave), self.path)

    def unplug(self):
        with self.lock:
            os.unlink(self.path)
            os.close(self.near)
            os.close(self.slave)
            self.near = None

    def carry(self):
        while not self.left:
            with self.lock:
                ends = [self.far] + ([self.near] if self.near is not None else [])
                for end in select.select(ends, [], [], 0.001)[0]:
                    data = os.read(end, 4096)
                    other = self.near if end == self.far else self.far
                    if other is not None and select.select([], [other], [], 0)[1]:
                        os.write(other, data)  # what a full line does not take is lost
            time.sleep(0.0005)

    def put(self, noise, timeout=30.0):
        """The number of bytes of `noise` that the daemon's side took in that time."""
        sent, deadline = 0, time.monotonic() + timeout
        while sent < len(noise) and time.monotonic() < deadline:
            if select.select([], [self.near], [], 0.05)[1]:
                sent += os.write(self.near, noise[sent:sent + 1024])
        return sent

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.left = True
        self.thread.join()
        if self.near is not None:
            self.unplug()
        os.close(self.far)
