#!/usr/bin/env bash
# Counts instructions per pair: measure/speed/instructions.sh BUILD [--record|--count]. Each line: case, tab, those of
# the library, tab, all of them, with the C library's. The first do not depend on the machine, and a rise of more than
# 3 % above measure/speed/instructions.txt fails. --record writes that file, --count compares nothing. Fewer are no
# fault, but worth a new record.
set -euo pipefail

build=$(cd "$1" && pwd)
recorded=$(cd "$(dirname "$0")" && pwd)/instructions.txt
count=$build/measure/speed/qv6d_count
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

for motion in tumble still; do
    "$build/qv6d/qv6d" simulate --rate 50 --offset 120,-45,-300 --noise 0.3 --seed 7 --duration 130 --motion $motion \
        --output $motion.csv
done
mv tumble.csv tumbling.csv

# callgrind's lines: "ob=(ID) FILE" names the object of the costs that follow, FILE at its first mention; the line after
# "calls=" is what a call cost, which the called function's own lines have already.
own()
{
    awk '
        /^c?ob=/ { split($0, part, /=\(|\) ?/); if (part[3] != "") file[part[2]] = part[3]; if (/^ob=/) object = part[2] }
        /^calls=/ { getline; next }
        /^[0-9+*-]/ { all += $NF; if (file[object] ~ /libqv6dalgo/) library += $NF }
        END { print library, all }' "$1"
}

counted()
{
    local name pairs
    "$count" --list | while read -r name; do
        for pairs in 1000 6000; do
            valgrind --tool=callgrind --callgrind-out-file=counts --log-file=log "$count" . "$name" $pairs ||
                { cat log >&2 && exit 1; }
            own counts
        done | awk -v name="$name" 'NR == 1 { library = $1; all = $2 }
            END { printf "%s\t%.0f\t%.0f\n", name, ($1 - library) / 5000, ($2 - all) / 5000 }'
    done
}

counted >table
cat table
[ "${2:-}" != --count ] || exit 0
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
compiler="# $("$compiler" -dumpmachine), $("$compiler" --version | head -n 1)"
if [ "${2:-}" = --record ]; then
    { echo "$compiler" && cat table; } >"$recorded"
elif [ "$(head -n 1 "$recorded")" != "$compiler" ]; then
    echo "Not compared: the recorded numbers are another compiler's." >&2
else
    awk -F '\t' '
        NR == FNR { if (NF > 1) was[$1] = $2; next }
        !($1 in was) { print "not recorded: " $1; bad = 1 }
        $2 > 1.03 * was[$1] { printf "%s: %d instructions instead of %d\n", $1, $2, was[$1]; bad = 1 }
        { delete was[$1] }
        END { for (name in was) { print "not counted: " name; bad = 1 } exit bad }' "$recorded" table >&2
fi
