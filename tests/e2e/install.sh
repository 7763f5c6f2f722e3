# Installed into a temporary prefix, the launcher gives a fresh user a
# private program directory, the window appears, and a second start keeps
# the user's edited results; a changed installation refreshes the programs
# and documents but still keeps them.
set -eu
. "$(dirname "$0")/e2e_lib.sh"

prefix="$WORKDIR/../prefix"
cmake --install "$BUILD_DIR" --prefix "$prefix" > /dev/null
desktop-file-validate "$prefix/share/applications/org.example.tarnwick.desktop"
export HOME="$WORKDIR/../home"
mkdir -p "$HOME"
private="$HOME/.local/share/tarnwick"

"$prefix/bin/tarnwick" &
pid=$!
main=$(wait_for_window '^Tarnwick Benchmark$')
answer_first_start
import -window root "$SHOTS/installed.png"
press "$main" alt+x
wait_for_exit "$pid"
for file in tarnwick tarnwick-cli doc/manual_tarnwick.txt cpu_results.csv tarnwick.conf .installed LICENSE; do
    test -e "$private/$file" || { echo "missing $private/$file" >&2; exit 1; }
done
# The licence the About box points to, beside the program.
grep -q 'Permission is hereby granted' "$private/LICENSE"

echo 'Mine;Edited;1;1;1;1;1;Linux;1;1;1;yes' >> "$private/cpu_results.csv"
edited=$(cat "$private/cpu_results.csv")
"$prefix/bin/tarnwick" &
pid=$!
main=$(wait_for_window '^Tarnwick Benchmark$')
sleep 1
if xdotool search --onlyvisible --name '^Tarnwick - results file$' > /dev/null 2>&1; then
    echo "the results file was made anew" >&2
    exit 1
fi
press "$main" alt+x
wait_for_exit "$pid"
[ "$(cat "$private/cpu_results.csv")" = "$edited" ]

# A new installation: the launcher refreshes the copy, the results stay.
echo "9.9.9.9" > "$prefix/lib/tarnwick/VERSION"
echo "changed manual" > "$prefix/lib/tarnwick/doc/manual_tarnwick.txt"
"$prefix/bin/tarnwick-cli" --version > /dev/null
[ "$(cat "$private/doc/manual_tarnwick.txt")" = "changed manual" ]
[ "$(cat "$private/cpu_results.csv")" = "$edited" ]
"$prefix/bin/tarnwick-cli" results | grep -q 'Mine Edited @ 1 MHz'
echo "installed, started twice, refreshed; the edited results were kept"
