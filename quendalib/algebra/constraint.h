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

/* The body of con: 0 and *body a new reference (NULL when it has none),
 * or -1 with an exception when the row that holds it cannot be read. */
int constraint_body(PyObject *con, PyObject **body);
/* Called once problem holds con's row: a linear body without constant is
 * dropped and read back from the row from then on. */
void constraint_body_to_row(PyObject *con, PyObject *problem);
/* Called before problem lets go of con or changes its row in a way the
 * body must not follow (deletion, reset, the problem's end): the body is
 * read back into the constraint when keep, else forgotten.  0, or -1 with
 * an exception (con then has no body). */
int constraint_body_from_row(PyObject *con, PyObject *problem, int keep);

/* A copy with a fresh identity number (the copy() method). */
PyObject *constraint_copy(PyObject *self, PyObject *unused);

/* Fills the constructor hook of the constraint; 0. */
int constraint_register(void);
