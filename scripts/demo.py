"""The daemon beside a small administrative server on a bus of their own, told line by line."""

import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
import buspeer as bus  # noqa: E402

BEGUN = time.monotonic()


def tell(who, what):
    print(f"{time.monotonic() - BEGUN:6.2f} s  {who:6}  {what}", flush=True)


def connect_when_up(directory, name):
    while True:
        try:
            return bus.connect(directory, name)
        except OSError:
            time.sleep(0.1)


def tell_log(path, seen):
    lines = open(path, encoding="utf-8").read().splitlines()
    for line in lines[seen:]:
        tell("log", line)
    return len(lines)


def show(program, directory):
    log = os.path.join(directory, "ravelin.log")
    settings = os.path.join(directory, "ravelin.ini")
    with open(settings, "w", encoding="utf-8") as file:
        file.write(f"[Base]\nLog=1\nLogName={log}\nAdminServerName=admin\nServerName=ravelin\nConnections=\n")
    server = bus.Listener(directory, "admin")
    tell("admin", "listens; the daemon looks for it every 5 s")
    daemon = subprocess.Popen([program, "-settings", settings], env=dict(os.environ, TMPDIR=directory))
    try:
        admin = server.accept(60)
        tell("admin", f"was found; the daemon says who it is: {admin.read_frame(60)!r}")
        seen = tell_log(log, 0)
        peer = connect_when_up(directory, "ravelin")
        tell("peer", "found the daemon's own server; switches the watch on, then sends data of version 150")
        peer.send(bus.identify(b"peer") + bus.command(b"Watch_Arrow_On") + bus.data(150, b"hello"))
        tell("admin", f"is shown the data: {admin.read_frame(60)!r}")
        seen = tell_log(log, seen)
        tell("admin", "goes away")
        admin.close()
        code = daemon.wait(10)
        tell_log(log, seen)
        tell("daemon", f"ended with exit code {code}")
        return 0 if code == 5 else 1
    finally:
        daemon.kill()
        daemon.wait()


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="ravelin-demo-") as home:
        try:
            sys.exit(show(os.path.abspath(sys.argv[1]), home))
        except KeyboardInterrupt:
            sys.exit(130)
