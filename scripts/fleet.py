"""Many controllers deliver to one centre at one half-hour boundary: how long until all rows are in, how long a commit takes
at the true rate, what a row and a server take, and how the daemon's questions are answered."""

import argparse
import concurrent.futures
import datetime
import glob
import json
import os
import sys
import tempfile
import threading
import time
import uuid

from rig.libpq import Connection
from rig.postgres import PASSWORD, Postgres
from rig.process import faketime_environment, ravelinctl, write_file
from rig.statements import daemon_statements, filled, forwarder_statements

# The old rows are the last sweeps of March; then come, with a new month, one sweep by forwarders and one by daemons.
BOUNDARY = datetime.datetime(2024, 4, 1)
SWEEP = datetime.timedelta(minutes=30)
SECONDS_OF_SWEEP = 1800
AT_ONCE = 48  # controllers that a thread each serves: the server sees so many at work at a time
COLUMNS = "global_id,pwr,pwr1,pwr2,pwr3,pwr4,date_r,time_r,status"
KNOWN = daemon_statements()
FORWARDER = forwarder_statements()


def tell(text):
    print(text, flush=True)


def percentile(values, share):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]


class Controller:
    def __init__(self, number, meters):
        self.number, self.meters = number, meters
        self.name = f"ktp-{number:04}"
        self.source = uuid.uuid5(uuid.NAMESPACE_OID, self.name)
        self.delivered, self.connection = 0, None

    def values(self, stamp):
        """What its meters show, six digits; all grow."""
        hours = (stamp - datetime.datetime(2024, 1, 1)).total_seconds() / 3600
        for meter in range(1, self.meters + 1):
            total = 1000 + self.number + meter + hours * (0.1 + meter % 7)
            yield meter, *(f"{total * share:.6g}" for share in (1, 0.4, 0.3, 0.2, 0.1))

    def deliver(self, stamp):
        """As the forwarder does: the mark, the rows, the commit. Seconds."""
        begun = time.monotonic()
        data = "".join("\t".join(map(str, row)) + f"\t{stamp:%Y-%m-%d\t%H:%M:%S}\t0\n" for row in self.values(stamp))
        place = [f"'{self.source}'", "'readings'", self.delivered + self.meters, 1, self.delivered]
        tag, _ = self.connection.run(FORWARDER["Begin"] + "; " + filled(FORWARDER["MoveMark"], place))
        assert tag == "UPDATE 1", tag
        tag = self.connection.copy(filled(FORWARDER["Copy"], ["fleet.readings", COLUMNS]), data.encode())
        assert tag == f"COPY {self.meters}", tag
        self.connection.run("COMMIT")
        self.delivered += self.meters
        return time.monotonic() - begun

    def insert(self, stamp, row):
        """As the daemon does, one row. Seconds."""
        begun = time.monotonic()
        self.connection.run(filled(KNOWN["InsertReading"], [*row, f"{stamp:%Y-%m-%d}", f"{stamp:%H:%M:%S}"]))
        return time.monotonic() - begun


class Fleet:
    def __init__(self, server, options):
        self.server, self.options = server, options
        self.controllers = [Controller(i, options.meters) for i in range(1, options.controllers + 1)]
        self.results = []
        self.pool = concurrent.futures.ThreadPoolExecutor(AT_ONCE)

    def note(self, what, value):
        self.results.append((what, value))
        tell(f"  {what}: {value}")

    def psql(self, sql):
        return self.server.psql(sql).splitlines()

    # --- before the boundary

    def prepare(self, directory):
        settings = write_file(directory, "the.ini", self.server.settings)
        password = write_file(directory, "password", "secret\n")
        now = faketime_environment(1, "2024-03-31 12:00:00")

        def tool(*words):
            code, _, complaints = ravelinctl("fleet", *words, "-settings", settings, **now)
            if code:
                raise RuntimeError(f"ravelinctl fleet {words}: {complaints}")

        tool("init")
        tell(f"{len(self.controllers)} controllers get their roles")
        with concurrent.futures.ThreadPoolExecutor(4) as few:
            list(few.map(lambda c: tool("add", c.name, "--password-file", password), self.controllers))
        self.psql(f"""INSERT INTO fleet.meters (controller, global_id, "UIN", "Number", "Model", "Type")
            SELECT controller, m, to_char(m, 'FM000D6F0000000000'), m, 'SET3', (m = 1)::integer
            FROM fleet.controllers, generate_series(1, {self.options.meters}) m;
            INSERT INTO fleet.clock_readings (controller, uin, date_c, time_c, date_r, time_r)
            SELECT controller, "UIN", '2024-03-31', '00:15:02', '2024-03-31', '00:15:01' FROM fleet.meters""")
        marks = ", ".join(f"('{c.name}', '{c.source}', 'readings', 0, 1)" for c in self.controllers)
        self.psql(f"INSERT INTO fleet.marks (controller, source, kind, last_row, last_digest) VALUES {marks}")

    def fill(self):
        """Sweep after sweep, as they would have come."""
        rows = len(self.controllers) * self.options.meters
        sweeps = max(1, round(self.options.old_rows / rows))
        tell(f"{sweeps * rows} old rows come in, {sweeps} sweeps")
        for sweep in range(sweeps, 0, -1):
            stamp = BOUNDARY - sweep * SWEEP + datetime.timedelta(seconds=7)
            self.psql(f"""INSERT INTO fleet.readings (controller, global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status)
                SELECT controller, global_id, 1000 + global_id, 400, 300, 200, 100, '{stamp:%Y-%m-%d}', '{stamp:%H:%M:%S}', 0
                FROM fleet.meters ORDER BY controller, global_id""")
        # As autovacuum has done in the meantime.
        self.psql("VACUUM ANALYZE fleet.readings")
        self.psql("VACUUM ANALYZE fleet.meters")
        self.psql("CHECKPOINT")
        self.note("old rows", sweeps * rows)
        self.note("bytes an old row, with its index", self.bytes_per_row("2024_03"))

    def bytes_per_row(self, month):
        return self.psql(f"SELECT round(pg_total_relation_size('fleet.readings_{month}')::numeric / count(*), 1) "
                         f"FROM fleet.readings_{month}")[0]

    def connect(self):
        def connect(controller):
            controller.connection = Connection(f"host={self.server.directory} dbname=postgres user={controller.name} "
                                               "password=secret")

        begun = time.monotonic()
        list(self.pool.map(connect, self.controllers))
        self.note("all connect anew, s", round(time.monotonic() - begun, 1))

    def memory(self):
        """Of all the server's processes, MB; what they share is counted once."""
        parts = []
        for path in glob.glob("/proc/[0-9]*/smaps_rollup"):
            try:
                with open(os.path.join(os.path.dirname(path), "stat"), encoding="utf-8") as stat:
                    parent = int(stat.read().rsplit(")", 1)[1].split()[1])
                if self.server.process.pid in (parent, int(path.split("/")[2])):
                    with open(path, encoding="utf-8") as rollup:
                        parts += [int(line.split()[1]) for line in rollup if line.startswith("Pss:")]
            except (FileNotFoundError, ProcessLookupError):
                continue  # it has just ended
        return round(sum(parts) / 1024)

    # --- the boundary

    def all_in(self, what, stamp, work):
        """`work` for all controllers, as fast as it goes; all rows must be there."""
        expected = len(self.controllers) * self.options.meters
        begun = time.monotonic()
        list(self.pool.map(work, self.controllers))
        self.note(f"{expected} rows in, {what}, s", round(time.monotonic() - begun, 1))
        there = self.psql(f"SELECT count(*), count(DISTINCT (controller, global_id)) FROM fleet.readings "
                          f"WHERE date_r = '{stamp:%Y-%m-%d}' AND time_r = '{stamp:%H:%M:%S}'")[0]
        assert there == f"{expected}|{expected}", there

    def at_rate(self, what, jobs, per_second):
        """`jobs` begin at that rate, whether or not the one before has ended."""
        seconds = []
        begun = time.monotonic()

        def timed(number, job):
            time.sleep(max(0.0, begun + number / per_second - time.monotonic()))
            seconds.append(job())

        list(self.pool.map(timed, range(len(jobs)), jobs))
        taken = " / ".join(f"{1000 * percentile(seconds, share):.1f}" for share in (0.5, 0.99))
        self.note(f"{what} at {per_second:.2f} a second, p50 / p99, ms", taken)

    def play_forwarders(self):
        stamp = BOUNDARY + datetime.timedelta(seconds=7)
        self.all_in("forwarders' batches", stamp, lambda c: c.deliver(stamp))
        self.note("bytes a row, forwarders", self.bytes_per_row("2024_04"))
        later = stamp + SWEEP
        rate = len(self.controllers) / SECONDS_OF_SWEEP
        count = max(10, round(rate * self.options.seconds))
        jobs = [lambda c=c: c.deliver(later) for c in self.controllers[:count]]
        self.at_rate("batch of a sweep, BEGIN to COMMIT,", jobs, max(rate, count / self.options.seconds))

    def play_daemons(self):
        stamp = BOUNDARY + 2 * SWEEP + datetime.timedelta(seconds=7)

        def work(controller):
            for row in controller.values(stamp):
                controller.insert(stamp, row)

        before = int(self.psql("SELECT pg_total_relation_size('fleet.readings_2024_04')")[0])
        self.all_in("daemons' single rows", stamp, work)
        grown = int(self.psql("SELECT pg_total_relation_size('fleet.readings_2024_04')")[0]) - before
        self.note("bytes a row, daemons", round(grown / len(self.controllers) / self.options.meters, 1))
        later = stamp + SWEEP
        rate = len(self.controllers) * self.options.meters / SECONDS_OF_SWEEP
        count = round(rate * self.options.seconds)
        rows = [(c, row) for row in range(self.options.meters) for c in self.controllers][:count]
        values = {c: list(c.values(later)) for c in self.controllers}
        locks = {c: threading.Lock() for c in self.controllers}

        def insert(controller, row):
            with locks[controller]:
                return controller.insert(later, values[controller][row])

        jobs = [lambda c=c, row=row: insert(c, row) for c, row in rows]
        self.at_rate("single row", jobs, rate)

    # --- the daemon's questions

    def explain(self):
        """Each question of the daemon, as a controller asks it after the sweep. False when one reads a whole table of
        readings, or more than one month that has rows."""
        connection = self.controllers[len(self.controllers) // 2].connection
        date, clock, yesterday = "2024-04-01", "01:00:07", "2024-03-31"
        values = {"AnsweredInSweep": [date, clock], "ReadingsOfSweep": [date, clock],
                  "ClockReadingCountSince": ["000D6F0000000007", date], "ClockReadSince": [date],
                  "ClockReadingsOfDate": [yesterday]}
        well = True
        tell("\nThe daemon's questions, at the centre:\n\n| question | months with rows read | how | rows | ms |\n|---|---|---|---|---|")
        for name in sorted(n for n, text in KNOWN.items() if text.startswith("SELECT")):
            question = filled(KNOWN[name], values.get(name, ["000D6F0000000007"])).rstrip(";")
            plan = json.loads(connection.run("EXPLAIN (ANALYZE, FORMAT JSON) " + question)[1][0][0])[0]
            nodes, waiting = [], [plan["Plan"]]
            while waiting:
                node = waiting.pop()
                nodes.append(node)
                waiting += node.get("Plans", [])
            scans = [n for n in nodes if "Relation Name" in n or "Index Name" in n]
            months = {n["Relation Name"] for n in scans if "readings_" in n.get("Relation Name", "") and
                      n["Actual Rows"] + n.get("Rows Removed by Filter", 0) > 0}
            whole = [n["Relation Name"] for n in scans if n["Node Type"] == "Seq Scan" and n["Relation Name"] in months]
            loops = [n for n in nodes if n["Node Type"] == "Nested Loop"]
            how = ", ".join(sorted({n["Node Type"] for n in scans} | {n["Node Type"] for n in loops}))
            tell(f"| {name} | {len(months)} | {how} | {plan['Plan']['Actual Rows']} | {plan['Execution Time']:.2f} |")
            if whole or len(months) > 1:
                tell(f"NOT WELL: {name} reads {whole or months}")
                well = False
        return well


def play(options):
    server_options = ["fsync=on", f"max_connections={options.controllers + 20}", "shared_buffers=512MB", "max_wal_size=4GB",
                      "max_locks_per_transaction=128"]
    with Postgres(server_options) as server, tempfile.TemporaryDirectory(prefix="ravelin-fleet-") as directory:
        fleet = Fleet(server, options)
        fleet.prepare(directory)
        fleet.fill()
        tell(f"the boundary; {AT_ONCE} at work at a time, {os.cpu_count()} cores, load {os.getloadavg()[0]:.1f}")
        fleet.connect()
        fleet.play_forwarders()
        fleet.note("memory of the centre with all connected, forwarders, MB", fleet.memory())
        fleet.play_daemons()
        fleet.note("memory of the centre with all connected, daemons, MB", fleet.memory())
        well = fleet.explain()
        begun = time.monotonic()
        settings = os.path.join(directory, "the.ini")
        code, lines, complaints = ravelinctl("fleet", "list", "-settings", settings,
                                             **faketime_environment(1, "2024-04-01 02:00:00"))
        assert code == 0 and len(lines) == options.controllers + 1, (code, complaints)
        fleet.note("ravelinctl fleet list, s", round(time.monotonic() - begun, 1))
        for controller in fleet.controllers:
            controller.connection.close()
        tell("\n| | |\n|---|---|")
        for what, value in fleet.results:
            tell(f"| {what} | {value} |")
        return 0 if well else 1


if __name__ == "__main__":
    parser = argparse.ArgumentParser(prog="scripts/fleet", description=__doc__)
    parser.add_argument("--controllers", type=int, default=1000)
    parser.add_argument("--meters", type=int, default=200, help="of each controller (default 200)")
    parser.add_argument("--old-rows", type=int, default=10_000_000, help="that are there before (default 10000000)")
    parser.add_argument("--seconds", type=int, default=60, help="how long commits are measured at the true rate (default 60)")
    parser.add_argument("--quick", action="store_true", help="20 controllers over 200000 old rows, 10 s")
    given = parser.parse_args()
    if given.quick:
        given.controllers, given.old_rows, given.seconds = 20, 200_000, 10
    sys.exit(play(given))
