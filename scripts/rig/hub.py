"""The hub beside a site: on its bus, with the settings of its daemon; and asked at its socket."""

import contextlib
import http.client
import json
import os
import socket
import struct

from rig import buspeer as bus
from rig.process import Process, wait_for


class Hub(Process):
    """Of the daemon (or whoever plays it) of `site`, a Process that has its settings. `keys` are lines of [Hub] and more."""

    def __init__(self, site, keys=""):
        super().__init__("ravelin-hub", settings=None, speed=site.speed, start=site.start_time)
        self.directory = site.directory
        self.log_path, self.settings_path = self.path("hub.log"), self.path("hub.ini")
        self.stderr_path, self.socket_path = self.path("hub-stderr"), self.path("hub.sock")
        self.sweeps = self.path("sweeps")
        with open(self.settings_path, "w", encoding="utf-8") as file:
            daemons = "" if "Daemons=" in keys else f"Daemons={site.settings_path}\n"
            file.write(f"[Hub]\n{daemons}SweepsDirectory={self.sweeps}\nSocket={self.socket_path}\n"
                       f"LogName={self.log_path}\n{keys}")

    def path(self, name):
        return os.path.join(self.directory, name)

    def start(self):
        earlier = self.log_texts().count("Start Ok!")
        super().start()
        self.wait_for_log("Start Ok!", earlier + 1)
        return self

    def ask(self, method, path, body=None):
        """Status and what the JSON says."""
        connection = http.client.HTTPConnection("localhost", timeout=60)
        connection.sock = socket.socket(socket.AF_UNIX)
        connection.sock.settimeout(60)
        connection.sock.connect(self.socket_path)
        headers = {} if body is None else {"Content-Type": "application/json"}
        connection.request(method, path, None if body is None else json.dumps(body), headers)
        answer = connection.getresponse()
        text = answer.read()
        connection.close()
        is_json = "json" in answer.getheader("Content-Type", "")
        return answer.status, json.loads(text) if is_json else text.decode()

    def follow(self, path):
        """The events as they come: kind and what the JSON says. It is followed before the function returns."""
        connection = http.client.HTTPConnection("localhost", timeout=60)
        connection.sock = socket.socket(socket.AF_UNIX)
        connection.sock.settimeout(60)
        connection.sock.connect(self.socket_path)
        connection.request("GET", path)
        return events_of(connection, connection.getresponse())

    def port_locks(self):
        """It opens no serial line; those that lie there are the daemon's."""
        return []

    def files(self, daemon="probe"):
        """Of the daemon's sweeps, with what begins with a dot."""
        try:
            return sorted(os.listdir(os.path.join(self.sweeps, daemon)))
        except FileNotFoundError:
            return []

    def wait_for_file(self, name, daemon="probe"):
        wait_for(lambda: name in self.files(daemon), f"{name} among {self.files(daemon)}; {self.log()}")
        return os.path.join(self.sweeps, daemon, name)


def events_of(connection, answer):
    kind = None
    with contextlib.closing(connection):
        for line in answer:
            field, _, value = line.decode().rstrip("\n").partition(": ")
            if field == "event":
                kind = value
            elif field == "data":
                yield kind, json.loads(value)


class PlayedDaemon:
    """Plays a daemon to a hub. `peer` is its connection to the hub, if the hub has made it."""

    def __init__(self, hub, name="probe", peer=None):
        self.admin, self.peer = hub.connect("admin"), peer or hub.connect("hub")
        for link in (self.admin,) if peer else (self.admin, self.peer):
            link.send(bus.identify(name.encode()))

    def read_command(self):
        """The next command: its name, its data, its caller."""
        frame = self.admin.read_frame(20)
        assert frame[4] == bus.COMMAND, frame
        size = struct.unpack(">i", frame[5:9])[0]
        return frame[9:9 + size], frame[9 + size:-4], struct.unpack(">i", frame[-4:])[0]

    def send_sweep(self, name, records, word=b"tempdb"):
        self.peer.send(bus.data(0, bus.byte_array(word) + bus.byte_array(name.encode("utf-16-be")) + bus.byte_array(records)))

    def close(self):
        self.admin.close()
        self.peer.close()


def reading(global_id, energies=(0, 0, 0, 0, 0), date=b"2014-03-04", time=b"08:30:00", status=0):
    return struct.pack("<i5f10s8sh", global_id, *energies, date, time, status)


def clock(global_id, shown, asked):
    return struct.pack("<i19s19sh", global_id, shown, asked, 0)
