"""Repairs and sensitivity ranges through the problem's methods, checked
by hand and by solving the changed problem outright."""
import pytest

import quendalib as quenda


def quiet(p):
    p.setControl("loglevel", 0)
    return p


@pytest.fixture
def conflict():
    """x >= 3 (row 0) against x <= 1 (row 1), minimising x."""
    x = quenda.var(name="x", lb=0, ub=10)
    p = quiet(quenda.problem())
    p.addVariable(x)
    p.addConstraint(quenda.constraint(x >= 3, name="low"), quenda.constraint(x <= 1, name="high"))
    p.setObjective(x)
    return p, x


class TestRepair:
    @pytest.mark.parametrize("grp,lrp,expected", [([1, 0], [0, 10], 1.0), ([10, 0], [0, 1], 3.0)],
                             ids=["low-cheap", "high-cheap"])
    def test_cheap_row_gives_way(self, conflict, grp, lrp, expected):
        p, x = conflict
        assert p.repairweightedinfeas(lrp, grp, None, None, "n", 0.0, "") == 0
        assert p.getSolution(x) == pytest.approx(expected)

    def test_phase_two_no_worse(self):
        x, y = quenda.var(ub=10), quenda.var(ub=10)
        p = quiet(quenda.problem())
        p.addVariable(x, y)
        p.addConstraint(x + y >= 4, x + y <= 2)
        p.setObjective(x + 2 * y)
        obj = {}
        for phase2 in "no":
            assert p.repairweightedinfeas([0, 1], [1, 0], [0, 0], [0, 0], phase2, 0.0, "") == 0
            vx, vy = p.getSolution([x, y])
            obj[phase2] = vx + 2 * vy
        assert obj["o"] <= obj["n"] + 1e-9
        assert obj["o"] == pytest.approx(2.0)

    @pytest.mark.parametrize("sense", [quenda.minimize, quenda.maximize])
    def test_least_violation_whatever_the_sense(self, sense):
        # 60 machine hours needed, 40 available: 20 hours of overtime at 1
        # beat falling short on an order at 10 a unit.
        a, b = quenda.var(), quenda.var()
        p = quiet(quenda.problem())
        p.addVariable(a, b)
        p.addConstraint(a + 1.5 * b <= 40, a >= 30, b >= 20, a + b <= 100)
        p.setObjective(5 * a + 4 * b, sense=sense)
        assert p.repairweightedinfeas([1, 0, 0, 0], [0, 10, 10, 0], None, None, "n", 0, "") == 0
        assert p.getSolution([a, b]) == pytest.approx([30, 20])

    def test_bounds_relaxed(self, conflict):
        p, x = conflict
        # only x's upper bound of 10 may move, rows are hard: no repair
        assert p.repairweightedinfeas(None, None, [0], [1], "n", 0.0, "") == 1
        assert p.repairinfeas("c", "n", "n", 1, 1, 1, 1, 0.0) == 0

    def test_limits_on_violations(self, conflict):
        p, x = conflict
        st = p.repairweightedinfeasbounds([0, 1], [1, 0], None, None, None, [0.5, 1e20], None,
                                          None, "n", 0.0, "")
        assert st == 0
        assert p.getSolution(x) == pytest.approx(2.5)

    @pytest.mark.parametrize("call,exc,match", [
        (lambda p: p.repairweightedinfeas([1], [1, 1], None, None, "n", 0.0, ""),
         quenda.ModelError, "Mismatched lengths"),
        (lambda p: p.repairweightedinfeas(None, None, None, None, "nn", 0.0, ""), TypeError, None),
        (lambda p: p.repairweightedinfeas(None, None, None, None, "q", 0.0, ""),
         quenda.SolverError, "phase 2"),
        (lambda p: p.repairinfeas("z", "n", "n", 1, 1, 1, 1, 0.0), quenda.SolverError, "penalty"),
        (lambda p: p.repairweightedinfeas(None, None, None, None, "n", 0.0, "k"),
         quenda.SolverError, "unknown flag"),
    ])
    def test_bad_input(self, conflict, call, exc, match):
        with pytest.raises(exc, match=match):
            call(conflict[0])


def make_lp(xb=(0, quenda.infinity), yb=(0, quenda.infinity)):
    """max 3x + 2y: x + y <= 4, x + 3y <= 9, x <= 3; optimum (3, 1)."""
    x = quenda.var(name="x", lb=xb[0], ub=xb[1])
    y = quenda.var(name="y", lb=yb[0], ub=yb[1])
    rows = [quenda.constraint(x + y <= 4), quenda.constraint(x + 3 * y <= 9),
            quenda.constraint(x <= 3)]
    p = quiet(quenda.problem())
    p.addVariable(x, y)
    p.addConstraint(rows)
    p.setObjective(3 * x + 2 * y, sense=quenda.maximize)
    return p, x, y, rows


@pytest.fixture
def lp():
    return make_lp()


class TestRanging:
    def test_objective_ranges(self, lp):
        p, x, y, _ = lp
        lo, up = [], []
        p.objsa([x, y], lo, up)
        assert lo == pytest.approx([2.0, 0.0])
        assert up[0] >= 1e20 and up[1] == pytest.approx(3.0)
        # resolving just inside and just outside the range of y's cost
        for cost, moved in [(2.9, False), (3.1, True)]:
            p.setObjective(3 * x + cost * y, sense=quenda.maximize)
            p.solve()
            assert (abs(p.getSolution(x) - 3.0) > 1e-6) == moved

    def test_rhs_ranges(self, lp):
        p, _, _, rows = lp
        lo, up = [], []
        p.rhssa([rows[0], 2], lo, up)
        assert lo == pytest.approx([3.0, 1.5]) and up == pytest.approx([5.0, 4.0])

    def test_refused_on_mip_and_bad_index(self, lp):
        p, x, _, _ = lp
        with pytest.raises(quenda.SolverError, match="column 7 out of range"):
            p.objsa([7], [], [])
        with pytest.raises(quenda.InterfaceError):
            p.objsa([x], (), [])
        p2 = quiet(quenda.problem())
        z = quenda.var(vartype=quenda.integer, ub=3)
        p2.addVariable(z)
        p2.setObjective(z)
        with pytest.raises(quenda.SolverError, match="discrete"):
            p2.objsa([z], [], [])


class TestBranchingAndStability:
    def test_strongbranch_matches_child_solves(self, lp):
        p, x, y, _ = lp
        objs, stats = [], []
        inf = quenda.infinity
        # (variable, side, value, the child's bounds of x and y)
        cands = [(x, "U", 2.0, (0, 2), (0, inf)), (y, "L", 2.0, (0, inf), (2, inf)),
                 (y, "L", 5.0, (0, inf), (5, inf))]
        p.strongbranch([c[0] for c in cands], [c[1] for c in cands], [c[2] for c in cands], 100,
                       objs, stats)
        assert stats == [1, 1, 2]
        for (_, _, _, xb, yb), obj, st in zip(cands, objs, stats):
            child = make_lp(xb, yb)[0]
            child.solve()
            if st == 1:
                assert child.getObjVal() == pytest.approx(obj)
            else:
                assert child.getProbStatusString() == "lp_infeas"

    def test_basisstability_by_hand(self, lp):
        p = lp[0]
        # basis x, y and the slack of row 1: ||B||_1 = ||B^-1||_1 = 4
        assert p.basisstability(0, 1, 0) == pytest.approx(16.0)
        with pytest.raises(quenda.SolverError, match="norm"):
            p.basisstability(0, 2, 0)

    def test_strongbranch_bad_input(self, lp):
        p, x, _, _ = lp
        with pytest.raises(quenda.ModelError, match="Mismatched"):
            p.strongbranch([x], ["U", "L"], [1.0], 10, [], [])
        with pytest.raises(quenda.SolverError, match="bound type"):
            p.strongbranch([x], ["Q"], [1.0], 10, [], [])
        with pytest.raises(quenda.InterfaceError):
            p.strongbranch([x], ["U"], [1.0], 10, {}, [])
