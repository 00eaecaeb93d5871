"""The hub's interface beside a real daemon: its answers against its own description, its events, and who may ask over TCP."""

import http.client
import json
import os
import re
import socket
import unittest

from rig.hub import Hub
from rig.process import wait_for, write_file
from rig.sqlite import Sqlite
from rig.substation import NODE, SETTINGS, Site

TOKEN = "0123456789abcdef"
TIME = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?(Z|[+-]\d\d:\d\d)")
KINDS = {"object": dict, "array": list, "string": str, "boolean": bool, "integer": int, "number": (int, float)}


class Description:
    def __init__(self, document):
        self.document = document

    def at(self, node):
        if "$ref" not in node:
            return node
        found = self.document
        for name in node["$ref"].split("/")[1:]:
            found = found[name]
        return found

    def mismatches(self, value, schema, where):
        """In what `value` is not what the schema says, or has what it does not name."""
        schema = self.at(schema)
        if value is None and schema.get("nullable"):
            return []
        if "oneOf" in schema:
            tried = [self.mismatches(value, each, where) for each in schema["oneOf"]]
            return min(tried, key=len)
        kind = schema["type"]
        if not isinstance(value, KINDS[kind]) or (isinstance(value, bool) and kind != "boolean"):
            return [f"{where} is {value!r}, no {kind}"]
        found = []
        if schema.get("format") == "date-time" and not TIME.fullmatch(value):
            found.append(f"{where} is {value!r}, no time with a zone")
        if value not in schema.get("enum", [value]):
            found.append(f"{where} is {value!r}, none of {schema['enum']}")
        if kind == "array":
            if not schema.get("minItems", 0) <= len(value) <= schema.get("maxItems", len(value)):
                found.append(f"{where} has {len(value)} entries")
            for each in value:
                found += self.mismatches(each, schema["items"], where + "[]")
        if kind == "object" and "additionalProperties" in schema:
            for name, each in value.items():
                found += self.mismatches(each, schema["additionalProperties"], f"{where}.{name}")
        if kind == "object" and "properties" in schema:
            found += [f"{where} lacks {name}" for name in schema.get("required", []) if name not in value]
            for name, each in value.items():
                found += (self.mismatches(each, schema["properties"][name], f"{where}.{name}") if name in schema["properties"]
                          else [f"{where} has {name}, which is not described"])
        return found


class Interface(unittest.TestCase):
    def setUp(self):
        settings = SETTINGS.replace("[Main]", "[Field]\nRemedies=all\nPacing=answers\n[Main]\nTimeOfQuery=never")
        self.site = self.enterContext(Site(Sqlite().keys, start="2014-03-04 08:20:00", speed=40, settings=settings,
                                           scenario=f"[all]\nseed = 3\n[node {NODE % 8}]\nsilent = yes\n"))
        self.site.start_substation()
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        token = write_file(self.site.directory, "token", TOKEN + "\n")
        os.chmod(token, 0o640)
        self.hub = self.enterContext(Hub(self.site, f"Listen=127.0.0.1:{self.port}\nTokenFile={token}\n")).start()
        self.site.start()
        self.hub.wait_for_log("The daemon probe is connected")

    def over_tcp(self, method, path, headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=20)
        connection.request(method, path, headers=headers)
        answer = connection.getresponse()
        answer.read()
        connection.close()
        return answer.status

    def follow(self, headers=""):
        stream = socket.socket(socket.AF_UNIX)
        stream.settimeout(60)
        self.enterContext(stream)
        stream.connect(self.hub.socket_path)
        stream.sendall(f"GET /api/events?kinds=sweep,command HTTP/1.0\r\nHost: a\r\n{headers}\r\n".encode())
        return self.enterContext(stream.makefile("r", encoding="utf-8", newline="\n"))

    @staticmethod
    def next_event(lines):
        fields = {}
        while line := lines.readline().rstrip("\n"):
            name, _, value = line.partition(": ")
            fields[name] = value
        return (fields["id"], fields["event"], json.loads(fields["data"])) if "id" in fields else Interface.next_event(lines)

    def test_answers_and_events(self):
        live = self.follow()
        self.assertEqual(self.hub.ask("POST", "/api/commands/Need_query")[0], 202)
        command = self.next_event(live)
        self.assertEqual(command[1:], ("command", command[2] | {"command": "Need_query", "outcome": "sent", "controller": "probe"}))
        sweep = self.next_event(live)
        self.assertEqual(sweep[1], "sweep")
        self.assertEqual(self.next_event(self.follow(f"Last-Event-ID: {command[0]}\r\n")), sweep)
        wait_for(lambda: self.hub.ask("GET", "/api/status")[1]["lastSweep"], "the sweep in the ledger")
        reads = lambda: [meter["globalId"] for meter in self.hub.ask("GET", "/api/meters")[1]["meters"] if meter["lastReading"]]
        wait_for(reads, "a reading in the ledger", 60)

        description = Description(self.hub.ask("GET", "/api/openapi.json")[1])
        paths = description.document["paths"]
        asked = {path: path for path in paths if "get" in paths[path] and path not in ("/api/events", "/metrics")}
        asked["/api/readings"] += f"?meter={reads()[0]}"
        asked["/api/clocks"] += f"?meter={reads()[0]}"
        for path, target in list(asked.items()) + [("/api/clocks", "/api/clocks"), ("/api/sweeps", "/api/sweeps?from=2014-03-04&to=2014-03-04")]:
            with self.subTest(target):
                status, said = self.hub.ask("GET", target)
                self.assertEqual(status, 200, said)
                schema = paths[path]["get"]["responses"]["200"]["content"]["application/json"]["schema"]
                self.assertEqual(description.mismatches(said, schema, path), [])
        for target, status in (("/api/readings?meter=123456", 404), ("/api/readings", 400), ("/api/status?controller=x", 404)):
            self.assertEqual(self.hub.ask("GET", target)[0], status, target)
        reply = paths["/api/commands/{name}"]["post"]["responses"]["200"]["content"]["application/json"]["schema"]
        self.assertEqual(description.mismatches(self.hub.ask("POST", "/api/commands/Get_ZDevices")[1], reply, "reply"), [])

    def test_over_tcp(self):
        right = {"Authorization": "Bearer " + TOKEN}
        for method, path, headers, status in (
                ("GET", "/api/status", {}, 401), ("GET", "/api/status", {"Authorization": "Bearer x"}, 401),
                ("GET", "/api/status", right, 200), ("POST", "/api/commands/About", {}, 401), ("POST", "/api/commands/About", right, 200),
                ("POST", "/api/commands/About", right | {"Origin": "http://evil.example"}, 403),
                ("GET", "/api/status", right | {"Host": "evil.example"}, 403), ("GET", "/", {}, 200), ("PUT", "/", right, 405)):
            with self.subTest(method + path, headers=headers):
                self.assertEqual(self.over_tcp(method, path, headers), status)


if __name__ == "__main__":
    unittest.main(verbosity=2)
