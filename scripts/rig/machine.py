"""Whether this machine keeps up: what a play in fast motion loses of real time it loses many times over."""

import threading
import time

NAP = 0.005


class Machine(threading.Thread):
    """Until it is left it sleeps 5 ms again and again, and notes how late it comes back."""

    def __init__(self):
        super().__init__(daemon=True)
        self.longest = self.latest = self.late = self.watched = 0.0  # seconds
        self.left = False

    def run(self):
        before = time.monotonic()
        while not self.left:
            time.sleep(NAP)
            now = time.monotonic()
            late = now - before - NAP
            self.longest, self.latest = max(self.longest, late), max(self.latest, late)
            self.late, self.watched, before = self.late + late, self.watched + now - before, now

    def take_latest(self):
        """The longest stall since this was asked last, in seconds."""
        stall, self.latest = self.latest, 0.0
        return stall

    def share(self):
        """Of the time, how much it was late. A quiet machine has 0.04, one with many compilers at work 0.3."""
        return self.late / self.watched if self.watched else 0.0

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.left = True
        self.join()
