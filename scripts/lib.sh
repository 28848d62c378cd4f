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

# The names and the last words of the tests that did not pass, by ctest's report.
failed_tests() {
    awk '/<testcase / { on = !/status="run"/ && match($0, /name="[^"]*"/); n = 0
                        if (on) print substr($0, RSTART, RLENGTH) }
         on { last[n++ % 40] = $0 }
         on && /<\/testcase>/ { for (i = n > 40 ? n - 40 : 0; i < n; i++) print last[i % 40] }' "$1"
}

# run_tests BUILD LABEL JOBS [CTEST ARGUMENTS]
#
# Runs the tests with this label, those labelled broker with one, and adds the numbers
# that ctest reports to the variables passed and failed. A skipped test counts
# as failed: everything the tests need is there, so nothing is to be skipped.
# What failed is added to the file that the variable FAILURE_LOG names, if there
# is one. A test that stands for many cases is shown with their number.
run_tests() {
    local build=$1 label=$2 jobs=$3 wrapper=() results status=0 total bad key
    local -A number=()
    shift 3
    if [[ $label == broker ]]; then
        wrapper=(scripts/broker run --)
    fi
    # Whoever asks for certain tests may well ask for none with this label.
    local no_tests=error
    (($# == 0)) || no_tests=ignore

    results=$PWD/$build/results-$label.xml
    rm -f -- "$results"
    # timeout ends not only ctest but also the tests that it runs, and does so
    # for a signal to this script too.
    run_child "${wrapper[@]}" timeout --kill-after=10 1800 \
        ctest --test-dir "$build" -L "^$label\$" --no-tests="$no_tests" \
        -j "$jobs" --output-on-failure --output-junit "$results" "$@" || status=$?

    for key in tests failures disabled skipped; do
        number[$key]=$(grep -osm1 "\b$key=\"[0-9]*\"" "$results" | tr -cd 0-9) || true
    done
    total=${number[tests]:-0}
    bad=$((${number[failures]:-0} + ${number[disabled]:-0} + ${number[skipped]:-0}))
    passed=$((passed + total - bad))
    if ((status != 0 && bad == 0)); then
        echo "$label: ctest itself failed, or found no test" >&2
        bad=1
    elif ((bad > ${number[failures]:-0})); then
        echo "$label: tests that were skipped or disabled count as failed" >&2
    fi
    failed=$((failed + bad))
    if ((bad)); then
        failed_tests "$results" | sed "s/^/$label: /" >>"${FAILURE_LOG:-/dev/null}"
    fi
    grep -oshm1 'fault matrix: [0-9]* cases' "$results" || true
    echo "$label: $total tests, $bad failed"
}
