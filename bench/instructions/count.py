#!/usr/bin/env python3
"""Counts the instructions that ten fixed pieces of work take in two builds of the library.

    count.py WORKLOADS BEFORE AFTER

WORKLOADS is the program of that name, the other two are libraries. Only what is executed inside the
library counts, as the host is the same in both; a number is the same in every run. The exit status
is 1 when a count rises by more than a hundredth.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

MOST = 0.01


def instructions_in(profile, library):
    """The cost that a callgrind profile gives to functions of the object itself."""
    names = {}  # of objects: the full name stands at the first use of a number
    total = 0
    is_inside = is_after_call = False
    for line in profile.splitlines():
        if line.startswith("ob="):
            number, name = re.match(r"ob=\((\d+)\)(?: (.*))?", line).groups()
            names.setdefault(number, name)
            is_inside = names[number] == library
        elif line.startswith("cob="):
            number, name = re.match(r"cob=\((\d+)\)(?: (.*))?", line).groups()
            names.setdefault(number, name)
        elif line.startswith("calls="):
            is_after_call = True  # the next line has the callee's cost
        elif re.match(r"[+\-*\d]", line):
            if is_inside and not is_after_call:
                total += int(line.split()[1])
            is_after_call = False
    return total


def count(program, library, workload):
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "profile"
        subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}",
                        "--toggle-collect=nq_counted", program, library, workload],
                       check=True, stderr=subprocess.DEVNULL)
        found = instructions_in(out.read_text(), library)
    if not found:
        sys.exit(f"{workload}: no instruction of {library} is counted")
    return found


def main(program, *libraries):
    libraries = [str(pathlib.Path(library).resolve()) for library in libraries]
    workloads = subprocess.run([program], check=True, capture_output=True, text=True).stdout.split()
    print(f"{'workload':16}{'before':>14}{'after':>14}{'ratio':>9}")
    is_kept = True
    for workload in workloads:
        before, after = (count(program, library, workload) for library in libraries)
        print(f"{workload:16}{before:14}{after:14}{after / before:9.4f}", flush=True)
        is_kept &= after <= before * (1 + MOST)
    return 0 if is_kept else 1


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
