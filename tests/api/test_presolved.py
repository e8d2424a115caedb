"""The presolved state: lpoptimize('P') / mipoptimize('P') leave a problem
presolved, the presolve variants answer for the presolved problem, and
postsolve brings the solution back."""
import os

import pytest

import quendalib as quenda

from test_load import lp, quiet

DATA = os.path.join(os.path.dirname(__file__), "..", "data")


def read(name):
    p = quiet(quenda.problem())
    p.read(os.path.join(DATA, name))
    return p


def direct(name, mip):
    p = read(name)
    (p.mipoptimize if mip else p.lpoptimize)()
    return p.getAttrib("mipobjval" if mip else "lpobjval")


def rows_of(p):
    """Each original row as {column index: coefficient}, with its type and rhs."""
    m = p.getAttrib("originalrows")
    ms, mc, mv, t, rhs = [], [], [], [], []
    p.getrows(ms, mc, mv, 10 ** 6, 0, m - 1)
    p.getrowtype(t, 0, m - 1)
    p.getrhs(rhs, 0, m - 1)
    cols = {id(v): j for j, v in enumerate(p.getVariable())}
    return [({cols[id(mc[k])]: mv[k] for k in range(ms[i], ms[i + 1])}, t[i], rhs[i])
            for i in range(m)]


@pytest.mark.parametrize("name,mip", [
    ("afiro.mps", False), ("adlittle.mps", False), ("scrs8.mps", False),
    ("egout.mps", True), ("flugpl.mps", True),
])
def test_presolved_solve_then_postsolve_matches_direct_solve(name, mip):
    p = read(name)
    rows, cols = p.getAttrib("rows"), p.getAttrib("cols")
    optimize = p.mipoptimize if mip else p.lpoptimize
    optimize("P")
    prow, pcol = p.getAttrib("rows"), p.getAttrib("cols")
    assert (p.getAttrib("originalrows"), p.getAttrib("originalcols")) == (rows, cols)
    assert prow < rows and pcol < cols
    rm, cm = [], []
    p.getpresolvemap(rm, cm)
    assert len(rm) == prow and len(cm) == pcol
    assert all(isinstance(i, int) for i in rm + cm)
    assert rm == sorted(set(rm)) and all(0 <= i < rows for i in rm)
    assert len(set(cm)) == pcol and all(0 <= j < cols for j in cm)
    optimize()
    x = []
    p.getpresolvesol(x)
    assert len(x) == pcol
    p.postsolve()
    assert (p.getAttrib("rows"), p.getAttrib("cols")) == (rows, cols)
    value = p.getAttrib("mipobjval" if mip else "lpobjval")
    assert value == pytest.approx(direct(name, mip), rel=1e-7, abs=1e-7)
    assert len(p.getSolution()) == cols


@pytest.mark.parametrize("name", ["egout.mps", "lseu.mps"])
def test_stopped_mip_stays_presolved_and_postsolves_to_a_feasible_point(name):
    p = read(name)
    p.mipoptimize("P")
    p.setControl("maxmipsol", 1)
    p.mipoptimize()
    assert p.getAttrib("stopstatus") == 6  # solution limit
    assert p.getAttrib("cols") < p.getAttrib("originalcols")
    found = p.getAttrib("mipobjval")
    p.postsolve()
    x, obj = p.getSolution(), []
    p.getobj(obj, 0, len(x) - 1)
    assert sum(c * v for c, v in zip(obj, x)) == pytest.approx(found, rel=1e-9)
    lists = [[9], [9], [9], [9]]
    p.getinfeas(*lists)
    assert lists[:2] == [[], []]


def test_presolverow_in_presolved_columns():
    p = read("afiro.mps")
    orig = rows_of(p)
    p.lpoptimize("P")
    rm, cm = [], []
    p.getpresolvemap(rm, cm)
    kept = set(cm)
    pos = {j: k for k, j in enumerate(cm)}
    p.lpoptimize()
    xp = []
    p.getpresolvesol(xp)
    rows = []
    for i in rm:
        coef, rtype, rhs = orig[i]
        mc, mv = [], []
        prhs, status = p.presolverow(rtype, list(coef), list(coef.values()), rhs, len(cm), mc, mv)
        rows.append((i, mc, mv, prhs, status))
        if status == 0 and set(coef) <= kept and p.getAttrib("mipents") == 0:
            # Every column survived: the row is the same row, renumbered.
            assert dict(zip(mc, mv)) == {pos[j]: v for j, v in coef.items()}
            assert prhs == rhs
    assert any(r[4] == 0 for r in rows)
    p.postsolve()
    x = p.getSolution()
    for i, mc, mv, prhs, status in rows:
        if status != 0:
            continue
        coef, _, rhs = orig[i]
        lhs = sum(v * x[j] for j, v in coef.items()) - rhs
        plhs = sum(v * xp[k] for k, v in zip(mc, mv)) - prhs
        assert lhs == pytest.approx(plhs, abs=1e-7), i


def test_fixed_column_moves_into_rhs():
    # min x + y + z, x + y >= 1, x + 2y + z <= 10, z fixed at 3
    p = lp(qrtypes=["G", "L"], rhs=[1, 10], obj=[1, 1, 1], mstart=[0, 2, 4, 5],
           mrwind=[0, 1, 0, 1, 1], dmatval=[1, 1, 1, 2, 1], dlb=[0, 0, 3], dub=[1e20, 1e20, 3])
    z = p.getVariable()[2]
    # Outside the presolved state the row comes back as given.
    mc, mv = [], []
    assert p.presolverow("L", [0, 1, z], [1, 2, 1], 10, 3, mc, mv) == (10, 0)
    assert (mc, mv) == ([0, 1, 2], [1, 2, 1])
    p.lpoptimize("P")
    rm, cm = [], []
    p.getpresolvemap(rm, cm)
    assert 2 not in cm
    mc, mv = [], []
    prhs, status = p.presolverow("L", [0, 1, z], [1, 2, 1], 10, 3, mc, mv)
    assert status == 0
    if len(cm) == 2:
        assert prhs == 7 and mc == [0, 1]
    p.lpoptimize()
    xp = []
    p.getpresolvesol(xp)
    p.postsolve()
    assert p.getObjVal() == pytest.approx(4)
    x = p.getSolution()
    assert x[2] == pytest.approx(3)
    assert x[0] + 2 * x[1] + x[2] - 10 == pytest.approx(
        sum(v * xp[k] for k, v in zip(mc, mv)) - prhs)


class TestPresolvedState:
    def test_solution_and_basis_of_the_presolved_problem(self):
        p = read("afiro.mps")
        p.lpoptimize("P")
        with pytest.raises(quenda.SolverError, match="no solution of the presolved problem"):
            p.getpresolvesol([])
        p.lpoptimize()
        prow, pcol = p.getAttrib("rows"), p.getAttrib("cols")
        x, s, d, dj, r, c = [], [], [], [], [], []
        p.getpresolvesol(x, s, d, dj)
        assert (len(x), len(s), len(d), len(dj)) == (pcol, prow, prow, pcol)
        p.getpresolvebasis(r, c)
        assert (len(r), len(c)) == (prow, pcol)
        assert (r + c).count(1) == prow
        with pytest.raises(quenda.SolverError, match="presolved"):
            p.getlpsol([])
        lists = [[9], [9], [9], [9]]
        p.getscaledinfeas(*lists)
        assert lists == [[], [], [], []]
        with pytest.raises(quenda.SolverError, match="presolved"):
            p.getinfeas([], [], [], [])
        p.loadpresolvebasis(r, c)
        p.lpoptimize()
        assert p.getAttrib("simplexiter") == 0
        with pytest.raises(quenda.ModelError, match="Mismatched lengths"):
            p.loadpresolvebasis(r + [1], c)

    def test_model_change_ends_the_state(self):
        p = read("afiro.mps")
        cols = p.getAttrib("cols")
        p.lpoptimize("P")
        assert p.getAttrib("cols") < cols
        p.chgobj([0], [0.5])
        assert p.getAttrib("cols") == cols
        rm, cm = [], []
        p.getpresolvemap(rm, cm)
        assert cm == list(range(cols))

    def test_secured_column_presolve_removes_fails(self):
        p = lp(qrtypes=["G", "L"], rhs=[1, 10], obj=[1, 1, 1], mstart=[0, 2, 4, 5],
               mrwind=[0, 1, 0, 1, 1], dmatval=[1, 1, 1, 2, 1], dlb=[0, 0, 3],
               dub=[1e20, 1e20, 3])
        p.loadsecurevecs([], [2])
        with pytest.raises(quenda.SolverError, match="secured column 2"):
            p.lpoptimize("P")
        assert p.getAttrib("cols") == 3

    def test_presolve_dirs_name_presolved_columns(self):
        p = read("afiro.mps")
        p.lpoptimize("P")
        rm, cm = [], []
        p.getpresolvemap(rm, cm)
        p.loadpresolvedirs([1], [7])
        cols, pri = [], []
        p.getdirs(cols, pri, None, None, None)
        assert cols == [p.getVariable()[cm[1]]] and pri == [7]

    @pytest.mark.parametrize("args,exc,msg", [
        (("X", [0], [1.0], 1.0, 2, [], []), quenda.SolverError, "rowtype"),
        (("L", None, [1.0], 1.0, 2, [], []), quenda.InterfaceError,
         "Must provide arguments mcolso, dvalo"),
        (("L", [0, 1], [1.0], 1.0, 2, [], []), quenda.ModelError, "Mismatched lengths"),
        (("L", [0], [1.0], 1.0, 2, (), []), quenda.InterfaceError, "mcolsp must be a list"),
        (("L", [0], [1.0], 1.0, -1, [], []), quenda.InterfaceError, "maxcoeffs"),
        (("L", ["nosuch"], [1.0], 1.0, 2, [], []), quenda.SolverError, "No column named"),
    ])
    def test_presolverow_bad_input(self, args, exc, msg):
        with pytest.raises(exc, match=msg):
            lp().presolverow(*args)

    def test_presolverow_too_many_coefficients_leaves_lists(self):
        mc, mv = ["keep"], ["keep"]
        assert lp().presolverow("L", [0, 1], [1, 1], 4, 1, mc, mv) == (4, 1)
        assert mc == ["keep"] and mv == ["keep"]


AFIRO = read("afiro.mps")


def cycle():
    AFIRO.lpoptimize("P")
    AFIRO.lpoptimize()
    x, r, c = [], [], []
    AFIRO.getpresolvesol(x)
    AFIRO.getpresolvebasis(r, c)
    AFIRO.presolverow("L", [0, 1], [1, 1], 1, 10, [], [])
    AFIRO.postsolve()


def refused():
    try:
        AFIRO.presolverow("L", [0, "nosuch"], [1, 1], 1, 10, [], [])
    except quenda.SolverError:
        pass


@pytest.mark.parametrize("call", [cycle, refused], ids=["cycle", "refused"])
def test_no_growth(heap_growth, call):
    assert heap_growth(call, 10, 100) < 64 * 1024
