#!/usr/bin/env python3
"""Check that quoted includes go only downwards through the layers.

Each tree is a list of layers, lowest first; a folder may include its own
files and those of the folders the table allows, nothing else.  A quoted
include that names no file of the trees (an engine's or NumPy's header) is
not ours and is left alone.

usage: scripts/check_layers.py [--root DIR] [TREE ...]   (default: solver quendalib)
Prints one line per include that goes up and exits 1 when there is any.
"""
import argparse
import os
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.M)
SOURCE = (".c", ".cc", ".cpp", ".h", ".hh", ".hpp")

# Tree: (source folders in which include paths resolve, the layers).  A layer
# maps each folder to the folders it may include; "include" is the public C
# interface of the solver library, the lowest layer of both trees.
SOLVER = {
    "include": [],
    "core": ["include"],
    "callbacks": ["include", "core"],
    "controls": ["include", "core"],
    "model": ["include", "core", "callbacks", "controls"],
    "engine": ["include", "core", "callbacks", "controls", "model"],
    "nonlinear": ["include", "core", "callbacks", "controls", "model", "engine"],
    "io": ["include", "core", "callbacks", "controls", "model", "engine"],
    "analysis": ["include", "core", "callbacks", "controls", "model", "engine"],
    "api": ["include", "core", "callbacks", "controls", "model", "engine", "io", "nonlinear",
            "analysis"],
}

# api/, callbacks/ and nonlinear/ stand side by side: each may use the
# others (include_cycles.py --folders keeps them from tying a knot).
_TOP = ["include", "module", "algebra", "problem", "api", "callbacks", "nonlinear"]
QUENDALIB = {
    "include": [],
    "module": ["include"],
    "algebra": ["include", "module"],
    "problem": ["include", "module", "algebra"],
    "api": _TOP,
    "callbacks": _TOP,
    "nonlinear": _TOP,
}
# The module's entry file ties every part together and may include anything.
ENTRY = {"quendalib/module/quendalib.cpp"}

TREES = [
    # (tree root, folder whose first component names the layer, table)
    ("solver", "solver/src", SOLVER),
    ("quendalib", "quendalib", QUENDALIB),
]
INCLUDE_DIRS = ["solver/include", "solver/src", "quendalib"]


def layer_of(path):
    """(table, layer) of a file of the trees, or None."""
    if path.startswith("solver/include/"):
        return SOLVER, "include"
    for _, base, table in TREES:
        if path.startswith(base + "/"):
            rest = path[len(base) + 1:].split("/")
            return (table, rest[0]) if len(rest) > 1 else (table, None)
    return None


def sources(root, trees):
    for tree in trees:
        for d, dirs, names in os.walk(os.path.join(root, tree)):
            dirs[:] = [x for x in dirs if x not in ("tests", "build")]
            for n in names:
                if n.endswith(SOURCE):
                    yield os.path.relpath(os.path.join(d, n), root)


def resolve(root, path, inc):
    for base in [os.path.dirname(path)] + INCLUDE_DIRS:
        cand = os.path.normpath(os.path.join(base, inc))
        if os.path.isfile(os.path.join(root, cand)):
            return cand
    return None


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--root", default=os.path.join(os.path.dirname(__file__), ".."))
    ap.add_argument("trees", nargs="*", metavar="TREE")
    args = ap.parse_args()
    known = [t for t, _, _ in TREES]
    for t in args.trees:
        if t not in known:
            ap.error(f"unknown tree {t!r} (known: {', '.join(known)})")
    root = os.path.abspath(args.root)
    trees = args.trees or [t for t, _, _ in TREES]
    bad = []
    for path in sorted(sources(root, trees)):
        if path in ENTRY:
            continue
        here = layer_of(path)
        if here is None:
            continue
        table, layer = here
        if layer not in table:
            bad.append(f"{path}: folder {layer!r} has no place in the layer table")
            continue
        with open(os.path.join(root, path), encoding="utf-8", errors="replace") as f:
            text = f.read()
        for inc in INCLUDE.findall(text):
            target = resolve(root, path, inc)
            there = layer_of(target) if target else None
            if there is None:
                continue
            _, to = there
            if to == layer or to in table[layer]:
                continue
            bad.append(f"{path}: includes {target} ({layer} -> {to} goes up)")
    for line in bad:
        print(line)
    if bad:
        return 1
    print("layers: every include goes down")
    return 0


if __name__ == "__main__":
    sys.exit(main())
