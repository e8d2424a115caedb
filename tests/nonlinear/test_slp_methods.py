"""The problem methods over the nonlinear library's functions, each on a
small model with an effect that can be checked."""
import gc
import math
import sys
import tracemalloc

import pytest

import quendalib as quenda

SLP, IPOPT = 1, 2
CONST = -2  # the constant column
ROWINFO_VALUE, ROWINFO_STATUS, ROWINFO_DUAL = 1, 3, 6
COLINFO_VALUE, COLINFO_DELTA, COLINFO_DETROW, COLINFO_NONLINEAR = 1, 2, 3, 6


def problem(alg=SLP):
    p = quenda.problem()
    p.setControl({"nlpalgorithm": alg, "nlploglevel": 0, "nlpslpcurvature": 1, "loglevel": 0})
    return p


@pytest.fixture
def cap():
    """max y s.t. y + f(x) <= 4, 1 <= x <= 3, f given as a coefficient."""
    x = quenda.var(lb=1, ub=3, name="x")
    y = quenda.var(lb=-10, ub=10, name="y")
    p = problem()
    p.addVariable(x, y)
    row = y <= 4
    p.addConstraint(row)
    p.setObjective(y, sense=quenda.maximize)
    p.setInitialValues([x, y], [2, 0])
    return p, x, y, row


def solve_y(p, y):
    p.nlpoptimize()
    xs, _, _, _ = p.getslpsol()
    return xs[1]


# Each way of giving y's row the coefficient factor * x^2 (x at 1 then).
@pytest.mark.parametrize("give, y_opt", [
    (lambda p, x, r: p.chgccoef(r, CONST, None, "x^2"), 3.0),
    (lambda p, x, r: p.chgccoef(rowindex=r, colindex=CONST, factor=2.0, formula="x ^ 2"), 2.0),
    (lambda p, x, r: p.chgccoef(r, x, 0.5, "x"), 3.5),
    (lambda p, x, r: p.chgnlcoef(r, CONST, 3.0, 1, [10, 1, 31], [0, 2, 2]), 1.0),
    (lambda p, x, r: p.chgnlcoef(r, CONST, None, 0, [10, 31, 1], [0, 2, 2]), 3.0),
    (lambda p, x, r: p.addcoefs([r], [CONST], None, [0, 3], 1, [10, 1, 31], [0, 2, 2]), 3.0),
    (lambda p, x, r: p.loadcoefs([r, r], [x, CONST], [1, 1], [0, 1, 2], 1, [10, 1], [0, 1]),
     2.0),
])
def test_a_coefficient_changes_the_solution(cap, give, y_opt):
    p, x, y, row = cap
    give(p, x, row)
    assert solve_y(p, y) == pytest.approx(y_opt, abs=1e-5)


def test_the_factor_alone_changes_and_empty_text_deletes(cap):
    p, x, y, row = cap
    p.chgccoef(row, CONST, None, "x^2")
    assert solve_y(p, y) == pytest.approx(3.0, abs=1e-5)
    p.chgnlcoef(row, CONST, 4.0)  # the factor alone
    assert solve_y(p, y) == pytest.approx(0.0, abs=1e-5)
    p.chgccoef(row, CONST, None, "")
    assert p.tokencount() == 0


def test_coefficients_read_back_and_round_trip(cap):
    p, x, y, row = cap
    p.chgccoef(row, CONST, 2.0, "sin(x) / y")
    p.chgccoef(-1, x, None, "exp(y)")
    assert p.getccoef(row, CONST) == (2.0, "sin(x) / y")
    assert p.getcoefformula(row, CONST) == "2 * (sin(x) / y)"
    rows, cols, factors, start, types, values = p.getcoefs()
    assert (rows, cols, factors) == ([-1, 0], [0, CONST], [1.0, 2.0])
    assert p.tokencount() == len(types) == start[-1]
    p.loadcoefs(rows, cols, factors, start, 1, types, values)
    assert p.getcoefs()[3:] == (start, types, values)
    pt = [0.5, 2.0]
    assert p.evaluatecoef(row, CONST, pt) == pytest.approx(2 * math.sin(0.5) / 2.0)
    assert p.evaluatecoef(-1, "x", x=pt) == pytest.approx(math.exp(2.0))
    p.delcoefs([-1], [x])
    assert p.getcoefs()[0] == [0]
    with pytest.raises(quenda.SolverError, match="no nonlinear coefficient"):
        p.getccoef(-1, x)


def test_load_replaces_add_appends(cap):
    p, x, y, row = cap
    one = ([row], [CONST], None, [0, 2], 1, [10, 0], [0, 0])
    p.addcoefs(*one)
    p.addcoefs([-1], [x], None, [0, 2], 1, [10, 0], [1, 0])
    assert len(p.getcoefs()[0]) == 2
    p.loadcoefs(*one)
    assert len(p.getcoefs()[0]) == 1
    p.loadcoefs([], [], None, [0], 1, [], [])
    assert p.getcoefs()[0] == []


def test_formulas_text_and_tokens(cap):
    p, x, y, row = cap
    infix = p.preparseformula("x * (y + 2)")
    parsed = p.parsecformula("x * (y + 2)")
    assert p.parseformula(*infix) == parsed
    assert parsed == ([10, 10, 1, 31, 31], [0.0, 1.0, 2.0, 5.0, 3.0])
    assert p.evaluateformula(*parsed, [3.0, 4.0]) == 18.0
    assert p.evaluateformula([1, 1, 31], [2, 5, 2]) == 32.0
    assert p.validformula(*parsed) == (True, "")
    ok, why = p.validformula([10, 31], [0, 3])
    assert not ok and why
    with pytest.raises(quenda.SolverError, match="position"):
        p.parsecformula("x + w")


WRONG = [
    ("loadvars", ()), ("addvars", ()), ("loadtolsets", ()), ("addtolsets", ()),
    ("loaddfs", ()), ("adddfs", ()), ("loadcoefs", ()), ("addcoefs", ()), ("chgdf", ()),
    ("chgccoef", (0,)), ("validatevector", ()), ("validaterow", ()), ("validatekkt", (1, 2, 3)),
    ("validformula", ()), ("parseformula", ()), ("chgcascadenlimit", (0, 1, 2)),
]


@pytest.mark.parametrize("name, args", WRONG)
def test_wrong_arguments_messages(cap, name, args):
    p = cap[0]
    with pytest.raises(quenda.InterfaceError, match="^Wrong arguments in %s$" % name):
        getattr(p, name)(*args)


def test_chgdeltatype_keeps_its_plural_message_and_bad_inputs(cap):
    p, x, y, row = cap
    with pytest.raises(quenda.InterfaceError, match="^Wrong arguments in chgdeltatypes$"):
        p.chgdeltatype()
    with pytest.raises(TypeError):
        p.getvar()
    with pytest.raises(quenda.ModelError, match="Mismatched lengths"):
        p.addvars([x, y], initvalue=[1.0])
    with pytest.raises(quenda.ModelError, match="Mismatched lengths"):
        p.validatevector([1.0])
    with pytest.raises(quenda.ModelError, match="not in problem"):
        p.getvar(quenda.var())
    with pytest.raises(quenda.SolverError, match="step bound kind"):
        p.chgdeltatype([x], [7])
    with pytest.raises(quenda.ModelError, match="2 values per tolerance set"):
        p.addtolsets([1e-3])
    with pytest.raises(quenda.InterfaceError, match="Must provide argument x"):
        p.evaluatecoef(row, CONST, None)
    with pytest.raises(quenda.ModelError, match="spans tokens 0 to 5, outside the 1 given"):
        p.addcoefs([row], [CONST], None, [0, 5], 1, [1], [2.0])
    with pytest.raises(quenda.SolverError, match="column"):
        p.evaluateformula([10], [5.0], [1.0, 2.0])
    with pytest.raises(quenda.SolverError, match="information type 9"):
        p.getrowinfo(row, 9)
    with pytest.raises(quenda.SolverError, match="row index"):
        p.chgrowstatus(7, 1)


def test_variables_settings_load_add_delete(cap):
    p, x, y, row = cap
    p.addtolsets([1e-3, -1])
    p.addvars([x], initvalue=[2.5], stepbound=[0.25], tolindex=[1])
    assert p.getvar(x) == (-1, 0, 1, 0, 2.5, 0.25)
    assert p.getcolinfo(x, COLINFO_VALUE) == 2.5
    assert p.getcolinfo(x, COLINFO_DELTA) == 0.25
    p.chgvar("x", deltatype=2)
    assert p.getcolinfo(x, COLINFO_DELTA) == math.inf
    p.loadvars([y], seqnum=[3])
    assert p.getvar(x)[1:4] == (0, 0, 0)  # load replaced x's settings
    assert p.getvar(y)[1] == 3
    p.delvars([y])
    assert p.getvar(y)[1] == 0


def test_tolerance_sets(cap):
    p = cap[0]
    p.addtolsets([1e-3, -1, 2e-3, 1e-4])
    assert p.gettolset(1) == (1, [1e-3, -1.0])
    p.chgtolset(1, 2, [9.0, 5e-5])  # only entry 1
    assert p.gettolset(1) == (3, [1e-3, 5e-5])
    p.chgtolset(1, None, [-1, -1])
    assert p.gettolset(1) == (0, [-1.0, -1.0])
    p.deltolsets([1])
    assert p.gettolset(1) == (3, [2e-3, 1e-4])
    p.loadtolsets([])
    with pytest.raises(quenda.SolverError, match="tolerance set 1 out of range"):
        p.gettolset(1)


def test_a_loose_tolerance_set_ends_slp_sooner():
    x, y = quenda.var(lb=-5, ub=5), quenda.var(lb=-5, ub=5)
    p = problem()
    p.setControl({"nlpatolobj": 0, "nlprtolobj": 0})
    p.addVariable(x, y)
    p.setObjective((x - 1) ** 2 + (y - 2) ** 2 + quenda.exp(0.3 * x))
    p.setInitialValues([x, y], [4, -4])
    p.nlpoptimize()
    tight = p.attributes.nlpiterations
    p.addtolsets([0.5, 0.5])
    p.addvars([x, y], tolindex=[1, 1])
    p.nlpoptimize()
    assert p.attributes.nlpiterations < tight


@pytest.mark.parametrize("status, weight, x_opt", [
    (0, 1.0, 1.0), (1, 1.0, 0.5), (1, 1.5, 0.75), (1, 4.0, 1.0), (2, 1.0, 0.0),
])
def test_row_status_and_weight(status, weight, x_opt):
    # min x^2 with x >= 1: soft at weight w gives x = min(1, w/2)
    x = quenda.var(lb=-10, ub=10)
    p = problem()
    p.addVariable(x)
    c = x >= 1
    p.addConstraint(c)
    p.setObjective(quenda.exp(x) - x - 1 + x ** 2 / 2)  # nonlinear, minimum at 0
    p.chgrowstatus(c, status)
    p.chgrowwt(c, weight)
    assert (p.getrowstatus(c), p.getrowwt(c)) == (status, weight)
    assert p.getrowinfo(c, ROWINFO_STATUS) == status
    p.solve()
    xv = p.getSolution(x)
    if status == 1 and x_opt < 1:  # exp(x) - 1 + x = w at the optimum
        assert math.exp(xv) - 1 + xv == pytest.approx(weight, abs=1e-5)
    else:
        assert xv == pytest.approx(x_opt, abs=1e-5)


def test_soft_rows_refuse_the_interior_point():
    x = quenda.var(lb=-10, ub=10)
    p = problem(IPOPT)
    p.addVariable(x)
    c = x >= 1
    p.addConstraint(c)
    p.setObjective(quenda.exp(x))
    p.chgrowstatus(c, 1)
    with pytest.raises(quenda.SolverError, match="SLP algorithm"):
        p.solve()


def test_derivative_factors(cap):
    p, x, y, row = cap
    p.chgccoef(row, CONST, None, "x^2")
    p.chgdf(x, row, 0.5)
    assert p.getdf(x, row) == 0.5
    assert solve_y(p, y) == pytest.approx(3.0, abs=1e-5)  # the rows stay exact
    p.adddfs([y], [row], [0.25])
    p.loaddfs([y], [row], [2.0])
    assert (p.getdf(x, row), p.getdf(y, row)) == (1.0, 2.0)
    p.chgdf(y, row)
    assert p.getdf(y, row) == 1.0


def hs_problem(alg):
    x, y = quenda.var(lb=0, ub=10, name="x"), quenda.var(lb=0, ub=10, name="y")
    p = problem(alg)
    p.addVariable(x, y)
    p.addConstraint(x + y <= 3)
    p.setObjective((x - 2) ** 2 + (y - 2) ** 2 + quenda.sin(x - y))
    p.solve()
    return p, x, y


@pytest.mark.parametrize("alg", [SLP, IPOPT])
def test_kkt_residuals_vanish_at_the_optimum_only(alg):
    p, x, y = hs_problem(alg)
    assert max(p.validatekkt()) < 1e-5
    # the point holds every column: x, y and the objective's transfer column
    xs = p.getSolution()
    moved = [xs[0] + 0.1, xs[1] - 0.1] + xs[2:]
    assert p.validatekkt(moved)[0] > 1e-2
    without = [0.0] * len(p.getDual())  # without the row's multiplier
    assert p.validatekkt(x=xs, duals=without)[0] > 0.1


def test_validate_row_and_vector():
    x = quenda.var(lb=0.5, ub=4, name="x")
    p = problem()
    p.addVariable(x)
    bad = quenda.user(lambda v: (v * v, 3.0), x, derivatives=True)  # wrong partial
    good = quenda.user(lambda v: (v * v, 2 * v), x, derivatives=True)
    cb, cg = bad <= 9, good <= 9
    p.addConstraint(cb, cg)
    p.setObjective(x, sense=quenda.maximize)
    p.setInitialValues([x], [2])
    assert p.validaterow(cg) == pytest.approx((4.0, 0.0, 0.0), abs=1e-6)
    assert p.validaterow(cb)[2] > 0.1
    assert p.validatevector([5.0])[0] == pytest.approx(32.0)
    assert p.validate() == 0


def test_construct_and_row_information(cap):
    p, x, y, row = cap
    p.chgccoef(row, CONST, None, "x^3")
    p.construct()
    p.setInitialValues([x, y], [3, 0])
    assert p.getrowinfo(row, ROWINFO_VALUE) == 8.0  # still at the constructed point
    p.updatelinearization()
    assert p.getrowinfo(row, ROWINFO_VALUE) == 27.0
    assert p.getrowinfo(row, 2) == 23.0  # violation of 27 <= 4
    assert (p.getrowinfo(row, 5), p.getcolinfo(x, 4), p.getcolinfo(y, 4)) == (1, 0, 0)
    assert p.getcolinfo(x, COLINFO_NONLINEAR) == 1 and p.getcolinfo(y, COLINFO_NONLINEAR) == 0
    p.unconstruct()
    with pytest.raises(quenda.SolverError, match="not constructed"):
        p.unconstruct()


def test_cascading_reproduces_determined_values():
    x, y, z = (quenda.var(lb=-100, ub=100, name=n) for n in "xyz")
    p = problem()
    p.addVariable(z, x, y)
    ry = y - x ** 2 - quenda.sin(x) == 1
    rz = z - 2 * y == 0
    p.addConstraint(ry, rz)
    p.setObjective(x)
    p.addvars([y, z], determiningrow=[ry, rz], initvalue=[0, 0])
    p.setInitialValues([z, x, y], [0, 2, 0])
    p.cascadeorder()
    p.cascade()
    yv = 5 + math.sin(2)
    assert p.getcolinfo(y, COLINFO_VALUE) == pytest.approx(yv, abs=1e-9)
    assert p.getcolinfo(z, COLINFO_VALUE) == pytest.approx(2 * yv, abs=1e-9)
    assert p.getcolinfo(z, COLINFO_DETROW) == 1
    with pytest.raises(quenda.SolverError, match="below 1"):
        p.chgcascadenlimit(y, 0)
    # the SLP steps cascade too: after one step the determined columns hold
    p.setControl("nlpiterlimit", 1)
    p.setInitialValues([x, y, z], [3, 0, 0])
    p.solve()
    xv, yv, zv = p.getSolution([x, y, z])
    assert (yv, zv) == pytest.approx((xv ** 2 + math.sin(xv) + 1, 2 * yv), abs=1e-9)
    p.chgvar(x, determiningrow=rz)  # x is not in z's row
    with pytest.raises(quenda.SolverError, match="does not hold"):
        p.cascadeorder()


def test_solution_housekeeping(cap, tmp_path):
    p, x, y, row = cap
    p.chgccoef(row, CONST, None, "x^2")
    with pytest.raises(quenda.SolverError, match="no SLP solve"):
        p.fixpenalties()
    assert p.getdtime() == 0.0
    p.nlpoptimize()
    assert p.fixpenalties() > 0
    assert p.getdtime() == pytest.approx(p.attributes.nlpsolvetime)
    xs, slack, duals, dj = p.getslpsol()
    mine = [7.0] * 5
    p.getslpsol(x=mine)
    assert mine == xs and len(slack) == len(duals) == 1 and len(dj) == 2
    assert p.getrowinfo(row, ROWINFO_DUAL) == duals[0]
    assert p.getcolinfo(x, 5) == dj[0]
    p.setcurrentiv()
    assert p.getcolinfo(y, COLINFO_VALUE) == pytest.approx(3.0, abs=1e-5)
    out = tmp_path / "sol.csv"
    p.filesol(str(out))
    lines = out.read_text().splitlines()
    assert lines[0].startswith("objective,")
    assert float(lines[2].split(",")[2]) == pytest.approx(3.0, abs=1e-5)
    p.reinitialize()
    with pytest.raises(quenda.SolverError, match="no nonlinear solution"):
        p.getslpsol()


def test_messages_prefix_and_counts(cap):
    p, x, y, row = cap
    p.chgccoef(row, CONST, None, "x^2")
    seen = []
    p.addcbmessage(lambda prob, data, msg, kind: seen.append((msg, kind)), None)
    assert p.getmessagetype() == 0
    p.printmsg(3, "look here")
    assert p.getmessagetype() == 3 and ("look here", 3) in seen
    p.nlpoptimize()
    p.printevalinfo()
    p.printmemory()
    text = " ".join(m for m, _ in seen if m)
    assert "Evaluations: objective" in text and "Nonlinear memory" in text
    assert p.getmessagetype() == 1
    with pytest.raises(quenda.SolverError, match="message type"):
        p.printmsg(7, "?")
    assert p.setuniqueprefix() == "nl_"
    q = problem()
    q.addVariable(quenda.var(name="nl_x"))
    assert q.setuniqueprefix() == "nl0_"


def test_presolve_and_scaling(cap):
    p, x, y, row = cap
    p.chgccoef(row, x, None, "2 * 3")  # a constant: 6 x, linear
    p.chgccoef(row, CONST, 0.0, "x^2")  # a zero factor
    y_before = solve_y(p, y)
    assert p.presolve() == 2
    assert p.tokencount() == 0
    assert p.getcoef(row, x) == 6.0
    assert solve_y(p, y) == pytest.approx(y_before, abs=1e-6)
    p.chgccoef(row, CONST, None, "x^2")
    p.scaling()
    assert p.getvar(x)[5] == pytest.approx(0.2)  # a tenth of [1, 3]


def test_references_and_memory_balance(cap):
    p, x, y, row = cap
    p.chgccoef(row, CONST, None, "x^2")
    p.nlpoptimize()
    out = []
    before = sys.getrefcount(out)

    def calls():
        p.getslpsol(x=out)
        p.getcoefs()
        p.getccoef(row, CONST)
        p.parsecformula("x * y + 1")
        for bad, exc in ((lambda: p.getccoef(-1, x), quenda.SolverError),
                         (lambda: p.addcoefs(), quenda.InterfaceError)):
            try:
                bad()
            except exc:
                pass

    tracemalloc.start()
    for k in range(3):
        for _ in range(300):
            calls()
        gc.collect()
        if k == 0:
            first = tracemalloc.get_traced_memory()[0]
    grown = tracemalloc.get_traced_memory()[0] - first
    tracemalloc.stop()
    assert sys.getrefcount(out) == before
    assert grown < 4000
