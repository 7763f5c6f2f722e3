# shellcheck shell=bash
# shellcheck disable=SC2154,SC2034 # work, user and python are the caller's; the rest the caller reads
# An sshd of the caller's own on 127.0.0.1 to 127.0.0.4, with keys made for
# the run, and Ansible set up to reach it; for the fleet test and benchmark.
# The caller sets work (a private folder), user and python, then:
#   loopback_sshd_up || skip "$loopback_sshd_why"   sets port, sshd_pid, ssh_options
#   loopback_ansible                                 ansible.cfg and environment in $work
#   loopback_sshd_down                               from the caller's cleanup
# Nothing listens on or connects to an address outside 127.0.0.0/8.

sshd_pid=""
loopback_sshd_why=""
loopback_made_run_sshd=false

free_port() { # ADDRESS: a port free there now
    "$python" -c 'import socket, sys
s = socket.socket()
s.bind((sys.argv[1], 0))
print(s.getsockname()[1])
s.close()' "$1"
}

answers() { # PORT ADDRESS...: every address takes a connection
    "$python" -c 'import socket, sys
for address in sys.argv[2:]:
    socket.create_connection((address, int(sys.argv[1])), timeout=1).close()' "$@" 2> /dev/null
}

loopback_sshd_start() { # one try at a free port
    port=$(free_port 127.0.0.1)
    cat > "$work/ssh/sshd_config" <<CONFIG
Port $port
ListenAddress 127.0.0.1
ListenAddress 127.0.0.2
ListenAddress 127.0.0.3
ListenAddress 127.0.0.4
HostKey $work/ssh/host_ed25519
PidFile $work/ssh/sshd.pid
AuthorizedKeysFile $work/ssh/authorized_keys
AllowUsers $user
PubkeyAuthentication yes
PasswordAuthentication no
KbdInteractiveAuthentication no
UsePAM no
StrictModes no
PermitRootLogin prohibit-password
Subsystem sftp internal-sftp
MaxSessions 100
MaxStartups 100
LogLevel ERROR
CONFIG
    if ! "$sshd" -t -f "$work/ssh/sshd_config" >> "$work/ssh/sshd.log" 2>&1; then
        loopback_sshd_why="sshd refuses the configuration: $(cat "$work/ssh/sshd.log")"
        return 2
    fi
    "$sshd" -D -e -f "$work/ssh/sshd_config" >> "$work/ssh/sshd.log" 2>&1 &
    sshd_pid=$!
    for _ in $(seq 50); do
        kill -0 "$sshd_pid" 2> /dev/null || break
        answers "$port" 127.0.0.1 127.0.0.2 127.0.0.3 127.0.0.4 && return 0
        sleep 0.2
    done
    kill "$sshd_pid" 2> /dev/null || true
    wait "$sshd_pid" 2> /dev/null || true
    sshd_pid=""
    return 1
}

loopback_sshd_up() { # keys, sshd and a first login; else 1 and loopback_sshd_why
    sshd=$(command -v sshd || echo /usr/sbin/sshd)
    if [ ! -x "$sshd" ]; then
        loopback_sshd_why="sshd is not installed (openssh-server)"
        return 1
    fi
    local tool
    for tool in ssh ssh-keygen "$python"; do
        command -v "$tool" > /dev/null || { loopback_sshd_why="$tool is not installed"; return 1; }
    done
    mkdir -m 700 "$work/ssh" "$work/cp"
    ssh-keygen -q -t ed25519 -N '' -C tarnwick-loopback-host -f "$work/ssh/host_ed25519"
    ssh-keygen -q -t ed25519 -N '' -C tarnwick-loopback-client -f "$work/ssh/client"
    cp "$work/ssh/client.pub" "$work/ssh/authorized_keys"
    if [ "$(id -u)" -eq 0 ] && [ ! -d /run/sshd ]; then
        mkdir -m 755 /run/sshd
        loopback_made_run_sshd=true
    fi
    # Another program may take the port between its choice and sshd's bind.
    local started=false status
    for _ in 1 2 3; do
        status=0
        loopback_sshd_start || status=$?
        [ "$status" -eq 0 ] && { started=true; break; }
        [ "$status" -eq 2 ] && return 1
    done
    if ! $started; then
        loopback_sshd_why="sshd did not start: $(tail -5 "$work/ssh/sshd.log")"
        return 1
    fi
    ssh_options="-F /dev/null -o BatchMode=yes -o StrictHostKeyChecking=no -o UserKnownHostsFile=$work/ssh/known_hosts"
    ssh_options="$ssh_options -o GlobalKnownHostsFile=/dev/null -o IdentityFile=$work/ssh/client -o IdentitiesOnly=yes"
    ssh_options="$ssh_options -o ConnectTimeout=10 -o LogLevel=ERROR"
    # shellcheck disable=SC2086 # the options are words
    if ! ssh $ssh_options -o ControlMaster=no -p "$port" "$user@127.0.0.1" true 2> "$work/ssh/login.log"; then
        loopback_sshd_why="cannot log in to the loopback sshd as $user: $(cat "$work/ssh/login.log") $(tail -3 "$work/ssh/sshd.log")"
        return 1
    fi
}

loopback_ansible() { # Ansible configured by environment only, every folder it writes in $work
    mkdir -p "$work/home"
    cat > "$work/ansible.cfg" <<CONFIG
[defaults]
host_key_checking = False
interpreter_python = /usr/bin/python3
retry_files_enabled = False
# The controller is the measured machine here: its waiting must not busy it.
internal_poll_interval = 0.05
forks = 5
timeout = 20

[ssh_connection]
ssh_args = $ssh_options -o ControlMaster=auto -o ControlPersist=300s
control_path_dir = $work/cp
control_path = %(directory)s/%%C
pipelining = True
CONFIG
    export HOME=$work/home XDG_CACHE_HOME=$work/home/cache XDG_CONFIG_HOME=$work/home/config
    export ANSIBLE_CONFIG=$work/ansible.cfg ANSIBLE_LOCAL_TEMP=$work/ansible/local ANSIBLE_REMOTE_TEMP=$work/ansible/remote
    export ANSIBLE_ASYNC_DIR=$work/ansible/async ANSIBLE_COLLECTIONS_PATH=$work/collections ANSIBLE_ROLES_PATH=$work/roles
    export ANSIBLE_NOCOLOR=1
}

loopback_sshd_down() { # Ansible's SSH masters first, then the sshd
    local socket
    for socket in "$work"/cp/*; do
        if [ -S "$socket" ]; then
            ssh -o ControlPath="$socket" -O exit tarnwick-loopback > /dev/null 2>&1 || true
        fi
    done
    if [ -n "$sshd_pid" ]; then
        kill "$sshd_pid" 2> /dev/null || true
        wait "$sshd_pid" 2> /dev/null || true
        sshd_pid=""
    fi
    if $loopback_made_run_sshd; then rmdir /run/sshd 2> /dev/null || true; fi
    return 0
}
