"""Every figure of docs/performance.md: the benchmarks, then the whole daemon in real time. The table goes to stdout."""

import argparse
import concurrent.futures
import contextlib
import datetime
import glob
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

from rig import BUILD
from rig import buspeer as bus
from rig.postgres import Postgres
from rig.sqlite import Sqlite
from rig.substation import SITE, Site, read_message

# Sweeps are asked for, never due, and nobody is asked twice.
SETTINGS = SITE + """TimeOfQuery=never
TimeOfSetTime=never
TimeOfGetTime=never
RepeatQueryNumber=0
RepeateQueryKTPNumber=0
UCAST_to_UCAST_Delay={ucast}
BCAST_to_UCAST_Delay=2000
"""


def at_least(goal, value, of):
    return f"{value:.2f} {of}; at least {goal}" + (": MISSED" if value < goal else "")


def at_most(goal, value, of):
    return f"{value:.2f} {of}; at most {goal}" + (": MISSED" if value > goal else "")


def short(value, unit):
    for scale, prefix in ((1e9, "G"), (1e6, "M"), (1e3, "k"), (1, ""), (1e-3, "m"), (1e-6, "µ"), (1e-9, "n")):
        if value >= scale:
            break
    return f"{float(f'{value / scale:.3g}'):g} {prefix}{unit}"


def lines(path):
    with open(path, encoding="utf-8") as file:
        return file.read().splitlines()


def machine():
    cpu = dict(line.replace("\t", "").split(":", 1) for line in lines("/proc/cpuinfo") if line)
    distribution = dict(line.replace('"', "").split("=", 1) for line in lines("/etc/os-release"))["PRETTY_NAME"]
    qt = subprocess.check_output(["dpkg-query", "-W", "-f", "${Version}", "libqt6core6"], text=True)
    return (f"{datetime.date.today()}: {os.cpu_count()} cores {cpu.get('model name', os.uname().machine).strip()} at "
            f"{float(cpu.get('cpu MHz', 'nan')) / 1000:.1f} GHz, {distribution}, Qt {qt}, load {os.getloadavg()[0]:.1f} at first")


class Benchmark:
    """A program of bench/, run to its end: medians by name, and the largest relative spread among them."""

    def __init__(self, program, repetitions, least_seconds, **environment):
        print(program, file=sys.stderr)
        options = ["--benchmark_format=json", f"--benchmark_repetitions={repetitions}",
                   "--benchmark_report_aggregates_only=true", f"--benchmark_min_time={least_seconds}"]
        output = subprocess.check_output([os.path.join(BUILD, program), *options], env=dict(os.environ, **environment))
        self.aggregates = {}
        for entry in json.loads(output)["benchmarks"]:
            self.aggregates.setdefault(entry["aggregate_name"], {})[entry["run_name"]] = entry
        self.spread = max(entry["real_time"] for entry in self.aggregates["cv"].values())

    def __getitem__(self, name):
        return self.aggregates["median"][name]


def bus_rows(bench):
    for size, text in ((64, "64 B"), (65536, "64 KiB")):
        raw = bench[f"RawSocket/{size}"]["items_per_second"]
        for name, what in (("RawSocket", "bare socket"), ("Receive", "received"), ("SendToAll/1", "sent to 1 peer"),
                           ("SendToAll/10", "sent to 10 peers"), ("SendToAll/100", "sent to 100 peers")):
            name, *peers = name.split("/")
            run = bench["/".join([name, str(size), *peers])]
            ratio = run["items_per_second"] / raw
            yield (f"{what}, {text}",
                   f"{short(run['items_per_second'], ' frames/s')}, {short(run['bytes_per_second'], 'B/s')}",
                   at_least(0.5, ratio, "of bare") if name == "Receive" and size > 64 else f"{ratio:.2f} of bare")
    for peers in (1, 100):
        yield f"looked for a command, {peers} silent", short(bench[f"LookAhead/{peers}"]["real_time"] / 1e9, "s"), ""


def parser_rows(bench):
    def cost(messages, nodes):
        return 1 / bench[f"KnownNodes/messages:{messages}/nodes:{nodes}"]["items_per_second"]

    yield "noise, 1 MB", short(bench["Noise/bytes:1000000"]["bytes_per_second"], "B/s"), ""
    yield "1,000 unicasts, 100 known nodes", short(cost(1000, 100), "s a message"), ""
    for messages, nodes in ((1000, 10000), (10000, 100)):
        yield (f"{messages:,} unicasts, {nodes:,} known nodes", short(cost(messages, nodes), "s a message"),
               at_most(2, cost(messages, nodes) / cost(1000, 100), "of 1,000 and 100"))


def meter_rows(bench):
    for name in ("CE102", "CE301", "SET1", "SET3", "NodeFrame"):
        run = bench["Decode" + name]
        yield name, short(run["items_per_second"], " decodes/s"), f"allocations each: {run['allocations']:.0f}"
    growth = sorted({run["big_o"] for run in bench.aggregates["BigO"].values()})
    fit = max(run["rms"] for run in bench.aggregates["RMS"].values())
    yield "frames of 256 B to 256 KiB: time grows with", ", ".join(growth), f"fit error at most {fit:.0%}"


def sweep_rows(bench):
    runs = {tuple(int(part.split(":")[1]) for part in name.split("/")[1:3]): run
            for name, run in bench.aggregates["median"].items()}
    cpu = {(meters, old): run["cpu_time"] / 1000 / meters for (meters, old), run in runs.items()}
    for (meters, old), run in runs.items():
        ratios = [short(cpu[meters, old], "s") + " processor time"]
        ratios += [at_most(2, cpu[meters, old] / cpu[100, old], "of 100 meters")] if meters == 10000 else []
        ratios += [at_most(1.5, cpu[meters, old] / cpu[meters, 0], "of none old")] if old else []
        phases = ", ".join(f"{phase} {short(run[phase], 's')}" for phase in ("start", "answers", "close"))
        yield f"{meters:,} meters, {old:,} old rows", f"{short(run['all'], 's a meter')}: {phases}", "; ".join(ratios)
        if meters == 10000:
            yield ("the same: to close the sweep, 10 % silent", short(meters * run["close"], "s"),
                   at_most(1, meters * run["close"], "s"))
            yield "the same: peak resident memory", short(run["peak"], "B"), ""


def moment(line):
    """Of a line of the daemon's log or of the traffic, which begins with UTC."""
    return datetime.datetime.fromisoformat(line.split(" ", 1)[0] + "+00:00").timestamp()


def register(meters):
    return "global_id,UIN,Number,Model,Type,KI_Number\n" + "".join(
        f"{i},{0x000D6F0000001000 + i:016X},{i},{('SET3', 'SET1', 'CE301')[i % 3]},0,\n" for i in range(1, meters + 1))


class Daemon(Site):
    """The real daemon in real time, its administrator, the virtual substation behind a line without a speed limit."""

    def __init__(self, database, meters, ucast_ms):
        print(f"daemon with {meters:,} meters", file=sys.stderr)
        super().__init__(database, speed=0, scenario="", register=register(meters),
                         settings=SETTINGS.replace("{ucast}", str(ucast_ms)))
        self.meters, self.required = meters, 2 + meters * ucast_ms / 1000

    def start(self):
        self.executed = time.time()
        return super().start()

    def startup(self):
        started = next(line for line in self.log() if line.endswith(" Start Ok!"))
        return moment(lines(self.path("traffic"))[0]) - self.executed, moment(started) - self.executed

    def memory(self, key):
        status = lines(f"/proc/{self.process.pid}/status")
        return 1024 * int(next(line for line in status if line.startswith(key + ":")).split()[1])

    def cpu_seconds(self):
        threads = glob.glob(f"/proc/{self.process.pid}/task/*/schedstat")
        return sum(int(lines(path)[0].split()[0]) for path in threads) / 1e9

    def sweep(self, admin, peer):
        admin.send(bus.command(b"Need_query"))
        records = read_message(peer, self.required + 300)[2]
        if len(records) != self.meters:
            raise SystemExit(f"The summary has {len(records)} records of {self.meters}.")

    def ticks(self):
        """How long the sweeps' first ticks took: from the measure command to the empty frame that ends a tick."""
        begun, durations = None, []
        for line in lines(self.path("traffic")):
            if r" daemon at+bcastb:03,00\r\xc0\x01\xc1" in line:
                begun = moment(line)
            elif begun and r" daemon at+bcastb:02,00\r\xc0\xc1" in line:
                durations.append(moment(line) - begun)
                begun = None
        return durations


def measure_idle(seconds):
    with Daemon(Sqlite().keys, 100, 250) as daemon:
        daemon.start_all("--baud", "0")
        for name in (b"second", b"third"):
            daemon.connect("probe").send(bus.identify(name))
        time.sleep(10)
        before = daemon.cpu_seconds()
        time.sleep(seconds)
        share = (daemon.cpu_seconds() - before) / seconds
        return daemon.startup(), (f"idle for {seconds} s, administrator and 3 peers",
                                  f"{short(daemon.memory('VmRSS'), 'B')} resident, {share:.3%} of a core",
                                  f"{short(daemon.memory('RssAnon'), 'B')} not from files")


def measure_sweep(database, meters, ucast_ms, sweeps):
    with database as base, Daemon(base.keys, meters, ucast_ms) as daemon:
        admin, peer = daemon.start_all("--baud", "0")
        before = daemon.cpu_seconds()
        for _ in range(sweeps):
            daemon.sweep(admin, peer)
        cpu = (daemon.cpu_seconds() - before) / sweeps / meters
        stored = base.rows(daemon, "SELECT count(*), sum(status) FROM Main_Data GROUP BY date_r, time_r")
        ticks = daemon.ticks()
        if sorted(map(list, stored)) != [[meters, 0]] * sweeps or len(ticks) != sweeps:
            raise SystemExit(f"{sweeps} sweeps of {meters} meters left {stored} (rows, sum of status); ticks {ticks}.")
        tick = statistics.median(ticks)
        name = "SQLite" if isinstance(base, Sqlite) else "PostgreSQL without fsync"
        return daemon.startup(), (
            f"a sweep's tick, {meters:,} meters, {ucast_ms} ms each, {name}: all read and stored",
            f"{tick:.2f} s, peak {short(daemon.memory('VmHWM'), 'B')} resident",
            f"{daemon.required:.2f} s of it waits; {short((tick - daemon.required) / meters, 's')} more a meter, "
            f"{short(cpu, 's')} processor time")


def daemon_rows(quick):
    large, sweeps = (1000, 1) if quick else (10000, 3)
    runs = [(measure_idle, 30 if quick else 60), (measure_sweep, Sqlite(), 100, 250, sweeps),
            (measure_sweep, Sqlite(), large, 5, sweeps), (measure_sweep, Postgres(), large, 5, 1)]
    with concurrent.futures.ThreadPoolExecutor(len(runs) if quick else 1) as pool:
        results = list(pool.map(lambda run: run[0](*run[1:]), runs))
    first_byte, started = (statistics.median(times) for times in zip(*(startup for startup, _ in results)))
    with tempfile.NamedTemporaryFile() as stripped:
        subprocess.check_call(["strip", "-o", stripped.name, os.path.join(BUILD, "ravelin")])
        yield "binary, stripped", short(os.path.getsize(stripped.name), "B"), ""
    yield "exec to the first byte on the modem's line", short(first_byte, "s"), ""
    yield 'exec to "Start Ok!"', f"{started:.2f} s", "13.2 s of it waits for the modem"
    yield from (row for _, row in results)


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="some two minutes, to try it: the figures say little")
    quick = parser.parse_args().quick
    effort, old_rows = ((2, 0.1), "100000") if quick else ((5, 0.5), "5000000")
    heading, rows, spreads = machine(), [("area", "what", "median", "ratio; goal"), ("---",) * 4], []
    with contextlib.redirect_stdout(sys.stderr):
        for area, program, rows_of in (("bus", "bench_bus", bus_rows), ("modem input", "bench_parser", parser_rows),
                                       ("meter answers", "bench_meters", meter_rows),
                                       ("a sweep's SQL", "bench_sweep", sweep_rows)):
            bench = Benchmark(program, *effort, RAVELIN_OLD_ROWS=old_rows)
            rows += [(area, *row) for row in rows_of(bench)]
            spreads.append(f"{area} {bench.spread:.0%}")
        rows += [("daemon", *row) for row in daemon_rows(quick)]
    print(heading + ("; --quick" if quick else "") + ".\n")
    print("\n".join("| " + " | ".join(row) + " |" for row in rows))
    print("\nThe largest spread among the repetitions of a benchmark: " + ", ".join(spreads) + ".")


if __name__ == "__main__":
    main()
