#!/usr/bin/env bash
# The main job: builds the project, starts the host store on a private bus with a database in
# a temporary folder, registers an example module, publishes a first preview document and a
# changed one, reads the stored preview back and prints it, showing after each step which
# requests reached the store. Stops everything it started.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/release -j "$(nproc)" >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PELMO_LOG_LEVEL=${PELMO_LOG_LEVEL:-none}
build/release/tools/pelmo-host-store/pelmo-host-store --db "$work/store.db" --log "$work/requests.log" -- \
  build/release/examples/publish/pelmo-preview-demo --log "$work/requests.log" org.example.player \
  examples/previews/first.json examples/previews/changed.json 2> >(grep -v "Failed to set fd limit" >&2)
