# Completion of qv6d for bash. The program itself says what fits.
_qv6d()
{
    local line word files='' IFS=$' \t\n'
    COMPREPLY=()
    while IFS= read -r line; do
        word=${line%%$'\t'*}
        case $word in
        :files) files=-f ;;
        :folders) files=-d ;;
        *=)
            COMPREPLY+=("$word")
            compopt -o nospace 2>/dev/null || : # fails outside of a completion
            ;;
        *)
            COMPREPLY+=("$word") ;;
        esac
    done < <("$1" complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    [ -z "$files" ] || {
        compopt -o filenames 2>/dev/null || :
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen $files -- "${COMP_WORDS[COMP_CWORD]#=}")
    }
}
complete -F _qv6d qv6d
