#!/bin/sh
# Runs each fuzz target for the given number of seconds, one after the
# other, from its seeds (tests/fuzz/seeds/<target>/), the inputs that once
# failed (tests/fuzz/regressions/<target>-*) and the corpus earlier runs grew
# (tests/fuzz/corpus/<target>/), all copied to a temporary folder: without
# --keep the source tree is never written to.
#   run-fuzzers.sh [--keep] [--keep-going] BUILD_DIR SECONDS [TARGET...]
# --keep        puts what the run found into tests/fuzz/corpus/<target>/,
#               minimised with libFuzzer's -merge=1: only the inputs that add
#               coverage beyond the seeds and regressions (which stay where
#               they are), so the corpus stays small.
# --keep-going  does not stop at the first failure (libFuzzer's fork mode),
#               for a target whose known failure would end every run early.
# Failing inputs are copied to BUILD_DIR/fuzz-failures/; the script then
# fails, after every target has had its run. Without TARGETs, every fuzz
# target the build made (BUILD_DIR/tests/fuzz_*) runs.
set -eu
keep=0
going=0
while [ $# -gt 2 ]; do
    case $1 in
    --keep) keep=1 ;;
    --keep-going) going=1 ;;
    *) break ;;
    esac
    shift
done
if [ $# -lt 2 ]; then
    echo "usage: $0 [--keep] [--keep-going] BUILD_DIR SECONDS [TARGET...]" >&2
    exit 2
fi
build=$(cd "$1" && pwd)
seconds=$2
shift 2
if [ $# -eq 0 ]; then
    for fuzzer in "$build"/tests/fuzz_*; do
        [ -x "$fuzzer" ] && set -- "$@" "${fuzzer##*/fuzz_}"
    done
    if [ $# -eq 0 ]; then
        echo "$build/tests holds no fuzz target: build it first" >&2
        exit 2
    fi
fi
here=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

# Copies the regular files of folder $1, if any, into folder $2, each name
# prefixed by $3.
copy_inputs() {
    [ -d "$1" ] || return 0
    for file in "$1"/*; do
        if [ -f "$file" ]; then
            cp "$file" "$2/$3$(basename "$file")"
        fi
    done
}

for target in "$@"; do
    fuzzer=$build/tests/fuzz_$target
    corpus=$here/tests/fuzz/corpus/$target
    start=$work/$target.start      # seeds and regressions
    inputs=$work/$target           # what the fuzzer starts from and adds to
    failed=$work/$target.failed
    mkdir -p "$start" "$inputs" "$failed"
    copy_inputs "$here/tests/fuzz/seeds/$target" "$start" ""
    for file in "$here/tests/fuzz/regressions/$target"-*; do
        if [ -f "$file" ]; then
            cp "$file" "$start/"
        fi
    done
    copy_inputs "$start" "$inputs" ""
    copy_inputs "$corpus" "$inputs" ""
    echo "== fuzz_$target for ${seconds}s from $(find "$inputs" -type f | wc -l) inputs"

    mode=""
    if [ "$going" = 1 ]; then
        mode="-fork=1 -ignore_crashes=1"
    fi
    result=0
    # shellcheck disable=SC2086
    "$fuzzer" $mode -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$failed/$target-" "$inputs" 2>"$work/$target.log" || result=$?
    if [ "$going" = 1 ]; then
        grep -E '^#[0-9]+:' "$work/$target.log" | tail -n 1 || true
    else
        grep -E '^(Done|stat::number_of_executed_units)' "$work/$target.log" || true
    fi

    if [ "$result" -ne 0 ] || [ -n "$(ls "$failed")" ]; then
        status=1
        if [ "$going" = 0 ]; then
            # What failed, where (the fuzzer's and libc's frames left out)
            # and the input.
            sed -n '/check failed\|ERROR: /,/^Base64:/p' "$work/$target.log" |
                grep -v -E ' in (fuzzer::|__sanitizer|__libc|__pthread|_start|main |raise |abort )|^NOTE:|^ +Combine' |
                head -n 40
        fi
        mkdir -p "$build/fuzz-failures"
        echo "!! fuzz_$target failed; failing inputs:"
        for file in "$failed"/*; do
            if [ ! -f "$file" ]; then
                continue
            fi
            cp "$file" "$build/fuzz-failures/"
            why=$("$fuzzer" "$file" 2>&1 | grep -E -m 1 'check failed|^SUMMARY' || true)
            echo "   $build/fuzz-failures/$(basename "$file"): $why"
        done
    fi

    if [ "$keep" = 1 ]; then
        # The new corpus: the inputs that add coverage to what the seeds
        # and regressions already reach.
        merged=$work/$target.merged
        mkdir -p "$merged"
        copy_inputs "$start" "$merged" "start-"
        if ! "$fuzzer" -merge=1 -rss_limit_mb=2048 -artifact_prefix="$failed/merge-" "$merged" "$inputs" \
            2>"$work/$target.merge.log"; then
            tail -n 30 "$work/$target.merge.log"
            echo "!! fuzz_$target: the corpus could not be merged; tests/fuzz/corpus/$target/ is unchanged"
            status=1
            continue
        fi
        grep -E 'MERGE-OUTER: [0-9]+ new files' "$work/$target.merge.log" || true
        rm -f "$merged"/start-*
        rm -rf "$corpus"
        mkdir -p "$corpus"
        copy_inputs "$merged" "$corpus" ""
        echo "   corpus: $(find "$corpus" -type f | wc -l) files, $(cat "$corpus"/* 2>/dev/null | wc -c) bytes in tests/fuzz/corpus/$target/"
    fi
done
exit "$status"
