#!/usr/bin/env bash
# Builds and tests, and closes with the sums.
#   tests/run.sh [STAGE...]    or: make test STAGES="STAGE..."
# Without a name: release, abi and asan-ubsan. Which tests a stage runs is said by labels, in
# CMakePresets.json. `all` stands for every stage, in this order:
#   lint            clang-tidy, clang-format, shellcheck, codespell, .editorconfig (a check for each)
#   release         g++, every test but the long ones
#   deep            the programs on emulated processors, a million checks of each routine with several
#                   bodies, the memory of the tool
#   judges          what plants faults and sees that tests, gates and scripts find them
#   abi             clang without sanitizers: what the library shows, and its binary interface
#   valgrind        the quick tests of the library under memcheck (a check for each program)
#   asan-ubsan      clang, address and undefined-behaviour sanitizers; the library without wraps
#                   and cut-off values that it does not spell out
#   asan-ubsan-gcc  the same sanitizers of g++, the tests of the library
#   tsan            clang, thread sanitizer, the tests in which threads meet
#   msan            clang, memory sanitizer, the tests that the checking host serves
#   coverage        how much of the code the tests reach (a check for each demand)
#   fuzz            every fuzz target for FUZZ_SECONDS (30; one check)
set -uo pipefail
cd "$(dirname "$0")/.." || exit

# What the compiler says of a source's headers is enough for the cache; nothing is preprocessed twice.
export CCACHE_DEPEND=1
jobs=$(nproc)
passed=0
failed=0
times=""
# The seconds that a random test may take grow with a sanitizer: fewer rounds there.
rounds=${ITER:-1000}
# The folders of the library's own tests, as targets.
folders=(tests/{core,config,json,text,datefmt,validate,fault}/all)

# count PASSED FAILED
count() {
    passed=$((passed + $1))
    failed=$((failed + $2))
}

# build PRESET TARGET...: false, and a failure, when it does not build.
build() {
    local preset=$1
    shift
    cmake --preset "$preset" >"build/$preset.log" 2>&1 &&
        cmake --build --preset "$preset" -j "$jobs" --target "$@" >>"build/$preset.log" 2>&1 &&
        return
    grep -vE '^\[[0-9]+/[0-9]+\] ' "build/$preset.log" | tail -n 60
    echo "$preset does not build"
    count 0 1
    return 1
}

# run PRESET: the tests that the preset chooses by their labels.
run() {
    local log=build/$1-tests.log summary skipped
    ctest --preset "$1" -j "$jobs" | tee "$log" | grep -vE ' Passed |^ +Start +[0-9]+:'
    summary=$(sed -nE 's/.*, ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/p' "$log" | tail -n 1)
    if [ -z "$summary" ]; then
        echo "$1 ran no tests"
        count 0 1
        return
    fi
    skipped=$(grep -cE '^[[:space:]]+[0-9]+ - .* \(Skipped\)' "$log")
    count $((${summary#* } - ${summary% *} - skipped)) "${summary% *}"
}

# sums LOG COMMAND...: a gate that closes with sums of its own, or is one check.
sums() {
    local log=$1 summary
    shift
    "$@" 2>&1 | tee "$log"
    local status=${PIPESTATUS[0]}
    summary=$(sed -nE 's/^([0-9]+) passed, ([0-9]+) failed$/\1 \2/p' "$log" | tail -n 1)
    [ -n "$summary" ] || summary="1 0"
    # A gate that ended early is a failure, whatever it had counted.
    [ "$status" -eq 0 ] || [ "${summary#* }" -ne 0 ] || summary="0 1"
    # shellcheck disable=SC2086 # two numbers
    count $summary
}

stage_lint() { sums build/lint.log python3 -B tests/gate/lint/lint.py .; }

stage_release() { build release all && run release; }

stage_deep() { build release all && run deep; }

stage_judges() { build release all && run judges; }

stage_asan-ubsan() { build asan-ubsan all && ITER=$rounds run asan-ubsan; }

stage_asan-ubsan-gcc() {
    build asan-ubsan-gcc "${folders[@]}" && ITER=$rounds run asan-ubsan-gcc
}

stage_tsan() { build tsan thread_tests && run tsan; }

stage_msan() { build msan memory_tests && ITER=$rounds run msan; }

stage_abi() { build clang nqinstance && run abi; }

stage_coverage() { sums build/coverage.log tests/gate/coverage/run.sh; }

stage_valgrind() {
    build release tests/gate/memory/all "${folders[@]}" &&
        sums build/valgrind.log tests/gate/memory/valgrind.sh
}

# A rate depends on the machine, so here a target fails only where it has become far slower. What
# earlier runs found is not begun with.
stage_fuzz() {
    rm -rf build/fuzz/found
    NQ_FUZZ_RATE=500 sums build/fuzz.log fuzz/run.sh "${FUZZ_SECONDS:-30}"
}

measure() {
    local begin=$SECONDS
    echo "== $1"
    if declare -F "stage_$1" >/dev/null; then "stage_$1"; else
        echo "there is no stage $1"
        count 0 1
    fi
    times="$times$1 $((SECONDS - begin)) s, "
}

mkdir -p build
every=(lint release deep judges abi valgrind asan-ubsan asan-ubsan-gcc tsan msan coverage fuzz)
stages=()
for name in "$@"; do
    if [ "$name" = all ]; then stages+=("${every[@]}"); else stages+=("$name"); fi
done
[ $# -ne 0 ] || stages=(release abi asan-ubsan)
for stage in "${stages[@]}"; do measure "$stage"; done
echo "times: ${times%, }"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -ne 0 ]
