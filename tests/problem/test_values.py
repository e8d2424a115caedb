"""NaN never enters a model, and infinities only as "no bound": refused at
the call that brings them, with a message naming the object."""
import math

import pytest

import quendalib as quenda

NAN, INF = math.nan, math.inf


@pytest.fixture
def pxy():
    p = quenda.problem()
    x, y = quenda.var(name="x"), quenda.var(name="y")
    p.addVariable(x, y)
    return p, x, y


def with_attr(obj, name, value):
    setattr(obj, name, value)
    return obj


def named(con, name):
    return quenda.constraint(con, name=name)


REFUSED = [
    ("obj_nan", lambda p, x, y: p.setObjective(NAN * x + y), "The objective: coefficient of x is NaN"),
    ("obj_inf", lambda p, x, y: p.setObjective(x - INF * y), "The objective: coefficient of y is infinite"),
    ("obj_const", lambda p, x, y: p.setObjective(x + NAN), "The objective: constant term is NaN"),
    ("obj_quad", lambda p, x, y: p.setObjective(x + NAN * x * y),
     "The objective: coefficient of x*y is NaN"),
    ("con_nan", lambda p, x, y: p.addConstraint(named(NAN * x + y <= 1, "c1")),
     "Constraint c1: coefficient of x is NaN"),
    ("con_inf", lambda p, x, y: p.addConstraint(named(x + INF * y >= 1, "c2")),
     "Constraint c2: coefficient of y is infinite"),
    ("con_bound", lambda p, x, y: p.addConstraint(named(x <= NAN, "c3")), "Constraint c3: bound is NaN"),
    ("con_rhs", lambda p, x, y: p.addConstraint(named(x + y == NAN, "c4")), "Constraint c4: "),
    ("con_quad", lambda p, x, y: p.addConstraint(named(x * y * NAN <= 3, "c5")),
     "Constraint c5: coefficient of x*y is NaN"),
    ("var_new", lambda p, x, y: quenda.var(lb=NAN), "Variable bounds and threshold cannot be NaN"),
    ("var_lb", lambda p, x, y: p.addVariable(with_attr(quenda.var(name="z"), "lb", NAN)),
     "Variable z: lower bound is NaN"),
    ("var_ub", lambda p, x, y: p.addVariable(with_attr(quenda.var(name="z"), "ub", NAN)),
     "Variable z: upper bound is NaN"),
    ("sos_weight", lambda p, x, y: p.addSOS(quenda.sos([x, y], [1, NAN], name="s1")),
     "SOS s1: weight of y is NaN"),
]


@pytest.mark.parametrize("call, message", [r[1:] for r in REFUSED], ids=[r[0] for r in REFUSED])
def test_nan_and_infinite_coefficients_are_refused(pxy, call, message):
    p, x, y = pxy
    rows = p.getAttrib("rows")
    with pytest.raises(quenda.ModelError) as e:
        call(p, x, y)
    assert str(e.value).startswith(message)
    # nothing half-added
    assert p.getAttrib("rows") == rows and p.getAttrib("cols") == 2
    p.addConstraint(x + y >= 1)
    p.setObjective(x + 2 * y)
    p.solve()
    assert p.getObjVal() == pytest.approx(1)


def test_infinite_bounds_mean_no_bound(pxy):
    p, x, y = pxy
    p.addVariable(quenda.var(lb=-INF, ub=INF, name="free"))
    p.addConstraint(x + y <= INF, x - y >= -INF, x + y >= 1)
    p.setObjective(x + y)
    p.solve()
    assert p.getObjVal() == pytest.approx(1)


def test_nothing_unreadable_is_written(pxy, tmp_path):
    p, x, y = pxy
    with pytest.raises(quenda.ModelError):
        p.setObjective(NAN * x)
    p.addConstraint(x + y >= 1)
    p.write(str(tmp_path / "m.mps"))
    assert "nan" not in (tmp_path / "m.mps").read_text().lower()
