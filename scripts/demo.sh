#!/usr/bin/env bash
# The main job: builds the project, starts a host store on a private bus, publishes a preview
# document, publishes a changed one and reads the stored preview back.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/release -j "$(nproc)"
echo "demo: the publish path is not built yet; the library and its tests are."
