"""How a hard MIP converges: primal and dual bounds over time, as a picture.

A generalised assignment problem (jobs to machines, each machine with a
capacity) is solved while two callbacks watch the search: `intsol` records
each improving solution and `gapnotify` every move of the incumbent or the
bound.  The two curves closing in on each other are drawn with matplotlib
into a PNG (the path is the first argument, or mip_progress.png in the
temporary directory).
"""
import os
import random
import sys
import tempfile

import matplotlib

matplotlib.use("Agg")  # no display needed
import matplotlib.pyplot as plt  # noqa: E402

import quendalib as quenda  # noqa: E402

rng = random.Random(3)
machines, jobs = range(8), range(40)
cost = [[rng.randint(10, 50) for _ in jobs] for _ in machines]
size = [[rng.randint(5, 25) for _ in jobs] for _ in machines]
capacity = [int(0.8 * sum(size[i]) / len(machines)) for i in machines]

x = [[quenda.var(vartype=quenda.binary, name=f"x_{i}_{j}") for j in jobs] for i in machines]
p = quenda.problem("assignment")
p.setControl("loglevel", 0)
p.addVariable(x)
p.addConstraint(quenda.Sum(x[i][j] for i in machines) == 1 for j in jobs)
p.addConstraint(quenda.Sum(size[i][j] * x[i][j] for j in jobs) <= capacity[i] for i in machines)
p.setObjective(quenda.Sum(cost[i][j] * x[i][j] for i in machines for j in jobs))
p.setControl("timelimit", 20)

primal: list[tuple[float, float]] = []  # (seconds, value)
dual: list[tuple[float, float]] = []


def on_solution(prob: quenda.problem, data: object) -> None:
    primal.append((prob.attributes.solvetime, prob.attributes.mipobjval))


def on_bounds(prob: quenda.problem, data: object) -> tuple[None, None, None, None]:
    attrs = prob.attributes
    if abs(attrs.bestbound) < 1e20:
        dual.append((attrs.solvetime, attrs.bestbound))
    return None, None, None, None  # keep every target as it is


p.addcbintsol(on_solution)
p.addcbgapnotify(on_bounds)
p.solve()

print(f"status {p.getProbStatusString()}, objective {p.getObjVal():.1f}, "
      f"{len(primal)} solutions, {len(dual)} bound moves")

out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(tempfile.gettempdir(),
                                                         "mip_progress.png")
fig, ax = plt.subplots(figsize=(7, 4))
if primal:
    ax.step(*zip(*primal), where="post", label="incumbent (primal bound)")
if dual:
    ax.step(*zip(*dual), where="post", label="best bound (dual bound)")
ax.set_xlabel("seconds")
ax.set_ylabel("objective")
ax.set_title("Bounds of the search")
ax.legend()
fig.tight_layout()
fig.savefig(out, dpi=100)
print("picture written to", out)
