"""Travelling salesman with lazy subtour elimination.

The assignment constraints (each city entered and left once) are the whole
model; the exponentially many subtour-elimination constraints are given to
the search only where it needs them.  A `preintsol` callback looks at every
candidate integer solution, and when it splits into subtours rejects it
and adds the cut sum(x[i, j] for i, j in S) <= |S| - 1 of each subtour S
to the node (`addcuts`): the node is solved again with the cuts, and one
search ends with an optimal tour.  An `intsol` callback logs the progress.
"""
import math
import random
from typing import Sequence

import quendalib as quenda

rng = random.Random(11)
n = 14
cities = [(rng.uniform(0, 100), rng.uniform(0, 100)) for _ in range(n)]
dist = {(i, j): math.dist(cities[i], cities[j]) for i in range(n) for j in range(n) if i != j}

x = {(i, j): quenda.var(vartype=quenda.binary, name=f"x_{i}_{j}") for (i, j) in dist}
arcs = list(x)
tsp = quenda.problem("tsp")
tsp.setControl("loglevel", 0)
tsp.addVariable(list(x.values()))
tsp.addConstraint(quenda.Sum(x[i, j] for j in range(n) if j != i) == 1 for i in range(n))
tsp.addConstraint(quenda.Sum(x[i, j] for i in range(n) if i != j) == 1 for j in range(n))
tsp.setObjective(quenda.Sum(dist[a] * x[a] for a in arcs))


def subtours(values: Sequence[float]) -> list[list[int]]:
    """The cycles of a solution given as the 0/1 values of the arcs."""
    succ = {i: j for (i, j), v in zip(arcs, values) if v > 0.5}
    seen: set[int] = set()
    cycles: list[list[int]] = []
    for start in range(n):
        if start in seen:
            continue
        cycle: list[int] = []
        city = start
        while city not in seen:
            seen.add(city)
            cycle.append(city)
            city = succ[city]
        cycles.append(cycle)
    return cycles


col = {a: k for k, a in enumerate(arcs)}
rejected = [0]


def reject_subtours(prob: quenda.problem, data: object, soltype: int,
                    cutoff: float) -> tuple[int, None]:
    values: list[float] = []
    prob.getlpsol(values)
    cycles = subtours(values)
    if len(cycles) == 1:
        return 0, None  # a tour: accept it
    rejected[0] += 1
    if soltype == 0:  # from a node: cut the subtours off there
        mstart, mcols = [0], []
        for c in cycles:
            mcols += [col[i, j] for i in c for j in c if i != j]
            mstart.append(len(mcols))
        prob.addcuts([1] * len(cycles), "L" * len(cycles), [len(c) - 1.0 for c in cycles],
                     mstart, mcols, [1.0] * len(mcols))
    return 1, None


def log_progress(prob: quenda.problem, data: object) -> None:
    print(f"    tour of length {prob.attributes.mipobjval:.2f} at node {prob.attributes.nodes}")


tsp.addcbpreintsol(reject_subtours)
tsp.addcbintsol(log_progress)
tsp.solve()
print(f"{rejected[0]} candidates with subtours rejected")

tour = subtours(tsp.getSolution(list(x.values())))[0]
length = sum(dist[a, b] for a, b in zip(tour, tour[1:] + tour[:1]))
print(f"optimal tour of {n} cities, length {length:.2f}: {tour}")
assert len(tour) == n
assert abs(length - tsp.getObjVal()) < 1e-6
