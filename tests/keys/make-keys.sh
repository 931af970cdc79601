#!/usr/bin/env bash
# Makes the key and certificate files of the key tests in DIR with the system's own tools:
# openssl, ssh-keygen and puttygen. The password of every encrypted file is "secret".
set -euo pipefail
dir=$1
mkdir -p "$dir"
cd "$dir"
# Test programs run in parallel: the first makes the files, the others wait for it.
exec 9>lock
flock 9
[ -f done ] && exit 0
pw=pass:secret
echo -n secret > pass.txt
o() { openssl "$@" 2>/dev/null; }

o genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out rsa.p8
o rsa -in rsa.p8 -traditional -out rsa.pem
o rsa -in rsa.p8 -traditional -outform DER -out rsa.der
o rsa -in rsa.p8 -traditional -des3 -passout $pw -out rsa-legacy-des3.pem
o rsa -in rsa.p8 -traditional -aes128 -passout $pw -out rsa-legacy-aes128.pem
o pkcs8 -topk8 -in rsa.p8 -passout $pw -out rsa-aes.p8
o pkcs8 -topk8 -in rsa.p8 -v2 des3 -passout $pw -out rsa-des3.p8
o pkcs8 -topk8 -in rsa.p8 -v2 aes128 -v2prf hmacWithSHA512 -passout $pw -out rsa-aes128-sha512.p8
o rsa -in rsa.p8 -pubout -out rsa.pub.pem
o rsa -in rsa.p8 -RSAPublicKey_out -out rsa.rsapub.pem
o req -x509 -key rsa.p8 -subj "/CN=Quillon Client/O=Quillon Tests" -days 2 -out rsa.crt
cat rsa.crt rsa.pem > rsa-with-cert.pem
o pkcs12 -export -inkey rsa.p8 -in rsa.crt -passout $pw -out rsa-aes.pfx
o pkcs12 -export -legacy -inkey rsa.p8 -in rsa.crt -passout $pw -out rsa-legacy.pfx
o pkcs12 -export -inkey rsa.p8 -in rsa.crt -passout pass: -out rsa-empty.pfx

for curve in P-256 P-384 P-521; do
  o genpkey -algorithm EC -pkeyopt ec_paramgen_curve:$curve -out ec-$curve.p8
  o ec -in ec-$curve.p8 -out ec-$curve.pem
  o pkcs8 -topk8 -in ec-$curve.p8 -passout $pw -out ec-$curve-aes.p8
done
o req -x509 -key ec-P-256.p8 -subj "/CN=Quillon EC Client" -days 2 -out ec.crt
o pkcs12 -export -inkey ec-P-256.p8 -in ec.crt -passout $pw -out ec.pfx
o genpkey -algorithm ED25519 -out ed25519.p8

o genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out other.p8
o req -x509 -key other.p8 -subj "/CN=Other Client/O=Quillon Tests" -days 2 -out other.crt
o crl2pkcs7 -nocrl -certfile rsa.crt -certfile other.crt -outform DER -out bundle.p7b

o genpkey -genparam -algorithm DSA -pkeyopt dsa_paramgen_bits:1024 -out dsa-parameters.pem
o genpkey -paramfile dsa-parameters.pem -out dsa.p8
o dsa -in dsa.p8 -out dsa.pem
puttygen dsa.pem -O private -o dsa.ppk

for type in rsa ecdsa ed25519; do
  ssh-keygen -q -t $type -N "" -C "test key" -f openssh-$type
done
ssh-keygen -q -t ed25519 -N secret -f openssh-encrypted
ssh-keygen -e -f openssh-rsa.pub > rsa.rfc4716.pub
ssh-keygen -e -m PKCS8 -f openssh-rsa.pub > openssh-rsa.pub.pem
ssh-keygen -e -m PKCS8 -f openssh-ecdsa.pub > openssh-ecdsa.pub.pem
o req -x509 -newkey rsa:2048 -nodes -keyout server.key -subj "/CN=127.0.0.1" -days 2 -out server.crt

puttygen rsa.pem -O private -o rsa-v3.ppk
puttygen rsa.pem -O private -o rsa-v3-secret.ppk --new-passphrase pass.txt
puttygen rsa.pem -O private -o rsa-v2.ppk --ppk-param version=2
puttygen rsa.pem -O private -o rsa-v2-secret.ppk --ppk-param version=2 --new-passphrase pass.txt
# PPK 2 and 3 of the curves' keys, plain and with the password, and OpenSSL's reference
for type in ecdsa-256 ecdsa-384 ecdsa-521 ed25519; do
  case $type in
  ecdsa-*) ssh-keygen -q -t ecdsa -b ${type#ecdsa-} -N "" -C "test key" -f curve-$type ;;
  *) ssh-keygen -q -t $type -N "" -C "test key" -f curve-$type ;;
  esac
  [ $type = ed25519 ] || ssh-keygen -e -m PKCS8 -f curve-$type.pub > curve-$type.pub.pem
  for version in 2 3; do
    puttygen curve-$type -O private -o curve-$type-v$version.ppk --ppk-param version=$version
    puttygen curve-$type -O private -o curve-$type-v$version-secret.ppk \
      --ppk-param version=$version --new-passphrase pass.txt
  done
done
puttygen rsa.pem -O private-sshcom -o rsa.sshcom
puttygen rsa.pem -O private-sshcom -o rsa-secret.sshcom --new-passphrase pass.txt
touch done
