"""Ctrl-C during a solve stops the optimisation, not the interpreter.

Each case runs in a fresh interpreter: a SIGINT that reached the default
action would kill the process, which must show up as a failed run rather
than take pytest down with it."""
import os
import subprocess
import sys
import textwrap

import pytest

# Market split (Cornuejols-Dawande): a few equality rows over binaries with
# random coefficients; branch and bound needs far longer than the test waits.
MARKET_SPLIT = """
import os, random, signal, threading, time
import quendalib as quenda

def market_split(m=5, n=40, seed=1):
    rng = random.Random(seed)
    p = quenda.problem("marketsplit")
    x = [quenda.var(vartype=quenda.binary) for _ in range(n)]
    sp = [quenda.var() for _ in range(m)]
    sm = [quenda.var() for _ in range(m)]
    p.addVariable(x, sp, sm)
    for i in range(m):
        a = [rng.randint(0, 99) for _ in range(n)]
        p.addConstraint(quenda.Sum(a[j] * x[j] for j in range(n)) + sp[i] - sm[i]
                        == sum(a) // 2)
    p.setObjective(quenda.Sum(sp) + quenda.Sum(sm))
    p.setControl("timelimit", 60)
    p.setControl("loglevel", 0)
    return p

def interrupt_after(delay):
    t = threading.Timer(delay, os.kill, (os.getpid(), signal.SIGINT))
    t.start()
    return t
"""


def run(code):
    src = MARKET_SPLIT + textwrap.dedent(code)
    proc = subprocess.run([sys.executable, "-c", src], capture_output=True, text=True,
                          timeout=120, env=os.environ.copy())
    assert proc.returncode == 0, proc.stderr
    return proc.stdout


def test_ctrl_c_stops_mip_and_handler_comes_back():
    out = run("""
        p = market_split()
        before = signal.getsignal(signal.SIGINT)
        t0 = time.time()
        interrupt_after(1.0)
        p.solve()
        elapsed = time.time() - t0
        assert p.getAttrib("stopstatus") == quenda.stop_ctrlc
        assert elapsed < 30, elapsed
        assert signal.getsignal(signal.SIGINT) is before is signal.default_int_handler
        # Python's own handler is in force again: the next Ctrl-C raises.
        try:
            os.kill(os.getpid(), signal.SIGINT)
            time.sleep(0.5)
        except KeyboardInterrupt:
            print("keyboard interrupt")
        print(p.getProbStatusString())
    """)
    lines = out.split()
    assert "keyboard" in lines
    assert lines[-1] in ("mip_solution", "mip_no_sol_found", "mip_lp_optimal")


def test_problem_solves_again_after_interrupt():
    out = run("""
        p = market_split()
        interrupt_after(1.0)
        p.solve()
        assert p.getAttrib("stopstatus") == quenda.stop_ctrlc
        x = quenda.var(ub=3)
        q = quenda.problem()
        q.addVariable(x)
        q.setObjective(x, sense=quenda.maximize)
        q.solve()
        print(q.getSolution(x), q.getProbStatusString())
    """)
    assert out.split()[-2:] == ["3.0", "lp_optimal"]


def test_custom_python_handler_is_restored():
    out = run("""
        hits = []
        def handler(signum, frame):
            hits.append(signum)
        signal.signal(signal.SIGINT, handler)
        p = market_split()
        interrupt_after(1.0)
        p.solve()
        assert p.getAttrib("stopstatus") == quenda.stop_ctrlc
        assert hits == []          # the solve's Ctrl-C went to the library
        assert signal.getsignal(signal.SIGINT) is handler
        os.kill(os.getpid(), signal.SIGINT)
        time.sleep(0.2)
        print(len(hits))
    """)
    assert out.split()[-1] == "1"
