#!/usr/bin/env python3
"""The C# client, compiled and run by Debian's Mono: against docs/vectors, and against korvelmock over its byte stream.

  csharp_client_test.py KORVELMOCK [unittest arguments]

KorvelPipe.Open is compiled here and not run: Mono has no named pipes outside Windows.
"""
import base64
import hashlib
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import vector_files

HERE = pathlib.Path(__file__).resolve().parent
CLIENT = vector_files.ROOT / "clients/csharp"
LARGEST, MOST_MUTATED = 100_000, 300  # bytes of a payload; more takes long and shows nothing new
MOCK = None


def compiled(folder, name, *sources):
    program = pathlib.Path(folder) / name
    subprocess.run(["mcs", "-langversion:7", "-warnaserror", "-r:System.Core", f"-out:{program}", *sources], check=True)
    return program


def word(value):
    """A field as the program reads it."""
    if isinstance(value, str):
        return "=" + base64.b64encode(value.encode()).decode()
    return str(value)


class Vectors(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.program = compiled(cls.folder.name, "vectors.exe", CLIENT / "KorvelClient.cs", HERE / "VectorConversation.cs")

    def answers(self, lines):
        done = subprocess.run(["mono", self.program], input="\n".join(lines) + "\n", capture_output=True, text=True, check=True)
        answers = done.stdout.splitlines()
        self.assertEqual(len(answers), len(lines))
        return answers

    @staticmethod
    def shown(opcode, value):
        """What the client shows of a value: changes of the firewall and starts of updates have no value of their own."""
        if value is None:
            return None
        if opcode in (17, 18, 19, 20):
            return {} if value["ok"] else {"error": value["text"]}
        return {} if opcode in (14, 15) else value

    def replies(self):
        return [(name, opcode, case) for name, opcode, case in vector_files.cases()
                if case["kind"] == "reply" and opcode != 12 and len(case["payload"]) <= LARGEST
                # The number in the reply to 14 and 15 says nothing, so the client does not read it.
                and not (opcode in (14, 15) and case["value"] is None)]

    def test_every_reply_says_what_the_vectors_say(self):
        cases = self.replies()
        answers = self.answers([f"reply {opcode} {opcode} {case['payload'].hex()}" for _, opcode, case in cases])
        for (name, opcode, case), answer in zip(cases, answers):
            with self.subTest(file=name, case=case["name"]):
                self.assertEqual(None if answer == "refused" else json.loads(answer), self.shown(opcode, case["value"]))

    def test_every_changed_byte_is_decoded_as_documented_or_refused(self):
        cases = [one for one in self.replies() if "mutations" in one[2] and len(one[2]["payload"]) <= MOST_MUTATED
                 and one[1] in (1, 2, 4, 6, 8, 11, 16)]
        lines = []
        for _, opcode, case in cases:
            for at in range(len(case["payload"])):
                for change in (0x01, 0x80, 0xFF):
                    payload = bytearray(case["payload"])
                    payload[at] ^= change
                    lines.append(f"reply {opcode} {opcode} {payload.hex()}")
        answers = iter(self.answers(lines))
        for name, _, case in cases:
            outcomes = hashlib.sha256()
            for _ in range(3 * len(case["payload"])):
                line = next(answers)
                if line != "refused":
                    line = json.dumps(json.loads(line), separators=(",", ":"))
                outcomes.update(line.encode() + b"\n")
            with self.subTest(file=name, case=case["name"]):
                self.assertEqual(outcomes.hexdigest(), case["mutations"])

    def test_every_refusal_text_is_read(self):
        cases = [case for case in vector_files.refusals() if case["request"] not in (0, 12, 22)]
        answers = self.answers([f"reply {case['request']} {case['reply']} {case['payload']}" for case in cases])
        for case, answer in zip(cases, answers):
            self.assertEqual(json.loads(answer), {"error": case["text"]})

    def fields(self, opcode, value):
        if opcode == 3:
            return [value["scope"], *value["targets"]]
        if opcode == 17:
            profile, _, on = value["argument"].partition(",")
            return [profile, int(on)]
        if opcode == 18:
            return [int(value["argument"])]
        if opcode == 19:
            return value["argument"].split("|", 2)
        return value.values()

    def test_every_request_is_written_as_the_vectors_have_it(self):
        cases = [(name, opcode, case) for name, opcode, case in vector_files.cases()
                 if case["kind"] == "request" and case["value"] is not None and len(case["payload"]) <= LARGEST
                 and opcode != 20 and not any(odd in case["name"] for odd in (
                     "appended", "ignored", "no UTF-8", "hour 30", "empty argument"))]
        # Arguments of the firewall that the client never sends.
        cases = [one for one in cases if one[1] not in (17, 18, 19) or self.is_argument(one[1], one[2]["value"]["argument"])]
        self.assertGreaterEqual(len({opcode for _, opcode, _ in cases}), 20)
        answers = self.answers([" ".join(["request", str(opcode), *map(word, self.fields(opcode, case["value"]))])
                                for _, opcode, case in cases])
        for (name, _, case), answer in zip(cases, answers):
            with self.subTest(file=name, case=case["name"]):
                self.assertEqual(answer, case["payload"].hex())

    @staticmethod
    def is_argument(opcode, argument):
        if opcode == 17:
            return argument.endswith((",0", ",1"))
        return argument in ("0", "1") if opcode == 18 else argument.count("|") >= 2


class Example(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.program = compiled(cls.folder.name, "example.exe", CLIENT / "KorvelClient.cs", CLIENT / "ScanAndQuarantine.cs")

    def run_example(self, scene):
        return subprocess.run(["mono", self.program, "C:\\Samples", MOCK, "--scene", scene, "--stdio", "--quiet"],
                              capture_output=True, text=True, check=False)

    def test_stores_what_is_dangerous(self):
        done = self.run_example("found")
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertIn("the scan is Completed", done.stdout)
        self.assertIn("stored: C:\\Samples\\Загрузки\\счёт №7.pdf.exe", done.stdout)
        self.assertIn("3 files are in the quarantine", done.stdout)

    def test_says_why_nothing_was_done(self):
        for scene, said in (("refusals", "KorvelRefusedException: malformed StartScan payload"),
                            ("version2", "KorvelBrokenExchangeException: the reply to request 3 is none: version 2"),
                            ("garbage", "KorvelBrokenExchangeException: the reply to request 3 is none: bad magic")):
            done = self.run_example(scene)
            self.assertEqual(done.returncode, 2)
            self.assertIn(said, done.stderr)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    MOCK = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
