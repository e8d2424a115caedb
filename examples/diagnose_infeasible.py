"""Diagnosing an infeasible plan: find the conflicting constraints (an
irreducible infeasible subsystem), then repair the plan by relaxing the
constraints that are cheapest to break.

Two products share a machine of 40 hours; the orders promise at least 30
units of A (1 hour each) and 20 of B (1.5 hours each), which needs 60
hours.  A separate storage limit is met and plays no part in the conflict.
"""
import quendalib as quenda

a = quenda.var(name="a")
b = quenda.var(name="b")
rows = [
    quenda.constraint(a + 1.5 * b <= 40, name="machine"),
    quenda.constraint(a >= 30, name="order_a"),
    quenda.constraint(b >= 20, name="order_b"),
    quenda.constraint(a + b <= 100, name="storage"),
]
p = quenda.problem("plan")
p.setControl("loglevel", 0)
p.addVariable(a, b)
p.addConstraint(rows)
p.setObjective(5 * a + 4 * b, sense=quenda.maximize)

p.solve()
print("status:", p.getProbStatusString())

# Every irreducible infeasible subsystem: dropping any one of its members
# makes the rest feasible.
p.iisall()
sizes_rows: list[int] = []
sizes_bounds: list[int] = []
count = p.iisstatus(sizes_rows, sizes_bounds, None, None)
for num in range(1, count + 1):
    cons: list[quenda.constraint] = []
    bounds: list[quenda.var] = []
    sides: list[str] = []
    p.getiisdata(num, cons, bounds, None, sides)
    print("conflict %d: %s" % (num, ", ".join(c.name for c in cons)))

# Repair: breaking the machine limit (overtime) costs 1 per hour, an order
# 10 per unit short; the storage limit stays hard (weight 0).  Phase 2
# ('o') then maximises the profit among the cheapest repairs.
weights_le = [1, 0, 0, 0]  # the <= side of each row
weights_ge = [0, 10, 10, 0]  # the >= side
status = p.repairweightedinfeas(weights_le, weights_ge, None, None, "o", 0.0, "")
print("repair status:", status)
print("plan: a = %g, b = %g, machine hours = %g" %
      (p.getSolution(a), p.getSolution(b), p.getSolution(a) + 1.5 * p.getSolution(b)))
