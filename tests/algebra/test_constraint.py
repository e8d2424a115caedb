"""quenda.constraint: comparisons, the constructor, copy()."""
import numpy as np
import pytest

import quendalib as quenda

ModelError = quenda.ModelError
INF = 1e20


def B(c):
    return str(c.body), c.lb, c.ub


class TestComparisons:
    @pytest.mark.parametrize("op, want", [
        (lambda x, y: x <= 3, ("  x", -INF, 3)),
        (lambda x, y: 3 <= x, ("  x", 3, INF)),        # reflected to x >= 3
        (lambda x, y: x >= 3, ("  x", 3, INF)),
        (lambda x, y: x == 3, ("  x", 3, 3)),
        (lambda x, y: x <= 0, ("x", -INF, 0)),          # x - 0 is x itself
        (lambda x, y: x == y, ("  x - y", 0, 0)),
        (lambda x, y: x + 3 <= 5, ("  x", -INF, 2)),
        (lambda x, y: 2 * x == y, (" 2 x - y", 0, 0)),
        (lambda x, y: 2 * x <= 4, (" 2 x", -INF, 4)),
        (lambda x, y: 2 * x <= 0, ("2*x", -INF, 0)),
        (lambda x, y: x * y >= 1, ("  x*y", 1, INF)),
        (lambda x, y: x * y >= 0, ("x*y", 0, INF)),
        (lambda x, y: x + y + 1 >= x - 2, ("  y", -3, INF)),
        (lambda x, y: 5 >= (x + 1) * (y + 1), ("  x + y + x*y", -INF, 4)),
        (lambda x, y: x <= x, ("0.0", -INF, 0)),        # body folds to the float 0.0
        (lambda x, y: 2 * x <= 2 * x, ("0.0", -INF, 0)),
        (lambda x, y: x * y == x * y, ("0*x*y", 0, 0)),
    ])
    def test_bounds_and_body(self, x, y, op, want):
        c = op(x, y)
        assert type(c) is quenda.constraint
        assert B(c) == want

    def test_body_has_no_constant_and_operand_untouched(self, x, y):
        e = x + y + 3
        c = e <= 5
        assert str(e) == "3 + x + y"
        assert B(c) == ("  x + y", -INF, 2)
        assert c.body is not e
        d = e == 0
        assert (d.lb, d.ub) == (-3, -3) and str(e) == "3 + x + y"

    def test_zero_bound_is_positive_zero(self, x, y):
        c = 2 * x == y
        assert str(c.lb) == "0.0" and str(c.ub) == "0.0"

    @pytest.mark.parametrize("op", [
        lambda x: x < 3, lambda x: x > 3, lambda x: x != 3, lambda x: 2 * x < 1,
        lambda x: x * x != 0, lambda x: x + 1 > 0])
    def test_strict_refused(self, x, op):
        with pytest.raises(ModelError, match=r"^Invalid constraint: cannot enforce f\(x\) != 0, "
                                             r"f\(x\) > 0, or f\(x\) < 0$"):
            op(x)

    def test_bad_operand_error_stands(self, x):
        with pytest.raises(ModelError, match="^Invalid operands in subtraction$"):
            x <= "a"
        with pytest.raises(ModelError, match="^Invalid object in operation$"):
            (x + 1) <= "a"

    def test_numpy_scalars(self, x, npnum):
        c = x <= npnum(3)
        assert B(c) == ("  x", -INF, 3)
        c = (2 * x + 1) >= npnum(3)
        assert B(c) == (" 2 x", 2, INF)

    def test_array_operand_compares_element_wise(self, x):
        # The algebra hands an array back to NumPy, which compares element
        # by element (constraints through the module's comparison hook).
        r = x <= np.array([1, 2])
        assert r.shape == (2,) and [type(c) for c in r] == [quenda.constraint] * 2
        assert [(c.lb, c.ub) for c in r] == [(-INF, 1), (-INF, 2)]

    def test_identity_numbers_and_names(self, x):
        c1, c2 = x <= 1, x <= 2
        n1, n2 = int(str(c1)[1:]), int(str(c2)[1:])
        assert str(c1)[0] == "R" and n2 == n1 + 1
        assert repr(c2) == str(c2) == c2.name

    def test_nonlinear_body(self, x, y, tname):
        c = x / y <= 3
        assert tname(c.body) == "quenda.nonlinear" and (c.lb, c.ub) == (-INF, 3)

    @pytest.mark.parametrize("make, lb, ub", [
        (lambda x, y: quenda.sin(x) + 3 <= 5, -INF, 2),
        (lambda x, y: quenda.sin(x) - 2 == 0, 2, 2),
        (lambda x, y: x + quenda.sin(y) + 3 >= 4, 1, INF),
        (lambda x, y: x / y + 1 <= 0, -INF, -1),
    ])
    def test_nonlinear_constant_moves_to_bounds(self, x, y, make, lb, ub, tname):
        c = make(x, y)
        assert tname(c.body) == "quenda.nonlinear" and (c.lb, c.ub) == (lb, ub)

    def test_nonlinear_operand_untouched(self, x):
        s = quenda.sin(x) + 3
        before = str(s)
        c = s <= 5
        assert str(s) == before and c.ub == 2


class TestConstructor:
    def test_sense_and_rhs(self, x):
        c = quenda.constraint(body=x, sense=quenda.leq, rhs=4)
        assert (c.lb, c.ub) == (-INF, 4)
        c = quenda.constraint(body=x, sense=quenda.geq, rhs=4)
        assert (c.lb, c.ub) == (4, INF)
        for sense in (quenda.eq, quenda.range):
            c = quenda.constraint(body=x, sense=sense, rhs=4)
            assert (c.lb, c.ub) == (4, 4)
        c = quenda.constraint(body=x, rhs=4)
        assert (c.lb, c.ub) == (4, 4)

    @pytest.mark.parametrize("kw, want", [
        (dict(lb=1), (1, INF)), (dict(ub=2), (-INF, 2)), (dict(lb=1, ub=2), (1, 2)),
        (dict(lb=2, ub=2 - 1e-7), (2, 2 - 1e-7)), (dict(sense=quenda.leq), (-INF, INF))])
    def test_bounds(self, x, kw, want):
        c = quenda.constraint(body=x, **kw)
        assert (c.lb, c.ub) == want and c.body is x

    def test_body_kept_as_given(self, x, y):
        e = x + y + 1
        c = quenda.constraint(body=e, ub=3)
        assert c.body is e and str(e) == "1 + x + y"

    def test_positional_and_name(self, x):
        c = quenda.constraint(None, x, 0, 5, 0, -2e20, "cap")
        assert (c.name, str(c), c.lb, c.ub) == ("cap", "cap", 0, 5)
        c = quenda.constraint(body=x, lb=0, name="n1")
        assert str(c) == "n1"

    def test_default_name_uses_identity(self, x):
        c = quenda.constraint(body=x, lb=0)
        d = x <= 1
        assert str(c)[0] == "R" and int(str(d)[1:]) == int(str(c)[1:]) + 1

    @pytest.mark.parametrize("kw, msg", [
        (dict(body=1.5), None),
        (dict(body=quenda.var(), lb=1, rhs=2),
         r"^Cannot create constraint by specifying both rhs AND either or both of lb/ub\.$"),
        (dict(body=quenda.var(), ub=1, rhs=2), r"both rhs AND"),
        (dict(body=quenda.var(), lb=2, ub=1),
         r"^Constraint defined infeasible: lower bound > upper bound$"),
        (dict(body=quenda.var(), sense=quenda.geq, rhs=5, ub=3), r"both rhs AND"),
        (dict(), r"^Arguments required for quenda\.constraint\(\): constraint OR \{body, lb "
                 r"and/or ub\} OR \{body,sense,rhs\}\.$"),
        (dict(body=quenda.var()), r"^Arguments required"),
        (dict(lb=1, ub=2), r"^Arguments required"),
        (dict(body="x", lb=1), r"^Invalid expression passed as body of constraint$"),
        (dict(body=[1, 2], lb=1), r"^Invalid expression passed as body of constraint$"),
        (dict(constraint=5), r"^Attempt to generate an empty constraint failed\. Consider using "
                             r"quenda\.constraint\(body=\.\.\., sense=\.\.\., rhs=\.\.\.\) instead\.$"),
    ])
    def test_errors(self, kw, msg):
        if msg is None:                      # a plain number is a valid body
            quenda.constraint(lb=0, **kw)
            return
        with pytest.raises(ModelError, match=msg):
            quenda.constraint(**kw)

    def test_parse_errors_are_pythons(self, x):
        with pytest.raises(TypeError):
            quenda.constraint(body=x, lb="a")
        with pytest.raises(TypeError):
            quenda.constraint(body=x, sense=1.5, rhs=1)

    def test_from_constraint(self, x, y):
        src = x + y <= 4
        c = quenda.constraint(constraint=src)
        assert c.body is src.body and (c.lb, c.ub) == (src.lb, src.ub)
        assert str(c) != str(src)

    def test_numpy_body(self, x, y):
        c = quenda.constraint(body=np.array([[x + 1, y], [y, x]], dtype=object), ub=3)
        assert str(c.body) == "1 + x" and c.ub == 3
        c = quenda.constraint(body=np.array([2.0, 3.0]), lb=0)
        assert c.body == 2.0
        with pytest.raises(ModelError, match="^Invalid expression passed as body of constraint$"):
            quenda.constraint(body=np.array([]), lb=0)


class TestCopy:
    def test_copy(self, x, y):
        c = 2 * x + y + 1 <= 5
        d = c.copy()
        assert type(d) is quenda.constraint
        assert str(d) == f"R{int(str(d)[1:].split('_')[0])}_copy_{c.name}"
        assert int(str(d)[1:].split("_")[0]) > int(str(c)[1:])
        assert d.body is not c.body and str(d.body) == str(c.body) == " 2 x + y"
        assert (d.lb, d.ub) == (c.lb, c.ub) == (-INF, 4)
        d.body += x
        assert str(c.body) == " 2 x + y"

    def test_copy_of_named_and_var_bodies(self, x):
        c = quenda.constraint(body=x, lb=1, name="lim")
        d = c.copy()
        assert d.name.endswith("_copy_lim") and d.body is x
        e = (x <= x).copy()
        assert e.body == 0.0


class TestRowType:
    """The row type is what the problem sends; without a problem we check
    the bounds that decide it."""

    @pytest.mark.parametrize("make, lb, ub", [
        (lambda x: quenda.constraint(body=x, lb=5, ub=5), 5, 5),
        (lambda x: quenda.constraint(body=x, lb=1, ub=4), 1, 4),
        (lambda x: x >= -1e20, -INF, INF),
    ])
    def test_bounds_for_row_types(self, x, make, lb, ub):
        c = make(x)
        assert (c.lb, c.ub) == (lb, ub)
