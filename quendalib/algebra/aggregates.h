/* Module-level aggregate functions: Sum, Prod, Dot and vars. */
#pragma once

#include <Python.h>

PyObject *quendamod_Sum(PyObject *self, PyObject *args);
PyObject *quendamod_Prod(PyObject *self, PyObject *args);
PyObject *quendamod_Dot(PyObject *self, PyObject *args, PyObject *kwargs);
PyObject *quendamod_vars(PyObject *self, PyObject *args, PyObject *kwargs);
