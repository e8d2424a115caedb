"""Controls and attributes: by name, by dict, module defaults and checks."""
import sys

import numpy as np
import pytest

import quendalib as quenda


@pytest.fixture
def p():
    return quenda.problem("ctl")


class TestModuleControls:
    def test_defaults_read_from_library(self):
        c = quenda.controls
        assert type(c.threads) is int and type(c.feastol) is float
        assert type(c.solvername) is str and c.solvername == "highs"
        assert c.infinity == 1e20

    def test_str_is_dict_of_every_control(self):
        d = eval(str(quenda.controls))
        assert d["threads"] == quenda.controls.threads and "timelimit" in d

    def test_names_are_case_insensitive(self):
        assert quenda.controls.THREADS == quenda.controls.threads

    def test_unknown_name(self):
        with pytest.raises(quenda.ModelError, match="^Incorrect control name$"):
            quenda.controls.nosuchcontrol

    def test_dunder_access_works(self):
        assert type(quenda.controls).__name__ == "control"
        assert quenda.controls.__dict__["threads"] == quenda.controls.threads


class TestSetControl:
    @pytest.mark.parametrize("value", [3, np.int32(3), np.int64(3), np.longlong(3),
                                       np.intc(3), True])
    def test_int_control_accepts_integers(self, p, value):
        p.setControl("threads", value)
        assert p.getControl("threads") == int(value)

    @pytest.mark.parametrize("value", [2.0, np.float64(2), np.int16(2), np.uint8(2), "2",
                                       None, [2]])
    def test_int_control_refuses_others(self, p, value):
        before = p.getControl("threads")
        with pytest.raises(quenda.ModelError,
                           match="^Cannot set non-integer value to an integer control$"):
            p.setControl("threads", value)
        assert p.getControl("threads") == before

    def test_int_control_out_of_c_range(self, p):
        with pytest.raises(OverflowError):
            p.setControl("threads", 2**40)

    def test_int64_control_takes_large_values(self, p):
        p.setControl("maxnode", 2**40)
        assert p.getControl("maxnode") == 2**40

    @pytest.mark.parametrize("value", [5, 5.0, np.float32(5), np.int64(5)])
    def test_double_control_accepts_numbers(self, p, value):
        p.setControl("timelimit", value)
        got = p.getControl("timelimit")
        assert type(got) is float and got == 5.0

    @pytest.mark.parametrize("value", ["5", None, [5.0]])
    def test_double_control_refuses_others(self, p, value):
        with pytest.raises(quenda.ModelError,
                           match="^Cannot set non-numerical value to a floating-point control$"):
            p.setControl("timelimit", value)

    @pytest.mark.parametrize("value", [5, 5.0, b"x", None])
    def test_string_control_refuses_non_str(self, p, value):
        with pytest.raises(quenda.ModelError,
                           match="^Cannot set non-string value to a string control$"):
            p.setControl("logfile", value)

    @pytest.mark.parametrize("length", [1, 255, 256, 257, 900])
    def test_string_control_round_trip(self, p, tmp_path, length):
        path = str(tmp_path / ("l" * length))[-length:]
        p.setControl("logfile", path)
        assert p.getControl("logfile") == path == p.controls.logfile

    @pytest.mark.parametrize("args, message", [
        ((), "setControl requires at least one argument of type dictionary or two elements: "
             "parameter, value"),
        ((("threads", 1),), "single argument to setControl must be a dictionary"),
        (("threads",), "single argument to setControl must be a dictionary"),
        (("threads", 1, 2), "setControl: arguments mismatch"),
        (("nosuch", 1), "Incorrect control name"),
        ((5, 1), "Incorrect control name"),
        (({"nosuch": 1},), "Incorrect control name"),
    ])
    def test_argument_errors(self, p, args, message):
        with pytest.raises(quenda.ModelError, match="^" + message + "$"):
            p.setControl(*args)

    def test_dict_with_one_bad_entry_sets_nothing(self, p):
        with pytest.raises(quenda.ModelError):
            p.setControl({"threads": 4, "timelimit": "soon"})
        assert p.getControl("threads") == quenda.controls.threads

    def test_dict_form(self, p):
        p.setControl({"threads": 4, "TimeLimit": 7})
        assert p.getControl("threads", "timelimit") == {"threads": 4, "timelimit": 7.0}

    def test_attribute_style(self, p):
        p.controls.threads = 6
        assert p.controls.threads == 6 == p.getControl("threads")
        with pytest.raises(quenda.ModelError, match="^Cannot set non-integer value"):
            p.controls.threads = 1.5
        with pytest.raises(quenda.ModelError, match="^Incorrect control name$"):
            p.controls.nosuch = 1

    def test_library_range_error_is_solver_error(self, p):
        with pytest.raises(quenda.SolverError):
            p.setControl("lpalgorithm", 99)
        assert p.getControl("lpalgorithm") == quenda.controls.lpalgorithm


class TestGetters:
    def test_get_all(self, p):
        allc = p.getControl()
        assert set(allc) == set(eval(str(quenda.controls)))
        assert eval(str(p.controls)) == allc

    def test_get_list_of_names(self, p):
        assert p.getAttrib(["rows", "cols"]) == {"rows": 0, "cols": 0}
        assert p.getControl(("threads",)) == {"threads": quenda.controls.threads}

    @pytest.mark.parametrize("getter, message", [("getControl", "Incorrect control name"),
                                                 ("getAttrib", "Incorrect attribute name")])
    def test_unknown_names(self, p, getter, message):
        with pytest.raises(quenda.ModelError, match="^" + message + "$"):
            getattr(p, getter)("nosuch")
        with pytest.raises(quenda.ModelError, match="^" + message + "$"):
            getattr(p, getter)(["rows", "nosuch"])

    @pytest.mark.parametrize("getter, message", [("getControl", "Bad control request"),
                                                 ("getAttrib", "Bad attribute request")])
    def test_non_string_names(self, p, getter, message):
        with pytest.raises(quenda.ModelError, match="^" + message + "$"):
            getattr(p, getter)(5)


class TestAttributes:
    def test_read(self, p):
        assert p.attributes.rows == 0 and p.attributes.cols == 0
        assert p.attributes.lpstatus == quenda.lp_unstarted
        assert isinstance(p.attributes.lpobjval, float)

    def test_cannot_be_set(self, p):
        with pytest.raises(quenda.ModelError, match="^A problem's attribute cannot be set$"):
            p.attributes.rows = 3
        with pytest.raises(quenda.ModelError, match="^A problem's attribute cannot be set$"):
            del p.attributes.rows
        assert p.attributes.rows == 0

    def test_str_lists_attributes(self, p):
        d = eval(str(p.attributes))
        assert d["rows"] == 0 and "lpobjval" in d

    def test_no_attributes_are_controls(self):
        p = quenda.problem()
        with pytest.raises(quenda.ModelError, match="^Incorrect attribute name$"):
            p.getAttrib("threads")
        with pytest.raises(quenda.ModelError, match="^Incorrect control name$"):
            p.getControl("rows")


@pytest.mark.parametrize("member", ["controls", "attributes"])
def test_objects_outliving_their_problem(member):
    obj = getattr(quenda.problem(), member)
    with pytest.raises(quenda.ModelError, match="no longer exists"):
        obj.rows if member == "attributes" else obj.threads
    with pytest.raises(quenda.ModelError, match="no longer exists"):
        str(obj)


class TestModuleDefaults:
    def test_reach_new_problems_only(self):
        old = quenda.problem()
        quenda.setdefaultcontrol("threads", 3)
        assert quenda.controls.threads == 3
        assert quenda.problem().getControl("threads") == 3
        assert old.getControl("threads") == quenda.controls.__dict__["threads"]

    def test_setdefaults_clears(self):
        lib_default = quenda.controls.threads
        quenda.setdefaultcontrol({"threads": 3, "timelimit": 9})
        quenda.setdefaults()
        assert quenda.controls.threads == lib_default
        p = quenda.problem()
        assert p.getControl("threads") == lib_default

    def test_keyword_form_and_attribute_form(self):
        quenda.setdefaultcontrol(timelimit=11)
        quenda.controls.miptol = 1e-5
        p = quenda.problem()
        assert p.getControl("timelimit") == 11.0 and p.getControl("miptol") == 1e-5

    @pytest.mark.parametrize("args, exc", [(("threads", 2.0), quenda.ModelError),
                                           (("nosuch", 1), quenda.ModelError),
                                           ((), quenda.ModelError),
                                           (({"threads": 1, "logfile": 3},), quenda.ModelError)])
    def test_bad_defaults_store_nothing(self, args, exc):
        with pytest.raises(exc):
            quenda.setdefaultcontrol(*args)
        assert eval(str(quenda.controls)) == quenda.controls.__dict__

    def test_default_out_of_library_range_is_refused_when_set(self):
        with pytest.raises(quenda.SolverError, match="threads"):
            quenda.setdefaultcontrol("threads", -5)
        assert quenda.problem().getControl("threads") != -5

    def test_reset_and_copy_apply_defaults(self):
        p = quenda.problem()
        quenda.setdefaultcontrol("threads", 5)
        p.reset()
        assert p.getControl("threads") == 5

    def test_refcount_of_stored_value(self):
        value = 10**30 + 1  # a private object
        base = sys.getrefcount(value)
        for _ in range(100):
            quenda.setdefaultcontrol("timelimit", value)
            with pytest.raises(quenda.ModelError):
                quenda.setdefaultcontrol({"timelimit": value, "threads": 1.5})
        assert sys.getrefcount(value) == base + 1  # held once, in the defaults
        quenda.setdefaults()
        assert sys.getrefcount(value) == base


class TestNonlinearControls:
    @pytest.fixture(autouse=True)
    def need_nonlinear(self):
        if "nlpautoinit" not in quenda.controls.__dict__:
            pytest.skip("nonlinear library not in use")

    def test_new_problems_do_not_autoinit(self):
        # The nonlinear handle of a new problem must not fill itself from
        # the main one, whatever the library's default.
        assert quenda.problem().getControl("nlpautoinit") == 0
        assert quenda.problem().copy().getControl("nlpautoinit") == 0

    def test_set_and_get_on_nonlinear_handle(self):
        p = quenda.problem()
        p.setControl({"nlpiterlimit": 17, "nlpfeastol": 1e-5})
        assert p.getControl(["nlpiterlimit", "nlpfeastol"]) == {"nlpiterlimit": 17,
                                                                 "nlpfeastol": 1e-5}
        with pytest.raises(quenda.ModelError, match="^Cannot set non-string value"):
            p.controls.nlpsolvername = 1
        assert isinstance(p.attributes.nlpstatus, int)
