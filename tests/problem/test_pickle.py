"""Pickling problems and the objects that belong to them."""
import copy
import copyreg
import pathlib
import pickle

import pytest

import quendalib as quenda

DATA = pathlib.Path(__file__).resolve().parents[1] / "data"


def small(kind):
    """A solved problem of each kind with its variables and constraints."""
    p = quenda.problem(name=f"small_{kind}")
    x = quenda.var(name="x", ub=4)
    y = quenda.var(name="y", ub=3, vartype=quenda.integer if kind == "mip" else quenda.continuous)
    cap = quenda.constraint(x + 2 * y <= 7, name="cap")
    low = quenda.constraint(x - y >= -2, name="low")
    p.addVariable(x, y)
    p.addConstraint(cap, low)
    obj = 3 * x + 2 * y
    if kind == "qp":
        obj = obj - 0.5 * x * x
    p.setObjective(obj, sense=quenda.maximize)
    p.setControl({"feastol": 1e-8, "outputlog": 0})
    return p, [x, y], [cap, low]


@pytest.mark.parametrize("kind", ["lp", "mip", "qp"])
def test_round_trip_keeps_model_results_and_objects(kind):
    p, xs, cons = small(kind)
    p.solve()
    p2, xs2, cons2 = pickle.loads(pickle.dumps((p, xs, cons)))
    assert p2.name() == p.name()
    assert p2.getProbStatusString() == p.getProbStatusString()
    assert p2.getObjVal() == p.getObjVal()
    assert p2.getSolution(xs2) == p.getSolution(xs)
    assert p2.getSlack(cons2) == p.getSlack(cons)
    if kind != "mip":
        assert p2.getDual(cons2) == p.getDual(cons)
        assert p2.getRCost(xs2) == p.getRCost(xs)
    assert p2.getControl("feastol") == 1e-8
    assert [v.name for v in xs2] == ["x", "y"]
    assert [(c.name, c.lb, c.ub) for c in cons2] == [(c.name, c.lb, c.ub) for c in cons]
    assert [p2.getIndex(v) for v in xs2] == [0, 1]
    # The copy is a problem of its own: solving it again gives the same.
    p2.solve()
    assert p2.getObjVal() == pytest.approx(p.getObjVal())


@pytest.mark.parametrize("protocol", [0, 2, pickle.HIGHEST_PROTOCOL])
def test_objects_before_their_problem_still_belong_to_it(protocol):
    p, (x, y), _ = small("lp")
    p.solve()
    y2, p2, x2 = pickle.loads(pickle.dumps((y, p, x), protocol=protocol))
    assert p2.getSolution(x2, y2) == p.getSolution(x, y)


def test_unsolved_problem_stays_unsolved():
    p, xs, _ = small("lp")
    p2, xs2 = pickle.loads(pickle.dumps((p, xs)))
    assert p2.getProbStatusString() == p.getProbStatusString()
    with pytest.raises(quenda.SolverError):
        p2.getSolution(xs2)
    p2.solve()
    assert p2.getSolution(xs2[0]) == pytest.approx(4.0)


def test_model_from_file_and_deepcopy():
    p = quenda.problem()
    p.read(str(DATA / "afiro.mps"))
    p.setControl("outputlog", 0)
    p.solve()
    for p2 in (pickle.loads(pickle.dumps(p)), copy.deepcopy(p)):
        assert p2.getObjVal() == pytest.approx(-464.753142857, rel=1e-9)
        assert p2.getSolution() == p.getSolution()
        assert [v.name for v in p2.getVariable()] == [v.name for v in p.getVariable()]


def test_objects_alone_travel_by_value():
    x = quenda.var(name="z", lb=-1, ub=5, vartype=quenda.integer)
    x2 = pickle.loads(pickle.dumps(x))
    assert (x2.name, x2.lb, x2.ub, x2.vartype) == ("z", -1, 5, quenda.integer)
    p = quenda.problem()
    p.addVariable(x)
    with pytest.raises(quenda.ModelError):
        p.getIndex(x2)  # a new variable: not the one of p


def test_deleted_object_does_not_come_back_in_the_problem():
    p, (x, y), _ = small("lp")
    p.delVariable(x)
    p.solve()
    p2, x2, y2 = pickle.loads(pickle.dumps((p, x, y)))
    assert p2.getSolution(y2) == p.getSolution(y)
    with pytest.raises(quenda.ModelError):
        p2.getSolution(x2)


def test_destroyed_problem_refuses():
    bare = quenda.problem.__new__(quenda.problem)
    with pytest.raises(quenda.ModelError, match="destroyed"):
        pickle.dumps(bare)


def test_problem_after_free_refuses():
    p, _, _ = small("lp")
    quenda.free()
    try:
        with pytest.raises(quenda.ModelError, match="session has ended"):
            pickle.dumps(p)
    finally:
        quenda.init()


@pytest.mark.parametrize("change,message", [
    (lambda s: s.update(results=s["results"][:-3]), "truncated"),
    (lambda s: s.update(results=b"junk" * 4), "not a saved state"),
    (lambda s: s.update(vars=s["vars"][:1]), "vars do not match"),
    (lambda s: s.update(cons=[1, 2]), "an item of its cons"),
    (lambda s: s.pop("model"), "incomplete"),
])
def test_tampered_state_is_refused(change, message):
    p, _, _ = small("lp")
    p.solve()
    fn, (kind, state) = copyreg.dispatch_table[type(p)](p)
    change(state)
    with pytest.raises((quenda.ModelError, quenda.SolverError), match=message):
        fn(kind, state)


def test_no_leak(heap_growth):
    p, xs, _ = small("lp")
    p.solve()

    def once():
        pickle.loads(pickle.dumps((p, xs)))

    assert heap_growth(once, warmup=5, rounds=50) < 50_000
