#!/usr/bin/env python3
"""Native globals against MiniZinc's own decompositions: random small
instances of each global nuvfd takes natively are compiled twice, once with
nuvfd's library (one native constraint) and once with MiniZinc's standard
library (the decomposition), and both FlatZinc files are solved by
fzn-nuvfd: all solutions must be the same, and optimisation must reach the
same optimum.

usage: native_globals_test.py FZN_NUVFD [COUNT]   (skips, exit 0, when
minizinc is missing)
"""
import json
import os
import random
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.abspath(os.path.join(HERE, "..", ".."))


def cumulative(rng):
    """Tasks with variable starts, durations and demands (some fixed, some
    zero) under a variable capacity; all solutions, or the least makespan."""
    n = rng.randint(2, 4)

    def dom(lo, hi):
        a = rng.randint(lo, hi)
        b = rng.randint(a, hi)
        return f"{a}..{b}"

    lines = ['include "cumulative.mzn";']
    lines.append(f"array[1..{n}] of var {dom(0, 3)}: s0;")
    lines.append(f"array[1..{n}] of var int: s = [s0[i] + {rng.randint(0, 1)} * (i - 1) | i in 1..{n}];")
    lines.append(f"array[1..{n}] of var 0..3: d;")
    lines.append(f"array[1..{n}] of var 0..3: r;")
    lines.append(f"var {dom(0, 4)}: b;")
    for i in range(1, n + 1):
        if rng.random() < 0.5:
            lines.append(f"constraint d[{i}] = {rng.randint(0, 3)};")
        if rng.random() < 0.25:
            lines.append(f"constraint r[{i}] = {rng.randint(0, 3)};")
    lines.append("constraint cumulative(s, d, r, b);")
    if rng.random() < 0.5:
        lines.append("var 0..10: mk;")
        lines.append(f"constraint forall(i in 1..{n})(s[i] + d[i] <= mk);")
        lines.append("solve minimize mk + b;")
        lines.append('output ["mk=\\(mk) b=\\(b)\\n"];')
        opt = True
    else:
        lines.append("solve satisfy;")
        lines.append('output ["s=\\(s) d=\\(d) r=\\(r) b=\\(b)\\n"];')
        opt = False
    return "\n".join(lines) + "\n", opt


GLOBALS = {"cumulative": cumulative}


def compile_model(minizinc, msc, mzn, fzn, std):
    args = [minizinc, "-c", "--solver", msc, mzn, "--fzn", fzn, "--no-output-ozn"]
    if std:
        args += ["-G", "std"]
    r = subprocess.run(args, capture_output=True, text=True, timeout=120)
    if r.returncode != 0:
        raise RuntimeError(f"minizinc -c failed ({'std' if std else 'nuvfd'}): {r.stderr.strip()}")
    with open(fzn) as f:
        return f.read()


def solve(fzn_nuvfd, fzn, opt):
    """Optimisation: the status and the optimum (from the statistics). Else
    the status and the set of solutions."""
    r = subprocess.run([fzn_nuvfd, "-a", "-s", fzn], capture_output=True, text=True, timeout=120)
    if r.returncode != 0:
        raise RuntimeError(f"fzn-nuvfd failed: {r.stderr.strip()}")
    blocks, block, status, objective = [], [], None, None
    for line in r.stdout.splitlines():
        if line == "----------":
            blocks.append("\n".join(sorted(block)))
            block = []
        elif line.startswith("====="):
            status = line
        elif line.startswith("%%%mzn-stat: objective="):
            objective = int(line.split("=")[1])
        elif line and not line.startswith("%"):
            block.append(line)
    if opt:
        if status == "==========" and objective is None:
            raise RuntimeError("no objective reported")
        return status, objective
    return status, sorted(set(blocks))


def main():
    fzn_nuvfd = os.path.abspath(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 40
    minizinc = shutil.which("minizinc")
    if not minizinc:
        print("minizinc is not installed: skipped")
        return 0
    failures = 0
    with tempfile.TemporaryDirectory() as tmp:
        msc = os.path.join(tmp, "nuvfd.msc")
        with open(os.path.join(ROOT, "share/minizinc/solvers/nuvfd.msc")) as f:
            conf = json.load(f)
        conf["executable"] = fzn_nuvfd
        conf["mznlib"] = os.path.join(ROOT, "share/minizinc/nuvfd")
        with open(msc, "w") as f:
            json.dump(conf, f)
        for name, gen in sorted(GLOBALS.items()):
            rng = random.Random(name)
            native_seen = 0
            for k in range(count):
                text, opt = gen(rng)
                mzn = os.path.join(tmp, f"{name}{k}.mzn")
                with open(mzn, "w") as f:
                    f.write(text)
                nat = os.path.join(tmp, f"{name}{k}-native.fzn")
                dec = os.path.join(tmp, f"{name}{k}-std.fzn")
                native_text = compile_model(minizinc, msc, mzn, nat, False)
                compile_model(minizinc, msc, mzn, dec, True)
                native_seen += f"fzn_{name}" in native_text
                a, b = solve(fzn_nuvfd, nat, opt), solve(fzn_nuvfd, dec, opt)
                if a != b:
                    failures += 1
                    print(f"FAIL {name} #{k}: native {a} != decomposition {b}\n{text}")
            # Not vacuous: the native entry was used.
            if native_seen == 0:
                failures += 1
                print(f"FAIL {name}: no instance reached the native constraint")
            print(f"{name}: {count} instances, {native_seen} native")
    print("ok" if failures == 0 else f"{failures} failure(s)")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
