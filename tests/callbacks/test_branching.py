"""Branching objects: built from constraints or by the low-level calls, and
handed back by chgbranchobject callbacks to split the nodes of a search."""
import gc
import sys

import pytest

import quendalib as quenda

from cbmodels import knapsacks


@pytest.fixture
def pxy():
    p = quenda.problem()
    x, y = quenda.var(ub=10), quenda.var(ub=10)
    p.addVariable(x, y)
    return p, x, y


@pytest.mark.parametrize("make, expected", [
    (lambda x: [x <= 3, x >= 4], [[("U", 3.0)], [("L", 4.0)]]),
    (lambda x: [2 * x >= 3], [[("L", 1.5)]]),
    (lambda x: [-2 * x >= 3], [[("U", -1.5)]]),
    (lambda x: [x + 1 == 5], [[("L", 4.0), ("U", 4.0)]]),
    (lambda x: [[x >= 1, x <= 2], []], [[("L", 1.0), ("U", 2.0)], []]),
])
def test_single_variable_constraints_become_bounds(pxy, make, expected):
    p, x, _ = pxy
    bo = quenda.branchobj(p, make(x))
    assert bo.getbranches() == len(expected)
    for i, want in enumerate(expected):
        t, c, v = [], [], []
        assert bo.getbounds(i, 10, t, c, v) == len(want)
        assert list(zip(t, v)) == want
        assert [p.getIndex(col) for col in c] == [0] * len(want)
        assert bo.getrows(i, 10, 10, [], [], [], [], []) == (0, 0)


def test_other_constraints_become_rows(pxy):
    p, x, y = pxy
    bo = quenda.branchobj(p, [x + 2 * y <= 3, quenda.constraint(body=x - y, lb=1, ub=3)])
    rt, rhs, beg, col, val = [], [], [], [], []
    assert bo.getrows(0, 5, 5, rt, rhs, beg, col, val) == (1, 2)
    assert (rt, rhs, val) == (["L"], [3.0], [1.0, 2.0])
    # A range is given to the library as its two sides.
    rt, rhs = [], []
    assert bo.getrows(1, 5, 5, rt, rhs, beg, col, val) == (2, 4)
    assert (rt, rhs) == (["G", "L"], [1.0, 3.0])


@pytest.mark.parametrize("args, message", [
    (lambda p, x: ("p",), "Incorrect creation of branching object"),
    (lambda p, x: (p, x <= 3), "The branches parameter must be a list or a tuple"),
    (lambda p, x: (p, [x <= 3], False), "Cannot define the branches of a branching object if "
                                        "the isoriginal flag is false"),
    (lambda p, x: (p, [x <= 3], 2), "isoriginal flag is false"),
    (lambda p, x: (p, [x <= 3, 5]), r"Branch 1 is invalid: element of branch not of the valid "
                                    r"type \(constraint\)"),
    (lambda p, x: (p, [[x <= 3, "a"]]), "Branch 0 is invalid: element of branch"),
    (lambda p, x: (p, [x * x <= 1]), "Branch 0 contains a quadratic or nonlinear constraint, "
                                     "invalid"),
    (lambda p, x: (p, [quenda.exp(x) <= 1]), "Branch 0 contains a quadratic or nonlinear"),
    (lambda p, x: (p, [quenda.var() <= 1]), "Variable in branching object has not been added "
                                            "to problem yet"),
    (lambda p, x: (p, [0 * x + x - x >= 1]), "Coefficient zero in branch"),
    (lambda p, x: (p, [quenda.constraint(body=x + 2 * p.getVariable()[1], lb=-1e20, ub=1e20)]),
     "Branch cannot have a free row"),
])
def test_bad_branches(pxy, args, message):
    p, x, _ = pxy
    with pytest.raises(quenda.ModelError, match=message):
        quenda.branchobj(*args(p, x))


def test_flag_without_branches_and_the_low_level_calls(pxy):
    p, x, y = pxy
    bo = quenda.branchobj(p, isoriginal=False)
    other = quenda.branchobj(p)
    assert bo.getid() != other.getid()
    bo.addbranches(2)
    bo.addbounds(0, ["U", "L"], [x, y], [2.0, 1.0])
    bo.addrows(1, ["G"], [4.0], [0], [x, y], [1.0, 1.0])
    bo.setpreferredbranch(1)
    bo.setpriority(10)
    assert bo.getbranches() == 2 and bo.validate() == 0
    t, c, v = [], [], []
    assert bo.getbounds(0, 1, t, c, v) == 2 and len(t) == 1  # only what fits
    with pytest.raises(quenda.SolverError, match="branch index 5 out of range"):
        bo.setpreferredbranch(5)
    assert bo.getlasterror()[0] != 0
    with pytest.raises(quenda.SolverError, match="bound type"):
        bo.addbounds(0, ["X"], [x], [1.0])
    with pytest.raises(quenda.SolverError, match="free row"):
        bo.addrows(0, ["N"], [1.0], [0], [x], [1.0])
    bo.addcuts(0, [])  # nothing to add
    bo.addbounds(1, ["B", "U"], [x, x], [5.0, 4.0])  # crossing: x == 5 and x <= 4
    assert bo.validate() == 1
    assert "crossing bounds" in bo.getlasterror()[1]


@pytest.mark.parametrize("call, error, message", [
    (lambda bo, h: bo.store(), quenda.SolverError, "only inside an optnode callback"),
    (lambda bo, h: bo.addcuts(0, [h, 3]), quenda.ModelError, "Invalid cut object 3"),
    (lambda bo, h: bo.addcuts(4, [h]), quenda.SolverError, "branch index 4 out of range"),
    (lambda bo, h: bo.addcuts(0, h), quenda.ModelError, "Invalid sequence of objects"),
])
def test_bad_store_and_addcuts(pxy, call, error, message):
    p, x, y = pxy
    h = []
    p.storecuts(0, [1], "L", [4.0], [0, 2], h, [x, y], [1.0, 1.0])
    bo = quenda.branchobj(p, [x <= 3, x >= 4])
    with pytest.raises(error, match=message):
        call(bo, h[0])
    # The object stays the caller's and unchanged.
    assert bo.getbranches() == 2 and bo.getrows(0, 5, 5, [], [], [], [], []) == (0, 0)


def test_a_deleted_pool_cut_is_refused(pxy):
    p, x, y = pxy
    h = []
    p.storecuts(0, [1, 2], "LG", [4.0, 1.0], [0, 2, 3], h, [x, y, y], [1.0, 1.0, 1.0])
    p.delcpcuts(0, -1, [h[1]])
    bo = quenda.branchobj(p, [x <= 3, x >= 4])
    with pytest.raises(quenda.SolverError, match="cut 1 is not in the cut pool"):
        bo.addcuts(1, h)
    assert bo.getrows(1, 5, 5, [], [], [], [], []) == (0, 0)  # nothing added
    bo.addcuts(1, h[:1])
    rt, rhs, beg, col, val = [], [], [], [], []
    assert bo.getrows(1, 5, 5, rt, rhs, beg, col, val) == (1, 2)
    assert (rt, rhs, val) == (["L"], [4.0], [1.0, 1.0])
    assert [p.getIndex(c) for c in col] == [0, 1]


def test_references_and_memory(pxy):
    p, x, y = pxy
    h = []
    p.storecuts(0, [1], "L", [4.0], [0, 2], h, [x, y], [1.0, 1.0])
    before = sys.getrefcount(p)
    for _ in range(200):
        bo = quenda.branchobj(p, [x + y <= 3, [x >= 1, y <= 2]])
        bo.addcuts(1, h)
        with pytest.raises(quenda.SolverError):
            bo.store()
        del bo
    gc.collect()
    assert sys.getrefcount(p) == before


def fractional_pair(prob, x):
    """A pair a < b of x whose sum is fractional at the node, and k its
    floor; None when there is none."""
    sol = prob.getSolution(x)
    frac = [i for i, s in enumerate(sol) if 1e-6 < s - int(s) < 1 - 1e-6]
    for a in frac:
        for b in frac:
            s = sol[a] + sol[b]
            if a < b and 1e-4 < s - int(s) < 1 - 1e-4:
                return a, b, int(s)
    return None


def pair_split(prob, x):
    """x_a + x_b <= k / >= k + 1 on a pair whose sum is fractional at the
    node, or None."""
    pair = fractional_pair(prob, x)
    if pair is None:
        return None
    a, b, k = pair
    return quenda.branchobj(prob, [x[a] + x[b] <= k, x[a] + x[b] >= k + 1])


def branch_on_pairs(x, used):
    """A chgbranchobject that returns pair_split's object."""
    def chg(prob, data, proposed):
        assert isinstance(proposed, quenda.branchobj)
        bo = pair_split(prob, x)
        if bo is None:
            return proposed
        used.append(bo)
        return bo
    return chg


def store_pairs(x, used):
    """An optnode that stores pair_split's object, and checks that an object
    with crossing bounds is refused and stays the caller's."""
    def optnode(prob, data):
        bo = pair_split(prob, x)
        if bo is not None:
            assert bo.store() == 0
            used.append(bo)
            bad = quenda.branchobj(prob, [x[0] >= 1, x[1] <= 0])
            bad.addbounds(0, ["U"], [x[0]], [0.0])
            assert bad.store() == 1 and "crossing bounds" in bad.getlasterror()[1]
            assert bad.getbranches() == 2
        return 0
    return optnode


@pytest.mark.parametrize("seed", [7, 11])
@pytest.mark.parametrize("kind, make", [("chgbranchobject", branch_on_pairs),
                                        ("optnode", store_pairs)])
def test_branching_on_rows_keeps_the_optimum(seed, kind, make):
    p, x, _ = knapsacks(n=30, m=3, seed=seed)
    p.solve()
    best = p.getObjVal()
    used = []
    getattr(p, "addcb" + kind)(make(x, used))
    p.solve()
    assert p.attributes.engine == 2
    assert used, "no node was split on a row"
    assert p.getObjVal() == pytest.approx(best)
    # What went to the solver is the solver's: the Python object is empty.
    with pytest.raises(quenda.ModelError, match="holds no branching"):
        used[0].getbranches()


def test_branches_made_of_pool_cuts_keep_the_optimum():
    p, x, _ = knapsacks(n=20, m=3, seed=5)
    p.solve()
    best = p.getObjVal()
    # x_a + x_b <= k and >= k + 1 for every pair and k of 0 and 1, in the pool.
    pairs = [(a, b, k) for a in range(len(x)) for b in range(a + 1, len(x)) for k in (0, 1)]
    n = len(pairs)
    h = []
    p.storecuts(0, [1] * 2 * n, "LG" * n, [float(k + s) for _, _, k in pairs for s in (0, 1)],
                list(range(0, 4 * n + 1, 2)), h,
                [x[i] for a, b, _ in pairs for i in (a, b, a, b)], [1.0] * 4 * n)
    handle = {pair: (h[2 * i], h[2 * i + 1]) for i, pair in enumerate(pairs)}
    split = []

    def chg(prob, data, proposed):
        pair = fractional_pair(prob, x)
        if pair is None:
            return proposed
        le, ge = handle[pair]
        bo = quenda.branchobj(prob, isoriginal=False)
        bo.addbranches(2)
        bo.addcuts(0, [le])
        bo.addcuts(1, [ge])
        rt, rhs, beg, col, val = [], [], [], [], []
        assert bo.getrows(1, 5, 5, rt, rhs, beg, col, val) == (1, 2)
        assert (rt, rhs, val) == (["G"], [pair[2] + 1.0], [1.0, 1.0])
        assert [prob.getIndex(c) for c in col] == list(pair[:2])
        split.append(pair)
        return bo

    p.addcbchgbranchobject(chg)
    p.solve()
    assert split, "no node was split on pool cuts"
    assert p.getObjVal() == pytest.approx(best)


def test_a_stored_object_is_what_chgbranchobject_sees():
    p, x, _ = knapsacks(n=30, m=3, seed=7)
    p.solve()
    best = p.getObjVal()
    ids, seen = set(), []

    def optnode(prob, data):
        bo = pair_split(prob, x)
        if bo is not None:
            ids.add(bo.getid())
            assert bo.store() == 0
        return 0

    def chg(prob, data, proposed):
        seen.append(proposed.getid() in ids)
        return proposed

    p.addcboptnode(optnode)
    p.addcbchgbranchobject(chg)
    p.solve()
    assert any(seen)
    assert p.getObjVal() == pytest.approx(best)


def test_the_proposal_is_cbcs_split_of_one_column():
    p, x, _ = knapsacks()
    seen = []

    def chg(prob, data, proposed):
        sol = prob.getSolution(x)
        t0, c0, v0, t1, c1, v1 = [], [], [], [], [], []
        proposed.getbounds(0, 2, t0, c0, v0)
        proposed.getbounds(1, 2, t1, c1, v1)
        j = p.getIndex(c0[0])
        assert sorted(t0 + t1) == ["L", "U"] and p.getIndex(c1[0]) == j
        down, up = (v0[0], v1[0]) if t0 == ["U"] else (v1[0], v0[0])
        assert down < sol[j] < up and up == down + 1
        seen.append(j)
        return proposed

    p.addcbchgbranchobject(chg)
    p.solve()
    assert seen


def test_a_wrong_result_stops_the_search(capsys):
    p, _, _ = knapsacks()
    p.addcbchgbranchobject(lambda prob, data, proposed: 3)
    p.solve()
    assert "returned object from chgbranchobject() should be a branching object" in \
        capsys.readouterr().err
    assert p.attributes.stopstatus == 9


def test_an_exception_reaches_the_caller():
    p, _, _ = knapsacks()
    p.addcbchgbranchobject(lambda prob, data, proposed: {}[0])
    with pytest.raises(KeyError):
        p.solve()
    assert p.attributes.stopstatus == 9
