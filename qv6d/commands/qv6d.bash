# Completion of qv6d for bash: commands and options as the program itself lists them.
_qv6d()
{
    local current=${COMP_WORDS[COMP_CWORD]} words=
    if [ "$COMP_CWORD" -eq 1 ]; then
        words=$("$1" --help 2>/dev/null | sed -n '/^Subcommands:/,$s/^  \([a-z]*\)  .*/\1/p')
    elif [[ $current == -* ]]; then
        words=$("$1" "${COMP_WORDS[1]}" --help 2>/dev/null | sed '/^Examples:/,$d' | grep -oE -- '--[a-z][a-z-]*')
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o default -o bashdefault -F _qv6d qv6d
