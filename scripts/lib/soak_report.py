#!/usr/bin/env python3
"""Judges a soak and draws it: soak_report.py LOG SYSTEM FOLDER

LOG is the output of the test (lines "sample: seconds, private bytes, handles, threads", as Windows counts them),
SYSTEM what soak_sampler.py wrote. FOLDER gets soak.svg and soak.md, unless they are those of a longer soak and this one
was level.

Level means: after the first fifth of the time, the median of the last quarter of the samples is at most that of the
first quarter plus 2 MiB or 5 percent, whichever is more, for memory, plus 8 for handles and files, plus 3 for threads.
A leak of 100 bytes in each of the 100,000 pings of an hour would already show.
"""
import pathlib
import re
import statistics
import sys

MIB = 1024 * 1024
WARM_UP = 0.2
WIDTH, HEIGHT, LEFT, TOP, GAP = 760, 130, 70, 30, 46


def memory_bound(before):
    return max(2 * MIB, before * 0.05)


SERIES = [  # name, which file, column, what it may grow by, divisor, unit
    ("private bytes (Windows)", 0, 1, memory_bound, MIB, "MiB"),
    ("private bytes (system)", 1, 1, memory_bound, MIB, "MiB"),
    ("handles", 0, 2, lambda _: 8, 1, ""),
    ("open files (system)", 1, 2, lambda _: 8, 1, ""),
    ("threads", 0, 3, lambda _: 3, 1, ""),
]


def numbers(line):
    return [int(field) for field in line.split("\t")]


def read(log, system):
    marked = [line.strip()[8:] for line in log.read_text(errors="replace").splitlines() if line.startswith("sample: ")]
    return [numbers(line) for line in marked], [numbers(line) for line in system.read_text().splitlines()]


def judged(samples, column, bound):
    """The medians of the first and the last quarter after the warm-up, and whether that is level."""
    warm = [row for row in samples if row[0] >= samples[-1][0] * WARM_UP]
    quarter = max(1, len(warm) // 4)
    first = statistics.median(row[column] for row in warm[:quarter])
    last = statistics.median(row[column] for row in warm[-quarter:])
    return first, last, last <= first + bound(first)


def plot(samples, column, divisor, top, title):
    seconds = max(1, samples[-1][0])
    values = [row[column] / divisor for row in samples]
    highest = max(values) * 1.1 or 1
    points = " ".join(f"{LEFT + WIDTH * row[0] / seconds:.1f},{top + HEIGHT * (1 - value / highest):.1f}"
                      for row, value in zip(samples, values))
    warm = LEFT + WIDTH * WARM_UP
    return [f'<text x="{LEFT}" y="{top - 8}" font-weight="bold">{title}</text>',
            f'<rect x="{LEFT}" y="{top}" width="{WIDTH}" height="{HEIGHT}" fill="none" stroke="#999"/>',
            f'<line x1="{warm}" y1="{top}" x2="{warm}" y2="{top + HEIGHT}" stroke="#999" stroke-dasharray="4"/>',
            f'<text x="{LEFT - 6}" y="{top + 10}" text-anchor="end">{highest:.0f}</text>',
            f'<text x="{LEFT - 6}" y="{top + HEIGHT}" text-anchor="end">0</text>',
            f'<text x="{LEFT + WIDTH}" y="{top + HEIGHT + 15}" text-anchor="end">{seconds / 60:.0f} min</text>',
            f'<polyline points="{points}" fill="none" stroke="#1f5fa8" stroke-width="1.5"/>']


def minutes_of(page):
    """Of the soak that the page is about; 0 without one."""
    found = re.search(r"soak took (\d+) minutes", page.read_text(encoding="utf-8")) if page.exists() else None
    return int(found.group(1)) if found else 0


def main(log, system, folder):
    files = read(pathlib.Path(log), pathlib.Path(system))
    if any(len(samples) < 8 for samples in files):
        sys.exit("too few samples")
    picture, rows, level_all = [], [], True
    for place, (name, which, column, bound, divisor, unit) in enumerate(SERIES):
        samples = files[which]
        first, last, level = judged(samples, column, bound)
        level_all = level_all and level
        rows.append(f"| {name} | {first / divisor:,.1f} {unit} | {last / divisor:,.1f} {unit} | "
                    f"{(first + bound(first)) / divisor:,.1f} {unit} | {'yes' if level else '**no**'} |")
        title = name + (f", {unit}" if unit else "")
        picture += plot(samples, column, divisor, TOP + place * (HEIGHT + GAP), title)
        print(f"        {name}: {first / divisor:.1f} -> {last / divisor:.1f} {unit} {'level' if level else 'NOT LEVEL'}")
    minutes = round(files[0][-1][0] / 60)
    if level_all and minutes < minutes_of(pathlib.Path(folder) / "soak.md"):
        return 0
    height = TOP + len(SERIES) * (HEIGHT + GAP)
    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{LEFT + WIDTH + 20}" height="{height}" '
           'font-family="sans-serif" font-size="12">', '<rect width="100%" height="100%" fill="white"/>', *picture, "</svg>"]
    page = ["# What the service holds under a soak", "",
            f"The soak took {minutes} minutes. Medians of the first and the last quarter of the samples, after a warm-up of",
            "a fifth of the time; `scripts/lib/soak_report.py` states what counts as level.", "",
            "| what | first | last | bound | level |", "|---|---|---|---|---|", *rows, "",
            "![What the service held, over the time of the soak](soak.svg)"]
    (pathlib.Path(folder) / "soak.svg").write_text("\n".join(svg) + "\n", encoding="utf-8")
    (pathlib.Path(folder) / "soak.md").write_text("\n".join(page) + "\n", encoding="utf-8")
    return 0 if level_all else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
