#!/usr/bin/env python3
"""Tests of soak_report.py and evidence_table.py."""
import contextlib
import io
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import evidence_table  # noqa: E402
import soak_report  # noqa: E402

MIB = 1024 * 1024


def samples(memory, handles=lambda _: 64, threads=lambda _: 6):
    return [[second, int(memory(second)), handles(second), threads(second)] for second in range(0, 3600, 15)]


class SoakReportTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def judge(self, log_rows, system_rows=None):
        log, system = self.folder / "log", self.folder / "system"
        line = "\t".join
        log.write_text("".join("sample: " + line(map(str, row)) + "\r\n" for row in log_rows))
        system.write_text("".join(line(map(str, row)) + "\n" for row in system_rows or log_rows))
        with contextlib.redirect_stdout(io.StringIO()):
            return soak_report.main(log, system, self.folder)

    def test_a_shorter_soak_takes_the_page_only_when_it_is_not_level(self):
        self.judge(samples(lambda second: 20 * MIB))
        page = (self.folder / "soak.md").read_text()
        self.assertIn("took 60 minutes", page)
        self.assertEqual(self.judge(samples(lambda second: 30 * MIB)[:40]), 0)
        self.assertEqual((self.folder / "soak.md").read_text(), page)
        self.assertEqual(self.judge(samples(lambda second: 20 * MIB + second * 100_000)[:40]), 1)
        self.assertIn("**no**", (self.folder / "soak.md").read_text())

    def test_a_level_process_passes_and_is_drawn(self):
        self.assertEqual(self.judge(samples(lambda second: 20 * MIB + second % 7 * 1000)), 0)
        self.assertIn("<polyline", (self.folder / "soak.svg").read_text())
        self.assertNotIn("**no**", (self.folder / "soak.md").read_text())

    def test_growth_in_the_warm_up_is_no_leak(self):
        self.assertEqual(self.judge(samples(lambda second: min(20, 5 + second / 40) * MIB)), 0)

    def test_a_hundred_bytes_for_each_ping_are_a_leak(self):
        self.assertEqual(self.judge(samples(lambda second: 20 * MIB + second * 100 * 30)), 1)
        self.assertIn("| private bytes (Windows) | ", (self.folder / "soak.md").read_text())

    def test_handles_and_threads_that_grow_are_found(self):
        level = samples(lambda _: 20 * MIB)
        self.assertEqual(self.judge(samples(lambda _: 20 * MIB, handles=lambda second: 64 + second // 100)), 1)
        self.assertEqual(self.judge(samples(lambda _: 20 * MIB, threads=lambda second: 6 + second // 500)), 1)
        files = samples(lambda _: 20 * MIB, handles=lambda second: 30 + second // 100)
        self.assertEqual(self.judge(level, files), 1, "open files as the system counts them")

    def test_too_few_samples_are_no_evidence(self):
        with self.assertRaises(SystemExit):
            self.judge(samples(lambda _: MIB)[:5])


class EvidenceTableTest(unittest.TestCase):
    def put(self, page, rows, *columns):
        with mock.patch.object(sys, "stdin", io.StringIO(rows)):
            evidence_table.main([str(page), "2", *(columns or ("phase", "build", "ms"))])
        return page.read_text().splitlines()

    def test_a_new_row_takes_the_place_of_the_one_with_its_name(self):
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / "page.md"
            page.write_text("# Title\n\nText.\n")
            self.put(page, "b\tdebug\t1234\na\tdebug\t7\n")
            self.assertEqual(self.put(page, "b\tdebug\t99\nb\trelease\t1\n"),
                             ["# Title", "", "Text.", "", "| phase | build | ms |", "| --- | --- | --- |",
                              "| a | debug | 7 |", "| b | debug | 99 |", "| b | release | 1 |"])

    def test_a_shorter_run_only_brings_what_was_worse_in_it(self):
        columns = ("--most", "stops", "slowest", "phase", "build", "stops", "slowest")
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / "page.md"
            self.put(page, "a\tdebug\t100\t1500\nb\tdebug\t100\t7\n", *columns)
            self.assertEqual(self.put(page, "a\tdebug\t5\t9\nb\tdebug\t5\t1600\n", *columns)[-2:],
                             ["| a | debug | 100 | 1,500 |", "| b | debug | 100 | 1,600 |"])
            self.assertEqual(self.put(page, "a\tdebug\t100\t9\n", *columns)[-2], "| a | debug | 100 | 9 |")

    def test_numbers_get_commas_and_a_short_row_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / "page.md"
            self.assertEqual(self.put(page, "b\tdebug\t1234\n")[-1], "| b | debug | 1,234 |")
            with self.assertRaises(SystemExit):
                self.put(page, "b\tdebug\n")


if __name__ == "__main__":
    unittest.main()
