/* quenda.nonlinear: nodes of nonlinear expression trees.
 *
 * A node holds an operator code and its operands.  Operands are numbers,
 * variables, linear terms, quadratic terms, expressions or further nodes.
 * Unary operators hold the single operand itself; "-", "/" and "**" hold a
 * 2-tuple; "+" and "*" hold a list (so that sums and products can grow in
 * place); max, min and user functions hold the caller's list or tuple.
 *
 * Every PyObject-returning function here returns a new reference, or NULL
 * with a Python exception set (quenda.ModelError for algebra errors). */
#pragma once

#include <Python.h>

#include "algebra/algebra.h"

/* One row of the operator table: printed symbol, arity (-1 any), position
 * (0 infix, -1 prefix, 1 postfix). */
typedef struct {
    const char *symbol;
    int arity;
    int position;
} nonlin_op_info;

extern const nonlin_op_info printToolArray[NONLIN_NUM_OPS];

/* Node builders.  binary: "+" and "*" get the list [a, b] when a is a node,
 * else [b, a]; other codes the tuple (a, b).  unary: a single operand.
 * general: nary 0 for a single operand, 1 for a list/tuple kept by
 * reference (max, min, user). */
PyObject *nonlin_instantiate_binary(int op, PyObject *a, PyObject *b);
PyObject *nonlin_instantiate_unary(int op, PyObject *a);
PyObject *nonlin_instantiate(int op, int nary, PyObject *arg);

/* a + sign*b, adding into a itself when a is a sum node (its list grows):
 * a new reference to a in that case, a new object otherwise.  The other
 * number slots are reached through the type object and the operator
 * table (algebra.h). */
PyObject *nonlin_inplace_alg_sum(PyObject *a, PyObject *b, double sign);
/* Negation node (code 2) over a copy of a. */
PyObject *nonlin_neg(PyObject *a);
/* Deep copy of node a, times factor (1.0: plain copy; 0.0: the float 0.0;
 * -1.0: a negation node; otherwise a product node [copy, factor]). */
PyObject *nonlin_copy(PyObject *a, double factor);

/* Argument access for the copy and the formula conversion.  arg_size gives
 * -1 (with an exception) when node is not a node.  first/next return
 * BORROWED references, NULL at the end (no exception) or on error. */
Py_ssize_t nonlin_arg_size(PyObject *node);
PyObject *nonlin_arg_first(PyObject *node, Py_ssize_t *index);
PyObject *nonlin_arg_next(PyObject *node, Py_ssize_t *index);

/* Evaluates a number-typed unary function by its code (libm), for the
 * module functions and for anyone evaluating trees on numbers. */
double nonlin_eval_unary(int op, double x);

/* Fills the table cells and constructor hooks of the nonlinear node; 0. */
int nonlin_register(void);
