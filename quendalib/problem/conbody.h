/* Constraint bodies kept by the problem's rows.  Once a row is in the
 * library, a constraint with a linear body lets go of its expression and
 * reads it back from the row when asked (algebra/constraint.h); the
 * problem hands the bodies back before it drops its constraints. */
#pragma once

#include <Python.h>

#include "problem/object.h"

/* The expression of con's row in problem: a new reference, or NULL with
 * ModelError (con not in the problem) or the library's error. */
PyObject *conbody_from_row(PyObject *problem, PyObject *con);

/* After the constraints of p's list from index from on went into the
 * library: their linear bodies go to the rows. */
void conbody_to_rows(problem_s *p, Py_ssize_t from);

/* Before p lets go of the constraints of lst (its list, or the ones a
 * deletion takes out: idx[0..n) of lst, or all of lst when idx is NULL):
 * each one that someone else still holds gets its body back from its row.
 * Cannot fail: a body that cannot be read is reported as unraisable and
 * that constraint ends without one. */
void conbody_from_rows(problem_s *p, PyObject *lst, const int *idx, Py_ssize_t n);
