# Sourced by the shell tests. require_tool TOOL PACKAGE: the test packages
# install TOOL (from Debian's PACKAGE). Without it a test is skipped (exit 77,
# CTest's SKIP_RETURN_CODE); under CI=true, where the packages are always
# installed, it fails, naming the tool.
require_tool() {
    command -v "$1" > /dev/null 2>&1 && return 0
    if [ "${CI:-}" = true ]; then
        echo "FAIL: $1 ($2) is not installed, and CI=true requires it" >&2
        exit 1
    fi
    echo "SKIP: $1 is not installed (scripts/install-deps.sh test installs $2)"
    exit 77
}
