# Shared steps of the peer launchers, sourced by tests/peers/<kind>.sh.
#
# A launcher runs its server in its own session (setsid), so the server's pid is also its process
# group, and stopping kills the whole group. DIR/pid holds "PID STARTTIME": a stale pid left by an
# earlier run is killed only when its start time still matches, never a process that reused it.

set -euo pipefail

peers_home="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
repo_root="$(cd "$peers_home/../.." && pwd)"

# Prints a message and the peer's own log, then fails the launcher.
peer_fail() {
  echo "peer $peer_kind: $1" >&2
  local log
  for log in "${peer_logs[@]}"; do
    if [ -s "$log" ]; then
      echo "----- $log (last 60 lines)" >&2
      tail -n 60 "$log" >&2
    fi
  done
  exit 1
}

# Makes DIR, fills peer_dir with its absolute path and stops what an earlier run left there.
peer_begin() {
  peer_kind="$1"
  peer_dir="$2"
  peer_logs=()
  mkdir -p "$peer_dir"
  peer_dir="$(cd "$peer_dir" && pwd)"
  peer_stop_recorded
  rm -f "$peer_dir/peer.env"
}

peer_start_time() {
  # Field 22 of /proc/PID/stat, counted after the command name that may hold spaces.
  local stat
  stat="$(cat "/proc/$1/stat" 2>/dev/null)" || return 1
  stat="${stat##*) }"
  echo "$stat" | awk '{ print $20 }'
}

# Alive and not a zombie waiting for init to reap it.
peer_alive() {
  local stat
  stat="$(cat "/proc/$1/stat" 2>/dev/null)" || return 1
  stat="${stat##*) }"
  [ "${stat:0:1}" != Z ]
}

# Kills the process group recorded in DIR/pid, TERM first, KILL after 5 seconds.
peer_stop_recorded() {
  local file="$peer_dir/pid" pid started now i
  [ -f "$file" ] || return 0
  read -r pid started <"$file" || true
  rm -f "$file"
  [ -n "${pid:-}" ] || return 0
  now="$(peer_start_time "$pid" || true)"
  [ -n "$now" ] && [ "$now" = "${started:-}" ] || return 0
  kill -TERM -- "-$pid" 2>/dev/null || kill -TERM "$pid" 2>/dev/null || true
  for i in $(seq 1 50); do
    peer_alive "$pid" || break
    sleep 0.1
  done
  kill -KILL -- "-$pid" 2>/dev/null || true
}

# Runs a command in the background in its own session with its output in LOG, records its pid.
# Its input is $peer_stdin when set (opened for reading and writing, so a FIFO never ends).
peer_spawn() {
  local log="$1"
  shift
  if [ -n "${peer_stdin:-}" ]; then
    setsid "$@" <>"$peer_stdin" >>"$log" 2>&1 &
  else
    setsid "$@" </dev/null >>"$log" 2>&1 &
  fi
  peer_pid=$!
  local started=""
  for _ in 1 2 3 4 5; do
    started="$(peer_start_time "$peer_pid" || true)"
    [ -n "$started" ] && break
    sleep 0.02
  done
  echo "$peer_pid $started" >"$peer_dir/pid"
}

# A port on 127.0.0.1 that nothing answers on now, below the kernel's ephemeral range.
peer_free_port() {
  local port
  for _ in $(seq 1 50); do
    port=$((20000 + RANDOM % 12000))
    if ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
      echo "$port"
      return 0
    fi
  done
  return 1
}

# Waits up to $peer_wait_seconds (10) seconds for a command to succeed while the server stays alive.
peer_wait() {
  local deadline=$((SECONDS + ${peer_wait_seconds:-10}))
  while [ $SECONDS -lt $deadline ]; do
    peer_alive "$peer_pid" || return 1
    if "$@" >/dev/null 2>&1; then
      return 0
    fi
    sleep 0.05
  done
  return 1
}

peer_answers_http() {
  curl -sk -o /dev/null --max-time 2 "$1"
}

# A SOCKS 5 server on 127.0.0.1:PORT answers a greeting that offers METHOD (00 none, 02 user and
# password) by choosing it.
peer_answers_socks5() {
  local port="$1" method="$2" got
  exec 3<>"/dev/tcp/127.0.0.1/$port" || return 1
  printf "\\x05\\x01\\x$method" >&3
  got="$(timeout 2 head -c 2 <&3 | od -An -tx1 | tr -d ' \n')"
  exec 3<&-
  [ "$got" = "05$method" ]
}

# Writes DIR/peer.env of a SOCKS 5 server on 127.0.0.1:$port with $user and $password (empty
# when it asks for none) and prints its URL.
peer_write_socks_env() {
  peer_write_env "URL=socks5://127.0.0.1:$port" "HOST=127.0.0.1" "PORT=$port" "USER=$user" \
    "PASSWORD=$password"
  echo "socks5://127.0.0.1:$port"
}

# Writes DIR/peer.env from "KEY=VALUE" arguments, atomically.
peer_write_env() {
  printf '%s\n' "$@" >"$peer_dir/peer.env.tmp"
  mv "$peer_dir/peer.env.tmp" "$peer_dir/peer.env"
}

# Reads one key of another peer's peer.env.
peer_env_value() {
  local file="$1" key="$2"
  sed -n "s/^$key=//p" "$file" | head -n 1
}

# The certs peer beside this one (or $QUILLON_CERTS), made now when it does not exist yet.
peer_certs_dir() {
  local dir="${QUILLON_CERTS:-$(dirname "$peer_dir")/certs}"
  if [ ! -f "$dir/peer.env" ]; then
    "$peers_home/certs.sh" start "$dir" >/dev/null || peer_fail "cannot make certificates in $dir"
  fi
  (cd "$dir" && pwd)
}

peer_usage() {
  echo "usage: $0 start|stop DIR" >&2
  exit 2
}

# The launcher's command line: "start|stop DIR [options...]". Stops what DIR holds, runs the
# launcher's peer_cleanup if it has one, and ends a stop there; a start goes on with the options
# in peer_args.
peer_command() {
  local kind="$1"
  shift
  [ $# -ge 2 ] || peer_usage
  peer_action="$1"
  case "$peer_action" in
  start | stop) ;;
  *) peer_usage ;;
  esac
  peer_begin "$kind" "$2"
  shift 2
  peer_args=("$@")
  if declare -F peer_cleanup >/dev/null; then
    peer_cleanup
  fi
  [ "$peer_action" = start ] || exit 0
}
