#!/bin/sh
# Each file of the named folders includes what it uses and no more, as
# include-what-you-use (Debian's iwyu) finds it with the build's compile
# commands and tests/iwyu.imp.
#   iwyu_test.sh BUILD_DIR SOURCE_DIR FOLDER...
set -eu
build=$1
source=$2
shift 2
# shellcheck source=support/required_tool.sh
. "$source/tests/support/required_tool.sh"
require_tool iwyu_tool iwyu
files=""
for folder in "$@"; do
    files="$files $(ls "$source/$folder"/*.cpp)"
done
# shellcheck disable=SC2086
output=$(cd "$source" && iwyu_tool -p "$build" $files -- -Xiwyu --mapping_file="$source/tests/iwyu.imp" \
    -Xiwyu --no_fwd_decls 2>&1) || true
if echo "$output" | grep -q -E 'should (add|remove) these lines|error:'; then
    echo "$output" | grep -v -E 'has correct #includes' >&2
    exit 1
fi
echo "$output" | grep -c 'has correct #includes' | sed 's/^/files with correct includes: /'
