#!/usr/bin/env bash
# Runs the dante SOCKS server on 127.0.0.1: SOCKS 4 and SOCKS 5 without authentication, or with
# --auth SOCKS 5 with user and password, checked against the system user that
# scripts/setup.sh creates (quillonsocks).
#
#   tests/peers/dante.sh start DIR [--auth]   prints socks5://127.0.0.1:PORT; DIR/peer.env
#   tests/peers/dante.sh stop DIR
source "$(dirname "$0")/common.sh"

peer_command dante "$@"

command -v danted >/dev/null || PATH="$PATH:/usr/sbin"
command -v danted >/dev/null || peer_fail "danted is not installed (scripts/setup.sh installs dante-server)"
method=none
code=00
user=""
password=""
if [ "${peer_args[0]:-}" = --auth ]; then
  method=username
  code=02
  user=quillonsocks
  password=socks-secret-1
  id "$user" >/dev/null 2>&1 || peer_fail "system user $user is missing (scripts/setup.sh makes it)"
fi
peer_logs=("$peer_dir/danted.log")

write_config() {
  cat >"$peer_dir/danted.conf" <<CONF
logoutput: $peer_dir/danted.log
errorlog: $peer_dir/danted.log
internal: 127.0.0.1 port = $port
external: 127.0.0.1
clientmethod: none
socksmethod: $method
user.privileged: root
user.unprivileged: nobody
client pass {
  from: 127.0.0.0/8 to: 0.0.0.0/0
}
socks pass {
  from: 127.0.0.0/8 to: 127.0.0.0/8
  command: connect
  log: error
}
socks block {
  from: 0.0.0.0/0 to: 0.0.0.0/0
  log: connect error
}
CONF
}

for attempt in 1 2 3 4 5; do
  port="$(peer_free_port)" || peer_fail "no free port"
  write_config
  : >"$peer_dir/danted.log"
  peer_spawn "$peer_dir/danted.log" danted -f "$peer_dir/danted.conf" -p "$peer_dir/danted.pid" -N 1
  if peer_wait peer_answers_socks5 "$port" "$code"; then
    peer_write_socks_env
    exit 0
  fi
  grep -q "Address already in use" "$peer_dir/danted.log" || peer_fail "danted did not answer"
  peer_stop_recorded
done
peer_fail "no free port after 5 attempts"
