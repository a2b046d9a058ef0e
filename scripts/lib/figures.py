"""Makes one table of the figures that benchmarks printed.

usage: figures.py [--write PAGE] RESULT...

Each RESULT.txt holds lines "figure AREA | NAME | VALUE | BAR | yes, no or -". With --write the rows also replace those
of the same areas in the table between the two marker lines of PAGE; rows of other areas stay.
"""
import pathlib
import sys

BEGIN = "<!-- figures: begin, written by scripts/bench --write -->"
END = "<!-- figures: end -->"
HEAD = ["| area | figure | value | bar | holds |", "|---|---|---|---|---|"]


def read_figures(path):
    """Rows of five cells."""
    rows = []
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.startswith("figure "):
            rows.append([cell.strip() for cell in line.removeprefix("figure ").split(" | ")])
            if len(rows[-1]) != 5:
                sys.exit(f"error: not a figure in {path}: {line}")
    return rows


def print_table(rows):
    rows = [["area", "figure", "value", "bar", "holds"]] + rows
    widths = [max(len(row[column]) for row in rows) for column in range(5)]
    for row in rows:
        print(" | ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())


def merged(old, new):
    """`old`, where the rows in `new` replace the rows of the same area; new areas come last."""
    result, written = [], set()
    for row in old:
        if row[0] not in {fresh[0] for fresh in new}:
            result.append(row)
        elif row[0] not in written:
            written.add(row[0])
            result += [fresh for fresh in new if fresh[0] == row[0]]
    return result + [fresh for fresh in new if fresh[0] not in written]


def write_table(page, rows):
    lines = page.read_text(encoding="utf-8").splitlines()
    begin, end = lines.index(BEGIN), lines.index(END)
    old = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines[begin + 1:end]]
    old = [row for row in old if len(row) == 5][2:]  # without the head
    table = HEAD + ["| " + " | ".join(row) + " |" for row in merged(old, rows)]
    lines[begin + 1:end] = table
    page.write_text("\n".join(lines) + "\n", encoding="utf-8")


def main(arguments):
    page = None
    if arguments and arguments[0] == "--write":
        page, arguments = pathlib.Path(arguments[1]), arguments[2:]
    rows = [row for result in arguments for row in read_figures(pathlib.Path(result + ".txt"))]
    print_table(rows)
    if page:
        write_table(page, rows)


if __name__ == "__main__":
    main(sys.argv[1:])
