#!/bin/bash
# A built library or program has the protections that its build asks for.
#   hardening_test.sh FILE CONFIGURATION
source "$(dirname "$0")/../shell.sh"
file=$1 configuration=$2
header=$(readelf -hW "$file") segments=$(readelf -lW "$file") dynamic=$(readelf -dW "$file")
undefined=$(nm -D --undefined-only "$file")
has()
{
    grep -qE "$2" <<<"$1"
}
optimised()
{
    [ "$configuration" != Debug ]
}

has "$segments" '^ *GNU_RELRO ' || complain "no segment that turns read-only after relocation (-z relro)"
has "$dynamic" '\(FLAGS\).*BIND_NOW' || complain "resolves lazily: its table of addresses stays writable (-z now)"
has "$segments" '^ *GNU_STACK .* RW ' || complain "does not say that its stack holds no code (-z noexecstack)"
has "$undefined" ' __stack_chk_fail' || complain "no stack protector (-fstack-protector-strong)"
not has "$segments" '^ *LOAD .* RWE ' || complain "has a segment both writable and executable"
not has "$dynamic" 'TEXTREL' || complain "relocates its code (-z text)"
not has "$dynamic" '\((RPATH|RUNPATH)\).*\[[^$]' || complain "looks for libraries elsewhere than beside itself"
has "$header" 'Type: *DYN' || complain "lies at the same address in every run (-pie)"
# Of the C library's calls that can be checked the host's log makes some in every build; Debug is not optimised.
not optimised || has "$undefined" ' __[a-z]*printf_chk' || complain "no checked calls (_FORTIFY_SOURCE)"

indirect_calls() # SAMPLE-OF-CODE
{
    has "$1" 'endbr64|paciasp|\sbti\s' || complain "indirect calls may land anywhere (-fcf-protection, -mbranch-protection)"
}
if has "$dynamic" '\(SONAME\)'; then
    case $(sed -n 's/ *Machine: *//p' <<<"$header") in
    *X86-64* | AArch64) # as both compilers' tools take it
        indirect_calls "$("${OBJDUMP:-objdump}" -d "$file" | grep -A 2 -E '<(QVS_doCaliApi|qv6ds_put)>:')"
        ;;
    esac
else # a program, whose symbols may be stripped: the library within it has 200 of these
    code=$("${OBJDUMP:-objdump}" -d "$file")
    indirect_calls "$(grep -E 'endbr64|paciasp|\sbti\s' <<<"$code" | tail -n +500)"
    grep -qa '__n < this->size()' "$file" || complain "does not stop at an index outside a vector (_GLIBCXX_ASSERTIONS)"
fi
