/* The problem methods over the nonlinear library's functions, as rows of
 * tables (slpcoefs.cpp, slpvars.cpp, slpcheck.cpp) run by one routine.  A
 * row names the method, the kinds of its arguments (one letter per keyword,
 * "|" before the optional ones), its keywords, the name its "Wrong
 * arguments in ..." message carries (or NULL: the parser's own error), and
 * the body that calls the library on the converted arguments.  The arrays of
 * one call live in the api layer's holder (api/wrap.h), freed on every exit
 * path.
 *
 * Argument kinds:
 *   r c      a row / column: index, object or name (v.i)
 *   i        an int (v.i)
 *   f        a float or None (v.d, v.pd NULL for None)
 *   s        a str or None (v.s)
 *   R C I D  arrays of rows, columns, ints, floats sharing one count (c.n);
 *            None gives NULL
 *   E        an array of floats with a count of its own (v.i)
 *   S        an array of n + 1 ints (the starts of n items)
 *   X x y    one float per column (X required, x optional) or per row (y)
 *   T V      formula tokens: types then values (None types: both NULL),
 *            ended with the end token
 *   O        left to the body (v.obj) */
#pragma once

#include <Python.h>

#include <utility>

#include "api/wrap.h"

#include "qslp.h"

#define SLP_MAXARGS 8

struct slp_val {
    int i;
    double d;
    int *pi;       /* &i when given */
    double *pd;    /* &d when given */
    void *arr;     /* owned by the call's arrays */
    const char *s; /* borrowed from the argument */
    PyObject *obj; /* the argument, borrowed; NULL when not given */
};

struct slp_call {
    PyObject *self;
    QSLPprob h;
    api_arrays *a;
    QNDAint64 n; /* the shared count of the arrays; -1: none given */
    slp_val v[SLP_MAXARGS];
};

/* New reference to the result, or NULL (an exception set, or a library
 * failure that the caller reports). */
typedef PyObject *(*slp_body)(slp_call &c);

struct slp_method {
    const char *name;
    const char *kinds;
    const char *kw[SLP_MAXARGS + 1];
    const char *wrong;
    slp_body body;
    const char *doc;
};

/* Parses and converts the arguments of m, runs its body, and reports a
 * library failure.  New reference, or NULL with an exception set. */
PyObject *slp_run(const slp_method &m, PyObject *self, PyObject *args, PyObject *kwargs);

/* None when the library call returned 0, else NULL. */
static inline PyObject *
slp_done(int rc)
{
    return rc == 0 ? Py_NewRef(Py_None) : NULL;
}

/* The output *v of a library call, or NULL.  A pointer: the call that
 * fills it is another argument, evaluated in no set order. */
static inline PyObject *
slp_int(int rc, const int *v)
{
    return rc == 0 ? PyLong_FromLong(*v) : NULL;
}
static inline PyObject *
slp_float(int rc, const double *v)
{
    return rc == 0 ? PyFloat_FromDouble(*v) : NULL;
}

/* The arrays of argument k, and the shared count (0 when none was given). */
static inline int *
slp_ints(slp_call &c, int k)
{
    return (int *)c.v[k].arr;
}
static inline double *
slp_dbls(slp_call &c, int k)
{
    return (double *)c.v[k].arr;
}
static inline int
slp_count(slp_call &c)
{
    return c.n < 0 ? 0 : (int)c.n;
}

/* (types, values) lists of n tokens.  New reference, or NULL. */
PyObject *slp_tokens_out(const int *type, const double *value, int n);

/* A text from a library call that first counts its bytes (called with a
 * NULL buffer) and then writes them.  New reference, or NULL. */
template<class F>
static PyObject *
slp_counted_text(slp_call &c, F call)
{
    int nb = 0;
    char *text;
    if (call((char *)NULL, 0, &nb) != 0 || (text = c.a->make<char>(nb + 1)) == NULL ||
        call(text, nb + 1, &nb) != 0)
        return NULL;
    return PyUnicode_FromString(text);
}

/* The entry of row K of table T. */
template<const slp_method *T, size_t K>
static PyObject *
slp_entry(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_run(T[K], self, args, kwargs);
}

/* The method table of the N rows of table T, NULL-terminated (built once). */
template<const slp_method *T, size_t N, size_t... K>
static PyMethodDef *
slp_defs(std::index_sequence<K...>)
{
    static PyMethodDef defs[N + 1] = {PyMethodDef{T[K].name,
                                                  (PyCFunction)(void (*)(void))slp_entry<T, K>,
                                                  METH_VARARGS | METH_KEYWORDS, T[K].doc}...,
                                      PyMethodDef{NULL, NULL, 0, NULL}};
    return defs;
}
#define SLP_DEFS(tab)                                                                              \
    slp_defs<tab, sizeof tab / sizeof tab[0]>(                                                     \
        std::make_index_sequence<sizeof tab / sizeof tab[0]>())

/* A library call of the handle and one row, column or int argument with
 * one output, which it returns. */
template<class T, int (*F)(QSLPprob, int, T *)>
static PyObject *
slp_get_at(slp_call &c)
{
    T v = T();
    if (F(c.h, c.v[0].i, &v) != 0)
        return NULL;
    return sizeof(T) == sizeof(double) ? PyFloat_FromDouble((double)v) : PyLong_FromLong((long)v);
}

/* Each file's method table, built from its rows; NULL-terminated. */
PyMethodDef *slp_coef_methods(void);
PyMethodDef *slp_var_methods(void);
PyMethodDef *slp_check_methods(void);
