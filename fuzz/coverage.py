#!/usr/bin/env python3
"""Replays each fuzz target's corpus and prints how many lines of its module it covers.

usage: coverage.py [TARGET...]

modules.txt names the sources of each target's module. Status 1 when the corpus alone covers less
than 90 % of them. The programs are built with clang in build/fuzz-coverage.
"""
import json
import os
import pathlib
import subprocess
import sys

LEAST = 90.0
ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "fuzz-coverage"
FLAGS = "-fprofile-instr-generate -fcoverage-mapping"


def modules():
    lines = (ROOT / "fuzz" / "modules.txt").read_text().splitlines()
    pairs = (line.split(":") for line in lines if line and not line.startswith("#"))
    return {name: sources.split() for name, sources in pairs}


def run(*command, **settings):
    return subprocess.run(list(map(str, command)), check=True, **settings)


def build(targets):
    run("cmake", "--preset", "clang", "-B", BUILD, f"-DCMAKE_C_FLAGS={FLAGS}",
        f"-DCMAKE_CXX_FLAGS={FLAGS}", cwd=ROOT, stdout=sys.stderr)
    run("cmake", "--build", BUILD, "--target", *(f"replay_{target}" for target in targets),
        stdout=sys.stderr)


def measure(target, sources):
    """Lines of the sources, and those that the corpus reaches."""
    program = BUILD / "fuzz" / f"replay_{target}"
    raw = BUILD / f"{target}.profraw"
    profile = BUILD / f"{target}.profdata"
    run(program, BUILD / "fuzz" / "corpus" / target, stdout=subprocess.DEVNULL,
        env={**os.environ, "LLVM_PROFILE_FILE": str(raw)})
    run("llvm-profdata-14", "merge", "-sparse", raw, "-o", profile)
    report = run("llvm-cov-14", "export", "-summary-only", program, f"-instr-profile={profile}",
                 *(ROOT / source for source in sources), stdout=subprocess.PIPE)
    files = json.loads(report.stdout)["data"][0]["files"]
    if len(files) != len(sources):
        found = {os.path.relpath(file["filename"], ROOT) for file in files}
        sys.exit(f"{target}: no lines of {' '.join(sorted(set(sources) - found))}")
    lines = [file["summary"]["lines"] for file in files]
    return sum(line["count"] for line in lines), sum(line["covered"] for line in lines)


def main(targets):
    known = modules()
    targets = targets or list(known)
    build(targets)
    failed = False
    print(f"{'target':20} {'inputs':>7} {'bytes':>8} {'lines':>6} {'covered':>8}  module")
    for target in targets:
        sources = known[target]
        count, covered = measure(target, sources)
        percent = 100.0 * covered / count
        failed = failed or percent < LEAST
        inputs = list((BUILD / "fuzz" / "corpus" / target).iterdir())
        size = sum(path.stat().st_size for path in inputs)
        print(f"{target:20} {len(inputs):7} {size:8} {count:6} {percent:7.1f}%  "
              f"{' '.join(sources)}{'' if percent >= LEAST else '  TOO LITTLE'}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
