"""The bus seen from the other end: bytes, order of coming up, ends, and peers that misbehave."""

import contextlib
import os
import resource
import select
import shutil
import signal
import socket
import struct
import subprocess
import unittest

from rig import BUILD
from rig import buspeer as bus
from rig.process import SANITIZED, Process, faketime_environment, wait_for

ALONE = "[Base]\nAdminServerName=admin\nServerName=probe\n"
PEERS = ALONE + "Connections=first  second\n"
ONE_PEER = ALONE + "Connections=first\n"
NO_FIRST = "Connnection Out Error: first QLocalSocket::connectToServer: Invalid name"


def said(word):
    """What the administrator hears of a command that carries nothing."""
    return bus.action(word, b"", None, 0)


def renamed(name):
    return bus.action(b"Set_name", name, None, 0)


def descriptors(process, kind=""):
    directory, count = f"/proc/{process.pid}/fd", 0
    for number in os.listdir(directory):
        with contextlib.suppress(FileNotFoundError):  # closed since
            count += os.readlink(os.path.join(directory, number)).startswith(kind)
    return count


def resident_kib(process):
    if SANITIZED:
        return 0
    with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


class Frames(unittest.TestCase):
    """Byte for byte, both directions."""

    @classmethod
    def setUpClass(cls):
        cls.home = cls.enterClassContext(Process("busprobe", ALONE))
        cls.admin = cls.home.start_with_admin("probe")
        cls.identify = cls.admin.read_frame()
        cls.peer = cls.home.connect("probe")
        cls.peer.send(bus.identify(b"peer"))

    def heard(self):
        return self.admin.read_frame()

    def test_identify(self):
        self.assertEqual(self.identify, b"\x00\x00\x00\x0a\xc8\x00\x00\x00\x05probe")

    def test_echoed(self):
        rows = [
            ("command", bus.command(b"About", b"x", 7),
             b"\x00\x00\x00\x22\xca\0\0\0\x05About\0\0\0\x01x\xff\xff\xff\xff"
             b"\x01\xff\xff\xff\xff\0\0\0\0\0\0\0\0\0\x07"),
            ("action", bus.action(b"n", b"m", b"d" * 300, 258), bus.action(b"n", b"m", b"d" * 300, 258)),
            ("bus message", bus.bus_message(b"i", b"", -5), b"\0\0\0\x0e\xcc\0\0\0\x01i\0\0\0\0\xff\xff\xff\xfb"),
            ("null arrays", bus.bus_message(None, None, 1),
             b"\0\0\0\x0d\xcc\xff\xff\xff\xff\xff\xff\xff\xff\0\0\0\x01"),
        ]
        for name, sent, expected in rows:
            for cut in (0, 1, 4, 5, len(sent) - 1):
                with self.subTest(name, cut=cut):
                    self.peer.send(sent[:cut])
                    self.peer.send(sent[cut:])
                    self.assertEqual(self.heard(), expected)

    def test_data(self):
        for version, payload in ((0, b"x"), (150, b"\0" * 70000), (201, b"not a kind"), (255, b"last")):
            self.peer.send(bus.data(version, payload))
            self.assertEqual(self.peer.read_frame(), bus.data(version, payload))

    def test_what_says_nothing(self):
        """Empty, unknown and cut frames pass without a trace, and the stream goes on behind them."""
        for quiet in (bus.data(9, b""), bus.data(9, None), struct.pack(">i", 0), bus.frame(77, b"\x00\x00"),
                      bus.frame(8, struct.pack(">i", 100) + b"cut"), bus.frame(bus.IDENTIFY, b""),
                      bus.identify(b"peer")):
            with self.subTest(quiet=quiet):
                self.peer.send(quiet + bus.command(b"next"))
                self.assertEqual(self.heard(), said(b"next"))
        self.peer.send(bus.frame(bus.COMMAND, struct.pack(">i", 2_000_000_000) + b"short"))
        self.assertEqual(self.heard(), said(None))

    def test_watch_echo(self):
        self.peer.send(bus.command(b"Watch_Arrow_On") + bus.data(150, b"seen") + bus.data(150, b"") + bus.data(0, b"too"))
        self.assertEqual([self.heard(), self.heard()], [bus.action(b"Watch_Arrow", b"150", b"seen", -1),
                                                        bus.action(b"Watch_Arrow", b"0", b"too", -1)])
        self.peer.send(bus.command(b"Watch_Arrow_Off") + bus.data(1, b"unseen") + bus.command(b"then"))
        self.assertEqual(self.heard(), said(b"then"))
        self.assertEqual([self.peer.read_frame() for _ in range(3)],
                         [bus.data(150, b"seen"), bus.data(0, b"too"), bus.data(1, b"unseen")])

    def test_whom_data_reaches(self):
        """By name a peer is reached only once it has said who it is; to all means to the nameless as well."""
        nameless = self.home.connect("probe")
        nameless.send(bus.data(3, b"to nobody") + bus.command(b"heard"))
        self.assertEqual(self.heard(), said(b"heard"))
        self.peer.send(bus.data(4, b"to all out") + bus.data(5, b"to all"))
        self.assertEqual(self.peer.read_frame(), bus.data(5, b"to all"))
        self.assertEqual([nameless.read_frame(), nameless.read_frame()],
                         [bus.data(3, b"to nobody"), bus.data(5, b"to all")])
        nameless.close()


class ComingUp(unittest.TestCase):
    def test_order_of_ticks(self):
        """The own server starts only when all connections stood at the start of a tick."""
        with Process(settings=PEERS) as home:
            admin_server, first_server = home.listen("admin"), home.listen("first")
            home.start()
            first = home.accept(first_server)
            self.assertEqual(first.read_frame(), bus.identify(b"probe"))
            home.wait_for_log("Connnection Out Error: second QLocalSocket::connectToServer: Invalid name", times=3)
            self.assertFalse(os.path.exists(os.path.join(home.directory, "probe")))

            for server in (home.listen("second"), admin_server):
                self.assertEqual(home.accept(server).read_frame(), bus.identify(b"probe"))
            home.wait_for_log("Start server: probe Ok!!!! ")
            up = [line.split(" ", 1) for line in home.log() if "New Out" in line or "Start server" in line]
            self.assertEqual([text for _, text in up], ["New Out Connnection"] * 3 + ["Start server: probe Ok!!!! "])
            seconds = [60 * int(time[14:16]) + float(time[17:23]) for time, _ in up]
            self.assertAlmostEqual(seconds[2] - seconds[1], 5, delta=2)  # the tick after the last peer: the admin
            self.assertAlmostEqual(seconds[3] - seconds[2], 5, delta=2)  # and one later: the own server

            # A peer that restarts is found again, the own server stays up meanwhile.
            first.close()
            home.wait_for_log("Connnection Disconnect: first")
            self.assertEqual(home.accept(first_server).read_frame(), bus.identify(b"probe"))
            home.connect("probe").send(bus.identify(b"late"))
            home.wait_for_log("New In Connection ")

    def test_admin_comes_late_and_its_loss_ends(self):
        with Process(settings=ALONE) as home:
            own_name = os.path.join(home.directory, "probe")
            os.makedirs(os.path.join(own_name, "kept"))
            home.start()
            home.wait_for_log("Start Ok!")
            # Two ticks without an administrative server are no reason to end, nor is a name that is taken.
            self.assertRaises(subprocess.TimeoutExpired, home.wait, 0.6)
            admin = home.accept(home.listen("admin"))
            home.wait_for_log("Start Error: QLocalServer::listen: Address in use", times=2)
            shutil.rmtree(own_name)
            with socket.socket(socket.AF_UNIX) as stale:
                stale.bind(own_name)  # a file that nobody listens on any more
            home.wait_for_log("Start server: probe Ok!!!! ")
            admin.close()
            self.assertEqual(home.wait(), 5)
            self.assertEqual(home.log_texts()[-1], "Admin connection is closed. Stopping application.")

    def test_remedy_waits_for_nobody(self):
        """And ends with nobody, neither in the event loop nor inside a wait."""
        with Process(settings=ONE_PEER + "[Field]\nRemedies=bus\n") as home:
            listener = home.listen("admin")
            home.start()
            for losses, long_command in ((1, b""), (2, bus.command(b"Query_counter", bus.byte_array(b"0")))):
                admin = home.accept(listener)
                self.assertEqual(admin.read_frame(), bus.identify(b"probe"))
                home.wait_for_log("Start server: probe Ok!!!! ")
                admin.send(long_command)
                admin.close()
                home.wait_for_log("The administrative server admin is lost, and will be connected again", losses)
            home.accept(listener)

    def test_busy_peer_is_waited_for(self):
        with Process("busprobe", PEERS) as home:
            busy, second = home.listen("first"), home.listen("second")
            busy.socket.listen(0)
            home.connect("first")  # nobody else has room
            home.start()
            wait_for(lambda: descriptors(home.process, "socket") == 1, "it connects")
            self.assertEqual(select.select([second.socket], [], [], 0)[0], [])
            full = "Cannot connect to first: it does not take its connections, its queue of them is full"
            home.wait_for_log(full)  # 30 s later
            self.assertEqual(home.accept(second).read_frame(), bus.identify(b"probe"))
            wait_for(lambda: descriptors(home.process, "socket") == 2, "it connects again")
            home.accept(busy)
            self.assertEqual(home.accept(busy).read_frame(), bus.identify(b"probe"))
            self.assertEqual(home.log_texts().count(full), 1)

    def test_own_name_is_taken(self):
        """It is tried again whoever is there meanwhile. A new name waits for the peers once more."""
        taken = "Start Error: QLocalServer::listen: Address in use"
        with Process("busprobe", ONE_PEER) as home:
            def first_goes_down():
                first.close()
                listener.close()
                os.unlink(os.path.join(home.directory, "first"))
                downs = home.log_texts().count(NO_FIRST)
                home.wait_for_log(NO_FIRST, downs + 2)  # two ticks without it

            names = [os.path.join(home.directory, name) for name in ("probe", "later")]
            for name in names:
                os.makedirs(os.path.join(name, "kept"))
            admin_server, listener = home.listen("admin"), home.listen("first")
            home.start()
            first, admin = home.accept(listener), home.accept(admin_server)
            home.wait_for_log(taken)
            first_goes_down()
            admin.send(bus.command(b"Set_name", b"later"))
            self.assertEqual([admin.read_frame(), admin.read_frame()], [bus.identify(b"probe"), renamed(b"later")])
            failures = home.log_texts().count(taken)
            home.wait_for_log(NO_FIRST, home.log_texts().count(NO_FIRST) + 2)
            self.assertEqual(home.log_texts().count(taken), failures)

            listener = home.listen("first")
            first = home.accept(listener)
            self.assertEqual(first.read_frame(), bus.identify(b"later"))
            home.wait_for_log(taken, failures + 1)
            first_goes_down()
            shutil.rmtree(names[1])
            home.wait_for_log("Start server: later Ok!!!! ")

    def test_administrators_name(self):
        with Process("busprobe", "[Base]\nServerName=probe\n") as home:
            listener = home.listen("No_AdminServer_name")
            home.start()
            self.assertEqual(home.accept(listener).read_frame(), bus.identify(b"probe"))
        with Process("busprobe", "[Base]\nAdminServerName=\nServerName=probe\n") as home:  # there is none to wait for
            home.start()
            home.wait_for_log("Start server: probe Ok!!!! ")

    def test_peer_that_it_connects_to(self):
        with Process("busprobe", ONE_PEER) as home:
            listener = home.listen("first")
            admin, first = home.start_with_admin("probe"), home.accept(listener)
            sent = [bus.data(4, b"by name"), bus.data(5, b"to all out"), bus.data(6, b"to all")]
            first.send(bus.command(b"Watch_Arrow_On") + b"".join(sent))
            self.assertEqual([first.read_frame() for _ in range(4)], [bus.identify(b"probe"), *sent])
            self.assertEqual([admin.read_frame(), admin.read_frame()],
                             [bus.identify(b"probe"), bus.action(b"Watch_Arrow", b"4", b"by name", -1)])

    def test_told_on_stderr(self):
        """Whatever the log does, once per reason."""
        with Process("busprobe", ONE_PEER + "Log=0\n") as home:
            home.start()
            said_so_far = ["The administrative server has to wait until these peers are connected: first"]
            wait_for(lambda: home.stderr().splitlines() == said_so_far, "waits for the peer")
            listener = home.listen("first")
            said_so_far += ["The administrative server admin cannot be reached: there is no such socket"]
            wait_for(lambda: home.stderr().splitlines() == said_so_far, "no administrator")
            home.accept(listener)
            home.listen("admin")
            said_so_far += ["The administrative server admin is connected"]
            wait_for(lambda: home.stderr().splitlines() == said_so_far, "administrator")
            self.assertEqual(home.log(), [])

    def test_no_name_no_bus(self):
        rows = [(None, ["Error load settings AdminServerName: NoName ", "Error load settings ServerName: NoName ",
                        "Warrning: No Connections "], "Start Ok!"),
                (os.path.join(BUILD, "translations", "Ravelin.qm"),
                 ["Ошибка загрузки настроек AdminServerName: NoName ", "Ошибка загрузки настроек ServerName: NoName ",
                  "Предупреждение: нет соединений "], "Запуск выполнен!")]
        for catalogue, first, last in rows:
            with self.subTest(catalogue=catalogue), Process(settings="[Base]\n") as home:
                if catalogue:
                    shutil.copy(catalogue, home.directory)
                home.start()
                home.wait_for_log(last)
                self.assertEqual(home.log_texts()[:3], first)
                home.signal(signal.SIGINT)
                self.assertEqual(home.wait(), 0)


@unittest.skipUnless(os.geteuid() == 0, "takes the part of other users")
class OtherUsers(unittest.TestCase):
    """The user "nobody" beside root, where file permissions let everybody connect."""

    AS_NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
    BEGINS = "import socket, sys; s = socket.socket(socket.AF_UNIX)\n"
    SPEAKS = "try:\n c.sendall(bytes.fromhex(sys.argv[2])); print(c.recv(9), flush=True)\nexcept OSError: print('hung up', flush=True)\n"
    CONNECTS = BEGINS + "c = s; s.connect(sys.argv[1])\n" + SPEAKS
    POSES = BEGINS + "s.bind(sys.argv[1]); s.listen(); c = s.accept()[0]\n" + SPEAKS + "c = s.accept()[0]\n" + SPEAKS + "s.accept()"
    TURNED_AWAY = (b"b''\n", b"hung up\n")

    def started(self, settings):
        home = self.enterContext(Process("busprobe", settings))
        os.chmod(home.directory, 0o777)
        self.addCleanup(os.umask, os.umask(0))
        return home

    def nobody(self, home, code, name, says):
        path = os.path.join(home.directory, name)
        process = self.enterContext(subprocess.Popen([*self.AS_NOBODY, "/usr/bin/python3", "-c", code, path, says.hex()],
                                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL))
        self.addCleanup(process.kill)
        return process

    def test_connecting(self):
        refused = "A connection of the user with number 65534 is refused: it is not among BusUsers"
        for users, welcome in (("", True), ("root", False), ("daemon, nobody", True)):
            with self.subTest(users=users):
                home = self.started(ALONE + f"[Field]\nBusUsers={users}\n")
                admin = home.start_with_admin("probe")
                admin.read_frame()
                guest = self.nobody(home, self.CONNECTS, "probe", bus.data(7, b"echo"))
                if welcome:
                    self.assertEqual(guest.stdout.read(), b"%r\n" % bus.data(7, b"echo")[:9])
                else:
                    home.wait_for_log(refused)
                    self.assertIn(guest.stdout.read(), self.TURNED_AWAY)
                own = home.connect("probe")
                own.send(bus.data(8, b"own"))
                self.assertEqual(own.read_frame(), bus.data(8, b"own"))
                self.assertEqual(refused in home.log_texts(), not welcome)

    def test_posing_as_administrator(self):
        stranger = "it belongs to the user with number 65534, who is not among BusUsers"
        home = self.started(ALONE + "[Field]\nBusUsers=daemon\n")
        pretender = self.nobody(home, self.POSES, "admin", bus.command(b"Wait_a_minute"))
        wait_for(lambda: os.path.exists(os.path.join(home.directory, "admin")), "the pretender")
        home.start()
        home.wait_for_log(f"Cannot connect to admin: {stranger}")
        for _ in range(2):
            self.assertIn(pretender.stdout.readline(), self.TURNED_AWAY)
        wait_for(lambda: f"The administrative server admin cannot be reached: {stranger}\n" in home.stderr(), "stderr")
        pretender.kill()
        os.unlink(os.path.join(home.directory, "admin"))
        self.assertEqual(home.accept(home.listen("admin")).read_frame(), bus.identify(b"probe"))
        self.assertNotIn("Admin connection is closed. Stopping application.", home.log_texts())
        for once in ("New Out Connnection", f"Cannot connect to admin: {stranger}"):
            self.assertEqual(home.log_texts().count(once), 1)

    def test_as_nobody(self):
        """Without permission for the administrator's socket at first; among BusUsers without being named."""
        home = self.started(ALONE + "[Field]\nBusUsers=daemon\n")
        # The time is set behind setpriv: its semaphores must not be root's.
        program, time = os.path.join(BUILD, home.program), faketime_environment(home.speed, home.start_time)
        home.program, home.speed = shutil.which("setpriv"), 0
        home.arguments = [*self.AS_NOBODY[1:], "env", *(f"{name}={value}" for name, value in time.items()), program,
                          "-settings", home.settings_path]
        listener = home.listen("admin")
        os.chmod(os.path.join(home.directory, "admin"), 0o600)
        home.start()
        home.wait_for_log("Cannot connect to admin: no permission to connect")
        os.chmod(os.path.join(home.directory, "admin"), 0o666)
        self.assertEqual(home.accept(listener).read_frame(), bus.identify(b"probe"))
        home.wait_for_log("Start server: probe Ok!!!! ")
        self.assertEqual(home.log_texts().count("Cannot connect to admin: no permission to connect"), 1)
        own = self.nobody(home, self.CONNECTS, "probe", bus.data(7, b"echo"))
        self.assertEqual(own.stdout.read(), b"%r\n" % bus.data(7, b"echo")[:9])


class Ending(unittest.TestCase):
    def test_inside_a_wait(self):
        with Process("busprobe", ALONE, speed=0) as home:
            listener = home.listen("admin")
            home.start()
            admin = home.accept(listener)
            admin.read_frame()
            admin.send(bus.command(b"About") + bus.command(b"Wait_a_minute"))
            self.assertEqual(admin.read_frame(), said(b"About"))
            for number in (signal.SIGPIPE, signal.SIGXFSZ, signal.SIGTERM):  # the first two mean nothing
                home.signal(number)
            self.assertEqual(home.wait(2.0), 0)
            self.assertEqual(home.log_texts()[-1], "Signal SIGTERM received. Stopping application.")


class Misbehaviour(unittest.TestCase):
    def setUp(self):
        self.home = self.enterContext(Process("busprobe", ALONE))
        self.admin = self.home.start_with_admin("probe")
        self.admin.read_frame()

    def assert_alive(self):
        self.admin.send(bus.command(b"alive"))
        self.assertEqual(self.admin.read_frame(), said(b"alive"))

    def test_announced_lengths(self):
        for length, closes in ((-1, True), (-2**31, True), (50_000_001, True), (2**31 - 1, True), (50_000_000, False)):
            with self.subTest(length=length):
                peer = self.home.connect("probe")
                peer.send(struct.pack(">i", length) + b"body")
                self.assert_alive()
                if closes:
                    self.assertIsNone(peer.read_frame())
                else:
                    self.assertRaises(TimeoutError, peer.read_frame, 0.1)

    def test_peer_vanishes_in_a_frame(self):
        peer = self.home.connect("probe")
        peer.send(bus.identify("ёж".encode()) + bus.command(b"whole")[:-1])
        peer.close()
        self.home.wait_for_log("Connection In Error: ёж")
        self.assertEqual(self.home.log_texts()[-2:], ["Connection in disconnection: ёж", "Connection In Error: ёж"])
        self.assert_alive()

    def test_hoarders(self):
        """One bound for all: who holds most goes, and a peer may still send the largest frame."""
        hoarders = [self.home.connect("probe") for _ in range(3)]
        for peer in hoarders:
            peer.send(struct.pack(">i", 50_000_000) + bytes(49_000_000))
        closed = [text for text in self.home.log_texts() if "all unfinished frames together have" in text]
        self.assertEqual(len(closed), 1)
        honest = self.home.connect("probe")
        honest.send(bus.frame(7, bus.byte_array(b"") + bytes(50_000_000 - 5)) + bus.command(b"then"))
        self.assertEqual(self.admin.read_frame(), said(b"then"))

    def test_crowd(self):
        """Beyond half of the descriptors nobody is taken. Few lines are written of many."""
        refused = "A connection is refused: 100 are open"
        resource.prlimit(self.home.process.pid, resource.RLIMIT_NOFILE, (200, 200))
        crowd = [self.home.connect("probe") for _ in range(300)]
        self.home.wait_for_log(refused)
        wait_for(lambda: any(text.startswith("... and ") and text.endswith(" more refusals") for text in self.home.log_texts()),
                 "the others are counted")
        for peer in crowd:
            peer.close()
        wait_for(lambda: any("came and went" in text for text in self.home.log_texts()), "all others are counted")
        self.assertLess(len(self.home.log_texts()), 300)
        self.assert_alive()
        self.home.connect("probe").send(bus.command(b"late"))
        self.assertEqual(self.admin.read_frame(), said(b"late"))

    def test_ten_thousand_connects(self):
        def connect_and_go(times):
            for i in range(times):
                peer = self.home.connect("probe")
                if i % 3:
                    peer.send(bus.identify(b"guest")[: i % 14])
                peer.close()
            self.assert_alive()

        open_before = descriptors(self.home.process)
        connect_and_go(1000)
        before = resident_kib(self.home.process)
        connect_and_go(10_000)
        wait_for(lambda: descriptors(self.home.process) == open_before, "all connections closed")
        self.assertLess(resident_kib(self.home.process) - before, 2_000)


if __name__ == "__main__":
    unittest.main(verbosity=2)
