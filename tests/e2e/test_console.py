"""The console in a real browser; behind it the hub, the daemon, the virtual substation, and days of rows with faults."""

import contextlib
import datetime
import glob
import json
import os
import signal
import sqlite3
import unittest

from rig.browser import Browser
from rig.history import register_text, write_history
from rig.hub import Hub
from rig.process import wait_for
from rig.sqlite import Sqlite
from rig.substation import SITE, Site

NOW = datetime.datetime(2024, 3, 14, 14, 8)
METERS, DAYS, PORT = 15, 9, 8471
BASE = f"http://127.0.0.1:{PORT}/"
TOKEN = "0123456789abcdef0123456789abcdef"
HOSTILE = "<img src=x onerror=\"document.title='taken over'\">"
SETTINGS = SITE.replace("Connections=", "Connections=hub") + "CounterKTPMultiplier=40\nBCAST_to_UCAST_Delay=3000\nUCAST_to_UCAST_Delay=400\n"
PAGES = ("overview", "coverage", "meter/99", "traffic", "network", "commands")

# Texts that are less than 4.5 times as light, or as dark, as what is behind them.
FAINT = r"""
const light = rgb => rgb.slice(0, 3).map(v => v / 255).map(v => v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4)
    .reduce((sum, v, i) => sum + v * [0.2126, 0.7152, 0.0722][i], 0);
const numbers = text => text.match(/[\d.]+/g).map(Number);
function ground(one) {
    for (; one; one = one.parentElement) {
        const colour = numbers(getComputedStyle(one).backgroundColor);
        if ((colour[3] ?? 1) === 1) return colour;
    }
    return [255, 255, 255];
}
const found = [], walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
for (let node; node = walker.nextNode();) {
    const one = node.parentElement;
    if (!node.data.trim() || !one.checkVisibility()) continue;
    const [a, b] = [getComputedStyle(one).color, ground(one)].map((c, i) => light(i ? c : numbers(c))).sort((x, y) => y - x);
    if ((a + 0.05) / (b + 0.05) < 4.5) found.push(node.data.trim());
}
return found;
"""
# Elements that do not fit the page, tab orders of their own, headings besides the one.
ODD = """
return [document.documentElement.scrollWidth > innerWidth && 'wider than the window', ...document.querySelectorAll('[tabindex]')]
    .filter(one => one && (typeof one === 'string' || one.tabIndex > 0)).map(String)
    .concat(document.querySelectorAll('h1').length === 1 ? [] : 'not one heading');
"""


def add_stranger(path):
    """A meter whose UIN nobody would import: the register may come from elsewhere. It never answers."""
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        connection.execute("INSERT INTO \"Counters\" VALUES (99, ?, '7', 'SET1', 0, '')", (HOSTILE,))
        connection.execute("INSERT INTO Main_Data SELECT 99, 0, 0, 0, 0, 0, date_r, time_r, 255 FROM Main_Data WHERE global_id = 1")


class Console(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        stack = contextlib.ExitStack()
        cls.addClassCleanup(stack.close)
        cls.site = stack.enter_context(Site(Sqlite().keys, str(NOW), speed=5, scenario="[all]\nseed = 4\n",
                                            register=register_text(METERS), settings=SETTINGS))
        write_history(cls.site.path("z.db"), METERS, NOW, DAYS)
        cls.site.start_substation()
        add_stranger(cls.site.path("z.db"))
        cls.site.write("token", TOKEN + "\n")
        os.chmod(cls.site.path("token"), 0o600)
        cls.hub = stack.enter_context(Hub(cls.site, f"Listen=127.0.0.1:{PORT}\nTokenFile={cls.site.path('token')}\nOpenReading=yes\n"))
        cls.hub.start()
        cls.site.start()
        stack.callback(cls.stop_daemon)
        wait_for(lambda: cls.api("status")["daemon"]["connected"] and len(cls.api("meters")["meters"]) > METERS, "the hub", 60, 0.1)
        cls.browser = stack.enter_context(Browser("ru,en"))
        cls.browser.open("about:blank")
        cls.browser.log("performance")  # of the browser's own first page

    @classmethod
    def stop_daemon(cls):
        """While its administrator is there: without one it ends by itself, with another code."""
        if cls.site.process.poll() is None:
            cls.site.signal(signal.SIGTERM)
            assert cls.site.wait() == 0

    @classmethod
    def api(cls, path):
        status, answer = cls.hub.ask("GET", f"/api/{path}")
        assert status == 200, (path, status, answer)
        return answer

    def show(self, page, words="", **choices):
        """A new visit, with what the reader has chosen before."""
        self.browser.open("about:blank")
        self.browser.open(f"{BASE}#/{page}")
        for name in ("language", "theme"):
            self.browser.run("arguments[1] ? localStorage.setItem(...arguments) : localStorage.removeItem(arguments[0])", name,
                             choices.get(name, ""))
        self.browser.ask("POST", "/refresh", {})
        self.browser.wait_for_text(words, "main")

    def tearDown(self):
        """Whatever was looked at: nothing came from elsewhere, nothing was complained of, nobody's name became a program."""
        urls = [message["params"]["request"]["url"] for entry in self.browser.log("performance")
                if (message := json.loads(entry["message"])["message"])["method"] == "Network.requestWillBeSent"]
        self.assertTrue(any(url.startswith(BASE + "api/") for url in urls))
        self.assertEqual([url for url in urls if not url.startswith((BASE, "blob:" + BASE, "data:"))], [])
        complaints = [entry["message"] for entry in self.browser.log()]
        self.assertEqual([text for text in complaints if not any(part in text for part in self.expected)], [])
        self.assertEqual(self.browser.run("return [document.title.includes('taken over'), document.querySelectorAll('[src=x]').length]"),
                         [False, 0])

    expected = ()  # complaints of the browser's

    def test_overview(self):
        status = self.api("status")
        self.show("overview", f"{status['today']['percent']:.1f}", language="en")
        text = self.browser.text("main")
        self.assertIn(f"{status['today']['read']} of {status['today']['due']} due readings", text)
        self.assertIn(f"{status['lastSweep']['read']} of {status['lastSweep']['meters']} read", text)
        for name in ("nextSweep", "nextClockSweep"):
            self.assertIn(status[name][11:16], text)
        lasting = [one for one in self.api("incidents")["incidents"] if not one["until"]]
        self.assertIn(f"{len(lasting)} incidents open", text)
        for meter in (meter for one in lasting for meter in one["meters"]):
            self.assertIn(f"{meter['globalId']} · {meter['uin']}", text)
        odd = [str(clock["globalId"]) for clock in self.api("clocks")["clocks"] if clock["isOff"] or clock["drifts"]]
        shown = self.browser.run("return [...document.querySelectorAll('[aria-label^=Clocks] tbody th')].map(one => one.innerText.split(' ')[0])")
        self.assertEqual(sorted(shown), sorted(odd))

    def test_coverage(self):
        table = self.api("sweeps?from=2024-03-14&to=2024-03-14")
        self.show("coverage?span=day", "due readings are there", language="en")
        letters = "".join(sweep["outcomes"] for sweep in table["sweeps"])
        self.assertIn(f"{sum(map(letters.count, 'rl'))} of {len(letters) - letters.count('.')} due readings are there", self.browser.text("main"))
        self.browser.find(".matrix canvas")
        self.browser.run("document.querySelector('.matrix').focus()")
        for key in ("Right", "Down", "Left"):  # the first chooses the newest sweep of the first meter
            self.browser.type(".matrix", key)
        due, meter = table["sweeps"][-2], table["meters"][1]
        self.assertRegex(self.browser.text(".told"), f"^{meter} · .* — 2024-03-14 {due['due'][11:16]} — {due['outcomes'][1]}: ")
        self.browser.type(".matrix", "Enter")
        self.browser.wait_for_text(f"{meter} · ", ".facts")

    def test_meter(self):
        meter = next(one for one in self.api("meters")["meters"] if one["globalId"] == 11)
        self.show("meter/11?span=week", "Clock offset", language="en")
        self.assertIn(f"{meter['lastReading']['energy'][0]:,.7g} kWh", self.browser.text(".facts"))
        self.assertEqual(self.browser.run("return document.querySelectorAll('.plot:has(canvas)').length"), 4)
        self.browser.click(".controls > button")
        wait_for(lambda: glob.glob(os.path.join(self.browser.downloads, "meter-11-*.csv")), "the file", pause=0.05)
        with open(glob.glob(os.path.join(self.browser.downloads, "meter-11-*.csv"))[0], encoding="utf-8", newline="") as file:
            lines = file.read().split("\r\n")
        rows = self.api("readings?meter=11&from=2024-03-08&to=2024-03-14")["readings"]
        self.assertEqual((len(lines), lines[-2].split(",")[2:5]),
                         (len(rows) + 2, [rows[-1]["at"], str(rows[-1]["status"]), f"{rows[-1]['energy'][0]:g}"]))

    def test_network(self):
        self.show("network", "Узлы реестра", language="ru")
        nodes = self.api("nodes")["nodes"]
        shown = self.browser.run("return [...document.querySelectorAll('main tbody tr')].map(row => [...row.cells].map(cell => cell.innerText))")
        self.assertEqual(sorted(row[0] for row in shown), sorted(node["uin"] for node in nodes))
        for node in nodes:
            row = next(row for row in shown if row[0] == node["uin"])
            self.assertEqual(row[4:], [str(node[name]) for name in ("undelivered24h", "silent24h", "late24h")] if node["inRegister"] else [])

    def test_sending_commands_and_what_they_make(self):
        self.expected = ("api/commands/About - Failed to load resource: the server responded with a status of 401",)
        self.show("commands", "Need_query", language="en")
        self.browser.click("form[aria-labelledby=command-About] button")  # without a token it asks for one
        for characters in (TOKEN, "Enter"):
            self.browser.type("dialog input", characters)
        self.browser.wait_for_text("Need_query", "main")
        self.browser.click("form[aria-labelledby=command-About] button")
        self.browser.wait_for_text("z.db", "form[aria-labelledby=command-About] output")
        self.browser.click("form[aria-labelledby=command-Reset_KS] button")  # needs a node
        self.assertEqual(self.browser.run("return document.querySelectorAll('dialog').length"), 0)
        self.browser.click("form[aria-labelledby=command-QuitSignal] button")
        self.assertEqual(self.browser.run("return document.activeElement.innerText"), "Cancel")
        self.browser.type("dialog :focus", "Enter")
        self.browser.click("form[aria-labelledby=command-Need_query] button")
        self.browser.wait_for_text("Sent.", "form[aria-labelledby=command-Need_query] output")
        self.browser.click("nav li:nth-child(4) a")
        uin = wait_for(lambda: self.browser.run("return [...document.querySelectorAll('.traffic .line')].find(line => "
                                                "line.innerText.includes('kWh') && line.querySelector('.uin'))?.querySelector('.uin').innerText"),
                       "a node's answer", 60, 0.05)
        self.assertIn(uin, [node["uin"] for node in self.api("nodes")["nodes"]])
        self.browser.type("[type=search]", uin.lower())
        wait_for(lambda: set(self.browser.run("return [...document.querySelectorAll('.traffic li:not(.log)')].map(li => "
                                              "li.querySelector('.uin')?.innerText ?? '')")) == {uin}, "the one node alone", pause=0.05)
        self.browser.click("[aria-pressed]")
        self.browser.click("[aria-pressed] + button")
        wait_for(lambda: glob.glob(os.path.join(self.browser.downloads, "traffic-*.txt")), "the recording", pause=0.05)
        with open(glob.glob(os.path.join(self.browser.downloads, "traffic-*.txt"))[0], encoding="ascii") as file:
            self.assertRegex(file.read(), rf"(?m)^2024-03-14T14:\d\d:\d\d\.\d\d\d modem .*UCAST:{uin}")

    def test_everybody_can_read_it(self):
        """Both languages, both themes, a desk and a phone: names and roles, contrast, the browser's own choice of language."""
        first = {"ru": "Обзор", "en": "Overview"}
        for language, theme, width in (("", "dark", 1024), ("en", "light", 390)):
            self.browser.resize(width, 780)
            for page in PAGES:
                with self.subTest(page, language=language, theme=theme, width=width):
                    self.show(page, language=language, theme=theme)
                    wait_for(lambda: self.browser.run("return document.querySelectorAll('main *').length") > 8, page, pause=0.05)
                    if page == "meter/99":
                        self.browser.wait_for_text(HOSTILE, "main")
                    self.assertIn(first[language or "ru"], self.browser.text("nav"))
                    self.assertEqual(self.browser.run("return document.documentElement.lang"), language or "ru")
                    self.assertEqual(self.browser.run(FAINT), [])
                    self.assertEqual(self.browser.run(ODD), [])
                    self.assertEqual([node for node in self.browser.controls() if node[0] in ("generic", "none") or not node[1]], [])
        self.browser.resize(1280, 900)

    def test_the_hub_goes_and_comes(self):
        """Played last by its name: the daemon ends with its administrator."""
        self.expected = ("ERR_CONNECTION_REFUSED", "ERR_INCOMPLETE_CHUNKED_ENCODING", "ERR_EMPTY_RESPONSE")
        self.show("coverage", "due readings are there", language="en")
        self.stop_daemon()
        self.hub.signal(signal.SIGTERM)
        self.assertEqual(self.hub.wait(), 0)
        self.browser.wait_for_text("The hub does not answer", "[role=alert]")
        self.hub.start()
        self.browser.find(".banner[hidden]")
        self.browser.wait_for_text("due readings are there", "main")


if __name__ == "__main__":
    unittest.main(verbosity=2)
