#!/usr/bin/env bash
# Fuzzes each target in turn: tests/fuzz/run.sh BUILD MINUTES, the minutes shared between them. Inputs that reach
# something new stay in BUILD/corpus and are where the next run goes on; one that breaks its target is named, kept in
# BUILD/found, and ends the run. Once mended, it goes into tests/fuzz/corpus under the name of what it did.
set -euo pipefail
build=$(realpath "$1") here=$(cd "$(dirname "$0")" && pwd)
targets=("$here"/corpus/*)
targets=("${targets[@]##*/}")
mkdir -p "$build/seeds" "$build/found"
(cd "$build/seeds" && "$build/tests/fuzz/fuzz_seeds")
dictionary() # TARGET
{
    case $1 in
    recordings) echo recordings ;;
    *) echo customer_file ;;
    esac
}
for target in "${targets[@]}"; do
    program=$build/tests/fuzz/fuzz_$target log=$build/$target.log
    folders=("$build/corpus/$target" "$here/corpus/$target")
    mkdir -p "${folders[0]}"
    [ ! -d "$build/seeds/$target" ] || folders+=("$build/seeds/$target")
    if ! "$program" -max_total_time=$(($2 * 60 / ${#targets[@]})) -max_len=4096 -timeout=10 \
        -dict="$build/seeds/$(dictionary "$target").dict" -artifact_prefix="$build/found/$target-" "${folders[@]}" >"$log" 2>&1; then
        grep -vE '^#[0-9]+|NEW_FUNC' "$log" | tail -n 60 >&2
        echo "fuzz_$target broke it. Again: $program $(ls -t "$build/found/$target-"* | head -n 1)" >&2
        exit 1
    fi
    echo "$target: $(grep DONE "$log")"
done
