/* The low-level problem methods that read the model back, which mirror
 * the library's functions one for one (loading and changing it:
 * api/methods.cpp).
 *
 * They fill caller-supplied lists (None: not wanted): ranges of bounds,
 * objective, right-hand sides and types, the matrix, quadratic parts,
 * indicators, entities, solutions and bases, directives, and what an
 * optimisation tells beyond its solution (infeasibilities, rays, the basis
 * order, pivots, the presolve map).  Rows and columns come back as the
 * problem's constraint and var objects.  The getters of one shape are rows
 * of a table run by one routine each. */
#include "api/wrap.h"

#include <string.h>

#include "qslp.h"

/* A getter of one array over a range first..last. */
struct range_desc {
    const char *kw[4];
    int rangekind; /* CONV_ROW or CONV_COL */
    int outkind;   /* CONV_DOUBLE or CONV_CHAR */
    const char *msg;
    int (*call)(QNDAprob, void *, int, int);
};

template<const range_desc *R>
static PyObject *
query_range(PyObject *self, PyObject *args, PyObject *kwargs)
{
    PyObject *out = NULL, *first_o = NULL, *last_o = NULL;
    api_arrays a(self);
    void *buf;
    int first = 0, last = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOO", (char **)R->kw, &out, &first_o,
                                     &last_o) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (api_absent(out)) {
        api_missing(R->msg);
        return NULL;
    }
    if (api_range(self, first_o, last_o, R->rangekind, &first, &last,
                  R->rangekind == CONV_ROW ? API_EMPTY_ROWS : API_EMPTY_COLS) != 0)
        return NULL;
    buf = R->outkind == CONV_CHAR ? (void *)a.make<char>(last - first + 1)
                                  : (void *)a.make<double>(last - first + 1);
    if (buf == NULL)
        return NULL;
    if (R->call(p->prob, buf, first, last) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, last - first + 1, buf, &out, R->outkind) != 0)
        return NULL;
    Py_RETURN_NONE;
}

#define RANGE_CALL(f, T)                                                                           \
    [](QNDAprob prob, void *buf, int first, int last) -> int {                                     \
        return f(prob, (T *)buf, first, last);                                                     \
    }

static const range_desc rg_obj = {{"obj", "first", "last", NULL},
                                  CONV_COL,
                                  CONV_DOUBLE,
                                  "Must provide argument obj",
                                  RANGE_CALL(QNDAgetobj, double)};
static const range_desc rg_rhs = {{"rhs", "first", "last", NULL},
                                  CONV_ROW,
                                  CONV_DOUBLE,
                                  "Must provide argument: rhs or range",
                                  RANGE_CALL(QNDAgetrhs, double)};
static const range_desc rg_rhsrange = {{"range", "first", "last", NULL},
                                       CONV_ROW,
                                       CONV_DOUBLE,
                                       "Must provide argument: rhs or range",
                                       RANGE_CALL(QNDAgetrhsrange, double)};
static const range_desc rg_rowtype = {{"qrtype", "first", "last", NULL},
                                      CONV_ROW,
                                      CONV_CHAR,
                                      "Must provide argument qrtype",
                                      RANGE_CALL(QNDAgetrowtype, char)};
static const range_desc rg_coltype = {{"coltype", "first", "last", NULL},
                                      CONV_COL,
                                      CONV_CHAR,
                                      "Must provide argument coltype",
                                      RANGE_CALL(QNDAgetcoltype, char)};

/* getlb and getub: the range defaults to all columns, and an empty one is
 * no error (nothing is written). */
static PyObject *
query_bound(PyObject *self, PyObject *args, PyObject *kwargs, int upper)
{
    const char *kwlist[] = {upper ? "ub" : "lb", "first", "last", NULL};
    PyObject *out = NULL, *first_o = NULL, *last_o = NULL;
    api_arrays a(self);
    double *buf;
    int first = 0, last = 0, ncols = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|OO", (char **)kwlist, &out, &first_o,
                                     &last_o) ||
        (p = api_prob(self)) == NULL || api_intattr(self, QNDA_COLS, &ncols) != 0)
        return NULL;
    last = ncols - 1;
    if ((!api_absent(first_o) && ObjInt2int(first_o, self, &first, CONV_COL) != 0) ||
        (!api_absent(last_o) && ObjInt2int(last_o, self, &last, CONV_COL) != 0))
        return NULL;
    if ((long long)last - first + 1 < 1)
        Py_RETURN_NONE;
    if ((buf = a.make<double>(last - first + 1)) == NULL)
        return NULL;
    if ((upper ? QNDAgetub : QNDAgetlb)(p->prob, buf, first, last) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, last - first + 1, buf, &out, CONV_DOUBLE) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getlb(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return query_bound(self, args, kwargs, 0);
}

static PyObject *
QNDA_PY_getub(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return query_bound(self, args, kwargs, 1);
}

/* getrows, getcols, getmqobj: a sparse block in compressed form.  The
 * library is asked for the count first; at most size entries are
 * returned. */
struct sparse_desc {
    const char *kw[7];
    int rangekind, indexkind;
    const char *emptymsg;
    int (*call)(QNDAprob, QNDAint64 *, int *, double *, QNDAint64, QNDAint64 *, int, int);
};

template<const sparse_desc *S>
static PyObject *
query_sparse(PyObject *self, PyObject *args, PyObject *kwargs)
{
    PyObject *start_o, *ind_o, *val_o, *first_o, *last_o;
    long long size = 0;
    api_arrays a(self);
    QNDAint64 *start = NULL, nnz = 0;
    int *ind = NULL;
    double *val = NULL;
    int first = 0, last = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOLOO", (char **)S->kw, &start_o, &ind_o,
                                     &val_o, &size, &first_o, &last_o) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (api_absent(start_o) && api_absent(ind_o) && api_absent(val_o)) {
        PyErr_Format(quenda_InterfaceError, "Must provide at least one of arguments %s, %s, %s",
                     S->kw[0], S->kw[1], S->kw[2]);
        return NULL;
    }
    if (api_range(self, first_o, last_o, S->rangekind, &first, &last, S->emptymsg) != 0)
        return NULL;
    if (S->call(p->prob, NULL, NULL, NULL, 0, &nnz, first, last) != 0)
        return api_fail(self);
    if (a.want(start_o, last - first + 2, &start) || a.want(ind_o, nnz, &ind) ||
        a.want(val_o, nnz, &val))
        return NULL;
    if (S->call(p->prob, start, ind, val, nnz, &nnz, first, last) != 0)
        return api_fail(self);
    if (size < nnz)
        nnz = size < 0 ? 0 : size;
    if (conv_arr2obj(self, last - first + 2, start, &start_o, CONV_INT64) != 0 ||
        conv_arr2obj(self, nnz, ind, &ind_o, S->indexkind) != 0 ||
        conv_arr2obj(self, nnz, val, &val_o, CONV_DOUBLE) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static const sparse_desc sp_rows = {{"mstart", "mclind", "dmatval", "size", "first", "last", NULL},
                                    CONV_ROW,
                                    CONV_COL,
                                    API_EMPTY_COLS,
                                    QNDAgetrows64};
static const sparse_desc sp_cols = {{"mstart", "mrwind", "dmatval", "size", "first", "last", NULL},
                                    CONV_COL,
                                    CONV_ROW,
                                    API_EMPTY_COLS,
                                    QNDAgetcols64};
static const sparse_desc sp_mqobj = {{"mstart", "mclind", "dobjval", "size", "first", "last", NULL},
                                     CONV_COL,
                                     CONV_COL,
                                     API_EMPTY_COLS,
                                     QNDAgetmqobj64};

static PyObject *
QNDA_PY_getqrowqmatrix(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"irow", "mstart", "mclind", "dqe",
                                   "size", "first",  "last",   NULL};
    PyObject *irow_o, *start_o, *ind_o, *val_o, *first_o, *last_o;
    api_arrays a(self);
    int size = 0, row = 0, first = 0, last = 0, nnz = 0;
    int *start = NULL, *ind = NULL;
    double *val = NULL;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOOiOO", (char **)kwlist, &irow_o, &start_o,
                                     &ind_o, &val_o, &size, &first_o, &last_o) ||
        (p = api_prob(self)) == NULL || ObjInt2int(irow_o, self, &row, CONV_ROW) != 0 ||
        api_range(self, first_o, last_o, CONV_COL, &first, &last, API_EMPTY_COLS) != 0)
        return NULL;
    if (QNDAgetqrowqmatrix(p->prob, row, NULL, NULL, NULL, 0, &nnz, first, last) != 0)
        return api_fail(self);
    if (a.want(start_o, last - first + 2, &start) || a.want(ind_o, nnz, &ind) ||
        a.want(val_o, nnz, &val))
        return NULL;
    if (QNDAgetqrowqmatrix(p->prob, row, start, ind, val, nnz, &nnz, first, last) != 0)
        return api_fail(self);
    {
        int n = size < nnz ? (size < 0 ? 0 : size) : nnz;
        if (conv_arr2obj(self, last - first + 2, start, &start_o, CONV_INT) != 0 ||
            conv_arr2obj(self, n, ind, &ind_o, CONV_COL) != 0 ||
            conv_arr2obj(self, n, val, &val_o, CONV_DOUBLE) != 0)
            return NULL;
    }
    return PyLong_FromLong(nnz);
}

static PyObject *
QNDA_PY_getqrowqmatrixtriplets(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"irow", "mqcol1", "mqcol2", "dqe", NULL};
    PyObject *irow_o, *c1_o = NULL, *c2_o = NULL, *val_o = NULL;
    api_arrays a(self);
    int row = 0, n = 0, *c1, *c2;
    double *val;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|OOO", (char **)kwlist, &irow_o, &c1_o, &c2_o,
                                     &val_o) ||
        (p = api_prob(self)) == NULL || ObjInt2int(irow_o, self, &row, CONV_ROW) != 0)
        return NULL;
    if (QNDAgetqrowqmatrixtriplets(p->prob, row, &n, NULL, NULL, NULL) != 0)
        return api_fail(self);
    if (!(c1 = a.make<int>(n)) || !(c2 = a.make<int>(n)) || !(val = a.make<double>(n)))
        return NULL;
    if (QNDAgetqrowqmatrixtriplets(p->prob, row, &n, c1, c2, val) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, n, c1, &c1_o, CONV_COL) != 0 ||
        conv_arr2obj(self, n, c2, &c2_o, CONV_COL) != 0 ||
        conv_arr2obj(self, n, val, &val_o, CONV_DOUBLE) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getindicators(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"inds", "comps", "first", "last", NULL};
    PyObject *inds_o, *comps_o, *first_o, *last_o;
    api_arrays a(self);
    int first = 0, last = 0, *inds, *comps;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOO", (char **)kwlist, &inds_o, &comps_o,
                                     &first_o, &last_o) ||
        (p = api_prob(self)) == NULL ||
        api_range(self, first_o, last_o, CONV_ROW, &first, &last, API_EMPTY_ROWS) != 0)
        return NULL;
    if (!(inds = a.make<int>(last - first + 1)) || !(comps = a.make<int>(last - first + 1)))
        return NULL;
    if (QNDAgetindicators(p->prob, inds, comps, first, last) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, last - first + 1, inds, &inds_o, CONV_COL) != 0 ||
        conv_arr2obj(self, last - first + 1, comps, &comps_o, CONV_INT) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getglobal(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *order[] = {"qgtype",  "mgcols", "dlim", "qstype",
                                  "msstart", "mscols", "dref", NULL};
    PyObject *o[7];
    api_arrays a(self);
    int nent = 0, nsets = 0;
    QNDAint64 nel = 0;
    char *ct, *st;
    int *cols, *scols;
    double *lim, *ref;
    QNDAint64 *sstart;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOOOOO", (char **)order, &o[0], &o[1], &o[2],
                                     &o[3], &o[4], &o[5], &o[6]) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (QNDAgetglobal64(p->prob, &nent, &nsets, NULL, NULL, NULL, NULL, NULL, NULL, NULL, 0,
                        &nel) != 0)
        return api_fail(self);
    if (!(ct = a.make<char>(nent)) || !(cols = a.make<int>(nent)) ||
        !(lim = a.make<double>(nent)) || !(st = a.make<char>(nsets)) ||
        !(sstart = a.make<QNDAint64>(nsets + 1)) || !(scols = a.make<int>(nel)) ||
        !(ref = a.make<double>(nel)))
        return NULL;
    if (QNDAgetglobal64(p->prob, &nent, &nsets, ct, cols, lim, st, sstart, scols, ref, nel, &nel) !=
        0)
        return api_fail(self);
    {
        /* msstart comes back as plain ints. */
        int *ss = a.make<int>(nsets + 1);
        if (ss == NULL)
            return NULL;
        for (int i = 0; i <= nsets; i++)
            ss[i] = (int)sstart[i];
        if (conv_arr2obj(self, nent, ct, &o[0], CONV_CHAR) ||
            conv_arr2obj(self, nent, cols, &o[1], CONV_INT) ||
            conv_arr2obj(self, nent, lim, &o[2], CONV_DOUBLE) ||
            conv_arr2obj(self, nsets, st, &o[3], CONV_CHAR) ||
            conv_arr2obj(self, nsets + 1, ss, &o[4], CONV_INT) ||
            conv_arr2obj(self, nel, scols, &o[5], CONV_INT) ||
            conv_arr2obj(self, nel, ref, &o[6], CONV_DOUBLE))
            return NULL;
    }
    Py_RETURN_NONE;
}

PyMethodDef api_query_methods[] =
    {{"getobj", API_KW(query_range<&rg_obj>),
      "getobj(obj, first, last)\n\nFill the list obj with the objective coefficients of columns "
      "first..last (indices, vars or names)."},
     {"getrhs", API_KW(query_range<&rg_rhs>),
      "getrhs(rhs, first, last)\n\nFill the list rhs with the right-hand sides of rows "
      "first..last."},
     {"getrhsrange", API_KW(query_range<&rg_rhsrange>),
      "getrhsrange(range, first, last)\n\nFill the list range with the ranges of rows "
      "first..last (0 for rows that are not ranged)."},
     {"getrowtype", API_KW(query_range<&rg_rowtype>),
      "getrowtype(qrtype, first, last)\n\nFill the list qrtype with the types of rows "
      "first..last ('L', 'G', 'E', 'R', 'N')."},
     {"getcoltype", API_KW(query_range<&rg_coltype>),
      "getcoltype(coltype, first, last)\n\nFill the list coltype with the types of columns "
      "first..last ('C', 'I', 'B', 'S', 'R', 'P')."},
     {"getlb", API_KW(QNDA_PY_getlb),
      "getlb(lb, first=0, last=columns-1)\n\nFill the list lb with the lower bounds of columns "
      "first..last; an empty range leaves it untouched."},
     {"getub", API_KW(QNDA_PY_getub),
      "getub(ub, first=0, last=columns-1)\n\nFill the list ub with the upper bounds of columns "
      "first..last; an empty range leaves it untouched."},
     {"getrows", API_KW(query_sparse<&sp_rows>),
      "getrows(mstart, mclind, dmatval, size, first, last)\n\nFill the lists with rows "
      "first..last in row-major form: mstart the starts (one more than the rows), mclind the "
      "columns as var objects, dmatval the values; at most size entries.  Lists may be None."},
     {"getcols", API_KW(query_sparse<&sp_cols>),
      "getcols(mstart, mrwind, dmatval, size, first, last)\n\nFill the lists with columns "
      "first..last in column-major form: mrwind the rows as constraint objects."},
     {"getmqobj", API_KW(query_sparse<&sp_mqobj>),
      "getmqobj(mstart, mclind, dobjval, size, first, last)\n\nFill the lists with the upper "
      "triangle of the quadratic objective for columns first..last, row-major."},
     {"getqrowqmatrix", API_KW(QNDA_PY_getqrowqmatrix),
      "getqrowqmatrix(irow, mstart, mclind, dqe, size, first, last)\n\nFill the lists with the "
      "quadratic part of row irow for columns first..last; returns the number of entries."},
     {"getqrowqmatrixtriplets", API_KW(QNDA_PY_getqrowqmatrixtriplets),
      "getqrowqmatrixtriplets(irow, mqcol1=None, mqcol2=None, dqe=None)\n\nFill the lists with "
      "the quadratic terms of row irow as (var, var, coefficient) triplets."},
     {"getindicators", API_KW(QNDA_PY_getindicators),
      "getindicators(inds, comps, first, last)\n\nFill inds with the indicator columns of rows "
      "first..last (-1 for ordinary rows) and comps with their complement flags."},
     {"getglobal", API_KW(QNDA_PY_getglobal),
      "getglobal(qgtype, mgcols, dlim, qstype, msstart, mscols, dref)\n\nFill the lists with the "
      "entities (types, columns, thresholds) and the sets (types, starts, columns, weights)."},
     {NULL, NULL, 0, NULL}};

typedef int (*sol_call)(QNDAprob, double *, double *, double *, double *);

/* getlpsol, getpresolvesol and getmipsol: up to four double outputs, x and
 * dj per column, slack and dual per row. */
static PyObject *
sol_get(PyObject *self, PyObject *args, PyObject *kwargs, int nout, sol_call call,
        int presolved = 0)
{
    static const char *kwlist4[] = {"x", "slack", "dual", "dj", NULL};
    static const char *kwlist2[] = {"x", "slack", NULL};
    PyObject *o[4] = {NULL, NULL, NULL, NULL};
    double *v[4] = {NULL, NULL, NULL, NULL};
    api_arrays a(self);
    QNDAint64 rows, cols, n[4];
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, nout == 4 ? "|OOOO" : "|OO",
                                     (char **)(nout == 4 ? kwlist4 : kwlist2), &o[0], &o[1], &o[2],
                                     &o[3]) ||
        (p = api_prob(self)) == NULL || api_dims(self, presolved, &rows, &cols) != 0)
        return NULL;
    n[0] = n[3] = cols;
    n[1] = n[2] = rows;
    for (int i = 0; i < nout; i++) {
        if (a.want(o[i], n[i], &v[i]) != 0)
            return NULL;
    }
    if (call(p->prob, v[0], v[1], v[2], v[3]) != 0)
        return api_fail(self);
    for (int i = 0; i < nout; i++) {
        if (conv_arr2obj(self, n[i], v[i], &o[i], CONV_DOUBLE) != 0)
            return NULL;
    }
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getlpsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_get(self, args, kwargs, 4, QNDAgetlpsol);
}

static PyObject *
QNDA_PY_getpresolvesol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_get(self, args, kwargs, 4, QNDAgetpresolvesol, 1);
}

static PyObject *
QNDA_PY_getmipsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_get(self, args, kwargs, 2,
                   [](QNDAprob prob, double *x, double *slack, double *, double *) -> int {
                       return QNDAgetmipsol(prob, x, slack);
                   });
}

/* getbasis and getpresolvebasis (sized for the presolved problem). */
template<int (*F)(QNDAprob, int *, int *), int PRESOLVED>
static PyObject *
sol_basis(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rstatus", "cstatus", NULL};
    PyObject *ro = NULL, *co = NULL;
    api_arrays a(self);
    QNDAint64 rows, cols;
    int *rs, *cs;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &ro, &co) ||
        (p = api_prob(self)) == NULL || api_dims(self, PRESOLVED, &rows, &cols) != 0)
        return NULL;
    if (api_absent(ro) && api_absent(co)) {
        api_missing("Must provide arguments (as lists) of get[presolve]basis");
        return NULL;
    }
    if (a.want(ro, rows, &rs) != 0 || a.want(co, cols, &cs) != 0)
        return NULL;
    if (F(p->prob, rs, cs) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, rows, rs, &ro, CONV_INT) != 0 ||
        conv_arr2obj(self, cols, cs, &co, CONV_INT) != 0)
        return NULL;
    Py_RETURN_NONE;
}

/* getcontrolinfo / getattribinfo: (type, id) of a named item. */
static PyObject *
sol_info(PyObject *self, PyObject *args, PyObject *kwargs,
         int (*call)(QNDAprob, const char *, int *, int *))
{
    static const char *kwlist[] = {"name", NULL};
    const char *name = NULL;
    int id = 0, type = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "s", (char **)kwlist, &name) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (call(p->prob, name, &id, &type) != 0)
        return api_fail(self);
    return Py_BuildValue("(ii)", type, id);
}

static PyObject *
QNDA_PY_getcontrolinfo(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_info(self, args, kwargs, QNDAgetcontrolinfo);
}

static PyObject *
QNDA_PY_getattribinfo(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_info(self, args, kwargs, QNDAgetattribinfo);
}

static PyObject *
QNDA_PY_getlasterror(PyObject *self, PyObject *)
{
    char msg[512] = "";
    int code = 0;
    problem_s *p = api_prob(self);

    if (p == NULL)
        return NULL;
    QNDAgetlasterror(p->prob, &code, msg, (int)sizeof msg, NULL);
    msg[sizeof msg - 1] = '\0';
    return PyUnicode_DecodeUTF8(msg, (Py_ssize_t)strlen(msg), "replace");
}

PyMethodDef api_solution_methods[] =
    {{"getlpsol", API_KW(QNDA_PY_getlpsol),
      "getlpsol(x=None, slack=None, dual=None, dj=None)\n\nFill the given lists with the LP "
      "solution: x and dj per column, slack and dual per row."},
     {"getpresolvesol", API_KW(QNDA_PY_getpresolvesol),
      "getpresolvesol(x=None, slack=None, dual=None, dj=None)\n\nAs getlpsol, for the presolved "
      "problem (the problem itself unless lpoptimize('P') left it presolved)."},
     {"getmipsol", API_KW(QNDA_PY_getmipsol),
      "getmipsol(x=None, slack=None)\n\nFill the given lists with the best MIP solution."},
     {"getbasis", API_KW((sol_basis<QNDAgetbasis, 0>)),
      "getbasis(rstatus, cstatus)\n\nFill the lists with the basis statuses of rows and columns "
      "(0 at lower bound, 1 basic, 2 at upper bound); either may be None."},
     {"getpresolvebasis", API_KW((sol_basis<QNDAgetpresolvebasis, 1>)),
      "getpresolvebasis(rstatus, cstatus)\n\nAs getbasis, for the presolved problem (the "
      "problem itself unless lpoptimize('P') left it presolved)."},
     {"getcontrolinfo", API_KW(QNDA_PY_getcontrolinfo),
      "getcontrolinfo(name)\n\n(type, id) of the named control; type 1 int, 2 64-bit int, 3 float, "
      "4 str."},
     {"getattribinfo", API_KW(QNDA_PY_getattribinfo),
      "getattribinfo(name)\n\n(type, id) of the named attribute; type 1 int, 2 64-bit int, 3 "
      "float, 4 str."},
     {"getlasterror", (PyCFunction)QNDA_PY_getlasterror, METH_NOARGS,
      "getlasterror()\n\nThe library's last error message for this problem."},
     {NULL, NULL, 0, NULL}};

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
    QNDAint64 rows = 0, cols = 0, prows = 0, pcols = 0;
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
    /* A presolved problem's rows and columns are not the problem's
     * objects: they come back as indices. */
    if (F == QNDAgetscaledinfeas &&
        (api_dims(self, 1, &prows, &pcols) != 0 || api_sizes(self, &rows, &cols) != 0))
        return NULL;
    for (int i = 0; i < 4; i++) {
        int kind =
            F == QNDAgetscaledinfeas && (prows != rows || pcols != cols) ? CONV_INT : kinds[i];
        if (conv_arr2obj(self, n[i], v[i], &o[i], kind) != 0)
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
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    /* A var enters as the combined index rows + column. */
    if (PyObject_TypeCheck(in_o, &quenda_varType)) {
        if (ObjInt2int(in_o, self, &enter, CONV_COL) != 0)
            return NULL;
        enter += (int)rows;
    } else if (ObjInt2int(in_o, self, &enter, CONV_ROWCOL) != 0) {
        return NULL;
    }
    if (!(out = a.make<int>(maxpiv)) || !(x = a.make<double>(rows + cols)))
        return NULL;
    if (QNDAgetpivots(p->prob, enter, out, x, &dobj, &npiv, maxpiv) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, npiv, out, &outlist, CONV_ROWCOL) != 0 ||
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
        (p = api_prob(self)) == NULL || api_dims(self, 1, &rows, &cols) != 0)
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
      "the columns of the presolved problem (the problem itself unless lpoptimize('P') left it "
      "presolved); the directives stay on the original columns."},
     {"getdirs", API_KW(QNDA_PY_getdirs),
      "getdirs(mcols, mpri, qbr, dupc, ddpc)\n\nFill the lists with the branching directives: "
      "columns as var objects, priorities, directions, pseudo costs."},
     {"loadsecurevecs", API_KW(QNDA_PY_loadsecurevecs),
      "loadsecurevecs(mrow, mcol)\n\nRows and columns presolve must keep; presolving fails "
      "when the engine's presolve removes one."},
     {"getinfeas", API_KW(an_infeas<QNDAgetinfeas>),
      "getinfeas(mx, mslack, mdual, mdj)\n\nFill the lists with the primal infeasible columns "
      "(mx) and rows (mslack) and the dual infeasible rows (mdual) and columns (mdj) of the "
      "solution held."},
     {"getscaledinfeas", API_KW(an_infeas<QNDAgetscaledinfeas>),
      "getscaledinfeas(mx, mslack, mdual, mdj)\n\nAs getinfeas, for the presolved problem "
      "while the problem is presolved (its rows and columns as indices then); scaling stays "
      "inside the engine."},
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
      "getpivots(in, outlist, x, maxpiv)\n\nPivots of the last optimal basis for the entering "
      "variable in (a var, a constraint for its slack, or a combined index: row i as i, column "
      "j as rows + j): outlist gets up to maxpiv leaving variables (constraint or var "
      "objects), x the row slacks then the columns after the pivot; returns (objective after "
      "the pivot, number of leaving candidates)."},
     {"getpresolvemap", API_KW(QNDA_PY_getpresolvemap),
      "getpresolvemap(rowmap, colmap)\n\nFill the lists with the original row and column of "
      "each presolved row and column (the identity unless lpoptimize('P') left the problem "
      "presolved)."},
     {"getmessagestatus", API_KW(QNDA_PY_getmessagestatus),
      "getmessagestatus(errcode)\n\n1 when the library shows the messages of code errcode, 0 "
      "when they are muted (setmessagestatus) or switched off."},
     {NULL, NULL, 0, NULL}};
