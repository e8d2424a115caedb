"""Memory of a large model built and added: quendalib against pyoptinterface
on HiGHS, in one run.

    PYTHONPATH=<build>/python .venv-bench/bin/python benchmarks/memory/bench_memory.py

Each library builds 10^6 continuous variables and 5*10^5 rows of two terms,
x[2i] + 2 x[2i+1] <= i, written with operators, and adds them to its model,
in a child process of its own (quendalib twice: the rows gathered in one
list and added in one call, and added one call each as the pyoptinterface
child does); the child reports its peak resident set
(ru_maxrss) and the resident set after the imports, so the figures compare
the model's memory and not the interpreters'.  --scale 0.1 runs a tenth.
Ratios are the peer's model memory over quendalib's: above 1, quendalib
holds less.
"""
import argparse
import os
import resource
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))
from benchlib import import_quendalib, poi_highs  # noqa: E402


def rss_mb():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE") / 2**20


def peak_mb():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024


def build_quendalib(n, m, by_row=False):
    """by_row: rows added one call each, as the pyoptinterface child adds
    them; else gathered in one list and added in one call."""
    q = import_quendalib()
    p = q.problem()
    p.setControl("loglevel", 0)
    base = rss_mb()
    xs = [q.var() for _ in range(n)]
    p.addVariable(xs)
    if by_row:
        add = p.addConstraint
        for i in range(m):
            add(xs[2 * i] + 2 * xs[2 * i + 1] <= i)
    else:
        p.addConstraint([xs[2 * i] + 2 * xs[2 * i + 1] <= i for i in range(m)])
    return base, p


def build_pyoptinterface(n, m):
    poi, highs = poi_highs()
    model = highs.Model()
    model.set_model_attribute(poi.ModelAttribute.Silent, True)
    base = rss_mb()
    xs = [model.add_variable() for _ in range(n)]
    for i in range(m):
        model.add_linear_constraint(xs[2 * i] + 2 * xs[2 * i + 1], poi.Leq, i)
    return base, model


BUILDERS = {"quendalib": build_quendalib, "quendalib by row": lambda n, m: build_quendalib(n, m, True),
            "pyoptinterface": build_pyoptinterface}


def child(name, n, m):
    base, keep = BUILDERS[name](n, m)
    print(f"{base:.1f} {peak_mb():.1f} {rss_mb():.1f}")
    del keep


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--scale", type=float, default=1.0)
    ap.add_argument("--child", help=argparse.SUPPRESS)
    args = ap.parse_args()
    n = max(2, int(1_000_000 * args.scale)) // 2 * 2
    m = n // 2
    if args.child:
        child(args.child, n, m)
        return
    print(f"{n} variables, {m} rows of two terms, built and added; MB")
    print(f"{'library':16s} {'after imports':>14s} {'peak':>9s} {'model':>9s} {'ratio':>7s}")
    ours = None
    for name in BUILDERS:
        r = subprocess.run([sys.executable, __file__, "--scale", str(args.scale), "--child", name],
                           capture_output=True, text=True)
        if r.returncode != 0:
            print(f"{name:16s} skipped: {(r.stderr.strip().splitlines() or ['failed'])[-1]}")
            continue
        base, peak, _ = (float(v) for v in r.stdout.split())
        model = peak - base
        ours = model if ours is None else ours
        print(f"{name:16s} {base:14.1f} {peak:9.1f} {model:9.1f} {model / ours:7.2f}")


if __name__ == "__main__":
    main()
