/* Module-level nonlinear functions: the fourteen math functions (one
 * argument each, METH_O), max, min and user (METH_VARARGS | METH_KEYWORDS). */
#pragma once

#include <Python.h>

PyObject *quendamod_sin(PyObject *self, PyObject *arg);
PyObject *quendamod_cos(PyObject *self, PyObject *arg);
PyObject *quendamod_tan(PyObject *self, PyObject *arg);
PyObject *quendamod_asin(PyObject *self, PyObject *arg);
PyObject *quendamod_acos(PyObject *self, PyObject *arg);
PyObject *quendamod_atan(PyObject *self, PyObject *arg);
PyObject *quendamod_exp(PyObject *self, PyObject *arg);
PyObject *quendamod_log(PyObject *self, PyObject *arg);
PyObject *quendamod_log10(PyObject *self, PyObject *arg);
PyObject *quendamod_abs(PyObject *self, PyObject *arg);
PyObject *quendamod_sqrt(PyObject *self, PyObject *arg);
PyObject *quendamod_sign(PyObject *self, PyObject *arg);
PyObject *quendamod_erf(PyObject *self, PyObject *arg);
PyObject *quendamod_erfc(PyObject *self, PyObject *arg);
PyObject *quendamod_max(PyObject *self, PyObject *args, PyObject *kwargs);
PyObject *quendamod_min(PyObject *self, PyObject *args, PyObject *kwargs);
PyObject *quendamod_user(PyObject *self, PyObject *args, PyObject *kwargs);
