#!/usr/bin/env bash
# Installs what building and testing Quillon needs, from Debian packages. Safe to run again:
# packages already present are left alone, and apt runs only when something is missing.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
  # build
  build-essential cmake pkg-config clang libclang-rt-14-dev clang-format
  # libraries the component uses
  zlib1g-dev libssl-dev libkrb5-dev
  # tests and benchmarks
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libexpat1-dev libxml2-dev libpugixml-dev
  # real peers the tests start on 127.0.0.1
  openssl
  # live peers of tests/peers/: web servers, the client that checks them, and the build tools
  # of the sample service's native SQLite module (examples/service)
  nginx-light apache2 curl python3 make g++
  # sign-on peer (tests/peers/signon.sh): a Kerberos realm made at test time, and Apache checking
  # Negotiate and NTLM through GSS-API
  krb5-kdc krb5-admin-server krb5-user libapache2-mod-auth-gssapi gss-ntlmssp
  # key files: Argon2 of version 3 PuTTY keys; puttygen and ssh-keygen make the test keys
  libargon2-dev putty-tools openssh-client
  # proxies and SOCKS servers of tests/peers/, and expect, which replays recorded sessions
  squid dante-server microsocks tinyproxy expect
)
# The sample service runs on Node.js; Debian's is installed only when there is none.
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
  packages+=(nodejs npm)
fi

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
else
  echo "setup: installing ${missing[*]}"
  # The web server packages would start their system services on port 80: forbid that while
  # installing (the tests run their own instances on loopback).
  policy=/usr/sbin/policy-rc.d
  own_policy=0
  if [ ! -e "$policy" ]; then
    printf '#!/bin/sh\nexit 101\n' | "${sudo_cmd[@]}" tee "$policy" >/dev/null
    "${sudo_cmd[@]}" chmod 755 "$policy"
    own_policy=1
  fi
  export DEBIAN_FRONTEND=noninteractive
  status=0
  if ! "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"; then
    "${sudo_cmd[@]}" apt-get update -q
    "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" || status=$?
  fi
  [ $own_policy = 0 ] || "${sudo_cmd[@]}" rm -f "$policy"
  [ $status = 0 ] || exit $status
fi

# No system instance of the peers' servers stays running or starts at boot.
for service in nginx apache2 squid danted tinyproxy; do
  [ -e "/etc/init.d/$service" ] || continue
  if [ -d /run/systemd/system ] && command -v systemctl >/dev/null; then
    if systemctl is-enabled --quiet "$service" 2>/dev/null || systemctl is-active --quiet "$service"; then
      "${sudo_cmd[@]}" systemctl disable --now "$service" >/dev/null 2>&1 || true
    fi
  elif "/etc/init.d/$service" status >/dev/null 2>&1; then
    "${sudo_cmd[@]}" "/etc/init.d/$service" stop >/dev/null 2>&1 || true
  fi
done

# The sample OData service's packages, pinned by its package-lock.json.
service_dir=examples/service
if [ -f "$service_dir/package-lock.json" ]; then
  stamp="$service_dir/node_modules/.package-lock.json"
  if [ ! -f "$stamp" ] || [ "$service_dir/package-lock.json" -nt "$stamp" ] ||
    [ "$service_dir/package.json" -nt "$stamp" ]; then
    echo "setup: npm ci in $service_dir"
    (cd "$service_dir" && npm ci --no-audit --no-fund --loglevel=error)
  fi
fi

# The system user whose password the SOCKS server with authentication checks
# (tests/peers/dante.sh --auth).
if ! id quillonsocks >/dev/null 2>&1; then
  "${sudo_cmd[@]}" useradd --system --no-create-home --shell /usr/sbin/nologin quillonsocks
fi
echo 'quillonsocks:socks-secret-1' | "${sudo_cmd[@]}" chpasswd
