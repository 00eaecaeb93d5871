"""What the remedies mend: each fault is played without its remedy, where it must show, and with it, where it must not."""

import os
import re
import struct

from faultplays.cable import Cable
from faultplays.stage import ON_DEMAND, Stage, hold, readings
from rig import buspeer as bus
from rig.substation import NODE, SETTINGS, SITE, read_message

ALARM = b"\xC0\x82\x35\x35\xC1"
MODEM_LINE = b"\r\nUCAST:%s,%02X=%s\r\n"
UNREACHABLE, MUTE = range(2, 9, 2), range(1, 9, 2)  # nodes by number; 10 more is the global_id
NO_TIME_SWEEPS = "TimeOfSetTime=^none$\nTimeOfGetTime=^none$\n"
ONE_METER = "global_id,UIN,Number,Model,Type,KI_Number\n1,KTP-1,12345,CE301,1,\n11," + NODE % 1 + ",70001,SET1,0,1\n"
GOOD = 8  # readings of a sweep in which nothing goes wrong: the CE102 is not read
MOST_NODES = 10_001  # the modem itself is listed, too


def mended(remedy, fault):
    """`fault` plays with the settings' group [Field] that it is given: whether its harm was seen, and what was."""
    harmed, without = fault("")
    hold(harmed, f"without the remedy nothing went wrong, so this shows nothing: {without}")
    harmed, mended_by = fault(f"[Field]\nRemedies={remedy}\n")
    hold(not harmed, f"with the remedy: {mended_by}")
    return f"without: {without}; with it: {mended_by}"


def reports(field):
    """Every other node cannot be reached, the others hear and never answer; the modem's reports are lost, or late."""
    nodes = [f"[node {NODE % i}]\nnack = 1\n" for i in UNREACHABLE] + [f"[node {NODE % i}]\nsilent = yes\n" for i in MUTE]
    scenario = "[all]\nseed = 3\nreport-loss = 0.2\nreport-late = 0.2\nreport-delay = 7000\n" + "".join(nodes)
    wrong, rows = 0, 0
    with Stage(scenario=scenario, settings=ON_DEMAND + field) as site:
        site.begin()
        for _ in range(3):
            site.ask()
            statuses = site.closed_sweep()
            wrong += sum(2 in statuses[10 + i] for i in UNREACHABLE) + sum(3 in statuses[10 + i] for i in MUTE)
            rows += len(statuses) - 1
    return wrong > 0, f"{wrong} of {rows} statuses are another node's"


def ntp(state, field):
    """The day's first time sweep cannot have its reference clock. Whether polling is over."""
    schedule = SETTINGS + "TimeOfQuery=^none$\nTimeOfSetTime=^none$\nTimeOfGetTime=:32$\n"
    with Stage(settings=schedule + field) as site:
        if state == "hangs":
            site.write("ntpq", "#!/bin/sh\nexec /bin/sleep 100000\n")
        else:
            os.unlink(site.path("ntpq"))
        site.environment = {"PATH": site.directory}
        site.begin().shown("ntpq is not installed" if field and state == "missing" else "ntpq -pn did not finish")
        site.ask()
        if not site.peer_speaks(900):  # a sweep of this site takes a fifth of it
            return True, f"ntpq {state}: no sweep any more"
        word = read_message(site.peer, 1)[0]
        hold(word == b"tempdb_t", f"the first sweep that is told is {word}")
        site.complete_sweep()
    return False, f"ntpq {state}: the time sweep and the next query sweep are closed"


def order(field):
    """A time sweep falls due again and again while a query sweep is open."""
    schedule = SETTINGS.replace("RepeatQueryNumber=2", "RepeatQueryNumber=6")
    schedule += "TimeOfQuery=^none$\nTimeOfSetTime=^none$\nTimeOfGetTime=:3[4-6]$\n"
    with Stage(settings=schedule + field) as site:
        site.begin().ask()
        site.shown("Broadcast query...")
        word, name, _ = read_message(site.peer, 120)
        return word != b"tempdb", f"the first sweep that is told is {word.decode()} {name}"


def schedule(field):
    """A minute that is due and longer than its tick, then one that passes while the tick of the one before lasts."""
    short = SITE + NO_TIME_SWEEPS + "BCAST_to_UCAST_Delay=500\nUCAST_to_UCAST_Delay=100\nRepeatQueryNumber=0\n"
    long = SITE + NO_TIME_SWEEPS + "BCAST_to_UCAST_Delay=65000\nUCAST_to_UCAST_Delay=40000\nRepeatQueryNumber=0\n"
    sweeps = []
    for settings, pattern in ((short, ":33$"), (long, ":3[34]$")):
        with Stage(start="2014-03-04 08:32:15", speed=60, scenario="[all]\n", register=ONE_METER,
                   settings=settings + f"TimeOfQuery={pattern}\n" + field) as site:
            site.begin()
            sweeps.append(0)
            while site.peer_speaks(400 if settings is long else 150):
                site.closed_sweep()
                sweeps[-1] += 1
    return sweeps != [1, 2], f"{sweeps[0]} sweeps in the minute that is due, {sweeps[1]} of 2 of which one passed in a tick"


def alarms(field):
    """An opened case behind other bytes of its node, and one of a node that is not in the register."""
    glued, stranger = b"\x01\x02\x03" + ALARM, NODE % 0x99
    told = []
    with Stage(settings=ON_DEMAND + field) as site:
        site.start_substation()
        with Cable(site.path("modem")) as cable:
            site.meet()
            cable.put(MODEM_LINE % ((NODE % 2).encode(), len(glued), glued)
                      + MODEM_LINE % (stranger.encode(), len(ALARM), ALARM))
            site.shown(stranger)
            site.ask()
            word = None
            while word != b"tempdb":
                word, _, text = read_message(site.peer, 120)
                if word == b"error":
                    told.append(int(b"".join(text).split(b"#")[0]))
    return sorted(told) != [0, 12], f"opened cases told of {sorted(told)}"


def modem(fault, field):
    """The modem loses its power, or goes deaf, behind the daemon's start."""
    read = []
    with Stage(scenario=f"[all]\n{fault} = 2014-03-04 08:31:30\n", settings=ON_DEMAND + field) as site:
        site.begin()
        for _ in range(3):
            site.ask()
            read.append(readings(site.closed_sweep()))
    return read[-1] < GOOD, f"{', '.join(map(str, read))} of {GOOD} readings in three sweeps"


def pacing(field):
    """Eight nodes at once are more than the modem takes, one cannot be reached, one never answers, reports are lost."""
    scenario = (f"[all]\nseed = 3\nhops = 5\non-their-way = 2\nreport-loss = 0.2\n[node {NODE % 1}]\nnack = 1\n"
                f"[node {NODE % 2}]\nsilent = yes\n")
    with Stage(scenario=scenario, speed=20, settings=ON_DEMAND + field) as site:
        site.begin()
        refused = "ERROR:07"
        for _ in range(3):
            site.ask()
            read = readings(site.closed_sweep())
            hold(read == GOOD - 2, f"{read} of {GOOD - 2} readings")
        times = site.traffic().count(refused)
    hold(times > 0, "the modem refused nothing")
    return f"every readable meter in three sweeps, {times} messages refused"


def ce102(field):
    """A CE102 answers like the others."""
    with Stage(scenario="[all]\n", settings=ON_DEMAND + field) as site:
        site.begin().ask()
        status = site.closed_sweep()[14]
    return 0 not in status, f"the CE102 has status {status}"


def checksums(field):
    """A CE301 sends its energy with a wrong checksum."""
    scenario = f"[all]\n[node {NODE % 1}]\nundecodable = checksum\n"
    with Stage(scenario=scenario, settings=ON_DEMAND + field) as site:
        site.begin().ask()
        status = site.closed_sweep()[11]
    return 0 in status, f"the CE301 has status {status}"


def digits(field):
    """Registers times a multiplier have more than six digits."""
    with Stage(scenario="[all]\n", settings=ON_DEMAND.replace("CounterKTPMultiplier=40", "CounterKTPMultiplier=1001") + field) as site:
        site.begin().ask()
        site.closed_sweep()
        stored = site.base.rows(site, "SELECT pwr FROM Main_Data WHERE global_id = 1")[0][0]
        answered = next(float(line["values"].split()[0]) for line in site.report() if line["uin"] == "KTP-1")
    off = abs(stored - answered * 1001) / stored
    return off > 1e-6 / 4, f"the substation's total is off by {off:.0e} of itself"


def substation(field):
    """There is no substation meter. Whether it is tried all the same."""
    register = ONE_METER.replace("1,KTP-1,12345,CE301,1,\n", "")
    with Stage(scenario="[all]\n", register=register, settings=ON_DEMAND + field) as site:
        site.begin().ask()
        site.closed_sweep()
        tried = "Not received data from KTP" in site.stderr()
    return tried, "tried in vain" if tried else "not tried"


def clocks(field):
    """Clocks are due to be set, where only some of the meters are of the model CE301."""
    with Stage(scenario="[all]\n", settings=SETTINGS + "TimeOfQuery=^none$\nTimeOfSetTime=:32$\nTimeOfGetTime=^none$\n"
               + field) as site:
        site.begin()
        site.shown("at+ucastb:")
        site.ask()
        site.closed_sweep()
        lines = site.traffic().splitlines()
    told = set(re.findall(r"at\+ucastb:..,([0-9A-F]{16})\\r\\x04", "\n".join(lines)))
    others = told - {NODE % 1, NODE % 7}
    broadcast = any("at+bcastb:" in line and "\\xc0\\x08" in line for line in lines)
    return bool(others) or len(told) < 2 or not broadcast, f"{len(others)} nodes got another model's message, broadcast: {broadcast}"


def numbers(field):
    """The administrator has all nodes told their meters' numbers."""
    with Stage(scenario="[all]\n", settings=ON_DEMAND + field) as site:
        site.begin().admin.send(bus.command(b"Send_counters_numbers"))
        site.ask()
        site.closed_sweep()
        first = site.traffic().split("\\xc0\\x01\\xc1")[0]
    told = sum(f",{NODE % i}" in first for i in range(1, 9))
    return told < 8, f"{told} of 8 nodes told"


def listed_nodes(admin):
    """How many nodes the answer to "Get_ZDevices" has."""
    frame = b""
    while frame[4:5] != bytes([bus.ACTION]):
        frame = admin.read_frame(60)
    at = 5
    for _ in ("name", "message"):
        at += 4 + struct.unpack_from(">i", frame, at)[0]
    return struct.unpack_from(">i", frame, at + 4)[0]


def memory(field):
    """More nodes speak than there are, each once."""
    speakers = MOST_NODES + 500
    with Stage(settings=ON_DEMAND + field) as site:
        site.start_substation()
        with Cable(site.path("modem")) as cable:
            site.meet()
            lines = b"".join(MODEM_LINE % (b"00000000%08X" % i, 1, b"x") for i in range(speakers))
            hold(cable.put(lines, 60) == len(lines), "the daemon did not take it all")
            site.shown("%016X" % (speakers - 1))
            site.admin.send(bus.command(b"Get_ZDevices"))
            listed = listed_nodes(site.admin)
    return listed > MOST_NODES, f"{listed} of {speakers} nodes listed"
