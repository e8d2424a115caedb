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

/* The number slots are reached through the type object and the operator
 * table (algebra.h), never by name. */

/* Fills the table cells and constructor hooks of the quadterm; 0. */
int quadterm_register(void);
