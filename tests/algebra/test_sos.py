"""Special ordered sets: construction, validation, copies, shared lists, leaks."""

import pytest

import quendalib as quenda


@pytest.fixture
def xy():
    return quenda.var(name="x"), quenda.var(name="y")


class TestConstruction:
    def test_defaults(self, xy):
        s = quenda.sos(list(xy), [1, 2])
        assert str(s) == s.name
        assert s.name.startswith("sos") and s.name[3:].isdigit()
        assert type(s).__name__ == "SOS"

    def test_identity_numbers_increase(self, xy):
        a = quenda.sos(list(xy), [1, 2])
        b = quenda.sos(list(xy), [1, 2])
        assert int(b.name[3:]) == int(a.name[3:]) + 1

    @pytest.mark.parametrize("t", [1, 2])
    def test_types_accepted(self, xy, t):
        quenda.sos(list(xy), [1, 2], t)
        quenda.sos(indices=list(xy), weights=[1, 2], type=t, name="s")

    @pytest.mark.parametrize("t", [0, 3, -1, 255, 257])
    def test_bad_type(self, xy, t):
        with pytest.raises(quenda.ModelError, match="^SOS type must be 1 or 2$"):
            quenda.sos(list(xy), [1, 2], type=t)

    def test_non_integer_type(self, xy):
        with pytest.raises(TypeError):
            quenda.sos(list(xy), [1, 2], type="1")

    def test_name_kept_as_given(self, xy):
        s = quenda.sos(list(xy), [1, 2], name="myset")
        assert s.name == "myset" and str(s) == "myset"

    @pytest.mark.parametrize("indices, weights, msg", [
        ((1, 2), [1, 2], "SOS indices must be passed as a list"),
        ([1, 2], (1, 2), "SOS weights must be passed as a list"),
        ((1, 2), (1, 2), "SOS weights must be passed as a list"),   # weights tested first
    ])
    def test_lists_required(self, indices, weights, msg):
        with pytest.raises(quenda.ModelError, match=f"^{msg}$"):
            quenda.sos(indices, weights)

    def test_missing_arguments(self, xy):
        with pytest.raises(TypeError):
            quenda.sos(list(xy))

    def test_lengths_not_checked_here(self, xy):
        quenda.sos(list(xy), [1])


class TestSharingAndCopy:
    def test_lists_are_shared_copies_are_not(self, xy):
        x, y = xy
        idx, w = [x], [1.0]
        r0 = (sys_refs(idx), sys_refs(w))
        s = quenda.sos(idx, w)
        assert (sys_refs(idx), sys_refs(w)) == (r0[0] + 1, r0[1] + 1)   # the very lists
        rx = sys_refs(x)
        c = s.copy()
        assert (sys_refs(idx), sys_refs(w)) == (r0[0] + 1, r0[1] + 1)   # new lists
        assert sys_refs(x) == rx + 1                                     # same items
        del s, c
        assert (sys_refs(idx), sys_refs(w), sys_refs(x)) == (*r0, rx)

    def test_copy_name_uses_original_identity(self, xy):
        s = quenda.sos(list(xy), [1, 2], name="s")
        ident = s.name  # named: recover the identity number from a sibling
        probe = quenda.sos(list(xy), [1, 2])
        sid = int(probe.name[3:]) - 1
        c = s.copy()
        assert c.name == f"sos{sid}_copy_s"
        assert ident == "s"

    def test_copy_has_fresh_identity(self, xy):
        s = quenda.sos(list(xy), [1, 2])
        c = s.copy()
        after = quenda.sos(list(xy), [1, 2])
        assert int(after.name[3:]) == int(s.name[3:]) + 2

    def test_copy_keeps_type(self, xy):
        s = quenda.sos(list(xy), [1, 2], type=2)
        c = s.copy()
        assert c.copy().name.endswith(c.name)


def sys_refs(obj):
    import sys
    return sys.getrefcount(obj) - 1


class TestLeaks:
    def test_refcounts(self, xy):
        x, y = xy
        idx, w, name = [x, y], [1, 2], "n" + "ame"
        before = (sys_refs(idx), sys_refs(w), sys_refs(x))
        for _ in range(100):
            s = quenda.sos(idx, w, name=name)
            s.copy()
            del s
        with pytest.raises(quenda.ModelError):
            quenda.sos((x,), w)
        assert (sys_refs(idx), sys_refs(w), sys_refs(x)) == before

    def test_memory_flat(self, xy, traced_growth):
        x, y = xy

        def work():
            for _ in range(2000):
                s = quenda.sos([x, y], [1, 2], type=2)
                s.copy()
                try:
                    quenda.sos([x], [1], type=3)
                except quenda.ModelError:
                    pass

        assert traced_growth(work) < 20000
