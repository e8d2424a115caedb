/* quenda.quadterm: the immutable value coef*var1*var2, var1 having the
 * smaller (or equal) identity number. */
#pragma once

#include <Python.h>

#include "algebra/algebra.h"

/* coef*first*second with the variables ordered by identity number (ties
 * keep the given order).  New reference or NULL. */
PyObject *quadterm_fill(double coef, PyObject *first, PyObject *second);
/* factor*term (term must be a quadterm). */
PyObject *quadterm_copy(PyObject *term, double factor);
/* a + sign*b with sign +1.0 or -1.0. */
PyObject *quadterm_alg_sum(PyObject *a, PyObject *b, double sign);

PyObject *quadterm_add(PyObject *a, PyObject *b);
PyObject *quadterm_sub(PyObject *a, PyObject *b);
PyObject *quadterm_mul(PyObject *a, PyObject *b);
PyObject *quadterm_div(PyObject *a, PyObject *b);
PyObject *quadterm_pow(PyObject *a, PyObject *b, PyObject *mod);

/* Fills the table cells and constructor hooks of the quadterm; 0. */
int quadterm_register(void);
