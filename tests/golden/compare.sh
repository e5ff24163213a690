#!/usr/bin/env bash
# Runs one of the builds of ./run golden and says in a line how it did, in more lines what differs.
#   compare.sh COMPILER LEVEL
set -euo pipefail
cd "$(dirname "$0")/../.."
output=$(ctest --test-dir "build/golden-$1" -C "$2" --output-on-failure --no-tests=error 2>&1) ||
    { echo "$1 -$2: failed"$'\n'"$output" && exit 1; }
echo "$1 -$2: same bits"
