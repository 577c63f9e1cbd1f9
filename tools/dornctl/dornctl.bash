# Completion of dornctl for bash.

_dornctl() {
    local current=$2 previous=$3 subcommand="" word
    local subcommands="machines version meters value list-by-fields list-by-numbers times raw
        identification readings history checks parameters set-parameters set-clock watch listen"
    local options="--host --timeout --json --progress --help"

    # bash takes "=" and ":" for words of their own. An address ends in a port, which nobody knows.
    if [[ ${COMP_WORDS[COMP_CWORD]} == : || $previous == : ]]; then
        return
    elif [[ $current == "=" ]]; then
        current=""
    elif [[ $previous == "=" ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ " ${subcommands//$'\n'/ } " == *" $word "* ]] && subcommand=$word && break
    done
    case $previous in
        --host | --timeout | --interval | --count | --bind | --parameters | --every | --first)
            return ;;
        --keep)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return ;;
        --report | --report-unanswered)
            mapfile -t COMPREPLY < <(compgen -W "yes no" -- "$current")
            return ;;
    esac
    case $subcommand in
        "") options+=" $subcommands" ;;
        set-parameters) options+=" --every --report --report-unanswered --first" ;;
        set-clock) options+=" now" ;;
        watch) options+=" --interval --count" ;;
        listen) options+=" --bind --keep --parameters --no-clock" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
}

complete -F _dornctl dornctl
