"""The module imports and publishes its types, exceptions and constants."""
import math

import pytest

import quendalib as quenda


@pytest.mark.parametrize("name, tpname", [
    ("var", "quenda.var"), ("sos", "quenda.SOS"), ("constraint", "quenda.constraint"),
    ("problem", "quenda.problem"), ("branchobj", "quenda.branchobj"),
    ("poolcut", "quenda.poolcut"),
])
def test_published_types(name, tpname):
    tp = getattr(quenda, name)
    assert isinstance(tp, type)
    assert f"{tp.__module__}.{tp.__qualname__}" == tpname


@pytest.mark.parametrize("name", ["expression", "linterm", "quadterm", "control", "attribute",
                                  "qndaobject", "generic"])
def test_unpublished_types(name):
    assert not hasattr(quenda, name)


@pytest.mark.parametrize("name", ["ModelError", "InterfaceError", "SolverError"])
def test_exceptions(name):
    exc = getattr(quenda, name)
    assert issubclass(exc, Exception) and exc.__bases__ == (Exception,)
    assert f"{exc.__module__}.{exc.__name__}" == "quenda." + name


def test_exceptions_are_distinct():
    assert len({quenda.ModelError, quenda.InterfaceError, quenda.SolverError}) == 3


def test_version_is_dotted():
    parts = quenda.getversion().split(".")
    assert len(parts) == 3 and all(p.isdigit() for p in parts)


CONSTANTS = {
    "continuous": 0, "binary": 1, "integer": 2, "semicontinuous": 3, "semiinteger": 4,
    "partiallyinteger": 5, "minimize": 1, "maximize": -1, "leq": 1, "geq": 2, "eq": 3,
    "range": 4, "solinfo_absprimalinfeas": 0, "solinfo_maxmipfractional": 4,
    "basis_nonbasic_lower": 0, "basis_superbasic": 3, "lp_unstarted": 0, "lp_optimal": 1,
    "lp_cutoff_in_dual": 6, "lp_nonconvex": 8, "mip_not_loaded": 0, "mip_solution": 4,
    "mip_optimal": 6, "mip_unbounded": 7, "nlp_unstarted": 0, "nlp_solution": 1,
    "nlp_locally_optimal": 1, "nlp_globally_optimal": 2, "nlp_unfinished": 6,
    "stop_timelimit": 1, "stop_ctrlc": 2, "stop_sollimit": 6, "stop_user": 9,
    "type_notdefined": 0, "type_int": 1, "type_int64": 2, "type_double": 3, "type_string": 4,
    "colinfo_value": 1, "colinfo_sbdual": 8, "rowinfo_slack": 1,
    "rowinfo_penaltycolumnminusdj": 13, "msset_initialvalues": 0, "msset_initialfiltered": 6,
    "msset_solvers": 1, "msset_knitro_extended": 5,
}


@pytest.mark.parametrize("name, value", sorted(CONSTANTS.items()))
def test_integer_constants(name, value):
    got = getattr(quenda, name)
    assert type(got) is int and got == value


def test_infinity_is_float():
    assert type(quenda.infinity) is float and quenda.infinity == 1e20
    assert math.isfinite(quenda.infinity)


@pytest.mark.parametrize("name", ["stop_7", "stop_8", "stop_none"])
def test_unpublished_stop_reasons(name):
    assert not hasattr(quenda, name)


def test_module_docstring():
    assert "optimization problems" in quenda.__doc__
