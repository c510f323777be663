#!/usr/bin/env bash
# Installs what is missing, builds and runs the whole test suite.
# With --sanitize the build and tests run under ASan + UBSan.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/deps.sh
dir=$(bash tools/build.sh "$@" | tail -n 1)
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir "$dir" --output-on-failure -j "$(nproc)"
# The benchmark runner's own tests (no solver runs).
python3 -m unittest discover -s bench
