#!/usr/bin/env bash
# Installs the Debian packages the project needs, only those that are missing.
set -euo pipefail
pkgs=(cmake ninja-build g++ qt6-base-dev qt6-webengine-dev libcurl4-openssl-dev libssl-dev python3-pyftpdlib python3-openssl openssl
      libgtest-dev libgmock-dev libbenchmark-dev curl time xvfb xauth dpkg-dev pkgconf
      clang libclang-rt-14-dev)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update -q >/dev/null
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -q "${missing[@]}" >/dev/null
fi
