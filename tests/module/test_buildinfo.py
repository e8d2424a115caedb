"""The package version and the build's contents."""
import pathlib
import re

import quendalib as quenda

ROOT = pathlib.Path(__file__).resolve().parents[2]


def pyproject_version():
    text = (ROOT / "pyproject.toml").read_text()
    return re.search(r'^version\s*=\s*"([^"]+)"', text, re.M).group(1)


def test_version_is_the_project_version():
    assert quenda.__version__ == pyproject_version()


def test_buildinfo_lists_library_and_engines():
    info = quenda.getbuildinfo()
    assert info["version"] == quenda.__version__
    assert info["library"] == quenda.getversion()
    highs = info["engines"]["highs"]
    assert re.fullmatch(r"\d+\.\d+\.\d+", highs["version"])
    assert highs["problems"] == ("LP", "MIP", "QP")
    # The banner names the same engine version.
    assert highs["version"] in quenda.getbanner()
    # A fresh dict each call: changing one does not change the next.
    info["engines"].clear()
    assert quenda.getbuildinfo()["engines"]
