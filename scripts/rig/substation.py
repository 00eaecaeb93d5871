"""A whole site: the daemon with its database, the virtual substation on its lines, an administrator and a peer."""

import csv
import os
import struct
import subprocess

from rig import BUILD
from rig import buspeer as bus
from rig.process import Process, faketime_environment, ravelinctl, wait_for, write_file

SIMULATOR = ["setpriv", "--pdeathsig", "TERM", os.path.join(BUILD, "ravelin-sim")]  # ends with the play
NODE = "000D6F00000010%02X"
SPOILED, LATE, CUT, SILENT = NODE % 5, NODE % 6, NODE % 7, NODE % 8
MODELS = ["CE301", "SET3", "SET1", "CE102", "SET1", "SET3", "CE301", "SET3"]
REGISTER = "global_id,UIN,Number,Model,Type,KI_Number\n1,KTP-1,12345,CE301,1,\n" + "".join(
    f"{10 + i},{NODE % i},{70000 + i},{model},0,{i}\n" for i, model in enumerate(MODELS, 1))
SCENARIO = f"""[all]
seed = 3
drift = 200
[node {SILENT}]
silent = yes
[node {LATE}]
late = 4000
[node {CUT}]
pieces = 3
[node {SPOILED}]
undecodable = checksum
"""
NTPQ = """#!/bin/sh
cat <<END
     remote           refid      st t when poll reach   delay   offset  jitter
==============================================================================
*192.0.2.7       .GPS.            1 u   33   64  377    0.214 1523.400   0.019
END
"""
SITE = """[Base]
AdminServerName=admin
ServerName=probe
Connections=
{database}
[Main]
PortKS={directory}/modem
PortCounterKTP={directory}/substation
NtpServer=192.0.2.7
"""
# A sweep's first tick lasts so long that the next one does not fall into the same minute and start it again.
SETTINGS = SITE + """CounterKTPMultiplier=40
BCAST_to_UCAST_Delay=16000
UCAST_to_UCAST_Delay=2000
RepeatQueryNumber=2
RepeateQueryKTPNumber=2
"""


class Site(Process):
    """A daemon with its database, the virtual substation on its lines, an administrator and a peer."""

    def __init__(self, database, start="now", speed=100, scenario=SCENARIO, register=REGISTER, settings=SETTINGS):
        super().__init__(settings=None, start=start, speed=speed)
        self.database = database.replace("{directory}", self.directory)
        self.write_settings(settings.format(database=self.database, directory=self.directory))
        self.write("register.csv", register)
        self.write("scenario.ini", scenario)
        self.write("ntpq", NTPQ)
        os.chmod(self.path("ntpq"), 0o755)
        self.substation = None
        self.provision()

    def path(self, name):
        return os.path.join(self.directory, name)

    def write(self, name, text):
        write_file(self.directory, name, text)

    def provision(self):
        for arguments in (["init"], ["import", self.path("register.csv")]):
            done = ravelinctl("register", *arguments, "-settings", self.settings_path)
            assert done[0] == 0, done

    def start_substation(self, *options):
        self.substation = subprocess.Popen(
            [*SIMULATOR, "--register", self.path("register.csv"), "--scenario",
             self.path("scenario.ini"), "--report", self.path("report.csv"), "--traffic", self.path("traffic"),
             *options, self.directory],
            env=dict(os.environ, TZ="UTC", **faketime_environment(self.speed, self.start_time)),
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        wait_for(lambda: os.path.exists(self.path("modem")), "the virtual substation")

    def stop_substation(self):
        """Whoever has one of its lines open sees a hang-up."""
        self.substation.terminate()
        code = self.substation.wait()
        assert code == 0, f"the virtual substation ended with {code}"

    def start_all(self, *options):
        """Returns the administrator's and a peer's connection. `options` are the substation's."""
        self.start_substation(*options)
        return self.join()

    def join(self):
        """Starts the daemon, with an administrator and a peer."""
        admin = self.start_with_admin("probe")
        peer = self.connect("probe")
        peer.send(bus.identify(b"peer"))
        return admin, peer

    def report(self):
        with open(self.path("report.csv"), encoding="utf-8") as file:
            return list(csv.DictReader(file))

    def __exit__(self, *arguments):
        try:
            if self.substation:
                self.stop_substation()
        finally:
            super().__exit__(*arguments)


def split_message(frame):
    """The three items of a data frame: word, name, bytes."""
    items, body = [], frame[4 + 1 + 4:]
    for _ in range(3):
        size = max(0, struct.unpack(">i", body[:4])[0])  # -1: none
        items.append(body[4:4 + size])
        body = body[4 + size:]
    assert frame[4] == 0 and not body, frame
    return items[0], items[1].decode("utf-16-be"), items[2]


def read_message(peer, timeout):
    """The file name and the records of the next "tempdb" or "tempdb_t" message."""
    word, name, records = split_message(peer.read_frame(timeout))
    return word, name, [records[i:i + 44] for i in range(0, len(records), 44)]
