#!/usr/bin/env python3
"""Looks for every line of the log and every refusal of the service in docs/operation.md, and in README.md and
docs/korvelctl.md for the form `sc` where `sc.exe` is meant.

  check_messages.py

Prints what is missing; the exit status is 1 when something is.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
# What writes a line of the log, or hands a refusal on. The texts of failed calls of Windows ("ReadFile failed") come with
# a code and explain themselves.
CALLS = re.compile(
    r'\b(?:fail|failWith|failWin32|write|serviceLog|logInfo|logWarning|logException|log)\('
    r'(?:[\w:]+,\s*)?(?:\w+,\s*)?(?:std::string\()?"((?:[^"\\]|\\.)*)"')
FAILED_CALL = re.compile(r"^WinHttp|^\w+ failed(, code )?$")
ROOMS = ("engine", "net", "remedy", "server", "service", "protocol", "fw", "signatures")
# Written where nobody has to act: the diagnostics of the pipe's own transfers.
SILENT = {"connection closed", "payload too large", "nobody wants the rest", "given up", "initialising"}


def messages(text):
    """The fixed beginnings of the texts, without what is filled in."""
    for found in CALLS.findall(text):
        message = found.strip(" :(,=")
        if len(message) > 3 and message not in SILENT and not FAILED_CALL.match(message):
            yield message


def main():
    page = (ROOT / "docs/operation.md").read_text(encoding="utf-8")
    count, missing = 0, []
    for room in ROOMS:
        for path in sorted((ROOT / "src" / room).rglob("*.[ch]*")):
            for message in messages(path.read_text(encoding="utf-8")):
                count += 1
                if message not in page:
                    missing.append(f"{path.relative_to(ROOT)}: docs/operation.md does not explain '{message}'")
    for path in [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]:
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            if re.search(r"\bsc (create|start|stop|query|delete|config|failure)\b", line):
                missing.append(f"{path.relative_to(ROOT)}:{number}: 'sc' is another command in PowerShell, write sc.exe")
    print("\n".join([*missing, f"{count} messages looked for"]))
    return 1 if missing or count < 60 else 0


if __name__ == "__main__":
    sys.exit(main())
