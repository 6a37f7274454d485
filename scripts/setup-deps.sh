#!/usr/bin/env bash
# Installs what the project needs on a Debian 12 machine: everything the build and the tests
# use, or with --demo only what scripts/demo.sh builds and runs (--demo --studio: that and
# libsoup 3 for `pelmoctl studio`). Idempotent: it installs only
# packages that are missing. Installing needs root: it uses sudo when it is not run as root,
# and when there is no sudo it prints the apt-get line to run as root instead.
set -euo pipefail

demo=(
  build-essential cmake ninja-build pkg-config
  libglib2.0-dev libglib2.0-dev-bin libjsoncpp-dev libsqlite3-dev
  dbus-daemon dbus-bin
)
# The studio's web server. On Debian 12 its development package pulls in a profiler's
# development files with GTK 4, about 250 packages, more than the rest of the demo together:
# the demo leaves it out unless asked.
studio=(libsoup-3.0-dev)
tests=(
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  clang libclang-rt-14-dev llvm
  valgrind
  chromium
  python3-jsonschema
)
need=("${demo[@]}")
case "${1:-} ${2:-}" in
"--demo --studio") need+=("${studio[@]}") ;;
"--demo "*) ;;
*) need+=("${studio[@]}" "${tests[@]}") ;;
esac

missing=()
for p in "${need[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ "${#missing[@]}" -gt 0 ] || exit 0

sudo_cmd=""
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null 2>&1; then
    echo "setup: these packages are missing: ${missing[*]}" >&2
    echo "setup: installing them needs root, and sudo is not there; run as root:" >&2
    echo "  apt-get update && apt-get install -y --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  sudo_cmd="sudo"
fi
echo "setup: installing ${#missing[@]} packages: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt_opts=(-o DPkg::Lock::Timeout=600)
# A line every few seconds while apt works, so that a slow mirror or a large package never
# looks like a hang.
( while sleep 8; do echo "setup: still working..."; done ) &
heartbeat=$!
trap 'kill $heartbeat 2>/dev/null || true' EXIT
echo "setup: reading the package lists (apt-get update)"
$sudo_cmd apt-get "${apt_opts[@]}" update -qq >/dev/null
# A line every few packages fetched and set up, so that a long install shows it is moving.
set +e
$sudo_cmd apt-get "${apt_opts[@]}" install -y --no-install-recommends "${missing[@]}" 2>&1 |
  while IFS= read -r line; do
    case $line in
      Get:*) got=$((${got:-0} + 1)); [ $((got % 10)) -ne 1 ] || echo "setup: downloading ($got packages so far)" ;;
      "Setting up "*) set_up=$((${set_up:-0} + 1))
        [ $((set_up % 10)) -ne 1 ] || echo "setup: setting up $(echo "$line" | cut -d' ' -f3) ($set_up so far)" ;;
      E:*) echo "$line" ;;
    esac
  done
status=${PIPESTATUS[0]}
set -e
kill $heartbeat 2>/dev/null || true
if [ "$status" -ne 0 ]; then
  echo "setup: apt-get failed (exit $status)" >&2
  exit "$status"
fi
echo "setup: done"
