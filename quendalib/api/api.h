/* The door of api/: the layer above the problem that talks to the library
 * object by object (the handle types of module/handles.h, and the
 * low-level problem methods as they come). */
#pragma once

#include <Python.h>

/* Registers what lower layers reach through tables (the branching object's
 * source of library errors).  Called once by the module init.  0, or -1
 * with an exception set. */
int api_init(void);

/* A branching object around a library handle (possibly NULL) handed to a
 * callback, holding a reference to prob.  New reference, or NULL. */
PyObject *branchobj_wrap(PyObject *prob, void *handle);
/* Clears the object's handle and problem (the library owns the handle from
 * now on) and returns the handle. */
void *branchobj_detach(PyObject *self);
