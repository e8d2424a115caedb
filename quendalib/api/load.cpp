/* Loading a whole problem and appending rows, columns and quadratic terms
 * at matrix level.  The rows and columns these calls make get their
 * constraint and var objects in the problem's lists and maps before the
 * library call, so that a model loaded this way is used by object and by
 * name like one built with operators; when the library then refuses the
 * call, the objects stay (there is nothing sensible to roll back to). */
#include "api/wrap.h"

#include <string.h>

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
            a.in(o[24], &nsetel, &ref, CONV_DOUBLE))
            return NULL;
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
    if (a.in(qrtype_o, &nrows, &rowtype, CONV_CHAR) || a.in(rhs_o, &nrows, &rhs, CONV_DOUBLE) ||
        a.in(mstart_o, &nstart, &start, CONV_INT64) || a.in(mclind_o, &nnz, &colind, CONV_COL) ||
        a.in(dmatval_o, &nnz, &val, CONV_DOUBLE) || a.in(range_o, &nrows, &range, CONV_DOUBLE))
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
    if (a.in(objx_o, &ncols, &obj, CONV_DOUBLE) || a.in(mstart_o, &nstart, &start, CONV_INT64) ||
        a.in(mrwind_o, &nnz, &rowind, CONV_ROW) || a.in(dmatval_o, &nnz, &val, CONV_DOUBLE) ||
        a.in(bdl_o, &ncols, &lb, CONV_DOUBLE) || a.in(bdu_o, &ncols, &ub, CONV_DOUBLE))
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
