"""Adding and deleting variables, constraints, SOS and indicators.

What the library holds is read back from the model file the problem writes:
linear structure through highspy's reader (an independent one), column
types, sets and indicators from the file's sections.
"""
import gc
import os
import sys

import numpy as np
import pytest

import quendalib as quenda

pytestmark = pytest.mark.filterwarnings("ignore::DeprecationWarning")


def mps_sections(p, tmp_path):
    """Sections of the problem's MPS file: {section: [line tokens]}."""
    fn = str(tmp_path / "m.mps")
    p.write(fn)
    sec, cur = {}, None
    with open(fn) as f:
        for line in f:
            if not line.strip():
                continue
            if not line[0].isspace():
                cur = line.split()[0]
                sec.setdefault(cur, [])
                if len(line.split()) > 1:
                    sec[cur].append(line.split()[1:])
            else:
                sec[cur].append(line.split())
    return sec


def linear_model(p, tmp_path):
    """(column names, lb, ub, row names, row lb, row ub, {row: {col: coef}})."""
    highspy = pytest.importorskip("highspy")
    fn = str(tmp_path / "lin.mps")
    p.write(fn)
    h = highspy.Highs()
    h.setOptionValue("output_flag", False)
    h.readModel(fn)
    lp = h.getLp()
    a = lp.a_matrix_
    # each property read copies the whole array: read them once
    rnames, start, index, value = lp.row_names_, a.start_, a.index_, a.value_
    rows = {r: {} for r in rnames}
    for j, c in enumerate(lp.col_names_):
        for k in range(start[j], start[j + 1]):
            rows[rnames[index[k]]][c] = value[k]
    inf = float("inf")
    fix = lambda v: [None if abs(x) == inf else x for x in v]
    return (list(lp.col_names_), fix(lp.col_lower_), fix(lp.col_upper_), list(lp.row_names_),
            fix(lp.row_lower_), fix(lp.row_upper_), rows)


def attrs(p, *names):
    return [p.getAttrib(n) for n in names]


@pytest.fixture
def prob():
    return quenda.problem("reg")


def vars_named(*names, **kw):
    return [quenda.var(name=n, **kw) for n in names]


class TestAddVariable:
    @pytest.mark.parametrize("shape", [
        lambda v: v,
        lambda v: [v],
        lambda v: (v,),
        lambda v: {"a": v},
        lambda v: (x for x in [v]),
        lambda v: iter([v]),
        lambda v: np.array([v], dtype=object),
        lambda v: np.array([[v]], dtype=object),
        lambda v: [[[(v,)]]],
        lambda v: {"k": [{"j": (v,)}]},
    ], ids=["obj", "list", "tuple", "dict", "genexpr", "iter", "array", "array2d", "nested",
            "dicts"])
    def test_every_nesting(self, prob, shape):
        a, b, c = vars_named("a", "b", "c")
        prob.addVariable(a, shape(b), [shape(c)])
        assert prob.getAttrib("cols") == 3
        assert [prob.getIndex(v) for v in (a, b, c)] == [0, 1, 2]
        assert prob.getVariable() == [a, b, c]

    def test_bounds_names_and_order(self, prob, tmp_path):
        vs = [quenda.var(lb=-i, ub=10 + i, name="v%d" % i) for i in range(5)]
        prob.addVariable(vs[:2])
        prob.addVariable(vs[2:])
        cols, lb, ub, *_ = linear_model(prob, tmp_path)
        assert cols == ["v%d" % i for i in range(5)]
        assert lb == [-i for i in range(5)]
        assert ub == [10 + i for i in range(5)]

    def test_many_variables_span_several_capacities(self, prob):
        vs = [quenda.var() for _ in range(5000)]
        prob.addVariable(vs)
        assert prob.getAttrib("cols") == 5000
        assert prob.getIndex(vs[4999]) == 4999

    def test_long_name_is_cut_to_150_bytes(self, prob, tmp_path):
        v = quenda.var(name="n" * 300)
        prob.addVariable(v)
        cols, *_ = linear_model(prob, tmp_path)
        assert cols == ["n" * 150]

    @pytest.mark.parametrize("vartype,lb,ub,expect", [
        (quenda.integer, 0, 1, "BV"),
        (quenda.integer, 0, 1.1, "BV"),
        (quenda.integer, 0, 2, "UP"),
        (quenda.binary, 0, 1, "BV"),
    ])
    def test_integer_within_unit_bounds_is_binary(self, prob, tmp_path, vartype, lb, ub, expect):
        v = quenda.var(vartype=vartype, lb=lb, ub=ub, name="v")
        prob.addVariable(v)
        bounds = mps_sections(prob, tmp_path)["BOUNDS"]
        assert [b[0] for b in bounds if b[2] == "v"] == [expect]
        assert prob.getAttrib("mipents") == 1

    @pytest.mark.parametrize("vartype,code", [
        (quenda.semicontinuous, "SC"), (quenda.semiinteger, "SC"), (quenda.partiallyinteger, "PI")])
    def test_threshold_types(self, prob, tmp_path, vartype, code):
        v = quenda.var(vartype=vartype, lb=0, ub=9, threshold=3, name="v")
        prob.addVariable(quenda.var(), v)
        bounds = mps_sections(prob, tmp_path)["BOUNDS"]
        mine = {b[0]: b[3] for b in bounds if b[2] == "v"}
        assert code in mine
        assert "3" in mine.values()

    @pytest.mark.parametrize("bad,msg", [
        (1.5, "Incorrect objects added as variables to problem"),
        ("x", "Incorrect objects added as variables to problem"),
        (None, "Incorrect objects added as variables to problem"),
        (np.array([1.0, 2.0]), "Incorrect objects added as variables to problem"),
        (np.array([(1, 2)], dtype=object), "Incorrect objects added as variables to problem"),
    ])
    def test_bad_objects(self, prob, bad, msg):
        a = quenda.var()
        with pytest.raises(quenda.ModelError, match=None) as e:
            prob.addVariable(a, bad)
        assert str(e.value) == msg
        # what came before the bad object is in, consistently
        assert prob.getAttrib("cols") == 1 and prob.getVariable() == [a]

    def test_nested_array_of_tuples(self, prob):
        arr = np.empty(2, dtype=object)
        arr[0] = quenda.var()
        arr[1] = (quenda.var(),)
        with pytest.raises(quenda.ModelError, match="Perhaps this is a NumPy array"):
            prob.addVariable(arr)
        assert prob.getAttrib("cols") == 1

    def test_depth_limit(self, prob):
        v = quenda.var()
        ok = v
        for _ in range(32):
            ok = [ok]
        prob.addVariable(ok)
        w = quenda.var()
        deep = w
        for _ in range(33):
            deep = [deep]
        with pytest.raises(quenda.ModelError, match=r"^Maximum recursion \(inclusion\) level reached$"):
            prob.addVariable(deep)
        assert prob.getVariable() == [v]

    def test_twice(self, prob):
        a, b = quenda.var(), quenda.var()
        prob.addVariable(a)
        with pytest.raises(quenda.ModelError, match="^Variable already added to problem$"):
            prob.addVariable(b, a)
        with pytest.raises(quenda.ModelError, match="^Variable already added to problem$"):
            prob.addVariable([quenda.var()] * 2)
        assert prob.getAttrib("cols") == 3
        assert len(prob.getVariable()) == 3

    def test_bad_threshold(self, prob):
        v = quenda.var(vartype=quenda.semicontinuous, lb=0, ub=5, threshold=7)
        with pytest.raises(quenda.ModelError, match="check that its threshold is between"):
            prob.addVariable(v)
        assert prob.getAttrib("cols") == 0
        assert prob.getVariable() == []

    def test_same_var_in_two_problems(self):
        v = quenda.var()
        p1, p2 = quenda.problem(), quenda.problem()
        p1.addVariable(quenda.var(), v)
        p2.addVariable(v)
        assert p1.getIndex(v) == 1 and p2.getIndex(v) == 0

    def test_generator_raising_keeps_prefix(self, prob):
        a = quenda.var()

        def gen():
            yield a
            raise KeyError("boom")

        with pytest.raises(KeyError):
            prob.addVariable(gen())
        assert prob.getVariable() == [a] and prob.getAttrib("cols") == 1


@pytest.fixture
def xyz(prob):
    x, y, z = vars_named("x", "y", "z", lb=-10, ub=10)
    prob.addVariable(x, y, z)
    return x, y, z


class TestAddConstraint:
    def test_rows_and_matrix(self, prob, xyz, tmp_path):
        x, y, z = xyz
        c1 = quenda.constraint(2 * x + 3 * y + 1 <= 7, name="c1")
        c2 = quenda.constraint(x - z >= -2, name="c2")
        c3 = quenda.constraint(body=x + y + z, lb=1, ub=4, name="c3")
        c4 = quenda.constraint(y == 5, name="c4")
        prob.addConstraint([c1, (c2,)], {"k": c3}, np.array([c4], dtype=object))
        _, _, _, rows, rlb, rub, mat = linear_model(prob, tmp_path)
        assert rows == ["c1", "c2", "c3", "c4"]
        assert rlb == [None, -2, 1, 5]
        assert rub == [6, None, 4, 5]
        assert mat == {"c1": {"x": 2, "y": 3}, "c2": {"x": 1, "z": -1},
                       "c3": {"x": 1, "y": 1, "z": 1}, "c4": {"y": 1}}
        assert [prob.getIndex(c) for c in (c1, c2, c3, c4)] == [0, 1, 2, 3]

    def test_numpy_comparisons_of_arrays(self, prob, tmp_path):
        x = np.array([quenda.var(name="x%d" % i) for i in range(6)]).reshape(2, 3)
        prob.addVariable(x)
        prob.addConstraint(x <= np.arange(6).reshape(2, 3), x.sum(axis=0) >= 1)
        assert attrs(prob, "rows", "elems") == [9, 12]
        _, _, _, rows, rlb, rub, mat = linear_model(prob, tmp_path)
        assert rub[:6] == [0, 1, 2, 3, 4, 5]  # row order is the array's C order
        assert mat[rows[7]] == {"x1": 1, "x4": 1}

    def test_typical_request_solves(self, prob):
        x = quenda.var(lb=0, ub=10)
        p = quenda.problem()
        p.addVariable(x)
        p.addConstraint(2 * x + 3 <= 7)
        p.setObjective(x, sense=quenda.maximize)
        p.solve()
        assert p.getSolution(x) == pytest.approx(2.0)

    def test_quadratic_rows(self, prob, xyz, tmp_path):
        x, y, z = xyz
        prob.addConstraint(x * x + 2 * x * y + z <= 3, x + y >= 0, 3 * y * y <= 1)
        assert attrs(prob, "rows", "qconstraints", "qcelems") == [3, 2, 3]
        sec = mps_sections(prob, tmp_path)
        assert "R" not in sec  # sanity of the parser
        q = [l for l in sec["QCMATRIX"]]
        assert ["x", "x", "1"] in q and ["x", "y", "1"] in q and ["y", "x", "1"] in q

    def test_many_rows_over_several_capacities(self, prob):
        xs = [quenda.var() for _ in range(50)]
        prob.addVariable(xs)
        cons = [quenda.Sum(xs[i % 50] * (i + 1), xs[(i + 7) % 50]) <= i for i in range(5000)]
        prob.addConstraint(cons)
        assert attrs(prob, "rows", "elems") == [5000, 10000]
        assert prob.getIndex(cons[4321]) == 4321

    def test_long_batch_with_gaps_and_a_missing_variable(self, prob, tmp_path):
        # Long calls look columns up in a table: variables made but not
        # added leave holes in it, and a missing one must still be reported.
        made = [quenda.var(name="v%d" % i) for i in range(600)]
        added = made[::3]
        prob.addVariable(added[::-1])
        n = len(added)
        cons = [quenda.constraint(added[i % n] + 2 * added[(i * 7) % n] + 3 * added[(i * 11) % n] <= i,
                                  name="c%d" % i) for i in range(3000)]
        missing = added[5] + made[4] <= 1
        with pytest.raises(quenda.ModelError, match="^Variable in linear part of constraint"):
            prob.addConstraint(cons, missing)
        assert prob.getAttrib("rows") == 3000
        _, _, _, rows, _, rub, mat = linear_model(prob, tmp_path)
        for i in (0, 1, 1234, 2999):
            want = {}
            for k, c in ((i % n, 1), ((i * 7) % n, 2), ((i * 11) % n, 3)):
                want[added[k].name] = want.get(added[k].name, 0) + c
            assert mat["c%d" % i] == want
        assert rub[2999] == 2999

    @pytest.mark.parametrize("body", ["var", "linterm", "quadterm", "expr_lin", "expr_quad"])
    def test_missing_variable(self, prob, xyz, body):
        x, y, z = xyz
        w = quenda.var()
        # comparisons give expression bodies; terms stay terms when given as the body
        con = {"var": lambda: quenda.constraint(body=w, ub=1),
               "linterm": lambda: quenda.constraint(body=2 * w, ub=1),
               "quadterm": lambda: quenda.constraint(body=2 * w * x, ub=1),
               "expr_lin": lambda: x + w <= 1,
               "expr_quad": lambda: x + w * w <= 1}[body]()
        msg = {"var": "Variable in linear term defining constraint has not been added to problem yet",
               "linterm": "Variable in linear term defining constraint has not been added to problem yet",
               "quadterm": "Variable in quadratic term defining constraint has not been added to problem yet",
               "expr_lin": "Variable in linear part of constraint has not been added to problem yet",
               "expr_quad": "Variable in quadratic part of constraint has not been added to problem yet"}[body]
        good = x + y <= 1
        with pytest.raises(quenda.ModelError) as e:
            prob.addConstraint(good, con)
        assert str(e.value) == msg
        assert prob.getConstraint() == [good] and prob.getAttrib("rows") == 1
        assert prob.getIndex(good) == 0

    @pytest.mark.parametrize("bad", [1.0, quenda.var(), "c", None])
    def test_invalid(self, prob, xyz, bad):
        with pytest.raises(quenda.ModelError, match="^Invalid constraint$"):
            prob.addConstraint(xyz[0] <= 1, bad)
        assert prob.getAttrib("rows") == 1

    def test_twice(self, prob, xyz):
        c = xyz[0] <= 1
        prob.addConstraint(c)
        with pytest.raises(quenda.ModelError, match="^Constraint already added to problem$"):
            prob.addConstraint(c)
        d = xyz[1] <= 1
        with pytest.raises(quenda.ModelError, match="^Constraint already added to problem$"):
            prob.addConstraint([d, d])
        assert prob.getConstraint() == [c, d] and prob.getAttrib("rows") == 2

    def test_generator_changing_the_problem_is_refused(self, prob, xyz):
        x, y, z = xyz
        other = quenda.problem()
        w = quenda.var()
        first = x <= 1

        def gen():
            yield first
            other.addVariable(w)  # another problem: fine
            prob.delVariable(0)   # this one: its batch would go stale
            yield y <= 1

        with pytest.raises(quenda.ModelError, match=r"^problem\.delVariable: cannot change the "
                           r"problem while its addConstraint\(\) runs"):
            prob.addConstraint(gen())
        assert prob.getConstraint() == [first] and prob.getAttrib("rows") == 1
        assert prob.getAttrib("cols") == 3 and other.getIndex(w) == 0
        prob.delVariable(0)  # allowed again afterwards
        assert prob.getAttrib("cols") == 2

    def test_nonlinear_with_a_missing_variable_rolls_back(self, prob, xyz):
        x, w = xyz[0], quenda.var()
        with pytest.raises(quenda.ModelError, match="nonlinear expression has not been added"):
            prob.addConstraint(quenda.sin(x) <= 1, quenda.cos(w) + x <= 1)
        assert prob.getAttrib("rows") == 0 and prob.getConstraint() == []
        prob.addConstraint(quenda.sin(x) <= 1)
        assert prob.getAttrib("rows") == 1

    def test_library_refusal_rolls_back(self, prob, xyz):
        # The library takes the rows, then refuses a free row as an indicator
        # row: the whole batch goes, from the library and from the registry.
        x = xyz[0]
        b = quenda.var(vartype=quenda.binary)
        prob.addVariable(b)
        prob.addConstraint(x <= 5)
        ok, free = x <= 1, quenda.constraint(body=x + 0, lb=-quenda.infinity)
        with pytest.raises(quenda.SolverError, match="free"):
            prob.addIndicator(b == 1, ok, b == 0, free)
        assert attrs(prob, "rows", "indicators") == [1, 0]
        assert len(prob.getConstraint()) == 1
        for c in (ok, free):
            with pytest.raises(quenda.ModelError):
                prob.getIndex(c)
        prob.addIndicator(b == 1, ok)
        assert prob.getIndex(ok) == 1


class TestSOSAndIndicators:
    def test_sos(self, prob, xyz, tmp_path):
        x, y, z = xyz
        s1 = quenda.sos([x, y], [1, 2], type=1, name="s1")
        s2 = quenda.sos([y, z, x], [1.5, 2.5, 3.5], type=2, name="s2")
        prob.addSOS([s1, (s2,)])
        assert attrs(prob, "sets", "setmembers") == [2, 5]
        sec = mps_sections(prob, tmp_path)["SOS"]
        assert sec[0] == ["S1", "SOS", "s1"] and sec[3] == ["S2", "SOS", "s2"]
        assert sec[4:] == [["y", "1.5"], ["z", "2.5"], ["x", "3.5"]]
        assert prob.getIndex(s2) == 1

    @pytest.mark.parametrize("make,msg", [
        (lambda x, w: 3, "Object added is not a SOS"),
        (lambda x, w: quenda.sos([x, w], [1, 2]), "SOS contains variable that was not added to the problem"),
        (lambda x, w: quenda.sos([x], [1, 2]), "SOS indices and weights must have the same length"),
        (lambda x, w: quenda.sos([x], ["a"]), "SOS weights must be numbers"),
    ])
    def test_sos_errors(self, prob, xyz, make, msg):
        good = quenda.sos([xyz[0], xyz[1]], [1, 2])
        with pytest.raises(quenda.ModelError) as e:
            prob.addSOS(good, make(xyz[0], quenda.var()))
        assert str(e.value) == msg
        assert prob.getAttrib("sets") == 1 and prob.getIndex(good) == 0

    def test_sos_twice(self, prob, xyz):
        s = quenda.sos([xyz[0]], [1])
        prob.addSOS(s)
        with pytest.raises(quenda.ModelError, match="^SOS already added to problem$"):
            prob.addSOS(s)

    def test_indicator_solves(self, prob):
        x = quenda.var(lb=0, ub=10, name="x")
        b = quenda.var(vartype=quenda.binary, name="b")
        prob.addVariable(x, b)
        c = x <= 3
        prob.addIndicator(b == 1, c)
        assert attrs(prob, "rows", "indicators") == [1, 1]
        prob.setObjective(x + b, sense=quenda.maximize)
        prob.solve()
        # with b = 1 the indicator caps x at 3: 3 + 1 < 10 + 0
        assert prob.getSolution([x, b]) == pytest.approx([10, 0])
        assert prob.getIndex(c) == 0

    def test_indicator_lists_and_complement(self, prob, tmp_path):
        b1, b2 = vars_named("b1", "b2", vartype=quenda.binary)
        x = quenda.var(name="x")
        prob.addVariable(b1, b2, x)
        prob.addIndicator([b1 == 1, b2 == 0], [x <= 1, x >= 2])
        ind = mps_sections(prob, tmp_path)["INDICATORS"]
        assert [l[2:] for l in ind] == [["b1", "1"], ["b2", "0"]]

    def test_indicator_arrays(self, prob):
        b = np.array([quenda.var(vartype=quenda.binary) for _ in range(4)]).reshape(2, 2)
        x = np.array([quenda.var(ub=10) for _ in range(4)]).reshape(2, 2)
        prob.addVariable(b, x)
        cons = x <= 2
        prob.addIndicator(b == 1, cons)
        assert attrs(prob, "rows", "indicators") == [4, 4]
        assert [prob.getIndex(c) for c in cons.flat] == [0, 1, 2, 3]

    @pytest.mark.parametrize("cond,msg", [
        (lambda b, x, w: b, "Invalid condition for indicator constraints: must be <variable_name> == 0 or <variable_name> == 1"),
        (lambda b, x, w: b <= 1, "Invalid condition for indicator constraints: must be <variable_name> == 0 or <variable_name> == 1"),
        (lambda b, x, w: b + x == 1, "Invalid condition for indicator constraints: there must be exactly one variable"),
        (lambda b, x, w: b * b == 1, "Invalid condition for indicator constraints: it cannot contain a quadratic expression"),
        (lambda b, x, w: 2 * b == 1, "Indicator variable must have coefficient 1"),
        (lambda b, x, w: b == 2, "Invalid indicator expression. Must be var==0 or var==1, where var is a binary variable"),
        (lambda b, x, w: x == 1, "Invalid indicator expression. Must be var==0 or var==1, where var is a binary variable"),
        (lambda b, x, w: w == 1, "Indicator variable has not been added to problem yet"),
    ])
    def test_indicator_errors(self, prob, cond, msg):
        b = quenda.var(vartype=quenda.binary)
        x = quenda.var()
        prob.addVariable(b, x)
        w = quenda.var(vartype=quenda.binary)
        with pytest.raises(quenda.ModelError) as e:
            prob.addIndicator(cond(b, x, w), x <= 1)
        assert str(e.value) == msg
        assert prob.getAttrib("rows") == 0 and prob.getConstraint() == []

    @pytest.mark.parametrize("args", [(), (1,), ("a", "b", "c")])
    def test_indicator_declaration(self, prob, args):
        with pytest.raises(quenda.ModelError, match=r"^Invalid declaration of indicator constraints\.$"):
            prob.addIndicator(*args)

    def test_indicator_list_lengths(self, prob):
        b = quenda.var(vartype=quenda.binary)
        prob.addVariable(b)
        with pytest.raises(quenda.ModelError, match="Invalid declaration"):
            prob.addIndicator([b == 1], [b <= 1, b >= 0])


@pytest.fixture
def four(prob):
    vs = vars_named("a", "b", "c", "d", lb=0, ub=1)
    prob.addVariable(vs)
    cons = [quenda.constraint(v <= 1, name="r" + v.name) for v in vs]
    prob.addConstraint(cons)
    return vs, cons


class TestDelete:
    def test_renumbering(self, prob, four, tmp_path):
        vs, cons = four
        prob.delVariable(1)
        assert [prob.getIndex(v) for v in (vs[0], vs[2], vs[3])] == [0, 1, 2]
        assert prob.getVariable() == [vs[0], vs[2], vs[3]]
        with pytest.raises(quenda.ModelError):
            prob.getIndex(vs[1])
        cols, *_, mat = linear_model(prob, tmp_path)
        assert cols == ["a", "c", "d"] and mat["rb"] == {}
        # a deleted variable may be added again, at the end
        prob.addVariable(vs[1])
        assert prob.getIndex(vs[1]) == 3

    @pytest.mark.parametrize("kw,left", [
        (dict(index=[3, 0]), "bc"),
        (dict(index=(2, 2, 2)), "abd"),
        (dict(index=np.array([1, 2])), "ad"),
        (dict(index=iter([0])), "bcd"),
        (dict(first=1, last=2), "ad"),
        (dict(first=0, last=3), ""),
        (dict(index=["a", "d"]), "bc"),
        (dict(index="c"), "abd"),
    ])
    def test_delete_forms_variables(self, prob, four, kw, left):
        vs, cons = four
        prob.delVariable(**kw)
        assert "".join(v.name for v in prob.getVariable()) == left
        assert prob.getAttrib("cols") == len(left)
        assert [prob.getIndex(v) for v in prob.getVariable()] == list(range(len(left)))

    def test_delete_by_objects(self, prob, four):
        vs, cons = four
        prob.delConstraint([cons[3], cons[1]])
        prob.delConstraint(cons[0])
        assert prob.getConstraint() == [cons[2]] and prob.getIndex(cons[2]) == 0
        assert prob.getAttrib("rows") == 1
        prob.delVariable(index=[vs[0], 3])
        assert prob.getVariable() == [vs[1], vs[2]]

    def test_delete_sos(self, prob, four):
        vs, _ = four
        sets = [quenda.sos([vs[i], vs[i + 1]], [1, 2]) for i in range(3)]
        prob.addSOS(sets)
        prob.delSOS(sets[0])
        assert prob.getAttrib("sets") == 2 and prob.getIndex(sets[2]) == 1
        prob.delSOS([0])
        assert prob.getIndex(sets[2]) == 0
        prob.delSOS(first=0, last=0)
        assert prob.getAttrib("sets") == 0

    @pytest.mark.parametrize("kw,msg", [
        (dict(), "At least one parameter must be specified"),
        (dict(index=1, first=0), "Parameters 'first' and 'last' cannot be specified if 'index' is also specified"),
        (dict(first=-1, last=2), "Parameters 'first' and 'last' must be both nonnegative when specified"),
        (dict(first=1), "Parameters 'first' and 'last' must be both nonnegative when specified"),
        (dict(first=2, last=9), "Parameters 'first' or 'last' are out of range"),
        (dict(first=2, last=1), "Parameter 'first' must be less than, or equal to, 'last'"),
        (dict(index=4), "Index out of bounds"),
        (dict(index=[0, -1]), "Index out of bounds"),
        (dict(index=1.5), "Invalid sequence of objects"),
        (dict(index=[0, 1.5]), None),
    ])
    def test_delete_errors_lose_nothing(self, prob, four, kw, msg):
        vs, _ = four
        with pytest.raises(quenda.ModelError) as e:
            prob.delVariable(**kw)
        if msg is not None:
            assert str(e.value) == msg
        assert prob.getVariable() == vs and prob.getAttrib("cols") == 4

    def test_delete_foreign_object(self, prob, four):
        w = quenda.var(name="w")
        with pytest.raises(quenda.ModelError, match="^Variable w not in problem$"):
            prob.delVariable(w)
        with pytest.raises(quenda.ModelError, match="^Invalid variable object"):
            prob.delVariable([four[1][0]])

    def test_delete_then_solve(self, prob, four):
        vs, cons = four
        prob.delVariable(0)
        prob.delConstraint(0)
        prob.setObjective(quenda.Sum(vs[1:]), sense=quenda.maximize)
        prob.solve()
        assert prob.getSolution(vs[1:]) == pytest.approx([1, 1, 1])


class TestReferences:
    def test_refcounts_balance(self):
        vs = [quenda.var() for _ in range(3)]
        con = vs[0] + vs[1] <= 1
        s = quenda.sos(vs[:2], [1, 2])
        objs = vs + [con, s]
        counts = lambda: [sys.getrefcount(o) for o in objs]
        before = counts()
        p = quenda.problem()
        p.addVariable(vs)
        p.addConstraint(con)
        p.addSOS(s)
        # the row holds the body now: vs[0] and vs[1] traded its reference
        # for the problem's
        assert counts() == before[:2] + [b + 1 for b in before[2:]]
        p.delVariable(2)
        p.delSOS(0)
        assert counts() == before[:3] + [before[3] + 1, before[4]]
        del p
        gc.collect()
        assert counts() == before

    def test_failed_adds_keep_counts(self):
        v = quenda.var()
        p = quenda.problem()
        p.addVariable(v)
        before = sys.getrefcount(v)
        for _ in range(3):
            with pytest.raises(quenda.ModelError):
                p.addVariable([v])
            with pytest.raises(quenda.ModelError):
                p.addConstraint(quenda.var() <= 1)
        assert sys.getrefcount(v) == before

    def test_no_growth_in_a_loop(self, heap_growth):
        def once():
            xs = [quenda.var() for _ in range(30)]
            p = quenda.problem()
            p.addVariable(xs)
            p.addConstraint([xs[i] + 2 * xs[i + 1] * xs[i] <= i for i in range(29)])
            p.addSOS(quenda.sos(xs[:3], [1, 2, 3]))
            b = quenda.var(vartype=quenda.binary)
            p.addVariable(b)
            p.addIndicator(b == 1, xs[0] <= 1)
            p.delConstraint(first=0, last=9)
            p.delVariable([0, 5])
            try:
                p.addConstraint(xs[0] + quenda.var() <= 1)
            except quenda.ModelError:
                pass

        assert heap_growth(once, 20, 200) < 64 * 1024


class TestDefaultNames:
    """Default names are made on demand, never kept by the objects: what the
    library, the file and the attribute show must still agree."""

    def test_file_and_attribute_agree(self, prob, tmp_path):
        x, y = quenda.var(), quenda.var(name="y")
        z = quenda.var()
        z.name = "zz"
        del z.name                      # back to the default name
        prob.addVariable([x, y, z])
        c, d = x + y <= 1, quenda.constraint(body=x - z, lb=0, name=None)
        src = x >= 0
        e = src.copy()
        prob.addConstraint([c, d, e])
        cols, *_, rnames, _, _, _ = linear_model(prob, tmp_path)
        assert cols == [x.name, "y", z.name] == [str(x), "y", f"C{hash(z)}"]
        assert rnames == [c.name, d.name, e.name] == [str(c), str(d), str(e)]
        assert e.name.endswith("_copy_" + src.name) and src.name == f"R{src.name[1:]}"

    def test_names_cost_no_references(self):
        v = quenda.var()
        c = v <= 1
        before = sys.getrefcount(v), sys.getrefcount(c)
        for _ in range(1000):
            assert v.name == str(v) and c.name == str(c)
        assert (sys.getrefcount(v), sys.getrefcount(c)) == before


@pytest.mark.parametrize("order", ["made", "reversed", "interleaved", "shuffled"])
def test_index_maps_follow_adds_and_deletes(order):
    """The identity maps keep runs of consecutive objects: adds out of
    order, deletions inside a run and re-adds must all read back."""
    import random
    vs = [quenda.var() for _ in range(200)]
    if order == "reversed":
        vs.reverse()
    elif order == "interleaved":
        vs = vs[::2] + vs[1::2]
    elif order == "shuffled":
        random.Random(7).shuffle(vs)
    p = quenda.problem()
    p.addVariable(vs[:120])
    p.addVariable(vs[120:])
    p.delVariable([3, 50, 51, 52, 199, 0])
    kept = [v for i, v in enumerate(vs) if i not in {0, 3, 50, 51, 52, 199}]
    assert [p.getIndex(v) for v in kept] == list(range(len(kept)))
    p.addVariable(vs[51])
    assert p.getIndex(vs[51]) == len(kept)
    for v in (vs[0], vs[3], vs[199]):
        with pytest.raises(quenda.ModelError):
            p.getIndex(v)
    cons = [v <= 1 for v in kept]
    p.addConstraint(cons[::-1])
    assert [p.getIndex(c) for c in cons] == list(range(len(cons)))[::-1]
