"""The printed steps of the installation, run in a bare Debian, and what came of them. Started by scripts/install-check."""

import argparse
import contextlib
import os
import re
import shutil
import socket
import stat
import subprocess
import sys
import tempfile
import time

from rig import BUILD, ROOT, buspeer
from rig.debian import Debian
from rig.process import wait_for

CHAPTER = os.path.join(ROOT, "docs", "operations.md")
CHECK = "cd /\nrunuser -u ravelin -- env TMPDIR=/var/lib/ravelin-bus /opt/ravelin/ravelinctl check -settings /etc/ravelin/ravelin.ini"
# As the unit says. runuser would stay in front of the daemon and take the signals.
DAEMON = "umask 007; cd /; exec setpriv --reuid=ravelin --regid=ravelin --init-groups env TMPDIR=/var/lib/ravelin-bus " \
         "/opt/ravelin/ravelin -settings /etc/ravelin/ravelin.ini"
ROWS = 13
FILL = "INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) " \
       "SELECT global_id, 1, 1, 0, 0, 0, '2014-03-04', '08:30:00', 0 FROM Counters"
BEGUN = time.monotonic()


def tell(text):
    print(f"{time.monotonic() - BEGUN:6.1f} s  {text}", flush=True)


def hold(condition, what, seen=""):
    if not condition:
        raise AssertionError(f"not seen: {what}\n{seen}")
    tell(f"    seen: {what}")


def chapter():
    """By section of "Install": the blocks in it, (language, text), in order."""
    with open(CHAPTER, encoding="utf-8") as file:
        install = re.search(r"^## Install\n(.*?)^## ", file.read(), re.DOTALL | re.MULTILINE)[1]
    sections = re.split(r"^### (.*)\n", install, flags=re.MULTILINE)[1:]
    return {title: re.findall(r"^```(\w*)\n(.*?)^```", text, re.DOTALL | re.MULTILINE)
            for title, text in zip(sections[::2], sections[1::2])}


def with_keys(settings, block):
    """`settings` with the keys of `block` set, as a person would with an editor; each must be there already."""
    for line in block.splitlines():
        if "=" in line:
            key = line.split("=")[0]
            settings, times = re.subn(f"^{key}=.*$", lambda _, line=line: line, settings, flags=re.MULTILINE)
            assert times == 1, f"the example settings have {key} {times} times"
    return settings


class Machine(Debian):
    """A bare Debian in a directory, with a virtual substation on its serial lines."""

    def __init__(self, directory, mirror):
        tell(f"making a bare Debian 12 in {directory}")
        super().__init__(directory, mirror)
        self.blocks = chapter()
        self.used = set()

    def inside(self, script):
        return super().inside("cd /root/package 2>/dev/null || true\n" + script)

    def block(self, section, number, language="sh"):
        """The text of the section's block of that number, from 0."""
        self.used.add((section, number))
        found, text = self.blocks[section][number]
        assert found == language, (section, number, found)
        return text

    def step(self, section, number):
        tell(f"{section}, commands {number + 1}")
        return self.inside(self.block(section, number))

    def set_keys(self, section, number):
        path = self.path("/etc/ravelin/ravelin.ini")
        with open(path, "r+", encoding="utf-8") as file:
            settings = with_keys(file.read(), self.block(section, number, "ini"))
            file.seek(0)
            file.truncate()
            file.write(settings)
        tell(f"{section}: set the keys in ravelin.ini")

    def connect_lines(self, substation):
        """Under the names that the printed settings have, with the rights that udev gives to serial lines."""
        for name, line in (("ttyUSB0", "modem"), ("ttyS2", "substation")):
            terminal = os.path.realpath(os.path.join(substation, line))
            shutil.chown(terminal, "root", "dialout")
            os.chmod(terminal, 0o660)
            with contextlib.suppress(FileNotFoundError):
                os.unlink(self.path("/dev/" + name))
            os.symlink(terminal, self.path("/dev/" + name))


def package(machine, directory):
    """As "What to copy" makes it, in a directory that stands for the sources."""
    tell("What to copy, commands 1")
    for name in ("build", "share"):
        os.symlink(os.path.join(ROOT, name), os.path.join(directory, name))
    machine.command(["sh", "-eu", "-c", machine.block("What to copy", 0)], cwd=directory)
    shutil.copy(os.path.join(ROOT, "share", "register.csv.example"), os.path.join(directory, "package", "meters.csv"))
    shutil.copytree(os.path.join(directory, "package"), machine.path("/root/package"))


def expect_all_well(report):
    line = report.strip().splitlines()[-1]
    hold(line.startswith("All is well. Looked as the user ravelin;"), line, report)


def look_at_bus(machine):
    path = machine.path("/var/lib/ravelin-bus/ravelin")
    mode = os.stat(path)
    group = machine.inside("getent group ravelin-bus").split(":")[2]
    hold(stat.S_IMODE(mode.st_mode) == 0o770 and mode.st_gid == int(group), "the daemon's socket is its group's alone")
    strange = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", sys.executable, "-c",
               f"import socket; socket.socket(socket.AF_UNIX).connect({path!r})"]
    refused = subprocess.run(strange, stderr=subprocess.PIPE, text=True, check=False)
    hold("PermissionError" in refused.stderr, "a stranger cannot connect to it")


def count(machine, file):
    done = machine.inside(f"cd /; runuser -u ravelin -- sqlite3 {file} 'SELECT count(*) FROM Main_Data' 2>&1 || true")
    return done.strip()


def back_up(machine):
    machine.inside(f'cd /; runuser -u ravelin -- sqlite3 /opt/ravelin/db/z.db "{FILL}"')
    machine.inside("install -o ravelin -g ravelin /opt/ravelin/db/z.db /tmp/alone.db")
    hold(count(machine, "/tmp/alone.db") != str(ROWS), "a copy of z.db alone has not the rows")
    machine.step("Backup", 0)
    hold(count(machine, "/var/backups/ravelin/z.db") == str(ROWS), f"the backup has all {ROWS}")


def run_daemon(machine):
    """Until it serves its bus; its backup and a check beside it; then ended as a service manager ends it."""
    tell("the daemon starts, as the unit says")
    bus = machine.path("/var/lib/ravelin-bus")
    log = machine.path("/var/log/ravelin/ravelin.log")
    os.umask(0o007)
    with contextlib.closing(buspeer.Listener(bus, "admin")) as admin:
        daemon = subprocess.Popen(["chroot", machine.root, "/bin/sh", "-c", DAEMON], stdin=subprocess.DEVNULL,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        with contextlib.closing(admin.accept()):
            def said(text):
                with open(log, encoding="utf-8") as file:
                    return text in file.read()

            wait_for(lambda: said("Start server: ravelin Ok!!!!"), "the daemon serves its bus", 60)
            hold(said("Start Ok!"), "the daemon runs and logs to /var/log/ravelin")
            look_at_bus(machine)
            report = machine.inside(CHECK)
            hold("hint: Main/PortKS, /dev/ttyUSB0: the daemon runs" in report, "a check beside it says that it has its line", report)
            back_up(machine)
            daemon.terminate()
            code = daemon.wait(20)
            hold(code == 0, "it ends at SIGTERM with exit code 0", f"exit code {code}")
    machine.inside("rm -f /opt/ravelin/db/z.db*")
    machine.step("Backup", 1)
    hold(count(machine, "/opt/ravelin/db/z.db") == str(ROWS), f"put back, the database has all {ROWS}")


def install(machine, directory):
    package(machine, directory)
    sizes = [os.path.getsize(os.path.join(directory, "package", name)) for name in ("ravelin", "ravelinctl")]
    tell(f"    the stripped programs: {sizes[0]} and {sizes[1]} bytes")
    machine.step("Libraries, user, programs", 0)
    machine.step("A private directory for the bus", 0)
    machine.step("Settings and register", 0)
    machine.set_keys("Settings and register", 1)
    expect_all_well(machine.step("Settings and register", 2))
    run_daemon(machine)


def install_postgres(machine):
    section = "PostgreSQL instead of SQLite"
    with contextlib.closing(socket.socket()) as probe:
        if probe.connect_ex(("127.0.0.1", 5432)) == 0:
            raise AssertionError("a PostgreSQL server of this machine is in the way: port 5432 is taken")
    machine.step(section, 0)
    tell("    the server is started, as init would have")
    machine.inside("pg_ctlcluster 15 main start")
    try:
        machine.step(section, 1)
        machine.set_keys(section, 2)
        expect_all_well(machine.inside(machine.block("Settings and register", 2)))
    finally:
        machine.inside("pg_ctlcluster 15 main stop --mode fast")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--mirror", default="http://deb.debian.org/debian", help="where Debian's packages are (%(default)s)")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="ravelin-install-") as directory, contextlib.ExitStack() as stack:
        machine = Machine(directory, options.mirror)
        stack.enter_context(machine.mounted())
        lines = os.path.join(directory, "lines")
        os.mkdir(lines)
        substation = subprocess.Popen([os.path.join(BUILD, "ravelin-sim"), "--register",
                                       os.path.join(ROOT, "share", "register.csv.example"), lines],
                                      stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        stack.callback(substation.terminate)
        wait_for(lambda: os.path.exists(os.path.join(lines, "modem")), "the virtual substation")
        machine.connect_lines(lines)
        try:
            install(machine, directory)
            install_postgres(machine)
        except BaseException as fault:
            print(f"FAILED: {fault}", file=sys.stderr)
            return 1
        unused = [(title, number) for title, blocks in machine.blocks.items() for number, (language, _) in enumerate(blocks)
                  if language in ("sh", "ini") and (title, number) not in machine.used]
        hold(not unused, f"no printed step was left out{unused or ''}")
        tell("All printed steps work.")
        return 0


if __name__ == "__main__":
    sys.exit(main())
