"""Changing and reading a problem at matrix level: chg... changes seen by
the next solve, the range rules of the getters, outputs as objects."""
import numpy as np
import pytest

import quendalib as quenda

from test_load import lp


@pytest.fixture
def p():
    return lp(colnames=["x", "y"], rownames=["cap", "mix"])


class TestChange:
    @pytest.mark.parametrize("call,objective", [
        (lambda p: p.chgobj(["y"], [-1]), -4.0),                      # max x + y: x = 3, y = 1
        (lambda p: p.chgobj([-1], [10]), 4.5),                        # constant term
        (lambda p: p.chgbounds([0], ["U"], [1]), -5.0),               # x <= 1: y = 2
        (lambda p: p.chgrhs(["cap"], [3]), -5.0),                     # x + y <= 3: x = 1, y = 2
        (lambda p: p.chgcoef("mix", "x", 3), -14 / 3),                # 3x + 3y <= 7: y = 7/3
        (lambda p: p.chgmcoef([0, 1], [0, 0], [2, 2]), -14 / 3),
        (lambda p: p.chgrowtype(["cap"], ["G"]), -17 / 3),            # x = 3, y = 4/3
        (lambda p: p.chgrhsrange([1], [1]), -5.5),
        (lambda p: p.chgobjsense(-1), 0.0),                           # maximise -x - 2y: 0
    ])
    def test_change_seen_by_next_solve(self, p, call, objective):
        p.solve()
        call(p)
        p.solve()
        assert p.getObjVal() == pytest.approx(objective, abs=1e-7)

    @pytest.mark.parametrize("sense,expected", [(1, -5.5), (0, 0.0), (-1, 0.0), (7, 0.0)])
    def test_objsense_two_way(self, p, sense, expected):
        p.chgobjsense(sense)
        p.solve()
        assert p.getObjVal() == pytest.approx(expected, abs=1e-9)

    def test_coltype_and_limit(self, p):
        p.chgcoltype(["x", "y"], ["I", "I"])
        t = []
        p.getcoltype(t, 0, 1)
        assert t == ["I", "I"]
        p.solve()
        assert p.getProbStatusString() == "mip_optimal"
        assert p.getObjVal() == pytest.approx(-5)

    def test_quadratic_changes(self, p):
        p.chgqobj("x", "y", 1.0)
        assert p.getqobj(0, 1) == pytest.approx(1.0)
        p.chgmqobj([0], [0], [3.0])
        assert p.getqobj("x", "x") == pytest.approx(3.0)
        p.chgqrowcoeff("cap", "x", "y", 2.0)
        assert p.getqrowcoeff(0, 0, 1) == pytest.approx(2.0)

    def test_indicators(self, p):
        p.chgcoltype([1], ["B"])
        p.setindicators(["mix"], ["y"], [1])
        inds, comps = [], []
        p.getindicators(inds, comps, 0, 1)
        assert inds[0] == -1 and inds[1] is p.getVariable()[1] and comps == [0, 1]

    @pytest.mark.parametrize("method,args,msg", [
        ("chgbounds", ([0], None, [1]), "Must provide arguments mindex, qbtype, bnd"),
        ("chgmcoef", (None, [0], [1]), "Must provide arguments mrow, mcol, dval"),
        ("chgrowtype", ([0], None), "Must provide arguments mindex and qrtype"),
        ("chgcoltype", (None, ["I"]), "Must provide arguments mindex, qbtype"),
        ("chgglblimit", ([0], None), "Must provide arguments mindex, dlimit"),
        ("chgobj", ([0], None), "Must provide arguments mindex, obj"),
        ("chgrhs", (None, [1]), "Must provide arguments mindex, rhs"),
        ("chgrhsrange", ([0], None), "Must provide arguments mindex, rng"),
        ("chgmqobj", ([0], [0], None), "Must provide arguments mqcol1, mqcol2, dval"),
    ])
    def test_missing_arguments(self, p, method, args, msg):
        with pytest.raises(quenda.InterfaceError, match=msg):
            getattr(p, method)(*args)

    def test_mismatch_and_bad_index(self, p):
        with pytest.raises(quenda.ModelError, match="expected 2, found 1"):
            p.chgobj([0, 1], [1])
        with pytest.raises(quenda.SolverError):
            p.chgobj([5], [1])
        with pytest.raises(quenda.ModelError, match="Invalid constraint object"):
            p.chgrhs([p.getVariable()[0]], [1])


class TestQuery:
    def test_ranges_and_kinds(self, p):
        rt, rhs, rng, obj = [], [], [], []
        p.getrowtype(rt, "cap", "mix")
        p.getrhs(rhs, 0, 1)
        p.getrhsrange(rng, 0, 1)
        p.getobj(obj, "x", "y")
        assert (rt, rhs, rng, obj) == (["L", "L"], [4, 7], [0, 0], [-1, -2])

    def test_bounds_defaults_and_empty_range(self, p):
        lb, ub = ["stale"] * 5, []
        p.getlb(lb)
        p.getub(ub, 1)
        assert lb == [0, 0] and ub == [1e20]
        keep = [9]
        assert p.getlb(keep, 1, 0) is None and keep == [9]

    @pytest.mark.parametrize("method,args,msg", [
        ("getrowtype", ([], 1, 0), "Empty range of rows requested"),
        ("getrhs", ([], 1, 0), "Empty range of rows requested"),
        ("getobj", ([], 1, 0), "Empty range of columns requested"),
        ("getrows", ([], [], [], 10, 1, 0), "Empty range of columns requested"),
        ("getcols", ([], [], [], 10, 1, 0), "Empty range of columns requested"),
        ("getindicators", ([], [], 1, 0), "Empty range of rows requested"),
        ("getrowtype", (None, 0, 1), "Must provide argument qrtype"),
        ("getcoltype", (None, 0, 1), "Must provide argument coltype"),
        ("getobj", (None, 0, 1), "Must provide argument obj"),
        ("getrhs", (None, 0, 1), "Must provide argument: rhs or range"),
        ("getcols", (None, None, None, 1, 0, 1),
         "Must provide at least one of arguments mstart, mrwind, dmatval"),
        ("getbasis", (None, None), r"Must provide arguments \(as lists\) of get\[presolve\]basis"),
    ])
    def test_messages(self, p, method, args, msg):
        with pytest.raises(quenda.InterfaceError, match=msg):
            getattr(p, method)(*args)

    def test_rows_and_cols_as_objects(self, p):
        xs, cons = p.getVariable(), p.getConstraint()
        ms, mc, mv = [], [], []
        p.getrows(ms, mc, mv, 100, 0, 0)
        assert ms == [0, 2] and mc == xs and mv == [1, 1]
        assert all(type(v) is quenda.var for v in mc)
        ms, mr, mv = [], [], []
        p.getcols(ms, mr, mv, 100, "y", "y")
        assert ms == [0, 2] and [id(c) for c in mr] == [id(c) for c in cons] and mv == [1, 3]
        ms, mc, mv = [], [], []
        p.getrows(ms, mc, mv, 1, 0, 1)     # size caps the entries
        assert ms == [0, 2, 4] and len(mc) == len(mv) == 1

    def test_output_lists(self, p):
        p.solve()
        slack = [1, 2, 3, 4]
        p.getlpsol(None, slack)
        assert slack == pytest.approx([0, 0])
        with pytest.raises(quenda.ModelError, match="Argument of type List required"):
            p.getlpsol((), None)
        r, c = [], []
        p.getbasis(r, c)
        assert c == [1, 1] and all(s in (0, 2) for s in r)
        p.loadbasis(r, c)
        p.solve()
        assert p.getAttrib("simplexiter") == 0

    def test_info_and_lasterror(self, p):
        kind, ident = p.getcontrolinfo("loglevel")
        assert kind == 1 and ident > 0
        assert p.getattribinfo("rows")[0] == 1
        assert p.getcontrolinfo("nosuchcontrol")[0] == 0
        assert isinstance(p.getlasterror(), str)

    def test_no_reference_leaks(self, p):
        import sys
        xs = p.getVariable()
        before = [sys.getrefcount(v) for v in xs]
        for _ in range(100):
            ms, mc, mv = [], [], []
            p.getrows(ms, mc, mv, 100, 0, 1)
            p.chgobj(xs, [1, 1])
            del ms, mc, mv
        assert [sys.getrefcount(v) for v in xs] == before


class TestMoreQueries:
    def test_presolve_solution_is_the_solution(self, p):
        p.solve()
        a, b = [], []
        p.getlpsol(a)
        p.getpresolvesol(b)
        assert a == b == pytest.approx([2.5, 1.5])

    def test_qrow_matrix(self, p):
        x, y = p.getVariable()
        p.addqmatrix("cap", [x, x], [x, y], [2.0, 1.0])
        ms, mc, mv = [], [], []
        n = p.getqrowqmatrix("cap", ms, mc, mv, 10, 0, 1)
        assert n == 2 and ms == [0, 2, 2] and mc == [x, y] and mv == pytest.approx([2, 1])

    @pytest.mark.parametrize("types", [np.array(["L", "G"]), np.array([b"L", b"G"]),
                                       ["L", "G"], iter("LG")])
    def test_row_types_from_any_array(self, p, types):
        p.chgrowtype([0, 1], types)
        t = []
        p.getrowtype(t, 0, 1)
        assert t == ["L", "G"]

    def test_empty_string_refused(self, p):
        with pytest.raises(quenda.ModelError, match="Character expected"):
            p.chgrowtype([0], np.array([b""]))
