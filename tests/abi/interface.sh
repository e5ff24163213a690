#!/usr/bin/env bash
# Compares the binary interfaces with those recorded beside this script, or records them.
#   interface.sh BUILD_DIR [--record]     with the shared libraries, built with debug info
#
# libqv6dalgo.abi, libqv6dservice.abi
#                   from the debug info: exports, their types, the layout of every record that they reach and that a
#                   header shows; the same on 64-bit Arm and x86, with gcc and clang
# declared.txt      from the headers, what debug info does not tell: constants, which records are packed, the
#                   declarations with the names of the parameters
set -euo pipefail
build=$(realpath "$1") record=${2:-}
libraries=(algo service)
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

describe_types() # NAME
{
    local library=$build/src/libqv6dalgo.so public=()
    if [ "$1" = service ]; then
        library=$build/service/libqv6dservice.so
        public=(--headers-dir include --drop-private-types)
    fi
    abidw "${public[@]}" --exported-interfaces-only --no-architecture --no-show-locs --no-corpus-path \
        --no-comp-dir-path --no-elf-needed --type-id-style hash "$library" >"$work/libqv6d$1.abi"
    grep -q '<function-decl' "$work/libqv6d$1.abi" || { echo "$library has no debug info" >&2 && exit 2; }
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
differs() # NAME OPTION...
{
    local status=0 name=libqv6d$1.abi
    shift
    abidiff --exported-interfaces-only --no-architecture --leaf-changes-only --harmless --no-show-locs "$@" \
        "tests/abi/$name" "$work/$name" >"$work/report" 2>&1 || status=$?
    if [ $((status & 3)) -ne 0 ]; then
        cat "$work/report" >&2
        exit 2
    fi
    [ "$status" -ne 0 ]
}

compare()
{
    local same=true name
    for name in "${libraries[@]}"; do
        if differs "$name"; then
            cat "$work/report"
            same=false
        fi
    done
    diff -U 0 --label recorded --label now tests/abi/declared.txt "$work/declared.txt" || same=false
    $same && echo "The binary interfaces are the recorded ones." && return
    cat >&2 <<'TEXT'

A binary interface is not the one recorded in tests/abi/, which services built earlier rely on.
  Not meant?                                  Take the change back.
  Something added, or a parameter renamed?    ./run abi --record, and commit tests/abi/ with it.
  Something that a service relies on changed? Raise `abi` in its CMakeLists.txt first, which renames the library where
                                              libraries have versions; on Android, where they have none, every service
                                              must be built again. Then ./run abi --record.
TEXT
    return 1
}

# Under the same name nothing is recorded that breaks a service.
refuse_a_break()
{
    local soname name kept=true renamed=false
    for name in "${libraries[@]}"; do
        [ -e "tests/abi/libqv6d$name.abi" ] || continue
        soname=$(grep -o "soname='[^']*'" "$work/libqv6d$name.abi")
        grep -q "$soname" "tests/abi/libqv6d$name.abi" || { renamed=true && continue; }
        if differs "$name" --no-added-syms; then
            cat "$work/report" >&2
            kept=false
        fi
    done
    if ! $renamed && [ -e tests/abi/declared.txt ]; then
        grep -E '^#|=|^struct' tests/abi/declared.txt | LC_ALL=C comm -23 - "$work/constants" >"$work/gone"
        [ ! -s "$work/gone" ] || { sed 's/^/changed or gone: /' "$work/gone" >&2 && kept=false; }
    fi
    $kept || { echo "Not recorded: raise \`abi\` in its CMakeLists.txt first." >&2 && exit 1; }
}

for name in "${libraries[@]}"; do
    describe_types "$name"
done
describe_headers
case "$record" in
"") compare ;;
--record) refuse_a_break && cp "$work"/libqv6d*.abi "$work/declared.txt" tests/abi/ ;;
*) sed -n '2,3p' "$0" >&2 && exit 2 ;;
esac
