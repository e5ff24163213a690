#!/bin/sh
# The example service, built on the public header alone, learns the offset that it simulates.
#   service_test.sh SERVICE LIBRARY
set -eu
rows=$("$1" "$2" 2>/dev/null)
echo "$rows"
[ "$(echo "$rows" | wc -l)" -eq 11 ]
"$1" "$2" 2>&1 >/dev/null | tr '\n' '/' | grep -q '^E/qvalgo: \[qvalgo_config_accuracy-[0-9]*\]  \[INFO\]'
if [ -e /data/qvsd ]; then
    echo "this machine has a device's files, which decide what is learnt: the offset is not checked"
else
    echo "$rows" | tail -n 1 |
        awk '{ near = ($6 - 30)^2 + ($7 + 20)^2 + ($8 - 10)^2 < 0.25; exit !($4 == 3 && near) }'
fi
! "$1" no-such-library.so 2>/dev/null
