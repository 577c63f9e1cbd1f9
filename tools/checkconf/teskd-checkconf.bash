# Completion of teskd-checkconf for bash.

_teskd_checkconf() {
    local current=$2 previous=$3
    compopt -o filenames 2>/dev/null
    if [[ $previous == --root ]]; then
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
    elif [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--root --quiet --help --version" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -F _teskd_checkconf teskd-checkconf
