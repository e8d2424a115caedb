"""The process may load other HiGHS builds (scipy's, highspy's) beside ours."""
import pytest


def test_with_scipy_highs(fresh):
    pytest.importorskip("scipy.optimize")
    fresh("""
        from scipy.optimize import linprog
        r = linprog([-1.0], bounds=[(0, 3)], method="highs")
        assert abs(r.fun + 3.0) < 1e-9
        p = quenda.problem("with_scipy")
        assert p.name() == "with_scipy" and p.getControl("solvername") == "highs"
    """)


def test_with_highspy(fresh):
    pytest.importorskip("highspy")
    fresh("""
        import highspy
        h = highspy.Highs()
        h.setOptionValue("output_flag", False)
        p = quenda.problem()
        p.setControl("threads", 1)
        assert p.getControl("threads") == 1
        assert quenda.getbanner()
    """)
