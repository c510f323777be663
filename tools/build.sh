#!/usr/bin/env bash
# Configures and builds one build tree: build/ (default) or, with --sanitize,
# build-asan/ (AddressSanitizer + UndefinedBehaviorSanitizer).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=build
flags=()
if [ "${1:-}" = "--sanitize" ]; then
  dir=build-asan
  flags=(-DNUVFD_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug)
fi
cmake -S . -B "$dir" -G Ninja "${flags[@]}" >&2
cmake --build "$dir" -j "$(nproc)" >&2
echo "$dir"
