"""Constraint bodies once the problem's row holds them.

A linear body is dropped when its row goes into the library and read back
from the row when asked for; the problem hands it back to the constraint
before letting the constraint go.  What a user sees must not change: the
same body text, the same rows in every problem it is added to.
"""
import gc
import sys
import weakref

import pytest

import quendalib as quenda


@pytest.fixture
def xs():
    return [quenda.var(name=f"x{i}", ub=10) for i in range(4)]


def new_problem(xs):
    p = quenda.problem()
    p.setControl("loglevel", 0)
    p.addVariable(xs)
    return p


@pytest.fixture
def prob(xs):
    return new_problem(xs)


def row_of(p, i):
    """Row i of p as {column: coefficient}, read through the library."""
    start, cols, vals = [], [], []
    p.getrows(start, cols, vals, 100, i, i)
    return {str(v): a for v, a in zip(cols, vals)}


def test_body_reads_back_and_follows_the_row(prob, xs):
    c = 2 * xs[0] + 3 * xs[1] - xs[3] <= 5
    text = str(c.body)
    prob.addConstraint(c)
    assert str(c.body) == text
    assert (c.lb, c.ub) == (-1e20, 5)
    # the row is the body: a change made through the library shows
    prob.chgcoef(0, 1, 4.0)
    assert str(c.body).strip() == "2 x0 +4 x1 - x3"


@pytest.mark.parametrize("make", [
    lambda x: x[0] * x[1] + x[2] <= 3,                        # quadratic row
    lambda x: quenda.constraint(body=x[0], ub=4),             # a var
    lambda x: quenda.constraint(body=3 * x[0], lb=1),         # a linterm
    lambda x: quenda.constraint(body=x[0] + x[1] + 2, ub=5),  # constant kept
    lambda x: quenda.sin(x[0]) + x[1] <= 1,                   # nonlinear
])
def test_other_bodies_stay_objects(prob, xs, make):
    c = make(xs)
    body = c.body
    prob.addConstraint(c)
    assert c.body is body


@pytest.mark.parametrize("end", ["delete", "del problem", "reset", "read", "collect"])
def test_body_comes_back_when_the_problem_lets_go(xs, end, tmp_path):
    prob = new_problem(xs)
    c = xs[0] + 2 * xs[2] >= 1
    text = str(c.body)
    prob.addConstraint(c)
    if end == "delete":
        prob.delConstraint(c)
    elif end == "del problem":
        del prob
    elif end == "reset":
        prob.reset()
    elif end == "read":
        fn = str(tmp_path / "m.lp")
        prob.write(fn, "l")
        prob.read(fn)
    else:
        ref = weakref.ref(prob)
        cycle = [prob]
        prob.addcbmessage(lambda *a: cycle, None, 0)
        del prob, cycle
        gc.collect()
        assert ref() is None
    gc.collect()
    assert str(c.body) == text
    # and it can go into a fresh problem again
    q = new_problem(xs)
    q.addConstraint(c)
    assert row_of(q, 0) == {"x0": 1.0, "x2": 2.0}


def test_shared_constraint_in_two_problems(xs):
    prob = new_problem(xs)
    c = xs[0] + xs[1] <= 1
    prob.addConstraint(c)
    other = new_problem(xs)
    other.addConstraint(c)  # the body is read back from prob's row
    assert row_of(other, 0) == row_of(prob, 0) == {"x0": 1.0, "x1": 1.0}
    copy = prob.copy()
    del prob
    gc.collect()
    # prob is gone: the constraint holds its body again, the others keep
    # their own rows
    assert str(c.body).strip() == "x0 + x1"
    for p in (other, copy):
        p.setObjective(xs[0] + xs[1], sense=quenda.maximize)
        p.solve()
        assert p.getObjVal() == pytest.approx(1.0)


def test_copies_and_assignment(xs):
    prob = new_problem(xs)
    c = xs[0] - xs[1] == 0
    prob.addConstraint(c)
    assert str(c.copy().body).strip() == "x0 - x1"
    assert str(quenda.constraint(constraint=c).body).strip() == "x0 - x1"
    c.body = xs[2] + xs[3]  # the constraint's own body from now on
    assert str(c.body).strip() == "x2 + x3"
    assert row_of(prob, 0) == {"x0": 1.0, "x1": -1.0}
    del prob
    gc.collect()
    assert str(c.body).strip() == "x2 + x3"


def test_deleted_column_leaves_the_body(prob, xs):
    c = xs[0] + xs[1] + xs[2] <= 2
    prob.addConstraint(c)
    prob.delVariable(xs[1])
    assert str(c.body).strip() == "x0 + x2"


def test_indicator_condition_from_a_row(prob):
    b = quenda.var(vartype=quenda.binary, name="b")
    y = quenda.var(name="y", ub=10)
    prob.addVariable(b, y)
    cond = b + 0 == 1
    cond.body  # an expression: it may be dropped once in a row
    helper = quenda.problem()
    helper.addVariable(b, y)
    helper.addConstraint(cond)
    prob.addIndicator(cond, y <= 3)
    prob.setObjective(y + 0 * b, sense=quenda.maximize)
    prob.chgbounds([b], ["L"], [1])
    prob.solve()
    assert prob.getSolution(y) == pytest.approx(3.0)


def test_references_balance(xs):
    c = xs[0] + 2 * xs[1] <= 3
    before = [sys.getrefcount(v) for v in xs[:2]] + [sys.getrefcount(c)]
    for _ in range(3):
        p = quenda.problem()
        p.addVariable(xs)
        p.addConstraint(c)
        c.body, c.copy().body  # reads make new expressions
        p.delConstraint(c)
        p.addConstraint(c)
        del p
        gc.collect()
    assert [sys.getrefcount(v) for v in xs[:2]] + [sys.getrefcount(c)] == before


def test_no_growth(heap_growth):
    def once():
        xs = [quenda.var() for _ in range(20)]
        p = quenda.problem()
        p.addVariable(xs)
        cons = [xs[i] + 2 * xs[i + 1] <= i for i in range(19)]
        p.addConstraint(cons)
        [c.body for c in cons]
        p.delConstraint(cons[:5])
        del p  # the rest come back into cons
        return cons

    assert heap_growth(once, 5, 200) < 20_000


def test_rows_with_repeats_and_cancellations(prob, xs):
    outsider = quenda.var(name="w")
    terms = [xs[3], xs[0], xs[2], xs[0], outsider, xs[1], -1 * outsider, 2 * xs[3]]
    e = terms[0]
    for t in terms[1:]:
        e = e + t  # one unsorted buffer with repeats and a cancelled var
    prob.addConstraint(e <= 1, xs[1] - xs[1] + xs[2] >= 0)
    assert row_of(prob, 0) == {"x0": 2.0, "x1": 1.0, "x2": 1.0, "x3": 3.0}
    assert row_of(prob, 1) == {"x2": 1.0}
    with pytest.raises(quenda.ModelError):
        prob.addConstraint(e + outsider <= 1)
