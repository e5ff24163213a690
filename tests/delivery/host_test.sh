#!/bin/bash
# What a host reads by name is true, and what is its own stays its own, however it is built. CC is the compiler.
#   host_test.sh SHARED_LIBRARY STATIC_LIBRARY SOURCE_DIR
source "$(dirname "$0")/../shell.sh"
shared=$(realpath "$1") static=$2 source=$3
mkdir "$work/second"
cp "$shared" "$work/second/"
second=$work/second/$(basename "$shared")
export LD_LIBRARY_PATH=${shared%/*}

host() # NAME OPTION...
{
    "$CC" -std=c11 -Wall -Wextra -Werror -I "$source/include" -I "$source/src" "$source/tests/delivery/host.c" -o "$work/$1" "${@:2}" -ldl -lm
}
copied() # NAME
{
    LC_ALL=C readelf -rW "$work/$1" | grep -q '_COPY .* mag'
}

host copies -fno-pie -no-pie -DLINKED -DBY_NAME "$shared"
copied copies || complain "the linker made no copies: that way is not tested"
host no-copies -fPIC -pie -DLINKED -DBY_NAME "$shared"
not copied no-copies
host static -DLINKED -DBY_NAME "$static"
host own -rdynamic -DLINKED -DOWN_VARIABLES "$shared"
echo 'double mag[3] = {1.0, 2.0, 3.0};' | "$CC" -x c -shared -fPIC - -o "$work/libother.so"
host others -fno-pie -no-pie -DLINKED -DOTHERS_VARIABLES "$work/libother.so" "$shared"
copied others
host loads -rdynamic -DOWN_VARIABLES
for name in copies no-copies static own others; do
    ends 0 "" "$work/$name"
    ends 0 "" "$work/$name" "$second"
done
ends 0 "" "$work/loads" "$shared"

# A process with a decimal comma: the customer file is read, and the log written, with points all the same.
mkdir "$work/locales"
localedef --no-archive -i de_DE -f UTF-8 "$work/locales/de_DE.UTF-8"
cd "$work"
echo 'hcal.rlsm.w = 0.988' >customer.cfg
for name in no-copies static; do
    LOCPATH=$work/locales ends 0 '- w : 0.988000' "$work/$name" comma
    not grep -E '[0-9],[0-9]' err
done
