#!/usr/bin/env python3
"""Random RCPSP instances in the style of PSPLIB's J30/J60 (Kolisch and
Sprecher's generator parameters, drawn by our own simple rules), in the
format of rcpsp.mzn.

usage: gen_rcpsp.py NAME TASKS SEED [RESOURCES] [STRENGTH]
Durations 1..10; each task uses 1..RESOURCES resources (default 4) with
demands 1..10; a task has 1..3 successors among the later tasks (an
activity-on-node network in topological order); each capacity sits at
STRENGTH (default 0.3) of the way from the largest demand on the resource
to its peak in the earliest-start schedule."""
import random
import sys

name, n, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
nres = int(sys.argv[4]) if len(sys.argv) > 4 else 4
strength = float(sys.argv[5]) if len(sys.argv) > 5 else 0.3
rng = random.Random(seed)
dur = [rng.randint(1, 10) for _ in range(n)]
demand = [[0] * n for _ in range(nres)]
for t in range(n):
    for r in rng.sample(range(nres), rng.randint(1, nres)):
        demand[r][t] = rng.randint(1, 10)
precs = set()
for t in range(n - 1):
    later = list(range(t + 1, n))
    for u in rng.sample(later, min(len(later), rng.randint(1, 3))):
        precs.add((t, u))
# Every task but the first has a predecessor now and then missing: give
# one to those that have none, from the earlier tasks.
has_pred = {u for _, u in precs}
for u in range(1, n):
    if u not in has_pred and rng.random() < 0.5:
        precs.add((rng.randrange(u), u))
precs = sorted(precs)
# Earliest starts from the precedences alone, and each resource's peak.
est = [0] * n
for t, u in precs:  # sorted by t, and t < u: one pass suffices in order
    pass
for u in range(n):
    for t, v in precs:
        if v == u:
            est[u] = max(est[u], est[t] + dur[t])
horizon = max(est[t] + dur[t] for t in range(n))
cap = []
for r in range(nres):
    peak = max(sum(demand[r][t] for t in range(n) if est[t] <= x < est[t] + dur[t]) for x in range(horizon))
    low = max(demand[r])
    cap.append(low + int(strength * (peak - low)))
rows = lambda m: "\n          | ".join(", ".join(str(v) for v in row) for row in m)
print(f"% {name}: gen_rcpsp.py {' '.join(sys.argv[1:])}")
print(f"tasks = {n};")
print(f"resources = {nres};")
print(f"dur = [{', '.join(map(str, dur))}];")
print(f"demand = [| {rows(demand)} |];")
print(f"cap = [{', '.join(map(str, cap))}];")
print(f"precs = {len(precs)};")
print(f"prec = [| {rows([[t + 1, u + 1] for t, u in precs])} |];")
