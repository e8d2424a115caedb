/* The number slots the algebra's types share.
 *
 * var, linterm and quadterm are immutable, so their in-place operators are
 * the plain ones after the shortcuts that keep the left operand (x += 0,
 * x *= 1, x /= 1, x **= 1); an ndarray on the right goes to NumPy through
 * the same helpers for every type.  Every function returns a new reference
 * or NULL with an exception set. */
#pragma once

#include <Python.h>

#include "algebra/algebra.h"
#include "algebra/exprtype.h"

/* (1.0 / arr) * other and (-arr) + other, NumPy doing every step: what
 * other / arr and other - arr are when an array is on the right. */
PyObject *algebra_array_div(PyObject *arr, PyObject *other);
PyObject *algebra_array_sub(PyObject *arr, PyObject *other);

/* What NumPy makes of `a op arr` with the array on the right (op one of
 * ALG_ADD .. ALG_POW; a power with an array exponent is refused). */
PyObject *algebra_array_right(int op, PyObject *a, PyObject *arr);

/* Returned by algebra_front when the slot's own type has to do the work. */
extern PyObject algebra_pending_object;
#define ALGEBRA_PENDING (&algebra_pending_object)

/* The front of a binary slot of the type of kind own, for operands of
 * kinds ka and kb (expr_kind): an ndarray on the right goes to NumPy, one
 * on the left gives NotImplemented (NumPy then takes the reflected
 * operation), a richer operand hands the pair to the table.  Returns that
 * result (new reference or NULL with an exception), or ALGEBRA_PENDING
 * when the slot's own type has to do the work. */
static inline PyObject *
algebra_front(int op, int own, PyObject *a, PyObject *b, int ka, int kb)
{
    if (kb == EXPR_ARRAY)
        return algebra_array_right(op, a, b);
    if (ka == EXPR_ARRAY)
        Py_RETURN_NOTIMPLEMENTED;
    if (ka > own || kb > own)
        return algebra_binary(op, ka, kb, a, b);
    return ALGEBRA_PENDING;
}

/* In-place slots of the immutable types; a is the type's own instance. */
extern const binaryfunc term_iadd, term_isub, term_imul, term_idiv;
PyObject *term_ipow(PyObject *a, PyObject *b, PyObject *mod);

/* The number-slot table of an algebra type (the slots not named are
 * empty); ipow may be NULL (the plain power then). */
PyNumberMethods algebra_number_methods(binaryfunc add, binaryfunc sub, binaryfunc mul,
                                       binaryfunc div, ternaryfunc pow, unaryfunc neg,
                                       unaryfunc abs, binaryfunc iadd, binaryfunc isub,
                                       binaryfunc imul, binaryfunc idiv, ternaryfunc ipow);
