#!/usr/bin/env python3
"""Random multi-dimensional knapsacks (Chu and Beasley's recipe): weights
uniform in 1..100, capacities a fraction of each dimension's total, profits
correlated with the weights.

Use: gen_mknap.py ITEMS DIMS TIGHTNESS SEED > file.dzn"""
import random
import sys

n, dims = int(sys.argv[1]), int(sys.argv[2])
tight, seed = float(sys.argv[3]), int(sys.argv[4])
rng = random.Random(seed)
weight = [[rng.randint(1, 100) for _ in range(n)] for _ in range(dims)]
capacity = [int(tight * sum(row)) for row in weight]
profit = [sum(weight[d][i] for d in range(dims)) // dims + rng.randint(0, 50) for i in range(n)]
print(f"n = {n};\ndims = {dims};\nprofit = {profit};")
print("weight = [|" + "|".join(", ".join(map(str, r)) for r in weight) + "|];")
print(f"capacity = {capacity};")
