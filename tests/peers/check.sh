#!/usr/bin/env bash
# Checks a running peer with Debian's curl and openssl, clients that are not ours.
#
#   tests/peers/check.sh NAME PEERS_DIR
set -uo pipefail

name="$1"
env_file="$2/$name/peer.env"
[ -f "$env_file" ] || { echo "check: no $env_file (peer $name not started)"; exit 1; }
while IFS= read -r line; do
  export "$line"
done <"$env_file"
failures=0
rows=0

# expect ROW PATTERN COMMAND...: the command's output (stdout and stderr) must match PATTERN.
expect() {
  local row="$1" pattern="$2" output
  shift 2
  rows=$((rows + 1))
  output="$("$@" 2>&1)"
  if ! grep -Eiq -- "$pattern" <<<"$output"; then
    failures=$((failures + 1))
    echo "FAIL $name/$row: expected /$pattern/ from: $*"
    printf '%s\n' "$output" | head -n 20 | sed 's/^/    /'
  fi
}

head_of() {
  curl -sS -o /dev/null -D - "$@" | tr -d '\r'
}

case "$name" in
certs)
  v() { openssl verify -CAfile "$CA_FILE" "$@"; }
  expect server "OK$" v "$SERVER_CERT"
  expect server-host "OK$" v -verify_hostname localhost "$SERVER_CERT"
  expect server-ip "OK$" v -verify_ip 127.0.0.1 "$SERVER_CERT"
  expect client "OK$" v "$CLIENT_CERT"
  expect expired "certificate has expired" v "$EXPIRED_CERT"
  expect not-yet-valid "certificate is not yet valid" v "$NOT_YET_VALID_CERT"
  expect wrong-host "hostname mismatch" v -verify_hostname localhost "$WRONG_HOST_CERT"
  expect self-signed "self-signed certificate" v "$SELF_SIGNED_CERT"
  expect unknown-ca "unable to get local issuer certificate" v "$UNKNOWN_CA_CERT"
  expect unknown-ca-own "OK$" openssl verify -CAfile "$UNKNOWN_CA_FILE" "$UNKNOWN_CA_CERT"
  expect ca-path "OK$" openssl verify -CApath "$CA_PATH" "$SERVER_CERT"
  expect ca-der "Quillon Test CA" openssl x509 -inform DER -in "$CA_DER" -noout -subject
  expect client-pfx "BEGIN CERTIFICATE" openssl pkcs12 -in "$CLIENT_PFX" -passin "pass:$CLIENT_PFX_PASSWORD" -nokeys
  expect key-matches "^$(openssl x509 -in "$SERVER_CERT" -noout -pubkey | md5sum)" \
    sh -c "openssl pkey -in '$SERVER_KEY' -pubout | md5sum"
  ;;
nginx)
  expect gzip "Content-Encoding: gzip" head_of -H "Accept-Encoding: gzip" "$URL/feeds/medium.xml"
  expect gunzipped "^138271$" sh -c "curl -sS --compressed '$URL/feeds/medium.xml' | wc -c"
  expect identity "Content-Length: [0-9]+" head_of "$URL/feeds/large.xml"
  expect https "^200$" curl -sS --cacert "$CA_FILE" -o /dev/null -w "%{http_code}" \
    "$HTTPS_LOCALHOST_URL/feeds/small.xml"
  expect https-untrusted "certificate" curl -sS -o /dev/null "$HTTPS_URL/feeds/small.xml"
  expect metadata "<edmx:Edmx" curl -sS "$SERVICE_URL\$metadata"
  for code in 301 302 303 307 308; do
    expect "redirect-$code" "^HTTP/1.1 $code .*Location: $URL/feeds/small.xml" \
      sh -c "curl -sS -o /dev/null -D - '$URL/redirect/$code' | tr -d '\r' | tr '\n' ' '"
  done
  expect redirect-relative "Location: /feeds/small.xml" head_of "$URL/redirect/relative"
  expect redirect-loop "Maximum \(5\) redirects followed" curl -sS -L --max-redirs 5 -o /dev/null \
    "$URL/redirect/loop"
  expect redirect-no-location "^302 0$" sh -c "curl -sS -o /dev/null -D - \
    '$URL/redirect/no-location' | awk '/^HTTP/ { s = \$2 } /^Location:/ { n++ } END { print s, n + 0 }' \
    | tr -d '\r'"
  expect not-found "^HTTP/1.1 404" head_of "$URL/missing"
  expect error-500 "<code>PEER-1</code>" curl -sS "$URL/status/500"
  expect chunked "Transfer-Encoding: chunked" head_of "$URL/chunked/medium.xml"
  expect keep-alive "^1 0 $" sh -c "curl -sS -o /dev/null -o /dev/null -w '%{num_connects} ' \
    '$URL/feeds/small.xml' '$URL/feeds/small.xml'"
  # nginx counts the rate in whole seconds from the start of the request: at least 1 s here.
  expect slow "^200 138271 (0\.9|[1-9])" curl -sS -o /dev/null -w "%{http_code} %{size_download} %{time_total}" \
    "$URL/slow/medium.xml"
  expect access-log '"request":"GET /feeds/small.xml HTTP/1.1".*"x_test":"check-row"' \
    sh -c "curl -sS -o /dev/null -H 'X-Test: check-row' '$URL/feeds/small.xml'; for i in 1 2 3 4 5 6 7 8 9;
      do grep -q check-row '$ACCESS_LOG' && break; sleep 0.2; done; grep check-row '$ACCESS_LOG' | tail -n 1"
  ;;
apache)
  expect digest-demanded 'WWW-Authenticate: Digest realm="QuillonDigest".*qop="auth"' \
    head_of "$DIGEST_URL"
  expect digest-ok "^200$" curl -sS --digest -u "$DIGEST_USER:$DIGEST_PASSWORD" -o /dev/null \
    -w "%{http_code}" "${DIGEST_URL}feed.xml"
  expect digest-wrong "^401$" curl -sS --digest -u "$DIGEST_USER:wrong" -o /dev/null \
    -w "%{http_code}" "${DIGEST_URL}feed.xml"
  expect digest-not-basic "^401$" curl -sS -u "$DIGEST_USER:$DIGEST_PASSWORD" -o /dev/null \
    -w "%{http_code}" "${DIGEST_URL}feed.xml"
  expect digest-echo "^posted body$" curl -sS --digest -u "$DIGEST_USER:$DIGEST_PASSWORD" \
    -d "posted body" "${DIGEST_URL}echo"
  expect basic-demanded 'WWW-Authenticate: Basic realm="QuillonBasic"' head_of "$BASIC_URL"
  expect basic-ok "^basic area$" curl -sS -u "$BASIC_USER:$BASIC_PASSWORD" "${BASIC_URL}index.txt"
  ;;
sslserver)
  expect handshake "Protocol  : TLSv1.3" curl -sS --cacert "$CA_FILE" "$HTTPS_LOCALHOST_URL/"
  expect by-ip "^200$" curl -sS --cacert "$CA_FILE" -o /dev/null -w "%{http_code}" "$HTTPS_URL/"
  expect s-client "Verification: OK" sh -c "openssl s_client -connect 127.0.0.1:$PORT -brief \
    -CAfile '$CA_FILE' -verify_return_error </dev/null"
  ;;
sslserver_expired)
  expect expired "certificate has expired|SSL certificate problem" curl -sS --cacert "$CA_FILE" "$HTTPS_URL/"
  expect insecure "Protocol  : TLSv1.2" curl -sS -k "$HTTPS_URL/"
  ;;
odata)
  entries() { curl -sS "$1" | grep -o "<entry>" | wc -l; }
  expect metadata "<edmx:Edmx.*Type=\"Edm.DateTime\".*Type=\"Edm.Decimal\".*<ComplexType Name=\"Address\">" \
    sh -c "curl -sS '${URL}\$metadata' | tr -d '\n'"
  expect service-document "<collection href=\"Products\">" curl -sS "$URL"
  expect feed-atom "Content-Type: application/atom\+xml" head_of "${URL}Products"
  expect feed-page "^$PAGE_SIZE$" entries "${URL}Products"
  expect feed-last-page "^3$" entries "${URL}Products?\$skiptoken=10"
  expect json-next "__next" curl -sS -H "Accept: application/json" "${URL}Products"
  expect non-ascii "<d:Name m:type=\"Edm.String\">Crème brûlée</d:Name>" curl -sS "${URL}Products(9)"
  expect etag "^ETag: W/\"" head_of "${URL}${ETAG_ENTRY}"
  expect complex "<d:City m:type=\"Edm.String\">København</d:City>" curl -sS "${URL}SupplierAddress?ID=6"
  expect stale-etag "^412$" curl -sS -o /dev/null -w "%{http_code}" -X MERGE -H "If-Match: W/\"stale\"" \
    -H "Content-Type: application/json" -d '{"Rating":1}' "${URL}Products(13)"
  expect error-document "<error xmlns=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\"><code>404" \
    curl -sS "${URL}Products(999)"
  ;;
signon)
  export KRB5_CONFIG KRB5CCNAME
  code() { curl -sS -o /dev/null -w "%{http_code}" "$@"; }
  expect negotiate-demanded "WWW-Authenticate: Negotiate" head_of "$NEGOTIATE_URL"
  expect negotiate-ok "^200$" code --negotiate -u : "${NEGOTIATE_URL}index.txt"
  expect negotiate-no-ticket "^401$" env KRB5CCNAME=FILE:/nonexistent curl -sS -o /dev/null \
    -w "%{http_code}" --negotiate -u : "${NEGOTIATE_URL}index.txt"
  expect ntlm-demanded "WWW-Authenticate: NTLM" head_of "$NTLM_URL"
  # gss-ntlmssp refuses curl's negotiate message, which lacks the Unicode flag, so the check
  # sends a Unicode one by hand and looks for the challenge.
  type1="TlRMTVNTUAABAAAAB4IIogAAAAAAAAAAAAAAAAAAAAAAAAAAAAAADw=="
  expect ntlm-challenge "WWW-Authenticate: NTLM TlRMTVNTUAACAAAA" \
    head_of -H "Authorization: NTLM $type1" "$NTLM_URL"
  expect proxy-ntlm-challenge "Proxy-Authenticate: NTLM TlRMTVNTUAACAAAA" head_of \
    -x "http://127.0.0.1:$PROXY_PORT" -H "Proxy-Authorization: NTLM $type1" "${URL}/plain/feed.xml"
  expect proxy-negotiate-ok "^200$" code -x "http://localhost:$KERBEROS_PROXY_PORT" \
    --proxy-negotiate -U : "${URL}/plain/feed.xml"
  ;;
squid | squid_ntlm | dante | dante_auth | microsocks | tinyproxy)
  # Proxies and SOCKS servers carry curl to the nginx peer.
  target="$(sed -n 's/^URL=//p' "$2/nginx/peer.env")"
  code() { curl -sS -o /dev/null -w "%{http_code}" --max-time 10 "$@" "$target/empty.txt"; }
  case "$name" in
  squid)
    expect plain "^200$" code -x "$URL"
    expect connect "^200$" code -p -x "$URL"
    expect auth-demanded "407" code -p -x "http://$HOST:$AUTH_PORT"
    expect basic "^200$" code -p -x "http://$HOST:$AUTH_PORT" -U "$USER:$PASSWORD"
    expect digest "^200$" code -p -x "http://$HOST:$AUTH_PORT" --proxy-digest -U "$USER:$PASSWORD"
    expect digest-plain "^200$" code -x "http://$HOST:$AUTH_PORT" --proxy-digest -U "$USER:$PASSWORD"
    ;;
  squid_ntlm)
    expect ntlm-demanded "Proxy-Authenticate: NTLM" curl -sS -o /dev/null -D - --max-time 10 \
      -x "http://$HOST:$AUTH_PORT" "$target/empty.txt"
    expect ntlm-passes "^200$" code -x "http://$HOST:$AUTH_PORT" --proxy-ntlm -U 'DOMAIN\user:password'
    ;;
  dante)
    expect socks4 "^200$" code --socks4 "$HOST:$PORT"
    expect socks5 "^200$" code --socks5 "$HOST:$PORT"
    expect socks5-by-name "^200$" code --socks5-hostname "$HOST:$PORT"
    ;;
  dante_auth | microsocks)
    expect user-password "^200$" code -x "socks5://$USER:$PASSWORD@$HOST:$PORT"
    expect wrong-password "rejected|000" code -x "socks5://$USER:wrong@$HOST:$PORT"
    ;;
  tinyproxy)
    expect auth-demanded "^407$" code -x "$URL"
    expect basic "^200$" code -x "http://$USER:$PASSWORD@$HOST:$PORT"
    expect connect-basic "^200$" code -p -x "http://$USER:$PASSWORD@$HOST:$PORT"
    ;;
  esac
  ;;
*)
  echo "check: no checks for peer $name"
  exit 1
  ;;
esac

echo "peer $name: $((rows - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
