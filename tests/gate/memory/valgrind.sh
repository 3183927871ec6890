#!/usr/bin/env bash
# Runs the quick tests of the library under memcheck: tests/gate/memory/valgrind.sh
# Prints a line for each program and what memcheck says of those that fail; closes with the sums.
# What a program may keep to its end is what it can still reach, as the dynamic loader does. The test
# preset memcheck chooses the tests by their labels; of a routine's bodies it takes the one that the
# library takes, and protected pages watch the others.
set -uo pipefail
cd "$(dirname "$0")/../../.." || exit
build=build/release
export ITER=20 SEED=1

# check COMMAND...: memcheck's verdict, 9 where it found anything.
check() {
    local lost=definite,indirect,possible
    timeout 900 valgrind -q --error-exitcode=9 --leak-check=full --show-leak-kinds=$lost \
        --errors-for-leak-kinds=$lost "$@"
}
export -f check

# run PROGRAM FILTER
run() {
    local log=$1.valgrind.log name=${1##*/}
    if check "$1" --gtest_brief=1 --gtest_filter="$2" >"$log" 2>&1; then
        echo "passed: $name"
    else
        echo "failed: $name"
        grep '^==' "$log" | head -n 40
    fi
}
export -f run

# A program and the filter of its tests by turns.
mapfile -t programs < <(ctest --preset memcheck --show-only=json-v1 | python3 -c '
import json, sys
programs = {}
for test in json.load(sys.stdin)["tests"]:
    program, choice = test["command"][:2]
    programs.setdefault(program, []).append(choice.removeprefix("--gtest_filter="))
for program, names in programs.items():
    print(program, ":".join(names), sep="\n")')
expected=$((${#programs[@]} / 2 + 4))

{
    # The checker itself: a program that leaks, one that reads too far, one that does neither.
    for fault in none leak over_read unwritten; do
        check "$build/tests/gate/memory/valgrind_planted" "$fault" >/dev/null 2>&1
        status=$?
        [ "$fault" = none ] && wanted=0 || wanted=9
        if [ "$status" -eq "$wanted" ]; then echo "passed: planted $fault"; else
            echo "failed: planted $fault ended with $status"
        fi
    done
    printf '%s\n' "${programs[@]}" | xargs -d '\n' -n 2 -P "$(nproc)" bash -c 'run "$@"' -
} | tee "$build/valgrind.log"
passed=$(grep -c '^passed: ' "$build/valgrind.log")
# A program of which nothing is said has failed as well.
failed=$((expected - passed))
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 4 ]
