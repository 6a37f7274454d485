#!/usr/bin/env bash
# Builds the library, the host platform, the service, the tools and the tests for 32-bit ARM
# (armhf) and/or 64-bit ARM (arm64) and runs the suite under qemu-user. Installs what it needs
# on a fresh Debian 12 machine (scripts/setup-deps.sh, then scripts/cross-sysroot.sh).
#   test-cross.sh [armhf|arm64|all]     default: armhf
#   PELMO_BUILD_ROOT=DIR                where the build trees go (default: ./build)
#
# Target programs run under qemu-user: CTest starts each test through the toolchain file's
# emulator, and the programs a test starts itself (the service, pelmoctl, pelmo-host-store) are
# handed to qemu by the kernel. That hand-over is registered in a user namespace of the test
# run's own (binfmt_misc, Linux 6.7 or later), so the machine's own registrations stay as they
# are. The private bus's dbus-daemon is the machine's own. Tests that cannot run under
# emulation carry the CTest label "native-only"; they are listed before each run.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-armhf}" in
armhf | arm64) arches=("${1:-armhf}") ;;
all) arches=(armhf arm64) ;;
*)
  echo "usage: test-cross.sh [armhf|arm64|all]" >&2
  exit 2
  ;;
esac

root=$(realpath -m "${PELMO_BUILD_ROOT:-build}")
jobs=$(nproc)
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

bash scripts/setup-deps.sh

# The machine's own build: the other side of the tests across architectures (its service and
# its shared-memory probe).
echo "== build for $(dpkg --print-architecture) (the other side of the tests across architectures)"
cmake -S . -B "$root/release" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPELMO_BUILD_BENCH=ON "${launcher[@]}" >/dev/null
cmake --build "$root/release" -j "$jobs" --target pelmo-service shared_result_probe

# Runs a command with the kernel handing programs of ARCH to qemu-user, in a user and mount
# namespace of its own.
with_emulation() {
  local qemu_name=$1 sysroot=$2
  shift 2
  local conf=/usr/lib/binfmt.d/$qemu_name.conf
  [ -f "$conf" ] || {
    echo "test-cross: $conf is missing (qemu-user-static)" >&2
    return 1
  }
  QEMU_LD_PREFIX=$sysroot unshare --user --map-root-user --mount --fork -- bash -c '
    conf=$1; shift
    if ! mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc 2>/dev/null ||
       ! cat "$conf" >/proc/sys/fs/binfmt_misc/register; then
      echo "test-cross: cannot register qemu-user in a user namespace (needs Linux 6.7 or later)" >&2
      exit 1
    fi
    exec "$@"' with_emulation "$conf" "$@"
}

summary=()
for arch in "${arches[@]}"; do
  case "$arch" in
  armhf) toolchain=arm-linux-gnueabihf qemu_name=qemu-arm ;;
  arm64) toolchain=aarch64-linux-gnu qemu_name=qemu-aarch64 ;;
  esac
  sysroot=$root/sysroot-$arch
  dir=$root/cross-$arch

  echo "== $arch: compilers, qemu-user and the target's libraries"
  t0=$(date +%s)
  bash scripts/cross-sysroot.sh "$arch" "$sysroot"
  t1=$(date +%s)

  echo "== $arch: build"
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPELMO_BUILD_BENCH=OFF \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/$toolchain.cmake" -DPELMO_CROSS_SYSROOT="$sysroot" \
    -DPELMO_PEER_BUILD_DIR="$root/release" -DPELMO_EMULATED_TESTS=ON "${launcher[@]}" >/dev/null
  cmake --build "$dir" -j "$jobs"
  t2=$(date +%s)

  echo "== $arch: tests under qemu-user"
  excluded=$(cd "$dir" && ctest -N -L native-only | sed -n 's/^ *Test *#[0-9]*: //p')
  echo "not run under emulation (label native-only):"
  echo "${excluded:-  (none)}" | sed 's/^/  /'
  status=0
  with_emulation "$qemu_name" "$sysroot" \
    bash -c 'cd "$1" && ctest --output-on-failure -j "$2" --timeout 600 -LE native-only' _ "$dir" "$jobs" || status=$?
  t3=$(date +%s)
  summary+=("$arch: install $((t1 - t0)) s, build $((t2 - t1)) s, tests $((t3 - t2)) s, $(echo "$excluded" | grep -c . || true) excluded")
  [ "$status" -eq 0 ] || {
    printf '%s\n' "${summary[@]}"
    exit "$status"
  }
done
printf '%s\n' "${summary[@]}"
