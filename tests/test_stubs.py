"""The type stubs against the module they describe: those the build put
beside the module are what scripts/gen_stubs.py makes of it, no public name
is missing or extra, and the operator overloads give the types the algebra
really returns."""
import ast
import importlib.util
import operator
import pathlib

import numpy as np
import pytest

import quendalib as quenda

ROOT = pathlib.Path(__file__).resolve().parents[1]
STUBS = pathlib.Path(quenda.__file__).parent / "quendalib-stubs" / "__init__.pyi"


def load_generator():
    spec = importlib.util.spec_from_file_location("gen_stubs", ROOT / "scripts" / "gen_stubs.py")
    mod = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(mod)
    return mod


GEN = load_generator()
TREE = ast.parse(STUBS.read_text())
CLASSES = {n.name: n for n in TREE.body if isinstance(n, ast.ClassDef)}


def test_stubs_are_those_of_the_module():
    assert STUBS.read_text() == GEN.generate(quenda)
    assert (STUBS.parent / "py.typed").exists()


def defined(body):
    """The public names a module or class body of the stubs defines."""
    out = set()
    for n in body:
        if isinstance(n, (ast.FunctionDef, ast.ClassDef)):
            out.add(n.name)
        elif isinstance(n, ast.AnnAssign):
            out.add(n.target.id)
        elif isinstance(n, ast.Assign):
            out.update(t.id for t in n.targets)
    return {n for n in out if not n.startswith("_")}


def stub_names():
    return defined(TREE.body)


def test_module_names_match():
    hidden = GEN.result_types(quenda)
    runtime = {n for n in dir(quenda) if not n.startswith("_")}
    assert stub_names() - set(hidden) == runtime
    # The types the module does not publish are real types of its values.
    for name, t in hidden.items():
        assert name in CLASSES and isinstance(t, type)


def members(cls):
    return defined(cls.body)


@pytest.mark.parametrize("name", ["var", "constraint", "sos", "problem", "branchobj",
                                  "poolcut", "control", "attribute"])
def test_type_members_match(name):
    t = getattr(quenda, name, None) or GEN.result_types(quenda)[name]
    assert members(CLASSES[name]) == {n for n in dir(t) if not n.startswith("_")}


# ---- operator overloads against the algebra
ALIASES = {}
for node in TREE.body:
    if isinstance(node, ast.Assign) and node.targets[0].id.startswith("_"):
        ALIASES[node.targets[0].id] = node.value


def expand(node):
    """The set of type names an annotation admits."""
    if isinstance(node, ast.Name):
        if node.id in ALIASES:
            return expand(ALIASES[node.id])
        return {node.id}
    if isinstance(node, ast.Subscript):
        base = ast.unparse(node.value)
        if base == "Union":
            elts = node.slice.elts if isinstance(node.slice, ast.Tuple) else [node.slice]
            return set().union(*(expand(e) for e in elts))
        return {base}
    if isinstance(node, ast.Attribute):
        return {ast.unparse(node)}
    return set()


def declared(cls, method, operand):
    """Return type the stubs give cls.method(operand), or None."""
    for n in CLASSES[cls].body:
        if isinstance(n, ast.Assign) and n.targets[0].id == method:  # __sub__ = __add__
            return declared(cls, n.value.id, operand)
        if isinstance(n, ast.FunctionDef) and n.name == method:
            if operand in expand(n.args.args[1].annotation):
                return ast.unparse(n.returns)
    for base in CLASSES[cls].bases:
        found = declared(ast.unparse(base), method, operand)
        if found is not None:
            return found
    return None


def samples():
    # Two of each, distinct, so that nothing cancels.
    def pair():
        x, y, z = quenda.var(), quenda.var(), quenda.var()
        return {"var": x, "linterm": 2 * y, "quadterm": y * z, "expression": z + 1,
                "nonlinear": quenda.exp(x), "int": 3, "float": 2.5}
    return pair(), pair()


OPS = {"__add__": operator.add, "__sub__": operator.sub, "__mul__": operator.mul,
       "__truediv__": operator.truediv, "__pow__": operator.pow, "__le__": operator.le,
       "__ge__": operator.ge, "__eq__": operator.eq}
LEFT = ["var", "linterm", "quadterm", "expression", "nonlinear"]


@pytest.mark.parametrize("method", sorted(OPS))
@pytest.mark.parametrize("left", LEFT)
def test_overloads_give_runtime_types(left, method):
    a, b = samples()
    for right in b:
        want = declared(left, method, right)
        try:
            got = type(OPS[method](a[left], b[right])).__name__
        except (TypeError, quenda.ModelError):
            got = None
        if want is None:
            continue  # the stubs reject the pair: nothing to compare
        assert got == want, f"{left} {method} {right}: stubs say {want}, module gives {got}"


@pytest.mark.parametrize("method", ["__radd__", "__rsub__", "__rmul__", "__rtruediv__"])
@pytest.mark.parametrize("right", LEFT)
def test_reflected_overloads(right, method):
    op = OPS[method.replace("__r", "__")]
    a, _ = samples()
    for num in (3, 2.5):
        want = declared(right, method, type(num).__name__)
        if want is not None:
            assert type(op(num, a[right])).__name__ == want, (num, method, right)


ALIASED = sorted(n.targets[0].id for n in TREE.body
                 if isinstance(n, ast.Assign) and not n.targets[0].id.startswith("_"))


@pytest.mark.parametrize("name", ALIASED)
def test_shared_signatures_give_runtime_types(name):
    # sin = _unary and the like: a number gives a float, an expression a
    # formula, an array an array.
    fn = getattr(quenda, name)
    x = quenda.var()
    assert type(fn(0.5)).__name__ == "float"
    assert type(fn(x + 1)).__name__ == "nonlinear"
    assert type(fn(np.array([x, x], dtype=object))).__name__ == "ndarray"


@pytest.mark.parametrize("method", ["getSolution", "getDual", "getSlack", "getRCost"])
def test_value_getters_follow_their_overloads(method):
    p = quenda.problem()
    x, y = quenda.var(name="x"), quenda.var()
    c = quenda.constraint(x + y >= 1)
    p.addVariable(x, y)
    p.addConstraint(c)
    p.setObjective(x + y)
    p.setControl("outputlog", 0)
    p.solve()
    get = getattr(p, method)
    item = c if method in ("getDual", "getSlack") else x
    assert type(get()).__name__ == "list"
    assert type(get(item)).__name__ == "float"
    assert type(get(0)).__name__ == "float"
    assert type(get([item])).__name__ == "list"
    assert type(get(np.array([item], dtype=object))).__name__ == "ndarray"
    assert type(get({"k": item})).__name__ == "dict"
