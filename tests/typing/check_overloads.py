"""Checked by mypy --strict (make typecheck), run by tests/test_stubs.py: the
operator overloads of the stubs give each result its own type."""
from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt

import quendalib as quenda

x = quenda.var(name="x", lb=0, ub=10)
y = quenda.var(vartype=quenda.integer, ub=5)

lin: quenda.linterm = 3 * x
lin2: quenda.linterm = x / 4
summed: quenda.expression = x + y
expr: quenda.expression = x + 1
expr2: quenda.expression = 1 + x + y
quad: quenda.quadterm = x * y
quad2: quenda.quadterm = x**2
mixed: quenda.expression = x * y + x
nl: quenda.nonlinear = quenda.exp(x) + x
nl2: quenda.nonlinear = x / y
neg: quenda.linterm = -x

c1: quenda.constraint = x <= 3
c2: quenda.constraint = x + y >= 1
c3: quenda.constraint = x * y == 2
c4: quenda.constraint = 2 <= x  # reflected: x >= 2

xs = np.array([quenda.var() for _ in range(3)], dtype=object)
cons: npt.NDArray[Any] = xs <= 3
shifted: npt.NDArray[Any] = xs + 1

p = quenda.problem(name="typed")
p.addVariable(x, y, xs)
p.addConstraint(c1, c2, cons)
p.setObjective(x + 2 * y, sense=quenda.maximize)
p.solve()
status: str = p.getProbStatusString()
obj: float = p.getObjVal()
version: str = quenda.__version__
info = quenda.getbuildinfo()
engines: Any = info["engines"]
n: int = p.getIndex(x)
value: float = p.getSolution(x)
values: npt.NDArray[np.float64] = p.getSolution(xs)
every: list[float] = p.getSolution()
slack: float = p.getSlack(c1)
