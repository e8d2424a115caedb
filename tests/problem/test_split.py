"""Splitting of bodies into constant, linear and quadratic solver data,
through the test hook problem._split(obj, factor=1.0) ->
(constant, [(col, coef)], [(col1, col2, monomial coef)]).
"""
import numpy as np
import pytest

import quendalib as quenda


@pytest.fixture
def m():
    p = quenda.problem()
    x, y, z = (quenda.var(name=n) for n in "xyz")
    p.addVariable(z, x, y)  # columns: z 0, x 1, y 2
    return p, x, y, z


def canon(res):
    const, lin, quad = res
    return (const, sorted(lin), sorted((min(a, b), max(a, b), c) for a, b, c in quad))


class TestSplit:
    @pytest.mark.parametrize("num", [3, 3.0, np.float64(3), np.int32(3), np.int64(3), True])
    def test_numbers(self, m, num):
        p = m[0]
        assert p._split(num) == (float(num), [], [])
        assert p._split(num, -2.0) == (-2.0 * float(num), [], [])

    def test_terms(self, m):
        p, x, y, z = m
        assert p._split(x) == (0.0, [(1, 1.0)], [])
        assert p._split(x, 3.0) == (0.0, [(1, 3.0)], [])
        assert p._split(-2.5 * y) == (0.0, [(2, -2.5)], [])
        assert canon(p._split(4 * x * y)) == (0.0, [], [(1, 2, 4.0)])
        assert p._split(z * z) == (0.0, [], [(0, 0, 1.0)])

    def test_expression(self, m):
        p, x, y, z = m
        e = 2 * x - 3 * z + 7 + x * y + 2 * y * y - x * z
        assert canon(p._split(e)) == (7.0, [(0, -3.0), (1, 2.0)],
                                      [(0, 1, -1.0), (1, 2, 1.0), (2, 2, 2.0)])
        assert canon(p._split(e, -1.0)) == (-7.0, [(0, 3.0), (1, -2.0)],
                                            [(0, 1, 1.0), (1, 2, -1.0), (2, 2, -2.0)])

    def test_cancelled_terms_are_dropped(self, m):
        p, x, y, z = m
        e = x + y - x
        assert p._split(e) == (0.0, [(2, 1.0)], [])
        assert p._split(0 * x) == (0.0, [], [])

    def test_sum_of_many(self, m):
        p = quenda.problem()
        xs = [quenda.var() for _ in range(3000)]
        p.addVariable(xs[::-1])  # columns in reverse creation order
        const, lin, quad = p._split(quenda.Sum(i * x for i, x in enumerate(xs)) + 1)
        assert const == 1.0 and quad == []
        assert sorted(lin) == sorted((2999 - i, float(i)) for i in range(1, 3000))

    def test_after_deletion_uses_new_columns(self, m):
        p, x, y, z = m
        p.delVariable(0)
        assert p._split(x + 2 * y) == (0.0, [(0, 1.0), (1, 2.0)], [])
        with pytest.raises(quenda.ModelError, match="has not been added to problem yet"):
            p._split(z + x)

    @pytest.mark.parametrize("make,msg", [
        (lambda w, x: w, "Variable in linear term defining constraint has not been added to problem yet"),
        (lambda w, x: 2 * w, "Variable in linear term defining constraint has not been added to problem yet"),
        (lambda w, x: x * w, "Variable in quadratic term defining constraint has not been added to problem yet"),
        (lambda w, x: x + w, "Variable in linear part of constraint has not been added to problem yet"),
        (lambda w, x: x + x * w, "Variable in quadratic part of constraint has not been added to problem yet"),
    ])
    def test_missing_variables(self, m, make, msg):
        p, x, y, z = m
        with pytest.raises(quenda.ModelError) as e:
            p._split(make(quenda.var(), x))
        assert str(e.value) == msg

    @pytest.mark.parametrize("bad", ["x", None, [1], object()])
    def test_invalid(self, m, bad):
        with pytest.raises(quenda.ModelError, match="^Invalid expression$"):
            m[0]._split(bad)

    def test_nonlinear_refused(self, m):
        p, x, y, z = m
        with pytest.raises(quenda.ModelError, match="Nonlinear"):
            p._split(quenda.exp(x) + y)
