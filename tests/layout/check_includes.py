#!/usr/bin/env python3
"""Checks the include lines of the tree against its plan. Prints every violation and exits 1, or one line and 0.

Three rules:
  1. A room (a folder of src/) includes only itself and the rooms that its row of ROOMS names.
  2. A pure source, one listed under PURE or NATIVE of its room's CMakeLists.txt, reaches no Windows header, neither
     itself nor through any header that it includes.
  3. <windows.h> is included by src/base/win.h alone.
"""
import pathlib
import re
import sys

# Which other rooms a room may include. "service" is in no row: nobody includes it.
ROOMS = {
    "base": [],
    "service/runtime": ["base"],
    "config": ["base"],
    "scan/hash": ["base"],
    "scan": ["scan/hash", "base"],
    "net": ["scan", "config", "service/runtime", "base"],
    "remedy": ["net", "scan", "config", "service/runtime", "base"],
    "fw": ["base"],
    "engine": ["remedy", "net", "scan", "scan/hash", "config", "service/runtime", "base"],
    "ipc": ["engine", "remedy", "fw", "scan", "config", "service/runtime", "base"],
    "service": ["ipc", "engine", "remedy", "fw", "net", "scan", "scan/hash", "config", "service/runtime", "base"],
}

# System headers with a ".h" that pure sources may include: those of the processor's instruction sets. The standard
# library's own headers have no ".h", so every other one belongs to Windows or to its C run-time.
PURE_SYSTEM_HEADERS = {"cpuid.h", "emmintrin.h", "immintrin.h"}

WINDOWS_HEADER = "base/win.h"  # the one way in to <windows.h>

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"\n]+)"|<([^>\n]+)>)', re.MULTILINE)
COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)


def includes(text):
    """Returns (quoted, system): the include paths of a source in their order."""
    found = INCLUDE.findall(COMMENT.sub("", text))
    return [q for q, s in found if q], [s for q, s in found if s]


def room_of(path):
    """The room of a path relative to src/, or None: the longest folder in the plan that holds it."""
    folder = path.rpartition("/")[0]
    while folder:
        if folder in ROOMS:
            return folder
        folder = folder.rpartition("/")[0]
    return None


def check_arrows(sources):
    """Rule 1. `sources` maps paths relative to src/ to texts."""
    for path in sorted(sources):
        room = room_of(path)
        if room is None:
            yield f"src/{path}: lies in no room of the plan"
            continue
        for target in includes(sources[path])[0]:
            other = room_of(target)
            if other is None:
                yield f'src/{path}: "{target}" is in no room of the plan'
            elif target not in sources:
                yield f'src/{path}: "{target}" does not exist'
            elif other != room and other not in ROOMS[room]:
                yield f'src/{path}: {room} must not include {other} ("{target}")'


def pure_sources(cmake_text):
    """The files under PURE and NATIVE of every korvel_room() call in a CMakeLists.txt."""
    files = []
    text = re.sub(r"#.*", "", cmake_text)
    for call in re.findall(r"korvel_room\(([^)]*)\)", text):
        keyword = None
        for word in call.split()[1:]:
            if word.isupper():
                keyword = word
            elif keyword in ("PURE", "NATIVE"):
                files.append(word)
    return files


def path_to_windows(path, sources, seen):
    """The chain of includes from `path` to the first Windows header, or None."""
    if path == WINDOWS_HEADER:
        return [path]
    if path in seen or path not in sources:
        return None
    seen.add(path)
    quoted, system = includes(sources[path])
    for name in system:
        if name.endswith(".h") and name not in PURE_SYSTEM_HEADERS:
            return [path, f"<{name}>"]
    for target in quoted:
        rest = path_to_windows(target, sources, seen)
        if rest:
            return [path] + rest
    return None


def check_pure(sources, cmake_lists):
    """Rule 2. `cmake_lists` maps folders relative to src/ to the text of their CMakeLists.txt."""
    for folder in sorted(cmake_lists):
        for name in pure_sources(cmake_lists[folder]):
            path = f"{folder}/{name}"
            if path not in sources:
                yield f"src/{folder}/CMakeLists.txt: {name} does not exist"
                continue
            chain = path_to_windows(path, sources, set())
            if chain:
                yield "pure source reaches Windows: src/" + " -> ".join(chain)


def check_windows_header(files):
    """Rule 3. `files` maps paths relative to the tree to texts."""
    for path in sorted(files):
        if path == "src/" + WINDOWS_HEADER:
            continue
        if any(name.lower() == "windows.h" for name in includes(files[path])[1]):
            yield f'{path}: <windows.h> comes through "{WINDOWS_HEADER}"'


def read_tree(root):
    """Every C++ file of our own, by its path relative to the tree."""
    files = {}
    for top in ("src", "tools", "tests", "bench"):
        for path in sorted((root / top).rglob("*")):
            if path.suffix in (".h", ".cpp") and path.is_file():
                files[path.relative_to(root).as_posix()] = path.read_text(encoding="utf-8")
    return files


def check_tree(root):
    files = read_tree(root)
    sources = {path.removeprefix("src/"): text for path, text in files.items() if path.startswith("src/")}
    cmake_lists = {
        path.parent.relative_to(root / "src").as_posix(): path.read_text(encoding="utf-8")
        for path in (root / "src").rglob("CMakeLists.txt")
        if path.parent != root / "src"
    }
    problems = [*check_arrows(sources), *check_pure(sources, cmake_lists), *check_windows_header(files)]
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
