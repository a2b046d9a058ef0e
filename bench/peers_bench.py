#!/usr/bin/env python3
"""Megabytes per processor second of other tools and of the service, on the same files in one run.

usage: peers_bench.py ROOT FILES SERVICE SEED PLOT [--tiny] -- SCAN...

ROOT holds the unpacked packages of the other tools, FILES is the folder of files. SERVICE is the process that the
service was started as; SCAN is the command that has it scan the same folder and ends when it is done. SEED is the
service's signature file. Each tool gets as many signatures as it says below, runs three times over files that are
in the system's cache, and the least processor time counts; the service's includes that of Wine's server. PLOT is the
SVG that is written.
"""
import hashlib
import os
import pathlib
import random
import resource
import subprocess
import sys
import tempfile

import idle_bench

TICK = os.sysconf("SC_CLK_TCK")
MEGABYTE = 1e6


def random_digests(count, bits):
    source = random.Random(1)
    return [f"{source.getrandbits(bits):0{bits // 4}x}" for _ in range(count)]


def yara_rules():
    rules = ['import "hash"']
    for number, (md5, sha256) in enumerate(zip(random_digests(100, 128), random_digests(100, 256))):
        rules.append(f'rule r{number} {{ condition: hash.md5(0, filesize) == "{md5}" or '
                     f'hash.sha256(0, filesize) == "{sha256}" }}')
    return "\n".join(rules) + "\n"


def children_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def run_tool(command, environment, accepted):
    before = children_seconds()
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, timeout=600, check=False)
    if done.returncode not in accepted:
        sys.exit(f"error: {command[0]} ended with {done.returncode}: {done.stderr[-400:]}")
    return children_seconds() - before


def process_seconds(process):
    fields = (process / "stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICK


def wine_server(service):
    """The server of the prefix that `service` runs in."""
    prefix = next(entry for entry in (service / "environ").read_bytes().split(b"\0") if entry.startswith(b"WINEPREFIX="))
    for process in idle_bench.PROC.iterdir():
        try:
            if process.name.isdigit() and "wineserver" in (process / "comm").read_text():
                if prefix in (process / "environ").read_bytes().split(b"\0"):
                    return process
        except OSError:
            pass  # ended meanwhile
    sys.exit("error: no Wine server of " + prefix.decode())


def service_seconds(service, scan):
    processes = [service, wine_server(service)]
    before = sum(map(process_seconds, processes))
    done = subprocess.run(scan, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, timeout=600, check=False)
    if done.returncode not in (0, 1):  # 1: there were findings
        sys.exit(f"error: the scan ended with {done.returncode}")
    return sum(map(process_seconds, processes)) - before


def tool_environment(root):
    """The unpacked packages bring their libraries with them."""
    libraries = ":".join(str(folder) for folder in (root / "usr/lib").glob("*-linux-gnu"))
    return dict(os.environ, LD_LIBRARY_PATH=libraries)


def tools(root, files, work):
    """(name, command, accepted exit codes)."""
    signatures = work / "own"
    signatures.mkdir()
    lines = [f"{digest}:{1000 + number}:Test.{number}" for number, digest in enumerate(random_digests(200, 256))]
    (signatures / "own.hsb").write_text("\n".join(lines) + "\n")
    rules = work / "rules.yar"
    rules.write_text(yara_rules())
    binaries = root / "usr/bin"
    return [
        ("clamscan, 200 digests", [binaries / "clamscan", "-r", "-i", "--no-summary", f"--database={signatures}", files], (0,)),
        ("sha256deep", [binaries / "sha256deep", "-j0", "-r", files], (0,)),
        ("yara, 100 rules of MD5 and SHA-256", [binaries / "yara", "-p", "1", "-r", rules, files], (0,)),
        ("rhash, the same three digests", [binaries / "rhash", "--md5", "--sha1", "--sha256", "-r", files], (0,)),
    ]


def plot(rows, path):
    left, width, step = 250, 420, 34
    most = max(value for _, value in rows)
    height = step * len(rows) + 50
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 90}" height="{height}" '
             'font-family="sans-serif" font-size="13">', '<rect width="100%" height="100%" fill="white"/>',
             '<text x="10" y="22" font-weight="bold">MB per processor second, the same files, one run</text>']
    for number, (name, value) in enumerate(rows):
        top = 38 + step * number
        colour = "#0b6e99" if name.startswith("this service") else "#9aa5ad"
        parts.append(f'<text x="{left - 8}" y="{top + 16}" text-anchor="end">{name}</text>')
        parts.append(f'<rect x="{left}" y="{top}" width="{width * value / most:.1f}" height="22" fill="{colour}"/>')
        parts.append(f'<text x="{left + width * value / most + 6:.1f}" y="{top + 16}">{value:.0f}</text>')
    path.write_text("\n".join(parts) + "\n</svg>\n", encoding="utf-8")


def main(root, files, process, seed, picture, tiny, scan):
    rounds = 1 if tiny else 3
    listed = [file for file in files.rglob("*") if file.is_file()]
    megabytes = sum(file.stat().st_size for file in listed) / MEGABYTE
    for file in listed:
        hashlib.md5(file.read_bytes())  # from now on in the system's cache
    environment = tool_environment(root)
    rows = []
    with tempfile.TemporaryDirectory(prefix="korvel-peers-") as folder:
        for name, command, accepted in tools(root, files, pathlib.Path(folder)):
            command = [str(word) for word in command]
            rows.append((name, megabytes / min(run_tool(command, environment, accepted) for _ in range(rounds))))
    service = idle_bench.find_service(process)
    signatures = sum(1 for line in seed.read_text().splitlines() if len(line.split(":")[0]) in (32, 40, 64))
    rows.append((f"this service, {signatures} digests", megabytes / min(service_seconds(service, scan) for _ in range(rounds))))
    print(f"{len(listed)} files, {megabytes:.0f} MB")
    for name, value in rows:
        print(f"figure peers | {name} | {value:.0f} MB per processor second | - | -")
    plot(rows, picture)


if __name__ == "__main__":
    split = sys.argv.index("--")
    words = [word for word in sys.argv[1:split] if word != "--tiny"]
    main(pathlib.Path(words[0]), pathlib.Path(words[1]), int(words[2]), pathlib.Path(words[3]), pathlib.Path(words[4]),
         "--tiny" in sys.argv, sys.argv[split + 1:])
