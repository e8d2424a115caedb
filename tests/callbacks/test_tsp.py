"""A travelling salesman solved with lazy subtour elimination: preintsol
rejects candidates with subtours, their constraints join the model, and
the search runs again until it rejects nothing."""
import math
import random

import pytest

import quendalib as quenda
from cbmodels import shortest_tour


def tsp_by_preintsol(cities):
    n = len(cities)
    dist = {(i, j): math.dist(cities[i], cities[j]) for i in range(n) for j in range(n) if i != j}
    arcs = list(dist)
    x = [quenda.var(vartype=quenda.binary) for _ in arcs]
    xa = dict(zip(arcs, x))
    p = quenda.problem()
    p.addVariable(x)
    for k in range(n):  # each city left once and entered once
        p.addConstraint([quenda.Sum(v for (i, _), v in xa.items() if i == k) == 1,
                         quenda.Sum(v for (_, j), v in xa.items() if j == k) == 1])
    p.setObjective(quenda.Sum(d * v for d, v in zip(dist.values(), x)))
    p.setControl("loglevel", 0)

    def cycles(values):
        succ = {i: j for (i, j), v in zip(arcs, values) if v > 0.5}
        seen, out = set(), []
        for s in range(n):
            c = []
            while s not in seen:
                seen.add(s)
                c.append(s)
                s = succ[s]
            if c:
                out.append(c)
        return out

    found = []

    def reject(prob, data, soltype, cutoff):
        cs = cycles(prob.getSolution(x))
        if len(cs) == 1:
            return 0, None
        found.extend(cs)
        return 1, None

    p.addcbpreintsol(reject)
    for _ in range(50):
        found.clear()
        p.solve()
        if not found:
            break
        for s in {frozenset(c) for c in found}:
            p.addConstraint(quenda.Sum(xa[i, j] for i in s for j in s if i != j) <= len(s) - 1)
    tour = cycles(p.getSolution(x))
    assert len(tour) == 1
    return p.getObjVal()


@pytest.mark.parametrize("seed", [1, 2])
def test_lazy_subtours_give_the_optimal_tour(seed):
    rnd = random.Random(seed)
    # Two clusters, so the first relaxations split into subtours.
    cities = [(rnd.uniform(0, 10) + 100 * (k % 2), rnd.uniform(0, 10)) for k in range(8)]
    assert tsp_by_preintsol(cities) == pytest.approx(shortest_tour(cities))
