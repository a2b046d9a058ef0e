#!/usr/bin/env python3
"""Serves a published tree on 127.0.0.1 over plain http, with the shipped nginx.conf and only its marked lines
replaced: for the tests, and for trying an update out on one machine.

    local_server.py --tree /tmp/trial --port 8080      # until Ctrl+C; --base-url of publish.py: http://127.0.0.1:8080

Each request is printed: time, request, status, bytes sent of the body, seconds.
"""
import argparse
import contextlib
import os
import pathlib
import re
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
WORKER_CONNECTIONS = 8192
LOG_FORMAT = '\'$time_iso8601 "$request" $status $body_bytes_sent $request_time\''


def find_nginx():
    return shutil.which("nginx") or ("/usr/sbin/nginx" if os.path.exists("/usr/sbin/nginx") else None)


def most_open_files():
    """As many as nginx may have without more rights."""
    return min(resource.getrlimit(resource.RLIMIT_NOFILE)[1], 2 * WORKER_CONNECTIONS)


class LocalServer:
    """One nginx of its own; `folder` takes its files. The address stays the same over stops and starts; without
    `port` it has a free port. `show` is called with the line of each request, on a thread of its own.
    `listen_options` are nginx's own."""

    def __init__(self, folder, tree, port=0, show=None, listen_options=""):
        self.folder = pathlib.Path(folder)
        self.tree = pathlib.Path(tree).resolve()
        with socket.create_server(("127.0.0.1", port)) as probe:
            self.port = probe.getsockname()[1]
        self.base = f"http://127.0.0.1:{self.port}"
        self.process = None
        self.show = show
        self.listen_options = listen_options
        self.reader = None

    def configuration(self, access_log="off"):
        config = (HERE / "nginx.conf").read_text()
        listen = rf"listen 127.0.0.1:{self.port}\1 {self.listen_options};"
        config = re.sub(r"listen 443 ssl http2([^;]*);", listen, config)
        config = re.sub(r"\n *(listen \[::\]|ssl_\w+)[^;]*;", "", config)
        config = config.replace("/srv/korvel-updates/current", str(self.tree / "current"))
        temp_paths = "".join(f"{kind}_temp_path {self.folder}/{kind};\n"
                             for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        return (f"daemon off; master_process off; pid {self.folder}/pid;\nworker_rlimit_nofile {most_open_files()};\n"
                f"events {{ worker_connections {WORKER_CONNECTIONS}; }}\n"
                f"http {{\nlog_format korvel {LOG_FORMAT};\naccess_log {access_log};\n{temp_paths}{config}\n}}\n")

    def start(self):
        """Returns once the server answers; raises RuntimeError with nginx's own words when it does not."""
        self.stop()
        self.folder.mkdir(parents=True, exist_ok=True)
        if self.show is None:
            self.launch("off", ())
        else:
            lines, log = os.pipe()
            self.launch(f"/dev/fd/{log} korvel", (log,))
            os.close(log)
            self.reader = threading.Thread(target=self.pass_on, args=(lines,), daemon=True)
            self.reader.start()
        for _ in range(200):
            with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", self.port)):
                return
            if self.process.poll() is not None:
                break
            time.sleep(0.05)
        self.stop()
        raise RuntimeError((self.folder / "error.log").read_text())

    def launch(self, access_log, descriptors):
        (self.folder / "nginx.conf").write_text(self.configuration(access_log))
        self.process = subprocess.Popen(
            [find_nginx(), "-p", str(self.folder), "-c", str(self.folder / "nginx.conf"),
             "-e", str(self.folder / "error.log")],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, pass_fds=descriptors)

    def pass_on(self, descriptor):
        with os.fdopen(descriptor, encoding="utf-8", errors="replace") as lines:
            for line in lines:
                self.show(line.rstrip("\n"))

    def stop(self):
        if self.process is not None:
            self.process.terminate()
            self.process.wait()
            self.process = None
        if self.reader is not None:
            self.reader.join()
            self.reader = None


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--tree", required=True, help="the tree that publish.py fills")
    parser.add_argument("--port", type=int, default=0, help="a free one unless given")
    options = parser.parse_args()
    # Each of these ends the script like Ctrl+C, so that its nginx never outlives it. A shell that starts this in the
    # background may have it begin with SIGINT ignored.
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.default_int_handler)
    with tempfile.TemporaryDirectory() as folder:
        server = LocalServer(folder, options.tree, options.port, show=lambda line: print(line, flush=True))
        try:
            server.start()
            print(f"{server.base} serves {server.tree}, Ctrl+C ends it", flush=True)
            status = server.process.wait()
            print(f"nginx ended with status {status}: {(server.folder / 'error.log').read_text()}", file=sys.stderr)
            return 1
        except KeyboardInterrupt:
            return 0
        finally:
            server.stop()


if __name__ == "__main__":
    sys.exit(main())
