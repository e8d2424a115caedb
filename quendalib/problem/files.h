/* Reading and writing model files (problem/files.cpp). */
#pragma once

#include <Python.h>

/* read(filename, options=""), write(filename, options=""). */
extern PyMethodDef problem_files_methods[];

/* After the library's model was replaced whole (a file read, a restore),
 * fills the emptied registry (problem_registry_empty) with objects for its
 * columns, rows and sets.  0, or -1 with an exception set. */
int problem_registry_reload(PyObject *self);
