/* The routine that runs a row of the nonlinear wrappers' tables (see
 * slpwrap.h): parse, convert by kind, call the body, report. */
#include "nonlinear/slpwrap.h"

#include <string.h>

static QSLPprob
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

/* Formula tokens into arrays that end with the end token (added, so that
 * the library never reads past them).  0, or -1 with an exception set. */
static int
slp_tokens_in(slp_call &c, PyObject *types, PyObject *values, slp_val *tv, slp_val *vv)
{
    QNDAint64 n = -1;
    int *t = NULL, *type;
    double *v = NULL, *value;
    if (api_absent(values))
        return api_missing("Must provide argument value");
    if (c.a->in(types, &n, &t, CONV_INT) != 0 || c.a->in(values, &n, &v, CONV_DOUBLE) != 0 ||
        (type = c.a->make<int>(n + 1)) == NULL || (value = c.a->make<double>(n + 1)) == NULL)
        return -1;
    for (QNDAint64 k = 0; k < n; k++) {
        type[k] = t[k];
        value[k] = v[k];
    }
    type[n] = 0;
    value[n] = 0.0;
    tv->arr = type;
    vv->arr = value;
    return 0;
}

/* One float per row or per column. */
static int
slp_point_in(slp_call &c, PyObject *x, slp_val *v, int rows)
{
    QNDAint64 nr = 0, nc = 0, n;
    double *arr = NULL;
    if (api_sizes(c.self, &nr, &nc) != 0)
        return -1;
    /* The library reads one value per row or column without knowing the
     * length: it is checked here. */
    n = rows ? nr : nc;
    int rc = c.a->in(x, &n, &arr, CONV_DOUBLE);
    v->arr = arr;
    return rc;
}

static int
slp_convert(slp_call &c, char kind, PyObject *o, PyObject *next, int k, const char *kw)
{
    slp_val *v = &c.v[k];
    char *arr = NULL;
    int rc;
    switch (kind) {
    case 'r':
    case 'c':
    case 'i':
        if (o == NULL) /* an optional one not given */
            return 0;
        if (ObjInt2int(o, c.self, &v->i,
                       kind == 'r'   ? CONV_ROW
                       : kind == 'c' ? CONV_COL
                                     : CONV_INT))
            return -1;
        v->pi = &v->i;
        return 0;
    case 'f':
        if (api_absent(o))
            return 0;
        v->d = PyFloat_AsDouble(o);
        if (v->d == -1.0 && PyErr_Occurred())
            return -1;
        v->pd = &v->d;
        return 0;
    case 's':
        if (!api_absent(o) && (v->s = PyUnicode_AsUTF8(o)) == NULL)
            return -1;
        return 0;
    case 'R':
    case 'C':
    case 'I':
    case 'D':
        rc = c.a->in(o, &c.n, &arr,
                     kind == 'R'   ? CONV_ROW
                     : kind == 'C' ? CONV_COL
                     : kind == 'I' ? CONV_INT
                                   : CONV_DOUBLE);
        v->arr = arr;
        return rc;
    case 'E': {
        QNDAint64 n = -1;
        rc = c.a->in(o, &n, &arr, CONV_DOUBLE);
        v->arr = arr;
        v->i = n < 0 ? 0 : (int)n;
        return rc;
    }
    case 'S': {
        QNDAint64 n = (c.n < 0 ? 0 : c.n) + 1;
        rc = c.a->in(o, &n, &arr, CONV_INT);
        v->arr = arr;
        return rc;
    }
    case 'X':
    case 'x':
    case 'y':
        if (api_absent(o)) {
            if (kind != 'X')
                return 0;
            PyErr_Format(quenda_InterfaceError, "Must provide argument %s", kw);
            return -1;
        }
        return slp_point_in(c, o, v, kind == 'y');
    case 'T': return api_absent(o) ? 0 : slp_tokens_in(c, o, next, v, v + 1);
    default: /* 'V' taken with its 'T'; 'O' left to the body */ return 0;
    }
}

PyObject *
slp_run(const slp_method &m, PyObject *self, PyObject *args, PyObject *kwargs)
{
    char fmt[2 * SLP_MAXARGS + 2];
    PyObject *o[SLP_MAXARGS] = {NULL};
    const char *kinds = m.kinds;
    int nargs = 0, f = 0, ok;
    api_arrays a(self);
    slp_call c;

    memset(&c, 0, sizeof c);
    c.self = self;
    c.a = &a;
    c.n = -1;
    for (const char *k = kinds; *k; k++) {
        fmt[f++] = *k == '|' ? '|' : 'O';
        nargs += *k != '|';
    }
    fmt[f] = '\0';
    ok = PyArg_ParseTupleAndKeywords(args, kwargs, fmt, (char **)m.kw, &o[0], &o[1], &o[2], &o[3],
                                     &o[4], &o[5], &o[6], &o[7]);
    if (!ok) {
        if (m.wrong != NULL) {
            PyErr_Clear();
            PyErr_Format(quenda_InterfaceError, "Wrong arguments in %s", m.wrong);
        }
        return NULL;
    }
    if ((c.h = slp_handle(self)) == NULL)
        return NULL;
    for (int k = 0, pos = 0; kinds[pos]; pos++) {
        if (kinds[pos] == '|')
            continue;
        c.v[k].obj = o[k];
        if (slp_convert(c, kinds[pos], o[k], k + 1 < nargs ? o[k + 1] : NULL, k, m.kw[k]) != 0)
            return NULL;
        k++;
    }
    return quenda_result(self, m.body(c));
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
