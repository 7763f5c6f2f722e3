#!/bin/sh
# One X server for all the window tests: "start STATE" starts Xvfb on a free
# display and writes its number to STATE.display and its PID to STATE.pid;
# "stop STATE" stops that PID. It listens on no network port.
set -eu
action=$1
state=$2
case $action in
start)
    rm -f "$state.display" "$state.pid"
    # Xvfb picks a free display and writes its number to descriptor 3.
    setsid Xvfb -displayfd 3 -nolisten tcp -screen 0 1280x1024x24 \
        3>"$state.display" </dev/null >"$state.log" 2>&1 &
    echo $! >"$state.pid"
    tries=0
    while ! grep -q '^[0-9]' "$state.display" 2>/dev/null; do
        tries=$((tries + 1))
        if [ "$tries" -gt 100 ] || ! kill -0 "$(cat "$state.pid")" 2>/dev/null; then
            echo "Xvfb did not start:" >&2
            cat "$state.log" >&2
            exit 1
        fi
        sleep 0.1
    done
    echo "Xvfb on :$(cat "$state.display") (PID $(cat "$state.pid"))"
    ;;
stop)
    if [ -f "$state.pid" ]; then
        pid=$(cat "$state.pid")
        kill "$pid" 2>/dev/null || true
        tries=0
        while kill -0 "$pid" 2>/dev/null && [ "$tries" -lt 50 ]; do
            tries=$((tries + 1))
            sleep 0.1
        done
        rm -f "$state.pid" "$state.display"
    fi
    ;;
*)
    echo "usage: $0 start|stop STATE" >&2
    exit 2
    ;;
esac
