"""Holds what was stored and sent of each sweep against what the virtual substation says its meters answered."""

import collections
import datetime
import struct

# The daemon's and the substation's clocks are started one after the other: seconds of the play lie between them.
SKEW = datetime.timedelta(minutes=2)


def single(value):
    return struct.unpack("<f", struct.pack("<f", float(value)))[0]


def stored(values):
    """What six significant digits leave of single-precision values."""
    return tuple(single("%.6g" % single(value)) for value in values)


def seconds(clock):
    hours, minutes, rest = clock.split(":")
    return int(hours) * 3600 + int(minutes) * 60 + int(rest)


class Answer:
    """A line of the substation's report; what it says of energy, as the daemon multiplies it."""

    def __init__(self, line, multiplier, unread_models):
        self.time = datetime.datetime.fromisoformat(line["time"])
        self.uin, self.model, self.kind = line["uin"], line["model"], line["kind"]
        self.text, self.whole = line["values"], line["whole"] == "yes"
        values = [multiplier * float(v) for v in self.text.split()] if self.kind == "energy" else []
        self.value = stored(values + [0.0] * (5 - len(values))) if values else self.text[-8:]  # a CE102 has no tariffs
        flawed = line["flaw"] and (self.model, self.kind) != ("SET1", "clock")  # which has no checksum
        self.readable = self.model not in unread_models and not flawed and self.kind != "alarm"


class Meter:
    def __init__(self, number, uin, readable):
        self.number, self.uin, self.readable = number, uin, readable
        # When the air took the head of an answer, its tail makes every later one be read one answer late; so it goes on
        # until an answer loses its tail.
        self.in_step = True
        self.earlier = collections.deque(maxlen=20)  # values of earlier answers

    def due_and_possible(self, answers):
        """What must be stored of a sweep's answers, and what may be."""
        due, possible = collections.Counter(), collections.Counter(a.value for a in answers if a.readable)
        for answer in answers:
            self.in_step = self.in_step and answer.whole
            if self.in_step and answer.readable:
                due[answer.value] += 1
        if not self.in_step:
            possible.update(self.earlier)
        return due, possible

    def remember(self, answers, readings):
        self.in_step = self.in_step or bool(answers and answers[-1].whole and answers[-1].value in readings)
        self.earlier.extend(answer.value for answer in answers if answer.readable)


class Account:
    """`meters` by global_id; `reference` is the substation meter: its readings are multiplied, its clock stands for the
    system's own."""

    unread_models = ("CE102",)

    def __init__(self, meters, reference, multiplier):
        self.meters, self.reference, self.multiplier = meters, reference, multiplier
        self.answers = {"energy": [], "clock": []}
        self.counts, self.faults = collections.Counter(), []
        self.closed = {}  # the sweeps that are not accounted for yet: when they were closed

    def fault(self, text):
        self.faults.append(text)
        print("FAULT", text, flush=True)

    def take_answers(self, lines):
        for line in lines:
            answer = Answer(line, self.multiplier if line["uin"] == self.reference.uin else 1, self.unread_models)
            if answer.kind != "alarm":
                self.answers[answer.kind].append(answer)
            elif answer.whole:
                self.counts["alarms raised"] += 1
            else:  # told if both pieces of its line came in one wait
                self.counts["alarms cut or lost"] += 1
                self.answers["energy"].append(answer)  # what is left of it disturbs the next answer

    def check_summary(self, name, records, rows):
        """When a sweep's records come they are its rows; `rows` may have grown by late answers since."""
        late = collections.Counter(rows)
        late.subtract(records)
        if min(late.values(), default=0) < 0 or any(row[-1] != 0 for row in late.elements()):
            self.fault(f"{name}: the records {sorted(records)} are not the rows {sorted(rows)}")

    def close_sweep(self, name, until, rows):
        """Once the next sweep, of `until`, is over, when nothing comes any more for the one called `name`."""
        answers = self._answers_before("energy", until)
        rows_of = collections.defaultdict(list)
        for row in rows:
            rows_of[row[0]].append(row)
        for number, meter in self.meters.items():
            self._check_meter(name, meter, rows_of.pop(number, []), answers[meter.uin])
        self.closed.pop(name, None)
        if rows_of:
            self.fault(f"{name}: rows of meters that are none: {dict(rows_of)}")
        self.counts["query sweeps"] += 1

    def _answers_before(self, kind, until):
        answers = collections.defaultdict(list)
        while self.answers[kind] and self.answers[kind][0].time < until - SKEW:
            answer = self.answers[kind].pop(0)
            answers[answer.uin].append(answer)
        return answers

    def _check_meter(self, name, meter, rows, answers):
        readings = collections.Counter(row[1:6] for row in rows if row[-1] == 0)
        silent = [row for row in rows if row[-1] != 0]
        due, possible = meter.due_and_possible(answers)
        if meter is self.reference and readings:
            due = readings  # asked again after an answer that came too late, it gives one of the two
        if due - readings:
            self.missed(name, meter, due, readings)
        if readings - possible:
            self.fault(f"{name}: meter {meter.number} never answered {list(readings - possible)}")
        if not rows or len(silent) > 1:
            self.fault(f"{name}: meter {meter.number} has the rows {rows}")
        for row in silent:
            self.check_silence(name, meter, row[-1], answers)
        meter.remember(answers, readings)
        self.counts["answers"] += len(answers)
        self.counts["answers that can be read"] += sum(answer.readable for answer in answers)
        self.counts["answers that the air cut or took"] += sum(not answer.whole for answer in answers)
        self.counts["readings"] += sum(readings.values())
        self.counts["readings after the close"] += sum(readings.values()) if silent else 0
        self.counts["readings one answer late"] += 0 if meter.in_step else sum(readings.values())
        self.counts["rows without a reading"] += len(silent)
        self.counts["sweeps in which a readable meter gave none"] += meter.readable and not readings

    def missed(self, name, meter, due, readings):
        self.fault(f"{name}: meter {meter.number} answered {list(due - readings)}, stored {list(readings)}")

    def check_silence(self, name, meter, status, answers):
        """By default a status may be another meter's, whose report was taken for this one's."""

    def clocks_missed(self, due, shown):
        return due - shown

    def check_reference_clock(self, name, behind):
        if behind not in ([1], [2]):  # by what the time server says, 1.5 s
            self.fault(f"{name}: not one reference clock: {behind} seconds behind")

    def check_end(self):
        pass

    def close_time_sweep(self, name, until, records, rows):
        """Rows and records: (meter, its clock's time of day, when it was asked)."""
        self.check_summary(name, [record + (0,) for record in records], [row + (0,) for row in rows])
        answers = self._answers_before("clock", until)
        for number, meter in self.meters.items():
            shown = collections.Counter(clock for row_of, clock, _ in rows if row_of == number)
            if meter is self.reference:
                behind = [seconds(asked) - seconds(clock) for row_of, clock, asked in rows if row_of == number]
                self.check_reference_clock(name, behind)
                continue
            due, possible = meter.due_and_possible(answers[meter.uin])
            if self.clocks_missed(due, shown) or shown - possible:
                self.fault(f"{name}: the clock of meter {number} showed {list(due)}, stored is {list(shown)}")
            meter.remember(answers[meter.uin], shown)
        self.counts["time sweeps"] += 1
        self.counts["clocks"] += len(rows)
