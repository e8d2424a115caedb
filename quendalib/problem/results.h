/* Results by object, name or index (problem/results.cpp): getSolution,
 * getDual, getSlack, getRCost, getIndex, getVariable, getConstraint and
 * getSOS. */
#pragma once

#include <Python.h>

#include "problem/object.h"

extern PyMethodDef problem_results_methods[];

/* Kinds of item an index refers to. */
#define RESULTS_COLUMNS 0
#define RESULTS_ROWS 1
#define RESULTS_SETS 2

/* The solver index of item for the given kind: a modelling object of this
 * problem, a name, or an integer below count.  hint, when not negative, is
 * the index the caller expects (the next one of a run): an object found at
 * that position of the problem's list needs no map lookup.  0, or -1 with
 * quenda.ModelError set. */
int problem_item_index(problem_s *p, PyObject *item, int kind, Py_ssize_t count, Py_ssize_t hint,
                       Py_ssize_t *index);
