#!/bin/sh
# The built library has the protections that its build asks for.
#   hardening_test.sh LIBRARY CONFIGURATION
set -eu
library=$1 configuration=$2
failed=0
says() # MESSAGE, then a command that must succeed
{
    message=$1
    shift
    "$@" >/dev/null || { echo "$message" >&2; failed=1; }
}
segments=$(readelf -lW "$library") dynamic=$(readelf -dW "$library") undefined=$(nm -D --undefined-only "$library")
has()
{
    echo "$1" | grep -qE "$2"
}
lacks()
{
    ! has "$1" "$2"
}

says "no segment that turns read-only after relocation (-z relro)" has "$segments" '^ *GNU_RELRO '
says "resolves lazily, so that its table of addresses stays writable (-z now)" has "$dynamic" '\(FLAGS\).*BIND_NOW'
says "does not say that its stack holds no code (-z noexecstack)" has "$segments" '^ *GNU_STACK .* RW '
says "has a segment both writable and executable" lacks "$segments" '^ *LOAD .* RWE '
says "relocates its code (-z text)" lacks "$dynamic" 'TEXTREL'
says "looks for libraries in a path of its own" lacks "$dynamic" '\((RPATH|RUNPATH)\)'
says "no stack protector (-fstack-protector-strong)" has "$undefined" ' __stack_chk_fail'
# Of the C library's calls that can be checked the host's log makes some in every build; Debug is not optimised.
[ "$configuration" = Debug ] ||
    says "no checked calls (_FORTIFY_SOURCE)" has "$undefined" ' __[a-z]*printf_chk'
case $(readelf -hW "$library" | sed -n 's/ *Machine: *//p') in
*X86-64* | AArch64)
    entry=$("${OBJDUMP:-objdump}" -d "$library" | grep -A 2 '<QVS_doCaliApi>:') # as both compilers' tools take it
    says "indirect calls may land anywhere (-fcf-protection, -mbranch-protection)" has "$entry" 'endbr64|paciasp|\sbti\s'
    ;;
esac
exit $failed
