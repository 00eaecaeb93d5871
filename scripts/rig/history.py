"""Weeks of a substation that no time has to be spent on: rows as the daemon writes them, drawn from a seed and written straight
into its database. Nothing in them was measured. The faults are those that a substation has."""

import contextlib
import datetime
import math
import random
import sqlite3

MODELS = ["SET3", "CE301", "SET1", "SET3", "CE301"]
HALF_HOUR, DAY = datetime.timedelta(minutes=30), datetime.timedelta(days=1)
READ, DAMAGED, NO_READING, NOT_DELIVERED, NOTHING_HEARD = 0, 1, 2, 3, 255
MULTIPLIER = 40


def node(number):
    return f"000D6F0000{0x190000 + 37 * number:06X}"


def register_text(meters):
    """The substation meter and so many behind nodes, as a CSV file."""
    lines = ["global_id,UIN,Number,Model,Type,KI_Number", "1,KTP-417,20417,CE301,1,"]
    lines += [f"{10 + i},{node(i)},{71000 + 13 * i},{MODELS[i % len(MODELS)]},0,{i}" for i in range(1, meters)]
    return "\n".join(lines) + "\n"


class Meter:
    """A register that rises with a household's day, in three tariffs' hours."""

    def __init__(self, chance, place):
        self.place = place
        self.usual = chance.uniform(0.25, 1.1) * (MULTIPLIER * 0.9 if place == 0 else 1)
        self.peak = chance.choice([7, 8, 18, 19, 20])
        self.registers = [chance.uniform(300, 9000) * (MULTIPLIER if place == 0 else 1) for _ in range(2)] + [0.0, 0.0]
        self.drift = chance.gauss(0, 0.1)
        self.offset = chance.uniform(-2, 2)

    def use(self, moment, chance):
        hour = moment.hour + moment.minute / 60
        shape = 0.35 + math.exp(-((hour - self.peak) ** 2) / 5) + 0.5 * math.exp(-((hour - 13) ** 2) / 9)
        tariff = 0 if 7 <= hour < 23 else 1
        self.registers[tariff] += self.usual * shape * chance.uniform(0.6, 1.4) / 2

    def energies(self):
        """As they are stored: six digits."""
        return [float(f"{value:.6g}") for value in [sum(self.registers), *self.registers]]


class Faults:
    """What goes wrong, told from the end of the time, so that any number of days has its last week. Nodes by their place."""

    def __init__(self, end, meters):
        self.end = end
        self.group = range(meters // 3, meters // 3 + 5)  # behind one node that lost its power
        self.cut_off, self.damaged, self.drawn, self.flaky = meters // 2, meters // 2 + 4, meters // 2 + 9, meters // 5
        self.exchanged, self.fast, self.wrong = meters // 4, meters // 6, meters // 7

    def ago(self, moment):
        """Days before the end."""
        return (self.end - moment) / DAY

    def no_sweep(self, moment):
        return 5.4 < self.ago(moment) < 5.65

    def status(self, meter, moment, chance):
        ago, place, one = self.ago(moment), meter.place, chance.random()
        if place == 0:
            return DAMAGED if one < 0.004 else READ
        if 3.2 < ago < 3.55:
            return NOTHING_HEARD  # the modem is deaf
        if place in self.group and ago < 2.2:
            return NOTHING_HEARD
        if place == self.cut_off and ago < 6.1:
            return NOT_DELIVERED
        if place == self.damaged and ago < 10 and one < 0.3:
            return DAMAGED
        if place == self.drawn and ago < 4 and 8 <= moment.hour < 17 and one < 0.8:
            return NO_READING
        if place == self.flaky and ago < 8 and one < 0.15:
            return NOT_DELIVERED
        return NOT_DELIVERED if one < 0.001 else NOTHING_HEARD if one < 0.0015 else READ


def rows_of(meters, end, days, chance):
    """Of Main_Data, sweep by sweep; an answer that was late has its row of silence, too."""
    faults = Faults(end, len(meters))
    moment = (end - days * DAY).replace(hour=0, minute=0, second=0, microsecond=0)
    while moment <= end:
        stamp = (moment.strftime("%Y-%m-%d"), (moment + datetime.timedelta(seconds=chance.randrange(4, 25))).strftime("%H:%M:%S"))
        for meter in meters:
            meter.use(moment, chance)
            if meter.place == faults.exchanged and abs(faults.ago(moment) - 1.6) < 0.011:
                meter.registers = [0.4, 0.0, 0.0, 0.0]
            if faults.no_sweep(moment):
                continue
            status = faults.status(meter, moment, chance)
            global_id = 1 if meter.place == 0 else 10 + meter.place
            if status == READ and meter.place and chance.random() < 0.012:
                yield (global_id, 0, 0, 0, 0, 0, *stamp, NOTHING_HEARD)
            yield (global_id, *(meter.energies() if status == READ else [0] * 5), *stamp, status)
        moment += HALF_HOUR


def clocks_of(meters, end, days, chance):
    """Of time_table: each meter behind a node once a day."""
    faults = Faults(end, len(meters))
    for back in range(days, -1, -1):
        asked = (end - back * DAY).replace(hour=0, minute=15, second=9, microsecond=0)
        for meter in meters[1:]:
            drift = 1.3 if meter.place == faults.fast else meter.drift
            offset = meter.offset + drift * (days - back) + (38 if meter.place == faults.wrong else 0) + chance.gauss(0, 0.4)
            shown = asked + datetime.timedelta(seconds=round(offset))
            yield (node(meter.place), *shown.strftime("%Y-%m-%d %H:%M:%S").split(), *asked.strftime("%Y-%m-%d %H:%M:%S").split())


def write_history(path, meters, end, days, seed=417):
    """Rows of `meters` meters, as register_text() has them, for `days` days up to `end`, into a database that has its tables."""
    chance = random.Random(seed)
    all_meters = [Meter(chance, place) for place in range(meters)]
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        connection.executemany("INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) "
                               "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)", rows_of(all_meters, end, days, chance))
        connection.executemany("INSERT INTO time_table(uin, date_c, time_c, date_r, time_r) VALUES (?, ?, ?, ?, ?)",
                               clocks_of(all_meters, end, min(days, 40), chance))
