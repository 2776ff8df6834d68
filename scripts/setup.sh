#!/usr/bin/env bash
# Installs the Debian packages the build needs. Usage: scripts/setup.sh [program|all]
#   program: what building zentrix needs; all (default): also the test and benchmark oracles.
set -euo pipefail
what=${1:-all}
packages=(cmake g++ make)
[ "$what" = all ] && packages+=(libgtest-dev libgmp-dev libmpfr-dev python3-mpmath libflint-arb-dev)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get install -y -q "${missing[@]}" >/dev/null 2>&1 ||
    { apt-get update -q >/dev/null && apt-get install -y -q "${missing[@]}" >/dev/null; }
else
  echo "Missing packages: ${missing[*]}"
  echo "Install them with:  sudo apt-get install -y ${missing[*]}"
  # Carry on: whatever is already installed may still be enough.
fi
