"""Each kind that the HiGHS engine serves fires on a real model with
sensible arguments; failures and bad results stop the solve."""
import threading

import pytest

import quendalib as quenda

from cbmodels import knapsacks, read

STOP_USER = 9
STOP_MIPGAP = 5


def solve_with(kind, model, flags, func, data=None):
    p = read(model, loglevel=int(kind == "message")) if isinstance(model, str) else model
    getattr(p, "addcb" + kind)(func, data)
    p.solve(flags)
    return p


# kind, model, solve flags: a solve on which the kind fires.
FIRING = [
    ("intsol", "egout.mps", None),
    ("message", "afiro.mps", None),
    ("lplog", "perold.mps", "d"),
    ("barlog", "perold.mps", "b"),
    ("bariteration", "perold.mps", "b"),
    ("globallog", "gesa2.mps", None),
    ("cutlog", "gesa2.mps", None),
    ("gapnotify", "gesa2.mps", None),
]


@pytest.mark.parametrize("kind, model, flags", FIRING)
def test_kind_fires_with_the_view_and_data(kind, model, flags):
    seen = []
    data = object()

    def f(prob, d, *rest):
        assert isinstance(prob, quenda.problem) and d is data
        seen.append((prob.attributes.simplexiter, prob.attributes.bariter) + rest)
        return (None,) * 4 if kind == "gapnotify" else None

    p = solve_with(kind, model, flags, f, data)
    assert seen, kind + " did not fire"
    assert p.attributes.stopstatus == 0
    if kind == "bariteration":
        assert [s[1] for s in seen] == sorted(s[1] for s in seen)
    if kind == "message":
        assert all(isinstance(s[2], str) and isinstance(s[3], int) for s in seen)


@pytest.mark.parametrize("kind, model, flags", FIRING)
def test_exception_stops_with_user_reason_and_reaches_the_caller(kind, model, flags, capsys):
    calls = []

    def f(*args):
        calls.append(1)
        raise KeyError("from " + kind)

    p = read(model, loglevel=int(kind == "message"))
    getattr(p, "addcb" + kind)(f)
    with pytest.raises(KeyError, match="from " + kind):
        p.solve(flags)
    assert len(calls) == 1  # later events are skipped
    assert "callback, stopping optimization" in capsys.readouterr().err
    if kind != "message":
        assert p.attributes.stopstatus == STOP_USER
    # Nothing is left pending: the next solve runs to its end.
    getattr(p, "removecb" + kind)()
    p.solve(flags)
    assert p.attributes.stopstatus == 0


@pytest.mark.parametrize("result, stops", [(0, False), (None, False), (1, True), ("x", True)])
def test_log_result_nonzero_or_not_an_int_stops(result, stops):
    p = solve_with("lplog", "perold.mps", "d", lambda *a: result)
    assert (p.attributes.stopstatus == STOP_USER) is stops


def test_intsol_solutions_satisfy_the_rows_and_nodes_grow():
    p, x, rows = knapsacks()
    seen = []

    def f(prob, data):
        sol = prob.getSolution(x)
        for w, cap in rows:
            assert sum(wi * si for wi, si in zip(w, sol)) <= cap + 1e-6
        assert all(abs(s - round(s)) < 1e-6 for s in sol)
        seen.append((prob.attributes.nodes, prob.attributes.mipobjval))

    p.addcbintsol(f)
    p.solve()
    assert len(seen) >= 2
    nodes = [s[0] for s in seen]
    assert nodes == sorted(nodes)
    objs = [s[1] for s in seen]
    assert objs == sorted(objs)  # maximising: each incumbent improves
    assert objs[-1] == pytest.approx(p.getObjVal())


@pytest.mark.parametrize("targets, reason", [
    ((0.5, None, None, None), STOP_MIPGAP),
    ((None, None, None, None), 0),
])
def test_gapnotify_targets_stop_the_search(targets, reason):
    p = solve_with("gapnotify", "gesa2.mps", None, lambda *a: targets)
    assert p.attributes.stopstatus == reason
    if reason:
        assert p.attributes.miprelgap <= 0.5


def test_gapnotify_bound_target_alone():
    # Minimising: a bound target below the root bound is met at once.
    seen = []

    def f(prob, data):
        seen.append(prob.attributes.bestbound)
        return (None, None, None, 1e6)

    p = solve_with("gapnotify", "gesa2.mps", None, f)
    assert p.attributes.stopstatus == STOP_MIPGAP
    assert seen[-1] >= 1e6 > max(seen[:-1], default=-1e20)


@pytest.mark.parametrize("kind, result, message", [
    ("gapnotify", None, "Problem in GapNotify callback: must return tuple of four elements, "
                        "each being a number or None."),
    ("gapnotify", (1, 2), "Problem in GapNotify callback"),
    ("gapnotify", ("a", None, None, None), "Problem in GapNotify callback"),
])
def test_bad_tuple_results_interrupt(kind, result, message, capsys):
    p = solve_with(kind, "gesa2.mps", None, lambda *a: result)
    assert message in capsys.readouterr().err
    assert p.attributes.stopstatus == STOP_USER


def test_optnode_moves_the_search_to_cbc_and_sees_each_node_relaxation(capfd):
    p, x, rows = knapsacks()
    p.solve()
    best = p.getObjVal()
    assert p.attributes.engine == 1  # HiGHS
    seen = []

    def f(prob, data):
        sol = prob.getSolution(x)
        assert all(-1e-9 <= s <= 1 + 1e-9 for s in sol)
        seen.append(prob.attributes.nodes)

    p.addcboptnode(f)
    p.setControl("loglevel", 1)
    p.solve()
    assert "Solving MIP with cbc" in capfd.readouterr().out
    assert p.attributes.engine == 2  # Cbc
    assert p.getObjVal() == pytest.approx(best)
    assert len(seen) > 1 and seen == sorted(seen)


def test_optnode_declaring_every_node_infeasible_leaves_no_solution():
    p, _, _ = knapsacks()
    p.addcboptnode(lambda prob, data: 1)
    p.solve()
    assert p.getProbStatusString() in ("mip_infeas", "mip_no_sol_found")


def test_preintsol_rejection_excludes_solutions():
    p, x, _ = knapsacks()
    seen = []

    def f(prob, data, soltype, cutoff):
        sol = prob.getSolution(x)
        assert all(abs(s - round(s)) < 1e-6 for s in sol)
        seen.append(cutoff)
        return (1 if sol[0] > 0.5 else 0), None

    p.addcbpreintsol(f)
    p.solve()
    assert seen and p.getSolution(x[0]) < 0.5
    q, y, _ = knapsacks()
    q.addConstraint(y[0] == 0)
    q.solve()
    assert p.getObjVal() == pytest.approx(q.getObjVal())


def test_preintsol_new_cutoff_prunes_the_search():
    p, x, _ = knapsacks()
    calls = []

    def f(prob, data, soltype, cutoff):
        calls.append(cutoff)
        return None, 1e6  # no solution can beat this: the rest of the tree is pruned

    p.addcbpreintsol(f)
    p.solve()
    assert len(calls) == 1


@pytest.mark.parametrize("result", [None, (1,), ("a", None), (None, "b")])
def test_preintsol_bad_result_interrupts(result, capsys):
    p, _, _ = knapsacks()
    p.addcbpreintsol(lambda *a: result)
    p.solve()
    assert ("Problem in PreIntSol callback: must return tuple of two elements, both being a "
            "number or None.") in capsys.readouterr().err
    assert p.attributes.stopstatus == STOP_USER


@pytest.mark.parametrize("kind", ["optnode", "preintsol"])
def test_node_kind_exception_reaches_the_caller(kind):
    p, _, _ = knapsacks()
    getattr(p, "addcb" + kind)(lambda *a: [][1])
    with pytest.raises(IndexError):
        p.solve()
    assert p.attributes.stopstatus == STOP_USER


def test_callbacks_during_a_solve_on_another_thread():
    p, x, _ = knapsacks()
    where = []
    p.addcbintsol(lambda prob, d: where.append(threading.current_thread().name))
    t = threading.Thread(target=p.solve, name="solver")
    t.start()
    t.join(120)
    assert not t.is_alive() and where and set(where) == {"solver"}


def test_exception_on_another_thread_reaches_that_threads_solve():
    p, _, _ = knapsacks()
    caught = []

    def solve():
        try:
            p.solve()
        except ZeroDivisionError as e:
            caught.append(e)

    p.addcbintsol(lambda prob, d: 1 / 0)
    t = threading.Thread(target=solve)
    t.start()
    t.join(120)
    assert len(caught) == 1


def test_view_kept_beyond_the_callback_is_an_empty_shell():
    kept = []
    p = solve_with("intsol", "egout.mps", None, lambda prob, d: kept.append(prob))
    assert kept and kept[0] is not p
    with pytest.raises(quenda.ModelError, match="Problem not initialized"):
        kept[0].getObjVal()


def test_view_is_reused_between_events_and_its_data_released_with_the_problem():
    """Events re-bind one view; one kept by a callback is left to it, and the
    problem's end releases everything."""
    import gc
    import weakref

    class Data:
        pass
    p, x, _ = knapsacks()
    ids, kept = [], []
    data = Data()

    def intsol(prob, d):
        ids.append(id(prob))
        assert prob.getSolution(x[0]) in (0.0, 1.0)
        assert prob.attributes.mipsols >= 1 and prob.controls.loglevel == 0
        if len(ids) == 2:
            kept.append(prob)

    p.addcbintsol(intsol, data)
    p.solve()
    assert len(ids) >= 3 and ids[0] == ids[1] != ids[2]  # the second event kept it
    assert len(set(ids[2:])) == 1  # one view again after the kept one
    with pytest.raises(quenda.ModelError, match="Problem not initialized"):
        kept[0].getObjVal()
    ref = weakref.ref(data)
    del data, p, kept
    gc.collect()
    assert ref() is None


@pytest.mark.parametrize("model, engine", [("egout.mps", 2), ("afiro.mps", 1)])
def test_solvername_cbc_runs_mip_searches_only(model, engine):
    p = read(model)
    p.solve()
    expected = p.getObjVal()
    p.setControl("solvername", "cbc")
    p.solve()
    assert p.attributes.engine == engine
    assert p.getObjVal() == pytest.approx(expected, rel=1e-6)
