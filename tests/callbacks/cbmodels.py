"""Models for the callback tests."""
import itertools
import math
import os
import random

import quendalib as quenda

DATA = os.path.join(os.path.dirname(__file__), os.pardir, "data")


def read(name, loglevel=0):
    p = quenda.problem()
    p.read(os.path.join(DATA, name))
    p.setControl("loglevel", loglevel)
    return p


def knapsacks(n=40, m=3, seed=7):
    """A multi-dimensional knapsack: a MIP whose search finds several
    incumbents.  Returns the problem, its variables and its rows as
    (coefficients, capacity)."""
    rnd = random.Random(seed)
    p = quenda.problem()
    x = [quenda.var(vartype=quenda.binary) for _ in range(n)]
    p.addVariable(x)
    rows = []
    for _ in range(m):
        w = [rnd.randint(5, 60) for _ in range(n)]
        cap = sum(w) // 3
        rows.append((w, cap))
        p.addConstraint(quenda.Sum(wi * xi for wi, xi in zip(w, x)) <= cap)
    p.setObjective(quenda.Sum(rnd.randint(10, 80) * xi for xi in x), sense=quenda.maximize)
    p.setControl("loglevel", 0)
    return p, x, rows




def shortest_tour(cities):
    """The length of an optimal tour, by trying every one."""
    n = len(cities)
    best = math.inf
    for perm in itertools.permutations(range(1, n)):
        t = (0,) + perm
        best = min(best, sum(math.dist(cities[t[k]], cities[t[(k + 1) % n]]) for k in range(n)))
    return best
