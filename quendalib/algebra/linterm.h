/* quenda.linterm: the immutable value coef*var. */
#pragma once

#include <Python.h>

#include "module/types.h"

typedef struct {
    PyObject_HEAD
    double coef;
    PyObject *var;   /* owned reference to a quenda.var; NULL only when fresh */
} linterm_object;

#define LINTERM_CHECK(o) PyObject_TypeCheck((o), &quenda_lintermType)

/* coef*var; the float 0.0 when coef is 0.0.  New reference or NULL. */
PyObject *linterm_fill(double coef, PyObject *var);
/* factor*term ("Linterm copy using an invalid object" for a non-term). */
PyObject *linterm_copy(PyObject *term, double factor);
/* a + sign*b with sign +1.0 or -1.0. */
PyObject *linterm_alg_sum(PyObject *a, PyObject *b, double sign);

PyObject *linterm_add(PyObject *a, PyObject *b);
PyObject *linterm_sub(PyObject *a, PyObject *b);
PyObject *linterm_mul(PyObject *a, PyObject *b);
PyObject *linterm_div(PyObject *a, PyObject *b);
PyObject *linterm_pow(PyObject *a, PyObject *b, PyObject *mod);
