# Completion of tesksim for bash.

_tesksim() {
    local current=$2 previous=$3
    local options="--scenario --seed --live --machines --code-id --port-file --port --tty --line
        --silent --command --help --version"
    case $previous in
        --seed | --machines | -m | --code-id | -c | --port | -p | --line | --silent | -s)
            return ;;
        --command | -x)
            mapfile -t COMPREPLY < <(compgen -W "start stop show ok silent refuse deaf disconnect
                slow dribble length cut code-id body help quit" -- "$current")
            return ;;
        --scenario | --port-file | -f | --tty | -t)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
}

complete -F _tesksim tesksim
