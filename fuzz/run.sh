#!/usr/bin/env bash
# Runs fuzz targets for so many seconds each, two at a time: fuzz/run.sh [SECONDS [TARGET...]], all
# of them when none is named. Prints how often each ran, how fast and how far it came. The status
# is 1 when one failed, or was slower than NQ_FUZZ_RATE executions in a second of processor time
# (2000), which does not depend on what else the machine does.
# What is found goes to build/fuzz/found, an input that fails to build/fuzz/failed.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
[ $# -eq 0 ] || shift
targets=("$@")
[ $# -ne 0 ] || mapfile -t targets < <(sed -n 's/^\([a-z_0-9]*\):.*/\1/p' fuzz/modules.txt)
export build=${NQ_FUZZ_BUILD:-build/fuzz}
cmake --preset fuzz -B "$build" >&2
cmake --build "$build" --target "${targets[@]/#/fuzz_}" >&2
mkdir -p "$build/failed" "$build/logs"
# Short stacks, and little kept of what is freed: faster by half.
export ASAN_OPTIONS=malloc_context_size=1:quarantine_size_mb=16

# run TARGET SECONDS: its log ends with the processor time.
run() {
    local target=$1 corpus=$build/fuzz/corpus/$1 log=$build/logs/$1 longest
    local TIMEFORMAT='processor seconds: %U %S'
    # No longer than the longest of the corpus: such inputs are slower and reach nothing new.
    longest=$( (echo 256; find "$corpus" -type f -printf '%s\n') | sort -n | tail -n 1)
    mkdir -p "$build/found/$target"
    {
        time "$build/fuzz/fuzz_$target" -max_total_time="$2" -max_len="$longest" -timeout=10 \
            -print_final_stats=1 -dict="fuzz/targets/$target.dict" \
            -artifact_prefix="$build/failed/$target-" \
            "$build/found/$target" "$corpus" || echo "exit status $?"
    } >"$log" 2>&1
}
export -f run
# shellcheck disable=SC2016 # the other shell is to expand them
printf '%s\n' "${targets[@]}" | xargs -P 2 -I '{}' bash -c 'run "$1" "$2"' - '{}' "$seconds"

failed=0
printf '%-20s %12s %12s %8s %9s\n' target executions per_second edges features
for target in "${targets[@]}"; do
    log=$build/logs/$target
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    rate=$(awk -v "n=${executions:-0}" '/^processor seconds:/ {printf "%d", n / ($3 + $4 + 0.001)}' \
        "$log")
    reached=$(sed -n 's/.* cov: \([0-9]*\) ft: \([0-9]*\) .*/\1 \2/p' "$log" | tail -n 1)
    verdict=
    [ "$rate" -ge "${NQ_FUZZ_RATE:-2000}" ] || verdict="TOO SLOW"
    ! grep -q '^exit status' "$log" || verdict=FAILED
    # shellcheck disable=SC2086 # two numbers
    printf '%-20s %12s %12s %8s %9s %s\n' "$target" "${executions:-?}" "$rate" ${reached:-? ?} \
        "$verdict"
    [ -z "$verdict" ] || failed=1
    [ "$verdict" != FAILED ] ||
        grep -Ev '^(#[0-9]+[[:space:]]|NEW_FUNC|INFO: (Loaded|seed)|Dictionary)' "$log" |
        head -n 60
done
exit "$failed"
