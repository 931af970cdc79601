#!/usr/bin/env bash
# Runs Apache httpd on 127.0.0.1 as a foreground instance with its own ServerRoot in DIR:
# /basic/ asks for Basic and /digest/ for Digest authentication, one user each; /echo, /basic/echo
# and /digest/echo send a request body back.
#
#   tests/peers/apache.sh start DIR    prints the http:// URL; DIR/peer.env has the keys
#   tests/peers/apache.sh stop DIR
source "$(dirname "$0")/common.sh"
source "$peers_home/apache-lib.sh"
peer_command apache "$@"

command -v apache2 >/dev/null || PATH="$PATH:/usr/sbin"
command -v apache2 >/dev/null || peer_fail "apache2 is not installed (scripts/setup.sh installs it)"
modules=/usr/lib/apache2/modules
basic_user=basic-user
basic_password=basic-Secret-1
digest_user=digest-user
digest_password=digest-Secret-2
digest_realm=QuillonDigest

apache_served_folder
mkdir -p "$served/www/basic" "$served/www/digest"
echo "apache peer" >"$served/www/index.txt"
echo "basic area" >"$served/www/basic/index.txt"
echo "digest area" >"$served/www/digest/index.txt"
awk -v COUNT=3 -f "$peers_home/nginx-files/feed.awk" >"$served/www/basic/feed.xml"
cp "$served/www/basic/feed.xml" "$served/www/digest/feed.xml"
printf '%s:%s\n' "$basic_user" "$(openssl passwd -apr1 "$basic_password")" >"$served/basic.users"
printf '%s:%s:%s\n' "$digest_user" "$digest_realm" \
  "$(printf '%s' "$digest_user:$digest_realm:$digest_password" | md5sum | cut -d' ' -f1)" \
  >"$served/digest.users"
chmod -R a+rX "$served"
peer_logs=("$peer_dir/error.log" "$peer_dir/console.log")

write_config() {
  {
    apache_config_head 127.0.0.1 "warn auth_digest:info" authn_file auth_basic auth_digest
    cat <<CONF
AddType "application/atom+xml;type=feed;charset=utf-8" .xml
AddType "text/plain;charset=utf-8" .txt
LogFormat "%{%Y-%m-%dT%H:%M:%S}t %>s \"%r\" auth=\"%{Authorization}i\" type=\"%{Content-Type}i\" length=\"%{Content-Length}i\" agent=\"%{User-Agent}i\"" requests
CustomLog "$peer_dir/access.log" requests
<Location /echo>
  SetHandler reflector
</Location>
<Location /basic/>
  AuthType Basic
  AuthName QuillonBasic
  AuthBasicProvider file
  AuthUserFile "$served/basic.users"
  Require valid-user
</Location>
<Location /basic/echo>
  SetHandler reflector
</Location>
<Location /digest/>
  AuthType Digest
  AuthName "$digest_realm"
  AuthDigestDomain /digest/
  AuthDigestProvider file
  AuthUserFile "$served/digest.users"
  Require valid-user
</Location>
<Location /digest/echo>
  SetHandler reflector
</Location>
CONF
  } >"$peer_dir/httpd.conf"
}

for attempt in 1 2 3 4 5; do
  port="$(peer_free_port)" || peer_fail "no free port"
  write_config
  : >"$peer_dir/error.log"
  : >"$peer_dir/console.log"
  apache2 -t -f "$peer_dir/httpd.conf" >>"$peer_dir/console.log" 2>&1 || peer_fail "bad configuration"
  peer_spawn "$peer_dir/console.log" apache2 -DFOREGROUND -f "$peer_dir/httpd.conf"
  if peer_wait peer_answers_http "http://127.0.0.1:$port/index.txt"; then
    url="http://127.0.0.1:$port"
    peer_write_env \
      "URL=$url" \
      "PORT=$port" \
      "BASIC_URL=$url/basic/" \
      "BASIC_USER=$basic_user" \
      "BASIC_PASSWORD=$basic_password" \
      "DIGEST_URL=$url/digest/" \
      "DIGEST_USER=$digest_user" \
      "DIGEST_PASSWORD=$digest_password" \
      "DIGEST_REALM=$digest_realm" \
      "ACCESS_LOG=$peer_dir/access.log" \
      "ERROR_LOG=$peer_dir/error.log"
    echo "$url"
    exit 0
  fi
  grep -q "Address already in use" "$peer_dir/error.log" "$peer_dir/console.log" ||
    peer_fail "apache2 did not answer"
  peer_stop_recorded
done
peer_fail "no free port after 5 attempts"
