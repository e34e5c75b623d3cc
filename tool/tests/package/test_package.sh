#!/usr/bin/env bash
# Installs the build tree into a temporary prefix, builds a C host against it with
# find_package(nyx) and with pkg-config, runs both, and runs the installed tool.
#   test_package.sh BUILD_DIR C_COMPILER "C_FLAGS" "LINKER_FLAGS"
set -euo pipefail
build=$1 cc=$2 cflags=${3:-} ldflags=${4:-}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libnyx.so' | head -1)")
[ -f "$prefix/include/nyx.h" ] && [ -f "$prefix/include/nyx_functions.h" ]

echo "== find_package(nyx)"
cmake -S "$here" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_C_FLAGS="$cflags" -DCMAKE_EXE_LINKER_FLAGS="$ldflags" >/dev/null
cmake --build "$work/cmake" >/dev/null
LD_LIBRARY_PATH=$libdir "$work/cmake/consumer"

echo "== pkg-config nyx"
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046,SC2086
"$cc" $cflags -std=c99 -Wall -Wextra -Werror "$here/consumer.c" -o "$work/consumer_pc" \
  $(pkg-config --define-prefix --cflags --libs nyx) $ldflags
LD_LIBRARY_PATH=$libdir "$work/consumer_pc"

echo "== installed tool"
if [ -x "$prefix/bin/nyx" ]; then
  "$prefix/bin/nyx" info | grep -q '^row '
fi
echo "package test passed"
