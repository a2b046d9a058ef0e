"""A client of the KORVEL protection service, for Python 3.9 and later. One file, standard library only.

    with Service() as service:
        print(service.get_status()["serviceVersion"])

Records are dicts with the names of docs/protocol.md. Errors: Refused has the service's own text; Unreachable when no
connection comes about; BrokenExchange when a connection ends, a reply is late or is none; nobody then knows whether the
request was carried out. An object is for one thread.

Without arguments a Service uses the service's pipe, which only Windows has. Elsewhere, and in tests, give it a function that
returns another stream: Service(lambda: ProgramStream(["korvelmock", "--scene", "found", "--stdio"])).
"""
import ntpath
import os
import select
import struct
import subprocess
import sys
import time

PIPE = r"\\.\pipe\KorvelAV"
MAGIC, VERSION, LARGEST, REFUSAL = b"LVRK", 1, 33_554_432, 0xFFFFFFFF

SEVERITIES = ("clean", "low", "medium", "high", "critical")
QUICK, FULL, MEMORY, CUSTOM = range(4)  # scopes of a scan
QUARANTINE, DELETE = 1, 2  # what to do with a threat

LONGEST_HOLD, PAUSE = 5.0, 0.3  # seconds: so long the pipe may be held while a scan is followed, and then left
ASK_EVERY = 0.3  # seconds between two questions
REPLY_WITHIN, FIREWALL_REPLY_WITHIN = 30.0, 60.0  # seconds


class Refused(Exception):
    """The service's answer to a request that it does not carry out; the text may be empty."""


class Unreachable(Exception):
    """No connection came about: the service does not run, is busy for too long, or may not be used."""


class BrokenExchange(Exception):
    """The connection ended, a reply did not come in time, or it was no reply."""


# --- Bytes ---------------------------------------------------------------------------------------------------------


class Malformed(Exception):
    """A payload that cannot be decoded."""


class Reader:
    """Takes the fields of a payload in their order. Bytes behind the last known field are ignored."""

    def __init__(self, payload):
        self.payload, self.at = payload, 0

    def take(self, count):
        if count > len(self.payload) - self.at:
            raise Malformed(f"{count} bytes are missing at {self.at}")
        self.at += count
        return self.payload[self.at - count : self.at]

    def u32(self):
        return int.from_bytes(self.take(4), "little")

    def u64(self):
        return int.from_bytes(self.take(8), "little")

    def bool(self):
        return self.u32() != 0

    def string(self):
        return self.take(self.u32()).decode("utf-8", "replace")

    def record(self, fields):
        return {name: read(self) for name, read, _ in fields}

    def list(self, read):
        # The count is not to be trusted: an element that is not there ends the loop.
        return [read(self) for _ in range(self.u32())]


def _put_u32(value):
    return struct.pack("<I", value)


def _put_u64(value):
    return struct.pack("<Q", value)


def _put_bool(value):
    return _put_u32(1 if value else 0)


def _put_string(value):
    # Windows allows names with half of a surrogate pair; no UTF-8 can say them.
    data = value.encode("utf-16", "surrogatepass").decode("utf-16", "replace").encode("utf-8")
    return _put_u32(len(data)) + data


def _fields(text):
    """"u64 id, string name" as a list of names, readers and writers."""
    kinds = {
        "u32": (Reader.u32, _put_u32),
        "u64": (Reader.u64, _put_u64),
        "bool": (Reader.bool, _put_bool),
        "string": (Reader.string, _put_string),
    }
    return [(name, *kinds[kind]) for kind, name in (field.split() for field in text.split(", "))]


def _record(fields, value):
    return b"".join(put(value[name]) for name, _, put in fields)


STATUS = _fields(
    "string serviceVersion, u64 signatureCount, string signatureVersion, bool protectionEnabled, bool realTimeActive, "
    "bool minifilterConnected, bool scanRunning, bool updateCheckRunning, string updateCheckError, "
    "u64 minifilterHandled, bool liveUpdateRunning, string updateCheckInstaller"
)
COUNTS = _fields("u64 filesDone, u64 filesTotal, u64 bytesDone, u64 bytesTotal, string currentPath, string phase")
SUMMARY = _fields("u64 filesScanned, u64 threats, u64 suspicious, u64 bytesScanned, u64 elapsedMs, bool cancelled")
EVENT = _fields("string path, string name, string code, u32 severity, u64 size")
REASON = _fields("u32 severity, string code, string title, string detail")
DECISION = _fields("string path, u32 action, string name, string code, u32 severity, u64 size, string sha256")
ENTRY = _fields(
    "u64 id, string originalPath, string storedPath, string threat, string code, u32 severity, u64 size, u64 time, "
    "bool storedFileExists"
)
SETTINGS = _fields(
    "bool ProtectionEnabled, bool RealTimeEnabled, bool ScanArchives, bool ScanRemovable, bool ShowThreatModal, "
    "bool QuarantineOnDetect, bool ScheduledScan, u32 ScheduledHour, u64 LastScanUtc, u64 LastThreatCount, "
    "string SignatureDb, string QuarantineDir, bool LiveUpdates, u64 LastLiveUpdateUtc, bool WebShield"
)


def _progress(reader):
    return {
        "progress": reader.record(COUNTS),
        "scanning": reader.bool(),
        "lastSummary": reader.record(SUMMARY),
        "events": reader.list(lambda one: one.record(EVENT)),
    }


def _threat(reader):
    threat = reader.record(EVENT)
    threat["sha256"] = reader.string()
    threat["reasons"] = reader.list(lambda one: one.record(REASON))
    threat["labels"] = reader.list(Reader.string)
    return threat


def _settings(reader):
    settings = reader.record(SETTINGS)
    settings["ScheduledHour"] %= 24
    return settings


def _change(reader):
    return {"ok": reader.bool(), "text": reader.string()}


def _started(reader):
    return {"started": reader.u32()}


# How a reply is read, by its opcode. Operations without a value are not here.
REPLIES = {
    1: lambda reader: reader.record(STATUS),
    2: lambda reader: {"tickCount": reader.u32()},
    4: _progress,
    6: lambda reader: {"threats": reader.list(_threat)},
    8: lambda reader: {"entries": reader.list(lambda one: one.record(ENTRY))},
    11: _settings,
    14: _started,
    15: _started,
    16: lambda reader: {"listing": reader.payload.decode("utf-8", "replace")},
    17: _change,
    18: _change,
    19: _change,
    20: _change,
    REFUSAL: lambda reader: {"error": reader.string() if reader.payload else ""},
}
# How a request is written. Operations without fields are not here.
REQUESTS = {
    3: lambda value: _put_u32(value["scope"])
    + _put_u32(len(value["targets"]))
    + b"".join(map(_put_string, value["targets"])),
    7: lambda value: _record(DECISION, value),
    9: lambda value: _put_u64(value["id"]),
    10: lambda value: _put_u64(value["id"]),
    12: lambda value: _record(SETTINGS, value),
    17: lambda value: _put_string(value["argument"]),
    18: lambda value: _put_string(value["argument"]),
    19: lambda value: _put_string(value["argument"]),
}


def encode_request(opcode, value=None):
    """The payload of a request that says `value`."""
    return REQUESTS[opcode](value) if opcode in REQUESTS else b""


def decode_reply(opcode, payload):
    """What a payload says; Malformed when it cannot be decoded."""
    return REPLIES.get(opcode, lambda reader: {})(Reader(payload))


def encode_frame(opcode, payload):
    if len(payload) > LARGEST:
        raise ValueError(f"a payload of {len(payload)} bytes; {LARGEST} is the limit")
    return struct.pack("<4sIIIQ", MAGIC, VERSION, opcode, len(payload), 0) + payload


def decode_header(header):
    """(opcode, length) of a frame's first 24 bytes; Malformed when they are none."""
    magic, version, opcode, length, _ = struct.unpack("<4sIIIQ", header)
    if magic != MAGIC:
        raise Malformed("bad magic")
    if version != VERSION:
        raise Malformed(f"version {version} of the protocol")
    if length > LARGEST:
        raise Malformed(f"a payload of {length} bytes")
    return opcode, length


# --- Streams: write(bytes, seconds) and read(count, seconds), which raise BrokenExchange, and close() ----------------


class ProgramStream:
    """Standard input and output of a program that speaks the protocol, as korvelmock --stdio does. Not on Windows."""

    def __init__(self, command):
        self.program = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)

    def write(self, data, seconds):
        until = time.monotonic() + seconds
        to = self.program.stdin.fileno()
        os.set_blocking(to, False)
        while data:
            _, ready, _ = select.select([], [to], [], max(0.0, until - time.monotonic()))
            if not ready:
                raise BrokenExchange("the request is not read")
            try:
                data = data[os.write(to, data) :]
            except BrokenPipeError:
                raise BrokenExchange("the connection has ended") from None

    def read(self, count, seconds):
        until = time.monotonic() + seconds
        source, data = self.program.stdout.fileno(), b""
        while len(data) < count:
            ready, _, _ = select.select([source], [], [], max(0.0, until - time.monotonic()))
            if not ready:
                raise BrokenExchange("no reply in time")
            part = os.read(source, count - len(data))
            if not part:
                raise BrokenExchange("the connection has ended")
            data += part
        return data

    def close(self):
        self.program.stdin.close()
        self.program.stdout.close()
        self.program.wait()


if sys.platform == "win32":
    import ctypes
    from ctypes import wintypes

    _kernel = ctypes.WinDLL("kernel32", use_last_error=True)
    _kernel.CreateFileW.restype = _kernel.CreateEventW.restype = wintypes.HANDLE
    _kernel.CreateFileW.argtypes = [wintypes.LPCWSTR, wintypes.DWORD, wintypes.DWORD, ctypes.c_void_p, wintypes.DWORD,
                                    wintypes.DWORD, wintypes.HANDLE]
    _kernel.CreateEventW.argtypes = [ctypes.c_void_p, wintypes.BOOL, wintypes.BOOL, wintypes.LPCWSTR]
    _kernel.WaitForSingleObject.argtypes = [wintypes.HANDLE, wintypes.DWORD]
    _kernel.CloseHandle.argtypes = [wintypes.HANDLE]

    class _Overlapped(ctypes.Structure):
        _fields_ = [("internal", ctypes.c_void_p), ("high", ctypes.c_void_p), ("offset", ctypes.c_uint64),
                    ("event", wintypes.HANDLE)]

    for _name in ("ReadFile", "WriteFile"):
        getattr(_kernel, _name).argtypes = [wintypes.HANDLE, ctypes.c_void_p, wintypes.DWORD, ctypes.c_void_p,
                                            ctypes.POINTER(_Overlapped)]
    _kernel.GetOverlappedResult.argtypes = [wintypes.HANDLE, ctypes.POINTER(_Overlapped),
                                            ctypes.POINTER(wintypes.DWORD), wintypes.BOOL]
    _kernel.CancelIoEx.argtypes = [wintypes.HANDLE, ctypes.POINTER(_Overlapped)]

    _INVALID, _NOT_FOUND, _BUSY, _PENDING = ctypes.c_void_p(-1).value, 2, 231, 997
    _READ_WRITE, _OPEN_EXISTING, _OVERLAPPED_IO = 0xC0000000, 3, 0x40000000
    _IDENTIFICATION = 0x00100000 | 0x00010000  # the pipe's server may learn who we are, and no more
    _CHUNK = 65_536

    class PipeStream:
        """The pipe of the service. Waits up to `patience` seconds while it is busy or not there yet."""

        def __init__(self, name=PIPE, patience=10.0):
            until = time.monotonic() + patience
            while True:
                self.handle = _kernel.CreateFileW(name, _READ_WRITE, 0, None, _OPEN_EXISTING,
                                                  _OVERLAPPED_IO | _IDENTIFICATION, None)
                if self.handle != _INVALID:
                    break
                code = ctypes.get_last_error()
                if code not in (_NOT_FOUND, _BUSY) or time.monotonic() >= until:
                    raise Unreachable(ctypes.FormatError(code).strip() + f" (win32={code})")
                time.sleep(0.2)
            self.event = _kernel.CreateEventW(None, True, False, None)

        def _transfer(self, call, buffer, count, until):
            overlapped = _Overlapped(event=self.event)
            if not call(self.handle, buffer, count, None, ctypes.byref(overlapped)):
                code = ctypes.get_last_error()
                if code != _PENDING:
                    raise BrokenExchange(f"the connection has ended (win32={code})")
                left = max(0, int((until - time.monotonic()) * 1000))
                if _kernel.WaitForSingleObject(self.event, left) != 0:
                    _kernel.CancelIoEx(self.handle, ctypes.byref(overlapped))
                    done = wintypes.DWORD()
                    # Until the system is done with the buffer, it must stay.
                    _kernel.GetOverlappedResult(self.handle, ctypes.byref(overlapped), ctypes.byref(done), True)
                    raise BrokenExchange("no reply in time")
            done = wintypes.DWORD()
            if not _kernel.GetOverlappedResult(self.handle, ctypes.byref(overlapped), ctypes.byref(done), True):
                raise BrokenExchange(f"the connection has ended (win32={ctypes.get_last_error()})")
            if done.value == 0:
                raise BrokenExchange("the connection has ended")
            return done.value

        def write(self, data, seconds):
            until = time.monotonic() + seconds
            while data:
                part = ctypes.create_string_buffer(data[:_CHUNK], min(len(data), _CHUNK))
                data = data[self._transfer(_kernel.WriteFile, part, len(part), until) :]

        def read(self, count, seconds):
            until = time.monotonic() + seconds
            data = bytearray()
            while len(data) < count:
                part = ctypes.create_string_buffer(min(count - len(data), _CHUNK))
                data += part.raw[: self._transfer(_kernel.ReadFile, part, len(part), until)]
            return bytes(data)

        def close(self):
            _kernel.CloseHandle(self.handle)
            _kernel.CloseHandle(self.event)

else:

    def PipeStream(*_):
        raise Unreachable("the service's pipe is on Windows only")


# --- The service ---------------------------------------------------------------------------------------------------


class Service:
    """The operations of the service. Connects with the first request; let_go() gives other clients their turn."""

    def __init__(self, connect=PipeStream):
        self._connect, self._stream, self._since = connect, None, 0.0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.let_go()

    def let_go(self):
        """Disconnects; the next request connects again."""
        if self._stream is not None:
            stream, self._stream = self._stream, None
            stream.close()

    def ask(self, opcode, payload=b"", seconds=REPLY_WITHIN):
        """The payload of the reply, for whoever needs bytes."""
        frame = encode_frame(opcode, payload)
        if self._stream is None:
            self._stream, self._since = self._connect(), time.monotonic()
        try:
            self._stream.write(frame, seconds)
            answer, length = decode_header(self._stream.read(24, seconds))
            reply = self._stream.read(length, seconds)
            if answer == REFUSAL:
                raise Refused(decode_reply(REFUSAL, reply)["error"])
            if answer != opcode:
                raise Malformed(f"a reply to request {answer}")
            return reply
        except Malformed as problem:
            self.let_go()
            raise BrokenExchange(f"the reply to request {opcode} is none: {problem}") from None
        except BrokenExchange:
            self.let_go()
            raise

    def _value(self, opcode, value=None, seconds=REPLY_WITHIN):
        reply = self.ask(opcode, encode_request(opcode, value), seconds)
        try:
            return decode_reply(opcode, reply)
        except Malformed as problem:
            self.let_go()
            raise BrokenExchange(f"the reply to request {opcode} is not understood: {problem}") from None

    def get_status(self):
        return self._value(1)

    def ping(self):
        """Milliseconds since the start of the system, the low 32 bits."""
        return self._value(2)["tickCount"]

    def start_scan(self, scope=QUICK, targets=()):
        """Targets are folders, made absolute; only CUSTOM uses them."""
        self._value(3, {"scope": scope, "targets": list(targets)})

    def get_progress(self):
        """Takes the events away: keep those that it returns."""
        return self._value(4)

    def cancel_scan(self):
        self._value(5)

    def get_results(self):
        return self._value(6)["threats"]

    def decide(self, threat, action):
        """Quarantines or deletes the file of a threat, or of an event."""
        decision = {name: threat[name] for name in ("path", "name", "code", "severity", "size")}
        self._value(7, {**decision, "action": action, "sha256": threat.get("sha256", "")})

    def list_quarantine(self):
        return self._value(8)["entries"]

    def delete_quarantined(self, entry_id):
        self._value(9, {"id": entry_id})

    def restore_quarantined(self, entry_id):
        """Replaces what is at the old place now: look first."""
        self._value(10, {"id": entry_id})

    def get_settings(self):
        return self._value(11)

    def change_settings(self, **changes):
        """Changes these settings and keeps the others; returns those that are in force then.

        Every change empties UpdateServer, which no client sees: tell the user when settings.ini names one.
        """
        settings = self.get_settings()
        unknown = changes.keys() - settings.keys()
        if unknown:
            raise ValueError(f"no such setting: {', '.join(sorted(unknown))}")
        self._value(12, {**settings, **changes})
        return self.get_settings()

    def reload_signatures(self):
        self._value(13)

    def start_live_update(self):
        self._value(14)

    def start_update_check(self):
        self._value(15)

    def firewall_listing(self):
        return self._value(16, seconds=FIREWALL_REPLY_WITHIN)["listing"]

    def _change_firewall(self, opcode, argument=""):
        change = self._value(opcode, {"argument": argument}, FIREWALL_REPLY_WITHIN)
        if not change["ok"]:
            raise Refused(change["text"])

    def set_firewall_profile(self, profile, on):
        self._change_firewall(17, f"{profile},{int(on)}")

    def block_inbound(self, on):
        self._change_firewall(18, str(int(on)))

    def add_firewall_rule(self, action, direction, program):
        self._change_firewall(19, f"{action}|{direction}|{program}")

    def remove_firewall_rules(self):
        self._change_firewall(20)

    def stop(self):
        self._value(21)
        self.let_go()

    def follow(self):
        """Yields replies of get_progress() until no scan runs; the last one shows the end. Each may hold events."""
        while True:
            progress = self.get_progress()
            yield progress
            if not progress["scanning"]:
                return
            if time.monotonic() - self._since >= LONGEST_HOLD:
                self.let_go()
                time.sleep(PAUSE)
            else:
                time.sleep(ASK_EVERY)


def outcome(progress, cancelled_by_me=False):
    """How a scan ended whose last progress this is: completed, cancelled, stopped, failed or nothing_examined."""
    counts = progress["progress"]
    if counts["phase"] == "failed":
        return "failed"
    if counts["phase"] == "idle" or progress["lastSummary"]["filesScanned"] == 0:
        return "nothing_examined"
    if cancelled_by_me:
        return "cancelled"
    return "completed" if counts["filesDone"] >= counts["filesTotal"] else "stopped"


def severity_name(severity):
    return SEVERITIES[severity] if severity < len(SEVERITIES) else f"unknown ({severity})"


def is_stored(entries, path):
    """Whether the file of that path is in the quarantine."""
    return any(ntpath.normcase(entry["originalPath"]) == ntpath.normcase(path) for entry in entries)
