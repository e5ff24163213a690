#!/usr/bin/env bash
# Measures and prints a table: measure/speed/run.sh BUILD [FILE], with the change since the table in FILE where one is given.
# The table goes to measure/speed/results/ too.
set -euo pipefail

build=$(cd "$1" && pwd)
before=${2:-/dev/null}
here=$(cd "$(dirname "$0")" && pwd)
work=$build/work
tool=$build/qv6d/qv6d bench=$build/measure/speed/qv6d_bench library=$build/src/libqv6dalgo.so
layer=$build/service/libqv6dservice.so
mkdir -p "$work" "$here/results"

simulate()
{
    "$tool" simulate --rate 50 --offset 120,-45,-300 --noise 0.3 --output "$work/$1.csv" "${@:2}"
}

# Each part prints lines: case, tab, value, tab, unit, tab, multiple of the reference.

times()
{
    (cd "$work" && "$bench" "$work") | awk -F '\t' -v OFS='\t' '{ print $1, $2, "ns", $3 }'
}

# The best of five replays by the tool's own clock.
replay()
{
    for _ in 1 2 3 4 5; do
        "$tool" replay "$work/tumbling.csv" --json "${@:2}"
    done | awk -v OFS='\t' -v name="$1" '
        /"events_per_s"/ { if ($2 + 0 > best) best = $2 + 0 }
        END { printf "%s\t%.0f\tevents/s\t\n", name, best }'
}

# The best of three, by the clock: the whole program, with its output.
explained()
{
    for _ in 1 2 3; do
        local begun=$EPOCHREALTIME
        "$tool" explain "$work/tumbling.csv" >/dev/null
        echo "$begun $EPOCHREALTIME"
    done | awk -v events="$(($(wc -l <"$work/tumbling.csv") - 1))" '
        { took = $2 - $1; if (!best || took < best) best = took }
        END { printf "qv6d explain\t%.0f\tevents/s\t\n", events / best }'
}

# The recording has three events to a pair; what is not the library's is the tool's.
tool_share()
{
    awk -F '\t' -v OFS='\t' '
        $1 == "pair, tumbling" { library = $2 }
        $1 == "qv6d replay, summary only" { total = 3e9 / $2 }
        { print }
        END { printf "tool share of that\t%.0f\t%%\t\n", 100 * (total - library) / total }'
}

# The same dozen of replays by one process and by two, the best of three each.
scaling()
{
    local jobs
    for _ in 1 2 3; do
        for jobs in 1 2; do
            local begun=$EPOCHREALTIME
            "$tool" tune "$work/tumbling.csv" --key hcal.motion.sendiffmin=10,15,20,25 --key hcal.rlsm.w=0.97,0.98,0.988 \
                --jobs $jobs --csv --output /dev/null
            echo "$jobs $begun $EPOCHREALTIME"
        done
    done | awk '
        { took = $3 - $2; if (!($1 in best) || took < best[$1]) best[$1] = took }
        END { printf "qv6d tune, speed of two processes\t%.2f\tof one\t\n", best[1] / best[2] }'
}

instructions()
{
    "$here/instructions.sh" "$build" --count | awk -F '\t' -v OFS='\t' '
        { print $1 ", instructions", $3, "", ""; print $1 ", those of the library", $2, "", "" }'
}

sizes() # NAME LIBRARY
{
    strip -o "$work/stripped.so" "$2"
    size -A "$work/stripped.so" | awk -v OFS='\t' -v name="$1" '
        $1 == ".text" || $1 == ".rodata" { code += $2 }
        $1 == ".data" || $1 == ".data.rel.ro" || $1 == ".got" { data += $2 }
        $1 == ".bss" { zeroed = $2 }
        END {
            print name ", code and constants", code, "bytes", ""
            print name ", initialised data", data, "bytes", ""
            print name ", zeroed data", zeroed, "bytes", ""
        }'
}

measure()
{
    { times && replay "qv6d replay, summary only" && replay "qv6d replay, with rows" --output "$work/rows.csv"; } |
        tool_share
    explained
    scaling
    instructions
    sizes library "$library"
    sizes "service layer" "$layer"
}

table()
{
    printf '%s, %s, %s cores, %s\n\n' "$(date +%F)" "$(uname -m)" "$(nproc)" "$(c++ --version | head -n 1)"
    awk -F '\t' '
        function row(a, b, c, d, e) { printf "| %-55s | %10s | %-8s | %8s |%s\n", a, b, c, d, e }
        FILENAME != "-" { split($0, old, / *\| */); if (old[3] + 0 > 0) was[old[2]] = old[3]; compared = compared || NF; next }
        !headed { row("case", "value", "unit", "x triad", compared ? "  change |" : ""); headed = 1
                  row("---", "---:", "---", "---:", compared ? " ---: |" : "") }
        { change = compared ? ($1 in was ? sprintf(" %+6.1f%% |", 100 * ($2 / was[$1] - 1)) : "         |") : ""
          row($1, $2, $3, $4, change) }
    ' "$before" -
}

simulate tumbling --seed 7 --duration 3600
simulate still --seed 8 --duration 600 --motion still
measure | table | tee "$work/table.md"
cp "$work/table.md" "$here/results/$(date +%F)-$(uname -m)-$(nproc)-cores.md"
