#!/usr/bin/env python3
"""Checks an update for the service's clients and publishes it in one step.

    publish.py --tree /srv/korvel-updates --base-url https://updates.example.org \\
               --signatures hashes.txt --blocklist domains.txt \\
               --version 1.3.0 --installer KorvelSetup.exe
    publish.py --tree /srv/korvel-updates --signatures hashes.txt --dry-run
    publish.py --tree /srv/korvel-updates --rollback
    publish.py --tree /srv/korvel-updates --list
    publish.py --check https://updates.example.org

A part that is not named is taken over from the release in force; the first release needs only one of them. The
checks are the clients' own limits, and what would hurt a fleet: every client accepts what passes them. Nothing is
visible to clients until every check has passed; then the link "current" moves to the new release.

Exit status: 0 done, 1 refused or problems found, 2 wrong arguments.
"""
import argparse
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from korvel_publish import actions, check, rules  # noqa: E402
from korvel_publish.problems import Refused  # noqa: E402

KEEP = 10


def count_to_keep(text):
    if not text.isdigit() or int(text) < 2:
        raise argparse.ArgumentTypeError("at least 2: the one in force and the one to go back to")
    return int(text)


def parser():
    result = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    result.add_argument("--tree", help="the folder that the web server serves 'current' of")
    parts = result.add_argument_group("parts of a release")
    parts.add_argument("--signatures", metavar="FILE", help="SHA-256 hashes, one per line")
    parts.add_argument("--blocklist", metavar="FILE", help="domains, one per line")
    parts.add_argument("--version", help="version of the installer")
    parts.add_argument("--installer", metavar="FILE", help="the Windows installer")
    parts.add_argument("--base-url", default="", help="address of the server as clients see it")
    parts.add_argument("--server", metavar="NAME", action="append", default=[],
                       help="another name that clients reach the server or a mirror by; remembered, never blocked")
    parts.add_argument("--allow", metavar="FILE", action="append", default=[],
                       help="digests and domains that are never published; allow.txt in the tree always counts")
    parts.add_argument("--keep", metavar="N", type=count_to_keep, default=KEEP,
                       help=f"how many releases and installers stay ({KEEP} unless given, at least 2)")
    parts.add_argument("--dry-run", action="store_true", help="compare with the release in force and write nothing")
    meant = result.add_argument_group("what is refused unless it is meant")
    meant.add_argument("--downgrade", action="store_true", help="publish a lower version than the one in force")
    meant.add_argument("--shrink", action="store_true", help="publish a list less than half as long as the one in force")
    meant.add_argument("--empty-blocklist", action="store_true", help="publish a blocklist without a domain")
    action = result.add_mutually_exclusive_group()
    action.add_argument("--rollback", action="store_true", help="go back to the release before the one in force")
    action.add_argument("--list", action="store_true", help="show the releases, what each holds and what it changed")
    action.add_argument("--check", metavar="DIR|URL",
                        help="hold a tree, a release or a running server against the clients' limits")
    return result


def run_check(options):
    findings = check.check(options.check, map(rules.server_name, options.server))
    problems = findings.problems.shown()
    print("\n".join(findings.report + [f"note:       {note}" for note in findings.notes]))
    for problem in problems:
        print(f"problem:    {problem}")
    print(f"checked:    {len(findings.problems.texts):,} problems")
    return 1 if problems else 0


def main(arguments=None):
    arguments_parser = parser()
    options = arguments_parser.parse_args(arguments)
    if not options.tree and not options.check:
        arguments_parser.error("--tree is missing")
    try:
        if options.check:
            return run_check(options)
        action = actions.rollback if options.rollback else actions.show if options.list else actions.publish
        print("\n".join(action(options)))
    except (Refused, OSError, ValueError) as reason:
        for line in str(reason).splitlines():
            print(f"publish.py: {line}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
