#!/usr/bin/env python3
"""Shows that tally.py counts what a test run left behind, and that it loses no case and counts none wrongly."""
import contextlib
import io
import json
import pathlib
import tempfile
import unittest

import tally

PASSED = {"status": "RUN", "result": "COMPLETED"}
SKIPPED = {"status": "RUN", "result": "SKIPPED"}
DISABLED = {"status": "NOTRUN", "result": "SUPPRESSED"}
FAILED = {"status": "RUN", "result": "COMPLETED", "failures": [{"failure": "a.cpp:7\nwrong", "type": ""}]}

# As GoogleTest prints it.
LOG_OF_SKIPS = """\
[ RUN      ] Suite.Talks
a word
[       OK ] Suite.Talks (0 ms)
[ RUN      ] Suite.Skips
a.cpp:3: Skipped
no driver here
and no other one
[  SKIPPED ] Suite.Skips (0 ms)
[ RUN      ] Suite.Silent
a.cpp:4: Skipped

[  SKIPPED ] Suite.Silent (0 ms)
[ RUN      ] Suite.TalksAndSkips
no line endb.cpp(9): Skipped
why
[  SKIPPED ] Suite.TalksAndSkips (12 ms)
[  SKIPPED ] 3 tests, listed below:
[  SKIPPED ] Suite.Skips
"""


class TallyTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def leave(self, name, status, log="", cases=None):
        """Writes what one program or check leaves behind. `cases` maps the names of a suite's cases to their records."""
        (self.folder / f"{name}.status").write_text(f"{status}\n")
        (self.folder / f"{name}.log").write_text(log)
        if cases is not None:
            suite = {"name": "Suite", "testsuite": [{"name": case, **record} for case, record in cases.items()]}
            (self.folder / f"{name}.json").write_text(json.dumps({"testsuites": [suite]}))

    def run_tally(self, *names):
        """Returns (exit status, what is printed)."""
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            status = tally.main(self.folder, *names)
        return status, printed.getvalue()

    def closing_line(self):
        return self.run_tally()[1].splitlines()[-1]

    def test_counts_cases_of_programs_and_checks(self):
        self.leave("native.a", 0, cases={"One": PASSED, "Two": PASSED})
        self.leave("check.b", 0)
        self.assertEqual(self.run_tally(), (0, "3 passed, 0 failed\n"))

    def test_a_skipped_case_is_listed_with_its_reason_and_does_not_count_as_passed(self):
        self.leave("windows.a", 0, LOG_OF_SKIPS, {"Talks": PASSED, "Skips": SKIPPED})
        self.assertEqual(
            self.run_tally(),
            (
                0,
                "\nSKIPPED windows.a: Suite.Skips\n    no driver here\n    and no other one\n"
                "\n1 passed, 0 failed, 1 skipped\n",
            ),
        )

    def test_each_reason_belongs_to_its_case(self):
        self.assertEqual(
            tally.skip_reasons(LOG_OF_SKIPS),
            {"Suite.Skips": "no driver here\nand no other one", "Suite.Silent": "", "Suite.TalksAndSkips": "why"},
        )

    def test_lines_of_windows_end_with_a_return_too(self):
        self.assertEqual(tally.skip_reasons(LOG_OF_SKIPS.replace("\n", "\r\n")), tally.skip_reasons(LOG_OF_SKIPS))

    def test_a_skip_without_a_reason_is_listed(self):
        self.leave("windows.a", 0, LOG_OF_SKIPS, {"Talks": PASSED, "Silent": SKIPPED})
        self.assertIn("SKIPPED windows.a: Suite.Silent\n    no reason given\n", self.run_tally()[1])

    def test_a_disabled_case_is_skipped(self):
        self.leave("native.a", 0, cases={"One": PASSED, "DISABLED_Two": DISABLED})
        self.assertIn("SKIPPED native.a: Suite.DISABLED_Two\n    disabled\n", self.run_tally()[1])
        self.assertEqual(self.closing_line(), "1 passed, 0 failed, 1 skipped")

    def test_restarts_are_told_before_the_closing_line_and_change_no_count(self):
        self.leave("e2e.debug", 0, cases={"One": PASSED, "Two": {**PASSED, "restarts": "1"}})
        self.assertEqual(self.run_tally(), (0, "(1 restart of e2e.debug: Suite.Two)\n2 passed, 0 failed\n"))
        self.leave("windows.a", 1, cases={"Three": {**FAILED, "restarts": "1"}})
        _, printed = self.run_tally()
        self.assertTrue(
            printed.endswith(
                "\n\n(2 restarts of e2e.debug: Suite.Two, windows.a: Suite.Three)\n2 passed, 1 failed\n"
            )
        )

    def test_a_program_that_was_started_once_more_is_a_restart(self):
        self.leave("windows.a", 0, "attempt 1: Wine ended before the program began\nx\n", {"One": PASSED})
        self.assertEqual(
            self.run_tally(), (0, "(1 restart of windows.a (before its first case))\n1 passed, 0 failed\n")
        )

    def test_failures_are_listed_and_decide_on_the_exit_status(self):
        self.leave("native.a", 1, cases={"One": PASSED, "Two": FAILED, "Three": SKIPPED})
        status, printed = self.run_tally()
        self.assertEqual(status, 1)
        self.assertIn("\nFAILED native.a: Suite.Two\n    a.cpp:7\n    wrong\n", printed)
        self.assertEqual(self.closing_line(), "1 passed, 1 failed, 1 skipped")

    def test_a_case_that_failed_before_it_skipped_has_failed(self):
        self.leave("native.a", 1, cases={"One": PASSED, "Two": {**FAILED, "result": "SKIPPED"}})
        self.assertEqual(self.closing_line(), "1 passed, 1 failed")

    def test_a_program_without_a_report_has_failed(self):
        self.leave("windows.a", 0, "the last words\n")
        self.leave("check.b", 0)
        status, printed = self.run_tally()
        self.assertEqual(status, 1)
        self.assertIn("FAILED windows.a (status 0)\n    the last words\n", printed)
        self.assertEqual(self.closing_line(), "1 passed, 1 failed")

    def test_a_program_with_half_a_report_has_failed(self):
        self.leave("windows.a", 1)
        (self.folder / "windows.a.json").write_text('{"testsuites": [')
        self.assertEqual(self.closing_line(), "0 passed, 1 failed")

    def test_a_program_that_ran_no_case_has_failed(self):
        self.leave("native.a", 0, cases={})
        self.leave("check.b", 0)
        self.assertEqual(self.closing_line(), "1 passed, 1 failed")

    def test_a_program_that_failed_although_its_cases_passed_is_one_failure(self):
        self.leave("e2e.a", 86, "watchdog\n", {"One": PASSED, "Two": SKIPPED})
        self.assertIn("FAILED e2e.a (status 86)\n    watchdog\n", self.run_tally()[1])
        self.assertEqual(self.closing_line(), "1 passed, 1 failed, 1 skipped")

    def test_a_program_whose_cases_were_all_skipped_has_not_failed(self):
        self.leave("windows.a", 0, cases={"One": SKIPPED})
        self.leave("check.b", 0)
        self.assertEqual(self.run_tally()[0], 0)
        self.assertEqual(self.closing_line(), "1 passed, 0 failed, 1 skipped")

    def test_a_run_in_which_nothing_passed_has_failed(self):
        self.assertEqual(self.run_tally(), (1, "0 passed, 0 failed\n"))
        self.leave("windows.a", 0, cases={"One": SKIPPED})
        self.assertEqual(self.run_tally()[0], 1)

    def test_a_failed_check_is_one_failure(self):
        self.leave("check.a", 1, "what is wrong\n")
        self.assertEqual(
            self.run_tally(), (1, "\nFAILED check.a (status 1)\n    what is wrong\n\n0 passed, 1 failed\n")
        )

    def test_one_program_alone_shows_only_its_failures(self):
        self.leave("native.a", 1, cases={"One": PASSED, "Two": FAILED, "Three": SKIPPED})
        self.leave("check.b", 1)
        self.assertEqual(
            self.run_tally("native.a"), (0, "\nFAILED native.a: Suite.Two\n    a.cpp:7\n    wrong\n")
        )


if __name__ == "__main__":
    unittest.main()
