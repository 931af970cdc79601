#!/usr/bin/env bash
# Runs squid on 127.0.0.1 as a plain HTTP proxy and CONNECT tunnel on two ports: PORT asks for
# nothing, AUTH_PORT asks for Basic or Digest proxy authentication (the client picks). With
# --ntlm, AUTH_PORT asks for NTLM instead, through squid's ntlm_fake_auth helper (any user and
# password pass once the three messages are well formed). Each instance has its own -n name.
#
#   tests/peers/squid.sh start DIR [--ntlm]   prints the open proxy's URL; DIR/peer.env has the keys
#   tests/peers/squid.sh stop DIR
source "$(dirname "$0")/common.sh"

peer_command squid "$@"

command -v squid >/dev/null || PATH="$PATH:/usr/sbin"
command -v squid >/dev/null || peer_fail "squid is not installed (scripts/setup.sh installs it)"
helpers=/usr/lib/squid
user=proxyuser
password=proxysecret
realm=QuillonProxy
name="quillon$$"
scheme=basic-digest
if [ "${peer_args[0]:-}" = --ntlm ]; then
  scheme=ntlm
  [ -x "$helpers/ntlm_fake_auth" ] || peer_fail "squid's ntlm_fake_auth helper is missing"
fi
# squid drops root for its own user, which has to write the logs.
run_user="$(id -un)"
[ "$(id -u)" -eq 0 ] && run_user=proxy
mkdir -p "$peer_dir/logs"
printf '%s:%s\n' "$user" "$(openssl passwd -apr1 "$password")" >"$peer_dir/basic.passwd"
printf '%s:%s\n' "$user" "$password" >"$peer_dir/digest.passwd"
chown -R "$run_user" "$peer_dir/logs" 2>/dev/null || true
peer_logs=("$peer_dir/logs/cache.log")

auth_config() {
  if [ "$scheme" = ntlm ]; then
    cat <<CONF
auth_param ntlm program $helpers/ntlm_fake_auth
auth_param ntlm children 2 startup=1
CONF
  else
    cat <<CONF
auth_param basic program $helpers/basic_ncsa_auth $peer_dir/basic.passwd
auth_param basic realm $realm
auth_param digest program $helpers/digest_file_auth $peer_dir/digest.passwd
auth_param digest realm $realm
auth_param digest nonce_garbage_interval 5 minutes
auth_param digest nonce_max_duration 30 minutes
CONF
  fi
}

write_config() {
  cat >"$peer_dir/squid.conf" <<CONF
http_port 127.0.0.1:$port name=open
http_port 127.0.0.1:$auth_port name=auth
cache_effective_user $run_user
pid_filename $peer_dir/squid.pid
cache_log $peer_dir/logs/cache.log
access_log stdio:$peer_dir/logs/access.log
coredump_dir $peer_dir/logs
cache deny all
shutdown_lifetime 0 seconds
dns_v4_first on
visible_hostname quillon-proxy

$(auth_config)

acl open_port myportname open
acl auth_port myportname auth
acl authenticated proxy_auth REQUIRED
http_access allow open_port
http_access allow auth_port authenticated
http_access deny all
CONF
}

for attempt in 1 2 3 4 5; do
  port="$(peer_free_port)" || peer_fail "no free port"
  auth_port="$(peer_free_port)" || peer_fail "no free port"
  [ "$port" != "$auth_port" ] || continue
  write_config
  squid -k parse -f "$peer_dir/squid.conf" >"$peer_dir/parse.log" 2>&1 || {
    peer_logs=("$peer_dir/parse.log")
    peer_fail "bad configuration"
  }
  peer_spawn "$peer_dir/logs/cache.log" squid -N -n "$name" -f "$peer_dir/squid.conf"
  if peer_wait curl -s -o /dev/null --max-time 2 "http://127.0.0.1:$port/squid-internal-static/icons/SN.png"; then
    peer_write_env \
      "URL=http://127.0.0.1:$port" \
      "HOST=127.0.0.1" \
      "PORT=$port" \
      "AUTH_PORT=$auth_port" \
      "USER=$user" \
      "PASSWORD=$password" \
      "REALM=$realm" \
      "SCHEME=$scheme" \
      "NAME=$name" \
      "ACCESS_LOG=$peer_dir/logs/access.log" \
      "CACHE_LOG=$peer_dir/logs/cache.log"
    echo "http://127.0.0.1:$port"
    exit 0
  fi
  grep -q "Address already in use" "$peer_dir/logs/cache.log" || peer_fail "squid did not answer"
  peer_stop_recorded
done
peer_fail "no free port after 5 attempts"
