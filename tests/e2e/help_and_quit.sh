# The real program starts in a fresh program directory, tells that it made
# its results and configuration files from the templates, shows its window,
# opens the manual by keyboard, closes it, and quits with Alt+X and exit
# code 0.
set -eu
. "$(dirname "$0")/e2e_lib.sh"

cd "$WORKDIR"
./tarnwick &
pid=$!

main=$(wait_for_window '^Tarnwick Benchmark$')
created=$(wait_for_window '^Tarnwick - results file$')
press "$created" Return
wait_for_no_window '^Tarnwick - results file$'
created=$(wait_for_window '^Tarnwick - ConfigFile$')
press "$created" Return
wait_for_no_window '^Tarnwick - ConfigFile$'
test -f cpu_results.csv
test -f tarnwick.conf
sleep 0.5
import -window root "$SHOTS/main_window.png"

press "$main" alt+h
sleep 0.3
xdotool key m
manual=$(wait_for_window '^Help - Manual$')
sleep 0.3
import -window root "$SHOTS/manual.png"

press "$manual" Escape
wait_for_no_window '^Help - Manual$'

quit_with_zero "$main" "$pid"
echo "window shown, manual opened and closed, quit with exit code 0"
