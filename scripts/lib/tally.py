"""Adds up what a test run left behind. Prints what failed, what was skipped, and the closing line "N passed, N failed".
Where cases were skipped, the closing line is "N passed, N failed, N skipped". Where the platform lost a process and a
case started it once more, the line before it is "(N restarts of PROGRAM: CASE, ...)".

    tally.py FOLDER          the whole run
    tally.py FOLDER NAME     only the failures of one program or check, as soon as it has ended

A folder holds for every program or check NAME its exit status (NAME.status), its output (NAME.log) and, for a
GoogleTest program that came to its end, its report (NAME.json). A program without a report, or one that failed
although no case in its report failed, counts as one failure under its own name.

The exit status is 1 when something failed or nothing passed. Skipped cases do not change it.
"""
import json
import pathlib
import re
import sys
from typing import NamedTuple

# "file:12: Skipped" or "file(12): Skipped"; the lines after it are the reason.
SKIP_NOTICE = re.compile(r"(?::\d+|\(\d+\)): Skipped$")

# What windows_test.sh prints when it starts a program once more.
LOST_START = re.compile(r"^attempt \d+: Wine ended before the program began$", re.MULTILINE)


class Tally(NamedTuple):
    passed: int
    failures: list  # (name, text) pairs
    skips: list  # (name, reason) pairs
    restarts: list  # names, one for each restart


def cases(report):
    """Yields (name, case) for every case of a report."""
    for suite in report["testsuites"]:
        for case in suite["testsuite"]:
            yield f"{suite['name']}.{case['name']}", case


def read_report(path):
    try:
        return json.loads(path.read_text(encoding="utf-8", errors="replace"))
    except (OSError, ValueError):
        return None


def skip_reasons(log):
    """Maps the skipped cases to the reasons that they printed; the reports do not have them."""
    reasons, text = {}, []
    for line in log.splitlines():
        if line.startswith("[ RUN      ]") or SKIP_NOTICE.search(line):
            text = []
        elif line.startswith("[  SKIPPED ] ") and line.endswith(" ms)"):
            reasons[line.split()[3]] = "\n".join(text).strip()
        else:
            text.append(line)
    return reasons


def tally_program(name, report, log):
    """Counts the cases of one GoogleTest program."""
    reasons = skip_reasons(log)
    passed, failures, skips, restarts = 0, [], [], []
    for case_name, case in cases(report):
        full_name = f"{name}: {case_name}"
        restarts += [full_name] * int(case.get("restarts", 0))
        if case.get("failures"):
            failures.append((full_name, "\n".join(failure["failure"] for failure in case["failures"])))
        elif case["status"] != "RUN":
            skips.append((full_name, "disabled"))
        elif case.get("result") == "SKIPPED":
            skips.append((full_name, reasons.get(case_name) or "no reason given"))
        else:
            passed += 1
    return Tally(passed, failures, skips, restarts)


def tally_one(folder, name):
    status = int((folder / f"{name}.status").read_text())
    log = (folder / f"{name}.log").read_text(encoding="utf-8", errors="replace")
    is_program = name.startswith(("native.", "windows.", "e2e."))
    report = read_report(folder / f"{name}.json") if is_program else None
    if report is not None:
        tally = tally_program(name, report, log)
    else:
        tally = Tally(1 if status == 0 and not is_program else 0, [], [], [])
    tally.restarts.extend([f"{name} (before its first case)"] * len(LOST_START.findall(log)))
    ran_nothing = is_program and tally.passed == 0 and not tally.skips
    if not tally.failures and (status != 0 or ran_nothing):
        tally.failures.append((f"{name} (status {status})", "\n".join(log.splitlines()[-40:])))
    return tally


def tally_all(folder):
    total = Tally(0, [], [], [])
    for status in sorted(folder.glob("*.status")):
        one = tally_one(folder, status.name.removesuffix(".status"))
        total = Tally(*(before + more for before, more in zip(total, one)))
    return total


def show(what, entries):
    for name, text in entries:
        print(f"\n{what} {name}")
        print("    " + text.replace("\n", "\n    "))


def show_restarts(names):
    if names:
        print(f"({len(names)} restart{'s' if len(names) > 1 else ''} of {', '.join(names)})")


def main(folder, name=None):
    folder = pathlib.Path(folder)
    if name is not None:
        show("FAILED", tally_one(folder, name).failures)
        return 0
    passed, failures, skips, restarts = tally_all(folder)
    show("SKIPPED", skips)
    show("FAILED", failures)
    if failures or skips:
        print()
    show_restarts(restarts)
    print(f"{passed} passed, {len(failures)} failed" + (f", {len(skips)} skipped" if skips else ""))
    return 1 if failures or passed == 0 else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
