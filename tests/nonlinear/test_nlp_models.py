"""Nonlinear models built with operators, solved by both algorithms and
read back by object."""
import gc
import math
import os
import sys
import tracemalloc

import pytest

import quendalib as quenda

SLP, IPOPT = 1, 2


def make_problem(name, alg):
    p = quenda.problem(name)
    p.setControl("nlpalgorithm", alg)
    p.setControl("nlploglevel", 0)
    p.setControl("nlpslpcurvature", 1)
    p.setControl("loglevel", 0)
    return p


@pytest.fixture(params=[SLP, IPOPT], ids=["slp", "ipopt"])
def alg(request):
    return request.param


def test_rosenbrock(alg):
    x = quenda.var(lb=-10, name="x")
    y = quenda.var(lb=-10, name="y")
    p = make_problem("rosenbrock", alg)
    p.addVariable(x, y)
    p.setObjective((1 - x) ** 2 + 100 * (y - x ** 2) ** 2)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getProbStatus() == 1
    assert p.getObjVal() == pytest.approx(0.0, abs=1e-8)
    assert p.getSolution([x, y]) == pytest.approx([1.0, 1.0], abs=1e-4)


def test_hs71(alg):
    xs = [quenda.var(lb=1, ub=5, name=f"x{i}") for i in range(4)]
    p = make_problem("hs71", alg)
    p.addVariable(xs)
    prod = xs[0] * xs[1] * xs[2] * xs[3] >= 25
    ball = xs[0] ** 2 + xs[1] ** 2 + xs[2] ** 2 + xs[3] ** 2 == 40
    p.addConstraint(prod, ball)
    p.setObjective(xs[0] * xs[3] * (xs[0] + xs[1] + xs[2]) + xs[2])
    p.setInitialValues(xs, [1, 5, 5, 1])
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getObjVal() == pytest.approx(17.0140173, abs=1e-5)
    assert p.getSolution(xs) == pytest.approx([1.0, 4.742999, 3.821150, 1.379408], abs=1e-3)
    # both rows bind: no slack, and the product row has a nonzero multiplier
    assert p.getSlack(prod) == pytest.approx(0.0, abs=1e-5)
    assert p.getSlack(ball) == pytest.approx(0.0, abs=1e-5)
    assert abs(p.getDual(prod)) > 0.1


def test_hs35(alg):
    x1, x2, x3 = (quenda.var(name=n) for n in ("x1", "x2", "x3"))
    p = make_problem("hs35", alg)
    p.addVariable(x1, x2, x3)
    p.addConstraint(x1 + x2 + 2 * x3 <= 3)
    p.setObjective(9 - 8 * x1 - 6 * x2 - 4 * x3 + 2 * x1 ** 2 + 2 * x2 ** 2 + x3 ** 2
                   + 2 * x1 * x2 + 2 * x1 * x3)
    p.solve()
    assert p.getObjVal() == pytest.approx(1 / 9, abs=1e-6)
    assert p.getSolution([x1, x2, x3]) == pytest.approx([4 / 3, 7 / 9, 4 / 9], abs=1e-3)


def test_functions_and_maximise(alg):
    # max sin(x) + cos(y) - exp(z)/(1 + z) on a box: x = pi/2, y = 0, z = 0
    x = quenda.var(lb=0, ub=3, name="x")
    y = quenda.var(lb=-1, ub=1, name="y")
    z = quenda.var(lb=0, ub=1, name="z")
    p = make_problem("funcs", alg)
    p.addVariable(x, y, z)
    p.addConstraint(x + y <= 5)
    p.setObjective(quenda.sin(x) + quenda.cos(y) - quenda.exp(z) / (1 + z),
                   sense=quenda.maximize)
    p.solve()
    assert p.getObjVal() == pytest.approx(1.0, abs=1e-6)
    assert p.getSolution(x) == pytest.approx(math.pi / 2, abs=1e-3)


def test_infeasible(alg):
    x = quenda.var(lb=-5, ub=5, name="x")
    p = make_problem("infeas", alg)
    p.addVariable(x)
    p.addConstraint(quenda.exp(x) <= -1)
    p.setObjective(x)
    p.solve()
    assert p.getProbStatusString() in ("nlp_locally_infeasible", "nlp_infeasible")


def test_unbounded():
    x = quenda.var(lb=-quenda.infinity, name="x")
    p = make_problem("unbounded", IPOPT)
    p.addVariable(x)
    p.setObjective(-quenda.exp(x))
    p.solve()
    assert p.getProbStatusString() == "nlp_unbounded"


def test_quadratic_row_and_back_to_linear():
    # a quadratic row goes to the library's quadratic route; a nonlinear
    # objective replaced by a linear one makes the problem linear again
    x = quenda.var(lb=-2, name="x")
    y = quenda.var(lb=-2, name="y")
    p = make_problem("qcqp", IPOPT)
    p.addVariable(x, y)
    p.addConstraint(x * x + y * y <= 1)
    p.setObjective(quenda.exp(x) - y)
    p.setObjective(-x - y)
    p.solve()
    assert p.getObjVal() == pytest.approx(-math.sqrt(2), abs=1e-5)
    assert p.getProbStatusString().startswith("lp_")


def test_variable_not_added():
    x = quenda.var(name="x")
    y = quenda.var(name="y")
    p = make_problem("missing", IPOPT)
    p.addVariable(x)
    body = quenda.sin(y) + x
    with pytest.raises(quenda.ModelError,
                       match="Variable in nonlinear expression has not been added"):
        p.addConstraint(body <= 1)
    with pytest.raises(quenda.ModelError,
                       match="Variable in nonlinear expression has not been added"):
        p.setObjective(quenda.exp(y) * x)


def test_references_balance():
    x = quenda.var(name="x")
    p = make_problem("refs", IPOPT)
    p.addVariable(x)
    body = quenda.exp(x) + x
    before = sys.getrefcount(body)
    for _ in range(20):
        q = make_problem("refs", IPOPT)
        q.addVariable(x)
        q.addConstraint(body <= 3)
        q.setObjective(body)
        q.solve()
        del q
    assert sys.getrefcount(body) == before


def test_no_leak():
    x = quenda.var(lb=-1, ub=1, name="x")
    y = quenda.var(lb=-1, ub=1, name="y")

    def once():
        p = make_problem("leak", IPOPT)
        p.addVariable(x, y)
        p.addConstraint(quenda.sin(x) * y <= 0.5)
        p.setObjective(quenda.exp(x) + y ** 2)
        p.solve()
        p.getSolution([x, y])
        p.getDual([])

    for _ in range(3):
        once()
    gc.collect()
    tracemalloc.start()
    try:
        snap = tracemalloc.take_snapshot()
        for _ in range(20):
            once()
        gc.collect()
        grown = sum(s.size_diff for s in tracemalloc.take_snapshot().compare_to(snap, "filename"))
    finally:
        tracemalloc.stop()
    assert grown < 20000


@pytest.mark.parametrize("start", [-0.5, 0.5])
def test_nonconvex_two_local_optima(alg, start):
    # a double well tilted to the right: one local minimum near each of
    # -1 and 1, each reached from its own side; the left one is lower
    x = quenda.var(lb=-2, ub=2, name="x")
    p = make_problem("nonconvex", alg)
    p.addVariable(x)
    p.setObjective((x ** 2 - 1) ** 2 + 0.1 * x)
    p.setInitialValues([x], [start])
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    v = p.getSolution(x)
    assert 4 * v * (v * v - 1) + 0.1 == pytest.approx(0.0, abs=1e-5)
    assert v == pytest.approx(math.copysign(1.0, start), abs=0.05)
    assert p.getObjVal() == pytest.approx((v * v - 1) ** 2 + 0.1 * v, abs=1e-8)


OP, CON, COL, IFUN, LB, EOF = 31, 1, 10, 12, 22, 0


def test_tokens():
    x, y, z = (quenda.var(name=n) for n in "xyz")
    p = make_problem("tokens", IPOPT)
    p.addVariable(x, y, z)
    cases = [
        (quenda.sin(y) / z, [(LB, 0), (COL, 1), (IFUN, 27), (COL, 2), (OP, 4)]),
        (-x, [(COL, 0), (OP, 1)]),
        (2 * x, [(CON, 2), (COL, 0), (OP, 3)]),
        (3 * x * y, [(CON, 3), (COL, 0), (COL, 1), (OP, 3), (OP, 3)]),
        (quenda.exp(x + 2 * y + 3),
         [(LB, 0), (CON, 3), (COL, 0), (OP, 5), (CON, 2), (COL, 1), (OP, 3), (OP, 5),
          (IFUN, 16)]),
        (quenda.max(x, y, z),
         [(LB, 0), (LB, 0), (COL, 0), (COL, 1), (IFUN, 34), (COL, 2), (IFUN, 34)]),
        (quenda.min(x, y, z, 1.5),
         [(LB, 0), (LB, 0), (COL, 0), (COL, 1), (IFUN, 33), (LB, 0), (COL, 2), (CON, 1.5),
          (IFUN, 33), (IFUN, 33)]),
    ]
    for expr, want in cases:
        types, values = p.nlFormula(expr)
        assert list(zip(types, values)) == want, str(expr)


def test_coefficient_mode():
    x, y = quenda.var(name="x"), quenda.var(name="y")
    p = make_problem("coef", IPOPT)
    p.addVariable(x, y)
    col, factor, types, values = p.nlFormula(3 * x * quenda.sin(y), coef=True)
    assert (col, factor) == (0, 3.0)
    assert list(zip(types, values)) == [(LB, 0), (COL, 1), (IFUN, 27), (EOF, 0)]
    col, factor, types, values = p.nlFormula(quenda.sin(y), coef=True)
    assert col < 0  # the constant column
    assert factor == 1.0
    assert list(zip(types, values)) == [(LB, 0), (COL, 1), (IFUN, 27), (EOF, 0)]


def _value_only(a, b):
    return a * a + math.exp(b)


def _with_partials(a, b):
    return a * a + math.exp(b), 2 * a, math.exp(b)


@pytest.mark.parametrize("func, derivatives", [(_value_only, False), (_with_partials, True)],
                         ids=["value", "partials"])
def test_user_function(alg, func, derivatives):
    # min f(x, y) + (x - 1)^2 with f = x^2 + exp(y), y >= -1: x = 0.5, y = -1
    x = quenda.var(lb=-3, ub=3, name="x")
    y = quenda.var(lb=-1, ub=3, name="y")
    p = make_problem("user", alg)
    p.addVariable(x, y)
    p.setObjective(quenda.user(func, x, y, derivatives=derivatives) + (x - 1) ** 2)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getSolution([x, y]) == pytest.approx([0.5, -1.0], abs=1e-4)
    assert p.getObjVal() == pytest.approx(0.5 + math.exp(-1), abs=1e-6)


def test_user_function_tokens_and_registration():
    x, y = quenda.var(name="x"), quenda.var(name="y")
    before = sys.getrefcount(_value_only)
    p = make_problem("usertok", IPOPT)
    p.addVariable(x, y)
    types, values = p.nlFormula(quenda.user(_value_only, x, 2 * y))
    # arguments last first, then the function by its index
    assert list(zip(types, values)) == [(LB, 0), (CON, 2), (COL, 1), (OP, 3), (COL, 0), (11, 1)]
    # the same callable keeps its index; another gets the next one
    assert p.nlFormula(quenda.user(_value_only, y, x))[1][-1] == 1
    assert p.nlFormula(quenda.user(_with_partials, y, x, derivatives=True))[1][-1] == 2
    assert sys.getrefcount(_value_only) == before + 2  # the dictionary's key and entry
    del p
    gc.collect()
    assert sys.getrefcount(_value_only) == before


class Boom(Exception):
    pass


def test_user_function_exception_reaches_caller(alg):
    def bad(a):
        raise Boom("no value here")

    x = quenda.var(lb=-1, ub=1, name="x")
    p = make_problem("boom", alg)
    p.addVariable(x)
    p.setObjective(quenda.user(bad, x) + x)
    with pytest.raises(Boom, match="no value here"):
        p.solve()


def test_two_circles_in_a_square(alg):
    # the largest two equal circles in the unit square: r = 1 / (2 + sqrt 2)
    cx = [quenda.var(lb=0, ub=1, name=f"cx{i}") for i in range(2)]
    cy = [quenda.var(lb=0, ub=1, name=f"cy{i}") for i in range(2)]
    r = quenda.var(lb=0, ub=0.5, name="r")
    p = make_problem("circles", alg)
    p.addVariable(cx, cy, r)
    for v in cx + cy:
        p.addConstraint(v >= r, v <= 1 - r)
    apart = quenda.sqrt((cx[0] - cx[1]) ** 2 + (cy[0] - cy[1]) ** 2) - 2 * r >= 0
    p.addConstraint(apart)
    p.setObjective(r, sense=quenda.maximize)
    p.setInitialValues(cx + cy + [r], [0.3, 0.6, 0.2, 0.7, 0.1])
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getObjVal() == pytest.approx(1 / (2 + math.sqrt(2)), abs=1e-5)
    assert p.getSlack(apart) == pytest.approx(0.0, abs=1e-5)


def test_deleting_the_nonlinear_rows_makes_the_problem_linear():
    x = quenda.var(lb=-1, ub=1, name="x")
    p = make_problem("del", IPOPT)
    p.addVariable(x)
    curve = quenda.exp(x) >= 2
    p.addConstraint(curve)
    p.setObjective(x)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getSolution(x) == pytest.approx(math.log(2), abs=1e-6)
    p.delConstraint(curve)
    p.solve()
    assert p.getProbStatusString() == "lp_optimal"
    assert p.getSolution(x) == pytest.approx(-1.0)


def test_reading_a_linear_file_drops_the_nonlinear_part():
    x = quenda.var(lb=-1, ub=1, name="x")
    p = make_problem("read", IPOPT)
    p.addVariable(x)
    p.addConstraint(quenda.exp(x) >= 2)
    p.setObjective(quenda.sin(x))
    p.read(os.path.join(os.path.dirname(__file__), "..", "data", "afiro.mps"))
    assert p.getAttrib("nlpcoefficients") == 0
    p.solve()
    assert p.getProbStatusString() == "lp_optimal"
    assert p.getObjVal() == pytest.approx(-464.75314286, rel=1e-7)
    assert p.nlFormula(quenda.exp(p.getVariable()[0]))[0][-1] == 12


def test_copy_keeps_the_nonlinear_model_and_its_user_functions():
    x = quenda.var(lb=-3, ub=3, name="x")
    y = quenda.var(lb=-1, ub=3, name="y")
    p = make_problem("orig", IPOPT)
    p.addVariable(x, y)
    p.setObjective(quenda.user(_with_partials, x, y, derivatives=True) + (x - 1) ** 2)
    c = p.copy()
    del p
    gc.collect()
    c.solve()
    assert c.getProbStatusString() == "nlp_solution"
    assert c.getObjVal() == pytest.approx(0.5 + math.exp(-1), abs=1e-6)
