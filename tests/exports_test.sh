#!/bin/sh
# The built library exports what the version script lists, and the version script lists what the headers declare.
#   exports_test.sh LIBRARY SOURCE_DIR
set -eu
library=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

nm -D --defined-only "$library" | awk '{print $3}' | sort >"$work/built"
sed -n 's/^ *\([A-Za-z_0-9]*\);$/\1/p' "$source/src/libqv6dalgo.map" | sort >"$work/listed"
# A declaration may run over several lines: join each up to its semicolon, then take the name before ( or [ or the end.
cat "$source"/include/*.h "$source"/src/*/*.h | tr '\n' ' ' | grep -oE '\bQV(6D)?_API [^;(=]*[;(]' |
    sed -E 's/\[.*//; s/[ (;]*$//; s/.*[ *]//' | grep -vE '^(extern|__attribute__)?$' | sort >"$work/declared"

diff "$work/listed" "$work/built" || { echo "< listed but not built, > built but not listed" >&2; exit 1; }
diff "$work/declared" "$work/listed" || { echo "< declared but not listed, > listed but not declared" >&2; exit 1; }
[ -s "$work/built" ]

readelf -d "$library" | grep -q 'SONAME.*\[libqv6dalgo.so.1\]' || { echo "soname is not libqv6dalgo.so.1" >&2; exit 1; }
needed=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE '^(libc|libm|ld-linux.*)\.so' || true)
[ -z "$needed" ] || { echo "depends on $needed" >&2; exit 1; }
