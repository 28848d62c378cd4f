# shellcheck shell=bash
# What the checks in this folder share; sourced, never run.
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

# Makes a temporary folder, whose name is then in the variable work, and which is gone when the script ends.
make_work_folder() {
    work=$(mktemp -d "${TMPDIR:-/tmp}/amqp-package.XXXXXXXX")
    trap 'rm -rf -- "$work"' EXIT
    exit_on_signals
}

# quietly COMMAND: shows what it prints only if it fails.
quietly() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; die "failed: $*"; }
}
