#!/usr/bin/env python3
"""Writes the data files of the table benchmarks (deterministic per seed):
   gen_table.py random NAME n d k m rows seed
   gen_table.py config NAME slots parts fams npairs seed"""
import random
import sys


def arr2(rows):
    return "[|" + "|".join(", ".join(map(str, r)) for r in rows) + "|]"


def random_csp(name, n, d, k, m, rows, seed):
    r = random.Random(seed)
    scopes, tabs = [], []
    for _ in range(m):
        scopes.append(r.sample(range(1, n + 1), k))
        space = d ** k
        picks = r.sample(range(space), rows)
        t = []
        for p in sorted(picks):
            tup = []
            for _ in range(k):
                tup.append(p % d + 1)
                p //= d
            t.append(tup)
        tabs.append(t)
    w = [r.randint(1, 9) for _ in range(n)]
    with open(f"data/{name}.dzn", "w") as f:
        f.write(f"n = {n};\nd = {d};\nk = {k};\nm = {m};\nrows = {rows};\n")
        f.write(f"w = {w};\n")
        f.write("scope = " + arr2(scopes) + ";\n")
        flat = [v for t in tabs for tup in t for v in tup]
        f.write(f"tuples = array3d(1..{m}, 1..{rows}, 1..{k}, {flat});\n")


def config(name, slots, parts, fams, npairs, seed):
    r = random.Random(seed)
    cat = []
    for _ in range(slots):
        for p in range(1, parts + 1):
            power = r.randint(1, 200)
            # Cheaper parts draw more power and weigh more.
            cost = max(0, min(1000, 600 - 2 * power + r.randint(0, 300)))
            weight = r.randint(1, 200)
            cat.append([p, cost, power, weight, r.randint(1, fams)])
    pairs = sorted(r.sample([(a, b) for a in range(1, fams + 1) for b in range(1, fams + 1)], npairs))
    with open(f"data/{name}.dzn", "w") as f:
        f.write(f"s = {slots};\nparts = {parts};\nfams = {fams};\nnpairs = {npairs};\n")
        f.write(f"maxPower = {slots * 110};\nmaxWeight = {slots * 60};\n")
        flat = [v for row in cat for v in row]
        f.write(f"cat = array3d(1..{slots}, 1..{parts}, 1..5, {flat});\n")
        f.write("compat = " + arr2(pairs) + ";\n")


if __name__ == "__main__":
    a = sys.argv[1:]
    if a[0] == "random":
        random_csp(a[1], *map(int, a[2:8]))
    else:
        config(a[1], *map(int, a[2:7]))
