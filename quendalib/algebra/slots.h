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

/* (1.0 / arr) * other and (-arr) + other, NumPy doing every step: what
 * other / arr and other - arr are when an array is on the right. */
PyObject *algebra_array_div(PyObject *arr, PyObject *other);
PyObject *algebra_array_sub(PyObject *arr, PyObject *other);

/* In-place slots of the immutable types; a is the type's own instance. */
PyObject *term_iadd(PyObject *a, PyObject *b);
PyObject *term_isub(PyObject *a, PyObject *b);
PyObject *term_imul(PyObject *a, PyObject *b);
PyObject *term_idiv(PyObject *a, PyObject *b);
PyObject *term_ipow(PyObject *a, PyObject *b, PyObject *mod);

/* The number-slot table of an algebra type (the slots not named are
 * empty); ipow may be NULL (the plain power then). */
PyNumberMethods algebra_number_methods(binaryfunc add, binaryfunc sub, binaryfunc mul,
                                       binaryfunc div, ternaryfunc pow, unaryfunc neg,
                                       unaryfunc abs, binaryfunc iadd, binaryfunc isub,
                                       binaryfunc imul, binaryfunc idiv, ternaryfunc ipow);
