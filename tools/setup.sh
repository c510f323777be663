#!/usr/bin/env bash
# Installs what is missing, builds nuvfd and runs the main job once: MiniZinc
# solves a job-shop (minimal makespan, proven optimal) with nuvfd and prints the
# makespan with the compiler's and the search's statistics.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/deps.sh
bash tools/build.sh
minizinc --solver share/minizinc/solvers/nuvfd.msc -s \
  bench/models/jobshop.mzn bench/models/data/jobshop-a.dzn
echo
echo "fzn-nuvfd is build/fzn-nuvfd. To use nuvfd from MiniZinc by name:"
echo "  export MZN_SOLVER_PATH=$PWD/share/minizinc/solvers; minizinc --solver nuvfd model.mzn"
