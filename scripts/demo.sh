#!/usr/bin/env bash
# The main job on a fresh machine: installs what the tool needs, builds it and runs
#   nyx demo OUT_DIR      (default: demo-out)
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-demo-out}
scripts/packages.sh cmake g++ make libcli11-dev libpng-dev libjpeg-dev
# Its own build folder, so that the test presets keep their settings.
cmake -S . -B build/demo -DCMAKE_BUILD_TYPE=Release -DNYX_BUILD_TESTS=OFF -DNYX_BUILD_DOCS=OFF >/dev/null
cmake --build build/demo -j"$(nproc)" --target nyx_tool
build/demo/tool/nyx info
build/demo/tool/nyx demo "$out"
