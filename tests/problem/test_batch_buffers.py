"""Large add calls: arrays that a batch starts only when an object needs a
value other than the default (bounds, types, thresholds, ranges, quadratic
terms) and names read again from the objects when the batch is sent, in
pieces.  What the library holds is read back entry by entry."""
import pytest

import quendalib as quenda

N = 5000  # past the batch's first capacities (2,048, then 4,096)


@pytest.fixture
def prob():
    return quenda.problem("batch")


def read(p, getter, n):
    out = []
    getattr(p, getter)(out, 0, n - 1)
    return out


class TestVariables:
    @pytest.mark.parametrize("late", [0, 2047, 2048, 4500, N - 1])
    def test_values_first_needed_late(self, prob, late):
        special = {
            late: dict(lb=-1.5),
            (late + 1) % N: dict(ub=5.0),
            (late + 2) % N: dict(vartype=quenda.integer, ub=7),
            (late + 3) % N: dict(vartype=quenda.semicontinuous, lb=0, ub=9, threshold=2),
            (late + 4) % N: dict(lb=-0.0),
        }
        vs = [quenda.var(**special.get(i, {})) for i in range(N)]
        prob.addVariable(vs)
        lb, ub, ct = read(prob, "getlb", N), read(prob, "getub", N), read(prob, "getcoltype", N)
        for i, v in enumerate(vs):
            assert (lb[i], ub[i]) == (v.lb, v.ub), i
            assert ct[i] == {quenda.integer: "I", quenda.semicontinuous: "S"}.get(
                v.vartype, "C"), i
        qg, mg, lim = [], [], []
        prob.getglobal(qg, mg, lim, [], [], [], [])
        assert lim == [0.0, 2.0]
        assert prob.getIndex(vs[(late + 3) % N]) == (late + 3) % N

    def test_names_cross_the_pieces(self, prob, tmp_path):
        # about 90 KB of names: more than one piece
        vs = [quenda.var(name=f"variable_{i:07d}") if i % 3 else quenda.var()
              for i in range(N * 2)]
        prob.addVariable(vs)
        for i in (0, 1, 4095, 7000, N * 2 - 1):
            assert prob.getIndexFromName(2, vs[i].name) == i
        assert prob.getIndexFromName(2, "variable_0000000") == -1

    def test_a_name_spoilt_before_sending_rolls_the_batch_back(self, prob):
        a, b = quenda.var(name="a"), quenda.var(name="b")

        def gen():
            yield a
            a.name = "bad\0name"
            yield b

        with pytest.raises(quenda.ModelError, match="NUL"):
            prob.addVariable(gen())
        assert prob.getAttrib("cols") == 0 and prob.getVariable() == []
        a.name = "a"
        prob.addVariable(a, b)
        assert prob.getIndexFromName(2, "b") == 1


class TestConstraints:
    @pytest.mark.parametrize("late", [0, 2048, N - 2])
    def test_ranges_and_quadratic_rows_first_needed_late(self, prob, late):
        x, y = quenda.var(name="x"), quenda.var(name="y")
        prob.addVariable(x, y)
        cons = [x + i * y <= i for i in range(N)]
        cons[late] = quenda.constraint(body=x + y, lb=-1, ub=3)
        cons[late + 1] = x * x + y <= 2
        prob.addConstraint(cons)
        rt, rng = read(prob, "getrowtype", N), read(prob, "getrhsrange", N)
        assert rt[late] == "R" and rng[late] == 4
        assert rt.count("R") == 1 and sum(rng) == 4
        assert prob.getAttrib("qconstraints") == 1
        assert prob.getqrowcoeff(late + 1, 0, 0) == 1
        assert prob.getAttrib("elems") == 2 * N - 2 + (late == 0)
        assert [prob.getIndexFromName(1, cons[i].name) for i in (0, late + 1, N - 1)] == [
            0, late + 1, N - 1]
