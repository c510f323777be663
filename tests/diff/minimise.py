"""Delta debugging of a disagreeing model: drops constraints (chunks, then one
at a time), unused variables, the search annotation, the objective, output
arrays and variable annotations, shrinks domains value by value and drops
elements of literal sets and arrays, keeping each step only while the solvers
still disagree in the same way (same category)."""
import re


def minimise(m, verdict, check):
    """(smaller model, its verdict).  check(model) -> Verdict."""
    state = {"m": m, "v": verdict}

    def keep(cand):
        v = check(cand)
        if v.kind == "disagree" and v.category == verdict.category:
            state["m"], state["v"] = cand, v
            return True
        return False

    changed = True
    while changed:
        changed = False
        changed |= drop_constraints(state, keep)
        changed |= drop_unused(state, keep)
        changed |= simplify_items(state, keep)
        changed |= shrink_domains(state, keep)
        changed |= shrink_literals(state, keep)
    return state["m"], state["v"]


def _items(text):
    return [x.strip() for x in text.strip()[1:-1].split(",") if x.strip()]


def shrink_literals(state, keep):
    """Drops elements of set and array literals in constraint arguments (a
    linear term from both of its arrays at once)."""
    changed = False
    for ci in range(len(state["m"].cons)):
        name, args = state["m"].cons[ci]
        if "_lin_" in name and args[0].startswith("[") and args[1].startswith("["):
            for k in reversed(range(len(_items(args[0])))):
                cur = state["m"].cons[ci][1]
                cs, xs = _items(cur[0]), _items(cur[1])
                if len(cs) <= 1 or k >= len(cs):
                    continue
                cand = state["m"].copy()
                cand.cons[ci][1][0] = "[" + ", ".join(cs[:k] + cs[k + 1:]) + "]"
                cand.cons[ci][1][1] = "[" + ", ".join(xs[:k] + xs[k + 1:]) + "]"
                changed |= keep(cand)
            continue
        for ai in range(len(args)):
            a = state["m"].cons[ci][1][ai]
            if not (a.startswith("[") or a.startswith("{")):
                continue
            for k in reversed(range(len(_items(a)))):
                items = _items(state["m"].cons[ci][1][ai])
                if len(items) <= 1 or k >= len(items):
                    continue
                cand = state["m"].copy()
                cand.cons[ci][1][ai] = a[0] + ", ".join(items[:k] + items[k + 1:]) + a[-1]
                changed |= keep(cand)
    return changed


def drop_constraints(state, keep):
    changed = False
    n = 2
    while len(state["m"].cons) > 1:
        cons = state["m"].cons
        size = max(1, len(cons) // n)
        done = False
        for start in range(0, len(cons), size):
            cand = state["m"].copy()
            del cand.cons[start:start + size]
            if keep(cand):
                changed = done = True
                n = max(n - 1, 2)
                break
        if not done:
            if size == 1:
                break
            n = min(len(cons), n * 2)
    return changed


def drop_unused(state, keep):
    changed = False
    used = state["m"].used_names()
    unused = [v.name for v in state["m"].vars if v.name not in used]
    if not unused:
        return False
    cand = state["m"].copy()
    cand.vars = [v for v in cand.vars if v.name not in unused]
    if keep(cand):
        return True
    for name in unused:
        cand = state["m"].copy()
        cand.vars = [v for v in cand.vars if v.name != name]
        changed |= keep(cand)
    return changed


def simplify_items(state, keep):
    changed = False
    m = state["m"]
    if "::" in m.solve:
        cand = m.copy()
        cand.solve = re.sub(r"\s*::.*?\)\s*(?=(satisfy|minimize|maximize))", " ", cand.solve)
        changed |= keep(cand)
    if m.kind() != "sat":
        cand = state["m"].copy()
        cand.solve = "solve satisfy;"
        changed |= keep(cand)
    for i in range(len(state["m"].arrays)):
        cand = state["m"].copy()
        del cand.arrays[i]
        if keep(cand):
            return True
    for i, v in enumerate(state["m"].vars):
        for ann in list(v.anns):
            if ann == "output_var":
                continue
            cand = state["m"].copy()
            if ann not in cand.vars[i].anns:
                continue
            cand.vars[i].anns.remove(ann)
            changed |= keep(cand)
    return changed


def shrink_domains(state, keep):
    changed = False
    for i in range(len(state["m"].vars)):
        var = state["m"].vars[i]
        if var.kind != "int" or len(var.dom) <= 1:
            continue
        # Halves first, then values one at a time (ends before holes).
        dom = var.dom
        half = len(dom) // 2
        for part in (dom[:half], dom[half:]):
            if len(state["m"].vars[i].dom) == len(dom):
                cand = state["m"].copy()
                cand.vars[i].dom = [x for x in dom if x not in part]
                if cand.vars[i].dom and keep(cand):
                    changed = True
        for x in list(state["m"].vars[i].dom):
            if len(state["m"].vars[i].dom) <= 1:
                break
            cand = state["m"].copy()
            cand.vars[i].dom = [y for y in cand.vars[i].dom if y != x]
            changed |= keep(cand)
    return changed
