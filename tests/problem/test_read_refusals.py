"""The MPS and LP readers refuse what cannot be a model, line by line, with
the module's own exception; the problem keeps what it had."""
import pytest

import quendalib as quenda

HEAD = "NAME t\nROWS\n N obj\n L c1\nCOLUMNS\n"
GOOD = HEAD + "    x obj 1 c1 1\n    y obj 1 c1 1\nRHS\n    rhs c1 4\nENDATA\n"

BAD_MPS = [
    ("nan_coef", HEAD + "    x obj 1 c1 nan\n", "line 6: not a number: nan"),
    ("inf_coef", HEAD + "    x obj 1 c1 inf\n", "line 6: a coefficient cannot be infinite"),
    ("nan_rhs", HEAD + "    x obj 1 c1 1\nRHS\n    rhs c1 NaN\n", "line 8: not a number"),
    ("nan_bound", HEAD + "    x obj 1 c1 1\nBOUNDS\n UP bnd x nan\n", "line 8: not a number"),
    ("nan_quadobj", HEAD + "    x obj 1 c1 1\nQUADOBJ\n    x x nan\n", "line 8: not a number"),
    ("sideways", "NAME t\nOBJSENSE\n    SIDEWAYS\nROWS\n N obj\n",
     "line 3: unknown objective sense (MIN or MAX): SIDEWAYS"),
    ("sense_inline", "NAME t\nOBJSENSE UP\n", "line 2: unknown objective sense"),
    ("obj_range", HEAD + "    x obj 1 c1 1\nRANGES\n    rng obj 2\n",
     "line 8: the objective row cannot have a range"),
    ("duplicate", HEAD + "    x obj 1 c1 1\n    x c1 2\n", "line 7: repeated entry of the column in row: c1"),
    ("duplicate_obj", HEAD + "    x obj 1\n    x obj 2\n", "line 7: repeated entry"),
    ("utf8_col", HEAD + "    x\xff obj 1\n", "line 6: a column name that is not UTF-8"),
    ("utf8_row", "NAME t\nROWS\n N obj\n L c\xc3\n", "line 4: a row name that is not UTF-8"),
]


@pytest.mark.parametrize("text, message", [b[1:] for b in BAD_MPS], ids=[b[0] for b in BAD_MPS])
def test_bad_mps_lines_are_refused_with_their_line(tmp_path, text, message):
    f = tmp_path / "bad.mps"
    f.write_bytes(text.encode("latin-1"))
    p = quenda.problem()
    good = tmp_path / "good.mps"
    good.write_text(GOOD)
    p.read(str(good))
    with pytest.raises(quenda.SolverError) as e:
        p.read(str(f))
    assert message in str(e.value) and str(f) in str(e.value)
    assert p.getAttrib("cols") == 2 and p.getAttrib("rows") == 1
    p.solve()


def test_good_mps_reads(tmp_path):
    f = tmp_path / "good.mps"
    f.write_text(GOOD.replace("ROWS", "OBJSENSE\n    MAX\nROWS"))
    p = quenda.problem()
    p.read(str(f))
    p.solve()
    assert p.getObjVal() == pytest.approx(4)


@pytest.mark.parametrize("text", [
    "minimize\n obj: x + y\nsubject to\n c1: x + y >= nan\nend\n",
    "minimize\n obj: x + y\nsubject to\n c1: x + y >= 1\nbounds\n x <= nan\nend\n",
])
def test_lp_files_with_nan_are_refused(tmp_path, text):
    f = tmp_path / "bad.lp"
    f.write_text(text)
    p = quenda.problem()
    with pytest.raises(quenda.SolverError):
        p.read(str(f))
    assert p.getAttrib("cols") == 0
