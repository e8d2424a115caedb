"""Adding, removing and copying callbacks: the registry's rules."""
import gc
import sys

import pytest

import quendalib as quenda

from cbmodels import knapsacks, read

OPT_KINDS = ["bariteration", "barlog", "chgbranchobject", "cutlog", "destroymt", "gapnotify",
             "globallog", "infnode", "intsol", "lplog", "message", "mipthread", "newnode",
             "nodecutoff", "optnode", "preintsol", "prenode", "usersolnotify"]
SLP_KINDS = ["cascadeend", "cascadestart", "cascadevar", "cascadevarfail", "coefevalerror",
             "construct", "destroy", "drcol", "formula", "iterend", "iterstart", "itervar",
             "msjobend", "msjobstart", "mswinner", "slpend", "slpnode", "slpstart"]


def counting(p):
    calls = []
    p.addcbintsol(lambda prob, data: calls.append(data))
    return calls


@pytest.mark.parametrize("kind", OPT_KINDS)
def test_every_optimiser_kind_adds_and_removes(kind):
    p = quenda.problem()
    f = lambda *a: None  # noqa: E731
    getattr(p, "addcb" + kind)(f, data=1, priority=3)
    getattr(p, "addcb" + kind)(callback=f)
    getattr(p, "removecb" + kind)(f)
    with pytest.raises(quenda.InterfaceError, match="^Cannot remove callback from an empty set$"):
        getattr(p, "removecb" + kind)(f)


@pytest.mark.parametrize("kind", SLP_KINDS)
def test_every_nonlinear_kind_is_kept(kind):
    p = quenda.problem()
    getattr(p, "setcb" + kind)(lambda *a: 0, None, 2)
    assert not hasattr(p, "removecb" + kind)


@pytest.mark.parametrize("call, message", [
    (lambda p: p.addcbintsol(3), "Cannot add callback"),
    (lambda p: p.setcbslpend("f"), "Cannot add callback"),
    (lambda p: p.removecbintsol(3), "Cannot remove callback"),
    (lambda p: p.removecbintsol(print), "Cannot remove callback from an empty set"),
    (lambda p: p.copycallbacks(3), "copycallbacks() must be called with the source problem as "
                                   "argument"),
])
def test_bad_calls(call, message):
    with pytest.raises(quenda.InterfaceError) as e:
        call(quenda.problem())
    assert str(e.value) == message


def test_remove_with_nothing_registered_succeeds():
    quenda.problem().removecbintsol()


def test_removal_matches_by_identity_and_none_means_any():
    p, _, _ = knapsacks()
    calls = []
    f = lambda prob, data: calls.append(data)  # noqa: E731
    g = lambda prob, data: calls.append("g")  # noqa: E731
    d1, d2 = ["d"], ["d"]  # equal, not the same object
    p.addcbintsol(f, d1)
    p.addcbintsol(f, d2)
    p.addcbintsol(f, d1)
    p.addcbintsol(g)
    p.removecbintsol(f, d1)  # both entries with d1, none with the equal d2
    with pytest.raises(quenda.InterfaceError, match="^Callback not found$"):
        p.removecbintsol(f, ["d"])
    p.solve()
    assert calls and set(map(id, (c for c in calls if c != "g"))) == {id(d2)}
    assert "g" in calls
    p.removecbintsol(f)
    calls.clear()
    p.solve()
    assert set(calls) == {"g"}
    p.removecbintsol()
    calls.clear()
    p.solve()
    assert calls == []


def test_same_function_twice_fires_twice_in_priority_order():
    p, _, _ = knapsacks()
    order = []
    p.addcbintsol(lambda prob, d: order.append(d), "low", 0)
    p.addcbintsol(lambda prob, d: order.append(d), "high", 10)
    p.addcbintsol(lambda prob, d: order.append(d), "low2", 0)
    p.solve()
    assert order[:3] == ["high", "low", "low2"]


def test_copy_and_copycallbacks_carry_callbacks():
    p, _, _ = knapsacks()
    calls = counting(p)
    p.addcbmessage(lambda *a: None)
    q = p.copy()
    q.solve()
    assert calls
    calls.clear()
    r, _, _ = knapsacks()
    r.copycallbacks(p)
    r.solve()
    assert calls
    calls.clear()
    p.removecbintsol()
    q.solve()  # q's entries are its own
    assert calls


def test_destroying_a_problem_releases_its_callbacks():
    def f(prob, data):
        pass
    data = object()
    before = sys.getrefcount(f), sys.getrefcount(data)
    for _ in range(20):
        p = read("egout.mps")
        p.addcbintsol(f, data)
        p.addcbmessage(f, data)
        p.setcbslpstart(f, data)
        del p
    gc.collect()
    assert (sys.getrefcount(f), sys.getrefcount(data)) == before


@pytest.mark.parametrize("register", [
    lambda p, f: p.addcbintsol(f, None),
    lambda p, f: p.addcbmessage(f, p),   # the problem as the callback's data
    lambda p, f: p.setcbslpstart(f, None),
], ids=["intsol", "message_data", "slpstart"])
def test_a_problem_its_callback_refers_to_is_collected(register):
    import weakref
    refs = []
    for _ in range(5):
        p = read("egout.mps")
        register(p, lambda prob, data, *rest: p.getAttrib("cols"))  # closes over p
        refs.append(weakref.ref(p))
        p.solve()
        del p
    gc.collect()
    assert [r() for r in refs] == [None] * 5
    # a problem kept alive keeps its callbacks working after a collection
    q = read("egout.mps")
    seen = []
    q.addcbintsol(lambda prob, data: seen.append(q.getAttrib("cols")), None)
    gc.collect()
    q.solve()
    assert seen and q.getProbStatusString() == "mip_optimal"


def test_removal_releases_references():
    f = lambda *a: None  # noqa: E731
    data = object()
    before = sys.getrefcount(f), sys.getrefcount(data)
    p = quenda.problem()
    for _ in range(10):
        p.addcbintsol(f, data)
    p.removecbintsol()
    assert (sys.getrefcount(f), sys.getrefcount(data)) == before


@pytest.mark.parametrize("kind", ["intsol", "optnode", "message"])
def test_events_leak_no_memory_and_no_references(kind):
    import tracemalloc

    p, x, _ = knapsacks(n=15)
    p.setControl({"loglevel": 1, "outputlog": 0})
    data = object()
    calls = []

    def f(prob, d, *rest):
        calls.append(len(prob.getSolution(x)) if kind != "message" else rest[0])
        return None

    getattr(p, "addcb" + kind)(f, data)
    p.solve()
    calls.clear()
    refs = sys.getrefcount(data), sys.getrefcount(f)
    tracemalloc.start()
    p.solve()
    before = tracemalloc.get_traced_memory()[0]
    for _ in range(5):
        p.solve()
        calls.clear()
    grown = tracemalloc.get_traced_memory()[0] - before
    tracemalloc.stop()
    assert (sys.getrefcount(data), sys.getrefcount(f)) == refs
    print(kind, grown, len(calls))
    assert grown < 20000


def test_a_callback_may_remove_itself_during_the_solve():
    p, _, _ = knapsacks()
    calls = []

    def once(prob, data):
        calls.append(1)
        p.removecbintsol(once)

    p.addcbintsol(once)
    p.solve()
    assert calls == [1]
    p.solve()
    assert calls == [1]


def test_a_callback_may_remove_the_next_one_of_its_kind():
    p, _, _ = knapsacks()
    calls = []
    data = [object()]

    def first(prob, d):
        if not calls:
            p.removecbintsol(second)
        calls.append("first")

    def second(prob, d):
        calls.append("second")

    p.addcbintsol(first, None, 2)
    p.addcbintsol(second, data[0], 1)
    data.clear()  # the registry holds the only reference: removal frees it
    p.solve()
    assert calls and set(calls) == {"first"}
