"""Multistart: jobs of starting points and controls, presets, the job
objects in the callbacks, and the best result kept."""
import sys

import pytest

import quendalib as quenda

SLP = 1
RANDOM, PERTURB, SWEEP = 1, 2, 3
GLOBAL_X, GLOBAL_OBJ = -0.51221, -0.97323


def wiggly():
    """sin(3x) + x^2/10 on [-5, 5]: several local minima; from x = 1.3 a
    single solve stops at the one near 1.57."""
    x = quenda.var(lb=-5, ub=5, name="x")
    p = quenda.problem("wiggly")
    for name, value in (("nlpalgorithm", SLP), ("nlploglevel", 0), ("loglevel", 0)):
        p.setControl(name, value)
    p.addVariable(x)
    p.setObjective(quenda.sin(3 * x) + 0.1 * x ** 2)
    p.setInitialValues([x], [1.3])
    return p, x


def test_single_start_misses_and_multistart_finds_the_global_minimum():
    p, x = wiggly()
    p.solve()
    assert p.getSolution(x) == pytest.approx(1.5, abs=0.2)
    p.msaddpreset("random", RANDOM, 12)
    p.setControl("nlpmsthreads", 2)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getSolution(x) == pytest.approx(GLOBAL_X, abs=1e-3)
    assert p.getObjVal() == pytest.approx(GLOBAL_OBJ, abs=1e-4)
    assert p.getAttrib("nlpmsjobs") == 12
    winner = p.getAttrib("nlpmswinner")
    status, obj, viol = p.msgetjobresult(winner)
    assert status == 1 and obj == pytest.approx(p.getObjVal()) and viol < 1e-6
    assert all(p.msgetjobresult(k)[1] >= obj - 1e-9 for k in range(12))


def test_jobs_objects_travel_to_the_callbacks():
    p, x = wiggly()
    left, right = {"side": "left"}, {"side": "right"}
    p.msaddjob("right", [x], [1.3], {"nlpalgorithm": SLP}, right)
    p.msaddjob(description="left", colind=None, initial=[-0.3],
               controls={12401: 50}, jobobject=left)
    started, ended, won = [], [], []
    p.setcbmsjobstart(lambda prob, data, job, desc: started.append((job, desc)) or 0)
    p.setcbmsjobend(lambda prob, data, job, desc: ended.append(job["side"]))
    p.setcbmswinner(lambda prob, data, job, desc: won.append((job, desc)))
    p.solve()
    assert sorted(d for _, d in started) == ["left", "right"]
    assert sorted(ended) == ["left", "right"]
    assert won == [(left, "left")]
    assert p.getSolution(x) == pytest.approx(GLOBAL_X, abs=1e-3)


def test_job_callbacks_results_act():
    p, x = wiggly()
    p.msaddjob("left", initial=[-0.3])
    p.msaddjob("right", initial=[1.3])
    # the better job's result discarded at its end: the other one is kept
    p.setcbmsjobend(lambda prob, data, job, desc: 1 if desc == "left" else 0)
    p.solve()
    assert p.getAttrib("nlpmswinner") == 1
    assert p.getSolution(x) == pytest.approx(1.5, abs=0.2)
    # every job skipped at its start: no result
    p.setcbmsjobstart(lambda prob, data, job, desc: 1)
    p.solve()
    assert p.getAttrib("nlpmswinner") == -1
    assert p.getProbStatusString() == "nlp_unfinished"
    assert p.msgetjobresult(0)[0] == 0


def test_presets_and_clear():
    p, x = wiggly()
    p.msaddcustompreset("sweep", SWEEP, 4, initial=[-0.3], jobobject="s")
    p.msaddpreset("perturb", PERTURB, 3)
    p.solve()
    assert p.getAttrib("nlpmsjobs") == 7
    assert [p.msgetjobresult(k)[0] for k in range(7)] == [1] * 7
    assert p.getSolution(x) == pytest.approx(GLOBAL_X, abs=1e-3)
    p.msclear()
    assert p.getAttrib("nlpmsjobs") == 0
    p.solve()  # a plain solve again, from 1.3
    assert p.getSolution(x) == pytest.approx(1.5, abs=0.2)


def test_callback_exception_in_a_job_surfaces():
    p, x = wiggly()
    p.msaddpreset("random", RANDOM, 6)
    p.setControl("nlpmsthreads", 2)

    def bad(prob, data, job, desc):
        raise RuntimeError("job failed")
    p.setcbmsjobend(bad)
    with pytest.raises(RuntimeError, match="job failed"):
        p.solve()


@pytest.mark.parametrize("call, error", [
    (lambda p, x: p.msaddjob("j", [x], [1.0, 2.0]), quenda.ModelError),
    (lambda p, x: p.msaddjob("j", [x], None), quenda.ModelError),
    (lambda p, x: p.msaddjob("j", initial=[float("nan")]), quenda.SolverError),
    (lambda p, x: p.msaddjob("j", controls={"nosuch": 1}), quenda.ModelError),
    (lambda p, x: p.msaddjob("j", controls={"nlpsolvername": "x"}), quenda.ModelError),
    (lambda p, x: p.msaddjob("j", controls={"nlpiterlimit": "many"}), TypeError),
    (lambda p, x: p.msaddjob("j", controls={"nlpobjsense": -1.0}), quenda.SolverError),
    (lambda p, x: p.msaddjob("j", controls=[1]), quenda.ModelError),
    (lambda p, x: p.msaddpreset("p", 9, 2), quenda.SolverError),
    (lambda p, x: p.msaddpreset("p", RANDOM, -2), quenda.SolverError),
    (lambda p, x: p.msaddcustompreset("p", 0, 2), quenda.SolverError),
    (lambda p, x: p.msaddpreset("p"), TypeError),
    (lambda p, x: p.msgetjobresult(0), quenda.SolverError),
])
def test_bad_jobs_are_refused(call, error):
    p, x = wiggly()
    with pytest.raises(error):
        call(p, x)
    assert p.getAttrib("nlpmsjobs") == 0


def test_job_objects_are_released():
    p, x = wiggly()
    job = object()
    before = sys.getrefcount(job)
    p.msaddjob("a", jobobject=job)
    p.msaddpreset("b", RANDOM, 2, job)
    with pytest.raises(quenda.SolverError):
        p.msaddpreset("c", 99, 1, job)  # refused: no reference kept
    assert sys.getrefcount(job) == before + 2
    p.solve()
    p.msclear()
    assert sys.getrefcount(job) == before
    p.msaddjob("a", jobobject=job)
    del p
    assert sys.getrefcount(job) == before
