#!/usr/bin/env bash
# Installs the Debian packages named on the command line that are missing (one apt-get update,
# only when something is missing); with no names, the ones the build, the tool and the tests need.
set -euo pipefail
wanted=("$@")
if [ ${#wanted[@]} -eq 0 ]; then
  wanted=(cmake g++ make pkg-config python3 libgtest-dev libcli11-dev libpng-dev libjpeg-dev doxygen)
fi
need=()
for pkg in "${wanted[@]}"; do
  dpkg -s "$pkg" >/dev/null 2>&1 || need+=("$pkg")
done
[ ${#need[@]} -eq 0 ] && exit 0
sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
echo "installing: ${need[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${need[@]}"
