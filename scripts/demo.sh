#!/usr/bin/env bash
# The first five minutes: installs only what the demo needs, builds only the store service and
# pelmoctl (with progress), then on a private host store registers an example module, publishes
# a first preview document, a changed one and the changed one again, reads the stored preview
# back, and says what to try next. Each step ends with one line on what the store did.
# The store stays in build/demo/store for the next steps; nothing keeps running.
#   demo.sh            without `pelmoctl studio`, whose web server's packages outweigh the rest
#   demo.sh --studio   also installs libsoup 3 and builds `pelmoctl studio`
set -euo pipefail
cd "$(dirname "$0")/.."
start=$(date +%s)
case "${1:-}" in
"") studio=() ;;
--studio) studio=(--studio) ;;
*) echo "usage: demo.sh [--studio]" >&2; exit 2 ;;
esac

bash scripts/setup-deps.sh --demo "${studio[@]}"

build=build/demo
# A fresh clone has no build folder yet; the configure log goes beside the build tree.
mkdir -p "$(dirname "$build")"
echo "build: configuring $build (the library, the store service and pelmoctl; no tests)"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPELMO_BUILD_TESTS=OFF \
  -DPELMO_BUILD_BENCH=OFF >"$build.configure.log" 2>&1 || { cat "$build.configure.log" >&2; exit 1; }
# Ninja says "[done/total] what" per step; every step is shown, shortened, so that the build
# never goes quiet for long, and a heartbeat covers a single long compile.
( while sleep 8; do echo "build: still compiling..."; done ) &
heartbeat=$!
trap 'kill $heartbeat 2>/dev/null || true' EXIT
set +e
cmake --build "$build" --target pelmoctl pelmo-service -j "$(nproc)" 2>&1 |
  while IFS= read -r line; do
    case $line in
      \[*/*\]*) step=${line%%]*}; what=${line#*] }; echo "build: $step] ${what##*/}" ;;
      *error*|*Error*|*FAILED*) echo "$line" ;;
    esac
  done
status=${PIPESTATUS[0]}
set -e
kill $heartbeat 2>/dev/null || true
[ "$status" -eq 0 ] || { echo "build: failed (exit $status)" >&2; exit "$status"; }

pelmoctl=$build/tools/pelmoctl/pelmoctl
store=$build/store
module=org.example.player
rm -rf "$store"
echo
echo "pelmoctl is $pelmoctl; the demo's store is $store (pelmoctl --host $store ...)"

step() {
  echo
  echo "== $1"
}
step "register $module: its accelerator row, the module's place on the home screen"
"$pelmoctl" --host "$store" register "$module" --title Player
step "publish examples/previews/first.json (3 sections, 7 tiles; + inserted, - deleted, ~ updated, = stored)"
"$pelmoctl" --host "$store" publish "$module" examples/previews/first.json --summary
step "publish examples/previews/changed.json: one section gone, one new, tiles changed"
"$pelmoctl" --host "$store" publish "$module" examples/previews/changed.json --summary
step "publish changed.json again: nothing changed, yet every kept item is rewritten and counted as updated"
"$pelmoctl" --host "$store" publish "$module" examples/previews/changed.json --summary
step "read back: what the store holds for $module (sections and tiles as the home screen gets them)"
"$pelmoctl" --host "$store" get "$module" | awk -F'"' '
  $2 == "section_title" { print "  section: " $4 }
  $2 == "tile_title" { print "    tile: " $4 }'
echo "  (all of it: $pelmoctl --host $store get $module)"
echo
echo "done in $(( $(date +%s) - start )) s. Try next:"
if pkg-config --exists libsoup-3.0; then
  echo "  $pelmoctl --host $store studio          # the store as a live home screen in your browser"
else
  echo "  bash scripts/demo.sh --studio           # adds the live home screen: $pelmoctl --host $store studio"
fi
echo "  $pelmoctl --host $store render $module -o /tmp/preview.html"
echo "  $pelmoctl validate examples/previews/changed.json --module $module"
