"""Cuts from callbacks and the cut pool: subtour-elimination cuts given to
the running search solve a travelling salesman in one solve, the pool
reads back what was stored, and bad arguments raise."""
import gc
import math
import sys

import pytest

import quendalib as quenda
from cbmodels import shortest_tour

# Two clusters of cities, so that the relaxations fall into subtours.
CITIES = [(3, 7), (8, 2), (5, 9), (1, 1), (104, 6), (109, 3), (102, 10), (107, 8), (6, 5)]


OPTIMUM = shortest_tour(CITIES)


class Tsp:
    """The assignment model of a tour; subtours are left to the cuts."""

    def __init__(self, cities):
        self.n = n = len(cities)
        self.arcs = [(i, j) for i in range(n) for j in range(n) if i != j]
        self.x = [quenda.var(vartype=quenda.binary) for _ in self.arcs]
        self.col = {a: k for k, a in enumerate(self.arcs)}
        p = self.p = quenda.problem()
        p.addVariable(self.x)
        for k in range(n):
            p.addConstraint([quenda.Sum(v for (i, _), v in zip(self.arcs, self.x) if i == k) == 1,
                             quenda.Sum(v for (_, j), v in zip(self.arcs, self.x) if j == k) == 1])
        p.setObjective(quenda.Sum(math.dist(cities[i], cities[j]) * v
                                  for (i, j), v in zip(self.arcs, self.x)))
        p.setControl("loglevel", 0)

    def components(self, values):
        """The connected parts of the arcs in use (a tour has one)."""
        parent = list(range(self.n))

        def find(i):
            while parent[i] != i:
                i = parent[i]
            return i
        for (i, j), v in zip(self.arcs, values):
            if v > 1e-6:
                parent[find(i)] = find(j)
        groups = {}
        for i in range(self.n):
            groups.setdefault(find(i), []).append(i)
        return list(groups.values()) if len(groups) > 1 else []

    def cut_rows(self, parts):
        """Subtour cuts sum x(S) <= |S| - 1 in the arguments of addcuts."""
        mstart, mcols, vals = [0], [], []
        for s in parts:
            for i in s:
                for j in s:
                    if i != j:
                        mcols.append(self.col[i, j])
                        vals.append(1.0)
            mstart.append(len(mcols))
        return [1] * len(parts), "L" * len(parts), [len(s) - 1.0 for s in parts], mstart, mcols, vals

    def tour_length(self):
        assert not self.components(self.p.getSolution(self.x))
        return self.p.getObjVal()


def separate(t, prob):
    x = []
    prob.getlpsol(x)
    return t.components(x)


def by_preintsol(t, log):
    def cb(prob, data, soltype, cutoff):
        parts = separate(t, prob)
        if not parts:
            return 0, None
        if soltype == 0:
            prob.addcuts(*t.cut_rows(parts))
        log.append(len(parts))
        return 1, None
    t.p.addcbpreintsol(cb)


def by_optnode(t, log):
    def cb(prob, data):
        parts = separate(t, prob)
        if parts:
            prob.addcuts(*t.cut_rows(parts))
            log.append(len(parts))
        return 0
    t.p.addcboptnode(cb)


def by_pool(t, log):
    def cb(prob, data):
        parts = separate(t, prob)
        if parts:
            handles = []
            prob.storecuts(2, *t.cut_rows(parts)[:4], handles, *t.cut_rows(parts)[4:])
            prob.loadcuts(0, -1, handles)
            log.append(len(parts))
        return 0
    t.p.addcboptnode(cb)


@pytest.mark.parametrize("how", [by_preintsol, by_optnode, by_pool])
def test_subtour_cuts_solve_the_tour_in_one_search(how):
    t = Tsp(CITIES)
    log = []
    how(t, log)
    t.p.mipoptimize()
    assert log, "the relaxations have subtours: cuts were needed"
    assert t.p.attributes.engine == 2
    assert t.tour_length() == pytest.approx(OPTIMUM)


def test_the_node_matrix_and_the_pool_read_back():
    t = Tsp(CITIES)
    seen = []

    def cb(prob, data):
        rows = prob.attributes.rows
        pool = []
        prob.getcpcutlist(0, -1, -1.0, pool)
        listed, cutmap = [], []
        prob.getcutlist(0, -1, listed)
        prob.getcutmap(pool, cutmap)
        for cut, row in zip(pool, cutmap):
            slack = prob.getcutslack(cut)
            if row >= 0:
                assert row >= rows - len(listed) or row >= 2 * t.n
                assert slack >= -1e-6  # the node's relaxation satisfies its cuts
        assert sorted(map(repr, listed)) == sorted(repr(c) for c, r in zip(pool, cutmap) if r >= 0)
        parts = separate(t, prob)
        if parts:
            handles = []
            prob.storecuts(1, *t.cut_rows(parts)[:4], handles, *t.cut_rows(parts)[4:])
            viol = []
            violated = []
            prob.getcpcutlist(1, 1, 1e-6, violated, viol)
            assert {repr(h) for h in handles} <= {repr(h) for h in violated}
            assert all(v > 1e-6 for v in viol)
            prob.loadcuts(1, 1, handles)
            seen.append((len(pool), sum(r >= 0 for r in cutmap)))
        return 0
    t.p.addcboptnode(cb)
    t.p.mipoptimize()
    assert t.tour_length() == pytest.approx(OPTIMUM)
    assert seen and any(inmatrix > 0 for _, inmatrix in seen)


def test_stored_cuts_read_back_and_leave_the_pool():
    t = Tsp(CITIES[:4])
    p = t.p
    handles = []
    p.storecuts(0, [5, 6], "LG", [1.0, -2.0], [0, 2, 3], handles, [t.x[0], 3, 4], [1.0, 2.5, -1])
    assert len(handles) == 2 and all(isinstance(h, quenda.poolcut) for h in handles)
    again = []
    p.storecuts(1, [5], "L", [1.0], [0, 2], again, [0, 3], [1.0, 2.5])
    assert repr(again[0]) == repr(handles[0])  # a duplicate of the same type
    p.storecuts(1, [7], "L", [1.0], [0, 2], again, [0, 3], [1.0, 2.5])
    assert repr(again[0]) != repr(handles[0])  # another type: kept apart
    mtype, qrtype, mstart, mcols, dmatval, drhs = [], [], [], [], [], []
    p.getcpcuts(handles, mtype, qrtype, mstart, mcols, dmatval, drhs)
    assert (mtype, qrtype, mstart, drhs) == ([5, 6], ["L", "G"], [0, 2, 3], [1.0, -2.0])
    assert mcols == [t.x[0], t.x[3], t.x[4]] and dmatval == [1.0, 2.5, -1.0]
    p.solve()
    assert p.getcutslack(handles[0]) == pytest.approx(
        1.0 - sum(c * v for c, v in zip([1.0, 2.5], p.getSolution([t.x[0], t.x[3]]))))
    p.delcpcuts(5, 1)
    with pytest.raises(quenda.SolverError, match="not in the cut pool"):
        p.getcpcuts(handles[:1], mtype)
    p.getcpcuts(handles[1:], mtype)
    assert mtype == [6]
    p.delcpcuts(0, -1)
    with pytest.raises(quenda.SolverError, match="not in the cut pool"):
        p.getcutslack(handles[1])


@pytest.mark.parametrize("call, exc, match", [
    (lambda p, x: p.addcuts([1], "L", [1.0], [0, 1], [0], [1.0]), quenda.SolverError,
     "only inside a node callback"),
    (lambda p, x: p.loadcuts(0, -1), quenda.SolverError, "only inside a node callback"),
    (lambda p, x: p.getcutlist(0, -1, []), quenda.SolverError, "only inside a node callback"),
    (lambda p, x: p.storecuts(0, [1], "N", [1.0], [0, 1], [], [0], [1.0]), quenda.SolverError,
     "row type 'N'"),
    (lambda p, x: p.storecuts(0, [1], "L", [1.0], [0, 1], [], [99], [1.0]), quenda.SolverError,
     "column index 99 out of range"),
    (lambda p, x: p.storecuts(0, [1], "L", [1.0], [0, 5], [], [0], [1.0]), quenda.ModelError,
     "outside the 1 given"),
    (lambda p, x: p.storecuts(0, [1, 2], "L", [1.0], [0, 1], [], [0], [1.0]), quenda.ModelError,
     "Mismatched lengths"),
    (lambda p, x: p.storecuts(3, [1], "L", [1.0], [0, 1], [], [0], [1.0]), quenda.SolverError,
     "nodupl is 3"),
    (lambda p, x: p.storecuts(0, [1], "L", [1.0], [0, 1], 5, [0], [1.0]), quenda.InterfaceError,
     "mindex"),
    (lambda p, x: p.loadcuts(0, -1, [x]), quenda.ModelError, "Invalid cut object"),
    (lambda p, x: p.delcpcuts(0, 7), quenda.SolverError, "interp is 7"),
    (lambda p, x: p.getcutslack(x), TypeError, "poolcut"),
    (lambda p, x: p.storebounds([0], "X", [1.0]), quenda.SolverError, "type 'X'"),
    (lambda p, x: p.setbranchbounds(p.storebounds([0], "U", [0.0])), quenda.SolverError,
     "only inside a node callback"),
    (lambda p, x: p.getcpcuts(None), quenda.InterfaceError, "mindex"),
])
def test_bad_arguments_raise(call, exc, match):
    t = Tsp(CITIES[:3])
    with pytest.raises(exc, match=match):
        call(t.p, t.x[0])


def test_bounds_and_cuts_given_at_the_root_hold_below_it():
    """setbranchbounds fixes a column for the whole search; setbranchcuts
    gives a stored cut to every node."""
    t = Tsp(CITIES)
    by_optnode(t, [])
    fixed = t.col[0, 8]
    bounds = t.p.storebounds([fixed], "B", [1.0])
    handles = []
    t.p.storecuts(0, [9], "G", [1.0], [0, 1], handles, [t.col[8, 6]], [1.0])

    def root(prob, data):
        if prob.attributes.nodes <= 1:
            prob.setbranchbounds(bounds)
            prob.setbranchcuts(handles)
        return 0
    t.p.addcboptnode(root, priority=10)
    t.p.mipoptimize()
    sol = t.p.getSolution(t.x)
    assert sol[fixed] == pytest.approx(1.0) and sol[t.col[8, 6]] == pytest.approx(1.0)
    assert t.tour_length() >= OPTIMUM - 1e-6


def test_no_references_leak():
    t = Tsp(CITIES[:4])
    p = t.p
    handles = []
    p.storecuts(0, [1], "L", [1.0], [0, 1], handles, [0], [1.0])
    out = []
    before = sys.getrefcount(handles[0]), sys.getrefcount(p)
    for _ in range(200):
        p.getcpcuts(handles, out, None, [], [], [], [])
        with pytest.raises(quenda.SolverError):
            p.loadcuts(0, -1, handles)
    gc.collect()
    assert (sys.getrefcount(handles[0]), sys.getrefcount(p)) == before


def test_delcuts_takes_back_this_events_cuts_only():
    t = Tsp(CITIES)
    by_optnode(t, [])
    decoy = []
    t.p.storecuts(0, [7], "L", [0.0], [0, 1], decoy, [t.col[0, 8]], [1.0])  # x(0, 8) <= 0
    outcomes = []

    def cb(prob, data):
        cutmap = []
        prob.getcutmap(decoy, cutmap)
        assert cutmap == [-1]  # taken back every time: never in the node's matrix
        prob.loadcuts(0, -1, decoy)
        prob.delcuts(0, 7, 1, 0.0)
        listed = []
        prob.getcutlist(0, -1, listed)
        if listed:
            try:
                prob.delcuts(0, 0, -1, 0.0, listed[:1])
            except quenda.SolverError as e:
                outcomes.append(str(e))
        return 0
    t.p.addcboptnode(cb, priority=-1)  # after the subtour cuts are given
    t.p.mipoptimize()
    assert t.tour_length() == pytest.approx(OPTIMUM)
    assert outcomes and "keeps the cuts of its node matrix" in outcomes[0]
