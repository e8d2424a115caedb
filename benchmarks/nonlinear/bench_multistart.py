"""Multistart on one and on two threads: the same SLP jobs (random starting
points within the bounds) on a model with many local optima, wall time of
the whole multistart.

    min  sum_i sin(3 x_i) + x_i^2 / 10 + (x_i - x_{i+1})^2 / 100,  -5 <= x <= 5
    s.t. sum_i x_i >= -n / 4

Usage: bench_multistart.py [n] [jobs] (default 150 8)."""
import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
from benchlib import import_quendalib  # noqa: E402


def run(n, jobs, threads):
    quenda = import_quendalib()
    xs = [quenda.var(lb=-5, ub=5, name=f"x{i}") for i in range(n)]
    p = quenda.problem("wiggly")
    for name, value in (("nlpalgorithm", 1), ("nlploglevel", 0), ("loglevel", 0),
                        ("nlpslpcurvature", 1), ("nlpmsthreads", threads)):
        p.setControl(name, value)
    p.addVariable(xs)
    p.addConstraint(quenda.Sum(xs) >= -n / 4)
    p.setObjective(quenda.Sum(quenda.sin(3 * x) + 0.1 * x ** 2 for x in xs)
                   + quenda.Sum((xs[i] - xs[i + 1]) ** 2 for i in range(n - 1)) / 100)
    p.msaddpreset("random", 1, jobs)
    t0 = time.perf_counter()
    p.solve()
    return time.perf_counter() - t0, p.getObjVal()


def main():
    n = int(sys.argv[1]) if len(sys.argv) > 1 else 150
    jobs = int(sys.argv[2]) if len(sys.argv) > 2 else 8
    t1, o1 = run(n, jobs, 1)
    t2, o2 = run(n, jobs, 2)
    print(f"multistart n={n} jobs={jobs}: 1 thread {t1:.2f} s (objective {o1:.6f}), "
          f"2 threads {t2:.2f} s (objective {o2:.6f}), speed-up {t1 / t2:.2f}")


if __name__ == "__main__":
    main()
