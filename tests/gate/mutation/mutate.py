#!/usr/bin/env python3
"""Asks whether the tests would notice a slip in the library.

Changes the library's sources in one place at a time, builds it, and runs the tests until one fails.
A change that none notices has survived: either it changes nothing that can be seen, which
survivors.txt says with a reason, or a test is missing.

    mutate.py [--draw N [--seed N]] [--under FOLDER]... [--jobs N] [--list] [--results FILE]

Tries the changes that sample.txt names, or with --draw so many others, which depend on the seed and
the sources alone. Each job works in a copy of the tree under build/mutation. With --results, what is
known already is not run again. Ends with 1 when less than --demand percent of the changes that build
were noticed, one that none notices is not listed, a listed one is noticed, or a place of sample.txt is
gone.
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import queue
import random
import resource
import shutil
import signal
import subprocess
import sys
import threading

sys.dont_write_bytecode = True
import mutations

ROOT = pathlib.Path(__file__).resolve().parents[3]
WORK = ROOT / "build" / "mutation"
SAMPLE = pathlib.Path(__file__).resolve().parent / "sample.txt"
SURVIVORS = SAMPLE.with_name("survivors.txt")
# The tests of the library, and those that a slip in a module is to be noticed by.
TEST_FOLDERS = ["core", "json", "config", "datefmt", "validate", "text", "fault"]
TESTS_OF = {"config": ["config", "fault"], "datefmt": ["datefmt", "json", "fault"],
            "json": ["json", "core", "fault"], "text": ["text", "fault"],
            "validate": ["validate", "fault"]}
# Walks through every input of a kind, which take too long to be run for each change.
SLOW = ["AllStrings", "AllThreeByte", "EdgeBytes", "EveryCodePointAlone", "YearsWrap", "MillionKeys"]
BUILD_SECONDS = 1800
# What a change may make a program slower by before it counts as hanging, and the least it is given,
# in seconds of processor time; and the seconds in which a program that waits counts as hanging.
PATIENCE, LEAST_SECONDS, WAIT_SECONDS = 6, 10, 300


def all_mutations(folders):
    """Every change by its name: what is changed into what, which survives a move of the line."""
    named = {}
    for folder in folders:
        for path in sorted((ROOT / folder).rglob("*.[ch]pp")):
            if path.name == "case_tables.cpp":  # generated, and compared with what generates it
                continue
            text = path.read_text()
            lines = text.split("\n")
            source = str(path.relative_to(ROOT))
            for mutation in mutations.find(source, text):
                line = lines[mutation.line - 1]
                change = f"{source}: {line.strip()} -> {mutation.changed(line).strip()}"
                name, count = change, 1
                while name in named:
                    count += 1
                    name = f"{change} ({count})"
                named[name] = mutation
    return named


def listed_lines(path):
    return [line for line in path.read_text().split("\n") if line and not line.startswith("#")]


def choose(everything, draw, seed):
    """The names of the changes to try."""
    if draw:
        names = list(everything)
        random.Random(seed).shuffle(names)
        return names[:draw]
    names = listed_lines(SAMPLE)
    gone = [name for name in names if name not in everything]
    if gone:
        sys.exit("\n".join(f"sample.txt: no longer a place: {name}" for name in gone))
    return names


class Workshop:
    """A copy of the tree in which one change at a time is built and tested."""

    def __init__(self, number):
        self.tree = WORK / f"copy{number}"
        self.build = self.tree / "build"
        self.seconds = {}

    def run(self, command, wait_seconds, processor_seconds=None, **options):
        """The seconds of processor time when the command ends well and in time, else None."""
        def limit():
            if processor_seconds:
                resource.setrlimit(resource.RLIMIT_CPU, (processor_seconds, processor_seconds))

        process = subprocess.Popen(command, cwd=self.tree, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, start_new_session=True,
                                   preexec_fn=limit, **options)
        alarm = threading.Timer(wait_seconds, os.killpg, (process.pid, signal.SIGKILL))
        alarm.start()
        _, status, usage = os.wait4(process.pid, 0)
        alarm.cancel()
        process.returncode = status
        return usage.ru_utime + usage.ru_stime if status == 0 else None

    def make(self, *targets, jobs=1):
        return self.run(["ninja", "-C", self.build, f"-j{jobs}", *targets], BUILD_SECONDS) is not None

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
        if self.run(["cmake", "-G", "Ninja", "-B", self.build, "-DCMAKE_BUILD_TYPE=",
                     "-DCMAKE_C_COMPILER=gcc", "-DCMAKE_CXX_COMPILER=g++",
                     "-DCMAKE_CXX_FLAGS=-O1 -w", "-DCMAKE_C_FLAGS=-O1 -w"], BUILD_SECONDS) is None:
            sys.exit("mutate.py: the copy cannot be configured")
        tests = [f"tests/{folder}/all" for folder in TEST_FOLDERS]
        if not self.make("nqinstance", *tests, jobs=os.cpu_count()):
            sys.exit("mutate.py: the copy does not build")

    def measure(self):
        """The seconds of processor time of each test program, by its place in the build folder."""
        seconds = {program: self.test(program, 120) for program in self.programs()}
        failing = [program.name for program, taken in seconds.items() if taken is None]
        if failing:
            sys.exit(f"mutate.py: fails without a change: {' '.join(failing)}")
        return seconds

    def programs(self):
        for folder in TEST_FOLDERS:
            for path in sorted((self.build / "tests" / folder).glob("*_test")):
                if not path.name.startswith("planted_"):  # which have a mistake already
                    yield path.relative_to(self.build)

    def test(self, program, seconds):
        """The seconds of processor time of a program that passes, else None."""
        return self.run([self.build / program, "--gtest_fail_fast", "--gtest_brief=1",
                         "--gtest_filter=-" + ":".join(f"*{name}*" for name in SLOW)],
                        WAIT_SECONDS, int(seconds) + 1, env={**os.environ, "SEED": "1", "ITER": "2000"})

    def order(self, path):
        """The test programs: those of the source's name, of its folder, the others, each the quick first."""
        source = pathlib.Path(path)
        folders = TESTS_OF.get(source.parts[1], TEST_FOLDERS)
        name = source.stem.split("_")[0]
        return sorted((p for p in self.seconds if p.parent.name in folders),
                      key=lambda p: (not p.name.startswith(name), folders.index(p.parent.name),
                                     self.seconds[p]))

    def verdict(self, mutation):
        """What notices the change: a test program, "build" for one that is no program, or None."""
        target = self.tree / mutation.path
        original = target.read_text()
        target.write_text(mutation.apply(original))
        try:
            if not self.make("nqinstance"):
                return "build"
            for program in self.order(mutation.path):
                if not self.make(str(program)):
                    return "build"
                if self.test(program, max(LEAST_SECONDS, PATIENCE * self.seconds[program])) is None:
                    return program.name
            return None
        finally:
            target.write_text(original)


def known_survivors():
    """The changes that are known to change nothing that can be seen, with the reason."""
    return dict(line.rsplit("  # ", 1) for line in listed_lines(SURVIVORS))


def read_results(path):
    if not path or not path.is_file():
        return {}
    rows = [json.loads(line) for line in path.read_text().split("\n") if line]
    return {row["name"]: row["noticed_by"] for row in rows}


def judge(sample, results, listed, demand):
    """What is to be said of the results, and the exit status."""
    built = [name for name in sample if results[name] != "build"]
    noticed = [name for name in built if results[name]]
    missed = [name for name in built if not results[name] and name not in listed]
    lines = [f"no test notices {name}" for name in missed]
    wrong = [name for name in noticed if name in listed]
    lines += [f"survivors.txt: noticed by {results[name]}: {name}" for name in wrong]
    percent = 100.0 * len(noticed) / max(len(built), 1)
    lines.append(f"{len(sample) - len(built)} did not build; of {len(built)} others {len(noticed)} "
                 f"noticed ({percent:.1f} %), {len(built) - len(noticed) - len(missed)} listed as "
                 f"unnoticeable, {len(missed)} missed")
    return lines, 0 if built and percent >= demand and not missed and not wrong else 1


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--draw", type=int, metavar="N", help="try others than those of sample.txt")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--under", action="append", help="a folder of sources")
    parser.add_argument("--list", action="store_true", help="print the sample and end")
    parser.add_argument("--results", type=pathlib.Path)
    parser.add_argument("--demand", type=float, default=90.0, help="percent of those that build")
    arguments = parser.parse_args()

    everything = all_mutations(arguments.under or ["nqinstance"])
    sample = choose(everything, arguments.draw, arguments.seed)
    if arguments.list:
        print("\n".join(sample))
        return 0
    print(f"{len(everything)} places, {len(sample)} of them tried", flush=True)

    results = read_results(arguments.results)
    open_names = [name for name in sample if name not in results]
    workshops = queue.Queue()
    seconds = {}
    for number in range(min(arguments.jobs, len(open_names))):
        workshop = Workshop(number)
        workshop.prepare()
        seconds = seconds or workshop.measure()
        workshop.seconds = seconds
        workshops.put(workshop)

    def attempt(name):
        workshop = workshops.get()
        try:
            return workshop.verdict(everything[name])
        finally:
            workshops.put(workshop)

    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for name, noticed_by in zip(open_names, pool.map(attempt, open_names)):
            results[name] = noticed_by
            print(f"{noticed_by or 'SURVIVED'}: {name}", flush=True)
            if arguments.results:
                with arguments.results.open("a") as out:
                    out.write(json.dumps({"name": name, "noticed_by": noticed_by}) + "\n")

    lines, status = judge(sample, results, known_survivors(), arguments.demand)
    print("\n".join(lines))
    return status


if __name__ == "__main__":
    sys.exit(main())
