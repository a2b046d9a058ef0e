#!/usr/bin/env python3
"""Scans a folder, follows the scan and takes what is dangerous into the quarantine.

  scan_and_quarantine.py FOLDER [PROGRAM ARGUMENT...]

PROGRAM speaks the protocol over its standard streams, as korvelmock --stdio does; without it the service is asked. Exit
status: 0 nothing dangerous, 1 everything dangerous is stored, 2 something was not carried out.
"""
import sys

import korvel

DANGEROUS = 3


def main(folder, command):
    connect = (lambda: korvel.ProgramStream(command)) if command else korvel.PipeStream
    with korvel.Service(connect) as service:
        service.start_scan(korvel.CUSTOM, [folder])
        for progress in service.follow():
            counts = progress["progress"]
            print(f"{counts['phase']}: {counts['filesDone']} of {counts['filesTotal']} files")
            for event in progress["events"]:
                print(f"meanwhile: {event['name']} in {event['path']}")
        end = korvel.outcome(progress)
        print(f"the scan is {end}")

        dangerous = [threat for threat in service.get_results() if threat["severity"] >= DANGEROUS]
        failed = 0
        for threat in dangerous:
            try:
                service.decide(threat, korvel.QUARANTINE)
                print(f"stored: {threat['path']} ({threat['name']}, {korvel.severity_name(threat['severity'])})")
            except korvel.Refused as refusal:
                failed += 1
                print(f"not stored: {threat['path']}: {refusal}")
        stored = service.list_quarantine()
        print(f"{len(stored)} files are in the quarantine")
        if failed or end != "completed" or not all(korvel.is_stored(stored, threat["path"]) for threat in dangerous):
            return 2
        return 1 if dangerous else 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    try:
        sys.exit(main(sys.argv[1], sys.argv[2:]))
    except (korvel.Refused, korvel.Unreachable, korvel.BrokenExchange) as problem:
        print(f"{type(problem).__name__}: {problem}", file=sys.stderr)
        sys.exit(2)
