"""quenda.linterm: folding into numbers and terms, hand-over to richer types."""
import numpy as np
import pytest

import quendalib as quenda

ModelError = quenda.ModelError


def T(obj):
    t = type(obj)
    name = t.__name__ if t.__module__ == "builtins" else f"{t.__module__}.{t.__name__}"
    return name, (obj if name == "float" else str(obj))


LT, QT, EX, FL = "quenda.linterm", "quenda.quadterm", "quenda.expression", "float"


@pytest.mark.parametrize("op, want", [
    # sums
    (lambda x, y: 2 * x - 2 * x, (FL, 0.0)),
    (lambda x, y: 2 * x + 3 * x, (LT, "5*x")),
    (lambda x, y: 2 * x - x, (LT, "x")),            # coefficient 1.0 prints bare
    (lambda x, y: x - 2 * x, (LT, "-1*x")),
    (lambda x, y: x - 1 * (2 * x) / 2, (FL, 0.0)),
    (lambda x, y: 2 * x + 3, (EX, "3 +2 x")),
    (lambda x, y: 3 - 2 * x, (EX, "3 -2 x")),
    (lambda x, y: 2 * x - 3, (EX, "-3 +2 x")),
    (lambda x, y: 0 - 2 * x, (LT, "-2*x")),
    (lambda x, y: 2 * x + 3 * y, (EX, " 2 x +3 y")),
    (lambda x, y: 3 * y - 2 * x, (EX, " -2 x +3 y")),
    (lambda x, y: 2 * x + y, (EX, " 2 x + y")),
    (lambda x, y: y - 2 * x, (EX, " -2 x + y")),
    (lambda x, y: 2 * y - x, (EX, " - x +2 y")),
    # products
    (lambda x, y: 0 * x, (FL, 0.0)),
    (lambda x, y: (2 * x) * 0, (FL, 0.0)),
    (lambda x, y: (2 * x) * 0.5, (LT, "x")),
    (lambda x, y: (2 * x) * (3 * y), (QT, "6*x*y")),
    (lambda x, y: (2 * y) * (3 * x), (QT, "6*x*y")),
    (lambda x, y: y * (2 * x), (QT, "2*x*y")),
    (lambda x, y: (2 * x) * x, (QT, "2*x**2")),
    (lambda x, y: -(2 * x), (LT, "-2*x")),
    # divisions
    (lambda x, y: (3 * x) / (2 * x), (FL, 1.5)),
    (lambda x, y: x / (2 * x), (FL, 0.5)),
    (lambda x, y: (3 * x) / x, (FL, 3.0)),
    (lambda x, y: (3 * x) / 2, (LT, "1.5*x")),
    # powers
    (lambda x, y: (2 * x) ** 0, (FL, 1.0)),
    (lambda x, y: (2 * x) ** 2, (QT, "4*x**2")),
    (lambda x, y: (-3 * x) ** 2.0, (QT, "9*x**2")),
    # printed forms
    (lambda x, y: 1e-07 * x, (LT, "1e-07*x")),
    (lambda x, y: 1234567.0 * x, (LT, "1.23457e+06*x")),
    (lambda x, y: -1 * x, (LT, "-1*x")),
])
def test_results(x, y, op, want):
    assert T(op(x, y)) == want


@pytest.mark.parametrize("op", [
    lambda x, y: (2 * x) ** 3, lambda x, y: (2 * x) ** 0.5, lambda x, y: (3 * x) / (2 * y),
    lambda x, y: 5 / (2 * x), lambda x, y: 0 / (2 * x), lambda x, y: x / (2 * y),
    lambda x, y: (2 * x) ** y, lambda x, y: 2 ** (2 * x), lambda x, y: abs(2 * x),
    lambda x, y: (2 * x) ** (3 * y)])
def test_nonlinear_results(x, y, op, tname):
    assert tname(op(x, y)) == "quenda.nonlinear"


def test_identity_results(x, inplace):
    t = 2 * x
    assert t ** 1 is t
    u = t + 0
    assert u is not t and str(u) == "2*x" and type(u) is type(t)
    for op, k in [("+", 0), ("-", 0), ("*", 1), ("/", 1), ("**", 1)]:
        assert inplace(t, op, k) is t
    assert inplace(t, "**", 0) == 1.0
    assert str(t) == "2*x"          # terms never change


def test_inplace_makes_new_objects(x, y, inplace):
    t = 2 * x
    assert str(inplace(t, "+", y)) == " 2 x + y"
    assert str(inplace(t, "*", 3)) == "6*x"
    assert str(inplace(t, "/", 4)) == "0.5*x"
    assert str(t) == "2*x"


class TestErrors:
    def test_division_by_zero(self, x):
        t = 2 * x
        for op in (lambda: t / 0, lambda: t / 0.0, lambda: t / np.float64(0)):
            with pytest.raises(ModelError, match="^Division by zero$"):
                op()
        with pytest.raises(ModelError, match="^Division by zero$"):
            t /= 0

    def test_zero_term_divisor(self, x, types):
        # 0*x folds to 0.0, so a zero-coefficient term only comes from the
        # type's own allocator; it must not crash.
        t = types.linterm()
        with pytest.raises(ModelError):
            (2 * x) / t
        with pytest.raises(ModelError):
            t + x
        assert isinstance(str(t), str)

    @pytest.mark.parametrize("bad", ["a", None, [1], object()])
    def test_invalid_operands(self, x, bad):
        t = 2 * x
        with pytest.raises(ModelError, match="^Invalid operands in sum$"):
            t + bad
        with pytest.raises(ModelError, match="^Invalid operands in sum$"):
            bad - t
        with pytest.raises(ModelError, match="^Invalid operands in product of linear terms$"):
            t * bad
        with pytest.raises(ModelError, match="^Invalid operands in product of linear terms$"):
            t / bad

    def test_vector_exponent(self, x):
        t = 2 * x
        for op in (lambda: t ** np.array([1, 2]),):
            with pytest.raises(ModelError, match="^Cannot obtain a power with a vector as an exponent$"):
                op()
        with pytest.raises(ModelError, match="^Cannot obtain a power with a vector as an exponent$"):
            t **= np.array([1, 2])


def test_numpy_scalars_either_side(x, npnum):
    t = 2 * x
    k = npnum(4)
    assert str(t * k) == "8*x" and str(k * t) == "8*x"
    assert str(t + k) == "4 +2 x" and str(k + t) == "4 +2 x"
    assert str(t - k) == "-4 +2 x" and str(k - t) == "4 -2 x"
    assert str(t / k) == "0.5*x"
    assert str(t ** npnum(2)) == "4*x**2"


def test_arrays(x, tname):
    t = 2 * x
    r = t * np.array([1, 2])
    assert r.dtype == object and [str(e) for e in r] == ["2*x", "4*x"]
    assert [str(e) for e in np.array([1, 2]) * t] == ["2*x", "4*x"]
    r = t + np.array([0, 1])
    assert [tname(e) for e in r] == ["quenda.linterm", "quenda.expression"]
    assert [str(e) for e in t - np.array([0, 1])] == ["2*x", "-1 +2 x"]
    assert [str(e) for e in t / np.array([2.0, 4.0])] == ["x", "0.5*x"]
    v = t
    v *= np.array([1, 3])
    assert [str(e) for e in v] == ["2*x", "6*x"]
