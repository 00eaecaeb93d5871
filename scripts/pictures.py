"""Pictures of the console. The weeks behind them are drawn from a seed (rig/history.py) and written straight into the database;
the daemon, the hub, the virtual substation and the browser are real, and so is the traffic."""

import argparse
import datetime
import os
import signal
import subprocess
import sys

from rig import ROOT
from rig.browser import Browser
from rig.history import register_text, write_history
from rig.hub import Hub
from rig.process import wait_for
from rig.sqlite import Sqlite
from rig.substation import SITE, Site

NOW = datetime.datetime(2024, 3, 14, 14, 8)
METERS, DAYS = 60, 35
PORT = 8479
TOKEN = "0123456789abcdef0123456789abcdef"
SETTINGS = SITE.replace("Connections=", "Connections=hub") + "CounterKTPMultiplier=40\nBCAST_to_UCAST_Delay=3000\nUCAST_to_UCAST_Delay=250\n"
WIDE, TABLE, PHONE = (1280, 860), (1024, 768), (390, 780)
COVERED = "return document.querySelector('.matrix canvas')?.height > 100"
# name: address, languages, dark, size, what is clicked or run before, in words that must be there
PAGES = [
    ("overview", "#/overview", "en", False, WIDE, "", "One meter is silent"),
    ("overview-dark", "#/overview", "ru", True, WIDE, "", "Молчит один счётчик"),
    ("overview-phone", "#/overview", "en", True, PHONE, "", "One meter is silent"),
    ("coverage", "#/coverage?span=week", "en", False, WIDE, "", "Fit"),
    ("coverage-month", "#/coverage?span=month&order=worst", "ru", True, WIDE, "", "Крупнее"),
    ("coverage-zoomed", "#/coverage?span=day", "en", False, WIDE, "zoom", "Fit"),
    ("coverage-phone", "#/coverage?span=week", "ru", False, PHONE, "", "Крупнее"),
    ("meter", "#/meter/25?span=week", "en", False, WIDE, "", "Clock offset"),
    ("meter-dark", "#/meter/20?span=month", "ru", True, TABLE, "", "Отклонение часов"),
    ("meter-phone", "#/meter/40?span=week", "en", False, PHONE, "", "Clock offset"),
    ("network", "#/network", "en", False, TABLE, "", "Nodes of the register"),
    ("network-phone", "#/network", "ru", True, PHONE, "", "Узлы реестра"),
    ("commands", "#/commands", "ru", False, WIDE, "", "QuitSignal"),
    ("commands-dark", "#/commands", "en", True, TABLE, "ask", "Really send"),
    ("traffic", "#/traffic", "en", False, WIDE, "sweep", "kWh"),
    ("traffic-dark", "#/traffic", "ru", True, TABLE, "sweep", "kWh"),
    ("traffic-phone", "#/traffic", "en", False, PHONE, "sweep", "kWh"),
]


def before(browser, hub, what):
    if what == "zoom":
        for _ in range(4):
            browser.click(".zoom button:nth-child(2)")
        browser.run("document.querySelector('.matrix').focus()")
        for key in ("Left", "Left", "Down", "Down"):
            browser.type(".matrix", key)
    elif what == "ask":
        browser.click("form[aria-labelledby=command-QuitSignal] button")
        browser.run("scrollTo(0, 0)")
    elif what == "sweep":
        status, reply = hub.ask("POST", "/api/commands/Need_query", {})
        assert status == 202, reply


def take(page, hub, directory, tallest):
    name, address, language, dark, (width, height), what, words = page
    with Browser(language, dark, width, height) as browser:
        browser.open(f"http://127.0.0.1:{PORT}/{address}")
        browser.find("h1")
        if what:
            browser.find(".zoom button, form.card, .traffic")
            before(browser, hub, what)
        wait_for(lambda: words in browser.run("return document.body.innerText + [...document.querySelectorAll('button')].map("
                                              "one => one.ariaLabel).join()"), f"{words} on {name}", 120, 0.2)
        if name.startswith("coverage"):
            wait_for(lambda: browser.run(COVERED), "the matrix", pause=0.1)
        if name.startswith("traffic"):
            wait_for(lambda: browser.run("return document.querySelectorAll('.traffic li').length") > 40, "traffic", 120, 0.2)
        complaints = [entry["message"] for entry in browser.log() if entry["level"] in ("SEVERE", "WARNING")]
        assert not complaints, complaints
        path = os.path.join(directory, f"{name}.png")
        browser.picture(path, height if what == "ask" else tallest)  # a dialog covers what is in view
        subprocess.run(["pngquant", "--force", "--speed", "1", "--strip", "--output", path, "64", path], check=True)
        print(f"{path}: {os.path.getsize(path) // 1000} kB", flush=True)


def play(directory, only, tallest):
    os.makedirs(directory, exist_ok=True)
    register = register_text(METERS)
    with Site(Sqlite().keys, str(NOW), speed=1, scenario="[all]\nseed = 4\nloss = 0.02\nnack = 0.02\n", register=register,
              settings=SETTINGS) as site:
        write_history(site.path("z.db"), METERS, NOW, DAYS)
        site.write("token", TOKEN + "\n")
        with Hub(site, f"Listen=127.0.0.1:{PORT}\nTokenFile={site.path('token')}\nOpenReading=yes\n") as hub:
            os.chmod(site.path("token"), 0o600)
            hub.start()
            site.start_substation()
            site.start()
            wait_for(lambda: hub.ask("GET", "/api/status")[1]["daemon"]["connected"], "the daemon's connection", 60, 0.2)
            wait_for(lambda: len(hub.ask("GET", "/api/meters")[1]["meters"]) == METERS, "the ledger", 60, 0.2)
            for page in PAGES:
                if not only or page[0] in only:
                    take(page, hub, directory, tallest)
            site.signal(signal.SIGTERM)  # while its administrator is there: without one it ends by itself, with another code
            assert site.wait() == 0


if __name__ == "__main__":
    parser = argparse.ArgumentParser(prog="scripts/pictures", description=__doc__)
    parser.add_argument("directory", nargs="?", default=os.path.join(ROOT, "build", "pictures"))
    parser.add_argument("--only", nargs="+", default=[], metavar="NAME", help="not all of them")
    parser.add_argument("--tallest", type=int, default=0, help="cut the pictures at so many pixels")
    options = parser.parse_args()
    sys.exit(play(options.directory, options.only, options.tallest))
