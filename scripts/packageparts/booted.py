"""A Debian whose systemd runs, in a container of systemd-nspawn."""

import os
import subprocess

from rig.debian import ENVIRONMENT, LONGEST
from rig.process import wait_for


class Booted:
    """From `with` on. Without a network but its own loopback; an address 192.0.2.7 is reached over it, too."""

    def __init__(self, debian):
        self.debian = debian
        self.leader = None
        self.container = None

    def __enter__(self):
        # The container's systemd needs the one hierarchy of control groups; this namespace may still have the older ones.
        if not os.path.exists("/sys/fs/cgroup/cgroup.controllers"):
            subprocess.run(["umount", "--recursive", "/sys/fs/cgroup"], check=True)
            subprocess.run(["mount", "-t", "cgroup2", "none", "/sys/fs/cgroup"], check=True)
        with open(self.debian.log + ".boot", "wb") as log:
            # Its own filter forbids to load the filters for devices and addresses, which are to be tried.
            self.container = subprocess.Popen(
                ["systemd-nspawn", "--quiet", "--register=no", "--keep-unit", "--private-network", "--capability=all",
                 "--directory", self.debian.root, "--boot"],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log, env={**os.environ, "SYSTEMD_SECCOMP": "0"})
        wait_for(self.has_booted, "systemd", 60, 0.1)
        self.inside("ip link set lo up; ip route add 192.0.2.0/24 dev lo")
        return self

    def __exit__(self, *_):
        self.container.terminate()  # systemd-nspawn shuts it down
        try:
            self.container.wait(30)
        except subprocess.TimeoutExpired:
            self.container.kill()
            self.container.wait()

    def has_booted(self):
        """Its first process is known from then on. Before, systemd-nspawn has other children for a moment."""
        if self.container.poll() is not None:
            raise AssertionError(f"systemd-nspawn ended with {self.container.returncode}")
        with open(f"/proc/{self.container.pid}/task/{self.container.pid}/children", encoding="ascii") as file:
            self.leader = (file.read().split() or [None])[0]
        return self.leader and self.tried("systemctl is-system-running --wait")[1].strip() in ("running", "degraded")

    def tried(self, script):
        """Exit code, and what it printed."""
        done = subprocess.run(["nsenter", "--target", self.leader, "--all", "--", "/bin/sh", "-eu", "-c", "cd /\n" + script],
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              errors="replace", timeout=LONGEST, env=ENVIRONMENT, check=False)
        with open(self.debian.log, "a", encoding="utf-8") as log:
            log.write(done.stdout)
        return done.returncode, done.stdout

    def inside(self, script):
        code, text = self.tried(script)
        if code:
            raise AssertionError(f"exit code {code} of: {script}\n" + "\n".join(text.splitlines()[-30:]))
        return text

    def path(self, name):
        """As it is seen from inside, with what is mounted there."""
        return f"/proc/{self.leader}/root{name}"

    def show(self, unit, key):
        return self.inside(f"systemctl show --property {key} --value {unit}").strip()
