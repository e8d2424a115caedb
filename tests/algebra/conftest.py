"""Shared fixtures of the algebra tests.

The term and expression types are not published by the module; the tests
reach them through the results of operators."""
import gc
import operator
import tracemalloc

import numpy as np
import pytest

import quendalib as quenda


class Types:
    def __init__(self):
        v = quenda.var()
        self.var = quenda.var
        self.linterm = type(2 * v)
        self.quadterm = type(v * v)
        self.expression = type(v + 1)
        self.constraint = quenda.constraint


@pytest.fixture(scope="session")
def types():
    return Types()


@pytest.fixture
def x():
    return quenda.var(name="x")


@pytest.fixture
def y(x):
    return quenda.var(name="y")      # created after x: larger identity


@pytest.fixture
def z(y):
    return quenda.var(name="z")      # created after y


# Every NumPy scalar type that counts as a number, and a few that do not.
NUMPY_NUMBERS = [np.int32, np.int_, np.longlong, np.float32, np.float64]


def _tname(obj):
    t = type(obj)
    return t.__name__ if t.__module__ == "builtins" else f"{t.__module__}.{t.__name__}"


@pytest.fixture(scope="session")
def tname():
    """Qualified type name of an object: 'quenda.linterm', 'float', ..."""
    return _tname


@pytest.fixture(params=NUMPY_NUMBERS, ids=lambda t: t.__name__)
def npnum(request):
    """Each NumPy scalar type that counts as a number."""
    return request.param


def _traced_growth(work):
    """Bytes still held after a second run of work (the first one fills
    the caches and pools)."""
    work()
    gc.collect()
    tracemalloc.start()
    base = tracemalloc.get_traced_memory()[0]
    work()
    gc.collect()
    grown = tracemalloc.get_traced_memory()[0] - base
    tracemalloc.stop()
    return grown


@pytest.fixture(scope="session")
def traced_growth():
    return _traced_growth


_INPLACE = {"+": operator.iadd, "-": operator.isub, "*": operator.imul,
            "/": operator.itruediv, "**": operator.ipow}


def _inplace(obj, op, value):
    """obj <op>= value, as the statement would do it."""
    return _INPLACE[op](obj, value)


@pytest.fixture(scope="session")
def inplace():
    return _inplace
