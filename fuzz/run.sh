#!/usr/bin/env bash
# Fuzzes each target in turn: fuzz/run.sh BUILD MINUTES, the minutes shared between them. Inputs that reach something new
# stay in BUILD/corpus and are where the next run goes on; one that breaks the library is named, kept in BUILD/found,
# and ends the run.
set -euo pipefail

build=$1
seconds=$(($2 * 60 / 3))

"$build/fuzz/fuzz_seeds" "$build/seeds"
mkdir -p "$build/found"
for target in customer_file record_files calls; do
    corpus=$build/corpus/$target log=$build/$target.log
    mkdir -p "$corpus"
    dictionary=()
    [ ! -e "$build/seeds/$target.dict" ] || dictionary=("-dict=$build/seeds/$target.dict")
    if ! "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=4096 -timeout=10 -print_final_stats=1 \
        -artifact_prefix="$build/found/$target-" "${dictionary[@]}" "$corpus" "$build/seeds/$target" >"$log" 2>&1; then
        grep -vE '^#[0-9]+|NEW_FUNC' "$log" | tail -n 60 >&2
        echo "fuzz_$target broke the library. Again: $build/fuzz/fuzz_$target $(ls -t "$build/found/$target-"* | head -n 1)" >&2
        exit 1
    fi
    awk -v target="$target" '
        /cov: / { for (i = 1; i < NF; ++i) if ($i == "cov:") edges = $(i + 1); else if ($i == "corp:") corpus = $(i + 1) }
        /^Done/ { runs = $2; seconds = $5 }
        END { printf "%-14s %9d executions in %d s, %d edges reached, corpus of %s\n", target, runs, seconds, edges, corpus }
    ' "$log"
done
