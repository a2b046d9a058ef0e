#!/usr/bin/env python3
"""Checks the tree against the plan of its rooms. Prints every violation and exits 1, or one line and 0.

The plan is the table "room | duty | may include" in docs/architecture.md. It is written nowhere else. A room is a
folder of src/; each program and each library of tools/ has a row too. The rules:

  1. The plan has a row for each such folder and no other, it has no cycle, and no row allows what stands above all
     rooms: service and the programs of tools/. The libraries of tools/ stand below its programs and above src/.
  2. A room includes only itself and what its row allows, and it uses each allowance.
  3. The CMakeLists.txt of a room names the same rooms as the row: under DEPENDS, or in the link lines of a program.
  4. No files include each other in a circle. A header and its sources count as one file here.
  5. What is pure reaches no Windows header, neither itself nor through a header that it includes. Pure are the sources
     under PURE or NATIVE of a CMakeLists.txt, every header of a room without WINDOWS sources, and every header that
     calls itself "Pure" in its opening comment.
  6. <windows.h> is included by src/base/win.h alone.
  7. Each room has tests in the folder of its name in tests/. What else is there is listed in OTHER_TEST_FOLDERS.
  8. Nobody includes what waits on an atomic: in the toolchain's library a wake-up can be lost, and then a thread waits for
     ever. base/mutex.h and base/stop.h have what stands in for it; std::promise is safe.
"""
import pathlib
import re
import sys

PLAN_PAGE = "docs/architecture.md"
PLAN_HEAD = ["room", "duty", "may include"]

# Folders of tools/ that hold a library and no program.
TOOL_LIBRARIES = {"tools/protokit"}

# Folders of tests/ that belong to no room: the tests of the programs in tools/, tests of the whole, and what tests share.
OTHER_TEST_FOLDERS = {"tools", "behaviour", "e2e", "faults", "fuzz", "layout", "mutation", "support"}

# System headers with a ".h" that pure sources may include: those of the processor's instruction sets. The standard
# library's own headers have no ".h", so every other one belongs to Windows or to its C run-time.
PURE_SYSTEM_HEADERS = {"cpuid.h", "emmintrin.h", "immintrin.h"}

WAITING_HEADERS = {"barrier", "latch", "semaphore", "stop_token"}

WINDOWS_HEADER = "src/base/win.h"  # the one way in to <windows.h>

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"\n]+)"|<([^>\n]+)>)', re.MULTILINE)
COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)
PLATFORM_SUFFIX = re.compile(r"_(?:win|native)$")


# Files are given by their path relative to the tree, as a mapping to their texts.


def includes(text):
    """Returns (quoted, system): the include paths of a source in their order."""
    found = INCLUDE.findall(COMMENT.sub("", text))
    return [q for q, s in found if q], [s for q, s in found if s]


def resolve(target, files):
    """The file that a quoted include means, or None. Include paths begin in src/ or in tools/."""
    for top in ("src/", "tools/"):
        if top + target in files:
            return top + target
    return None


def room_of(path):
    """The room of a file of src/, "tools/<program>" for a file of tools/, else None."""
    parts = path.split("/")
    if len(parts) > 2 and parts[0] == "src":
        return parts[1]
    if len(parts) > 2 and parts[0] == "tools":
        return "/".join(parts[:2])
    return None


def folder_of(room):
    return room if room.startswith("tools/") else f"src/{room}"


def product_files(files):
    return [path for path in sorted(files) if path.startswith(("src/", "tools/"))]


def table_cells(line):
    return [cell.strip() for cell in line.strip()[1:-1].split("|")]


def read_plan(page):
    """Returns (plan, problems). The plan maps each room to the rooms that it may include."""
    lines = page.splitlines()
    heads = [i for i, line in enumerate(lines) if line.startswith("|") and table_cells(line) == PLAN_HEAD]
    if len(heads) != 1:
        return {}, [f'{PLAN_PAGE}: {len(heads)} tables are headed "{" | ".join(PLAN_HEAD)}"; one is the plan']
    plan, problems = {}, []
    for line in lines[heads[0] + 2 :]:
        if not line.startswith("|"):
            break
        row = table_cells(line)
        room = row[0].strip("`")
        if len(row) != len(PLAN_HEAD) or not room:
            problems.append(f"{PLAN_PAGE}: not a row of the plan: {line}")
        elif room in plan:
            problems.append(f"{PLAN_PAGE}: {room} has two rows")
        else:
            plan[room] = [name.strip(" `") for name in row[2].split(",") if name.strip()]
    return plan, problems


def check_plan(plan, rooms):
    """Rule 1. `rooms` are the rooms that there are folders for."""
    for room in sorted(set(rooms) - set(plan)):
        yield f"{folder_of(room)}: has no row in the plan"
    for room in sorted(set(plan) - set(rooms)):
        yield f"{PLAN_PAGE}: {room} has a row, but there is no folder {folder_of(room)} with sources"
    for room, allowed in plan.items():
        for other in allowed:
            shared = other in TOOL_LIBRARIES and room.startswith("tools/")
            if other == "service" or (other.startswith("tools/") and not shared):
                yield f"{PLAN_PAGE}: {room} may not include {other}, which stands above all rooms"
            elif other not in plan:
                yield f"{PLAN_PAGE}: {room} may include {other}, which has no row"
    cycle = rooms_in_cycles(plan)
    if cycle:
        yield f"{PLAN_PAGE}: the plan has a cycle among {', '.join(cycle)}"


def rooms_in_cycles(plan):
    """The rooms that remain after repeatedly removing those with no remaining room below or above them."""
    arrows = {(room, other) for room, allowed in plan.items() for other in allowed}
    while True:
        including, included = {a for a, _ in arrows}, {b for _, b in arrows}
        rest = {(a, b) for a, b in arrows if a in included and b in including}
        if rest == arrows:
            return sorted(including)
        arrows = rest


def check_arrows(plan, files):
    """Rule 2."""
    used = set()
    for path in product_files(files):
        room = room_of(path)
        if room is None:
            yield f"{path}: is not in the folder of a room"
            continue
        for target in includes(files[path])[0]:
            included = resolve(target, files)
            if included is None:
                yield f'{path}: "{target}" does not exist'
                continue
            other = room_of(included)
            used.add((room, other))
            if other != room and other not in plan.get(room, []):
                yield f'{path}: {room} must not include {other} ("{target}")'
    for room, allowed in plan.items():
        for other in allowed:
            if (room, other) not in used:
                yield f"{PLAN_PAGE}: {room} may include {other}, but does not"


def without_comments(cmake_text):
    return re.sub(r"#.*", "", cmake_text)


def room_calls(cmake_text):
    """The korvel_room() calls of a CMakeLists.txt as (name, {keyword: words})."""
    for call in re.findall(r"korvel_room\(([^)]*)\)", without_comments(cmake_text)):
        name, *words = call.split()
        lists, keyword = {}, None
        for word in words:
            if word.isupper():
                keyword = word
            else:
                lists.setdefault(keyword, []).append(word)
        yield name, lists


def linked_rooms(cmake_text, plan):
    """The rooms that the programs and libraries of a CMakeLists.txt link."""
    words = " ".join(re.findall(r"target_link_libraries\(([^)]*)\)", without_comments(cmake_text))).split()
    return [room for room in plan if f"korvel_{room.removeprefix('tools/')}" in words]


def check_links(plan, cmake_lists):
    """Rule 3. `cmake_lists` maps rooms to the text of their CMakeLists.txt."""
    for room, allowed in plan.items():
        where = f"{folder_of(room)}/CMakeLists.txt"
        if room not in cmake_lists:
            yield f"{where}: does not exist"
            continue
        if room.startswith("tools/"):
            depends = [other for other in linked_rooms(cmake_lists[room], plan) if other != room]
        else:
            calls = list(room_calls(cmake_lists[room]))
            if [name for name, _ in calls] != [room]:
                yield f"{where}: has not exactly one korvel_room({room} ...)"
                continue
            depends = calls[0][1].get("DEPENDS", [])
        for other in sorted(set(allowed) - set(depends)):
            yield f"{where}: does not name {other}, which the plan lets {room} include"
        for other in sorted(set(depends) - set(allowed)):
            yield f"{where}: names {other}, which the plan does not let {room} include"


def unit_of(path, files):
    """What a header and its sources have in common: the path without its ending and its platform."""
    stem = path.rpartition(".")[0]
    general = PLATFORM_SUFFIX.sub("", stem)
    return general if general + ".h" in files else stem


def check_circles(files):
    """Rule 4. Each circle is reported once, by the shortest way around."""
    below = {}
    for path in product_files(files):
        unit = unit_of(path, files)
        below.setdefault(unit, set())
        for target in includes(files[path])[0]:
            included = resolve(target, files)
            if included == path:
                yield f"{path}: includes itself"
            elif included is not None and unit_of(included, files) != unit:
                below[unit].add(unit_of(included, files))
    reported = set()
    for unit in sorted(below):
        circle = way_back(unit, below)
        if circle and frozenset(circle) not in reported:
            reported.add(frozenset(circle))
            yield "circle of files: " + " -> ".join([*circle, unit])


def way_back(start, below):
    """The shortest way from a unit to itself as the units on it, or None."""
    ways, seen = [[start]], set()
    for way in ways:
        for unit in sorted(below[way[-1]]):
            if unit == start:
                return way
            if unit not in seen:
                seen.add(unit)
                ways.append([*way, unit])
    return None


def calls_itself_pure(text):
    opening = re.match(r"(?://.*\n)*", text).group()
    return re.search(r"\bPure\b", opening) is not None


def pure_files(files, cmake_lists):
    """Yields (path, where it is said that the file is pure)."""
    windows_rooms = set()
    for room, text in sorted(cmake_lists.items()):
        for _, lists in room_calls(text):
            for name in lists.get("PURE", []) + lists.get("NATIVE", []):
                yield f"{folder_of(room)}/{name}", f"{folder_of(room)}/CMakeLists.txt"
            if "WINDOWS" in lists:
                windows_rooms.add(room)
    for path in product_files(files):
        room = room_of(path)
        if path.endswith(".h") and (
            calls_itself_pure(files[path])
            or (path.startswith("src/") and room in cmake_lists and room not in windows_rooms)
        ):
            yield path, path


def way_to_windows(path, files, seen):
    """The chain of includes from a file to the first Windows header, or None."""
    if path == WINDOWS_HEADER:
        return [path]
    if path is None or path in seen:
        return None
    seen.add(path)
    quoted, system = includes(files[path])
    for name in system:
        if name.endswith(".h") and name not in PURE_SYSTEM_HEADERS:
            return [path, f"<{name}>"]
    for target in quoted:
        rest = way_to_windows(resolve(target, files), files, seen)
        if rest:
            return [path, *rest]
    return None


def check_pure(files, cmake_lists):
    """Rule 5."""
    for path, said_in in pure_files(files, cmake_lists):
        if path not in files:
            yield f"{said_in}: {path} does not exist"
            continue
        chain = way_to_windows(path, files, set())
        if chain:
            yield "pure file reaches Windows: " + " -> ".join(chain)


def check_windows_header(files):
    """Rule 6."""
    for path in sorted(files):
        if path != WINDOWS_HEADER and any(name.lower() == "windows.h" for name in includes(files[path])[1]):
            yield f'{path}: <windows.h> comes through "{WINDOWS_HEADER.removeprefix("src/")}"'


def check_test_folders(rooms, test_folders, files):
    """Rule 7. `test_folders` are the names of the folders in tests/."""
    own = {room for room in rooms if not room.startswith("tools/")}
    for room in sorted(own):
        if not any(path.startswith(f"tests/{room}/") and path.endswith("_test.cpp") for path in files):
            yield f"src/{room}: has no test in tests/{room}"
    for folder in sorted(set(test_folders) - own - OTHER_TEST_FOLDERS):
        yield f"tests/{folder}: no room has this name"


def check_waits(files):
    """Rule 8."""
    for path in sorted(files):
        for name in includes(files[path])[1]:
            if name in WAITING_HEADERS:
                yield f"{path}: <{name}> waits on an atomic, whose wake-up can be lost"


def read_tree(root):
    """Every C++ file of our own."""
    files = {}
    for top in ("src", "tools", "tests", "bench"):
        for path in sorted((root / top).rglob("*")):
            if path.suffix in (".h", ".cpp") and path.is_file():
                files[path.relative_to(root).as_posix()] = path.read_text(encoding="utf-8")
    return files


def check_tree(root):
    """Returns (files, problems)."""
    files = read_tree(root)
    rooms = {room_of(path) for path in product_files(files)} - {None}
    cmake_lists = {}
    for room in rooms:
        path = root / folder_of(room) / "CMakeLists.txt"
        if path.is_file():
            cmake_lists[room] = path.read_text(encoding="utf-8")
    test_folders = [path.name for path in (root / "tests").iterdir() if path.is_dir() and path.name != "__pycache__"]
    plan, problems = read_plan((root / PLAN_PAGE).read_text(encoding="utf-8"))
    problems += [
        *check_plan(plan, rooms),
        *check_arrows(plan, files),
        *check_links(plan, cmake_lists),
        *check_circles(files),
        *check_pure(files, cmake_lists),
        *check_windows_header(files),
        *check_test_folders(rooms, test_folders, files),
        *check_waits(files),
    ]
    return files, problems


def main():
    root = pathlib.Path(__file__).resolve().parents[2]
    files, problems = check_tree(root)
    for problem in problems:
        print(problem)
    if not files:
        print("no sources found")
        return 1
    if not problems:
        print(f"{len(files)} files, every include as planned")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
