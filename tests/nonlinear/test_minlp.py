"""Integer columns in nonlinear models: a convex synthesis model with a
known optimum, a mixed-integer quadratic model, a non-convex one, and the
statuses."""
import pytest

import quendalib as quenda


def synthes1():
    """The process synthesis model of Duran and Grossmann (1986), example 1:
    convex, optimum 6.0097589 at b = (0, 1, 0), x = (1.30098, 0, 1)."""
    x1 = quenda.var(ub=2, name="x1")
    x2 = quenda.var(ub=2, name="x2")
    x3 = quenda.var(ub=1, name="x3")
    b = [quenda.var(vartype=quenda.binary, name=f"b{i}") for i in (4, 5, 6)]
    p = quenda.problem("synthes1")
    p.setControl("nlploglevel", 0)
    p.addVariable(x1, x2, x3, b)
    p.addConstraint(
        0.8 * quenda.log(1 + x2) + 0.96 * quenda.log(1 + x1 - x2) - 0.8 * x3 >= 0,
        quenda.log(1 + x2) + 1.2 * quenda.log(1 + x1 - x2) - x3 - 2 * b[2] >= -2,
        x2 - x1 <= 0, x2 - 2 * b[0] <= 0, x1 - x2 - 2 * b[1] <= 0, b[0] + b[1] <= 1)
    p.setObjective(5 * b[0] + 6 * b[1] + 8 * b[2] + 10 * x1 - 7 * x3
                   - 18 * quenda.log(1 + x2) - 19.2 * quenda.log(1 + x1 - x2) + 10)
    return p, [x1, x2, x3], b


@pytest.mark.parametrize("alg", [0, 1, 2], ids=["bb", "oa", "hybrid"])
@pytest.mark.parametrize("how", ["solve", "globalsol"])
def test_convex_synthesis_reaches_the_known_optimum(alg, how):
    p, x, b = synthes1()
    p.setControl("nlpminlpalg", alg)
    getattr(p, how)()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getObjVal() == pytest.approx(6.0097589, abs=1e-5)
    assert p.getSolution(b) == pytest.approx([0, 1, 0], abs=1e-6)
    assert p.getSolution(x) == pytest.approx([1.300976, 0, 1], abs=1e-4)
    assert p.getAttrib("nlpglobalnodes") >= 0


def test_miqp_is_optimal_and_agrees_with_the_mip_route():
    # min (x - 2.6)^2 + (y - 1.3)^2, x, y integer, x + y <= 3.5: (2, 1), 0.45
    def build():
        x = quenda.var(vartype=quenda.integer, lb=-5, ub=5, name="x")
        y = quenda.var(vartype=quenda.integer, lb=-5, ub=5, name="y")
        p = quenda.problem("miqp")
        p.setControl("nlploglevel", 0)
        p.setControl("loglevel", 0)
        p.addVariable(x, y)
        p.addConstraint(x + y <= 3.5)
        p.setObjective((x - 2.6) ** 2 + (y - 1.3) ** 2)
        return p, x, y
    p, x, y = build()
    p.globalsol()
    # every nonlinear part quadratic and convex: the optimum is proven
    assert p.getAttrib("nlpstatus") == 2
    assert p.getAttrib("nlpobjval") == pytest.approx(0.45, abs=1e-7)
    q, qx, qy = build()
    q.solve()  # the main interface's outer approximation
    assert q.getObjVal() == pytest.approx(0.45, abs=1e-7)
    assert q.getSolution([qx, qy]) == pytest.approx([2, 1])


def test_nonconvex_gives_a_local_solution_and_says_so():
    # max x^2 + (y - 0.3)^2 ... as a minimisation of a concave function:
    # integer x in [-3, 2], sin in the row; a solution, not a proven one
    x = quenda.var(vartype=quenda.integer, lb=-3, ub=2, name="x")
    y = quenda.var(lb=-2, ub=2, name="y")
    p = quenda.problem("nonconvex")
    p.setControl("nlploglevel", 0)
    p.addVariable(x, y)
    p.addConstraint(quenda.sin(y) + 0.1 * x <= 0.5)
    p.setObjective(-(x ** 2) - (y - 0.3) ** 2 + quenda.cos(y))
    p.solve()
    assert p.getAttrib("nlpstatus") == 1  # locally optimal
    sol = p.getSolution([x, y])
    assert sol[0] == pytest.approx(round(sol[0]), abs=1e-6)
    assert p.getAttrib("nlpmaxviolation") < 1e-6


def test_infeasible_integer_model():
    x = quenda.var(vartype=quenda.integer, lb=0, ub=3, name="x")
    y = quenda.var(lb=0, ub=1, name="y")
    p = quenda.problem("infeasible")
    p.setControl("nlploglevel", 0)
    p.addVariable(x, y)
    p.addConstraint(quenda.exp(y) + x == 2.5)  # e^y in [1, e]: x would be 0.x or 1.x
    p.addConstraint(x >= 2)
    p.setObjective(x + y)
    p.solve()
    assert p.getAttrib("nlpstatus") in (3, 4)


def test_callbacks_of_the_search():
    p, x, b = synthes1()
    seen = []
    for kind in ("slpstart", "slpnode", "slpend"):
        getattr(p, "setcb" + kind)(lambda prob, data, k=kind: seen.append(k))
    p.solve()
    assert seen == ["slpstart", "slpnode", "slpend"]
    # the root's callback stops the search
    p.setcbslpnode(lambda prob, data: 1)
    p.solve()
    assert p.getProbStatusString() == "nlp_unfinished"
    assert p.getAttrib("nlpstopstatus") == 9


def test_user_function_without_derivatives_is_refused():
    x = quenda.var(vartype=quenda.integer, lb=0, ub=3)
    p = quenda.problem()
    p.setControl("nlploglevel", 0)
    p.addVariable(x)
    p.setObjective(quenda.user(lambda v: (v - 1.4) ** 2, x))
    with pytest.raises(quenda.SolverError, match="second derivatives"):
        p.solve()
