#!/usr/bin/env python3
"""Random bin-packing instances in the style of Falkenauer's classes, sorted
heaviest first, with as many bins as the first-fit-decreasing packing uses.
Uniform: weights uniform in [lo, hi]. Triplets (lo = 0): cap 1000, every
bin of the optimum filled exactly by three items.

Use: gen_binpack.py ITEMS CAP LO HI SEED > file.dzn"""
import random
import sys

n, cap, lo, hi, seed = (int(a) for a in sys.argv[1:6])
rng = random.Random(seed)
if lo == 0:
    cap, w = 1000, []
    for _ in range(n // 3):
        a = rng.randint(380, 490)
        b = rng.randint(250, (1000 - a) // 2)
        w += [a, b, 1000 - a - b]
    w.sort(reverse=True)
    n = len(w)
else:
    w = sorted((rng.randint(lo, hi) for _ in range(n)), reverse=True)
bins = []
for x in w:
    for b in range(len(bins)):
        if bins[b] + x <= cap:
            bins[b] += x
            break
    else:
        bins.append(x)
print(f"nItems = {n};\nnBins = {len(bins)};\ncap = {cap};\nw = {w};")
