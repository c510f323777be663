#!/usr/bin/env bash
# Installs what is missing, builds nuvfd and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/deps.sh
bash tools/build.sh
# The main job (the FlatZinc front end fzn-nuvfd) does not exist yet; until it
# does, setup ends with the build.
echo "built: build/libnuvfd.so, build/libnuvhost.so (no front end yet)"
