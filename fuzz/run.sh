#!/usr/bin/env bash
# Runs every fuzz target for so many seconds: fuzz/run.sh [SECONDS]. What is found goes to
# build/fuzz/found, an input that fails to build/fuzz/failed.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
cmake --preset fuzz >&2
cmake --build --preset fuzz >&2
mkdir -p build/fuzz/failed
for program in build/fuzz/fuzz/fuzz_*; do
    [ -f "$program" ] && [ -x "$program" ] || continue
    target=${program##*/fuzz_}
    echo "== $target"
    mkdir -p "build/fuzz/found/$target"
    "$program" -max_total_time="$seconds" -max_len=1024 -timeout=10 -print_final_stats=1 \
        -dict="fuzz/$target.dict" -artifact_prefix="build/fuzz/failed/$target-" \
        "build/fuzz/found/$target" "fuzz/corpus/$target" 2>&1 |
        grep -Ev '^(#|NEW_FUNC|INFO: (Loaded|seed)|Dictionary)'
done
