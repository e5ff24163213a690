#!/usr/bin/env bash
# Fuzzes each target in turn: tests/fuzz/run.sh BUILD MINUTES, the minutes shared between them. Inputs that reach
# something new stay in BUILD/corpus and are where the next run goes on; one that breaks its target is named, kept in
# BUILD/found, and ends the run.
set -euo pipefail
build=$(realpath "$1")
mkdir -p "$build/seeds" "$build/found" "$build/corpus"/{customer_file,record_files,calls,service,recordings}
(cd "$build/seeds" && "$build/tests/fuzz/fuzz_seeds")
dictionary() # TARGET
{
    case $1 in
    recordings) echo recordings ;;
    *) echo customer_file ;;
    esac
}
for target in customer_file record_files calls service recordings; do
    program=$build/tests/fuzz/fuzz_$target log=$build/$target.log
    if ! "$program" -max_total_time=$(($2 * 12)) -max_len=4096 -timeout=10 -dict="$build/seeds/$(dictionary $target).dict" \
        -artifact_prefix="$build/found/$target-" "$build/corpus/$target" "$build/seeds/$target" >"$log" 2>&1; then
        grep -vE '^#[0-9]+|NEW_FUNC' "$log" | tail -n 60 >&2
        echo "fuzz_$target broke it. Again: $program $(ls -t "$build/found/$target-"* | head -n 1)" >&2
        exit 1
    fi
    echo "$target: $(grep DONE "$log")"
done
