#!/usr/bin/env bash
# Builds one preset and runs its tests: scripts/test.sh [release|debug|asan|tsan]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}
scripts/packages.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
