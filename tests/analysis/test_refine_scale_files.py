"""Dual ranges, refined and fixed MIP solutions, user scaling, directive
and binary solution files, message codes and the tuner's lock order."""
import gc
import os
import random
import signal
import tracemalloc

import pytest

import quendalib as quenda

INSTANCES = os.path.join(os.path.dirname(__file__), "..", "data")
SOLVE_STATUS, SOLVE_START = 102, 101  # message codes of the library


def read(name):
    p = quenda.problem()
    p.setControl("loglevel", 0)
    p.read(os.path.join(INSTANCES, name))
    return p


def solution(p):
    x, slack, dual, dj = [], [], [], []
    p.getlpsol(x, slack, dual, dj)
    return x, slack, dual, dj


def blend():
    """min 2x + 3y: x + y >= 4, x <= 3; optimum x 3, y 1."""
    x, y = quenda.var(name="x"), quenda.var(name="y")
    p = quenda.problem()
    p.setControl("loglevel", 0)
    p.addVariable(x, y)
    need, cap = quenda.constraint(x + y >= 4, name="need"), quenda.constraint(x <= 3, name="cap")
    p.addConstraint(need, cap)
    p.setObjective(2 * x + 3 * y)
    return p, need, cap


def violation(p, x):
    """Largest violation of rows and bounds by the point x."""
    m, n = p.getAttrib("rows"), p.getAttrib("cols")
    ms, mc, mv, rhs, rng, types, lb, ub = [], [], [], [], [], [], [], []
    p.getrows(ms, mc, mv, 10 ** 6, 0, m - 1)
    p.getrhs(rhs, 0, m - 1)
    p.getrhsrange(rng, 0, m - 1)
    p.getrowtype(types, 0, m - 1)
    p.getlb(lb)
    p.getub(ub)
    cols = {v: j for j, v in enumerate(p.getVariable())}
    worst = max(max(lb[j] - x[j], x[j] - ub[j]) for j in range(n))
    for i in range(m):
        act = sum(mv[k] * x[cols[mc[k]]] for k in range(ms[i], ms[i + 1]))
        lo = rhs[i] - rng[i] if types[i] == "R" else (rhs[i] if types[i] in "GE" else -1e20)
        hi = rhs[i] if types[i] in "LER" else 1e20
        worst = max(worst, lo - act, act - hi)
    return worst


def objective(p, x):
    c = []
    p.getobj(c, 0, p.getAttrib("cols") - 1)
    return sum(ci * xi for ci, xi in zip(c, x))


class TestDualRanges:
    def test_slopes_by_hand(self):
        p, need, cap = blend()
        lo, hi = [], []
        assert p.estimaterowdualranges([need, "cap"], 0, lo, hi) is None
        assert lo[0] == pytest.approx(2) and hi[0] == pytest.approx(3)
        assert lo[1] == -1e20 and hi[1] == pytest.approx(0, abs=1e-9)

    def test_range_holds_the_dual_of_the_solve(self):
        p = read("afiro.mps")
        p.lpoptimize()
        _, _, dual, _ = solution(p)
        rows = list(range(p.getAttrib("rows")))
        lo, hi = [], []
        p.estimaterowdualranges(rows, 100, lo, hi)
        assert all(a - 1e-7 <= y <= b + 1e-7 for a, y, b in zip(lo, dual, hi))

    @pytest.mark.parametrize("args,exc", [
        ((None, 0, [], []), quenda.InterfaceError),
        (([0], 0, (), []), quenda.InterfaceError),
        (([7], 0, [], []), quenda.SolverError),
        ((["nosuch"], 0, [], []), quenda.SolverError),
        (([0], "x", [], []), TypeError),
    ])
    def test_bad_input(self, args, exc):
        p, _, _ = blend()
        with pytest.raises(exc):
            p.estimaterowdualranges(*args)


class TestMipSolutions:
    @pytest.mark.parametrize("name", ["small_mip.mps", "flugpl.mps"])
    def test_refined_is_feasible_and_no_worse(self, name):
        p = read(name)
        p.mipoptimize()
        x = []
        p.getmipsol(x)
        refined = []
        assert p.refinemipsol(0, "", x, refined) == 0
        assert violation(p, refined) <= 1e-6
        assert objective(p, refined) <= objective(p, x) + 1e-7
        ints = []
        p.getcoltype(ints, 0, len(x) - 1)
        assert all(r == pytest.approx(v) for r, v, t in zip(refined, x, ints) if t != "C")

    def test_polishing_improves_a_poor_point(self):
        x, y = quenda.var(vartype=quenda.integer, ub=3), quenda.var(ub=10)
        p = quenda.problem()
        p.setControl("loglevel", 0)
        p.addVariable(x, y)
        p.addConstraint(x + y <= 3.5, y <= 2)
        p.setObjective(-x - y)
        out = []
        assert p.refinemipsol(0, "", [1, 0.5], out) == 0
        assert out == pytest.approx([1, 2])
        assert p.refinemipsol(0, "", [1.5, 0], out) == 2  # not integral
        assert out == [1.5, 0]
        assert p.refinemipsol(1, "p", [1.5, 0], out) == 0  # rounded to 2
        assert out == pytest.approx([2, 1.5])
        assert p.refinemipsol(0, "", [4, 0], None) == 1  # x = 4 is past its bound

    def test_own_solution_and_fixed_globals(self):
        p = read("small_mip.mps")
        p.mipoptimize()
        best = p.getObjVal()
        assert p.refinemipsol(0, "", None, []) == 0
        x, types = [], []
        p.getmipsol(x)
        p.getcoltype(types, 0, len(x) - 1)
        p.fixglobals(True)
        lb, ub = [], []
        p.getlb(lb)
        p.getub(ub)
        for j, t in enumerate(types):
            if t != "C":
                assert lb[j] == ub[j] == round(x[j])
        p.mipoptimize()
        assert p.getObjVal() == pytest.approx(best, rel=1e-9)

    @pytest.mark.parametrize("call,exc,match", [
        (lambda p: p.fixglobals(True), quenda.SolverError, "no solution"),
        (lambda p: p.refinemipsol(0, "", None, []), quenda.SolverError, "no solution"),
        (lambda p: p.refinemipsol(0, "", [1], []), quenda.ModelError, "Mismatched lengths"),
        (lambda p: p.refinemipsol(64, "", None, []), quenda.SolverError, "unknown options"),
        (lambda p: p.refinemipsol(0, "", None, ()), quenda.InterfaceError, "must be a list"),
    ])
    def test_bad_input(self, call, exc, match):
        with pytest.raises(exc, match=match):
            call(read("small_mip.mps"))


class TestScale:
    @pytest.mark.parametrize("name", ["afiro.mps", "adlittle.mps"])
    def test_scaled_model_gives_the_same_solution(self, name):
        p = read(name)
        p.lpoptimize()
        plain, obj = solution(p), p.getObjVal()
        rnd = random.Random(11)
        p.scale([rnd.randint(-6, 6) for _ in range(p.getAttrib("rows"))],
                [rnd.randint(-6, 6) for _ in range(p.getAttrib("cols"))])
        p.lpoptimize()
        assert p.getObjVal() == pytest.approx(obj, rel=1e-9)
        for a, b in zip(solution(p), plain):
            assert a == pytest.approx(b, rel=1e-6, abs=1e-7)

    def test_mip_keeps_integer_columns_unscaled(self):
        p = read("small_mip.mps")
        p.mipoptimize()
        best = p.getObjVal()
        types = []
        p.getcoltype(types, 0, p.getAttrib("cols") - 1)
        with pytest.raises(quenda.SolverError, match="discrete"):
            p.scale(None, [3] * len(types))
        p.scale([2] * p.getAttrib("rows"), [3 if t == "C" else 0 for t in types])
        p.mipoptimize()
        assert p.getObjVal() == pytest.approx(best, rel=1e-9)
        p.scale()  # no scaling
        p.mipoptimize()
        assert p.getObjVal() == pytest.approx(best, rel=1e-9)

    def test_quadratic_objective(self):
        x, y = quenda.var(lb=-10), quenda.var(lb=-10)
        p = quenda.problem()
        p.setControl("loglevel", 0)
        p.addVariable(x, y)
        p.addConstraint(x + y <= 1.5)
        p.setObjective(x * x + x * y + 2 * y * y - 3 * x - y)
        p.solve()
        plain, obj = p.getSolution([x, y]), p.getObjVal()
        p.scale([3], [-4, 5])
        p.solve()
        assert p.getObjVal() == pytest.approx(obj, rel=1e-7)
        # The engine's optimality tolerance applies to the scaled model.
        assert p.getSolution([x, y]) == pytest.approx(plain, abs=1e-4)

    def test_callbacks_see_unscaled_solutions(self):
        x, y = quenda.var(vartype=quenda.integer, ub=5), quenda.var(ub=100)
        p = quenda.problem()
        p.setControl("loglevel", 0)
        p.addVariable(x, y)
        p.addConstraint(3 * x + y == 17.5)
        p.setObjective(x + 0.1 * y, sense=quenda.maximize)
        p.scale([-2], [0, 5])
        seen = []

        def intsol(prob, data):
            sx, sy = prob.getSolution([x, y])
            seen.append(3 * sx + sy)

        p.addcbintsol(intsol)
        p.solve()
        assert seen and seen == pytest.approx([17.5] * len(seen))
        assert p.getSolution([x, y]) == pytest.approx([5, 2.5])

    @pytest.mark.parametrize("args,exc", [
        (([1],), quenda.ModelError),
        (([100] * 27,), quenda.SolverError),
        ((["a"] * 27,), quenda.ModelError),
    ])
    def test_bad_input(self, args, exc):
        with pytest.raises(exc):
            read("afiro.mps").scale(*args)


class TestFiles:
    def test_directives_round_trip(self, tmp_path):
        p = read("small_mip.mps")
        xs = p.getVariable()
        p.loaddirs([xs[2], xs[0]], [3, 7], ["U", "D"], [1.5, 0.1], [0, 2.5])
        f = str(tmp_path / "d.dir")
        p.writedirs(f)
        q = read("small_mip.mps")
        q.readdirs(f)
        got, want = [[], [], [], [], []], [[], [], [], [], []]
        q.getdirs(*got)
        p.getdirs(*want)
        assert [v.name for v in got[0]] == [v.name for v in want[0]]
        assert got[1:] == want[1:]

    @pytest.mark.parametrize("text,match", [
        ("1 U 0 0 nosuch\n", ":1: no column named"),
        ("# c\n1 Q 0 0 x\n", ":2: expected"),
        ("-1 U 0 0 x\n", ":1: expected"),
    ])
    def test_bad_directive_files(self, tmp_path, text, match):
        f = tmp_path / "d.dir"
        f.write_text(text)
        with pytest.raises(quenda.SolverError, match=match):
            read("small_mip.mps").readdirs(str(f))

    def test_binary_solution_round_trip(self, tmp_path):
        p = read("afiro.mps")
        p.lpoptimize()
        f = str(tmp_path / "s.bin")
        p.writebinsol(f)
        q = read("afiro.mps")
        q.readbinsol(f)
        assert solution(q) == solution(p)
        assert q.getAttrib("lpstatus") == 1
        q.lpoptimize()  # starts from what it read
        assert q.getObjVal() == pytest.approx(p.getObjVal(), rel=1e-9)

    @pytest.mark.parametrize("damage,match", [
        (lambda b: b[:-1], "truncated"),
        (lambda b: b + b"x", "longer"),
        (lambda b: b"NOTASOLN" + b[8:], "not a binary solution"),
        (lambda b: b[:8] + b"\x07" + b[9:], "version 7"),
    ])
    def test_damaged_files_are_refused(self, tmp_path, damage, match):
        p = read("afiro.mps")
        p.lpoptimize()
        f = tmp_path / "s.bin"
        p.writebinsol(str(f))
        f.write_bytes(damage(f.read_bytes()))
        with pytest.raises(quenda.SolverError, match=match):
            read("afiro.mps").readbinsol(str(f))

    def test_other_problem_and_no_solution_are_refused(self, tmp_path):
        p = read("afiro.mps")
        f = str(tmp_path / "s.bin")
        with pytest.raises(quenda.SolverError, match="no solution"):
            p.writebinsol(f)
        p.lpoptimize()
        p.writebinsol(f)
        with pytest.raises(quenda.SolverError, match="27 rows and 32 columns"):
            read("small_mip.mps").readbinsol(f)


class TestMessages:
    def test_muted_code_is_not_logged(self, tmp_path):
        p = read("afiro.mps")
        p.setControl("loglevel", 1)
        p.setControl("outputlog", 0)
        log = tmp_path / "run.log"
        p.setlogfile(str(log))
        p.setmessagestatus(SOLVE_STATUS, 0)
        assert p.getmessagestatus(SOLVE_STATUS) == 0
        assert p.getmessagestatus(SOLVE_START) == 1
        p.lpoptimize()
        p.setmessagestatus(SOLVE_STATUS, 1)
        assert p.getmessagestatus(SOLVE_STATUS) == 1
        del p  # closes the log
        text = log.read_text()
        assert "Solving LP" in text and "LP status" not in text

    @pytest.mark.parametrize("code", [0, -3])
    def test_bad_code(self, code):
        with pytest.raises(quenda.SolverError):
            read("afiro.mps").setmessagestatus(code, 0)


def test_tune_hands_sigint_back_on_every_path():
    p = read("afiro.mps")
    p.setControl("tunermaxtime", 5)
    with pytest.raises(TypeError):
        p.tune(3)
    assert signal.getsignal(signal.SIGINT) is signal.default_int_handler
    with pytest.raises(quenda.SolverError):
        p.tune("z")
    assert signal.getsignal(signal.SIGINT) is signal.default_int_handler


@pytest.mark.parametrize("call", [
    lambda p: p.refinemipsol(0, "", None, []),
    lambda p: p.scale([1] * p.getAttrib("rows"), None),
    lambda p: p.estimaterowdualranges([0, 1], 0, [], []),
    lambda p: pytest.raises(quenda.ModelError, p.refinemipsol, 0, "", [1], []),
], ids=["refine", "scale", "dualranges", "refine-refused"])
def test_no_leaks(call):
    p = read("small_mip.mps")
    p.chgcoltype(p.getVariable(), ["C"] * p.getAttrib("cols"))
    p.mipoptimize()
    for _ in range(20):
        call(p)
    gc.collect()
    tracemalloc.start()
    try:
        snap = tracemalloc.take_snapshot()
        for _ in range(200):
            call(p)
        gc.collect()
        grown = sum(s.size_diff for s in tracemalloc.take_snapshot().compare_to(snap, "filename"))
    finally:
        tracemalloc.stop()
    assert grown < 64 * 1024
