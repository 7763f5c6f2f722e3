#!/bin/sh
# Runs every benchmark the build produced (build/benchmarks/bench_*); those
# that draw (bench_gui_*) run under Xvfb. Then the fleet play's cost per host,
# and the window's speed score against the runner's. A benchmark that fails
# does not stop the others; each is named at the end, and the exit status
# is 1.
set -u
build=${1:-build}
found=0
failed=""
for bench in "$build"/benchmarks/bench_*; do
    [ -x "$bench" ] || continue
    found=1
    echo "== $(basename "$bench")"
    case "$(basename "$bench")" in
        bench_gui_*) NO_AT_BRIDGE=1 xvfb-run -a -s "-screen 0 1280x1024x24" "$bench" ;;
        *) "$bench" ;;
    esac || failed="$failed $(basename "$bench")"
done
[ "$found" -eq 1 ] || echo "No benchmarks are built yet."
# The fleet play's own cost per host, over SSH to loopback hosts.
echo "== fleet_play"
"$(dirname "$0")/../benchmarks/fleet_play.sh" "$build" || failed="$failed fleet_play"
# The window's speed test against tarnwick-cli's, full length, alternated.
echo "== window_speed"
"$(dirname "$0")/../benchmarks/window_speed.sh" "$build" 5 || failed="$failed window_speed"
if [ -n "$failed" ]; then
    echo "failed:$failed" >&2
    exit 1
fi
