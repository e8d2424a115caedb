/* The low-level problem methods that load and change the model, which
 * mirror the library's functions one for one (reading it back:
 * api/query.cpp).
 *
 * loadproblem, addrows and addcols make the constraint and var objects of
 * their rows and columns in the problem's lists and maps before the library
 * call, so that a model loaded this way is used by object and by name like
 * one built with operators; when the library then refuses the call, the
 * objects stay (there is nothing sensible to roll back to).  The chg...
 * methods, the loading of solutions, bases and indicators, and the scalar
 * getters take up to three arrays of one length (or up to three single rows
 * and columns) and hand them to one library call, so they are rows of
 * tables run by one routine each. */
#include "api/wrap.h"

#include <string.h>

#include "qslp.h"

/* Gives the library the names of a list (absent: nothing) for objects
 * first.. of a type, packed one after the other.  0, or -1 with an
 * exception set. */
static int
load_id_names(PyObject *self, int type, int first)
{
    /* The library gets the names the objects show ("C<id>", "R<id>"), so
     * that a name finds the same column or row on both sides. */
    int n = 0, rc = 0;
    char *buf = conv_default_names(self, type == QNDA_NAMES_ROWS, first, &n);

    if (buf == NULL)
        return PyErr_Occurred() ? -1 : 0;
    if (QNDAaddnames(((problem_s *)self)->prob, type, buf, first, first + n - 1) != 0) {
        api_fail(self);
        rc = -1;
    }
    qarr_free((void **)&buf);
    return rc;
}

static int
load_names(PyObject *self, PyObject *names, int type, int first)
{
    api_arrays a(self);
    char **s = NULL;
    QNDAint64 n = -1, bytes = 0, i;
    char *buf, *w;

    if (api_absent(names))
        return load_id_names(self, type, first);
    if (a.in(names, &n, &s, CONV_STRING) != 0)
        return -1;
    if (n == 0)
        return 0;
    for (i = 0; i < n; i++)
        bytes += (QNDAint64)strlen(s[i]) + 1;
    if ((buf = a.make<char>(bytes)) == NULL)
        return -1;
    for (w = buf, i = 0; i < n; i++) {
        size_t len = strlen(s[i]) + 1;
        memcpy(w, s[i], len);
        w += len;
    }
    if (QNDAaddnames(((problem_s *)self)->prob, type, buf, first, first + (int)n - 1) != 0) {
        api_fail(self);
        return -1;
    }
    return 0;
}

/* All or none of the arguments of a group; -1 with ModelError msg when
 * some but not all are given. */
static int
load_group(PyObject *const *args, int n, const char *msg)
{
    int given = 0;
    for (int i = 0; i < n; i++)
        given += !api_absent(args[i]);
    if (given != 0 && given != n) {
        PyErr_SetString(quenda_ModelError, msg);
        return -1;
    }
    return given != 0;
}

static PyObject *
QNDA_PY_loadproblem(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"probname", "qrtypes",  "rhs",      "range",   "obj",
                                   "mstart",   "mnel",     "mrwind",   "dmatval", "dlb",
                                   "dub",      "mqcol1",   "mqcol2",   "dqe",     "qcrows",
                                   "qcnquads", "qcmqcol1", "qcmqcol2", "qcdqval", "qgtype",
                                   "mgcols",   "dlim",     "qstype",   "msstart", "mscols",
                                   "dref",     "colnames", "rownames", NULL};
    const char *probname = NULL;
    PyObject *o[27] = {NULL};
    PyObject *&qrtypes = o[0], *&rhs_o = o[1], *&range_o = o[2], *&obj_o = o[3], *&mstart_o = o[4],
             *&mnel_o = o[5], *&mrwind_o = o[6], *&dmatval_o = o[7], *&dlb_o = o[8], *&dub_o = o[9],
             *&qgtype_o = o[18], *&mgcols_o = o[19], *&dlim_o = o[20], *&colnames = o[25],
             *&rownames = o[26];
    problem_s *p;
    api_arrays a(self);
    QNDAint64 nrows = -1, ncols = -1, nnz = -1, nq = -1, nqr = -1, nqc = -1, nent = -1, nsets = -1,
              nsetel = -1, nstart;
    char *rowtype = NULL, *coltype = NULL, *settype = NULL;
    double *rhs = NULL, *range = NULL, *obj = NULL, *val = NULL, *lb = NULL, *ub = NULL, *qv = NULL,
           *qcv = NULL, *lim = NULL, *ref = NULL;
    QNDAint64 *start = NULL, *qcn = NULL, *sstart = NULL;
    int *mnel = NULL, *rowind = NULL, *q1 = NULL, *q2 = NULL, *qcrows = NULL, *qc1 = NULL,
        *qc2 = NULL, *entcols = NULL, *setcols = NULL;
    int hasq, hasqc, hasent, hassos, rc;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "sOOOOOOOOOO|OOOOOOOOOOOOOOOOO", (char **)kwlist,
                                     &probname, &o[0], &o[1], &o[2], &o[3], &o[4], &o[5], &o[6],
                                     &o[7], &o[8], &o[9], &o[10], &o[11], &o[12], &o[13], &o[14],
                                     &o[15], &o[16], &o[17], &o[18], &o[19], &o[20], &o[21], &o[22],
                                     &o[23], &o[24], &o[25], &o[26]))
        return NULL;
    if ((p = api_prob(self)) == NULL)
        return NULL;
    if ((hasq = load_group(o + 10, 3,
                           "Incomplete list of parameters specified for the quadratic objective "
                           "component")) < 0 ||
        (hasqc = load_group(o + 13, 5,
                            "Incomplete list of parameters specified for the quadratic rows "
                            "component")) < 0 ||
        (hassos = load_group(o + 21, 4, "Incomplete list of parameters specified for the SOS")) < 0)
        return NULL;
    hasent = !api_absent(qgtype_o);
    if ((hasent && api_absent(mgcols_o)) ||
        (!hasent && (!api_absent(mgcols_o) || !api_absent(dlim_o)))) {
        PyErr_SetString(quenda_ModelError,
                        "Incomplete list of parameters specified for the global entities");
        return NULL;
    }

    if (a.in(qrtypes, &nrows, &rowtype, CONV_CHAR) || a.in(rhs_o, &nrows, &rhs, CONV_DOUBLE) ||
        a.in(range_o, &nrows, &range, CONV_DOUBLE) || a.in(obj_o, &ncols, &obj, CONV_DOUBLE))
        return NULL;
    if (nrows < 0)
        nrows = 0;
    if (ncols < 0)
        ncols = 0;
    nstart = api_absent(mnel_o) ? ncols + 1 : ncols;
    if ((nstart > 0 && a.in(mstart_o, &nstart, &start, CONV_INT64)) ||
        a.in(mnel_o, &ncols, &mnel, CONV_INT))
        return NULL;
    if (ncols > 0 && start != NULL)
        nnz = mnel == NULL ? start[ncols] : start[ncols - 1] + mnel[ncols - 1];
    else
        nnz = 0;
    if (nnz < 0) {
        PyErr_SetString(quenda_ModelError, "Negative number of matrix entries in mstart");
        return NULL;
    }
    if (start != NULL && api_check_spans(start, mnel, ncols, nnz, "mstart") != 0)
        return NULL;
    if ((nnz > 0 &&
         (a.in(mrwind_o, &nnz, &rowind, CONV_INT) || a.in(dmatval_o, &nnz, &val, CONV_DOUBLE))) ||
        a.in(dlb_o, &ncols, &lb, CONV_DOUBLE) || a.in(dub_o, &ncols, &ub, CONV_DOUBLE) ||
        a.in(o[10], &nq, &q1, CONV_INT) || a.in(o[11], &nq, &q2, CONV_INT) ||
        a.in(o[12], &nq, &qv, CONV_DOUBLE) || a.in(o[13], &nqr, &qcrows, CONV_INT) ||
        a.in(o[14], &nqr, &qcn, CONV_INT64) || a.in(o[15], &nqc, &qc1, CONV_INT) ||
        a.in(o[16], &nqc, &qc2, CONV_INT) || a.in(o[17], &nqc, &qcv, CONV_DOUBLE) ||
        a.in(qgtype_o, &nent, &coltype, CONV_CHAR) || a.in(mgcols_o, &nent, &entcols, CONV_INT) ||
        a.in(dlim_o, &nent, &lim, CONV_DOUBLE) || a.in(o[21], &nsets, &settype, CONV_CHAR))
        return NULL;
    if (hassos) {
        QNDAint64 ns1 = nsets + 1;
        if (a.in(o[22], &ns1, &sstart, CONV_INT64) || a.in(o[23], &nsetel, &setcols, CONV_INT) ||
            a.in(o[24], &nsetel, &ref, CONV_DOUBLE) ||
            api_check_spans(sstart, NULL, nsets, nsetel, "msstart"))
            return NULL;
    }
    if (hasqc) {
        /* The rows' term counts share out the terms given. */
        QNDAint64 sum = 0;
        for (QNDAint64 k = 0; k < nqr; k++)
            sum += qcn[k] < 0 ? nqc + 1 : qcn[k];
        if (sum != nqc) {
            PyErr_Format(quenda_ModelError,
                         "qcnquads counts %lld quadratic row terms, qcmqcol1 holds %lld",
                         (long long)sum, (long long)nqc);
            return NULL;
        }
    }
    nq = nq < 0 ? 0 : nq;
    nqr = nqr < 0 ? 0 : nqr;
    nent = nent < 0 ? 0 : nent;
    nsets = nsets < 0 ? 0 : nsets;

    /* The objects of the new model replace those of the old one. */
    if (problem_registry_empty(p) != 0 ||
        addColsAsVariables(self, colnames, NULL, (int)nent, entcols, coltype, lim, 0, (int)ncols) !=
            0 ||
        addRowsAsConstraints(self, rownames, rowtype, rhs, range, 0, (int)nrows) != 0)
        return NULL;

    if (hasqc && (hasent || hassos))
        rc = QNDAloadqcqpglobal64(p->prob, probname, (int)ncols, (int)nrows, rowtype, rhs, range,
                                  obj, start, mnel, rowind, val, lb, ub, nq, q1, q2, qv, (int)nqr,
                                  qcrows, qcn, qc1, qc2, qcv, (int)nent, (int)nsets, coltype,
                                  entcols, lim, settype, sstart, setcols, ref);
    else if (hasqc)
        rc = QNDAloadqcqp64(p->prob, probname, (int)ncols, (int)nrows, rowtype, rhs, range, obj,
                            start, mnel, rowind, val, lb, ub, nq, q1, q2, qv, (int)nqr, qcrows, qcn,
                            qc1, qc2, qcv);
    else if (hasq && (hasent || hassos))
        rc = QNDAloadqglobal64(p->prob, probname, (int)ncols, (int)nrows, rowtype, rhs, range, obj,
                               start, mnel, rowind, val, lb, ub, nq, q1, q2, qv, (int)nent,
                               (int)nsets, coltype, entcols, lim, settype, sstart, setcols, ref);
    else if (hasq)
        rc = QNDAloadqp64(p->prob, probname, (int)ncols, (int)nrows, rowtype, rhs, range, obj,
                          start, mnel, rowind, val, lb, ub, nq, q1, q2, qv);
    else if (hasent || hassos)
        rc = QNDAloadglobal64(p->prob, probname, (int)ncols, (int)nrows, rowtype, rhs, range, obj,
                              start, mnel, rowind, val, lb, ub, (int)nent, (int)nsets, coltype,
                              entcols, lim, settype, sstart, setcols, ref);
    else
        rc = QNDAloadlp64(p->prob, probname, (int)ncols, (int)nrows, rowtype, rhs, range, obj,
                          start, mnel, rowind, val, lb, ub);
    if (rc != 0)
        return api_fail(self);
    if (load_names(self, colnames, QNDA_NAMES_COLUMNS, 0) != 0 ||
        load_names(self, rownames, QNDA_NAMES_ROWS, 0) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_addrows(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"qrtype",  "rhs",   "mstart", "mclind",
                                   "dmatval", "range", "names",  NULL};
    PyObject *qrtype_o, *rhs_o, *mstart_o, *mclind_o, *dmatval_o, *range_o = NULL, *names = NULL;
    api_arrays a(self);
    QNDAint64 nrows = -1, nstart = -1, nnz = -1;
    char *rowtype = NULL;
    double *rhs = NULL, *range = NULL, *val = NULL;
    QNDAint64 *start = NULL;
    int *colind = NULL, first = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOOO|OO", (char **)kwlist, &qrtype_o, &rhs_o,
                                     &mstart_o, &mclind_o, &dmatval_o, &range_o, &names))
        return NULL;
    if ((p = api_prob(self)) == NULL)
        return NULL;
    if (api_absent(qrtype_o) || api_absent(rhs_o) || api_absent(mstart_o) || api_absent(mclind_o) ||
        api_absent(dmatval_o)) {
        api_missing("Must provide arguments qrtype, rhs, mstart, mclind, dmatval");
        return NULL;
    }
    if (a.in(qrtype_o, &nrows, &rowtype, CONV_CHAR) || a.in(rhs_o, &nrows, &rhs, CONV_DOUBLE))
        return NULL;
    nstart = nrows + 1; /* the library reads one start per row and the end */
    if (a.in(mstart_o, &nstart, &start, CONV_INT64) || a.in(mclind_o, &nnz, &colind, CONV_COL) ||
        a.in(dmatval_o, &nnz, &val, CONV_DOUBLE) || a.in(range_o, &nrows, &range, CONV_DOUBLE) ||
        api_check_spans(start, NULL, nrows, nnz, "mstart"))
        return NULL;
    if (api_intattr(self, QNDA_ORIGINALROWS, &first) != 0 ||
        addRowsAsConstraints(self, names, rowtype, rhs, range, first, (int)nrows) != 0)
        return NULL;
    if (QNDAaddrows64(p->prob, (int)nrows, nnz, rowtype, rhs, range, start, colind, val) != 0)
        return api_fail(self);
    if (load_names(self, names, QNDA_NAMES_ROWS, first) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_addcols(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"objx", "mstart", "mrwind", "dmatval", "bdl",
                                   "bdu",  "names",  "types",  NULL};
    PyObject *objx_o, *mstart_o, *mrwind_o, *dmatval_o, *bdl_o, *bdu_o, *names = NULL,
                                                                        *types = NULL;
    api_arrays a(self);
    QNDAint64 ncols = -1, nstart = -1, nnz = -1;
    double *obj = NULL, *val = NULL, *lb = NULL, *ub = NULL;
    QNDAint64 *start = NULL;
    int *rowind = NULL, first = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOOOO|OO", (char **)kwlist, &objx_o, &mstart_o,
                                     &mrwind_o, &dmatval_o, &bdl_o, &bdu_o, &names, &types))
        return NULL;
    if ((p = api_prob(self)) == NULL)
        return NULL;
    if (api_absent(objx_o) || api_absent(mstart_o) || api_absent(mrwind_o) ||
        api_absent(dmatval_o) || api_absent(bdl_o) || api_absent(bdu_o)) {
        api_missing("Must provide arguments objx, mstart, mrwind, dmatval, bdl, bdu");
        return NULL;
    }
    if (a.in(objx_o, &ncols, &obj, CONV_DOUBLE))
        return NULL;
    nstart = ncols + 1; /* the library reads one start per column and the end */
    if (a.in(mstart_o, &nstart, &start, CONV_INT64) || a.in(mrwind_o, &nnz, &rowind, CONV_ROW) ||
        a.in(dmatval_o, &nnz, &val, CONV_DOUBLE) || a.in(bdl_o, &ncols, &lb, CONV_DOUBLE) ||
        a.in(bdu_o, &ncols, &ub, CONV_DOUBLE) || api_check_spans(start, NULL, ncols, nnz, "mstart"))
        return NULL;
    if (api_intattr(self, QNDA_ORIGINALCOLS, &first) != 0 ||
        addColsAsVariables(self, names, types, 0, NULL, NULL, NULL, first, (int)ncols) != 0)
        return NULL;
    if (QNDAaddcols64(p->prob, (int)ncols, nnz, obj, start, rowind, val, lb, ub) != 0)
        return api_fail(self);
    if (load_names(self, names, QNDA_NAMES_COLUMNS, first) != 0)
        return NULL;
    /* Column types given as letters reach the library too. */
    if (!api_absent(types) && ncols > 0) {
        char *ct = NULL;
        int *idx = a.make<int>(ncols);
        QNDAint64 nt = ncols;
        if (idx == NULL || a.in(types, &nt, &ct, CONV_CHAR))
            return NULL;
        for (QNDAint64 i = 0; i < ncols; i++)
            idx[i] = first + (int)i;
        if (QNDAchgcoltype(p->prob, (int)ncols, idx, ct) != 0)
            return api_fail(self);
    }
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_addqmatrix(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"irow", "mqc1", "mqc2", "dqe", NULL};
    PyObject *irow_o, *c1_o, *c2_o, *dqe_o;
    api_arrays a(self);
    QNDAint64 n = -1;
    int *c1 = NULL, *c2 = NULL, row = 0;
    double *v = NULL;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOO", (char **)kwlist, &irow_o, &c1_o, &c2_o,
                                     &dqe_o))
        return NULL;
    if ((p = api_prob(self)) == NULL)
        return NULL;
    if (api_absent(c1_o) || api_absent(c2_o) || api_absent(dqe_o)) {
        api_missing("Must provide arguments mqc1, mqc2, dqe");
        return NULL;
    }
    if (ObjInt2int(irow_o, self, &row, CONV_ROW) != 0 || a.in(c1_o, &n, &c1, CONV_COL) ||
        a.in(c2_o, &n, &c2, CONV_COL) || a.in(dqe_o, &n, &v, CONV_DOUBLE))
        return NULL;
    if (QNDAaddqmatrix64(p->prob, row, n, c1, c2, v) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

PyMethodDef api_load_methods[] =
    {{"loadproblem", API_KW(QNDA_PY_loadproblem),
      "loadproblem(probname, qrtypes, rhs, range, obj, mstart, mnel, mrwind, dmatval, dlb, dub,\n"
      "            mqcol1=None, mqcol2=None, dqe=None, qcrows=None, qcnquads=None,\n"
      "            qcmqcol1=None, qcmqcol2=None, qcdqval=None, qgtype=None, mgcols=None,\n"
      "            dlim=None, qstype=None, msstart=None, mscols=None, dref=None,\n"
      "            colnames=None, rownames=None)\n\n"
      "Replace the problem by one given in column-major matrix form.\n"
      "qrtypes: row types ('L', 'G', 'E', 'R', 'N'); rhs, range: per row (range may be None);\n"
      "obj, dlb, dub: per column; mstart: column starts (ncols + 1 entries, or ncols with\n"
      "mnel, the column lengths); mrwind, dmatval: row indices and values of the entries.\n"
      "Quadratic objective: mqcol1, mqcol2, dqe (upper triangle).  Quadratic rows: qcrows,\n"
      "qcnquads (terms per row), qcmqcol1, qcmqcol2, qcdqval.  Entities: qgtype (letters),\n"
      "mgcols (columns), dlim (thresholds, optional).  Sets: qstype ('1' or '2'), msstart\n"
      "(nsets + 1 starts), mscols, dref.  Each group is given whole or not at all.\n"
      "Every column gets a var and every row a constraint, named from colnames/rownames or\n"
      "'C<id>'/'R<id>'.  Arrays may be lists, tuples, iterators or NumPy arrays."},
     {"addrows", API_KW(QNDA_PY_addrows),
      "addrows(qrtype, rhs, mstart, mclind, dmatval, range=None, names=None)\n\n"
      "Append rows in row-major form: qrtype, rhs (and range) per row; mstart the row starts\n"
      "(nrows + 1 entries); mclind the columns (indices, vars or names) and dmatval the\n"
      "values of the entries.  Each new row gets a constraint named from names or 'R<id>'."},
     {"addcols", API_KW(QNDA_PY_addcols),
      "addcols(objx, mstart, mrwind, dmatval, bdl, bdu, names=None, types=None)\n\n"
      "Append columns in column-major form: objx, bdl, bdu per column; mstart the column\n"
      "starts (ncols + 1 entries); mrwind the rows (indices, constraints or names) and\n"
      "dmatval the values.  Each new column gets a var named from names or 'C<id>', of the\n"
      "type given by the letter in types ('C', 'I', 'B', 'S', 'R', 'P')."},
     {"addqmatrix", API_KW(QNDA_PY_addqmatrix),
      "addqmatrix(irow, mqc1, mqc2, dqe)\n\n"
      "Add the quadratic terms dqe[k] * x[mqc1[k]] * x[mqc2[k]] to row irow (an index, a\n"
      "constraint or a name)."},
     {NULL, NULL, 0, NULL}};

/* A method of equal-length arrays: keywords, element kinds, the message for
 * a missing one and the library call.  Arrays marked optional may be None
 * and reach the library as NULL. */
struct chg_desc {
    const char *kw[4];
    int kind[3];
    int optional[3];
    const char *msg;
    int (*call)(QNDAprob, QNDAint64, void *const *);
};

template<const chg_desc *D>
static PyObject *
chg_arrays(PyObject *self, PyObject *args, PyObject *kwargs)
{
    PyObject *o[3] = {NULL, NULL, NULL};
    void *arr[3] = {NULL, NULL, NULL};
    api_arrays a(self);
    QNDAint64 n = -1;
    int narr = 0, w = 0, opt = 0;
    char format[8];
    problem_s *p;

    for (; narr < 3 && D->kw[narr] != NULL; narr++) {
        if (D->optional[narr] && !opt++)
            format[w++] = '|';
        format[w++] = 'O';
    }
    format[w] = '\0';
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, format, (char **)D->kw, &o[0], &o[1], &o[2]))
        return NULL;
    if ((p = api_prob(self)) == NULL)
        return NULL;
    for (int i = 0; i < narr; i++) {
        if (api_absent(o[i]) && !D->optional[i]) {
            api_missing(D->msg);
            return NULL;
        }
    }
    for (int i = 0; i < narr; i++) {
        if (a.in(o[i], &n, &arr[i], D->kind[i]) != 0)
            return NULL;
    }
    if (D->call(p->prob, n < 0 ? 0 : n, arr) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

#define CHG_CALL(expr) [](QNDAprob prob, QNDAint64 n, void *const *v) -> int { return (expr); }
#define I(k) ((const int *)v[k])
#define D(k) ((const double *)v[k])
#define C(k) ((const char *)v[k])

static const chg_desc chg_bounds = {{"mindex", "qbtype", "bnd", NULL},
                                    {CONV_COL, CONV_CHAR, CONV_DOUBLE},
                                    {0, 0, 0},
                                    "Must provide arguments mindex, qbtype, bnd",
                                    CHG_CALL(QNDAchgbounds(prob, (int)n, I(0), C(1), D(2)))};
static const chg_desc chg_mcoef = {{"mrow", "mcol", "dval", NULL},
                                   {CONV_ROW, CONV_COL, CONV_DOUBLE},
                                   {0, 0, 0},
                                   "Must provide arguments mrow, mcol, dval",
                                   CHG_CALL(QNDAchgmcoef64(prob, n, I(0), I(1), D(2)))};
static const chg_desc chg_mqobj = {{"mqcol1", "mqcol2", "dval", NULL},
                                   {CONV_COL, CONV_COL, CONV_DOUBLE},
                                   {0, 0, 0},
                                   "Must provide arguments mqcol1, mqcol2, dval",
                                   CHG_CALL(QNDAchgmqobj64(prob, n, I(0), I(1), D(2)))};
static const chg_desc chg_coltype = {{"mindex", "qctype", NULL},
                                     {CONV_COL, CONV_CHAR},
                                     {0, 0},
                                     "Must provide arguments mindex, qbtype",
                                     CHG_CALL(QNDAchgcoltype(prob, (int)n, I(0), C(1)))};
static const chg_desc chg_glblimit = {{"mindex", "dlimit", NULL},
                                      {CONV_COL, CONV_DOUBLE},
                                      {0, 0},
                                      "Must provide arguments mindex, dlimit",
                                      CHG_CALL(QNDAchgglblimit(prob, (int)n, I(0), D(1)))};
static const chg_desc chg_obj = {{"mindex", "obj", NULL},
                                 {CONV_COL, CONV_DOUBLE},
                                 {0, 0},
                                 "Must provide arguments mindex, obj",
                                 CHG_CALL(QNDAchgobj(prob, (int)n, I(0), D(1)))};
static const chg_desc chg_rhs = {{"mindex", "rhs", NULL},
                                 {CONV_ROW, CONV_DOUBLE},
                                 {0, 0},
                                 "Must provide arguments mindex, rhs",
                                 CHG_CALL(QNDAchgrhs(prob, (int)n, I(0), D(1)))};
static const chg_desc chg_rhsrange = {{"mindex", "rng", NULL},
                                      {CONV_ROW, CONV_DOUBLE},
                                      {0, 0},
                                      "Must provide arguments mindex, rng",
                                      CHG_CALL(QNDAchgrhsrange(prob, (int)n, I(0), D(1)))};
static const chg_desc chg_rowtype = {{"mindex", "qrtype", NULL},
                                     {CONV_ROW, CONV_CHAR},
                                     {0, 0},
                                     "Must provide arguments mindex and qrtype",
                                     CHG_CALL(QNDAchgrowtype(prob, (int)n, I(0), C(1)))};
static const chg_desc chg_indicators = {{"mrows", "inds", "comps", NULL},
                                        {CONV_ROW, CONV_COL, CONV_INT},
                                        {0, 0, 0},
                                        "Must provide arguments mrows, inds, comps",
                                        CHG_CALL(
                                            QNDAsetindicators(prob, (int)n, I(0), I(1), I(2)))};

static const chg_desc chg_modelcuts = {{"mrows", NULL},
                                       {CONV_ROW},
                                       {0},
                                       "Must provide argument mrows",
                                       CHG_CALL(QNDAloadmodelcuts(prob, (int)n, I(0)))};
static const chg_desc chg_delayedrows = {{"mrows", NULL},
                                         {CONV_ROW},
                                         {0},
                                         "Must provide argument mrows",
                                         CHG_CALL(QNDAloaddelayedrows(prob, (int)n, I(0)))};
static const chg_desc chg_branchdirs = {{"mcols", "mbranch", NULL},
                                        {CONV_COL, CONV_INT},
                                        {0, 1},
                                        "Must provide argument mcols",
                                        CHG_CALL(QNDAloadbranchdirs(prob, (int)n, I(0), I(1)))};

#undef I
#undef D
#undef C

/* A method on one to three single rows or columns and a float: chgcoef,
 * chgqobj, chgqrowcoeff and their getters.  The getters return the float
 * the library writes into *out. */
struct scalar_desc {
    const char *kw[5];
    int kind[3];
    int nidx;
    int setter; /* a float argument follows the indices */
    int (*call)(QNDAprob, const int *, double, double *);
};

template<const scalar_desc *S>
static PyObject *
chg_scalar(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *formats[2][4] = {{"", "O", "OO", "OOO"}, {"", "Od", "OOd", "OOOd"}};
    PyObject *o[3] = {NULL, NULL, NULL};
    int idx[3] = {0, 0, 0};
    double val = 0.0, out = 0.0;
    problem_s *p;
    int ok;

    if (S->nidx == 2)
        ok = S->setter ? PyArg_ParseTupleAndKeywords(args, kwargs, formats[1][2], (char **)S->kw,
                                                     &o[0], &o[1], &val)
                       : PyArg_ParseTupleAndKeywords(args, kwargs, formats[0][2], (char **)S->kw,
                                                     &o[0], &o[1]);
    else
        ok = S->setter ? PyArg_ParseTupleAndKeywords(args, kwargs, formats[1][3], (char **)S->kw,
                                                     &o[0], &o[1], &o[2], &val)
                       : PyArg_ParseTupleAndKeywords(args, kwargs, formats[0][3], (char **)S->kw,
                                                     &o[0], &o[1], &o[2]);
    if (!ok || (p = api_prob(self)) == NULL)
        return NULL;
    for (int i = 0; i < S->nidx; i++) {
        if (ObjInt2int(o[i], self, &idx[i], S->kind[i]) != 0)
            return NULL;
    }
    if (S->call(p->prob, idx, val, &out) != 0)
        return api_fail(self);
    if (S->setter)
        Py_RETURN_NONE;
    return PyFloat_FromDouble(out);
}

#define SCALAR_CALL(expr)                                                                          \
    [](QNDAprob prob, const int *i, double v, double *out) -> int {                                \
        (void)v;                                                                                   \
        (void)out;                                                                                 \
        return (expr);                                                                             \
    }

static const scalar_desc sc_chgcoef = {{"irow", "icol", "dval", NULL},
                                       {CONV_ROW, CONV_COL},
                                       2,
                                       1,
                                       SCALAR_CALL(QNDAchgcoef(prob, i[0], i[1], v))};
static const scalar_desc sc_chgqobj = {{"icol", "jcol", "dval", NULL},
                                       {CONV_COL, CONV_COL},
                                       2,
                                       1,
                                       SCALAR_CALL(QNDAchgqobj(prob, i[0], i[1], v))};
static const scalar_desc sc_chgqrowcoeff = {{"irow", "icol", "jcol", "dval", NULL},
                                            {CONV_ROW, CONV_COL, CONV_COL},
                                            3,
                                            1,
                                            SCALAR_CALL(
                                                QNDAchgqrowcoeff(prob, i[0], i[1], i[2], v))};
static const scalar_desc sc_getcoef = {{"irow", "icol", NULL},
                                       {CONV_ROW, CONV_COL},
                                       2,
                                       0,
                                       SCALAR_CALL(QNDAgetcoef(prob, i[0], i[1], out))};
static const scalar_desc sc_getqobj = {{"icol", "jcol", NULL},
                                       {CONV_COL, CONV_COL},
                                       2,
                                       0,
                                       SCALAR_CALL(QNDAgetqobj(prob, i[0], i[1], out))};
static const scalar_desc sc_getqrowcoeff = {{"irow", "icol", "jcol", NULL},
                                            {CONV_ROW, CONV_COL, CONV_COL},
                                            3,
                                            0,
                                            SCALAR_CALL(
                                                QNDAgetqrowcoeff(prob, i[0], i[1], i[2], out))};

/* chgobjsense(sense): 1 minimises, any other value maximises.  With
 * nonlinear content the sense belongs to the nonlinear layer's control. */
static PyObject *
QNDA_PY_chgobjsense(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"sense", NULL};
    int sense = 1;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "i", (char **)kwlist, &sense) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    sense = sense == 1 ? 1 : -1;
    if ((p->n_nlcons > 0 || p->nl_obj) && p->slpprob != NULL) {
        if (QSLPsetdblcontrol(p->slpprob, 12146, (double)sense) != 0)
            return api_fail(self);
    } else if (QNDAchgobjsense(p->prob, sense) != 0) {
        return api_fail(self);
    }
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_loadlpsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"x", "slack", "dual", "dj", NULL};
    PyObject *o[4] = {NULL, NULL, NULL, NULL};
    double *v[4] = {NULL, NULL, NULL, NULL};
    api_arrays a(self);
    QNDAint64 rows, cols;
    int status = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|OOOO", (char **)kwlist, &o[0], &o[1], &o[2],
                                     &o[3]) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (a.in(o[0], &cols, &v[0], CONV_DOUBLE) || a.in(o[1], &rows, &v[1], CONV_DOUBLE) ||
        a.in(o[2], &rows, &v[2], CONV_DOUBLE) || a.in(o[3], &cols, &v[3], CONV_DOUBLE))
        return NULL;
    if (QNDAloadlpsol(p->prob, v[0], v[1], v[2], v[3], &status) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_loadmipsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"dsol", NULL};
    PyObject *o = NULL;
    double *x = NULL;
    api_arrays a(self);
    QNDAint64 rows, cols;
    int status = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O", (char **)kwlist, &o) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (api_absent(o)) {
        api_missing("Must provide argument dsol");
        return NULL;
    }
    if (a.in(o, &cols, &x, CONV_DOUBLE))
        return NULL;
    if (QNDAloadmipsol(p->prob, x, &status) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

/* loadbasis and loadpresolvebasis (sized for the presolved problem). */
template<int (*F)(QNDAprob, const int *, const int *), int PRESOLVED>
static PyObject *
chg_basis(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rstatus", "cstatus", NULL};
    PyObject *ro = NULL, *co = NULL;
    int *rs = NULL, *cs = NULL;
    api_arrays a(self);
    QNDAint64 rows, cols;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &ro, &co) ||
        (p = api_prob(self)) == NULL || api_dims(self, PRESOLVED, &rows, &cols) != 0)
        return NULL;
    if (api_absent(ro) || api_absent(co)) {
        api_missing("Must provide arguments rstatus, cstatus");
        return NULL;
    }
    if (a.in(ro, &rows, &rs, CONV_INT) || a.in(co, &cols, &cs, CONV_INT))
        return NULL;
    if (F(p->prob, rs, cs) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

#define CHG_DOC_LISTS "  Arrays may be lists, tuples, iterators or NumPy arrays."

PyMethodDef api_change_methods[] =
    {{"chgbounds", API_KW(chg_arrays<&chg_bounds>),
      "chgbounds(mindex, qbtype, bnd)\n\nChange bounds: for each k, the bound of column "
      "mindex[k] of type qbtype[k] ('U' upper, 'L' lower, 'B' both) becomes bnd[k]." CHG_DOC_LISTS},
     {"chgcoef", API_KW(chg_scalar<&sc_chgcoef>),
      "chgcoef(irow, icol, dval)\n\nSet the matrix entry of row irow and column icol to dval "
      "(0 removes it).  Rows and columns by index, object or name."},
     {"chgmcoef", API_KW(chg_arrays<&chg_mcoef>),
      "chgmcoef(mrow, mcol, dval)\n\nSet the matrix entries (mrow[k], mcol[k]) to "
      "dval[k]." CHG_DOC_LISTS},
     {"chgcoltype", API_KW(chg_arrays<&chg_coltype>),
      "chgcoltype(mindex, qctype)\n\nChange column types: qctype[k] is 'C', 'I', 'B', 'S', 'R' "
      "or 'P' for column mindex[k]." CHG_DOC_LISTS},
     {"chgglblimit", API_KW(chg_arrays<&chg_glblimit>),
      "chgglblimit(mindex, dlimit)\n\nChange the thresholds of semi-continuous and partially "
      "integer columns." CHG_DOC_LISTS},
     {"chgobj", API_KW(chg_arrays<&chg_obj>),
      "chgobj(mindex, obj)\n\nChange objective coefficients; index -1 sets the objective's "
      "constant." CHG_DOC_LISTS},
     {"chgmqobj", API_KW(chg_arrays<&chg_mqobj>),
      "chgmqobj(mqcol1, mqcol2, dval)\n\nSet the quadratic objective coefficients of the pairs "
      "of columns (mqcol1[k], mqcol2[k])." CHG_DOC_LISTS},
     {"chgqobj", API_KW(chg_scalar<&sc_chgqobj>),
      "chgqobj(icol, jcol, dval)\n\nSet the quadratic objective coefficient of columns icol and "
      "jcol."},
     {"chgqrowcoeff", API_KW(chg_scalar<&sc_chgqrowcoeff>),
      "chgqrowcoeff(irow, icol, jcol, dval)\n\nSet the quadratic coefficient of columns icol and "
      "jcol in row irow."},
     {"chgrhs", API_KW(chg_arrays<&chg_rhs>),
      "chgrhs(mindex, rhs)\n\nChange the right-hand sides of rows mindex." CHG_DOC_LISTS},
     {"chgrhsrange", API_KW(chg_arrays<&chg_rhsrange>),
      "chgrhsrange(mindex, rng)\n\nMake rows mindex ranged with the ranges rng." CHG_DOC_LISTS},
     {"chgrowtype", API_KW(chg_arrays<&chg_rowtype>),
      "chgrowtype(mindex, qrtype)\n\nChange row types ('L', 'G', 'E', 'R', 'N')." CHG_DOC_LISTS},
     {"chgobjsense", API_KW(QNDA_PY_chgobjsense),
      "chgobjsense(sense)\n\nMinimise when sense is 1 (quenda.minimize); any other value "
      "maximises."},
     {"setindicators", API_KW(chg_arrays<&chg_indicators>),
      "setindicators(mrows, inds, comps)\n\nMake rows mrows indicator rows of the binary columns "
      "inds: comps[k] 1 activates the row when the column is 1, -1 when it is 0, 0 makes the "
      "row ordinary again." CHG_DOC_LISTS},
     {"loadmodelcuts", API_KW(chg_arrays<&chg_modelcuts>),
      "loadmodelcuts(mrows)\n\nMark rows as model cuts: rows the engine may use from the "
      "start."},
     {"loaddelayedrows", API_KW(chg_arrays<&chg_delayedrows>),
      "loaddelayedrows(mrows)\n\nMark rows as delayed (lazy): left out of the first "
      "relaxation and added when a solution violates them; every solution reported satisfies "
      "them."},
     {"loadbranchdirs", API_KW(chg_arrays<&chg_branchdirs>),
      "loadbranchdirs(mcols, mbranch=None)\n\nPreferred branching directions of columns: "
      "mbranch[k] > 0 up, < 0 down, 0 none."},
     {"getcoef", API_KW(chg_scalar<&sc_getcoef>),
      "getcoef(irow, icol)\n\nThe matrix entry of row irow and column icol."},
     {"getqobj", API_KW(chg_scalar<&sc_getqobj>),
      "getqobj(icol, jcol)\n\nThe quadratic objective coefficient of columns icol and jcol."},
     {"getqrowcoeff", API_KW(chg_scalar<&sc_getqrowcoeff>),
      "getqrowcoeff(irow, icol, jcol)\n\nThe quadratic coefficient of columns icol and jcol in "
      "row irow."},
     {"loadlpsol", API_KW(QNDA_PY_loadlpsol),
      "loadlpsol(x=None, slack=None, dual=None, dj=None)\n\nLoad a starting solution for the "
      "next LP optimisation: x and dj per column, slack and dual per row."},
     {"loadmipsol", API_KW(QNDA_PY_loadmipsol),
      "loadmipsol(dsol)\n\nLoad a solution (a value per column) as a start of the next MIP "
      "search."},
     {"loadbasis", API_KW((chg_basis<QNDAloadbasis, 0>)),
      "loadbasis(rstatus, cstatus)\n\nLoad a starting basis: a status per row and per column "
      "(0 at lower bound, 1 basic, 2 at upper bound, 3 superbasic)."},
     {"loadpresolvebasis", API_KW((chg_basis<QNDAloadpresolvebasis, 1>)),
      "loadpresolvebasis(rstatus, cstatus)\n\nAs loadbasis, for the next solve of the presolved "
      "problem (the problem itself unless lpoptimize('P') left it presolved)."},
     {NULL, NULL, 0, NULL}};
