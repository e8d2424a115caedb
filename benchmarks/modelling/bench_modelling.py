"""End-to-end model building: quendalib against the libraries a user would
otherwise pick, in one process and one run, plus a C++ limit.

    PYTHONPATH=<build>/python .venv-bench/bin/python benchmarks/modelling/bench_modelling.py

Each library builds the same model, written from its mathematical
definition the way that library is meant to be used: create the
variables, build the constraints with operators, add them, set the
objective and hand the model to the solver with a time limit of zero, so
that no solving is timed.  (quendalib, pyoptinterface, highspy and
python-mip hand rows to the solver as they are added; PuLP and Pyomo hand
the model over in their solve call, which is timed with a zero time
limit; Pyomo writes the QP lqcp to an LP file instead, its in-memory HiGHS
interface taking linear objectives only.  highspy and python-mip have no
quadratic objectives and skip lqcp.)

Models (as in published modelling comparisons):

  fac-G   facility location, G x G grid and G facilities, without the cone
          rows: min d s.t. sum_f z[i,j,f] = 1; s[i,j,f] = d + M (1 - z[i,j,f]);
          r1[i,j,f] = i/G - y[f,1]; r2[i,j,f] = j/G - y[f,2]; z binary.
  lqcp-N  linear-quadratic control (a discretised heat equation steered at
          one end) on an N x N grid: a quadratic objective, N^2 equality rows.
  basic-N 2 N^2 variables: x[i,j] - y[i,j] >= i, x[i,j] + y[i,j] >= 0,
          min sum 2 x + y.

The C++ line (cpp_limit.cpp, compiled here with g++ -O2 against libqnda)
builds the same rows in plain arrays and adds them with one
QNDAaddcols64 / QNDAaddrows64 call per family: the limit for any Python
interface to libqnda.  Ratios are time / quendalib's time: above 1,
quendalib is faster.  A peer that is not installed or cannot build a
model kind is skipped; --slow-peers-small runs PuLP and Pyomo only on the
smaller size of each model.
"""
import argparse
import gc
import math
import os
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))
from benchlib import (ROOT, adapter, import_quendalib, poi_highs,  # noqa: E402
                      run_cpp as run_cpp_lines, timed)


# ------------------------------------------------------------ adapters
#
# Each adapter gives: var(lb, ub, binary) -> a variable; add_vars(list)
# (quendalib registers its variables with the problem; the others own them
# already); qsum(iterable); add(list of constraints built with operators);
# minimize(expr); handover() (a zero-time-limit solve where the library needs
# one to pass the model on).

INF = float("inf")


class Adapter:
    """The defaults: variables owned already, rows passed on as they are
    added (one by one, through adder()), nothing left to hand over."""

    def add_vars(self, xs):
        pass

    def add(self, cons):
        add = self.adder()
        for c in cons:
            add(c)

    def handover(self):
        pass


class ModelIadd(Adapter):
    """Libraries whose idiom is model += constraint (self.model)."""

    def add(self, cons):
        m = self.model
        for c in cons:
            m += c


@adapter("quendalib", quadratic=True)
class Quenda(Adapter):

    def __init__(self):
        self.q = import_quendalib()
        self.p = self.q.problem()
        self.p.setControl("loglevel", 0)

    def var(self, lb=0.0, ub=INF, binary=False):
        q = self.q
        return q.var(lb=-q.infinity if lb == -INF else lb, ub=q.infinity if ub == INF else ub,
                     vartype=q.binary if binary else q.continuous)

    def add_vars(self, xs):
        self.p.addVariable(xs)

    def qsum(self, it):
        return self.q.Sum(it)

    def add(self, cons):
        self.p.addConstraint(cons)

    def minimize(self, e):
        self.p.setObjective(e, sense=self.q.minimize)

    def handover(self):
        pass  # rows, columns and objective are in the library already


@adapter("pyoptinterface", quadratic=True)
class PyOptInterface(Adapter):

    def __init__(self):
        poi, highs = poi_highs()
        self.poi = poi
        self.m = highs.Model()
        self.m.set_model_attribute(poi.ModelAttribute.Silent, True)

    def var(self, lb=0.0, ub=INF, binary=False):
        kw = {}
        if lb != -INF:
            kw["lb"] = lb
        if ub != INF:
            kw["ub"] = ub
        if binary:
            kw["domain"] = self.poi.VariableDomain.Binary
        return self.m.add_variable(**kw)

    def qsum(self, it):
        return self.poi.quicksum(it)

    def adder(self):
        return self.m.add_linear_constraint

    def minimize(self, e):
        self.m.set_objective(e, self.poi.ObjectiveSense.Minimize)


@adapter("highspy", quadratic=False)  # its expressions are linear only
class Highspy(Adapter):

    def __init__(self):
        import highspy
        self.h = highspy.Highs()
        self.h.silent()

    def var(self, lb=0.0, ub=INF, binary=False):
        v = self.h.addVariable(lb=-1e30 if lb == -INF else lb, ub=1e30 if ub == INF else ub)
        if binary:
            self.h.changeColIntegrality(v.index, self.h_integer)
        return v

    @property
    def h_integer(self):
        import highspy
        return highspy.HighsVarType.kInteger

    def qsum(self, it):
        return self.h.qsum(it)

    def adder(self):
        return self.h.addConstr

    def minimize(self, e):
        self.h.setObjective(e)


@adapter("python-mip", quadratic=False)
class PythonMIP(ModelIadd):

    def __init__(self):
        import mip
        self.mip = mip
        self.m = self.model = mip.Model(solver_name="CBC")
        self.m.verbose = 0

    def var(self, lb=0.0, ub=INF, binary=False):
        return self.m.add_var(lb=lb, ub=ub, var_type=self.mip.BINARY if binary else self.mip.CONTINUOUS)

    def qsum(self, it):
        return self.mip.xsum(it)

    def minimize(self, e):
        self.m.objective = self.mip.minimize(e)


@adapter("pulp", quadratic=False, slow=True)
class PuLP(ModelIadd):

    def __init__(self):
        import pulp
        self.pulp = pulp
        self.prob = self.model = pulp.LpProblem("bench", pulp.LpMinimize)
        self.count = 0

    def var(self, lb=0.0, ub=INF, binary=False):
        self.count += 1
        return self.pulp.LpVariable(f"x{self.count}", lowBound=None if lb == -INF else lb,
                                    upBound=None if ub == INF else ub,
                                    cat="Binary" if binary else "Continuous")

    def minimize(self, e):
        self.prob.setObjective(e)

    def handover(self):
        self.prob.solve(self.pulp.HiGHS(msg=False, timeLimit=0))

    def qsum(self, it):
        return self.pulp.lpSum(it)


@adapter("pyomo", quadratic=True, slow=True)
class Pyomo(Adapter):

    def __init__(self):
        import pyomo.environ as pe
        self.pe = pe
        self.m = pe.ConcreteModel()
        self.m.cons = pe.ConstraintList()
        self.count = 0

    def var(self, lb=0.0, ub=INF, binary=False):
        self.count += 1
        v = self.pe.Var(bounds=(None if lb == -INF else lb, None if ub == INF else ub),
                        within=self.pe.Binary if binary else self.pe.Reals)
        setattr(self.m, f"x{self.count}", v)
        return v

    def qsum(self, it):
        return self.pe.quicksum(it)

    def adder(self):
        return self.m.cons.add

    def minimize(self, e):
        self.m.obj = self.pe.Objective(expr=e, sense=self.pe.minimize)

    def handover(self):
        if self.m.obj.expr.polynomial_degree() != 1:
            # its in-memory HiGHS interface takes linear objectives only: a QP
            # goes over as a file, the way Pyomo feeds file-based solvers
            with tempfile.TemporaryDirectory() as tmp:
                self.m.write(os.path.join(tmp, "model.lp"))
            return
        from pyomo.contrib.appsi.solvers import Highs
        s = Highs()
        s.config.time_limit = 0
        s.config.load_solution = False
        s.config.stream_solver = False
        s.solve(self.m)


# ------------------------------------------------------------ models

def facility(lib, G):
    F = G
    M = 2 * math.sqrt(2)
    P = range(G + 1)
    d = lib.var()
    y = [[lib.var(0.0, 1.0) for _ in range(2)] for _ in range(F)]
    z = [[[lib.var(binary=True) for _ in range(F)] for _ in P] for _ in P]
    s = [[[lib.var() for _ in range(F)] for _ in P] for _ in P]
    r1 = [[[lib.var(-INF, INF) for _ in range(F)] for _ in P] for _ in P]
    r2 = [[[lib.var(-INF, INF) for _ in range(F)] for _ in P] for _ in P]
    lib.add_vars([d, y, z, s, r1, r2])
    lib.add([lib.qsum(z[i][j]) == 1 for i in P for j in P])
    lib.add([s[i][j][f] - d + M * z[i][j][f] == M for i in P for j in P for f in range(F)])
    lib.add([r1[i][j][f] + y[f][0] == i / G for i in P for j in P for f in range(F)])
    lib.add([r2[i][j][f] + y[f][1] == j / G for i in P for j in P for f in range(F)])
    lib.minimize(1.0 * d)
    lib.handover()


def lqcp(lib, N):
    n = m = N
    dx = 1.0 / m
    T = 1.58
    dt = T / n
    h2 = dx * dx
    a = 0.001
    y = [[lib.var(0.0, 1.0) for _ in range(m + 1)] for _ in range(n + 1)]
    u = [None] + [lib.var(-1.0, 1.0) for _ in range(n)]
    lib.add_vars([y, u[1:]])
    yt = [0.5 * (1 - (j * dx) ** 2) for j in range(m + 1)]
    dev = [y[n][j] - yt[j] for j in range(m + 1)]
    obj = 0.25 * dx * (dev[0] * dev[0] + 2 * lib.qsum(dev[j] * dev[j] for j in range(1, m))
                       + dev[m] * dev[m]) \
        + 0.25 * a * dt * (2 * lib.qsum(u[i] * u[i] for i in range(1, n)) + u[n] * u[n])
    # the heat equation by Crank-Nicolson, each variable's terms collected
    # (some peers pass repeated variables to the solver as they are)
    c = 0.5 * dt / h2
    lib.add([(1 + 2 * c) * y[i + 1][j] - (1 - 2 * c) * y[i][j]
             - c * (y[i][j - 1] + y[i][j + 1] + y[i + 1][j - 1] + y[i + 1][j + 1]) == 0
             for i in range(n) for j in range(1, m)])
    lib.add([1.0 * y[0][j] == 0 for j in range(m + 1)])
    lib.add([y[i][2] - 4 * y[i][1] + 3 * y[i][0] == 0 for i in range(1, n + 1)])
    lib.add([(y[i][m - 2] - 4 * y[i][m - 1]) / (2 * dx) + (3 / (2 * dx) + 1) * y[i][m] - u[i]
             == 0 for i in range(1, n + 1)])
    lib.minimize(obj)
    lib.handover()


def basic(lib, N):
    x = [[lib.var() for _ in range(N)] for _ in range(N)]
    y = [[lib.var() for _ in range(N)] for _ in range(N)]
    lib.add_vars([x, y])
    lib.add([x[i][j] - y[i][j] >= i for i in range(N) for j in range(N)])
    lib.add([x[i][j] + y[i][j] >= 0 for i in range(N) for j in range(N)])
    lib.minimize(lib.qsum(2 * x[i][j] + y[i][j] for i in range(N) for j in range(N)))
    lib.handover()


MODELS = [("fac", facility, (25, 50)), ("lqcp", lqcp, (500, 1000)), ("basic", basic, (300, 500))]


def run_cpp():
    libdir = os.path.dirname(import_quendalib().__file__)
    return run_cpp_lines(os.path.join(HERE, "cpp_limit.cpp"), "C++ limit",
                         flags=("-I", os.path.join(ROOT, "solver", "include")),
                         libs=(os.path.join(libdir, "libqnda.so.34.01"), "-Wl,-rpath," + libdir))


def bench_read(n=1_000_000):
    """Reading a solution of n values: the whole vector and by an array of
    the variables."""
    import numpy as np
    q = import_quendalib()
    p = q.problem()
    p.setControl("loglevel", 0)
    xs = np.array([q.var(ub=1) for _ in range(n)], dtype=object)
    p.addVariable(xs)
    p.setObjective(q.Sum(xs[:10]))
    p.solve()
    res = {}
    for label, fn in (("getSolution()", lambda: p.getSolution()),
                      ("getSolution(array)", lambda: p.getSolution(xs))):
        fn()
        best = min(timed(fn) for _ in range(5))
        res[label] = best
    return res


def main():
    ap = argparse.ArgumentParser(description=__doc__,
                                 formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--only", default="", help="comma-separated peer names to run")
    ap.add_argument("--models", default="", help="comma-separated model names (fac, lqcp, basic)")
    ap.add_argument("--small", action="store_true", help="the smaller size of each model only")
    ap.add_argument("--slow-peers-small", action="store_true",
                    help="PuLP and Pyomo on the smaller sizes only")
    args = ap.parse_args()

    classes = [Quenda, PyOptInterface, Highspy, PythonMIP, PuLP, Pyomo]
    available = []
    for cls in classes:
        if args.only and cls is not Quenda and cls.name not in args.only.split(","):
            continue
        try:
            cls()
            available.append(cls)
        except Exception as err:  # a peer that is not installed or does not load
            print(f"{cls.name}: skipped ({type(err).__name__}: {err})")
    cpp = run_cpp()

    print(f"python {sys.version.split()[0]}")
    rows = []
    for mname, fn, sizes in MODELS:
        if args.models and mname not in args.models.split(","):
            continue
        for k, size in enumerate(sizes[:1] if args.small else sizes):
            label = f"{mname}-{size}"
            times = {}
            for cls in available:
                if mname == "lqcp" and not cls.quadratic:
                    continue
                if k > 0 and args.slow_peers_small and getattr(cls, "slow", False):
                    continue
                lib = cls()
                try:
                    times[cls.name] = timed(lambda: fn(lib, size))
                except Exception as err:
                    print(f"{label} {cls.name}: failed ({type(err).__name__}: {err})")
                del lib
                gc.collect()
                print(f"  {label} {cls.name}: {times.get(cls.name, float('nan')):.2f} s", flush=True)
            if label in cpp:
                times["C++ limit"] = cpp[label]
            rows.append((label, times))

    print()
    print(f"{'model':<12}{'library':<16}{'seconds':>10}{'ratio':>10}")
    for label, times in rows:
        base = times.get("quendalib")
        for name, t in times.items():
            ratio = f"{t / base:8.2f}x" if base else ""
            print(f"{label:<12}{name:<16}{t:10.3f}{ratio:>10}")
    print("\nratio = time / quendalib's time (above 1: quendalib is faster; for the C++ limit,"
          " quendalib is 1/ratio times slower)")

    if not args.models or "read" in args.models.split(","):
        print("\nreading a solution of 10^6 values (best of 5):")
        for label, t in bench_read().items():
            print(f"  {label:<20}{t * 1e3:8.2f} ms")


if __name__ == "__main__":
    main()
