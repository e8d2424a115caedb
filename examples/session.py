"""The library session: banner, version, control defaults and a problem."""
import quendalib as quenda

print(quenda.getbanner())
print("version", quenda.getversion())

print("some control defaults:")
for name in ("threads", "timelimit", "feastol", "miprelstop", "solvername"):
    print(f"  {name:12} {getattr(quenda.controls, name)!r}")

# Defaults set here apply to every problem created afterwards.
quenda.setdefaultcontrol("timelimit", 60)
p = quenda.problem("example")
print(f"problem {p.name()!r}: timelimit {p.controls.timelimit}, "
      f"{p.attributes.rows} rows, {p.attributes.cols} columns")
quenda.setdefaults()
