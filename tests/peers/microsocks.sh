#!/usr/bin/env bash
# Runs microsocks on 127.0.0.1: a SOCKS 5 server that asks for user and password.
#
#   tests/peers/microsocks.sh start DIR    prints socks5://127.0.0.1:PORT; DIR/peer.env
#   tests/peers/microsocks.sh stop DIR
source "$(dirname "$0")/common.sh"

peer_command microsocks "$@"

command -v microsocks >/dev/null || peer_fail "microsocks is not installed (scripts/setup.sh installs it)"
user=microuser
password=micro-secret
peer_logs=("$peer_dir/microsocks.log")

for attempt in 1 2 3 4 5; do
  port="$(peer_free_port)" || peer_fail "no free port"
  : >"$peer_dir/microsocks.log"
  peer_spawn "$peer_dir/microsocks.log" microsocks -i 127.0.0.1 -p "$port" -u "$user" -P "$password"
  if peer_wait peer_answers_socks5 "$port" 02; then
    peer_write_socks_env
    exit 0
  fi
  peer_stop_recorded
done
peer_fail "microsocks did not answer after 5 attempts"
