#!/usr/bin/env bash
# Runs one of the builds of ./run golden and says in a line how it did, in more lines what differs.
#   compare.sh COMPILER LEVEL
set -uo pipefail
cd "$(dirname "$0")/.."

output=$(ctest --test-dir "build/golden-$1" -C "$2" --verbose --no-tests=error 2>&1)
failed=$?
said=$(sed -n 's/^1: //p' <<<"$output" | sed '1,/^Test timeout/d')
if [ $failed -eq 0 ]; then
    echo "$1 -$2: $(grep scenarios: <<<"$said")"
else
    echo "$1 -$2: failed"
    echo "${said:-$output}"
fi
exit $failed
