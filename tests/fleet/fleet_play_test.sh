#!/bin/bash
# The fleet playbook run for real over SSH. One sshd of the test's own listens
# on 127.0.0.1 to 127.0.0.4; the hosts behind it: two plain ones, one whose
# run is held to half a processor, one without the runner, one unreachable
# (a port nothing listens on), and hosts whose names a shell would take apart.
# Played once from the source tree and once from the collection as built and
# installed. Nothing leaves the loopback addresses.
#   fleet_play_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
python=/usr/bin/python3
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source-path=SCRIPTDIR source=loopback_sshd.sh
. "$here/loopback_sshd.sh"
fail() { echo "FAIL: $*" >&2; exit 1; }
skip() { echo "SKIP: $*"; exit 77; }

# shellcheck source-path=SCRIPTDIR source=../support/required_tool.sh
. "$here/../support/required_tool.sh"
require_tool ansible-playbook ansible-core
require_tool ansible-galaxy ansible-core

work=$(mktemp -d /tmp/tarnwick-fleet-play.XXXXXX)
user=$(id -un)
cgroup_name=tarnwick-fleet-test-$$
cleanup() {
    local status=$?
    loopback_sshd_down
    rmdir "/sys/fs/cgroup/cpu/$cgroup_name" 2> /dev/null || true
    rm -rf "$work"
    exit "$status"
}
trap cleanup EXIT
started=$SECONDS

# A copy of the runner with doc/ beside it, as users run it.
for _ in $(seq 60); do [ -x "$build/tarnwick-cli" ] && break; sleep 2; done
mkdir "$work/prog"
cp "$build/tarnwick-cli" "$work/prog/tarnwick-cli"
[ -d "$build/doc" ] && cp -r "$build/doc" "$work/prog/doc"
cli=$work/prog/tarnwick-cli
help=$("$cli" --help) || fail "$cli --help failed"
grep -q '^  fleet' <<< "$help" || fail "$build/tarnwick-cli has no fleet command"

# The test's own sshd on 127.0.0.1 to 127.0.0.4, with keys made for it.
loopback_sshd_up || skip "$loopback_sshd_why"
closed_port=$(free_port 127.0.0.4)
loopback_ansible

# The held host's runner, held to half a processor (held_runner.sh); what
# held it is written to $work/held-by.
cp "$here/held_runner.sh" "$work/held-cli"
printf "cli='%s'\nnote='%s'\nname='%s'\n" "$cli" "$work/held-by" "$cgroup_name" > "$work/held_runner.conf"

# Names a shell would take apart: this one must reach the runner whole and
# come back in its document; a ";" the runner refuses, a newline the play.
# shellcheck disable=SC2016 # kept as written
odd='odd <x> $(y) `z` & "q" '"'s'"' | w >v'$(printf '%0120d' 0)
"$python" - "$work/inventory.yml" "$user" "$port" "$closed_port" "$work" "$cli" "$odd" <<'EOF'
import json, sys
path, user, port, closed, work, cli, odd = sys.argv[1:]
hosts = {
    "alpha": {"ansible_host": "127.0.0.1"},
    "beta": {"ansible_host": "127.0.0.2"},
    "held": {"ansible_host": "127.0.0.3", "tarnwick_cli": work + "/held-cli"},
    "bare": {"ansible_host": "127.0.0.1", "tarnwick_cli": "/nonexistent/tarnwick-cli"},
    "gone": {"ansible_host": "127.0.0.4", "ansible_port": int(closed)},
    odd: {"ansible_host": "127.0.0.2"},
    "semi;colon": {"ansible_host": "127.0.0.1"},
    "new\nline": {"ansible_host": "127.0.0.1"},
}
inventory = {"all": {"hosts": hosts, "vars": {
    "ansible_user": user, "ansible_port": int(port), "ansible_async_dir": work + "/ansible/async",
    "ansible_python_interpreter": "/usr/bin/python3", "tarnwick_cli": cli}}}
with open(path, "w") as f:
    json.dump(inventory, f, indent=1)
EOF

show() { # LOG RUN: the end of the play's log and the summary
    echo "---- $1 (last 60 lines)"
    tail -60 "$1"
    [ -n "${2:-}" ] && [ -f "$2/summary.txt" ] && { echo "---- $2/summary.txt"; cat "$2/summary.txt"; }
    return 0
}
expect() { # FILE RUN LIMITED ODD-NAMES NOT-RUN RAN...: what check_fleet_run.py is to find
    "$python" - "$@" <<'EOF'
import json, sys
path, run, limited, odd_names, not_run = sys.argv[1:6]
reasons = {"bare": r"tarnwick-cli was not found on this host",
           "gone": r"^unreachable: .*(refused|Failed to connect)",
           "new\nline": r"^its inventory name cannot name a file"}
json.dump({"run": run, "ran": sys.argv[6:], "limited": limited or None, "either": ["semi;colon"] if odd_names else [],
           "could_not_run": {host: reasons[host] for host in not_run.split(",") if host}}, open(path, "w"))
EOF
}

# 1. From the source tree, one host at a time, 3-second tests.
cd "$work"
play_started=$SECONDS
status=0
ansible-playbook "$source/fleet/playbooks/benchmark.yml" -i "$work/inventory.yml" \
    -e tarnwick_serial=1 -e tarnwick_seconds=3 -e "tarnwick_controller_cli=$cli" > "$work/play1.log" 2>&1 || status=$?
echo "source-tree play: exit $status after $((SECONDS - play_started)) s"
runs=$(ls "$work/tarnwick-fleet")
if [ "$(echo "$runs" | wc -l)" -ne 1 ] || ! [[ $runs =~ ^[0-9]{8}T[0-9]{6}Z$ ]]; then
    show "$work/play1.log"
    fail "run folders: $runs"
fi
run=$work/tarnwick-fleet/$runs
[ "$(stat -c %a "$run")" = 700 ] || fail "the run folder has mode $(stat -c %a "$run")"
held_by=$(cat "$work/held-by" 2> /dev/null || echo "nothing: the wrapper did not run")
echo "held host: $held_by"
limited=held
case $held_by in
    nothing*) limited=""; echo "not checking that held is flagged limited: $held_by" ;;
esac
[ ! -e "/sys/fs/cgroup/cpu/$cgroup_name" ] || fail "the held host's control group was left behind"
expect "$work/expect1.json" "$run" "$limited" yes "bare,gone,new
line" alpha beta held "$odd"
"$python" "$here/check_fleet_run.py" "$work/expect1.json" || { show "$work/play1.log" "$run"; fail "the source-tree play"; }
[ "$status" -ne 0 ] || { show "$work/play1.log" "$run"; fail "the play exited 0 with hosts flagged or not run"; }
grep -q 'could not run' "$work/play1.log" || { show "$work/play1.log"; fail "the play did not say why it failed"; }
# The summary is printed, and no private folder of a run is left on a host.
grep -qF "Written to $run" "$work/play1.log" || { show "$work/play1.log"; fail "the summary was not printed"; }
leftover=$(find /tmp -maxdepth 1 -name 'tarnwick-fleet.*' -newer "$work/inventory.yml" 2> /dev/null || true)
[ -z "$leftover" ] || fail "private run folders left: $leftover"
sed -n '/^PLAY RECAP/,$p' "$work/play1.log"
cat "$run/summary.txt"

# 2. From the collection, built and installed: the controller itself (local
# connection) and the host without the runner; failures accepted.
ansible-galaxy collection build "$source/fleet" --output-path "$work/dist" > "$work/galaxy.log" 2>&1 ||
    { cat "$work/galaxy.log"; fail "ansible-galaxy collection build failed"; }
ansible-galaxy collection install -p "$work/collections" "$work/dist/tarnwick-fleet-1.5.0.tar.gz" >> "$work/galaxy.log" 2>&1 ||
    { cat "$work/galaxy.log"; fail "ansible-galaxy collection install failed"; }
"$python" - "$work/inventory2.yml" "$work/inventory.yml" "$cli" <<'EOF'
import json, sys
path, first, cli = sys.argv[1:]
inventory = json.load(open(first))
inventory["all"]["hosts"] = {
    "localhost": {"ansible_connection": "local", "tarnwick_cli": cli},
    "bare": inventory["all"]["hosts"]["bare"],
}
json.dump(inventory, open(path, "w"), indent=1)
EOF
play_started=$SECONDS
status=0
ansible-playbook tarnwick.fleet.benchmark -i "$work/inventory2.yml" -e tarnwick_seconds=3 \
    -e "tarnwick_controller_cli=$cli" -e "tarnwick_fleet_dir=$work/fleet2" -e tarnwick_run=installed \
    -e tarnwick_fail_on_flag=false > "$work/play2.log" 2>&1 || status=$?
echo "installed play: exit $status after $((SECONDS - play_started)) s"
run2=$work/fleet2/installed
grep -q '^TASK \[tarnwick\.fleet\.benchmark : ' "$work/play2.log" || { show "$work/play2.log"; fail "the play did not run the installed role"; }
expect "$work/expect2.json" "$run2" "" "" bare localhost
"$python" "$here/check_fleet_run.py" "$work/expect2.json" || { show "$work/play2.log" "$run2"; fail "the installed play"; }
[ "$status" -eq 0 ] || { show "$work/play2.log" "$run2"; fail "the play failed (exit $status) with tarnwick_fail_on_flag=false"; }
sed -n '/^PLAY RECAP/,$p' "$work/play2.log"

echo "fleet played from the source tree and from the installed collection in $((SECONDS - started)) s"
