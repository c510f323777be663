#!/usr/bin/env python3
"""Random car-sequencing instances in the style of CSPLib's: options with
capacities 1/2, 2/3, 1/3, 2/5 and 1/5, classes as random option sets, class
demands summing to the number of cars; each option's use kept below its
capacity times the utilisation given.

Use: gen_carseq.py CARS OPTIONS CLASSES SEED [UTIL] > file.dzn"""
import random
import sys

cars, options, classes, seed = (int(a) for a in sys.argv[1:5])
util = float(sys.argv[5]) if len(sys.argv) > 5 else 0.85
rng = random.Random(seed)
caps = [(1, 2), (2, 3), (1, 3), (2, 5), (1, 5)]
p, q = zip(*[caps[o % len(caps)] for o in range(options)])
while True:
    req = [[1 if rng.random() < 0.4 else 0 for _ in range(options)] for _ in range(classes)]
    cuts = sorted(rng.sample(range(1, cars), classes - 1))
    demand = [b - a for a, b in zip([0] + cuts, cuts + [cars])]
    use = [sum(demand[c] * req[c][o] for c in range(classes)) for o in range(options)]
    if all(use[o] <= util * cars * p[o] / q[o] for o in range(options)) and \
            all(any(r) for r in req):
        break
print(f"nCars = {cars};\nnOptions = {options};\nnClasses = {classes};")
print(f"atMost = {list(p)};\nwindow = {list(q)};\ndemand = {demand};")
print("req = [|" + "|".join(", ".join(map(str, r)) for r in req) + "|];")
