#compdef dornctl
# Completion of dornctl for zsh; the program tells what may follow.

_dornctl() {
    local -a found
    found=("${(@f)$($words[1] complete -- "${(@)words[2,CURRENT]}" 2>/dev/null)}")
    if [[ $found[1] == "<file>" ]]; then
        _files
        return
    fi
    [[ $words[CURRENT] == --*=* ]] && compset -P "*="
    found=("${(@)found//:/\\:}")
    found=("${(@)found/$'\t'/:}")
    _describe dornctl found
}

_dornctl "$@"
