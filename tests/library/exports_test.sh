#!/bin/sh
# The built library exports what the version script lists, and the version script lists what the headers declare. It
# imports text, files and mathematics of the C library, and nothing that allocates, waits, starts, connects or reads
# the environment.
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

# Undefined symbols without their version and the wrapping of checked calls: __fprintf_chk@GLIBC_2.3.4 is fprintf.
imported=$(nm -D --undefined-only "$library" | awk '$1 == "U" {print $2}' | sed -E 's/@.*//; s/^__(.*)_chk$/\1/' | sort)
files='fopen|fclose|fread|fwrite|fgets|fputc|fputs|fseek|ferror|fflush|setvbuf|v?fprintf|v?snprintf|stderr'
text='mem(cpy|move|set|cmp|chr)|bcmp|str(len|n?cmp|n?cpy|r?chr|n?cat|tod)'
mathematics='a?sin|a?cos|sincos|atan2|sqrt'
foreign=$(echo "$imported" | grep -vxE "$files|$text|$mathematics|__stack_chk_(fail|guard)|__cxa_finalize" || true)
[ -n "$imported" ] && [ -z "$foreign" ] || { echo "imports" $foreign >&2; exit 1; }
