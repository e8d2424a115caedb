"""Loading a model at matrix level: quendalib's loadproblem from NumPy
arrays and from Python lists against highspy's passModel on the same
arrays, in one process and one run.

    PYTHONPATH=<build>/python .venv-bench/bin/python benchmarks/api/bench_loadproblem.py

The model is a random sparse LP of 10^6 nonzeros (100,000 columns of 10
entries each over 50,000 rows).  Each line times one load of the whole
model into a fresh problem (for quendalib this includes making the var and
constraint object of every column and row); the lists are built before the
clock starts.  Ratios are time / highspy's time: the goal for NumPy input
is 1.3 or less.
"""
import argparse
import os
import sys
import time

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))
from benchlib import import_quendalib  # noqa: E402  (finds the build)


def model(ncols, nrows, per_col, seed=1):
    rng = np.random.default_rng(seed)
    start = np.arange(0, ncols * per_col + 1, per_col, dtype=np.int64)
    index = rng.integers(0, nrows, size=ncols * per_col, dtype=np.int32)
    # Distinct rows within a column: offsets by position keep them apart.
    index = ((index.reshape(ncols, per_col) // per_col) * per_col +
             np.arange(per_col, dtype=np.int32)).ravel() % nrows
    index = index.astype(np.int32)
    value = rng.uniform(1.0, 2.0, size=ncols * per_col)
    return dict(
        rowtype=np.array(["L"] * nrows), rhs=np.full(nrows, 100.0),
        rowlo=np.full(nrows, -np.inf), obj=-rng.uniform(0.0, 1.0, size=ncols),
        start=start, index=index, value=value,
        lb=np.zeros(ncols), ub=np.full(ncols, 10.0))


def load_quenda(quenda, m):
    p = quenda.problem()
    p.setControl("loglevel", 0)
    t = time.perf_counter()
    p.loadproblem("bench", m["rowtype"], m["rhs"], None, m["obj"], m["start"], None,
                  m["index"], m["value"], m["lb"], m["ub"])
    return time.perf_counter() - t, p


def load_highs(highspy, m):
    h = highspy.Highs()
    h.setOptionValue("output_flag", False)
    t = time.perf_counter()
    lp = highspy.HighsLp()
    lp.num_col_ = len(m["obj"])
    lp.num_row_ = len(m["rhs"])
    lp.col_cost_ = m["obj"]
    lp.col_lower_ = m["lb"]
    lp.col_upper_ = m["ub"]
    lp.row_lower_ = m["rowlo"]
    lp.row_upper_ = m["rhs"]
    lp.a_matrix_.format_ = highspy.MatrixFormat.kColwise
    lp.a_matrix_.start_ = m["start"].astype(np.int32)
    lp.a_matrix_.index_ = m["index"]
    lp.a_matrix_.value_ = m["value"]
    h.passModel(lp)
    return time.perf_counter() - t, h


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--cols", type=int, default=100000)
    ap.add_argument("--per-col", type=int, default=10)
    args = ap.parse_args()
    ncols, nrows = args.cols, args.cols // 2
    m = model(ncols, nrows, args.per_col)
    quenda = import_quendalib()
    try:
        import highspy
    except ImportError:
        highspy = None

    lists = {k: v.tolist() for k, v in m.items()}
    res = {}
    res["quendalib loadproblem, NumPy"], p = load_quenda(quenda, m)
    check = []
    p.getobj(check, 0, 2)
    assert check == m["obj"][:3].tolist()
    del p
    res["quendalib loadproblem, lists"], p = load_quenda(quenda, lists)
    del p
    if highspy is not None:
        res["highspy passModel, NumPy"], h = load_highs(highspy, m)
        del h
    nnz = ncols * args.per_col
    print("loadproblem: %d columns, %d rows, %d nonzeros" % (ncols, nrows, nnz))
    base = res.get("highspy passModel, NumPy")
    for name, t in res.items():
        ratio = " %6.2fx highspy" % (t / base) if base else ""
        print("  %-32s %8.1f ms%s" % (name, 1e3 * t, ratio))


if __name__ == "__main__":
    main()
