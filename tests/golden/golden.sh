#!/usr/bin/env bash
# Runs the scenarios and compares what the library put out with the table of expected hashes, or prints the table.
# docs/same-bits.md says what is the same, why, and when the table may change.
#   golden.sh TABLE|--print PROGRAM...
set -euo pipefail
table=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# With the machine's trigonometry nothing may change but the angles, and those by a few last bits of a right angle.
# Degrees of the azimuth are as much less certain as the field is larger than its horizontal part.
compare_with_machine()
{
    grep -vE '^angle | (orientation|inclination|polar-angle|log) ' own | grep -vxFf machine | sed 's/^/DEPENDS  /' || true
    paste -d ' ' <(grep '^angle ' own) <(grep '^angle ' machine) | awk -v scenario="$1" '{
        limit = $2 == "orientation" ? 1e-11 : $2 == "polar-angle" ? 1e-13 : 1e-15
        distance = $3 > $6 ? $3 - $6 : $6 - $3
        if ($2 == "orientation" && distance > 180) # where a full turn ends
            distance = distance > 360 ? distance - 360 : 360 - distance
        if ($3 "" != $6 "" && !(distance <= limit) && ++far <= 3)
            print "FAR     ", scenario, $0
    }'
}

# The lean way keeps no averages of the grading.
compare_with_lean()
{
    grep -vE '^angle | (learnt|polar-angle|log) ' lean | grep -vxFf own | sed 's/^/LEAN     /' || true
}

echo "# Written by golden --print; docs/same-bits.md says when." >actual
"$@" --list >scenarios
while read -r scenario; do
    for way in own machine lean; do
        "$@" --$way "$scenario" >$way </dev/null || echo "DIED     $scenario" >>differences
    done
    { grep -v '^angle ' own && grep ' log ' lean; } >>actual || true
    compare_with_lean >>differences
    compare_with_machine "$scenario" >>differences
done <scenarios
if [ "$table" = --print ]; then
    cat actual
else
    diff --old-line-format='EXPECTED %L' --new-line-format='DIFFERS  %L' --unchanged-line-format='' "$table" actual \
        >>differences || true
fi
head -n 100 differences >&2
[ ! -s differences ]
