# The real program runs the full speed test, stores it with Processor,
# "Results", "Last test", fills in the empty fields by typing and saves; the
# new line is in cpu_results.csv, and File, "Search" finds it.
set -eu
. "$(dirname "$0")/e2e_lib.sh"

cd "$WORKDIR"
: > cpu_results.csv
printf 'cpulist\t\t20\nheattime\t1\n' > tarnwick.conf
./tarnwick &
pid=$!
main=$(wait_for_window '^Tarnwick Benchmark$')
sleep 0.5
speed_test "$main"
dialog=$(results_with_last_test "$main")
# Back round to the first field, then the empty ones.
xdotool key Tab Tab Tab
xdotool type 2000
xdotool key Tab
xdotool type 3000
xdotool key Tab
xdotool type 1
xdotool key Tab
xdotool type 2
xdotool key Tab Tab Tab
xdotool type 6.1
sleep 0.3
import -window root "$SHOTS/result_filled.png"
# Speed, power, "Display", then "Save" (the disabled buttons are skipped).
xdotool key Tab Tab Tab Tab space
sleep 1
press "$dialog" Escape
wait_for_no_window '^Result info$'

echo "stored: $(cat cpu_results.csv)"
[ "$(wc -l < cpu_results.csv)" -eq 1 ]
awk -F';' 'NF == 12 && $3 == "2000" && $4 == "3000" && $5 == "1" && $6 == "2" && $8 == "Linux" &&
           $9 == "6.1" && $10 + 0 > 0 && $12 == "yes" { found = 1 } END { exit !found }' cpu_results.csv

press "$main" alt+f
sleep 0.3
xdotool key s
search=$(wait_for_window '^Search$')
press "$search" 2 0 0 0 semicolon 3 0 0 0 Return
wait_for_no_window '^Search$'
sleep 0.5
import -window "$main" "$SHOTS/search_hit.png"

press "$main" alt+x
wait_for_exit "$pid"
