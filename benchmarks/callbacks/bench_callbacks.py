"""Cost of a do-nothing callback per event, in one run.

The same loop of small solves (a two-binary MIP that finds one solution
and writes a few log lines) is timed without a callback, with a
do-nothing Python callback and with a do-nothing C++ callback
(bench_native.cpp, compiled here against the library beside the module).
The overhead per event is (time with - time without) / events, the
fastest of seven runs each; times are the process's CPU time, so that
other work on a shared machine counts less.

On a busy machine the solves vary by more than one callback costs, so a
second measure fans out: the same callback registered 100 times, against
once.  The engine's work per event is the same, so the difference over
the 99 extra calls per event is the cost of one call alone, for Python
and for C++.  optnode runs on Cbc, so its solves without a
callback run on Cbc too (the solvername control).

usage: PYTHONPATH=build/<tag>/python python benchmarks/callbacks/bench_callbacks.py [solves]
"""
import os
import subprocess
import sys
import tempfile
import time

import quendalib as quenda

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
SOLVES = int(sys.argv[1]) if len(sys.argv) > 1 else 300


def tiny():
    p = quenda.problem()
    x, y = quenda.var(vartype=quenda.binary), quenda.var(vartype=quenda.binary)
    p.addVariable(x, y)
    p.addConstraint(x + y <= 1.5)
    p.setObjective(x + y, sense=quenda.maximize)
    return p


def timed(p):
    t0 = time.process_time()
    for _ in range(SOLVES):
        p.solve()
    return time.process_time() - t0


def counted(kind):
    """The tiny problem set up for kind, a do-nothing callback and its count."""
    p = tiny()
    p.setControl({"loglevel": 1 if kind == "message" else 0, "outputlog": 0,
                  "solvername": "cbc" if kind == "optnode" else "highs"})
    events = [0]

    def noop(prob, data, *rest):
        events[0] += 1

    return p, noop, events


def python_case(kind):
    p, noop, events = counted(kind)
    none = with_ = float("inf")
    for _ in range(7):
        none = min(none, timed(p))
        events[0] = 0
        getattr(p, "addcb" + kind)(noop)
        with_ = min(with_, timed(p))
        getattr(p, "removecb" + kind)()
    return events[0], with_, none


FANOUT = 100


def python_fanout(kind):
    """Seconds per call of a do-nothing Python callback (see above)."""
    p, noop, calls = counted(kind)
    best = {}
    for k in (1, FANOUT):
        for _ in range(k):
            getattr(p, "addcb" + kind)(noop)
        t = float("inf")
        for _ in range(5):
            calls[0] = 0
            t = min(t, timed(p))
        best[k] = (t, calls[0] // k)
        getattr(p, "removecb" + kind)()
    (t1, events), (tn, _) = best[1], best[FANOUT]
    return (tn - t1) / ((FANOUT - 1) * events)


def native_cases():
    lib = os.path.dirname(quenda.__file__)
    exe = os.path.join(tempfile.mkdtemp(), "bench_native")
    subprocess.run(["c++", "-O2", "-std=c++17", os.path.join(HERE, "bench_native.cpp"),
                    "-I", os.path.join(ROOT, "solver", "include"), "-o", exe,
                    os.path.join(lib, "libqnda.so.34.01"), "-Wl,-rpath," + lib], check=True)
    out = subprocess.run([exe, str(SOLVES)], check=True, capture_output=True, text=True).stdout
    res = {}
    for line in out.splitlines():
        kind, *vals = line.split()
        res[kind] = (int(vals[0]), float(vals[1]), float(vals[2])) if len(vals) == 3 else float(
            vals[0])
    return res


def report(label, events, with_, none):
    per = (with_ - none) / events * 1e6 if events else float("nan")
    print(f"  {label:8s} {events:7d} events  {none / SOLVES * 1e6:9.1f} us/solve without  "
          f"{with_ / SOLVES * 1e6:9.1f} with  {per:7.2f} us per event")


def main():
    native = native_cases()
    for kind in ("intsol", "optnode", "message"):
        print(kind)
        report("python", *python_case(kind))
        report("c++", *native[kind])
        py, cpp = python_fanout(kind), native[kind + "_fanout"]
        print(f"  one call: {py * 1e6:.2f} us in Python, {cpp * 1e6:.2f} us in C++, "
              f"{(py - cpp) * 1e6:.2f} us of Python overhead")


if __name__ == "__main__":
    main()
