"""Design of a closed cylindrical tank: the least sheet metal that holds a
given volume, with a floor on the wall height for the outlet fittings.  A
nonlinear model built with operators, solved by both nonlinear algorithms
(interior point and successive linear programming) and read by object."""
import math

import quendalib as quenda

volume = 2.0       # m^3 to hold
min_height = 0.5   # m

r = quenda.var(lb=0.05, ub=5.0, name="radius")
h = quenda.var(lb=min_height, ub=10.0, name="height")

p = quenda.problem("tank")
p.addVariable(r, h)
holds = math.pi * r ** 2 * h >= volume
p.addConstraint(holds)
p.setObjective(2 * math.pi * r ** 2 + 2 * math.pi * r * h)   # sheet area, m^2
p.setControl("nlploglevel", 0)

for algorithm, name in ((2, "interior point"), (1, "SLP")):
    p.setControl("nlpalgorithm", algorithm)
    p.setControl("nlpslpcurvature", 1)
    p.setInitialValues([r, h], [1.0, 1.0])
    p.solve()
    radius, height = p.getSolution([r, h])
    print(f"{name}: {p.getProbStatusString()}, area {p.getObjVal():.6f} m^2, "
          f"r = {radius:.4f} m, h = {height:.4f} m, "
          f"area per extra m^3 {p.getDual(holds):.4f}")

# the textbook optimum: height equals the diameter
best_r = (volume / (2 * math.pi)) ** (1 / 3)
print(f"expected: r = {best_r:.4f} m, h = {2 * best_r:.4f} m")
