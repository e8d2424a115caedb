"""A model read from an MPS file, then used by name and by object.

    python examples/read_mps.py [file.mps]

Reads a model (by default the Netlib LP afiro, examples/data/afiro.mps),
solves it and prints the nonzero part of its solution.  The variables and
constraints of the file become ordinary quendalib objects: the solution is
read through them, or through their names, like for a model built with
operators.
"""
import os
import sys

import quendalib as quenda

HERE = os.path.dirname(os.path.abspath(__file__))
path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "data", "afiro.mps")

p = quenda.problem()
p.setControl("loglevel", 0)
p.read(path)
print(f"{os.path.basename(path)}: {p.attributes.cols} columns, {p.attributes.rows} rows")
p.solve()
print("status:", p.getProbStatusString(), f"objective {p.getObjVal():.8g}")

variables = p.getVariable()
values = p.getSolution(variables)
for v, x in zip(variables, values):
    if abs(x) > 1e-9:
        print(f"  {v.name:10} = {x:.6g}")
first_row = p.getConstraint(0)
print(f"row {first_row.name}: slack {p.getSlack(first_row.name):.6g}")
