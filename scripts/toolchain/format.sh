#!/usr/bin/env bash
# Rewrites the sources in the project's style; with --check only says whether they are.
set -euo pipefail
cd "$(dirname "$0")/../.."
how=(-i)
[ "${1:-}" != --check ] || how=(--dry-run --Werror)
git ls-files -- '*.c' '*.cpp' '*.h' | xargs clang-format "${how[@]}"
