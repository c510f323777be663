#!/usr/bin/env bash
# Recompiles the end-to-end models with nuvfd's solver library and records
# Gecode's answers on the very same FlatZinc: every solution for satisfaction
# problems (-a), the final objective line for optimisation problems. Needs
# Debian's minizinc and flatzinc packages.
set -euo pipefail
cd "$(dirname "$0")"
lib=$(cd ../../../share/minizinc/nuvfd && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cat > "$tmp/t.msc" <<MSC
{ "id": "org.nuvfd.e2e", "name": "e2e", "version": "0.1",
  "executable": "/bin/false", "mznlib": "$lib", "tags": ["cp","int"],
  "stdFlags": ["-a","-n"], "supportsMzn": false, "supportsFzn": true }
MSC
for m in *.mzn; do
  b=${m%.mzn}
  minizinc -c --solver "$tmp/t.msc" "$m" --fzn "$b.fzn" --ozn "$tmp/$b.ozn"
  if grep -q 'int_pow' "$b.fzn"; then
    # Gecode has no int_pow builtin: nothing to compare with.
    echo "(no reference answer)" > "$b.expected"
    continue
  fi
  fzn-gecode -a "$b.fzn" > "$b.expected"
done
