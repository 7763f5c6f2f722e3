# Two copies of the program on one table, driven by keyboard: window A shows
# record 2 ("Second"), window B deletes record 1; A's Delete then removes
# "Second", the record A showed, and "Third" stays.
set -eu
. "$(dirname "$0")/e2e_lib.sh"

cd "$WORKDIR"
printf '%s\n' 'AMD;First;1;1;1;1;1;Linux;1;300;300;yes' 'AMD;Second;1;1;1;1;1;Linux;1;200;200;yes' \
              'AMD;Third;1;1;1;1;1;Linux;1;100;100;yes' > cpu_results.csv
printf 'cpulist\t\t20\nheattime\t1\n' > tarnwick.conf
models() { cut -d';' -f2 cpu_results.csv | tr '\n' ' '; }

# The newest visible window of that name: the one the program just opened.
newest() {
    tries=0
    while [ $tries -lt 150 ]; do
        id=$(xdotool search --onlyvisible --name "$1" 2>/dev/null | tail -n 1)
        [ -n "$id" ] && [ "$id" != "${2:-}" ] && { echo "$id"; return 0; }
        tries=$((tries + 1))
        sleep 0.1
    done
    echo "no new window '$1'" >&2
    return 1
}

# A: Processor, Results, then ">" (24 stops on from the first field).
./tarnwick &
a=$!
main_a=$(newest '^Tarnwick Benchmark$')
sleep 0.5
press "$main_a" alt+p
sleep 0.3
xdotool key r
dialog_a=$(newest '^Result info$')
sleep 0.5
press "$dialog_a" Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab space
sleep 0.3
import -window "$dialog_a" "$SHOTS/window_a_shows_second.png"

# B, a second copy: Processor, Results, Delete (14 stops on) on record 1.
./tarnwick &
b=$!
main_b=$(newest '^Tarnwick Benchmark$' "$main_a")
sleep 0.5
press "$main_b" alt+p
sleep 0.3
xdotool key r
dialog_b=$(newest '^Result info$' "$dialog_a")
sleep 0.5
press "$dialog_b" Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab space
confirm=$(newest '^Delete result confirmation$')
press "$confirm" Return
sleep 0.5
echo "after B deleted record 1: $(models)"
[ "$(models)" = "Second Third " ]
press "$dialog_b" Escape
sleep 0.3
press "$main_b" alt+x
wait_for_exit "$b"

# A, still showing "Second" as record 2: back from ">" to Delete.
press "$dialog_a" shift+Tab shift+Tab shift+Tab shift+Tab shift+Tab shift+Tab shift+Tab shift+Tab shift+Tab shift+Tab space
confirm=$(newest '^Delete result confirmation$')
press "$confirm" Return
sleep 0.5
import -window "$dialog_a" "$SHOTS/window_a_after_delete.png"
echo "after A deleted the record it showed: $(models)"
[ "$(models)" = "Third " ]
press "$dialog_a" Escape
sleep 0.3
press "$main_a" alt+x
wait_for_exit "$a"
