#!/usr/bin/env bash
# The tests of load, one after the other on the release build: tests/soak/run.sh. Prints what they
# measured, one figure a line, and the sums; what fails prints all it has to say.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --preset release >&2
cmake --build --preset release --target soak_tests >&2
log=build/release/soak.log
status=0
ctest --preset soak --verbose >"$log" || status=$?
sed -nE 's/^[0-9]+: (figure: )/\1/p' "$log"
if [ "$status" -ne 0 ]; then grep -vE '^[0-9]+: figure: ' "$log"; fi
grep -E '^[0-9]+% tests passed|^Total Test time' "$log"
exit "$status"
