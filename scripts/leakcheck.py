#!/usr/bin/env python3
"""Resident memory and live objects over many rounds of the common paths:
build, solve, read and delete a model, and calls that fail.  Prints the
growth per round of each; a path that leaks shows a steady growth.

usage: leakcheck.py [rounds]   (default 100000; the paths that read files
or solve run a tenth of that, which is still far past any warm-up)"""
import gc
import math
import os
import resource
import sys
import tempfile
import time

import quendalib as quenda

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "tests", "data")


def rss_kib():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * resource.getpagesize() // 1024


def build_solve_delete():
    p = quenda.problem()
    p.setControl("outputlog", 0)
    x = [quenda.var(name=f"x{i}") for i in range(5)]
    p.addVariable(x)
    p.addConstraint(quenda.Sum(x) >= 1, x[0] - x[1] <= 2)
    p.setObjective(quenda.Sum((i + 1) * v for i, v in enumerate(x)))
    p.solve()
    p.getSolution()
    p.delVariable(x[4])
    p.delConstraint(0)


def read_solve(path):
    def run():
        p = quenda.problem()
        p.setControl("outputlog", 0)
        p.read(path)
        p.solve()
        p.getObjVal()
    return run


def failing_calls():
    p = quenda.problem()
    x = quenda.var()
    for call in (lambda: p.setObjective(math.nan * x),
                 lambda: p.addConstraint(x <= 1),
                 lambda: p.setControl("loglevel", -1),
                 lambda: p.setControl("logfile", "a\0b"),
                 lambda: p.read("/nonexistent.mps"),
                 lambda: p.getControl("nosuchcontrol"),
                 lambda: quenda.setdefaultcontrol("threads", -1)):
        try:
            call()
        except (quenda.ModelError, quenda.SolverError, quenda.InterfaceError):
            pass


def measure(name, fn, rounds):
    warm = max(rounds // 20, 10)
    for _ in range(warm):
        fn()
    gc.collect()
    rss0, obj0, t0 = rss_kib(), len(gc.get_objects()), time.time()
    for _ in range(rounds):
        fn()
    gc.collect()
    rss1, obj1 = rss_kib(), len(gc.get_objects())
    print(f"{name:24s} {rounds:7d} rounds  rss {1024 * (rss1 - rss0) / rounds:+9.2f} B/round  "
          f"objects {(obj1 - obj0) / rounds:+.4f}/round  ({time.time() - t0:.0f} s)", flush=True)
    return rss1 - rss0, obj1 - obj0


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 100000
    with tempfile.TemporaryDirectory():
        measure("build/solve/delete", build_solve_delete, rounds)
        measure("read/solve afiro", read_solve(os.path.join(DATA, "afiro.mps")), rounds // 10)
        measure("failing calls (x7)", failing_calls, rounds)


if __name__ == "__main__":
    main()
