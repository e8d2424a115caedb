"""Model-building speed of quendalib against the libraries a user would
otherwise pick, in one process and one run, plus a C++ floor.

    .venv-bench/bin/python benchmarks/algebra/bench_algebra.py [--scale 0.1]

Each benchmark does the same work in every library, written the way that
library is meant to be used:

  sum       a sum of N linear terms c*x with the library's sum function
  sum+=     the same sum accumulated with +=
  cons      M constraints of 10 terms each, built with operators
            (a0*x0 + ... + a9*x9 <= b), not added to a model
  dot       a dense D x D matrix times D variables (quendalib: Dot; the
            others: their sum function row by row)
  var*k, var+var, e+=t   single operations, in ns per operation

Times are per term (ns); the ratio column is time / quendalib's time, so a
ratio above 1 means quendalib is faster.  The C++ line (map_limit.cpp,
compiled here with g++ -O2) does the same coefficient-map insertions with
no Python objects at all: the floor.  Peers that are not installed are
skipped; python-mip, PuLP and Pyomo run at a tenth of the sizes (their
full-size run takes many minutes; the times are per term anyway).
"""
import argparse
import os
import sys

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))
from benchlib import (adapter, import_quendalib, poi_highs, run_cpp as run_cpp_lines,  # noqa: E402
                      timed)


# ------------------------------------------------------------ libraries
#
# Each adapter gives: new_vars(n) -> list of variables; lsum(iterable) ->
# the library's sum and zero() -> an empty expression that += accumulates
# into; dot(A, xs) -> the rows of A times xs (by default the library's sum
# row by row).  The benchmark bodies below are shared.


class Adapter:
    def dot(self, A, xs):
        return [self.lsum(a * x for a, x in zip(row, xs)) for row in A.tolist()]


@adapter("quendalib")
class Quenda(Adapter):

    def __init__(self):
        self.q = import_quendalib()
        self.zero = self.lsum = self.q.Sum

    def new_vars(self, n):
        return [self.q.var() for _ in range(n)]

    def dot(self, A, xs):
        return self.q.Dot(A, np.array(xs, dtype=object))


@adapter("pyoptinterface")
class PyOptInterface(Adapter):

    def __init__(self):
        poi, highs = poi_highs()
        self.poi = poi
        self.zero, self.lsum = poi.ExprBuilder, poi.quicksum
        self.model = highs.Model()
        self.model.set_model_attribute(poi.ModelAttribute.Silent, True)

    def new_vars(self, n):
        return [self.model.add_variable() for _ in range(n)]


@adapter("highspy")
class Highspy(Adapter):

    def __init__(self):
        import highspy
        self.h = highspy.Highs()
        self.h.silent()
        self.zero = highspy.highs.highs_linear_expression
        self.lsum = self.h.qsum

    def new_vars(self, n):
        return list(self.h.addVariables(n))


@adapter("python-mip", scale=0.1)
class PythonMIP(Adapter):

    def __init__(self):
        import mip
        self.mip = mip
        self.zero, self.lsum = mip.LinExpr, mip.xsum
        self.m = mip.Model(solver_name="CBC")
        self.m.verbose = 0

    def new_vars(self, n):
        return [self.m.add_var() for _ in range(n)]


@adapter("pulp", scale=0.1)
class PuLP(Adapter):

    def __init__(self):
        import pulp
        self.pulp = pulp
        self.zero, self.lsum = pulp.LpAffineExpression, pulp.lpSum
        self.count = 0

    def new_vars(self, n):
        base = self.count
        self.count += n
        return [self.pulp.LpVariable(f"x{base + i}") for i in range(n)]

    def dot(self, A, xs):
        return [self.pulp.lpDot(row, xs) for row in A.tolist()]


@adapter("pyomo", scale=0.1)
class Pyomo(Adapter):

    def __init__(self):
        import pyomo.environ as pe
        self.pe = pe
        self.lsum = pe.quicksum
        self.m = pe.ConcreteModel()
        self.count = 0

    def new_vars(self, n):
        self.count += 1
        v = self.pe.Var(range(n))
        setattr(self.m, f"x{self.count}", v)
        return [v[i] for i in range(n)]

    def zero(self):
        return 0


# ------------------------------------------------------------ benchmarks

def bench_sum(lib, n):
    xs = lib.new_vars(n)
    coefs = [1.0 + (i % 7) for i in range(n)]
    t = timed(lambda: lib.lsum(c * x for c, x in zip(coefs, xs)))
    return t / n


def bench_iadd(lib, n):
    xs = lib.new_vars(n)
    coefs = [1.0 + (i % 7) for i in range(n)]

    def run():
        e = lib.zero()
        for c, x in zip(coefs, xs):
            e += c * x
        return e
    return timed(run) / n


def bench_cons(lib, m, nvars):
    xs = lib.new_vars(nvars)
    rng = np.random.default_rng(1)
    idx = rng.integers(0, nvars, size=(m, 10)).tolist()
    rows = [tuple(xs[j] for j in r) for r in idx]
    coefs = [tuple(1.0 + (j % 5) for j in r) for r in idx]
    rhs = [float(i) for i in range(m)]

    def run():
        out = []
        for (x0, x1, x2, x3, x4, x5, x6, x7, x8, x9), (a0, a1, a2, a3, a4, a5, a6, a7, a8, a9), b \
                in zip(rows, coefs, rhs):
            out.append(a0 * x0 + a1 * x1 + a2 * x2 + a3 * x3 + a4 * x4 + a5 * x5 + a6 * x6
                       + a7 * x7 + a8 * x8 + a9 * x9 <= b)
        return out
    return timed(run) / (10 * m)


def bench_dot(lib, d):
    xs = lib.new_vars(d)
    A = np.random.default_rng(2).uniform(0.5, 4.5, size=(d, d))
    return timed(lambda: lib.dot(A, xs)) / (d * d)


def bench_single(lib, n):
    """ns per operation, the bare loop's own cost taken off."""
    xs = lib.new_vars(n)
    ys = xs[1:] + xs[:1]
    terms = [2.5 * x for x in xs]
    loop = timed(lambda: [None for x in xs])
    mul = timed(lambda: [x * 2.5 for x in xs])
    add = timed(lambda: [x + y for x, y in zip(xs, ys)])
    loop2 = timed(lambda: [None for x, y in zip(xs, ys)])

    def run():
        e = lib.zero()
        for t in terms:
            e += t
    iadd = timed(run)

    def bare():
        e = lib.zero()
        for t in terms:
            pass
    iloop = timed(bare)
    return ((mul - loop) / n, (add - loop2) / n, (iadd - iloop) / n)


class FloatOperands:
    """Floats in place of variables: what the interpreter alone costs."""

    def new_vars(self, n):
        return [1.0 + (i % 97) for i in range(n)]


def run_cpp(n, m, d):
    return run_cpp_lines(os.path.join(HERE, "map_limit.cpp"), "C++ floor",
                         run_args=(str(n), str(m), str(d)))


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--scale", type=float, default=1.0,
                    help="multiply the sizes (1e6 terms, 1e5 constraints, 1000x1000) by this")
    ap.add_argument("--only", default="", help="comma-separated library names to run")
    args = ap.parse_args()
    n = max(1000, int(1_000_000 * args.scale))
    m = max(100, int(100_000 * args.scale))
    d = max(10, int(1000 * min(1.0, args.scale ** 0.5)))
    nsingle = max(1000, int(200_000 * args.scale))

    libs = []
    for cls in (Quenda, PyOptInterface, Highspy, PythonMIP, PuLP, Pyomo):
        if args.only and cls.name not in args.only.split(",") and cls is not Quenda:
            continue
        try:
            libs.append(cls())
        except Exception as err:          # a peer that is not installed or does not load
            print(f"{cls.name}: skipped ({type(err).__name__}: {err})")

    print(f"sizes: sum {n} terms, {m} constraints x 10 terms, dot {d}x{d}, single ops x {nsingle}")
    print(f"numpy {np.__version__}, python {sys.version.split()[0]}")
    results = {}
    for lib in libs:
        s = getattr(lib, "scale", 1.0)
        r = {}
        r["sum"] = bench_sum(lib, max(1000, int(n * s)))
        r["sum+="] = bench_iadd(lib, max(1000, int(n * s)))
        r["cons"] = bench_cons(lib, max(100, int(m * s)), max(1000, int(n * s) // 10))
        r["dot"] = bench_dot(lib, max(10, int(d * s ** 0.5)))
        r["var*k"], r["var+var"], r["e+=t"] = bench_single(lib, max(1000, int(nsingle * s)))
        results[lib.name] = r
        print(f"  {lib.name} done", flush=True)
    cpp = run_cpp(n, m, d)
    # The interpreter's own floor for "cons": the same loop and operators
    # over Python floats, the cheapest objects it has.
    floats = bench_cons(FloatOperands(), m, max(1000, n // 10))

    keys = ["sum", "sum+=", "cons", "dot", "var*k", "var+var", "e+=t"]
    base = results["quendalib"]
    print()
    print(f"{'ns per term / op':<16}" + "".join(f"{k:>16}" for k in keys))
    for name, r in results.items():
        cells = []
        for k in keys:
            ns = r[k] * 1e9
            cells.append(f"{ns:9.1f}" + (f" ({r[k] / base[k]:4.1f}x)" if name != "quendalib" else " " * 7))
        print(f"{name:<16}" + "".join(f"{c:>16}" for c in cells))
    if cpp:
        cells = []
        for k, ck in zip(keys, ["sum", "sum", "constraints", "dot"]):
            cells.append(f"{cpp[ck] * 1e9:9.1f} ({cpp[ck] / base[k]:4.2f}x)")
        print(f"{'C++ floor':<16}" + "".join(f"{c:>16}" for c in cells))
    cell = f"{floats * 1e9:9.1f} ({floats / base['cons']:4.2f}x)"
    print(f"{'floats, cons':<16}" + " " * 32 + f"{cell:>16}")
    print("\nratio = time / quendalib's time (above 1: quendalib is faster; for the C++ floor,"
          " quendalib is 1/ratio times slower)")


if __name__ == "__main__":
    main()
