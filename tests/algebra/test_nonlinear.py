"""Nonlinear trees: simplification, printed forms, messages, the math
functions on numbers and arrays, max/min/user, sums that stay flat, leaks."""
import gc
import math
import sys

import numpy as np
import pytest

import quendalib as quenda

PLUS, MINUS, NEG, MUL, DIV, POW = 0, 1, 2, 3, 4, 5
NODE = type(quenda.sin(quenda.var()))


def ModelError(msg):
    return pytest.raises(quenda.ModelError, match="^" + msg.replace("(", r"\(").replace(")", r"\)")
                         .replace("*", r"\*").replace("+", r"\+") + "$")


class TestFunctionsOnNumbers:
    @pytest.mark.parametrize("name, arg, expected", [
        ("sin", 0.5, math.sin(0.5)), ("cos", 0.5, math.cos(0.5)), ("tan", 0.5, math.tan(0.5)),
        ("asin", 0.5, math.asin(0.5)), ("acos", 0.5, math.acos(0.5)),
        ("atan", 0.5, math.atan(0.5)), ("exp", 1.5, math.exp(1.5)), ("log", 2.5, math.log(2.5)),
        ("log10", 100, math.log(100) * 0.4342944819032518), ("abs", -2, 2.0),
        ("sqrt", 2, math.sqrt(2)), ("erf", 0.3, math.erf(0.3)), ("erfc", 0.3, math.erfc(0.3)),
        ("sign", -3, -1.0), ("sign", 0, 0.0), ("sign", 2.5, 1.0), ("sin", np.float64(0.5), math.sin(0.5)),
        ("exp", np.int32(2), math.exp(2)), ("cos", True, math.cos(1)),
    ])
    def test_value(self, name, arg, expected):
        r = getattr(quenda, name)(arg)
        assert type(r) is float and r == expected

    @pytest.mark.parametrize("name, arg", [("sqrt", -1.0), ("sign", float("nan")), ("log", -1.0)])
    def test_special_values(self, name, arg):
        r = getattr(quenda, name)(arg)
        if name == "sign":
            assert r == 0.0
        else:
            assert math.isnan(r)


class TestBuilders:
    @pytest.mark.parametrize("name, code", [
        ("exp", 6), ("log", 7), ("log10", 8), ("sin", 9), ("cos", 10), ("tan", 11), ("asin", 12),
        ("acos", 13), ("atan", 14), ("abs", 17), ("sign", 18), ("erf", 19), ("erfc", 20),
        ("sqrt", 21)])
    def test_unary_nodes(self, x, name, code):
        n = getattr(quenda, name)(x)
        assert isinstance(n, NODE) and n.op == code and n.args == (x,)
        assert str(n) == f"{name} (x)" == repr(n)

    def test_node_holds_operand_itself(self, x):
        e = x + 1
        assert quenda.sin(e).args[0] is e

    @pytest.mark.parametrize("arg", [[1, 2], (1,), []])
    def test_unary_sequence(self, arg):
        with ModelError("Could not create a unary nonlinear expression: the argument must be a "
                        "single expression"):
            quenda.sin(arg)

    @pytest.mark.parametrize("arg", ["a", None, {}, object()])
    def test_unary_invalid(self, arg):
        with ModelError("Invalid object in n-ary operation"):
            quenda.exp(arg)

    def test_array(self, x):
        r = quenda.sin(np.array([0, x]))
        assert isinstance(r, np.ndarray) and r.dtype == object and r.shape == (2,)
        assert r[0] == 0.0 and str(r[1]) == "sin (x)"
        r2 = quenda.exp(np.zeros((2, 3)))
        assert r2.shape == (2, 3) and all(v == 1.0 for v in r2.flat)

    def test_array_with_bad_element(self, x):
        with pytest.raises(quenda.ModelError):
            quenda.sin(np.array([x, "a"], dtype=object))

    def test_max_min(self, x, y):
        m = quenda.max(x, y, 3)
        assert m.op == 15 and m.args == (x, y, 3) and str(m) == "max (x, y, 3)"
        assert str(quenda.min(x)) == "min (x)" and quenda.min(x).op == 16
        assert isinstance(quenda.max(1, 2), NODE)

    @pytest.mark.parametrize("bad", [[1, 2], np.array([1.0]), "ab", None])
    def test_max_bad_operand(self, x, bad):
        with ModelError("Invalid object in unary operation"):
            quenda.max(x, bad)

    def test_max_needs_arguments(self):
        with ModelError("Insufficient number of arguments declared for operator"):
            quenda.max()

    def test_user(self, x, y):
        def f(a, b):
            return a + b
        u = quenda.user(f, x, y)
        assert u.op == 22 and u.args == (f, x, y) and str(u) == "user (user, x, y)"
        d = quenda.user(f, x, derivatives=True)
        assert d.op == 23
        assert quenda.user(f, x, derivatives=False).op == 22

    @pytest.mark.parametrize("args", [(), (3, 4)])
    def test_user_needs_function(self, args):
        with ModelError("Invalid user function, must specify at least one argument (the user "
                        "function itself)"):
            quenda.user(*args)

    def test_user_bad_keyword(self, x):
        with pytest.raises(TypeError):
            quenda.user(print, x, deriv=True)


class TestSimplification:
    def test_products(self, x):
        s = quenda.sin(x)
        assert s * 1 is s and 1 * s is s
        assert s * 0 == 0.0 and type(s * 0) is float and 0 * s == 0.0
        assert (s * -1).op == NEG and (-1 * s).args == (s,)
        p = 2 * s
        assert p.op == MUL and p.args == (s, 2)     # the node first, then the number
        assert str(p) == "(sin (x) * 2)"
        assert (s * 2).args == (s, 2)

    def test_division(self, x, y):
        s = quenda.sin(x)
        assert s / 1 is s
        assert 0 / s == 0.0
        with ModelError("Division by zero"):
            s / 0
        q = s / y
        assert q.op == DIV and q.args == (s, y) and str(q) == "(sin (x) / y)"
        assert str(2 / s) == "(2 / sin (x))"

    def test_power(self, x):
        s = quenda.sin(x)
        assert 0 ** s == 0.0 and type(0 ** s) is float
        assert s ** 0 == 1.0 and 1 ** s == 1.0
        assert s ** 1 is s
        assert str(s ** 2.5) == "(sin (x) ** 2.5)" and (s ** 2.5).op == POW
        with ModelError("Cannot obtain a power with a vector as an exponent"):
            s ** np.array([1.0, 2.0])

    def test_negation_and_abs(self, x):
        s = quenda.sin(x)
        assert str(-s) == "- (sin (x))" and (-s).op == NEG
        assert str(abs(s)) == "abs (sin (x))" and abs(s).op == 17

    def test_inplace_forms(self, x, y, inplace):
        s = quenda.sin(x)
        for op in ("*", "/", "**"):
            assert inplace(s, op, 1) is s
        t = s
        t *= 3
        assert str(t) == "(sin (x) * 3)" and str(s) == "sin (x)"

    @pytest.mark.parametrize("bad", ["a", None, [1], {}])
    def test_invalid_operands(self, x, bad):
        s = quenda.sin(x)
        for op in (lambda: s + bad, lambda: s - bad, lambda: s * bad, lambda: s / bad,
                   lambda: s ** bad):
            with pytest.raises((quenda.ModelError, TypeError)):
                op()
        assert str(s) == "sin (x)"

    def test_array_operands(self, x):
        s = quenda.sin(x)
        r = s * np.array([1.0, 2.0])
        assert isinstance(r, np.ndarray) and r[0] is s and str(r[1]) == "(sin (x) * 2.0)"
        r = s + np.array([0.0, 1.0])
        assert r.shape == (2,)
        r = s / np.array([1.0, 2.0])
        assert r.shape == (2,)


class TestSums:
    def test_number_goes_last(self, x):
        n = quenda.sin(x) + 3
        assert n.op == PLUS and n.args == (quenda.sin(x).args[0] and n.args[0], 3)
        assert str(n) == "(sin (x) + 3)"
        assert str(3 + quenda.sin(x)) == "(sin (x) + 3)"
        assert str(3 - quenda.sin(x)) == "(- (sin (x)) + 3)"
        assert str(x + quenda.sin(x)) == "(sin (x) + x)"

    def test_sum_does_not_change_operands(self, x, y):
        a = quenda.sin(x) + y
        before = str(a)
        b = a + quenda.cos(y)
        c = a - 2
        assert str(a) == before and b is not a and c is not a
        assert str(b) == "(sin (x) + cos (y) + y)"

    def test_iadd_grows_in_place_and_stays_flat(self, x, y):
        s = quenda.sin(x) + 1
        alias = s
        for i in range(50):
            s += quenda.cos(y)
            s += 2 * x
        assert s is alias and s.op == PLUS
        assert len(s.args) == 52          # sin, 50 cos, one linear part
        assert all(a.op in (9, 10) for a in s.args[:-1])
        assert str(s.args[-1]) == "1 +100 x"

    def test_part_merging_does_not_touch_user_expression(self, x, y):
        e = x + y
        s = quenda.sin(x) + e
        s += x
        assert str(e) == "  x + y"
        s2 = quenda.sin(x) + e
        assert str(s2) == "(sin (x) +   x + y)"

    def test_cancellation_removes_part(self, x):
        s = quenda.sin(x) + x
        s -= x
        assert s.args == (s.args[0],) and s.args[0].op == 9

    def test_flattening(self, x, y):
        a = quenda.sin(x) + 1
        b = quenda.cos(y) + 2
        c = a + b
        assert [n.op for n in c.args[:-1]] == [9, 10] and str(c.args[-1]) == "3"
        d = a - b
        assert str(d) == "(sin (x) + - (cos (y)) + -1)"

    def test_self_addition_makes_no_cycle(self, x):
        s = quenda.sin(x) + 1
        s += s
        assert str(s) == "(sin (x) + sin (x) + 2)"
        t = quenda.sin(x) + 1
        u = t
        t += quenda.exp(t)
        assert t is not u and str(u) == "(sin (x) + 1)"
        assert str(t) == "(sin (x) + exp ((sin (x) + 1)) + 1)"

    def test_long_sum_is_fast_enough_and_correct(self, x):
        vs = [quenda.var() for _ in range(2000)]
        s = quenda.exp(x) + 0.5
        for v in vs:
            s += v
        part = s.args[-1]
        assert len(s.args) == 2 and str(part).count("+") == 2000


class TestPrinting:
    def test_depth_limit(self, x):
        n = x
        for _ in range(100):
            n = quenda.sin(n)
        s = str(n)
        assert s.count("sin (") == 64 and "[MAX RECURS LEV]" in s
        assert s.endswith(")" * 64)

    def test_exactly_at_limit(self, x):
        n = x
        for _ in range(64):
            n = quenda.sin(n)
        assert "[MAX RECURS LEV]" not in str(n)
        assert "[MAX RECURS LEV]" in str(quenda.sin(n))

    def test_deep_trees_copy_and_free(self, x):
        n = quenda.sin(x)
        for _ in range(100000):
            n = quenda.exp(n)
        with pytest.raises(RecursionError):
            n + 1            # the sum copies its left operand
        del n
        gc.collect()


class TestLeaks:
    def test_refcounts(self, x, y):
        e = x + 2 * y
        before = (sys.getrefcount(x), sys.getrefcount(y), sys.getrefcount(e))
        for _ in range(200):
            s = quenda.sin(e) + e
            s += x
            s -= quenda.cos(y)
            t = (s * 2) / y
            t = t ** 3
            t = -abs(t)
            str(t)
            quenda.max(x, e, t)
            quenda.user(len, x, e)
            try:
                s + "bad"
            except quenda.ModelError:
                pass
        del s, t
        gc.collect()
        assert (sys.getrefcount(x), sys.getrefcount(y), sys.getrefcount(e)) == before

    def test_memory_flat(self, x, y, traced_growth):
        def work():
            for _ in range(3000):
                s = quenda.sin(x) + 2 * x + quenda.exp(y / x)
                s += quenda.log(s) * 3
                s -= x
                str(s)
                quenda.cos(np.array([x, 1.0]))
                try:
                    quenda.sin([x])
                except quenda.ModelError:
                    pass

        assert traced_growth(work) < 50000
