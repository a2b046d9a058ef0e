#!/usr/bin/python3
"""korvelmock and docs/korvelmock.schema.json agree on what a script is, and the example of docs/protocol.md does what the page
says.

  scripts_test.py KORVELMOCK [unittest arguments]

Debian's interpreter, since it needs Debian's jsonschema.
"""
import json
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[3]
SCENES = sorted((ROOT / "tools/korvelmock/scenes").glob("*.json"))
SCHEMA = json.loads((ROOT / "docs/korvelmock.schema.json").read_text(encoding="utf-8"))
MOCK = None

EVERYTHING = {
    "$schema": "x", "about": "every member", "absentMs": 0, "busyMs": 0,
    "machine": {
        "status": {"serviceVersion": "1"}, "settings": {"ScheduledHour": 3}, "quarantine": [{"id": 1}],
        "events": {"times": 2, "each": {"path": "C:\\{n}"}}, "firewall": "", "lastOperation": 21, "tickCount": 1,
        "time": 1, "scanRunning": True,
        "scan": {"replies": 1, "files": 1, "bytes": 1, "elapsedMs": 1, "suspicious": 1, "end": "stopped", "threats": []},
        "liveUpdate": {"replies": 1, "running": True, "succeeds": False}, "updateCheck": {},
    },
    "answers": [
        {"to": "any", "skip": 1, "times": 1, "payload": "00 FF*3", "append": ["01", "02*2"], "opcode": 1, "version": 1,
         "length": 1, "cut": 1, "hangUp": True, "delayMs": 1, "pieceBytes": 1, "pieceMs": 1},
        {"to": ["Ping", 2], "reply": {"tickCount": 1}}, {"to": 77, "refuse": ""}, {"to": "Ping", "bytes": ""},
        {"to": "Ping", "silent": True},
    ],
}
WRONG = [
    [], {"busy": 1}, {"busyMs": -1}, {"busyMs": 4294967296}, {"busyMs": "1"}, {"about": 1}, {"machine": 1},
    {"machine": {"scan": {"end": "soon"}}}, {"machine": {"scan": {"speed": 1}}}, {"machine": {"lastOperation": 0}},
    {"machine": {"liveUpdate": {"running": 1}}}, {"machine": {"events": {"times": 1}}},
    {"machine": {"events": {"times": 1000001, "each": {}}}}, {"machine": {"status": []}}, {"answers": {}},
    {"answers": [{}]}, {"answers": [{"to": []}]}, {"answers": [{"to": "Pong"}]}, {"answers": [{"to": "Ping", "cut": 1.5}]},
    {"answers": [{"to": "Ping", "bytes": "0g"}]}, {"answers": [{"to": "Ping", "bytes": "012"}]},
    {"answers": [{"to": "Ping", "bytes": "00*x"}]}, {"answers": [{"to": "Ping", "reply": 1}]},
    {"answers": [{"to": "Ping", "refuse": 1}]}, {"answers": [{"to": "Ping", "says": 1}]},
]


def run(script, *arguments, given=b""):
    with tempfile.NamedTemporaryFile("w", suffix=".json", encoding="utf-8") as file:
        file.write(script if isinstance(script, str) else json.dumps(script))
        file.flush()
        return subprocess.run([MOCK, "--script", file.name, *arguments], input=given, capture_output=True, check=False)


class Scripts(unittest.TestCase):
    def accepted(self, script):
        return jsonschema.Draft202012Validator(SCHEMA).is_valid(script)

    def test_the_schema_is_one(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_every_scene_is_a_script(self):
        self.assertEqual(len(SCENES), 16)
        for scene in SCENES:
            jsonschema.validate(json.loads(scene.read_text(encoding="utf-8")), SCHEMA)

    def test_every_scene_is_built_in(self):
        listed = subprocess.run([MOCK, "--scenes"], capture_output=True, text=True, check=True).stdout
        self.assertEqual([line.split()[0] for line in listed.splitlines()], [scene.stem for scene in SCENES])

    def test_every_member_is_known_to_both(self):
        jsonschema.validate(EVERYTHING, SCHEMA)
        done = run(EVERYTHING, "--check")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        for place, members in ((EVERYTHING, SCHEMA["properties"]), *(
                (EVERYTHING["machine"] if name == "machine" else EVERYTHING["machine"][member], SCHEMA["$defs"][name]["properties"])
                for name, member in (("machine", ""), ("scan", "scan"), ("job", "liveUpdate")))):
            self.assertEqual(set(place), set(members))
        self.assertEqual({name for rule in EVERYTHING["answers"] for name in rule}, set(SCHEMA["$defs"]["rule"]["properties"]))

    def test_both_refuse_what_is_wrong(self):
        for script in WRONG:
            with self.subTest(script):
                self.assertFalse(self.accepted(script))
                done = run(script, "--check")
                self.assertEqual(done.returncode, 2)
                self.assertTrue(done.stderr.startswith(b"korvelmock: script"), done.stderr)

    def test_the_example_of_the_page_does_what_it_says(self):
        page = (ROOT / "docs/protocol.md").read_text(encoding="utf-8")
        script = re.search(r"```json\n(.*?)```", page, re.DOTALL).group(1)
        jsonschema.validate(json.loads(script), SCHEMA)
        get_status = struct.pack("<4sIIIQ", b"LVRK", 1, 1, 0, 0)
        done = run(script, "--stdio", given=get_status * 4)
        length = struct.unpack_from("<I", done.stdout, 12)[0]
        self.assertEqual(done.stderr.decode().splitlines(), [
            f"GetStatus, 0 bytes: reply, {length} bytes", "GetStatus, 0 bytes: refusal, 11 bytes",
            f"GetStatus, 0 bytes: reply, {length} bytes, cut after 30"])
        self.assertEqual(len(done.stdout), 24 + length + 24 + 11 + 30)

    def test_the_page_names_every_scene(self):
        page = (ROOT / "docs/protocol.md").read_text(encoding="utf-8")
        for scene in SCENES:
            self.assertIn(f"`{scene.stem}`", page)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    MOCK = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
