"""The result methods walk their arguments like the adders: nested lists,
dict values and arrays are flattened, containers inside an object array and
nesting beyond the depth limit are refused."""
import numpy as np
import pytest

import quendalib as quenda

from test_load import lp


@pytest.fixture
def solved():
    p = lp(colnames=["x", "y"], rownames=["cap", "mix"])
    p.solve()
    return p


@pytest.mark.parametrize("method", ["getSolution", "getRCost"])
def test_tuple_in_object_array_refused(solved, method):
    x, y = solved.getVariable()
    arr = np.empty(2, dtype=object)
    arr[0] = (x, y)
    arr[1] = x
    with pytest.raises(quenda.ModelError, match="Perhaps this is a NumPy array containing a tuple"):
        getattr(solved, method)(arr)


@pytest.mark.parametrize("method", ["getSlack", "getDual"])
def test_depth_limit(solved, method):
    arg = solved.getConstraint()[0]
    for _ in range(40):
        arg = [arg]
    with pytest.raises(quenda.ModelError, match=r"^Maximum recursion \(inclusion\) level reached$"):
        getattr(solved, method)(arg)


def test_nested_walk_order(solved):
    x, y = solved.getVariable()
    assert solved.getSolution([x, {"a": [y, (x,)]}]) == pytest.approx([2.5, 1.5, 2.5])
