"""quenda.quadterm: canonical order, folding, divisions that cancel a variable."""
import numpy as np
import pytest

import quendalib as quenda

ModelError = quenda.ModelError
LT, QT, EX, FL, NL = ("quenda.linterm", "quenda.quadterm", "quenda.expression", "float",
                      "quenda.nonlinear")


def T(obj):
    t = type(obj)
    name = t.__name__ if t.__module__ == "builtins" else f"{t.__module__}.{t.__name__}"
    return name, (obj if name == "float" else str(obj))


@pytest.mark.parametrize("op, want", [
    (lambda x, y, z: x * y - x * y, (QT, "0*x*y")),        # kept, unlike linterm
    (lambda x, y, z: 0 * (x * y), (QT, "0*x*y")),
    (lambda x, y, z: (x * y) * 0, (QT, "0*x*y")),
    (lambda x, y, z: y * x, (QT, "x*y")),
    (lambda x, y, z: 3 * y * x, (QT, "3*x*y")),
    (lambda x, y, z: (2 * y) * (3 * x), (QT, "6*x*y")),
    (lambda x, y, z: x * x, (QT, "x**2")),
    (lambda x, y, z: -(x * y), (QT, "-1*x*y")),
    (lambda x, y, z: x * y + y * x, (QT, "2*x*y")),
    (lambda x, y, z: x * y + 3, (EX, "3 + x*y")),
    (lambda x, y, z: 3 - x * y, (EX, "3 - x*y")),
    (lambda x, y, z: 0 - x * y, (QT, "-1*x*y")),
    (lambda x, y, z: x * y + z, (EX, "  z + x*y")),
    (lambda x, y, z: z - x * y, (EX, "  z - x*y")),
    (lambda x, y, z: x * y - 2 * z, (EX, " -2 z + x*y")),
    (lambda x, y, z: x * y + x * z, (EX, "  x*y + x*z")),
    (lambda x, y, z: x * z - y * y, (EX, "  x*z - y**2")),
    # divisions
    (lambda x, y, z: (6 * x * y) / (2 * x), (LT, "3*y")),
    (lambda x, y, z: (6 * x * y) / y, (LT, "6*x")),
    (lambda x, y, z: (6 * x * y) / x, (LT, "6*y")),
    (lambda x, y, z: (x * y) / (x * y), (FL, 1.0)),
    (lambda x, y, z: (3 * x * y) / (2 * y * x), (FL, 1.5)),
    (lambda x, y, z: (x * y) / 4, (QT, "0.25*x*y")),
    # powers
    (lambda x, y, z: (x * y) ** 0, (FL, 1.0)),
    (lambda x, y, z: 1 ** (x * y), (FL, 1.0)),
    (lambda x, y, z: (x * y) ** 1, (QT, "x*y")),
])
def test_results(x, y, z, op, want):
    assert T(op(x, y, z)) == want


@pytest.mark.parametrize("op, text", [
    (lambda x, y, z: (x * y) / (2 * x * z), "(0.5*y / z)"),
    (lambda x, y, z: (x * y) / (2 * z * y), "(0.5*x / z)"),
    (lambda x, y, z: (x * z) / (2 * y * x), "(0.5*z / y)"),
    (lambda x, y, z: (y * z) / (2 * x * y), "(0.5*z / x)"),
    (lambda x, y, z: x / (2 * x * y), "(0.5 / y)"),
    (lambda x, y, z: (3 * y) / (2 * x * y), "(1.5 / x)"),
    (lambda x, y, z: (x * y) / z, None),
    (lambda x, y, z: 2 / (x * y), None),
    (lambda x, y, z: (x * y) * z, None),
    (lambda x, y, z: (x * y) * (2 * z), None),
    (lambda x, y, z: (x * y) * (x * y), None),
    (lambda x, y, z: (x * y) ** 2, None),
    (lambda x, y, z: 2 ** (x * y), None),
    (lambda x, y, z: abs(x * y), None),
])
def test_nonlinear_results(x, y, z, op, text, tname):
    res = op(x, y, z)
    assert tname(res) == NL
    if text is not None:
        assert str(res) == text


def test_identity_and_copies(x, y):
    q = x * y
    r = q + 0
    assert r is not q and str(r) == "x*y"
    r = q ** 1
    assert r is not q and str(r) == "x*y"
    v = q
    for op in ("+= 0", "-= 0", "*= 1", "/= 1", "**= 1"):
        exec(f"v {op}")
        assert v is q
    v **= 0
    assert v == 1.0
    assert str(q) == "x*y"


class TestErrors:
    def test_divisions_by_zero(self, x, y):
        with pytest.raises(ModelError, match="^Division by zero of a bilinear term$"):
            (x * y) / 0
        with pytest.raises(ModelError, match="^Division by zero of a variable$"):
            x / (0 * (x * y))
        with pytest.raises(ModelError, match="^Division by zero of a linear term$"):
            (2 * x) / (0 * (x * y))
        v = x * y
        with pytest.raises(ModelError, match="^Division by zero$"):
            v /= 0

    @pytest.mark.parametrize("bad", ["a", None, [1]])
    def test_invalid_operands(self, x, y, bad):
        q = x * y
        with pytest.raises(ModelError, match="^Invalid operands in sum with quadratic term$"):
            q + bad
        with pytest.raises(ModelError, match="^Invalid operands in sum with quadratic term$"):
            bad - q
        with pytest.raises(ModelError):
            q * bad
        with pytest.raises(ModelError):
            q / bad

    def test_vector_exponent(self, x, y):
        with pytest.raises(ModelError, match="^Cannot obtain a power with a vector as an exponent$"):
            (x * y) ** np.array([1, 2])


def test_numpy_scalars_and_arrays(x, y, npnum):
    q = x * y
    assert str(q * npnum(3)) == "3*x*y" and str(npnum(3) * q) == "3*x*y"
    assert str(q + npnum(3)) == "3 + x*y" and str(npnum(3) - q) == "3 - x*y"
    assert str(q / npnum(2)) == "0.5*x*y"
    r = q * np.array([1, 2])
    assert [str(e) for e in r] == ["x*y", "2*x*y"]
    r = q - np.array([0, 1])
    assert [str(e) for e in r] == ["x*y", "-1 + x*y"]
    r = q / np.array([1.0, 2.0])
    assert [str(e) for e in r] == ["x*y", "0.5*x*y"]
