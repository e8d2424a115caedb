/* The cut methods of the problem: the cut pool and the cuts a node callback
 * gives to the running search.  Cut handles travel as quenda.poolcut
 * objects, stored bounds as a quenda.generic; a selection of cuts is a
 * (type, interpretation) pair, or a list of poolcut objects that overrides
 * it. */
#include "api/wrap.h"

#include "api/analysis.h"
#include "module/handles.h"

/* The rows of a cut batch: types, row types, right-hand sides and the
 * matrix, checked so that the library never reads past what was given. */
struct cut_rows {
    QNDAint64 n = -1;
    int *type = NULL, *start = NULL, *col = NULL;
    char *rowtype = NULL;
    double *rhs = NULL, *val = NULL;
};

/* 0, or -1 with an exception set. */
static int
cut_rows_read(api_arrays &a, cut_rows &r, PyObject *mtype, PyObject *qrtype, PyObject *drhs,
              PyObject *mstart, PyObject *mcols, PyObject *dmatval)
{
    QNDAint64 nstart, nnz = -1;
    if (api_absent(mtype) || api_absent(qrtype) || api_absent(drhs) || api_absent(mstart))
        return api_missing("Must provide arguments mtype, qrtype, drhs, mstart");
    if (a.in(mtype, &r.n, &r.type, CONV_INT) || a.in(qrtype, &r.n, &r.rowtype, CONV_CHAR) ||
        a.in(drhs, &r.n, &r.rhs, CONV_DOUBLE))
        return -1;
    nstart = r.n + 1; /* one start per cut and the end */
    if (a.in(mstart, &nstart, &r.start, CONV_INT) || a.in(mcols, &nnz, &r.col, CONV_COL) ||
        a.in(dmatval, &nnz, &r.val, CONV_DOUBLE))
        return -1;
    if (nnz < 0)
        nnz = 0;
    for (QNDAint64 i = 0; i < r.n; i++) {
        if (r.start[i] < 0 || r.start[i + 1] < r.start[i] || r.start[i + 1] > nnz) {
            PyErr_Format(quenda_ModelError,
                         "mstart of cut %lld spans entries %d to %d, outside the %lld given",
                         (long long)i, r.start[i], r.start[i + 1], (long long)nnz);
            return -1;
        }
    }
    return 0;
}

/* The handles of an optional list of poolcut objects: *n -1 and *cuts NULL
 * when absent.  0, or -1 with an exception set. */
static int
cut_list(api_arrays &a, PyObject *obj, QNDAint64 *n, void ***cuts)
{
    *n = -1;
    *cuts = NULL;
    if (api_absent(obj))
        return 0;
    return a.in(obj, n, cuts, CONV_CUT);
}

static PyObject *
QNDA_PY_addcuts(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mtype", "qrtype", "drhs", "mstart", "mcols", "dmatval", NULL};
    PyObject *o[6] = {NULL, NULL, NULL, NULL, NULL, NULL};
    api_arrays a(self);
    cut_rows r;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOO|OO", (char **)kwlist, &o[0], &o[1], &o[2],
                                     &o[3], &o[4], &o[5]) ||
        api_prob(self) == NULL || cut_rows_read(a, r, o[0], o[1], o[2], o[3], o[4], o[5]) != 0)
        return NULL;
    return api_none_if(self, QNDAaddcuts(api_handle(self), (int)r.n, r.type, r.rowtype, r.rhs,
                                         r.start, r.col, r.val));
}

static PyObject *
QNDA_PY_storecuts(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"nodupl", "mtype", "qrtype",  "drhs", "mstart",
                                   "mindex", "mcols", "dmatval", NULL};
    PyObject *o[7] = {NULL, NULL, NULL, NULL, NULL, NULL, NULL};
    int nodupl;
    api_arrays a(self);
    cut_rows r;
    QNDAcut *ids = NULL;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "iOOOOO|OO", (char **)kwlist, &nodupl, &o[0],
                                     &o[1], &o[2], &o[3], &o[4], &o[5], &o[6]) ||
        api_prob(self) == NULL || api_check_outlist(o[4], "mindex") != 0 ||
        cut_rows_read(a, r, o[0], o[1], o[2], o[3], o[5], o[6]) != 0 ||
        (ids = a.make<QNDAcut>(r.n)) == NULL)
        return NULL;
    if (QNDAstorecuts(api_handle(self), (int)r.n, nodupl, r.type, r.rowtype, r.rhs, r.start, ids,
                      r.col, r.val) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, r.n, ids, &o[4], CONV_CUT) != 0)
        return NULL;
    Py_RETURN_NONE;
}

/* loadcuts and delcpcuts: a selection (itype, interp) or a list. */
template<int (*F)(QNDAprob, int, int, int, const QNDAcut *)>
static PyObject *
cut_select_call(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"itype", "interp", "cutind", NULL};
    int itype, interp;
    PyObject *cutind = NULL;
    api_arrays a(self);
    QNDAint64 n;
    void **cuts;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "ii|O", (char **)kwlist, &itype, &interp,
                                     &cutind) ||
        api_prob(self) == NULL || cut_list(a, cutind, &n, &cuts) != 0)
        return NULL;
    return api_none_if(self, F(api_handle(self), itype, interp, (int)n, (const QNDAcut *)cuts));
}

static PyObject *
QNDA_PY_loadcuts(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return cut_select_call<QNDAloadcuts>(self, args, kwargs);
}

static PyObject *
QNDA_PY_delcuts(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"ibasis", "itype", "interp", "delta", "cutind", NULL};
    int ibasis, itype, interp;
    double delta;
    PyObject *cutind = NULL;
    api_arrays a(self);
    QNDAint64 n;
    void **cuts;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "iiid|O", (char **)kwlist, &ibasis, &itype,
                                     &interp, &delta, &cutind) ||
        api_prob(self) == NULL || cut_list(a, cutind, &n, &cuts) != 0)
        return NULL;
    return api_none_if(self, QNDAdelcuts(api_handle(self), ibasis, itype, interp, delta, (int)n,
                                         (const QNDAcut *)cuts));
}

static PyObject *
QNDA_PY_delcpcuts(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return cut_select_call<QNDAdelcpcuts>(self, args, kwargs);
}

static PyObject *
QNDA_PY_getcutlist(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"itype", "interp", "cutind", NULL};
    int itype, interp, n = 0;
    PyObject *cutind;
    api_arrays a(self);
    QNDAcut *ids;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "iiO", (char **)kwlist, &itype, &interp,
                                     &cutind) ||
        api_prob(self) == NULL || api_check_outlist(cutind, "cutind") != 0)
        return NULL;
    /* The count first, then the handles. */
    if (QNDAgetcutlist(api_handle(self), itype, interp, &n, 0, NULL) != 0)
        return api_fail(self);
    if ((ids = a.make<QNDAcut>(n)) == NULL)
        return NULL;
    if (QNDAgetcutlist(api_handle(self), itype, interp, &n, n, ids) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, n, ids, &cutind, CONV_CUT) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getcpcutlist(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"itype", "interp", "delta", "cutind", "viol", NULL};
    int itype, interp, n = 0;
    double delta;
    PyObject *cutind, *viol = NULL;
    api_arrays a(self);
    QNDAcut *ids;
    double *v;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "iidO|O", (char **)kwlist, &itype, &interp,
                                     &delta, &cutind, &viol) ||
        api_prob(self) == NULL || api_check_outlist(cutind, "cutind") != 0 ||
        api_check_outlist(viol, "viol") != 0)
        return NULL;
    if (QNDAgetcpcutlist(api_handle(self), itype, interp, delta, &n, 0, NULL, NULL) != 0)
        return api_fail(self);
    if ((ids = a.make<QNDAcut>(n)) == NULL || (v = a.make<double>(n)) == NULL)
        return NULL;
    if (QNDAgetcpcutlist(api_handle(self), itype, interp, delta, &n, n, ids, v) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, n, ids, &cutind, CONV_CUT) != 0)
        return NULL;
    return conv_arr2obj(self, n, v, &viol, CONV_DOUBLE) != 0 ? NULL : Py_NewRef(Py_None);
}

static PyObject *
QNDA_PY_getcpcuts(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mindex", "mtype",   "qrtype", "mstart",
                                   "mcols",  "dmatval", "drhs",   NULL};
    PyObject *mindex, *o[6] = {NULL, NULL, NULL, NULL, NULL, NULL};
    static const char *const names[6] = {"mtype", "qrtype", "mstart", "mcols", "dmatval", "drhs"};
    api_arrays a(self);
    QNDAint64 n = -1;
    void **cuts;
    int *type, *start, *col, nnz;
    char *rowtype;
    double *val, *rhs;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|OOOOOO", (char **)kwlist, &mindex, &o[0],
                                     &o[1], &o[2], &o[3], &o[4], &o[5]) ||
        api_prob(self) == NULL)
        return NULL;
    for (int i = 0; i < 6; i++)
        if (api_check_outlist(o[i], names[i]) != 0)
            return NULL;
    if (api_absent(mindex)) {
        api_missing("Must provide argument mindex");
        return NULL;
    }
    if (a.in(mindex, &n, &cuts, CONV_CUT) != 0 || (start = a.make<int>(n + 1)) == NULL)
        return NULL;
    /* The starts first: they size the coefficients. */
    if (QNDAgetcpcuts(api_handle(self), (const QNDAcut *)cuts, (int)n, 0, NULL, NULL, start, NULL,
                      NULL, NULL) != 0)
        return api_fail(self);
    nnz = start[n];
    if (a.want(o[0], n, &type) || a.want(o[1], n, &rowtype) || a.want(o[3], nnz, &col) ||
        a.want(o[4], nnz, &val) || a.want(o[5], n, &rhs))
        return NULL;
    if (QNDAgetcpcuts(api_handle(self), (const QNDAcut *)cuts, (int)n, nnz, type, rowtype, start,
                      col, val, rhs) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, n, type, &o[0], CONV_INT) != 0 ||
        conv_arr2obj(self, n, rowtype, &o[1], CONV_CHAR) != 0 ||
        conv_arr2obj(self, n + 1, start, &o[2], CONV_INT) != 0 ||
        conv_arr2obj(self, nnz, col, &o[3], CONV_COL) != 0 ||
        conv_arr2obj(self, nnz, val, &o[4], CONV_DOUBLE) != 0 ||
        conv_arr2obj(self, n, rhs, &o[5], CONV_DOUBLE) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getcutmap(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"cutind", "cutmap", NULL};
    PyObject *cutind, *cutmap;
    api_arrays a(self);
    QNDAint64 n = -1;
    void **cuts;
    int *map;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &cutind, &cutmap) ||
        api_prob(self) == NULL || api_check_outlist(cutmap, "cutmap") != 0)
        return NULL;
    if (api_absent(cutind) || api_absent(cutmap)) {
        api_missing("Must provide arguments cutind and cutmap");
        return NULL;
    }
    if (a.in(cutind, &n, &cuts, CONV_CUT) != 0 || (map = a.make<int>(n)) == NULL)
        return NULL;
    if (QNDAgetcutmap(api_handle(self), (int)n, (const QNDAcut *)cuts, map) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, n, map, &cutmap, CONV_INT) != 0)
        return NULL;
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getcutslack(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"cut", NULL};
    PyObject *cut;
    double slack = 0.0;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O!", (char **)kwlist, &quenda_poolcutType,
                                     &cut) ||
        api_prob(self) == NULL)
        return NULL;
    if (QNDAgetcutslack(api_handle(self), (QNDAcut)poolcut_getcut(cut), &slack) != 0)
        return api_fail(self);
    return PyFloat_FromDouble(slack);
}

static PyObject *
QNDA_PY_setbranchcuts(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mindex", NULL};
    PyObject *mindex;
    api_arrays a(self);
    QNDAint64 n = -1;
    void **cuts;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O", (char **)kwlist, &mindex) ||
        api_prob(self) == NULL || a.in(mindex, &n, &cuts, CONV_CUT) != 0)
        return NULL;
    return api_none_if(self, QNDAsetbranchcuts(api_handle(self), n < 0 ? 0 : (int)n,
                                               (const QNDAcut *)cuts));
}

static PyObject *
QNDA_PY_storebounds(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mcols", "qbtype", "dbnd", NULL};
    PyObject *mcols, *qbtype, *dbnd;
    api_arrays a(self);
    QNDAint64 n = -1;
    int *col;
    char *type;
    double *val;
    void *bounds = NULL;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOO", (char **)kwlist, &mcols, &qbtype,
                                     &dbnd) ||
        api_prob(self) == NULL)
        return NULL;
    if (api_absent(mcols) || api_absent(qbtype) || api_absent(dbnd)) {
        api_missing("Must provide arguments mcols, qbtype, dbnd");
        return NULL;
    }
    if (a.in(mcols, &n, &col, CONV_COL) || a.in(qbtype, &n, &type, CONV_CHAR) ||
        a.in(dbnd, &n, &val, CONV_DOUBLE))
        return NULL;
    if (QNDAstorebounds(api_handle(self), (int)n, col, type, val, &bounds) != 0)
        return api_fail(self);
    return generic_create(bounds);
}

static PyObject *
QNDA_PY_setbranchbounds(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"bounds", NULL};
    PyObject *bounds;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O!", (char **)kwlist, &quenda_genericType,
                                     &bounds) ||
        api_prob(self) == NULL)
        return NULL;
    return api_none_if(self, QNDAsetbranchbounds(api_handle(self), generic_getptr(bounds)));
}

PyMethodDef api_cut_methods[] =
    {{"addcuts", API_KW(QNDA_PY_addcuts),
      "addcuts(mtype, qrtype, drhs, mstart, mcols=None, dmatval=None) -> None: Give cuts to the "
      "node at hand (inside optnode or preintsol); they enter the cut pool too.  mstart has one "
      "entry per cut and the end."},
     {"storecuts", API_KW(QNDA_PY_storecuts),
      "storecuts(nodupl, mtype, qrtype, drhs, mstart, mindex, mcols=None, dmatval=None) -> None: "
      "Store cuts in the cut pool and fill mindex with their poolcut handles; nodupl 1 (2) gives "
      "a cut equal to a stored one of the same (any) type that one's handle."},
     {"loadcuts", API_KW(QNDA_PY_loadcuts),
      "loadcuts(itype, interp, cutind=None) -> None: Give pool cuts to the node at hand: those "
      "listed, else those of type itype (interp -1 every cut, 1 equal type, 2 any bit, 3 all "
      "bits)."},
     {"delcuts", API_KW(QNDA_PY_delcuts),
      "delcuts(ibasis, itype, interp, delta, cutind=None) -> None: Take back cuts given to the "
      "node at this event before the engine sees them."},
     {"delcpcuts", API_KW(QNDA_PY_delcpcuts),
      "delcpcuts(itype, interp, cutind=None) -> None: Delete cuts from the cut pool."},
     {"getcutlist", API_KW(QNDA_PY_getcutlist),
      "getcutlist(itype, interp, cutind) -> None: Fill cutind with the pool cuts of the selection "
      "in the node's matrix."},
     {"getcpcutlist", API_KW(QNDA_PY_getcpcutlist),
      "getcpcutlist(itype, interp, delta, cutind, viol=None) -> None: Fill cutind (and viol) with "
      "the pool cuts of the selection violated by more than delta at the node's solution."},
     {"getcpcuts", API_KW(QNDA_PY_getcpcuts),
      "getcpcuts(mindex, mtype=None, qrtype=None, mstart=None, mcols=None, dmatval=None, "
      "drhs=None) -> None: Fill the given lists with the data of the pool cuts in mindex."},
     {"getcutmap", API_KW(QNDA_PY_getcutmap),
      "getcutmap(cutind, cutmap) -> None: Fill cutmap with each cut's row in the node's matrix, "
      "-1 for a cut not in it."},
     {"getcutslack", API_KW(QNDA_PY_getcutslack),
      "getcutslack(cut) -> float: The slack (rhs - a'x) of a pool cut at the node's solution."},
     {"setbranchcuts", API_KW(QNDA_PY_setbranchcuts),
      "setbranchcuts(mindex) -> None: Give the pool cuts listed to the node at hand and every "
      "node below it."},
     {"storebounds", API_KW(QNDA_PY_storebounds),
      "storebounds(mcols, qbtype, dbnd) -> generic: Keep bounds (type L, U or B) for "
      "setbranchbounds."},
     {"setbranchbounds", API_KW(QNDA_PY_setbranchbounds),
      "setbranchbounds(bounds) -> None: Impose bounds kept by storebounds on the node at hand and "
      "every node below it."},
     {NULL, NULL, 0, NULL}};
