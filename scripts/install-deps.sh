#!/bin/sh
# Installs the Debian packages the build needs ("run"), the Debian package
# needs ("package"), the tests need ("test"), or the measurements need besides
# ("bench"). Packages already present are not touched, so a second call is
# quick.
set -eu

run_packages="g++ make cmake pkg-config libwxgtk3.2-dev nlohmann-json3-dev libssl-dev"
package_packages="$run_packages dpkg-dev file"
test_packages="$package_packages xvfb xauth xdotool imagemagick librsvg2-bin x11-utils openbox fonts-dejavu-core \
libgtest-dev clang libclang-rt-14-dev locales \
lintian desktop-file-utils man-db groff-base bsdextrautils appstream \
ansible-core ansible-lint openssh-server openssh-client gcovr iwyu \
chromium chromium-driver python3-selenium tidy"

bench_packages="$test_packages sysbench stress-ng valgrind"

case "${1:-run}" in
    run) wanted=$run_packages ;;
    test) wanted=$test_packages ;;
    bench) wanted=$bench_packages ;;
    package) wanted=$package_packages ;;
    *) echo "usage: $0 run|test|bench|package" >&2; exit 2 ;;
esac

missing=""
for package in $wanted; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $package"
    fi
done
# The tests read numbers under a comma-decimal locale.
need_locale=false
if [ "${1:-run}" = test -o "${1:-run}" = bench ] && ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
    need_locale=true
fi
[ -z "$missing" ] && [ "$need_locale" = false ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
    sudo=""
elif command -v sudo >/dev/null 2>&1; then
    sudo="sudo"
else
    echo "Missing packages:$missing (and/or the de_DE.UTF-8 locale)" >&2
    echo "Install them as root: apt-get install$missing" >&2
    exit 1
fi

if [ -n "$missing" ]; then
    echo "Installing:$missing"
    install() {
        $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing
    }
    # A fresh machine may have no package lists yet.
    install || { $sudo apt-get update && install; }
fi
if [ "$need_locale" = true ]; then
    echo "Generating the de_DE.UTF-8 locale"
    $sudo localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
