"""The hub over a database of many meters and days, in real time: its memory, the time of each question, how many it answers, and
what 100 readers of events notice of one who does not read."""

import argparse
import contextlib
import datetime
import os
import selectors
import socket
import sqlite3
import statistics
import subprocess
import time

from rig import ROOT
from rig import buspeer as bus
from rig.hub import Hub, PlayedDaemon
from rig.process import Process, wait_for

SETTINGS = """[Base]
ServerName=probe
AdminServerName=admin
Connections=hub
BDType=sqlite3
BaseName={database}
[Main]
TimeOfQuery=:00|:30
TimeOfGetTime=05:15
"""
PORT = 18480
READERS = 100
EVENTS = 300


def fill(path, meters, days):
    """Sweeps of the half hours up to now; one meter in 20 is silent."""
    with open(os.path.join(ROOT, "share", "schema", "sqlite.sql"), encoding="utf-8") as schema, \
            contextlib.closing(sqlite3.connect(path)) as database:
        database.executescript("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;" + schema.read())
        database.executemany('INSERT INTO "Counters" VALUES (?, ?, ?, ?, 0, \'\')',
                             ((i, f"000D6F{i:010X}", f"{i:08}", "SET3") for i in range(1, meters + 1)))
        last = datetime.datetime.now().replace(minute=0, second=0, microsecond=0)
        for sweep in range(days * 48, -1, -1):
            at = last - datetime.timedelta(minutes=30 * sweep)
            date, hour, read = at.strftime("%Y-%m-%d"), at.strftime("%H:%M:%S"), (days * 48 - sweep) * 0.5
            database.executemany('INSERT INTO "Main_Data" VALUES (?, ?, ?, ?, 0, 0, ?, ?, ?)', (
                (i, *((0, 0, 0) if i % 20 == 0 else (1000 + read, 600 + read / 2, 400 + read / 2)), date, hour, 255 if i % 20 == 0 else 0)
                for i in range(1, meters + 1)))
        for day in range(min(days, 60)):
            at = last - datetime.timedelta(days=day)
            date = at.strftime("%Y-%m-%d")
            database.executemany("INSERT INTO time_table VALUES (?, ?, '05:15:03', ?, '05:15:00')",
                                 ((f"000D6F{i:010X}", date, date) for i in range(1, meters + 1)))
        database.commit()
    return os.path.getsize(path)


def memory(hub, name):
    """In MiB, of the hub's /proc/PID/status."""
    with open(f"/proc/{hub.process.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith(name + ":")) / 1024


def processor_time(hub):
    with open(f"/proc/{hub.process.pid}/stat", encoding="ascii") as stat:
        return sum(map(int, stat.read().rpartition(") ")[2].split()[11:13])) / os.sysconf("SC_CLK_TCK")


def descriptors(hub):
    return len(os.listdir(f"/proc/{hub.process.pid}/fd"))


def questions(hub):
    month = (datetime.date.today() - datetime.timedelta(days=31)).isoformat()
    for target in ("/api/status", "/api/meters", "/api/sweeps", f"/api/sweeps?from={month}", "/api/readings?meter=7",
                   f"/api/readings?meter=7&from={month}", "/api/clocks", "/api/clocks?meter=7", "/api/ledger",
                   f"/api/ledger?from={month}", "/api/incidents", "/api/nodes", "/api/commands", "/metrics"):
        times = []
        for _ in range(20):
            begin = time.perf_counter()
            status, said = hub.ask("GET", target)
            times.append((time.perf_counter() - begin) * 1000)
            assert status == 200, (target, said)
        print(f"{target:40} median {statistics.median(times):7.1f} ms, longest {max(times):7.1f} ms")


def throughput(target):
    done = subprocess.run(["wrk", "-t1", "-c16", "-d5s", f"http://127.0.0.1:{PORT}{target}"], capture_output=True, text=True, check=True)
    words = {line.split(":")[0].strip(): line.split(":")[1].strip() for line in done.stdout.splitlines() if ":" in line and "@" not in line}
    assert not any(line.strip().startswith("Non-2xx") for line in done.stdout.splitlines()), done.stdout
    print(f"{target:40} {float(words['Requests/sec']):9.0f} requests/s over TCP, 16 connections")


def follow(hub):
    stream = socket.socket(socket.AF_UNIX)
    stream.connect(hub.socket_path)
    stream.sendall(b"GET /api/events HTTP/1.1\r\nHost: a\r\n\r\n")
    return stream


def events(hub, daemon, stalls):
    """How long it takes until all who read have an event: from before it is sent on the bus."""
    with contextlib.ExitStack() as stack:
        idle = descriptors(hub)
        streams = [stack.enter_context(follow(hub)) for _ in range(READERS)]
        for stream in streams:
            assert b"text/event-stream" in stream.recv(4096)
        readers = streams[stalls:]
        waiting = selectors.DefaultSelector()
        for stream in readers:
            waiting.register(stream, selectors.EVENT_READ, bytearray())
        latencies, used = [], processor_time(hub)
        text = b"x" * 4000
        for number in range(EVENTS):
            mark = f"event {number} of the play".encode()
            begin, missing = time.perf_counter(), len(readers)
            daemon.admin.send(bus.action(b"InData", mark + text, b"", 0))
            while missing:
                for key, _ in waiting.select(10):
                    key.data.extend(key.fileobj.recv(65536))
                    if mark in key.data and key.data.endswith(b"\n\n\r\n"):
                        key.data.clear()
                        missing -= 1
            latencies.append((time.perf_counter() - begin) * 1000)
            time.sleep(0.01)
        name = f"{READERS} readers, {stalls} of them stalled"
        print(f"{name:40} the last one has an event of 4 kB after {statistics.median(latencies):.1f} ms, at worst {max(latencies):.1f} ms; "
              f"{(processor_time(hub) - used) * 1000 / EVENTS:.2f} ms of processor an event")
        for stream in streams[:stalls]:
            stream.settimeout(5)  # a stream that is still open ends here
            left = sum(map(len, iter(lambda reader=stream: reader.recv(65536), b"")))
            print(f"{'':40} the stalled one was closed; {left} bytes were on their way to him")
    wait_for(lambda: descriptors(hub) <= idle, "the readers who have left are let go")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--meters", type=int, default=200)
    parser.add_argument("--days", type=int, default=365)
    asked = parser.parse_args()
    with Process(settings=None, speed=0) as site:
        database = os.path.join(site.directory, "z.db")
        site.write_settings(SETTINGS.format(database=database))
        size = fill(database, asked.meters, asked.days)
        print(f"{asked.meters} meters, {asked.days} days, a database of {size / 1e6:.0f} MB")
        with Hub(site, f"Listen=127.0.0.1:{PORT}\nOpenReading=yes\n") as hub:
            begin = time.monotonic()
            hub.start()
            daemon = PlayedDaemon(hub)
            wait_for(lambda: hub.ask("GET", "/api/status")[1]["lastSweep"], "the ledger has read", 60, pause=0.2)
            print(f"the ledger knows its days after {time.monotonic() - begin:.1f} s; {memory(hub, 'VmRSS'):.1f} MiB resident")
            questions(hub)
            for target in ("/api/commands", "/api/status", "/api/meters"):
                throughput(target)
            events(hub, daemon, 0)
            events(hub, daemon, 1)
            print(f"{memory(hub, 'VmRSS'):.1f} MiB resident, {memory(hub, 'RssAnon'):.1f} of them its own; at most {memory(hub, 'VmHWM'):.1f}")


if __name__ == "__main__":
    main()
