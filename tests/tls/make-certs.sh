#!/bin/sh
# Makes the certificates of the TLS tests in DIR: a test CA and its leaves (good, expired, not
# yet valid, wrong host), a self-signed leaf, a leaf of a CA nobody trusts, and a client
# certificate as PKCS#12 with an empty password.
set -eu
dir=$1
mkdir -p "$dir"
cd "$dir"
[ -f done ] && exit 0
key() { openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$1" 2>/dev/null; }
ca() { # name subject
  key "$1.key"
  openssl req -x509 -new -key "$1.key" -subj "$2" -days 3650 -out "$1.pem" \
    -addext basicConstraints=critical,CA:true -addext keyUsage=keyCertSign,cRLSign
  : > "$1.index"; echo 01 > "$1.serial"
  cat > "$1.cnf" <<CNF
[ca]
default_ca = this
[this]
database = $1.index
new_certs_dir = .
serial = $1.serial
default_md = sha256
policy = any
copy_extensions = copy
unique_subject = no
[any]
countryName = optional
stateOrProvinceName = optional
organizationName = optional
commonName = supplied
CNF
}
leaf() { # ca name subject san start end
  key "$2.key"
  openssl req -new -key "$2.key" -subj "$3" -addext "subjectAltName=$4" \
    -addext extendedKeyUsage=serverAuth,clientAuth -out "$2.csr"
  openssl ca -batch -notext -config "$1.cnf" -cert "$1.pem" -keyfile "$1.key" -in "$2.csr" \
    -out "$2.pem" -startdate "$5" -enddate "$6" 2>/dev/null
}
ca ca "/C=US/O=Quillon Test/CN=Quillon Test CA"
ca other "/CN=Unknown Test CA"
now=20200101000000Z; later=20991231000000Z
san="DNS:localhost,IP:127.0.0.1"
leaf ca good "/C=US/ST=Test State/O=Quillon Test/CN=localhost" "$san" $now $later
leaf ca expired "/CN=localhost" "$san" 20200101000000Z 20210101000000Z
leaf ca notyet "/CN=localhost" "$san" 20980101000000Z $later
leaf ca wronghost "/CN=www.example.org" "DNS:www.example.org" $now $later
leaf other unknown "/CN=localhost" "$san" $now $later
leaf ca client "/CN=Quillon Client" "DNS:client" $now $later
key self.key
openssl req -x509 -new -key self.key -subj "/CN=localhost" -days 3650 -addext "subjectAltName=$san" -out self.pem
openssl pkcs12 -export -in client.pem -inkey client.key -passout pass: -out client.pfx
touch done
