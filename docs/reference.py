"""Sphinx extension: writes _generated/reference.rst from the module.

Every public function, type, method and constant gets an entry: the
signature from the type stubs that the build generated beside the module
(the same that type checkers see), the docstring's text, the result type,
and the exceptions.  Nothing is written by hand here, so a method added to
the module is in the reference at the next build.
"""
import ast
import pathlib

import quendalib

ERRORS = {
    "function": [
        ("quendalib.InterfaceError", "an argument has the wrong type or value"),
        ("quendalib.SolverError", "the solver library refused the call (its message)"),
    ],
    "method": [
        ("quendalib.InterfaceError", "an argument has the wrong type or value"),
        ("quendalib.ModelError", "an object is not in the problem, or the model does not "
                                 "allow the call"),
        ("quendalib.SolverError", "the solver library refused the call (its message)"),
    ],
}
MISC = ("Other", "")


def stub_tree():
    path = pathlib.Path(quendalib.__file__).parent / "quendalib-stubs" / "__init__.pyi"
    return ast.parse(path.read_text())


def signature(fn, drop_self):
    args = fn.args
    if drop_self:
        args = ast.arguments(posonlyargs=args.posonlyargs, args=args.args[1:],
                             vararg=args.vararg, kwonlyargs=args.kwonlyargs,
                             kw_defaults=args.kw_defaults, kwarg=args.kwarg,
                             defaults=args.defaults)
    text = ast.unparse(args)
    ret = ast.unparse(fn.returns) if fn.returns is not None else "None"
    return text, ret


def docstring(obj):
    doc = (getattr(obj, "__doc__", None) or "").strip()
    return [line.strip() for line in doc.splitlines()] or ["(no description)"]


def entry(out, directive, name, fn, obj, indent, kind):
    pad = " " * indent
    overloads = [f for f in fn if f.decorator_list] or fn[:1]
    text, ret = signature(overloads[0], kind == "method")
    out.append(f"{pad}.. py:{directive}:: {name}({text}) -> {ret}")
    for extra in overloads[1:]:
        t, r = signature(extra, kind == "method")
        out.append(f"{pad}   {name}({t}) -> {r}")
    out.append("")
    for line in docstring(obj):
        out.append(f"{pad}   {escape(line)}" if line else "")
    out.append("")
    params = [a.arg for a in overloads[0].args.args[1 if kind == "method" else 0:]]
    if overloads[0].args.vararg:
        params.append("*" + overloads[0].args.vararg.arg)
    if overloads[0].args.kwarg:
        params.append("**" + overloads[0].args.kwarg.arg)
    for p in params:
        out.append(f"{pad}   :param {p.lstrip('*')}: as the description says")
    out.append(f"{pad}   :returns: ``{ret}``")
    for exc, why in ERRORS[kind]:
        out.append(f"{pad}   :raises {exc}: {why}")
    out.append("")


SYMBOLS = {"__add__": "x + y", "__radd__": "y + x", "__sub__": "x - y", "__rsub__": "y - x",
           "__mul__": "x * y", "__rmul__": "y * x", "__truediv__": "x / y",
           "__rtruediv__": "y / x", "__pow__": "x ** y", "__rpow__": "y ** x",
           "__le__": "x <= y", "__ge__": "x >= y", "__eq__": "x == y", "__ne__": "x != y",
           "__neg__": "-x", "__pos__": "+x"}


def operators(out, cls, classes):
    """The operator overloads of cls and its bases, as a table."""
    rows, seen, todo = [], set(), [cls]
    while todo:
        c = todo.pop(0)
        aliases = {}
        for sub in c.body:
            if isinstance(sub, ast.Assign):
                aliases[sub.targets[0].id] = sub.value.id
        for sub in c.body:
            if isinstance(sub, ast.FunctionDef) and sub.name in SYMBOLS and sub.name not in seen:
                names = [sub.name] + [a for a, b in aliases.items() if b == sub.name]
                for name in names:
                    operand = (ast.unparse(sub.args.args[1].annotation)
                               if len(sub.args.args) > 1 else "")
                    rows.append((SYMBOLS[name], operand, ast.unparse(sub.returns)))
        seen.update(sub.name for sub in c.body if isinstance(sub, ast.FunctionDef))
        seen.update(aliases)
        todo += [classes[ast.unparse(b)] for b in c.bases if ast.unparse(b) in classes]
    if not rows:
        return
    out += ["   Operators (``x`` of this type; the first row that matches ``y`` applies):", "",
            "   .. list-table::", "      :header-rows: 1", "",
            "      * - expression", "        - y", "        - result"]
    for sym, operand, result in rows:
        out += [f"      * - ``{sym}``", f"        - ``{operand}``" if operand else "        -",
                f"        - ``{result}``"]
    out.append("")


def escape(line):
    for ch in ("*", "`", "|", "_"):
        line = line.replace(ch, "\\" + ch)
    return line


def write_reference(app):
    tree = stub_tree()
    funcs, classes, consts = {}, {}, []
    every = {n.name: n for n in tree.body if isinstance(n, ast.ClassDef)}
    defs = {}
    for node in tree.body:
        if isinstance(node, ast.FunctionDef):
            defs.setdefault(node.name, []).append(node)
    for node in tree.body:
        if isinstance(node, ast.FunctionDef) and not node.name.startswith("_"):
            funcs.setdefault(node.name, []).append(node)
        elif isinstance(node, ast.Assign) and isinstance(node.value, ast.Name) \
                and node.value.id in defs:
            funcs[node.targets[0].id] = defs[node.value.id]  # sin = _unary
        elif isinstance(node, ast.ClassDef) and not node.name.startswith("_"):
            classes[node.name] = node
        elif isinstance(node, ast.AnnAssign) and not node.target.id.startswith("_"):
            consts.append((node.target.id, ast.unparse(node.annotation)))
    hidden = {"linterm", "quadterm", "expression", "nonlinear", "control", "attribute"}
    out = ["Reference", "=========", "", ".. py:module:: quendalib", "",
           "Generated from the module's docstrings and its type stubs.", "",
           "Functions", "---------", ""]
    for name, fn in sorted(funcs.items()):
        entry(out, "function", name, fn, getattr(quendalib, name), 0, "function")
    out += ["Types", "-----", "", "The operator tables use these names of the stubs:", ""]
    for node in tree.body:
        if isinstance(node, ast.Assign) and node.targets[0].id.startswith("_"):
            out.append(f"- ``{node.targets[0].id}`` = ``{ast.unparse(node.value)}``")
    out.append("")
    for name, cls in sorted(classes.items()):
        runtime = getattr(quendalib, name, None)
        if runtime is None and name in hidden:
            note = "The type of results; not a name of the module."
        else:
            note = ""
        out.append(f".. py:class:: {name}")
        out.append("")
        for line in docstring(runtime) if runtime is not None else [note]:
            out.append(f"   {escape(line)}" if line else "")
        if runtime is not None and note:
            out.append(f"   {note}")
        out.append("")
        methods, attrs = {}, []
        for sub in cls.body:
            if isinstance(sub, ast.FunctionDef) and not sub.name.startswith("_"):
                methods.setdefault(sub.name, []).append(sub)
            elif isinstance(sub, ast.AnnAssign):
                attrs.append((sub.target.id, ast.unparse(sub.annotation)))
            elif isinstance(sub, ast.Assign) and sub.value.id in methods:
                for t in sub.targets:  # getDual = getSolution: the same signatures
                    methods[t.id] = methods[sub.value.id]
        operators(out, cls, every)
        for attr, ann in attrs:
            out += [f"   .. py:attribute:: {attr}", f"      :type: {ann}", ""]
        for mname, fn in sorted(methods.items()):
            obj = getattr(runtime, mname, None) if runtime is not None else None
            entry(out, "method", mname, fn, obj, 3, "method")
    out += ["Constants", "---------", ""]
    for name, ann in sorted(consts):
        value = getattr(quendalib, name, None)
        shown = repr(value) if isinstance(value, (int, float, str)) else "..."
        out += [f".. py:data:: {name}", f"   :type: {ann}", f"   :value: {shown}", ""]
    # Every public name of the module and of its types has its entry.
    documented = set(funcs) | set(classes) | {n for n, _ in consts}
    missing = {n for n in dir(quendalib) if not n.startswith("_")} - documented
    for name, cls in classes.items():
        runtime = getattr(quendalib, name, None)
        names = {sub.name for sub in cls.body if isinstance(sub, ast.FunctionDef)} | {
            sub.target.id for sub in cls.body if isinstance(sub, ast.AnnAssign)} | {
            t.id for sub in cls.body if isinstance(sub, ast.Assign) for t in sub.targets}
        if runtime is not None and not issubclass(runtime, BaseException):
            missing |= {f"{name}.{m}" for m in dir(runtime)
                        if not m.startswith("_") and m not in names}
    if missing:
        raise RuntimeError(f"reference: no entry for {sorted(missing)}")
    target = pathlib.Path(app.srcdir) / "_generated" / "reference.rst"
    target.parent.mkdir(exist_ok=True)
    text = "\n".join(out) + "\n"
    if not target.exists() or target.read_text() != text:
        target.write_text(text)


def setup(app):
    app.connect("builder-inited", write_reference)
    return {"parallel_read_safe": True}
