#!/bin/bash
# What the documents say of files, fields, rooms, commands and formats is so.
#   documents_test.sh PROJECT RECORD_TABLES QV6D
source "$(dirname "$0")/../shell.sh"
project=$1 tables=$2
use_tool "$3"
cd "$project"
formats=docs/file-formats.md

# DOCUMENT LINE END: the lines between a line and the end of the block that it opens.
block()
{
    awk -v begin="$2" -v end="$3" '$0 == end { inside = 0 } inside { print } $0 == begin { inside = 1 }' "$1"
}

# Tables are the code's; `./run generate` writes them.
for name in config data; do
    diff <(block $formats "<!-- table $name -->" "<!-- end -->") <("$tables" $name)
done
diff <(block docs/tuning.md "<!-- table keys -->" "<!-- end -->") <(qv6d check --defaults --markdown)

# The dump is a real one by offsets and names; the values are those of one machine's mathematics. Headers are quoted.
qv6d simulate --duration 1 --output "$work/a.csv" --truth "$work/truth"
qv6d replay "$work/a.csv" --state "$work/state" --output "$work/rows" >/dev/null
fields() { awk '$1 ~ /^[0-9]+$/ { print $1, $2 }'; }
diff <(block $formats "<!-- dump -->" "<!-- end -->" | fields) <(qv6d inspect "$work/state/qvalgo-cust.datbak" | fields)
for file in a.csv truth rows; do
    grep -qxF "    $(head -n 1 "$work/$file")" $formats || complain "$formats lacks the header of $file"
done
sed -n 's/^    \(t_ns,ax.*\)/\1\n0,0,0,9.81,0,0,0,1,2,3/p' $formats | qv6d replay - >/dev/null

# The lists of the two houses name every room with all that it imports from further down, and who knows the library's
# inside.
included() # FOLDER HOUSE EXCEPT: rooms of the house that the folder's sources include
{
    comm -12 <(sed -nE 's|^#include "([a-z]+)/.*|\1|p' "$1"*.* | sort -u) <(ls "$2" | grep -vxE "$3") | paste -sd ' '
}
named() # BEGINNING of a line of the list: the rooms after it
{
    sed -nE "s|^    $1 ([a-z, ]*[a-z])  .*|\1|p" docs/architecture.md | tr -d ,
}
rooms=$(tac docs/architecture.md | sed -nE 's#^    ((src|qv6d)/[a-z]+/) .*#\1#p')
diff <(sort <<<"$rooms") <(printf '%s\n' src/*/ qv6d/*/ | sort)
below=" nothing " knowing=()
for room in $rooms; do
    imports=$(named "$room +imports")
    there=$(included "$room" "${room%%/*}" "$(basename "$room")|platform") # which all may import
    [ "$imports" = "${there:-nothing}" ] || complain "$room is said to import $imports, and imports ${there:-nothing}"
    for name in $imports; do
        [[ $below == *" $name "* ]] || complain "$room imports $name, which does not stand below it"
    done
    below+="$(basename "$room") "
    [[ $room == src/* || -z $(included "$room" src none) ]] || knowing+=("$(basename "$room")")
done
[ "$(named "src/ +known to")" = "$(printf '%s\n' "${knowing[@]}" | sort | paste -sd ' ')" ] ||
    complain "src/ is said to be known to $(named "src/ +known to"), and is known to ${knowing[*]}"

[ "$(named "service/ +imports")" = "$(included service/ src platform)" ] ||
    complain "service/ is said to import $(named "service/ +imports"), and imports $(included service/ src platform)"

# Every block of C, C++ or CMake stands line by line in an example that the tests build, whatever its indentation.
quoted=0
examples=$(sed 's/^ *//' examples/*.c examples/*/*.cpp examples/*/CMakeLists.txt)
for document in README.md docs/*.md; do
    while IFS= read -r -d $'\f' quotation; do
        quoted=$((quoted + 1))
        [[ $'\n'$examples$'\n' == *$'\n'"$quotation"* ]] || complain "$document: not in any example:"$'\n'"$quotation"
    done < <(awk '/^```(c|cpp|cmake)$/ { quoting = 1; next }
                  /^```$/ { if (quoting) printf "\f"; quoting = 0; next }
                  quoting { sub(/^ */, ""); print }' "$document")
done
[ $quoted -ge 5 ]

commands=$(grep -ohE '\./run [a-z0-9-]+' ./*.md docs/*.md | cut -d ' ' -f 2 | sort -u)
[ "$(wc -l <<<"$commands")" -gt 5 ]
for command in $commands; do
    grep -q "^## $command " run || complain "./run $command is named, and is not in its usage"
done
