"""The library's optimisations called directly, interruption, and the
solution and basis files."""
import os
import signal

import pytest

import quendalib as quenda

INSTANCES = os.path.join(os.path.dirname(__file__), "..", "data")


def read(name):
    p = quenda.problem()
    p.setControl("loglevel", 0)
    p.read(os.path.join(INSTANCES, name))
    return p


@pytest.mark.parametrize("name,method,objective", [
    ("afiro.mps", "lpoptimize", -464.75314286),
    ("small_mip.mps", "mipoptimize", 3.2368421),
])
def test_direct_optimisation(name, method, objective):
    p = read(name)
    assert getattr(p, method)() is None
    assert p.getObjVal() == pytest.approx(objective, rel=1e-6)
    assert signal.getsignal(signal.SIGINT) is signal.default_int_handler


def test_relaxation_of_mip_by_lpoptimize():
    p = read("small_mip.mps")
    p.lpoptimize("")
    assert p.getAttrib("lpstatus") == 1
    assert p.getObjVal() <= 3.2368421 + 1e-9


def test_interrupt_before_solve_stops_it():
    p = read("afiro.mps")
    p.interrupt(quenda.stop_user)
    p.lpoptimize()
    assert p.getAttrib("stopstatus") == quenda.stop_user


@pytest.mark.parametrize("call,exc", [
    (lambda p: p.lpoptimize("zz"), quenda.SolverError),
    (lambda p: p.lpoptimize(3), TypeError),
    (lambda p: p.interrupt("x"), TypeError),
    (lambda p: p.readbasis("/nonexistent.bas"), quenda.SolverError),
    (lambda p: p.writesol(None), TypeError),
])
def test_bad_input(call, exc):
    with pytest.raises(exc):
        call(read("afiro.mps"))


def test_basis_round_trip_solves_warm(tmp_path):
    p = read("afiro.mps")
    p.lpoptimize()
    bas = str(tmp_path / "afiro.bas")
    p.writebasis(bas, "")
    q = read("afiro.mps")
    q.readbasis(bas, "")
    q.lpoptimize()
    assert q.getObjVal() == pytest.approx(p.getObjVal(), rel=1e-9)
    assert q.getAttrib("simplexiter") == 0


def test_solution_files(tmp_path):
    p = read("afiro.mps")
    p.lpoptimize()
    for method, fn in [("writesol", "s.csv"), ("writeprtsol", "s.prt"), ("writeslxsol", "s.slx")]:
        getattr(p, method)(str(tmp_path / fn))
        assert os.path.getsize(tmp_path / fn) > 0
    q = read("afiro.mps")
    q.readslxsol(str(tmp_path / "s.slx"))
    q.lpoptimize()
    assert q.getObjVal() == pytest.approx(p.getObjVal(), rel=1e-9)


def test_name_and_log_file(tmp_path):
    p = read("afiro.mps")
    p.setprobname("renamed")
    assert p.name() == "renamed"
    log = tmp_path / "run.log"
    p.setControl("loglevel", 1)
    p.setControl("outputlog", 0)
    p.setlogfile(str(log))
    p.lpoptimize()
    del p
    assert "LP status: optimal" in log.read_text()


def test_save_restore_round_trip(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    p = read("afiro.mps")
    p.setControl("feastol", 1e-8)
    p.setprobname("saved")
    p.lpoptimize()
    p.save()
    assert (tmp_path / "saved.svf").exists()
    q = quenda.problem()
    q.restore("saved")
    assert q.getControl("feastol") == 1e-8 and q.getControl("loglevel") == 0
    assert len(q.getVariable()) == p.getAttrib("cols")
    assert [c.name for c in q.getConstraint()] == [c.name for c in p.getConstraint()]
    q.lpoptimize()
    assert q.getObjVal() == pytest.approx(p.getObjVal(), rel=1e-9)
    assert q.getAttrib("simplexiter") == 0  # warm from the saved basis


@pytest.mark.parametrize("content,match", [
    ("nonsense\n", "not a saved problem"),
    ("QNDA save 1\npart model 999\nshort", "cut short"),
    ("QNDA save 1\nwhat 1\n", "unknown entry"),
])
def test_restore_refuses_bad_files(tmp_path, monkeypatch, content, match):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "bad.svf").write_text(content)
    with pytest.raises(quenda.SolverError, match=match):
        quenda.problem().restore("bad")
    with pytest.raises(quenda.SolverError):
        quenda.problem().restore("missing")


@pytest.mark.parametrize("name,solve", [("afiro.mps", "lpoptimize"),
                                        ("small_mip.mps", "mipoptimize")])
def test_tuned_method_reapplied_gives_the_same_result(tmp_path, name, solve):
    p = read(name)
    p.setControl("tunermaxtime", 30)
    getattr(p, solve)()
    objective = p.getObjVal()
    p.tune()
    assert p.getObjVal() == pytest.approx(objective, rel=1e-6)
    method = tmp_path / "method.txt"
    p.tunerwritemethod(str(method))
    q = read(name)
    q.tunerreadmethod(str(method))
    for control in ("lpalgorithm", "presolve", "scaling"):
        assert q.getControl(control) == p.getControl(control)
    getattr(q, solve)()
    assert q.getObjVal() == pytest.approx(objective, rel=1e-6)


def test_bad_method_files_change_nothing(tmp_path):
    p, f = read("afiro.mps"), tmp_path / "m.txt"
    for text, match in {"feastol=1\n": "not a control of tuner methods",
                        "lpalgorithm=9\n": "out of its range", "presolve\n": "no '='",
                        "presolve=x\n": "bad value"}.items():
        f.write_text(text)
        with pytest.raises(quenda.SolverError, match=match):
            p.tunerreadmethod(str(f))
        assert p.getControl("lpalgorithm") == 1
