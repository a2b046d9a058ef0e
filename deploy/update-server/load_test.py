#!/usr/bin/env python3
"""Lets many clients download from the shipped nginx.conf on 127.0.0.1, all from one address, as an office behind one
router does, and counts their answers.

    load_test.py                                # 2,000 clients that start within a minute, 20 s for each download
    load_test.py --clients 4000 --seconds 0     # all at the same moment

Each client asks for the blocklist and then for the signatures, each over a connection of its own, without conditions;
one in twenty also asks for the release document and its installer. It reads no faster than its part of the office's line.
A client whose answer does not begin within 15 s has given up. The exit status is 0 when every answer had status
200 and was whole.
"""
import argparse
import asyncio
import collections
import hashlib
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
from local_server import LocalServer, find_nginx  # noqa: E402

STEP_SECONDS = 15
# Small, so that the server really has to wait for a slow client: a buffer on the way would take whole documents.
RECEIVE_BUFFER_BYTES = 32_768
SEND_BUFFER = "sndbuf=32k"
PIECE_BYTES = 16_384
INSTALLER_BYTES = 1_000_000
ONE_IN = 20


class Tally:
    def __init__(self):
        self.statuses = collections.Counter()
        self.broken = collections.Counter()
        self.under_way = self.most_under_way = 0
        self.slowest_beginning = self.slowest = 0.0

    def begin(self):
        self.under_way += 1
        self.most_under_way = max(self.most_under_way, self.under_way)

    def end(self, began, answered):
        self.under_way -= 1
        self.slowest_beginning = max(self.slowest_beginning, answered - began)
        self.slowest = max(self.slowest, time.monotonic() - began)

    def good(self, expected):
        return self.statuses == {200: expected} and not self.broken

    def report(self):
        lines = [f"status {status}: {count:,}" for status, count in sorted(self.statuses.items())]
        lines += [f"{what}: {count:,}" for what, count in sorted(self.broken.items())] or ["not whole: 0"]
        return lines + [f"most downloads at once: {self.most_under_way:,}",
                        f"longest wait for the beginning of an answer: {self.slowest_beginning:.1f} s",
                        f"longest download: {self.slowest:.1f} s"]


async def download(port, path, body, seconds, tally):
    """Takes one document, evenly over that time."""
    tally.begin()
    began = answered = time.monotonic()
    link = socket.socket()
    link.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, RECEIVE_BUFFER_BYTES)
    link.setblocking(False)
    loop = asyncio.get_running_loop()
    try:
        await asyncio.wait_for(loop.sock_connect(link, ("127.0.0.1", port)), STEP_SECONDS)
        request = f"GET {path} HTTP/1.1\r\nHost: updates.example.org\r\nConnection: Keep-Alive\r\n\r\n"
        await loop.sock_sendall(link, request.encode())
        taken = await asyncio.wait_for(loop.sock_recv(link, PIECE_BYTES), STEP_SECONDS)
        answered = time.monotonic()
        while b"\r\n\r\n" not in taken:
            taken += await asyncio.wait_for(loop.sock_recv(link, PIECE_BYTES), STEP_SECONDS)
        head, _, first = taken.partition(b"\r\n\r\n")
        tally.statuses[int(head.split()[1])] += 1
        length = int(re.search(rb"\r\ncontent-length: *([0-9]+)", head, re.IGNORECASE)[1])
        digest, size = hashlib.sha256(first), len(first)
        while size < length:
            ahead = answered + seconds * size / length - time.monotonic()
            if ahead > 0:
                await asyncio.sleep(ahead)
            piece = await asyncio.wait_for(loop.sock_recv(link, PIECE_BYTES), STEP_SECONDS)
            if not piece:
                break
            digest.update(piece)
            size += len(piece)
        if digest.digest() != hashlib.sha256(body).digest():
            tally.broken["not whole or not the document"] += 1
    except (OSError, asyncio.TimeoutError) as problem:
        tally.broken[type(problem).__name__] += 1
    finally:
        link.close()
        tally.end(began, answered)


async def client(number, options, port, documents, tally):
    await asyncio.sleep(options.seconds * number / options.clients)
    for path in requests_of(number, documents):
        await download(port, path, documents[path], options.download_seconds, tally)


def requests_of(number, documents):
    lists = ["/api/v1/blocklist", "/api/v1/signatures"]
    return lists + [path for path in documents if path not in lists] if number % ONE_IN == 0 else lists


async def run_clients(options, port, documents, tally):
    await asyncio.gather(*(client(number, options, port, documents, tally) for number in range(options.clients)))


def make_tree(folder, hashes, domains):
    """Publishes made-up documents; returns the tree and the bytes of each path."""
    lines = (hashlib.sha256(b"%d" % n).hexdigest() + "\n" for n in range(hashes))
    (folder / "hashes").write_text("".join(lines))
    (folder / "domains").write_bytes(b"".join(b"bad%d.example\n" % n for n in range(domains)))
    (folder / "setup.exe").write_bytes(b"MZ" + bytes(INSTALLER_BYTES))
    subprocess.run([sys.executable, HERE / "publish.py", "--tree", folder / "tree", "--signatures", folder / "hashes",
                    "--blocklist", folder / "domains", "--version", "1.3.0", "--installer", folder / "setup.exe",
                    "--base-url", "http://127.0.0.1"], check=True, stdout=subprocess.DEVNULL)
    current = (folder / "tree/current").resolve()
    files = [path for part in ("api/v1", "installers") for path in (current / part).iterdir()]
    return folder / "tree", {"/" + str(path.relative_to(current)): path.read_bytes() for path in files}


def run(options):
    """Returns the Tally and how many requests there were."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        tree, documents = make_tree(folder, options.hashes, options.domains)
        server = LocalServer(folder / "nginx", tree, listen_options=SEND_BUFFER)
        server.start()
        try:
            tally = Tally()
            asyncio.run(run_clients(options, server.port, documents, tally))
        finally:
            server.stop()
    return tally, sum(len(requests_of(number, documents)) for number in range(options.clients))


def parser():
    result = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    result.add_argument("--clients", type=int, default=2_000)
    result.add_argument("--seconds", type=float, default=60, help="the time in which the clients start")
    result.add_argument("--download-seconds", type=float, default=20, help="how long a client takes for one document")
    result.add_argument("--hashes", type=int, default=10_000)
    result.add_argument("--domains", type=int, default=10_000)
    return result


def main():
    options = parser().parse_args()
    if not find_nginx():
        sys.exit("nginx is not installed")
    began = time.monotonic()
    tally, expected = run(options)
    print(f"{options.clients:,} clients that start within {options.seconds:g} s, {expected:,} requests, "
          f"{time.monotonic() - began:.0f} s in all")
    print("\n".join(tally.report()))
    return 0 if tally.good(expected) else 1


if __name__ == "__main__":
    sys.exit(main())
