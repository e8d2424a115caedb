/* quenda.var: the decision variable.
 *
 * A variable exists by itself; sameness is decided by its identity number
 * alone (taken from qnda_py_env.varcounter at creation).  Arithmetic on
 * variables yields linterm, quadterm, expression or nonlinear objects;
 * comparisons yield constraints. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "algebra/algebra.h"

/* Where a variable's threshold is (var_object.thr): 0.0 (the default of
 * var()), -1e20 (the default of vars() and of the readers), or the side
 * table, keyed by identity number, that holds any other value. */
enum { VAR_THR_ZERO = 0, VAR_THR_NONE = 1, VAR_THR_TABLE = 2 };

/* The threshold of a variable. */
double var_threshold(PyObject *var);
/* Sets it: 0, or -1 with MemoryError. */
int var_set_threshold(PyObject *var, double threshold);
/* Sets the type code: 0, or -1 with quenda.ModelError when it is out of
 * the stored range (types are 0..5; others are refused when added). */
int var_set_vartype(PyObject *var, long vartype);

/* Bare allocation: identity number taken, no name, lb 0, ub 1e20,
 * threshold -1e20, vartype 0.  New reference or NULL. */
PyObject *var_new_bare(void);
/* The same, named "C%d" with the identity number.  New reference or NULL. */
PyObject *var_base_new(void);
/* k*var: var itself when k is 1.0, the float 0.0 when k is 0.0, else the
 * linterm k*var.  New reference or NULL. */
PyObject *var_fill(PyObject *var, double k);

/* The number slots are reached through the type object and the operator
 * table (algebra.h), never by name. */

/* The variable's name as UTF-8 text for printing: a str gives its
 * characters, bytes its bytes.  Borrowed pointer valid while the variable
 * lives, or NULL with an exception. */
const char *var_name_text(PyObject *var);

/* Fills the table cells and constructor hooks of the variable; 0. */
int var_register(void);
