"""Mean-variance portfolio: a convex QP.

Split a budget among five assets to reach a target expected return with
the least variance (Markowitz).  The variance is the quadratic form
w' Sigma w, written with ordinary operators; the dual of the return row is
the marginal variance of asking for more return.
"""
import numpy as np

import quendalib as quenda

assets = ["bonds", "equities", "property", "commodities", "cash"]
mean = np.array([0.040, 0.090, 0.070, 0.060, 0.015])
vol = np.array([0.05, 0.18, 0.12, 0.20, 0.01])
corr = np.array([
    [1.0, 0.1, 0.2, 0.0, 0.1],
    [0.1, 1.0, 0.5, 0.3, 0.0],
    [0.2, 0.5, 1.0, 0.2, 0.0],
    [0.0, 0.3, 0.2, 1.0, 0.0],
    [0.1, 0.0, 0.0, 0.0, 1.0],
])
sigma = corr * np.outer(vol, vol)
n = len(assets)

w = [quenda.var(name=a, ub=0.6) for a in assets]      # no asset above 60%
budget = quenda.Sum(w) == 1
target = quenda.Sum(mean[i] * w[i] for i in range(n)) >= 0.065

p = quenda.problem("portfolio")
p.setControl("loglevel", 0)
p.addVariable(w)
p.addConstraint(budget, target)
p.setObjective(quenda.Sum(sigma[i, j] * w[i] * w[j] for i in range(n) for j in range(n)))
p.solve()

weights = np.array(p.getSolution(w))
print("status:", p.getProbStatusString())
print(f"expected return {mean @ weights:.4f}, volatility {np.sqrt(p.getObjVal()):.4f}")
for a, x in zip(assets, weights):
    print(f"  {a:12} {100 * x:6.2f}%")
print(f"variance per unit of extra return: {p.getDual(target):.4f}")
