#!/bin/sh
# Runs a GUI test binary under Xvfb from a temporary directory that holds a
# copy of the binary and of the documents, as an installed program would.
set -eu
binary=$1
docs=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$binary" "$work/"
cp -r "$docs" "$work/doc"
cd "$work"
export NO_AT_BRIDGE=1 GDK_BACKEND=x11
xvfb-run -a -s "-screen 0 1280x1024x24" "./$(basename "$binary")" "$@"
