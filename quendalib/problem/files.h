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
