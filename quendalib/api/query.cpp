/* Reading the model back into caller-supplied lists: ranges of bounds,
 * objective, right-hand sides and types, the matrix by rows or columns,
 * quadratic parts, indicators and entities.  Rows and columns come back as
 * the problem's constraint and var objects. */
#include "api/wrap.h"

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
