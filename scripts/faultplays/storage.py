"""SQLite databases that are missing, locked, full, robbed of a table."""

import contextlib
import os
import resource
import shutil
import subprocess

from faultplays.stage import ON_DEMAND, READABLE, Stage, hold, readings


class Disk:
    """A directory of the site that can be filled up and made read-only: a small file system of its own where that may be
    mounted, else files that may not grow, or not be written."""

    def __init__(self, site):
        self.site, self.path = site, site.path("disk")
        os.mkdir(self.path)
        mount = ["mount", "-t", "tmpfs", "-o", "size=1m,mode=777", "tmpfs", self.path]
        self.mounted = os.geteuid() == 0 and subprocess.run(mount, stderr=subprocess.DEVNULL).returncode == 0
        self.kind = "a tmpfs of 1 MiB" if self.mounted else "permissions, a limit on the size of files"

    def fill(self):
        if not self.mounted:
            largest = max(os.path.getsize(os.path.join(self.path, name)) for name in os.listdir(self.path))
            resource.prlimit(self.site.process.pid, resource.RLIMIT_FSIZE, (largest, resource.RLIM_INFINITY))
            return
        with contextlib.suppress(OSError), open(os.path.join(self.path, "filler"), "wb", buffering=0) as file:
            while file.write(b"x" * 512):
                pass

    def empty(self):
        if self.mounted:
            os.unlink(os.path.join(self.path, "filler"))
        else:
            resource.prlimit(self.site.process.pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY,) * 2)

    def let_write(self, allowed):
        if self.mounted:
            subprocess.run(["mount", "-o", f"remount,{'rw' if allowed else 'ro'}", self.path], check=True)
            return
        hold(allowed or os.geteuid() != 0, "root writes anywhere, and may not mount here: play this as another user")
        for name in os.listdir(self.path):
            os.chmod(os.path.join(self.path, name), 0o644 if allowed else 0o444)
        os.chmod(self.path, 0o755 if allowed else 0o555)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.mounted:
            subprocess.run(["umount", "--lazy", self.path], check=True)
        else:
            self.let_write(True)


def on_disk(site, disk):
    """Moves the database there."""
    shutil.move(site.path("z.db"), disk.path)
    site.base.name = "disk/z.db"
    site.write_settings(site.settings.replace("/z.db", "/disk/z.db"))


def missing():
    """First the directory, which is noticed when it comes back; then the file, in whose place SQLite makes an empty one."""
    with Stage() as site:
        away = site.path("away")
        os.rename(site.path("z.db"), away)
        site.write_settings(site.settings.replace("/z.db", "/none/z.db"))
        site.base.name = "none/z.db"
        site.begin().ask()
        site.shown("unable to open database file Error opening database (alias name)")
        site.closed_sweep([])
        os.mkdir(site.path("none"))
        os.rename(away, site.path("none/z.db"))
        site.complete_sweep()
        site.look()
        told = [line for line in site.log_texts() if line.startswith(("Rows are", "The database"))]
        hold(told == ["The database cannot be read: unable to open database file", "The database can be read again"],
             f"the log tells {told}")
        site.terminate()

        os.rename(site.path("none/z.db"), away)
        site.restart(1).ask()
        site.closed_sweep([])
        site.terminate()
        os.replace(away, site.path("none/z.db"))
        site.restart(2)
        site.complete_sweep()
    return "no directory: told in the log, used when it is back; no file: used after a restart; complete sweeps then"


def read_only():
    with Stage() as site, Disk(site) as disk:
        on_disk(site, disk)
        disk.let_write(False)
        site.begin().ask()
        site.closed_sweep([])
        site.terminate()
        disk.let_write(True)
        site.restart(1)
        site.complete_sweep()
        site.finish()
    return f"{disk.kind}: a sweep without rows, and once it may be written the next is complete"


def full():
    with Stage() as site, Disk(site) as disk:
        site.log_path = os.path.join(disk.path, "the.log")
        on_disk(site, disk)
        site.begin().into_sweep()
        before = site.look().total()
        disk.fill()
        site.closed_sweep(sorted(row[0] for row in site.look()))
        rows = site.look().total()
        hold(rows - before < 3, "the disk was not full")
        disk.empty()
        site.complete_sweep()
        site.finish()
    return f"{disk.kind}: {before} rows stored before, {rows - before} after it was full; the next sweep is complete"


def locked_long():
    with Stage() as site:
        site.begin().into_sweep()
        with site.base.connect(site) as other:
            other.execute("BEGIN IMMEDIATE")
            hold(not site.peer_speaks(20), "the sweep was closed meanwhile")
            other.execute("ROLLBACK")
        statuses = site.closed_sweep()
        site.complete_sweep()
    return f"{readings(statuses)} readings in the sweep, the next is complete"


def locked_briefly():
    with Stage(speed=10, settings=ON_DEMAND.replace("RepeatQueryNumber=2", "RepeatQueryNumber=0")) as site:
        site.begin().ask()
        locks = 0
        with site.base.connect(site) as other:
            while not site.peer_speaks(0.5):
                other.execute("BEGIN IMMEDIATE")
                locks += not site.peer_speaks(1)
                other.execute("ROLLBACK")
        statuses = site.closed_sweep()
        hold(readings(statuses) == READABLE, f"{readings(statuses)} readings, not {READABLE}")
    return f"{locks} locks while a sweep was read, all {READABLE} readings at the first asking"


def table_gone():
    with Stage() as site:
        site.begin().into_sweep()
        with site.base.connect(site) as other:
            other.execute("PRAGMA busy_timeout = 10000")
            other.execute('ALTER TABLE "Main_Data" RENAME TO kept')
            site.closed_sweep([])
            other.execute('ALTER TABLE kept RENAME TO "Main_Data"')
        kept = site.look().total()
        site.complete_sweep()
        told = [line for line in site.log_texts() if line.startswith("Rows are")]
        hold(told == ["Rows are not stored: no such table: Main_Data", "Rows are stored again"], f"the log tells {told}")
    return f"{kept} rows stored before are kept, the next sweep is complete; both told once in the log"
