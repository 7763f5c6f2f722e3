#!/bin/bash
# The Ansible collection in fleet/: ansible-galaxy builds it, and ansible-lint
# passes it with the production profile. Nothing of the user's home is used.
#   fleet_lint_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
source=$2
fail() { echo "FAIL: $*" >&2; exit 1; }
# shellcheck source=../support/required_tool.sh
. "$(dirname "$0")/../support/required_tool.sh"
require_tool ansible-galaxy ansible-core
require_tool ansible-lint ansible-lint

work=$(mktemp -d /tmp/tarnwick-fleet-lint.XXXXXX)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CACHE_HOME=$work/cache XDG_CONFIG_HOME=$work/config
export ANSIBLE_LOCAL_TEMP=$work/ansible-tmp ANSIBLE_COLLECTIONS_PATH=$work/collections
export ANSIBLE_ROLES_PATH=$work/roles ANSIBLE_CONFIG=$work/ansible.cfg
mkdir -p "$HOME"
printf '[defaults]\n' > "$ANSIBLE_CONFIG"

ansible-galaxy collection build "$source/fleet" --output-path "$work/dist" > "$work/build.log" 2>&1 ||
    { cat "$work/build.log"; fail "ansible-galaxy collection build failed"; }
tarball=$work/dist/tarnwick-fleet-1.5.0.tar.gz
[ -f "$tarball" ] || fail "no $tarball: $(ls "$work/dist")"
contents=$(tar -tzf "$tarball")
for path in MANIFEST.json README.md meta/runtime.yml playbooks/benchmark.yml \
            roles/benchmark/tasks/main.yml roles/benchmark/defaults/main.yml roles/benchmark/meta/main.yml; do
    grep -qx "$path" <<< "$contents" || fail "the collection lacks $path"
done
grep -q '"version": "1.5.0"' <(tar -xzOf "$tarball" MANIFEST.json) || fail "MANIFEST.json is not of version 1.5.0"

# A copy, so that ansible-lint's caches and the collection it installs for
# itself stay out of the source tree.
cp -a "$source/fleet" "$work/fleet"
cd "$work/fleet"
status=0
ansible-lint --profile production --nocolor > "$work/lint.log" 2>&1 || status=$?
if [ "$status" -ne 0 ]; then
    cat "$work/lint.log"
    fail "ansible-lint --profile production failed (exit $status)"
fi
grep -q "Passed with production profile" "$work/lint.log" || { cat "$work/lint.log"; fail "ansible-lint did not say it passed"; }
echo "fleet collection: built, and ansible-lint passed with the production profile"
