#!/usr/bin/env bash
# Installs what the project needs to build and test, on a Debian 12 machine.
# Idempotent: it installs only packages that are missing, and says little.
set -euo pipefail

need=(
  build-essential cmake ninja-build pkg-config
  libglib2.0-dev libglib2.0-dev-bin libjsoncpp-dev libsqlite3-dev
  dbus-daemon dbus-bin
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  clang libclang-rt-14-dev llvm
  valgrind
  chromium
)

missing=()
for p in "${need[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ "${#missing[@]}" -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo_cmd apt-get update -qq >/dev/null
  $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
