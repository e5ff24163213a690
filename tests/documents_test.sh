#!/bin/bash
# What the documents say of files, fields, commands and formats is so.  documents_test.sh PROJECT RECORD_TABLES QV6D
set -u
project=$1 tables=$2 qv6d=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$project" || exit 1
formats=docs/file-formats.md
failed=0

complain()
{
    echo "$*" >&2
    failed=1
}

# The lines between a line and the end of the block that it opens.
block()
{
    awk -v begin="$1" -v end="$2" '$0 == end { inside = 0 } inside { print } $0 == begin { inside = 1 }' "$formats"
}

tables_are_the_codes()
{
    local name
    for name in config data; do
        diff <(block "<!-- table $name -->" "<!-- end -->") <("$tables" $name) ||
            complain "$formats: the table above is not the code's: ./run generate writes it anew"
    done
}

# Offsets and names; the values are those of one machine's mathematics.
dump_is_a_real_one()
{
    "$qv6d" simulate --duration 1 --output "$work/short.csv"
    "$qv6d" replay "$work/short.csv" --state "$work/state" >/dev/null 2>&1
    diff <(block "<!-- dump -->" "<!-- end -->" | awk '$1 ~ /^[0-9]+$/ { print $1, $2 }') \
        <("$qv6d" inspect "$work/state/qvalgo-cust.datbak" | awk '$1 ~ /^[0-9]+$/ { print $1, $2 }') ||
        complain "$formats: the dump above is not of this record"
}

headers_are_quoted()
{
    "$qv6d" simulate --duration 1 --output "$work/a.csv" --truth "$work/truth"
    "$qv6d" replay "$work/a.csv" --output "$work/rows" >/dev/null 2>&1
    local file
    for file in a.csv truth rows; do
        grep -qxF "    $(head -n 1 "$work/$file")" "$formats" || complain "$formats lacks the header of $file"
    done
    sed -n 's/^    \(t_ns,ax.*\)/\1\n0,0,0,9.81,0,0,0,1,2,3/p' "$formats" | "$qv6d" replay - >/dev/null 2>&1 ||
        complain "$formats: the wide header is not one that replay takes"
}

imports_are_the_codes()
{
    diff <(sed -nE 's|^    src/([a-z]+)/ +imports ([a-z, ]+[a-z])  .*|\1 \2|p' docs/architecture.md | tr -d , | sort) \
        <(for folder in src/*/; do
            folder=$(basename "$folder")
            # shellcheck disable=SC2046 # names to be joined by blanks
            echo "$folder" $(sed -nE 's|^#include "([a-z]+)/.*|\1|p' src/"$folder"/* | sort -u |
                grep -vxE "$folder|platform" || echo nothing)
        done | sort) || complain "docs/architecture.md: < imports named, > imports there are"
}

# Every block of C, C++ or CMake stands line by line in an example that the tests build, whatever its indentation.
code_is_quoted()
{
    local document block examples quoted=0
    examples=$(sed 's/^ *//' examples/*.c examples/*/*.cpp examples/*/CMakeLists.txt)
    for document in README.md docs/*.md; do
        while IFS= read -r -d $'\f' block; do
            quoted=$((quoted + 1))
            [[ $'\n'$examples$'\n' == *$'\n'"$block"* ]] || complain "$document: not in any example:"$'\n'"$block"
        done < <(awk '/^```(c|cpp|cmake)$/ { quoting = 1; next }
                      /^```$/ { if (quoting) printf "\f"; quoting = 0; next }
                      quoting { sub(/^ */, ""); print }' "$document")
    done
    [ $quoted -ge 5 ] || complain "only $quoted quotations found"
}

commands_exist()
{
    local command count=0
    for command in $(grep -ohE '\./run [a-z0-9-]+' ./*.md docs/*.md | cut -d ' ' -f 2 | sort -u); do
        count=$((count + 1))
        grep -q "^  $command\b" run || complain "./run $command is named, and is not in its usage"
    done
    [ $count -gt 5 ] || complain "only $count commands found"
}

tables_are_the_codes
dump_is_a_real_one
headers_are_quoted
imports_are_the_codes
code_is_quoted
commands_exist
exit $failed
