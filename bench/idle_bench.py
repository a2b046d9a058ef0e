#!/usr/bin/env python3
"""What the idle service costs per minute: how often its threads wake up, and their processor time.

usage: idle_bench.py PID [--tiny]

The service is process PID or one of its descendants; the figures come from /proc.
"""
import pathlib
import sys
import time

PROC = pathlib.Path("/proc")


def parent(pid):
    """The parent's id; the process name before it may hold blanks and brackets."""
    return int((PROC / pid / "stat").read_text().rpartition(")")[2].split()[1])


def descends(pid, ancestor):
    while pid != str(ancestor):
        if pid in ("0", "1"):
            return False
        pid = str(parent(pid))
    return True


def find_service(ancestor):
    for process in PROC.iterdir():
        try:
            command = (process / "cmdline").read_bytes()
            if process.name.isdigit() and b"KorvelService.exe" in command and descends(process.name, ancestor):
                if command.split(b"\0")[0].endswith(b"KorvelService.exe"):
                    return process
        except OSError:
            pass  # ended meanwhile
    sys.exit("error: no KorvelService.exe below process " + str(ancestor))


def cost(process):
    """(voluntary context switches, processor seconds) of all threads so far."""
    switches, nanoseconds = 0, 0
    for task in (process / "task").iterdir():
        for line in (task / "status").read_text().splitlines():
            if line.startswith("voluntary_ctxt_switches:"):
                switches += int(line.split()[1])
        nanoseconds += int((task / "schedstat").read_text().split()[0])
    return switches, nanoseconds / 1e9


def figure(name, value, bar):
    holds = "yes" if value <= bar else "no"
    print(f"figure idle | {name} | {value:.3g} | <= {bar} | {holds}")


def main(pid, tiny):
    settle, seconds = (0.5, 2) if tiny else (35, 60)  # the web shield has had its first turn by then
    service = find_service(pid)
    time.sleep(settle)
    begin, before = time.monotonic(), cost(service)
    time.sleep(seconds)
    after, minutes = cost(service), (time.monotonic() - begin) / 60
    figure("voluntary context switches a minute", (after[0] - before[0]) / minutes, 170)
    figure("processor seconds a minute", (after[1] - before[1]) / minutes, 0.05)


if __name__ == "__main__":
    main(int(sys.argv[1]), "--tiny" in sys.argv[2:])
