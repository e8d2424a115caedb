"""Facility location: a MIP choosing which warehouses to open.

Six candidate warehouses, each with a fixed opening cost and a capacity,
serve twelve customers; shipping costs grow with distance.  Each customer's
demand must be met from open warehouses only.  Binary variables open the
warehouses; continuous ones carry the flows.
"""
import math
import random

import quendalib as quenda

rng = random.Random(7)
sites = [(rng.uniform(0, 100), rng.uniform(0, 100)) for _ in range(6)]
customers = [(rng.uniform(0, 100), rng.uniform(0, 100)) for _ in range(12)]
demand = [rng.randint(10, 40) for _ in customers]
fixed_cost = [rng.randint(800, 1500) for _ in sites]
site_capacity = [rng.randint(80, 160) for _ in sites]
unit_cost = [[math.dist(s, c) * 0.8 for c in customers] for s in sites]

S, C = range(len(sites)), range(len(customers))
open_ = [quenda.var(name=f"open_{i}", vartype=quenda.binary) for i in S]
ship = [[quenda.var(name=f"ship_{i}_{j}") for j in C] for i in S]

model = quenda.problem("facility")
model.setControl("loglevel", 0)
model.addVariable(open_, ship)
model.addConstraint(quenda.Sum(ship[i][j] for i in S) == demand[j] for j in C)
model.addConstraint(quenda.Sum(ship[i][j] for j in C) <= site_capacity[i] * open_[i] for i in S)
# a customer is served only from open sites (tightens the relaxation)
model.addConstraint(ship[i][j] <= demand[j] * open_[i] for i in S for j in C)
model.setObjective(quenda.Sum(fixed_cost[i] * open_[i] for i in S)
                   + quenda.Sum(unit_cost[i][j] * ship[i][j] for i in S for j in C))
model.solve()

print("status:", model.getProbStatusString())
print(f"total cost: {model.getObjVal():.2f}")
for i in S:
    if model.getSolution(open_[i]) > 0.5:
        served = [j for j in C if model.getSolution(ship[i][j]) > 1e-6]
        load = sum(model.getSolution(ship[i][j]) for j in C)
        print(f"warehouse {i}: open, load {load:.0f}/{site_capacity[i]}, serves {served}")
    else:
        print(f"warehouse {i}: closed")
