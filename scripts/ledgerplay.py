"""The daemon and the virtual substation for weeks, with faults at known times; then the ledger must tell each cause once and
nothing else, count the readings that the substation says it gave, and know how far the clocks drift. A sweep every four hours,
all remedies and pacing by answers. Between two sweeps, when nothing is under way, the clock of both programs is put forward."""

import argparse
import collections
import contextlib
import csv
import datetime
import glob
import itertools
import json
import os
import signal
import sqlite3
import subprocess
import sys
import time

from rig import BUILD
from rig.process import faketime_environment, ravelinctl, wait_for
from rig.sqlite import Sqlite
from rig.substation import SIMULATOR, Site

START = datetime.datetime(2014, 3, 1, 0, 0)
HOUR, MINUTE = datetime.timedelta(hours=1), datetime.timedelta(minutes=1)
EVERY = 4 * HOUR
CLOCKS = 30 * MINUTE  # after midnight
OVER = 12 * MINUTE  # after it was due a sweep is over, whatever happened
SKEW = 5 * MINUTE  # the two programs do not see the clock put forward at the same moment
UINS = ["000D6F00000010%02X" % number for number in range(1, 13)]
MODELS = ["SET3", "CE301", "SET1"] * 4
REGISTER = "global_id,UIN,Number,Model,Type,KI_Number\n1,KTP-1,12345,CE301,1,\n" + "".join(
    f"{10 + i},{uin},{70000 + i},{model},0,{i}\n" for i, (uin, model) in enumerate(zip(UINS, MODELS), 1))
SETTINGS = """[Base]
{database}
[Main]
PortKS={directory}/modem
PortCounterKTP={directory}/substation
NtpServer=192.0.2.7
TimeOfQuery="(00|04|08|12|16|20):00$"
TimeOfSetTime=none
TimeOfGetTime="00:30$"
BCAST_to_UCAST_Delay=5000
RepeatQueryNumber=1
RepeateQueryKTPNumber=1
[Field]
Remedies=all
Pacing=answers
"""
DRIFTS = {UINS[0]: 20, UINS[1]: -15, UINS[2]: 8, UINS[3]: -3}  # parts per million
SECONDS_OF_DAY = 86400
QUICK_DAYS = 2
CLOCKS_SPEED = 20  # a second of delay would be so many of a clock's offset
MOST_DRIFT_ERROR = 0.1  # s a day


class Fault:
    """From a day and an hour of the play on, so many hours; `uins` are silent meanwhile."""

    def __init__(self, kind, day, hour, hours, uins=(), times=1):
        self.kind, self.hours, self.uins, self.times = kind, hours, list(uins), times
        self.since = START + datetime.timedelta(days=day, hours=hour)
        self.until = self.since + hours * HOUR

    def spans(self):
        """With those of its repetitions, each a day later."""
        return [(self.since + n * 24 * HOUR, self.until + n * 24 * HOUR) for n in range(self.times)]

    def holds(self, when):
        return any(since <= when < until for since, until in self.spans())


def faults_of(days):
    """Those that fit into so many days."""
    minute = 0.1  # an hour's part: each begins before a sweep and ends before another
    if days <= QUICK_DAYS:
        return [Fault("modem_deaf", 0, 8 - minute, 8, UINS), Fault("database", 0, 20 - minute, 8),
                Fault("substation_silent", 1, 8 - minute, 12, ["KTP-1"]), Fault("group_silent", 1, 8 - minute, 12, UINS[4:7])]
    all_faults = [
        Fault("modem_deaf", 0, 16 - minute, 12, UINS),
        Fault("database", 3, 8 - minute, 8),
        Fault("daemon", 6, 4 - minute, 24),
        Fault("substation_silent", 9, 8 - minute, 16, ["KTP-1"]),
        Fault("group_silent", 11, 12 - minute, 8, UINS[4:7], times=4),
        Fault("node_silent", 17, 4 - minute, 20, UINS[7:8]),
        Fault("modem_deaf", 20, 8 - minute, 8, UINS),
    ]
    return [fault for fault in all_faults if fault.spans()[-1][1] < START + datetime.timedelta(days=days - 1)]


# What a register does: the key of the scenario, the finding, and when.
REGISTERS = {UINS[8]: ("exchanged", "went_back", datetime.timedelta(days=12, hours=2)),
             UINS[9]: ("jump", "jump", datetime.timedelta(days=15, hours=2)),
             UINS[10]: ("stuck", "stuck", datetime.timedelta(days=18, hours=2))}
STUCK_FOR = 60 * HOUR


def registers_of(days):
    return {uin: fault for uin, fault in REGISTERS.items() if fault[2] + 5 * 24 * HOUR < datetime.timedelta(days=days)}


def scenario(faults, registers, seed):
    silences = collections.defaultdict(list)
    for fault in faults:
        for uin in fault.uins:
            silences[uin] += [f"{since} to {until}" for since, until in fault.spans()]
    text = f"[all]\nseed = {seed}\ndrift = 0\nloss = 0.01\nnack = 0.01\n"
    for uin in UINS:
        text += f"[node {uin}]\n"
        if uin in DRIFTS:
            text += f"drift = {DRIFTS[uin]}\n"
        if silences[uin]:
            text += f"silence = {', '.join(silences[uin])}\n"
        if uin in registers:
            key, _, after = registers[uin]
            text += f"{key} = {START + after}" + (f" to {START + after + STUCK_FOR}\n" if key == "stuck" else "\n")
    return text + "[substation]\n" + (f"silence = {', '.join(silences['KTP-1'])}\n" if silences["KTP-1"] else "")


class Clock:
    """Of the play. What libfaketime reads in the file holds from the moment at which it first sees it."""

    def __init__(self, directory, speed):
        self.speed = self.usual_speed = speed
        self.base, self.begun = START - 2 * MINUTE, time.monotonic()
        self.path = os.path.join(directory, "clock")

    def now(self):
        return self.base + datetime.timedelta(seconds=(time.monotonic() - self.begun) * self.speed)

    def environment(self):
        """For a program that starts now."""
        self.forward(self.now() + datetime.timedelta(seconds=1))
        return {"LD_PRELOAD": faketime_environment(1, "")["LD_PRELOAD"], "FAKETIME_NO_CACHE": "1",
                "FAKETIME_TIMESTAMP_FILE": self.path}

    def forward(self, to, speed=None):
        to = to.replace(microsecond=0)
        if to <= self.now():
            return
        self.speed = speed or self.usual_speed
        with open(self.path + ".new", "w", encoding="ascii") as file:
            file.write(f"@{to:%Y-%m-%d %H:%M:%S} x{self.speed}\n")
        os.rename(self.path + ".new", self.path)
        self.base, self.begun = to, time.monotonic()


class Play(Site):
    def __init__(self, options):
        self.options = options
        self.faults, self.registers = faults_of(options.days), registers_of(options.days)
        super().__init__(Sqlite().keys, speed=0, scenario=scenario(self.faults, self.registers, options.seed),
                         register=REGISTER, settings=SETTINGS)
        self.clock = Clock(self.directory, options.speed)
        self.lock = None

    def start_substation(self, *_):
        environment = {**os.environ, "TZ": "UTC", **self.clock.environment()}
        self.substation = subprocess.Popen(
            [*SIMULATOR, "--register", self.path("register.csv"), "--scenario", self.path("scenario.ini"), "--report",
             self.path("report.csv"), self.directory], env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        wait_for(lambda: os.path.exists(self.path("modem")), "the virtual substation")

    def start_daemon(self):
        self.environment = self.clock.environment()
        self.start()

    def rows(self, sql, *values):
        with contextlib.closing(sqlite3.connect(f"file:{self.path('z.db')}?mode=ro", uri=True)) as connection:
            return connection.execute(sql, values).fetchall()

    def is_over(self, due):
        """Each meter has a row."""
        return self.rows("SELECT count(DISTINCT global_id) FROM Main_Data WHERE date_r || ' ' || time_r >= ? "
                         "AND date_r || ' ' || time_r < ?", str(due), str(due + OVER))[0][0] == len(UINS) + 1

    def clocks_are_over(self, due):
        return self.rows("SELECT count(DISTINCT uin) FROM time_table WHERE date_r || ' ' || time_r >= ?",
                         str(due))[0][0] == len(UINS) + 1

    def active(self, kind, when):
        return any(fault.kind == kind and fault.holds(when) for fault in self.faults)

    def set_up(self, when):
        """The daemon and the database as they are to be at that time."""
        runs, is_locked = self.process is not None and self.process.poll() is None, self.lock is not None
        if self.active("daemon", when) == runs:
            if runs:
                self.signal(signal.SIGTERM)
                self.wait()
            else:
                self.start_daemon()
        if self.active("database", when) and not is_locked:
            self.lock = sqlite3.connect(self.path("z.db"), isolation_level=None)
            self.lock.execute("BEGIN EXCLUSIVE")
        elif not self.active("database", when) and is_locked:
            self.lock.close()
            self.lock = None

    def wait_until(self, due, is_over):
        while self.clock.now() < due + MINUTE or (self.clock.now() < due + OVER and not is_over(due)):
            time.sleep(0.02)
            if self.process.poll() is not None and not self.active("daemon", due):
                raise RuntimeError(f"the daemon ended with {self.process.poll()}: {self.stderr()[-2000:]}")

    def run(self):
        self.start_substation()
        for sweep in range(self.options.days * 6):
            due = START + sweep * EVERY
            self.clock.forward(due - 2 * MINUTE)
            self.set_up(due)
            self.wait_until(due, self.is_over)
            if due.hour == 0:
                self.clock.forward(due + CLOCKS - MINUTE, CLOCKS_SPEED)
                self.wait_until(due + CLOCKS, self.clocks_are_over)
                print(f"{due:%Y-%m-%d}", flush=True)
        end = START + self.options.days * 24 * HOUR
        self.clock.forward(end + MINUTE)
        if self.process.poll() is None:
            self.signal(signal.SIGTERM)
            self.wait()

    # --- what is told

    def told(self, *words):
        """By a tool that is asked just after the end."""
        end = START + self.options.days * 24 * HOUR
        code, lines, complaints = ravelinctl(*words, "-settings", self.settings_path, LD_PRELOAD=faketime_environment(
            1, "")["LD_PRELOAD"], FAKETIME=f"@{end + MINUTE} x1")
        if code not in (0, 3) or complaints:
            raise RuntimeError(f"ravelinctl {words}: {code} {complaints}")
        return json.loads("\n".join(lines))

    def first_due(self, when):
        """The first sweep from then on."""
        return START + -(-(when - START) // EVERY) * EVERY

    def expected_incidents(self):
        kinds = {"database": "no_rows", "daemon": "no_rows"}
        expected = []
        for fault in self.faults:
            since, until = fault.spans()[0][0], fault.spans()[-1][1]
            uins = fault.uins if fault.kind not in kinds else []
            expected.append((kinds.get(fault.kind, fault.kind), str(self.first_due(since)), str(self.first_due(until)),
                             fault.times, tuple(uins)))
        return sorted(expected)

    def told_incidents(self):
        last = START + (self.options.days - 1) * 24 * HOUR
        told = self.told("incidents", "--json", "--from", f"{START:%Y-%m-%d}", "--to", f"{last:%Y-%m-%d}")["incidents"]
        for incident in told:
            print("  " + incident["text"])
        return sorted((i["kind"], i["since"], i["until"], i["times"], tuple(m["uin"] for m in i["meters"])) for i in told)

    def given(self):
        """By UIN: the sweeps in which the substation says that the daemon was given a reading that it could store."""
        given = collections.defaultdict(set)
        for line in self.report():
            if line["kind"] == "energy" and line["whole"] == "yes" and not line["flaw"]:
                due = START + (datetime.datetime.fromisoformat(line["time"]) + SKEW - START) // EVERY * EVERY
                if due < START + self.options.days * 24 * HOUR and not self.active("database", due):
                    given[line["uin"]].add(due)
        return given

    def check(self):
        """What is wrong, a line each."""
        wrong = []
        expected, told = self.expected_incidents(), self.told_incidents()
        wrong += [f"not told: {cause}" for cause in expected if cause not in told]
        wrong += [f"told without a cause: {cause}" for cause in told if cause not in expected]
        days = [f"{START + datetime.timedelta(days=day):%Y-%m-%d}" for day in range(self.options.days)]
        months = sorted({day[:7] for day in days})
        reports = [self.told("report", "--format", "json", "--month", month) for month in months]
        wrong += self.check_completeness([day for report in reports for day in report["days"] if day["day"] in days])
        wrong += self.check_clocks(reports[-1]["clocks"])
        wrong += self.check_readings(list(itertools.chain.from_iterable(report["readings"] for report in reports)))
        return wrong

    def check_completeness(self, days):
        given, wrong, counts = self.given(), [], collections.Counter()
        for day in days:
            for meter in day["meters"]:
                due = [sweep for sweep in given[meter["uin"]] if f"{sweep:%Y-%m-%d}" == day["day"]]
                counts["due"], counts["read"] = counts["due"] + meter["due"], counts["read"] + meter["read"]
                if meter["due"] != 6 or meter["read"] != len(due) or sum(meter["gaps"].values()) != 6 - len(due):
                    wrong.append(f"{day['day']} {meter['uin']}: told {meter['read']} of {meter['due']}, {meter['gaps']}; "
                                 f"the substation gave {len(due)}")
        if counts["due"] != len(days) * 6 * (len(UINS) + 1) or len(days) != self.options.days:
            wrong.append(f"readings due: {counts['due']} in {len(days)} days")
        print(f"  completeness: {counts['read']} of {counts['due']} readings")
        return wrong

    def check_clocks(self, clocks):
        wrong = []
        for clock in clocks:
            drift = DRIFTS.get(clock["uin"], 0) * SECONDS_OF_DAY / 1e6
            if self.options.days < 4:
                continue
            if clock["drift"] is None or abs(clock["drift"] - drift) > MOST_DRIFT_ERROR:
                wrong.append(f"clock of {clock['uin']}: told {clock['drift']} s a day, is {drift:.3f}")
            elif drift:
                print(f"  clock of {clock['uin']}: told {clock['drift']:.3f} s a day, is {drift:.3f}")
        return wrong

    def check_readings(self, findings):
        expected = collections.Counter((finding, uin) for uin, (_, finding, _) in self.registers.items())
        told = collections.Counter((finding["kind"], finding["uin"]) for finding in findings)
        for finding in findings:
            print("  " + finding["text"])
        return [f"not told: {what}" for what in expected - told] + [f"told without a cause: {what}" for what in told - expected]


def main():
    parser = argparse.ArgumentParser(prog="scripts/ledgerplay", description=__doc__)
    parser.add_argument("--days", type=int, default=30, help="faults that do not fit are left out (default 30)")
    parser.add_argument("--speed", type=int, default=100, help="how many times as fast as life while a sweep lasts")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--quick", action="store_true", help="two days with faults of their own")
    options = parser.parse_args()
    if options.quick:
        options.days = QUICK_DAYS
    if os.access("/dev/shm", os.W_OK):
        os.environ.setdefault("TMPDIR", "/dev/shm")
    begun = time.monotonic()
    with Play(options) as play:
        play.run()
        wrong = play.check()
    for line in wrong:
        print("WRONG", line)
    print(f"{options.days} days in {time.monotonic() - begun:.0f} s, wrong: {len(wrong)}")
    return int(bool(wrong))


if __name__ == "__main__":
    sys.exit(main())
