#!/bin/bash
# The shells that are installed complete commands, options, choices, keys and file names.
#   completion_test.sh QV6D SOURCE_DIR
source "$(dirname "$0")/../shell.sh"
scripts=$(realpath "$2")/qv6d/commands
use_tool "$1"
touch phone.csv
mkdir folder

in_bash() # LINE: what it becomes, or all that fit
{
    read -ra COMP_WORDS <<<"${1//=/ = }"
    [[ $1 != *" " ]] || COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _qv6d qv6d
    echo "${COMPREPLY[*]}"
}

in_fish() # LINE
{
    fish -c "source '$scripts/complete.fish'; complete -C '$1'" | cut -f 1 | paste -sd ' ' | sed 's/--[a-z-]*=//g'
}

in_zsh() # LINE: the one word that the last one becomes
{
    timeout 60 zsh -f typed "$1" </dev/null | sed 's/.*BEGIN//; s/END.*//; s/^--[a-z]*=//'
}
cat >typed <<'ZSH'
zmodload zsh/zpty
zpty z zsh -f -i
zpty -w z 'fpath=($PWD/zsh $fpath); autoload -U compinit; compinit -D -u'
zpty -w z 'show() { print -r -- BEG""IN${${(z)LBUFFER}[-1]}END }; zle -N show; bindkey "^X" show; print REA""DY'
while zpty -r z line && [[ $line != *READY* ]]; do :; done
zpty -w -n z "$1"$'\t\x18'
while zpty -r z line && [[ $line != *BEGIN*END* ]]; do :; done
print -r -- "$line"
ZSH

complete() { :; } # has no place in a script
source "$scripts/complete.bash"
mkdir zsh && cp "$scripts/complete.zsh" zsh/_qv6d
for shell in bash zsh fish; do
    command -v $shell >/dev/null || continue
    while IFS='|' read -r line expected; do
        [ "$(in_$shell "$line")" = "$expected" ] || complain "$shell: \"$line\" becomes $(in_$shell "$line")"
    done <<'CASES'
qv6d expl|explain
qv6d help expl|explain
qv6d simulate --tru|--truth
qv6d tune --rank e|error
qv6d tune --rank=e|error
qv6d tune x --key hcal.rbuf|hcal.rbufsize=
qv6d replay pho|phone.csv
qv6d check --strict pho|phone.csv
CASES
done
[ "$(in_bash 'qv6d replay --state fol')" = folder ]
[[ $(in_bash 'qv6d ') == *replay*check*help ]]
