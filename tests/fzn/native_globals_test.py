#!/usr/bin/env python3
"""Native globals against MiniZinc's own decompositions: random small
instances of each global nuvfd takes natively are solved twice through
`minizinc` with fzn-nuvfd, once with nuvfd's library (one native
constraint) and once with MiniZinc's standard library (`-G std`, the
decomposition): the solutions printed must be the same, and optimisation
must reach the same optimum.

usage: native_globals_test.py FZN_NUVFD [COUNT]   (skips, exit 0, when
minizinc is missing)
"""
import concurrent.futures
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


def cumulative_opt(rng):
    """Optional tasks (starts of type var opt int) with variable durations
    and demands under a variable capacity; all solutions, or the least
    makespan of the present tasks with most of them present. Three tasks
    at most: all solutions of four run to millions."""
    n = rng.randint(2, 3)
    lines = ['include "globals.mzn";']
    lines.append(f"array[1..{n}] of var opt 0..{rng.randint(2, 4)}: s;")
    lines.append(f"array[1..{n}] of var 0..2: d;")
    lines.append(f"array[1..{n}] of var 0..2: r;")
    lines.append(f"var {rng.randint(0, 2)}..{rng.randint(2, 3)}: b;")
    for i in range(1, n + 1):
        if rng.random() < 0.5:
            lines.append(f"constraint d[{i}] = {rng.randint(0, 2)};")
        if rng.random() < 0.5:
            lines.append(f"constraint r[{i}] = {rng.randint(1, 2)};")
    lines.append("constraint cumulative(s, d, r, b);")
    if rng.random() < 0.4:
        lines.append("var 0..10: mk;")
        lines.append(f"constraint forall(i in 1..{n})(occurs(s[i]) -> deopt(s[i]) + d[i] <= mk);")
        lines.append(f"constraint sum(i in 1..{n})(occurs(s[i])) >= {n - 1};")
        lines.append("solve minimize mk + b;")
        lines.append('output ["mk=\\(mk) b=\\(b)\\n"];')
        return "\n".join(lines) + "\n", True
    lines.append("solve satisfy;")
    lines.append('output ["s=\\(s) d=\\(d) r=\\(r) b=\\(b)\\n"];')
    return "\n".join(lines) + "\n", False


def shifted_terms(rng, n):
    """x0..x(n-1), some shifted by a constant, now and then x0 twice."""
    terms = [f"x{i}" if rng.random() < 0.7 else f"x{i} + {rng.randint(-2, 2)}" for i in range(n)]
    if rng.random() < 0.1:
        terms.append(terms[0])
    return terms


def reified_ending(rng, lines, n, weight):
    """b forced now and then; all solutions, or the largest sum with b
    counted `weight` times; x and b printed."""
    if rng.random() < 0.3:
        lines.append(f"constraint {rng.choice(['b', 'not b'])};")
    xs = ", ".join(f"x{i}" for i in range(n))
    opt = rng.random() < 0.3
    lines.append(f"solve maximize sum([{xs}]) + {weight} * bool2int(b);" if opt else "solve satisfy;")
    lines.append(f'output [show([{xs}]), " ", show(b)];')
    return "\n".join(lines) + "\n", opt


def all_different(rng):
    """Variables over small overlapping domains with holes, some shifted,
    now and then one variable twice; each strength annotation and none;
    all solutions, or the least sum."""
    n = rng.randint(2, 5)
    lines = ['include "all_different.mzn";']
    for i in range(n):
        lo = rng.randint(-1, 2)
        hi = lo + rng.randint(0, 4)
        lines.append(f"var {lo}..{hi}: x{i};")
        if rng.random() < 0.3:
            lines.append(f"constraint x{i} != {rng.randint(lo, hi)};")
    terms = shifted_terms(rng, n)
    ann = rng.choice(["", " :: domain", " :: bounds", " :: value_propagation"])
    lines.append(f"constraint all_different([{', '.join(terms)}]){ann};")
    xs = ", ".join(f"x{i}" for i in range(n))
    opt = rng.random() < 0.4
    lines.append(f"solve minimize sum([{xs}]);" if opt else "solve satisfy;")
    lines.append(f'output [show([{xs}])];')
    return "\n".join(lines) + "\n", opt


def all_different_reif(rng):
    """b <-> all_different over the same kind of arrays (some sharing a
    variable)."""
    n = rng.randint(2, 4)
    lines = ['include "all_different.mzn";', "var bool: b;"]
    for i in range(n):
        lo = rng.randint(-1, 1)
        lines.append(f"var {lo}..{lo + rng.randint(0, 3)}: x{i};")
    lines.append(f"constraint b <-> all_different([{', '.join(shifted_terms(rng, n))}]);")
    return reified_ending(rng, lines, n, 3)


def table_reif(rng):
    """b <-> table over 2 or 3 variables (one sometimes twice) and a random
    table."""
    n = rng.randint(2, 3)
    lines = ['include "table.mzn";', "var bool: b;"]
    for i in range(n):
        lo = rng.randint(0, 1)
        lines.append(f"var {lo}..{lo + rng.randint(1, 3)}: x{i};")
    xs = [f"x{i}" for i in range(n)]
    if rng.random() < 0.15:
        xs[-1] = xs[0]
    rows = [[rng.randint(0, 3) for _ in range(n)] for _ in range(rng.randint(1, 8))]
    flat = ", ".join(str(v) for r in rows for v in r)
    lines.append(f"array[1..{len(rows)}, 1..{n}] of int: t = array2d(1..{len(rows)}, 1..{n}, [{flat}]);")
    lines.append(f"constraint b <-> table([{', '.join(xs)}], t);")
    return reified_ending(rng, lines, n, 2)


def disjunctive_family(strict, optional):
    """Tasks with variable starts (optional ones now and then absent) and
    durations fixed or variable from 0 (where the strict and non-strict
    forms differ); all solutions, or the least makespan."""
    def gen(rng):
        n = rng.randint(2, 4)
        opt = "opt " if optional else ""
        lines = ['include "globals.mzn";']
        # Four tasks only on short horizons: all solutions stay in the
        # thousands even in the sanitizer build.
        lines.append(f"array[1..{n}] of var {opt}0..{rng.randint(3, 6) if n < 4 else 3}: s;")
        lines.append(f"array[1..{n}] of var 0..{rng.randint(1, 3)}: d;")
        for i in range(1, n + 1):
            if rng.random() < 0.5:
                lines.append(f"constraint d[{i}] = {rng.randint(0, 3)};")
        lines.append(f"constraint disjunctive{'_strict' if strict else ''}(s, d);")
        if rng.random() < 0.4:
            lines.append("var 0..12: mk;")
            if optional:
                lines.append(f"constraint forall(i in 1..{n})(occurs(s[i]) -> deopt(s[i]) + d[i] <= mk);")
                lines.append(f"constraint sum(i in 1..{n})(occurs(s[i])) >= {n - 1};")
            else:
                lines.append(f"constraint forall(i in 1..{n})(s[i] + d[i] <= mk);")
            lines.append("solve minimize mk;")
            lines.append('output ["mk=\\(mk)\\n"];')
            return "\n".join(lines) + "\n", True
        lines.append("solve satisfy;")
        lines.append('output ["s=\\(s) d=\\(d)\\n"];')
        return "\n".join(lines) + "\n", False
    return gen


def automaton(rng, q, sy):
    d = [[rng.choice([0] + list(range(1, q + 1))) for _ in range(sy)] for _ in range(q)]
    finals = sorted(rng.sample(range(1, q + 1), rng.randint(1, q)))
    rows = " | ".join(", ".join(str(v) for v in row) for row in d)
    return f"[| {rows} |]", "{" + ", ".join(map(str, finals)) + "}"


def regular(rng):
    """Random automata of 2-4 states over 2-3 symbols, words of 3-6
    letters with some positions fixed or out of range; all solutions."""
    q, sy, n = rng.randint(2, 4), rng.randint(2, 3), rng.randint(3, 6)
    d, f = automaton(rng, q, sy)
    lines = ['include "regular.mzn";', f"array[1..{n}] of var 0..{sy + 1}: x;"]
    for i in range(1, n + 1):
        if rng.random() < 0.2:
            lines.append(f"constraint x[{i}] != {rng.randint(1, sy)};")
    lines.append(f"constraint regular(x, {q}, {sy}, {d}, {rng.randint(1, q)}, {f});")
    lines.append("solve satisfy;")
    lines.append('output ["x=\\(x)\\n"];')
    return "\n".join(lines) + "\n", False


def cost_regular(rng):
    """Random automata with costs 0..3 per transition; all solutions with
    the cost, or the least cost."""
    q, sy, n = rng.randint(2, 3), rng.randint(2, 3), rng.randint(3, 5)
    d, f = automaton(rng, q, sy)
    c = " | ".join(", ".join(str(rng.randint(0, 3)) for _ in range(sy)) for _ in range(q))
    lines = ['include "cost_regular.mzn";', f"array[1..{n}] of var 1..{sy}: x;", "var 0..20: cost;"]
    lines.append(f"constraint cost_regular(x, {q}, {sy}, {d}, {rng.randint(1, q)}, {f}, [| {c} |], cost);")
    if rng.random() < 0.5:
        lines.append("solve minimize cost;")
        lines.append('output ["cost=\\(cost)\\n"];')
        return "\n".join(lines) + "\n", True
    lines.append("solve satisfy;")
    lines.append('output ["x=\\(x) cost=\\(cost)\\n"];')
    return "\n".join(lines) + "\n", False


def gcc_family(closed, low_up):
    def gen(rng):
        """4-5 variables over small domains, 2-3 cover values (sometimes
        one twice); counts as variables or bounds; all solutions or a
        least sum."""
        n, m = rng.randint(4, 5), rng.randint(2, 3)
        cover = rng.sample(range(0, 5), m)
        if rng.random() < 0.15:
            cover.append(cover[0])
        lines = ['include "globals.mzn";', f"array[1..{n}] of var 0..4: x;"]
        name = "global_cardinality" + ("_low_up" if low_up else "") + ("_closed" if closed else "")
        cov = "[" + ", ".join(map(str, cover)) + "]"
        if low_up:
            lb = [rng.randint(0, 2) for _ in cover]
            ub = [l + rng.randint(0, 2) for l in lb]
            lines.append(f"constraint {name}(x, {cov}, {lb}, {ub});")
            out = 'output ["x=\\(x)\\n"];'
        else:
            lines.append(f"array[1..{len(cover)}] of var 0..{n}: c;")
            lines.append(f"constraint {name}(x, {cov}, c);")
            out = 'output ["x=\\(x) c=\\(c)\\n"];'
        for i in range(1, n + 1):
            if rng.random() < 0.3:
                lines.append(f"constraint x[{i}] != {rng.randint(0, 4)};")
        if rng.random() < 0.3:
            lines.append(f"solve minimize sum(i in 1..{n})(i * x[i]);")
            lines.append('output ["obj=\\(sum(i in 1..' + str(n) + ')(i * x[i]))\\n"];')
            return "\n".join(lines) + "\n", True
        lines.append("solve satisfy;")
        lines.append(out)
        return "\n".join(lines) + "\n", False
    return gen


def lex_family(strict, boolean):
    def gen(rng):
        """Two arrays of 2-4 (sometimes different lengths) over small
        domains; all solutions, or a least weighted sum."""
        nx, ny = rng.randint(2, 4), rng.randint(2, 4)
        if rng.random() < 0.6:
            ny = nx
        t = "bool" if boolean else "0..2"
        lines = ['include "globals.mzn";', f"array[1..{nx}] of var {t}: x;", f"array[1..{ny}] of var {t}: y;"]
        lines.append(f"constraint lex_{'less' if strict else 'lesseq'}(x, y);")
        if not boolean and rng.random() < 0.3:
            lines.append(f"solve minimize sum(i in 1..{ny})(i * y[i]) - x[1];")
            lines.append(f'output ["obj=\\(sum(i in 1..{ny})(i * y[i]) - x[1])\\n"];')
            return "\n".join(lines) + "\n", True
        lines.append("solve satisfy;")
        lines.append('output ["x=\\(x) y=\\(y)\\n"];')
        return "\n".join(lines) + "\n", False
    return gen


def among(rng):
    """n = the number of x in a random set, n a variable; all solutions
    or the largest n."""
    n = rng.randint(3, 5)
    v = sorted(rng.sample(range(0, 5), rng.randint(1, 3)))
    lines = ['include "globals.mzn";', f"array[1..{n}] of var 0..4: x;", f"var {rng.randint(0, 2)}..{n}: k;"]
    lines.append(f"constraint among(k, x, {{{', '.join(map(str, v))}}});")
    for i in range(1, n + 1):
        if rng.random() < 0.3:
            lines.append(f"constraint x[{i}] != {rng.randint(0, 4)};")
    if rng.random() < 0.3:
        lines += ["solve maximize k - x[1];", 'output ["k=\\(k)\\n"];']
        return "\n".join(lines) + "\n", True
    lines += ["solve satisfy;", 'output ["x=\\(x) k=\\(k)\\n"];']
    return "\n".join(lines) + "\n", False


def count_par(rel):
    def gen(rng):
        """count_<rel>(x, y, c) with constant y and c; all solutions."""
        n = rng.randint(3, 5)
        lines = ['include "globals.mzn";', f"array[1..{n}] of var 0..3: x;"]
        lines.append(f"constraint count_{rel}(x, {rng.randint(0, 3)}, {rng.randint(0, n)});")
        lines += ["solve satisfy;", 'output ["x=\\(x)\\n"];']
        return "\n".join(lines) + "\n", False
    return gen


def nvalue(rng):
    """n distinct values among 3-5 variables; all solutions, or the
    fewest values."""
    n = rng.randint(3, 5)
    lines = ['include "globals.mzn";', f"array[1..{n}] of var 0..3: x;", f"var 0..{n}: k;",
             "constraint nvalue(k, x);"]
    for i in range(1, n + 1):
        if rng.random() < 0.3:
            lines.append(f"constraint x[{i}] != {rng.randint(0, 3)};")
    if rng.random() < 0.3:
        lines += ["solve minimize k;", 'output ["k=\\(k)\\n"];']
        return "\n".join(lines) + "\n", True
    lines += ["solve satisfy;", 'output ["x=\\(x) k=\\(k)\\n"];']
    return "\n".join(lines) + "\n", False


def sliding_sum(rng):
    """Windows of 1-4 over 3-6 variables; all solutions or a least sum."""
    n, q = rng.randint(3, 6), rng.randint(1, 4)
    low = rng.randint(-1, 3)
    lines = ['include "globals.mzn";', f"array[1..{n}] of var -1..2: x;",
             f"constraint sliding_sum({low}, {low + rng.randint(0, 3)}, {q}, x);"]
    if rng.random() < 0.3:
        lines += [f"solve minimize sum(i in 1..{n})(i * x[i]);", f'output ["obj=\\(sum(i in 1..{n})(i * x[i]))\\n"];']
        return "\n".join(lines) + "\n", True
    lines += ["solve satisfy;", 'output ["x=\\(x)\\n"];']
    return "\n".join(lines) + "\n", False


def value_precede_int(rng):
    """s before t over 3-5 variables; all solutions."""
    n = rng.randint(3, 5)
    s, t = rng.sample(range(0, 4), 2)
    lines = ['include "globals.mzn";', f"array[1..{n}] of var 0..3: x;", f"constraint value_precede({s}, {t}, x);"]
    for i in range(1, n + 1):
        if rng.random() < 0.3:
            lines.append(f"constraint x[{i}] != {rng.randint(0, 3)};")
    lines += ["solve satisfy;", 'output ["x=\\(x)\\n"];']
    return "\n".join(lines) + "\n", False


def successor_graph(what):
    def gen(rng):
        """circuit/subcircuit over 3-6 nodes named from 0, 1 or 3, some links
        removed; all solutions, or the cheapest tour."""
        n, low = rng.randint(3, 6), rng.choice([0, 1, 3])
        nodes = f"{low}..{low + n - 1}"
        lines = ['include "globals.mzn";', f"array[{nodes}] of var {nodes}: x;", f"constraint {what}(x);"]
        for i in range(low, low + n):
            for _ in range(rng.randint(0, 2)):
                lines.append(f"constraint x[{i}] != {rng.randint(low, low + n - 1)};")
        if rng.random() < 0.4:
            cost = [rng.randint(0, 9) for _ in range(n * n)]
            lines += [f"array[{nodes}, {nodes}] of int: c = array2d({nodes}, {nodes}, {cost});",
                      f"var int: obj = sum(i in {nodes})(c[i, x[i]]);",
                      "solve minimize obj;", 'output ["obj=\\(obj)\\n"];']
            return "\n".join(lines) + "\n", True
        lines += ["solve satisfy;", 'output ["x=\\(x)\\n"];']
        return "\n".join(lines) + "\n", False
    return gen


def packing(what):
    def gen(rng):
        """bin_packing(_capa, _load) with 3-5 items of weights 0-5 in 2-3
        bins named from 0, 1 or 2; all solutions, or the least greatest
        load."""
        n, m, low = rng.randint(3, 5), rng.randint(2, 3), rng.choice([0, 1, 2])
        bins = f"{low}..{low + m - 1}"
        w = [rng.randint(0, 5) for _ in range(n)]
        lines = ['include "globals.mzn";', f"array[1..{n}] of var {bins}: bin;", f"array[1..{n}] of int: w = {w};"]
        if what == "bin_packing":
            lines.append(f"constraint bin_packing({rng.randint(4, 9)}, bin, w);")
            load = f"[sum(i in 1..{n})(w[i] * (bin[i] = b)) | b in {bins}]"
        elif what == "bin_packing_capa":
            caps = [rng.randint(3, 9) for _ in range(m)]
            lines.append(f"constraint bin_packing_capa(array1d({bins}, {caps}), bin, w);")
            load = f"[sum(i in 1..{n})(w[i] * (bin[i] = b)) | b in {bins}]"
        else:
            lines += [f"array[{bins}] of var 0..{rng.randint(5, 12)}: load;",
                      "constraint bin_packing_load(load, bin, w);"]
            load = "load"
        if rng.random() < 0.4:
            lines += [f"var int: obj = max({load});", "solve minimize obj;", 'output ["obj=\\(obj)\\n"];']
            return "\n".join(lines) + "\n", True
        lines += ["solve satisfy;", 'output ["bin=\\(bin)\\n"];']
        return "\n".join(lines) + "\n", False
    return gen


def knapsack(rng):
    """knapsack over 3-6 items taken 0 or 1 times (sometimes up to twice:
    the decomposition then), weights and profits 0-9; all solutions under a
    capacity, or the greatest profit."""
    n = rng.randint(3, 6)
    w = [rng.randint(0, 9) for _ in range(n)]
    p = [rng.randint(0, 9) for _ in range(n)]
    top = 2 if rng.random() < 0.2 else 1
    lines = ['include "globals.mzn";', f"array[1..{n}] of var 0..{top}: x;", f"var 0..{rng.randint(8, 20)}: W;",
             "var 0..60: P;", f"constraint knapsack({w}, {p}, x, W, P);"]
    if rng.random() < 0.5:
        lines += ["solve maximize P;", 'output ["P=\\(P)\\n"];']
        return "\n".join(lines) + "\n", True
    lines += ["solve satisfy;", 'output ["x=\\(x) W=\\(W) P=\\(P)\\n"];']
    return "\n".join(lines) + "\n", False


def spanning_tree(rng):
    """weighted_spanning_tree over 3-5 nodes and 3-8 random edges (loops and
    parallel edges allowed) of weights 0-9; all trees, or the lightest."""
    n, m = rng.randint(3, 5), rng.randint(3, 8)
    frm = [rng.randint(1, n) for _ in range(m)]
    to = [rng.randint(1, n) for _ in range(m)]
    w = [rng.randint(0, 9) for _ in range(m)]
    lines = ['include "globals.mzn";', f"array[1..{m}] of var bool: es;", "var 0..80: K;",
             f"constraint weighted_spanning_tree({n}, {m}, {frm}, {to}, {w}, es, K);"]
    if rng.random() < 0.4:
        lines += ["solve minimize K;", 'output ["K=\\(K)\\n"];']
        return "\n".join(lines) + "\n", True
    lines += ["solve satisfy;", 'output ["es=\\(es) K=\\(K)\\n"];']
    return "\n".join(lines) + "\n", False


def array_relation(what, boolean=False):
    def gen(rng):
        """An array relation over 3-5 variables; all solutions."""
        n = rng.randint(3, 5)
        t = "bool" if boolean else "0..3"
        lines = ['include "globals.mzn";', f"array[1..{n}] of var {t}: x;"]
        if what == "member":
            lines += [f"var {'bool' if boolean else '-1..4'}: y;", "constraint member(x, y);"]
            out = 'output ["x=\\(x) y=\\(y)\\n"];'
        else:
            lines.append(f"constraint {what}(x);")
            out = 'output ["x=\\(x)\\n"];'
        for i in range(1, n + 1):
            if not boolean and rng.random() < 0.3:
                lines.append(f"constraint x[{i}] != {rng.randint(0, 3)};")
        lines += ["solve satisfy;", out]
        return "\n".join(lines) + "\n", False
    return gen


GLOBALS = {"regular": regular, "wst": spanning_tree, "knapsack": knapsack, "bin_packing": packing("bin_packing"),
           "bin_packing_capa": packing("bin_packing_capa"), "bin_packing_load": packing("bin_packing_load"), "circuit": successor_graph("circuit"), "subcircuit": successor_graph("subcircuit"), "increasing_int": array_relation("increasing"),
           "decreasing_int": array_relation("decreasing"),
           "strictly_increasing_int": array_relation("strictly_increasing"),
           "increasing_bool": array_relation("increasing", True), "all_equal_int": array_relation("all_equal"),
           "member_int": array_relation("member"), "member_bool": array_relation("member", True), "sliding_sum": sliding_sum, "value_precede_int": value_precede_int, "nvalue": nvalue, "among": among, "count_eq_par": count_par("eq"), "count_leq_par": count_par("leq"),
           "count_geq_par": count_par("geq"), "count_lt_par": count_par("lt"), "count_gt_par": count_par("gt"),
           "count_neq_par": count_par("neq"), "lex_lesseq_int": lex_family(False, False), "lex_less_int": lex_family(True, False),
           "lex_lesseq_bool": lex_family(False, True), "lex_less_bool": lex_family(True, True), "global_cardinality": gcc_family(False, False),
           "global_cardinality_closed": gcc_family(True, False),
           "global_cardinality_low_up": gcc_family(False, True),
           "global_cardinality_low_up_closed": gcc_family(True, True), "cost_regular": cost_regular, "cumulative": cumulative, "cumulative_opt": cumulative_opt, "all_different_int": all_different,
           "all_different_int_reif": all_different_reif, "table_int_reif": table_reif,
           "disjunctive": disjunctive_family(False, False),
           "disjunctive_strict": disjunctive_family(True, False),
           "disjunctive_opt": disjunctive_family(False, True),
           "disjunctive_strict_opt": disjunctive_family(True, True)}


def solve(minizinc, msc, mzn, std, opt):
    """Through MiniZinc, with nuvfd's library or (std) the standard one.
    Optimisation: the status and the optimum (from the statistics). Else
    the status and the set of solutions, as the model prints them."""
    args = [minizinc, "--solver", msc, "-a", "-s", mzn]
    if std:
        args += ["-G", "std"]
    r = subprocess.run(args, capture_output=True, text=True, timeout=120)
    if r.returncode != 0:
        raise RuntimeError(f"minizinc failed ({'std' if std else 'nuvfd'}): {r.stderr.strip()}")
    blocks, block, status, objective = [], [], None, None
    for line in r.stdout.splitlines():
        if line == "----------":
            blocks.append("\n".join(block))
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


def uses_native(minizinc, msc, mzn, fzn, name):
    r = subprocess.run([minizinc, "-c", "--solver", msc, mzn, "--fzn", fzn, "--no-output-ozn"],
                       capture_output=True, text=True, timeout=120)
    if r.returncode != 0:
        return False
    with open(fzn) as f:
        # Every native entry posts one of our builtins (several forms share
        # one): the instance reached it when the FlatZinc names any.
        return any(l.startswith((f"constraint fzn_{name}(", "constraint nuvfd_")) for l in f)


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
        # The instances are drawn in order (each global's generator seeded
        # by its name), then checked on every core.
        jobs = []
        for name, gen in sorted(GLOBALS.items()):
            rng = random.Random(name)
            for k in range(count):
                text, opt = gen(rng)
                jobs.append((name, k, text, opt))

        def check(job):
            name, k, text, opt = job
            mzn = os.path.join(tmp, f"{name}{k}.mzn")
            with open(mzn, "w") as f:
                f.write(text)
            native = uses_native(minizinc, msc, mzn, os.path.join(tmp, f"{name}{k}.fzn"), name)
            a = solve(minizinc, msc, mzn, False, opt)
            b = solve(minizinc, msc, mzn, True, opt)
            if a == b:
                return native, None
            return native, (f"FAIL {name} #{k}: native and decomposition differ "
                            f"({len(a[1]) if not opt else a[1]} vs {len(b[1]) if not opt else b[1]})\n{text}")

        native_seen = {name: 0 for name in GLOBALS}
        with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count() or 2) as pool:
            for (name, _, _, _), (native, failure) in zip(jobs, pool.map(check, jobs)):
                native_seen[name] += native
                if failure:
                    failures += 1
                    print(failure)
        for name in sorted(GLOBALS):
            # Not vacuous: the native entry was used.
            if native_seen[name] == 0:
                failures += 1
                print(f"FAIL {name}: no instance reached the native constraint")
            print(f"{name}: {count} instances, {native_seen[name]} native")
    print("ok" if failures == 0 else f"{failures} failure(s)")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
