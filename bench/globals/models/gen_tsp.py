#!/usr/bin/env python3
"""Random Euclidean TSP instances: n cities on a 100 x 100 grid, distances
rounded to integers. Use: gen_tsp.py N SEED > file.dzn"""
import math
import random
import sys

n, seed = int(sys.argv[1]), int(sys.argv[2])
rng = random.Random(seed)
pts = [(rng.randint(0, 100), rng.randint(0, 100)) for _ in range(n)]
d = [[round(math.dist(p, q)) for q in pts] for p in pts]
print(f"n = {n};")
print("d = [|" + "|".join(", ".join(map(str, row)) for row in d) + "|];")
