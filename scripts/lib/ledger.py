#!/usr/bin/env python3
"""The ledger of evidence: docs/evidence/AREA.json, and the tables of docs/evidence.md that are made of them.

ledger.py record AREA --amount N --unit UNIT [--part NAME] [--findings N] [--replace]
    Adds an amount to what AREA has so far, with the commit of now and today's date, and writes the page anew. An area
    may count in several units, and each unit in parts (one a fuzz target, say). --replace is for what does not add
    up, such as a share in percent: the amount takes the place of the last one. --findings are new ones.
ledger.py page
    Writes the tables of the page anew, as after a change of a file or a merge.
ledger.py check
    Fails when the page is not what the files say, or when a named test does not exist.

What is written by hand in AREA.json: "title"; "faults", a list of {"found": what was wrong,
"tests": what holds it now}. Tests are "program: Suite.Case, Suite.Case; program: ...", or a path below the tree's root.
"""
import argparse
import contextlib
import datetime
import fcntl
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "tests" / "behaviour"))
import check_pins  # noqa: E402

HEAD = ["| area | commit | amount | findings | tests that hold them |", "|---|---|---|---|---|"]
PARTS_HEAD = ["| part | amount |", "|---|---|"]
MARK = re.compile(r"<!-- ledger( [a-z0-9_]+)?: (begin|end) -->")
AREA = re.compile(r"[a-z0-9_]+")


class Ledger:
    def __init__(self, root):
        self.root = root
        self.page = root / "docs" / "evidence.md"
        self.folder = root / "docs" / "evidence"

    @contextlib.contextmanager
    def locked(self):
        """Areas that run at the same time write one after the other."""
        self.folder.mkdir(exist_ok=True)
        folder = os.open(self.folder, os.O_RDONLY)
        try:
            fcntl.flock(folder, fcntl.LOCK_EX)
            yield
        finally:
            os.close(folder)

    def read(self, area):
        path = self.folder / f"{area}.json"
        if not path.exists():
            return {"title": area, "commit": "", "date": "", "amounts": [], "findings": 0, "faults": []}
        return json.loads(path.read_text(encoding="utf-8"))

    def areas(self):
        return {path.stem: self.read(path.stem) for path in sorted(self.folder.glob("*.json"))}

    def write(self, area, entry):
        text = json.dumps(entry, indent=2, ensure_ascii=False) + "\n"
        replace_file(self.folder / f"{area}.json", text)

    def write_page(self):
        replace_file(self.page, rendered(self.page.read_text(encoding="utf-8"), self.areas()))


def replace_file(path, text):
    """The old content or the new one, whatever ends this program."""
    fresh = path.with_name(path.name + ".new")
    fresh.write_text(text, encoding="utf-8")
    fresh.replace(path)


def number(text):
    """A whole number where it is one."""
    value = float(text)
    if not 0 <= value < 1e18:
        raise ValueError(text)
    return int(value) if value == int(value) else value


def add_amount(entry, amount, unit, part, replace):
    for line in entry["amounts"]:
        if (line["unit"], line.get("part", "")) == (unit, part):
            line["amount"] = amount if replace else line["amount"] + amount
            return
    line = {"unit": unit, "amount": amount}
    if part:
        line["part"] = part
    entry["amounts"].append(line)
    entry["amounts"].sort(key=lambda each: (each["unit"], each.get("part", "")))


def amount_text(amount):
    return f"{amount:,}"


def total_text(entry):
    """One text for each unit; what has parts is summed up."""
    sums = {}
    for line in entry["amounts"]:
        sums[line["unit"]] = sums.get(line["unit"], 0) + line["amount"]
    return ", ".join(f"{amount_text(amount)} {unit}" for unit, amount in sums.items()) or "none so far"


def findings_text(entry):
    """A finding that no fault describes has no test yet: it is open."""
    still_open = entry["findings"] - len(entry["faults"])
    return str(entry["findings"]) + (f", {still_open} open" if still_open > 0 else "")


def tests_text(entry):
    tests = []
    for fault in entry["faults"]:
        if fault["tests"] not in tests:
            tests.append(fault["tests"])
    return "; ".join(tests) or "-"


def area_rows(areas):
    rows = list(HEAD)
    for area, entry in areas.items():
        cells = [f"{entry['title']} (`{area}`)", entry["commit"] or "-", total_text(entry), findings_text(entry)]
        rows.append("| " + " | ".join(cells + [tests_text(entry)]) + " |")
    return rows


def part_rows(entry):
    lines = [line for line in entry["amounts"] if "part" in line]
    rows = [f"| {line['part']} | {amount_text(line['amount'])} {line['unit']} |" for line in lines]
    return PARTS_HEAD + rows


def rendered(page, areas):
    """The page with its tables written anew: "ledger" all areas, "ledger AREA" the parts of one."""
    result, inside = [], None
    for line in page.splitlines():
        mark = MARK.fullmatch(line)
        if mark is None:
            if inside is None:
                result.append(line)
            continue
        name, what = (mark[1] or "").strip(), mark[2]
        if (what == "begin") != (inside is None) or (what == "end" and name != inside):
            raise ValueError(f"the marks of the page do not pair: {line}")
        if what == "end":
            inside = None
        result.append(line)
        if what == "begin":
            inside = name
            result += part_rows(areas[name]) if name in areas else [] if name else area_rows(areas)
    if inside is not None:
        raise ValueError("the page ends inside a table")
    return "\n".join(result) + "\n"


def commit_now(root):
    """The short name of the commit, with a plus where the sources differ from it."""
    def git(*arguments):
        command = ["git", "-C", str(root), *arguments]
        return subprocess.run(command, check=False, capture_output=True, text=True).stdout.strip()
    commit = git("rev-parse", "--short=10", "HEAD")
    changed = git("status", "--porcelain", "--", "src", "tests", "tools", "cmake", "scripts")
    return (commit or "unknown") + ("+" if changed else "")


def record(ledger, arguments):
    with ledger.locked():
        entry = ledger.read(arguments.area)
        add_amount(entry, arguments.amount, arguments.unit, arguments.part, arguments.replace)
        entry["findings"] += arguments.findings
        entry["commit"] = commit_now(ledger.root)
        entry["date"] = datetime.date.today().isoformat()
        ledger.write(arguments.area, entry)
        ledger.write_page()
    return 0


def missing_tests(root, area, fault, cases):
    """What a fault names as its tests and the tree does not have."""
    for group in filter(None, (part.strip() for part in fault["tests"].split(";"))):
        if ":" not in group:
            if not (root / group).exists():
                yield f"{area}: no such file: {group}"
            continue
        for program, case in check_pins.named_tests(group):
            if case not in cases.get(program, ()):
                yield f"{area}: no such test: {program}: {case}"


def check(ledger):
    faults = []
    areas = ledger.areas()
    page = ledger.page.read_text(encoding="utf-8")
    if rendered(page, areas) != page:
        faults.append("docs/evidence.md is not what docs/evidence/*.json say: scripts/lib/ledger.py page")
    cases = check_pins.cases_by_program(ledger.root / "tests")
    for area, entry in areas.items():
        for fault in entry["faults"]:
            if not fault["found"] or not fault["tests"]:
                faults.append(f"{area}: a fault needs what was found and its tests")
            faults += missing_tests(ledger.root, area, fault, cases)
    for fault in faults:
        print(fault)
    print(f"areas {len(areas)} faults of the ledger {len(faults)}")
    return 1 if faults else 0


def area_name(text):
    if not AREA.fullmatch(text):
        raise ValueError(text)
    return text


def main(words, root=ROOT):
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(dest="command", required=True)
    adding = commands.add_parser("record")
    adding.add_argument("area", type=area_name)
    adding.add_argument("--amount", type=number, required=True)
    adding.add_argument("--unit", required=True)
    adding.add_argument("--part", default="")
    adding.add_argument("--findings", type=int, default=0)
    adding.add_argument("--replace", action="store_true")
    commands.add_parser("page")
    commands.add_parser("check")
    arguments = parser.parse_args(words)
    ledger = Ledger(pathlib.Path(root))
    if arguments.command == "record":
        return record(ledger, arguments)
    if arguments.command == "check":
        return check(ledger)
    with ledger.locked():
        ledger.write_page()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
