#!/usr/bin/env python3
"""Makes the report of scripts/coverage out of what the runs have left in its folder.

    coverage.py FOLDER [native|windows]

FOLDER/native.json is llvm-cov's export of the pure half. FOLDER/counters holds a folder of GCC's counters (.gcda) for
each program of the Windows half; the sources that compile natively too are left to the pure half. Written: index.html
with a page for each source, figures.json, and missing.txt, the lines that no test reaches and docs/coverage.md does not
explain.
"""
import collections
import html
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXPLAINED = ROOT / "docs" / "coverage.md"
GOALS = {"native": {"lines": 99.0, "branches": 97.0}, "windows": {"lines": 90.0}}
GCOV = "x86_64-w64-mingw32-gcov-posix"


class Source:
    """One source file: how often each of its lines ran, and of its branches how many were taken."""

    def __init__(self):
        self.lines = {}
        self.branches = self.taken = 0

    def missed(self):
        return sorted(line for line, count in self.lines.items() if count == 0)


def native_sources(file):
    sources = collections.defaultdict(Source)
    with open(file, encoding="utf-8") as text:
        data = json.load(text)["data"][0]
    for entry in data["files"]:
        name = os.path.relpath(entry["filename"], ROOT)
        if not name.startswith("src/"):
            continue
        source = sources[name]
        for line, count in lines_of_segments(entry["segments"]).items():
            source.lines[line] = source.lines.get(line, 0) + count
        source.branches += entry["summary"]["branches"]["count"]
        source.taken += entry["summary"]["branches"]["covered"]
    return sources


def lines_of_segments(segments):
    """Line counts as llvm-cov shows them: the highest of the regions that begin in a line, or the one it lies in."""
    counts, wrapped, at = {}, None, 0
    by_line = collections.defaultdict(list)
    for line, column, count, has_count, is_entry, is_gap in segments:
        by_line[line].append((count, has_count, is_entry, is_gap))
    if not segments:
        return counts
    for line in range(segments[0][0], segments[-1][0] + 1):
        begun = [entry for entry in by_line[line] if entry[2] and entry[1] and not entry[3]]
        mapped = bool(begun) or (wrapped is not None and wrapped[1])
        skipped = bool(by_line[line]) and not by_line[line][0][1] and by_line[line][0][2]
        if mapped and not skipped:
            options = [entry[0] for entry in begun]
            if wrapped is not None and wrapped[1] and not begun:
                options.append(wrapped[0])
            elif wrapped is not None and wrapped[1]:
                options.append(wrapped[0])
            counts[line] = max(options)
        if by_line[line]:
            wrapped = by_line[line][-1]
    return counts


def windows_sources(counters, build):
    """The counters of all programs, read with the notes (.gcno) that the compiler has left beside the objects."""
    sources = collections.defaultdict(Source)
    for file in sorted(counters.glob("**/*.gcda")):
        program = file.relative_to(counters).parts[0]
        notes = (build / file.relative_to(counters / program)).with_suffix(".gcno")
        here = file.with_suffix(".gcno")
        if not notes.exists():
            continue
        if not here.exists():
            here.symlink_to(notes)
        output = subprocess.run([GCOV, "--json-format", "--stdout", file.name], cwd=file.parent, capture_output=True,
                                check=True).stdout
        for document in output.splitlines():
            for entry in json.loads(document)["files"]:
                path = os.path.normpath(os.path.join(build, entry["file"]))
                name = os.path.relpath(path, ROOT)
                if not name.startswith("src/") or not name.endswith(".cpp"):
                    continue
                source = sources[name]
                for line in entry["lines"]:
                    number = line["line_number"]
                    source.lines[number] = source.lines.get(number, 0) + line["count"]
    return sources


def explanations():
    """What docs/coverage.md explains: rows `| source | text of the line | why |`."""
    found = set()
    for row in EXPLAINED.read_text(encoding="utf-8").splitlines():
        cells = [cell.strip() for cell in row.strip("|").split(" | ")]
        if row.startswith("| `src/") and len(cells) >= 3:
            found.add((cells[0].strip("`"), cells[1].strip("`")))
    return found


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def figures(sources):
    lines = sum(len(source.lines) for source in sources.values())
    missed = sum(len(source.missed()) for source in sources.values())
    result = {"lines": round(percent(lines - missed, lines), 2), "of": lines, "missed": missed}
    branches = sum(source.branches for source in sources.values())
    if branches:
        result["branches"] = round(percent(sum(source.taken for source in sources.values()), branches), 2)
    return result


def page(folder, name, source):
    file = folder / (name.replace("/", "_") + ".html")
    rows = []
    for number, text in enumerate((ROOT / name).read_text(encoding="utf-8").splitlines(), 1):
        count = source.lines.get(number)
        kind = "" if count is None else "hit" if count else "miss"
        rows.append('<tr class="%s" id="%d"><td>%d<td>%s<td><pre>%s</pre>' % (
            kind, number, number, "" if count is None else count, html.escape(text)))
    write_page(file, name, "<table>%s</table>" % "\n".join(rows))
    return file.name


def write_page(file, title, body):
    style = ("body{font:14px sans-serif}pre{margin:0}td{padding:0 8px;text-align:right}td:last-child,td:first-child"
             "{text-align:left}.miss{background:#fcc}.hit td:nth-child(2){color:#484}")
    file.write_text('<!DOCTYPE html><meta charset="utf-8"><title>%s</title><style>%s</style><h1>%s</h1>%s\n' % (
        html.escape(title), style, html.escape(title), body), encoding="utf-8")


def table(folder, half, sources):
    rows = []
    for name in sorted(sources):
        source = sources[name]
        missed = source.missed()
        places = ", ".join('<a href="%s#%d">%d</a>' % (page(folder, name, source), line, line) for line in missed[:40])
        branches = "%.1f" % percent(source.taken, source.branches) if source.branches else ""
        rows.append('<tr><td><a href="%s">%s</a><td>%d<td>%.1f<td>%s<td>%s' % (
            page(folder, name, source), name, len(source.lines), percent(len(source.lines) - len(missed),
                                                                        len(source.lines)), branches, places))
    return "<h2>%s</h2><table><tr><td>source<td>lines<td>%% reached<td>%% branches<td>not reached%s</table>" % (
        half, "\n".join(rows))


def main():
    folder = pathlib.Path(sys.argv[1])
    wanted = sys.argv[2] if len(sys.argv) > 2 else "both"
    halves = {}
    if wanted != "windows" and (folder / "native.json").exists():
        halves["native"] = native_sources(folder / "native.json")
    if wanted != "native" and (folder / "counters").exists():
        pure = pure_sources()
        halves["windows"] = {name: source for name, source in windows_sources(
            folder / "counters", ROOT / "build" / "coverage-windows").items() if name not in pure}
    explained = explanations()
    missing, body, result, good = [], [], {}, True
    for half, sources in halves.items():
        result[half] = figures(sources)
        body.append(table(folder, half, sources))
        for name in sorted(sources):
            text = (ROOT / name).read_text(encoding="utf-8").splitlines()
            for line in sources[name].missed():
                content = text[line - 1].strip()
                if (name, content) not in explained:
                    missing.append("%s:%d: %s" % (name, line, content))
        for what, goal in GOALS[half].items():
            good = good and result[half][what] >= goal
        print("%s half: %s" % (half, ", ".join("%s %s" % item for item in result[half].items())))
    (folder / "missing.txt").write_text("".join(line + "\n" for line in missing), encoding="utf-8")
    (folder / "figures.json").write_text(json.dumps(result, indent=1) + "\n", encoding="utf-8")
    write_page(folder / "index.html", "What the tests reach", "\n".join(body))
    print("%d lines are not reached and not explained: %s" % (len(missing), folder / "missing.txt"))
    return 0 if good else 1


def pure_sources():
    """The sources that the native build compiles."""
    found = set()
    for file in (ROOT / "src").glob("*/CMakeLists.txt"):
        text = re.sub(r"#.*", "", file.read_text(encoding="utf-8"))
        block = re.search(r"PURE\s(.*?)(?=\b(?:WINDOWS|NATIVE|DEPENDS|LIBRARIES)\b|\))", text, re.S)
        for name in block.group(1).split() if block else []:
            found.add("%s/%s" % (os.path.relpath(file.parent, ROOT), name))
    return found


if __name__ == "__main__":
    sys.exit(main())
