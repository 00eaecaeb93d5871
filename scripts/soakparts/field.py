"""What differs with every remedy on and pacing by answers: what must be stored, and why a meter may be silent."""

import collections
import datetime
import re

from soakparts.account import Account, Meter, stored

SETTINGS = "[Field]\nRemedies=all\nPacing=answers\n"
# A radio that deserves it: hops, refusals, reports lost and late, power cuts, deafness.
FAULTS = """hops = 5
on-their-way = 6
nack-time = 4000
report-loss = 0.02
report-late = 0.02
power-cut-every = 43200000
deaf-every = 43200000
"""
MOST_MISSED = 0.001  # of the readings that reached the daemon
MARGIN = datetime.timedelta(minutes=1)  # the play's clock and the substation's are not the same
SENT = re.compile(r"at\+ucastb:..,([0-9A-F]{16})")
SAID = re.compile(r"\+UCASTB:(\d\d)|\\nACK:(\d\d)|NACK:(\d\d)|\\nUCAST:([0-9A-F]{16})")
UNDECODABLE, HEARD, NOT_REACHED, NOTHING = 1, 2, 3, 255
Event = collections.namedtuple("Event", "time uin status sent")


class Radio:
    """What the modem said of each node, out of the substation's traffic log."""

    def __init__(self, path):
        self.path, self.file, self.rest, self.said = path, None, "", ""
        self.asked, self.numbered, self.events = None, {}, []

    def look(self):
        self.file = self.file or open(self.path, encoding="ascii")  # follows it to the end
        *lines, self.rest = (self.rest + self.file.read()).split("\n")
        for line in lines:
            time, who, text = line.split(" ", 2)
            time = datetime.datetime.fromisoformat(time)
            if who == "daemon":
                for uin in SENT.findall(text):
                    self.asked = (uin, time)
            else:
                self.hear(time, text)

    def hear(self, time, text):
        """A line may come in pieces."""
        self.said, end = self.said + text, 0
        for word in SAID.finditer(self.said):
            end = word.end()
            number, ack, nack, sender = word.groups()
            if number is not None:
                self.numbered[number], self.asked = self.asked, None
            elif sender is not None:
                self.events.append(Event(time, sender, HEARD, time))
            elif (message := self.numbered.pop(ack or nack, None)) is not None:
                self.events.append(Event(time, message[0], HEARD if ack else NOT_REACHED, message[1]))
        self.said = self.said[end:][-300:]

    def take_until(self, time):
        taken = [event for event in self.events if event.time < time]
        self.events = self.events[len(taken):]
        return taken


class FieldMeter(Meter):
    def due_and_possible(self, answers):
        """Nothing of an earlier answer is left when the node is read out: each answer stands for itself."""
        readable = [answer for answer in answers if answer.readable]
        return (collections.Counter(answer.value for answer in readable if answer.whole),
                collections.Counter(answer.value for answer in readable))

    def remember(self, answers, readings):
        pass


class FieldAccount(Account):
    unread_models = ()

    def __init__(self, meters, reference, multiplier, radio):
        super().__init__({number: FieldMeter(meter.number, meter.uin, meter.readable) for number, meter in meters.items()},
                         reference, multiplier)
        self.reference = self.meters[reference.number]
        self.radio, self.events, self.closed_at = radio, collections.defaultdict(list), None
        self.time_server_away = False

    def close_sweep(self, name, until, rows):
        self.radio.look()
        self.events.clear()
        for event in self.radio.take_until(until):
            if event.time >= name:
                self.events[event.uin].append(event)
        super().close_sweep(name, until, [(row[0], *stored(row[1:6]), row[6]) for row in rows])

    def missed(self, name, meter, due, readings):
        self.counts["readings that came, not stored"] += (due - readings).total()
        print(f"MISSED {name}: meter {meter.number} answered {list(due - readings)}, stored {list(readings)}", flush=True)

    def check_silence(self, name, meter, status, answers):
        """A status tells what happened to the node in this sweep."""
        if meter is self.reference:
            return
        events = [event for event in self.events[meter.uin] if event.sent >= name]
        happened = {event.status for event in events}
        if status == UNDECODABLE:
            right = any(not answer.whole or not answer.readable for answer in answers)
        elif status == NOTHING:
            right = not any(event.time < self.closed[name] - MARGIN for event in events)
        else:
            right = status in happened
        self.counts[f"silent with status {status}"] += 1
        if not right:
            self.fault(f"{name}: meter {meter.number} has status {status}, but the radio said {sorted(happened)}")

    def clocks_missed(self, due, shown):
        """Of a clock that was asked for twice before it answered one answer counts."""
        return due and not shown

    def check_reference_clock(self, name, behind):
        if self.time_server_away and not behind:
            self.counts["time sweeps without a reference clock"] += 1
        else:
            super().check_reference_clock(name, behind)

    def check_end(self):
        came = self.counts["readings"] + self.counts["readings that came, not stored"]
        if self.counts["readings that came, not stored"] > MOST_MISSED * came:
            self.fault(f"more than {MOST_MISSED:.1%} of the readings that came are not stored under their sweep")
