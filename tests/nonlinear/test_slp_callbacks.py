"""The callbacks of the nonlinear solve: which fire, with what, and what
their results do."""
import sys

import pytest

import quendalib as quenda

SLP, IPOPT = 1, 2


def rosenbrock(alg=SLP):
    x = quenda.var(lb=-10, name="x")
    y = quenda.var(lb=-10, name="y")
    p = quenda.problem("rosenbrock")
    for name, value in (("nlpalgorithm", alg), ("nlploglevel", 0), ("nlpslpcurvature", 1),
                        ("loglevel", 0)):
        p.setControl(name, value)
    p.addVariable(x, y)
    p.setObjective((1 - x) ** 2 + 100 * (y - x ** 2) ** 2)
    return p, x, y


def record(events, name):
    def cb(prob, data, *args):
        events.append((name, data) + args)
    return cb


@pytest.mark.parametrize("alg", [SLP, IPOPT], ids=["slp", "ipopt"])
def test_event_order(alg):
    p, x, y = rosenbrock(alg)
    events = []
    for kind in ("slpstart", "slpend", "iterstart", "iterend", "construct", "itervar"):
        getattr(p, "setcb" + kind)(record(events, kind), data=kind.upper())
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    names = [e[0] for e in events]
    assert names[0] == "slpstart" and names[-1] == "slpend"
    assert all(e[1] == e[0].upper() for e in events)
    if alg == SLP:
        iters = p.getAttrib("nlpiterations")
        assert names[1] == "construct"
        assert names.count("iterstart") == iters and names.count("iterend") == iters
        # each iteration: both nonlinear columns, then its end
        first = names.index("iterend")
        assert sorted(e[2] for e in events[first - 2:first]) == [0, 1]
    else:
        # the interior point: its start, the end of each iteration, its end
        assert names[1:-1] == ["iterend"] * p.getAttrib("nlpiterations")


def test_iterend_stops_the_interior_point():
    p, x, y = rosenbrock(IPOPT)
    ends = []
    p.setcbiterend(lambda prob, data: ends.append(1) or len(ends) >= 3)
    p.solve()
    assert len(ends) == 3
    assert p.getProbStatusString() == "nlp_unfinished"
    assert p.getAttrib("nlpstopstatus") == 9


def test_iterend_reads_the_current_point():
    p, x, y = rosenbrock()
    seen = []
    p.setcbiterend(lambda prob, data: seen.append(prob.getSolution([x, y])))
    p.solve()
    assert len(seen) == p.getAttrib("nlpiterations")
    assert seen[-1] == pytest.approx(p.getSolution([x, y]))
    assert seen[0] != pytest.approx(seen[-1])


@pytest.mark.parametrize("kind", ["slpstart", "construct", "iterstart", "iterend"])
@pytest.mark.parametrize("result", [1, -3, "stop"])
def test_nonzero_result_stops(kind, result):
    p, x, y = rosenbrock()
    getattr(p, "setcb" + kind)(lambda prob, data: result)
    p.solve()
    assert p.getProbStatusString() == "nlp_unfinished"
    assert p.getAttrib("nlpstopstatus") == 9
    assert p.getAttrib("nlpiterations") <= 1


@pytest.mark.parametrize("result", [0, None, False])
def test_zero_result_continues(result):
    p, x, y = rosenbrock()
    p.setcbiterend(lambda prob, data: result)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"


@pytest.mark.parametrize("kind", ["slpstart", "iterstart", "iterend", "itervar", "slpend"])
def test_exception_stops_and_surfaces(kind, capfd):
    p, x, y = rosenbrock()

    def bad(prob, data, *args):
        raise KeyError("from " + kind)
    getattr(p, "setcb" + kind)(bad)
    with pytest.raises(KeyError, match="from " + kind):
        p.solve()
    assert f"Problem in {kind}() callback, stopping optimization" in capfd.readouterr().err
    # the problem stays usable
    getattr(p, "setcb" + kind)(lambda prob, data, *args: 0)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"


def test_set_replaces_and_copy_carries():
    p, x, y = rosenbrock()
    first, second = [], []
    p.setcbslpstart(record(first, "a"))
    p.setcbslpstart(record(second, "b"))
    p.solve()
    assert not first and len(second) == 1
    q = p.copy()
    q.solve()
    assert len(second) == 2


def test_coefevalerror():
    # the full step of the first LP leaves log's domain
    x = quenda.var(lb=-5, ub=5, name="x")
    p = quenda.problem()
    for name, value in (("nlpalgorithm", SLP), ("nlploglevel", 0), ("nlpstepbounds", 0),
                        ("loglevel", 0)):
        p.setControl(name, value)
    p.addVariable(x)
    p.addConstraint(quenda.log(x + 1.5) >= -3)
    p.setObjective(x)
    p.setInitialValues([x], [1.0])
    seen = []
    p.setcbcoefevalerror(lambda prob, data, row, col: seen.append((row, col)) or 0)
    p.solve()
    assert seen and seen[0][0] == 0
    p.setcbcoefevalerror(lambda prob, data, row, col: 1)
    p.solve()
    assert p.getProbStatusString() == "nlp_unfinished"
    assert p.getAttrib("nlpstopstatus") == 9


def test_destroy_fires_on_reset():
    p, x, y = rosenbrock()
    seen = []
    p.setcbdestroy(lambda prob, data: seen.append(data), data="gone")
    p.reset()
    assert seen == ["gone"]


def test_bad_registrations():
    p, x, y = rosenbrock()
    with pytest.raises(quenda.InterfaceError, match="Cannot add callback"):
        p.setcbiterend(3)
    with pytest.raises(TypeError):
        p.setcbiterend()


def test_references_balance():
    p, x, y = rosenbrock()
    data = object()

    def cb(prob, d):
        return 0
    before = sys.getrefcount(data), sys.getrefcount(cb)
    p.setcbiterend(cb, data)
    for _ in range(3):
        p.solve()
    del p
    assert (sys.getrefcount(data), sys.getrefcount(cb)) == before


@pytest.mark.skipif(not hasattr(quenda.problem, "chgccoef"), reason="needs chgccoef")
def test_formula_callback_is_cbformula():
    x = quenda.var(lb=-3, ub=3, name="x")
    p = quenda.problem()
    p.setControl("nlploglevel", 0)
    p.addVariable(x)
    p.setObjective(0.1 * x)
    p.setcbformula(lambda prob, data, a: (a - 1.0) ** 2 + 0.5)
    p.chgccoef(-1, p.getAttrib("nlpconstantcol"), None, "cbformula(x)")
    p.nlpoptimize()  # the modelling layer does not know of the coefficient
    # min (x - 1)^2 + 0.5 + 0.1 x at x = 0.95
    assert p.getAttrib("nlpobjval") == pytest.approx(0.5975, abs=1e-6)


def test_cascade_callbacks_and_drcol():
    # u and w follow their rows: u = t^2 + sin(t) + 1, w = 2 u
    import math
    t, u, w = (quenda.var(lb=-100, ub=100, name=n) for n in ("t", "u", "w"))
    p = quenda.problem()
    p.setControl("nlploglevel", 0)
    p.addVariable(w, t, u)
    rows = [u - t ** 2 - quenda.sin(t) == 1, w - 2 * u == 0]
    p.addConstraint(rows)
    p.setObjective(t)
    p.addvars([u, w], determiningrow=rows, initvalue=[0, 0])
    p.setInitialValues([w, t, u], [0, 2, 0])
    p.cascadeorder()
    events = []
    p.setcbcascadestart(record(events, "start"))
    p.setcbcascadeend(record(events, "end"))
    p.setcbcascadevar(record(events, "var"))
    p.setcbcascadevarfail(record(events, "fail"))

    def drcol(prob, data, col, value, lb, ub):
        events.append(("drcol", col, value, lb, ub))
        return value + 1.0 if col == 2 else value  # y moved by one after settling
    p.setcbdrcol(drcol)
    p.cascade()
    yv = 5 + math.sin(2)
    assert [e[0] for e in events] == ["start", "drcol", "var", "drcol", "var", "end"]
    assert events[1][1:] == (2, pytest.approx(yv), -100, 100)
    assert events[2][2] == 2 and events[4][2] == 0
    # z follows the moved y
    assert events[3][2] == pytest.approx(2 * (yv + 1))


def test_cascadevarfail():
    x, y = (quenda.var(lb=-10, ub=10, name=n) for n in "xy")
    p = quenda.problem()
    p.setControl("nlploglevel", 0)
    p.addVariable(x, y)
    ry = y ** 2 + x == -5  # no y settles it for x = 0
    p.addConstraint(ry)
    p.setObjective(x)
    p.addvars([y], determiningrow=[ry], initvalue=[1])
    p.setInitialValues([x, y], [0, 1])
    p.cascadeorder()
    failed = []
    p.setcbcascadevarfail(lambda prob, data, col: failed.append(col))
    with pytest.raises(quenda.SolverError, match="cascading did not settle"):
        p.cascade()
    assert failed == [1]
