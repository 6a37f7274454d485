#!/usr/bin/env bash
# Builds the project and runs the whole test suite: the regular build, then the
# address + undefined sanitizer build. Installs what it needs on a fresh Debian 12 machine.
#   PELMO_TEST_SANITIZE=0   skip the sanitizer build
#   PELMO_BUILD_ROOT=DIR    where the build trees go (default: ./build)
#   PELMO_TEST_CROSS=ARCH   then also the suite built for ARM and run under qemu-user
#                           (armhf, arm64 or all; scripts/test-cross.sh). Off by default.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-deps.sh

root=${PELMO_BUILD_ROOT:-build}
jobs=$(nproc)

run_suite() {
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPELMO_BUILD_BENCH=ON "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  (cd "$dir" && ctest --output-on-failure -j "$jobs" --timeout 300)
}

echo "== regular build"
run_suite "$root/release"

if [ "${PELMO_TEST_SANITIZE:-1}" != 0 ]; then
  echo "== address + undefined sanitizer build"
  export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
  export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
  export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$PWD/tests/lsan.supp}
  run_suite "$root/asan" -DPELMO_SANITIZE=ON -DPELMO_BUILD_BENCH=OFF
fi

if [ -n "${PELMO_TEST_CROSS:-}" ]; then
  echo "== cross build for $PELMO_TEST_CROSS, run under qemu-user"
  bash scripts/test-cross.sh "$PELMO_TEST_CROSS"
fi
