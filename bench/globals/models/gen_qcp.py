#!/usr/bin/env python3
"""Writes a quasigroup-completion instance: a random Latin square of order N
(a cyclic one with rows, columns and symbols shuffled) with a share of its
cells emptied. usage: gen_qcp.py N HOLES SEED > data/qcp-NAME.dzn"""
import random
import sys

n, holes, seed = int(sys.argv[1]), float(sys.argv[2]), int(sys.argv[3])
rng = random.Random(seed)
rows, cols, syms = list(range(n)), list(range(n)), list(range(1, n + 1))
rng.shuffle(rows), rng.shuffle(cols), rng.shuffle(syms)
square = [[syms[(rows[i] + cols[j]) % n] for j in range(n)] for i in range(n)]
for i in range(n):
    for j in range(n):
        if rng.random() < holes:
            square[i][j] = 0
print(f"N = {n};")
print("given = [|" + "|".join(", ".join(str(v) for v in r) for r in square) + "|];")
