import ctypes
import os
import subprocess
import sys
import textwrap

import pytest

import quendalib as quenda


@pytest.fixture(autouse=True)
def clean_defaults():
    """Module defaults and checked mode are process-wide: leave them as found."""
    quenda.setdefaults()
    yield
    quenda.setdefaults()
    quenda.setcheckedmode(True)


@pytest.fixture(scope="session")
def lib():
    """The very libqnda the module loaded (same path, so the same instance)."""
    return ctypes.CDLL(os.path.join(os.path.dirname(quenda.__file__), "libqnda.so.34.01"))


LIB_OPEN_PROBE = """
import ctypes, os
_lib = ctypes.CDLL(os.path.join(os.path.dirname(quenda.__file__), "libqnda.so.34.01"))
def lib_open():
    h = ctypes.c_void_p()
    if _lib.QNDAcreateprob(ctypes.byref(h)) != 0:
        return False
    _lib.QNDAdestroyprob(h)
    return True
"""


@pytest.fixture
def fresh():
    """Runs code in a new interpreter that has just imported the module;
    lib_open() there says whether the library is initialised."""
    def run(code):
        src = "import quendalib as quenda\n" + LIB_OPEN_PROBE + textwrap.dedent(code)
        proc = subprocess.run([sys.executable, "-c", src], capture_output=True, text=True,
                              timeout=120, env=os.environ.copy())
        assert proc.returncode == 0, proc.stderr
        return proc
    return run
