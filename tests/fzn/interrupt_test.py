#!/usr/bin/env python3
"""Interrupts fzn-nuvfd at random moments and checks that every output
parses: solution blocks whole, each closed by "----------", at most one
status line after the last one, "%%%mzn-stat" lines well formed and closed,
no stray bytes. Runs long models three ways: fzn-nuvfd directly with SIGINT
or SIGTERM, fzn-nuvfd with a time limit (-t), and MiniZinc with the nuvfd
solver configuration (when minizinc is installed), interrupted like a
terminal's Ctrl-C (one SIGINT to the whole process group) or like MiniZinc's
own caller (one SIGINT to minizinc, which passes it on).

Not done: `timeout -s INT`, which signals minizinc twice (itself, then its
process group). MiniZinc 2.6.4's driver then sometimes hands a few stale
bytes to its output parser before the solver's next output and fails with
a syntax error; a stand-in solver that prints one fixed line on SIGINT shows
it as often as fzn-nuvfd does, and no single interrupt does.

usage: interrupt_test.py FZN_NUVFD [--runs N] [--seed S] [--double]
  (default: about 25 seconds; --runs 300 for a long run by hand; --double
  runs only minizinc, signalled the way `timeout -s INT` does, to watch the
  driver's own fault: expect a few failures among a hundred runs)
"""
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.abspath(os.path.join(HERE, "..", ".."))
STATUS = {"==========", "=====UNSATISFIABLE=====", "=====UNKNOWN=====", "=====ERROR====="}
VALUE = r"(-?\d+|true|false)"
ASSIGN = re.compile(
    r"^([A-Za-z_][A-Za-z0-9_]*) = (" + VALUE + r"|array\dd\((-?\d+\.\.-?\d+, )+\[(" + VALUE +
    r"(, " + VALUE + r")*)?\]\));$")
STAT = re.compile(r"^%%%mzn-stat: [A-Za-z]+=\S+$")


# ---- models -------------------------------------------------------------------------------

def queens_fzn(n):
    """n-queens: many solutions, printed all along with -a."""
    out = [f"var 1..{n}: q{i};" for i in range(n)]
    out.append(f"array [1..{n}] of var int: q :: output_array([1..{n}]) = "
               f"[{', '.join(f'q{i}' for i in range(n))}];")
    for i in range(n):
        for j in range(i + 1, n):
            out.append(f"constraint int_ne(q{i}, q{j});")
            out.append(f"constraint int_lin_ne([1, -1], [q{i}, q{j}], {j - i});")
            out.append(f"constraint int_lin_ne([1, -1], [q{i}, q{j}], {i - j});")
    out.append("solve :: int_search(q, first_fail, indomain_min, complete) satisfy;")
    return "\n".join(out) + "\n", {"q"}


def golomb_fzn(m):
    """A Golomb ruler: an optimisation that improves slowly for seconds."""
    ub = m * m
    out = [f"var 0..{ub}: x{i} :: var_is_introduced;" for i in range(m)]
    out.append(f"array [1..{m}] of var int: mark :: output_array([1..{m}]) = "
               f"[{', '.join(f'x{i}' for i in range(m))}];")
    out.append("constraint int_eq(x0, 0);")
    diffs = []
    for i in range(m):
        for j in range(i + 1, m):
            d = f"d{i}_{j}"
            diffs.append(d)
            out.append(f"var 1..{ub}: {d} :: var_is_introduced :: is_defined_var;")
            out.append(f"constraint int_lin_eq([1, -1, -1], [x{j}, x{i}, {d}], 0) "
                       f":: defines_var({d});")
        if i + 1 < m:
            out.append(f"constraint int_lt(x{i}, x{i + 1});")
    for a in range(len(diffs)):
        for b in range(a + 1, len(diffs)):
            out.append(f"constraint int_ne({diffs[a]}, {diffs[b]});")
    out.append(f"solve :: int_search(mark, input_order, indomain_min, complete) "
               f"minimize x{m - 1};")
    return "\n".join(out) + "\n", {"mark"}


QUEENS_MZN = """int: n = 16;
array[1..n] of var 1..n: q;
include "alldifferent.mzn";
constraint alldifferent(q);
constraint alldifferent([q[i] + i | i in 1..n]);
constraint alldifferent([q[i] - i | i in 1..n]);
solve :: int_search(q, first_fail, indomain_min) satisfy;
output ["q = \\(q);\\n"];
"""

GOLOMB_MZN = """include "alldifferent.mzn";
int: m = 11;
array[1..m] of var 0..m * m: mark;
array[1..m * (m - 1) div 2] of var 1..m * m: dist =
    [mark[j] - mark[i] | i in 1..m, j in i + 1..m];
constraint mark[1] = 0;
constraint forall(i in 1..m - 1)(mark[i] < mark[i + 1]);
constraint alldifferent(dist);
solve :: int_search(mark, input_order, indomain_min) minimize mark[m];
output ["length = \\(mark[m]);\\n"];
"""


# ---- checks -------------------------------------------------------------------------------

def check_fzn_output(data, names, stats):
    """Why `data` (fzn-nuvfd's stdout) is malformed, or None. Returns also
    the number of solutions and the status line."""
    if any(b not in b"\n" and not 32 <= b < 127 for b in data):
        return "stray bytes", 0, None
    if data and not data.endswith(b"\n"):
        return "last line cut", 0, None
    blocks, block, status, stat_lines, closed = 0, set(), None, 0, False
    for line in data.decode().splitlines():
        if closed:
            return f"text after %%%mzn-stat-end: {line!r}", blocks, status
        m = ASSIGN.match(line)
        if m:
            if status is not None or stat_lines:
                return f"a solution after the status or statistics: {line!r}", blocks, status
            block.add(m.group(1))
        elif line == "----------":
            if block != names:
                return f"solution block with {sorted(block)}, not {sorted(names)}", blocks, status
            blocks += 1
            block = set()
        elif line in STATUS:
            if status is not None or block or stat_lines:
                return f"misplaced status {line!r}", blocks, status
            status = line
        elif STAT.match(line):
            if block:
                return "statistics inside a solution", blocks, status
            stat_lines += 1
        elif line == "%%%mzn-stat-end":
            closed = True
        else:
            return f"unexpected line {line!r}", blocks, status
    if block:
        return f"unfinished solution {sorted(block)}", blocks, status
    if stats and not closed:
        return "statistics missing or not closed", blocks, status
    return None, blocks, status


def check_mzn_output(out, err, rc, double=False):
    # MiniZinc ends an interrupted run by dying of the SIGINT itself; a
    # second SIGINT makes it give up at once, with status 1.
    if rc not in (0, -signal.SIGINT) and not (double and rc == 1):
        return f"exit status {rc}: {err[-300:]!r}"
    if "Error" in err or "rror:" in out:
        return f"error: {err[-300:]!r}"
    for line in out.splitlines():
        if any(not 32 <= ord(c) < 127 for c in line):
            return f"stray bytes in {line!r}"
        if not (line == "----------" or line in STATUS or line.startswith("%")
                or re.match(r"^(q = \[\d+(, \d+)*\]|length = \d+);$", line)):
            return f"unexpected line {line!r}"
    return None


# ---- runs ---------------------------------------------------------------------------------

def run_direct(exe, model, names, flags, delay, sig):
    """Starts fzn-nuvfd, signals it after `delay` seconds (sig None: let it
    run, with its own -t)."""
    p = subprocess.Popen([exe] + flags + [model], stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE)
    if sig is not None:
        time.sleep(delay)
        p.send_signal(sig)
    try:
        out, err = p.communicate(timeout=30)
    except subprocess.TimeoutExpired:
        p.kill()
        p.communicate()
        return "did not stop within 30 s of the signal"
    if sig is not None and p.returncode == -sig and not out:
        return None  # killed before main installed its handlers: nothing printed
    if p.returncode != 0:
        return f"exit status {p.returncode}: {err[-300:]!r}"
    why, _, _ = check_fzn_output(out, names, "-s" in flags)
    return why


def run_minizinc(minizinc, msc, model, flags, delay, group, double=False):
    p = subprocess.Popen([minizinc, "--solver", msc] + flags + [model], stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, text=True, start_new_session=True)
    time.sleep(delay)
    if double:
        p.send_signal(signal.SIGINT)
        time.sleep(random.uniform(0, 0.005))  # as far apart as timeout's two sends may be
        try:
            os.killpg(p.pid, signal.SIGINT)
        except ProcessLookupError:
            pass
    elif group:
        try:
            os.killpg(p.pid, signal.SIGINT)
        except ProcessLookupError:
            pass
    else:
        p.send_signal(signal.SIGINT)
    try:
        out, err = p.communicate(timeout=30)
    except subprocess.TimeoutExpired:
        os.killpg(p.pid, signal.SIGKILL)
        p.communicate()
        return "did not stop within 30 s of the signal"
    return check_mzn_output(out, err, p.returncode, double)


def main():
    args = sys.argv[1:]
    if not args:
        print(__doc__)
        return 2
    exe = os.path.abspath(args[0])
    runs, seed = 0, int(time.time())
    if "--runs" in args:
        runs = int(args[args.index("--runs") + 1])
    if "--seed" in args:
        seed = int(args[args.index("--seed") + 1])
    double = "--double" in args
    rng = random.Random(seed)
    budget = 25.0 if runs == 0 else float("inf")
    minizinc = shutil.which("minizinc")
    failures, done, start = [], 0, time.time()
    with tempfile.TemporaryDirectory() as tmp:
        models = {}
        for name, (text, names) in (("queens", queens_fzn(13)), ("golomb", golomb_fzn(11))):
            path = os.path.join(tmp, name + ".fzn")
            with open(path, "w") as f:
                f.write(text)
            models[name] = (path, names)
        msc = os.path.join(tmp, "nuvfd.msc")
        with open(os.path.join(ROOT, "share/minizinc/solvers/nuvfd.msc")) as f:
            conf = json.load(f)
        conf["executable"] = exe
        conf["mznlib"] = os.path.join(ROOT, "share/minizinc/nuvfd")
        with open(msc, "w") as f:
            json.dump(conf, f)
        mzn = {}
        for name, text in (("queens", QUEENS_MZN), ("golomb", GOLOMB_MZN)):
            mzn[name] = os.path.join(tmp, name + ".mzn")
            with open(mzn[name], "w") as f:
                f.write(text)

        kinds = ["signal", "signal", "signal", "time"] + (["minizinc"] if minizinc else [])
        if double:
            if not minizinc:
                print("--double needs minizinc")
                return 2
            kinds = ["minizinc"]
        while (done < runs) if runs else (time.time() - start < budget):
            kind = kinds[done % len(kinds)]
            name = rng.choice(["queens", "golomb"])
            flags = [f for f in ("-a", "-s") if rng.random() < 0.5]
            if kind == "signal":
                sig = rng.choice([signal.SIGINT, signal.SIGTERM])
                delay = rng.uniform(0.0, 1.0)
                why = run_direct(exe, models[name][0], models[name][1], flags, delay, sig)
                what = f"fzn-nuvfd {' '.join(flags)} {name} {sig.name} at {delay:.3f} s"
            elif kind == "time":
                limit = rng.randint(1, 600)
                t0 = time.time()
                why = run_direct(exe, models[name][0], models[name][1], flags + ["-t", str(limit)],
                                 0, None)
                took = time.time() - t0
                if not why and took > limit / 1000 + 2:
                    why = f"took {took:.2f} s"
                what = f"fzn-nuvfd {' '.join(flags)} -t {limit} {name}"
            else:
                group = rng.random() < 0.5
                delay = rng.uniform(0.3, 2.0)
                why = run_minizinc(minizinc, msc, mzn[name], flags, delay, group, double)
                what = (f"minizinc {' '.join(flags)} {name} SIGINT to "
                        f"{'minizinc, then the group' if double else 'the group' if group else 'minizinc'}"
                        f" at {delay:.3f} s")
            done += 1
            if why:
                failures.append(what)
                print(f"FAIL {what}: {why}")
    print(f"interrupt test (seed {seed}): {done - len(failures)} passed, {len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
