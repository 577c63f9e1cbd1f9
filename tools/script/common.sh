# Sourced by every script of script/, with its arguments. --help prints the comment at the start of that
# script and does nothing else. The last line on standard error is the verdict, for example
# "soak: passed (61 s)".
# shellcheck shell=bash

for argument in "$@"; do
    case $argument in
        -h | --help)
            sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
            exit 0
            ;;
    esac
done

# Called at the end, also by a script's own EXIT trap, with the exit status.
verdict() {
    local result=passed
    if [ "$1" -ne 0 ]; then result="failed with status $1"; fi
    echo "$(basename "$0"): $result ($SECONDS s)" >&2
}
trap 'verdict $?' EXIT
