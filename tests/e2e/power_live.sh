# The real program during its power test, driven by keyboard: the window
# still repaints ("Please wait ..."), resizes and opens Help > About; Exit
# during the test waits for the workers, and the program then ends cleanly.
set -eu
. "$(dirname "$0")/e2e_lib.sh"

cd "$WORKDIR"
printf '%s\n' 'Crafted;Stored;1;2;1;2;2;Linux;6;5000;10000;yes' > cpu_results.csv
printf 'cpulist\t\t20\nheattime\t1\n' > tarnwick.conf
./tarnwick &
pid=$!
main=$(wait_for_window '^Tarnwick Benchmark$')
sleep 0.5
press "$main" alt+p
sleep 0.3
xdotool key p
dialog=$(wait_for_window '^Power - Cpu threads$')
# Focus starts in the thread count; OK is the fourth stop after it.
press "$dialog" Tab Tab Tab Tab space
wait_for_no_window '^Power - Cpu threads$'
started=$(date +%s)
sleep 2

# Resized while the threads run: repainted at once, "Please wait ..." on it.
xdotool windowsize --sync "$main" 700 500
sleep 0.5
import -window "$main" "$SHOTS/power_running.png"
pixels=$(convert "$SHOTS/power_running.png" -crop 120x20+8+40 txt:-)
echo "$pixels" | grep -q '#000000' || { echo "nothing drawn while the power test runs" >&2; exit 1; }
[ "$(xdotool getwindowgeometry "$main" | sed -n 's/.*Geometry: //p')" = "700x500" ]

# Help > About opens during the test.
press "$main" alt+h
sleep 0.3
xdotool key a
about=$(wait_for_window '^About Tarnwick$')
sleep 0.3
press "$about" Escape
wait_for_no_window '^About Tarnwick$'

# Exit during the test: the program stays until its workers have ended.
press "$main" alt+x
sleep 1
kill -0 "$pid" || { echo "the program ended before its power test" >&2; exit 1; }
wait_for_exit_within() {
    tries=0
    while kill -0 "$1" 2>/dev/null && [ $tries -lt "$2" ]; do
        tries=$((tries + 1))
        sleep 0.1
    done
    wait "$1"
}
wait_for_exit_within "$pid" 400
ended=$(date +%s)
echo "the program ended $((ended - started)) s after the power test started"
[ $((ended - started)) -ge 10 ]
