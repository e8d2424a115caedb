"""Re-solves start where the last solve ended: few simplex iterations after a
small change, the same answer as a solve from nothing, and copies that never
share what the engine kept."""
from pathlib import Path

import pytest

import quendalib as quenda

DATA = Path(__file__).resolve().parents[1] / "data"


def solved(name):
    p = quenda.problem()
    p.setControl("loglevel", 0)
    p.read(str(DATA / name))
    p.solve()
    return p


def cold(p):
    """The answer of p solved from nothing (a copy starts cold)."""
    c = p.copy()
    c.setControl("loglevel", 0)
    c.solve()
    return c.getAttrib("simplexiter"), c.getObjVal()


def positive(p, count):
    v = p.getVariable()
    x = p.getSolution(v)
    return [(v[j], x[j]) for j in range(len(v)) if x[j] > 1e-3][:count]


def add_cut(p):
    pairs = positive(p, 8)
    cut = quenda.Sum(v for v, _ in pairs) <= 0.97 * sum(x for _, x in pairs)
    p.addConstraint(cut)
    return cut


def add_column(p):
    # A new variable that pays to use, held by a new row.
    v, x = positive(p, 1)[0]
    y = quenda.var(lb=0, ub=3)
    p.addVariable(y)
    p.addConstraint(v - y >= 0.5 * x)


def delete_cut(p):
    cut = add_cut(p)
    p.solve()
    p.delConstraint(cut)


@pytest.mark.parametrize("change", [add_cut, add_column, delete_cut])
@pytest.mark.parametrize("name", ["scrs8.mps", "perold.mps"])
def test_resolve_is_short_and_equals_a_cold_solve(name, change):
    p = solved(name)
    first = p.getAttrib("simplexiter")
    assert first > 100
    change(p)
    p.solve()
    iters, obj = p.getAttrib("simplexiter"), p.getObjVal()
    cold_iters, cold_obj = cold(p)
    assert p.getProbStatus() == quenda.lp_optimal
    assert obj == pytest.approx(cold_obj, rel=1e-7, abs=1e-7)
    # A deleted cut that binds leaves the basis short: the engine mends it,
    # on perold at close to a cold start's cost.
    assert iters < (cold_iters if change is delete_cut else first // 5)


def test_copy_does_not_share_the_kept_engine():
    p = solved("scrs8.mps")
    obj, rows = p.getObjVal(), p.getAttrib("rows")
    c = p.copy()
    c.setControl("loglevel", 0)
    c.solve()
    assert c.getAttrib("simplexiter") > 100  # the copy started cold
    add_cut(c)
    c.solve()
    changed = c.getObjVal()
    # The original's kept model has none of it ...
    p.solve()
    assert p.getAttrib("simplexiter") == 0
    assert p.getAttrib("rows") == rows
    assert p.getObjVal() == pytest.approx(obj, rel=1e-9)
    # ... nor the copy's of a change to the original.
    add_column(p)
    p.solve()
    assert p.getObjVal() == pytest.approx(cold(p)[1], rel=1e-7)
    c.solve()
    assert c.getAttrib("simplexiter") == 0
    assert c.getAttrib("rows") == rows + 1
    assert c.getObjVal() == pytest.approx(changed, rel=1e-9)


def test_build_solve_change_loop_does_not_grow(heap_growth):
    def round_trip():
        p = solved("afiro.mps")
        add_cut(p)
        p.solve()
        p.copy().solve()

    assert heap_growth(round_trip, 3, 20) < 64 * 1024
