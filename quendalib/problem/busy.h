/* The busy guard of the problem's methods (busy.cpp). */
#pragma once

#include <Python.h>

/* Wraps every method of the readied type in the busy guard.  0, or -1 with
 * an exception set. */
int problem_guard_methods(PyTypeObject *type);
