#!/usr/bin/env python3
"""Global constraints: nuvfd's native globals against Gecode's own.

Every instance of bench/globals/instances.txt is compiled three times from
the same MiniZinc model and data:
  native   with nuvfd's library (share/minizinc/nuvfd): one native
           constraint per global, run by fzn-nuvfd;
  std      with MiniZinc's standard decompositions (-G std), run by
           fzn-nuvfd (what the native constraint replaces);
  gecode   with Gecode's native globals (the library that
           ../shared/tools/gecode-compat/build.sh assembles), run by
           fzn-gecode.
The solvers run alternately, a few times each; the table gives the answers,
the nodes, the median times and two ratios: native/gecode (the figure of
merit) and native/std (what the native global buys).

usage: python3 bench/globals/run.py [--runs N] [--timeout S] [names...]
Needs minizinc, fzn-gecode and the gecode-compat library (built on demand
into /tmp/gecode-compat when its build script is found).
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
BENCH = os.path.dirname(HERE)
ROOT = os.path.dirname(BENCH)
sys.path.insert(0, BENCH)
import run as suite  # noqa: E402  (the main bench's parsing and statistics)

COMPAT_BUILD = os.path.join(ROOT, "..", "shared", "tools", "gecode-compat", "build.sh")
COMPAT_DIR = "/tmp/gecode-compat"
WAYS = ("native", "std", "gecode")


def nuvfd_msc(tmp, exe):
    with open(os.path.join(ROOT, "share/minizinc/solvers/nuvfd.msc")) as f:
        conf = json.load(f)
    conf["executable"] = exe
    conf["mznlib"] = os.path.join(ROOT, "share/minizinc/nuvfd")
    path = os.path.join(tmp, "nuvfd.msc")
    with open(path, "w") as f:
        json.dump(conf, f)
    return path


def gecode_msc():
    msc = os.path.join(COMPAT_DIR, "gecode-compat.msc")
    if not os.path.exists(msc) and os.path.exists(COMPAT_BUILD):
        subprocess.run(["bash", COMPAT_BUILD, COMPAT_DIR], check=True, capture_output=True)
    return msc if os.path.exists(msc) else None


def compile_way(inst, way, msc, build_dir):
    fzn = os.path.join(build_dir, f"{inst.name}.{way}.fzn")
    sources = [inst.model] + ([inst.data] if inst.data else [])
    cmd = ["minizinc", "-c", "--solver", msc, "--fzn", fzn, "--no-output-ozn"] + sources
    if way == "std":
        cmd += ["-G", "std"]
    proc = subprocess.run(cmd, capture_output=True, text=True)
    if proc.returncode != 0:
        raise RuntimeError(f"compiling {inst.name} ({way}) failed:\n{proc.stderr}")
    with open(fzn) as f:
        text = f.read()
    name = suite.objective_name(text)
    if name:
        with open(fzn, "w") as f:
            f.write(suite.expose_objective(text, name))
    return fzn


def main(argv=None):
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("names", nargs="*", help="only instances whose names start so")
    p.add_argument("--runs", type=int, default=3)
    p.add_argument("--timeout", type=float, default=20)
    p.add_argument("--nuvfd", default=os.path.join(ROOT, "build", "fzn-nuvfd"))
    # results.md holds several hand-assembled sections: a table is written
    # only where asked.
    p.add_argument("--markdown", help="write the table to this file")
    args = p.parse_args(argv)
    if not shutil.which("minizinc") or not shutil.which("fzn-gecode"):
        print("minizinc and fzn-gecode are needed")
        return 2
    gmsc = gecode_msc()
    if not gmsc:
        print("Gecode's native globals library is missing (../shared/tools/gecode-compat/build.sh)")
        return 2
    exe = os.path.abspath(args.nuvfd)
    instances = suite.read_instances(os.path.join(HERE, "instances.txt"), os.path.join(HERE, "models"))
    if args.names:
        instances = [i for i in instances if any(i.name.startswith(n) for n in args.names)]
    build_dir = os.path.join(HERE, "build")
    os.makedirs(build_dir, exist_ok=True)
    rows, bad = [], 0
    with tempfile.TemporaryDirectory() as tmp:
        nmsc = nuvfd_msc(tmp, exe)
        for inst in instances:
            fzn = {w: compile_way(inst, w, gmsc if w == "gecode" else nmsc, build_dir) for w in WAYS}
            runs = {w: [] for w in WAYS}
            for _ in range(args.runs):
                for w in WAYS:
                    runs[w].append(suite.run_solver("fzn-gecode" if w == "gecode" else exe, fzn[w],
                                                    inst.mode, args.timeout))
            row = {"inst": inst}
            for w in WAYS:
                with open(fzn[w]) as f:
                    objective = suite.objective_name(f.read())
                answers = {suite.answer(inst.mode, r, objective) for r in runs[w]}
                row[w] = {
                    "answer": answers.pop() if len(answers) == 1 else None,
                    "nodes": runs[w][0].nodes(),
                    "time": sorted(r.seconds for r in runs[w])[len(runs[w]) // 2],
                }
            # Runs that did not settle the answer (a time limit) are left out;
            # native and gecode must answer.
            answers = {row[w]["answer"] for w in WAYS} - {None}
            row["agree"] = answers == {inst.expected} and None not in (
                row["native"]["answer"], row["gecode"]["answer"])
            bad += not row["agree"]
            rows.append(row)
            print(f"{inst.name:<20} " + "  ".join(
                f"{w} {row[w]['answer']} {row[w]['nodes']} {row[w]['time']:.3f}s" for w in WAYS), flush=True)
    ratios = [r["native"]["time"] / r["gecode"]["time"] for r in rows if r["gecode"]["time"] > 0]
    std = [r["native"]["time"] / r["std"]["time"] for r in rows if r["std"]["time"] > 0]
    lines = [
        "# Global constraints: nuvfd native, nuvfd on the decomposition, Gecode native",
        "",
        f"{args.runs} run(s) each, alternating; wall-clock medians; `python3 bench/globals/run.py`.",
        "",
        "A time at the limit means the run did not finish (its ratio is a bound).",
        "",
        "| instance | mode | expected | agree | nodes native / std / gecode | time native (s) "
        "| time std (s) | time gecode (s) | native/gecode | native/std |",
        "|---|---|---|---|---|---|---|---|---|---|",
    ]
    for r in rows:
        i = r["inst"]
        lines.append(
            f"| {i.name} | {i.mode} | {i.expected} | {'yes' if r['agree'] else 'NO'} | "
            f"{r['native']['nodes']} / {r['std']['nodes']} / {r['gecode']['nodes']} | "
            f"{r['native']['time']:.3f} | {r['std']['time']:.3f} | {r['gecode']['time']:.3f} | "
            f"{r['native']['time'] / r['gecode']['time']:.2f} | {r['native']['time'] / r['std']['time']:.2f} |")
    lines += ["", f"Geometric mean native/gecode: **{suite.geometric_mean(ratios):.3f}**; "
              f"native/std: **{suite.geometric_mean(std):.3f}**", ""]
    if args.markdown:
        with open(args.markdown, "w") as f:
            f.write("\n".join(lines))
    print("\n".join(lines[-2:]))
    if bad:
        print(f"ERROR: {bad} instance(s) with answers that disagree")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
