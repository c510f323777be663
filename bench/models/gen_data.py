"""Writes the random instance data of the benchmark suite (deterministic).

Run from anywhere: python3 bench/models/gen_data.py.  The numbers come from a
small linear congruential generator so that the data never depend on the
Python version's random module.
"""
import os
import sys


class Lcg:
    def __init__(self, seed):
        self.state = seed & 0xFFFFFFFF

    def next(self, lo, hi):
        """Uniform integer in lo..hi (inclusive)."""
        self.state = (self.state * 1103515245 + 12345) & 0x7FFFFFFF
        return lo + (self.state >> 8) % (hi - lo + 1)

    def shuffle(self, xs):
        for i in range(len(xs) - 1, 0, -1):
            j = self.next(0, i)
            xs[i], xs[j] = xs[j], xs[i]
        return xs


def array2d(rows):
    body = ",\n  ".join("| " + ", ".join(str(v) for v in r) for r in rows)
    return "[" + body + " |]"


def jobshop(seed, jobs, machines, maxdur):
    g = Lcg(seed)
    mach = [g.shuffle(list(range(1, machines + 1))) for _ in range(jobs)]
    dur = [[g.next(1, maxdur) for _ in range(machines)] for _ in range(jobs)]
    return (f"jobs = {jobs};\nmachines = {machines};\n"
            f"mach = {array2d(mach)};\ndur = {array2d(dur)};\n")


def openshop(seed, jobs, machines, maxdur):
    g = Lcg(seed)
    dur = [[g.next(1, maxdur) for _ in range(machines)] for _ in range(jobs)]
    return f"jobs = {jobs};\nmachines = {machines};\ndur = {array2d(dur)};\n"


def graph(seed, nodes, percent, maxc):
    g = Lcg(seed)
    edges = [(u, v) for u in range(1, nodes + 1) for v in range(u + 1, nodes + 1)
             if g.next(1, 100) <= percent]
    return (f"nodes = {nodes};\nedges = {len(edges)};\nmaxc = {maxc};\n"
            f"e = {array2d(edges)};\n")


def knapsack(seed, items, dims, maxw):
    g = Lcg(seed)
    weight = [[g.next(1, maxw) for _ in range(items)] for _ in range(dims)]
    # Profits loosely correlated with the total weight make the bound weak.
    profit = [sum(weight[k][i] for k in range(dims)) // dims + g.next(1, maxw // 4)
              for i in range(items)]
    capacity = [sum(row) // 2 for row in weight]
    return (f"items = {items};\ndims = {dims};\nprofit = {profit};\n"
            f"weight = {array2d(weight)};\ncapacity = {capacity};\n")


def split(seed, rows, items, maxw):
    g = Lcg(seed)
    w = [[g.next(0, maxw) for _ in range(items)] for _ in range(rows)]
    target = [sum(r) // 2 for r in w]
    return (f"rows = {rows};\nitems = {items};\nw = {array2d(w)};\n"
            f"target = {target};\n")


def resource(seed, tasks, resources):
    g = Lcg(seed)
    amin = [g.next(1, 4) for _ in range(tasks)]
    amax = [a + g.next(3, 10) for a in amin]
    profit = [g.next(1, 20) for _ in range(tasks)]
    effort = [[g.next(1, 9) for _ in range(resources)] for _ in range(tasks)]
    # Room for about 1.3 times the work of every task at its mid amount,
    # spread evenly: tight enough that the assignment matters.
    cap = [sum(effort[t][r] * (amin[t] + amax[t]) // 2 for t in range(tasks)) * 13
           // (10 * resources) for r in range(resources)]
    return (f"tasks = {tasks};\nresources = {resources};\namin = {amin};\namax = {amax};\n"
            f"profit = {profit};\neffort = {array2d(effort)};\ncap = {cap};\n")


def freq(seed, n, percent, maxsep, maxf):
    g = Lcg(seed)
    edges = [(u, v, g.next(1, maxsep)) for u in range(1, n + 1) for v in range(u + 1, n + 1)
             if g.next(1, 100) <= percent]
    return f"n = {n};\nedges = {len(edges)};\nmaxf = {maxf};\ne = {array2d(edges)};\n"


def rcpsp(seed, tasks, resources, maxdur, percent):
    g = Lcg(seed)
    dur = [g.next(1, maxdur) for _ in range(tasks)]
    demand = [[g.next(0, 5) for _ in range(tasks)] for _ in range(resources)]
    cap = [max(max(row), 7) for row in demand]
    # Precedences only from lower to higher task numbers: acyclic.
    prec = [(i, j) for i in range(1, tasks + 1) for j in range(i + 1, tasks + 1)
            if g.next(1, 100) <= percent]
    return (f"tasks = {tasks};\nresources = {resources};\ndur = {dur};\n"
            f"demand = {array2d(demand)};\ncap = {cap};\n"
            f"precs = {len(prec)};\nprec = {array2d(prec)};\n")


def nurse(seed, nurses, days, maxwork, minoff, percent):
    g = Lcg(seed)
    dayreq = [g.next(nurses // 4, nurses // 3) for _ in range(days)]
    nightreq = [g.next(1, nurses // 5) for _ in range(days)]
    wantoff = [[1 if g.next(1, 100) <= percent else 0 for _ in range(days)] for _ in range(nurses)]
    return (f"nurses = {nurses};\ndays = {days};\nmaxwork = {maxwork};\nminoff = {minoff};\n"
            f"dayreq = {dayreq};\nnightreq = {nightreq};\nwantoff = {array2d(wantoff)};\n")


def binpack(seed, items, capacity, lo, hi):
    g = Lcg(seed)
    size = sorted((g.next(lo, hi) for _ in range(items)), reverse=True)
    maxbins = min(items, (sum(size) * 2) // capacity + 1)
    return f"items = {items};\ncapacity = {capacity};\nmaxbins = {maxbins};\nsize = {size};\n"


def tsp(seed, n, size):
    g = Lcg(seed)
    pts = [(g.next(0, size), g.next(0, size)) for _ in range(n)]
    dist = [[abs(a[0] - b[0]) + abs(a[1] - b[1]) for b in pts] for a in pts]
    return f"n = {n};\ndist = {array2d(dist)};\n"


INSTANCES = {
    "jobshop-a": lambda: jobshop(2, 5, 6, 20),
    "openshop-a": lambda: openshop(1, 4, 4, 20),
    "colouring-a": lambda: graph(7, 35, 50, 20),
    "colouring-b": lambda: graph(9, 45, 35, 20),
    "knapsack-a": lambda: knapsack(3, 27, 1, 100),
    "knapsack-b": lambda: knapsack(4, 28, 3, 100),
    "split-a": lambda: split(8, 2, 28, 99),
    "resource-a": lambda: resource(1, 14, 3),
    "freq-a": lambda: freq(1, 25, 40, 4, 80),
    "queensff-150": lambda: "n = 150;\n",
    "bnb-long": lambda: "maxv = 1000000;\ncap = 7000000;\n",
    "bigdom-split": lambda: "maxv = 1000000;\nk = 8000001;\nm = 1600000;\n",
    "schur-a": lambda: "n = 44;\nk = 4;\n",
    "rcpsp-a": lambda: rcpsp(6, 14, 2, 8, 30),
    "nurse-a": lambda: nurse(1, 16, 14, 4, 4, 38),
    "binpack-a": lambda: binpack(6, 36, 100, 20, 48),
    "tsp-a": lambda: tsp(1, 14, 100),
}


def main(argv):
    outdir = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data")
    os.makedirs(outdir, exist_ok=True)
    names = argv[1:] or sorted(INSTANCES)
    for name in names:
        with open(os.path.join(outdir, name + ".dzn"), "w") as f:
            f.write(f"% {name}: generated by gen_data.py\n" + INSTANCES[name]())


if __name__ == "__main__":
    main(sys.argv)
