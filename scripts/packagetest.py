"""The packages, installed into a bare Debian, and what came of them. Started by scripts/package-test."""

import argparse
import contextlib
import csv
import glob
import io
import json
import os
import re
import shlex
import shutil
import sys
import tempfile
import time

from packageparts.booted import Booted
from rig import ROOT, buspeer
from rig.debian import Debian
from rig.process import wait_for, write_file

SETTINGS = "/etc/ravelin/ravelin.ini"
DATABASE = "/var/lib/ravelin/ravelin.db"
LOG = "/var/log/ravelin/ravelin.log"
BUS = "/run/ravelin/bus"
UNITS = ("ravelin.service", "ravelin-hub.service", "ravelin-forward.service", "ravelin-backup.service", "ravelin-backup.timer", "ravelin-retain.service", "ravelin-retain.timer")
EXPOSURE = 1.4
SELDOM = 0.5  # s between two looks that each start a program
# What belongs to the test and not to the packages: before the first look at the files.
TEST_PACKAGES = "systemd-sysv dbus iproute2 logrotate python3"
RIGHTS = {"/etc/ravelin/ravelin.ini": "640 root ravelin", "/run/ravelin": "755 ravelin ravelin", BUS: "2770 ravelin ravelin",
          "/var/lib/ravelin": "750 ravelin ravelin", "/var/log/ravelin": "750 ravelin ravelin",
          "/var/backups/ravelin": "750 ravelin ravelin", "/etc/ravelin/ravelin-hub.token": "640 root ravelin",
          "/etc/ravelin/ravelin-forward.ini": "640 root ravelin"}
# A sweep each minute, short pauses. The rest is as the package has it.
KEYS = {"TimeOfQuery": ":[0-9][0-9]$\nBCAST_to_UCAST_Delay=1000\nUCAST_to_UCAST_Delay=600", "TimeOfSetTime": "never",
        "TimeOfGetTime": "never"}
# The lines that a process of the service may open, and one that it may not; their drivers are not there.
NODES = "for node in 'ttyUSB0 188' 'ttyACM0 166' 'usbmon0 189'; do set -- $node; mknod -m 666 /dev/$1 c $2 0; done"
# Of each attempt: with the service's sandbox, and as the same user without it.
ATTEMPTS = {
    "CapEff": ("0000000000000000", "0000000000000000"), "CapBnd": ("0000000000000000", None), "NoNewPrivs": ("1", "0"),
    "Seccomp": ("2", "0"),
    "write /etc": ("EROFS", "EACCES"), "write /usr": ("EROFS", "EACCES"), "write /opt/open": ("EROFS", "done"),
    "write /var/lib/ravelin": ("done", "done"), "write /var/log/ravelin": ("done", "done"),
    "write /run/ravelin/bus": ("done", "done"), "write /run/lock": ("done", "done"), "write /tmp": ("done", "done"),
    "open ttyUSB0": ("ENXIO", "ENXIO"), "open ttyACM0": ("ENXIO", "ENXIO"), "open usbmon0": ("EPERM", "ENXIO"),
    "see /tmp/outside": ("ENOENT", "done"), "see /home/engineer": ("EACCES", "done"), "see /proc/1": ("ENOENT", "done"),
    "see /proc/sys": ("ENOENT", "done"),
    "send to this machine": ("done", "done"), "send to another machine": ("EPERM", "done"),
    "netlink": ("EAFNOSUPPORT", "done"), "code in memory": ("EPERM", "done"), "user namespace": ("EPERM", "done"),
}
QUERY = f"import json, sqlite3, sys; print(json.dumps(sqlite3.connect('file:{DATABASE}?mode=ro', uri=True).execute(sys.argv[1]).fetchall()))"
BEGUN = time.monotonic()


def tell(text):
    print(f"{time.monotonic() - BEGUN:6.1f} s  {text}", flush=True)


def hold(condition, what, seen=""):
    if not condition:
        raise AssertionError(f"not seen: {what}\n{seen}")
    tell(f"    seen: {what}")


# --- without a running systemd: the files

def listing(debian):
    """All files but what each installation changes, with their kind, and the texts that know users."""
    passing = tuple(map(debian.path, ("/proc", "/dev", "/var/cache", "/var/lib/apt", "/var/lib/dpkg", "/var/log/apt",
                                      "/var/log/dpkg.log", "/root", "/tmp")))
    found = set()
    for directory, below, files in os.walk(debian.root):
        below[:] = [name for name in below if not os.path.join(directory, name).startswith(passing)]
        found.update(os.path.join(directory, name) for name in below + files
                     if not os.path.join(directory, name).startswith(passing))
    for name in ("passwd", "group", "shadow", "gshadow"):
        with open(debian.path("/etc/" + name), encoding="utf-8") as file:
            found.update(f"{name}: {line.strip()}" for line in file)
    return found


def make_older(debian, package, directory):
    """The same package with a lower version, and with settings that are not those of the newer one."""
    tree = os.path.join(directory, os.path.basename(package))
    debian.command(["dpkg-deb", "--raw-extract", package, tree])
    debian.command(["sed", "-i", "/^Version:/s/ .*/ 0.0.1/; s/(= [^)]*)/(= 0.0.1)/", tree + "/DEBIAN/control"])
    if os.path.exists(tree + SETTINGS):
        with open(tree + SETTINGS, "a", encoding="utf-8") as file:
            file.write("; Of an older version.\n")
    debian.command(["dpkg-deb", "--build", "--root-owner-group", tree, debian.path("/root/older")])


def install(machine, version, *options):
    return machine.inside(f"apt-get install -y {' '.join(options)} /root/{version}/*.deb")


def copy_packages(debian, packages, directory):
    for version in ("older", "newer"):
        os.mkdir(debian.path("/root/" + version))
    for package in packages:
        shutil.copy(package, debian.path("/root/newer"))
        make_older(debian, package, directory)


def prepare(debian, packages, directory):
    tell("what the packages depend on, from Debian; a visitor and an engineer")
    copy_packages(debian, packages, directory)
    debian.inside("apt-get update; apt-get install -y --no-install-recommends " + TEST_PACKAGES)
    for package in packages:
        needed = [debian.command(["dpkg-deb", "--field", package, field]) for field in ("Depends", "Recommends")]
        theirs = [name for name in map(str.strip, ",".join(needed).split(",")) if name and not name.startswith("ravelin")]
        debian.inside(f"apt-get satisfy -y '{', '.join(theirs)}'")
    debian.inside("useradd --create-home visitor; useradd --create-home engineer; chmod 755 /home/*; mkdir -m 777 /opt/open")


def look_at_files(debian):
    for path, rights in RIGHTS.items():
        seen = debian.inside(f"stat --format '%a %U %G' {path}").strip()
        hold(seen == rights, f"{path}: {rights}", seen)
    groups = debian.inside("id --name --groups ravelin").split()
    hold(groups == ["ravelin", "dialout"], "the user ravelin is in the groups ravelin and dialout alone", groups)
    enabled = debian.inside("systemctl is-enabled " + " ".join(UNITS) + " || true").split()
    hold(set(enabled) == {"disabled", "static"}, "no unit is enabled", enabled)


def look_at_units(debian):
    complaints = debian.inside("systemd-analyze verify --man=no " + " ".join(UNITS)).strip()
    hold(not complaints, "systemd-analyze finds nothing in the units", complaints)
    for unit in ("ravelin", "ravelin-hub", "ravelin-forward", "ravelin-backup", "ravelin-retain"):
        report = debian.inside(f"systemd-analyze security --offline=true --no-pager /lib/systemd/system/{unit}.service")
        exposure = float(re.search(r"Overall exposure level for .*: ([0-9.]+)", report)[1])
        hold(exposure <= EXPOSURE, f"{unit}.service: exposure {exposure}, at most {EXPOSURE}", report)


def install_on_full_disk(debian):
    tell("the disk is full")
    full = debian.path("/usr/share/ravelin")
    os.mkdir(full)
    debian.command(["mount", "-t", "tmpfs", "-o", "size=16k", "tmpfs", full])
    try:
        with contextlib.suppress(AssertionError):
            install(debian, "newer")
            raise SystemExit("it was installed on a full disk")
    finally:
        debian.command(["umount", full])
    os.rmdir(full)
    install(debian, "newer", "--fix-broken")  # some packages are unpacked, without the one that they depend on
    hold("0.1" in debian.inside("ravelin --version"), "with room again the installation goes through")


def install_and_purge(debian):
    """Twice: what the first purge leaves would be in the way of the second installation."""
    before = listing(debian)
    install_on_full_disk(debian)
    for attempt in ("first", "second"):
        tell(f"the {attempt} installation, no systemd runs")
        install(debian, "newer")
        look_at_files(debian)
        debian.inside(f"runuser -u ravelin -- ravelinctl register init; runuser -u ravelin -- touch /run/lock/LCK..line")
        debian.inside("apt-get purge -y 'ravelin*'")
        changed = sorted(before ^ listing(debian))
        hold(not changed, "purged, the files and users are those from before", "\n".join(changed))


# --- the service

def fill_in(machine):
    """As a technician does, with an editor."""
    path = machine.path(SETTINGS)
    with open(path, "r+", encoding="utf-8") as file:
        text = file.read()
        for key, value in KEYS.items():
            text, times = re.subn(f"^{key}=.*$", lambda _, line=f"{key}={value}": line, text, flags=re.MULTILINE)
            assert times == 1, f"{SETTINGS} has {key} {times} times"
        file.seek(0)
        file.truncate()
        file.write(text)
    return text


def drop_in(machine, name, text):
    directory = machine.path("/etc/systemd/system/ravelin.service.d")
    os.makedirs(directory, exist_ok=True)
    write_file(directory, name, "[Service]\n" + text)
    machine.inside("systemctl daemon-reload")


def take_out(machine, name):
    machine.inside(f"rm /etc/systemd/system/ravelin.service.d/{name}; systemctl daemon-reload")


def read(machine, path):
    with open(machine.path(path), encoding="utf-8") as file:
        return file.read()


def rows(machine, sql):
    return [tuple(row) for row in json.loads(machine.inside(f"runuser -u ravelin -- python3 -c {shlex.quote(QUERY)} {shlex.quote(sql)}"))]


def sweeps(machine):
    """Stamp and rows of each sweep whose meters all have a row."""
    return rows(machine, "SELECT date_r, time_r, count(*) FROM Main_Data GROUP BY 1, 2 HAVING count(*) >= "
                         "(SELECT count(*) FROM Counters) ORDER BY 1, 2")


def wait_for_sweep(machine, after, what):
    """The stamp of a sweep that came after the sweeps `after`."""
    new = wait_for(lambda: [sweep for sweep in sweeps(machine) if sweep not in after], what, 240, SELDOM)
    tell(f"    seen: {what}: {new[-1][2]} rows of {new[-1][0]} {new[-1][1]}")
    return new[-1]


def start_substation(machine):
    """The packaged one, under the names that the settings have, with the rights that udev gives to serial lines."""
    machine.inside("mkdir /var/lib/substation; cd /var/lib/substation; "
                   "cp /usr/share/doc/ravelin/examples/register.csv.example meters.csv; "
                   "systemd-run --unit substation --working-directory $PWD "
                   "ravelin-sim --register meters.csv --report report.csv .")
    wait_for(lambda: os.path.lexists(machine.path("/var/lib/substation/substation")), "the virtual substation")
    for name, line in (("ravelin-modem", "modem"), ("ravelin-meter", "substation")):
        machine.inside(f"line=$(readlink -f /var/lib/substation/{line}); chown root:dialout $line; chmod 660 $line; "
                       f"ln -sf $line /dev/{name}")


def compare_with_substation(machine, sweep):
    """What is stored of the sweep is what the meters showed when they were asked."""
    stored = rows(machine, "SELECT UIN, round(pwr, 2) FROM Main_Data JOIN Counters USING (global_id) WHERE status = 0 AND "
                           f"Type = 0 AND date_r = '{sweep[0]}' AND time_r = '{sweep[1]}'")
    answered = {(row["uin"], round(float(row["values"].split()[0]), 2))
                for row in csv.DictReader(io.StringIO(read(machine, "/var/lib/substation/report.csv")))
                if row["kind"] == "energy"}
    unknown = [row for row in stored if row not in answered]
    hold(len(stored) >= 10 and not unknown, f"{len(stored)} readings of it are what the meters answered", (unknown, answered))


def try_sandbox(machine):
    """Each attempt also without the sandbox: one that fails there, too, would prove nothing."""
    machine.inside(NODES + "; touch /tmp/outside")
    shutil.copy(os.path.join(ROOT, "scripts", "packageparts", "probe.py"), machine.path("/usr/local/lib/probe.py"))
    drop_in(machine, "probe.conf", "ExecStartPre=/bin/sh -c 'python3 /usr/local/lib/probe.py >/var/lib/ravelin/outcome'\n")
    machine.inside("systemctl start ravelin")
    take_out(machine, "probe.conf")
    within = json.loads(read(machine, "/var/lib/ravelin/outcome"))
    without = json.loads(machine.inside("runuser -u ravelin -- python3 /usr/local/lib/probe.py"))
    machine.inside("rm /var/lib/ravelin/outcome")
    wrong = [(name, expected, within[name], without[name]) for name, expected in ATTEMPTS.items()
             if within[name] != expected[0] or expected[1] not in (None, without[name])]
    hold(not wrong and set(within) == set(ATTEMPTS), f"the sandbox lets through and stops what it should: {len(ATTEMPTS)} attempts",
         "\n".join(map(str, wrong)))


def try_bus(machine):
    """Who is not in the group can neither connect nor be the administrator; who is can do both."""
    as_user = "setpriv --reuid={user} --regid={user} --init-groups python3 -c \"import socket; s = socket.socket(socket.AF_UNIX); {what}\""
    attempts = {"connect": f"s.connect('{BUS}/ravelin')", "listen": f"s.bind('{BUS}/admin')",
                "read the settings": f"open('{SETTINGS}')", "read the rows": f"open('{DATABASE}')"}
    machine.inside("gpasswd --add engineer ravelin")
    for name, what in attempts.items():
        code, text = machine.tried(as_user.format(user="visitor", what=what))
        hold(code and "PermissionError" in text, f"a user of the computer cannot {name}", text)
        machine.inside(as_user.format(user="engineer", what=what))
    hold(True, "a member of the group ravelin can")
    os.unlink(machine.path(BUS + "/admin"))


def administrator_quits(machine):
    """By the bus, as the administrative server of the settings."""
    before = machine.show("ravelin", "MainPID")
    os.umask(0o007)
    with contextlib.closing(buspeer.Listener(machine.path(BUS), "admin")) as listener:
        with contextlib.closing(listener.accept()) as admin:
            admin.send(buspeer.identify(b"admin") + buspeer.command(b"QuitSignal"))
            wait_for(lambda: machine.show("ravelin", "MainPID") != before, "the daemon ends", 60, SELDOM)
    os.unlink(machine.path(BUS + "/admin"))
    wait_for(lambda: machine.show("ravelin", "ActiveState") == "active", "started again", 60, SELDOM)
    hold(machine.show("ravelin", "MainPID") != before, "after the administrator's QuitSignal it is started again")


def kill_daemon(machine):
    lock = machine.path("/run/lock/LCK..ravelin-modem")
    wait_for(lambda: os.path.exists(lock), "the daemon has its modem", 60)
    machine.inside("systemctl kill --signal KILL ravelin")
    hold(os.path.exists(lock), "killed, it leaves the modem locked")
    wait_for_sweep(machine, sweeps(machine), "after a kill it is started again, opens its lines and sweeps")


def rotate_log(machine):
    machine.inside("logrotate --force /etc/logrotate.d/ravelin")
    hold(not os.path.exists(machine.path(LOG)) and os.path.getsize(machine.path(LOG + ".1")), "logrotate took the log away")


def upgrade(machine, settings):
    before, kept = machine.show("ravelin", "MainPID"), sweeps(machine)
    install(machine, "newer", "-o Dpkg::Options::=--force-confdef", "-o Dpkg::Options::=--force-confold")
    hold("0.0.1" not in machine.inside("dpkg-query --show --showformat '${Version}' ravelin"), "the newer version is installed")
    hold(machine.show("ravelin", "MainPID") not in ("0", before), "the daemon was started anew with it")
    hold(read(machine, SETTINGS) == settings, "the settings are those that were filled in")
    rights = machine.inside(f"stat --format '%a %U %G' {SETTINGS}").strip()
    hold(rights == RIGHTS[SETTINGS], f"and still {rights}", rights)
    hold(os.path.exists(machine.path(SETTINGS + ".dpkg-dist")), "the newer version's settings lie beside them")
    hold(sweeps(machine)[:len(kept)] == kept, f"all rows of {len(kept)} sweeps are there")
    wait_for_sweep(machine, sweeps(machine), "the newer version sweeps")
    hold(os.path.exists(machine.path(LOG)), "and has made a new log")


def try_timers(machine):
    """Whichever of the tool's commands is there."""
    for command, unit, made in (("backup", "ravelin-backup", "/var/backups/ravelin/ravelin.db"), ("retain", "ravelin-retain", DATABASE)):
        if machine.tried(f"ravelinctl {command} --help")[0]:
            tell(f"    NOT TRIED: {unit}.service; this ravelinctl has no command {command}")
            continue
        machine.inside(f"systemctl enable --now {unit}.timer; systemctl start {unit}.service")
        hold(os.path.getsize(machine.path(made)), f"{unit}.service has run, its timer waits")


@contextlib.contextmanager
def journal_of_fault(machine):
    try:
        yield
    except BaseException:
        print(machine.tried("journalctl --no-pager --lines 40 --unit ravelin")[1], file=sys.stderr)
        raise


def run_service(machine):
    settings = fill_in(machine)
    tell("the service starts, without serial lines")
    try_sandbox(machine)
    machine.inside("systemctl enable --now ravelin")
    hold("Main_Data" in str(rows(machine, "SELECT name FROM sqlite_master")), "the tables are made")
    start_substation(machine)
    machine.inside("runuser -u ravelin -- ravelinctl register import /var/lib/substation/meters.csv")
    compare_with_substation(machine, wait_for_sweep(machine, [], "a sweep within the sandbox"))
    try_bus(machine)
    administrator_quits(machine)
    kill_daemon(machine)
    rotate_log(machine)
    tell("upgrade beside the running daemon")
    upgrade(machine, settings)
    try_timers(machine)


def purge(machine):
    tell("removed, then purged, while it runs")
    machine.inside("apt-get remove -y 'ravelin*'")
    code, text = machine.tried("systemctl is-active ravelin || pgrep -x ravelin")
    hold(code, "removed, it does not run", text)
    hold(rows(machine, "SELECT count(*) FROM Main_Data")[0][0], "the rows stay")
    machine.inside("apt-get purge -y 'ravelin*'; rm -rf /etc/systemd/system/ravelin.service.d")
    left = machine.inside("find / -xdev -path /root -prune -o -name '*ravelin*' -print; find /run /dev -name '*ravelin*'").split()
    copies = ["/var/backups/ravelin", "/var/backups/ravelin/ravelin.db"]
    hold(sorted(left) == ["/dev/ravelin-meter", "/dev/ravelin-modem", *copies], "purged, only the copies are left", left)
    hold(machine.inside("stat --format '%a %U' /var/backups/ravelin").split() == ["700", "root"], "and these are root's")


def main():
    parser = argparse.ArgumentParser(prog="scripts/package-test", description=__doc__)
    parser.add_argument("--mirror", default="http://deb.debian.org/debian", help="where Debian's packages are (%(default)s)")
    parser.add_argument("--cache", help="keeps the bare Debian there for the next time")
    parser.add_argument("--packages", default=os.path.join(ROOT, "build", "packages"), help="takes them from there, builds none")
    options = parser.parse_args()
    packages = [name for name in glob.glob(os.path.join(options.packages, "*.deb")) if "-dbgsym_" not in name]
    if options.cache:
        os.makedirs(options.cache, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="ravelin-package-") as directory:
        try:
            tell("a bare Debian 12")
            debian = Debian(directory, options.mirror, options.cache)
            with debian.mounted():
                prepare(debian, packages, directory)
                install_and_purge(debian)
                tell("the older version, no systemd runs")
                install(debian, "older")
                look_at_units(debian)
            os.unlink(debian.path("/usr/sbin/policy-rc.d"))
            tell("systemd starts")
            with Booted(debian) as machine, journal_of_fault(machine):
                run_service(machine)
                purge(machine)
        except BaseException as fault:
            print(f"FAILED: {fault}", file=sys.stderr)
            return 1
    tell("The packages work.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
