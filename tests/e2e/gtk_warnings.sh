# The real program starts from a fresh program directory plain, with a dark
# theme and at double scale; each time its first-start messages are answered,
# every dialog is opened from the menus and closed with Escape, and it quits.
# GTK may say nothing on standard error: a line with a Gtk or Gdk warning or
# critical fails the test and is printed.
set -eu
. "$(dirname "$0")/e2e_lib.sh"

# open_and_escape MAIN MENU_KEY ITEM_KEY TITLE_REGEX
open_and_escape() {
    press "$1" "alt+$2"
    sleep 0.3
    xdotool key "$3"
    dialog=$(wait_for_window "$4")
    sleep 0.3
    press "$dialog" Escape
    wait_for_no_window "$4"
}

# A client that stays connected: otherwise the X server resets each time the
# program quits, and refuses the next start for a moment.
xprop -root -spy >/dev/null 2>&1 &
keeper=$!
trap 'kill "$keeper" 2>/dev/null || true' EXIT

failed=0
for setup in plain dark scaled; do
    case $setup in
    plain) settings= ;;
    dark) settings=GTK_THEME=Adwaita:dark ;;
    scaled) settings=GDK_SCALE=2 ;;
    esac
    # A fresh copy beside the program directory (removed with it).
    dir="$WORKDIR/../$setup"
    cp -r "$WORKDIR" "$dir"
    # shellcheck disable=SC2086 # no setting, or one word
    (cd "$dir" && exec env $settings ./tarnwick 2>"$dir/stderr.txt") &
    pid=$!

    if ! main=$(wait_for_window '^Tarnwick Benchmark$'); then
        echo "$setup: the program's standard error:" >&2
        cat "$dir/stderr.txt" >&2
        kill -0 "$pid" 2>/dev/null && echo "$setup: it still runs" >&2
        exit 1
    fi
    answer_first_start
    sleep 1
    open_and_escape "$main" f s '^Search$'
    open_and_escape "$main" f o '^Options - configure application$'
    open_and_escape "$main" p p '^Power - Cpu threads$'
    open_and_escape "$main" p h '^Heat - time$'
    open_and_escape "$main" p r '^Result info$'
    open_and_escape "$main" h m '^Help - Manual$'
    open_and_escape "$main" h h '^Help - History$'
    open_and_escape "$main" h a '^About Tarnwick$'
    sleep 0.5
    quit_with_zero "$main" "$pid" "$setup" || failed=1
    warnings=$(grep -E '(Gtk|Gdk)-(CRITICAL|WARNING)' "$dir/stderr.txt" || true)
    if [ -n "$warnings" ]; then
        echo "$warnings" | sed "s/^/$setup: /" >&2
        failed=1
    fi
done
if [ "$failed" -ne 0 ]; then
    exit 1
fi
echo "started plain, dark and scaled, every dialog opened and closed: no GTK warning"
