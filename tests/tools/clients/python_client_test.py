#!/usr/bin/env python3
"""The Python client against docs/vectors and against korvelmock over its byte stream.

  python_client_test.py KORVELMOCK [unittest arguments]

The pipe itself is on Windows only: PipeStream is compiled here and not run.
"""
import hashlib
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

import vector_files

CLIENT = vector_files.ROOT / "clients/python"
sys.path.insert(0, str(CLIENT))
import korvel  # noqa: E402

MOCK = None


def service(scene=None, script=None):
    what = ["--scene", scene] if scene else ["--script", script]
    return korvel.Service(lambda: korvel.ProgramStream([MOCK, *what, "--stdio", "--quiet"]))


def decoded(opcode, payload):
    try:
        return korvel.decode_reply(opcode, payload)
    except korvel.Malformed:
        return None


class Vectors(unittest.TestCase):
    def test_every_reply_says_what_the_vectors_say(self):
        for name, opcode, case in vector_files.cases():
            if case["kind"] == "reply":
                with self.subTest(file=name, case=case["name"]):
                    self.assertEqual(decoded(opcode, case["payload"]), case["value"])

    def test_every_changed_byte_is_decoded_as_documented_or_refused(self):
        for name, opcode, case in vector_files.cases():
            if case["kind"] != "reply" or "mutations" not in case:
                continue
            outcomes = hashlib.sha256()
            for at in range(len(case["payload"])):
                for change in (0x01, 0x80, 0xFF):
                    payload = bytearray(case["payload"])
                    payload[at] ^= change
                    value = decoded(opcode, bytes(payload))
                    line = "refused" if value is None else json.dumps(value, separators=(",", ":"))
                    outcomes.update(line.encode() + b"\n")
            with self.subTest(file=name, case=case["name"]):
                self.assertEqual(outcomes.hexdigest(), case["mutations"])

    def test_every_request_is_written_as_the_vectors_have_it(self):
        written = 0
        for name, opcode, case in vector_files.cases():
            if case["kind"] != "request" or case["value"] is None:
                continue
            payload = korvel.encode_request(opcode, case["value"])
            if payload == case["payload"]:
                written += 1
            else:
                # Bytes that no client writes: of a newer one, or another form of the same value.
                with self.subTest(file=name, case=case["name"]):
                    self.assertRegex(case["name"], "appended|ignored|no UTF-8|hour 30|empty argument")
        self.assertGreaterEqual(written, 21)

    def test_every_refusal_text_is_read(self):
        for case in vector_files.refusals():
            value = decoded(case["reply"], bytes.fromhex(case["payload"]))
            self.assertEqual(value["error" if case["reply"] == korvel.REFUSAL else "text"], case["text"])

    def test_headers_are_accepted_and_refused_as_the_vectors_say(self):
        for case in vector_files.frames():
            header = vector_files.bytes_of(case["bytes"])[:24]
            with self.subTest(case["name"]):
                if "error" in case:
                    self.assertRaises(korvel.Malformed, korvel.decode_header, header)
                else:
                    self.assertEqual(korvel.decode_header(header), (case["opcode"], case["length"]))


class CannedStream:
    """Answers every GetProgress with the next of these payloads."""

    def __init__(self, payloads):
        self.payloads, self.output = payloads, b""

    def write(self, data, _):
        self.output += korvel.encode_frame(4, self.payloads.pop(0))

    def read(self, count, _):
        data, self.output = self.output[:count], self.output[count:]
        return data

    def close(self):
        pass


class Manners(unittest.TestCase):
    def follow(self, longest_hold):
        """How often a client connects that follows a scan over four replies."""
        replies = [case["payload"] for _, opcode, case in vector_files.cases()
                   if opcode == 4 and case["kind"] == "reply" and case["value"] and len(case["payload"]) < 1000]
        runs = next(one for one in replies if korvel.decode_reply(4, one)["scanning"])
        over = next(one for one in replies if not korvel.decode_reply(4, one)["scanning"])
        payloads, connections = [runs, runs, runs, over], []

        def connect():
            connections.append(1)
            return CannedStream(payloads)

        with unittest.mock.patch.multiple(korvel, LONGEST_HOLD=longest_hold, PAUSE=0, ASK_EVERY=0):
            self.assertEqual(len(list(korvel.Service(connect).follow())), 4)
        return len(connections)

    def test_following_lets_go_of_the_pipe_when_it_was_held_for_long(self):
        self.assertEqual(self.follow(longest_hold=0), 4)

    def test_following_keeps_the_pipe_for_a_while(self):
        self.assertEqual(self.follow(longest_hold=60), 1)


class Conversation(unittest.TestCase):
    def test_a_scan_is_followed_and_its_threats_stored_and_restored(self):
        with service("found") as client:
            client.start_scan(korvel.CUSTOM, ["C:\\Samples"])
            replies = list(client.follow())
            self.assertEqual([len(reply["events"]) for reply in replies], [1, 0, 0, 0, 0])
            self.assertEqual(korvel.outcome(replies[-1]), "completed")
            threats = client.get_results()
            self.assertEqual([threat["severity"] for threat in threats], [4, 3, 2])
            client.decide(threats[1], korvel.QUARANTINE)
            client.decide(replies[0]["events"][0], korvel.DELETE)
            entries = client.list_quarantine()
            self.assertTrue(korvel.is_stored(entries, threats[1]["path"].upper()))
            client.restore_quarantined(entries[-1]["id"])
            client.delete_quarantined(entries[0]["id"])
            self.assertEqual(client.list_quarantine(), [])

    def test_one_setting_is_changed_and_the_others_stay(self):
        with service("found") as client:
            before = client.get_settings()
            after = client.change_settings(ScheduledHour=7, QuarantineDir="D:\\Карантин")
            self.assertEqual(after, {**before, "ScheduledHour": 7, "QuarantineDir": "D:\\Карантин"})
            self.assertRaises(ValueError, client.change_settings, Nonsense=1)

    def test_every_other_operation_is_answered(self):
        with service("found") as client:
            self.assertEqual(client.ping(), 123456789)
            self.assertEqual(client.get_status()["signatureCount"], 214906)
            client.start_scan()
            client.cancel_scan()
            client.reload_signatures()
            client.start_live_update()
            client.start_update_check()
            self.assertIn("prof,domain,on\n", client.firewall_listing())
            client.set_firewall_profile("public", True)
            client.block_inbound(False)
            client.add_firewall_rule("block", "both", "C:\\Программы\\game.exe")
            with self.assertRaisesRegex(korvel.Refused, "некорректный профиль"):
                client.set_firewall_profile("work", True)
            client.remove_firewall_rules()
            client.stop()

    def test_the_ends_of_a_scan_are_told_apart(self):
        for scene, end in (("failed", "failed"), ("stopped", "stopped"), ("nothing", "nothing_examined")):
            with service(scene) as client:
                client.start_scan()
                self.assertEqual(korvel.outcome(list(client.follow())[-1]), end)
        with service("found") as client:
            client.start_scan()
            client.get_progress()
            client.get_progress()
            client.cancel_scan()
            self.assertEqual(korvel.outcome(client.get_progress(), cancelled_by_me=True), "cancelled")

    def test_ten_thousand_results_are_read(self):
        with service("scan") as client:
            client.start_scan()
            while client.get_progress()["scanning"]:
                pass
            self.assertEqual(client.get_results()[-1]["name"], "Win.Sample.10000")

    def test_a_refusal_has_the_services_text_and_the_connection_stays(self):
        with service("refusals") as client:
            self.assertRaisesRegex(korvel.Refused, "^malformed StartScan payload$", client.start_scan)
            self.assertRaisesRegex(korvel.Refused, "^service is stopping$", client.start_scan)
            self.assertEqual(client.ping(), 123456789)

    def test_broken_connections_and_wrong_answers_are_told(self):
        with service("dropped") as client:
            self.assertRaisesRegex(korvel.BrokenExchange, "has ended", client.get_status)
        with service("version2") as client:
            self.assertRaisesRegex(korvel.BrokenExchange, "version 2", client.ping)
        with service("garbage") as client:
            self.assertRaisesRegex(korvel.BrokenExchange, "bad magic", client.ping)
        for answer, said in (({"payload": "ff*3"}, "not understood"), ({"opcode": 77}, "a reply to request 77"),
                             ({"opcode": 0xFFFFFFFF, "payload": "ffffffff78"}, "is none"),
                             ({"length": 33554433}, "33554433 bytes"), ({"hangUp": True, "bytes": ""}, "has ended")):
            with tempfile.NamedTemporaryFile("w", suffix=".json") as script:
                json.dump({"answers": [{"to": "any", **answer}]}, script)
                script.flush()
                with service(script=script.name) as client:
                    self.assertRaisesRegex(korvel.BrokenExchange, said, client.ping)

    def test_a_late_reply_is_not_waited_for(self):
        with service("silent") as client:
            self.assertRaisesRegex(korvel.BrokenExchange, "in time", client.ask, 2, b"", 0.2)

    def test_more_than_is_known_is_passed_over(self):
        with service("newer") as client:
            self.assertEqual(client.get_status()["serviceVersion"], "9.0.0")
            self.assertEqual(client.get_progress()["progress"]["phase"], "polishing")
            client.start_scan()
            list(client.follow())
            self.assertEqual(korvel.severity_name(client.get_results()[0]["severity"]), "unknown (7)")
        with service("older") as client:
            self.assertRaisesRegex(korvel.Refused, "unsupported opcode 14", client.start_live_update)

    def test_the_pipe_is_on_windows_only(self):
        self.assertRaises(korvel.Unreachable, korvel.Service().ping)


class Example(unittest.TestCase):
    def run_example(self, scene):
        return subprocess.run(
            [sys.executable, CLIENT / "scan_and_quarantine.py", "C:\\Samples", MOCK, "--scene", scene, "--stdio", "--quiet"],
            capture_output=True, text=True, check=False)

    def test_stores_what_is_dangerous(self):
        done = self.run_example("found")
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertIn("the scan is completed", done.stdout)
        self.assertIn("stored: C:\\Samples\\Загрузки\\счёт №7.pdf.exe", done.stdout)
        self.assertIn("3 files are in the quarantine", done.stdout)

    def test_says_why_nothing_was_done(self):
        self.assertEqual(self.run_example("nothing").returncode, 2)
        refused = self.run_example("refusals")
        self.assertEqual((refused.returncode, refused.stderr), (2, "Refused: malformed StartScan payload\n"))


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    MOCK = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
