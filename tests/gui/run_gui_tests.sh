#!/bin/sh
# Runs a GUI test binary under Xvfb from a temporary directory that holds a
# copy of the binary and of the documents, as an installed program would.
# With TARNWICK_DISPLAY_STATE (display_fixture.sh's STATE) it runs on that
# server; otherwise on one of its own.
set -eu
binary=$1
docs=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$binary" "$work/"
cp -r "$docs" "$work/doc"

# The tests look at pixels: nothing of the desktop the suite is started from
# may reach the window. No scaling, no theme or settings of the user's, and
# the fonts only of DejaVu (a test dependency) with fixed rendering, where
# the machine has them.
unset GDK_SCALE GDK_DPI_SCALE GTK_THEME GTK2_RC_FILES GTK_RC_FILES
mkdir -p "$work/home/.config" "$work/home/.cache"
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_CACHE_HOME="$work/home/.cache"
dejavu=$(fc-match -f '%{file}' 'DejaVu Sans' 2>/dev/null || true)
case $dejavu in
*/DejaVuSans.ttf)
    cat >"$work/fonts.conf" <<CONF
<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">
<fontconfig>
  <dir>$(dirname "$dejavu")</dir>
  <cachedir>$work/home/.cache/fontconfig</cachedir>
  <alias binding="same"><family>sans-serif</family><prefer><family>DejaVu Sans</family></prefer></alias>
  <alias binding="same"><family>Sans</family><prefer><family>DejaVu Sans</family></prefer></alias>
  <alias binding="same"><family>serif</family><prefer><family>DejaVu Serif</family></prefer></alias>
  <alias binding="same"><family>monospace</family><prefer><family>DejaVu Sans Mono</family></prefer></alias>
  <match target="pattern"><edit name="family" mode="append_last"><string>DejaVu Sans</string></edit></match>
  <match target="font">
    <edit name="antialias" mode="assign"><bool>true</bool></edit>
    <edit name="hinting" mode="assign"><bool>true</bool></edit>
    <edit name="hintstyle" mode="assign"><const>hintslight</const></edit>
    <edit name="rgba" mode="assign"><const>none</const></edit>
  </match>
</fontconfig>
CONF
    export FONTCONFIG_FILE="$work/fonts.conf"
    ;;
esac

cd "$work"
export NO_AT_BRIDGE=1 GDK_BACKEND=x11
if [ -n "${TARNWICK_DISPLAY_STATE:-}" ]; then
    DISPLAY=":$(cat "$TARNWICK_DISPLAY_STATE.display")" "./$(basename "$binary")" "$@"
else
    xvfb-run -a -s "-screen 0 1280x1024x24" "./$(basename "$binary")" "$@"
fi
