"""Model files: writing, reading, and the registry rebuilt after a read."""
import gc
import os
import sys

import pytest

import quendalib as quenda

INSTANCES = os.path.join(os.path.dirname(__file__), "..", "data")
AFIRO = os.path.join(INSTANCES, "afiro.mps")

# (file, status string, objective or None)
PUBLISHED = [
    ("afiro.mps", "lp_optimal", -464.75314286),
    ("adlittle.mps", "lp_optimal", 225494.96316),
    ("blending.mps", "lp_optimal", -3200),
    ("standata.mps", "lp_optimal", 1257.6995),
    ("standmps.mps", "lp_optimal", 1406.0175),
    ("woodinfe.mps", "lp_infeas", None),
    ("gas11.mps", "lp_unbounded", None),
    ("small_mip.mps", "mip_optimal", 3.2368421),
    ("flugpl.mps", "mip_optimal", 1201500),
    ("egout.mps", "mip_optimal", 568.1007),
    ("lseu.mps", "mip_optimal", 1120),
    ("qjh.mps", "lp_optimal", -5.25),
]


def quiet(p):
    p.setControl("loglevel", 0)
    return p


@pytest.fixture
def model():
    """A small MIP with names, a ranged row and every kind of bound."""
    x = quenda.var(name="x", lb=-2, ub=8)
    y = quenda.var(name="y", vartype=quenda.integer, ub=5)
    z = quenda.var(name="z", vartype=quenda.binary)
    rows = [quenda.constraint(body=x + y + z, lb=6, ub=10, name="range"),
            quenda.constraint(x - y >= -3, name="geq"),
            quenda.constraint(x + 2 * z == 4, name="eq"),
            quenda.constraint(y + z <= 5, name="leq")]
    p = quiet(quenda.problem("filemodel"))
    p.addVariable(x, y, z)
    p.addConstraint(rows)
    p.setObjective(3 * x + 2 * y - z, sense=quenda.maximize)
    return p


class TestRoundTrip:
    @pytest.mark.parametrize("ext,options", [(".mps", ""), (".lp", ""), (".mat", "l"),
                                             (".mps", "f")])
    def test_same_model_back(self, model, tmp_path, ext, options):
        path = str(tmp_path / ("m" + ext))
        model.write(path, options)
        model.solve()
        q = quiet(quenda.problem())
        q.read(path, "l" if options == "l" else "")
        q.solve()
        assert q.getObjVal() == pytest.approx(model.getObjVal())
        assert [v.name for v in q.getVariable()] == ["x", "y", "z"]
        if ext == ".mps":  # the LP format may write a range as two rows
            assert [c.name for c in q.getConstraint()] == ["range", "geq", "eq", "leq"]
        # by name and by object, like a model built with operators
        assert q.getSolution("y") == q.getSolution(q.getVariable("y")) == \
            pytest.approx(model.getSolution("y"))
        assert q.getSlack(q.getConstraint("geq")) == pytest.approx(model.getSlack("geq"))

    def test_registry_after_read(self, model, tmp_path):
        path = str(tmp_path / "m.mps")
        model.write(path)
        q = quiet(quenda.problem())
        q.read(path)
        x, y, z = q.getVariable()
        assert (x.lb, x.ub, x.vartype) == (-2, 8, quenda.continuous)
        assert (y.ub, y.vartype) == (5, quenda.integer)
        assert z.vartype == quenda.binary and z.ub == 1
        rng, geq, eq, leq = q.getConstraint()
        assert (rng.lb, rng.ub) == (6, 10)
        assert (geq.lb, geq.ub) == (-3, quenda.infinity)
        assert (eq.lb, eq.ub) == (4, 4)
        assert (leq.lb, leq.ub) == (-quenda.infinity, 5)
        assert [q.getIndex(v) for v in (x, y, z)] == [0, 1, 2]
        assert q.getIndex(leq) == 3
        str(rng)   # a row read from a file has no body; printing must still work
        # the objects read belong to the problem: an objective over them works
        q.setObjective(x + y, sense=quenda.minimize)
        q.solve()
        assert q.getObjVal() == pytest.approx(q.getSolution(x) + q.getSolution(y))

    def test_many_columns_names_in_chunks(self, tmp_path):
        xs = [quenda.var(name="col_%03d" % i, ub=1) for i in range(300)]
        p = quiet(quenda.problem())
        p.addVariable(xs)
        p.addConstraint(quenda.constraint(quenda.Sum(xs) <= 150, name="cap"))
        p.setObjective(quenda.Sum(xs), sense=quenda.maximize)
        path = str(tmp_path / "wide.lp")
        p.write(path)
        q = quiet(quenda.problem())
        q.read(path)
        assert [v.name for v in q.getVariable()] == ["col_%03d" % i for i in range(300)]
        assert q.getVariable("col_299") is q.getVariable(299)

    def test_semicontinuous_column(self):
        q = quiet(quenda.problem())
        q.read(os.path.join(INSTANCES, "semi-continuous.mps"))
        # x3 is an integer column with an SC bound: semi-integer
        sc = q.getVariable("x3")
        assert sc.vartype == quenda.semiinteger
        # the library keeps the SC lower bound as the column's threshold,
        # which is not read back
        assert (sc.lb, sc.ub, sc.threshold) == (0, 10, 0)
        q.solve()
        assert q.getProbStatusString() == "mip_optimal"


@pytest.mark.parametrize("name,status,objective", PUBLISHED)
def test_shared_instances(name, status, objective):
    p = quiet(quenda.problem())
    p.read(os.path.join(INSTANCES, name))
    p.solve()
    assert p.getProbStatusString() == status
    if objective is not None:
        assert p.getObjVal() == pytest.approx(objective, rel=1e-6)
        assert len(p.getSolution()) == len(p.getVariable()) == p.getAttrib("cols")


class TestFailures:
    def test_bad_filename_empties_registry(self, model):
        assert len(model.getVariable()) == 3
        with pytest.raises(TypeError):
            model.read(42)
        assert model.getVariable() == [] and model.getConstraint() == []

    def test_missing_file(self, model, tmp_path):
        with pytest.raises(quenda.SolverError):
            model.read(str(tmp_path / "nothere.mps"))
        assert model.getVariable() == []

    def test_unwritable_file(self, model, tmp_path):
        with pytest.raises(quenda.SolverError):
            model.write(str(tmp_path / "no" / "such" / "dir.mps"))
        with pytest.raises(TypeError):
            model.write(None)

    def test_read_replaces_previous_objects(self, model, tmp_path):
        old = model.getVariable()
        model.read(AFIRO)
        new = model.getVariable()
        assert len(new) == 32 and not any(v is o for v in new for o in old)
        with pytest.raises(quenda.ModelError, match="^Index out of range$"):
            model.getIndex(old[0])


def test_read_loop_does_not_leak(tmp_path):
    path = AFIRO
    p = quiet(quenda.problem())
    p.read(path)
    keep = p.getVariable(0)
    base = sys.getrefcount(keep)
    for _ in range(30):
        q = quiet(quenda.problem())
        q.read(path)
        q.read(path)
        del q
    p.read(path)   # drops the problem's reference to keep
    gc.collect()
    assert sys.getrefcount(keep) == base - 1
