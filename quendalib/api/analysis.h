/* The analysis methods of the problem (optimisation calls, files,
 * infeasible subsystems, repairs, sensitivity): one table per file of api/,
 * registered with the problem type by api_init. */
#pragma once

#include <Python.h>

#include "problem/problem.h"

/* The library handle of self, or NULL with ModelError "Problem not
 * initialized" for a bare instance. */
QNDAprob api_handle(PyObject *self);

/* Output list argument: NULL/None is "not wanted", a list is filled, any
 * other object fails with InterfaceError.  0, or -1 with an exception. */
int api_check_outlist(PyObject *obj, const char *keyword);

extern PyMethodDef api_optimize_methods[];
extern PyMethodDef api_iis_methods[];
extern PyMethodDef api_sensitivity_methods[];
