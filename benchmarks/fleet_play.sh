#!/bin/bash
# The fleet play's own cost per host beyond the measurement: the playbook
# played over SSH to 4 hosts of an sshd of its own on 127.0.0.1 to 127.0.0.4,
# one host at a time, 3-second tests. Each host's runner is a wrapper that
# logs the start and end of its record run, so that
#   (play wall time - the record runs' wall time) / hosts
# is what the play adds per host. Median of 2 plays. Target: at most 10 s per
# host. Fails (exit 1) when a play fails or the target is missed; skips (exit
# 0) without ansible-playbook or sshd.
#   fleet_play.sh [BUILD_DIR] [SOURCE_DIR]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:-${BUILD_DIR:-$here/../build}}" && pwd)
source=$(cd "${2:-${SOURCE_DIR:-$here/..}}" && pwd)
python=/usr/bin/python3
cli=$build/tarnwick-cli
hosts=4
plays=2
seconds=3
target=10
play_limit=240
# shellcheck source-path=SCRIPTDIR source=../tests/fleet/loopback_sshd.sh
. "$source/tests/fleet/loopback_sshd.sh"
fail() { echo "a run failed: $*"; exit 1; }
skip() { echo "skipped: $*"; exit 0; }

command -v ansible-playbook > /dev/null || skip "ansible-playbook is not installed (scripts/install-deps.sh test)"
[ -x "$(command -v sshd || echo /usr/sbin/sshd)" ] || skip "sshd is not installed (openssh-server)"
[ -x "$cli" ] || fail "no runner at $cli: build it first"
info=$("$cli" info) || fail "$cli info failed"

work=$(mktemp -d /tmp/tarnwick-bench-fleet.XXXXXX)
user=$(id -un)
cleanup() {
    local status=$?
    loopback_sshd_down
    rm -rf "$work"
    exit "$status"
}
trap cleanup EXIT
loopback_sshd_up || skip "$loopback_sshd_why"
loopback_ansible

# The hosts' runner: the real one, each record run's start, end, exit status
# and host logged (one line each) to timed-cli.log beside it.
printf "cli='%s'\nlog='%s'\n" "$cli" "$work/timed-cli.log" > "$work/timed-cli.conf"
cat > "$work/timed-cli" <<'EOF'
#!/bin/sh
. "$(dirname "$0")/timed-cli.conf"
[ "${1:-}" = record ] || exec "$cli" "$@"
host=""
previous=""
for argument in "$@"; do
    [ "$previous" = --host ] && host=$argument
    previous=$argument
done
start=$(date +%s.%N)
status=0
"$cli" "$@" || status=$?
end=$(date +%s.%N)
echo "$start $end $status $host" >> "$log"
exit "$status"
EOF
chmod 755 "$work/timed-cli"

"$python" - "$work/inventory.yml" "$user" "$port" "$work" "$hosts" <<'EOF'
import json, sys
path, user, port, work, count = sys.argv[1:]
hosts = {"host%d" % k: {"ansible_host": "127.0.0.%d" % k} for k in range(1, int(count) + 1)}
inventory = {"all": {"hosts": hosts, "vars": {
    "ansible_user": user, "ansible_port": int(port), "ansible_async_dir": work + "/ansible/async",
    "ansible_python_interpreter": "/usr/bin/python3", "tarnwick_cli": work + "/timed-cli"}}}
with open(path, "w") as f:
    json.dump(inventory, f, indent=1)
EOF

cd "$work"
for play in $(seq "$plays"); do
    : > "$work/timed-cli.log"
    begin=$(date +%s.%N)
    status=0
    timeout -k 10 "$play_limit" ansible-playbook "$source/fleet/playbooks/benchmark.yml" -i "$work/inventory.yml" \
        -e tarnwick_serial=1 -e "tarnwick_seconds=$seconds" -e tarnwick_fail_on_flag=false \
        -e "tarnwick_controller_cli=$cli" -e "tarnwick_fleet_dir=$work/fleet" -e "tarnwick_run=play$play" \
        > "$work/play$play.log" 2>&1 || status=$?
    end=$(date +%s.%N)
    if [ "$status" -ne 0 ]; then
        tail -40 "$work/play$play.log"
        [ "$status" -eq 124 ] && fail "play $play did not end within $play_limit s"
        fail "play $play failed: ansible-playbook exited with status $status"
    fi
    # Every host measured once, its document fetched, and nothing could not run.
    for k in $(seq "$hosts"); do
        [ -s "$work/fleet/play$play/host$k.json" ] || { tail -40 "$work/play$play.log"; fail "play $play fetched no document of host$k"; }
    done
    if grep -q 'Could not run' "$work/fleet/play$play/summary.txt" 2> /dev/null ||
       [ ! -f "$work/fleet/play$play/summary.txt" ]; then
        tail -40 "$work/play$play.log"
        fail "play $play: a host could not run, or no summary was written"
    fi
    # Its wall time and the record runs' (checked to lie within the play).
    "$python" - "$work/timed-cli.log" "$begin" "$end" "$hosts" > "$work/play$play.times" <<'EOF' ||
import sys
log, begin, end, hosts = sys.argv[1], float(sys.argv[2]), float(sys.argv[3]), int(sys.argv[4])
runs = [line.split(" ", 3) for line in open(log).read().splitlines()]
names = sorted(run[3] for run in runs)
if names != ["host%d" % k for k in range(1, hosts + 1)]:
    sys.exit("record ran for %s, not once for each of the %d hosts" % (names, hosts))
for start, stop, status, name in runs:
    if status != "0":
        sys.exit("record exited with status %s on %s" % (status, name))
    if not begin <= float(start) <= float(stop) <= end:
        sys.exit("the record run of %s does not lie within the play" % name)
print("%.3f %.3f" % (end - begin, sum(float(stop) - float(start) for start, stop, _, _ in runs)))
EOF
        fail "play $play: its record runs are not as they should be (above)"
done

# Median of the plays by overhead; its play and record times with it.
"$python" - "$hosts" "$plays" "$seconds" "$target" "$info" "$work"/play*.times <<'EOF'
import statistics, sys
hosts, plays, seconds, target, info = int(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3]), float(sys.argv[4]), sys.argv[5]
times = [tuple(map(float, open(path).read().split())) for path in sys.argv[6:]]
overheads = [(play - record) / hosts for play, record in times]
overhead = statistics.median(overheads)
play = statistics.median(play for play, _ in times)
record = statistics.median(record for _, record in times)
fields = dict(line.split(":", 1) for line in info.splitlines() if ":" in line)
processor = "%s (%s, %s)" % tuple(fields.get(k, "?").strip() for k in ("Processor", "Vendor", "Signature"))
print("the fleet play over SSH to %d loopback hosts, one at a time, %d-second tests (median of %d plays):"
      % (hosts, seconds, plays))
print("processor:         %s" % processor)
print("hosts:             %8d" % hosts)
print("play wall time:    %8.1f s   (plays: %s)" % (play, " ".join("%.1f" % p for p, _ in times)))
print("record runs:       %8.1f s   (%.1f s a host)" % (record, record / hosts))
print("overhead / host:   %8.1f s   (plays: %s)" % (overhead, " ".join("%.1f" % o for o in overheads)))
print("time / target:     %8.2f     (target <= 1.00: %.0f s a host)" % (overhead / target, target))
if overhead > target:
    print("missed the target: overhead per host is %.1f s (target <= %.0f s)" % (overhead, target))
    sys.exit(1)
EOF
