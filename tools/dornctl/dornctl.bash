# Completion of dornctl for bash; the program tells what may follow.

_dornctl() {
    local line=${COMP_LINE:0:COMP_POINT} current=$2 words found
    read -ra words <<<"$line"
    [[ $line == *[[:space:]] ]] && words+=("")
    # bash takes "=" for a word of its own.
    [[ $current == "=" ]] && current=""
    mapfile -t found < <("$1" complete -- "${words[@]:1}" 2>/dev/null)
    if [[ ${found[0]-} == "<file>" ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
    fi
    mapfile -t COMPREPLY < <(IFS=$'\n'; compgen -W "${found[*]%%$'\t'*}" -- "$current")
}

complete -F _dornctl dornctl
