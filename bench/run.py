#!/usr/bin/env python3
"""Runs the benchmark suite on fzn-nuvfd and fzn-gecode side by side.

Every instance of bench/instances.txt is compiled once to FlatZinc with the
plain standard library (`minizinc -c -G std`), so that both solvers read the
identical file.  The solvers then run alternately on it, a few times each,
and the table of answers, node counts, median times and time ratios is
printed, written as Markdown and plotted as SVG.

Exit status: 0 when every answer agrees with the other solver and with the
expected answer, 1 otherwise (2 for a usage or set-up problem).  When
fzn-nuvfd does not exist, only Gecode runs and the exit status depends on
Gecode's answers alone.

Standard library only.
"""
import argparse
import math
import os
import re
import statistics
import subprocess
import sys
import time

BENCH_DIR = os.path.dirname(os.path.abspath(__file__))
ROOT_DIR = os.path.dirname(BENCH_DIR)

MODES = ("first", "all", "opt")


# ---------------------------------------------------------------- instances

class Instance:
    def __init__(self, name, model, mode, expected, data=None):
        if mode not in MODES:
            raise ValueError(f"{name}: mode must be one of {', '.join(MODES)}, not {mode!r}")
        self.name = name
        self.model = model
        self.mode = mode
        self.expected = expected
        self.data = data


def read_instances(path, models_dir):
    """Reads `name model mode expected` lines; data is models/data/<name>.dzn."""
    instances = []
    with open(path) as f:
        for lineno, line in enumerate(f, 1):
            line = line.split("#", 1)[0].strip()
            if not line:
                continue
            fields = line.split()
            if len(fields) != 4:
                raise ValueError(f"{path}:{lineno}: expected 4 fields, got {len(fields)}")
            name, model, mode, expected = fields
            data = os.path.join(models_dir, "data", name + ".dzn")
            instances.append(Instance(name, os.path.join(models_dir, model), mode, expected,
                                      data if os.path.exists(data) else None))
    return instances


# ---------------------------------------------------------------- FlatZinc

SOLVE_RE = re.compile(r"\b(minimize|maximize)\s+([A-Za-z_][A-Za-z0-9_]*)\s*;\s*$")
VAR_DECL_RE = re.compile(r"^(var\s[^:]*:\s*([A-Za-z_][A-Za-z0-9_]*))(.*)$")


def objective_name(fzn_text):
    """The variable named by a minimize/maximize solve item, or None."""
    for line in reversed(fzn_text.splitlines()):
        if line.lstrip().startswith("solve"):
            m = SOLVE_RE.search(line.rstrip())
            return m.group(2) if m else None
    return None


def expose_objective(fzn_text, name):
    """Marks the objective variable ::output_var so that both solvers print it.

    The compiler only marks variables of the model's output item; an
    objective that is an introduced variable would otherwise stay silent and
    the optimum could not be compared.  Annotations follow the identifier in
    a FlatZinc declaration, so the mark goes right after the name."""
    lines = fzn_text.split("\n")
    for i, line in enumerate(lines):
        m = VAR_DECL_RE.match(line)
        if m and m.group(2) == name:
            if "output_var" not in m.group(3):
                lines[i] = m.group(1) + " :: output_var" + m.group(3)
            break
    return "\n".join(lines)


def compile_instance(inst, build_dir, minizinc):
    """Compiles inst into build_dir (unless up to date); returns the .fzn path."""
    fzn = os.path.join(build_dir, inst.name + ".fzn")
    ozn = os.path.join(build_dir, inst.name + ".ozn")
    sources = [inst.model] + ([inst.data] if inst.data else [])
    if os.path.exists(fzn) and os.path.getmtime(fzn) >= max(os.path.getmtime(s) for s in sources):
        return fzn
    cmd = [minizinc, "-c", "-G", "std", "--fzn", fzn, "--ozn", ozn] + sources
    proc = subprocess.run(cmd, capture_output=True, text=True, cwd=build_dir)
    if proc.returncode != 0:
        raise RuntimeError(f"compiling {inst.name} failed:\n{proc.stderr}")
    with open(fzn) as f:
        text = f.read()
    name = objective_name(text)
    if name:
        patched = expose_objective(text, name)
        if patched != text:
            with open(fzn, "w") as f:
                f.write(patched)
    return fzn


# ---------------------------------------------------------------- output parsing

class RunResult:
    """What one solver run printed, reduced to what the table needs."""

    def __init__(self):
        self.solutions = 0          # `----------` separators seen
        self.status = None          # complete | unsat | unknown | error | timeout | None
        self.stats = {}             # last value of every %%%mzn-stat name
        self.last_solution = {}     # name -> value text of the last solution
        self.seconds = None
        self.message = ""

    def nodes(self):
        v = self.stats.get("nodes")
        return int(v) if v is not None and re.fullmatch(r"-?\d+", v) else None


STATUS_LINES = {
    "==========": "complete",
    "=====UNSATISFIABLE=====": "unsat",
    "=====UNKNOWN=====": "unknown",
    "=====ERROR=====": "error",
    "=====UNBOUNDED=====": "error",
    "=====UNSATorUNBOUNDED=====": "error",
}


def parse_output(text):
    """Parses the FlatZinc output of a solver (solutions, status, -s statistics)."""
    res = RunResult()
    current = {}
    for raw in text.splitlines():
        line = raw.rstrip("\r").strip()
        if line.startswith("%%%mzn-stat:"):
            key, sep, value = line[len("%%%mzn-stat:"):].strip().partition("=")
            if sep:
                res.stats[key.strip()] = value.strip()
        elif line == "----------":
            res.solutions += 1
            res.last_solution = current
            current = {}
        elif line in STATUS_LINES:
            res.status = STATUS_LINES[line]
        elif not line.startswith("%"):
            m = re.match(r"^([A-Za-z_][A-Za-z0-9_]*)\s*=\s*(.*?);?$", line)
            if m:
                current[m.group(1)] = m.group(2).strip()
    return res


def answer(mode, res, objective=None):
    """The comparable answer of one run, or None when the run did not settle it.

    first: SAT or UNSAT; all: the number of solutions of a complete search;
    opt: the proven optimum (the objective value of the last solution)."""
    if res.status in ("error", "timeout"):
        return None
    if res.status == "unsat":
        return "0" if mode == "all" else "UNSAT"
    if mode == "first":
        return "SAT" if res.solutions > 0 else None
    if res.status != "complete":
        return None
    if mode == "all":
        return str(res.solutions)
    value = res.last_solution.get(objective) if objective else None
    if value is None:
        value = res.stats.get("objective")
    if value is None:
        return None
    try:
        return str(int(value))
    except ValueError:
        return value


def agreement(expected, a, b):
    """Compares two answers (either may be None = not available).

    Returns (verdict, error): verdict is 'yes', 'NO' or 'n/a'; error is a
    message when an available answer contradicts the other or the expected
    one."""
    errors = []
    for who, x in (("nuvfd", a), ("gecode", b)):
        if x is not None and expected not in (None, "?") and x != expected:
            errors.append(f"{who} answered {x}, expected {expected}")
    if a is not None and b is not None and a != b:
        errors.insert(0, f"nuvfd answered {a}, gecode answered {b}")
    if errors:
        return "NO", "; ".join(errors)
    if a is None or b is None:
        return "n/a", None
    return "yes", None


def geometric_mean(values):
    vals = [v for v in values if v is not None and v > 0]
    if not vals:
        return None
    return math.exp(sum(math.log(v) for v in vals) / len(vals))


# ---------------------------------------------------------------- running

def solver_command(exe, fzn, mode):
    cmd = [exe, "-s"]
    if mode == "all":
        cmd.append("-a")
    return cmd + [fzn]


def run_solver(exe, fzn, mode, timeout):
    start = time.perf_counter()
    try:
        proc = subprocess.run(solver_command(exe, fzn, mode), capture_output=True, text=True,
                              timeout=timeout)
    except subprocess.TimeoutExpired:
        res = RunResult()
        res.status = "timeout"
        res.seconds = timeout
        return res
    except OSError as e:
        res = RunResult()
        res.status = "error"
        res.seconds = time.perf_counter() - start
        res.message = f"cannot run {exe}: {e.strerror}"
        return res
    res = parse_output(proc.stdout)
    res.seconds = time.perf_counter() - start
    if proc.returncode != 0 or res.status == "error":
        res.status = "error"
        tail = (proc.stderr.strip().splitlines() or ["exit status %d" % proc.returncode])[-1]
        res.message = tail
    return res


class Row:
    def __init__(self, inst):
        self.inst = inst
        self.answers = {}     # solver -> answer or None
        self.nodes = {}       # solver -> nodes or None
        self.median = {}      # solver -> seconds or None
        self.timed_out = {}   # solver -> bool
        self.problems = []    # error messages
        self.agree = "n/a"

    def ratio(self):
        """nuvfd/gecode median time.  A nuvfd timeout counts with the time
        limit (a lower bound), so that slow instances still weigh in the
        mean; a Gecode timeout leaves nothing to compare."""
        n, g = self.median.get("nuvfd"), self.median.get("gecode")
        if n is None or g is None or g <= 0 or self.timed_out.get("gecode"):
            return None
        return n / g


def summarise(row, solver, runs, objective):
    answers = [answer(row.inst.mode, r, objective) for r in runs]
    known = sorted(set(a for a in answers if a is not None))
    if len(known) > 1:
        row.problems.append(f"{solver} gave different answers in different runs: {', '.join(known)}")
    row.answers[solver] = known[0] if len(known) == 1 else None
    row.nodes[solver] = runs[0].nodes()
    row.median[solver] = statistics.median(r.seconds for r in runs)
    row.timed_out[solver] = any(r.status == "timeout" for r in runs)
    for r in runs:
        if r.status == "error":
            row.problems.append(f"{solver} failed: {r.message}")
            break


def bench_instance(inst, fzn, solvers, runs, timeout, log):
    with open(fzn) as f:
        objective = objective_name(f.read())
    results = {name: [] for name, _ in solvers}
    for i in range(runs):
        for name, exe in solvers:
            res = run_solver(exe, fzn, inst.mode, timeout)
            results[name].append(res)
            log(f"  {inst.name:<18} run {i + 1}/{runs} {name:<6} {res.seconds:8.3f}s "
                f"{res.status or 'done'}")
    row = Row(inst)
    for name, _ in solvers:
        summarise(row, name, results[name], objective)
    row.agree, err = agreement(inst.expected, row.answers.get("nuvfd"), row.answers.get("gecode"))
    if err:
        row.problems.append(err)
    for name, _ in solvers:
        if row.answers.get(name) is None and not row.timed_out[name] and not row.problems:
            row.problems.append(f"{name} gave no answer")
    return row


# ---------------------------------------------------------------- reporting

HEADERS = ["instance", "mode", "expected", "nuvfd answer", "gecode answer", "agree",
           "nuvfd nodes", "gecode nodes", "nuvfd time (s)", "gecode time (s)", "ratio"]


def fmt_time(row, solver):
    t = row.median.get(solver)
    if t is None:
        return "-"
    return (">" if row.timed_out.get(solver) else "") + f"{t:.3f}"


def table_rows(rows):
    out = []
    for r in rows:
        ratio = r.ratio()
        out.append([r.inst.name, r.inst.mode, r.inst.expected,
                    r.answers.get("nuvfd") or ("-" if "nuvfd" not in r.median else "?"),
                    r.answers.get("gecode") or "?",
                    r.agree,
                    str(r.nodes["nuvfd"]) if r.nodes.get("nuvfd") is not None else "-",
                    str(r.nodes["gecode"]) if r.nodes.get("gecode") is not None else "-",
                    fmt_time(r, "nuvfd"), fmt_time(r, "gecode"),
                    (">" if r.timed_out.get("nuvfd") else "") + f"{ratio:.2f}"
                    if ratio is not None else "-"])
    return out


def text_table(rows):
    body = table_rows(rows)
    widths = [max(len(h), *(len(b[i]) for b in body)) if body else len(h) for i, h in enumerate(HEADERS)]
    line = lambda cells: "  ".join(c.ljust(w) for c, w in zip(cells, widths)).rstrip()
    return "\n".join([line(HEADERS), line(["-" * w for w in widths])] + [line(b) for b in body])


def markdown_table(rows):
    body = table_rows(rows)
    lines = ["| " + " | ".join(HEADERS) + " |", "|" + "---|" * len(HEADERS)]
    lines += ["| " + " | ".join(b) + " |" for b in body]
    return "\n".join(lines)


def svg_escape(s):
    return s.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")


def bar_chart_svg(title, labels, values, unit, from_one):
    """Horizontal bars on a log10 axis.

    With from_one the bars grow from the value 1 (a ratio: left is better,
    right is worse) and a black line marks it; otherwise they grow from the
    left edge."""
    left, right, top, bar, gap = 170, 40, 50, 16, 6
    width = 760
    height = top + len(labels) * (bar + gap) + 50
    logs = [math.log10(v) for v in values]
    lo = math.floor(min(logs + [0.0]))
    hi = math.ceil(max(logs + [0.0]))
    if hi == lo:
        hi = lo + 1
    span = width - left - right
    x = lambda lg: left + (lg - lo) / (hi - lo) * span
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
           f'font-family="sans-serif" font-size="12">',
           f'<rect width="{width}" height="{height}" fill="white"/>',
           f'<text x="{width / 2}" y="22" text-anchor="middle" font-size="15">{svg_escape(title)}</text>']
    axis_y = height - 35
    for e in range(lo, hi + 1):
        xe = x(e)
        out.append(f'<line x1="{xe:.1f}" y1="{top - 8}" x2="{xe:.1f}" y2="{axis_y}" stroke="#ddd"/>')
        out.append(f'<text x="{xe:.1f}" y="{axis_y + 15}" text-anchor="middle">{10.0 ** e:g}{unit}</text>')
    for i, (label, lg, v) in enumerate(zip(labels, logs, values)):
        y = top + i * (bar + gap)
        x0, x1 = sorted((x(0.0) if from_one else x(lo), x(lg)))
        colour = ("#c0392b" if lg > 0 else "#27ae60") if from_one else "#2c6fbb"
        out.append(f'<text x="{left - 8}" y="{y + bar - 4}" text-anchor="end">{svg_escape(label)}</text>')
        out.append(f'<rect x="{x0:.1f}" y="{y}" width="{max(x1 - x0, 1):.1f}" height="{bar}" fill="{colour}"/>')
        out.append(f'<text x="{max(x1, x0) + 4:.1f}" y="{y + bar - 4}">{v:.3g}</text>')
    if from_one:
        out.append(f'<line x1="{x(0.0):.1f}" y1="{top - 8}" x2="{x(0.0):.1f}" y2="{axis_y}" stroke="black"/>')
    out.append("</svg>")
    return "\n".join(out) + "\n"


def write_reports(rows, nuvfd_ran, geomean, args, header_note):
    with open(args.markdown, "w") as f:
        f.write("# Benchmark results: fzn-nuvfd against fzn-gecode\n\n")
        f.write(header_note + "\n\n")
        f.write(markdown_table(rows) + "\n\n")
        if geomean is not None:
            f.write(f"Geometric mean of the time ratios (nuvfd/gecode): **{geomean:.3f}**\n")
        elif nuvfd_ran:
            f.write("Geometric mean of the time ratios: no instance finished on both solvers.\n")
        else:
            f.write("fzn-nuvfd was not available: Gecode only, no ratios.\n")
    ratios = [(r.inst.name, r.ratio()) for r in rows if r.ratio() is not None]
    if ratios:
        title = "Time ratio nuvfd/gecode (log scale, < 1: nuvfd faster)"
        if geomean is not None:
            title += f"; geometric mean {geomean:.3f}"
        svg = bar_chart_svg(title, [n for n, _ in ratios], [v for _, v in ratios], "", True)
    else:
        times = [(r.inst.name, r.median["gecode"]) for r in rows if r.median.get("gecode")]
        svg = bar_chart_svg("fzn-gecode median time (s, log scale); no fzn-nuvfd ratios yet",
                            [n for n, _ in times], [v for _, v in times], "s", False)
    with open(args.svg, "w") as f:
        f.write(svg)


# ---------------------------------------------------------------- main

def shown(path):
    """A path as the user would type it: relative to the repository when inside it."""
    full = os.path.abspath(path)
    return os.path.relpath(full, ROOT_DIR) if full.startswith(ROOT_DIR + os.sep) else path


def parse_args(argv):
    p = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    p.add_argument("--nuvfd", default=os.path.join(ROOT_DIR, "build", "fzn-nuvfd"),
                   help="fzn-nuvfd executable (default: build/fzn-nuvfd)")
    p.add_argument("--gecode", default="fzn-gecode", help="fzn-gecode executable")
    p.add_argument("--minizinc", default="minizinc", help="minizinc executable (compiler)")
    p.add_argument("--runs", type=int, default=3, help="runs per solver and instance (default 3)")
    p.add_argument("--timeout", type=float, default=60.0, help="time limit per run in seconds (default 60)")
    p.add_argument("--instances", default=os.path.join(BENCH_DIR, "instances.txt"))
    p.add_argument("--build-dir", default=os.path.join(BENCH_DIR, "build"),
                   help="where the FlatZinc files go (default bench/build)")
    p.add_argument("--markdown", default=os.path.join(BENCH_DIR, "results.md"))
    p.add_argument("--svg", default=os.path.join(BENCH_DIR, "results.svg"))
    p.add_argument("--gecode-only", action="store_true", help="do not run fzn-nuvfd even if it exists")
    p.add_argument("only", nargs="*", help="run only these instances (names or name prefixes)")
    args = p.parse_args(argv)
    if args.runs < 1:
        p.error("--runs must be at least 1")
    return args


def main(argv=None):
    args = parse_args(sys.argv[1:] if argv is None else argv)
    log = lambda msg: print(msg, file=sys.stderr, flush=True)
    try:
        instances = read_instances(args.instances, os.path.join(BENCH_DIR, "models"))
    except (OSError, ValueError) as e:
        log(f"error: {e}")
        return 2
    if args.only:
        instances = [i for i in instances if any(i.name.startswith(o) for o in args.only)]
        if not instances:
            log("error: no instance matches " + " ".join(args.only))
            return 2

    nuvfd_ran = not args.gecode_only and os.path.isfile(args.nuvfd) and os.access(args.nuvfd, os.X_OK)
    solvers = ([("nuvfd", args.nuvfd)] if nuvfd_ran else []) + [("gecode", args.gecode)]
    if nuvfd_ran:
        note = (f"{args.runs} run(s) per solver, alternating, time limit {args.timeout:g} s per run; "
                "times are wall-clock medians.")
    else:
        why = "skipped (--gecode-only)" if args.gecode_only else f"not found at {shown(args.nuvfd)}"
        note = (f"**fzn-nuvfd {why}: Gecode only.** {args.runs} run(s) per instance, "
                f"time limit {args.timeout:g} s per run; times are wall-clock medians.")
        print(f"NOTE: fzn-nuvfd {why}; running fzn-gecode only (no ratios).", flush=True)

    os.makedirs(args.build_dir, exist_ok=True)
    rows = []
    for inst in instances:
        try:
            fzn = compile_instance(inst, args.build_dir, args.minizinc)
        except (OSError, RuntimeError) as e:
            log(f"error: {e}")
            return 2
        rows.append(bench_instance(inst, fzn, solvers, args.runs, args.timeout, log))

    ratios = [r.ratio() for r in rows]
    geomean = geometric_mean(ratios)
    print(text_table(rows))
    if geomean is not None:
        print(f"\ngeometric mean of the time ratios (nuvfd/gecode): {geomean:.3f} "
              f"over {sum(1 for x in ratios if x is not None)} instance(s)")
    write_reports(rows, nuvfd_ran, geomean, args, note)
    print(f"\nwrote {shown(args.markdown)} and {shown(args.svg)}")

    failed = False
    for r in rows:
        for p in r.problems:
            print(f"ERROR: {r.inst.name}: {p}", file=sys.stderr)
            failed = True
        for name in r.timed_out:
            if r.timed_out[name]:
                print(f"warning: {r.inst.name}: {name} hit the time limit", file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
