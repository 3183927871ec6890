#!/usr/bin/env bash
# Runs the quick tests of the library under memcheck: tests/gate/memory/valgrind.sh BUILD-FOLDER
# Prints a line for each program and what memcheck says of those that fail; closes with the sums.
# What a program may keep to its end is what it can still reach, as the dynamic loader does.
# Of a routine's bodies it sees the one that the library takes; protected pages watch the others.
set -uo pipefail
build=$1
export ITER=20 SEED=1
export skipped='-*Death*:*Thread*:*AllStrings*:*AllThreeByte*:*EdgeBytes*:*EdgeBody*:*Load*:*Aligned*'
skipped="$skipped:*EveryCodePoint*:*YearsWrap*:*MillionKeys*:*Model*:*EveryDay*:*Random*:*LargeText*"
skipped="$skipped:*/generic:*/avx2:*CasesChange*:*FirstOther*:*SetsStore*:*MalformedBytes*"

# check NAME COMMAND...: memcheck's verdict, 9 where it found anything.
check() {
    local lost=definite,indirect,possible
    timeout 900 valgrind -q --error-exitcode=9 --leak-check=full --show-leak-kinds=$lost \
        --errors-for-leak-kinds=$lost "$@"
}
export -f check

run() {
    local log=$1.valgrind.log name=${1##*/} tests
    if ! tests=$("$1" --gtest_list_tests --gtest_filter="$skipped"); then
        echo "failed: $name does not list its tests"
    elif ! grep -q '^  ' <<<"$tests"; then
        echo "no quick tests: $name"
    elif check "$1" --gtest_brief=1 --gtest_filter="$skipped" >"$log" 2>&1; then
        echo "passed: $name"
    else
        echo "failed: $name"
        grep '^==' "$log" | head -n 40
    fi
}
export -f run

mapfile -t programs < <(
    for folder in core config json text datefmt validate fault; do
        find "$build/tests/$folder" -maxdepth 1 -type f -executable -name '*_test' \
            ! -name '*thread*' ! -name '*model*' ! -name 'sweep_test' ! -name '*plain*' \
            ! -name 'planted_*_test' | sort
    done
)

{
    # The checker itself: a program that leaks, one that reads too far, one that does neither.
    for fault in none leak over_read unwritten; do
        check "$build/tests/gate/memory/valgrind_planted" "$fault" >/dev/null 2>&1
        status=$?
        [ "$fault" = none ] && expected=0 || expected=9
        if [ "$status" -eq "$expected" ]; then echo "passed: planted $fault"; else
            echo "failed: planted $fault ended with $status"
        fi
    done
    printf '%s\n' "${programs[@]}" | xargs -P "$(nproc)" -I '{}' bash -c 'run {}'
} | tee "$build/valgrind.log"
lines() { grep -cE "^($1): " "$build/valgrind.log"; }
passed=$(lines passed)
# A program of which nothing is said has failed as well.
failed=$((${#programs[@]} + 4 - $(lines 'passed|no quick tests')))
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 4 ]
