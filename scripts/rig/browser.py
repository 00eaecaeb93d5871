"""Debian's Chromium without a screen, driven by WebDriver over the standard library."""

import base64
import contextlib
import json
import os
import subprocess
import tempfile
import urllib.error
import urllib.request

from rig.process import wait_for

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the key under which the protocol hands out elements
KEYS = {"Enter": "\ue007", "Tab": "\ue004", "Right": "\ue014", "Left": "\ue012", "Up": "\ue013", "Down": "\ue015"}


class BrowserError(Exception):
    """What the driver said."""


class Browser:
    """One window. `languages` are what it tells a page that its reader reads; `dark` what the system's theme is."""

    def __init__(self, languages="en", dark=False, width=1280, height=900):
        self.stack = contextlib.ExitStack()
        home = self.stack.enter_context(tempfile.TemporaryDirectory(prefix="ravelin-browser-", ignore_cleanup_errors=True))
        self.downloads = os.path.join(home, "downloads")
        log = self.stack.enter_context(open(os.path.join(home, "driver"), "w+", encoding="utf-8"))
        self.driver = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", "chromedriver", "--port=0"], stdout=log,
                                       stderr=subprocess.STDOUT, cwd=home, env=dict(os.environ, HOME=home, TMPDIR=home))
        self.stack.callback(self.end)
        self.base, self.session = "", None

        def port():
            log.seek(0)
            return next((line.split(" on port ")[1].strip(" .\n") for line in log if "successfully on port" in line), None)

        self.base = f"http://127.0.0.1:{wait_for(port, 'the driver of the browser', 30)}"
        options = ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars", "--force-device-scale-factor=1",
                   f"--lang={languages.split(',')[0]}", f"--accept-lang={languages}", f"--user-data-dir={home}/profile",
                   "--disable-background-networking", "--no-first-run"]
        if os.geteuid() == 0:
            options.append("--no-sandbox")  # which root cannot have
        if dark:
            options.append("--blink-settings=preferredColorScheme=0")
        found = self.call("POST", "/session", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": {"args": options, "prefs": {"download.default_directory": self.downloads,
                                                              "intl.accept_languages": languages}},
            "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}}})
        self.session = "/session/" + found["sessionId"]
        self.resize(width, height)

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=60) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            value = json.load(error)["value"]
            raise BrowserError(f"{value['error']}: {value['message']}") from None

    def ask(self, method, path, body=None):
        return self.call(method, self.session + path, body)

    def open(self, url):
        self.ask("POST", "/url", {"url": url})

    def run(self, script, *arguments):
        """The value of `script`, the body of a function; it may return a promise."""
        return self.ask("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def devtools(self, command, **parameters):
        return self.ask("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def resize(self, width, height, mobile=False):
        """Of the page itself, without the window around it."""
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=mobile)

    def find(self, selector):
        """An element that the page has, or will have soon."""
        def look():
            found = self.ask("POST", "/elements", {"using": "css selector", "value": selector})
            return found[0][ELEMENT] if found else None
        return wait_for(look, f"{selector} in the page", pause=0.05)

    def click(self, selector):
        self.ask("POST", f"/element/{self.find(selector)}/click", {})

    def type(self, selector, text):
        self.ask("POST", f"/element/{self.find(selector)}/value", {"text": KEYS.get(text, text)})

    def text(self, selector="body"):
        return self.run("return document.querySelector(arguments[0])?.innerText ?? ''", selector)

    def wait_for_text(self, text, selector="body", timeout=20):
        def look():
            return text in self.text(selector)
        try:
            wait_for(look, text, timeout, 0.05)
        except AssertionError:
            raise AssertionError(f"{text!r} does not appear, but: {self.text(selector)}") from None

    def controls(self):
        """[(role, name)] of what can have the focus, as a screen reader has them."""
        def value(node, key):
            return node.get(key, {}).get("value", "")
        nodes = self.devtools("Accessibility.getFullAXTree")["nodes"]
        return [(value(node, "role"), value(node, "name")) for node in nodes
                if not node["ignored"] and value(node, "role") != "RootWebArea"
                and any(one["name"] == "focusable" and one["value"]["value"] for one in node.get("properties", []))]

    def log(self, kind="browser"):
        """What came since this was asked last."""
        return self.ask("POST", "/se/log", {"type": kind})

    def picture(self, path, tallest=0):
        """Of the whole page, or of as much as so many pixels hold."""
        size = self.devtools("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"x": 0, "y": 0, "width": size["width"], "height": min(size["height"], tallest or size["height"]), "scale": 1}
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.devtools("Page.captureScreenshot", format="png", captureBeyondViewport=True, clip=clip)["data"]))

    def end(self):
        self.driver.terminate()
        try:
            self.driver.wait(10)
        except subprocess.TimeoutExpired:
            self.driver.kill()
            self.driver.wait()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with self.stack:  # which ends the driver, whatever the browser says
            self.call("DELETE", self.session)
