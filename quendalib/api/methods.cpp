/* The low-level problem methods, which mirror the library's functions one
 * for one.
 *
 * Changing the model: loadproblem, addrows and addcols make the constraint
 * and var objects of their rows and columns in the problem's lists and maps
 * before the library call, so that a model loaded this way is used by
 * object and by name like one built with operators; when the library then
 * refuses the call, the objects stay (there is nothing sensible to roll
 * back to).  The chg... methods, the loading of solutions, bases and
 * indicators, and the scalar getters take up to three arrays of one length
 * (or up to three single rows and columns) and hand them to one library
 * call, so they are rows of tables run by one routine each.
 *
 * Reading it back fills caller-supplied lists (None: not wanted): ranges of
 * bounds, objective, right-hand sides and types, the matrix, quadratic
 * parts, indicators, entities, solutions and bases, directives, and what an
 * optimisation tells beyond its solution (infeasibilities, rays, the basis
 * order, pivots, the presolve map).  Rows and columns come back as the
 * problem's constraint and var objects.
 *
 * One file, because the methods are so alike that splitting them only
 * repeats their shape across files. */                         \
#include "api/wrap.h"

#include <string.h>

#include "qslp.h"

/* Gives the library the names of a list (absent: nothing) for objects
 * first.. of a type, packed one after the other.  0, or -1 with an
 * exception set. */
static int
load_names(PyObject *self, PyObject *names, int type, int first)
{
    api_arrays a(self);
    char **s = NULL;
    QNDAint64 n = -1, bytes = 0, i;
    char *buf, *w;

    if (api_absent(names) || a.in(names, &n, &s, CONV_STRING) != 0)
        return PyErr_Occurred() ? -1 : 0;
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

/* loadbasis and loadpresolvebasis. */
template<int (*F)(QNDAprob, const int *, const int *)>
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
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
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
     {"loadbasis", API_KW(chg_basis<QNDAloadbasis>),
      "loadbasis(rstatus, cstatus)\n\nLoad a starting basis: a status per row and per column "
      "(0 at lower bound, 1 basic, 2 at upper bound, 3 superbasic)."},
     {"loadpresolvebasis", API_KW(chg_basis<QNDAloadpresolvebasis>),
      "loadpresolvebasis(rstatus, cstatus)\n\nAs loadbasis, for the presolved problem (which "
      "outside an optimisation is the problem itself)."},
     {NULL, NULL, 0, NULL}};

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
sol_get(PyObject *self, PyObject *args, PyObject *kwargs, int nout, sol_call call)
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
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
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
    return sol_get(self, args, kwargs, 4, QNDAgetpresolvesol);
}

static PyObject *
QNDA_PY_getmipsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_get(self, args, kwargs, 2,
                   [](QNDAprob prob, double *x, double *slack, double *, double *) -> int {
                       return QNDAgetmipsol(prob, x, slack);
                   });
}

/* getbasis and getpresolvebasis. */
template<int (*F)(QNDAprob, int *, int *)>
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
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
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
      "getpresolvesol(x=None, slack=None, dual=None, dj=None)\n\nAs getlpsol, for the problem "
      "the engine solved."},
     {"getmipsol", API_KW(QNDA_PY_getmipsol),
      "getmipsol(x=None, slack=None)\n\nFill the given lists with the best MIP solution."},
     {"getbasis", API_KW(sol_basis<QNDAgetbasis>),
      "getbasis(rstatus, cstatus)\n\nFill the lists with the basis statuses of rows and columns "
      "(0 at lower bound, 1 basic, 2 at upper bound); either may be None."},
     {"getpresolvebasis", API_KW(sol_basis<QNDAgetpresolvebasis>),
      "getpresolvebasis(rstatus, cstatus)\n\nAs getbasis, for the presolved problem (which "
      "outside an optimisation is the problem itself)."},
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
      "getpivots(in, outlist, x, maxpiv)\n\nPivots of the last optimal basis for the entering "
      "variable in (a var, a constraint for its slack, or a combined index: row i as i, column "
      "j as rows + j): outlist gets up to maxpiv leaving variables (constraint or var "
      "objects), x the row slacks then the columns after the pivot; returns (objective after "
      "the pivot, number of leaving candidates)."},
     {"getpresolvemap", API_KW(QNDA_PY_getpresolvemap),
      "getpresolvemap(rowmap, colmap)\n\nFill the lists with the original row and column of "
      "each presolved row and column."},
     {"getmessagestatus", API_KW(QNDA_PY_getmessagestatus),
      "getmessagestatus(errcode)\n\n1 when the library shows messages, 0 when they are "
      "switched off."},
     {NULL, NULL, 0, NULL}};
