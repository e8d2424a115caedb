"""Inputs that used to poison later calls or vanish silently: module
defaults are checked as a problem's controls are, strings with NUL are
refused, names are strings, controls and attributes cannot be replaced."""
import pytest

import quendalib as quenda


@pytest.fixture
def clean_defaults():
    yield
    quenda.setdefaults()


@pytest.mark.parametrize("value, error", [(-1, quenda.SolverError), (2**31, OverflowError),
                                          (1e30, quenda.ModelError), ("x", quenda.ModelError)])
def test_bad_defaults_are_refused_when_set(clean_defaults, value, error):
    with pytest.raises(error):
        quenda.setdefaultcontrol("loglevel", value)
    with pytest.raises(error):
        quenda.setdefaultcontrol({"timelimit": 5, "loglevel": value})
    p = quenda.problem()  # nothing stored: new problems still work
    assert p.getControl("loglevel") == quenda.problem().getControl("loglevel")
    assert p.getControl("timelimit") != 5


def test_good_defaults_reach_new_problems(clean_defaults):
    quenda.setdefaultcontrol("loglevel", 2)
    assert quenda.problem().getControl("loglevel") == 2


@pytest.mark.parametrize("call", [
    lambda p: p.setControl("logfile", "a\0b"),
    lambda p: p.setControl({"logfile": "\0"}),
    lambda p: quenda.setdefaultcontrol("logfile", "a\0b"),
    lambda p: p.addVariable(quenda.var(name="a\0b")),
    lambda p: p.addConstraint(quenda.constraint(quenda.var() >= 0, name="c\0")),
], ids=["setControl", "setControl_dict", "setdefaultcontrol", "var_name", "constraint_name"])
def test_strings_with_nul_are_refused(clean_defaults, call):
    p = quenda.problem()
    with pytest.raises(quenda.ModelError, match="NUL character"):
        call(p)
    assert p.getControl("logfile") == ""


@pytest.mark.parametrize("make, message", [
    (lambda: quenda.var(name=-1), "Invalid variable name"),
    (lambda: quenda.constraint(quenda.var() >= 0, name=-1), "Invalid constraint name"),
    (lambda: quenda.sos([quenda.var()], [1], name=3.5), "Invalid SOS name"),
])
def test_names_must_be_strings(make, message):
    with pytest.raises(quenda.ModelError, match=message):
        make()


@pytest.mark.parametrize("make, message", [
    (lambda: quenda.var(name="x"), "Invalid variable name"),
    (lambda: quenda.constraint(quenda.var() >= 0, name="c"), "Invalid constraint name"),
    (lambda: quenda.sos([quenda.var()], [1], name="s"), "Invalid SOS name"),
], ids=["var", "constraint", "sos"])
@pytest.mark.parametrize("bad", [-1, None, 2.5, ["x"]])
def test_names_stay_strings_after_construction(make, message, bad):
    obj = make()
    with pytest.raises(quenda.ModelError, match=message):
        obj.name = bad
    assert str(obj.name) in ("x", "c", "s")
    obj.name = b"renamed"
    assert obj.name == b"renamed"
    del obj.name                        # back to the default name
    assert isinstance(obj.name, str) and obj.name[0] in "CRs"


@pytest.mark.parametrize("member", ["controls", "attributes"])
def test_controls_and_attributes_are_read_only(member):
    p = quenda.problem()
    before = getattr(p, member)
    with pytest.raises(AttributeError):
        setattr(p, member, 3)
    with pytest.raises(AttributeError):
        delattr(p, member)
    assert getattr(p, member) is before
    assert p.attributes.cols == 0
