#!/usr/bin/env python3
"""Shows that check_pins.py notices what it is there for."""
import pathlib
import tempfile
import unittest

import check_pins as check

TITLES = "| behaviour | tests |\n|---|---|\n"
CASES = {"a_tests": {"One.Is", "Two.Are"}, "b_tests": {"Three.Were"}}


def faults(rows):
    return check.check(TITLES + rows, CASES)[0]


class Rows(unittest.TestCase):
    def test_that_name_tests_that_exist_are_counted(self):
        table = TITLES + "| odd | a_tests: One.Is, Two.Are; b_tests: Three.Were |\n| even | a_tests: One.Is |\n"
        self.assertEqual(check.check(table, CASES), ([], 2, 4))

    def test_without_a_test_are_faults(self):
        for row in ("| odd | |\n", "| odd |\n", "| | a_tests: One.Is |\n"):
            self.assertEqual(len(faults(row)), 1, row)

    def test_with_a_test_that_is_not_there_are_faults(self):
        for tests in ("a_tests: One.Was", "a_tests: Three.Were", "c_tests: One.Is", "One.Is", "a_tests: One.Is,"):
            self.assertEqual(len(faults(f"| odd | {tests} |\n")), 1, tests)

    def test_are_wanted(self):
        self.assertEqual(faults(""), ["no rows"])


class Cases(unittest.TestCase):
    def test_are_those_of_the_sources_of_each_program(self):
        with tempfile.TemporaryDirectory() as folder:
            tests = pathlib.Path(folder) / "tests"
            (tests / "room").mkdir(parents=True)
            (tests / "room" / "CMakeLists.txt").write_text(
                "korvel_tests(room\n  PURE one_test.cpp\n  WINDOWS ${CMAKE_SOURCE_DIR}/tests/shared.cpp\n  ROOMS room)\n"
                "korvel_tests(other WINDOWS two_test.cpp)\n"
            )
            (tests / "room" / "one_test.cpp").write_text("TEST(One, Is) {}\n// TEST(Not, This)\n")
            (tests / "room" / "two_test.cpp").write_text("TEST_F(Two,\n       Are) {}\n")
            (tests / "shared.cpp").write_text("TEST_P(Three, Were) {}\n")
            self.assertEqual(
                check.cases_by_program(tests),
                {"room_tests": {"One.Is", "Three.Were"}, "other_tests": {"Two.Are"}},
            )


if __name__ == "__main__":
    unittest.main()
