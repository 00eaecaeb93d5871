"""What the air and the register do to a sweep."""

import collections
import struct

from faultplays.cable import Cable
from faultplays.stage import Stage, hold
from rig import buspeer as bus
from rig.postgres import Postgres
from rig.process import wait_for
from rig.sqlite import Sqlite
from rig.substation import NODE, SETTINGS, read_message

QUOTED = "O'Brien"
ALARMED = range(1, 7)
BURST = ", ".join(f"2014-03-04 08:{30 + s // 60}:{s % 60:02}" for s in range(20, 120, 2))
UNKNOWN = b"00000000DEADBEEF"


def register_changes():
    with Stage() as site:
        site.begin().into_sweep()
        before = site.registered()
        with site.base.connect(site) as other:
            other.execute('INSERT INTO "Counters" VALUES (90, ?, \'1\', \'SET3\', 0, \'4\'\'2\')', (QUOTED,))
            other.execute('DELETE FROM "Counters" WHERE global_id = 18')  # the silent one
            other.execute('UPDATE "Counters" SET "Model" = \'SET1\' WHERE global_id = 17')
        after = site.registered()
        first = site.closed_sweep()
        second = site.complete_sweep(5)
        hold(0 not in second[17], "a CE301's answer was read as a SET1's")
        hold(second[90] != [0], "a reading of a meter that does not exist")
        site.admin.send(bus.command(b"Send_KI_number", bus.byte_array(QUOTED.encode())))
        wait_for(lambda: rf"{QUOTED}\r\xc0\x064'2\xc1" in site.traffic(), "the number with a quote")
    return f"{len(before)} meters, then {len(after)}: {len(first)} in the open sweep, {len(second)} in the next"


def alarms():
    """The cases of several meters are opened, all at once and for more than a minute, while a sweep runs."""
    scenario = "".join(f"[node {NODE % i}]\nalarm = {BURST}\n" for i in ALARMED)
    schedule = SETTINGS + "TimeOfSetTime=^none$\nTimeOfGetTime=^none$\n"
    errors = collections.Counter()
    with Stage(start="2014-03-04 08:29:00", scenario=scenario, settings=schedule) as site:
        site.begin()
        word = None
        while word != b"tempdb":
            word, _, records = read_message(site.peer, 60)
            if word == b"error":
                meter, _, code, _ = b"".join(records).split(b"#")
                hold(code == b"ERROR:55", f"error {code}")
                errors[int(meter)] += 1
        rows = sorted(struct.unpack("<i", record[:4])[0] for record in records)
        hold(rows == site.registered(), f"the sweep has the meters {rows}")
        raised = collections.Counter(int(a["uin"][-2:], 16) + 10 for a in site.report() if a["kind"] == "alarm")
        hold(errors == raised and len(raised) == len(ALARMED), f"alarms raised {dict(raised)}, told {dict(errors)}")
    return f"{raised.total()} alarms of {len(raised)} meters, {errors.total()} told on the bus; the sweep is complete"


def strangers():
    """A node that nobody knows, reports that nobody waits for, refusals of nothing."""
    lines = b"".join(b"\r\nUCAST:%s,05?\xC0\x82\x35\x35\xC1\r\nUCAST:%s=x\r\nACK:%02d\r\nNACK:%02d\r\nERROR:1A\r\n"
                     % (UNKNOWN, UNKNOWN, i, i) for i in range(20))
    with Stage() as site:
        site.start_substation()
        with Cable(site.path("modem")) as cable:
            site.meet()
            cable.put(lines)
            for text in ("Received 'ACK', but stack is empty", "Received 'NACK', but stack is empty", "Error number 26"):
                site.shown(text, 20)
            site.into_sweep()
            cable.put(lines)
            site.closed_sweep()
            site.complete_sweep()
        hold(not site.base.rows(site, 'SELECT 1 FROM Main_Data WHERE global_id NOT IN (SELECT global_id FROM "Counters")'),
             "a row of a meter that is not registered")
    return "40 bursts in peace and in a sweep; both sweeps are complete"


def noise(postgres):
    """In the air, and on the way from the modem."""
    scenario = "[all]\nloss = 0.1\nnack = 0.1\ngarbage = 0.3\nfragment = 0.2\n"
    with Postgres() if postgres else Sqlite() as base, Stage(base, scenario=scenario) as site:
        site.begin()
        sweeps = [site.complete_sweep(1) for _ in range(5)]
    return f"{len(sweeps)} sweeps, each with all meters, {sum(0 in s for sweep in sweeps for s in sweep.values())} readings"
