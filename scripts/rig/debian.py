"""A bare Debian 12 in a directory, to install into. Whoever makes one is root in a mount and process namespace of its own."""

import contextlib
import os
import shutil
import subprocess

from rig.process import write_file

LONGEST = 900  # s for one step: packages come over the network
ENVIRONMENT = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "HOME": "/root", "LANG": "C.UTF-8",
               "DEBIAN_FRONTEND": "noninteractive"}


class Debian:
    """In `directory`/debian. With `cache` the bare tree is kept there, and taken from there the next time."""

    def __init__(self, directory, mirror, cache=None):
        self.root = os.path.join(directory, "debian")
        self.log = os.path.join(directory, "log")
        bare = os.path.join(cache, "bookworm") if cache else self.root
        if not os.path.exists(bare):
            making = bare + ".new"  # a run that was cut short leaves no half tree under the name of a whole one
            shutil.rmtree(making, ignore_errors=True)
            self.command(["debootstrap", "--variant=minbase", "bookworm", making, mirror])
            os.rename(making, bare)
        if bare != self.root:
            self.command(["cp", "--archive", bare, self.root])
        # As in every chroot: no package may start its services on the machine around it.
        os.chmod(write_file(self.path("/usr/sbin"), "policy-rc.d", "#!/bin/sh\nexit 101\n"), 0o755)

    @contextlib.contextmanager
    def mounted(self):
        """With /proc and terminals. Whoever deletes the directory afterwards must not find them in it, whatever happened."""
        os.makedirs(self.path("/dev/pts"), exist_ok=True)
        with contextlib.ExitStack() as stack:
            for words in (["-t", "proc", "proc", self.path("/proc")], ["--bind", "/dev/pts", self.path("/dev/pts")]):
                subprocess.run(["mount", *words], check=True)
                stack.callback(subprocess.run, ["umount", words[-1]], check=True)
            yield

    def path(self, name):
        return self.root + name

    def command(self, words, **options):
        """What it printed; all of it is kept in the log."""
        done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              errors="replace", timeout=LONGEST, **options)
        with open(self.log, "a", encoding="utf-8") as log:
            log.write(done.stdout)
        if done.returncode:
            raise AssertionError(f"exit code {done.returncode}:\n" + "\n".join(done.stdout.splitlines()[-30:]))
        return done.stdout

    def inside(self, script):
        return self.command(["chroot", self.root, "/bin/sh", "-eu", "-c", script], env=ENVIRONMENT)
