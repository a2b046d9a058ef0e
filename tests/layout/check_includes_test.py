#!/usr/bin/env python3
"""Shows that check_includes.py notices what it is there for: here each rule is kept once and broken once."""
import pathlib
import tempfile
import unittest

import check_includes as check

PAGE = """# Architecture

| part | may include |
|---|---|
| base | |

| room | duty | may include |
|---|---|---|
| `base` | texts | |
| `records` | values | base |
| `scan` | rules | records, base |
| `service` | entry point | scan |
| `tools/ctl` | client | records |

| room | colour | may include |
|---|---|---|
| `scan` | red | service |
"""

PLAN = {
    "base": [],
    "records": ["base"],
    "scan": ["records", "base"],
    "service": ["scan"],
    "tools/ctl": ["records"],
}

FILES = {
    "src/base/win.h": "#include <windows.h>\n",
    "src/base/text.h": "// Texts. Pure and thread-safe.\n#pragma once\n#include <string>\n",
    "src/base/text.cpp": '#include "base/text.h"\n',
    "src/base/files.h": '#include "base/win.h"\n',
    "src/records/finding.h": '#include "base/text.h"\n',
    "src/scan/rules.h": '#include "records/finding.h"\n',
    "src/scan/rules.cpp": '#include "scan/rules.h"\n#include "base/text.h"\n',
    "src/scan/walk.h": "",
    "src/scan/walk_win.cpp": '#include "scan/walk.h"\n#include "scan/rules.h"\n#include "base/files.h"\n',
    "src/service/main.cpp": '#include "scan/rules.h"\n',
    "tools/ctl/list.h": '#include "records/finding.h"\n',
    "tools/ctl/main.cpp": '#include "ctl/list.h"\n',
    "tests/base/text_test.cpp": "",
    "tests/records/finding_test.cpp": "",
    "tests/scan/rules_test.cpp": "",
    "tests/service/main_test.cpp": "",
}

CMAKE = {
    "base": "korvel_room(base\n  PURE text.cpp\n  WINDOWS files.cpp) # nothing below\n",
    "records": "korvel_room(records\n  DEPENDS base)\n",
    "scan": "korvel_room(scan\n  PURE rules.cpp\n  WINDOWS walk_win.cpp\n  DEPENDS base # in any order\n  records)\n",
    "service": "korvel_room(service\n  WINDOWS main.cpp\n  DEPENDS scan\n  LIBRARIES advapi32)\n",
    "tools/ctl": "target_link_libraries(korvel_ctl PUBLIC korvel_records)\n",
}

TEST_FOLDERS = ["base", "records", "scan", "service", "layout"]


class PlanPage(unittest.TestCase):
    def test_the_table_of_rooms_is_the_plan(self):
        self.assertEqual(check.read_plan(PAGE), (PLAN, []))

    def test_a_page_without_the_table_fails(self):
        plan, problems = check.read_plan("# Architecture\n\n| room | may include |\n|---|---|\n")
        self.assertEqual((plan, len(problems)), ({}, 1))

    def test_a_second_table_fails(self):
        self.assertEqual(len(check.read_plan(PAGE + PAGE)[1]), 1)

    def test_a_row_of_another_shape_fails(self):
        for row in ("| `net` | base |", "| `net` | feeds | base | more |", "| | feeds | base |"):
            problems = check.read_plan(PAGE.replace("| `scan` | rules", row + "\n| `scan` | rules"))[1]
            self.assertEqual(problems, [f"docs/architecture.md: not a row of the plan: {row}"])

    def test_a_second_row_of_a_room_fails(self):
        problems = check.read_plan(PAGE.replace("| `service` |", "| `scan` | rules | |\n| `service` |"))[1]
        self.assertEqual(problems, ["docs/architecture.md: scan has two rows"])


class Plan(unittest.TestCase):
    def problems(self, rooms=tuple(PLAN), **rows):
        return list(check.check_plan({**PLAN, **rows}, rooms))

    def test_a_plan_without_faults_passes(self):
        self.assertEqual(self.problems(), [])

    def test_a_folder_without_a_row_fails(self):
        self.assertEqual(self.problems([*PLAN, "gui"]), ["src/gui: has no row in the plan"])
        self.assertEqual(self.problems([*PLAN, "tools/x"]), ["tools/x: has no row in the plan"])

    def test_a_row_without_a_folder_fails(self):
        self.assertEqual(len(self.problems([room for room in PLAN if room != "scan"])), 1)

    def test_an_allowance_without_a_row_fails(self):
        self.assertEqual(
            self.problems(scan=["base", "hash"]), ["docs/architecture.md: scan may include hash, which has no row"]
        )

    def test_an_allowance_of_what_stands_above_all_rooms_fails(self):
        self.assertEqual(
            self.problems(**{"tools/ctl": ["service"]}),
            ["docs/architecture.md: tools/ctl may not include service, which stands above all rooms"],
        )
        self.assertEqual(len(self.problems(service=["tools/ctl"])), 1)

    def test_a_cycle_fails(self):
        self.assertEqual(
            self.problems(base=["scan"]),
            ["docs/architecture.md: the plan has a cycle among base, records, scan"],
        )
        self.assertEqual(
            self.problems(base=["base"]), ["docs/architecture.md: the plan has a cycle among base"]
        )


class Includes(unittest.TestCase):
    def test_reads_both_kinds_in_order(self):
        text = '#include "a/b.h"\n  #  include <c>\nint x; // #include "no.h" is not at the start of a line\n'
        self.assertEqual(check.includes(text), (["a/b.h"], ["c"]))

    def test_skips_comments(self):
        self.assertEqual(check.includes('// #include "a.h"\n/*\n#include "b.h"\n*/\n'), ([], []))

    def test_paths_begin_in_src_or_in_tools(self):
        self.assertEqual(check.resolve("scan/rules.h", FILES), "src/scan/rules.h")
        self.assertEqual(check.resolve("ctl/list.h", FILES), "tools/ctl/list.h")
        self.assertIsNone(check.resolve("rules.h", FILES))

    def test_the_room_is_the_folder(self):
        self.assertEqual(check.room_of("src/scan/rules.h"), "scan")
        self.assertEqual(check.room_of("src/scan/parts/rules.h"), "scan")
        self.assertEqual(check.room_of("tools/ctl/list.h"), "tools/ctl")
        self.assertIsNone(check.room_of("src/rules.h"))
        self.assertIsNone(check.room_of("tests/scan/rules_test.cpp"))


class Arrows(unittest.TestCase):
    def problems(self, plan=PLAN, **added):
        return list(check.check_arrows(plan, {**FILES, **{f"src/{room}/bad.cpp": text for room, text in added.items()}}))

    def test_planned_arrows_pass(self):
        self.assertEqual(self.problems(), [])

    def test_an_arrow_upwards_fails(self):
        self.assertEqual(
            self.problems(base='#include "scan/rules.h"\n'),
            ['src/base/bad.cpp: base must not include scan ("scan/rules.h")'],
        )

    def test_an_allowance_does_not_go_on_to_the_next_room(self):
        self.assertEqual(len(self.problems(service='#include "records/finding.h"\n')), 1)

    def test_a_room_does_not_include_a_program(self):
        self.assertEqual(len(self.problems(service='#include "ctl/list.h"\n')), 1)

    def test_a_program_is_held_to_its_row(self):
        files = {**FILES, "tools/ctl/bad.cpp": '#include "scan/rules.h"\n'}
        self.assertEqual(
            list(check.check_arrows(PLAN, files)),
            ['tools/ctl/bad.cpp: tools/ctl must not include scan ("scan/rules.h")'],
        )

    def test_a_missing_header_fails(self):
        self.assertEqual(
            self.problems(scan='#include "scan/nosuch.h"\n'), ['src/scan/bad.cpp: "scan/nosuch.h" does not exist']
        )

    def test_a_file_outside_the_rooms_fails(self):
        self.assertEqual(list(check.check_arrows(PLAN, {**FILES, "src/bad.cpp": ""})), ["src/bad.cpp: is not in the folder of a room"])

    def test_an_allowance_that_is_not_used_fails(self):
        self.assertEqual(
            self.problems({**PLAN, "service": ["scan", "base"]}),
            ["docs/architecture.md: service may include base, but does not"],
        )


class Links(unittest.TestCase):
    def problems(self, **lists):
        return list(check.check_links(PLAN, {**CMAKE, **lists}))

    def test_links_as_planned_pass(self):
        self.assertEqual(self.problems(), [])

    def test_a_missing_link_fails(self):
        self.assertEqual(
            self.problems(scan="korvel_room(scan DEPENDS base)"),
            ["src/scan/CMakeLists.txt: does not name records, which the plan lets scan include"],
        )

    def test_a_link_beyond_the_plan_fails(self):
        self.assertEqual(
            self.problems(records="korvel_room(records DEPENDS base scan)"),
            ["src/records/CMakeLists.txt: names scan, which the plan does not let records include"],
        )

    def test_a_program_is_held_to_its_row(self):
        links = "target_link_libraries(korvel_ctl PUBLIC korvel_records)\n"
        self.assertEqual(len(self.problems(**{"tools/ctl": ""})), 1)
        self.assertEqual(len(self.problems(**{"tools/ctl": links + "target_link_libraries(ctl korvel_scan)\n"})), 1)

    def test_a_room_without_a_library_of_its_name_fails(self):
        self.assertEqual(len(self.problems(base="korvel_room(bases)")), 1)
        self.assertEqual(len(self.problems(base="korvel_room(base)\nkorvel_room(base)")), 1)
        self.assertEqual(len(self.problems(base="# korvel_room(base)")), 1)

    def test_a_room_without_a_list_fails(self):
        self.assertEqual(list(check.check_links({"base": []}, {})), ["src/base/CMakeLists.txt: does not exist"])


class Circles(unittest.TestCase):
    def problems(self, **files):
        return list(check.check_circles({**FILES, **files}))

    def test_no_circle_passes(self):
        self.assertEqual(self.problems(), [])

    def test_two_headers_that_include_each_other_fail(self):
        self.assertEqual(
            self.problems(**{"src/records/finding.h": '#include "scan/rules.h"\n'}),
            ["circle of files: src/records/finding -> src/scan/rules -> src/records/finding"],
        )

    def test_a_source_counts_as_its_header(self):
        files = {
            "src/scan/a.h": "",
            "src/scan/a.cpp": '#include "scan/a.h"\n#include "scan/b.h"\n',
            "src/scan/b.h": "",
            "src/scan/b_win.cpp": '#include "scan/b.h"\n#include "scan/a.h"\n',
        }
        self.assertEqual(self.problems(**files), ["circle of files: src/scan/a -> src/scan/b -> src/scan/a"])

    def test_a_longer_circle_fails_once(self):
        files = {
            "src/scan/a.h": '#include "scan/b.h"\n',
            "src/scan/b.h": '#include "scan/c.h"\n',
            "src/scan/c.h": '#include "scan/a.h"\n',
        }
        self.assertEqual(len(self.problems(**files)), 1)

    def test_a_header_that_includes_itself_fails(self):
        self.assertEqual(
            self.problems(**{"src/scan/a.h": '#include "scan/a.h"\n'}), ["src/scan/a.h: includes itself"]
        )

    def test_the_files_of_a_program_are_looked_at_too(self):
        files = {"tools/ctl/a.h": '#include "ctl/b.h"\n', "tools/ctl/b.h": '#include "ctl/a.h"\n'}
        self.assertEqual(len(self.problems(**files)), 1)

    def test_a_source_for_one_platform_belongs_to_its_header_where_there_is_one(self):
        self.assertEqual(check.unit_of("src/scan/walk_win.cpp", FILES), "src/scan/walk")
        self.assertEqual(check.unit_of("src/scan/lone_native.cpp", FILES), "src/scan/lone_native")


class Pure(unittest.TestCase):
    def problems(self, files=None, **lists):
        return list(check.check_pure({**FILES, **(files or {})}, {**CMAKE, **lists}))

    def test_a_pure_half_passes(self):
        self.assertEqual(self.problems(), [])

    def test_windows_sources_may_reach_windows(self):
        self.assertEqual(self.problems({"src/scan/walk_win.cpp": "#include <windows.h>\n"}), [])

    def test_a_pure_source_may_not_reach_windows_through_a_header(self):
        self.assertEqual(
            self.problems({"src/scan/rules.cpp": '#include "base/files.h"\n'}),
            ["pure file reaches Windows: src/scan/rules.cpp -> src/base/files.h -> src/base/win.h"],
        )

    def test_a_pure_source_may_not_include_a_windows_header_itself(self):
        self.assertEqual(
            self.problems({"src/scan/rules.cpp": "#include <winhttp.h>\n"}),
            ["pure file reaches Windows: src/scan/rules.cpp -> <winhttp.h>"],
        )

    def test_a_native_source_is_pure(self):
        files = {"src/scan/walk_native.cpp": "#include <fcntl.h>\n"}
        lists = {"scan": CMAKE["scan"].replace("DEPENDS", "NATIVE walk_native.cpp DEPENDS")}
        self.assertEqual(len(self.problems(files, **lists)), 1)

    def test_a_pure_source_may_ask_the_processor(self):
        text = "#include <cpuid.h>\n#include <emmintrin.h>\n#include <string>\n"
        self.assertEqual(self.problems({"src/scan/rules.cpp": text}), [])

    def test_every_header_of_a_room_without_windows_sources_is_pure(self):
        self.assertEqual(
            self.problems({"src/records/time.h": '#include "base/win.h"\n'}),
            ["pure file reaches Windows: src/records/time.h -> src/base/win.h"],
        )

    def test_a_header_that_calls_itself_pure_is_held_to_it(self):
        header = "// Walks a list.\n// {}\n#pragma once\n// Pure\n" + '#include "base/files.h"\n'
        self.assertEqual(len(self.problems({"src/scan/list.h": header.format("Pure: standard threads only.")})), 1)
        self.assertEqual(self.problems({"src/scan/list.h": header.format("The conversions are pure.")}), [])

    def test_a_listed_source_must_exist(self):
        lists = {"scan": CMAKE["scan"].replace("rules.cpp", "rules.cpp gone.cpp")}
        self.assertEqual(self.problems(**lists), ["src/scan/CMakeLists.txt: src/scan/gone.cpp does not exist"])


class WindowsHeader(unittest.TestCase):
    def test_one_file_includes_it(self):
        self.assertEqual(list(check.check_windows_header(FILES)), [])

    def test_a_second_file_fails(self):
        for path in ("tools/ctl/a.cpp", "tests/scan/a_test.cpp", "src/scan/a.cpp"):
            self.assertEqual(
                list(check.check_windows_header({**FILES, path: "#include <Windows.h>\n"})),
                [f'{path}: <windows.h> comes through "base/win.h"'],
            )


class Waits(unittest.TestCase):
    def test_mutexes_and_promises_pass(self):
        files = {"tests/scan/a_test.cpp": '#include <future>\n#include <mutex>\n#include "base/stop.h"\n'}
        self.assertEqual(list(check.check_waits(files)), [])

    def test_what_waits_on_an_atomic_fails(self):
        for name in ("barrier", "latch", "semaphore", "stop_token"):
            self.assertEqual(
                list(check.check_waits({"tests/scan/a_test.cpp": f"#include <{name}>\n"})),
                [f"tests/scan/a_test.cpp: <{name}> waits on an atomic, whose wake-up can be lost"],
            )


class TestFolders(unittest.TestCase):
    def problems(self, folders=TEST_FOLDERS, without=""):
        files = {path: text for path, text in FILES.items() if path != without}
        return list(check.check_test_folders(PLAN, folders, files))

    def test_folders_named_like_rooms_pass(self):
        self.assertEqual(self.problems(), [])

    def test_a_room_without_tests_fails(self):
        self.assertEqual(
            self.problems(without="tests/records/finding_test.cpp"), ["src/records: has no test in tests/records"]
        )

    def test_a_folder_that_has_no_rooms_name_fails(self):
        self.assertEqual(self.problems([*TEST_FOLDERS, "hosts"]), ["tests/hosts: no room has this name"])


class Tree(unittest.TestCase):
    """The rules together, on files of a disk."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for path, text in FILES.items():
            self.write(path, text)
        for room, text in CMAKE.items():
            self.write(check.folder_of(room) + "/CMakeLists.txt", text)
        self.write("docs/architecture.md", PAGE)
        self.write("tests/CMakeLists.txt", "")

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text, encoding="utf-8")

    def problems(self):
        return check.check_tree(self.root)[1]

    def test_a_tree_that_keeps_every_rule_passes(self):
        self.assertEqual(check.check_tree(self.root), (FILES, []))

    def test_each_rule_is_asked(self):
        for path, text, problem in (
            ("docs/architecture.md", PAGE.replace("| base |", "| base, gone |"), "gone, which has no row"),
            ("src/scan/walk.h", '#include "ctl/list.h"\n', "scan must not include tools/ctl"),
            ("src/base/CMakeLists.txt", "korvel_room(base DEPENDS fw)", "names fw, which the plan does not let"),
            ("src/base/text.h", '#include "base/text.h"\n', "src/base/text.h: includes itself"),
            ("src/base/text.cpp", "#include <winhttp.h>\n", "src/base/text.cpp -> <winhttp.h>"),
            ("bench/a.cpp", "#include <windows.h>\n", "bench/a.cpp: <windows.h> comes through"),
            ("tests/hosts/a_test.cpp", "", "tests/hosts: no room has this name"),
            ("docs/architecture.md", "", "0 tables are headed"),
        ):
            with self.subTest(path):
                self.setUp()
                self.write(path, text)
                self.assertIn(problem, "\n".join(self.problems()))


if __name__ == "__main__":
    unittest.main()
