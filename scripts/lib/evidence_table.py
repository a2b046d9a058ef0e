#!/usr/bin/env python3
"""Puts rows into a table of figures: evidence_table.py FILE KEYS [--most AMOUNT WORST] COLUMN... <rows

FILE is a Markdown page that begins with whatever text it has and ends with the table. The rows on the standard input
have their fields separated by tabs; the first KEYS fields name a row, and a new row takes the place of the one with
the same name. Numbers are written with commas. With --most a row with a smaller AMOUNT than the one that is there only
brings its WORST with it, where that is worse (larger); both are names of columns.
"""
import fcntl
import os
import pathlib
import sys


def cell(text):
    return f"{int(text):,}" if text.isdigit() else text


def rows_of(lines):
    return [[field.strip() for field in line.strip().strip("|").split("|")] for line in lines]


def main(words):
    """Areas that run at the same time write one after the other."""
    page, keys, columns = pathlib.Path(words[0]), int(words[1]), words[2:]
    most = None
    if columns[0] == "--most":
        most, columns = (columns.index(columns[1], 3) - 3, columns.index(columns[2], 3) - 3), columns[3:]
    folder = os.open(page.parent, os.O_RDONLY)
    try:
        fcntl.flock(folder, fcntl.LOCK_EX)
        put_rows(page, keys, columns, most)
    finally:
        os.close(folder)


def number(field):
    return float(field.replace(",", ""))


def longer(old, new, most):
    """Of two rows of one name the one that says more."""
    if most is None or old is None:
        return new
    amount, worst = most
    if number(new[amount]) >= number(old[amount]):
        return new
    result = list(old)
    result[worst] = max(old[worst], new[worst], key=number)
    return result


def put_rows(page, keys, columns, most):
    lines = page.read_text(encoding="utf-8").splitlines() if page.exists() else []
    head = [line for line in lines if not line.startswith("|")]
    table = {tuple(row[:keys]): row for row in rows_of([line for line in lines if line.startswith("|")][2:])}
    for line in sys.stdin:
        row = [cell(field) for field in line.rstrip("\n").split("\t")]
        if len(row) != len(columns):
            sys.exit(f"not {len(columns)} fields: {line}")
        name = tuple(row[:keys])
        table[name] = longer(table.get(name), row, most)
    shown = [columns, ["---"] * len(columns)] + [table[key] for key in sorted(table)]
    while head and not head[-1]:
        head.pop()
    text = "\n".join(head + [""] + ["| " + " | ".join(row) + " |" for row in shown]) + "\n"
    fresh = page.with_name(page.name + ".new")
    fresh.write_text(text, encoding="utf-8")
    os.replace(fresh, page)


if __name__ == "__main__":
    main(sys.argv[1:])
