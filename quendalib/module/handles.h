/* Constructors and accessors of the small handle types that carry library
 * pointers through Python (defined in api/handles.cpp).  None of them owns
 * what it points to. */
#pragma once

#include <Python.h>

/* New reference, or NULL with an exception set. */
PyObject *qndaobject_create(void *obj);
PyObject *generic_create(void *ptr);
PyObject *poolcut_create(void *cut);
/* Borrowed pointers; NULL when the object is not of the type. */
void *qndaobject_getobj(PyObject *self);
void *generic_getptr(PyObject *self);
void *poolcut_getcut(PyObject *self);

/* Last error recorded on a branching object's library handle: writes the
 * code and up to maxbytes of message (always zero-terminated). */
void branchobj_getlasterror(PyObject *self, int *code, char *msg, int maxbytes);
