/* quenda.linterm: the immutable value coef*var. */
#pragma once

#include <Python.h>

#include "algebra/algebra.h"

/* coef*var; the float 0.0 when coef is 0.0.  New reference or NULL. */
PyObject *linterm_fill(double coef, PyObject *var);
/* factor*term ("Linterm copy using an invalid object" for a non-term). */
PyObject *linterm_copy(PyObject *term, double factor);

/* The number slots are reached through the type object and the operator
 * table (algebra.h), never by name. */

/* Fills the table cells and constructor hooks of the linterm; 0. */
int linterm_register(void);
