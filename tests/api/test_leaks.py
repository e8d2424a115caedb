"""Memory and references on the paths of the low-level methods, the failing
ones included."""
import numpy as np
import pytest

import quendalib as quenda

from test_load import LP, lp


def swallow(fn, *args, **kw):
    try:
        fn(*args, **kw)
    except (quenda.ModelError, quenda.InterfaceError, quenda.SolverError, TypeError):
        pass


P = lp(colnames=["x", "y"], rownames=["cap", "mix"])
P.solve()


@pytest.mark.parametrize("call", [
    lambda: P.loadproblem(**dict(LP, obj=np.array([-1.0, -2.0]), colnames=["x", "y"],
                                 rownames=["cap", "mix"])),
    lambda: swallow(P.loadproblem, **dict(LP, rhs=[1, 2, 3])),
    lambda: swallow(P.loadproblem, **dict(LP, qrtypes=["L", "Q"])),
    lambda: swallow(P.chgobj, ["x", "nosuch"], [1, 2]),
    lambda: swallow(P.addrows, ["L"], [1], [0, 1], [quenda.var()], [1]),
    lambda: (P.solve(), P.getlpsol([], [], [], [])),
    lambda: P.getrows([], [], [], 10, 0, 1),
    lambda: swallow(P.getrowtype, (), 0, 1),
    lambda: P.getdirs([], [], [], [], []),
    lambda: swallow(P.getdualray, []),
], ids=["load", "load-length", "load-refused", "chg-name", "addrows-foreign", "getlpsol",
        "getrows", "getrowtype-tuple", "getdirs", "getdualray-none"])
def test_no_growth(heap_growth, call):
    assert heap_growth(call, 20, 200) < 64 * 1024


def test_refused_load_keeps_objects_entered():
    p = lp()
    with pytest.raises(quenda.SolverError):
        p.loadproblem(**dict(LP, qrtypes=["L", "X"], colnames=["a", "b"]))
    assert [v.name for v in p.getVariable()] == ["a", "b"]


def test_qcqp_solves():
    # max x + y s.t. x^2 + y^2 <= 2 (as min -x - y): x = y = 1
    p = lp()
    p.loadproblem("qcqp", ["L"], [2], None, [-1, -1], [0, 0, 0], None, [], [], [-5, -5], [5, 5],
                  qcrows=[0], qcnquads=[2], qcmqcol1=[0, 1], qcmqcol2=[0, 1], qcdqval=[1, 1])
    p.solve()
    assert p.getObjVal() == pytest.approx(-2, abs=1e-5)
    x = []
    p.getlpsol(x)
    assert x == pytest.approx([1, 1], abs=1e-4)
