#!/bin/sh
# Starts Tarnwick (installed as "tarnwick") or its command-line runner
# (installed as "tarnwick-cli") from a program directory of the user's own.
# The program keeps its results and settings beside itself, and an installed
# copy is not writable by users: each user gets a private copy of the
# programs and documents, refreshed whenever the installed ones change. The
# user's cpu_results.csv and tarnwick.conf there are never touched.
set -eu

installed="$(dirname "$(readlink -f "$0")")/../lib/tarnwick"
private="${XDG_DATA_HOME:-$HOME/.local/share}/tarnwick"
stamp="$(cat "$installed/VERSION") $(cat "$installed/tarnwick" "$installed/tarnwick-cli" | cksum)"

mkdir -p "$private"
if [ "$(cat "$private/.installed" 2>/dev/null)" != "$stamp" ]; then
    for program in tarnwick tarnwick-cli; do
        cp "$installed/$program" "$private/.$program.new"
        mv -f "$private/.$program.new" "$private/$program"
    done
    rm -rf "$private/.doc.new"
    cp -R "$installed/doc" "$private/.doc.new"
    rm -rf "$private/doc"
    mv "$private/.doc.new" "$private/doc"
    # The licence, where the About box says it is: beside the program.
    if [ -f "$installed/../../share/doc/tarnwick/copyright" ]; then
        cp "$installed/../../share/doc/tarnwick/copyright" "$private/.LICENSE.new"
        mv -f "$private/.LICENSE.new" "$private/LICENSE"
    fi
    printf '%s\n' "$stamp" > "$private/.installed"
fi

case "$(basename "$0")" in
    tarnwick-cli) exec "$private/tarnwick-cli" "$@" ;;
    # The help files are read from doc/ under the working directory.
    *) cd "$private" && exec ./tarnwick "$@" ;;
esac
