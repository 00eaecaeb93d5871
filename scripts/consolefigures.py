"""How long the console takes, and what it holds: a year of 200 meters, drawn from a seed, and an hour of traffic, ten events a
second, sent as fast as the page takes it by a played daemon. Prints a table."""

import datetime
import statistics
import struct
import time

from rig import buspeer as bus
from rig.browser import Browser
from rig.history import node, register_text, write_history
from rig.hub import Hub, PlayedDaemon
from rig.process import wait_for
from rig.sqlite import Sqlite
from rig.substation import SITE, Site

NOW = datetime.datetime(2024, 3, 14, 14, 8)
METERS, DAYS, VIEWS, PORT = 200, 365, 7, 8478
EVENTS, PART = 36000, 3600
# Since the visit began, in ms, when the element is there and painted.
SEEN = """
const [selector] = arguments;
return new Promise(resolve => {
    const look = () => document.querySelector(selector)
        ? requestAnimationFrame(() => requestAnimationFrame(() => resolve(window.seen ??= performance.now()))) : requestAnimationFrame(look);
    look();
});
"""


def views(browser, address, selector):
    times = []
    for _ in range(VIEWS):
        browser.open("about:blank")
        browser.open(f"http://127.0.0.1:{PORT}/{address}")
        times.append(browser.run(SEEN, selector))
    return times


def line(what, values, unit="ms"):
    print(f"| {what} | {statistics.median(values):.0f} {unit} | {min(values):.0f} to {max(values):.0f} |", flush=True)


def heap(browser):
    """MB after the garbage is gone, and the elements of the page."""
    browser.devtools("HeapProfiler.collectGarbage")
    return browser.devtools("Runtime.getHeapUsage")["usedSize"] / 1e6, browser.run("return document.querySelectorAll('*').length")


def traffic(browser, hub, daemon):
    browser.open("about:blank")
    browser.open(f"http://127.0.0.1:{PORT}/#/traffic")
    browser.wait_for_text("Live", "main")
    # The daemon is told to show its traffic only while somebody watches.
    wait_for(lambda: b"Input_Data_On" in daemon.admin.read_frame(20), "the wish for traffic")
    for sent in range(0, EVENTS, PART):
        for i in range(sent, sent + PART):
            text = b"\r\nUCAST:%s,07=\xc0\x82\x01%s\xc1\r\n" % (node(1 + i % (METERS - 1)).encode(), struct.pack(">I", i))
            daemon.admin.send(bus.action(b"InData", b"COM-port data", text, -1))
            if i % 100 == 99:
                time.sleep(0.1)  # not more than a reader may have waiting
        # The page keeps 5,000 at most and counts those that it let go.
        wait_for(lambda: browser.run("return [...document.querySelector('.row').innerText.matchAll(/[\\d,]+/g)].reduce((n, m) => "
                                     "n + Number(m[0].replaceAll(',', '')), 0)") >= sent + PART, "all of them in the page", 60, 0.2)
        size, elements = heap(browser)
        print(f"| heap of the traffic page after {(sent + PART) // 600} minutes | {size:.1f} MB | {elements} elements |", flush=True)


def play():
    with Site(Sqlite().keys, str(NOW), speed=1, register=register_text(METERS), settings=SITE) as site:
        write_history(site.path("z.db"), METERS, NOW, DAYS)
        with Hub(site, f"Listen=127.0.0.1:{PORT}\nOpenReading=yes\n") as hub:
            begun = time.monotonic()
            hub.start()
            wait_for(lambda: len(hub.ask("GET", "/api/meters")[1]["meters"]) == METERS, "the ledger", 120, 0.05)
            print(f"| the hub's first reading of 62 days | {time.monotonic() - begun:.1f} s | |", flush=True)
            daemon = PlayedDaemon(hub)
            with Browser("en") as browser:
                line("overview, from the address to the figures", views(browser, "#/overview", ".figure"))
                line("coverage of a month, from the address to the picture", views(browser, "#/coverage?span=month", ".matrix canvas"))
                drawn = []
                for _ in range(VIEWS):
                    browser.open("about:blank")
                    browser.open(f"http://127.0.0.1:{PORT}/#/coverage?span=month")
                    browser.run(SEEN, ".matrix canvas")
                    drawn.append(browser.run("return performance.getEntriesByName('coverage')[0].duration"))
                cells = browser.text(".page > p").split(": ")[1]
                line(f"of this, drawing ({cells.rstrip('.')})", drawn)
                line("a meter's month, from the address to the last plot", views(browser, "#/meter/77?span=month", "[aria-label='Clock offset'], .matrix"))
                traffic(browser, hub, daemon)
            daemon.close()


if __name__ == "__main__":
    play()
