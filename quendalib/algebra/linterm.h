/* quenda.linterm: the immutable value coef*var. */
#pragma once

#include <Python.h>

#include "algebra/algebra.h"

/* coef*var; the float 0.0 when coef is 0.0.  New reference or NULL. */
PyObject *linterm_fill(double coef, PyObject *var);
/* factor*term ("Linterm copy using an invalid object" for a non-term). */
PyObject *linterm_copy(PyObject *term, double factor);
/* a + sign*b with sign +1.0 or -1.0. */
PyObject *linterm_alg_sum(PyObject *a, PyObject *b, double sign);

PyObject *linterm_add(PyObject *a, PyObject *b);
PyObject *linterm_sub(PyObject *a, PyObject *b);
PyObject *linterm_mul(PyObject *a, PyObject *b);
PyObject *linterm_div(PyObject *a, PyObject *b);
PyObject *linterm_pow(PyObject *a, PyObject *b, PyObject *mod);

/* Fills the table cells and constructor hooks of the linterm; 0. */
int linterm_register(void);
