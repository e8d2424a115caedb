"""A discretised optimal-control model (a pendulum swung up to a target
angle with least effort, explicit Euler steps) solved by Ipopt through
quendalib and through CasADi, one run each, end to end: building the model
and solving it.

    min  h * sum(u_k^2)
    s.t. theta_{k+1} = theta_k + h * omega_k
         omega_{k+1} = omega_k + h * (u_k - sin(theta_k))
         theta_0 = omega_0 = 0, theta_N = target, omega_N = 0

Usage: bench_nonlinear.py [N ...] (default 2000 10000)."""
import math
import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
from benchlib import import_quendalib  # noqa: E402

T, TARGET = 10.0, math.pi / 2


def run_quendalib(n):
    quenda = import_quendalib()
    h = T / n
    t0 = time.perf_counter()
    th = [quenda.var(lb=-10, ub=10, name=f"th{k}") for k in range(n + 1)]
    om = [quenda.var(lb=-10, ub=10, name=f"om{k}") for k in range(n + 1)]
    u = [quenda.var(lb=-5, ub=5, name=f"u{k}") for k in range(n)]
    p = quenda.problem("swing")
    p.addVariable(th, om, u)
    p.addConstraint([th[k + 1] - th[k] - h * om[k] == 0 for k in range(n)])
    p.addConstraint([om[k + 1] - om[k] - h * u[k] + h * quenda.sin(th[k]) == 0
                     for k in range(n)])
    p.addConstraint(th[0] == 0, om[0] == 0, th[n] == TARGET, om[n] == 0)
    p.setObjective(quenda.Sum(h * u[k] * u[k] for k in range(n)))
    p.setControl("nlpalgorithm", 2)
    p.setControl("nlploglevel", 0)
    p.setControl("loglevel", 0)
    t1 = time.perf_counter()
    p.solve()
    t2 = time.perf_counter()
    return t1 - t0, t2 - t1, p.getObjVal(), p.getProbStatusString()


def run_casadi(n):
    import casadi as ca
    h = T / n
    t0 = time.perf_counter()
    opti = ca.Opti()
    th = opti.variable(n + 1)
    om = opti.variable(n + 1)
    u = opti.variable(n)
    opti.subject_to(th[1:] == th[:-1] + h * om[:-1])
    opti.subject_to(om[1:] == om[:-1] + h * (u - ca.sin(th[:-1])))
    opti.subject_to(opti.bounded(-10, th, 10))
    opti.subject_to(opti.bounded(-10, om, 10))
    opti.subject_to(opti.bounded(-5, u, 5))
    opti.subject_to([th[0] == 0, om[0] == 0, th[n] == TARGET, om[n] == 0])
    opti.minimize(h * ca.sumsqr(u))
    opti.solver("ipopt", {"print_time": False}, {"print_level": 0})
    t1 = time.perf_counter()
    sol = opti.solve()
    t2 = time.perf_counter()
    return t1 - t0, t2 - t1, float(sol.value(opti.f)), "solved"


def main():
    sizes = [int(a) for a in sys.argv[1:]] or [2000, 10000]
    print(f"{'peer':10} {'N':>7} {'vars':>7} {'build s':>8} {'solve s':>8} {'total s':>8}"
          f" {'objective':>12}  status")
    for n in sizes:
        for name, fn in (("quendalib", run_quendalib), ("casadi", run_casadi)):
            try:
                build, solve, obj, status = fn(n)
            except ImportError as e:
                print(f"{name:10} {n:7d} skipped ({e})")
                continue
            print(f"{name:10} {n:7d} {3 * n + 2:7d} {build:8.3f} {solve:8.3f}"
                  f" {build + solve:8.3f} {obj:12.6f}  {status}")


if __name__ == "__main__":
    main()
