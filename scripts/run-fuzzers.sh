#!/bin/sh
# Runs each fuzz target for the given number of seconds from a copy of its
# seeds (the seeds in the source tree are never written to).
#   run-fuzzers.sh BUILD_DIR SECONDS
set -eu
build=$1
seconds=$2
here=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for target in results config merge; do
    mkdir -p "$work/$target"
    cp "$here/tests/fuzz/seeds/$target/"* "$work/$target/"
    # Inputs that once failed come along as seeds.
    cp "$here/tests/fuzz/regressions/$target"-* "$work/$target/" 2>/dev/null || true
    echo "== fuzz_$target for ${seconds}s"
    "$build/tests/fuzz_$target" -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=1 \
        "$work/$target" 2>"$work/$target.log" || { tail -n 60 "$work/$target.log"; exit 1; }
    grep -E '^(Done|stat::number_of_executed_units)' "$work/$target.log" || true
done
