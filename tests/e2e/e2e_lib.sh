# Shared steps of the end-to-end scenarios (sourced).

# wait_for_window NAME_REGEX: prints the id of the first visible window whose
# name matches, waiting up to 15 s.
wait_for_window() {
    tries=0
    while [ $tries -lt 150 ]; do
        id=$(xdotool search --onlyvisible --name "$1" 2>/dev/null | head -n 1)
        if [ -n "$id" ]; then
            echo "$id"
            return 0
        fi
        tries=$((tries + 1))
        sleep 0.1
    done
    echo "no window named '$1' appeared" >&2
    return 1
}

# wait_for_no_window NAME_REGEX: waits up to 15 s until no visible window matches.
wait_for_no_window() {
    tries=0
    while [ $tries -lt 150 ]; do
        if ! xdotool search --onlyvisible --name "$1" >/dev/null 2>&1; then
            return 0
        fi
        tries=$((tries + 1))
        sleep 0.1
    done
    echo "window '$1' did not go away" >&2
    return 1
}

# press WINDOW KEY...: focuses the window and types the keys.
press() {
    window=$1
    shift
    xdotool windowfocus --sync "$window"
    xdotool key --clearmodifiers "$@"
}

# wait_for_exit PID: waits up to 15 s for the process and prints its exit code.
wait_for_exit() {
    tries=0
    while kill -0 "$1" 2>/dev/null && [ $tries -lt 150 ]; do
        tries=$((tries + 1))
        sleep 0.1
    done
    if kill -0 "$1" 2>/dev/null; then
        echo "the program did not end" >&2
        kill "$1"
    fi
    wait "$1"
}

# answer_first_start: presses Enter on the two messages of a first start (the
# results and configuration files made from their templates).
answer_first_start() {
    for caption in '^Tarnwick - results file$' '^Tarnwick - ConfigFile$'; do
        box=$(wait_for_window "$caption")
        press "$box" Return
        wait_for_no_window "$caption"
    done
}

# quit_with_zero MAIN PID [LABEL]: quits with Alt+X; fails, saying so, unless
# the program ends with exit code 0.
quit_with_zero() {
    press "$1" alt+x
    set +e
    wait_for_exit "$2"
    status=$?
    set -e
    if [ "$status" -ne 0 ]; then
        echo "${3:+$3: }exit code $status, expected 0" >&2
        return 1
    fi
}

# speed_test MAIN: Processor, Speed in the main window; returns after the
# 10 s test.
speed_test() {
    press "$1" alt+p
    sleep 0.3
    xdotool key s
    sleep 12
}

# results_with_last_test MAIN: opens Processor, Results and presses "Last
# test" (the thirteenth stop from the first field); prints the dialog's id.
results_with_last_test() {
    press "$1" alt+p >&2
    sleep 0.3
    xdotool key r
    dialog=$(wait_for_window '^Result info$')
    sleep 0.5
    press "$dialog" Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab space >&2
    sleep 0.5
    echo "$dialog"
}
