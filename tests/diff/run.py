#!/usr/bin/env python3
"""Differential tester: random FlatZinc models solved by fzn-nuvfd and by
Debian's fzn-gecode (the reference), answers compared.

  run.py --quick                     CI: 300 models from a fixed seed
  run.py --count N --seed-from A     long mode, by hand
  run.py --regress                   replays tests/diff/regress/*.fzn
  run.py --file M.fzn [--minimise]   one model (e.g. a hand-edited one)

Satisfaction models run with -a on both sides and the SETS of distinct output
assignments are compared (a solution nuvfd prints twice is reported as "dup",
a warning, not a disagreement).  Optimisation models compare the optimum and
UNSAT; nuvfd runs them with -a, and its successive solutions must improve and
be solutions according to gecode.  Disagreements are settled by brute force
(oracle.py) when the model is small enough: where gecode is wrong the model
is skipped as "gecode-wrong".  A timeout on either
side, or a model gecode cannot enumerate within --cap solutions, is skipped.
A disagreement is minimised on request (--minimise), appended to --findings
and, with --save, kept in tests/diff/regress/ with gecode's answer.

Exit status: 0 when nothing disagrees (also when fzn-gecode is missing: the
run is then skipped with a message), 1 otherwise.
"""
import argparse
import concurrent.futures
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import fznmodel  # noqa: E402
import gen  # noqa: E402
import minimise  # noqa: E402
import oracle  # noqa: E402

ROOT = os.path.abspath(os.path.join(HERE, "..", ".."))
REGRESS = os.path.join(HERE, "regress")
DEFAULT_SOLVER = os.path.join(ROOT, "build", "fzn-nuvfd")


# -- running a solver -------------------------------------------------------

class Answer:
    """One solver's output: the solution blocks (each a tuple of normalised
    assignment lines, sorted), and a status: "complete" (search finished),
    "unsat", "partial" (stopped early), "timeout" or "error"."""

    def __init__(self, status, blocks=(), raw=""):
        self.status, self.blocks, self.raw = status, list(blocks), raw

    def distinct(self):
        return set(self.blocks)

    def value(self, name):
        if not self.blocks:
            return None
        for line in self.blocks[-1]:
            k, _, v = line.partition("=")
            if k == name:
                return v.rstrip(";")
        return None

    def summary(self):
        if self.status == "unsat":
            return "UNSATISFIABLE"
        if self.status in ("timeout", "error"):
            return self.status + (": " + self.raw.strip()[-300:] if self.status == "error" else "")
        return f"{len(self.blocks)} solution(s), {len(self.distinct())} distinct, {self.status}"


def normal(line):
    line = re.sub(r"\s+", "", line)
    line = re.sub(r"array\d+d\([^\[]*\[", "[", line)
    return line.replace("])", "]")


def parse_output(text):
    blocks, block, status = [], [], "partial"
    for line in text.splitlines():
        line = normal(line)
        if line == "----------":
            blocks.append(tuple(sorted(block)))
            block = []
        elif line == "==========":
            status = "complete"
        elif line == "=====UNSATISFIABLE=====":
            status = "unsat"
        elif line.startswith("=====") or not line or line.startswith("%"):
            continue
        else:
            block.append(line)
    return blocks, status


def solve(cmd, path, timeout):
    # A solver being rebuilt underneath (missing or half-written binary or
    # library) is waited for rather than reported.
    for attempt in range(30):
        try:
            p = subprocess.run(cmd + [path], capture_output=True, text=True, timeout=timeout)
        except subprocess.TimeoutExpired:
            return Answer("timeout")
        except OSError:
            time.sleep(5)
            continue
        if p.returncode in (126, 127) or "error while loading shared libraries" in p.stderr:
            time.sleep(5)
            continue
        break
    else:
        return Answer("error", raw=f"{cmd[0]} could not be run")
    blocks, status = parse_output(p.stdout)
    if p.returncode != 0 or (status == "partial" and not blocks and p.stderr.strip()):
        return Answer("error", blocks, p.stdout + p.stderr)
    return Answer(status, blocks, p.stdout)


class Config:
    def __init__(self, solver, gecode, timeout, cap, workdir):
        self.solver, self.gecode, self.timeout, self.cap, self.workdir = (
            solver, gecode, timeout, cap, workdir)


def write(cfg, text, tag):
    fd, path = tempfile.mkstemp(suffix=".fzn", prefix=tag, dir=cfg.workdir)
    with os.fdopen(fd, "w") as f:
        f.write(text)
    return path


def run_both(cfg, m, tag="m"):
    """(nuvfd answer, gecode answer) for model m."""
    sat = m.kind() == "sat"
    ours = write(cfg, m.text(), tag)
    theirs = write(cfg, fznmodel.for_gecode(m).text(), tag + "g")
    try:
        g = solve([cfg.gecode] + (["-n", str(cfg.cap)] if sat else []), theirs, cfg.timeout)
        if g.status in ("timeout", "partial"):
            return None, g  # not worth running ours
        # With -a an optimisation prints each improving solution.
        n = solve([cfg.solver, "-a"], ours, cfg.timeout)
        return n, g
    finally:
        os.unlink(ours)
        os.unlink(theirs)


# -- comparing --------------------------------------------------------------

class Verdict:
    """kind: "ok", "skip", "dup" or "disagree"; category names the way the
    answers differ; detail is for people."""

    def __init__(self, kind, category="", detail="", ours=None, theirs=None):
        self.kind, self.category, self.detail = kind, category, detail
        self.ours, self.theirs = ours, theirs


def fmt_block(b):
    return " ".join(b)


def check_assignment(cfg, m, block):
    """Whether an assignment nuvfd printed (its scalar output variables)
    extends to a solution according to gecode (None when gecode cannot tell)."""
    fixed = m.copy()
    fixed.solve = "solve satisfy;"
    for line in block:
        k, _, v = line.partition("=")
        var = fixed.var(k)
        if var is None:
            continue
        v = v.rstrip(";")
        fixed.cons.append(("bool_eq" if var.kind == "bool" else "int_eq", [k, v]))
    path = write(cfg, fznmodel.for_gecode(fixed).text(), "chk")
    try:
        g = solve([cfg.gecode, "-n", "1"], path, cfg.timeout)
    finally:
        os.unlink(path)
    if g.status == "unsat":
        return False
    return True if g.blocks else None


def compare(cfg, m, tag="m"):
    n, g = run_both(cfg, m, tag)
    if g.status == "timeout" or (n is not None and n.status == "timeout"):
        return Verdict("skip", "timeout", ours=n, theirs=g)
    if g.status == "partial":
        return Verdict("skip", "too-many-solutions", ours=n, theirs=g)
    if g.status == "error":
        return Verdict("skip", "gecode-error", g.raw.strip()[-200:], ours=n, theirs=g)
    if n.status == "error":
        return Verdict("disagree", "nuvfd-error", n.raw.strip()[-300:], n, g)
    v = compare_sat(n, g) if m.kind() == "sat" else compare_opt(cfg, m, n, g)
    return settle(m, v) if v.kind == "disagree" else v


def settle(m, v):
    """Asks the brute-force oracle who is right; a disagreement where nuvfd
    is right is gecode's fault and is skipped as "gecode-wrong"."""
    truth = oracle.solve(m)
    if truth is None:
        v.detail += "\n(too large for the brute-force check)"
        return v
    n, g = v.ours, v.theirs
    if m.kind() == "sat":
        if set(truth) == n.distinct() and set(truth) != g.distinct():
            return Verdict("skip", "gecode-wrong", v.detail, n, g)
        if set(truth) != g.distinct():
            v.detail += f"\n(brute force: {len(truth)} distinct solutions, matching neither)"
        return v
    if v.category == "wrong-solution":
        return Verdict("skip", "gecode-wrong", v.detail, n, g) if v.block in truth else v
    best = oracle.optimum(m, truth)
    gbest = None if g.status == "unsat" else g.value(m.objective())
    nbest = None if n.status == "unsat" else n.value(m.objective())
    if v.category == "not-improving":
        return v
    if best == nbest and best != gbest:
        return Verdict("skip", "gecode-wrong", v.detail, n, g)
    if best != gbest:
        v.detail += f"\n(brute force optimum {best}, matching neither)"
    return v


def compare_sat(n, g):
    if g.status == "unsat":
        if n.status == "unsat" and not n.blocks:
            return Verdict("ok", ours=n, theirs=g)
        if n.blocks:
            return Verdict("disagree", "solutions-of-unsat",
                           f"gecode: UNSAT; nuvfd prints {len(n.distinct())} solution(s), e.g. "
                           f"{fmt_block(n.blocks[0])}", n, g)
        return Verdict("disagree", "status", f"gecode: UNSAT; nuvfd status {n.status}", n, g)
    if n.status == "unsat" and not n.blocks:
        return Verdict("disagree", "unsat-of-sat",
                       f"nuvfd: UNSAT; gecode has {len(g.distinct())} solution(s), e.g. "
                       f"{fmt_block(g.blocks[0])}", n, g)
    extra = n.distinct() - g.distinct()
    missing = g.distinct() - n.distinct()
    if extra or missing:
        cat = "extra-solutions" if extra else "missing-solutions"
        d = [f"gecode {len(g.distinct())} distinct, nuvfd {len(n.distinct())} distinct"]
        d += [f"  extra:   {fmt_block(b)}" for b in sorted(extra)[:5]]
        d += [f"  missing: {fmt_block(b)}" for b in sorted(missing)[:5]]
        return Verdict("disagree", cat, "\n".join(d), n, g)
    if n.status != "complete":
        return Verdict("disagree", "status", f"nuvfd did not finish the enumeration ({n.status})", n, g)
    if len(n.blocks) != len(n.distinct()):
        return Verdict("dup", "dup", f"{len(n.blocks)} printed, {len(n.distinct())} distinct", n, g)
    return Verdict("ok", ours=n, theirs=g)


def compare_opt(cfg, m, n, g):
    if g.status == "unsat" or n.status == "unsat":
        if g.status == n.status:
            return Verdict("ok", ours=n, theirs=g)
        if g.status == "unsat":
            return Verdict("disagree", "solutions-of-unsat",
                           f"gecode: UNSAT; nuvfd: {n.summary()}, last "
                           f"{fmt_block(n.blocks[-1]) if n.blocks else '-'}", n, g)
        return Verdict("disagree", "unsat-of-sat",
                       f"nuvfd: UNSAT; gecode optimum {m.objective()}={g.value(m.objective())}", n, g)
    if n.status != "complete" or not n.blocks:
        return Verdict("disagree", "status", f"nuvfd: {n.summary()}", n, g)
    obj = m.objective()
    gv, nv = g.value(obj), n.value(obj)
    if gv != nv:
        return Verdict("disagree", "optimum", f"optimum {obj}: gecode {gv}, nuvfd {nv}; nuvfd's "
                       f"solution {fmt_block(n.blocks[-1])}", n, g)
    values = [_int(Answer("", [blk]).value(obj)) for blk in n.blocks]
    steps = list(zip(values, values[1:]))
    if any(a is None or b is None or (b >= a if m.kind() == "min" else b <= a) for a, b in steps):
        return Verdict("disagree", "not-improving", f"nuvfd's successive {obj}: {values}", n, g)
    # The last few solutions printed (the optimum first) must be solutions.
    for blk in list(reversed(n.blocks))[:3]:
        if check_assignment(cfg, m, blk) is False:
            v = Verdict("disagree", "wrong-solution",
                        f"nuvfd printed an assignment that is not a solution: {fmt_block(blk)}", n, g)
            v.block = blk
            return v
    return Verdict("ok", ours=n, theirs=g)


def _int(text):
    try:
        return int(text)
    except (TypeError, ValueError):
        return None


# -- families ---------------------------------------------------------------

def shared(args):
    names = []
    for a in args:
        names += re.findall(r"[A-Za-z_]\w*", a)
    names = [x for x in names if x not in ("true", "false")]
    return len(names) != len(set(names))


def family(m):
    """The constraints of a (minimised) model, each tagged "[shared]" when one
    of its variables appears in several of its arguments, counting aliases
    (`var D: y = x;` and the bool2int pairs the front end merges) as the
    variable they name."""
    root = {v.name: v.value for v in m.vars if v.value is not None}
    for name, args in m.cons:
        if name == "bool2int" and m.var(args[1]) is not None and args[0] != args[1]:
            root.setdefault(args[1], args[0])

    def resolve(a):
        def one(mm):
            x, seen = mm.group(0), set()
            while x in root and x not in seen:
                seen.add(x)
                x = root[x]
            return x
        return re.sub(r"[A-Za-z_]\w*", one, a)

    fam = set()
    for name, args in m.cons:
        fam.add(name + ("[shared]" if shared([resolve(a) for a in args]) and name != "bool2int" else ""))
    return " + ".join(sorted(fam)) or "(no constraint)"


# -- findings and regressions ------------------------------------------------

def expectation(m, g):
    """Header lines recording gecode's answer for a regression file."""
    kind = m.kind()
    if g.status == "unsat":
        return ["expect: UNSATISFIABLE"]
    if kind == "sat":
        return ["expect: SOLUTIONS"] + [f"expect-solution: {fmt_block(b)}" for b in sorted(g.distinct())]
    return [f"expect: OPTIMUM {g.value(m.objective())}"]


def save_regression(m, v, fam, seed):
    os.makedirs(REGRESS, exist_ok=True)
    slug = re.sub(r"[^a-z0-9]+", "_", fam.lower()).strip("_")[:60]
    base = f"{v.category}-{slug}"
    path = os.path.join(REGRESS, base + ".fzn")
    k = 2
    while os.path.exists(path):
        path = os.path.join(REGRESS, f"{base}-{k}.fzn")
        k += 1
    origin = f"random seed {seed}" if isinstance(seed, int) else f"from {seed}"
    header = [f"Differential regression ({v.category}: {fam}); {origin}.",
              "The expect lines are fzn-gecode's answer."] + expectation(m, v.theirs)
    with open(path, "w") as f:
        f.write(m.text(header))
    return path


def append_finding(path, m, v, fam, seed, solver):
    with open(path, "a") as f:
        origin = f"seed {seed}" if isinstance(seed, int) else seed
        f.write(f"\n## {v.category}: {fam} ({origin}, {time.strftime('%Y-%m-%d %H:%M UTC', time.gmtime())})\n\n")
        f.write(f"solver: {solver}\n\n```\n{m.text()}```\n\n")
        f.write(f"- gecode: {v.theirs.summary()}\n- nuvfd:  {v.ours.summary()}\n")
        f.write("".join(f"- {line}\n" for line in v.detail.splitlines()))


def replay(cfg, path):
    """Error text when nuvfd's answer to a regression model differs from the
    recorded one, else None."""
    text = open(path).read()
    m = fznmodel.parse(text)
    expect = [line[2:].strip() for line in text.splitlines() if line.startswith("% expect")]
    head = [e for e in expect if e.startswith("expect:")][0].split(":", 1)[1].strip()
    sols = {tuple(e.split(":", 1)[1].split()) for e in expect if e.startswith("expect-solution:")}
    sat = m.kind() == "sat"
    n = solve([cfg.solver] + (["-a"] if sat else []), path, cfg.timeout)
    if n.status in ("timeout", "error"):
        return n.summary()
    if head == "UNSATISFIABLE":
        return None if n.status == "unsat" and not n.blocks else f"expected UNSAT, got {n.summary()}"
    if n.status != "complete":
        return f"expected a complete search, got {n.summary()}"
    if sat:
        got = n.distinct()
        if got != sols:
            d = [f"{len(sols)} expected, {len(got)} distinct printed"]
            d += [f"  extra:   {fmt_block(b)}" for b in sorted(got - sols)[:5]]
            d += [f"  missing: {fmt_block(b)}" for b in sorted(sols - got)[:5]]
            return "\n".join(d)
        return None
    want = head.split()[1]
    got = n.value(m.objective())
    return None if got == want else f"expected optimum {want}, got {got}"


# -- main -------------------------------------------------------------------

def one(cfg, seed, do_min):
    m = gen.generate(seed)
    v = compare(cfg, m, f"s{seed}_")
    if v.kind == "disagree" and do_min:
        m, v = minimise.minimise(m, v, lambda mm: compare(cfg, mm, f"s{seed}_min_"))
    return seed, m, v


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--quick", action="store_true", help="CI mode: --count 300 --seed-from 1")
    ap.add_argument("--count", type=int, default=None)
    ap.add_argument("--seed-from", type=int, default=1)
    ap.add_argument("--regress", action="store_true", help="replay tests/diff/regress/*.fzn")
    ap.add_argument("--file", help="compare the solvers on one model")
    ap.add_argument("-j", type=int, default=2, help="parallel workers")
    ap.add_argument("--solver", default=DEFAULT_SOLVER, help="fzn-nuvfd to test")
    ap.add_argument("--gecode", default=shutil.which("fzn-gecode") or "fzn-gecode")
    ap.add_argument("--timeout", type=float, default=10.0, help="seconds per solver run")
    ap.add_argument("--cap", type=int, default=5000, help="skip models with more solutions")
    ap.add_argument("--minimise", action="store_true", help="delta-debug each disagreement")
    ap.add_argument("--findings", help="append minimised disagreements to this markdown file")
    ap.add_argument("--save", action="store_true",
                    help="keep each new (category, family) in tests/diff/regress/")
    ap.add_argument("-v", action="store_true", help="print every disagreement in full")
    a = ap.parse_args()

    if not os.access(a.solver, os.X_OK):
        print(f"fzn-nuvfd not found at {a.solver}", file=sys.stderr)
        return 1
    with tempfile.TemporaryDirectory(prefix="nuvfd-diff-") as work:
        cfg = Config(a.solver, a.gecode, a.timeout, a.cap, work)
        if a.regress:
            return run_regress(cfg)
        if not shutil.which(a.gecode):
            print("SKIP: fzn-gecode not found (Debian package 'flatzinc'); differential test not run")
            return 0
        if a.file:
            return run_file(cfg, a)
        count = a.count if a.count is not None else (300 if a.quick else 1000)
        return run_many(cfg, a, count)


def run_regress(cfg):
    files = sorted(f for f in os.listdir(REGRESS) if f.endswith(".fzn")) if os.path.isdir(REGRESS) else []
    bad = 0
    for f in files:
        err = replay(cfg, os.path.join(REGRESS, f))
        if err:
            bad += 1
            print(f"FAIL {f}: {err}")
    print(f"{len(files)} regression model(s), {bad} failing")
    return 1 if bad else 0


def run_file(cfg, a):
    m = fznmodel.parse(open(a.file).read())
    v = compare(cfg, m)
    if v.kind == "disagree" and a.minimise:
        m, v = minimise.minimise(m, v, lambda mm: compare(cfg, mm))
        print(m.text(), end="")
        fam = family(m)
        if a.findings:
            append_finding(a.findings, m, v, fam, os.path.basename(a.file), a.solver)
        if a.save:
            print(f"saved {save_regression(m, v, fam, os.path.basename(a.file))}")
    print(f"{v.kind} {v.category}\n{v.detail}")
    if v.ours is not None:
        print(f"gecode: {v.theirs.summary()}\nnuvfd:  {v.ours.summary()}")
    return 1 if v.kind == "disagree" else 0


def run_many(cfg, a, count):
    start = time.time()
    tally, shapes = {}, {}
    families = {}
    seen = set()
    for f in os.listdir(REGRESS) if os.path.isdir(REGRESS) else []:
        if f.endswith(".fzn"):
            for line in open(os.path.join(REGRESS, f)):
                mm = re.match(r"% Differential regression \(([^:]+): (.*)\);", line)
                if mm:
                    seen.add((mm.group(1), mm.group(2)))
    bad = done = 0
    seeds = range(a.seed_from, a.seed_from + count)
    with concurrent.futures.ThreadPoolExecutor(max_workers=max(1, a.j)) as pool:
        futs = [pool.submit(one, cfg, s, a.minimise) for s in seeds]
        for fut in concurrent.futures.as_completed(futs):
            seed, m, v = fut.result()
            done += 1
            if done % 500 == 0 and done < count:
                print(f"[{done}/{count} models, {bad} disagreeing, {time.time() - start:.0f}s]",
                      file=sys.stderr, flush=True)
            key = v.category if v.kind != "ok" else "ok"
            tally[key] = tally.get(key, 0) + 1
            if v.theirs is not None and v.theirs.status in ("complete", "unsat"):
                shape = (("satisfy" if m.kind() == "sat" else "optimise") +
                         (" UNSAT" if v.theirs.status == "unsat" else " SAT"))
                shapes[shape] = shapes.get(shape, 0) + 1
            if v.category == "gecode-wrong":
                fam = family(m)
                if ("gecode-wrong", fam) not in seen:
                    seen.add(("gecode-wrong", fam))
                    print(f"--- seed {seed}: fzn-gecode is wrong, nuvfd right [{fam}]\n{v.detail}\n{m.text()}",
                          flush=True)
                continue
            if v.kind != "disagree":
                continue
            bad += 1
            fam = family(m)
            families[(v.category, fam)] = families.get((v.category, fam), 0) + 1
            new = (v.category, fam) not in seen
            seen.add((v.category, fam))
            if a.v or new:
                print(f"--- seed {seed}: {v.category} [{fam}]\n{v.detail}\n{m.text()}", flush=True)
            if new and a.findings:
                append_finding(a.findings, m, v, fam, seed, a.solver)
            if new and a.save:
                print(f"saved {save_regression(m, v, fam, seed)}", flush=True)
    took = time.time() - start
    print(f"\n{count} models (seeds {a.seed_from}..{a.seed_from + count - 1}) in {took:.1f}s: "
          + ", ".join(f"{k} {n}" for k, n in sorted(tally.items())))
    print("gecode's answers: " + ", ".join(f"{k} {n}" for k, n in sorted(shapes.items())))
    if families:
        print("disagreements by category and constraint family:")
        for (cat, fam), n in sorted(families.items(), key=lambda kv: -kv[1]):
            print(f"  {n:5d}  {cat}: {fam}")
    if tally.get("dup"):
        print(f"warning: nuvfd printed a solution more than once in {tally['dup']} model(s)")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
