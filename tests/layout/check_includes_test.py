#!/usr/bin/env python3
"""Shows that check_includes.py notices what it is there for."""
import unittest

import check_includes as check

PLAN = {
    "base/win.h": "#include <windows.h>\n",
    "base/text.h": "#include <string>\n",
    "base/files.h": '#include "base/win.h"\n',
    "service/runtime/log.h": '#include "base/text.h"\n',
    "scan/records.h": '#include "base/text.h"\n',
    "scan/hash/md5.h": '#include "base/text.h"\n',
    "scan/scanner.cpp": '#include "scan/records.h"\n#include "scan/hash/md5.h"\n#include "base/files.h"\n',
    "service/main.cpp": '#include "scan/records.h"\n#include "service/runtime/log.h"\n',
}


def arrows(**added):
    return list(check.check_arrows({**PLAN, **{path.replace("__", "/") + ".cpp": text for path, text in added.items()}}))


class Includes(unittest.TestCase):
    def test_reads_both_kinds_in_order(self):
        text = '#include "a/b.h"\n  #  include <c>\nint x; // #include "no.h" is not at the start of a line\n'
        self.assertEqual(check.includes(text), (["a/b.h"], ["c"]))

    def test_skips_comments(self):
        self.assertEqual(check.includes('// #include "a.h"\n/*\n#include "b.h"\n*/\n'), ([], []))


class Rooms(unittest.TestCase):
    def test_is_the_longest_folder_of_the_plan(self):
        self.assertEqual(check.room_of("scan/hash/md5.h"), "scan/hash")
        self.assertEqual(check.room_of("scan/records.h"), "scan")
        self.assertEqual(check.room_of("service/runtime/log.h"), "service/runtime")
        self.assertEqual(check.room_of("scan/kernels/x.h"), "scan")
        self.assertIsNone(check.room_of("support/x.h"))
        self.assertIsNone(check.room_of("x.h"))

    def test_plan_has_no_cycle(self):
        order = []
        remaining = dict(check.ROOMS)
        while remaining:
            ready = [room for room, may in remaining.items() if not set(may) & set(remaining)]
            self.assertTrue(ready, f"cycle among {sorted(remaining)}")
            order += ready
            for room in ready:
                del remaining[room]
        self.assertEqual(len(order), len(check.ROOMS))


class Arrows(unittest.TestCase):
    def test_planned_arrows_pass(self):
        self.assertEqual(arrows(), [])

    def test_an_arrow_upwards_fails(self):
        self.assertEqual(len(arrows(base__bad='#include "scan/records.h"\n')), 1)

    def test_a_sub_room_may_not_use_its_parent(self):
        self.assertEqual(len(arrows(scan__hash__bad='#include "scan/records.h"\n')), 1)

    def test_nobody_includes_service(self):
        problems = list(check.check_arrows({**PLAN, "service/host.h": "", "ipc/bad.cpp": '#include "service/host.h"\n'}))
        self.assertEqual(problems, ['src/ipc/bad.cpp: ipc must not include service ("service/host.h")'])

    def test_a_room_outside_the_plan_fails(self):
        self.assertEqual(len(arrows(scan__bad='#include "support/temp.h"\n')), 1)
        self.assertEqual(len(arrows(gui__window="")), 1)

    def test_a_missing_header_fails(self):
        self.assertEqual(len(arrows(scan__bad='#include "scan/nosuch.h"\n')), 1)


class Pure(unittest.TestCase):
    CMAKE = "korvel_room(scan\n  PURE rules.cpp # a comment\n  WINDOWS scanner.cpp\n  NATIVE stub.cpp\n  DEPENDS base)\n"

    def problems(self, rules, stub=""):
        sources = {**PLAN, "scan/rules.cpp": rules, "scan/stub.cpp": stub}
        return list(check.check_pure(sources, {"scan": self.CMAKE}))

    def test_lists_pure_and_native_sources(self):
        self.assertEqual(check.pure_sources(self.CMAKE), ["rules.cpp", "stub.cpp"])

    def test_windows_sources_may_reach_windows(self):
        self.assertEqual(self.problems('#include "scan/records.h"\n'), [])

    def test_pure_source_may_not_reach_windows_through_a_header(self):
        self.assertEqual(
            self.problems('#include "base/files.h"\n'),
            ["pure source reaches Windows: src/scan/rules.cpp -> base/files.h -> base/win.h"],
        )

    def test_pure_source_may_not_include_a_windows_header_itself(self):
        self.assertEqual(len(self.problems("#include <winhttp.h>\n")), 1)
        self.assertEqual(len(self.problems("", stub="#include <windows.h>\n")), 1)

    def test_pure_source_may_ask_the_processor(self):
        self.assertEqual(self.problems("#include <cpuid.h>\n#include <emmintrin.h>\n"), [])

    def test_a_listed_source_must_exist(self):
        self.assertEqual(len(list(check.check_pure(PLAN, {"scan": self.CMAKE}))), 2)


class WindowsHeader(unittest.TestCase):
    def test_only_one_file_includes_it(self):
        files = {"src/base/win.h": "#include <windows.h>\n", "tools/a.cpp": "#include <Windows.h>\n", "tests/b.cpp": ""}
        self.assertEqual(len(list(check.check_windows_header(files))), 1)


if __name__ == "__main__":
    unittest.main()
