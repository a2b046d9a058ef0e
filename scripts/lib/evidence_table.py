#!/usr/bin/env python3
"""Puts rows into a table of figures: evidence_table.py FILE KEYS COLUMN... <rows

FILE is a Markdown page that begins with whatever text it has and ends with the table. The rows on the standard input
have their fields separated by tabs; the first KEYS fields name a row, and a new row takes the place of the one with
the same name. Numbers are written with commas.
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
    folder = os.open(page.parent, os.O_RDONLY)
    try:
        fcntl.flock(folder, fcntl.LOCK_EX)
        put_rows(page, keys, columns)
    finally:
        os.close(folder)


def put_rows(page, keys, columns):
    lines = page.read_text(encoding="utf-8").splitlines() if page.exists() else []
    head = [line for line in lines if not line.startswith("|")]
    table = {tuple(row[:keys]): row for row in rows_of([line for line in lines if line.startswith("|")][2:])}
    for line in sys.stdin:
        row = [cell(field) for field in line.rstrip("\n").split("\t")]
        if len(row) != len(columns):
            sys.exit(f"not {len(columns)} fields: {line}")
        table[tuple(row[:keys])] = row
    shown = [columns, ["---"] * len(columns)] + [table[key] for key in sorted(table)]
    while head and not head[-1]:
        head.pop()
    text = "\n".join(head + [""] + ["| " + " | ".join(row) + " |" for row in shown]) + "\n"
    fresh = page.with_name(page.name + ".new")
    fresh.write_text(text, encoding="utf-8")
    os.replace(fresh, page)


if __name__ == "__main__":
    main(sys.argv[1:])
