# shellcheck shell=bash
# What the checks in this folder share; sourced, never run.
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

# quietly COMMAND: shows what it prints only if it fails.
quietly() {
    local log=$work/log.$BASHPID
    "$@" >"$log" 2>&1 || { cat "$log" >&2; die "failed: $*"; }
}

# at_once COMMAND ARGUMENT ...: runs the command with each of the arguments, at the same time.
at_once() {
    local argument process processes=() failed=0
    for argument in "${@:2}"; do
        "$1" "$argument" &
        processes+=($!)
    done
    for process in "${processes[@]}"; do
        wait "$process" || failed=1
    done
    ((!failed)) || exit 1
}

# prints_hello PROGRAM: with the broker of the environment.
prints_hello() {
    local printed
    printed=$(timeout 20 "$1") || die "$1 failed, and printed: $printed"
    [[ $printed == Hello ]] || die "$1 printed: $printed"
}
