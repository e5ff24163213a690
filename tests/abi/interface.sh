#!/usr/bin/env bash
# Compares the binary interface with the one recorded beside this script, or records it.
#   interface.sh LIBRARY [--record]     LIBRARY: shared, built with debug info
#
# libqv6dalgo.abi   from the debug info: exports, their types, the layout of every record that they reach; the same on
#                   64-bit Arm and x86, with gcc and clang
# declared.txt      from the headers, what debug info does not tell: constants, which records are packed, the
#                   declarations with the names of the parameters
set -euo pipefail
library=$(realpath "$1") record=${2:-}
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

describe_types()
{
    abidw --exported-interfaces-only --no-architecture --no-show-locs --no-corpus-path --no-comp-dir-path \
        --no-elf-needed --type-id-style hash "$library" >"$work/libqv6dalgo.abi"
    grep -q '<function-decl' "$work/libqv6dalgo.abi" || { echo "$library has no debug info" >&2 && exit 2; }
}

constants()
{
    grep -oE '^#define QV.*[^ ]|\bQV[A-Z0-9_]+ = [^,} ]+|struct __attribute__\(\(packed\)\) [a-z0-9_]+' "$1" |
        grep -vE '^#define QV[A-Z0-9_]+_H$|^#define QV(6D|STORAGE)_VERSION' # guards; versions, which are to change
}

declarations()
{
    grep -v '^#' "$1" | tr -s ' \n' ' ' | grep -oE 'extern __attribute__\(\(visibility\("default"\)\)\) [^;]*;' |
        sed 's/^extern [^ ]* //'
}

describe_headers()
{
    gcc -std=c11 -E -P -dD -Iinclude -Isrc tests/library/headers.c >"$work/headers.i"
    constants "$work/headers.i" | LC_ALL=C sort >"$work/constants"
    declarations "$work/headers.i" | LC_ALL=C sort | cat "$work/constants" - >"$work/declared.txt"
}

# The tool's exit status has bits 1 and 2 for its own failures, others for differences.
differs()
{
    local status=0
    abidiff --exported-interfaces-only --no-architecture --leaf-changes-only --harmless --no-show-locs "$@" \
        tests/abi/libqv6dalgo.abi "$work/libqv6dalgo.abi" >"$work/report" 2>&1 || status=$?
    if [ $((status & 3)) -ne 0 ]; then
        cat "$work/report" >&2
        exit 2
    fi
    [ "$status" -ne 0 ]
}

compare()
{
    local same=true
    if differs; then
        cat "$work/report"
        same=false
    fi
    diff -U 0 --label recorded --label now tests/abi/declared.txt "$work/declared.txt" || same=false
    $same && echo "The binary interface is the recorded one." && return
    cat >&2 <<'TEXT'

The binary interface is not the one recorded in tests/abi/, which services built earlier rely on.
  Not meant?                                  Take the change back.
  Something added, or a parameter renamed?    ./run abi --record, and commit tests/abi/ with it.
  Something that a service relies on changed? Raise `abi` in src/CMakeLists.txt first, which renames the library where
                                              libraries have versions; on Android, where they have none, every service
                                              must be built again. Then ./run abi --record.
TEXT
    return 1
}

# Under the same name nothing is recorded that breaks a service.
refuse_a_break()
{
    [ -e tests/abi/libqv6dalgo.abi ] || return 0
    local soname kept=true
    soname=$(grep -o "soname='[^']*'" "$work/libqv6dalgo.abi")
    grep -q "$soname" tests/abi/libqv6dalgo.abi || return 0
    if differs --no-added-syms; then
        cat "$work/report" >&2
        kept=false
    fi
    grep -E '^#|=|^struct' tests/abi/declared.txt | LC_ALL=C comm -23 - "$work/constants" >"$work/gone"
    [ ! -s "$work/gone" ] || { sed 's/^/changed or gone: /' "$work/gone" >&2 && kept=false; }
    $kept || { echo "Not recorded: raise \`abi\` in src/CMakeLists.txt first." >&2 && exit 1; }
}

describe_types
describe_headers
case "$record" in
"") compare ;;
--record) refuse_a_break && cp "$work/libqv6dalgo.abi" "$work/declared.txt" tests/abi/ ;;
*) sed -n '2,3p' "$0" >&2 && exit 2 ;;
esac
