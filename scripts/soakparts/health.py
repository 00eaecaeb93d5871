"""What a daemon takes of its machine while it lives."""

import datetime
import os
import re

DAY = datetime.timedelta(days=1)
SQLITE_CACHE = 2000  # KiB of its pages that SQLite keeps, unless told otherwise


def kib(path):
    return os.path.getsize(path) // 1024 if os.path.exists(path) else 0


class Health:
    """Resident memory (KiB) and descriptors of one daemon process over its life."""

    def __init__(self, pid, born, database):
        self.pid, self.born, self.database, self.samples = pid, born, database, []
        self.database_at_birth = kib(database)

    def sample(self, now):
        with open(f"/proc/{self.pid}/status", encoding="ascii") as status:
            resident = int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1))
        cached = min(SQLITE_CACHE, kib(self.database) - self.database_at_birth)
        self.samples.append((now - self.born, resident, cached, len(os.listdir(f"/proc/{self.pid}/fd"))))

    def check(self, account):
        age = self.samples[-1][0]
        text = f"life of {age.days} days {age.seconds // 3600} h"
        grown_up = [sample for sample in self.samples if sample[0] >= DAY]
        if grown_up:
            first, last = grown_up[0], grown_up[-1]
            text += f": {first[1]} KiB resident after a day, {last[1]} at the end"
            if last[2]:
                text += f", new pages of SQLite's cache {first[2]} and {last[2]} KiB"
            growth = max(sample[1] - sample[2] for sample in grown_up) / (first[1] - first[2]) - 1
            descriptors = {sample[3] for sample in grown_up}
            text += f", growth besides {100 * growth:.1f} %, descriptors {min(descriptors)} to {max(descriptors)}"
            if growth > 0.05 or len(descriptors) > 1:
                account.fault(text)
        return text
