#!/usr/bin/env bash
# Builds the benchmarks and prints their ratios; each compares its sides in one run.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset bench >&2
cmake --build --preset bench >&2
for program in build/bench/bench/*_bench build/bench/bench/*/*_bench; do
    "$program"
done
