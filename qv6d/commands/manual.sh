#!/usr/bin/env bash
# Manual pages from the program's own help: qv6d(1), and qv6d-COMMAND(1) for each of its commands.
#   manual.sh QV6D FOLDER
set -euo pipefail
folder=$2
PATH=$(dirname "$1"):$PATH # the pages call the program by its name
commands=$(qv6d --help | sed -n '/^Subcommands:/,$s/^  \([a-z]*\)  .*/\1/p')

page() # NAME, PROGRAM, what it does
{
    help2man --locale C.UTF-8 --no-info --section 1 --manual libqv6dalgo --name "$3" \
        --version-string "$(qv6d --version)" --include <(see_also "$1") "$2" |
        sed -e "s/^\.TH QV6D /.TH ${1^^} /" -e "s/^qv6d \\\\- /${1/-/\\\\-} \\\\- /" \
            -e 's/^\(\\fB\\-.\\fR\),\(\\-\\-[a-z]*\)/\1, \\fB\2\\fR/' \
            -e '/^\.IP/,/^\./s/^qv6d .*/&\n.br/' >"$folder/$1.1"
}

see_also() # NAME
{
    echo '[SEE ALSO]'
    printf '%s\n' qv6d $(printf 'qv6d-%s ' $commands) | grep -vx -e "$1" |
        sed -e 's/-/\\-/; s/.*/.BR & (1),/' -e '$s/,$//'
}

rm -rf "$folder"
mkdir -p "$folder"
page qv6d qv6d "$(qv6d --help | sed -n '1s/^qv6d: //p')"
for command in $commands; do
    page "qv6d-$command" "qv6d $command" "$(qv6d "$command" --help | head -n 1)"
done
