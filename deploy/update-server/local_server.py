#!/usr/bin/env python3
"""Serves a published tree on 127.0.0.1 over plain http, with the shipped nginx.conf and only its marked lines
replaced: for the tests, and for trying an update out on one machine.

    local_server.py --tree /tmp/trial --port 8080      # until Ctrl+C; --base-url of publish.py: http://127.0.0.1:8080
"""
import argparse
import contextlib
import os
import pathlib
import re
import shutil
import socket
import subprocess
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent


def find_nginx():
    return shutil.which("nginx") or ("/usr/sbin/nginx" if os.path.exists("/usr/sbin/nginx") else None)


class LocalServer:
    """One nginx of its own; `folder` takes its files. The address stays the same over stops and starts; without
    `port` it has a free port."""

    def __init__(self, folder, tree, port=0):
        self.folder = pathlib.Path(folder)
        self.tree = pathlib.Path(tree).resolve()
        with socket.create_server(("127.0.0.1", port)) as probe:
            self.port = probe.getsockname()[1]
        self.base = f"http://127.0.0.1:{self.port}"
        self.process = None

    def configuration(self):
        config = (HERE / "nginx.conf").read_text()
        config = config.replace("listen 443 ssl http2;", f"listen 127.0.0.1:{self.port};")
        config = re.sub(r"\n *ssl_\w+ [^;]*;", "", config)
        config = config.replace("/srv/korvel-updates/current", str(self.tree / "current"))
        temp_paths = "".join(f"{kind}_temp_path {self.folder}/{kind};\n"
                             for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        return (f"daemon off; master_process off; pid {self.folder}/pid;\nevents {{ }}\n"
                f"http {{\naccess_log off;\n{temp_paths}{config}\n}}\n")

    def start(self):
        """Returns once the server answers; raises RuntimeError with nginx's own words when it does not."""
        self.stop()
        self.folder.mkdir(parents=True, exist_ok=True)
        (self.folder / "nginx.conf").write_text(self.configuration())
        self.process = subprocess.Popen(
            [find_nginx(), "-p", str(self.folder), "-c", str(self.folder / "nginx.conf"),
             "-e", str(self.folder / "error.log")],
            stderr=subprocess.DEVNULL)
        for _ in range(200):
            with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", self.port)):
                return
            if self.process.poll() is not None:
                break
            time.sleep(0.05)
        self.stop()
        raise RuntimeError((self.folder / "error.log").read_text())

    def stop(self):
        if self.process is not None:
            self.process.terminate()
            self.process.wait()
            self.process = None


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--tree", required=True, help="the tree that publish.py fills")
    parser.add_argument("--port", type=int, default=0, help="a free one unless given")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        server = LocalServer(folder, options.tree, options.port)
        server.start()
        print(f"{server.base} serves {server.tree}, Ctrl+C ends it", flush=True)
        with contextlib.suppress(KeyboardInterrupt):
            server.process.wait()
        server.stop()


if __name__ == "__main__":
    main()
