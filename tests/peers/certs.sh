#!/usr/bin/env bash
# Makes the certificates the TLS tests use, with the openssl command, into DIR:
# a test CA, a server certificate for localhost and 127.0.0.1 signed by it, a client certificate,
# and the faulty ones: expired, not yet valid, wrong host, self-signed, signed by an unknown CA.
#
#   tests/peers/certs.sh start DIR    makes everything and writes DIR/peer.env; certificates that
#                                     this same script made earlier and that stay valid for
#                                     30 more days are kept (QUILLON_NEW_CERTS=1 forces new ones)
#   tests/peers/certs.sh stop DIR     leaves the files for the other peers; nothing runs
source "$(dirname "$0")/common.sh"

peer_command certs "$@"
cd "$peer_dir"
stamp="$(md5sum <"$peers_home/certs.sh" | cut -d" " -f1)"
if [ "${QUILLON_NEW_CERTS:-0}" != 1 ] && [ -f peer.env.kept ] && [ "$(cat stamp 2>/dev/null)" = "$stamp" ] &&
  openssl x509 -in server.pem -noout -checkend 2592000 >/dev/null 2>&1; then
  cp peer.env.kept peer.env
  echo "$peer_dir"
  exit 0
fi
rm -f stamp peer.env.kept
rm -rf ca unknown-ca ca-path ./*.pem ./*.key ./*.der ./*.p12
peer_logs=("$peer_dir/openssl.log")
: >openssl.log

run() {
  "$@" >>"$peer_dir/openssl.log" 2>&1 || peer_fail "failed: $*"
}

new_key() {
  run openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out "$1"
}

# A CA folder that `openssl ca` signs from, so certificates can carry explicit dates.
new_ca() {
  local name="$1" subject="$2"
  mkdir -p "$name/new"
  : >"$name/index.txt"
  echo 1000 >"$name/serial"
  run openssl req -x509 -new -key "$name/ca.key" -days 3650 -subj "$subject" \
    -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign" \
    -out "$name/ca.pem"
  cat >"$name/ca.cnf" <<CNF
[ ca ]
default_ca = test_ca
[ test_ca ]
dir = $peer_dir/$name
database = \$dir/index.txt
serial = \$dir/serial
new_certs_dir = \$dir/new
certificate = \$dir/ca.pem
private_key = \$dir/ca.key
default_md = sha256
policy = any_subject
unique_subject = no
copy_extensions = none
[ any_subject ]
commonName = supplied
[ server ]
basicConstraints = CA:FALSE
keyUsage = critical,digitalSignature,keyEncipherment
extendedKeyUsage = serverAuth
subjectAltName = \$ENV::QUILLON_SAN
[ client ]
basicConstraints = CA:FALSE
keyUsage = critical,digitalSignature,keyEncipherment
extendedKeyUsage = clientAuth
CNF
}

# sign CA NAME CN EXTENSIONS SAN DATES... : NAME.pem signed with key.key by CA.
sign() {
  local ca="$1" name="$2" cn="$3" ext="$4" san="$5"
  shift 5
  run openssl req -new -key key.key -subj "/CN=$cn" -out "$name.csr"
  QUILLON_SAN="$san" run openssl ca -batch -notext -config "$ca/ca.cnf" -extensions "$ext" \
    -in "$name.csr" -out "$name.pem" "$@"
  rm -f "$name.csr"
}

good_san="DNS:localhost,IP:127.0.0.1"
# The four keys at once: their generation is most of the time.
mkdir -p ca unknown-ca
keygens=()
for key in ca/ca.key unknown-ca/ca.key key.key client.key; do
  new_key "$key" &
  keygens+=($!)
done
for keygen in "${keygens[@]}"; do
  wait "$keygen" || peer_fail "key generation failed"
done
new_ca ca "/O=Quillon Tests/CN=Quillon Test CA"
new_ca unknown-ca "/O=Quillon Tests/CN=Quillon Unknown CA"

sign ca server localhost server "$good_san" -days 825
sign ca expired localhost server "$good_san" -startdate 20200101000000Z -enddate 20210101000000Z
sign ca not-yet-valid localhost server "$good_san" -startdate 20400101000000Z \
  -enddate 20410101000000Z
sign ca wrong-host wrong.example server "DNS:wrong.example,IP:127.0.0.2" -days 825
sign unknown-ca unknown-ca localhost server "$good_san" -days 825
run openssl req -x509 -new -key key.key -days 825 -subj "/CN=localhost" \
  -addext "subjectAltName=$good_san" -addext "basicConstraints=critical,CA:FALSE" \
  -out self-signed.pem
run openssl req -new -key client.key -subj "/CN=quillon-client" -out client.csr
QUILLON_SAN="$good_san" run openssl ca -batch -notext -config ca/ca.cnf -extensions client \
  -in client.csr -out client.pem -days 825
rm -f client.csr
cat server.pem ca/ca.pem >server-chain.pem
cp ca/ca.pem ca.pem
run openssl x509 -in ca.pem -outform DER -out ca.der
run openssl pkcs12 -export -in client.pem -inkey client.key -certfile ca.pem \
  -passout pass:quillon -out client.p12
mkdir -p ca-path
cp ca.pem ca-path/quillon-test-ca.pem
run openssl rehash ca-path
chmod 644 ./*.pem ./*.key ./*.der ./*.p12

peer_write_env \
  "CA_FILE=$peer_dir/ca.pem" \
  "CA_DER=$peer_dir/ca.der" \
  "CA_PATH=$peer_dir/ca-path" \
  "SERVER_CERT=$peer_dir/server.pem" \
  "SERVER_CHAIN=$peer_dir/server-chain.pem" \
  "SERVER_KEY=$peer_dir/key.key" \
  "EXPIRED_CERT=$peer_dir/expired.pem" \
  "NOT_YET_VALID_CERT=$peer_dir/not-yet-valid.pem" \
  "WRONG_HOST_CERT=$peer_dir/wrong-host.pem" \
  "SELF_SIGNED_CERT=$peer_dir/self-signed.pem" \
  "UNKNOWN_CA_CERT=$peer_dir/unknown-ca.pem" \
  "UNKNOWN_CA_FILE=$peer_dir/unknown-ca/ca.pem" \
  "KEY_FILE=$peer_dir/key.key" \
  "CLIENT_CERT=$peer_dir/client.pem" \
  "CLIENT_KEY=$peer_dir/client.key" \
  "CLIENT_PFX=$peer_dir/client.p12" \
  "CLIENT_PFX_PASSWORD=quillon"
cp peer.env peer.env.kept
echo "$stamp" >stamp
echo "$peer_dir"
