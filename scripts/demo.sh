#!/usr/bin/env bash
# The main job on a fresh machine: installs what the tool needs, builds it and runs
#   nyx demo OUT_DIR      (default: demo-out)
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-demo-out}
scripts/packages.sh cmake g++ make libcli11-dev libpng-dev libjpeg-dev
cmake --preset release -DNYX_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release -j"$(nproc)" --target nyx_tool
build/release/tool/nyx info
build/release/tool/nyx demo "$out"
