#!/usr/bin/env bash
# Runs squid on 127.0.0.1 as a proxy that demands NTLM for proxy authentication (ntlm_fake_auth:
# any user and password pass once the three messages are well formed). No cache; its own -n name.
#
#   tests/peers/squid.sh start DIR    prints the proxy's http:// URL; DIR/peer.env has the keys
#   tests/peers/squid.sh stop DIR
source "$(dirname "$0")/common.sh"
peer_command squid "$@"

PATH="$PATH:/usr/sbin"
command -v squid >/dev/null || peer_fail "squid is not installed (scripts/setup.sh installs it)"
helpers=/usr/lib/squid
[ -x "$helpers/ntlm_fake_auth" ] || peer_fail "squid's ntlm_fake_auth helper is missing"
peer_logs=("$peer_dir/cache.log" "$peer_dir/console.log")
name="quillon$$"
: >"$peer_dir/console.log"
: >"$peer_dir/cache.log"
: >"$peer_dir/access.log"
owner_line=""
if [ "$(id -u)" -eq 0 ]; then
  owner_line="cache_effective_user proxy"
  chown proxy "$peer_dir" "$peer_dir/cache.log" "$peer_dir/access.log"
fi
port="$(peer_free_port)" || peer_fail "no free port"
cat >"$peer_dir/squid.conf" <<CONF
http_port 127.0.0.1:$port
visible_hostname localhost
pid_filename $peer_dir/squid.pid
cache_log $peer_dir/cache.log
access_log stdio:$peer_dir/access.log
coredump_dir $peer_dir
$owner_line
cache deny all
shutdown_lifetime 1 seconds
auth_param ntlm program $helpers/ntlm_fake_auth
auth_param ntlm children 2 startup=1
acl authenticated proxy_auth REQUIRED
http_access allow localhost authenticated
http_access deny all
CONF
squid -k parse -f "$peer_dir/squid.conf" >>"$peer_dir/console.log" 2>&1 || peer_fail "bad configuration"
peer_spawn "$peer_dir/console.log" squid -N -n "$name" -f "$peer_dir/squid.conf"
proxy_answers() { curl -s -o /dev/null --max-time 2 -x "http://127.0.0.1:$port" http://127.0.0.1:1/; }
peer_wait proxy_answers || peer_fail "squid did not answer"
peer_write_env \
  "URL=http://127.0.0.1:$port" \
  "PORT=$port" \
  "NAME=$name" \
  "ACCESS_LOG=$peer_dir/access.log" \
  "CACHE_LOG=$peer_dir/cache.log"
echo "http://127.0.0.1:$port"
