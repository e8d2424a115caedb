"""Problem creation, naming, copy, reset and destruction."""
import gc
import sys
import tracemalloc

import pytest

import quendalib as quenda


class TestName:
    @pytest.mark.parametrize("args, kwargs, name", [((), {}, "noname"), (("p1",), {}, "p1"),
                                                    ((), {"name": "kw"}, "kw"),
                                                    (("x" * 300,), {}, "x" * 300)])
    def test_names(self, args, kwargs, name):
        p = quenda.problem(*args, **kwargs)
        assert p.name() == name
        assert str(p) == name

    @pytest.mark.parametrize("args, kwargs", [((5,), {}), (("a", "b"), {}), ((), {"nm": "a"}),
                                              (("a\0b",), {})])
    def test_bad_arguments(self, args, kwargs):
        with pytest.raises((TypeError, ValueError)):
            quenda.problem(*args, **kwargs)


def test_members():
    p = quenda.problem()
    assert type(p.controls).__name__ == "control"
    assert type(p.attributes).__name__ == "attribute"
    assert type(p).controls.__doc__ == "Problem's controls"
    assert type(p).attributes.__doc__ == "Problem's attributes"


@pytest.mark.parametrize("member", ["controls", "attributes"])
@pytest.mark.parametrize("replacement", [None, 5, "x"])
def test_members_cannot_be_replaced(member, replacement):
    p = quenda.problem()
    with pytest.raises(AttributeError):
        setattr(p, member, replacement)
    with pytest.raises(AttributeError):
        delattr(p, member)
    assert p.getControl("threads") == p.controls.threads and p.getAttrib("rows") == 0


class TestCopy:
    def test_copy_keeps_controls_and_is_independent(self):
        p = quenda.problem("src")
        p.setControl("threads", 2)
        c = p.copy()
        assert type(c) is quenda.problem and c is not p
        assert c.getControl("threads") == 2
        c.setControl("threads", 3)
        assert p.getControl("threads") == 2
        del p
        assert c.getControl("threads") == 3 and c.attributes.rows == 0

    def test_copy_of_unbuilt_problem_fails(self):
        p = quenda.problem.__new__(quenda.problem)
        with pytest.raises(quenda.SolverError):
            p.copy()


def test_reset_empties_and_names_empty():
    p = quenda.problem("r")
    p.setControl("threads", 2)
    assert p.reset() is None
    assert p.name() == ""
    assert p.getControl("threads") == quenda.controls.threads
    assert p.attributes.rows == 0


def _churn(n):
    for i in range(n):
        p = quenda.problem("loop")
        p.setControl("threads", 1)
        p.controls.timelimit = 3
        p.getAttrib()
        str(p.controls)
        c = p.copy()
        c.reset()
        del p, c


def test_no_leak_creating_and_destroying_problems():
    _churn(50)
    gc.collect()
    tracemalloc.start()
    try:
        _churn(300)
        gc.collect()
        first, _ = tracemalloc.get_traced_memory()
        _churn(300)
        gc.collect()
        second, _ = tracemalloc.get_traced_memory()
    finally:
        tracemalloc.stop()
    assert second - first < 64 * 1024


def test_refcounts_balance_for_objects_held():
    name = "".join(["shared", "name"])
    value = 10**25 + 7
    rc_name, rc_value = sys.getrefcount(name), sys.getrefcount(value)
    for _ in range(200):
        p = quenda.problem(name)
        p.setControl("timelimit", value)
        p.setControl({"timelimit": value})
        del p
    assert sys.getrefcount(name) == rc_name
    assert sys.getrefcount(value) == rc_value
    assert sys.getrefcount(quenda.problem) > 0


def test_refused_default_leaves_creation_working(lib):
    for _ in range(50):
        with pytest.raises(quenda.SolverError):
            quenda.setdefaultcontrol("threads", -1)
    assert quenda.problem().name() == "noname"


@pytest.mark.parametrize("call", [lambda p: p.name(), lambda p: p.copy(), str,
                                  lambda p: p.getControl(), lambda p: p.getAttrib("rows"),
                                  lambda p: p.setControl("threads", 1),
                                  lambda p: p.controls.threads])
def test_unbuilt_problem_raises_cleanly(call):
    p = quenda.problem.__new__(quenda.problem)  # __init__ never ran: no handles
    with pytest.raises((quenda.SolverError, quenda.ModelError, AttributeError)):
        call(p)
    assert p.reset() is None
