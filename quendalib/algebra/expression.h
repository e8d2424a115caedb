/* quenda.expression: constant + linear part + quadratic part.
 *
 * A quadratic term q*x*y is stored once, under the variable with the
 * smaller identity number as the outer key; x*x as (x, x).  The containers
 * are created on first use.  Every PyObject-returning function returns a
 * new reference or NULL with an exception set; int-returning ones 0 or -1
 * with an exception set. */
#pragma once

#include <Python.h>

#include "algebra/algebra.h"
#include "algebra/maps.h"

/* A new empty expression (constant 0.0, no containers). */
PyObject *expression_base(void);
/* factor*obj as a new expression, for any number or algebra object (a
 * nonlinear goes to nonlin_copy and is not an expression then). */
PyObject *expression_copy(PyObject *obj, double factor);

/* Term editing.  set: coef 0.0 is ignored (lin) / erases the pair (quad);
 * add: accumulates, an exact 0.0 sum erases.  The quadratic forms order
 * the pair by identity number. */
int expression_setLinTerm(PyObject *expr, PyObject *var, double coef);
int expression_addLinTerm(PyObject *expr, PyObject *var, double coef);
int expression_setQuadTerm(PyObject *expr, PyObject *x, PyObject *y, double coef);
int expression_addQuadTerm(PyObject *expr, PyObject *x, PyObject *y, double coef);

/* Builders for the small types' results: constant + c1*v1 (+ c2*v2 when
 * v2 is not NULL), and constant + lc*lv (lv may be NULL) + qc*q1*q2.  On
 * failure msg is raised as quenda.ModelError. */
PyObject *expression_from_lin(double constant, PyObject *v1, double c1, PyObject *v2, double c2,
                              const char *msg);
PyObject *expression_from_quad(double constant, PyObject *lv, double lc, PyObject *q1, PyObject *q2,
                               double qc, const char *msg);

/* True when the expression has at least one quadratic entry. */
int expression_has_quad(PyObject *expr);

/* expr += sign*b, accumulated into expr's own containers (expr must be an
 * expression; b a number, var, linterm, quadterm or expression).
 * 0 or -1 with an exception. */
int expression_accumulate(PyObject *expr, PyObject *b, double sign);

/* The number slots are reached through the type object and the operator
 * table (algebra.h), never by name. */

/* Printed form (str and repr). */
PyObject *expression_str(PyObject *self);

/* Fills the table cells and constructor hooks of the expression; 0. */
int expression_register(void);
