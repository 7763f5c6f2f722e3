#!/bin/sh
# tarnwick-cli held to half a processor, for the fleet test's held host: its
# record runs in a control group of its own with half a processor's time
# where one can be made (cgroup v1 cpu quota, or v2 cpu.max), else bound to
# processor 0. The group is removed afterwards. Reads cli, note (where to
# write what it did) and name (the group's) from held_runner.conf beside it.
set -u
# shellcheck source=/dev/null # written by fleet_play_test.sh
. "$(dirname "$0")/held_runner.conf"
: "${cli:?}" "${note:?}" "${name:?}"
[ "${1:-}" = record ] || exec "$cli" "$@"

# The runner moves itself into GROUP, then starts.
run_in() {
    group=$1
    shift
    status=0
    sh -c 'echo $$ > "$1/cgroup.procs" && shift && exec "$@"' sh "$group" "$cli" "$@" || status=$?
    rmdir "$group"
    exit "$status"
}

v1=/sys/fs/cgroup/cpu
if [ -f "$v1/cpu.cfs_quota_us" ] && mkdir "$v1/$name" 2> /dev/null; then
    if echo 100000 > "$v1/$name/cpu.cfs_period_us" && echo 50000 > "$v1/$name/cpu.cfs_quota_us"; then
        echo "cgroup v1: cpu.cfs_quota_us 50000 of 100000" > "$note"
        run_in "$v1/$name" "$@"
    fi
    rmdir "$v1/$name"
fi
# v2: a child of this process's group, where the cpu controller is on.
v2=/sys/fs/cgroup$(sed -n 's/^0:://p' /proc/self/cgroup)
if [ -f /sys/fs/cgroup/cgroup.controllers ] && grep -qw cpu "$v2/cgroup.subtree_control" 2> /dev/null &&
   mkdir "$v2/$name" 2> /dev/null; then
    if echo "50000 100000" > "$v2/$name/cpu.max"; then
        echo "cgroup v2: cpu.max 50000 100000" > "$note"
        run_in "$v2/$name" "$@"
    fi
    rmdir "$v2/$name"
fi
if [ "$(nproc --all)" -gt 1 ]; then
    echo "taskset -c 0 of $(nproc --all) processors" > "$note"
    exec taskset -c 0 "$cli" "$@"
fi
echo "nothing: one processor, which no affinity mask can narrow" > "$note"
exec "$cli" "$@"
