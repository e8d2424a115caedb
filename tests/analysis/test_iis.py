"""Infeasible subsystems through the problem's methods.  Each subsystem
found is rebuilt as a problem of its own: it must be infeasible, and
dropping any one member must make it feasible."""
import gc
import os
import sys
import tracemalloc

import pytest

import quendalib as quenda

INSTANCES = os.path.join(os.path.dirname(__file__), "..", "data")

# A model as data: columns (name, lb, ub, integer) and rows (coefficients
# by column, sense, rhs), so subsystems can be rebuilt from it.
Model = tuple


def build(cols, rows, keep_rows=None, keep_bounds=None):
    p = quenda.problem()
    p.setControl("loglevel", 0)
    xs = {}
    for name, lb, ub, integer in cols:
        if keep_bounds is not None:
            lb = lb if (name, "L") in keep_bounds else -quenda.infinity
            ub = ub if (name, "U") in keep_bounds else quenda.infinity
        xs[name] = quenda.var(name=name, lb=lb, ub=ub,
                              vartype=quenda.integer if integer else quenda.continuous)
    p.addVariable(list(xs.values()))
    for k, (coefs, sense, rhs) in enumerate(rows):
        if keep_rows is not None and k not in keep_rows:
            continue
        body = quenda.Sum(c * xs[n] for n, c in coefs.items())
        con = {"L": body <= rhs, "G": body >= rhs, "E": body == rhs}[sense]
        p.addConstraint(quenda.constraint(con, name="r%d" % k))
    return p


def feasible(p):
    p.solve()
    return p.getProbStatusString() in ("lp_optimal", "mip_optimal", "mip_solution")


def members(p, num):
    rows, cols, sides = [], [], []
    p.getiisdata(num, rows, cols, None, sides)
    return ([int(c.name[1:]) for c in rows],
            [(v.name, s) for v, s in zip(cols, sides)])


def assert_irreducible(cols, rows, p, num):
    r, b = members(p, num)
    assert r or b
    assert not feasible(build(cols, rows, set(r), set(b)))
    for drop in r:
        assert feasible(build(cols, rows, set(r) - {drop}, set(b))), drop
    for drop in b:
        assert feasible(build(cols, rows, set(r), set(b) - {drop})), drop


# x >= 2 against x <= 1 and x <= 1.5; y + z >= 5 against their bounds.
TWO_CONFLICTS = (
    [("x", 0, 10, False), ("y", 0, 1, False), ("z", 0, 1, False)],
    [({"x": 1}, "G", 2), ({"x": 1}, "L", 1), ({"x": 1}, "L", 1.5), ({"y": 1, "z": 1}, "G", 5)])
# 2a - 2b = 1 has no integer point; a + b >= 12 needs both bounds of 5.
INTEGER_CONFLICTS = (
    [("a", 0, 5, True), ("b", 0, 5, True), ("c", 0, 10, False)],
    [({"a": 2, "b": -2}, "E", 1), ({"a": 1, "b": 1}, "G", 12), ({"c": 1}, "L", 3)])


@pytest.mark.parametrize("model,count", [(TWO_CONFLICTS, 3), (INTEGER_CONFLICTS, 2)],
                         ids=["lp", "mip"])
def test_iisall_finds_irreducible_sets(model, count):
    cols, rows = model
    p = build(cols, rows)
    assert p.iisall() == 0
    rs, cs, sums, nums = [], [], [], []
    assert p.iisstatus(rs, cs, sums, nums) == count
    assert len(rs) == len(cs) == len(sums) == len(nums) == count
    assert all(s > 0 for s in sums) and all(n >= 1 for n in nums)
    for num in range(1, count + 1):
        assert_irreducible(cols, rows, p, num)
    assert p.iisnext() == 1


def test_iisfirst_then_next_differ():
    cols, rows = TWO_CONFLICTS
    p = build(cols, rows)
    assert p.iisfirst(1) == 0
    assert p.iisnext() == 0
    assert members(p, 1) != members(p, 2)
    p.iisclear()
    assert p.iisstatus([], [], None, None) == 0


def test_isolations_and_multipliers():
    cols, rows = TWO_CONFLICTS
    p = build(cols, rows)
    p.iisall()
    for num in range(1, 4):
        p.iisisolations(num)
        rws, iso, duals = [], [], []
        p.getiisdata(num, rws, None, None, None, duals, None, iso)
        for con, flag in zip(rws, iso):
            # r0 (x >= 2) is in two subsystems
            assert flag == ("0" if con.name == "r0" else "1")
        assert all(d != 0 for d in duals)


def test_woodinfe_first_set_and_files(tmp_path):
    p = quenda.problem()
    p.setControl("loglevel", 0)
    p.read(os.path.join(INSTANCES, "woodinfe.mps"))
    assert p.iisfirst(1) == 0
    rows, cols = [], []
    p.getiisdata(1, rows, cols)
    assert rows and all(isinstance(r, quenda.constraint) for r in rows)
    assert all(isinstance(c, quenda.var) for c in cols)
    csv = tmp_path / "iis.csv"
    p.iiswrite(1, str(csv), 1, "")
    lines = csv.read_text().splitlines()
    assert lines[0] == "kind,name,index,type,bound" and len(lines) == 1 + len(rows) + len(cols)
    lp = tmp_path / "iis.lp"
    p.iiswrite(1, str(lp), 0, "")
    q = quenda.problem()
    q.setControl("loglevel", 0)
    q.read(str(lp))
    assert not feasible(q)


def test_feasible_problem():
    p = build([("x", 0, 1, False)], [({"x": 1}, "L", 1)])
    assert p.iisfirst(1) == 1
    assert p.iisstatus([], [], [], []) == 0
    with pytest.raises(quenda.SolverError, match="no infeasible subsystem 1"):
        p.getiisdata(1, [])


class TestBadInput:
    @pytest.fixture
    def p(self):
        return build(*TWO_CONFLICTS)

    @pytest.mark.parametrize("call,exc", [
        (lambda p: p.iisfirst(3), quenda.SolverError),
        (lambda p: p.iisfirst("a"), TypeError),
        (lambda p: p.iisstatus(1, [], [], []), quenda.InterfaceError),
        (lambda p: p.getiisdata(1, (), []), quenda.InterfaceError),
        (lambda p: p.getiisdata(5, []), quenda.SolverError),
        (lambda p: p.iisisolations(0), quenda.SolverError),
        (lambda p: p.iiswrite(1, "/nonexistent/dir/x.csv", 1, ""), quenda.SolverError),
        (lambda p: p.iiswrite(1, "x.csv", 9, ""), quenda.SolverError),
    ])
    def test_raises(self, p, call, exc):
        p.iisfirst(1)
        with pytest.raises(exc):
            call(p)

    def test_bare_problem(self):
        p = quenda.problem.__new__(quenda.problem)
        with pytest.raises(quenda.ModelError, match="Problem not initialized"):
            p.iisfirst(1)


def test_getiisdata_keeps_references_and_memory():
    p = build(*TWO_CONFLICTS)
    p.iisfirst(1)
    rows = []
    p.getiisdata(1, rows)
    con = rows[0]
    for _ in range(20):
        p.getiisdata(1, [], [], [], [], [], [], [], [])
    gc.collect()
    before = sys.getrefcount(con)
    tracemalloc.start()
    try:
        snap = tracemalloc.take_snapshot()
        for _ in range(200):
            p.getiisdata(1, [], [], [], [], [], [], [], [])
        gc.collect()
        grown = sum(d.size_diff for d in tracemalloc.take_snapshot().compare_to(snap, "filename"))
    finally:
        tracemalloc.stop()
    assert grown < 20000
    assert sys.getrefcount(con) == before
