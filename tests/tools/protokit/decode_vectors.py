#!/usr/bin/env python3
"""Reads docs/vectors with a decoder of its own, written from docs/protocol.md and from nothing else.

Every case must say here what the file says, every changed byte must have the same outcome (the digest "mutations"), the
examples of docs/protocol.md must be cases of the vectors, and every refusal text of the sources must be in refusals.json.
Prints every difference and exits 1, or one line and 0.
"""
import hashlib
import json
import pathlib
import re
import struct
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "clients"))
from vector_files import bytes_of, expanded  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[3]
VECTORS = ROOT / "docs/vectors"
MAGIC, VERSION, LARGEST, ERROR = b"LVRK", 1, 33_554_432, 0xFFFFFFFF


class Malformed(Exception):
    pass


class Reader:
    def __init__(self, payload):
        self.payload, self.at = payload, 0

    def take(self, count):
        if count > len(self.payload) - self.at:
            raise Malformed
        self.at += count
        return self.payload[self.at - count : self.at]

    def u32(self):
        return struct.unpack("<I", self.take(4))[0]

    def u64(self):
        return struct.unpack("<Q", self.take(8))[0]

    def bool(self):
        return self.u32() != 0

    def string(self):
        return self.take(self.u32()).decode("utf-8", "replace")

    def list(self, fields):
        return [self.record(fields) for _ in range(self.u32())]

    def strings(self):
        return [self.string() for _ in range(self.u32())]

    def record(self, fields):
        return {name: read(self) for name, read in fields}


def fields(text):
    """"u64 id, string name" as a list of names and readers."""
    return [(name, getattr(Reader, kind)) for kind, name in (field.split() for field in text.split(", "))]


def list_of(text):
    return lambda reader: reader.list(fields(text))


EVENT = "string path, string name, string code, u32 severity, u64 size"
REASON = "u32 severity, string code, string title, string detail"
STATUS = fields(
    "string serviceVersion, u64 signatureCount, string signatureVersion, bool protectionEnabled, bool realTimeActive, "
    "bool minifilterConnected, bool scanRunning, bool updateCheckRunning, string updateCheckError, "
    "u64 minifilterHandled, bool liveUpdateRunning, string updateCheckInstaller"
)
COUNTS = fields("u64 filesDone, u64 filesTotal, u64 bytesDone, u64 bytesTotal, string currentPath, string phase")
SUMMARY = fields("u64 filesScanned, u64 threats, u64 suspicious, u64 bytesScanned, u64 elapsedMs, bool cancelled")
PROGRESS = [
    ("progress", lambda reader: reader.record(COUNTS)),
    ("scanning", Reader.bool),
    ("lastSummary", lambda reader: reader.record(SUMMARY)),
    ("events", list_of(EVENT)),
]
THREAT = [*fields(EVENT), ("sha256", Reader.string), ("reasons", list_of(REASON)), ("labels", Reader.strings)]
ENTRY = (
    "u64 id, string originalPath, string storedPath, string threat, string code, u32 severity, u64 size, u64 time, "
    "bool storedFileExists"
)
SETTINGS = fields(
    "bool ProtectionEnabled, bool RealTimeEnabled, bool ScanArchives, bool ScanRemovable, bool ShowThreatModal, "
    "bool QuarantineOnDetect, bool ScheduledScan, u32 ScheduledHour, u64 LastScanUtc, u64 LastThreatCount, "
    "string SignatureDb, string QuarantineDir, bool LiveUpdates, u64 LastLiveUpdateUtc, bool WebShield"
)


def settings(reader):
    value = reader.record(SETTINGS)
    value["ScheduledHour"] %= 24
    return value


def set_config(reader):
    value = settings(reader)
    if any(c in value[name] for name in ("SignatureDb", "QuarantineDir") for c in "\n\0"):
        raise Malformed
    return value


def start_scan(reader):
    scope, count = reader.u32(), reader.u32()
    if count > 100_000:
        raise Malformed
    return {"scope": scope, "targets": [reader.string() for _ in range(count)]}


def argument(reader):
    return {"argument": reader.string() if reader.payload else ""}


def error(reader):
    return {"error": reader.string() if reader.payload else ""}


def record(text):
    return lambda reader: reader.record(fields(text))


REQUESTS = {
    3: start_scan,
    7: record("string path, u32 action, string name, string code, u32 severity, u64 size, string sha256"),
    9: record("u64 id"),
    10: record("u64 id"),
    12: set_config,
    **dict.fromkeys((17, 18, 19, 20), argument),
}
REPLIES = {
    1: lambda reader: reader.record(STATUS),
    2: record("u32 tickCount"),
    4: lambda reader: reader.record(PROGRESS),
    6: lambda reader: {"threats": reader.list(THREAT)},
    8: lambda reader: {"entries": reader.list(fields(ENTRY))},
    11: settings,
    14: record("u32 started"),
    15: record("u32 started"),
    16: lambda reader: {"listing": reader.payload.decode("utf-8", "replace")},
    **dict.fromkeys((17, 18, 19, 20), record("bool ok, string text")),
    ERROR: error,
}


def decoded(kind, opcode, payload):
    """What a payload says, or None."""
    decode = (REQUESTS if kind == "request" else REPLIES).get(opcode, lambda reader: {})
    try:
        return decode(Reader(payload))
    except Malformed:
        return None


def frame_error(data):
    """The text for a frame that ends the connection, or None, from its header."""
    magic, version, _, length = struct.unpack_from("<4sIII", data)
    if magic != MAGIC:
        return "bad magic"
    if version != VERSION:
        return "unsupported protocol version"
    return "declared payload too large" if length > LARGEST else None


def mutations(kind, opcode, payload):
    outcomes = hashlib.sha256()
    for at in range(len(payload)):
        for change in (0x01, 0x80, 0xFF):
            changed = bytearray(payload)
            changed[at] ^= change
            value = decoded(kind, opcode, bytes(changed))
            line = "refused" if value is None else json.dumps(value, separators=(",", ":"))
            outcomes.update(line.encode() + b"\n")
    return outcomes.hexdigest()


def check_operation(path):
    vectors = json.loads(path.read_text(encoding="utf-8"))
    for case in vectors["cases"]:
        payload = bytes_of(case["payload"])
        opcode, kind = vectors["opcode"], case["kind"]
        if decoded(kind, opcode, payload) != expanded(case["value"]):
            yield f"{path.name}: {case['name']}: says something else here"
        if "mutations" in case and mutations(kind, opcode, payload) != case["mutations"]:
            yield f"{path.name}: {case['name']}: a changed byte has another outcome here"


def check_frames():
    for case in json.loads((VECTORS / "frames.json").read_text(encoding="utf-8"))["frames"]:
        data = bytes_of(case["bytes"])
        if frame_error(data) != case.get("error"):
            yield f"frames.json: {case['name']}: ends otherwise here"
        elif "error" not in case:
            opcode, length = struct.unpack_from("<II", data, 8)
            if (opcode, length) != (case["opcode"], case["length"]) or len(data) != 24 + length:
                yield f"frames.json: {case['name']}: another opcode or length"


def check_refusals():
    for case in json.loads((VECTORS / "refusals.json").read_text(encoding="utf-8"))["refusals"]:
        value = decoded("reply", case["reply"], bytes_of(case["payload"]))
        wanted = {"error": case["text"]} if case["reply"] == ERROR else {"ok": False, "text": case["text"]}
        if value != wanted:
            yield f"refusals.json: {case['text']}: says something else here"


REFUSING = [
    "src/server/request_dispatcher.cpp",
    "src/engine/busy_job.cpp",
    "src/engine/scan_job.cpp",
    "src/engine/signature_loader.cpp",
    "src/remedy/quarantine_store.cpp",
    "src/fw/firewall_changes.cpp",
    "src/fw/firewall_request.cpp",
    "src/signatures/signature_database.cpp",
]
REFUSAL = re.compile(r'(?:fail|failWith)\((?:error|&error), "([^"]+)"')


def check_refusal_texts():
    """Every text that the sources refuse with begins a text of refusals.json and stands in the document."""
    known = [
        case["text"] for case in json.loads((VECTORS / "refusals.json").read_text(encoding="utf-8"))["refusals"]
    ]
    page = (ROOT / "docs/protocol.md").read_text(encoding="utf-8")
    for name in REFUSING:
        for text in REFUSAL.findall((ROOT / name).read_text(encoding="utf-8")):
            if not any(other.startswith(text) for other in known):
                yield f'{name}: "{text}" is not in refusals.json'
            if text.strip() not in page:
                yield f'{name}: "{text}" is not in docs/protocol.md'


EXAMPLE = re.compile(r"```hex (\S+) (request|reply)\n(.*?)```", re.DOTALL)


def check_document():
    """The bytes of each example are a frame of the first decodable case of that operation."""
    page = (ROOT / "docs/protocol.md").read_text(encoding="utf-8")
    shown = set()
    for name, kind, body in EXAMPLE.findall(page):
        data = b"".join(bytes.fromhex(line.split("  ")[0]) for line in body.splitlines() if line.strip())
        vectors = json.loads((VECTORS / f"{name}.json").read_text(encoding="utf-8"))
        frames = [
            struct.pack("<4sIIIQ", MAGIC, VERSION, vectors["opcode"], len(payload), 0) + payload
            for payload in (bytes_of(case["payload"]) for case in vectors["cases"] if case["kind"] == kind)
        ]
        shown.add((vectors["opcode"], kind))
        if data not in frames:
            yield f"docs/protocol.md: the example {name} {kind} is no case of the vectors"
    for opcode in range(1, 22):
        for kind in ("request", "reply"):
            if (opcode, kind) not in shown:
                yield f"docs/protocol.md: has no example of the {kind} of {opcode}"


def main():
    files = sorted(VECTORS.glob("[0-9]*.json"))
    problems = [problem for path in files for problem in check_operation(path)]
    problems += [*check_frames(), *check_refusals(), *check_refusal_texts(), *check_document()]
    if len(files) != 21:
        problems.append(f"{len(files)} files of operations, not 21")
    for problem in problems:
        print(problem)
    if not problems:
        print("21 operations, frames, refusals and the examples of the document: read alike")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
