/* Reading and writing model files (problem/files.cpp). */
#pragma once

#include <Python.h>

/* read(filename, options=""), write(filename, options=""). */
extern PyMethodDef problem_files_methods[];

/* The objects a model file gives for its rows and sets (also those of an
 * unpickled problem): a constraint with no body and free bounds, a set of
 * type 1 with no members.  New reference or NULL. */
PyObject *files_new_constraint(PyObject *name);
PyObject *files_new_sos(PyObject *name);

/* After the library's model was replaced whole (a file read, a restore),
 * fills the emptied registry (problem_registry_empty) with objects for its
 * columns, rows and sets.  0, or -1 with an exception set. */
int problem_registry_reload(PyObject *self);
