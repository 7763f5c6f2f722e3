#!/bin/sh
# Runs a command that must fail as it should: exit status 1 and a line of
# its output that starts with PREFIX. Status 77 (skipped) is passed on.
#   expect_failure.sh PREFIX COMMAND [ARGUMENT...]
set -u
if [ "$#" -lt 2 ] || [ -z "$1" ]; then
    echo "usage: $0 PREFIX COMMAND [ARGUMENT...]" >&2
    exit 2
fi
prefix=$1
shift
output=$(mktemp) || exit 2
trap 'rm -f "$output"' EXIT
"$@" > "$output" 2>&1
status=$?
cat "$output"
[ "$status" -eq 77 ] && exit 77
if [ "$status" -ne 1 ]; then
    echo "expect_failure: '$*' exited with status $status, not 1" >&2
    exit 1
fi
if ! cut -c1-"${#prefix}" "$output" | grep -qxF -- "$prefix"; then
    echo "expect_failure: '$*' printed no line starting with '$prefix'" >&2
    exit 1
fi
echo "expect_failure: failed as it should (status 1, '$prefix')"
