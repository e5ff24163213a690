#!/bin/bash
# Every command has its manual page with all of its options, and every page can be shown.
#   manual_test.sh QV6D PAGES SOURCE_DIR
source "$(dirname "$0")/../shell.sh"
qv6d=$1 pages=$2 source=$3
commands=$(grep -ohE 'add_subcommand\("[^"]*"' "$source"/qv6d/commands/*.cpp | cut -d '"' -f 2 | sort)
[ "$(wc -l <<<"$commands")" -gt 5 ]

text() # PAGE, as a reader sees it
{
    groff -man -Kutf8 -Tutf8 -P-cbou -rHY=0 "$1" | tr -s ' \n' ' '
}

for command in $commands; do
    [[ $(text "$pages/qv6d.1") == *"$command"* ]] || complain "qv6d(1) does not have $command"
    shown=$(text "$pages/qv6d-$command.1")
    for option in $("$qv6d" "$command" --help | grep -E '^  .*--[a-z-]+' | grep -oE -- '--[a-z-]+'); do
        [[ $shown == *"$option"* ]] || complain "the page of $command does not have $option"
    done
done
for page in "$pages"/*.1; do
    warnings=$(groff -man -Kutf8 -Tutf8 -ww -z "$page" 2>&1)
    [ -z "$warnings" ] || complain "$page: $warnings"
done
