"""NumPy arrays of modelling objects: comparisons give arrays of constraints
(plain elements give True/False), under NumPy 1.x and 2.x alike; the
operators and functions work element by element."""
import subprocess
import sys
import textwrap

import numpy as np
import pytest

import quendalib as quenda

NP2 = int(np.__version__.split(".")[0]) >= 2
CON = quenda.constraint
INF = 1e20


@pytest.fixture
def xs(x, y):
    return np.array([x, y])


def bounds(c):
    return (c.lb, c.ub)


class TestComparisons:
    @pytest.mark.parametrize("rhs", [3, 3.0, np.float64(3), np.int64(3), np.int32(3),
                                     np.float32(3), True], ids=repr)
    def test_array_le_scalar(self, xs, rhs):
        r = xs <= rhs
        assert r.dtype == object and r.shape == (2,)
        assert all(isinstance(c, CON) for c in r)
        assert bounds(r[0]) == (-INF, float(rhs))

    @pytest.mark.parametrize("op, lb, ub", [
        ("<=", -INF, 2.0), (">=", 2.0, INF), ("==", 2.0, 2.0)])
    def test_each_operator(self, xs, op, lb, ub):
        r = eval(f"xs {op} 2")
        assert [bounds(c) for c in r] == [(lb, ub)] * 2
        assert str(r[1].body) == "  y"

    @pytest.mark.parametrize("op, lb, ub", [("<=", 2.0, INF), (">=", -INF, 2.0), ("==", 2.0, 2.0)])
    def test_scalar_on_the_left(self, xs, op, lb, ub):
        r = eval(f"2 {op} xs")
        assert all(isinstance(c, CON) for c in r) and bounds(r[0]) == (lb, ub)

    @pytest.mark.parametrize("rhs", [np.array([1.0, 2.0]), np.array([1, 2]),
                                     np.array([1.0, 2.0], dtype=np.float32), [1, 2]],
                             ids=["f8", "i8", "f4", "list"])
    def test_array_le_numeric_array(self, xs, rhs):
        r = xs <= rhs
        assert [bounds(c) for c in r] == [(-INF, 1.0), (-INF, 2.0)]

    def test_numeric_array_on_the_left(self, xs):
        r = np.array([1.0, 2.0]) <= xs
        assert [bounds(c) for c in r] == [(1.0, INF), (2.0, INF)]

    def test_two_object_arrays(self, x, y):
        r = np.array([x, 2 * y]) == np.array([y, x * y])
        assert str(r[0].body) == "  x - y" and bounds(r[0]) == (0.0, 0.0)
        assert str(r[1].body) == " 2 y - x*y"

    def test_mixed_elements(self, x):
        r = np.array([x, 1.0, 5], dtype=object) <= 2
        assert r.dtype == object
        assert isinstance(r[0], CON) and r[1] is True and r[2] is False

    def test_2d_broadcast(self, x, y):
        A = np.array([[x, y], [x + y, 1]], dtype=object)
        r = A >= np.array([0, 1])
        assert r.shape == (2, 2) and r[1, 1] is True and isinstance(r[1, 0], CON)

    def test_nonlinear_elements(self, x):
        r = np.array([quenda.sin(x), x * x]) <= 1
        assert all(isinstance(c, CON) for c in r)

    def test_refused_comparisons_raise(self, xs):
        for expr in ("xs < 1", "xs > 1", "xs != 1"):
            with pytest.raises(quenda.ModelError, match="cannot enforce"):
                eval(expr)

    def test_plain_arrays_unchanged(self):
        r = np.array([1, 2, 3]) <= 2
        assert r.dtype == bool and list(r) == [True, True, False]
        assert (np.array([1.5]) == np.array([1.5])).dtype == bool
        d = np.array(["2020-01-01", "2022-01-01"], dtype="datetime64[D]")
        assert list(d <= np.datetime64("2021-01-01")) == [True, False]
        assert list(np.arange(3, dtype=np.uint64) == np.arange(3)) == [True] * 3
        assert list(np.array(["a", "c"]) <= "b") == [True, False]

    def test_plain_object_arrays_give_python_bools(self):
        r = np.array([1, 3], dtype=object) <= 2
        assert list(r) == [True, False]


class TestArithmetic:
    @pytest.mark.parametrize("k", [np.float64(2), np.int64(2), np.float32(2), np.int32(2)], ids=repr)
    def test_numpy_scalars_either_side(self, x, k):
        s = quenda.sin(x)
        for r in (s * k, k * s):
            assert r.op == 3 and float(r.args[1]) == 2.0
        assert str(s + k) == "(sin (x) + 2)" or str(s + k) == "(sin (x) + 2.0)"
        assert (s * (k - k + 1)) is s

    def test_array_operand_elementwise(self, x, y):
        a = np.array([1.0, 2.0, 0.0])
        s = quenda.sin(x)
        r = s * a
        assert r[0] is s and r[2] == 0.0
        r = a * s
        assert r.shape == (3,)
        r = (x + y) + a
        assert [str(e) for e in r] == ["1 + x + y", "2 + x + y", "  x + y"]

    @pytest.mark.parametrize("f", ["sin", "exp", "sqrt", "abs"])
    def test_functions_on_arrays(self, x, f):
        r = getattr(quenda, f)(np.array([[1.0, x], [4.0, x]], dtype=object))
        assert r.shape == (2, 2) and r[0, 0] == getattr(np, f)(1.0)
        assert str(r[1, 1]) == f"{f} (x)"

    def test_dot_then_compare(self, x, y):
        A = np.array([[1.0, 2.0], [3.0, 4.0]])
        cons = quenda.Dot(A, np.array([x, y])) <= np.array([5.0, 6.0])
        assert [bounds(c) for c in cons] == [(-INF, 5.0), (-INF, 6.0)]


@pytest.mark.skipif(not NP2, reason="NumPy 2 caches its loop choices; NumPy 1.x has no such cache")
def test_warns_when_numpy_chose_its_loop_before_import(tmp_path):
    code = textwrap.dedent("""
        import warnings
        import numpy as np
        np.array([1, 2], dtype=object) <= 1       # NumPy fixes its (object, int) loop now
        with warnings.catch_warnings(record=True) as w:
            warnings.simplefilter("always")
            import quendalib as quenda
        msgs = [str(m.message) for m in w if issubclass(m.category, RuntimeWarning)]
        assert len(msgs) == 1 and "object array <= int" in msgs[0], msgs
        x = quenda.var()
        assert (np.array([x]) <= 1).dtype == bool           # the documented limit
        assert (np.array([x]) <= 1.5).dtype == object       # other pairs still work
        print("ok")
    """)
    out = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
    assert out.returncode == 0, out.stderr
    assert out.stdout.strip() == "ok"


def test_clean_import_does_not_warn():
    code = "import warnings; warnings.simplefilter('error'); import quendalib; print('ok')"
    out = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
    assert out.returncode == 0, out.stderr


def test_comparisons_leave_no_references(x, y):
    import gc
    xs = np.array([x, y, 1.0], dtype=object)
    rhs = np.array([1.0, 2.0, 3.0])
    before = (sys.getrefcount(x), sys.getrefcount(y))
    for _ in range(300):
        xs <= rhs
        xs >= 1
        xs == xs
        np.array([1, 2]) <= 1
        try:
            xs <= np.array(["a", "b", "c"])
        except (quenda.ModelError, TypeError, np.exceptions.DTypePromotionError
                if hasattr(np, "exceptions") and hasattr(np.exceptions, "DTypePromotionError")
                else TypeError):
            pass
    gc.collect()
    assert (sys.getrefcount(x), sys.getrefcount(y)) == before
