#!/usr/bin/env python3
"""Asks whether the tests would notice a slip in the library.

Changes the library's sources in one place at a time, builds it, and runs the tests until one fails.
A change that none notices has survived: either it changes nothing that can be seen, which
survivors.txt says with a reason, or a test is missing.

    mutate.py [--sample N] [--seed N] [--jobs N] [--under FOLDER]... [--list] [--results FILE]

A sample and its order depend on the seed and the sources alone. Each job works in a copy of the
tree under build/mutation. With --results, what is known already is not run again. Ends with 1 when
less than --demand percent of the changes that build were noticed, listed survivors not counted.
"""
import argparse
import concurrent.futures
import dataclasses
import json
import os
import pathlib
import queue
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutation"
SURVIVORS = pathlib.Path(__file__).resolve().parent / "survivors.txt"
# The tests of the library, the folder of the changed source always first.
TEST_FOLDERS = ["core", "json", "config", "datefmt", "validate", "text", "fault"]
BUILD_SECONDS = 300
# What a change may make a program slower by before it counts as hanging, and the least it is given.
PATIENCE, LEAST_SECONDS = 6, 10

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
OPERATORS = {"&&": "||", "||": "&&", "+": "-", "-": "+", "<<": ">>", ">>": "<<"}
STATEMENT = re.compile(r"^\s+[\w:*>.()\[\]-]+(\.|->)?\w*(\(.*\)| (=|\+=|-=|\|=|&=) .*);$")
NOT_DROPPED = re.compile(r"^\s*(return|break|continue|using|typedef|static|const|constexpr|extern|"
                         r"auto|case|default|goto|public|private|friend|struct|class|enum|template|"
                         r"namespace|if|for|while|else|NQ_\w+\()")
# Text in which a change says nothing about behaviour.
NOT_CODE = re.compile(r"^\s*(#|//|\*|/\*|static_assert|NQ_RECORD|NQ_FIELD|NQ_WORD|template|namespace|"
                      r"using|__asm__|\"|alignas|\[\[gnu::)")


@dataclasses.dataclass(frozen=True)
class Change:
    path: str
    line: int  # from 1
    before: str
    after: str

    def name(self):
        return f"{self.path}:{self.line}: {self.before.strip()} -> {self.after.strip() or ';'}"

    def key(self):
        """Survives a move of the line within its file."""
        return f"{self.path}: {self.before.strip()} -> {self.after.strip() or ';'}"


def blanked(line):
    """The line with texts, characters and comments replaced by blanks of the same length."""
    line = re.sub(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)+\'', lambda m: "\0" * len(m.group()), line)
    return re.sub(r"//.*|/\*.*?\*/", lambda m: "\0" * len(m.group()), line)


def closing_parenthesis(code, start):
    """Where the one that opens at `start` closes, or None when that is on another line."""
    depth = 0
    for i in range(start, len(code)):
        depth += {"(": 1, ")": -1}.get(code[i], 0)
        if depth == 0:
            return i
    return None


def changes_of_line(line):
    code = blanked(line)
    for match in re.finditer(r" (<=|>=|==|!=|<|>) ", code):
        yield match.span(1), COMPARISONS[match.group(1)]
    for match in re.finditer(r" (&&|\|\||\+|-|<<|>>) ", code):
        yield match.span(1), OPERATORS[match.group(1)]
    for match in re.finditer(r"(?<![\w.'])(\d+)(?![\w.'])", code):
        yield match.span(1), str(int(match.group(1)) + 1)
    for match in re.finditer(r"(?<![\w.'])0x([0-9a-fA-F]+)(?![\w.'])", code):
        yield match.span(1), f"{int(match.group(1), 16) ^ 1:x}"
    for match in re.finditer(r"\b(true|false)\b", code):
        yield match.span(1), "false" if match.group(1) == "true" else "true"
    for match in re.finditer(r"\b(?:if|while) \(", code):
        end = closing_parenthesis(code, match.end() - 1)
        condition = line[match.end():end]
        if end and not re.match(r"const |auto |\w+\* \w+ = ", condition):
            yield (match.end(), end), f"!({condition})"


def changes_of_file(path):
    lines = path.read_text().split("\n")
    name = str(path.relative_to(ROOT))
    in_comment = in_asm = False
    for number, line in enumerate(lines, 1):
        if "/*" in line and "*/" not in line:
            in_comment = True
        if line.lstrip().startswith(("#define NQ_FORWARD", "__asm__")):
            in_asm = True
        skip = in_comment or in_asm or NOT_CODE.match(line) or line.endswith("\\")
        if "*/" in line:
            in_comment = False
        if in_asm and not line.endswith("\\") and line.rstrip().endswith((");", ")")):
            in_asm = False
        if skip or not line.strip():
            continue
        for (start, end), text in changes_of_line(line):
            yield Change(name, number, line, line[:start] + text + line[end:])
        if STATEMENT.match(blanked(line).replace("\0", "x")) and not NOT_DROPPED.match(line):
            yield Change(name, number, line, "")


def all_changes(folders):
    for folder in folders:
        for path in sorted((ROOT / folder).rglob("*.[ch]pp")):
            if path.name != "case_tables.cpp":  # generated, and compared with what generates it
                yield from changes_of_file(path)


class Workshop:
    """A copy of the tree in which one change at a time is built and tested."""

    def __init__(self, number):
        self.tree = WORK / f"copy{number}"
        self.build = self.tree / "build"
        self.seconds = {}

    def run(self, command, seconds, **options):
        """True when the command ends well and in time."""
        process = subprocess.Popen(command, cwd=self.tree, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, start_new_session=True, **options)
        try:
            return process.wait(seconds) == 0
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            process.wait()
            return False

    def make(self, *targets, jobs=1):
        return self.run(["ninja", "-C", self.build, f"-j{jobs}", *targets], BUILD_SECONDS * 6)

    def prepare(self):
        files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, text=True,
                               check=True, capture_output=True).stdout.split("\n")
        for name in filter(None, files):
            source, target = ROOT / name, self.tree / name
            if not source.is_file():
                continue
            if target.is_file() and target.read_bytes() == source.read_bytes():
                continue
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(source, target)
        # Warnings would refuse changes, and the least optimization builds them soonest.
        if not self.run(["cmake", "-G", "Ninja", "-B", self.build, "-DCMAKE_BUILD_TYPE=",
                         "-DCMAKE_C_COMPILER=gcc", "-DCMAKE_CXX_COMPILER=g++",
                         "-DCMAKE_CXX_FLAGS=-O1 -w", "-DCMAKE_C_FLAGS=-O1 -w"], BUILD_SECONDS):
            sys.exit("mutate.py: the copy cannot be configured")
        if not self.make(jobs=2):
            sys.exit("mutate.py: the copy does not build")
        for program in self.programs():
            began = time.monotonic()
            if self.test(program, 120):
                self.seconds[program] = time.monotonic() - began

    def programs(self):
        for folder in TEST_FOLDERS:
            for path in sorted((self.build / "tests" / folder).glob("*_test")):
                yield path

    def test(self, program, seconds):
        return self.run([program, "--gtest_fail_fast", "--gtest_brief=1"], seconds,
                        env={**os.environ, "SEED": "1"})

    def order(self, path):
        """The test programs, those of the source's folder first and the quick before the slow."""
        module = path.split("/")[1]
        return sorted(self.seconds, key=lambda p: (p.parent.name != module, self.seconds[p]))

    def verdict(self, change):
        """What notices the change: a test program, "build" for one that is no program, or None."""
        target = self.tree / change.path
        original = target.read_text()
        lines = original.split("\n")
        assert lines[change.line - 1] == change.before, change
        lines[change.line - 1] = change.after or ";"
        target.write_text("\n".join(lines))
        try:
            if not self.make("nqinstance"):
                return "build"
            for program in self.order(change.path):
                if not self.make(str(program.relative_to(self.build))):
                    return "build"
                if not self.test(program, max(LEAST_SECONDS, PATIENCE * self.seconds[program])):
                    return program.name
            return None
        finally:
            target.write_text(original)


def known_survivors():
    """The changes that are known to change nothing that can be seen: a reason, then the change."""
    listed = {}
    if SURVIVORS.is_file():
        for line in SURVIVORS.read_text().split("\n"):
            if line and not line.startswith("#"):
                change, reason = line.rsplit("  # ", 1)
                listed[change] = reason
    return listed


def read_results(path):
    if not path or not path.is_file():
        return {}
    rows = [json.loads(line) for line in path.read_text().split("\n") if line]
    return {row["name"]: row["noticed_by"] for row in rows}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--sample", type=int, default=500)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--under", action="append", help="a folder of sources")
    parser.add_argument("--list", action="store_true", help="print the sample and end")
    parser.add_argument("--results", type=pathlib.Path)
    parser.add_argument("--demand", type=float, default=90.0, help="percent")
    arguments = parser.parse_args()

    everything = list(dict.fromkeys(all_changes(arguments.under or ["nqinstance"])))
    random.Random(arguments.seed).shuffle(everything)
    sample = everything[:arguments.sample]
    if arguments.list:
        print("\n".join(change.name() for change in sample))
        return 0
    print(f"{len(everything)} places, {len(sample)} of them tried, seed {arguments.seed}", flush=True)

    results = read_results(arguments.results)
    open_changes = [change for change in sample if change.name() not in results]
    workshops = queue.Queue()
    for number in range(arguments.jobs if open_changes else 0):
        workshop = Workshop(number)
        workshop.prepare()
        workshops.put(workshop)

    def attempt(change):
        workshop = workshops.get()
        try:
            return change, workshop.verdict(change)
        finally:
            workshops.put(workshop)

    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for change, noticed_by in pool.map(attempt, open_changes):
            results[change.name()] = noticed_by
            print(f"{noticed_by or 'SURVIVED'}: {change.name()}", flush=True)
            if arguments.results:
                with arguments.results.open("a") as out:
                    out.write(json.dumps({"name": change.name(), "noticed_by": noticed_by}) + "\n")

    listed = known_survivors()
    built = [change for change in sample if results[change.name()] != "build"]
    survivors = [change for change in built if results[change.name()] is None]
    explained = [change for change in survivors if change.key() in listed]
    counted = len(built) - len(explained)
    noticed = len(built) - len(survivors)
    for change in survivors:
        if change.key() not in listed:
            print(f"no test notices {change.name()}")
    percent = 100.0 * noticed / max(counted, 1)
    print(f"{len(sample) - len(built)} did not build; of {len(built)} others {noticed} noticed, "
          f"{len(explained)} listed as unnoticeable, {len(survivors) - len(explained)} missed: "
          f"{percent:.1f} %, {100.0 * noticed / max(len(built), 1):.1f} % with the listed ones")
    return 0 if counted and percent >= arguments.demand else 1


if __name__ == "__main__":
    sys.exit(main())
