#!/bin/sh
# Runs every benchmark the build produced (build/benchmarks/bench_*); those
# that draw (bench_gui_*) run under Xvfb. Then the window's speed score
# against the runner's.
set -eu
build=${1:-build}
found=0
for bench in "$build"/benchmarks/bench_*; do
    [ -x "$bench" ] || continue
    found=1
    echo "== $(basename "$bench")"
    case "$(basename "$bench")" in
        bench_gui_*) NO_AT_BRIDGE=1 xvfb-run -a -s "-screen 0 1280x1024x24" "$bench" ;;
        *) "$bench" ;;
    esac
done
[ "$found" -eq 1 ] || echo "No benchmarks are built yet."
# The window's speed test against tarnwick-cli's, full length, alternated.
echo "== window_speed"
"$(dirname "$0")/../benchmarks/window_speed.sh" "$build" 5
