#!/usr/bin/env bash
# The coverage gate: builds with counters, runs the tests and checks what they reached.
#   tests/gate/coverage/run.sh
# The tests run with few rounds. The preset leaves out those that walk through every input of a kind,
# which reach nothing that the others do not, and the corpora, for tests are to reach the code by
# themselves.
set -euo pipefail
cd "$(dirname "$0")/../../.."
build=build/coverage
jobs=$(nproc)

cmake --preset coverage >&2
cmake --build "$build" -j "$jobs" >&2
find "$build" -name '*.gcda' -delete
status=0
ITER=${ITER:-300} ctest --preset coverage -j "$jobs" >"$build/coverage-tests.log" 2>&1 || status=$?
if [ "$status" -ne 0 ]; then
    tail -n 60 "$build/coverage-tests.log"
    echo "The tests fail, so that their coverage says nothing."
    exit 1
fi
grep -E 'tests passed' "$build/coverage-tests.log"

gcovr --gcov-executable gcov-12 --root . --object-directory "$build" --filter nqinstance/ \
    --filter standalone/ --filter typed/ --filter tool/ --exclude-throw-branches \
    --exclude-unreachable-branches -j "$jobs" --json "$build/coverage.json" "$build"
# What is written in assembler has no counters; memcheck's sibling sees it run.
valgrind -q --tool=callgrind --callgrind-out-file="$build/calls.out" \
    "$build/tests/text/locale_forwarders_test" >"$build/calls.log" 2>&1
python3 tests/gate/coverage/gate.py . "$build/coverage.json" "$build/calls.out"
