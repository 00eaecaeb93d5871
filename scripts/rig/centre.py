"""A centre of controllers in a PostgreSQL server of a test's own, and a controller: the daemon's SQLite file and the
forwarder that delivers its rows."""

import contextlib
import datetime
import json
import os
import signal
import sqlite3
import subprocess
import tempfile

from rig import BUILD, ROOT, postgres
from rig.postgres import Postgres
from rig.process import ravelinctl, wait_for, write_file

PASSWORD = "ge heim'1"
READINGS = "global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status"
CLOCKS = "uin, date_c, time_c, date_r, time_r"
TODAY = datetime.datetime.now(datetime.timezone.utc).date()


class Centre(Postgres):
    """With the fleet's schema and the months around today."""

    def __enter__(self):
        super().__enter__()
        self.fleet("init", "--since", f"{TODAY.replace(day=1) - datetime.timedelta(days=1):%Y-%m}", "--ahead", "1")
        return self

    def fleet(self, *words):
        code, _, complaints = ravelinctl("fleet", *words, "--centre", self.string("postgres", postgres.PASSWORD))
        assert code == 0, complaints

    def add(self, name):
        self.fleet("add", name, "--password-file", write_file(self.directory, "controller", PASSWORD + "\n"))

    def drop_month(self, day):
        for table in ("readings", "clock_readings"):
            self.psql(f"DROP TABLE fleet.{table}_{day:%Y_%m}")

    def string(self, name, password=PASSWORD):
        quoted = password.replace("'", "\\'")
        return f"host={self.directory} dbname=postgres user={name} password='{quoted}'"

    def as_role(self, name, sql):
        """Exit code, and what psql prints for `sql` as that controller."""
        done = subprocess.run(["psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", self.string(name)], input=sql,
                              capture_output=True, text=True)
        return done.returncode, done.stdout + done.stderr


class Controller:
    """The name at the centre, a directory with the daemon's file and the settings, and the forwarder when it runs."""

    def __init__(self, centre, name="north", keys="", string=None):
        self.home = tempfile.TemporaryDirectory(prefix="ravelin-forward-")
        self.directory, self.centre, self.name, self.process = self.home.name, centre, name, None
        self.file = os.path.join(self.directory, "z.db")
        self.log_path = os.path.join(self.directory, "the.log")
        self.make_file()
        daemon = write_file(self.directory, "daemon.ini", f"[Base]\nBDType=sqlite3\nBaseName={self.file}\n")
        string = (string or centre.string(name)).replace("\\", "\\\\")
        self.settings = write_file(
            self.directory, "the.ini", f"[Forward]\nSource={daemon}\nController={name}\nCentre=\"{string}\"\n"
            f"EverySeconds=1\nLogName={self.log_path}\n{keys}")

    def make_file(self):
        with open(os.path.join(ROOT, "share/schema/sqlite.sql"), encoding="utf-8") as schema, self.open() as file:
            file.executescript("PRAGMA journal_mode = WAL;" + schema.read())

    def open(self):
        return contextlib.closing(sqlite3.connect(self.file, isolation_level=None, timeout=20))

    def add(self, *rows, table="Main_Data"):
        with self.open() as file:
            file.executemany(f"INSERT INTO {table} VALUES ({','.join('?' * len(rows[0]))})", rows)

    def here(self, table="Main_Data", columns=READINGS):
        with self.open() as file:
            return sorted(file.execute(f"SELECT {columns} FROM {table}").fetchall(), key=repr)

    def there(self, table="readings", columns=READINGS):
        """As here(), from the centre; its numbers have single precision."""
        found = self.centre.psql(f"SELECT json_build_array({columns}) FROM fleet.{table} WHERE controller = '{self.name}'")
        return sorted((tuple(json.loads(line, parse_int=int)) for line in found.splitlines()), key=repr)

    def command(self, *words):
        return [os.path.join(BUILD, "ravelin-forward"), "-settings", self.settings, *words]

    def run(self, *words):
        """Exit code, stdout and stderr."""
        done = subprocess.run(self.command(*words), capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def status(self):
        return json.loads(self.run("--status", "--json")[1])

    def start(self):
        with open(os.path.join(self.directory, "stderr"), "ab") as stderr:
            self.process = subprocess.Popen(self.command(), stdin=subprocess.DEVNULL, stdout=stderr, stderr=stderr)

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait(20)

    def log(self):
        if not os.path.exists(self.log_path):
            return ""
        with open(self.log_path, encoding="utf-8") as file:
            return file.read()

    def wait_for_log(self, text, times=1):
        wait_for(lambda: self.log().count(text) >= times, f"{text!r} x{times} in the log: {self.log()}", 60)

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        code = 0
        if self.process and self.process.poll() is None:
            self.process.terminate()
            code = self.process.wait(20)
        self.home.cleanup()
        assert code == 0 or kind, f"the forwarder ended with {code}"
