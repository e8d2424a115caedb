"""Nonlinear problems written to MPS files and read back."""
import math

import pytest

import quendalib as quenda

SLP, IPOPT = 1, 2


def make_problem(name, alg=IPOPT):
    p = quenda.problem(name)
    p.setControl({"nlpalgorithm": alg, "nlploglevel": 0, "nlpslpcurvature": 1, "loglevel": 0})
    return p


def hs71():
    xs = [quenda.var(lb=1, ub=5, name=f"x{i}") for i in range(4)]
    p = make_problem("hs71")
    p.addVariable(xs)
    p.addConstraint(quenda.constraint(xs[0] * xs[1] * xs[2] * xs[3] >= 25, name="R1"),
                    quenda.constraint(xs[0] ** 2 + xs[1] ** 2 + xs[2] ** 2 + xs[3] ** 2 == 40,
                                      name="R2"))
    p.setObjective(xs[0] * xs[3] * (xs[0] + xs[1] + xs[2]) + xs[2])
    return p


@pytest.mark.parametrize("alg", [SLP, IPOPT], ids=["slp", "ipopt"])
def test_hs71_round_trip(tmp_path, alg):
    path = str(tmp_path / "hs71.mps")
    hs71().write(path)
    text = open(path).read()
    assert "NLCOEFS\n R1 = 1 x2 * (x0 * x1) * x3\n" in text
    q = make_problem("back", alg)
    q.read(path)
    # the product row and the objective's transfer row
    assert q.getAttrib("nlpnonlineareqrows") + q.getAttrib("nlpnonlinearineqrows") == 2
    assert [v.name for v in q.getVariable()] == ["x0", "x1", "x2", "x3", "objtransfercol"]
    rows = q.getConstraint()
    assert [c.name for c in rows] == ["R1", "R2", "objtransferrow"]
    assert (rows[0].lb, rows[1].lb, rows[1].ub) == (25, 40, 40)
    q.setInitialValues(q.getVariable()[:4], [1, 5, 5, 1])
    q.solve()
    assert q.getProbStatusString() == "nlp_solution"
    assert q.getObjVal() == pytest.approx(17.0140173, abs=1e-5)
    assert q.getSlack(rows[0]) == pytest.approx(0.0, abs=1e-5)
    assert q.getSolution("objtransfercol") == pytest.approx(q.getObjVal(), abs=1e-9)
    # written again, the same file
    again = str(tmp_path / "again.mps")
    q.write(again)
    assert open(again).read().replace("NAME back", "NAME hs71") == text


def named_function(a, b):
    return a * a + math.exp(b)


def test_user_functions_are_kept_by_name_only(tmp_path):
    x = quenda.var(lb=-3, ub=3, name="x")
    y = quenda.var(lb=-1, ub=3, name="y")
    p = make_problem("user")
    p.addVariable(x, y)
    p.setObjective(quenda.user(named_function, x, y) + (x - 1) ** 2)
    path = str(tmp_path / "user.mps")
    p.write(path)
    text = open(path).read()
    assert "USERFUNCS\n named_function 19\n" in text
    assert "named_function(y, x)" not in text and "named_function(x, y)" in text
    q = make_problem("back")
    q.read(path)
    assert q.getAttrib("nlpuserfuncs") == 1
    # the body is Python code, which no file holds
    with pytest.raises(quenda.SolverError, match="user function 1 has no entry point"):
        q.solve()


def test_what_a_file_cannot_hold(tmp_path):
    x = quenda.var(lb=-3, ub=3, name="x")
    p = make_problem("refuse")
    p.addVariable(x)
    p.setObjective(quenda.exp(x))
    with pytest.raises(quenda.SolverError, match="LP format cannot hold nonlinear"):
        p.write(str(tmp_path / "nl.lp"))
    p.setObjective(quenda.user(lambda a: a * a, x))
    with pytest.raises(quenda.SolverError, match='user function 1 is named "<lambda>"'):
        p.write(str(tmp_path / "lambda.mps"))


@pytest.mark.parametrize("line, message", [
    (" R1 = 1 sin(w)", "unknown column"),
    (" R9 = 1 sin(x)", "is not \"row column factor formula\""),
    (" R1 = one sin(x)", "is not \"row column factor formula\""),
    (" R1 x", "is not \"row column factor formula\""),
])
def test_bad_nonlinear_lines(tmp_path, line, message):
    path = tmp_path / "bad.mps"
    path.write_text("NAME bad\nROWS\n N obj\n L R1\nCOLUMNS\n x R1 1\nRHS\n RHS R1 1\n"
                    f"NLCOEFS\n{line}\nENDATA\n")
    q = make_problem("bad")
    with pytest.raises(quenda.SolverError, match=message):
        q.read(str(path))


@pytest.mark.parametrize("alg", [SLP, IPOPT], ids=["slp", "ipopt"])
def test_pickle_round_trip(alg):
    import pickle
    p = hs71()
    p.setControl("nlpalgorithm", alg)
    xs = p.getVariable()
    q, ys = pickle.loads(pickle.dumps((p, xs)))
    # the objective is the objective again, not two more objects
    assert [v.name for v in q.getVariable()] == ["x0", "x1", "x2", "x3"]
    assert len(q.getConstraint()) == 2
    assert q.getControl("nlpalgorithm") == alg
    q.setInitialValues(ys, [1, 5, 5, 1])
    q.solve()
    assert q.getProbStatusString() == "nlp_solution"
    assert q.getObjVal() == pytest.approx(17.0140173, abs=1e-5)
    assert q.getSolution(ys) == pytest.approx([1.0, 4.742999, 3.821150, 1.379408], abs=1e-3)
    # still a nonlinear objective: replacing it takes its row and column away
    q.setObjective(ys[0])
    assert q.getAttrib("cols") == 4 and q.getAttrib("rows") == 2


def test_pickle_refuses_user_functions():
    import pickle
    x = quenda.var(lb=-3, ub=3, name="x")
    y = quenda.var(lb=-1, ub=3, name="y")
    p = make_problem("user")
    p.addVariable(x, y)
    p.setObjective(quenda.user(named_function, x, y))
    with pytest.raises(quenda.ModelError, match="user functions cannot be pickled"):
        pickle.dumps(p)
