/* What the problem methods over the nonlinear library's functions share
 * (slpcoefs.cpp, slpvars.cpp, slpcheck.cpp): the handle, the parse with its
 * "Wrong arguments in ..." message, formula tokens both ways, and the
 * lengths that the library takes on trust.  The arrays of one call live in
 * the api layer's holder (api/wrap.h), freed on every exit path. */
#pragma once

#include <Python.h>

#include "api/wrap.h"

#include "qslp.h"

/* The nonlinear handle of self, or NULL with ModelError. */
QSLPprob slp_handle(PyObject *self);

/* PyArg_VaParseTupleAndKeywords; a failure becomes InterfaceError "Wrong
 * arguments in <wrong>" when wrong is not NULL (else the parser's error
 * stays).  Then the handle into *h.  0, or -1 with an exception set. */
int slp_parse(PyObject *self, QSLPprob *h, PyObject *args, PyObject *kwargs, const char *fmt,
              const char *const *kwlist, const char *wrong, ...);

/* Formula tokens given as two sequences of equal length into arrays that
 * end with the end token (added when missing, so the library never reads
 * past them).  0, or -1 with an exception set. */
int slp_tokens_in(api_arrays &a, PyObject *types, PyObject *values, int **type, double **value);

/* (types, values) lists of n tokens.  New reference, or NULL. */
PyObject *slp_tokens_out(const int *type, const double *value, int n);

/* A point of one value per column (x None: NULL when allowed, else
 * InterfaceError "Must provide argument <name>").  0, or -1. */
int slp_point_in(api_arrays &a, PyObject *self, PyObject *x, double **out, int rows,
                 int allow_none, const char *name);

/* A Python float or None for *v when given.  0, or -1 with TypeError. */
int slp_opt_double(PyObject *obj, double *v, double **ptr);

/* An index designator (int, object or name) or None into *v, *ptr NULL for
 * None.  0, or -1. */
int slp_opt_index(PyObject *self, PyObject *obj, int kind, int *v, int **ptr);

#define SLP_KW(f) (PyCFunction)(void (*)(void))(f), METH_VARARGS | METH_KEYWORDS
#define SLP_NOARGS(f) (PyCFunction)(void (*)(void))(f), METH_NOARGS

/* The method tables of this folder's wrapper files, NULL-terminated. */
extern PyMethodDef slp_coef_methods[];
extern PyMethodDef slp_var_methods[];
extern PyMethodDef slp_check_methods[];
