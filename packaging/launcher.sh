#!/bin/sh
# Starts Tarnwick (installed as "tarnwick") or its command-line runner
# (installed as "tarnwick-cli") from a program directory of the user's own.
# The program keeps its results and settings beside itself, and an installed
# copy is not writable by users: each user gets a private copy of the
# programs and documents, refreshed whenever the installed ones change or a
# file of the copy has gone missing. The user's cpu_results.csv and
# tarnwick.conf there are never touched.
#
# Starts at the same moment take turns at refreshing (a lock on .lock there);
# the stamp of the copied installation, .installed, is written last. Files
# are made under unique temporary names and moved into place, never written
# through a name that was already there. A private folder that is not the
# user's own, is a symbolic link, or may be written by group or others is
# refused: root started with another user's HOME must not run what that
# user put there.
set -eu

case "$(basename "$0")" in
    tarnwick-cli) me=tarnwick-cli ;;
    *) me=tarnwick ;;
esac
fail() {
    printf '%s: %s\n' "$me" "$*" >&2
    exit 1
}

bin="$(dirname "$(readlink -f "$0")")"
installed="$bin/@TARNWICK_BIN_TO_PROGRAM@"
licence="$bin/@TARNWICK_BIN_TO_DOC@/copyright"
private="${XDG_DATA_HOME:-$HOME/.local/share}/tarnwick"
stamp="$(cat "$installed/VERSION") $(cat "$installed/tarnwick" "$installed/tarnwick-cli" | cksum)"
uid=$(id -u)
user=$(id -un 2>/dev/null || echo "uid $uid")

# owner PATH: who owns PATH, by name and number.
owner() {
    printf '%s (uid %s)' "$(stat -L -c %U "$1")" "$(stat -L -c %u "$1")"
}

if [ ! -e "$private" ] && [ ! -L "$private" ]; then
    # Made only below a folder of the user's or of the system: root started
    # with another user's HOME would leave that user folders of root's.
    above=$(dirname "$private")
    while [ ! -e "$above" ]; do
        above=$(dirname "$above")
    done
    case "$(stat -L -c %u "$above")" in
        "$uid" | 0) ;;
        *) fail "$above belongs to $(owner "$above"), not to $user: $private is not made there" ;;
    esac
    mkdir -p "$(dirname "$private")" || fail "cannot make $(dirname "$private")"
    # Another start may have made it meanwhile.
    mkdir -m 700 "$private" 2>/dev/null || [ -d "$private" ] || fail "cannot make $private"
fi
[ ! -L "$private" ] || fail "$private is a symbolic link: not running from it"
[ -d "$private" ] || fail "$private is not a folder: not running from it"
[ "$(stat -c %u "$private")" = "$uid" ] ||
    fail "$private belongs to $(owner "$private"), not to $user: not running from it"
mode=$(stat -c %a "$private")
[ $((0$mode & 022)) -eq 0 ] ||
    fail "$private may be written by its group or others (mode $mode): not running from it (chmod go-w $private makes it private)"

# complete: the copy is of this installation and none of its files is missing.
complete() {
    [ "$(cat "$private/.installed" 2>/dev/null)" = "$stamp" ] || return 1
    for program in tarnwick tarnwick-cli; do
        [ -f "$private/$program" ] && [ -x "$private/$program" ] || return 1
        [ "$(stat -c %u "$private/$program")" = "$uid" ] || return 1
    done
    [ ! -f "$licence" ] || [ -f "$private/LICENSE" ] || return 1
    missing=$(find "$installed/doc" -type f | while IFS= read -r file; do
        [ -f "$private/doc/${file#"$installed/doc/"}" ] || echo "$file"
    done)
    [ -z "$missing" ]
}

# replace NAME MODE: moves the temporary file into place as NAME.
replace() {
    chmod "$2" "$temp"
    mv -f "$temp" "$private/$1"
    temp=
}

if ! complete; then
    lock="$private/.lock"
    [ ! -L "$lock" ] || fail "$lock is a symbolic link: not running from $private"
    exec 9>> "$lock"
    flock -w 60 9 || fail "$private was being refreshed by another start for a minute"
    # The start that held the lock may have done the work.
    if ! complete; then
        temp=
        old=
        trap 'rm -rf ${temp:+"$temp"} ${old:+"$old"}' EXIT
        trap 'exit 1' HUP INT TERM
        # Left by starts that were killed, or by older launchers.
        rm -rf "$private"/.new.* "$private/.tarnwick.new" "$private/.tarnwick-cli.new" \
            "$private/.doc.new" "$private/.LICENSE.new"
        for program in tarnwick tarnwick-cli; do
            temp=$(mktemp "$private/.new.XXXXXX")
            cp "$installed/$program" "$temp"
            replace "$program" 755
        done
        temp=$(mktemp -d "$private/.new.XXXXXX")
        cp -R "$installed/doc/." "$temp"
        chmod 755 "$temp"
        old=$(mktemp -d "$private/.new.XXXXXX")
        if [ -e "$private/doc" ] || [ -L "$private/doc" ]; then
            mv "$private/doc" "$old/"
        fi
        mv -T "$temp" "$private/doc"
        temp=
        rm -rf "$old"
        old=
        # The licence, where the About box says it is: beside the program.
        if [ -f "$licence" ]; then
            temp=$(mktemp "$private/.new.XXXXXX")
            cp "$licence" "$temp"
            replace LICENSE 644
        fi
        temp=$(mktemp "$private/.new.XXXXXX")
        printf '%s\n' "$stamp" > "$temp"
        replace .installed 644
        trap - EXIT HUP INT TERM
    fi
    exec 9>&-
fi

case "$me" in
    tarnwick-cli) exec "$private/tarnwick-cli" "$@" ;;
    # The help files are read from doc/ under the working directory.
    *) cd "$private" && exec ./tarnwick "$@" ;;
esac
