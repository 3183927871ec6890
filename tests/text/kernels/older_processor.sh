#!/bin/sh
# Runs the library's tests of a program on an emulated processor without 256-bit instructions, on
# which the library must find no body that has them and never execute one:
#   older_processor.sh EMULATOR PROGRAM
set -eu
on_nehalem="$1 -cpu Nehalem $2"

bodies=$($on_nehalem --gtest_list_tests)
case $bodies in
*/avx2*)
    echo "a body for another processor is there"
    exit 1
    ;;
*/generic*) ;;
*)
    echo "no generic body is there"
    exit 1
    ;;
esac
# Fewer rounds than on the machine itself, where the same body runs as */generic, and not the longest
# tests of what others test as well, for it takes ten times as long.
export ITER="${ITER:-100}"
longest='*StringsOfThreeBytes*:*AllThreeByteStrings*:*FourEdgeBytes*:*EdgeBytesAcrossBlocks*'
longest="$longest:*AsciiRunsOfEachLength*:*CasesChangeTheLetters*:*Utf8LengthAddsUp*"
longest="$longest:*AtEachAlignedPlace*:*CaseEdgeBody.UnitsInPlace*:*CaseEdgeBody.CopiesForALocale*"
longest="$longest:*UtfModelEdgeBody*"
exec $on_nehalem --gtest_filter="*/library*-$longest" --gtest_brief=1
