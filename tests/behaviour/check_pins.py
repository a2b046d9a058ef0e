#!/usr/bin/env python3
"""Checks that every row of a table of behaviour names tests, and that each of them exists in its program.

    check_pins.py [TABLE]

A test is written "program: Suite.Case". Programs and their sources come from the calls of korvel_tests() in the
CMakeLists.txt below tests/, the cases from the sources. Ends with one line that says how much there was.
"""

import pathlib
import re
import sys

TESTS = pathlib.Path(__file__).resolve().parent.parent
CASE = re.compile(r"^(?:TEST|TEST_F|TEST_P)\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)
PROGRAM = re.compile(r"korvel_tests\(\s*(\w+)(.*?)\)", re.DOTALL)
TITLES = ("behaviour", "---")


def cases_by_program(tests):
    """The cases of each test program, as {"base_tests": {"ByteView.Reads", ...}}."""
    cases = {}
    for listing in tests.glob("*/CMakeLists.txt"):
        text = listing.read_text(encoding="utf-8").replace("${CMAKE_SOURCE_DIR}", str(tests.parent))
        for name, arguments in PROGRAM.findall(text):
            sources = [listing.parent / word for word in arguments.split() if word.endswith(".cpp")]
            found = (CASE.findall(source.read_text(encoding="utf-8")) for source in sources)
            cases[name + "_tests"] = {f"{suite}.{case}" for matches in found for suite, case in matches}
    return cases


def rows(table):
    """The rows of all tables of a document, as (line number, behaviour, tests)."""
    for number, line in enumerate(table.splitlines(), start=1):
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if line.startswith("|") and cells[0] not in TITLES:
            yield number, cells[0], cells[1] if len(cells) == 2 else ""


def named_tests(text):
    """What a cell of tests names, as (program, case)."""
    for part in filter(None, (part.strip() for part in text.split(";"))):
        program, _, names = part.partition(":")
        for case in names.split(","):
            yield program.strip(), case.strip()


def check(table, cases):
    """The faults of a document, as texts, and how many rows and tests it has."""
    faults, row_count, test_count = [], 0, 0
    for number, behaviour, text in rows(table):
        row_count += 1
        tests = list(named_tests(text))
        test_count += len(tests)
        if not behaviour or not tests:
            faults.append(f"line {number}: a behaviour and its tests are wanted, in two cells")
        for program, case in tests:
            if case not in cases.get(program, ()):
                faults.append(f"line {number}: no such test: {program}: {case}")
    if row_count == 0:
        faults.append("no rows")
    return faults, row_count, test_count


def main():
    path = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else TESTS / "behaviour" / "intended_behaviour.md"
    faults, row_count, test_count = check(path.read_text(encoding="utf-8"), cases_by_program(TESTS))
    for fault in faults:
        print(fault)
    print(f"behaviours {row_count} tests {test_count} findings {len(faults)}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
