/* quenda.attribute: read-only access by name to a problem's attributes. */
#pragma once

#include <Python.h>

/* Starts like ctrl_s (problem/control.h), so the shared readers work on
 * both. */
typedef struct {
    PyObject_HEAD
    PyObject *probref; /* owned weak reference to the problem */
} attr_s;

/* New references, or NULL with an exception set. */
PyObject *attr_base(PyObject *prob);
PyObject *attr_copy(PyObject *attr, PyObject *prob);
