#!/usr/bin/env python3
"""A server that answers in the ways an ordinary one never would, for the tests of the HTTP client.

Listens on a free port of 127.0.0.1, prints the port and serves until it is ended. The path says what
happens; see BEHAVIOURS. One thread and one request per connection.
"""
import gzip
import socket
import struct
import sys
import threading
import time

PIECE = 64 * 1024
HEX_LINE = b"%064x\n"

counter_lock = threading.Lock()
requests = []  # the head of each, the kinds that only ask this server about itself not counted
silent_count = 0
speak_up = threading.Event()


def head(status="200 OK", *lines):
    return ("\r\n".join(("HTTP/1.1 " + status, "Connection: close") + lines) + "\r\n\r\n").encode()


def chunk(data):
    return b"%x\r\n" % len(data) + data + b"\r\n"


CHUNKED = head("200 OK", "Transfer-Encoding: chunked")


def close(conn, _):
    """Hangs up without an answer."""


def reset_now(conn):
    conn.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


def reset(conn, _):
    """Resets the connection without an answer."""
    reset_now(conn)


def garbage(conn, _):
    """Says something that is not HTTP."""
    conn.sendall(b"220 ready when you are\r\n\r\n")


def truncated(conn, _):
    """Promises 1,000 bytes and sends 10."""
    conn.sendall(head("200 OK", "Content-Length: 1000") + b"0123456789")


def cut(conn, argument):
    """/cut/<text>: the text, of which one byte more was promised."""
    conn.sendall(head("200 OK", "Content-Length: %d" % (len(argument) + 1)) + argument.encode())


def cut_installer(conn, _):
    """All but the last byte of an installer."""
    conn.sendall(head("200 OK", "Content-Length: 70001") + b"MZ" + bytes(69998))


def longer(conn, _):
    """Promises 5 bytes and sends 10."""
    conn.sendall(head("200 OK", "Content-Length: 5") + b"0123456789")


def length(conn, argument):
    """/length/<text>: three bytes with this text as their announced length."""
    conn.sendall(head("200 OK", "Content-Length: " + argument) + b"abc")


def chunked_with_length(conn, _):
    """Chunks, and a length beside them that is wrong."""
    conn.sendall(head("200 OK", "Content-Length: 1000", "Transfer-Encoding: chunked"))
    conn.sendall(chunk(b"chunk") + b"0\r\n\r\n")


def chunked_cut(conn, argument):
    """The end comes in the place of the last chunk; with /chunked-cut/inside in the midst of a chunk."""
    conn.sendall(CHUNKED + chunk(b"first") + (b"50\r\nhalf" if argument == "inside" else b""))


def gzipped(conn, _):
    """A body that its server has compressed without being asked to."""
    conn.sendall(head("200 OK", "Content-Encoding: gzip") + gzip.compress(b"plain text\n", mtime=0))


def echo(conn, _):
    """The head of the request as the body."""
    with counter_lock:
        text = requests[-1]
    conn.sendall(head("200 OK", "Content-Length: %d" % len(text)) + text)


def drip_of(conn, piece):
    """Minutes of small pieces; a client that goes by the time between two of them waits to the end."""
    for _ in range(600):
        conn.sendall(piece)
        time.sleep(0.1)


def headers_drip(conn, _):
    """Headers that come one by one and never end."""
    conn.sendall(b"HTTP/1.1 200 OK\r\n")
    drip_of(conn, b"X-Header: value\r\n")


def headers_flood(conn, _):
    """Many megabytes of headers at once, then more one by one."""
    conn.sendall(b"HTTP/1.1 200 OK\r\n")
    line = b"X-Header: " + b"v" * 1000 + b"\r\n"
    conn.sendall(line * (32 * 1024))
    drip_of(conn, line)


def chunk_length_drip(conn, _):
    """One chunk, then the length of the next digit by digit."""
    conn.sendall(CHUNKED + chunk(b"first"))
    drip_of(conn, b"0")


full_listeners = []


def full(conn, _):
    """The number of a port where connecting gets no answer, because too many wait there already."""
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    listener.listen(0)
    waiting = []
    for _ in range(4):
        client = socket.socket()
        client.setblocking(False)
        client.connect_ex(listener.getsockname())
        waiting.append(client)
    full_listeners.append((listener, waiting))
    text = b"%d" % listener.getsockname()[1]
    conn.sendall(head("200 OK", "Content-Length: %d" % len(text)) + text)


def status(conn, argument):
    """/status/<code>: that status with a short body."""
    conn.sendall(head(argument + " Any", "Content-Length: 5") + b"body\n")


def no_length(conn, _):
    """The end of the connection is the end of the body."""
    conn.sendall(head() + b"first,")
    conn.sendall(b"second")


def chunked_odd(conn, _):
    """Chunks of one byte, with extensions and leading zeros, and a trailer."""
    conn.sendall(CHUNKED)
    for byte in b"chunk":
        conn.sendall(b"0001;name=\"v\"\r\n" + bytes([byte]) + b"\r\n")
    conn.sendall(b"1A\r\n" + b"x" * 26 + b"\r\n0\r\nTrailer: t\r\n\r\n")


def slow(conn, _):
    """Ten pieces with pauses between them."""
    conn.sendall(head("200 OK", "Content-Length: 40"))
    for _ in range(10):
        conn.sendall(b"slow")
        time.sleep(0.1)


def drip(conn, _):
    """A few bytes every 20 ms for as long as the client listens (60 s at most)."""
    conn.sendall(CHUNKED)
    for _ in range(3000):
        conn.sendall(chunk(b"drip\n"))
        time.sleep(0.02)


def stall(conn, _):
    """Half a body, then silence until the client gives up."""
    conn.sendall(head("200 OK", "Content-Length: 100") + b"x" * 50)
    conn.settimeout(60)
    conn.recv(1)


def silent(conn, argument):
    """Says nothing, or with /silent/body nothing after half a body, until /speak (two minutes at most)."""
    global silent_count
    if argument == "body":
        conn.sendall(head("200 OK", "Content-Length: 100") + b"x" * 50)
    with counter_lock:
        silent_count += 1
    speak_up.wait(120)
    with counter_lock:
        silent_count -= 1
    if argument != "body":
        conn.sendall(head("200 OK", "Content-Length: 0"))


def speak(conn, _):
    """Ends every silence and returns their number."""
    with counter_lock:
        text = str(silent_count)
    speak_up.set()
    while True:
        with counter_lock:
            if silent_count == 0:
                break
        time.sleep(0.01)
    speak_up.clear()
    conn.sendall(head("200 OK", "Content-Length: %d" % len(text)) + text.encode())


def chunked(conn, argument):
    """/chunked/<bytes>: that many zero bytes in chunks."""
    conn.sendall(CHUNKED)
    left = int(argument)
    while left > 0:
        size = min(left, PIECE)
        conn.sendall(chunk(bytes(size)))
        left -= size
    conn.sendall(b"0\r\n\r\n")


def hashes_then_reset(conn, _):
    """A thousand good lines of a hash feed, then a reset in the middle of the body."""
    conn.sendall(head("200 OK", "Content-Length: 1000000"))
    conn.sendall(b"".join(HEX_LINE % number for number in range(1000)))
    time.sleep(0.2)
    reset_now(conn)


def hashes_then_endless(conn, _):
    """A thousand good lines of a hash feed, then more bytes than any client should accept."""
    conn.sendall(CHUNKED + chunk(b"".join(HEX_LINE % number for number in range(1000))))
    while True:
        conn.sendall(chunk(b"\n" * PIECE))


def count(conn, argument):
    """The number of requests so far, this kind not counted; with /count/silent of connections in silence."""
    with counter_lock:
        text = str(silent_count if argument == "silent" else len(requests))
    conn.sendall(head("200 OK", "Content-Length: %d" % len(text)) + text.encode())


def paths(conn, argument):
    """/paths/<number>: the paths of all requests after that many, one per line."""
    with counter_lock:
        text = b"".join(request.split(b" ")[1] + b"\n" for request in requests[int(argument):])
    conn.sendall(head("200 OK", "Content-Length: %d" % len(text)) + text)


BEHAVIOURS = {
    "close": close,
    "reset": reset,
    "garbage": garbage,
    "truncated": truncated,
    "status": status,
    "no-length": no_length,
    "chunked-odd": chunked_odd,
    "slow": slow,
    "drip": drip,
    "stall": stall,
    "silent": silent,
    "speak": speak,
    "chunked": chunked,
    "hashes-then-reset": hashes_then_reset,
    "hashes-then-endless": hashes_then_endless,
    "count": count,
    "paths": paths,
    "cut": cut,
    "cut-installer": cut_installer,
    "longer": longer,
    "length": length,
    "chunked-with-length": chunked_with_length,
    "chunked-cut": chunked_cut,
    "gzipped": gzipped,
    "echo": echo,
    "headers-drip": headers_drip,
    "headers-flood": headers_flood,
    "chunk-length-drip": chunk_length_drip,
    "full": full,
}


def serve(conn):
    with conn:
        try:
            request = b""
            while b"\r\n\r\n" not in request:
                piece = conn.recv(4096)
                if not piece:
                    return
                request += piece
            path = request.split(b" ")[1].decode("latin-1")
            _, name, *rest = path.split("?")[0].split("/")
            if name not in ("count", "paths", "speak"):
                with counter_lock:
                    requests.append(request)
            behaviour = BEHAVIOURS.get(name)
            if behaviour is None:
                conn.sendall(head("404 Not Found", "Content-Length: 0"))
            else:
                behaviour(conn, rest[0] if rest else "")
        except OSError:
            pass  # the client had heard enough


def main():
    listener = socket.create_server(("127.0.0.1", 0), backlog=64)
    print(listener.getsockname()[1], flush=True)
    while True:
        conn, _ = listener.accept()
        threading.Thread(target=serve, args=(conn,), daemon=True).start()


if __name__ == "__main__":
    sys.exit(main())
