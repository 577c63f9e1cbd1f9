# Completion of dornctl for fish; the program tells what may follow.

function __dornctl_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -l program $words[1]
    set -e words[1]
    set -l found ($program complete -- $words "$current" 2>/dev/null)
    set -l prefix (string match -r -- '^--[a-z-]+=' $current)
    if test "$found[1]" = "<file>"
        __fish_complete_path (string replace -- "$prefix" "" $current)
    else
        for word in $found
            echo -- "$prefix$word"
        end
    end
end

complete -c dornctl -f -a "(__dornctl_complete)"
