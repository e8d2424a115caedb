"""Sum, Prod, Dot and vars: results, walking of collections, messages, leaks."""
import gc
import sys

import numpy as np
import pytest

import quendalib as quenda


def raises(exc, msg):
    import re
    return pytest.raises(exc, match="^" + re.escape(msg) + "$")


class TestSum:
    @pytest.mark.parametrize("args", [(), ([],), ((),), ({},)])
    def test_empty(self, args, tname):
        s = quenda.Sum(*args)
        assert tname(s) == "quenda.expression" and str(s) == "0"

    @pytest.mark.parametrize("k", [3, 2.5, np.float64(2.5), 0])
    def test_number(self, k, tname):
        s = quenda.Sum(k)
        assert tname(s) == "quenda.expression" and str(s) == ("%g" % k)

    def test_single_var_is_itself(self, x):
        assert quenda.Sum(x) is x
        assert quenda.Sum([x]) is x

    def test_does_not_modify_first_item(self, x, y):
        e = x + 1
        s = quenda.Sum(e, y, y)
        assert s is not e and str(e) == "1 + x" and str(s) == "1 + x +2 y"

    @pytest.mark.parametrize("make", [
        lambda v: v,                                  # list
        lambda v: tuple(v),
        lambda v: (t for t in v),                     # generator
        lambda v: iter(v),
        lambda v: np.array(v, dtype=object),
        lambda v: {i: t for i, t in enumerate(v)},
        lambda v: range(0),                           # another sequence (empty)
    ])
    def test_collections(self, x, y, make):
        items = [x, 2 * y, 3, x * y]
        s = quenda.Sum(make(items))
        expected = "0" if isinstance(make(items), range) else "3 + x +2 y + x*y"
        assert str(s) == expected

    def test_dict_skips_none(self, x, y):
        assert str(quenda.Sum({1: x, 2: None, 3: y})) == "  x + y"

    def test_nested_sequences_flattened(self, x, y, z):
        s = quenda.Sum([x, y], (z, [x, np.array([y, z])]), (v for v in [1, 2]))
        assert str(s) == "3 +2 x +2 y +2 z"

    def test_2d_array(self, x, y):
        a = np.array([[x, y], [y, 1.0]], dtype=object)
        assert str(quenda.Sum(a)) == "1 + x +2 y"

    def test_numeric_array(self):
        assert str(quenda.Sum(np.arange(5.0))) == "10"

    def test_cancellation(self, x, y):
        assert str(quenda.Sum(x, y, -1 * x)) == "  y"

    def test_other_iterables(self, x, y):
        assert str(quenda.Sum({1: x, 2: y}.values())) == "  x + y"

    def test_quadratic_and_nonlinear(self, x, y):
        s = quenda.Sum(x * y, x, quenda.sin(x))
        assert type(s).__name__ == "nonlinear"

    def test_large_sum_matches_plus(self):
        vs = [quenda.var() for _ in range(3000)]
        coefs = np.arange(1, 3001) % 7 - 3.0
        s1 = quenda.Sum(c * v for c, v in zip(coefs, vs))
        s2 = 0
        for c, v in zip(coefs, vs):
            s2 += c * v
        assert str(s1) == str(s2)

    def test_none_items_are_skipped(self, x):
        assert quenda.Sum(x, None) is x

    @pytest.mark.parametrize("bad", ["ab", [b"q"], object(), 1j])
    def test_invalid_items(self, x, bad):
        with pytest.raises(quenda.ModelError):
            quenda.Sum(x, bad)

    def test_bad_length(self):
        class Bad:
            def __getitem__(self, i):
                return 1

            def __len__(self):
                raise ValueError("no")
        with raises(RuntimeError, "Invalid sequence of objects"):
            quenda.Sum(Bad())

    def test_error_in_generator_propagates(self, x):
        def gen():
            yield x
            raise KeyError("boom")
        with pytest.raises(KeyError):
            quenda.Sum(gen())


class TestProd:
    def test_empty_is_zero(self):
        assert quenda.Prod() == 0.0 and type(quenda.Prod()) is float

    def test_values(self, x, y, z, tname):
        assert tname(quenda.Prod(x, y)) == "quenda.quadterm"
        assert str(quenda.Prod([2, x])) == "2*x"
        assert quenda.Prod(x) is x
        assert type(quenda.Prod(x, y, z)).__name__ == "nonlinear"
        assert quenda.Prod(2, 3) == 6.0

    def test_zero_factor(self, x):
        assert quenda.Prod(x, 0) == 0.0


class TestDot:
    def test_matrix_vector(self, x, y, z):
        A = np.array([[1.0, 2.0, 0.0], [0.0, -1.0, 3.0]])
        v = np.array([x, y, z])
        r = quenda.Dot(A, v)
        assert r.shape == (2,) and r.dtype == object
        assert [str(e) for e in r] == ["  x +2 y", " - y +3 z"]

    def test_vector_matrix_and_shapes(self, x, y):
        v = np.array([x, y])
        M = np.arange(6.0).reshape(2, 3)
        r = quenda.Dot(v, M)
        assert r.shape == (3,)
        assert str(r[0]) == " 3 y" and str(r[2]) == " 2 x +5 y"
        T = np.ones((4, 2, 3))
        assert quenda.Dot(v, T).shape == (4, 3)

    def test_objects_both_sides(self, x, y):
        v = np.array([x, y])
        r = quenda.Dot(v, v)
        assert str(r) == "  x**2 + y**2"          # vector . vector: the expression

    def test_zero_row_gives_zero(self, x, y):
        r = quenda.Dot(np.zeros((1, 2)), np.array([x, y]))
        assert r[0] == 0.0

    @pytest.mark.parametrize("ta, tb, tr", [
        (np.int_, np.int_, np.int_), (np.int_, np.float64, np.float64),
        (np.float32, np.int_, np.float32), (np.longlong, np.float32, np.float32),
        (np.int_, np.longlong, np.longlong)])
    def test_numeric(self, ta, tb, tr):
        a = np.arange(6).reshape(2, 3).astype(ta)
        b = np.arange(3).astype(tb)
        r = quenda.Dot(a, b)
        assert r.dtype == tr and list(r) == [5, 14]

    def test_chain_and_out(self, x, y):
        A = np.eye(2)
        v = np.array([x, y])
        out = np.empty(2, dtype=object)
        r = quenda.Dot(A, A, v, out=out)
        assert r is out and str(out[1]) == "  y"
        with raises(quenda.ModelError, "Output argument set with wrong type"):
            quenda.Dot(A, v, out=np.empty(2))
        with raises(quenda.ModelError, "Output argument set with wrong type"):
            quenda.Dot(A, A, out=np.empty(2, dtype=np.float32))

    def test_out_of_wrong_shape(self, x, y):
        with pytest.raises(ValueError):
            quenda.Dot(np.eye(2), np.array([x, y]), out=np.empty(3, dtype=object))

    def test_empty_and_single(self):
        assert quenda.Dot() == 0.0
        a = np.arange(3.0)
        assert np.array_equal(quenda.Dot([a]), a)

    @pytest.mark.parametrize("args, msg", [
        ((np.ones((2, 3)), np.ones((2, 3))), "Dot product must have matching sizes in the multiplying dimension"),
        ((np.ones(3), [1, 2, 3]), "Dot product can only occur between NumPy arrays"),
        (([1, 2], np.ones(2)), "Dot product should only be on NumPy arrays"),
        ((np.ones(2, dtype=np.int32), np.ones(2)), "Dot product must be between long, double, and expressions/variables"),
        ((np.ones(2), np.ones(2, dtype=bool)), "Dot product must be between long, double, and expressions/variables"),
    ])
    def test_errors(self, args, msg):
        with raises(quenda.ModelError, msg):
            quenda.Dot(*args)


class TestVars:
    def test_two_dimensions(self):
        d = quenda.vars(2, 3)
        assert list(d) == [(0, 0), (0, 1), (0, 2), (1, 0), (1, 1), (1, 2)]
        assert [v.name for v in d.values()][:2] == ["(0,0)", "(0,1)"]
        ids = [hash(v) for v in d.values()]
        assert ids == sorted(ids) and len(set(ids)) == 6

    def test_one_dimension_keys_are_indices(self):
        d = quenda.vars(["a", "b"], name="y")
        assert list(d) == ["a", "b"] and d["b"].name == "y(b)"

    def test_mixed_index_kinds(self):
        d = quenda.vars([1, "a", b"q"], range(2), name="v")
        assert d[("a", 1)].name == "v(a,1)" and d[(b"q", 0)].name == "v(q,0)"
        assert len(quenda.vars({3, 4})) == 2

    def test_options_taken_as_given(self):
        d = quenda.vars(["a"], name="y", vartype=quenda.binary, lb=-3, ub=7, threshold=2)
        v = d["a"]
        assert (v.lb, v.ub, v.threshold, v.vartype) == (-3, 7, 2, quenda.binary)
        w = quenda.vars(1)[0]
        assert (w.lb, w.ub, w.threshold, w.vartype) == (0, 1e20, -1e20, 0)

    def test_long_names_are_cut(self):
        d = quenda.vars(["a" * 3000])
        assert len(d["a" * 3000].name) == 2500

    @pytest.mark.parametrize("args, exc, msg", [
        ((), quenda.ModelError, "quenda.vars must be invoked with one or more lists of indices"),
        ((0,), RuntimeError, "Invalid index: integer argument to quenda.vars() must be positive (it is equivalent to range(k))"),
        ((-2,), RuntimeError, "Invalid index: integer argument to quenda.vars() must be positive (it is equivalent to range(k))"),
        (("abc",), RuntimeError, "Invalid index: a call to quenda.vars() must have a tuple of lists or integer numbers as its first argument"),
        ((2.5,), RuntimeError, "Invalid index: a call to quenda.vars() must have a tuple of lists or integer numbers as its first argument"),
        (([],), RuntimeError, "Invalid index: empty dimension in creation of variables"),
        ((2, []), RuntimeError, "Invalid index: empty dimension in creation of variables"),
        (([1.5],), quenda.ModelError, "Element of index tuple in vars() cannot be represented"),
    ])
    def test_errors(self, args, exc, msg):
        with raises(exc, msg):
            quenda.vars(*args)

    def test_too_large(self):
        with raises(RuntimeError, "No memory to create variables. Consider restricting one or more "
                    "index sets/lists/ranges in the index argument to quenda.vars()"):
            quenda.vars(10 ** 15)

    def test_duplicates(self):
        with pytest.raises(RuntimeError, match=r"^Duplicate entry in vars: <x\(a\)>. Check arguments "
                           "for duplicate entries in one or more of the lists$"):
            quenda.vars(["a", "b", "a"], name="x")

    def test_bad_keyword(self):
        with pytest.raises(TypeError):
            quenda.vars(2, 3, lb="a")
        with pytest.raises(TypeError):
            quenda.vars(2, names="a")


class TestLeaks:
    def test_refcounts(self, x, y):
        e = x + y
        items = [x, e, 2 * y]
        before = (sys.getrefcount(x), sys.getrefcount(y), sys.getrefcount(e))
        arr = np.array([x, y])
        A = np.ones((3, 2))
        for _ in range(200):
            quenda.Sum(items)
            quenda.Sum(items, items)
            quenda.Prod(x, e)
            quenda.Dot(A, arr)
            quenda.Dot(arr, arr)
            try:
                quenda.Sum(x, "s")
            except quenda.ModelError:
                pass
            try:
                quenda.Dot(A, A)
            except quenda.ModelError:
                pass
        del arr
        gc.collect()
        assert (sys.getrefcount(x), sys.getrefcount(y), sys.getrefcount(e)) == before

    def test_memory_flat(self, traced_growth):
        def work():
            for _ in range(200):
                d = quenda.vars(3, ["a", "b"], name="w")
                s = quenda.Sum(d.values())
                quenda.Dot(np.ones((2, 6)), np.array(list(d.values())))
                try:
                    quenda.vars(["a", "a"])
                except RuntimeError:
                    pass
                del d, s

        assert traced_growth(work) < 50000
