"""The other end of the bus, written from its frame tables with nothing but struct and sockets."""

import os
import select
import socket
import struct
import time

IDENTIFY, ACTION, COMMAND, BUS_MESSAGE = 200, 202, 203, 204


def byte_array(value):
    return struct.pack(">I", 0xFFFFFFFF) if value is None else struct.pack(">i", len(value)) + value


def frame(kind, body):
    return struct.pack(">iB", 1 + len(body), kind) + body


def identify(name):
    return frame(IDENTIFY, byte_array(name))


def action(name, message, data, connection):
    fields = struct.pack(">b5hi", 1, -1, -1, 0, 0, 0, connection)
    return frame(ACTION, byte_array(name) + byte_array(message) + byte_array(data) + fields)


def command(name, data=b"", connection=0):
    return frame(COMMAND, byte_array(name) + byte_array(data) + struct.pack(">i", connection))


def bus_message(iface, data, connection):
    return frame(BUS_MESSAGE, byte_array(iface) + byte_array(data) + struct.pack(">i", connection))


def data(version, payload):
    return frame(version, byte_array(payload))


class Connection:
    def __init__(self, sock):
        self.socket = sock
        self.received = b""

    def send(self, raw):
        self.socket.sendall(raw)

    def read_frame(self, timeout=10.0):
        """The next whole frame, raw; None when the other side closed."""
        deadline = time.monotonic() + timeout
        while True:
            if len(self.received) >= 4:
                length = struct.unpack(">i", self.received[:4])[0] + 4
                if len(self.received) >= length:
                    result, self.received = self.received[:length], self.received[length:]
                    return result
            if not select.select([self.socket], [], [], max(0.0, deadline - time.monotonic()))[0]:
                raise TimeoutError(f"no whole frame within {timeout} s, so far {self.received!r}")
            chunk = self.socket.recv(1 << 16)
            if not chunk:
                return None
            self.received += chunk

    def close(self):
        self.socket.close()


class Listener:
    """A bus process that others connect to, under `name` in the directory that stands for the bus."""

    def __init__(self, directory, name):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.bind(os.path.join(directory, name))
        self.socket.listen(16)

    def accept(self, timeout=60.0):
        self.socket.settimeout(timeout)
        return Connection(self.socket.accept()[0])

    def close(self):
        self.socket.close()


def connect(directory, name):
    sock = socket.socket(socket.AF_UNIX)
    sock.connect(os.path.join(directory, name))
    return Connection(sock)
