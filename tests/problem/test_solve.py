"""Objective, solve, status and objective value of the modelling layer."""
import sys

import numpy as np
import pytest

import quendalib as quenda


def quiet(p):
    p.setControl("loglevel", 0)
    return p


def small_lp(sense):
    """min 2x + 3y + 5z s.t. x + y + z >= 4, x - y <= 2 (x = 3, y = 1, z = 0);
    the maximisation negates the objective."""
    x, y, z = quenda.var(name="x"), quenda.var(name="y"), quenda.var(name="z")
    c1 = x + y + z >= 4
    c2 = x - y <= 2
    p = quiet(quenda.problem("small"))
    p.addVariable(x, y, z)
    p.addConstraint(c1, c2)
    obj = 2 * x + 3 * y + 5 * z
    p.setObjective(obj if sense == quenda.minimize else -obj, sense=sense)
    p.solve()
    return p, (x, y, z), (c1, c2)


def test_typical_request():
    x = quenda.var(lb=0, ub=10)
    c = 2 * x + 3 <= 7
    p = quenda.problem()
    p.addVariable(x)
    p.addConstraint(c)
    p.setObjective(x, sense=quenda.maximize)
    p.solve()
    assert p.getSolution(x) == 2.0
    assert p.getProbStatus() == quenda.lp_optimal
    assert p.getProbStatusString() == "lp_optimal"
    assert p.getObjVal() == 2.0


class TestDualsByHand:
    """Duals are d obj / d rhs, reduced costs d obj / d x, slacks rhs - a'x,
    for minimisation and maximisation alike."""

    @pytest.mark.parametrize("sense,sign", [(quenda.minimize, 1.0), (quenda.maximize, -1.0)])
    def test_values(self, sense, sign):
        p, (x, y, z), (c1, c2) = small_lp(sense)
        assert p.getSolution([x, y, z]) == pytest.approx([3.0, 1.0, 0.0])
        assert p.getObjVal() == pytest.approx(sign * 9.0)
        assert p.getDual([c1, c2]) == pytest.approx([sign * 2.5, sign * -0.5])
        assert p.getRCost(z) == pytest.approx(sign * 2.5)
        assert p.getRCost([x, y]) == pytest.approx([0.0, 0.0], abs=1e-9)
        assert p.getSlack([c1, c2]) == pytest.approx([0.0, 0.0], abs=1e-9)

    def test_slack_of_loose_rows(self):
        x = quenda.var(ub=1)
        cl, cg = x <= 5, x >= -2
        p = quiet(quenda.problem())
        p.addVariable(x)
        p.addConstraint(cl, cg)
        p.setObjective(x, sense=quenda.maximize)
        p.solve()
        # rhs - a'x: 5 - 1 for the L row, -2 - 1 for the G row
        assert p.getSlack(cl) == pytest.approx(4.0)
        assert p.getSlack(cg) == pytest.approx(-3.0)
        assert p.getDual([cl, cg]) == pytest.approx([0.0, 0.0], abs=1e-9)
        assert p.getRCost(x) == pytest.approx(1.0)


class TestKnownOptima:
    def test_mip_knapsack(self):
        w, v = [12, 2, 1, 1, 4], [4, 2, 1, 2, 10]
        x = [quenda.var(vartype=quenda.binary) for _ in w]
        p = quiet(quenda.problem())
        p.addVariable(x)
        cap = quenda.Sum(w[i] * x[i] for i in range(5)) <= 15
        p.addConstraint(cap)
        p.setObjective(quenda.Sum(v[i] * x[i] for i in range(5)), sense=quenda.maximize)
        p.solve()
        assert p.getProbStatusString() == "mip_optimal"
        assert p.getProbStatus() == quenda.mip_optimal
        assert p.getObjVal() == pytest.approx(15.0)
        assert p.getSolution(x) == pytest.approx([0, 1, 1, 1, 1])
        assert p.getSlack(cap) == pytest.approx(7.0)
        with pytest.raises(quenda.SolverError, match="^Cannot retrieve dual variables in a MIP$"):
            p.getDual(cap)
        with pytest.raises(quenda.SolverError, match="^Cannot retrieve reduced cost in a MIP$"):
            p.getRCost(x[0])

    def test_general_integer(self):
        x = quenda.var(vartype=quenda.integer, ub=10)
        y = quenda.var(vartype=quenda.integer, ub=10)
        p = quiet(quenda.problem())
        p.addVariable(x, y)
        p.addConstraint(2 * x + 2 * y <= 7, x - y <= 0.5)
        p.setObjective(x + y, sense=quenda.maximize)
        p.solve()
        assert p.getObjVal() == pytest.approx(3.0)
        assert p.getProbStatusString().startswith("mip_")

    def test_qp(self):
        # min (x-1)^2 + (y-2)^2 s.t. x + y <= 2: the projection (0.5, 1.5)
        x, y = quenda.var(lb=-10), quenda.var(lb=-10)
        p = quiet(quenda.problem())
        p.addVariable(x, y)
        c = x + y <= 2
        p.addConstraint(c)
        p.setObjective((x - 1) ** 2 + (y - 2) ** 2)
        p.solve()
        assert p.getSolution([x, y]) == pytest.approx([0.5, 1.5], abs=1e-6)
        assert p.getObjVal() == pytest.approx(0.5, abs=1e-6)
        assert p.getDual(c) == pytest.approx(-1.0, abs=1e-5)

    def test_objective_constant_counts(self):
        x = quenda.var(ub=1)
        p = quiet(quenda.problem())
        p.addVariable(x)
        p.setObjective(3 * x + 5, sense=quenda.maximize)
        p.solve()
        assert p.getObjVal() == pytest.approx(8.0)
        p.setObjective(7.0)
        p.solve()
        assert p.getObjVal() == pytest.approx(7.0)

    def test_replacing_objective_drops_old_terms(self):
        x, y = quenda.var(lb=-5, ub=5), quenda.var(lb=-5, ub=5)
        p = quiet(quenda.problem())
        p.addVariable(x, y)
        p.setObjective(x * x + x * y + y * y + 100 * y + 4)
        p.setObjective(-x)
        p.solve()
        # nothing of the first objective is left: only -x counts
        assert p.getAttrib("qelems") == 0
        assert p.getObjVal() == pytest.approx(-5.0)
        assert p.getSolution(x) == pytest.approx(5.0)

    @pytest.mark.parametrize("flags", [None, "", "d", "p", "b"])
    def test_flags_choose_algorithm(self, flags):
        p, (x, y, z), _ = small_lp(quenda.minimize)
        p.solve(flags) if flags is not None else p.solve()
        assert p.getObjVal() == pytest.approx(9.0)


class TestStatuses:
    def test_infeasible_lp(self):
        x = quenda.var()
        p = quiet(quenda.problem())
        p.addVariable(x)
        p.addConstraint(x >= 3, x <= 1)
        p.setObjective(x)
        p.solve()
        assert p.getProbStatus() == quenda.lp_infeas
        assert p.getProbStatusString() == "lp_infeas"

    def test_unbounded_lp(self):
        x = quenda.var()
        p = quiet(quenda.problem())
        p.addVariable(x)
        p.addConstraint(x >= 3)
        p.setObjective(x, sense=quenda.maximize)
        p.solve()
        assert p.getProbStatusString() == "lp_unbounded"

    def test_infeasible_mip(self):
        x = quenda.var(vartype=quenda.integer)
        p = quiet(quenda.problem())
        p.addVariable(x)
        p.addConstraint(2 * x == 1)
        p.setObjective(x)
        p.solve()
        assert p.getProbStatusString() == "mip_infeas"
        with pytest.raises(quenda.SolverError, match="^Could not get solution$"):
            p.getSolution(x)

    def test_unstarted(self):
        p = quenda.problem()
        assert p.getProbStatusString() == "lp_unstarted"
        p.addVariable(quenda.var(vartype=quenda.binary))
        assert p.getProbStatusString() == "mip_not_loaded"
        with pytest.raises(quenda.SolverError, match="^Could not get solution$"):
            p.getSolution()


class TestBadInput:
    @pytest.fixture
    def prob(self):
        x = quenda.var()
        p = quiet(quenda.problem())
        p.addVariable(x)
        return p, x

    @pytest.mark.parametrize("sense", [0, 2, -2])
    def test_sense(self, prob, sense):
        p, x = prob
        with pytest.raises(quenda.ModelError, match="^Invalid optimization sense$"):
            p.setObjective(x, sense=sense)

    def test_arrays(self, prob):
        p, x = prob
        with pytest.raises(quenda.ModelError,
                           match="^Only one objective can be set, passed a sequence or NumPy array$"):
            p.setObjective(np.array([x, 2 * x]))
        p.setObjective(np.array([[3 * x]]), sense=quenda.minimize)
        p.solve()
        assert p.getObjVal() == 0.0

    @pytest.mark.parametrize("obj", ["x", None, [1], {}, object(), np.array([])])
    def test_invalid_object(self, prob, obj):
        p, _ = prob
        with pytest.raises(quenda.ModelError, match="^Invalid object set as objective$"):
            p.setObjective(obj)

    def test_variable_not_in_problem(self, prob):
        p, x = prob
        p.setObjective(2 * x)
        with pytest.raises(quenda.ModelError):
            p.setObjective(x + quenda.var())
        p.solve()                  # the failed call changed nothing
        assert p.getObjVal() == 0.0
        assert p.getAttrib("objsense") == 1

    def test_flags(self, prob):
        p, _ = prob
        with pytest.raises(quenda.ModelError, match="^Flags must be a string$"):
            p.solve(3)
        with pytest.raises(quenda.SolverError):
            p.solve("z")

    def test_missing_objective_argument(self, prob):
        with pytest.raises(TypeError):
            prob[0].setObjective()


def test_no_leaks_in_build_solve_drop_loop(heap_growth):
    def once():
        x = [quenda.var(ub=i + 1) for i in range(20)]
        p = quiet(quenda.problem())
        p.addVariable(x)
        p.addConstraint(quenda.Sum(x) <= 30)
        p.setObjective(quenda.Sum((i + 1) * x[i] for i in range(20)) + x[0] * x[0] + x[1] ** 2,
                       sense=quenda.minimize)
        p.solve()
        p.getSolution()
        p.getSolution(x)
        p.getDual()
        p.getObjVal()
        p.getProbStatusString()
        return x[0]

    v = once()
    base = sys.getrefcount(v)
    assert heap_growth(once, 5, 200) < 100_000
    assert sys.getrefcount(v) == base


def test_other_threads_run_during_solve():
    """The interpreter lock is released for the optimisation."""
    import random
    import threading

    rng = random.Random(3)
    p = quiet(quenda.problem())
    x = [quenda.var(vartype=quenda.binary) for _ in range(40)]
    dev = [quenda.var() for _ in range(10)]
    p.addVariable(x, dev)
    for i in range(5):   # market split rows: hard for branch and bound
        a = [rng.randint(0, 99) for _ in x]
        p.addConstraint(quenda.Sum(a[j] * x[j] for j in range(40)) + dev[2 * i] - dev[2 * i + 1]
                        == sum(a) // 2)
    p.setObjective(quenda.Sum(dev))
    p.setControl("timelimit", 1.0)

    ticks = [0]
    stop = threading.Event()

    def spin():
        while not stop.is_set():
            ticks[0] += 1

    t = threading.Thread(target=spin)
    t.start()
    try:
        p.solve()
    finally:
        stop.set()
        t.join()
    assert p.getAttrib("stopstatus") == quenda.stop_timelimit
    assert ticks[0] > 100_000
