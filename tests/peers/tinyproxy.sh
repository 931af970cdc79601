#!/usr/bin/env bash
# Runs tinyproxy on 127.0.0.1 as an HTTP proxy and CONNECT tunnel that asks for Basic proxy
# authentication.
#
#   tests/peers/tinyproxy.sh start DIR    prints http://127.0.0.1:PORT; DIR/peer.env
#   tests/peers/tinyproxy.sh stop DIR
source "$(dirname "$0")/common.sh"

peer_command tinyproxy "$@"

command -v tinyproxy >/dev/null || PATH="$PATH:/usr/sbin"
command -v tinyproxy >/dev/null || peer_fail "tinyproxy is not installed (scripts/setup.sh installs it)"
user=tinyuser
password=tiny-secret
run_user="$(id -un)"
run_group="$(id -gn)"
[ "$(id -u)" -eq 0 ] && run_user=nobody && run_group=nogroup
peer_logs=("$peer_dir/tinyproxy.log")

write_config() {
  cat >"$peer_dir/tinyproxy.conf" <<CONF
User $run_user
Group $run_group
Listen 127.0.0.1
Port $port
Timeout 60
LogLevel Info
BasicAuth $user $password
Allow 127.0.0.1
DisableViaHeader Yes
CONF
}

for attempt in 1 2 3 4 5; do
  port="$(peer_free_port)" || peer_fail "no free port"
  write_config
  : >"$peer_dir/tinyproxy.log"
  peer_spawn "$peer_dir/tinyproxy.log" tinyproxy -d -c "$peer_dir/tinyproxy.conf"
  # Without credentials the proxy answers 407.
  if peer_wait sh -c "curl -s -o /dev/null -w '%{http_code}' --max-time 2 -x http://127.0.0.1:$port http://127.0.0.1:1/ | grep -q 407"; then
    peer_write_env \
      "URL=http://127.0.0.1:$port" \
      "HOST=127.0.0.1" \
      "PORT=$port" \
      "USER=$user" \
      "PASSWORD=$password"
    echo "http://127.0.0.1:$port"
    exit 0
  fi
  peer_stop_recorded
done
peer_fail "tinyproxy did not answer after 5 attempts"
