#!/usr/bin/env python3
"""Runs the tests of the kit, or only those that are named: publish_test.py [rules_test | tree_test.Modes | ...]"""
import pathlib
import sys
import unittest

TESTS = pathlib.Path(__file__).resolve().parent / "tests"

if __name__ == "__main__":
    sys.path.insert(0, str(TESTS))
    names = sys.argv[1:] or sorted(path.stem for path in TESTS.glob("*_test.py"))
    suite = unittest.defaultTestLoader.loadTestsFromNames(names)
    sys.exit(not unittest.TextTestRunner(verbosity=1).run(suite).wasSuccessful())
