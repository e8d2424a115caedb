"""What an optimisation tells beyond its solution (rays, infeasibilities,
the basis order, the presolve map), delayed rows, directives."""
import pytest

import quendalib as quenda

from test_load import lp, quiet

INF = 1e20


def load(rowtypes, rhs, obj, cols, lb, ub, rng=None):
    """cols: one list of (row, value) per column."""
    start, rows, vals = [0], [], []
    for c in cols:
        rows += [r for r, _ in c]
        vals += [v for _, v in c]
        start.append(len(rows))
    p = quiet(quenda.problem())
    p.loadproblem("t", rowtypes, rhs, rng, obj, start, None, rows, vals, lb, ub)
    return p


def dense(p):
    m, n = p.getAttrib("rows"), p.getAttrib("cols")
    ms, mc, mv = [], [], []
    p.getrows(ms, mc, mv, 10 ** 6, 0, m - 1)
    cols = p.getVariable()
    a = [[0.0] * n for _ in range(m)]
    for i in range(m):
        for k in range(ms[i], ms[i + 1]):
            a[i][cols.index(mc[k])] = mv[k]
    return a


def row_bounds(p):
    m = p.getAttrib("rows")
    t, rhs, rng = [], [], []
    p.getrowtype(t, 0, m - 1)
    p.getrhs(rhs, 0, m - 1)
    p.getrhsrange(rng, 0, m - 1)
    lo = {"L": -INF, "G": 1, "E": 1, "R": 1, "N": -INF}
    out = []
    for ti, b, r in zip(t, rhs, rng):
        out.append((b - r if ti == "R" else (b if ti in "GE" else -INF),
                    b if ti in "LER" else INF))
    return out


class TestRays:
    def test_dual_ray_certifies_infeasibility(self):
        # x + y <= 1, x - y >= 2, y >= 0.5, 0 <= x <= 10, 0 <= y <= 10
        p = load(["L", "G", "G"], [1, 2, 0.5], [1, 1],
                 [[(0, 1), (1, 1)], [(0, 1), (1, -1), (2, 1)]], [0, 0], [10, 10])
        p.solve()
        assert p.getProbStatusString() == "lp_infeas"
        assert p.hasdualray() and not p.hasprimalray()
        y = []
        p.getdualray(y)
        a, bounds = dense(p), row_bounds(p)
        lb, ub = [], []
        p.getlb(lb)
        p.getub(ub)
        # y'Ax over the column box against y'r over the row box: the ranges
        # are disjoint for a real certificate (in one direction or the other).
        z = [sum(y[i] * a[i][j] for i in range(len(y))) for j in range(len(lb))]
        ax_max = sum(max(zj * l, zj * u) for zj, l, u in zip(z, lb, ub))
        ax_min = sum(min(zj * l, zj * u) for zj, l, u in zip(z, lb, ub))
        r_terms = [(yi * lo, yi * hi) for yi, (lo, hi) in zip(y, bounds) if yi != 0]
        r_min = sum(min(t) for t in r_terms)
        r_max = sum(max(t) for t in r_terms)
        assert ax_max < r_min - 1e-9 or ax_min > r_max + 1e-9

    def test_primal_ray_of_unbounded_lp(self):
        # min -x - y, x - y <= 1, x, y >= 0: unbounded along (1, 1)
        p = load(["L"], [1], [-1, -1], [[(0, 1)], [(0, -1)]], [0, 0], [INF, INF])
        p.setControl("presolve", 0)
        p.solve()
        assert p.getProbStatusString() == "lp_unbounded"
        assert p.hasprimalray()
        d = []
        p.getprimalray(d)
        assert all(v >= -1e-9 for v in d)          # the column bounds hold along it
        assert d[0] - d[1] <= 1e-9                 # the row holds along it
        assert -d[0] - d[1] < -1e-9                # the objective improves

    def test_no_ray_at_optimum(self):
        p = lp()
        p.solve()
        assert not p.hasprimalray() and not p.hasdualray()
        with pytest.raises(quenda.SolverError, match="no ray"):
            p.getdualray([])
        with pytest.raises(quenda.InterfaceError,
                           match=r"Must provide argument to retrieve \(primal or dual\) ray"):
            p.getprimalray(None)


class TestBasisAndMaps:
    def test_pivot_order_matches_basis(self):
        p = lp(colnames=["x", "y"], rownames=["cap", "mix"])
        p.solve()
        piv, r, c = [], [], []
        p.getpivotorder(piv)
        p.getbasis(r, c)
        basic = {id(v) for v, s in zip(p.getVariable(), c) if s == 1}
        basic |= {id(k) for k, s in zip(p.getConstraint(), r) if s == 1}
        assert len(piv) == 2 and {id(o) for o in piv} == basic

    def test_presolve_views_are_the_problem(self):
        p = lp()
        p.solve()
        rm, cm = [], []
        p.getpresolvemap(rm, cm)
        assert rm == [0, 1] and cm == [0, 1]
        r1, c1, r2, c2 = [], [], [], []
        p.getbasis(r1, c1)
        p.getpresolvebasis(r2, c2)
        assert (r1, c1) == (r2, c2)
        p.loadpresolvebasis(r2, c2)
        with pytest.raises(quenda.InterfaceError, match="Must provide argument rowmap and colmap"):
            p.getpresolvemap(None, cm)

    @pytest.mark.parametrize("enter,objective,leaving,x", [
        # cap leaves its bound: x + 3y = 7 holds, x falls to 0 after 5/3
        ("cap", -14 / 3, "x", [5 / 3, 0, 0, 7 / 3]),
        # mix leaves its bound: x + y = 4 holds, x reaches its bound 3
        ("mix", -5.0, "x", [0, 1, 3, 1]),
    ])
    def test_pivots_by_hand(self, enter, objective, leaving, x):
        p = lp(colnames=["x", "y"], rownames=["cap", "mix"])
        p.solve()
        out, xv = [], []
        res = p.getpivots(p.getConstraint()[["cap", "mix"].index(enter)], out, xv, 5)
        assert res[0] == pytest.approx(objective) and res[1] == 1
        assert out[0] is p.getVariable()[0] and out[0].name == leaving
        assert xv == pytest.approx(x)

    def test_pivots_refused(self):
        p = lp()
        with pytest.raises(quenda.SolverError, match="no optimal basis"):
            p.getpivots(0, [], [], 5)
        p.solve()
        with pytest.raises(quenda.SolverError, match="is basic"):
            p.getpivots(p.getVariable()[0], [], [], 5)

    @pytest.mark.parametrize("over,flags,match", [
        (dict(mqcol1=[0], mqcol2=[0], dqe=[1]), "", "quadratic objective"),
        (dict(qstype=["1"], msstart=[0, 2], mscols=[0, 1], dref=[1, 2], dub=[3, 5]), "",
         "reformulation \\(3 more rows, 2 more columns\\)"),
        (dict(qgtype=["I"], mgcols=[0]), "", "a MIP search leaves none"),
        ({}, "P", "presolved"),
    ], ids=["qp", "sos", "mip", "presolved"])
    def test_pivots_refusal_says_why(self, over, flags, match):
        p = lp(**over)
        (p.mipoptimize if "qgtype" in over else p.lpoptimize)(flags)
        with pytest.raises(quenda.SolverError, match=match):
            p.getpivots(0, [], [], 5)

    def test_infeasibilities_of_an_optimum_are_none(self):
        p = lp()
        p.solve()
        lists = [[9], [9], [9], [9]]
        p.getinfeas(*lists)
        assert lists == [[], [], [], []]
        p.getscaledinfeas(*lists)
        assert lists == [[], [], [], []]

    def test_infeasibilities_need_a_solution(self):
        with pytest.raises(quenda.SolverError, match="no solution"):
            lp().getinfeas([], [], [], [])

    def test_message_status(self):
        assert lp().getmessagestatus(1) == 1


class TestDelayedRows:
    def test_delayed_row_cuts_off_first_solution(self):
        # min -x - y, x, y <= 10, rows x + y <= 5 (delayed), x - y <= 8
        p = load(["L", "L"], [5, 8], [-1, -1], [[(0, 1), (1, 1)], [(0, 1), (1, -1)]],
                 [0, 0], [10, 10])
        p.loaddelayedrows([0])
        p.solve()
        assert p.getObjVal() == pytest.approx(-5)
        x, s = [], []
        p.getlpsol(x, s)
        assert x[0] + x[1] <= 5 + 1e-9 and s[0] >= -1e-9

    def test_delayed_rows_of_a_mip(self):
        p = load(["L", "L"], [3.5, 100], [-1, -1], [[(0, 1), (1, 1)], [(0, 1), (1, 1)]],
                 [0, 0], [10, 10])
        p.chgcoltype([0, 1], ["I", "I"])
        p.loaddelayedrows([p.getConstraint()[0]])
        p.solve()
        assert p.getProbStatusString() == "mip_optimal"
        assert p.getObjVal() == pytest.approx(-3)

    def test_model_cuts_and_secure_vectors_keep_the_optimum(self):
        p = lp()
        p.loadmodelcuts([1])
        p.loadsecurevecs([0], [1])
        p.solve()
        assert p.getObjVal() == pytest.approx(-5.5)
        with pytest.raises(quenda.SolverError):
            p.loaddelayedrows([7])


class TestDirectives:
    def test_round_trip(self):
        p = lp(colnames=["x", "y"])
        p.loaddirs(["y", 0], [3, 7], ["U", "D"], [1.5, 0], [0, 2.5])
        cols, pri, br, up, dn = [], [], [], [], []
        p.getdirs(cols, pri, br, up, dn)
        xs = p.getVariable()
        assert cols == xs and pri == [7, 3] and br == ["D", "U"]
        assert up == [0, 1.5] and dn == [2.5, 0]
        p.loadbranchdirs([1], [-1])
        p.getdirs(cols, pri, br, up, dn)
        assert br == ["D", "D"] and pri == [7, 3]

    def test_defaults_and_presolve_variant(self):
        p = lp()
        p.loadpresolvedirs([1])
        cols, pri, br = [], [], []
        p.getdirs(cols, pri, br, None, None)
        assert pri == [500] and br == ["N"] and cols == [p.getVariable()[1]]

    def test_bad_directives(self):
        p = lp()
        with pytest.raises(quenda.SolverError):
            p.loaddirs([0], qbr=["X"])
        with pytest.raises(quenda.InterfaceError, match="Must provide arguments \\(as lists\\)"):
            p.getdirs(None, None, None, None, None)

    def test_mip_solves_with_directives(self):
        p = lp()
        p.chgcoltype([0, 1], ["I", "I"])
        p.loaddirs([0, 1], [1, 2])
        p.solve()
        assert p.getObjVal() == pytest.approx(-5)
