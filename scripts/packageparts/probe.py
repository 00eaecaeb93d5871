"""What a process of the service may do. Prints one object: the name of each attempt and "done", or the error that stopped it.
Runs within the service's sandbox, started by its user: it shares no code with anything else here."""

import ctypes
import errno
import json
import mmap
import os
import socket

CLONE_NEWUSER = 0x10000000


def make(path):
    with open(path, "wb"):
        pass
    os.unlink(path)


def open_line(path):
    os.close(os.open(path, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK))


def see(path):
    os.stat(path)


def send(address):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.sendto(b"", (address, 9))


def netlink():
    socket.socket(socket.AF_NETLINK, socket.SOCK_RAW).close()


def code_in_memory():
    mmap.mmap(-1, 4096, prot=mmap.PROT_READ | mmap.PROT_WRITE | mmap.PROT_EXEC).close()


def user_namespace():
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(CLONE_NEWUSER):
        raise OSError(ctypes.get_errno(), "unshare")


def outcome(attempt, *arguments):
    try:
        attempt(*arguments)
        return "done"
    except OSError as error:
        return errno.errorcode[error.errno]


def status():
    with open("/proc/self/status", encoding="ascii") as file:
        lines = dict(line.strip().split(":\t", 1) for line in file if ":\t" in line)
    return {key: lines[key] for key in ("CapEff", "CapBnd", "NoNewPrivs", "Seccomp")}


ATTEMPTS = {
    **{f"write {directory}": (make, directory + "/probe") for directory in
       ("/etc", "/usr", "/opt/open", "/var/lib/ravelin", "/var/log/ravelin", "/run/ravelin/bus", "/run/lock", "/tmp")},
    **{f"open {line}": (open_line, "/dev/" + line) for line in ("ttyUSB0", "ttyACM0", "usbmon0")},
    "see /tmp/outside": (see, "/tmp/outside"),
    "see /home/engineer": (see, "/home/engineer/."),
    "see /proc/1": (see, "/proc/1"),
    "see /proc/sys": (see, "/proc/sys"),
    "send to this machine": (send, "127.0.0.1"),
    "send to another machine": (send, "192.0.2.7"),
    "netlink": (netlink,),
    "code in memory": (code_in_memory,),
    "user namespace": (user_namespace,),
}

print(json.dumps({**status(), **{name: outcome(*words) for name, words in ATTEMPTS.items()}}))
