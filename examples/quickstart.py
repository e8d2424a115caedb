"""The quick start of the README: an LP built from NumPy arrays, solved,
its solution and duals read by object."""
import numpy as np
import quendalib as quenda

cost = np.array([2.0, 3.0, 4.0])
A = np.array([[1.0, 1.0, 1.0],
              [1.0, 2.0, 0.0]])
b = np.array([10.0, 14.0])

x = np.array([quenda.var(name=f"x{i}") for i in range(3)])  # lb 0 by default
rows = quenda.Dot(A, x) >= b        # a NumPy array of two constraints

p = quenda.problem("quickstart")
p.addVariable(x)
p.addConstraint(rows)
p.setObjective(quenda.Dot(cost, x))  # minimise by default
p.setControl("loglevel", 0)
p.solve()

print(p.getProbStatusString(), p.getObjVal())   # lp_optimal 22.0
print(p.getSolution(x))                          # values in the shape of x
print(p.getDual(rows), p.getRCost(x[2]))         # duals by object
