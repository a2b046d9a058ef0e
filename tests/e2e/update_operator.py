#!/usr/bin/env python3
"""Runs a test program beside an update server: update_operator.py <command> [its arguments...]

The server is nginx with the shipped configuration over a tree that publish.py fills. The test program plays its
operator through this script, which answers on a port of its own (KORVEL_TEST_OPERATOR):

    /start, /stop        of nginx, at the address KORVEL_TEST_UPDATE_SERVER
    /reset               forgets every release
    /publish?version=V   publishes what lies in C:\\korvel-update: signatures, blocklist, and the installer as version V;
                         with &switches=... of publish.py
    /plant?document=D    puts C:\\korvel-update\\planted in the place of a document or of the installer of the release
                         in force, behind the publisher's back; nginx notices with its next start
    /check               what publish.py --check says is wrong with the server, a line each
    /stall/...           answers only after /release was requested, with status 404; after /start it stalls again

The prefix of the test program is WINEPREFIX. Everything ends with the test program.
"""
import http.server
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import urllib.parse

KIT = pathlib.Path(__file__).resolve().parents[2] / "deploy/update-server"
sys.path.insert(0, str(KIT))
from local_server import LocalServer  # noqa: E402

PUBLISHER = (sys.executable, str(KIT / "publish.py"))
PARTS = ("signatures", "blocklist", "installer")
LONGEST_STALL_SECONDS = 60


class Operator:
    def __init__(self, folder, exchange):
        self.tree = folder / "tree"
        self.exchange = exchange
        self.server = LocalServer(folder / "nginx", self.tree)
        self.released = threading.Event()

    def answer(self, path):
        """Returns the text that answers a request; raises on any failure."""
        url = urllib.parse.urlsplit(path)
        if url.path == "/start":
            self.released.clear()
            self.server.start()
            return "started"
        if url.path == "/stop":
            self.server.stop()
            return "stopped"
        values = dict(urllib.parse.parse_qsl(url.query))
        if url.path == "/reset":
            shutil.rmtree(self.tree, ignore_errors=True)
            return "reset"
        if url.path == "/publish":
            return self.publish(values.get("version"), values.get("switches", "").split())
        if url.path == "/plant":
            return self.plant(values["document"])
        if url.path == "/check":
            return self.check()
        if url.path == "/release":
            self.released.set()
            return "released"
        if url.path.startswith("/stall/"):
            self.released.wait(LONGEST_STALL_SECONDS)
        raise LookupError(path)

    def publish(self, version, switches):
        command = [*PUBLISHER, "--tree", str(self.tree), "--base-url", self.server.base, *switches]
        for part in PARTS:
            if (self.exchange / part).exists():
                command += [f"--{part}", str(self.exchange / part)]
        if version:
            command += ["--version", version]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(done.stderr)
        for part in PARTS:
            (self.exchange / part).unlink(missing_ok=True)
        return done.stdout

    def plant(self, document):
        release = self.tree / "current"
        if document == "installer":
            # Each release links the installers before it; the one on offer is the newest.
            place = max((release / "installers").iterdir(), key=lambda path: path.stat().st_mtime_ns)
        else:
            place = release / "api/v1" / document
        place.unlink()
        shutil.copyfile(self.exchange / "planted", place)
        place.chmod(0o644)
        return "planted"

    def check(self):
        done = subprocess.run([*PUBLISHER, "--check", self.server.base], capture_output=True, text=True, check=False)
        if done.stderr:
            raise RuntimeError(done.stderr)
        return "".join(line + "\n" for line in done.stdout.splitlines() if line.startswith("problem:"))


def handler(operator):
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            try:
                status, text = 200, operator.answer(self.path)
            except LookupError as problem:
                status, text = 404, str(problem)
            except Exception as problem:  # pylint: disable=broad-except
                status, text = 500, str(problem)
            body = text.encode()
            print(f"operator: {self.path}: {status} {text.strip()}", flush=True)
            self.send_response(status)
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *_):
            pass

    return Handler


def run(command, environment):
    child = subprocess.Popen(command, env=environment)
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: child.terminate())
    status = child.wait()
    return status if status >= 0 else 128 - status


def main():
    exchange = pathlib.Path(os.environ["WINEPREFIX"]) / "drive_c/korvel-update"
    exchange.mkdir(exist_ok=True)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="korvel-update-"))
    operator = Operator(folder, exchange)
    desk = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler(operator))
    desk.daemon_threads = True
    threading.Thread(target=desk.serve_forever, daemon=True).start()
    try:
        return run(sys.argv[1:], {**os.environ, "KORVEL_TEST_UPDATE_SERVER": operator.server.base,
                                  "KORVEL_TEST_OPERATOR": f"http://127.0.0.1:{desk.server_port}"})
    finally:
        operator.released.set()
        operator.server.stop()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
