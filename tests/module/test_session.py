"""Session lifecycle, checked mode, last errors and the error reporter."""
import os
import signal

import numpy as np
import pytest

import quendalib as quenda


class TestLifecycle:
    def test_closed_after_import_and_getversion_opens(self, fresh):
        fresh("""
            assert not lib_open()
            quenda.getversion()
            assert lib_open()
        """)

    @pytest.mark.parametrize("call", ["getbanner()", "getlasterror()", "getcheckedmode()",
                                      "setcheckedmode(True)", "init()", "problem()"])
    def test_operations_open_the_session(self, fresh, call):
        fresh(f"""
            assert not lib_open()
            keep = quenda.{call}
            assert lib_open()
        """)

    def test_free_then_problem_restarts(self, fresh):
        fresh("""
            quenda.init()
            quenda.free()
            assert not lib_open()
            p = quenda.problem()
            assert lib_open()
            assert p.getAttrib("rows") == 0
        """)

    def test_init_twice_starts_twice(self, fresh):
        # The library counts its starts: two inits need two frees.
        fresh("""
            quenda.init(); quenda.init()
            quenda.free()
            assert lib_open()
            quenda.free()
            assert not lib_open()
        """)

    def test_free_when_closed_raises_library_message(self, fresh):
        fresh("""
            try:
                quenda.free()
            except quenda.InterfaceError as e:
                assert "free" in str(e), e
                code, msg = quenda.getlasterror()
                assert code != 0 and msg == str(e)
            else:
                raise AssertionError("free() of a closed session succeeded")
        """)

    def test_problem_destroyed_after_free_reopens_and_closes(self, fresh):
        proc = fresh("""
            p = quenda.problem("p1")
            quenda.free()
            assert not lib_open()
            del p
            assert not lib_open()
            q = quenda.problem()
            del q
        """)
        assert "Exception ignored" not in proc.stderr

    def test_teardown_with_live_problem_is_clean(self, fresh):
        proc = fresh("""
            import sys
            sys.modules["__main__"].keep = quenda.problem("kept")
            quenda.addcbmsghandler(lambda *a: None, None, 0)
        """)
        assert proc.stderr == ""


def test_banner_names_library():
    banner = quenda.getbanner()
    assert quenda.getversion() in banner
    assert quenda.getbanner(1, x=2) == banner  # arguments are ignored


class TestCheckedMode:
    @pytest.mark.parametrize("arg, expected", [
        (True, True), (False, False), (1, False), (np.True_, False), ("yes", False),
    ])
    def test_identity_with_true(self, arg, expected):
        quenda.setcheckedmode(arg)
        assert quenda.getcheckedmode() is expected

    def test_keyword(self):
        quenda.setcheckedmode(checked_mode=False)
        assert quenda.getcheckedmode() is False
        quenda.setcheckedmode(checked_mode=True)
        assert quenda.getcheckedmode() is True

    @pytest.mark.parametrize("args, kwargs", [((), {}), ((True, True), {}),
                                              ((), {"mode": True})])
    def test_bad_arguments_keep_type_error(self, args, kwargs):
        with pytest.raises(TypeError):
            quenda.setcheckedmode(*args, **kwargs)


def test_getlasterror_is_code_and_message():
    code, msg = quenda.getlasterror()
    assert isinstance(code, int) and isinstance(msg, str)


class TestReporter:
    def test_problem_error_carries_library_message(self):
        p = quenda.problem()
        with pytest.raises(quenda.SolverError, match="threads"):
            p.setControl("threads", -5)

    def test_unbuilt_problem_is_unidentified_error(self):
        p = quenda.problem.__new__(quenda.problem)  # never initialised: no handle
        with pytest.raises(quenda.SolverError,
                           match="^Unidentified error associated with optimization problem$"):
            p.name()

    def test_problem_init_twice_refused(self):
        p = quenda.problem("a")
        with pytest.raises(quenda.ModelError):
            p.__init__("b")
        assert p.name() == "a"


class TestSigint:
    def test_roundtrip_restores_python_handler(self):
        before = signal.getsignal(signal.SIGINT)
        rc_set, default_between, rc_reset = quenda._sigint_roundtrip()
        assert (rc_set, default_between, rc_reset) == (0, True, 0)
        assert signal.getsignal(signal.SIGINT) is before
        with pytest.raises(KeyboardInterrupt):
            os.kill(os.getpid(), signal.SIGINT)
            for _ in range(1000):  # the handler runs between bytecodes
                pass

    def test_roundtrip_restores_custom_handler(self):
        hits = []
        old = signal.signal(signal.SIGINT, lambda s, f: hits.append(s))
        try:
            quenda._sigint_roundtrip()
            os.kill(os.getpid(), signal.SIGINT)
            for _ in range(1000):
                pass
            assert hits == [signal.SIGINT]
        finally:
            signal.signal(signal.SIGINT, old)
