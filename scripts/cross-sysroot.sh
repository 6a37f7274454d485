#!/usr/bin/env bash
# Puts in place what a cross build for ARCH (armhf or arm64) needs, on a Debian 12 machine:
# the cross compilers and qemu-user from the machine's own architecture, and a private sysroot
# in DIR with the target's libraries and headers, unpacked from the target's packages.
#   cross-sysroot.sh ARCH DIR
# The target's packages are unpacked rather than installed as foreign-architecture packages:
# those must carry exactly the version of the machine's own copy of every shared package
# (glib, pcre2, libssl ...), which breaks whenever the two architectures' package indexes are
# not in step, and they would share /usr with the native build. Idempotent and quiet: a sysroot
# whose package list is unchanged is kept.
set -euo pipefail

arch=${1:?usage: cross-sysroot.sh armhf|arm64 DIR}
dir=${2:?usage: cross-sysroot.sh armhf|arm64 DIR}
case "$arch" in
armhf) qemu=qemu-arm-static ;;
arm64) qemu=qemu-aarch64-static ;;
*)
  echo "cross-sysroot: unknown architecture $arch (armhf or arm64)" >&2
  exit 2
  ;;
esac

sudo_cmd=""
[ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
export DEBIAN_FRONTEND=noninteractive
apt=(apt-get -o DPkg::Lock::Timeout=600 -qq)

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

# The target's package index is needed to download its packages.
if ! dpkg --print-foreign-architectures | grep -qx "$arch"; then
  $sudo_cmd dpkg --add-architecture "$arch"
  rm -f "$dir/.packages"
fi
if [ ! -f "$dir/.packages" ]; then
  # A mirror that is half way through a sync can fail one index; the others still count, and
  # the download below says which package it could not get.
  $sudo_cmd "${apt[@]}" update >/dev/null 2>&1 || echo "cross: apt-get update reported errors; going on with the indexes it has" >&2
fi

tools=("crossbuild-essential-$arch" qemu-user-static)
missing=()
for p in "${tools[@]}"; do installed "$p" || missing+=("$p"); done
if [ "${#missing[@]}" -gt 0 ]; then
  echo "cross: installing ${missing[*]}"
  $sudo_cmd "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >/dev/null
fi
command -v "$qemu" >/dev/null

# The libraries the project links and every library they need, for the target; programs,
# interpreters and data packages of the closure are left out.
roots=(libglib2.0-dev libjsoncpp-dev libsqlite3-dev libgtest-dev libgmock-dev)
mapfile -t packages < <(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
  --no-replaces --no-enhances "${roots[@]/%/:$arch}" 2>/dev/null |
  grep -E "^[a-z0-9][a-z0-9.+-]*:$arch\$" | sed "s/:$arch\$//" |
  grep -E '^(lib|zlib1g|uuid-dev|linux-libc-dev|gcc-12-base)' |
  grep -Ev '^(libpython|libperl|libglib2.0-(bin|dev-bin)|libc-dev-bin|libreadline|libncurses|libtinfo|libdb5|libgdbm|libpkgconf)' |
  sort -u)
if [ "${#packages[@]}" -lt "${#roots[@]}" ]; then
  echo "cross: cannot resolve the $arch packages (is the $arch package index there?)" >&2
  exit 1
fi
versions=$(apt-cache policy "${packages[@]/%/:$arch}" | awk '/^[^ ]/ {p=$1} /Candidate:/ {print p, $2}')
if [ -f "$dir/.packages" ] && [ "$(cat "$dir/.packages")" = "$versions" ]; then
  exit 0
fi

echo "cross: unpacking ${#packages[@]} $arch packages into $dir"
rm -rf "$dir"
mkdir -p "$dir/.debs"
(cd "$dir/.debs" && "${apt[@]}" download "${packages[@]/%/:$arch}" >/dev/null 2>&1) || {
  echo "cross: could not download the $arch packages" >&2
  exit 1
}
for deb in "$dir"/.debs/*.deb; do dpkg-deb -x "$deb" "$dir"; done
rm -rf "$dir/.debs"
# Absolute links point into the machine's own tree; make them point inside the sysroot.
find "$dir" -type l -lname '/*' | while read -r link; do
  ln -sfn "$dir$(readlink "$link")" "$link"
done
echo "$versions" >"$dir/.packages"
