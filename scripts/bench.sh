#!/usr/bin/env bash
# Builds the `bench` preset and prints the table of nyx against OpenCV, libyuv and the memory
# bound: scripts/bench.sh [--ms=N] [--row=R] [--wall] [filter...]
# A filter keeps the operations whose name contains it, e.g. scripts/bench.sh SwapChannels.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup-bench.sh
cmake --preset bench >/dev/null
cmake --build --preset bench --target nyx_bench >/dev/null
exec build/bench/bench/nyx_bench "$@"
