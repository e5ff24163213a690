#!/usr/bin/env bash
# Lines of library and readers that the inputs kept so far reach: tests/fuzz/coverage.sh COVERAGE_BUILD FUZZ_BUILD.
set -euo pipefail

build=$1 kept=$2 here=$(dirname "$0")
llvm=$(dirname "$(readlink -f "$(command -v clang)")")
profiles=() objects=()
for folder in "$here"/corpus/*; do
    target=${folder##*/}
    program=$build/tests/fuzz/fuzz_$target
    mkdir -p "$kept"/{corpus,seeds}/"$target"
    LLVM_PROFILE_FILE=$build/$target.profraw "$program" -runs=0 "$kept"/{corpus,seeds}/"$target" "$folder" 2>/dev/null
    profiles+=("$build/$target.profraw")
    objects+=("-object" "$program")
done
"$llvm/llvm-profdata" merge -o "$build/all.profdata" "${profiles[@]}"
"$llvm/llvm-cov" report "${objects[@]}" -instr-profile="$build/all.profdata" \
    -ignore-filename-regex='fuzz/|/usr/' -show-region-summary=false -show-branch-summary=true
