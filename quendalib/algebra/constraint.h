/* quenda.constraint: the ranged constraint lb <= body <= ub. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "algebra/algebra.h"

/* The constraint a <op> b, op being Python's comparison code (Py_LT 0,
 * Py_LE 1, Py_EQ 2, Py_NE 3, Py_GT 4, Py_GE 5).  New reference or NULL
 * with quenda.ModelError set.  Used by the rich comparison of every
 * algebra type and by the NumPy comparison loops. */
PyObject *constraint_build(PyObject *a, PyObject *b, int op);

/* Row type for the solver: writes the letter (L, G, E, R or N) to *type,
 * adds the bound to *rhs and writes the range of an R row to *range. */
void getRhsSense(PyObject *con, char *type, double *rhs, double *range);

/* A copy with a fresh identity number (the copy() method). */
PyObject *constraint_copy(PyObject *self, PyObject *unused);

/* Fills the constructor hook of the constraint; 0. */
int constraint_register(void);
