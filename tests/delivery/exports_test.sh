#!/bin/bash
# The built library exports what its headers declare, and imports of the C library what it is meant to use: nothing that
# allocates, connects or reads the environment, and only the service layer what starts threads and locks.
#   exports_test.sh LIBRARY SOURCE_DIR
source "$(dirname "$0")/../shell.sh"
library=$1 source=$2
files='fopen|fdopen|fclose|fread|fwrite|fgetc|getc|fputc|open|close|fstat|fputs|fseek|ferror|fflush|setvbuf|v?fprintf|v?snprintf|stderr'
text='mem(cpy|move|set|cmp|chr)|bcmp|str(len|n?cmp|n?cpy|r?chr|n?cat|tod)|(new|use|free)locale|dl_iterate_phdr'
mathematics='a?sin|a?cos|sincos|atan2|sqrt'
needed='libc|libm|ld-linux.*'
case $library in
*/libqv6dalgo.so)
    headers=("$source"/include/qv6dalgo.h "$source"/src/*/*.h) macro='QV(6D)?_API'
    ;;
*/libqv6dservice.so)
    headers=("$source"/include/qv6dservice.h) macro=QV6DS_API
    needed+='|libqv6dalgo'
    files+='|access|open|openat|close|read|write|fstat|fsync|linkat|renameat|unlinkat|strerror|(__)?errno(_location)?'
    mathematics+='|exp|hypot|qvhcal_[a-z_]*|qvfusion_get_bak|setup_default_cfg|load_file_cust|check_cfg_was_changed'
    text+='|pthread_(create|join|mutex_(un)?lock|cond_(wait|signal))'
    ;;
esac

nm -D --defined-only "$library" | awk '{print $3}' | sort >"$work/built"
# A declaration may run over several lines: join each up to its semicolon, then take the name before ( or [ or the end.
cat "${headers[@]}" | tr '\n' ' ' | grep -oE "\b$macro [^;(=]*[;(]" |
    sed -E 's/\[.*//; s/[ (;]*$//; s/.*[ *]//' | grep -vE '^(extern|__attribute__)?$' | sort >"$work/declared"
diff "$work/declared" "$work/built" || complain "< declared but not exported, > exported but not declared"
[ -s "$work/built" ]

name=$(basename "$library").1
readelf -d "$library" | grep -q "SONAME.*\[$name\]" || complain "soname is not $name"
others=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE "^($needed)\.so" || true)
[ -z "$others" ] || complain "depends on $others"

# Undefined symbols without their version and the wrapping of checked calls: __fprintf_chk@GLIBC_2.3.4 is fprintf.
imported=$(nm -D --undefined-only "$library" | awk '$1 == "U" {print $2}' | sed -E 's/@.*//; s/^__(.*)_chk$/\1/' | sort)
foreign=$(echo "$imported" | grep -vxE "$files|$text|$mathematics|__stack_chk_(fail|guard)|__cxa_finalize" || true)
[ -n "$imported" ] && [ -z "$foreign" ] || complain "imports" $foreign
