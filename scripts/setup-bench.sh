#!/usr/bin/env bash
# Installs what the benchmark compares against (OpenCV, libyuv, Google Benchmark), only the
# packages that are missing. Debian/Ubuntu.
set -euo pipefail
packages=(libopencv-dev libyuv-dev libbenchmark-dev)
missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  sudo=(sudo)
fi
echo "setup-bench: installing ${missing[*]}"
"${sudo[@]}" apt-get update
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
