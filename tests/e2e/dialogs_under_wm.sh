# Under a window manager (openbox), which places a window without a parent
# where it likes, every dialog of the menus opens centred on the main window,
# the main window moved away from where the manager put it first.
set -eu
. "$(dirname "$0")/e2e_lib.sh"

if ! command -v openbox > /dev/null; then
    echo "openbox is not installed: no window manager to place the dialogs" >&2
    exit 1
fi
openbox > /dev/null 2>&1 &
wm=$!
trap 'kill "$wm" 2>/dev/null || true' EXIT
sleep 1

cd "$WORKDIR"
./tarnwick &
pid=$!
main=$(wait_for_window '^Tarnwick Benchmark$')
answer_first_start
xdotool windowmove --sync "$main" 330 270
sleep 0.5

# centre WINDOW: prints its centre as "X Y", from xdotool's geometry.
centre() {
    eval "$(xdotool getwindowgeometry --shell "$1")"
    echo "$((X + WIDTH / 2)) $((Y + HEIGHT / 2))"
}

failed=0
read -r main_x main_y <<EOF2
$(centre "$main")
EOF2
for entry in "f|s|^Search$" "f|o|^Options - configure application$" "p|p|^Power - Cpu threads$" \
             "p|h|^Heat - time$" "p|r|^Result info$" "h|m|^Help - Manual$" "h|h|^Help - History$"; do
    menu=${entry%%|*}
    rest=${entry#*|}
    item=${rest%%|*}
    title=${rest#*|}
    press "$main" "alt+$menu"
    sleep 0.3
    xdotool key "$item"
    dialog=$(wait_for_window "$title")
    sleep 1
    read -r x y <<EOF2
$(centre "$dialog")
EOF2
    # Within a title bar's height: the manager's frame is not the window.
    if [ $((x - main_x)) -gt 30 ] || [ $((main_x - x)) -gt 30 ] ||
       [ $((y - main_y)) -gt 30 ] || [ $((main_y - y)) -gt 30 ]; then
        echo "$title is centred at $x,$y, the main window at $main_x,$main_y" >&2
        failed=1
    fi
    if [ "$item" = o ]; then
        import -window root "$SHOTS/dialogs_under_wm.png"
    fi
    press "$dialog" Escape
    wait_for_no_window "$title"
done
quit_with_zero "$main" "$pid"
[ "$failed" -eq 0 ]
echo "under openbox, every dialog opened centred on the main window"
