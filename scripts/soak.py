"""Days of the default schedule and delays in fast motion: the real daemon, 20 nodes with all that goes wrong in the air, an
administrator and three peers, two of which come and go. Everything stored and sent is checked against what the meters gave."""

import argparse
import contextlib
import csv
import datetime
import os
import struct
import sys
import time

from rig import buspeer as bus
from rig.machine import Machine
from rig.postgres import Postgres
from rig.sqlite import Sqlite
from rig.substation import SITE, Site, split_message
from soakparts import field
from soakparts.account import Account, Meter, single
from soakparts.health import Health
from soakparts.peers import Peer, drain

START = datetime.datetime(2014, 3, 4, 23, 55)
MODELS = ["CE301", "SET3", "SET1", "SET3", "SET1"] * 3 + ["CE301", "SET3", "SET1", "CE102", "CE102"]
UINS = ["000D6F00000010%02X" % number for number in range(1, 21)]
KTP = "KTP-1"
REGISTER = f"global_id,UIN,Number,Model,Type,KI_Number\n1,{KTP},12345,CE301,1,\n" + "".join(
    f"{10 + i},{uin},{70000 + i},{model},0,{i}\n" for i, (uin, model) in enumerate(zip(UINS, MODELS), 1))
SILENT, SPOILED = UINS[1], UINS[3]  # give no reading; SET3, whose checksum is heeded
FAULTS = f"""[all]
seed = {{seed}}
drift = 200
loss = 0.05
nack = 0.02
fragment = 0.01
[node {SILENT}]
silent = yes
[node {SPOILED}]
undecodable = checksum
[node {UINS[6]}]
late = 40000
[node {UINS[7]}]
every = 2
[node {UINS[8]}]
pieces = 3
[node {UINS[9]}]
nack = 0.5
[node {UINS[11]}]
alarm = {{alarms}}
[node {UINS[12]}]
alarm = {{alarms}}
[substation]
unanswered = 2
"""
# With the default pause, 10 s, and so many that have to be asked again the midnight sweep would not be over at 00:15.
PAUSE, MULTIPLIER = 5000, 40
SETTINGS = SITE.replace("Connections=", "Connections=outer") + (
    f"UCAST_to_UCAST_Delay={PAUSE}\nCounterKTPMultiplier={MULTIPLIER}\n")
MEMORY = "/dev/shm"
HOUR = datetime.timedelta(hours=1)
QUIET = datetime.timedelta(minutes=-2)  # from a half hour: sweeps are over, the next has not begun


def alarms(days):
    """Five a day, three of them within four seconds."""
    times = [START + datetime.timedelta(days=day, hours=hour, seconds=second)
             for day in range(days) for hour, second in ((5, 0), (10, 0), (10, 1), (10, 4), (19, 0))]
    return ", ".join(map(str, times))


class PlayClock:
    def __init__(self, speed):
        self.speed, self.begun = speed, time.monotonic()

    def now(self):
        return START + datetime.timedelta(seconds=(time.monotonic() - self.begun) * self.speed)


class Rows:
    """The readings and clocks in the database."""

    def __init__(self, site, base):
        self.site, self.base = site, base

    def readings(self, stamp):
        rows = self.base.rows(self.site, "SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, status FROM Main_Data "
                                         f"WHERE date_r = '{stamp:%Y-%m-%d}' and time_r = '{stamp:%H:%M:%S}'")
        return [(row[0], *map(single, row[1:6]), row[6]) for row in rows]

    def clocks(self, date):
        return self.base.rows(self.site, "SELECT c.global_id, t.time_c, t.time_r FROM time_table t, \"Counters\" c "
                                         f"WHERE t.uin = c.\"UIN\" and t.date_r = '{date:%Y-%m-%d}'")


class Soak:
    def __init__(self, site, rows, options, machine):
        self.site, self.rows, self.options, self.machine = site, rows, options, machine
        self.clock = PlayClock(options.speed)
        unreadable = set() if options.no_faults else {SILENT, SPOILED}
        unread = field.FieldAccount.unread_models if options.field else Account.unread_models
        self.meters = {number: Meter(number, uin, model not in unread and uin not in unreadable)
                       for number, uin, model in [(1, KTP, "CE301"), *zip(range(11, 31), UINS, MODELS)]}
        self.account = Account(self.meters, self.meters[1], MULTIPLIER)
        self.frames = []  # data frames that the watcher got
        self.stamps, self.lives = [], []
        self.peers = [Peer(self, "outer", True), Peer(self, "inner", False)]

    def now(self):
        return self.clock.now()

    def start(self):
        self.site.start_time = str(self.now())[:23]
        self.site.start_substation()
        if self.options.field:
            radio = field.Radio(self.site.path("traffic"))
            self.account = field.FieldAccount(self.meters, self.meters[1], MULTIPLIER, radio)
        self.report = open(self.site.path("report.csv"), encoding="ascii")  # follows it to the end
        self.columns, self.unfinished = self.report.readline().strip().split(","), ""
        self.start_daemon()

    def start_daemon(self):
        site = self.site
        self.admins = site.listen("admin")
        self.peers[0].listener = bus.Listener(site.directory, "outer")
        listens = "Start server: probe Ok!!!! "
        earlier = site.log_texts().count(listens)
        site.start_time = str(self.now())[:23]
        site.start()
        born = self.now()
        self.peers[0].come()
        self.admin = site.accept(self.admins)
        self.admin.send(bus.command(b"Input_Data_On"))
        site.wait_for_log(listens, earlier + 1, timeout=60)
        self.watcher = site.connect("probe")
        self.watcher.send(bus.identify(b"watcher"))
        self.peers[1].come()
        self.health = Health(site.process.pid, born, site.path("z.db"))

    def restart_with_administrator(self):
        """Without its administrator the daemon ends with code 5; whoever watches over it starts it again."""
        self.look()
        for peer in self.peers:
            peer.go()
        self.lives.append(self.health.check(self.account))
        self.admin.close()
        if (code := self.site.wait()) != 5:
            self.account.fault(f"ended with {code} without its administrator")
        self.site.forget_peers()
        self.start_daemon()
        self.account.counts["administrator lost, daemon started again"] += 1

    def lose_administrator(self):
        """With the remedy the daemon goes on, and connects to him again."""
        self.admin.close()
        self.admin = self.site.accept(self.admins)
        self.account.counts["administrator lost and back"] += 1

    def look(self):
        """Takes in what has been said since."""
        drain(self.admin)
        if self.site.process.poll() is not None:
            raise RuntimeError(f"the daemon ended with {self.site.process.poll()}: {self.site.stderr()[-2000:]}")
        lines = (self.unfinished + self.report.read()).split("\n")
        self.unfinished = lines.pop()
        self.account.take_answers(dict(zip(self.columns, next(csv.reader([line])))) for line in lines)
        for frame in drain(self.watcher):
            self.frames.append(frame)
            self.take(*split_message(frame))

    def take(self, word, name, body):
        if word == b"error":
            self.account.counts["alarms on the bus"] += b"#ERROR:55#" in body
            self.account.counts["modem started anew"] += b"#ERROR:256#" in body
            return
        records = [body[i:i + 44] for i in range(0, len(body), 44)]
        if word == b"tempdb":
            stamp = datetime.datetime.strptime(name, "%Y-%m-%d-%H-%M-%S.db")
            self.take_sweep(stamp, name, [(r[0], *r[1:6], r[8]) for r in
                                          (struct.unpack("<i5f10s8sh", record) for record in records)])
        else:
            self.take_time_sweep(name, [(number, shown[-8:].decode(), asked[-8:].decode()) for number, shown, asked, _ in
                                        (struct.unpack("<i19s19sh", record) for record in records)])

    def take_sweep(self, stamp, name, records):
        self.account.closed[stamp] = self.now()
        self.account.check_summary(name, records, self.rows.readings(stamp))
        half_hour = stamp.replace(minute=stamp.minute // 30 * 30, second=0)
        if self.stamps:
            before = self.stamps[-1]
            gap = half_hour - before.replace(minute=before.minute // 30 * 30, second=0)
            if gap != HOUR / 2:
                self.account.fault(f"{name}: {gap} after the sweep of {before}")
            self.account.close_sweep(before, stamp, self.rows.readings(before))
        # What was missed while a tick lasted is made up, if the settings ask for that.
        if stamp - half_hour >= datetime.timedelta(minutes=5 if self.options.field else 1):
            self.account.fault(f"{name}: not in the minute of its schedule")
        self.stamps.append(stamp)

    def take_time_sweep(self, name, records):
        now = self.now()
        self.account.close_time_sweep(name, now + 2 * HOUR, records, self.rows.clocks(now))

    def run(self, sweeps):
        """Until one more sweep has closed, or is overdue: nothing comes any more for those before it."""
        self.start()
        overdue = START + (sweeps + 2) * HOUR / 2
        restart = datetime.datetime(2014, 3, 6, 12) + QUIET
        hour, printed = START.replace(minute=0) + HOUR, 0
        while len(self.stamps) <= sweeps:
            now = self.now()
            if now > overdue:
                raise RuntimeError("sweeps are missing")
            time.sleep(0.01)
            self.tell_stall(self.machine.take_latest() * self.options.speed)
            self.look()
            if now >= hour + QUIET:
                self.each_hour(now)
                hour += HOUR
            if now >= restart and not self.options.no_faults:
                if self.options.field:
                    self.lose_administrator()
                else:
                    self.restart_with_administrator()
                restart += datetime.timedelta(days=10)
            if len(self.stamps) // 48 > printed:
                printed = len(self.stamps) // 48
                print(f"{self.stamps[-1]}  {len(self.stamps)} sweeps, {self.account.counts['readings']} readings, "
                      f"{self.health.samples[-1][1]} KiB, {len(self.account.faults)} faults", flush=True)
        for peer in self.peers:
            peer.go()
        self.lives.append(self.health.check(self.account))

    def tell_stall(self, seconds):
        """For so long this machine did not come back; the daemon may have missed a minute of its schedule for it."""
        if seconds > 30:
            print(f"STALL {self.now()}: the machine stood still for {seconds:.0f} s of the play", flush=True)

    def machine_kept_up(self):
        """If not, sweeps take longer than they should, and minutes of the schedule are missed."""
        return self.machine.share() < 0.15 and self.machine.longest * self.options.speed < 15

    def each_hour(self, now):
        self.health.sample(now)
        if self.options.field and now.hour == 12:
            self.move_time_server()
        for number, peer in enumerate(self.peers):
            if now.hour % 7 == 3 * number and not self.options.no_faults:
                peer.go()
                peer.come()
                self.account.counts["peer gone and back"] += 1

    def move_time_server(self):
        """Every other day there is no ntpq."""
        away = not self.account.time_server_away
        here, there = map(self.site.path, ("ntpq", "ntpq.away"))
        os.rename(*((here, there) if away else (there, here)))
        self.account.time_server_away = away

    def check_end(self):
        counts = self.account.counts
        days = (self.stamps[-1] - HOUR / 4).date() - self.stamps[0].date() if self.stamps else datetime.timedelta(-1)
        if counts["time sweeps"] != days.days + 1:
            self.account.fault("a time sweep is missing")
        spoiled = counts["alarms on the bus"] - counts["alarms raised"]
        if not 0 <= spoiled <= counts["alarms cut or lost"]:
            self.account.fault("alarms were lost, or came twice")
        self.account.check_end()
        complete = counts["query sweeps"] * sum(meter.readable for meter in self.account.meters.values())
        if self.options.no_faults and counts["readings"] != complete:
            self.account.fault(f"{complete} readings were there to be had")


def play(options, sweeps, base):
    """Whether it went without a fault, and whether this machine kept up."""
    scenario = "[all]\n" if options.no_faults else FAULTS.format(seed=options.seed, alarms=alarms(options.days))
    settings = SETTINGS
    if options.field:
        scenario = scenario.replace("[all]\n", "[all]\n" + field.FAULTS)
        settings = SITE.replace("Connections=", "Connections=nobody outer") + f"CounterKTPMultiplier={MULTIPLIER}\n"
        settings += field.SETTINGS
    with base, Site(base.keys, "now", options.speed, scenario, REGISTER, settings) as site, Machine() as machine:
        soak = Soak(site, Rows(site, base), options, machine)
        try:
            soak.run(sweeps)
        except (RuntimeError, AssertionError, OSError, KeyboardInterrupt) as end:
            soak.account.fault(f"stopped at {soak.now()}: {end!r}")
        report(soak)
    return not soak.account.faults, soak.machine_kept_up()


def quick_play(options, base, in_field=False):
    """Whether it went without a fault. Faults on a machine that did not keep up prove nothing: once more, slower."""
    options.field = in_field
    for options.speed in (200, 50):
        good, kept_up = play(options, 1, base())
        if good or kept_up:
            return good
    return False


def work_in_memory():
    """Unless told where: the time that a disk takes would count many times over. Programs must be allowed there."""
    with contextlib.suppress(OSError):
        memory = os.statvfs(MEMORY)
        roomy = memory.f_bavail * memory.f_frsize > 1 << 30
        if roomy and not memory.f_flag & os.ST_NOEXEC and os.access(MEMORY, os.W_OK):
            os.environ.setdefault("TMPDIR", MEMORY)


def main():
    parser = argparse.ArgumentParser(prog="scripts/soak", description=__doc__)
    parser.add_argument("--days", type=int, default=2)
    parser.add_argument("--speed", type=int, default=240, help="how many times as fast as life")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--postgres", action="store_true", help="instead of SQLite")
    parser.add_argument("--field", action="store_true", help="with every remedy on and pacing by answers, and a worse radio")
    parser.add_argument("--no-faults", action="store_true", help="good days: every meter must be read in every sweep")
    parser.add_argument("--quick", action="store_true", help="two sweeps and the clocks, on either database, and with --field")
    options = parser.parse_args()
    work_in_memory()
    if options.quick:
        return int(not all([quick_play(options, Sqlite), quick_play(options, Postgres), quick_play(options, Sqlite, True)]))
    return int(not play(options, 48 * options.days, Postgres() if options.postgres else Sqlite())[0])


def report(soak):
    soak.check_end()
    print(f"{len(soak.stamps)} sweeps from {soak.stamps[:1]} to {soak.stamps[-1:]}")
    for name, count in sorted(soak.account.counts.items()):
        print(f"  {count:9} {name}")
    for life in soak.lives:
        print("  " + life)
    machine, speed = soak.machine, soak.options.speed
    print(f"  longest stall of this machine: {machine.longest * 1000:.0f} ms, {machine.longest * speed:.0f} s of the play; "
          f"late for {machine.share():.0%} of the time")
    excuse = "" if soak.machine_kept_up() else f", but this machine did not keep up with {speed} times real time"
    print(f"{len(soak.account.faults)} faults{excuse if soak.account.faults else ''}")


if __name__ == "__main__":
    sys.exit(main())
