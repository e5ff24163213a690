#compdef qv6d
# Completion of qv6d for zsh. The program itself says what fits.
local line
local -a said names texts begun
said=("${(@f)$("${words[1]}" complete "${(@)words[2,CURRENT]}" 2>/dev/null)}")
for line in $said; do
    case $line in
    :files) _files ;;
    :folders) _files -/ ;;
    *=$'\t'*) begun+=("${line%%$'\t'*}") ;;
    *)
        names+=("${line%%$'\t'*}")
        texts+=("${line/$'\t'/  }")
        ;;
    esac
done
compadd -S '' -- $begun
compadd -l -d texts -- $names
