"""A PostgreSQL server of a test's own: data and Unix socket in a temporary directory, no TCP port."""

import glob
import os
import pwd
import shutil
import signal
import subprocess
import tempfile

from rig.process import wait_for

PROGRAMS = sorted(glob.glob("/usr/lib/postgresql/*/bin"))[-1]
PASSWORD = "gehe1m # 'wort'"
KEYS = "BDType=postgres\nBaseName=postgres\nSqlHostName={directory}\nSqlLogin=postgres\n" \
       "SqlPassword=\"" + PASSWORD + "\"\n"


class Postgres:
    """Running from `with` on. The one role, postgres, needs PASSWORD; the one database is postgres. `options` are the
    server's: "name=value"."""

    def __init__(self, options=()):
        self.options = [word for option in options for word in ("-c", option)]
        self.home = tempfile.TemporaryDirectory(prefix="ravelin-postgres-")
        self.directory = self.home.name  # where the socket is: the SqlHostName of a settings file
        self.data = os.path.join(self.directory, "data")
        self.keys = KEYS.format(directory=self.directory)
        self.settings = "[Base]\n" + self.keys
        self.process = None
        # The server refuses to run as root. It ends with the test, however that ends.
        self.user = ["setpriv", "--pdeathsig", "INT"]
        if os.geteuid() == 0:
            postgres = pwd.getpwnam("postgres")
            os.chown(self.directory, postgres.pw_uid, postgres.pw_gid)
            self.user += [f"--reuid={postgres.pw_uid}", f"--regid={postgres.pw_gid}", "--clear-groups"]

    def _run(self, program, *arguments):
        return self.user + [os.path.join(PROGRAMS, program), "-D", self.data, *arguments]

    def _initialise(self):
        password_file = os.path.join(self.directory, "password")
        with open(password_file, "w", encoding="utf-8") as file:
            file.write(PASSWORD + "\n")
        if os.geteuid() == 0:
            shutil.chown(password_file, "postgres")
        subprocess.run(self._run("initdb", "-U", "postgres", "--auth=scram-sha-256", "--pwfile", password_file,
                                 "--encoding=UTF8", "--locale=C.UTF-8", "--no-sync"),
                       check=True, cwd=self.directory, stdout=subprocess.DEVNULL)

    def start(self):
        """Returns when it takes connections."""
        with open(os.path.join(self.directory, "server.log"), "ab") as log:
            self.process = subprocess.Popen(
                self._run("postgres", "-c", "listen_addresses=", "-c", f"unix_socket_directories={self.directory}",
                          "-c", "fsync=off", *self.options),
                cwd=self.directory, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        wait_for(self._answers, "the PostgreSQL server answers")

    def _answers(self):
        if self.process.poll() is not None:
            with open(os.path.join(self.directory, "server.log"), encoding="utf-8") as log:
                raise AssertionError(f"the PostgreSQL server ended: {log.read()}")
        return subprocess.run([os.path.join(PROGRAMS, "pg_isready"), "-q", "-h", self.directory]).returncode == 0

    def stop(self, mode="fast"):
        """"fast" ends the sessions in order, "immediate" is as good as a crash."""
        self.process.send_signal({"fast": signal.SIGINT, "immediate": signal.SIGQUIT}[mode])
        self.process.wait(20)

    def restart(self, mode="fast"):
        self.stop(mode)
        self.start()

    def psql(self, sql):
        """What psql prints for `sql`, which may be several statements: one line a row, columns separated by "|"."""
        done = subprocess.run(["psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", self.directory,
                               "-U", "postgres", "-d", "postgres"], input=sql, capture_output=True, text=True,
                              env=dict(os.environ, PGPASSWORD=PASSWORD))
        if done.returncode:
            raise RuntimeError(done.stderr)
        return done.stdout

    def rows(self, _, sql):
        """As sqlite.Sqlite gives them."""
        def value(text):
            try:
                return int(text) if text.lstrip("-").isdigit() else float(text)
            except ValueError:
                return text

        return [tuple(map(value, line.split("|"))) for line in self.psql(sql).splitlines()]

    def sound(self, _):
        return bool(self.psql("SELECT count(*) FROM main_data"))

    def __enter__(self):
        try:
            self._initialise()
            self.start()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        if self.process and self.process.poll() is None:
            self.stop("immediate")
        shutil.rmtree(self.directory, ignore_errors=True)
        self.home.cleanup()
