"""Module-level message handlers receive the library's log lines."""
import ctypes
import sys
import threading

import pytest

import quendalib as quenda


def _solve_empty(lib):
    """Makes the library log: an empty LP solved through the C interface,
    with the interpreter lock released (ctypes) as during a real solve."""
    h = ctypes.c_void_p()
    assert lib.QNDAcreateprob(ctypes.byref(h)) == 0
    try:
        assert lib.QNDAlpoptimize(h, b"") == 0
    finally:
        lib.QNDAdestroyprob(h)


@pytest.fixture
def handlers():
    added = []
    yield added
    for f, d in added:
        try:
            quenda.removecbmsghandler(f, d)
        except quenda.InterfaceError:
            pass


def test_handler_gets_lines(lib, handlers):
    seen = []
    data = object()

    def handler(obj, d, ptr, msg, length, msgtype):
        seen.append((type(obj).__name__, d, type(ptr).__name__, msg, length, msgtype,
                     threading.current_thread() is threading.main_thread()))

    quenda.addcbmsghandler(handler, data, 0)
    handlers.append((handler, data))
    _solve_empty(lib)
    assert seen, "no message reached the handler"
    kinds = {s[:3] for s in seen}
    assert kinds == {("qndaobject", data, "generic")}
    lines = [s for s in seen if s[5] >= 0]  # a negative type with no text is a flush
    assert lines and all(isinstance(s[3], str) and isinstance(s[4], int) for s in lines)
    assert all(s[3] is None for s in seen if s[5] < 0)


def test_handler_called_from_another_thread(lib, handlers):
    threads = []
    f = lambda *a: threads.append(threading.current_thread().name)  # noqa: E731
    quenda.addcbmsghandler(f, None, 0)
    handlers.append((f, None))
    t = threading.Thread(target=_solve_empty, args=(lib,), name="solver")
    t.start()
    t.join(60)
    assert not t.is_alive() and threads and set(threads) == {"solver"}


def test_remove_stops_lines(lib, handlers):
    seen = []
    f = lambda *a: seen.append(a)  # noqa: E731
    quenda.addcbmsghandler(msghandler=f, data=None, priority=1)
    quenda.removecbmsghandler(msghandler=f, data=None)
    _solve_empty(lib)
    assert seen == []


def test_remove_by_identity_of_data(lib, handlers):
    seen = []
    f = lambda o, d, *a: seen.append(d)  # noqa: E731
    d1, d2 = ["one"], ["two"]
    quenda.addcbmsghandler(f, d1, 0)
    quenda.addcbmsghandler(f, d2, 0)
    handlers.append((f, None))
    quenda.removecbmsghandler(f, d1)
    _solve_empty(lib)
    assert seen and all(d is d2 for d in seen)


def _logging_problem():
    p = quenda.problem()
    x = quenda.var()
    p.addVariable(x)
    p.addConstraint(x >= 1)
    p.setObjective(x)
    p.setControl("loglevel", 1)
    return p


def test_handler_gets_the_log_of_two_problems(handlers):
    seen = []
    f = lambda obj, d, ptr, msg, length, msgtype: seen.append(obj)  # noqa: E731
    quenda.addcbmsghandler(f, None, 0)
    handlers.append((f, None))
    p, q = _logging_problem(), _logging_problem()
    p.solve()
    q.solve()
    assert len({repr(o) for o in seen}) == 2


def test_exception_in_handler_stops_the_lines_and_reaches_the_solve(handlers):
    calls = []

    def bad(*a):
        calls.append(a[3])
        raise ValueError("boom")

    quenda.addcbmsghandler(bad, None, 0)
    handlers.append((bad, None))
    p = _logging_problem()
    with pytest.raises(ValueError, match="boom"):
        p.solve()
    assert len(calls) == 1
    quenda.removecbmsghandler(bad, None)
    handlers.clear()
    p.solve()  # nothing left pending
    assert p.getObjVal() == 1


@pytest.mark.parametrize("func, args, message", [
    (quenda.addcbmsghandler, (print, None),
     "Incorrect arguments in addcbmsghandler. Must provide correct list of three arguments"),
    (quenda.addcbmsghandler, (print, None, "high"),
     "Incorrect arguments in addcbmsghandler. Must provide correct list of three arguments"),
    (quenda.removecbmsghandler, (print,),
     "Incorrect arguments in removecbmsghandler. Must provide correct list of two arguments"),
])
def test_argument_errors(func, args, message):
    with pytest.raises(RuntimeError, match="^" + message.replace(".", r"\.") + "$"):
        func(*args)


def test_not_callable_and_not_found():
    with pytest.raises(quenda.InterfaceError, match="^Cannot add callback$"):
        quenda.addcbmsghandler(5, None, 0)
    with pytest.raises(quenda.InterfaceError, match="^Callback not found$"):
        quenda.removecbmsghandler(print, None)


def test_handler_references_released(handlers):
    f = lambda *a: None  # noqa: E731
    data = ["payload"]
    rf, rd = sys.getrefcount(f), sys.getrefcount(data)
    for _ in range(50):
        quenda.addcbmsghandler(f, data, 0)
    quenda.removecbmsghandler(f, data)
    assert (sys.getrefcount(f), sys.getrefcount(data)) == (rf, rd)
