#!/usr/bin/env python3
"""Writes down what the service of a Wine prefix holds, as this system counts it: soak_sampler.py PREFIX SECONDS

Every SECONDS a line: seconds since the service was first seen, private bytes, open files, threads; until it is ended.
"""
import os
import pathlib
import sys
import time


def service_of(prefix):
    """The folder of the service's process below /proc, or None."""
    wanted = f"WINEPREFIX={prefix}".encode()
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            command = (process / "cmdline").read_bytes()
            if b"KorvelService.exe" in command and wanted in (process / "environ").read_bytes().split(b"\0"):
                return process
        except OSError:
            continue  # it has ended
    return None


def sample(process):
    sums = (process / "smaps_rollup").read_text().splitlines()
    private = sum(int(line.split()[1]) for line in sums if line.startswith(("Private_", "Swap:")))
    return private * 1024, len(os.listdir(process / "fd")), len(os.listdir(process / "task"))


def main(prefix, seconds):
    process, began = None, 0.0
    while True:
        try:
            if process is None:
                process, began = service_of(prefix), time.monotonic()
            if process is not None:
                print(int(time.monotonic() - began), *sample(process), sep="\t", flush=True)
        except OSError:
            process = None
        time.sleep(seconds if process else 0.5)


if __name__ == "__main__":
    main(sys.argv[1], float(sys.argv[2]))
