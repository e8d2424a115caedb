"""Travelling salesman with lazy subtour elimination.

The assignment constraints (each city entered and left once) are the whole
model at first; the exponentially many subtour-elimination constraints are
added only when a candidate solution breaks one.  A `preintsol` callback
looks at every candidate integer solution the search proposes, rejects it
when it splits into subtours and remembers those subtours; after the
search, their constraints join the model and the search runs again.  A
round that rejects nothing has found an optimal tour.  An `intsol`
callback logs the progress of each round.
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


found: list[list[int]] = []  # subtours met in this round


def reject_subtours(prob: quenda.problem, data: object, soltype: int,
                    cutoff: float) -> tuple[int, None]:
    cycles = subtours(prob.getSolution(list(x.values())))
    if len(cycles) == 1:
        return 0, None  # a tour: accept it
    found.extend(c for c in cycles if len(c) < n)
    return 1, None


def log_progress(prob: quenda.problem, data: list[int]) -> None:
    print(f"    round {data[0]}: tour of length {prob.attributes.mipobjval:.2f} "
          f"at node {prob.attributes.nodes}")


tsp.addcbpreintsol(reject_subtours)
round_ = [0]
tsp.addcbintsol(log_progress, round_)
added: set[frozenset[int]] = set()
while True:
    round_[0] += 1
    found.clear()
    tsp.solve()
    new = {frozenset(c) for c in found} - added
    print(f"round {round_[0]}: {len(found)} candidates rejected, {len(new)} new subtours")
    if not found:
        break
    for s in new:
        tsp.addConstraint(quenda.Sum(x[i, j] for i in s for j in s if i != j) <= len(s) - 1)
    added |= new

tour = subtours(tsp.getSolution(list(x.values())))[0]
length = sum(dist[a, b] for a, b in zip(tour, tour[1:] + tour[:1]))
print(f"optimal tour of {n} cities, length {length:.2f}: {tour}")
assert abs(length - tsp.getObjVal()) < 1e-6
