"""quenda.expression: accumulation, products, printing, in-place forms."""
import random

import numpy as np
import pytest

import quendalib as quenda

ModelError = quenda.ModelError


def fmt_g(c):
    return "%g" % c


def reference_text(constant, lin, names):
    """The printed form of constant + sum(lin[i] * var i), by the printing
    rules, lin keyed by creation order."""
    out, printed = [], False
    if constant != 0.0 or not any(lin.values()):
        out.append(fmt_g(constant))
        printed = True
    for i in sorted(lin):
        c = lin[i]
        if c == 0.0:
            continue
        if c == 1:
            out.append(" %s %s" % ("+" if printed else "", names[i]))
        elif c == -1:
            out.append(" - %s" % names[i])
        elif printed:
            out.append(" %+g %s" % (c, names[i]))
        else:
            out.append(" %g %s" % (c, names[i]))
        printed = True
    return "".join(out)


@pytest.mark.parametrize("op, text", [
    (lambda x, y, z: x + y - x, "  y"),
    (lambda x, y, z: 3 + x - 2 * y, "3 + x -2 y"),
    (lambda x, y, z: (x + 1) * (y + 2), "2 +2 x + y + x*y"),
    (lambda x, y, z: (y + 2) * (x + 1), "2 +2 x + y + x*y"),
    (lambda x, y, z: (x + y) ** 2, "  x**2 +2 x*y + y**2"),
    (lambda x, y, z: (x - y) * (x + y), "  x**2 - y**2"),
    (lambda x, y, z: (2 * x + 1) * 3, "3 +6 x"),
    (lambda x, y, z: 3 * (2 * x + 1), "3 +6 x"),
    (lambda x, y, z: (x + y) * 0, "0"),
    (lambda x, y, z: (x + y) / 4, " 0.25 x +0.25 y"),
    (lambda x, y, z: -(x - 2 * y + 3), "-3 - x +2 y"),
    (lambda x, y, z: (x + y) ** 1, "  x + y"),
    (lambda x, y, z: (z + y + x) - 7, "-7 + x + y + z"),
    (lambda x, y, z: (x + 1) - (x + 1), "0"),
    (lambda x, y, z: (x + y) + (x * y) + 2 * (x * y), "  x + y +3 x*y"),
    (lambda x, y, z: (x * y + z) - x * y, "  z"),        # pair erased when it cancels
    (lambda x, y, z: 1e-300 * (x + 1), "1e-300 +1e-300 x"),
    (lambda x, y, z: (x + y) * z, "  x*z + y*z"),
    (lambda x, y, z: z * (x + y), "  x*z + y*z"),
    (lambda x, y, z: (x + 2) * (x + 2), "4 +4 x + x**2"),
    (lambda x, y, z: (x + 0.5) * (y - 2), "-1 -2 x +0.5 y + x*y"),
])
def test_results(x, y, z, op, text, tname):
    res = op(x, y, z)
    assert tname(res) == "quenda.expression"
    assert str(res) == repr(res) == text


@pytest.mark.parametrize("op, want", [
    (lambda x, y, z: (x + y) ** 0, 1.0),
    (lambda x, y, z: (x + y) - y, None),      # x as an expression
])
def test_scalar_results(x, y, z, op, want):
    res = op(x, y, z)
    if want is not None:
        assert type(res) is float and res == want
    else:
        assert str(res) == "  x"


@pytest.mark.parametrize("op", [
    lambda x, y, z: (x * x + 1) ** 2, lambda x, y, z: (x + 1) ** 3,
    lambda x, y, z: (x + 1) / y, lambda x, y, z: 2 / (x + 1), lambda x, y, z: (x + 1) / (y + 1),
    lambda x, y, z: (x * y + 1) * (z + 1), lambda x, y, z: (x + 1) * (x * y),
    lambda x, y, z: (x + 1) ** y, lambda x, y, z: 2 ** (x + 1), lambda x, y, z: abs(x + 1),
    lambda x, y, z: (x + 1) ** 0.5])
def test_nonlinear_results(x, y, z, op, tname):
    assert tname(op(x, y, z)) == "quenda.nonlinear"


def test_empty_expression_prints_zero(types):
    assert str(types.expression()) == "0"


def test_ordering_is_creation_order():
    c, a, b = quenda.var(name="c"), quenda.var(name="a"), quenda.var(name="b")
    assert str(b + a + c) == "  c + a + b"
    assert str(b * a + c * b + 1) == "1 + c*b + a*b"


class TestInPlace:
    def test_iadd_returns_same_object(self, x, y):
        e = x + y
        alias = e
        e += x
        assert e is alias and str(alias) == " 2 x + y"
        e -= 2 * x
        assert e is alias and str(e) == "  y"
        e += x * y
        e += 3
        assert e is alias and str(e) == "3 + y + x*y"

    def test_self_accumulation(self, x, y):
        e = x + 2 * y + x * y + 1
        e += e
        assert str(e) == "2 +2 x +4 y +2 x*y"
        e -= e
        assert str(e) == "0"

    def test_none_accumulator(self, x, y):
        e = x + y
        acc = None
        acc += e
        assert acc is not e and str(acc) == "  x + y"
        acc = None
        acc -= e
        assert str(acc) == " - x - y"

    def test_left_not_expression(self, x, y):
        v = 2 * x
        v += x + y
        assert str(v) == " 3 x + y"

    def test_imul_idiv(self, x, y):
        e = x + 2 * y + 1
        alias = e
        e *= 1
        assert e is alias and str(e) == "1 + x +2 y"
        e *= 2
        assert e is alias and str(e) == "2 +2 x +4 y"
        e /= 1
        assert e is alias
        e /= 4
        assert e is alias and str(e) == "0.5 +0.5 x + y"
        e *= 0
        assert type(e) is float and e == 0.0
        e = x + 1
        e *= y
        assert str(e) == "  y + x*y"

    def test_idiv_by_zero(self, x):
        e = x + 1
        with pytest.raises(ModelError, match="^Division by zero$"):
            e /= 0
        assert str(e) == "1 + x"


class TestErrors:
    def test_division_by_zero(self, x):
        e = x + 1
        with pytest.raises(ModelError, match="^Division by zero$"):
            e / 0
        with pytest.raises(ModelError, match="^Division by zero$"):
            e / np.float32(0)
        assert str(e) == "1 + x"

    @pytest.mark.parametrize("bad", ["a", None, [1], object(), 1j])
    def test_invalid_object(self, x, bad):
        e = x + 1
        for op in (lambda: e + bad, lambda: e - bad, lambda: e * bad, lambda: bad * e,
                   lambda: e / bad, lambda: e ** bad):
            with pytest.raises(ModelError, match="^Invalid object in operation$"):
                op()
        with pytest.raises(ModelError, match="^Invalid object in operation$"):
            e += bad
        assert str(e) == "1 + x"

    def test_vector_exponent(self, x):
        with pytest.raises(ModelError, match="^Cannot obtain a power with a vector as an exponent$"):
            (x + 1) ** np.array([2])


def test_numpy_scalars_either_side(x, y, npnum):
    e = x + 2 * y
    k = npnum(2)
    assert str(e * k) == str(k * e) == " 2 x +4 y"
    assert str(e + k) == str(k + e) == "2 + x +2 y"
    assert str(e - k) == "-2 + x +2 y" and str(k - e) == "2 - x -2 y"
    assert str(e / k) == " 0.5 x + y"
    assert str(e ** k) == "  x**2 +4 x*y +4 y**2"
    f = x + 1
    f *= k
    assert str(f) == "2 +2 x"


def test_arrays(x, y):
    e = x + 1
    a = np.array([1, 2])
    assert [str(v) for v in e + a] == ["2 + x", "3 + x"]
    assert [str(v) for v in a + e] == ["2 + x", "3 + x"]
    assert [str(v) for v in e - a] == ["  x", "-1 + x"]
    assert [str(v) for v in a - e] == [" - x", "1 - x"]
    assert [str(v) for v in e * a] == ["1 + x", "2 +2 x"]
    assert [str(v) for v in e / np.array([1.0, 2.0])] == ["1 + x", "0.5 +0.5 x"]
    f = e
    f += a
    assert isinstance(f, np.ndarray) and str(e) == "1 + x"
    m = np.array([[x, y], [y, x]], dtype=object)
    assert str((m @ np.array([1, 2]))[0]) == "  x +2 y"


@pytest.mark.parametrize("seed", range(6))
def test_random_accumulation_matches_reference(seed):
    """Random += / -= and plain sums of terms in random variable order (the
    maps' unsorted tail, tombstones and merges) equal an exact reference."""
    rnd = random.Random(seed)
    n = rnd.choice([5, 40, 300])
    xs = [quenda.var(name=f"v{i}") for i in range(n)]
    names = {i: f"v{i}" for i in range(n)}
    e = (xs[0] + 1) - 1 - xs[0]             # an empty expression
    lin, const = {}, 0.0
    for _ in range(rnd.choice([10, 200, 3000])):
        i, j = rnd.randrange(n), rnd.randrange(n)
        c = float(rnd.choice([1, -1, 2, -3, 5]))
        kind = rnd.randrange(5)
        if kind == 0:
            e += c * xs[i]
            lin[i] = lin.get(i, 0.0) + c
        elif kind == 1:
            e -= c * xs[i]
            lin[i] = lin.get(i, 0.0) - c
        elif kind == 2:
            e += xs[i]
            lin[i] = lin.get(i, 0.0) + 1
        elif kind == 3:
            e += c * xs[i] - xs[j] + 1      # a small expression (or linterm) added
            lin[i] = lin.get(i, 0.0) + c
            lin[j] = lin.get(j, 0.0) - 1
            const += 1
        else:
            minus = rnd.random() < 0.5
            e = e - xs[i] if minus else e + xs[i]
            lin[i] = lin.get(i, 0.0) + (-1 if minus else 1)
    assert str(e) == reference_text(const, lin, names)


def test_no_operand_pair_crashes(x, y, types):
    """Every operator on every pair of odd operands either works or raises
    a Python exception; objects made by the types' own allocators (no
    variables) included."""
    import operator as op
    V, C = quenda.var, quenda.constraint
    huge = 10 ** 400
    odd = [types.linterm(), types.quadterm(), types.expression(), V.__new__(V), C.__new__(C)]
    vals = odd + [x, 2 * x, x * y, x + 1, (x + 1) * (y - 1), 3.0, 0, 1, -1, 2, None, "s", [1],
                  np.array([1.0, 2.0]), np.array([x, y]), np.float32(0), np.int32(2),
                  np.uint8(1), float("nan"), float("inf"), huge, x <= 1]
    binary = [op.add, op.sub, op.mul, op.truediv, op.pow, op.le, op.ge, op.eq, op.lt, op.ne,
              op.iadd, op.isub, op.imul, op.itruediv]
    with np.errstate(all="ignore"):
        for a in vals:
            for f in (op.neg, abs, str, repr):
                try:
                    str(f(a))
                except Exception:
                    pass
            for b in vals:
                for f in binary:
                    if f is op.pow and (a is huge or b is huge):
                        continue             # Python's own huge integer power
                    try:
                        str(f(a, b))
                    except Exception:
                        pass
    assert str(x) == "x" and str(y) == "y"


@pytest.mark.parametrize("seed", range(4))
def test_random_quadratic_accumulation_matches_reference(seed):
    """Quadratic pairs accumulated in random order (outer keys out of order,
    cancellations, whole expressions added) equal an exact reference."""
    rnd = random.Random(100 + seed)
    n = rnd.choice([4, 30, 200])
    xs = [quenda.var(name=f"w{i}") for i in range(n)]
    e = (xs[0] + 1) - 1 - xs[0]
    quad = {}

    def acc(i, j, c):
        key = (min(i, j), max(i, j))
        quad[key] = quad.get(key, 0.0) + c

    for _ in range(rnd.choice([20, 500, 4000])):
        i, j = rnd.randrange(n), rnd.randrange(n)
        c = float(rnd.choice([1, -1, 2, -2, 3]))
        r = rnd.random()
        if r < 0.4:
            e += c * xs[i] * xs[j]
            acc(i, j, c)
        elif r < 0.7:
            e -= xs[j] * xs[i]
            acc(i, j, -1.0)
        else:
            e += (xs[i] + xs[j]) * (xs[i] - xs[j])     # i*i - j*j (0.0 when i == j)
            if i != j:
                acc(i, i, 1.0)
                acc(j, j, -1.0)
    out, printed = [], False
    for (i, j) in sorted(quad):
        c = quad[(i, j)]
        if c == 0.0:
            continue
        name = f"w{i}**2" if i == j else f"w{i}*w{j}"
        if c == 1:
            out.append(" %s %s" % ("+" if printed else "", name))
        elif c == -1:
            out.append(" - %s" % name)
        else:
            out.append((" %+g %s" if printed else " %g %s") % (c, name))
        printed = True
    assert str(e) == ("".join(out) if out else "0")
