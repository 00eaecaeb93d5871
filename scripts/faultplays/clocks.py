"""The system's clock is stepped, and summer time begins and ends."""

import os
import re
import time

from faultplays.stage import Stage, hold
from rig.process import faketime_environment, wait_for
from rig.substation import SETTINGS, SITE

ZONE = "CET-1CEST,M3.5.0,M10.5.0/3"
HOUR = 3600
BEGIN = 1393921680  # 2014-03-04 08:28:00
PATIENCE = 40  # a tick comes within 25 s of the last one's end


class SteppedClock:
    """Steps the wall clock alone, in real time: with another speed libfaketime would step the timers as well."""

    def __init__(self, site, begin):
        self.site = site
        self.offset = begin - time.time()
        self.step(0)
        site.environment = {"LD_PRELOAD": faketime_environment(1, "")["LD_PRELOAD"], "FAKETIME_NO_CACHE": "1",
                            "FAKETIME_TIMESTAMP_FILE": site.path("offset"), "FAKETIME_DONT_FAKE_MONOTONIC": "1"}

    def step(self, seconds):
        self.offset += seconds
        self.site.write("offset.new", f"{self.offset:+.0f}")
        os.rename(self.site.path("offset.new"), self.site.path("offset"))

    def minutes(self):
        """That a tick may see from now on."""
        now = time.time() + self.offset
        return {time.strftime("%d %H:%M", time.gmtime(now + later)) for later in range(PATIENCE)}

    def seconds_to_tick(self):
        """Until the next one, which must see the new time."""
        begun, minutes, ticks = time.monotonic(), self.minutes(), self.ticks()
        while len(self.ticks()) == len(ticks):
            hold(time.monotonic() - begun < PATIENCE, "no tick")
            time.sleep(0.05)
        hold(self.ticks()[-1] in minutes, f"the tick saw {self.ticks()[-1]}, not one of {sorted(minutes)}")
        return time.monotonic() - begun

    def ticks(self):
        return re.findall('"Timer event: (.*)"', self.site.stderr())


def stepped():
    settings = SITE + "BCAST_to_UCAST_Delay=1000\nUCAST_to_UCAST_Delay=300\nRepeatQueryNumber=0\n" \
                      "TimeOfSetTime=^none$\nTimeOfGetTime=^none$\n"
    sweeps, waits = [], []
    with Stage(speed=0, settings=settings) as site:
        clock = SteppedClock(site, BEGIN)

        def closed(minute):
            site.closed_sweep()
            sweeps.append(site.last_sweep)
            hold(minute in site.last_sweep, f"the sweep {site.last_sweep} is not of {minute}")

        site.begin().into_sweep(2)
        for step in (HOUR, -HOUR):  # within a sweep, then between sweeps
            clock.step(step)
            waits.append(clock.seconds_to_tick())
            if step == HOUR:
                closed("-08-2")
        wait_for(lambda: site.look().total() > 10, "the sweep that is due at 08:30", 120)
        clock.step(-HOUR)
        waits.append(clock.seconds_to_tick())
        closed("-08-30-")
        closed("-07-30-")  # due in the minute that the clock was set to
        clock.step(HOUR)
        waits.append(clock.seconds_to_tick())
    return f"4 steps, the next tick after at most {max(waits):.0f} s saw the new time; {len(sweeps)} complete sweeps"


def night(begin, sweeps):
    """The scheduled sweeps from `begin` on, local time: their stamps, and what the ticks saw."""
    names = []
    schedule = SETTINGS + "TimeOfSetTime=^none$\nTimeOfGetTime=^none$\n"
    with Stage(start=begin, settings=schedule) as site:
        site.environment = {"TZ": ZONE}
        site.begin()
        for expected in sweeps:
            site.closed_sweep()
            names.append(site.last_sweep[11:19])
            hold(names[-1].startswith(expected), f"the sweep {site.last_sweep} stands where {expected} was due")
        return names, set(re.findall('"Timer event: .. (..):', site.stderr()))


def summer_begins():
    names, hours = night("2014-03-30 01:58:30", ["03-00", "03-30"])
    hold("02" not in hours, "a tick saw an hour that there was not")
    return f"after 01:59 sweeps at {', '.join(names)}, complete"


def summer_ends():
    names, _ = night("2014-10-26 01:58:30", ["02-00", "02-30", "02-00", "02-30"])
    return f"sweeps at {', '.join(names)}, complete"
