"""A nonlinear objective through its transfer row and column, and nonlinear
coefficients following deletions of rows and columns."""
import math

import pytest

import quendalib as quenda

SLP, IPOPT = 1, 2


def make_problem(name, alg):
    p = quenda.problem(name)
    p.setControl({"nlpalgorithm": alg, "nlploglevel": 0, "nlpslpcurvature": 1, "loglevel": 0})
    return p


@pytest.fixture(params=[SLP, IPOPT], ids=["slp", "ipopt"])
def alg(request):
    return request.param


def hs71(alg):
    xs = [quenda.var(lb=1, ub=5, name=f"x{i}") for i in range(4)]
    p = make_problem("hs71", alg)
    p.addVariable(xs)
    p.addConstraint(xs[0] * xs[1] * xs[2] * xs[3] >= 25,
                    xs[0] ** 2 + xs[1] ** 2 + xs[2] ** 2 + xs[3] ** 2 == 40)
    p.setObjective(xs[0] * xs[3] * (xs[0] + xs[1] + xs[2]) + xs[2])
    p.setInitialValues(xs, [1, 5, 5, 1])
    return p, xs


def test_the_objective_is_a_row_and_a_column_kept_last(alg):
    p, xs = hs71(alg)
    assert p.getAttrib("cols") == 5 and p.getAttrib("rows") == 3
    assert p.getIndexFromName(2, "objtransfercol") == 4
    assert p.getIndexFromName(1, "objtransferrow") == 2
    # added after the objective, new items come before the transfer
    z = quenda.var(lb=0, ub=2, name="z")
    p.addVariable(z)
    p.addConstraint(z >= xs[0] - 0.5)
    assert p.getIndex(z) == 4 and p.getIndexFromName(2, "objtransfercol") == 5
    assert p.getIndex(p.getConstraint()[2]) == 2 and p.getIndexFromName(1, "objtransferrow") == 3
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getObjVal() == pytest.approx(17.0140173, abs=1e-5)
    sol = p.getSolution()
    assert len(sol) == 6
    # the transfer column is the nonlinear objective, its row holds exactly
    assert sol[-1] == pytest.approx(p.getObjVal(), abs=1e-9)
    assert p.getSlack()[-1] == pytest.approx(0.0, abs=1e-9)
    assert p.getDual()[-1] == pytest.approx(-1.0)
    assert p.getSolution(z) >= 0.5 - 1e-6


def test_the_transfer_row_is_folded_back_for_the_engines():
    # SLP sees the objective itself, not a linearised equality: as many
    # iterations as the objective written on its own would take
    p, _ = hs71(SLP)
    p.setControl("nlpslpcurvature", 0)
    p.solve()
    assert p.getAttrib("nlpiterations") == 46
    assert p.getObjVal() == pytest.approx(17.0140173, abs=1e-5)


@pytest.mark.parametrize("sense", [quenda.minimize, quenda.maximize])
def test_replacing_the_objective(sense):
    x = quenda.var(lb=-2, ub=2, name="x")
    y = quenda.var(lb=-2, ub=2, name="y")
    p = make_problem("swap", IPOPT)
    p.addVariable(x, y)
    p.addConstraint(x * x + y * y <= 1)
    p.setObjective(quenda.exp(x) + y, sense=sense)
    p.setObjective(quenda.exp(x + y), sense=sense)
    assert p.getAttrib("cols") == 3 and p.getAttrib("rows") == 2
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    best = -math.sqrt(2) if sense == quenda.minimize else math.sqrt(2)
    assert p.getObjVal() == pytest.approx(math.exp(best), abs=1e-5)
    p.setObjective(x + y, sense=sense)
    assert p.getAttrib("cols") == 2 and p.getAttrib("rows") == 1
    assert p.getIndexFromName(2, "objtransfercol") == -1
    assert p.getIndexFromName(1, "objtransferrow") == -1
    p.solve()
    assert p.getObjVal() == pytest.approx(best, abs=1e-5)


def test_deleting_rows_and_columns_renumbers_nonlinear_coefficients(alg):
    a = quenda.var(lb=0, ub=1, name="a")
    x = quenda.var(lb=-1, ub=1, name="x")
    y = quenda.var(lb=-1, ub=1, name="y")
    p = make_problem("del", alg)
    p.addVariable(a, x, y)
    lin = a >= 0.5
    curve = quenda.exp(x) >= 2
    p.addConstraint(lin, curve)
    p.setObjective(x + y ** 4 + (y - 0.5) ** 2 * quenda.exp(0 * x))
    p.delConstraint(lin)
    p.delVariable(a)
    assert p.getAttrib("nlpcoefficients") == 2
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getSolution(x) == pytest.approx(math.log(2), abs=1e-5)
    assert p.getSlack(curve) == pytest.approx(0.0, abs=1e-6)


@pytest.mark.parametrize("victim", ["x", "y"])
def test_a_column_of_a_formula_cannot_be_deleted(victim):
    x = quenda.var(lb=-1, ub=1, name="x")
    y = quenda.var(lb=-1, ub=1, name="y")
    p = make_problem("refuse", IPOPT)
    p.addVariable(x, y)
    p.addConstraint(x * quenda.sin(y) <= 0.5)
    p.setObjective(x - y)
    with pytest.raises(quenda.SolverError,
                       match=f"column {victim} is used by the nonlinear coefficient of row"):
        p.delVariable({"x": x, "y": y}[victim])
    # nothing was deleted
    assert p.getAttrib("cols") == 2
    assert len(p.getVariable()) == 2


def test_a_column_of_the_objective_cannot_be_deleted():
    x = quenda.var(lb=-1, ub=1, name="x")
    y = quenda.var(lb=-1, ub=1, name="y")
    p = make_problem("refuse", IPOPT)
    p.addVariable(x, y)
    p.setObjective(quenda.exp(x))
    with pytest.raises(quenda.SolverError, match="row objtransferrow"):
        p.delVariable(x)
    p.delVariable(y)
    assert p.getIndexFromName(2, "objtransfercol") == 1
    p.solve()
    assert p.getObjVal() == pytest.approx(math.exp(-1), abs=1e-6)


def test_a_failed_add_and_a_copy_keep_the_transfer_last():
    p, xs = hs71(IPOPT)
    z = quenda.var(lb=0, ub=1, name="z")
    p.addVariable(z)
    with pytest.raises(quenda.ModelError, match="Invalid constraint"):
        p.addConstraint(z <= 1, "not a constraint")
    # the constraint before the bad item went in, before the transfer row
    assert p.getAttrib("rows") == 4 and p.getIndexFromName(1, "objtransferrow") == 3
    c = p.copy()
    w = quenda.var(lb=0, ub=1, name="w")
    c.addVariable(w)
    assert c.getIndexFromName(2, "objtransfercol") == 6 and c.getIndex(w) == 5
    for q in (p, c):
        q.setInitialValues(xs, [1, 5, 5, 1])
        q.solve()
        assert q.getObjVal() == pytest.approx(17.0140173, abs=1e-5)


def test_a_refused_objective_leaves_no_transfer():
    x = quenda.var(lb=-1, ub=1, name="x")
    y = quenda.var(name="y")
    p = make_problem("refused", IPOPT)
    p.addVariable(x)
    with pytest.raises(quenda.ModelError, match="has not been added to problem yet"):
        p.setObjective(quenda.exp(y) * x)
    assert p.getAttrib("cols") == 1 and p.getAttrib("rows") == 0
    assert p.getAttrib("nlpcoefficients") == 0
    p.setObjective(quenda.exp(x))
    p.solve()
    assert p.getObjVal() == pytest.approx(math.exp(-1), abs=1e-6)
