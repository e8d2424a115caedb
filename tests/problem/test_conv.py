"""The argument conversion layer, through its test hook

    problem._convroundtrip(kind, obj, count=-1, target=None) -> (count, list)

which converts obj to a native array of the kind and writes that array back
into a list, and through getIndexFromName.
"""
import sys

import numpy as np
import pytest

import quendalib as quenda

ROW, COL, SET, INT, INT64, DBL, CHAR, CHARNUM, STR, CUT, OBJ, ROWCOL = range(12)


class Model:
    def __init__(self):
        self.p = quenda.problem("conv")
        self.vs = [quenda.var(name="v%d" % i) for i in range(4)]
        self.p.addVariable(self.vs)
        self.cons = [quenda.constraint(v <= 1, name="c%d" % i) for i, v in enumerate(self.vs[:3])]
        self.p.addConstraint(self.cons)

    def rt(self, *a, **kw):
        return self.p._convroundtrip(*a, **kw)


@pytest.fixture
def m():
    return Model()


def gen(items):
    yield from items


class TestShapes:
    @pytest.mark.parametrize("make", [list, tuple, np.array, iter, gen],
                             ids=["list", "tuple", "ndarray", "iter", "generator"])
    def test_same_ints_every_shape(self, m, make):
        assert m.rt(INT, make([1, 2])) == (2, [1, 2])

    @pytest.mark.parametrize("kind,inp,out", [
        (INT, [np.int32(3), np.int64(-4), True], [3, -4, 1]),
        (INT64, [2 ** 40, -1], [2 ** 40, -1]),
        (DBL, [1, 2.5, np.float32(0.5), np.int64(7)], [1.0, 2.5, 0.5, 7.0]),
        (CHAR, ["L", "Gx", b"E"], ["L", "G", "E"]),
        (CHAR, "LGE", ["L", "G", "E"]),
        (CHARNUM, [1, 12], ["1", "12"]),
        (STR, ["ab", "", "é"], ["ab", "", "é"]),
    ])
    def test_kinds(self, m, kind, inp, out):
        n, res = m.rt(kind, inp)
        assert n == len(out) and res == out
        assert [type(x) for x in res] == [type(x) for x in out]

    @pytest.mark.parametrize("kind,dtype", [
        (INT, np.int32), (INT, np.int64), (INT, np.longlong), (INT64, np.int64),
        (INT64, np.int32), (COL, np.int64), (DBL, np.float64), (DBL, np.float32),
        (DBL, np.int64), (DBL, np.int8), (DBL, np.uint16), (DBL, np.bool_), (DBL, np.float16)])
    def test_arrays_convert_like_lists(self, m, kind, dtype):
        a = np.array([3, 0, 1, 2], dtype=dtype)
        assert m.rt(kind, a) == m.rt(kind, list(a))
        strided = np.array([3, 1, 0, 1, 1, 1, 2, 1], dtype=dtype)[::2]
        assert m.rt(kind, strided) == m.rt(kind, list(strided))

    @pytest.mark.parametrize("kind,arr,exc", [
        (INT, np.array([1, 2 ** 40]), OverflowError),
        (INT, np.array([1, 2], dtype=np.int16), quenda.ModelError),
        (INT, np.array([1.0, 2.0]), quenda.ModelError),
        (INT, np.array([[1, 2]]), quenda.ModelError),
    ])
    def test_arrays_refused_like_lists(self, m, kind, arr, exc):
        with pytest.raises(exc):
            m.rt(kind, arr)
        with pytest.raises(exc):
            m.rt(kind, list(arr))

    def test_none_is_absent(self, m):
        assert m.rt(INT, None) == (-1, [])
        assert m.rt(INT, None, count=3) == (3, [])

    def test_long_iterator_keeps_everything(self, m):
        n, res = m.rt(DBL, (float(i) for i in range(1000)))
        assert n == 1000 and res == [float(i) for i in range(1000)]

    @pytest.mark.parametrize("size", [0, 1, 255, 256, 257, 511, 512, 513])
    def test_iterator_capacity_edges(self, m, size):
        assert m.rt(INT, iter(range(size))) == (size, list(range(size)))


class TestObjects:
    def test_columns_and_rows_by_object_name_and_int(self, m):
        n, res = m.rt(COL, [m.vs[2], "v1", 0, np.int64(3)])
        assert n == 4 and res == [m.vs[2], m.vs[1], m.vs[0], m.vs[3]]
        assert all(a is b for a, b in zip(res, [m.vs[2], m.vs[1], m.vs[0], m.vs[3]]))
        n, res = m.rt(ROW, ("c2", m.cons[0]))
        assert res == [m.cons[2], m.cons[0]]

    def test_negative_index_gives_minus_one(self, m):
        assert m.rt(COL, [-1, 1]) == (2, [-1, m.vs[1]])

    def test_index_beyond_the_list(self, m):
        with pytest.raises(quenda.InterfaceError, match=r"^Wrong item returned from API call, type 1$"):
            m.rt(COL, [9])

    def test_foreign_objects(self, m):
        w = quenda.var(name="w")
        with pytest.raises(quenda.ModelError, match="^Variable w not in problem$"):
            m.rt(COL, [0, w])
        c = quenda.constraint(w <= 1, name="cw")
        with pytest.raises(quenda.ModelError, match="^Constraint cw not in problem$"):
            m.rt(ROW, [c])

    @pytest.mark.parametrize("kind,obj,msg", [
        (COL, 1.5, "Invalid variable object 1.5"),
        (ROW, quenda.var(name="zz"), "Invalid constraint object zz"),
    ])
    def test_wrong_object_types(self, m, kind, obj, msg):
        with pytest.raises(quenda.ModelError) as e:
            m.rt(kind, [obj])
        assert str(e.value) == msg

    def test_unknown_name_is_a_solver_error(self, m):
        with pytest.raises(quenda.SolverError, match="nosuch"):
            m.rt(COL, ["nosuch"])

    def test_get_index_from_name(self, m):
        assert m.p.getIndexFromName(2, "v3") == 3
        assert m.p.getIndexFromName(type=1, name="c1") == 1
        assert m.p.getIndexFromName(2, "nosuch") == -1
        with pytest.raises(quenda.SolverError):
            m.p.getIndexFromName(7, "v3")
        with pytest.raises(TypeError):
            m.p.getIndexFromName(2, 3)


class TestLengthsAndOutputs:
    def test_count_fixed_by_another_array(self, m):
        with pytest.raises(quenda.ModelError,
                           match=r"^Mismatched lengths in arguments: expected 2, found 3$"):
            m.rt(INT, [1, 2, 3], count=2)
        assert m.rt(INT, [1, 2], count=2) == (2, [1, 2])

    def test_iterator_is_not_length_checked(self, m):
        assert m.rt(INT, iter([1, 2, 3]), count=2) == (3, [1, 2, 3])

    @pytest.mark.parametrize("target", [[], ["a"], list(range(10))])
    def test_output_list_resized_in_place(self, m, target):
        n, res = m.rt(DBL, [1, 2], target=target)
        assert res is target and target == [1.0, 2.0]

    def test_output_tuple_refused(self, m):
        with pytest.raises(quenda.ModelError, match="^Argument of type List required$"):
            m.rt(DBL, [1.0], target=(1,))

    @pytest.mark.parametrize("kind,obj", [
        (INT, {1, 2}), (INT, 3), (INT, {"a": 1}), (ROWCOL, [1]), (SET, [1])])
    def test_invalid_sequences(self, m, kind, obj):
        with pytest.raises(quenda.ModelError, match="^Invalid sequence of objects$"):
            m.rt(kind, obj)

    @pytest.mark.parametrize("kind,bad", [
        (INT, [1, 2.5]), (INT, [1, "a"]), (INT64, [None]), (DBL, [1.0, "x"]), (CHAR, [1]),
        (STR, ["a", 3]), (CHARNUM, [1.0]), (CUT, [1]), (OBJ, [1])])
    def test_bad_items_raise(self, m, kind, bad):
        with pytest.raises((quenda.ModelError, TypeError, ValueError)):
            m.rt(kind, bad)

    def test_int_overflow(self, m):
        with pytest.raises(OverflowError):
            m.rt(INT, [2 ** 40])

    def test_bad_items_do_not_leak(self, m, heap_growth):
        def once():
            for bad in (["a", "b", 3], iter(["a", "b", None])):
                try:
                    m.rt(STR, bad)
                except quenda.ModelError:
                    pass
            m.rt(STR, ["x" * 100] * 50)
            m.rt(COL, [m.vs[0]] * 50, target=[])

        assert heap_growth(once, 1, 300) < 32 * 1024
        v = m.vs[0]
        before = sys.getrefcount(v)
        m.rt(COL, [v] * 10)
        after = sys.getrefcount(v)  # outside the assert: its rewriting holds references
        assert after == before
