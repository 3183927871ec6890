#!/usr/bin/env python3
"""Plants mistakes into a body of the text routines and sees that a test program finds them.

usage: planted_bodies_test.py PLANTS PROGRAM [ARGUMENT...]

PLANTS lists the kernels and what is wrong with them, as "kernel:mistake,mistake kernel:mistake".
The program passes as long as nothing is planted, and with each mistake it fails or is ended by a
signal.
"""
import os
import subprocess
import sys


def run(command, plant):
    environment = dict(os.environ, PLANT=plant, SEED="1", ITER="20000")
    return subprocess.run(command, env=environment, capture_output=True, text=True,
                          errors="replace", timeout=300)


def main(plants, *command):
    clean = run(command, "none")
    if clean.returncode != 0:
        sys.exit(f"fails with nothing planted:\n{clean.stdout[-2000:]}{clean.stderr[-2000:]}")
    missed = 0
    for entry in plants.split():
        kernel, mistakes = entry.split(":")
        for mistake in mistakes.split(","):
            done = run(command, f"{kernel} {mistake}")
            found = done.returncode != 0
            missed += not found
            how = f"signal {-done.returncode}" if done.returncode < 0 else "a failure"
            print(f"{kernel} {mistake}: {how if found else 'NOT FOUND ' + done.stderr[-500:]}")
    return 1 if missed else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
