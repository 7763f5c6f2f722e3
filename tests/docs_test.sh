#!/bin/bash
# The manual pages, the bash completion and the software-centre metadata, as
# a packager and a user meet them:
#   docs_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
cli="$build/tarnwick-cli"
fail() { echo "FAIL: $*" >&2; exit 1; }

# Manual pages: rendered without a warning; tarnwick-cli(1) names every
# command and every option --help lists.
for page in tarnwick tarnwick-cli; do
    warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$build/man/$page.1" 2>&1 >/dev/null)
    [ -z "$warnings" ] || fail "$page.1: $warnings"
    zcat "$build/man/$page.1.gz" | cmp -s - "$build/man/$page.1" || fail "$page.1.gz is not $page.1"
done
rendered=$(LC_ALL=C.UTF-8 MANWIDTH=200 man -E UTF-8 -l "$build/man/tarnwick-cli.1" 2>/dev/null | col -b)
help=$("$cli" --help)
options=$(echo "$help" | grep -oE -- '--[a-z][a-z-]*' | sort -u)
[ "$(echo "$options" | wc -l)" -ge 12 ] || fail "too few options in --help: $options"
for option in $options; do
    grep -qE -- "(^|[ [])$option( |\]|,|\.|$)" <<< "$rendered" || fail "tarnwick-cli.1 lacks $option"
done
commands=$(echo "$help" | sed -n '/^Commands: /,/^$/p' | sed 's/^Commands: //' | tr ',' '\n' | awk 'NF {print $1}')
for command in $commands; do
    grep -qE "^ +$command( |$)" <<< "$rendered" || fail "tarnwick-cli.1 lacks the command $command"
done
for section in NAME SYNOPSIS DESCRIPTION COMMANDS OPTIONS 'EXIT STATUS' ENVIRONMENT FILES EXAMPLES 'SEE ALSO'; do
    grep -q "^$section" <<< "$rendered" || fail "tarnwick-cli.1 lacks $section"
done
window=$(LC_ALL=C.UTF-8 MANWIDTH=200 man -E UTF-8 -l "$build/man/tarnwick.1" 2>/dev/null | col -b)
for section in NAME SYNOPSIS DESCRIPTION MENUS 'EXIT STATUS' ENVIRONMENT FILES EXAMPLES 'SEE ALSO'; do
    grep -q "^$section" <<< "$window" || fail "tarnwick.1 lacks $section"
done
for file in cpu_results.csv cpu_result.bak tarnwick.conf doc/cpu_results_original.csv doc/tarnwick_original.conf; do
    grep -qF "$file" <<< "$window" || fail "tarnwick.1 does not name $file"
done
# How to start each program, for each way of installing it: the pages and
# the manual's chapter 2.
for page in tarnwick tarnwick-cli; do
    text=$(LC_ALL=C.UTF-8 MANWIDTH=200 man -E UTF-8 -l "$build/man/$page.1" 2>/dev/null | col -b)
    for words in "Starting it" "Debian package" "make install" "~/.local/share/tarnwick" "build folder"; do
        grep -qF -- "$words" <<< "$text" || fail "$page.1 does not say how to start it: no \"$words\""
    done
done
grep -qF "cd build && ./tarnwick" <<< "$window" || fail "tarnwick.1 does not say how to start it in a build folder"
starting=$(sed -n '/^2\. Starting the program/,/^3\. The main window/p' "$source/doc/manual_tarnwick.txt")
for words in "From the Debian package, or installed with \"make install\"" "/some/dir/bin/tarnwick" \
    "From a build folder of the source tree" "cd build && ./tarnwick" "make run" "./tarnwick-cli"; do
    grep -qF -- "$words" <<< "$starting" || fail "the manual's chapter 2 lacks \"$words\""
done
# Both pages carry the version the programs print.
version=$("$cli" --version | grep -m 1 -oE '[0-9]+(\.[0-9]+)+' || true)
[ -n "$version" ] || fail "tarnwick-cli --version printed no version"
for page in tarnwick tarnwick-cli; do
    grep -q "^\.TH .*\"Tarnwick $version\"" "$build/man/$page.1" || fail "$page.1 is not of version $version"
done

# Bash completion: loaded as bash-completion loads it, then asked as the
# shell asks it.
# shellcheck disable=SC1091
. "$build/completion/tarnwick-cli"
complete -p tarnwick-cli | grep -q -- '-F _tarnwick_cli' || fail "tarnwick-cli has no completion function"
offers() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _tarnwick_cli
    printf '%s\n' "${COMPREPLY[@]}" | sed '/^$/d' | sort | tr '\n' ' '
}
expect() {
    local wanted=$1
    shift
    local got
    got=$(offers "$@")
    [ "$got" = "$wanted" ] || fail "completing '$*': got '$got', wanted '$wanted'"
}
cd "$(mktemp -d)"
touch lab.csv other.csv plot.svg
mkdir folder
expect "--help --version fleet heat info merge power record report results speed " tarnwick-cli ""
expect "power " tarnwick-cli po
expect "--htt --htt-off-result --json --no-htt --quiet --repeat --seconds --strict --threads " tarnwick-cli power ""
expect "--htt --htt-off-result " tarnwick-cli power --ht
expect "" tarnwick-cli power --seconds ""
expect "folder lab.csv other.csv plot.svg " tarnwick-cli results --results ""
# "--results=l": the shell splits it at "=".
expect "lab.csv " tarnwick-cli results --results = l
expect "folder lab.csv other.csv plot.svg " tarnwick-cli results --results =
expect "lab.csv " tarnwick-cli record --append --results l
expect "- folder lab.csv other.csv plot.svg " tarnwick-cli merge ""
expect "other.csv " tarnwick-cli merge lab.csv o
expect "--json --no-lock --quiet --results --steady-only --strict " tarnwick-cli merge lab.csv --
expect "--json --no-lock --quiet --results --steady-only --strict " tarnwick-cli --json merge -
expect "--json --quiet --results --search " tarnwick-cli results --
expect "" tarnwick-cli info x
expect "folder lab.csv other.csv plot.svg " tarnwick-cli heat --minutes 1 --log ""
expect "plot.svg " tarnwick-cli heat --plot p
expect "lab.csv " tarnwick-cli record --save l
expect "- folder lab.csv other.csv plot.svg " tarnwick-cli fleet ""
expect "--json --no-lock --quiet --results " tarnwick-cli fleet lab.csv --
expect "--heat --host --htt --htt-off-result " tarnwick-cli record --h
expect "- folder lab.csv other.csv plot.svg " tarnwick-cli report ""
expect "--json --output --quiet --results --title " tarnwick-cli report lab.csv --
expect "plot.svg " tarnwick-cli report --output p
expect "" tarnwick-cli report --title ""
# Every option --help lists is offered after some command.
all=""
for command in $commands; do
    all="$all $(offers tarnwick-cli "$command" --)"
done
for option in $options; do
    case $option in --help|--version) continue ;; esac
    grep -q -- "$option " <<< "$all" || fail "the completion never offers $option"
done

# Software-centre metadata: valid, launching the desktop entry that is
# installed, with a release for every version of the change log and the
# screenshot shipped with the sources.
metainfo="$source/packaging/org.example.tarnwick.metainfo.xml"
appstreamcli validate --no-net "$metainfo" || fail "the metainfo does not validate"
id=$(sed -n 's:.*<id>\(.*\)</id>.*:\1:p' "$metainfo")
[ -f "$source/packaging/$id.desktop" ] || fail "no desktop entry $id.desktop"
grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" || fail "the launchable is not $id.desktop"
desktop-file-validate "$source/packaging/$id.desktop" || fail "the desktop entry does not validate"
for version in $(grep -E '^[0-9]+(\.[0-9]+)+$' "$source/doc/history_tarnwick.txt"); do
    grep -q "<release version=\"$version\"" "$metainfo" || fail "no release $version in the metainfo"
done
file "$source/packaging/screenshots/speed-chart.png" | grep -q 'PNG image data, 900 x 600' || fail "no screenshot"
echo "manual pages, completion and metainfo as expected"
