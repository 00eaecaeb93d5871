"""The radio link against the simulated modem, both as real processes under faketime."""

import datetime
import os
import queue
import signal
import subprocess
import tempfile
import threading
import time
import unittest

from process import BUILD, faketime_environment

RADIODRIVER, RAVELIN_SIM = os.path.join(BUILD, "radiodriver"), os.path.join(BUILD, "ravelin-sim")
MODEM = "000D6F0000000001"
NODES = ["000D6F0000001000", "000D6F0000001001", "000D6F0000001002"]
TABLE = [f"modem {MODEM} version 123", f"node {MODEM} Main Device"] + [f"node {uin} FFD:" for uin in NODES]


class Talker:
    """A process whose output lines can be waited for."""

    def __init__(self, speed, *command):
        self.process = subprocess.Popen(
            command, env=dict(os.environ, **faketime_environment(speed, "2014-03-04 08:29:30")),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.lines = queue.Queue()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        with self.process.stdout:
            for line in self.process.stdout:
                self.lines.put(line.rstrip("\n"))
        self.lines.put(None)

    def tell(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()

    def until(self, *wanted, seconds=20):
        """The lines up to the one with which all `wanted` have been seen."""
        seen = []
        deadline = time.monotonic() + seconds
        while not set(wanted) <= set(seen):
            try:
                line = self.lines.get(timeout=max(0, deadline - time.monotonic()))
            except queue.Empty:
                raise AssertionError(f"not all of {wanted} in {seen}") from None
            if line is None:
                raise AssertionError(f"the process ended before {wanted}: {seen}")
            seen.append(line)
        return seen

    def end(self, how=signal.SIGTERM):
        """The exit code and the lines that were left."""
        self.process.send_signal(how)
        code = self.process.wait(10)
        left = []
        while (line := self.lines.get(timeout=10)) is not None:
            left.append(line)
        return code, left

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()

    def cpu_seconds(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Radio(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        self.processes = []
        self.addCleanup(lambda: [process.kill() for process in self.processes])

    def path(self, name):
        return os.path.join(self.directory, name)

    def start(self, speed, *command):
        self.processes.append(Talker(speed, *command))
        return self.processes[-1]

    def simulate(self, speed, *options):
        sim = self.start(speed, RAVELIN_SIM, "--nodes", "3", "--traffic", self.path("traffic"), *options,
                         self.directory)
        sim.until(f"The modem is at {self.path('modem')}")
        return sim

    def drive(self, speed):
        driver = self.start(speed, RADIODRIVER, self.path("modem"), self.path("log"))
        driver.until("started")
        return driver

    def log(self):
        with open(self.path("log"), encoding="utf-8") as log:
            return [line.rstrip("\n")[24:].replace(self.path("modem"), "PORT") for line in log]

    def table(self, driver):
        driver.tell("nodes")
        lines = driver.until("end of nodes")
        return [line for line in lines if line.startswith(("modem ", "node "))]

    def test_start_up_bytes_and_gaps(self):
        self.simulate(4)
        driver = self.drive(4)
        driver.until(f"new {NODES[2]}")
        with open(self.path("traffic"), encoding="ascii") as traffic:
            writes = [line.rstrip("\n").split(" ", 2) for line in traffic]
        sent = [(datetime.datetime.fromisoformat(when), text) for when, who, text in writes if who == "daemon"]
        self.assertEqual([text for _, text in sent],
                         [r"atz\r\n", r"ati\r\n", r"atz\r\n", r"at+jn\r\n", r"at+en\r\n", r"at+sn\r\n"])
        gaps = [(then - now).total_seconds() * 1000 for (now, _), (then, _) in zip(sent, sent[1:])]
        for gap, nominal in zip(gaps, [5000, 1000, 5200, 1000, 1000]):
            self.assertGreater(gap, nominal - 100)
            self.assertLess(gap, nominal + 800)
        self.assertEqual(self.table(driver), TABLE)

    def test_frames_and_two_resets(self):
        sim = self.simulate(20, "--join", "60")
        driver = self.drive(20)
        driver.until(f"new {NODES[2]}")
        driver.tell(f"unicast {NODES[1]} c001c1")
        driver.until("accept 0", "ack 0", f"unicast {NODES[1]} c001c1")
        driver.tell("unicast 000D6F0000009999 c001c1")
        driver.until("nack 1")
        driver.tell("raw 61742b78780d0a")
        driver.until("error 2")
        driver.tell("announce")
        echo = f"c005{MODEM.encode('ascii').hex()}c1"
        driver.until(*[f"unicast {uin} {echo}" for uin in NODES])
        driver.until("new 000D6F0000001003")

        driver.tell("reset")
        driver.tell("reset")
        driver.tell(f"unicast {NODES[2]} 00")
        driver.until(f"unicast {NODES[2]} 00")
        self.assertEqual(self.table(driver), TABLE + ["node 000D6F0000001003 FFD:"])
        driver.tell("quit")
        self.assertEqual(driver.process.wait(10), 0)

        code, told = sim.end()
        self.assertEqual(code, 0)
        self.assertEqual(told, [
            "Lines received 23, answered 22, refused 1, lost while the modem restarted 0",
            "Unicasts delivered 2, not delivered 1",
            "Answers passed on 5, frames lost in the air 0, bytes lost on a full line 0"])
        self.assertFalse(os.path.lexists(self.path("modem")))

    def test_unplugged_and_back(self):
        sim = self.simulate(20)
        driver = self.drive(20)
        driver.until(f"new {NODES[2]}")
        sim.end(signal.SIGKILL)
        before = driver.cpu_seconds()
        time.sleep(1)
        self.assertLess(driver.cpu_seconds() - before, 0.5, "it spins on a line that hung up")
        driver.tell("announce")
        self.simulate(20)
        for patience in range(5, -1, -1):
            driver.tell(f"unicast {NODES[0]} 00")  # swallowed until the next poll has opened the line again
            try:
                driver.until(f"unicast {NODES[0]} 00", seconds=1)
                break
            except AssertionError:
                self.assertTrue(patience)
        log = self.log()
        self.assertEqual(log[0], "The modem port PORT broke: the line was hung up")
        self.assertEqual(log[-1], "The modem port PORT works again")
        self.assertLessEqual(len(log), 3)

    def test_recorded_session_plays_back(self):
        sim = self.simulate(20)
        driver = self.drive(20)
        live = driver.until(f"new {NODES[2]}")
        sim.end()
        driver.end()
        os.rename(self.path("traffic"), self.path("recording"))

        sim = self.start(20, RAVELIN_SIM, "--replay", self.path("recording"), self.directory)
        sim.until(f"The modem is at {self.path('modem')}")
        driver = self.drive(20)
        replayed = driver.until(f"new {NODES[2]}")
        self.assertEqual([line for line in replayed if line.startswith("new ")],
                         [line for line in live if line.startswith("new ")])
        self.assertEqual(self.table(driver), TABLE)
        self.assertEqual(sim.end(signal.SIGINT), (0, ["Writes played 9 of 9, bytes lost on a full line 0"]))

    def test_refusals_of_the_simulator(self):
        with open(self.path("bad"), "w", encoding="ascii") as bad:
            bad.write("# comment\n\n2014-03-04T08:29:30.007 modem OK\nOK\n")
        with open(self.path("modem"), "w", encoding="ascii"):
            pass
        for options, code, message in [
                ([], 2, "one directory is needed, see --help"),
                (["--loss", "2", self.directory], 2, '--loss wants a number from 0 to 1, not "2"'),
                (["--nodes", "x", self.directory], 2, '--nodes wants a whole number from 0 to 10000, not "x"'),
                (["--replay", self.path("bad"), self.directory], 1,
                 f'{self.path("bad")}, line 4 is not "TIME daemon|modem BYTES": OK'),
                ([self.directory], 1, f"{self.path('modem')} is in the way: not a symbolic link")]:
            with self.subTest(message):
                run = subprocess.run([RAVELIN_SIM, *options], capture_output=True, text=True, timeout=10)
                self.assertEqual((run.returncode, run.stderr), (code, f"ravelin-sim: {message}\n"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
