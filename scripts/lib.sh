# shellcheck shell=bash
# What the scripts in this folder share; sourced, never run.

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# The comment block at the top of a script is its help text.
show_help() {
    awk 'NR > 1 { if (!sub(/^# ?/, "")) exit; print }' "$0"
}

# Runs a command as if in the foreground, and answers with its status. Unlike
# a real foreground command it does not delay the traps of this shell: a
# SIGINT, SIGTERM or SIGHUP is handed on to the command at once, and when the
# command has ended the script exits with 128 + the signal's number.
run_child() {
    local child status=0 caught=0
    # The shell ignores SIGINT and SIGQUIT in commands it starts with "&" and
    # gives them no standard input: undo both.
    env --default-signal=INT,QUIT "$@" <&0 &
    child=$!
    trap 'caught=130; kill -s INT "$child" 2>/dev/null || true' INT
    trap 'caught=143; kill -s TERM "$child" 2>/dev/null || true' TERM
    trap 'caught=129; kill -s HUP "$child" 2>/dev/null || true' HUP
    wait "$child" || status=$?
    while ((caught)) && kill -0 "$child" 2>/dev/null; do
        wait "$child" || true
    done
    exit_on_signals
    if ((caught)); then
        exit "$caught"
    fi
    return "$status"
}

# Lets signals end the script in a way that runs its EXIT trap.
exit_on_signals() {
    trap 'exit 130' INT
    trap 'exit 143' TERM
    trap 'exit 129' HUP
}

# Makes a temporary folder, whose name is then in the variable work, and which is gone when the script ends.
make_work_folder() {
    work=$(mktemp -d "${TMPDIR:-/tmp}/amqp-${0##*/}.XXXXXXXX")
    trap 'ignore_signals; rm -rf -- "$work"' EXIT
    exit_on_signals
}

# ended PROCESS
ended() {
    ! kill -0 "$1" 2>/dev/null
}

# within SECONDS COMMAND ...: repeats the command until it succeeds. Fails when the time is over.
within() {
    local end=$((SECONDS + $1))
    until "${@:2}"; do
        ((SECONDS < end)) || return 1
        sleep 0.02
    done
}

# For the beginning of a cleanup: a second Ctrl-C must not cut it short.
ignore_signals() {
    trap '' INT TERM HUP
}
