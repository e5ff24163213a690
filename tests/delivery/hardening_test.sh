#!/bin/bash
# The built library has the protections that its build asks for.
#   hardening_test.sh LIBRARY CONFIGURATION
source "$(dirname "$0")/../shell.sh"
library=$1 configuration=$2
segments=$(readelf -lW "$library") dynamic=$(readelf -dW "$library") undefined=$(nm -D --undefined-only "$library")
has()
{
    grep -qE "$2" <<<"$1"
}

has "$segments" '^ *GNU_RELRO ' || complain "no segment that turns read-only after relocation (-z relro)"
has "$dynamic" '\(FLAGS\).*BIND_NOW' || complain "resolves lazily: its table of addresses stays writable (-z now)"
has "$segments" '^ *GNU_STACK .* RW ' || complain "does not say that its stack holds no code (-z noexecstack)"
has "$undefined" ' __stack_chk_fail' || complain "no stack protector (-fstack-protector-strong)"
not has "$segments" '^ *LOAD .* RWE ' || complain "has a segment both writable and executable"
not has "$dynamic" 'TEXTREL' || complain "relocates its code (-z text)"
not has "$dynamic" '\((RPATH|RUNPATH)\).*\[[^$]' || complain "looks for libraries elsewhere than beside itself"
# Of the C library's calls that can be checked the host's log makes some in every build; Debug is not optimised.
[ "$configuration" = Debug ] || has "$undefined" ' __[a-z]*printf_chk' || complain "no checked calls (_FORTIFY_SOURCE)"
case $(readelf -hW "$library" | sed -n 's/ *Machine: *//p') in
*X86-64* | AArch64)
    entry=$("${OBJDUMP:-objdump}" -d "$library" | grep -A 2 -E '<(QVS_doCaliApi|qv6ds_put)>:') # as both compilers' tools take it
    has "$entry" 'endbr64|paciasp|\sbti\s' ||
        complain "indirect calls may land anywhere (-fcf-protection, -mbranch-protection)"
    ;;
esac
