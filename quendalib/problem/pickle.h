/* Pickling of problems and of the modelling objects that belong to them
 * (problem/pickle.cpp). */
#pragma once

#include <Python.h>

/* Registers the reducers of problem, var, constraint and SOS with copyreg,
 * so that pickle and copy find them.  0, or -1 with an exception set. */
int problem_pickle_init(void);

/* quendalib._unpickle(kind, args): rebuilds what a reducer took apart.
 * New reference, or NULL with an exception set. */
PyObject *problem_unpickle(PyObject *self, PyObject *args);
