#!/bin/sh
# Builds the Debian package, looks inside it and lets lintian check it.
#   package_test.sh BUILD_DIR
set -eu
build=$1
cd "$build"
cpack > cpack.log 2>&1 || { cat cpack.log; exit 1; }
deb=$(ls tarnwick_*_amd64.deb)
version=$(cat VERSION)
[ "$deb" = "tarnwick_${version}_amd64.deb" ]
info=$(dpkg-deb --info "$deb")
contents=$(dpkg-deb --contents "$deb")
echo "$info" | grep -q '^ Package: tarnwick$'
echo "$info" | grep -qx " Version: $version"
echo "$info" | grep -q '^ Depends: .*libwxgtk3.2-1'
echo "$info" | grep -q '^ Depends: .*libwxbase3.2-1'
for path in ./usr/bin/tarnwick ./usr/bin/tarnwick-cli ./usr/lib/tarnwick/tarnwick ./usr/lib/tarnwick/tarnwick-cli \
            ./usr/lib/tarnwick/doc/manual_tarnwick.txt ./usr/lib/tarnwick/doc/cpu_results_original.csv \
            ./usr/share/applications/org.example.tarnwick.desktop ./usr/share/metainfo/org.example.tarnwick.metainfo.xml \
            ./usr/share/man/man1/tarnwick.1.gz ./usr/share/man/man1/tarnwick-cli.1.gz \
            ./usr/share/bash-completion/completions/tarnwick-cli ./usr/share/icons/hicolor/48x48/apps/tarnwick.png \
            ./usr/share/icons/hicolor/128x128/apps/tarnwick.png ./usr/share/doc/tarnwick/copyright \
            ./usr/share/tarnwick/fleet/galaxy.yml ./usr/share/tarnwick/fleet/playbooks/benchmark.yml \
            ./usr/share/tarnwick/fleet/roles/benchmark/tasks/main.yml; do
    echo "$contents" | grep -q " $path\$" || { echo "missing $path" >&2; exit 1; }
done
command -v lintian > /dev/null || { echo "lintian is not installed" >&2; exit 1; }
status=0
lintian --allow-root --fail-on error,warning "$deb" > lintian.log 2>&1 || status=$?
cat lintian.log
if [ "$status" -ne 0 ] || grep -qE '^[EW]:' lintian.log; then
    echo "lintian reported errors or warnings, or failed (exit $status)" >&2
    exit 1
fi
echo "$deb: contents as expected, nothing from lintian"
