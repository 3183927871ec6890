#!/usr/bin/env bash
# Builds and tests every configuration that the gate asks for, and closes with the sums.
#   release     g++, every test but the long ones
#   asan-ubsan  clang, address and undefined-behaviour sanitizers
#   tsan        clang, thread sanitizer, the tests in which threads meet
set -uo pipefail
cd "$(dirname "$0")/.."

passed=0
failed=0

# check PRESET TARGET CTEST-ARGUMENT...
check() {
    local preset=$1 target=$2 log=build/$1/ctest.log
    shift 2
    echo "== $preset"
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset" --target "$target"; }; then
        echo "$preset does not build"
        failed=$((failed + 1))
        return
    fi
    ctest --test-dir "build/$preset" -j "$(nproc)" --output-on-failure --no-tests=error "$@" |
        tee "$log" | grep -vE ' Passed |^ +Start +[0-9]+:'
    local summary
    summary=$(sed -nE 's/.*, ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/p' "$log" | tail -n 1)
    if [ -z "$summary" ]; then
        echo "$preset ran no tests"
        failed=$((failed + 1))
        return
    fi
    failed=$((failed + ${summary% *}))
    passed=$((passed + ${summary#* } - ${summary% *}))
}

check release all -LE soak
check asan-ubsan all -LE 'soak|surface'
check tsan thread_tests -L thread

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
