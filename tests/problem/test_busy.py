"""A problem is busy while one of its methods runs: other threads are
refused at once, code called back from the solve may only query it.

The thread cases run in a fresh interpreter and repeat: before the guard
they crashed it (or returned a stale status) in most runs."""
import os
import subprocess
import sys
import textwrap

import pytest

import quendalib as quenda

DATA = os.path.join(os.path.dirname(__file__), os.pardir, "data")


CHECK_PEROLD = """
def check_perold(p):
    st = p.getProbStatusString()
    assert st == "lp_optimal", st
    assert abs(p.getObjVal() + 9380.7552783) < 1e-4, p.getObjVal()
"""


def run_script(body, timeout=240):
    code = "import os, sys, threading, time\nimport quendalib as quenda\n" \
        f"DATA = {os.path.abspath(DATA)!r}\n" + CHECK_PEROLD + textwrap.dedent(body)
    r = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True,
                       timeout=timeout)
    assert r.returncode == 0, f"exit {r.returncode}\n{r.stdout[-2000:]}\n{r.stderr[-3000:]}"
    return r.stdout


@pytest.fixture
def afiro():
    p = quenda.problem()
    p.read(os.path.join(DATA, "afiro.mps"))
    p.setControl("outputlog", 1)
    return p


@pytest.fixture
def handler():
    added = []

    def add(f):
        quenda.addcbmsghandler(f, None, 0)
        added.append(f)

    yield add
    for f in added:
        try:
            quenda.removecbmsghandler(f, None)
        except quenda.InterfaceError:
            pass


CHANGES = [
    ("reset", lambda p, x: p.reset()),
    ("addVariable", lambda p, x: p.addVariable(x)),
    ("delVariable", lambda p, x: p.delVariable(0)),
    ("read", lambda p, x: p.read(os.path.join(DATA, "egout.mps"))),
    ("setObjective", lambda p, x: p.setObjective(p.getVariable(0))),
    ("setControl", lambda p, x: p.setControl("loglevel", 1)),
    ("solve", lambda p, x: p.solve()),
]


@pytest.mark.parametrize("name, change", CHANGES, ids=[c[0] for c in CHANGES])
def test_changes_from_a_message_handler_are_refused(afiro, handler, name, change):
    seen = []
    x = quenda.var()

    def on_line(obj, data, ptr, msg, length, msgtype):
        if seen or msg is None:
            return
        try:
            change(afiro, x)
            seen.append("allowed")
        except quenda.ModelError as e:
            seen.append(str(e))
        # the queries a handler needs keep working
        seen.append((afiro.getAttrib("cols"), len(afiro.getVariable())))

    handler(on_line)
    afiro.solve()
    assert seen[0] == (f"problem.{name}: cannot change the problem while its solve() runs "
                       "(code it calls back may only query it)")
    assert seen[1] == (32, 32)
    assert afiro.getProbStatusString() == "lp_optimal"
    assert afiro.getObjVal() == pytest.approx(-464.75314286)
    # free again once the solve has returned
    change(afiro, x)


def test_a_handlers_refusal_reaches_the_caller(afiro, handler):
    # The refusal raised inside a message handler stops the solve and is
    # raised by solve(); the problem is untouched and solves again.
    def on_line(*args):
        afiro.reset()

    handler(on_line)
    with pytest.raises(quenda.ModelError, match="^problem.reset: cannot change"):
        afiro.solve()
    quenda.removecbmsghandler(on_line, None)
    afiro.solve()
    assert afiro.getObjVal() == pytest.approx(-464.75314286)


def test_unbound_and_foreign_calls_keep_their_own_checks():
    p = quenda.problem()
    with pytest.raises(TypeError):
        quenda.problem.addVariable(5)
    with pytest.raises(TypeError):
        quenda.problem.getVariable()
    assert quenda.problem.getVariable(p) == []
    assert "addVariable" in repr(quenda.problem.addVariable)
    assert quenda.problem.solve.__doc__.startswith("solve(")


THREADS = """
    p = quenda.problem()
    p.read(os.path.join(DATA, "perold.mps"))
    p.setControl("outputlog", 0)
    x = quenda.var()
    stop = False
    refused = {"change": 0, "read": 0, "solve": 0, "main": 0}
    calls = [("change", lambda: (p.addVariable(x), p.delVariable(x)))] * 40 + [
        ("read", lambda: p.read(os.path.join(DATA, "perold.mps"))), ("solve", p.solve)]

    def meddle():
        k = 0
        while not stop:
            kind, call = calls[k % len(calls)]
            k += 1
            try:
                call()
            except quenda.ModelError as e:
                assert "busy in" in str(e), e
                refused[kind] += 1
            if kind != "change":
                time.sleep(0.02)  # leave the main thread room to solve

    t = threading.Thread(target=meddle)
    t.start()
    solved = 0
    deadline = time.monotonic() + SECONDS
    while solved < ROUNDS and time.monotonic() < deadline:
        try:
            p.solve()
        except quenda.ModelError as e:
            assert "busy in" in str(e), e
            refused["main"] += 1
            time.sleep(0.001)  # let the other thread's read or solve end
            continue
        check_perold(p)
        solved += 1
    stop = True
    t.join()
    p.solve()
    assert abs(p.getObjVal() + 9380.7552783) < 1e-4
    print(solved, refused)
"""


@pytest.mark.parametrize("run", range(3))
def test_another_thread_is_refused_while_a_problem_solves(run):
    out = run_script("ROUNDS, SECONDS = 5, 20\n" + textwrap.dedent(THREADS))
    solved, refused = out.split(" ", 1)
    assert int(solved) >= 1 and eval(refused)["change"] > 0, out


TIGHT = """
    p = quenda.problem()
    p.read(os.path.join(DATA, "perold.mps"))
    p.setControl("outputlog", 0)
    stop = False

    def meddle():
        k = 0
        while not stop:
            try:
                if MODE == "vars":
                    xs = [quenda.var() for _ in range(50)]
                    p.addVariable(xs)
                    p.delVariable(xs)
                else:
                    c = p.getVariable(k % 100) <= 1e6
                    p.addConstraint(c)
                    p.delConstraint(c)
            except quenda.ModelError as e:
                assert "busy in" in str(e), e
            k += 1

    t = threading.Thread(target=meddle, daemon=True)  # a failed check ends the run
    t.start()
    solved = 0
    for i in range(8):
        try:
            p.solve()
        except quenda.ModelError as e:
            assert "busy in" in str(e), e
            continue
        check_perold(p)
        solved += 1
    stop = True
    t.join()
    print(solved)
"""


@pytest.mark.parametrize("mode", ["vars", "rows"])
def test_changes_in_a_tight_loop_never_leave_a_stale_status(mode):
    # Without the guard, nearly every solve here returned without error and
    # with a status other than optimal: the other thread had changed the
    # model under it.
    out = run_script(f"MODE = {mode!r}\n" + textwrap.dedent(TIGHT))
    assert int(out) >= 1, out
