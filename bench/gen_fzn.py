#!/usr/bin/env python3
"""Writes a synthetic FlatZinc file shaped like minizinc's output (parameter
arrays, introduced variables, linear and reified constraints with
annotations, a search annotation) with about the requested number of MB."""
import random
import sys

def main():
    megabytes = float(sys.argv[1]) if len(sys.argv) > 1 else 50
    out = sys.stdout
    rnd = random.Random(7)
    target = int(megabytes * 1e6)
    written = 0
    block = 0
    lines = []
    def emit(s):
        nonlocal written
        lines.append(s)
        written += len(s) + 1
    # The file is made of independent blocks of 1000 variables so that the
    # items stay in FlatZinc's order (parameters, variables, constraints).
    params, decls, cons = [], [], []
    while written < target:
        base = block * 1000
        params.append("array [1..3] of int: X_INTRODUCED_C%d_ = [1,-1,%d];" % (block, rnd.randint(-9, 9)))
        written += len(params[-1]) + 1
        for i in range(1000):
            v = base + i
            if i % 10 == 0:
                s = "var bool: X_INTRODUCED_%d_ ::var_is_introduced :: is_defined_var;" % v
            else:
                s = "var %d..%d: X_INTRODUCED_%d_;" % (-rnd.randint(0, 99), rnd.randint(0, 5000000000), v)
            decls.append(s)
            written += len(s) + 1
        for i in range(0, 1000, 10):
            v = base + i
            a, b, c = base + i + 1, base + i + 2, base + i + 3
            for s in ("constraint int_lin_le(X_INTRODUCED_C%d_,[X_INTRODUCED_%d_,X_INTRODUCED_%d_,X_INTRODUCED_%d_],%d);" % (block, a, b, c, rnd.randint(-100, 100)),
                      "constraint int_lin_le_reif([1,1],[X_INTRODUCED_%d_,X_INTRODUCED_%d_],-3,X_INTRODUCED_%d_):: defines_var(X_INTRODUCED_%d_);" % (a, c, v, v),
                      "constraint array_bool_or([X_INTRODUCED_%d_,X_INTRODUCED_%d_],true);" % (v, v),
                      "constraint set_in(X_INTRODUCED_%d_,{1,3,5,7,9,11});" % b,
                      "constraint int_times(X_INTRODUCED_%d_,X_INTRODUCED_%d_,X_INTRODUCED_%d_);" % (a, b, c) + " % product"):
                cons.append(s)
                written += len(s) + 1
        block += 1
    out.write("predicate nuv_all_different(array [int] of var int: x);\n")
    out.write("\n".join(params) + "\n")
    out.write("\n".join(decls) + "\n")
    n = block * 1000
    out.write("array [1..%d] of var int: xs:: output_array([1..%d]) = [%s];\n" % (
        n // 2, n // 2, ",".join("X_INTRODUCED_%d_" % (v * 2 + 1) for v in range(n // 2))))
    out.write("\n".join(cons) + "\n")
    out.write("constraint nuv_all_different(xs);\n")
    out.write("solve :: int_search(xs,first_fail,indomain_min,complete) minimize X_INTRODUCED_1_;\n")

main()
