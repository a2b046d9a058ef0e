"""Adds up what a test run left behind and prints the closing line "N passed, N failed".

    tally.py FOLDER          the whole run
    tally.py FOLDER NAME     only what failed in one program or check, at once when it has ended

A folder holds for every program or check NAME its exit status (NAME.status), its output (NAME.log) and, for a
GoogleTest program that came to its end, its report (NAME.json). A program without a report, or one that failed
although every case in its report passed, counts as one failure under its own name.
"""
import json
import pathlib
import sys


def cases(report):
    """Yields (name, failure texts) for every case that ran."""
    for suite in report["testsuites"]:
        for case in suite["testsuite"]:
            if case["status"] != "RUN":
                continue
            texts = [failure["failure"] for failure in case.get("failures", [])]
            yield f"{suite['name']}.{case['name']}", texts


def read_report(path):
    try:
        return json.loads(path.read_text(encoding="utf-8", errors="replace"))
    except (OSError, ValueError):
        return None


def tally_one(folder, name):
    """Returns (passed, failures), each failure a (name, text) pair."""
    status = int((folder / f"{name}.status").read_text())
    report_path = folder / f"{name}.json"
    is_program = name.startswith(("native.", "windows.", "e2e."))
    report = read_report(report_path) if is_program else None
    passed, failures = 0, []
    if report is not None:
        for case, texts in cases(report):
            if texts:
                failures.append((f"{name}: {case}", "\n".join(texts)))
            else:
                passed += 1
    elif status == 0 and not is_program:
        passed = 1
    if not failures and (status != 0 or (is_program and passed == 0)):
        log = (folder / f"{name}.log").read_text(encoding="utf-8", errors="replace")
        failures.append((f"{name} (status {status})", "\n".join(log.splitlines()[-40:])))
    return passed, failures


def show(failures):
    for name, text in failures:
        print(f"\nFAILED {name}")
        print("    " + text.replace("\n", "\n    "))


def main(folder, name=None):
    folder = pathlib.Path(folder)
    if name is not None:
        show(tally_one(folder, name)[1])
        return 0
    passed, failures = 0, []
    for status in sorted(folder.glob("*.status")):
        one_passed, one_failures = tally_one(folder, status.name.removesuffix(".status"))
        passed += one_passed
        failures += one_failures
    show(failures)
    if failures:
        print()
    print(f"{passed} passed, {len(failures)} failed")
    return 1 if failures or passed == 0 else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
