"""Show the solver library's banner, version and a few control defaults."""
import quendalib as quenda

print(quenda.getversion())
