"""A real program in a directory of its own: its bus, its log and its settings lie there."""

import contextlib
import glob
import os
import stat
import subprocess
import tempfile
import time

from rig import BUILD, buspeer

SANITIZED = "asan" in os.path.basename(BUILD)  # the sanitizer keeps freed memory: resident sizes say nothing then


def faketime_environment(speed, start):
    """Loads libfaketime by hand: the faketime command would stand between us and the process. Speed 0: real time."""
    if not speed:
        return {}
    return {"LD_PRELOAD": glob.glob("/usr/lib/*/faketime/libfaketime.so.1")[0], "FAKETIME": f"@{start} x{speed}"}


def ravelinctl(*words, program=os.path.join(BUILD, "ravelinctl"), **environment):
    """Exit code, stdout, and stderr without the tool's name: lines."""
    done = subprocess.run([program, *words], capture_output=True, text=True, timeout=60,
                          env={**os.environ, "TZ": "UTC", "LC_ALL": "C.UTF-8", "LANGUAGE": "", **environment})
    complaints = done.stderr.splitlines()
    assert all(line.startswith("ravelinctl: ") for line in complaints), done.stderr
    return done.returncode, done.stdout.splitlines(), [line.removeprefix("ravelinctl: ") for line in complaints]


def write_file(directory, name, text):
    path = os.path.join(directory, name)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    return path


def wait_for(condition, what, timeout=20.0, pause=0.005):
    """Returns the first true value of condition(); an end-to-end test waits for what it can see, never for a time. Between
    two looks `pause` seconds."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(pause)
    raise AssertionError(f"not within {timeout} s: {what}")


class Process:
    def __init__(self, program="ravelin", settings="", arguments=None, speed=20, start="2014-03-04 08:20:00"):
        self.home = tempfile.TemporaryDirectory(prefix="ravelin-test-")
        self.directory = self.home.name
        self.log_path = os.path.join(self.directory, "the.log")
        self.settings_path = os.path.join(self.directory, "the.ini")
        self.stderr_path = os.path.join(self.directory, "stderr")
        self.program, self.arguments, self.speed, self.start_time = program, arguments, speed, start
        self.environment = {}  # what this process alone has
        self.process = None
        self.peers = contextlib.ExitStack()
        if settings is not None:
            self.write_settings(settings)

    def write_settings(self, settings):
        self.settings = settings
        text = settings.replace("[Base]", f"[Base]\nLog=1\nLogName={self.log_path}")
        with open(self.settings_path, "w", encoding="utf-8") as file:
            file.write(text)

    def start(self):
        arguments = ["-settings", self.settings_path] if self.arguments is None else self.arguments
        environment = dict(os.environ, TMPDIR=self.directory, TZ="UTC", XDG_STATE_HOME=self.directory,
                           HOME=self.directory, PATH=f"{self.directory}:{os.environ['PATH']}")
        environment.update(faketime_environment(self.speed, self.start_time))
        environment.update(self.environment)
        with open(self.stderr_path, "ab") as stderr:
            self.process = subprocess.Popen([os.path.join(BUILD, self.program)] + arguments,
                                            cwd=self.directory, env=environment, stdin=subprocess.DEVNULL,
                                            stdout=stderr, stderr=stderr)
        return self

    def listen(self, name):
        """Another process of its bus that listens under `name`, until this one is left."""
        return self.peers.enter_context(contextlib.closing(buspeer.Listener(self.directory, name)))

    def accept(self, listener):
        return self.peers.enter_context(contextlib.closing(listener.accept()))

    def connect(self, name):
        return self.peers.enter_context(contextlib.closing(buspeer.connect(self.directory, name)))

    def forget_peers(self):
        """Closes the rest of its bus, as if all had been restarted together."""
        self.peers.close()
        for name in os.listdir(self.directory):
            if os.path.exists(path := os.path.join(self.directory, name)) and stat.S_ISSOCK(os.stat(path).st_mode):
                os.unlink(path)

    def start_with_admin(self, name):
        """Starts it with an administrative server and nobody else; returns when its own server `name` listens."""
        listener, listens = self.listen("admin"), f"Start server: {name} Ok!!!! "
        earlier = self.log_texts().count(listens)
        self.start()
        admin = self.accept(listener)
        self.wait_for_log(listens, earlier + 1, timeout=60)
        return admin

    def log(self):
        try:
            with open(self.log_path, encoding="utf-8") as file:
                return file.read().splitlines()
        except FileNotFoundError:
            return []

    def log_texts(self):
        return [line.split(" ", 1)[1] for line in self.log()]

    def stderr(self):
        with open(self.stderr_path, encoding="utf-8", errors="replace") as file:
            return file.read()

    def wait_for_log(self, text, times=1, timeout=20.0):
        wait_for(lambda: self.log_texts().count(text) >= times or self.process.poll() is not None,
                 f"log line {text!r} x{times}; the log: {self.log()}", timeout)
        assert self.log_texts().count(text) >= times, f"ended with {self.process.poll()}: {self.log()} {self.stderr()}"

    def signal(self, number):
        self.process.send_signal(number)

    def wait(self, timeout=20.0):
        """The exit code. Whoever was not killed has left no serial line locked: another user could not open it."""
        code = self.process.wait(timeout)
        assert code < 0 or not self.port_locks(), f"it ended with {code} and left {self.port_locks()}"
        return code

    def port_locks(self):
        """The lock files of the serial lines in its directory."""
        return glob.glob(f"/run/lock/LCK..{glob.escape(self.directory.replace('/', '_'))}_*")

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        code = 0
        if self.process and self.process.poll() is None:
            self.process.terminate()  # a killed process would not tell what it has run: scripts/coverage
            try:
                code = self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                code = self.process.wait()
        said = self.last_words() if code else ""
        self.peers.close()
        self.home.cleanup()
        locks = self.port_locks()
        for lock in locks:
            os.unlink(lock)
        assert code == 0 or kind, f"exit code {code}: {said}"
        assert not locks or kind or self.process.returncode < 0, f"left {locks}"

    def last_words(self):
        """The end of its debug output, where a sanitizer tells what it found."""
        return self.stderr()[-2000:]
