# Completion of qv6d for fish. The program itself says what fits.
function __qv6d_complete
    set -l words (commandline -opc)
    for line in ($words[1] complete $words[2..-1] (commandline -ct) 2>/dev/null)
        switch $line
            case ':files'
                __fish_complete_path (commandline -ct)
            case ':folders'
                __fish_complete_directories (commandline -ct)
            case '*'
                echo $line
        end
    end
end
complete -c qv6d -f -a '(__qv6d_complete)'
