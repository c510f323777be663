#!/usr/bin/env python3
"""Random small FlatZinc models for the differential tester.

generate(seed) is deterministic per seed: 2-6 integer decision variables with
domains inside -4..4 (often with holes), a few Booleans, 2-6 constraints drawn
from every int and Bool builtin the FlatZinc front end posts natively (plain,
reified, element and arithmetic forms), then satisfaction or optimisation.
Arguments are shared on purpose: the same variable in several positions of one
constraint, an element index inside its own array or equal to the result, a
linear sum with repeated terms, a reification's control among its operands.
Results of functional constraints are either existing variables or new
auxiliaries marked var_is_introduced (some hidden from the output, so a
solution can be printed several times by a solver that branches on them).

usage: gen.py SEED [COUNT]   prints the model(s)
"""
import random
import re
import sys

import oracle
from fznmodel import Model, Var

# Builtins without "_imp" (half-reified) forms: the front end has no handler
# for them and the MiniZinc library does not ask for them.
FAMILIES = [
    "int_eq", "int_ne", "int_le", "int_lt",
    "int_eq_reif", "int_ne_reif", "int_le_reif", "int_lt_reif",
    "int_lin_eq", "int_lin_ne", "int_lin_le",
    "int_lin_eq_reif", "int_lin_ne_reif", "int_lin_le_reif",
    "int_plus", "int_times", "int_div", "int_mod", "int_abs", "int_min", "int_max", "int_pow",
    "array_int_minimum", "array_int_maximum",
    "array_int_element", "array_bool_element", "array_var_int_element", "array_var_bool_element",
    "array_bool_and", "array_bool_or", "array_bool_xor",
    "bool_clause", "bool_clause_reif", "bool2int",
    "bool_eq", "bool_ne", "bool_le", "bool_lt",
    "bool_eq_reif", "bool_ne_reif", "bool_le_reif", "bool_lt_reif",
    "bool_and", "bool_or", "bool_xor", "bool_not",
    "bool_lin_eq", "bool_lin_le",
    "set_in", "set_in_reif",
    "nuvfd_table_int", "nuvfd_table_bool", "nuvfd_inverse",
    "nuvfd_disjunctive", "nuvfd_disjunctive_strict",
    "nuvfd_circuit", "nuvfd_bin_packing_load",
]

# Bound on the product of all domain sizes, so that gecode's -a enumeration
# of a weakly constrained model stays quick.
MAX_SPACE = 40000


class Gen:
    def __init__(self, seed):
        self.r = random.Random(seed)
        self.m = Model()
        self.naux = 0
        self.narr = 0
        self.used = []  # variables of the constraint being built

    # -- variables ---------------------------------------------------------
    def domain(self):
        """Inside -4..4; small ones are common, since a domain fixed or halved
        while the constraints are posted is where wake-ups get missed."""
        r = self.r
        if self.wide:
            lo = r.randint(-10, 9)
            hi = r.randint(lo + 1, 10)
            dom = list(range(lo, hi + 1))
            if len(dom) > 3 and r.random() < 0.5:
                for x in r.sample(dom[1:-1], r.randint(1, len(dom) // 3)):
                    dom.remove(x)
            return dom
        size = r.choice([1, 2, 2, 2, 3, 3, 3, 4, 4, 5, 5, 6, 7])
        if size <= 2 or r.random() < 0.55:
            lo = r.randint(-4, 5 - size)
            return list(range(lo, lo + size))
        lo = r.randint(-4, max(-4, 5 - size - 2))
        window = list(range(lo, min(4, lo + size + 1) + 1))
        return sorted(r.sample(window, size))

    def aux(self, kind, dom=None):
        self.naux += 1
        anns = ["var_is_introduced"]
        if self.r.random() < 0.3:
            anns.append("output_var")
        name = f"{'b' if kind == 'bool' else 'a'}{self.naux}"
        v = Var(name, kind, dom, anns)
        self.m.vars.append(v)
        return name

    def ints(self):
        return [v for v in self.m.vars if v.kind == "int"]

    def bools(self):
        return [v for v in self.m.vars if v.kind == "bool"]

    def pick(self, pool):
        """A variable name, reusing one of this constraint's own with some
        probability so that arguments get shared."""
        r = self.r
        own = [n for n in self.used if n in {v.name for v in pool}]
        name = r.choice(own) if own and r.random() < 0.15 else r.choice(pool).name
        self.used.append(name)
        return name

    def ivar(self):
        return self.pick(self.ints())

    def iarg(self):
        k = 10 if self.wide else 4
        return str(self.r.randint(-k, k)) if self.r.random() < 0.15 else self.ivar()

    def bvar(self):
        if not self.bools() or self.r.random() < 0.15:
            name = self.aux("bool")
            self.used.append(name)
            return name
        return self.pick(self.bools())

    def barg(self):
        return self.r.choice(["true", "false"]) if self.r.random() < 0.1 else self.bvar()

    def control(self):
        """A reification's control: fresh, existing, or one of the operands."""
        r = self.r.random()
        if r < 0.45:
            name = self.aux("bool")
            self.used.append(name)
            return name
        return self.bvar()

    def result(self, lo=-4, hi=4):
        """The result of a function: an existing variable or a new auxiliary."""
        if self.wide:
            lo, hi = lo * 4, hi * 4
        if self.r.random() < 0.35:
            return self.ivar()
        name = self.aux("int", list(range(lo, hi + 1)))
        self.used.append(name)
        return name

    def arr(self, items):
        return "[" + ", ".join(items) + "]"

    # -- constraints -------------------------------------------------------
    def constraint(self, fam):
        r = self.r
        self.used = []
        base = fam[:-5] if fam.endswith("_reif") else fam
        reif = fam.endswith("_reif")
        if base in ("int_eq", "int_ne", "int_le", "int_lt"):
            a = self.ivar()
            b = self.iarg()
            args = [a, b] if r.random() < 0.5 else [b, a]
        elif base in ("int_lin_eq", "int_lin_ne", "int_lin_le"):
            n = r.randint(1, 4)
            xs = [self.ivar() for _ in range(n)]
            cs = [str(r.choice([-3, -2, -1, 1, 1, 1, 2, 3])) for _ in range(n)]
            args = [self.arr(cs), self.arr(xs), str(r.randint(-5, 5))]
        elif fam in ("int_plus", "int_times", "int_div", "int_mod", "int_min", "int_max"):
            lo, hi = (-8, 8) if fam in ("int_plus", "int_times") else (-4, 4)
            args = [self.ivar(), self.iarg(), self.result(lo, hi)]
            if fam in ("int_div", "int_mod") and args[1] == "0":
                args[1] = "2"
        elif fam == "int_abs":
            args = [self.ivar(), self.result(0, 4)]
        elif fam == "int_pow":
            # Only non-negative exponents: a negative one has no FlatZinc meaning
            # shared by both solvers.
            nonneg = [v for v in self.ints() if v.dom[0] >= 0 and v.dom[-1] <= 3]
            if nonneg and r.random() < 0.6:
                e = self.pick(nonneg)
            elif r.random() < 0.5:
                e = self.aux("int", list(range(0, r.randint(1, 3) + 1)))
            else:
                e = str(r.randint(0, 3))
            args = [self.ivar(), e, self.result(-8, 8)]
        elif fam in ("array_int_minimum", "array_int_maximum"):
            xs = [self.ivar() for _ in range(r.randint(1, 4))]
            args = [self.result(), self.arr(xs)]
        elif fam in ("array_int_element", "array_var_int_element"):
            n = r.randint(1, 4)
            idx = self.ivar()
            if fam == "array_int_element":
                xs = [str(r.randint(-4, 4)) for _ in range(n)]
            else:
                xs = [self.ivar() for _ in range(n)]
            res = idx if r.random() < 0.15 else self.result()
            args = [idx, self.arr(xs), res]
        elif fam in ("array_bool_element", "array_var_bool_element"):
            n = r.randint(1, 4)
            idx = self.ivar()
            if fam == "array_bool_element":
                xs = [r.choice(["true", "false"]) for _ in range(n)]
            else:
                xs = [self.bvar() for _ in range(n)]
            args = [idx, self.arr(xs), self.control()]
        elif fam in ("array_bool_and", "array_bool_or"):
            xs = [self.barg() for _ in range(r.randint(1, 4))]
            args = [self.arr(xs), self.control()]
        elif fam == "array_bool_xor":
            args = [self.arr([self.barg() for _ in range(r.randint(1, 4))])]
        elif fam in ("bool_clause", "bool_clause_reif"):
            pos = [self.barg() for _ in range(r.randint(0, 3))]
            neg = [self.barg() for _ in range(r.randint(0 if pos else 1, 3))]
            args = [self.arr(pos), self.arr(neg)]  # a _reif gets its control below
        elif fam == "bool2int":
            b = self.bvar()
            args = [b, self.ivar() if r.random() < 0.5 else self.aux("int", [0, 1])]
        elif base in ("bool_eq", "bool_ne", "bool_le", "bool_lt"):
            args = [self.barg(), self.bvar()]
            if r.random() < 0.5:
                args.reverse()
        elif fam in ("bool_and", "bool_or", "bool_xor"):
            args = [self.barg(), self.bvar()]
            reif = True
        elif fam == "bool_not":
            args = [self.bvar(), self.bvar()]
        elif fam in ("bool_lin_eq", "bool_lin_le"):
            n = r.randint(1, 4)
            xs = [self.bvar() for _ in range(n)]
            cs = [str(r.choice([-2, -1, 1, 1, 2, 3])) for _ in range(n)]
            if fam == "bool_lin_eq" and r.random() < 0.5:
                c = self.ivar()
            else:
                c = str(r.randint(-2, 4))
            args = [self.arr(cs), self.arr(xs), c]
        elif fam in ("set_in", "set_in_reif"):
            x = self.ivar()
            dom = self.m.var(x).dom
            if r.random() < 0.6 and len(dom) > 1:
                # Mostly a proper subset of x's domain, so that it narrows.
                vals = r.sample(dom, r.randint(1, len(dom) - 1))
                if r.random() < 0.3:
                    vals.append(r.randint(-5, 5))
                s = "{" + ",".join(map(str, sorted(set(vals)))) + "}"
            elif r.random() < 0.3:
                lo = r.randint(-5, 3)
                s = f"{lo}..{lo + r.randint(0, 4)}"
            else:
                s = "{" + ",".join(map(str, sorted(r.sample(range(-5, 6), r.randint(1, 4))))) + "}"
            args = [x, s]
        elif fam == "nuvfd_table_int":
            # Rows mostly from the variables' domains (some outside), with
            # duplicates; one row now and then.
            xs = [self.ivar() for _ in range(r.randint(1, 3))]
            rows = []
            for _ in range(1 if r.random() < 0.15 else r.randint(2, 10)):
                for x in xs:
                    dom = self.m.var(x).dom
                    rows.append(str(r.choice(dom) if r.random() < 0.85 else r.randint(-5, 5)))
            args = [self.arr(xs), self.arr(rows)]
        elif fam == "nuvfd_table_bool":
            xs = [self.barg() for _ in range(r.randint(1, 3))]
            rows = [r.choice(["true", "false"]) for _ in range(len(xs) * r.randint(1, 5))]
            args = [self.arr(xs), self.arr(rows)]
        elif fam == "nuvfd_inverse":
            # Arrays over index sets starting at 0, 1 or 2 (fzn-gecode takes
            # no negative offsets, nor arrays of different lengths); entries
            # may repeat a variable.
            n = r.randint(1, 3)
            f = [self.ivar() for _ in range(n)]
            g = [self.ivar() for _ in range(n)]
            args = [self.arr(f), str(r.randint(0, 2)), self.arr(g), str(r.randint(0, 2))]
        elif fam in ("nuvfd_disjunctive", "nuvfd_disjunctive_strict"):
            # Two to four tasks; durations fixed or variable, 0 included
            # (where the two forms differ), a variable now and then in two
            # places.
            n = r.randint(2, 4)
            ss = [self.ivar() for _ in range(n)]
            ds = [str(r.randint(0, 3)) if r.random() < 0.5 else self.ivar() for _ in range(n)]
            args = [self.arr(ss), self.arr(ds)]
        elif fam == "nuvfd_circuit":
            # Two to four successors over nodes named from 0, 1 or 2 (the
            # variables' domains reach past them); a variable now and then
            # in two places. Gecode has no subcircuit builtin: circuit only.
            n = r.randint(2, 4)
            args = [str(r.randint(0, 2)), self.arr([self.ivar() for _ in range(n)]), "0"]
        elif fam == "nuvfd_bin_packing_load":
            # One to four items of weights 0-3 into one to three bins named
            # from 0, 1 or 2.
            n, m = r.randint(1, 4), r.randint(1, 3)
            args = [self.arr([self.ivar() for _ in range(m)]), self.arr([self.ivar() for _ in range(n)]),
                    self.arr([str(r.randint(0, 3)) for _ in range(n)]), str(r.randint(0, 2))]
        else:
            raise AssertionError(fam)
        if reif:
            args.append(self.control())
        self.m.cons.append((fam, [self.hoist(a) for a in args]))

    def hoist(self, arg):
        """Sometimes an array argument becomes a named array declaration."""
        if not arg.startswith("[") or self.r.random() > 0.25 or arg == "[]":
            return arg
        items = [x.strip() for x in arg[1:-1].split(",")]
        names = [x for x in items if re.fullmatch(r"[A-Za-z_]\w*", x) and x not in ("true", "false")]
        if any(x in ("true", "false") for x in items) or any(self.m.var(x).kind == "bool" for x in names):
            t = "bool"
        else:
            t = "int"
        self.narr += 1
        name = f"{'A' if names else 'C'}{self.narr}"
        self.m.arrays.append(f"array [1..{len(items)}] of {'var ' if names else ''}{t}: {name} = {arg};")
        return name

    def alias(self, i):
        """`var D: y = x;`: another name for a variable (or a constant), with
        a domain of its own that may be narrower."""
        r = self.r
        anns = ["output_var"] if r.random() < 0.5 else []
        if self.bools() and r.random() < 0.3:
            self.m.vars.append(Var(f"q{i}", "bool", None, anns, r.choice(self.bools()).name))
            return
        t = r.choice([v for v in self.ints() if v.value is None])
        choice = r.random()
        if choice < 0.3:
            dom = list(t.dom)
        elif choice < 0.8:
            dom = sorted(r.sample(t.dom, r.randint(1, len(t.dom))))
        else:
            dom = list(range(-4, 5))
        value = t.name if r.random() < 0.9 else str(r.choice(dom))
        self.m.vars.append(Var(f"y{i}", "int", dom, anns, value))

    def narrowing(self):
        r = self.r
        self.used = []
        if self.bools() and r.random() < 0.25:
            self.m.cons.append(("bool_eq", [self.bvar(), r.choice(["true", "false"])]))
            return
        x = self.ivar()
        dom = self.m.var(x).dom
        c = str(r.choice(dom))
        kind = r.choice(["set_in", "set_in", "int_eq", "int_ne", "int_le", "int_lin_le", "int_lin_ne"])
        if kind == "set_in":
            k = 1 if r.random() < 0.4 else r.randint(1, max(1, len(dom) - 1))
            vals = r.sample(dom, k)
            self.m.cons.append(("set_in", [x, "{" + ",".join(map(str, sorted(vals))) + "}"]))
        elif kind in ("int_lin_le", "int_lin_ne"):
            k = r.choice([1, -1])
            self.m.cons.append((kind, [f"[{k}]", f"[{x}]", str(k * int(c))]))
        else:
            self.m.cons.append((kind, [x, c] if r.random() < 0.5 else [c, x]))

    # -- model -------------------------------------------------------------
    def build(self):
        r = self.r
        m = self.m
        self.opt = r.random() < 0.4
        # Optimisation models are not enumerated, so some get wider domains
        # (-10..10) where bounds reasoning on signs and products has more room.
        self.wide = self.opt and r.random() < 0.4
        for i in range(r.choice([2, 2, 3, 3, 3, 4, 4, 5, 6] + ([6, 7, 8] if self.wide else []))):
            anns = ["output_var"] if r.random() < 0.85 else []
            m.vars.append(Var(f"x{i}", "int", self.domain(), anns))
        for i in range(r.choice([0, 1, 1, 2, 3])):
            anns = ["output_var"] if r.random() < 0.85 else []
            m.vars.append(Var(f"p{i}", "bool", None, anns))
        if r.random() < 0.3:
            for i in range(r.randint(1, 2)):
                self.alias(i)
        # Bias each model towards a few families so that their interactions
        # (and shared variables between them) come up often.
        focus = r.sample(FAMILIES, 2)
        for _ in range(r.randint(2, 7)):
            self.constraint(r.choice(focus) if r.random() < 0.6 else r.choice(FAMILIES))
        # Narrowings posted last: a variable fixed or cut while the model is
        # being posted must still wake the propagators posted before.
        if r.random() < 0.5:
            for _ in range(r.randint(1, 2)):
                self.narrowing()
        if r.random() < 0.2:
            xs = [v.name for v in self.ints()[: r.randint(1, 3)]]
            m.arrays.append(f"array [1..{len(xs)}] of var int: xs :: output_array([1..{len(xs)}]) = "
                            f"[{', '.join(xs)}];")
        self.solve()
        return m

    def solve(self):
        r = self.r
        m = self.m
        ann = ""
        if r.random() < 0.3:
            xs = [v.name for v in self.ints() if v.name.startswith("x")]
            r.shuffle(xs)
            xs = xs[: r.randint(1, len(xs))]
            sel = r.choice(["input_order", "first_fail", "anti_first_fail", "smallest", "largest"])
            val = r.choice(["indomain_min", "indomain_max", "indomain_split", "indomain_reverse_split",
                            "indomain_median"])
            ann = f" :: int_search([{', '.join(xs)}], {sel}, {val}, complete)"
        if not self.opt:
            m.solve = f"solve{ann} satisfy;"
            return
        obj = r.choice(self.ints())
        if "output_var" not in obj.anns:
            obj.anns.append("output_var")
        m.solve = f"solve{ann} {r.choice(['minimize', 'maximize'])} {obj.name};"


def space(m):
    s = 1
    for v in m.vars:
        s *= 2 if v.kind == "bool" else len(v.dom)
    return s


def sampled_sat(m, r, tries=300):
    """Whether one of `tries` random assignments satisfies m."""
    names = [v.name for v in m.vars]
    doms = [[False, True] if v.kind == "bool" else v.dom for v in m.vars]
    ok = oracle.checker(m)
    for _ in range(tries):
        if ok(dict(zip(names, (r.choice(d) for d in doms)))):
            return True
    return False


def generate(seed):
    """The model for `seed`.  Retries internally while the search space is
    too large to enumerate quickly and, for half of the seeds, until random
    sampling finds a solution: left alone about half the models would be
    unsatisfiable, which leaves the enumeration and optimisation paths idle."""
    r = random.Random(seed)
    want_sat = r.random() < 0.5
    for attempt in range(64):
        m = Gen(seed * 64 + attempt).build()
        if m.kind() == "sat" and space(m) > MAX_SPACE:
            continue
        if not want_sat or sampled_sat(m, r):
            return m
    return m


if __name__ == "__main__":
    seed = int(sys.argv[1])
    for s in range(seed, seed + (int(sys.argv[2]) if len(sys.argv) > 2 else 1)):
        print(generate(s).text([f"seed {s}"]))
