"""Production planning: an LP whose duals price the scarce resources.

A workshop makes four products on three machines and with a limited stock
of raw material.  How much of each should it make to earn the most?  The
dual value of each capacity row says what one more hour (or kilogram) of
that resource would be worth; the reduced cost of a product left out says
how far its profit falls short of paying for the resources it would use.
"""
import quendalib as quenda

products = ["chairs", "tables", "desks", "shelves"]
profit = {"chairs": 45, "tables": 80, "desks": 110, "shelves": 30}
# hours per unit on each machine, kilograms of wood per unit
use = {
    "saw":   {"chairs": 1.0, "tables": 2.0, "desks": 3.0, "shelves": 1.0},
    "lathe": {"chairs": 2.0, "tables": 1.0, "desks": 1.0, "shelves": 0.5},
    "paint": {"chairs": 1.0, "tables": 2.0, "desks": 2.5, "shelves": 2.0},
    "wood":  {"chairs": 4.0, "tables": 9.0, "desks": 12.0, "shelves": 5.0},
}
capacity = {"saw": 200, "lathe": 160, "paint": 220, "wood": 900}
max_demand = {"chairs": 60, "tables": 40, "desks": 30, "shelves": 80}

make = {p: quenda.var(name=p, ub=max_demand[p]) for p in products}
capacity_rows = {
    r: quenda.constraint(quenda.Sum(use[r][p] * make[p] for p in products) <= capacity[r],
                         name=r)
    for r in capacity
}

plan = quenda.problem("production")
plan.setControl("loglevel", 0)
plan.addVariable(make)
plan.addConstraint(capacity_rows)
plan.setObjective(quenda.Sum(profit[p] * make[p] for p in products), sense=quenda.maximize)
plan.solve()

print("status:", plan.getProbStatusString())
print(f"profit: {plan.getObjVal():.2f}")
print(f"{'product':10} {'make':>8} {'reduced cost':>13}")
for p in products:
    print(f"{p:10} {plan.getSolution(make[p]):8.2f} {plan.getRCost(make[p]) + 0.0:13.2f}")
print(f"{'resource':10} {'unused':>8} {'worth/unit':>13}")
for r, row in capacity_rows.items():
    print(f"{r:10} {plan.getSlack(row):8.2f} {plan.getDual(row) + 0.0:13.2f}")
