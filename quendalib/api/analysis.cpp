/* Directives and secure rows and columns, and what an optimisation tells
 * beyond its solution: infeasibilities, rays, the basis order, the presolve
 * map, message statuses. */
#include "api/wrap.h"

/* loaddirs and loadpresolvedirs: mcols with optional priorities,
 * directions and pseudo costs of the same length. */
template<int (*F)(QNDAprob, int, const int *, const int *, const char *, const double *,
                  const double *)>
static PyObject *
an_loaddirs(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mcols", "mpri", "qbr", "dupc", "ddpc", NULL};
    PyObject *o[5] = {NULL, NULL, NULL, NULL, NULL};
    api_arrays a(self);
    QNDAint64 n = -1;
    int *cols, *pri;
    char *br;
    double *up, *down;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|OOOO", (char **)kwlist, &o[0], &o[1], &o[2],
                                     &o[3], &o[4]) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (api_absent(o[0])) {
        api_missing("Must provide argument mcols");
        return NULL;
    }
    if (a.in(o[0], &n, &cols, CONV_COL) || a.in(o[1], &n, &pri, CONV_INT) ||
        a.in(o[2], &n, &br, CONV_CHAR) || a.in(o[3], &n, &up, CONV_DOUBLE) ||
        a.in(o[4], &n, &down, CONV_DOUBLE))
        return NULL;
    if (F(p->prob, (int)n, cols, pri, br, up, down) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getdirs(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mcols", "mpri", "qbr", "dupc", "ddpc", NULL};
    PyObject *o[5] = {NULL, NULL, NULL, NULL, NULL};
    api_arrays a(self);
    int n = 0, *cols, *pri;
    char *br;
    double *up, *down;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOOO", (char **)kwlist, &o[0], &o[1], &o[2],
                                     &o[3], &o[4]) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (api_absent(o[0]) && api_absent(o[1]) && api_absent(o[2]) && api_absent(o[3]) &&
        api_absent(o[4])) {
        api_missing("Must provide arguments (as lists) to getdirs");
        return NULL;
    }
    if (QNDAgetdirs(p->prob, &n, NULL, NULL, NULL, NULL, NULL) != 0)
        return api_fail(self);
    if (!(cols = a.make<int>(n)) || !(pri = a.make<int>(n)) || !(br = a.make<char>(n)) ||
        !(up = a.make<double>(n)) || !(down = a.make<double>(n)))
        return NULL;
    if (QNDAgetdirs(p->prob, &n, cols, pri, br, up, down) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, n, cols, &o[0], CONV_COL) ||
        conv_arr2obj(self, n, pri, &o[1], CONV_INT) ||
        conv_arr2obj(self, n, br, &o[2], CONV_CHAR) ||
        conv_arr2obj(self, n, up, &o[3], CONV_DOUBLE) ||
        conv_arr2obj(self, n, down, &o[4], CONV_DOUBLE))
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_loadsecurevecs(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mrow", "mcol", NULL};
    PyObject *ro, *co;
    api_arrays a(self);
    QNDAint64 nr = -1, nc = -1;
    int *rows, *cols;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &ro, &co) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (a.in(ro, &nr, &rows, CONV_ROW) || a.in(co, &nc, &cols, CONV_COL))
        return NULL;
    if (QNDAloadsecurevecs(p->prob, nr < 0 ? 0 : (int)nr, nc < 0 ? 0 : (int)nc, rows, cols) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

/* getinfeas and getscaledinfeas: the columns and rows of each kind of
 * infeasibility into four lists. */
template<int (*F)(QNDAprob, int *, int *, int *, int *, int *, int *, int *, int *)>
static PyObject *
an_infeas(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mx", "mslack", "mdual", "mdj", NULL};
    static const int kinds[4] = {CONV_COL, CONV_ROW, CONV_ROW, CONV_COL};
    PyObject *o[4];
    api_arrays a(self);
    int n[4] = {0, 0, 0, 0}, *v[4];
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOO", (char **)kwlist, &o[0], &o[1], &o[2],
                                     &o[3]) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (F(p->prob, &n[0], &n[1], &n[2], &n[3], NULL, NULL, NULL, NULL) != 0)
        return api_fail(self);
    for (int i = 0; i < 4; i++) {
        if ((v[i] = a.make<int>(n[i])) == NULL)
            return NULL;
    }
    if (F(p->prob, &n[0], &n[1], &n[2], &n[3], v[0], v[1], v[2], v[3]) != 0)
        return api_fail(self);
    for (int i = 0; i < 4; i++) {
        if (conv_arr2obj(self, n[i], v[i], &o[i], kinds[i]) != 0)
            return NULL;
    }
    Py_RETURN_NONE;
}

/* getprimalray / getdualray fill a list; hasprimalray / hasdualray only
 * ask. */
template<int (*F)(QNDAprob, double *, int *), int COLS>
static PyObject *
an_getray(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"ray", NULL};
    PyObject *out = NULL;
    api_arrays a(self);
    QNDAint64 rows, cols;
    double *ray;
    int has = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O", (char **)kwlist, &out) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (api_absent(out)) {
        api_missing("Must provide argument to retrieve (primal or dual) ray");
        return NULL;
    }
    if ((ray = a.make<double>(COLS ? cols : rows)) == NULL)
        return NULL;
    if (F(p->prob, ray, &has) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, COLS ? cols : rows, ray, &out, CONV_DOUBLE) != 0)
        return NULL;
    Py_RETURN_NONE;
}

template<int (*F)(QNDAprob, double *, int *)>
static PyObject *
an_hasray(PyObject *self, PyObject *)
{
    int has = 0;
    problem_s *p = api_prob(self);
    if (p == NULL)
        return NULL;
    if (F(p->prob, NULL, &has) != 0)
        return api_fail(self);
    return PyBool_FromLong(has);
}

static PyObject *
QNDA_PY_getpivotorder(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mpiv", NULL};
    PyObject *out = NULL;
    api_arrays a(self);
    QNDAint64 rows, cols;
    int *piv;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O", (char **)kwlist, &out) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (api_absent(out)) {
        api_missing("Must provide argument mpiv");
        return NULL;
    }
    if ((piv = a.make<int>(rows)) == NULL)
        return NULL;
    if (QNDAgetpivotorder(p->prob, piv) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, rows, piv, &out, CONV_ROWCOL) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getpivots(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"in", "outlist", "x", "maxpiv", NULL};
    PyObject *in_o, *outlist, *x_o;
    api_arrays a(self);
    int maxpiv = 0, enter = 0, npiv = 0, *out;
    double *x, dobj = 0.0;
    QNDAint64 rows, cols;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOi", (char **)kwlist, &in_o, &outlist, &x_o,
                                     &maxpiv) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0 ||
        ObjInt2int(in_o, self, &enter, CONV_ROWCOL) != 0)
        return NULL;
    if (!(out = a.make<int>(maxpiv)) || !(x = a.make<double>(rows + cols)))
        return NULL;
    if (QNDAgetpivots(p->prob, enter, out, x, &dobj, &npiv, maxpiv) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, npiv, out, &outlist, CONV_COL) != 0 ||
        conv_arr2obj(self, rows + cols, x, &x_o, CONV_DOUBLE) != 0)
        return NULL;
    return Py_BuildValue("(di)", dobj, npiv);
}

static PyObject *
QNDA_PY_getpresolvemap(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rowmap", "colmap", NULL};
    PyObject *ro, *co;
    api_arrays a(self);
    QNDAint64 rows, cols;
    int *rm, *cm;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &ro, &co) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (api_absent(ro) || api_absent(co)) {
        api_missing("Must provide argument rowmap and colmap");
        return NULL;
    }
    if (!(rm = a.make<int>(rows)) || !(cm = a.make<int>(cols)))
        return NULL;
    if (QNDAgetpresolvemap(p->prob, rm, cm) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, rows, rm, &ro, CONV_INT) != 0 ||
        conv_arr2obj(self, cols, cm, &co, CONV_INT) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getmessagestatus(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"errcode", NULL};
    int code = 0, status = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "i", (char **)kwlist, &code) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (QNDAgetmessagestatus(p->prob, code, &status) != 0)
        return api_fail(self);
    return PyLong_FromLong(status);
}

#define AN_NOARGS(f) (PyCFunction)(f), METH_NOARGS

PyMethodDef api_analysis_methods[] =
    {{"loaddirs", API_KW(an_loaddirs<QNDAloaddirs>),
      "loaddirs(mcols, mpri=None, qbr=None, dupc=None, ddpc=None)\n\nReplace the branching "
      "directives: for columns mcols, priorities (lower first, default 500), preferred "
      "directions ('U', 'D', 'N') and up/down pseudo costs."},
     {"loadpresolvedirs", API_KW(an_loaddirs<QNDAloadpresolvedirs>),
      "loadpresolvedirs(mcols, mpri=None, qbr=None, dupc=None, ddpc=None)\n\nAs loaddirs, for "
      "the presolved problem (outside an optimisation the problem itself)."},
     {"getdirs", API_KW(QNDA_PY_getdirs),
      "getdirs(mcols, mpri, qbr, dupc, ddpc)\n\nFill the lists with the branching directives: "
      "columns as var objects, priorities, directions, pseudo costs."},
     {"loadsecurevecs", API_KW(QNDA_PY_loadsecurevecs),
      "loadsecurevecs(mrow, mcol)\n\nRows and columns presolve must keep."},
     {"getinfeas", API_KW(an_infeas<QNDAgetinfeas>),
      "getinfeas(mx, mslack, mdual, mdj)\n\nFill the lists with the primal infeasible columns "
      "(mx) and rows (mslack) and the dual infeasible rows (mdual) and columns (mdj) of the "
      "solution held."},
     {"getscaledinfeas", API_KW(an_infeas<QNDAgetscaledinfeas>),
      "getscaledinfeas(mx, mslack, mdual, mdj)\n\nAs getinfeas (scaling stays inside the "
      "engine)."},
     {"getprimalray", API_KW((an_getray<QNDAgetprimalray, 1>)),
      "getprimalray(ray)\n\nFill the list with a primal ray (a value per column) of an "
      "unbounded LP."},
     {"getdualray", API_KW((an_getray<QNDAgetdualray, 0>)),
      "getdualray(ray)\n\nFill the list with a dual ray (a value per row, a certificate of "
      "infeasibility) of an infeasible LP."},
     {"hasprimalray", AN_NOARGS(an_hasray<QNDAgetprimalray>),
      "hasprimalray()\n\nWhether the last LP left a primal ray."},
     {"hasdualray", AN_NOARGS(an_hasray<QNDAgetdualray>),
      "hasdualray()\n\nWhether the last LP left a dual ray."},
     {"getpivotorder", API_KW(QNDA_PY_getpivotorder),
      "getpivotorder(mpiv)\n\nFill the list with the basic variables in basis order, as "
      "constraint (slack) and var objects."},
     {"getpivots", API_KW(QNDA_PY_getpivots),
      "getpivots(in, outlist, x, maxpiv)\n\nPivot candidates for the entering variable in; "
      "returns (objective after the pivot, number of candidates)."},
     {"getpresolvemap", API_KW(QNDA_PY_getpresolvemap),
      "getpresolvemap(rowmap, colmap)\n\nFill the lists with the original row and column of "
      "each presolved row and column."},
     {"getmessagestatus", API_KW(QNDA_PY_getmessagestatus),
      "getmessagestatus(errcode)\n\n1 when the library shows messages, 0 when they are "
      "switched off."},
     {NULL, NULL, 0, NULL}};
