"""A small structured form of the FlatZinc the differential tester writes:
scalar and array variable declarations, constraints and one solve item, one
item per line.  The generator builds it, the minimiser edits it, and the runner
rewrites the constructs fzn-gecode lacks (int_pow) for the reference run.

It reads back only that subset of FlatZinc (what gen.py and the minimiser
write, plus hand-edited files in the same style), not FlatZinc in general.
"""
import re


def split_top(text, sep=","):
    """Splits at `sep` outside brackets, braces and parentheses."""
    parts, depth, cur = [], 0, []
    for ch in text:
        if ch in "([{":
            depth += 1
        elif ch in ")]}":
            depth -= 1
        if ch == sep and depth == 0:
            parts.append("".join(cur).strip())
            cur = []
        else:
            cur.append(ch)
    if "".join(cur).strip():
        parts.append("".join(cur).strip())
    return parts


def fmt_dom(dom):
    """A sorted value list as FlatZinc: a range when contiguous, else a set."""
    dom = sorted(dom)
    if dom and dom[-1] - dom[0] + 1 == len(dom) and len(dom) > 1:
        return f"{dom[0]}..{dom[-1]}"
    return "{" + ",".join(map(str, dom)) + "}"


def parse_dom(text):
    text = text.strip()
    if text.startswith("{"):
        inner = text[1:-1].strip()
        return sorted({int(v) for v in inner.split(",")}) if inner else []
    lo, hi = text.split("..")
    return list(range(int(lo), int(hi) + 1))


class Var:
    """A scalar variable: kind "int" or "bool"; dom is the value list (None for
    bool); anns the annotation texts after `::`."""

    def __init__(self, name, kind, dom=None, anns=(), value=None):
        self.name, self.kind, self.dom, self.anns = name, kind, dom, list(anns)
        self.value = value  # an alias: the variable or constant it names

    def text(self):
        t = "bool" if self.kind == "bool" else fmt_dom(self.dom)
        ann = "".join(f" :: {a}" for a in self.anns)
        val = f" = {self.value}" if self.value is not None else ""
        return f"var {t}: {self.name}{ann}{val};"

    def copy(self):
        return Var(self.name, self.kind, None if self.dom is None else list(self.dom), self.anns,
                   self.value)


class Model:
    def __init__(self):
        self.vars = []        # Var, in declaration order
        self.arrays = []      # raw array declaration lines (output arrays)
        self.cons = []        # (name, [argument texts])
        self.solve = "solve satisfy;"

    def copy(self):
        m = Model()
        m.vars = [v.copy() for v in self.vars]
        m.arrays = list(self.arrays)
        m.cons = [(n, list(a)) for n, a in self.cons]
        m.solve = self.solve
        return m

    def var(self, name):
        for v in self.vars:
            if v.name == name:
                return v
        return None

    def text(self, header=()):
        lines = [f"% {h}" for h in header]
        lines += [v.text() for v in self.vars]
        lines += self.arrays
        lines += [f"constraint {n}({', '.join(a)});" for n, a in self.cons]
        lines.append(self.solve)
        return "\n".join(lines) + "\n"

    def kind(self):
        """"sat", "min" or "max"."""
        if "minimize" in self.solve:
            return "min"
        if "maximize" in self.solve:
            return "max"
        return "sat"

    def objective(self):
        m = re.search(r"(minimize|maximize)\s+(\w+)\s*;", self.solve)
        return m.group(2) if m else None

    def used_names(self):
        words = set()
        for _, args in self.cons:
            for a in args:
                words.update(re.findall(r"[A-Za-z_]\w*", a))
        for line in self.arrays:
            words.update(re.findall(r"[A-Za-z_]\w*", line.split("=", 1)[1]))
        words.update(re.findall(r"[A-Za-z_]\w*", self.solve))
        words.update(v.value for v in self.vars if v.value is not None)
        return words

    def named_arrays(self):
        """name -> the array literal of every array declaration."""
        out = {}
        for line in self.arrays:
            g = re.match(r"array\s*\[[^\]]*\]\s*of\s+[^:]*:\s*(\w+)[^=]*=\s*(\[.*\])\s*;", line)
            if g:
                out[g.group(1)] = g.group(2)
        return out


_VAR = re.compile(r"var\s+(bool|int|[-\d]+\s*\.\.\s*[-\d]+|\{[^}]*\})\s*:\s*(\w+)\s*((?:::[^=]*)?)"
                  r"(?:=\s*([-\w]+)\s*)?;$")


def parse(text):
    m = Model()
    for raw in text.splitlines():
        line = raw.strip()
        if not line or line.startswith("%"):
            continue
        if line.startswith("var "):
            g = _VAR.match(line)
            if not g:
                raise ValueError(f"unsupported declaration: {line}")
            t, name, anns, value = g.groups()
            anns = [a.strip() for a in anns.split("::") if a.strip()]
            if t == "bool":
                m.vars.append(Var(name, "bool", None, anns, value))
            else:
                m.vars.append(Var(name, "int", parse_dom(t), anns, value))
        elif line.startswith("array"):
            m.arrays.append(line)
        elif line.startswith("constraint "):
            body = line[len("constraint "):].rstrip(";").strip()
            # Annotations on constraints are dropped.
            body = split_top(body, ":")[0] if "::" in body else body
            name, rest = body.split("(", 1)
            m.cons.append((name.strip(), split_top(rest[: rest.rindex(")")])))
        elif line.startswith("solve"):
            m.solve = line
        else:
            raise ValueError(f"unsupported item: {line}")
    return m


def _arg_dom(m, a):
    a = a.strip()
    if re.fullmatch(r"-?\d+", a):
        return [int(a)]
    v = m.var(a)
    if v is None or v.dom is None:
        raise ValueError(f"int_pow argument {a!r} without a known domain")
    return v.dom


def for_gecode(m):
    """The same model with int_pow (absent from fzn-gecode 6.2) replaced by
    products: x^k by a chain of int_times, a variable exponent by an element
    over the powers 0..max.  Exponents are never negative here.  nuvfd's own
    table and inverse builtins become Gecode's (a Boolean table over 0/1
    copies of its Booleans)."""
    m = _natives_for_gecode(m)
    if not any(n == "int_pow" for n, _ in m.cons):
        return m
    g = m.copy()
    g.cons = []
    k = 0
    for name, args in m.cons:
        if name != "int_pow":
            g.cons.append((name, args))
            continue
        k += 1
        x, e, z = args
        xd, ed = _arg_dom(m, x), _arg_dom(m, e)
        if min(ed) < 0:
            raise ValueError("negative exponent")
        top = max(ed)
        big = max(abs(v) for v in xd)
        powers = []
        for j in range(top + 1):
            if j == 0:
                p = f"pw{k}_0"
                g.vars.append(Var(p, "int", [1], ["var_is_introduced"]))
            elif j == 1:
                p = x
            else:
                p = f"pw{k}_{j}"
                b = big ** j
                g.vars.append(Var(p, "int", list(range(-b, b + 1)), ["var_is_introduced"]))
                g.cons.append(("int_times", [powers[-1], x, p]))
            powers.append(p)
        if len(ed) == 1:
            g.cons.append(("int_eq", [powers[ed[0]], z]))
        else:
            idx = f"pw{k}_i"
            g.vars.append(Var(idx, "int", list(range(1, top + 2)), ["var_is_introduced"]))
            g.cons.append(("int_lin_eq", ["[1, -1]", f"[{idx}, {e}]", "1"]))
            g.cons.append(("array_var_int_element", [idx, "[" + ", ".join(powers) + "]", z]))
    return g


def _natives_for_gecode(m):
    if not any(n.startswith("nuvfd_") for n, _ in m.cons):
        return m
    g = m.copy()
    g.cons = []
    k = 0
    for name, args in m.cons:
        if name == "nuvfd_table_int":
            g.cons.append(("gecode_table_int", args))
        elif name == "nuvfd_inverse":
            f, flow, inv, ilow = args
            g.cons.append(("gecode_inverse_offsets", [f, ilow, inv, flow]))
        elif name == "nuvfd_table_bool":
            xs, rows = args
            named = m.named_arrays()
            xs = named.get(xs, xs)
            rows = named.get(rows, rows)
            ints = []
            for b in split_top(xs.strip()[1:-1]):
                b = b.strip()
                if b in ("true", "false"):
                    ints.append("1" if b == "true" else "0")
                    continue
                k += 1
                v = f"tb{k}"
                g.vars.append(Var(v, "int", [0, 1], ["var_is_introduced"]))
                g.cons.append(("bool2int", [b, v]))
                ints.append(v)
            vals = ["1" if t.strip() == "true" else "0" for t in split_top(rows.strip()[1:-1])]
            g.cons.append(("gecode_table_int", ["[" + ", ".join(ints) + "]", "[" + ", ".join(vals) + "]"]))
        elif name in ("nuvfd_disjunctive", "nuvfd_disjunctive_strict"):
            # The pairwise decomposition MiniZinc's library would post.
            named = m.named_arrays()
            ss = [x.strip() for x in split_top(named.get(args[0], args[0]).strip()[1:-1])]
            ds = [x.strip() for x in split_top(named.get(args[1], args[1]).strip()[1:-1])]
            for d in ds:
                g.cons.append(("int_le", ["0", d]))
            for i in range(len(ss)):
                for j in range(i + 1, len(ss)):
                    lits = []
                    for a, da, b in ((i, ds[i], j), (j, ds[j], i)):
                        k += 1
                        v = f"dj{k}"
                        g.vars.append(Var(v, "bool", None, ["var_is_introduced"]))
                        g.cons.append(("int_lin_le_reif", ["[1, 1, -1]", f"[{ss[a]}, {da}, {ss[b]}]", "0", v]))
                        lits.append(v)
                    if not name.endswith("strict"):
                        for d in (ds[i], ds[j]):
                            k += 1
                            v = f"dj{k}"
                            g.vars.append(Var(v, "bool", None, ["var_is_introduced"]))
                            g.cons.append(("int_le_reif", [d, "0", v]))
                            lits.append(v)
                    g.cons.append(("bool_clause", ["[" + ", ".join(lits) + "]", "[]"]))
        elif name == "nuvfd_circuit":
            g.cons.append(("gecode_circuit", [args[0], args[1]]))
        elif name == "nuvfd_bin_packing_load":
            g.cons.append(("gecode_bin_packing_load", args))
        else:
            g.cons.append((name, args))
    return g
