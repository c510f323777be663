#!/usr/bin/env bash
# Recompiles the models of this directory to the FlatZinc the reader's tests
# read. Needs Debian's minizinc. mznlib/ declares one solver-specific global
# and two half-reified builtins, so that the output has predicate items and
# _imp constraints like the ones our own solver library will produce.
set -euo pipefail
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cat > "$tmp/t.msc" <<MSC
{ "id": "org.nuvfd.fzntest", "name": "fzntest", "version": "0.1",
  "executable": "/bin/false", "mznlib": "$PWD/mznlib", "tags": ["cp","int"],
  "stdFlags": ["-a","-n"], "supportsMzn": false, "supportsFzn": true }
MSC
minizinc -c -G std --solver gecode queens.mzn --fzn queens.fzn --ozn "$tmp/q.ozn"
minizinc -c -G std --solver gecode globals.mzn --fzn globals.fzn --ozn "$tmp/g.ozn"
minizinc -c --solver "$tmp/t.msc" sched.mzn --fzn sched.fzn --ozn "$tmp/s.ozn"
minizinc -c --solver "$tmp/t.msc" misc.mzn --fzn misc.fzn --ozn "$tmp/m.ozn" --keep-paths
rm -f misc.paths
# Absolute paths in mzn_path annotations would differ between machines.
sed -i "s|$PWD/||g" misc.fzn
