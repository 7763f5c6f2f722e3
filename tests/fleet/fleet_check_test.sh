#!/bin/bash
# The fleet playbook on the controller itself (local connection), where
# nothing may be measured: --check measures nothing and says so, and a fleet
# or run folder that is a symbolic link, another user's or open to others,
# or a bad setting, is refused before any host runs. The runner is reached
# through a wrapper that logs every call, so "nothing measured" is seen.
#   fleet_check_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
fail() { echo "FAIL: $*" >&2; exit 1; }
# shellcheck source=../support/required_tool.sh
. "$(dirname "$0")/../support/required_tool.sh"
require_tool ansible-playbook ansible-core

work=$(mktemp -d /tmp/tarnwick-fleet-check.XXXXXX)
trap 'rm -rf "$work"' EXIT
for _ in $(seq 60); do [ -x "$build/tarnwick-cli" ] && break; sleep 2; done
mkdir "$work/prog" "$work/home"
cp "$build/tarnwick-cli" "$work/prog/tarnwick-cli"
[ -d "$build/doc" ] && cp -r "$build/doc" "$work/prog/doc"
cat > "$work/logged-cli" <<EOF
#!/bin/sh
printf '%s\n' "\$*" >> '$work/calls.log'
exec '$work/prog/tarnwick-cli' "\$@"
EOF
chmod 755 "$work/logged-cli"
touch "$work/calls.log"

printf '[defaults]\nretry_files_enabled = False\ninterpreter_python = /usr/bin/python3\n' > "$work/ansible.cfg"
export HOME=$work/home ANSIBLE_CONFIG=$work/ansible.cfg ANSIBLE_LOCAL_TEMP=$work/ansible/local
export ANSIBLE_REMOTE_TEMP=$work/ansible/remote ANSIBLE_ASYNC_DIR=$work/ansible/async ANSIBLE_NOCOLOR=1
cat > "$work/inventory.ini" <<EOF
localhost ansible_connection=local tarnwick_cli=$work/logged-cli
bare ansible_connection=local tarnwick_cli=/nonexistent/tarnwick-cli
EOF
play() { # LOG ARGUMENT...: the playbook from the source tree; its exit status
    local log=$1
    shift
    local status=0
    ansible-playbook "$source/fleet/playbooks/benchmark.yml" -i "$work/inventory.ini" \
        -e "tarnwick_controller_cli=$work/logged-cli" -e tarnwick_seconds=3 "$@" > "$log" 2>&1 || status=$?
    return "$status"
}
show() { echo "---- $1"; tail -40 "$1"; }
measured() { grep -E '^(record|fleet)( |$)' "$work/calls.log" || true; }

# --check: the hosts are looked at, nothing is measured, nothing is written.
cd "$work"
status=0
play "$work/check.log" --check || status=$?
[ "$status" -eq 0 ] || { show "$work/check.log"; fail "--check failed (exit $status)"; }
grep -q 'Check mode: nothing measured on this host' "$work/check.log" || { show "$work/check.log"; fail "no host said it measured nothing"; }
grep -q 'Check mode: nothing was measured on the 2 host(s)' "$work/check.log" || { show "$work/check.log"; fail "the summary did not say nothing was measured"; }
grep -q 'bare: tarnwick-cli was not found on this host' "$work/check.log" || { show "$work/check.log"; fail "--check did not name the host without the runner"; }
[ -z "$(measured)" ] || fail "--check ran the runner: $(measured)"
grep -qx -- '--version' "$work/calls.log" || fail "--check did not look for the runner on the host"
[ ! -e "$work/tarnwick-fleet" ] || fail "--check made $(find "$work/tarnwick-fleet")"
[ -z "$(find "$work" -name '*.json' -not -path "$work/ansible/*")" ] || fail "--check left documents: $(find "$work" -name '*.json')"
echo "--check: nothing measured, nothing written"

# Folders the run must not write into, each refused before any host runs.
refused() { # WHAT PATTERN ARGUMENT...: the play is refused with a message matching PATTERN
    local what=$1 pattern=$2
    shift 2
    local status=0
    play "$work/refused.log" "$@" || status=$?
    [ "$status" -ne 0 ] || { show "$work/refused.log"; fail "$what: the play was not refused"; }
    grep -qE "$pattern" "$work/refused.log" || { show "$work/refused.log"; fail "$what: no message matching $pattern"; }
    ! grep -q 'PLAY \[Benchmark the hosts\]' "$work/refused.log" || { show "$work/refused.log"; fail "$what: hosts ran"; }
    [ -z "$(measured)" ] || fail "$what: the runner was run: $(measured)"
    echo "refused: $what"
}
mkdir "$work/elsewhere"
ln -s "$work/elsewhere" "$work/planted"
refused "a fleet folder that is a symbolic link" "refusing $work/planted: it is a symbolic link" \
    -e "tarnwick_fleet_dir=$work/planted"
[ -z "$(ls -A "$work/elsewhere")" ] || fail "something was written through the planted link: $(ls -A "$work/elsewhere")"
mkdir -m 700 "$work/fleet"
ln -s "$work/elsewhere" "$work/fleet/planted-run"
refused "a run folder that is a symbolic link" "refusing $work/fleet/planted-run: it is a symbolic link" \
    -e "tarnwick_fleet_dir=$work/fleet" -e tarnwick_run=planted-run
mkdir -m 777 "$work/open"
refused "a fleet folder others may write to" "refusing $work/open: it may be written by other users" \
    -e "tarnwick_fleet_dir=$work/open"
touch "$work/file"
refused "a fleet folder that is a file" "refusing $work/file: it is not a folder" -e "tarnwick_fleet_dir=$work/file"
if [ "$(id -u)" -eq 0 ]; then
    mkdir -m 755 "$work/theirs"
    chown 65534 "$work/theirs"
    refused "another user's fleet folder" "refusing $work/theirs: it belongs to another user \(uid 65534\)" \
        -e "tarnwick_fleet_dir=$work/theirs"
else
    echo "not checking another user's folder: only root can make one"
fi
refused "a run name that is a path" "tarnwick_run a plain name" -e "tarnwick_fleet_dir=$work/fleet" -e tarnwick_run=../x
refused "a repeat count out of range" "tarnwick_repeat must be a number from 1 to 100, auto or null" \
    -e tarnwick_repeat=0
refused "a controller without the runner" "/nonexistent/tarnwick-cli on the controller was not found" \
    -e tarnwick_controller_cli=/nonexistent/tarnwick-cli

# A host name with a template in it would be run by Ansible itself.
cat > "$work/templated.yml" <<'EOF'
all:
  hosts:
    "evil{{ lookup('pipe', 'touch ./templated-ran') }}":
      ansible_connection: local
EOF
status=0
ansible-playbook "$source/fleet/playbooks/benchmark.yml" -i "$work/templated.yml" \
    -e "tarnwick_controller_cli=$work/logged-cli" > "$work/templated.log" 2>&1 || status=$?
[ "$status" -ne 0 ] || { show "$work/templated.log"; fail "an inventory with a templated host name was not refused"; }
grep -q 'refusing the inventory: the name of' "$work/templated.log" || { show "$work/templated.log"; fail "no message for a templated host name"; }
[ ! -e "$work/templated-ran" ] || fail "the template in a host's name was run"
echo "refused: a host name holding a template"
echo "check mode and refusals: as expected"
