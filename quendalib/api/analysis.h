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

/* None when rc is 0, else NULL with the library's error: the tail of the
 * methods that only call the library. */
PyObject *api_none_if(PyObject *self, int rc);
/* A method without arguments calling call on the problem's handle. */
PyObject *api_noargs(PyObject *self, int (*call)(QNDAprob));

/* A method of one integer argument (keyword kw) passed to call. */
PyObject *api_int_call(PyObject *self, PyObject *args, PyObject *kwargs, const char *kw,
                       int (*call)(QNDAprob, int));

extern PyMethodDef api_optimize_methods[];
extern PyMethodDef api_iis_methods[];
extern PyMethodDef api_sensitivity_methods[];
extern PyMethodDef api_presolve_methods[];
extern PyMethodDef api_refine_methods[];
extern PyMethodDef api_cut_methods[];
