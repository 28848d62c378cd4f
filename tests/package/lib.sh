# shellcheck shell=bash
# What the checks in this folder share; sourced, never run.
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

# quietly COMMAND: shows what it prints only if it fails.
quietly() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; die "failed: $*"; }
}
