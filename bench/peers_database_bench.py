#!/usr/bin/env python3
"""What a database of many SHA-256 digests costs other tools and the service: processor time and memory.

usage: peers_database_bench.py ROOT DATABASE SERVICE [--tiny]

ROOT holds the unpacked packages of the other tools. DATABASE is a signature file; each tool gets its digests in a form
that it reads, and one small file to look at, three times; the least counts. SERVICE is the process that the service
was started as: it has loaded DATABASE and done nothing else, so its figures are those of its whole start under Wine.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

import idle_bench
import peers_bench

MIB = 1 << 20


def run_tool(command, environment, accepted):
    """(processor seconds, MiB at the peak) of one run."""
    process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    _, status, used = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode not in accepted:
        sys.exit(f"error: {command[0]} ended with {process.returncode}")
    return used.ru_utime + used.ru_stime, used.ru_maxrss * 1024 / MIB


def peak_mebibytes(process):
    for line in (process / "status").read_text().splitlines():
        if line.startswith("VmHWM:"):
            return int(line.split()[1]) * 1024 / MIB
    sys.exit("error: the service has no peak")


def digests_of(database):
    with database.open() as lines:
        return [line.strip() for line in lines if len(line) == 65]


def write_lines(path, lines):
    with path.open("w") as file:
        file.writelines(line + "\n" for line in lines)


def tools(root, digests, work):
    """(name, command, accepted exit codes)."""
    binaries = root / "usr/bin"
    file = work / "file.bin"
    file.write_bytes(b"x" * 1000)
    own = work / "own"
    own.mkdir()
    write_lines(own / "own.hsb", (digest + ":1000:T" for digest in digests))
    write_lines(work / "known", (digest + "  known" for digest in digests))
    return [
        ("clamscan", [binaries / "clamscan", "--no-summary", f"--database={own}", file], (0,)),
        ("sha256deep", [binaries / "sha256deep", "-j0", "-m", work / "known", file], (0, 1)),
    ]


def main(root, database, process, tiny):
    service = idle_bench.find_service(process)
    rows = [("this service, its start included", peers_bench.process_seconds(service), peak_mebibytes(service))]
    digests = digests_of(database)
    environment = peers_bench.tool_environment(root)
    with tempfile.TemporaryDirectory(prefix="korvel-peers-") as folder:
        for name, command, accepted in tools(root, digests, pathlib.Path(folder)):
            command = [str(word) for word in command]
            runs = [run_tool(command, environment, accepted) for _ in range(1 if tiny else 3)]
            rows.insert(0, (name, min(seconds for seconds, _ in runs), min(peak for _, peak in runs)))
    print(f"{len(digests)} digests")
    for name, seconds, peak in rows:
        print(f"figure peers | {len(digests):,} digests: {name} | {seconds:.2f} s, {peak:.0f} MiB | - | -")


if __name__ == "__main__":
    words = [word for word in sys.argv[1:] if word != "--tiny"]
    main(pathlib.Path(words[0]), pathlib.Path(words[1]), int(words[2]), "--tiny" in sys.argv)
