#!/usr/bin/env bash
# Installs what is missing, builds nuvfd and runs the main job once: fzn-nuvfd
# solves a small model (every solution of 6-queens, with statistics).
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/deps.sh
bash tools/build.sh
./build/fzn-nuvfd -a -s tests/fzn/e2e/t_queens.fzn
echo "fzn-nuvfd is build/fzn-nuvfd; for MiniZinc: export MZN_SOLVER_PATH=$PWD/share/minizinc/solvers"
