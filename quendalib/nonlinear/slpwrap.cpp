/* Helpers of the nonlinear library's wrappers (see slpwrap.h). */
#include "nonlinear/slpwrap.h"

#include <stdarg.h>

QSLPprob
slp_handle(PyObject *self)
{
    problem_s *p = (problem_s *)self;
    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        return NULL;
    }
    if (p->slpprob == NULL) {
        PyErr_SetString(quenda_ModelError, "The nonlinear solver is not available");
        return NULL;
    }
    return p->slpprob;
}

int
slp_parse(PyObject *self, QSLPprob *h, PyObject *args, PyObject *kwargs, const char *fmt,
          const char *const *kwlist, const char *wrong, ...)
{
    va_list va;
    int ok;
    va_start(va, wrong);
    ok = PyArg_VaParseTupleAndKeywords(args, kwargs, fmt, (char **)kwlist, va);
    va_end(va);
    if (!ok) {
        if (wrong != NULL) {
            PyErr_Clear();
            PyErr_Format(quenda_InterfaceError, "Wrong arguments in %s", wrong);
        }
        return -1;
    }
    *h = slp_handle(self);
    return *h == NULL ? -1 : 0;
}

int
slp_tokens_in(api_arrays &a, PyObject *types, PyObject *values, int **type, double **value)
{
    QNDAint64 n = -1;
    int *t = NULL;
    double *v = NULL;
    if (api_absent(types) || api_absent(values))
        return api_missing(api_absent(types) ? "Must provide argument type"
                                             : "Must provide argument value");
    if (a.in(types, &n, &t, CONV_INT) != 0 || a.in(values, &n, &v, CONV_DOUBLE) != 0)
        return -1;
    /* One more for the end token. */
    if ((*type = a.make<int>(n + 1)) == NULL || (*value = a.make<double>(n + 1)) == NULL)
        return -1;
    for (QNDAint64 k = 0; k < n; k++) {
        (*type)[k] = t[k];
        (*value)[k] = v[k];
    }
    (*type)[n] = 0;
    (*value)[n] = 0.0;
    return 0;
}

PyObject *
slp_tokens_out(const int *type, const double *value, int n)
{
    PyObject *types = PyList_New(n), *values = PyList_New(n), *res = NULL;
    if (types == NULL || values == NULL)
        goto done;
    for (int k = 0; k < n; k++) {
        PyObject *a = PyLong_FromLong(type[k]), *b = PyFloat_FromDouble(value[k]);
        if (a == NULL || b == NULL) {
            Py_XDECREF(a);
            Py_XDECREF(b);
            goto done;
        }
        PyList_SET_ITEM(types, k, a);
        PyList_SET_ITEM(values, k, b);
    }
    res = PyTuple_Pack(2, types, values);
done:
    Py_XDECREF(types);
    Py_XDECREF(values);
    return res;
}

int
slp_point_in(api_arrays &a, PyObject *self, PyObject *x, double **out, int rows, int allow_none,
             const char *name)
{
    QNDAint64 nr = 0, nc = 0;
    *out = NULL;
    if (api_absent(x)) {
        if (allow_none)
            return 0;
        PyErr_Format(quenda_InterfaceError, "Must provide argument %s", name);
        return -1;
    }
    if (api_sizes(self, &nr, &nc) != 0)
        return -1;
    /* The library reads one value per row or column without knowing the
     * length: it is checked here. */
    QNDAint64 n = rows ? nr : nc;
    return a.in(x, &n, out, CONV_DOUBLE);
}

int
slp_opt_double(PyObject *obj, double *v, double **ptr)
{
    *ptr = NULL;
    if (api_absent(obj))
        return 0;
    *v = PyFloat_AsDouble(obj);
    if (*v == -1.0 && PyErr_Occurred())
        return -1;
    *ptr = v;
    return 0;
}

int
slp_opt_index(PyObject *self, PyObject *obj, int kind, int *v, int **ptr)
{
    *ptr = NULL;
    if (api_absent(obj))
        return 0;
    if (ObjInt2int(obj, self, v, kind) != 0)
        return -1;
    *ptr = v;
    return 0;
}
