#!/usr/bin/env bash
# A Kerberos realm made at start (MIT krb5kdc, its own config, database and keytab in DIR) and
# Apache with mod_auth_gssapi on 127.0.0.1: /negotiate/ asks for Negotiate (Kerberos, keytab of
# HTTP/localhost), /ntlm/ for NTLM checked by gss-ntlmssp against a user file. Both keep the
# sign-on for the connection. A second port is a forward proxy (plain requests and CONNECT to the
# first port) asking for NTLM proxy authentication, checked the same way; a third is the same
# proxy asking for Negotiate (Kerberos, as HTTP/localhost). Options: -lmcompat N sets gss-ntlmssp's LM_COMPAT_LEVEL (default 2,
# which accepts NTLMv1 with extended security; 5 accepts NTLMv2 only).
#
#   tests/peers/signon.sh start DIR [-lmcompat N]   prints the http:// URL; DIR/peer.env has the keys
#   tests/peers/signon.sh stop DIR
# Clients use KRB5_CONFIG and KRB5CCNAME from peer.env, so the machine's own set-up stays untouched.
source "$(dirname "$0")/common.sh"

peer_cleanup() {
  if [ -f "$peer_dir/served" ]; then
    rm -rf "$(cat "$peer_dir/served")"
    rm -f "$peer_dir/served"
  fi
}
peer_command signon "$@"

PATH="$PATH:/usr/sbin"
for tool in krb5kdc kdb5_util kadmin.local kinit apache2; do
  command -v "$tool" >/dev/null || peer_fail "$tool is not installed (scripts/setup.sh installs it)"
done
modules=/usr/lib/apache2/modules
[ -f "$modules/mod_auth_gssapi.so" ] || peer_fail "mod_auth_gssapi is not installed"
lmcompat=2
if [ "${peer_args[0]:-}" = -lmcompat ]; then lmcompat="${peer_args[1]:-2}"; fi

realm=QUILLON.TEST
user=quillon
password=Kerberos-Secret-3
ntlm_domain=QUILLON
ntlm_user=ntlm-user
ntlm_password=Ntlm-Secret-4

# As root the children run as www-data: keytab and user file in a folder they can read.
if [ "$(id -u)" -eq 0 ]; then
  served="$(mktemp -d /tmp/quillon-signon.XXXXXX)"
  echo "$served" >"$peer_dir/served"
  user_lines="User www-data
Group www-data"
else
  served="$peer_dir/served-files"
  rm -rf "$served"
  user_lines=""
fi
mkdir -p "$served/www/negotiate" "$served/www/ntlm" "$served/www/plain" "$peer_dir/db"
echo "negotiate area" >"$served/www/negotiate/index.txt"
echo "ntlm area" >"$served/www/ntlm/index.txt"
for area in negotiate ntlm plain; do
  echo "<feed xmlns=\"http://www.w3.org/2005/Atom\"><title>$area area</title></feed>" \
    >"$served/www/$area/feed.xml"
done
echo "$ntlm_domain:$ntlm_user:$ntlm_password" >"$served/ntlm.users"
peer_logs=("$peer_dir/kdc.log" "$peer_dir/error.log" "$peer_dir/console.log")
: >"$peer_dir/console.log"

kdc_port="$(peer_free_port)" || peer_fail "no free port"
export KRB5_CONFIG="$peer_dir/krb5.conf"
export KRB5_KDC_PROFILE="$peer_dir/kdc.conf"
export KRB5CCNAME="FILE:$peer_dir/ccache"
export KRB5RCACHETYPE=none
cat >"$KRB5_CONFIG" <<CONF
[libdefaults]
  default_realm = $realm
  dns_lookup_realm = false
  dns_lookup_kdc = false
  rdns = false
  udp_preference_limit = 1
[realms]
  $realm = {
    kdc = 127.0.0.1:$kdc_port
  }
[domain_realm]
  localhost = $realm
CONF
cat >"$KRB5_KDC_PROFILE" <<CONF
[kdcdefaults]
  kdc_ports = $kdc_port
  kdc_tcp_ports = $kdc_port
[realms]
  $realm = {
    database_name = $peer_dir/db/principal
    key_stash_file = $peer_dir/db/stash
    acl_file = $peer_dir/db/kadm5.acl
    kdc_listen = 127.0.0.1:$kdc_port
    kdc_tcp_listen = 127.0.0.1:$kdc_port
  }
[logging]
  kdc = FILE:$peer_dir/kdc.log
CONF
: >"$peer_dir/db/kadm5.acl"
{
  kdb5_util create -s -r "$realm" -P "master-$RANDOM$RANDOM"
  kadmin.local -r "$realm" -q "addprinc -pw $password $user"
  kadmin.local -r "$realm" -q "addprinc -randkey HTTP/localhost"
  kadmin.local -r "$realm" -q "ktadd -k $served/http.keytab HTTP/localhost"
} >>"$peer_dir/console.log" 2>&1 || peer_fail "cannot make the realm"
chmod -R a+rX "$served"
[ "$(id -u)" -ne 0 ] || chown www-data "$served/http.keytab"

port="$(peer_free_port)" || peer_fail "no free port"
proxy_port="$(peer_free_port)" || peer_fail "no free port"
kerberos_proxy_port="$(peer_free_port)" || peer_fail "no free port"
cat >"$peer_dir/httpd.conf" <<CONF
ServerRoot "$peer_dir"
ServerName localhost
Listen 127.0.0.1:$port
Listen 127.0.0.1:$proxy_port
Listen 127.0.0.1:$kerberos_proxy_port
PidFile "$peer_dir/httpd.pid"
DefaultRuntimeDir "$peer_dir"
Mutex file:$peer_dir default
ErrorLog "$peer_dir/error.log"
LogLevel warn auth_gssapi:debug
$user_lines

LoadModule mpm_event_module $modules/mod_mpm_event.so
LoadModule authn_core_module $modules/mod_authn_core.so
LoadModule authz_core_module $modules/mod_authz_core.so
LoadModule authz_user_module $modules/mod_authz_user.so
LoadModule auth_gssapi_module $modules/mod_auth_gssapi.so
LoadModule mime_module $modules/mod_mime.so
LoadModule reflector_module $modules/mod_reflector.so
LoadModule proxy_module $modules/mod_proxy.so
LoadModule proxy_http_module $modules/mod_proxy_http.so
LoadModule proxy_connect_module $modules/mod_proxy_connect.so
LoadModule headers_module $modules/mod_headers.so

StartServers 1
ServerLimit 1
ThreadsPerChild 16
MaxRequestWorkers 16
MinSpareThreads 1
MaxSpareThreads 16
KeepAlive On
KeepAliveTimeout 30
MaxKeepAliveRequests 1000

TypesConfig /dev/null
AddType "text/plain;charset=utf-8" .txt
LogFormat "%{%Y-%m-%dT%H:%M:%S}t %>s \"%r\" conn=%{c}L keepalive=%k user=\"%u\" auth=\"%{Authorization}i\" length=\"%{Content-Length}i\"" requests
CustomLog "$peer_dir/access.log" requests

DocumentRoot "$served/www"
<Directory />
  Require all granted
  AllowOverride None
</Directory>
<Location /negotiate/>
  AuthType GSSAPI
  AuthName "Negotiate"
  GssapiCredStore keytab:$served/http.keytab
  GssapiAllowedMech krb5
  GssapiConnectionBound On
  Require valid-user
</Location>
<Location /ntlm/>
  AuthType GSSAPI
  AuthName "NTLM"
  GssapiAllowedMech ntlmssp
  GssapiConnectionBound On
  Require valid-user
</Location>
<LocationMatch "^/(negotiate|ntlm)/echo">
  SetHandler reflector
</LocationMatch>
<VirtualHost 127.0.0.1:$proxy_port>
  ProxyRequests On
  AllowCONNECT $port
  # Keeps an HTTP/1.0 CONNECT's connection for its next leg, as proxies that read
  # Proxy-Connection do.
  RequestHeader set Connection Keep-Alive early
  <Proxy "*">
    AuthType GSSAPI
    AuthName "NTLM proxy"
    GssapiAllowedMech ntlmssp
    GssapiConnectionBound On
    Require valid-user
  </Proxy>
</VirtualHost>
<VirtualHost 127.0.0.1:$kerberos_proxy_port>
  ProxyRequests On
  AllowCONNECT $port
  RequestHeader set Connection Keep-Alive early
  <Proxy "*">
    AuthType GSSAPI
    AuthName "Negotiate proxy"
    GssapiCredStore keytab:$served/http.keytab
    GssapiAllowedMech krb5
    Require valid-user
  </Proxy>
</VirtualHost>
CONF
apache2 -t -f "$peer_dir/httpd.conf" >>"$peer_dir/console.log" 2>&1 || peer_fail "bad configuration"
# One process group: the KDC in the background, Apache in the foreground.
peer_spawn "$peer_dir/console.log" env NTLM_USER_FILE="$served/ntlm.users" \
  LM_COMPAT_LEVEL="$lmcompat" bash -c \
  'krb5kdc -n -r "$0" & exec apache2 -DFOREGROUND -f "$1"' "$realm" "$peer_dir/httpd.conf"
peer_wait peer_answers_http "http://127.0.0.1:$port/" || peer_fail "apache2 did not answer"
peer_wait sh -c "echo $password | kinit $user@$realm" || peer_fail "kinit failed"
url="http://127.0.0.1:$port"
peer_write_env \
  "URL=$url" \
  "PORT=$port" \
  "NEGOTIATE_URL=http://localhost:$port/negotiate/" \
  "NTLM_URL=$url/ntlm/" \
  "PROXY_PORT=$proxy_port" \
  "KERBEROS_PROXY_PORT=$kerberos_proxy_port" \
  "REALM=$realm" \
  "KDC_PORT=$kdc_port" \
  "KRB5_CONFIG=$KRB5_CONFIG" \
  "KRB5CCNAME=$KRB5CCNAME" \
  "KERBEROS_USER=$user" \
  "KERBEROS_PASSWORD=$password" \
  "NTLM_DOMAIN=$ntlm_domain" \
  "NTLM_USER=$ntlm_user" \
  "NTLM_PASSWORD=$ntlm_password" \
  "LM_COMPAT_LEVEL=$lmcompat" \
  "ACCESS_LOG=$peer_dir/access.log" \
  "ERROR_LOG=$peer_dir/error.log"
echo "$url"
