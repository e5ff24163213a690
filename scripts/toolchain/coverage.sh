#!/usr/bin/env bash
# Lines of src/ that the library's own tests, a host and the kept inputs reach, and those that none reaches. Fails below 97 %.
#   coverage.sh BUILD
set -euo pipefail
build=$(realpath "$1") least=97
cd "$(dirname "$0")/../.."
llvm=$(dirname "$(readlink -f "$(command -v clang)")")
profiles=$build/profiles
rm -rf "$profiles"
export LLVM_PROFILE_FILE=$profiles/%2m.profraw # one a program, to which its runs are added

objects=("$build/tests/library_test")
run() # PROGRAM ARGUMENT...
{
    "$build/tests/$1" "${@:2}" >"$build/coverage.log" 2>&1 || { cat "$build/coverage.log" >&2 && exit 1; }
}
run library_test
for scenario in $("$build/tests/golden/golden" --list); do
    (cd "$build" && run golden/golden --own "$scenario")
done
for folder in tests/fuzz/corpus/{calls,customer_file,record_files,service}; do
    run "fuzz/fuzz_${folder##*/}" "$folder"
done
# What finds the copies that a linker makes of exported variables, in a host that has them.
clang -std=c11 -fno-pie -no-pie -DLINKED -DBY_NAME -I include -I src tests/delivery/host.c -o "$build/tests/host" \
    "$build/src/libqv6dalgo.so" -ldl -lm
LD_LIBRARY_PATH=$build/src run host
objects+=(-object "$build/src/libqv6dalgo.so")
for program in golden/golden fuzz/fuzz_{calls,customer_file,record_files,service}; do
    objects+=(-object "$build/tests/$program")
done

"$llvm/llvm-profdata" merge -o "$build/all.profdata" "$profiles"/*.profraw
"$llvm/llvm-cov" export -format=lcov -instr-profile="$build/all.profdata" "${objects[@]}" "$PWD/src" |
    awk -F '[:,]' -v least=$least -v here="$PWD/" '
    $1 == "SF" { file = substr($2, length(here) + 1) }
    $1 == "DA" { reached[file ":" $2] += $3 }
    END {
        for (line in reached)
            reached[line] > 0 ? ++hit : missed[line]
        sort = "sort -t : -k 1,1 -k 2,2n"
        for (line in missed)
            print "not reached: " line | sort
        close(sort)
        share = 100 * hit / length(reached)
        printf "%.1f %% of %d lines are reached; at least %d %% must be\n", share, length(reached), least
        exit share < least
    }'
