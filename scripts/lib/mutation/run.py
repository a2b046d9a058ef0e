#!/usr/bin/env python3
"""Mutation testing of the pure half: do the tests notice when a source changes?

    run.py FOLDER [--seed N] [--most N] [--minutes N] [--only TEXT] [--kept]

The tree is copied to FOLDER/tree with all mutants compiled in at once (find_mutants.py), its native tests are built
there without sanitizers, and each mutant lives in a run of those test programs that come by it: first the one of its
room. A mutant is killed when a program fails, crashes or takes three times as long as without it. Those that live are
compared with survivors.md, which gives the reason for each that may. FOLDER/report.txt lists all survivors.
"""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import time

import find_mutants

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[2]
SURVIVORS = ROOT / "tests" / "mutation" / "survivors.md"
PROGRAMS = ["base", "config", "engine", "fw", "hash", "hosts", "net", "pe", "protocol", "records", "remedy", "scan",
            "service", "signatures"]
# Code that stands in for another platform's, the arithmetic of the digests, where every change shows, and owners.
LEFT_OUT = re.compile(r"src/base/(utf_native\.cpp|mutex\.h|unique_resource\.h)|src/hash/(?!hex_digest|byte_histogram)")
MEMORY = 6 << 30
SLOW = 0.3  # seconds of one test


def say(text):
    print("        " + text, file=sys.stderr, flush=True)


def copy_tree(tree):
    shutil.rmtree(tree, ignore_errors=True)
    names = subprocess.run(["git", "-C", str(ROOT), "ls-files", "-z"], check=True, capture_output=True).stdout
    for name in names.decode().split("\0"):
        if name and (ROOT / name).is_file():
            (tree / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(ROOT / name, tree / name)


def configure(tree, build):
    flags = "-w -Wno-c++11-narrowing -D_GLIBCXX_ASSERTIONS -include %s" % (HERE / "mutants.h")
    subprocess.run(["cmake", "-S", str(tree), "-B", str(build), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                    "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_C_COMPILER=clang", "-DKORVEL_WERROR=OFF",
                    "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DCMAKE_CXX_FLAGS=" + flags],
                   check=True, stdout=subprocess.DEVNULL)


def units(tree, build):
    """The compile commands of the product's own sources, without their output."""
    with open(build / "compile_commands.json") as file:
        commands = json.load(file)
    for entry in commands:
        if not entry["file"].startswith(str(tree / "src")):
            continue
        words = [word for word in entry["command"].split() if not word.endswith("ccache")]
        words = words[:words.index("-o")] + words[words.index("-o") + 2:]
        words.remove("-c")
        yield words + ["-fsyntax-only", "-ferror-limit=0"]


def refused(output, tree):
    """The (file, line, kind) of the mutants that a compiler's errors speak of."""
    def places(pattern, kind):
        found = re.findall(r"^(/\S+?):(\d+):\d+: %s" % pattern, output, re.M)
        return {(os.path.relpath(file, tree), int(line), kind) for file, line in found}

    # Other errors may only follow from these.
    return places("error: cannot deduce", "returned value") or places("(?:fatal )?error", "*") | places("note", "*")


def put_mutants(tree, build):
    """Rewrites the sources in place until they compile; what a compiler refuses is left out."""
    commands = list(units(tree, build))
    sites = {}
    with concurrent.futures.ProcessPoolExecutor(os.cpu_count()) as pool:
        for found in pool.map(find_mutants.sites_of, commands, [str(tree / "src")] * len(commands)):
            for file in found:
                sites.setdefault(file, {}).update(found[file])
    texts = {file: pathlib.Path(file).read_bytes() for file in sites}
    dropped = set()
    for _ in range(12):
        number, mutants = 0, []
        for file in sorted(sites):
            name = os.path.relpath(file, tree)
            if LEFT_OUT.match(name):
                continue
            text, found, number = find_mutants.rewrite(texts[file], sites[file].values(), dropped, name, number)
            mutants += found
            with open(file, "w") as out:
                out.write(text)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            results = list(pool.map(lambda c: subprocess.run(c, capture_output=True, text=True), commands))
        wrong = refused("".join(result.stderr for result in results if result.returncode), tree) - dropped
        if not wrong:
            break
        dropped |= wrong
    say("%d mutants; %d lines are left out, where a compiler refused one" % (len(mutants), len(dropped)))
    return mutants


def limit():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Program:
    """One test program. Its slow tests run only when the others have not noticed a mutant."""

    def __init__(self, build, name):
        self.name, self.path = name, build / "tests" / (name + "_tests")
        self.seconds, self.reached, self.slow = 0.0, set(), []

    def run(self, seconds, *options, **environment):
        """How the program ends: "passed", "failed", "crashed" or "slow"."""
        try:
            status = subprocess.run([str(self.path), "--gtest_brief=1", "--gtest_fail_fast", *options], timeout=seconds,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, preexec_fn=limit,
                                  env=dict(os.environ, **environment)).returncode
        except subprocess.TimeoutExpired:
            return "slow"
        return {0: "passed", 1: "failed"}.get(status, "crashed")

    def measure(self, folder):
        reached, times = folder / (self.name + ".reached"), folder / (self.name + ".json")
        if self.run(600, "--gtest_output=json:%s" % times, KORVEL_MUTANTS_REACHED=str(reached)) != "passed":
            raise SystemExit("%s fails without any mutant" % self.path)
        self.reached = {int(line) for line in reached.read_text().split()}
        for suite in json.loads(times.read_text())["testsuites"]:
            for test in suite["testsuite"]:
                seconds = float(test["time"].rstrip("s"))
                self.seconds += seconds
                if seconds > SLOW:
                    self.slow.append("%s.%s" % (suite["name"], test["name"]))

    def ends(self, mutant):
        alive, seconds = {"KORVEL_MUTANT": str(mutant.number)}, 15 + 5 * self.seconds
        slow = ":".join(self.slow)
        ended = self.run(seconds, "--gtest_filter=-" + slow, **alive)
        return self.run(seconds, "--gtest_filter=" + slow, **alive) if ended == "passed" and slow else ended


ROOM_PROGRAMS = {"remedy": ["remedy", "hosts"]}


def judge(mutant, programs):
    """(the mutant, how the first program ended that noticed it, or "not reached" or "passed")"""
    room = mutant.file.split("/")[1]
    own = ROOM_PROGRAMS.get(room, [room])
    by = [program for program in programs if mutant.number in program.reached]
    by.sort(key=lambda program: (program.name not in own, program.seconds))
    for program in by:
        ended = program.ends(mutant)
        if ended != "passed":
            return mutant, ended
    return mutant, "passed" if by else "not reached"


def describe(mutant):
    return "%s: `%s`, %s" % (mutant.kind, mutant.before[:120], mutant.after)


def text_of(mutant):
    with open(ROOT / mutant.file, encoding="utf-8") as file:
        return file.read().splitlines()[mutant.line - 1].strip()


def explained():
    """The lines whose mutants may survive: rows `| source | line | why |` of survivors.md."""
    found = set()
    for row in SURVIVORS.read_text(encoding="utf-8").splitlines():
        cells = row.strip("| ").split(" | ")
        if row.startswith("| `src/") and len(cells) >= 3:
            found.add((cells[0].strip("`"), cells[1].replace("\\|", "|").strip("`")))
    return found


def sample(mutants, most, seed):
    chosen = random.Random(seed).sample(mutants, len(mutants))
    return chosen[:most] if most else chosen


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--most", type=int, default=0, help="how many mutants of the sample live (0: all)")
    parser.add_argument("--minutes", type=float, default=1e6)
    parser.add_argument("--only", default="", help="only sources whose path contains this")
    parser.add_argument("--kept", action="store_true", help="run what an earlier call has built")
    options = parser.parse_args()
    began = time.monotonic()
    folder = options.folder.resolve()
    tree, build, listed = folder / "tree", folder / "build", folder / "mutants.json"
    if not options.kept:
        copy_tree(tree)
        configure(tree, build)
        mutants = put_mutants(tree, build)
        subprocess.run(["cmake", "--build", str(build), "--target"] + [name + "_tests" for name in PROGRAMS],
                       check=True, stdout=subprocess.DEVNULL)
        listed.write_text(json.dumps(mutants))
    mutants = [find_mutants.Mutant(*mutant) for mutant in json.loads(listed.read_text())]
    programs = [Program(build, name) for name in PROGRAMS]
    for program in programs:
        program.measure(folder)
        say("%s: %.1f s, %d slow tests, comes by %d mutants" % (
            program.name, program.seconds, len(program.slow), len(program.reached)))

    wanted = sample([mutant for mutant in mutants if options.only in mutant.file], options.most, options.seed)
    results = []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        waiting = {}
        for mutant in wanted:
            if time.monotonic() - began > 60 * options.minutes:
                break
            waiting[pool.submit(judge, mutant, programs)] = mutant
            while len(waiting) >= os.cpu_count():
                done, _ = concurrent.futures.wait(waiting, return_when=concurrent.futures.FIRST_COMPLETED)
                for future in done:
                    results.append(future.result())
                    del waiting[future]
        results += [future.result() for future in waiting]
    return report(folder, results, len(wanted), time.monotonic() - began)


def report(folder, results, wanted, seconds):
    known = explained()
    survivors = sorted((mutant, end) for mutant, end in results if end in ("passed", "not reached"))
    without_reason = [mutant for mutant, _ in survivors if (mutant.file, text_of(mutant)) not in known]
    rooms = collections.Counter(mutant.file.split("/")[1] for mutant, _ in results)
    living = collections.Counter(mutant.file.split("/")[1] for mutant, _ in survivors)
    with open(folder / "report.txt", "w", encoding="utf-8") as out:
        for room in sorted(rooms):
            out.write("%-12s %5d mutants, %5.1f %% killed\n" % (room, rooms[room],
                                                               100 * (1 - living[room] / rooms[room])))
        for mutant, end in survivors:
            note = "NO REASON" if mutant in without_reason else "explained"
            out.write("%s:%d %s | %s, %s\n" % (mutant.file, mutant.line, describe(mutant), end, note))
    ends = collections.Counter(end for _, end in results)
    killed = len(results) - len(survivors)
    figures = {"mutants": len(results), "wanted": wanted, "killed": killed, "failed": ends["failed"],
               "crashed": ends["crashed"], "slow": ends["slow"],
               "percent": round(100 * killed / max(1, len(results)), 1), "survivors": len(survivors),
               "without_reason": len(without_reason), "seconds": round(seconds)}
    (folder / "mutation.json").write_text(json.dumps(figures, indent=1) + "\n")
    print("%(mutants)d of %(wanted)d mutants lived: %(killed)d killed (%(percent).1f %%; %(failed)d by a test, "
          "%(crashed)d by a crash, %(slow)d by the time), %(survivors)d survive, %(without_reason)d of them without a "
          "reason" % figures)
    return 0 if figures["percent"] >= 85 and not without_reason else 1


if __name__ == "__main__":
    sys.exit(main())
