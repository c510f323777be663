"""A brute-force third opinion: every assignment of a small model checked
against the FlatZinc meaning of each builtin.  Used only to settle a
disagreement, since fzn-gecode itself has a few wrong answers (it accepts
int_mod(x, x, x) with x = 2, for instance)."""
import itertools
import re

from fznmodel import parse_dom, split_top

LIMIT = 300000  # assignments; larger models are not settled


def tdiv(a, b):
    q = abs(a) // abs(b)
    return q if (a >= 0) == (b > 0) else -q


def _arg(text, named=None):
    """A function of the assignment giving the argument's value; `named`
    maps array names to their literals."""
    t = text.strip()
    if named and t in named:
        return _arg(named[t], named)
    if t in ("true", "false"):
        v = t == "true"
        return lambda s: v
    if re.fullmatch(r"-?\d+", t):
        v = int(t)
        return lambda s: v
    if t.startswith("["):
        items = [_arg(x, named) for x in split_top(t[1:-1])]
        return lambda s: [f(s) for f in items]
    if t.startswith("{") or ".." in t:
        v = set(parse_dom(t))
        return lambda s: v
    return lambda s: s[t]


def _elem(i, xs):
    return xs[i - 1] if 1 <= i <= len(xs) else None


def _holds(name, a):
    base = name[:-5] if name.endswith("_reif") else name
    if name.endswith("_reif") and not name.startswith("bool_clause"):
        return bool(_holds(base, a[:-1])) == bool(a[-1])
    if base in ("int_eq", "bool_eq", "bool2int"):
        return int(a[0]) == int(a[1])
    if base in ("int_ne", "bool_ne"):
        return int(a[0]) != int(a[1])
    if base in ("int_le", "bool_le"):
        return int(a[0]) <= int(a[1])
    if base in ("int_lt", "bool_lt"):
        return int(a[0]) < int(a[1])
    if base.startswith("int_lin_") or base.startswith("bool_lin_"):
        s = sum(c * int(x) for c, x in zip(a[0], a[1]))
        op = base.rsplit("_", 1)[1]
        return {"eq": s == a[2], "ne": s != a[2], "le": s <= a[2]}[op]
    if name == "int_plus":
        return a[0] + a[1] == a[2]
    if name == "int_times":
        return a[0] * a[1] == a[2]
    if name == "int_div":
        return a[1] != 0 and tdiv(a[0], a[1]) == a[2]
    if name == "int_mod":
        return a[1] != 0 and a[0] - a[1] * tdiv(a[0], a[1]) == a[2]
    if name == "int_abs":
        return abs(a[0]) == a[1]
    if name == "int_min":
        return min(a[0], a[1]) == a[2]
    if name == "int_max":
        return max(a[0], a[1]) == a[2]
    if name == "int_pow":
        return a[1] >= 0 and a[0] ** a[1] == a[2]
    if name == "array_int_minimum":
        return a[0] == min(a[1])
    if name == "array_int_maximum":
        return a[0] == max(a[1])
    if "element" in name:
        v = _elem(a[0], a[1])
        return v is not None and v == a[2]
    if name == "array_bool_and":
        return all(a[0]) == a[1]
    if name == "array_bool_or":
        return any(a[0]) == a[1]
    if name == "array_bool_xor":
        return sum(map(bool, a[0])) % 2 == 1
    if name == "bool_clause":
        return any(a[0]) or not all(a[1])
    if name == "bool_clause_reif":
        return (any(a[0]) or not all(a[1])) == a[2]
    if name == "bool_and":
        return (a[0] and a[1]) == a[2]
    if name == "bool_or":
        return (a[0] or a[1]) == a[2]
    if name == "bool_xor":
        return (a[0] != a[1]) == a[2]
    if name == "bool_not":
        return a[0] != a[1]
    if name == "set_in":
        return a[0] in a[1]
    if name in ("nuvfd_table_int", "nuvfd_table_bool"):
        xs, t = [int(x) for x in a[0]], [int(v) for v in a[1]]
        n = len(xs)
        return any(t[k:k + n] == xs for k in range(0, len(t), n))
    if name == "nuvfd_inverse":
        f, fl, g, gl = a
        return (all(gl <= f[i] < gl + len(g) and g[f[i] - gl] == fl + i for i in range(len(f)))
                and all(fl <= g[j] < fl + len(f) and f[g[j] - fl] == gl + j for j in range(len(g))))
    if name in ("nuvfd_disjunctive", "nuvfd_disjunctive_strict"):
        s, d = [int(x) for x in a[0]], [int(x) for x in a[1]]
        strict = name.endswith("strict")
        return all(x >= 0 for x in d) and all(
            (not strict and (d[i] == 0 or d[j] == 0)) or s[i] + d[i] <= s[j] or s[j] + d[j] <= s[i]
            for i in range(len(s)) for j in range(i + 1, len(s)))
    if name == "nuvfd_circuit":
        low, x = a[0], [int(v) - a[0] for v in a[1]]
        n = len(x)
        if any(v < 0 or v >= n for v in x):
            return False
        seen, t = set(), 0
        for _ in range(n):
            seen.add(t)
            t = x[t]
        return t == 0 and len(seen) == n
    if name == "nuvfd_bin_packing_load":
        load, b, w, low = [int(v) for v in a[0]], [int(v) for v in a[1]], [int(v) for v in a[2]], a[3]
        if any(v < low or v >= low + len(load) for v in b):
            return False
        return all(load[j] == sum(w[i] for i in range(len(b)) if b[i] == low + j) for j in range(len(load)))
    raise KeyError(name)


def _constraints(m):
    """(name, argument functions) for every constraint, an alias being an
    equality with what it names."""
    named = m.named_arrays()
    cons = [(n, [_arg(x, named) for x in args]) for n, args in m.cons]
    cons += [("int_eq", [_arg(v.name), _arg(v.value)]) for v in m.vars if v.value is not None]
    return cons


def checker(m):
    """A function telling whether a full assignment (name -> value)
    satisfies every constraint of m."""
    cons = _constraints(m)
    return lambda s: all(_holds(n, [f(s) for f in fs]) for n, fs in cons)


def _fmt(v):
    return ("true" if v else "false") if isinstance(v, bool) else str(v)


def solve(m):
    """The distinct output blocks (normalised like the solvers' output) of all
    solutions, or None when the model is too large to enumerate."""
    doms = [[False, True] if v.kind == "bool" else v.dom for v in m.vars]
    size = 1
    for d in doms:
        size *= len(d)
    if size > LIMIT:
        return None
    names = [v.name for v in m.vars]
    cons = _constraints(m)
    outs = [v.name for v in m.vars if "output_var" in v.anns]
    arrays = []
    for line in m.arrays:
        g = re.match(r"array\s*\[[^\]]*\]\s*of\s+var\s+\w+\s*:\s*(\w+)\s*::\s*output_array.*=\s*(\[.*\])\s*;", line)
        if g:
            arrays.append((g.group(1), _arg(g.group(2))))
    found = {}
    for vals in itertools.product(*doms):
        s = dict(zip(names, vals))
        if all(_holds(n, [f(s) for f in fs]) for n, fs in cons):
            lines = [f"{k}={_fmt(s[k])};" for k in outs]
            lines += [f"{k}=[{','.join(_fmt(x) for x in f(s))}];" for k, f in arrays]
            found.setdefault(tuple(sorted(lines)), s)
    return found


def unsat_by_parts(m):
    """True when some constraint, or group of constraints sharing variables,
    has no solution on its own (so the whole model is UNSAT), enumerating it
    over its own variables only; None when no group settles it.  Lets a model too large
    to enumerate as a whole still be settled as UNSAT."""
    named = m.named_arrays()
    names = {v.name for v in m.vars}
    doms = {v.name: ([False, True] if v.kind == "bool" else v.dom) for v in m.vars}
    raw = list(m.cons) + [("int_eq", [v.name, v.value]) for v in m.vars if v.value is not None]
    funcs = _constraints(m)
    mentions = []
    for _, args in raw:
        text = " ".join(args)
        for a, lit in named.items():
            text = re.sub(rf"\b{a}\b", lit, text)
        mentions.append({t for t in re.findall(r"[A-Za-z_]\w*", text) if t in names})
    parent = list(range(len(raw)))

    def find(i):
        while parent[i] != i:
            parent[i] = parent[parent[i]]
            i = parent[i]
        return i

    owner = {}
    for i, vs in enumerate(mentions):
        for v in vs:
            if v in owner:
                parent[find(i)] = find(owner[v])
            else:
                owner[v] = i
    groups = {}
    for i in range(len(raw)):
        groups.setdefault(find(i), []).append(i)
    # Each constraint alone first: a group too large to enumerate may hold
    # one that no assignment satisfies.
    for members in [[i] for i in range(len(raw))] + list(groups.values()):
        vs = sorted(set().union(*(mentions[i] for i in members)))
        size = 1
        for v in vs:
            size *= len(doms[v])
        if size > LIMIT:
            continue
        cons = [funcs[i] for i in members]
        if not any(all(_holds(n, [f(s) for f in fs]) for n, fs in cons)
                   for s in (dict(zip(vs, vals)) for vals in itertools.product(*(doms[v] for v in vs)))):
            return True
    return None


def optimum(m, found):
    obj = m.objective()
    if not found:
        return None
    vals = [s[obj] for s in found.values()]
    # Each output block keeps one full assignment only, so take the objective
    # over all of them: the objective is an output variable.
    return str(min(vals) if m.kind() == "min" else max(vals))
