#!/bin/sh
# The window's speed test against tarnwick-cli's, full length, alternated:
#   window_speed.sh BUILD_DIR [ROUNDS]
# The window is driven as a user would (Processor, Speed; then Results, Last
# test, Save) in its own Xvfb, nothing else touching the display during the
# 10 s; its score is read back from the results file it saved. Each run's
# output goes to a file, read only after all runs. Fails (exit 1) when a
# round gives no score or the medians differ by more than 1 %.
set -eu
build=$(cd "${1:-build}" && pwd)
rounds=${2:-5}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/program"
cp "$build/tarnwick" "$build/tarnwick-cli" "$work/program/"
cp -r "$build/doc" "$work/program/doc"
printf 'cpulist\t\t20\nheattime\t1\n' > "$work/program/tarnwick.conf"

cat > "$work/window.sh" <<'EOF'
set -eu
. "$E2E_LIB"
cd "$WORKDIR"
: > cpu_results.csv
./tarnwick &
pid=$!
main=$(wait_for_window '^Tarnwick Benchmark$')
sleep 1
speed_test "$main"
dialog=$(results_with_last_test "$main")
xdotool key Tab Tab Tab
xdotool type 1
xdotool key Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab space
sleep 1
press "$dialog" Escape
wait_for_no_window '^Result info$'
press "$main" alt+x
wait_for_exit "$pid"
cut -d';' -f10 cpu_results.csv
EOF

export E2E_LIB="$here/../tests/e2e/e2e_lib.sh" WORKDIR="$work/program" NO_AT_BRIDGE=1 GDK_BACKEND=x11
round=1
while [ "$round" -le "$rounds" ]; do
    xvfb-run -a -s "-screen 0 1280x1024x24" sh "$work/window.sh" > "$work/window.$round" 2>/dev/null || true
    (cd "$work/program" && ./tarnwick-cli speed --quiet) > "$work/cli.$round"
    round=$((round + 1))
done

window=""
cli=""
round=1
while [ "$round" -le "$rounds" ]; do
    window="$window $(tail -n 1 "$work/window.$round")"
    cli="$cli $(sed -n 's/^Speed test: \([0-9]*\) points.*/\1/p' "$work/cli.$round")"
    round=$((round + 1))
done
echo "window speed test (10 s):       $window"
echo "tarnwick-cli speed (10 s):      $cli"
median() {
    printf '%s\n' $1 | sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}
# Every round must have given a score on both sides.
for score in $window $cli; do
    case "$score" in
        '' | *[!0-9]*) echo "a run failed: a round gave no score (window:$window; tarnwick-cli:$cli)"; exit 1 ;;
    esac
done
if [ "$(echo "$window" | wc -w)" -ne "$rounds" ] || [ "$(echo "$cli" | wc -w)" -ne "$rounds" ]; then
    echo "a run failed: a round gave no score (window:$window; tarnwick-cli:$cli)"
    exit 1
fi
mw=$(median "$window")
mc=$(median "$cli")
awk -v w="$mw" -v c="$mc" 'BEGIN { printf "medians: window %.0f, tarnwick-cli %.0f, window / cli %.4f  (target within 1 %%)\n", w, c, w / c
    if (w / c < 0.99 || w / c > 1.01) { printf "missed the target: window / cli is %.4f (target within 1 %%)\n", w / c; exit 1 } }'
