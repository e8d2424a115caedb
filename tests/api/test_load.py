"""Loading and extending a problem at matrix level: loadproblem with each of
its groups, addrows/addcols and the objects they create, the messages."""
import os

import numpy as np
import pytest

import quendalib as quenda

AFIRO = os.path.join(os.path.dirname(__file__), "..", "data", "afiro.mps")


def quiet(p):
    p.setControl("loglevel", 0)
    return p


# max x + 2y  s.t.  x + y <= 4,  x + 3y <= 7,  0 <= x <= 3, y >= 0, solved as
# min -x - 2y: optimum x = 2.5, y = 1.5, objective -5.5, duals (-1/2, -1/2).
LP = dict(probname="lp", qrtypes=["L", "L"], rhs=[4, 7], range=None, obj=[-1, -2],
          mstart=[0, 2, 4], mnel=None, mrwind=[0, 1, 0, 1], dmatval=[1, 1, 1, 3],
          dlb=[0, 0], dub=[3, 1e20])


def lp(**over):
    p = quiet(quenda.problem())
    args = dict(LP)
    args.update(over)
    p.loadproblem(**args)
    return p


class TestLoadProblem:
    @pytest.mark.parametrize("conv", [list, tuple, np.array, iter])
    def test_lp_from_any_sequence(self, conv):
        args = {k: (conv(v) if isinstance(v, list) else v) for k, v in LP.items()}
        p = quiet(quenda.problem())
        p.loadproblem(**args)
        p.solve()
        assert p.getObjVal() == pytest.approx(-5.5)
        x, slack, dual, dj = [], [], [], []
        p.getlpsol(x, slack, dual, dj)
        assert x == pytest.approx([2.5, 1.5])
        assert slack == pytest.approx([0, 0])
        assert dual == pytest.approx([-0.5, -0.5])
        assert dj == pytest.approx([0, 0], abs=1e-9)

    def test_objects_and_names(self):
        p = lp(colnames=["x", "y"], rownames=["cap", "mix"])
        xs, cons = p.getVariable(), p.getConstraint()
        assert [v.name for v in xs] == ["x", "y"]
        assert [c.name for c in cons] == ["cap", "mix"]
        assert p.getIndexFromName(2, "y") == 1
        assert p.getIndexFromName(1, "mix") == 1
        p.solve()
        assert p.getSolution(xs[0]) == pytest.approx(2.5)
        assert p.getSolution("y") == pytest.approx(1.5)
        assert p.getDual(cons[1]) == pytest.approx(-0.5)

    def test_default_names_carry_identities(self):
        p = lp()
        for v in p.getVariable():
            assert v.name.startswith("C") and v.name[1:].isdigit()
        for c in p.getConstraint():
            assert c.name.startswith("R") and c.name[1:].isdigit()

    def test_default_names_find_the_same_objects_in_the_library(self):
        p = lp()
        p.addcols([0], [0, 0], [], [], [0], [1])
        p.addrows(["L"], [9], [0, 1], [0], [1])
        xs, cons = p.getVariable(), p.getConstraint()
        assert [p.getIndexFromName(2, v.name) for v in xs] == [0, 1, 2]
        assert [p.getIndexFromName(1, c.name) for c in cons] == [0, 1, 2]
        # A name reaches the library's column, not the one at that position.
        p.chgobj([xs[1].name], [-3])
        obj = []
        p.getobj(obj, 0, 2)
        assert obj == [-1, -3, 0]

    def test_reload_replaces_objects(self):
        p = lp()
        old = p.getVariable()
        p.loadproblem(**dict(LP, obj=[1, 1, 1], dlb=[0] * 3, dub=[1] * 3, mstart=[0, 2, 4, 4]))
        assert len(p.getVariable()) == 3
        p.solve()
        assert {id(v) for v in old}.isdisjoint(id(w) for w in p.getVariable())
        with pytest.raises(quenda.ModelError):
            p.getSolution(old[0])

    def test_mnel_form(self):
        p = lp(mstart=[0, 2], mnel=[2, 2])
        p.solve()
        assert p.getObjVal() == pytest.approx(-5.5)

    def test_mip_with_entities_and_sets(self):
        # max x0 + 2 x1 + 3 x2, x integer <= 2.5 bound, SOS1 over all three.
        p = quiet(quenda.problem())
        p.loadproblem("mip", ["L"], [10], None, [-1, -2, -3], [0, 1, 2, 3], None,
                      [0, 0, 0], [1, 1, 1], [0, 0, 0], [2.5, 2.5, 2.5],
                      qgtype=["I", "I"], mgcols=[1, 2], qstype=["1"], msstart=[0, 3],
                      mscols=[0, 1, 2], dref=[1, 2, 3])
        types = []
        p.getcoltype(types, 0, 2)
        assert types == ["C", "I", "I"]
        assert [v.vartype for v in p.getVariable()] == [quenda.continuous, quenda.integer,
                                                        quenda.integer]
        p.solve()
        assert p.getProbStatusString() == "mip_optimal"
        x, s = [], []
        p.getmipsol(x, s)
        assert x == pytest.approx([0, 0, 2])
        assert s == pytest.approx([8])
        qg, mg, dl, qs, ms, mc, dr = [], [], [], [], [], [], []
        p.getglobal(qg, mg, dl, qs, ms, mc, dr)
        assert (qg, mg, qs, ms, mc, dr) == (["I", "I"], [1, 2], ["1"], [0, 3], [0, 1, 2],
                                            [1, 2, 3])

    def test_semicontinuous_threshold_reaches_var(self):
        p = quiet(quenda.problem())
        p.loadproblem("sc", [], [], None, [1, 1], [0, 0, 0], None, [], [], [0, 0], [5, 5],
                      qgtype=["S"], mgcols=[1], dlim=[2])
        v = p.getVariable()[1]
        assert v.vartype == quenda.semicontinuous and v.threshold == 2

    def test_qp(self):
        # min x^2 + y^2 - x - y, x + y >= 3 : x = y = 1.5, objective 1.5
        p = quiet(quenda.problem())
        p.loadproblem("qp", ["G"], [3], None, [-1, -1], [0, 1, 2], None, [0, 0], [1, 1],
                      [-10, -10], [10, 10], mqcol1=[0, 1], mqcol2=[0, 1], dqe=[1, 1])
        p.solve()
        assert p.getObjVal() == pytest.approx(1.5, abs=1e-5)
        assert p.getqobj(0, 0) == pytest.approx(1)
        ms, mc, mv = [], [], []
        p.getmqobj(ms, mc, mv, 10, 0, 1)
        assert ms == [0, 1, 2] and mc == p.getVariable() and mv == pytest.approx([1, 1])

    def test_qcqp(self):
        # max x + y s.t. x^2 + y^2 <= 2 : x = y = 1
        p = quiet(quenda.problem())
        p.loadproblem("qcqp", ["L"], [2], None, [-1, -1], [0, 0, 0], None, [], [],
                      [-5, -5], [5, 5], qcrows=[0], qcnquads=[2], qcmqcol1=[0, 1],
                      qcmqcol2=[0, 1], qcdqval=[1, 1])
        assert p.getqrowcoeff(0, 1, 1) == pytest.approx(1)
        c1, c2, v = [], [], []
        p.getqrowqmatrixtriplets(0, c1, c2, v)
        xs = p.getVariable()
        assert c1 == xs and c2 == xs and v == pytest.approx([1, 1])

    @pytest.mark.parametrize("extra,group", [
        (dict(mqcol1=[0], mqcol2=[0]), "quadratic objective component"),
        (dict(qcrows=[0], qcnquads=[1], qcmqcol1=[0], qcmqcol2=[0]), "quadratic rows component"),
        (dict(mgcols=[0]), "global entities"),
        (dict(dlim=[1.0]), "global entities"),
        (dict(qgtype=["I"]), "global entities"),
        (dict(qstype=["1"], msstart=[0, 1]), "SOS"),
    ])
    def test_incomplete_groups(self, extra, group):
        p = quiet(quenda.problem())
        with pytest.raises(quenda.ModelError,
                           match="Incomplete list of parameters specified for the " + group):
            p.loadproblem(**dict(LP, **extra))

    @pytest.mark.parametrize("over,expected,found", [
        (dict(mstart=[0, 2]), 3, 2),       # mnel absent: ncols + 1 starts
        (dict(rhs=[4, 6, 8]), 2, 3),
        (dict(dmatval=[1, 1, 1]), 4, 3),
        (dict(dub=[1]), 2, 1),
        (dict(mstart=[0, 2, 4], mnel=[2, 2]), 2, 3),
    ])
    def test_length_messages(self, over, expected, found):
        p = quiet(quenda.problem())
        with pytest.raises(quenda.ModelError,
                           match="Mismatched lengths in arguments: expected %d, found %d"
                           % (expected, found)):
            p.loadproblem(**dict(LP, **over))

    def test_bad_element_and_library_refusal(self):
        p = quiet(quenda.problem())
        with pytest.raises(quenda.ModelError, match="Character expected"):
            p.loadproblem(**dict(LP, qrtypes=[1, 2]))
        with pytest.raises(TypeError):
            p.loadproblem(**dict(LP, obj=["a", "b"]))
        with pytest.raises(quenda.SolverError):
            p.loadproblem(**dict(LP, qrtypes=["L", "X"]))


class TestAddRowsCols:
    def test_addrows_objects_names_and_solve(self):
        p = lp(colnames=["x", "y"])
        x, y = p.getVariable()
        # x <= 2 and x - y >= 0 (y by index): x = 2, y = 5/3
        p.addrows(["L", "G"], [2, 0], [0, 1, 3], [x, x.name, 1], [1, 1, -1],
                  names=["xcap", "bal"])
        cons = p.getConstraint()
        assert [c.name for c in cons[2:]] == ["xcap", "bal"]
        assert p.getIndexFromName(1, "bal") == 3
        p.solve()
        assert p.getSolution([x, y]) == pytest.approx([2, 5 / 3])
        assert p.getSlack(cons[2]) == pytest.approx(0, abs=1e-9)

    def test_addrows_default_names(self):
        p = lp()
        p.addrows(["L"], [9], [0, 1], [0], [1])
        c = p.getConstraint()[-1]
        assert c.name == "R%s" % c.name[1:] and c.name[1:].isdigit()
        assert p.getConstraint(2) is c

    def test_addcols_objects_types_and_solve(self):
        p = lp()
        cons = p.getConstraint()
        p.addcols([-3], [0, 2], [cons[0], 1], [1, 1], [0], [1], names=["z"], types=["B"])
        z = p.getVariable()[2]
        assert z.name == "z" and z.vartype == quenda.binary
        t = []
        p.getcoltype(t, 2, 2)
        assert t == ["B"]
        p.solve()
        assert p.getSolution(z) == pytest.approx(1)

    def test_addcols_default_names_and_wrong_type(self):
        p = lp()
        p.addcols([0], [0, 0], [], [], [0], [1])
        v = p.getVariable()[-1]
        assert v.name.startswith("C") and v.name[1:].isdigit()
        with pytest.raises(quenda.ModelError, match="Incorrect variable type"):
            p.addcols([0], [0, 0], [], [], [0], [1], types=["X"])
        with pytest.raises(quenda.ModelError, match="Incorrect length of variable name list"):
            p.addcols([0], [0, 0], [], [], [0], [1], names=["a", "b"])

    @pytest.mark.parametrize("method,args,msg", [
        ("addrows", (None, [1], [0, 0], [], []),
         "Must provide arguments qrtype, rhs, mstart, mclind, dmatval"),
        ("addcols", ([0], [0, 0], [], [], None, [1]),
         "Must provide arguments objx, mstart, mrwind, dmatval, bdl, bdu"),
        ("addqmatrix", (0, [0], None, [1]), "Must provide arguments mqc1, mqc2, dqe"),
    ])
    def test_missing_arguments(self, method, args, msg):
        with pytest.raises(quenda.InterfaceError, match=msg):
            getattr(lp(), method)(*args)

    def test_foreign_objects_refused(self):
        p = lp()
        other = quenda.var(name="stranger")
        with pytest.raises(quenda.ModelError, match="Variable stranger not in problem"):
            p.addrows(["L"], [1], [0, 1], [other], [1])

    def test_addqmatrix_makes_row_quadratic(self):
        p = lp()
        x, y = p.getVariable()
        p.addqmatrix(p.getConstraint()[0], [x], [x], [1.0])
        assert p.getqrowcoeff(0, x, x) == pytest.approx(1)


def test_afiro_through_arrays():
    """afiro read from its file, taken apart with the getters and loaded
    again from the arrays, solves to the same optimum."""
    src = quiet(quenda.problem())
    src.read(AFIRO)
    rows, cols = src.getAttrib("rows"), src.getAttrib("cols")
    rt, rhs, rng, obj, lb, ub = [], [], [], [], [], []
    src.getrowtype(rt, 0, rows - 1)
    src.getrhs(rhs, 0, rows - 1)
    src.getrhsrange(rng, 0, rows - 1)
    src.getobj(obj, 0, cols - 1)
    src.getlb(lb)
    src.getub(ub)
    ms, mr, mv = [], [], []
    src.getcols(ms, mr, mv, 10 ** 6, 0, cols - 1)
    rowidx = [src.getConstraint().index(c) for c in mr]
    dst = quiet(quenda.problem())
    dst.loadproblem("afiro", rt, rhs, rng, obj, np.array(ms), None, np.array(rowidx),
                    np.array(mv), lb, ub, colnames=[v.name for v in src.getVariable()])
    dst.solve()
    assert dst.getObjVal() == pytest.approx(-464.75314286, rel=1e-7)
    src.solve()
    assert dst.getSolution("X01") == pytest.approx(src.getSolution("X01"))


@pytest.mark.parametrize("over,msg", [
    (dict(mstart=[0, 5, 4]), "mstart of item 0 spans entries 0 to 5, outside the 4 given"),
    (dict(mstart=[-5, 2, 4]), "mstart of item 0 spans entries -5 to 2"),
    (dict(mstart=[0, 2], mnel=[-2, 6], mrwind=[0] * 4), "mstart of item 0 spans entries 0 to -2"),
    (dict(qstype=["1"], msstart=[0, 9], mscols=[0, 1], dref=[1, 2]),
     "msstart of item 0 spans entries 0 to 9, outside the 2 given"),
    (dict(qcrows=[0], qcnquads=[5], qcmqcol1=[0], qcmqcol2=[0], qcdqval=[1]),
     "qcnquads counts 5 quadratic row terms, qcmqcol1 holds 1"),
])
def test_spans_outside_the_arrays_refused(over, msg):
    """The library cannot see the lengths of the arrays it reads: a start
    pointing past them is refused before it is called."""
    with pytest.raises(quenda.ModelError, match=msg):
        lp().loadproblem(**dict(LP, **over))


@pytest.mark.parametrize("method,args,msg", [
    ("addrows", (["L"], [1], [0, 5], [0], [1]), "spans entries 0 to 5, outside the 1 given"),
    ("addrows", (["L"], [1], [0], [0], [1]), "expected 2, found 1"),
    ("addcols", ([1], [], [], [], [0], [1]), "expected 2, found 0"),
    ("addcols", ([1], [3, 1], [0], [1], [0], [1]), "spans entries 3 to 1"),
])
def test_add_spans_refused(method, args, msg):
    with pytest.raises(quenda.ModelError, match=msg):
        getattr(lp(), method)(*args)
