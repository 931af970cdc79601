#!/usr/bin/env bash
# Runs `openssl s_server` on 127.0.0.1 with the test server certificate, for the TLS cases a web
# server does not play. Options after DIR go to s_server; without any it runs with -www (an HTTP
# GET gets a status page; "GET /reneg" renegotiates under TLS 1.2). Options that name -cert
# replace the default certificate and key.
#
#   tests/peers/sslserver.sh start DIR [s_server options...]   prints the https:// URL
#   tests/peers/sslserver.sh stop DIR
#
# Lines written to DIR/stdin reach s_server's console, as typed: without -www, "r" renegotiates,
# "k" updates the TLS 1.3 keys, "Q" closes everything, other lines go to the client.
source "$(dirname "$0")/common.sh"

peer_command sslserver "$@"

certs="$(peer_certs_dir)"
options=("${peer_args[@]}")
[ ${#options[@]} -gt 0 ] || options=(-www)
has_cert=0
for option in "${options[@]}"; do
  [ "$option" = -cert ] && has_cert=1
done
cert_options=()
[ $has_cert = 1 ] || cert_options=(-cert "$certs/server.pem" -key "$certs/key.key" -cert_chain "$certs/ca.pem")
log="$peer_dir/server.log"
peer_logs=("$log")
peer_stdin="$peer_dir/stdin"
rm -f "$peer_stdin"
mkfifo "$peer_stdin"
printf '%s\n' "${options[@]}" >"$peer_dir/options"

server_ready() {
  grep -q '^ACCEPT' "$log"
}

for attempt in 1 2 3 4 5; do
  port="$(peer_free_port)" || peer_fail "no free port"
  : >"$log"
  peer_spawn "$log" openssl s_server -accept "127.0.0.1:$port" "${cert_options[@]}" "${options[@]}"
  if peer_wait server_ready; then
    peer_write_env \
      "URL=https://127.0.0.1:$port" \
      "HTTPS_URL=https://127.0.0.1:$port" \
      "HTTPS_LOCALHOST_URL=https://localhost:$port" \
      "PORT=$port" \
      "CA_FILE=$certs/ca.pem" \
      "LOG=$log" \
      "STDIN=$peer_stdin"
    echo "https://127.0.0.1:$port"
    exit 0
  fi
  grep -qi "address already in use" "$log" || peer_fail "s_server did not start"
  peer_stop_recorded
done
peer_fail "no free port after 5 attempts"
