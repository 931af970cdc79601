#!/usr/bin/env bash
# Installs what building and testing Quillon needs, from Debian packages. Safe to run again:
# packages already present are left alone, and apt runs only when something is missing.
set -euo pipefail

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
  # key files: Argon2 of version 3 PuTTY keys; puttygen and ssh-keygen make the test keys
  libargon2-dev putty-tools openssh-client
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
  exit 0
fi

echo "setup: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
if ! "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"; then
  "${sudo_cmd[@]}" apt-get update -q
  "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
