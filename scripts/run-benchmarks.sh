#!/bin/sh
# Runs every benchmark the build produced (build/benchmarks/bench_*).
set -eu
build=${1:-build}
found=0
for bench in "$build"/benchmarks/bench_*; do
    [ -x "$bench" ] || continue
    found=1
    echo "== $(basename "$bench")"
    "$bench"
done
[ "$found" -eq 1 ] || echo "No benchmarks are built yet."
