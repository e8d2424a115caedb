"""Re-solves after small changes: libqnda (through ctypes) against a
persistent highspy instance, in one run.

    python benchmarks/solver/bench_warm.py [libqnda.so] [instances dir] [rounds]

For each instance (gesa2 as its LP relaxation) and each kind of change the
model is solved once, then changed and solved again `rounds` times; the
time of change plus re-solve is compared (median over the rounds).  Prints
the ratios libqnda / highspy (goal <= 1.2).
"""

import ctypes as C
import statistics
import sys
import time
from pathlib import Path

import highspy

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]
INSTANCES = ("perold.mps", "scrs8.mps", "gesa2.mps")
KINDS = ("rhs", "cost", "bound", "add row")
QNDA_ROWS, QNDA_COLS, QNDA_SIMPLEXITER = 1001, 1018, 1042
QNDA_LOGLEVEL, QNDA_THREADS, QNDA_OUTPUTLOG = 8001, 8002, 8009


def load_lib(path):
    lib = C.CDLL(str(path))
    lib.QNDAinit(None)
    return lib


class Qnda:
    """The model through libqnda's C interface."""

    def __init__(self, lib, path):
        self.lib = lib
        self.p = C.c_void_p()
        lib.QNDAcreateprob(C.byref(self.p))
        for ctl, v in ((QNDA_OUTPUTLOG, 0), (QNDA_LOGLEVEL, 0), (QNDA_THREADS, 1)):
            lib.QNDAsetintcontrol(self.p, ctl, v)
        if lib.QNDAreadprob(self.p, str(path).encode(), b""):
            raise RuntimeError(f"cannot read {path}")
        self.m, self.n = self.attr(QNDA_ROWS), self.attr(QNDA_COLS)

    def attr(self, i):
        v = C.c_int()
        self.lib.QNDAgetintattrib(self.p, i, C.byref(v))
        return v.value

    def get(self, fn, count):
        a = (C.c_double * count)()
        fn(self.p, a, 0, count - 1)
        return list(a)

    def solve(self):
        self.lib.QNDAlpoptimize(self.p, b"")
        return self.attr(QNDA_SIMPLEXITER)

    def x(self):
        a = (C.c_double * self.n)()
        self.lib.QNDAgetlpsol(self.p, a, None, None, None)
        return list(a)

    def rhs(self, rows, vals):
        self.lib.QNDAchgrhs(self.p, len(rows), ints(rows), dbls(vals))

    def cost(self, cols, vals):
        self.lib.QNDAchgobj(self.p, len(cols), ints(cols), dbls(vals))

    def upper(self, cols, vals):
        self.lib.QNDAchgbounds(self.p, len(cols), ints(cols), b"U" * len(cols), dbls(vals))

    def add_le(self, cols, rhs):
        start = ints([0, len(cols)])
        self.lib.QNDAaddrows(self.p, 1, len(cols), b"L", dbls([rhs]), None, start, ints(cols),
                             dbls([1.0] * len(cols)))

    def free(self):
        self.lib.QNDAdestroyprob(self.p)


class Persistent:
    """The same model in one highspy instance kept between solves."""

    def __init__(self, path):
        h = self.h = highspy.Highs()
        h.setOptionValue("output_flag", False)
        h.setOptionValue("threads", 1)
        h.readModel(str(path))
        lp = h.getLp()
        self.n, self.m = lp.num_col_, lp.num_row_
        if len(lp.integrality_):
            h.changeColsIntegrality(self.n, list(range(self.n)),
                                    [highspy.HighsVarType.kContinuous] * self.n)
        self.lo, self.up = list(lp.row_lower_), list(lp.row_upper_)

    def solve(self):
        self.h.run()
        return self.h.getInfo().simplex_iteration_count

    def rhs(self, rows, factors):
        lo = [self.lo[i] * f for i, f in zip(rows, factors)]
        up = [self.up[i] * f for i, f in zip(rows, factors)]
        self.h.changeRowsBounds(len(rows), rows, lo, up)

    def cost(self, cols, vals):
        self.h.changeColsCost(len(cols), cols, vals)

    def upper(self, cols, vals):
        lp = self.h.getLp()
        self.h.changeColsBounds(len(cols), cols, [lp.col_lower_[j] for j in cols], vals)

    def add_le(self, cols, rhs):
        self.h.addRow(-highspy.kHighsInf, rhs, len(cols), cols, [1.0] * len(cols))


def ints(v):
    return (C.c_int * len(v))(*v)


def dbls(v):
    return (C.c_double * len(v))(*v)


def run_kind(q, h, kind, rounds):
    """Times change + re-solve on both sides; returns medians and iterations."""
    q.solve()
    h.solve()
    x = q.x()
    rows = [k * q.m // 20 for k in range(20)]
    cols = [k * q.n // 20 for k in range(20)]
    c0 = q.get(q.lib.QNDAgetobj, q.n)
    r0 = q.get(q.lib.QNDAgetrhs, q.m)
    pos = [j for j in range(q.n) if x[j] > 1e-3]
    u0 = q.get(q.lib.QNDAgetub, q.n)
    tq, th, iq, ih = [], [], 0, 0
    for r in range(rounds):
        f = 1.01 if r % 2 == 0 else 1.0  # a change each round: on, then back
        steps = []
        if kind == "rhs":
            steps = [lambda: q.rhs(rows, [r0[i] * f for i in rows]),
                     lambda: h.rhs(rows, [f] * len(rows))]
        elif kind == "cost":
            vals = [c0[j] * f + (f - 1.0) for j in cols]
            steps = [lambda: q.cost(cols, vals), lambda: h.cost(cols, vals)]
        elif kind == "bound":
            sel = pos[-5:]
            vals = [x[j] * 0.995 if f != 1.0 else u0[j] for j in sel]
            vals = [v if v < 1e20 else highspy.kHighsInf for v in vals]
            steps = [lambda: q.upper(sel, vals), lambda: h.upper(sel, vals)]
        else:
            sel = pos[(5 * r) % max(1, len(pos) - 5):][:5]
            rhs = 0.999 * sum(x[j] for j in sel) + 1e-6
            steps = [lambda: q.add_le(sel, rhs), lambda: h.add_le(sel, rhs)]
        t0 = time.perf_counter()
        steps[0]()
        iq += q.solve()
        tq.append(time.perf_counter() - t0)
        t0 = time.perf_counter()
        steps[1]()
        ih += h.solve()
        th.append(time.perf_counter() - t0)
    return statistics.median(tq), statistics.median(th), iq / rounds, ih / rounds


def main():
    lib_path = Path(sys.argv[1]) if len(sys.argv) > 1 and sys.argv[1] else next(
        (ROOT / "build").glob("*/python/libqnda.so"))
    inst = Path(sys.argv[2]) if len(sys.argv) > 2 else ROOT / "tests" / "data"
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 10
    lib = load_lib(lib_path)
    print(f"re-solve after a change (median of {rounds}; gesa2 as LP relaxation)")
    print(f"{'instance':10} {'change':8} {'libqnda ms':>11} {'highspy ms':>11} {'ratio':>6}"
          f" {'iters q/h':>12}")
    worst = 0.0
    for name in INSTANCES:
        for kind in KINDS:
            q, h = Qnda(lib, inst / name), Persistent(inst / name)
            tq, th, iq, ih = run_kind(q, h, kind, rounds)
            q.free()
            worst = max(worst, tq / th)
            print(f"{name[:-4]:10} {kind:8} {1e3 * tq:11.3f} {1e3 * th:11.3f} {tq / th:6.2f}"
                  f" {iq:6.0f}/{ih:<5.0f}")
    print(f"worst ratio {worst:.2f}   (goal <= 1.2)")
    lib.QNDAfree()


if __name__ == "__main__":
    main()
