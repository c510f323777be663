#!/usr/bin/env python3
"""Random shop instances in the format of jobshop.mzn / openshop.mzn.

usage: gen_shop.py job|open NAME JOBS MACHINES SEED [MAXDUR]
Durations are uniform in 1..MAXDUR (default 99); a job-shop job visits the
machines in a random order (Taillard's way of drawing instances)."""
import random
import sys

kind, name, jobs, machines, seed = sys.argv[1], sys.argv[2], *map(int, sys.argv[3:6])
maxdur = int(sys.argv[6]) if len(sys.argv) > 6 else 99
rng = random.Random(seed)
dur = [[rng.randint(1, maxdur) for _ in range(machines)] for _ in range(jobs)]
rows = lambda t: "\n        | ".join(", ".join(str(v) for v in r) for r in t)
out = [f"% {name}: gen_shop.py {' '.join(sys.argv[1:])}", f"jobs = {jobs};", f"machines = {machines};"]
if kind == "job":
    mach = []
    for _ in range(jobs):
        order = list(range(machines))
        rng.shuffle(order)
        mach.append(order)
    out.append(f"mach = [| {rows(mach)} |];")
out.append(f"dur = [| {rows(dur)} |];")
print("\n".join(out))
