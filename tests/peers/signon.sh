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
source "$peers_home/apache-lib.sh"
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

# Keytab and user file lie in the served folder, which the children can read.
apache_served_folder
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
{
  apache_config_head localhost "warn auth_gssapi:debug" auth_gssapi proxy proxy_http \
    proxy_connect headers
  cat <<CONF
Listen 127.0.0.1:$proxy_port
Listen 127.0.0.1:$kerberos_proxy_port
MaxKeepAliveRequests 1000
AddType "text/plain;charset=utf-8" .txt
LogFormat "%{%Y-%m-%dT%H:%M:%S}t %>s \"%r\" conn=%{c}L keepalive=%k user=\"%u\" auth=\"%{Authorization}i\" length=\"%{Content-Length}i\"" requests
CustomLog "$peer_dir/access.log" requests
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
  # Any port on loopback, so that TLS targets can be reached through the NTLM tunnel too.
  AllowCONNECT 1024-65535
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
} >"$peer_dir/httpd.conf"
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
