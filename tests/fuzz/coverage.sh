#!/usr/bin/env bash
# Lines of the library that the inputs kept so far reach: tests/fuzz/coverage.sh COVERAGE_BUILD FUZZ_BUILD.
set -euo pipefail

build=$1 kept=$2
llvm=$(dirname "$(readlink -f "$(command -v clang)")")
profiles=() objects=()
for target in customer_file record_files calls service recordings; do
    program=$build/tests/fuzz/fuzz_$target
    LLVM_PROFILE_FILE=$build/$target.profraw "$program" -runs=0 "$kept/corpus/$target" "$kept/seeds/$target" 2>/dev/null
    profiles+=("$build/$target.profraw")
    objects+=("-object" "$program")
done
"$llvm/llvm-profdata" merge -o "$build/all.profdata" "${profiles[@]}"
"$llvm/llvm-cov" report "${objects[@]}" -instr-profile="$build/all.profdata" \
    -ignore-filename-regex='fuzz/|/usr/' -show-region-summary=false -show-branch-summary=true
