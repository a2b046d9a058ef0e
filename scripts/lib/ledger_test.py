#!/usr/bin/env python3
"""Shows that the ledger of evidence adds up, loses nothing, and says so when it and the tree differ."""
import contextlib
import io
import json
import pathlib
import tempfile
import unittest

import ledger

PAGE = """# Evidence

<!-- ledger: begin -->
<!-- ledger: end -->

A text by hand.

<!-- ledger fuzz: begin -->
<!-- ledger fuzz: end -->
"""
TEST_SOURCE = "TEST(Reader, StopsAtTheEnd) {}\nTEST_F(Reader, ReadsAll) {}\n"


class LedgerTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "docs").mkdir()
        (self.root / "docs" / "evidence.md").write_text(PAGE)
        (self.root / "tests" / "pe").mkdir(parents=True)
        (self.root / "tests" / "pe" / "CMakeLists.txt").write_text("korvel_tests(pe PURE reader_test.cpp ROOMS pe)\n")
        (self.root / "tests" / "pe" / "reader_test.cpp").write_text(TEST_SOURCE)

    def run_ledger(self, *words):
        """Returns (exit status, what is printed)."""
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed), contextlib.redirect_stderr(printed):
            try:
                status = ledger.main(list(words), self.root)
            except SystemExit as end:
                status = end.code
        return status, printed.getvalue()

    def record(self, area, amount, unit, *words):
        self.assertEqual(self.run_ledger("record", area, "--amount", amount, "--unit", unit, *words), (0, ""))

    def entry(self, area):
        return json.loads((self.root / "docs" / "evidence" / f"{area}.json").read_text())

    def edit(self, area, **values):
        path = self.root / "docs" / "evidence" / f"{area}.json"
        path.write_text(json.dumps({**self.entry(area), **values}))
        self.assertEqual(self.run_ledger("page"), (0, ""))

    def row(self, start):
        lines = (self.root / "docs" / "evidence.md").read_text().splitlines()
        found = [line for line in lines if line.startswith(start)]
        self.assertEqual(len(found), 1, found)
        return [cell.strip() for cell in found[0].strip("|").split("|")]

    def test_amounts_of_one_unit_add_up(self):
        self.record("soak", "20", "scans")
        self.record("soak", "22", "scans")
        self.assertEqual(self.entry("soak")["amounts"], [{"unit": "scans", "amount": 42}])
        self.assertEqual(self.row("| soak")[2], "42 scans")

    def test_a_replaced_amount_does_not_add_up(self):
        self.record("mutation", "80.5", "% killed", "--replace")
        self.record("mutation", "85.25", "% killed", "--replace")
        self.assertEqual(self.row("| mutation")[2], "85.25 % killed")

    def test_parts_are_listed_and_summed_up(self):
        self.record("fuzz", "1000", "executions", "--part", "pe")
        self.record("fuzz", "500", "executions", "--part", "url")
        self.record("fuzz", "1", "executions", "--part", "pe")
        self.assertEqual(self.row("| fuzz")[2], "1,501 executions")
        self.assertEqual(self.row("| pe |"), ["pe", "1,001 executions"])
        self.assertEqual(self.row("| url |"), ["url", "500 executions"])

    def test_units_stand_beside_each_other(self):
        self.record("stop", "5", "stops")
        self.record("stop", "3", "phases", "--replace")
        self.assertEqual(self.row("| stop")[2], "3 phases, 5 stops")

    def test_each_area_has_one_row_and_the_text_by_hand_stays(self):
        for area in ("b", "a", "b"):
            self.record(area, "1", "runs")
        page = (self.root / "docs" / "evidence.md").read_text()
        self.assertLess(page.index("(`a`)"), page.index("(`b`)"))
        self.assertEqual(page.count("(`b`)"), 1)
        self.assertIn("\nA text by hand.\n", page)

    def test_a_finding_is_open_until_a_fault_describes_it(self):
        self.record("fuzz", "1", "executions", "--findings", "2")
        self.assertEqual(self.row("| fuzz")[3:], ["2, 2 open", "-"])
        self.edit("fuzz", faults=[{"found": "reads too far", "tests": "pe_tests: Reader.StopsAtTheEnd"}])
        self.assertEqual(self.row("| fuzz")[3:], ["2, 1 open", "pe_tests: Reader.StopsAtTheEnd"])
        self.record("fuzz", "1", "executions", "--findings", "1")
        self.assertEqual(self.row("| fuzz")[3], "3, 2 open")

    def test_what_is_written_by_hand_survives_a_record(self):
        self.record("fuzz", "1", "executions")
        self.edit("fuzz", title="Fuzzing", note="by hand")
        self.record("fuzz", "1", "executions")
        self.assertEqual(self.entry("fuzz")["note"], "by hand")
        self.assertEqual(self.row("| Fuzzing")[0], "Fuzzing (`fuzz`)")

    def test_the_check_passes_on_what_was_recorded(self):
        self.record("fuzz", "1", "executions", "--findings", "1")
        faults = [{"found": "x", "tests": "pe_tests: Reader.StopsAtTheEnd, Reader.ReadsAll; tests/pe/reader_test.cpp"}]
        self.edit("fuzz", faults=faults)
        self.assertEqual(self.run_ledger("check"), (0, "areas 1 faults of the ledger 0\n"))

    def test_the_check_finds_a_page_that_was_not_written_anew(self):
        self.record("fuzz", "1", "executions")
        page = self.root / "docs" / "evidence.md"
        page.write_text(page.read_text().replace("1 executions", "2 executions"))
        status, printed = self.run_ledger("check")
        self.assertEqual(status, 1)
        self.assertIn("docs/evidence.md is not what", printed)

    def test_the_check_finds_tests_that_do_not_exist(self):
        self.record("fuzz", "1", "executions", "--findings", "1")
        self.edit("fuzz", faults=[{"found": "x", "tests": "pe_tests: Reader.Gone; tests/pe/gone.bin"}])
        status, printed = self.run_ledger("check")
        self.assertEqual(status, 1)
        self.assertIn("fuzz: no such test: pe_tests: Reader.Gone\n", printed)
        self.assertIn("fuzz: no such file: tests/pe/gone.bin\n", printed)

    def test_the_check_finds_a_fault_without_a_test(self):
        self.record("fuzz", "1", "executions")
        self.edit("fuzz", faults=[{"found": "x", "tests": ""}])
        self.assertEqual(self.run_ledger("check")[0], 1)

    def test_a_page_with_marks_that_do_not_pair_is_left_as_it_is(self):
        page = self.root / "docs" / "evidence.md"
        for text in ("<!-- ledger: begin -->\nx\n", "<!-- ledger: begin -->\n<!-- ledger a: end -->\n"):
            page.write_text(text)
            with self.assertRaises(ValueError):
                ledger.main(["page"], self.root)
            self.assertEqual(page.read_text(), text)

    def test_what_is_no_amount_and_no_area_is_refused(self):
        for words in (("fuzz", "--amount", "-1"), ("fuzz", "--amount", "nan"), ("../x", "--amount", "1")):
            self.assertEqual(self.run_ledger("record", *words, "--unit", "u")[0], 2, words)
        self.assertFalse((self.root / "docs" / "evidence").exists())


if __name__ == "__main__":
    unittest.main()
