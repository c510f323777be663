#!/usr/bin/env bash
# Installs the Debian packages nuvfd needs, skipping those already present:
# the toolchain and libraries, and MiniZinc with Gecode's FlatZinc solver
# (to compile models, to run nuvfd through MiniZinc, and to compare with).
set -euo pipefail
pkgs=(g++ cmake ninja-build pkg-config googletest libgtest-dev libbenchmark-dev libsigc++-3.0-dev python3
      minizinc flatzinc)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
if ! $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"; then
  $sudo apt-get update -q
  $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
