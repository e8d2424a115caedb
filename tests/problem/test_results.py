"""Results by object, name, index and collection, and the object getters."""
import gc
import sys

import numpy as np
import pytest

import quendalib as quenda

RANGE = "^Index out of range$"
INCORRECT = "^Incorrect object\\(s\\) passed: need index, variable, constraint, or SOS$"


@pytest.fixture
def solved():
    """max x0 + 2 x1 + 3 x2 with xi <= i + 1 through rows ci: xi <= i + 1."""
    x = [quenda.var(name="x%d" % i) for i in range(3)]
    c = [x[i] <= i + 1 for i in range(3)]
    for i, ci in enumerate(c):
        ci.name = "c%d" % i
    p = quenda.problem()
    p.setControl("loglevel", 0)
    p.addVariable(x)
    p.addConstraint(c)
    p.setObjective(x[0] + 2 * x[1] + 3 * x[2], sense=quenda.maximize)
    p.solve()
    return p, x, c


class TestShapes:
    def test_no_argument_gives_every_value(self, solved):
        p, x, c = solved
        assert p.getSolution() == [1.0, 2.0, 3.0]
        assert p.getDual() == [1.0, 2.0, 3.0]
        assert p.getSlack() == [0.0, 0.0, 0.0]
        assert all(type(v) is float for v in p.getSolution())

    @pytest.mark.parametrize("item", ["obj", "name", "int", "np.int64", "np.int32"])
    def test_single_item_gives_float(self, solved, item):
        p, x, c = solved
        conv = {"obj": lambda i: x[i], "name": lambda i: "x%d" % i, "int": int,
                "np.int64": np.int64, "np.int32": np.int32}[item]
        v = p.getSolution(conv(2))
        assert type(v) is float and v == 3.0

    def test_rows_by_object_name_index(self, solved):
        p, x, c = solved
        assert p.getDual(c[1]) == p.getDual("c1") == p.getDual(1) == 2.0

    def test_collections_are_flattened_in_order(self, solved):
        p, x, c = solved
        assert p.getSolution([x[0]]) == [1.0]
        assert p.getSolution((x[2], [x[0], ("x1", [2])])) == [3.0, 1.0, 2.0, 3.0]
        assert p.getSolution(x[1], x[0]) == [2.0, 1.0]
        assert p.getSolution(v for v in reversed(x)) == [3.0, 2.0, 1.0]
        assert p.getSolution([]) == []

    def test_dict_keeps_keys(self, solved):
        p, x, c = solved
        assert p.getSolution({"a": x[0], 7: [x[1], x[2]]}) == {"a": 1.0, 7: [2.0, 3.0]}

    def test_array_keeps_shape(self, solved):
        p, x, c = solved
        arr = np.array([[x[0], x[1]], [x[2], x[0]]], dtype=object)
        res = p.getSolution(arr)
        assert isinstance(res, np.ndarray) and res.dtype == np.float64
        np.testing.assert_array_equal(res, [[1.0, 2.0], [3.0, 1.0]])
        np.testing.assert_array_equal(p.getSolution(arr.T), [[1.0, 3.0], [2.0, 1.0]])
        np.testing.assert_array_equal(p.getSolution(np.array([2, 0])), [3.0, 1.0])

    def test_array_of_every_object_in_order(self, solved):
        # read straight into the result: must agree with the item-by-item path
        p, x, c = solved
        whole = np.array(x, dtype=object)
        np.testing.assert_array_equal(p.getSolution(whole), [1.0, 2.0, 3.0])
        np.testing.assert_array_equal(p.getSolution(whole[::-1]), [3.0, 2.0, 1.0])
        np.testing.assert_array_equal(p.getDual(np.array(c, dtype=object)), [1.0, 2.0, 3.0])
        np.testing.assert_array_equal(p.getSlack(np.array(c, dtype=object).reshape(3, 1)),
                                      [[0.0], [0.0], [0.0]])
        y = quenda.var(ub=4)
        p.addVariable(y)
        p.solve()
        np.testing.assert_array_equal(p.getSolution(np.array(x + [y]).reshape(2, 2)),
                                      [[1.0, 2.0], [3.0, 0.0]])

    def test_getIndex(self, solved):
        p, x, c = solved
        s = quenda.sos([x[0], x[1]], [1, 2])
        p.addSOS(s)
        assert [p.getIndex(v) for v in x] == [0, 1, 2]
        assert [p.getIndex(r) for r in c] == [0, 1, 2]
        assert p.getIndex(s) == 0


class TestBadItems:
    @pytest.mark.parametrize("item", [3, -1, 10**30, "nosuchname", np.int64(3)])
    def test_out_of_range(self, solved, item):
        p, x, c = solved
        with pytest.raises(quenda.ModelError, match=RANGE):
            p.getSolution(item)

    @pytest.mark.parametrize("item", [1.5, None, object(), np.float64(1.0)])
    def test_wrong_kind(self, solved, item):
        p, x, c = solved
        with pytest.raises(quenda.ModelError, match=INCORRECT):
            p.getSolution(item)

    @pytest.mark.parametrize(
        "call, msg",
        [
            # objects not in the problem
            (lambda p, x, c: p.getSolution(quenda.var()), RANGE),
            (lambda p, x, c: p.getDual(quenda.var() <= 1), RANGE),
            (lambda p, x, c: p.getIndex(quenda.var()), RANGE),
            # rows and columns do not mix
            (lambda p, x, c: p.getSolution(c[0]), INCORRECT),
            (lambda p, x, c: p.getDual(x[0]), INCORRECT),
            (lambda p, x, c: p.getIndex(2 * x[0]), INCORRECT),
        ],
    )
    def test_object_of_another_problem_or_kind(self, solved, call, msg):
        with pytest.raises(quenda.ModelError, match=msg):
            call(*solved)

    def test_failure_inside_collection(self, solved):
        p, x, c = solved
        with pytest.raises(quenda.ModelError, match=RANGE):
            p.getSolution([x[0], [x[1], 99]])
        with pytest.raises(quenda.ModelError, match=RANGE):
            p.getSolution(np.array([x[0], quenda.var()]))

    def test_deep_nesting(self, solved):
        p, x, c = solved
        deep = x[0]
        for _ in range(40):
            deep = [deep]
        with pytest.raises(quenda.ModelError):
            p.getSolution(deep)


class TestGetObjects:
    def test_forms(self, solved):
        p, x, c = solved
        assert p.getVariable() == x
        assert p.getVariable(1) is x[1]
        assert p.getVariable("x2") is x[2]
        assert p.getVariable([2, "x0"]) == [x[2], x[0]]
        assert p.getVariable(first=1) == x[1:]
        assert p.getVariable(first=0, last=1) == x[:2]
        assert p.getVariable(first=2, last=1) == []
        assert p.getConstraint("c1") is c[1]
        assert p.getConstraint() == c
        assert p.getSOS() == []

    def test_errors(self, solved):
        p, x, c = solved
        with pytest.raises(quenda.ModelError, match=RANGE):
            p.getVariable(3)
        with pytest.raises(quenda.ModelError, match=RANGE):
            p.getVariable(first=0, last=5)
        with pytest.raises(quenda.ModelError, match=RANGE):
            p.getSOS(0)
        with pytest.raises(quenda.ModelError):
            p.getVariable(0, first=1)
        with pytest.raises(quenda.ModelError, match="must contain only integers"):
            p.getConstraint(first="a")


def test_reading_does_not_leak(solved):
    p, x, c = solved
    arr = np.array(x, dtype=object)
    calls = [lambda: p.getSolution(), lambda: p.getSolution(x), lambda: p.getSolution(arr),
             lambda: p.getSolution({"k": x}), lambda: p.getDual("c0"),
             lambda: p.getVariable([0, 1]), lambda: p.getIndex(x[0])]
    for f in calls:
        f()
    before = [sys.getrefcount(v) for v in x] + [sys.getrefcount(arr)]
    for _ in range(100):
        for f in calls:
            f()
        try:
            p.getSolution([x[0], "nosuch"])
        except quenda.ModelError:
            pass
    gc.collect()
    assert [sys.getrefcount(v) for v in x] + [sys.getrefcount(arr)] == before
