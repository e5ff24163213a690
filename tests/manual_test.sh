#!/bin/bash
# Every command has its manual page with all of its options, every page can be shown, and the shell completes them.
#   manual_test.sh QV6D PAGES SOURCE_DIR
set -eu
qv6d=$1 pages=$2 source=$3
failed=0
says() { echo "$1" >&2; failed=1; }

commands=$(grep -ohE 'add_subcommand\("[^"]*"' "$source"/tools/*.cpp | cut -d '"' -f 2 | sort)
[ "$(echo "$commands" | wc -l)" -gt 5 ]

text() # PAGE, as a reader sees it
{
    groff -man -Kutf8 -Tutf8 -P-cbou -rHY=0 "$1" | tr -s ' \n' ' '
}

for command in $commands; do
    page=$pages/qv6d-$command.1
    [ -s "$page" ] || { says "no manual page of $command"; continue; }
    shown=$(text "$page")
    for option in $("$qv6d" "$command" --help | grep -oE '^  .*--[a-z-]+' | grep -oE -- '--[a-z-]+'); do
        [[ $shown == *"$option"* ]] || says "the page of $command does not have $option"
    done
    [[ $(text "$pages/qv6d.1") == *"$command"* ]] || says "qv6d(1) does not have $command"
done
for page in "$pages"/*.1; do
    warnings=$(groff -man -Kutf8 -Tutf8 -ww -z "$page" 2>&1)
    [ -z "$warnings" ] || says "$page: $warnings"
done

completed() # WORD...: what follows them
{
    COMP_WORDS=("$qv6d" "$@") COMP_CWORD=$#
    COMPREPLY=()
    _qv6d "$qv6d"
    printf '%s\n' "${COMPREPLY[@]}" | sort
}
complete() { :; } # has no place in a script
source "$source/tools/qv6d.bash"
[ "$(completed '')" = "$commands" ] || says "the shell completes the commands $(completed '')"
[[ $(completed simulate --) == *--truth* ]] || says "the shell does not complete an option"
exit $failed
