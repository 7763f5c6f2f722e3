#!/bin/sh
# Runs an end-to-end scenario under Xvfb against a temporary copy of the
# installed program (the executable and doc/ beside it).
#   run_e2e.sh SCENARIO PROGRAM BUILD_DIR
set -eu
scenario=$1
program=$2
build=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/program"
cp "$program" "$work/program/"
cp -r "$build/doc" "$work/program/doc"
export WORKDIR="$work/program"
export SHOTS="${TARNWICK_SHOTS:-$work}"
export NO_AT_BRIDGE=1 GDK_BACKEND=x11
xvfb-run -a -s "-screen 0 1280x1024x24" sh "$scenario"
