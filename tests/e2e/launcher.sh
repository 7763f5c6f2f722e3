#!/bin/sh
# The launcher of an installation in a temporary prefix: starts at the same
# moment share one private program directory without failing or leaving it
# incomplete, a damaged one is repaired, one that is not the user's own is
# refused without running anything from it, and the user's results and
# settings there outlive every refresh. No display needed.
#   launcher.sh BUILD_DIR
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset XDG_DATA_HOME

prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" > /dev/null
lib="$prefix/lib/tarnwick"
cli="$prefix/bin/tarnwick-cli"
window="$prefix/bin/tarnwick"
licence="$prefix/share/doc/tarnwick/copyright"
version=$("$lib/tarnwick-cli" --version)
[ -n "$version" ] || { echo "the installed tarnwick-cli printed no version" >&2; exit 1; }
(cd "$lib/doc" && find . -type f | sed "s|^\./||") > "$work/doc-files"
[ -s "$work/doc-files" ] || { echo "no documents installed in $lib/doc" >&2; exit 1; }

step_name=
failed=
fail() {
    echo "FAIL [$step_name]: $*" >&2
    exit 1
}

# step NAME FUNCTION: runs one check in a subshell and notes its failure; the
# later steps still run.
step() {
    step_name=$1
    echo "== $1"
    set +e
    (set -e; "$2")
    status=$?
    set -e
    if [ $status -eq 0 ]; then
        echo "   ok"
    else
        failed="$failed
  $1"
    fi
}

# new_home NAME: an empty home folder of its own; prints its path.
new_home() {
    mkdir "$work/$1"
    echo "$work/$1"
}

# new_version: the installation changes, as an upgrade would change it.
new_version() {
    versions=$(($(cat "$work/versions" 2>/dev/null || echo 0) + 1))
    echo "$versions" > "$work/versions"
    echo "9.9.9.$versions" > "$lib/VERSION"
}

# check_complete DIR: the private folder holds the programs, every installed
# document, the licence when installed and the stamp of this installation,
# and nothing else but the user's own files and the lock.
check_complete() {
    for program in tarnwick tarnwick-cli; do
        [ -f "$1/$program" ] && [ -x "$1/$program" ] || fail "$1/$program is missing or not executable"
        cmp -s "$lib/$program" "$1/$program" || fail "$1/$program is not the installed one"
    done
    while IFS= read -r file; do
        cmp -s "$lib/doc/$file" "$1/doc/$file" || fail "$1/doc/$file is missing or not the installed one"
    done < "$work/doc-files"
    if [ -f "$licence" ]; then
        cmp -s "$licence" "$1/LICENSE" || fail "$1/LICENSE is missing or not the installed licence"
    fi
    stamped=$(cut -d ' ' -f 1 "$1/.installed" 2>/dev/null || true)
    [ "$stamped" = "$(cat "$lib/VERSION")" ] || fail "the stamp $1/.installed says '$stamped', not $(cat "$lib/VERSION")"
    ls -A "$1" > "$work/entries"
    while IFS= read -r entry; do
        case $entry in
            tarnwick | tarnwick-cli | doc | LICENSE | .installed | .lock | cpu_results.csv | tarnwick.conf) ;;
            *) fail "left behind in $1: $entry" ;;
        esac
    done < "$work/entries"
}

# start_three HOME WHEN: three starts of tarnwick-cli --version at once;
# each must end with 0, print the version and say nothing else.
start_three() {
    for n in 1 2 3; do
        HOME=$1 "$cli" --version > "$work/out$n" 2> "$work/err$n" &
        eval "pid$n=\$!"
    done
    for n in 1 2 3; do
        eval "pid=\$pid$n"
        status=0
        wait "$pid" || status=$?
        [ $status -eq 0 ] || fail "$2: start $n ended with $status: $(cat "$work/err$n")"
        [ "$(cat "$work/out$n")" = "$version" ] || fail "$2: start $n printed '$(cat "$work/out$n")', not '$version'"
        [ ! -s "$work/err$n" ] || fail "$2: start $n said: $(cat "$work/err$n")"
    done
}

# expect_refused HOME PROGRAM FOLDER: the launcher started as PROGRAM ends
# with 1 and names FOLDER in a message of its own, and nothing planted ran.
expect_refused() {
    rm -f "$work/marker"
    status=0
    HOME=$1 "$prefix/bin/$2" --version > "$work/out" 2> "$work/err" || status=$?
    [ ! -e "$work/marker" ] || fail "the program planted in $3 was run"
    [ $status -eq 1 ] || fail "$2 ended with $status, not 1: $(cat "$work/err")"
    [ ! -s "$work/out" ] || fail "$2 printed: $(cat "$work/out")"
    grep -q "^$2: " "$work/err" || fail "no '$2: ' message: $(cat "$work/err")"
    grep -qF "$3" "$work/err" || fail "the message does not name $3: $(cat "$work/err")"
}

# plant DIR: DIR becomes a complete private folder whose programs are
# scripts that leave a marker when run.
plant() {
    mkdir -p "$(dirname "$1")"
    cp -R "$work/model/.local/share/tarnwick" "$1"
    for program in tarnwick tarnwick-cli; do
        rm -f "$1/$program"
        printf '#!/bin/sh\ntouch "%s"\n' "$work/marker" > "$1/$program"
        chmod 755 "$1/$program"
    done
}

race() {
    home=$(new_home race)
    private="$home/.local/share/tarnwick"
    round=1
    while [ $round -le 30 ]; do
        rm -rf "$private"
        # An empty folder, and none at all.
        if [ $((round % 2)) -eq 0 ]; then
            mkdir -p -m 700 "$private"
        fi
        start_three "$home" "round $round"
        check_complete "$private"
        # An upgrade: all three find the copy out of date.
        new_version
        start_three "$home" "round $round, after an upgrade"
        check_complete "$private"
        round=$((round + 1))
    done
}
step "three starts at once, 30 rounds, from an empty private folder and after an upgrade: all succeed, the folder is complete" race

made_private() {
    home=$(new_home made)
    HOME=$home "$cli" --version > /dev/null
    mode=$(stat -c %a "$home/.local/share/tarnwick")
    [ "$mode" = 700 ] || fail "$home/.local/share/tarnwick was made with mode $mode"
    XDG_DATA_HOME="$work/xdg" HOME=$home "$cli" --version > /dev/null
    check_complete "$work/xdg/tarnwick"
    mode=$(stat -c %a "$work/xdg/tarnwick")
    [ "$mode" = 700 ] || fail "$work/xdg/tarnwick was made with mode $mode"
}
step "a new private folder, also under XDG_DATA_HOME, is made for its owner alone (mode 700)" made_private

repair() {
    home=$(new_home repair)
    private="$home/.local/share/tarnwick"
    HOME=$home "$cli" --version > /dev/null
    rm -rf "$private/doc"
    HOME=$home "$cli" --version > /dev/null
    check_complete "$private"
    rm "$private/doc/$(head -n 1 "$work/doc-files")"
    HOME=$home "$cli" --version > /dev/null
    check_complete "$private"
    rm "$private/tarnwick"
    HOME=$home "$cli" --version > /dev/null
    check_complete "$private"
    if [ -f "$licence" ]; then
        rm "$private/LICENSE"
        HOME=$home "$cli" --version > /dev/null
        check_complete "$private"
    fi
}
step "a private folder missing doc/, a document, a program or the licence (stamp current) is repaired by the next start" repair

kept_when_current() {
    home=$(new_home current)
    private="$home/.local/share/tarnwick"
    HOME=$home "$cli" --version > /dev/null
    before=$(stat -c '%i %Y' "$private/tarnwick" "$private/tarnwick-cli" "$private/doc" "$private/.installed")
    sleep 1
    HOME=$home "$cli" --version > /dev/null
    after=$(stat -c '%i %Y' "$private/tarnwick" "$private/tarnwick-cli" "$private/doc" "$private/.installed")
    [ "$before" = "$after" ] || fail "a complete, current private folder was copied again"
}
step "a complete, current private folder is not copied again" kept_when_current

user_files() {
    home=$(new_home user)
    private="$home/.local/share/tarnwick"
    HOME=$home "$cli" --version > /dev/null
    echo 'Mine;Edited;1;1;1;1;1;Linux;1;1;1;yes' > "$private/cpu_results.csv"
    echo 'mine=1' > "$private/tarnwick.conf"
    before=$(stat -c '%i %Y %s' "$private/cpu_results.csv" "$private/tarnwick.conf")
    sleep 1
    new_version
    HOME=$home "$cli" --version > /dev/null
    rm -rf "$private/doc"
    HOME=$home "$cli" --version > /dev/null
    new_version
    start_three "$home" "after an upgrade"
    check_complete "$private"
    after=$(stat -c '%i %Y %s' "$private/cpu_results.csv" "$private/tarnwick.conf")
    [ "$before" = "$after" ] || fail "cpu_results.csv or tarnwick.conf was rewritten"
    [ "$(cat "$private/cpu_results.csv")" = 'Mine;Edited;1;1;1;1;1;Linux;1;1;1;yes' ] || fail "cpu_results.csv changed"
    [ "$(cat "$private/tarnwick.conf")" = 'mine=1' ] || fail "tarnwick.conf changed"
}
step "the user's cpu_results.csv and tarnwick.conf are never touched by a refresh" user_files

# A complete private folder of this installation, copied to make the planted ones.
model_home=$(new_home model)
HOME=$model_home "$cli" --version > /dev/null

symlink() {
    home=$(new_home symlink)
    plant "$work/elsewhere"
    chmod 700 "$work/elsewhere"
    mkdir -p "$home/.local/share"
    ln -s "$work/elsewhere" "$home/.local/share/tarnwick"
    expect_refused "$home" tarnwick-cli "$home/.local/share/tarnwick"
    rm "$home/.local/share/tarnwick"
    echo 'not a folder' > "$home/.local/share/tarnwick"
    expect_refused "$home" tarnwick-cli "$home/.local/share/tarnwick"
    [ "$(cat "$home/.local/share/tarnwick")" = 'not a folder' ] || fail "the file in place of the folder was changed"
}
step "a private folder that is a symbolic link or a file is refused" symlink

writable() {
    for mode in 770 707 777; do
        home=$(new_home "writable$mode")
        private="$home/.local/share/tarnwick"
        plant "$private"
        chmod "$mode" "$private"
        expect_refused "$home" tarnwick-cli "$private"
        expect_refused "$home" tarnwick "$private"
    done
}
step "a private folder that group or others may write to is refused" writable

if [ "$(id -u)" -eq 0 ]; then
    other_owner() {
        home=$(new_home other)
        private="$home/.local/share/tarnwick"
        plant "$private"
        chmod 700 "$private"
        chown -R 65534:65534 "$home"
        ls -lAR "$home" > "$work/before"
        expect_refused "$home" tarnwick-cli "$private"
        expect_refused "$home" tarnwick "$private"
        owner=$(stat -c %U "$private")
        grep -qF "$owner" "$work/err" || fail "the message does not name the owner $owner: $(cat "$work/err")"
        ls -lAR "$home" > "$work/after"
        cmp -s "$work/before" "$work/after" || fail "the refused folder was changed: $(diff "$work/before" "$work/after")"
    }
    step "as root, a private folder owned by another user (uid 65534) is refused" other_owner

    other_home() {
        home=$(new_home stranger)
        chown 65534:65534 "$home"
        status=0
        HOME=$home "$cli" --version > "$work/out" 2> "$work/err" || status=$?
        [ $status -eq 1 ] || fail "tarnwick-cli ended with $status, not 1: $(cat "$work/err")"
        grep -q '^tarnwick-cli: ' "$work/err" || fail "no 'tarnwick-cli: ' message: $(cat "$work/err")"
        [ -z "$(ls -A "$home")" ] || fail "folders were made in another user's home: $(ls -A "$home")"
    }
    step "as root, no private folder is made in another user's home" other_home
else
    echo "== skipped: the checks of folders owned by another user need root (this is uid $(id -u))"
fi

if [ -n "$failed" ]; then
    echo "FAILED:$failed" >&2
    exit 1
fi
echo "all launcher checks passed"
