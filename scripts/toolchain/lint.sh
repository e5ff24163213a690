#!/usr/bin/env bash
# cppcheck and clang-tidy over every source, each once, though several targets compile the library.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --preset lint >/dev/null
once=build/lint/once # what CMake puts together reads large headers once
mkdir -p $once/platform
jq 'map(select(.file | endswith("page_template.cpp") | not)) | unique_by(.file)' \
    build/lint/compile_commands.json >$once/compile_commands.json
# cppcheck does not know __VA_OPT__ yet.
sed 's/ __VA_OPT__(, ) __VA_ARGS__/, ##__VA_ARGS__/' src/platform/log.h >$once/platform/log.h
# passedByValue: vectors of three doubles go by value, which is their interface.
git ls-files -- '*.cpp' | xargs cppcheck -I $once -I include -I src -I qv6d --std=c++20 \
    --enable=warning,performance,portability --suppress=passedByValue --inline-suppr --error-exitcode=1 -j 2 -q
jq -r '.[].file' $once/compile_commands.json |
    xargs -P 2 -n 1 clang-tidy -quiet -p $once --warnings-as-errors='*'
