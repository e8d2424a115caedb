/* quenda.branchobj: a branching object of the library (QNDA_bo_*), built
 * by the user from a problem and a list of branches, or handed to a
 * chgbranchobject callback around the engine's own choice.  The object
 * keeps its problem (or callback view) alive; one whose handle went to the
 * library is detached (no handle, no problem). */
#include "api/api.h"
#include "api/wrap.h"

#include "algebra/algebra.h"
#include "algebra/constraint.h"

typedef struct {
    PyObject_HEAD
    QNDAbranchobject handle; /* NULL once handed over */
    PyObject *prob;          /* owned: the problem (or callback view) */
} branchobj_s;

#define BO_BAD_CREATE                                                                              \
    "Incorrect creation of branching object: must provide a problem and, optionally, a list of "   \
    "branches and a True/False flag. The flag must be True if the list of branches is provided"
#define BO_BAD_BRANCHES                                                                            \
    "The branches parameter must be a list or a tuple of elements. Each element of the "           \
    "list/tuple must be a constraint, a variable bound, or a list/tuple thereof."

void
branchobj_getlasterror(PyObject *self, int *code, char *msg, int maxbytes)
{
    branchobj_s *bo = (branchobj_s *)self;
    *code = 0;
    if (maxbytes > 0)
        msg[0] = '\0';
    if (bo->handle != NULL)
        QNDA_bo_getlasterror(bo->handle, code, msg, maxbytes, NULL);
}

/* NULL with the library's last error of the object raised. */
static PyObject *
bo_fail(PyObject *self)
{
    setQndaErrIfNull(self, NULL);
    return NULL;
}

/* The handle, or NULL with ModelError for an object without one. */
static QNDAbranchobject
bo_handle(PyObject *self)
{
    branchobj_s *bo = (branchobj_s *)self;
    if (bo->handle == NULL)
        PyErr_SetString(quenda_ModelError, "The branching object holds no branching: it was "
                                           "handed to the solver, or the solver proposed none");
    return bo->handle;
}

/* ------------------------------------------------------------------ */
/* Branches given to the constructor                                    */

/* Branch i gets the bounds of a*x on the limits lo..up (the body's constant
 * already taken off). */
static int
bo_add_bound(branchobj_s *bo, int i, int col, double a, double lo, double up)
{
    char type[2];
    int cols[2];
    double vals[2];
    int n = 0;
    double lower = -1e21, upper = 1e21;

    if (a == 0.0) {
        PyErr_SetString(quenda_ModelError, "Coefficient zero in branch");
        return -1;
    }
    if (a > 0) {
        if (lo > -5e19)
            lower = lo / a;
        if (up < 5e19)
            upper = up / a;
    } else {
        if (up < 5e19)
            lower = up / a;
        if (lo > -5e19)
            upper = lo / a;
    }
    if (lower > -1e20) {
        type[n] = 'L';
        cols[n] = col;
        vals[n++] = lower;
    }
    if (upper < 1e20) {
        type[n] = 'U';
        cols[n] = col;
        vals[n++] = upper;
    }
    if (QNDA_bo_addbounds(bo->handle, i, n, type, cols, vals) != 0) {
        bo_fail((PyObject *)bo);
        return -1;
    }
    return 0;
}

/* Branch i gets the row lo <= terms <= up (a range as two rows). */
static int
bo_add_row(branchobj_s *bo, int i, const lqsplit *s, double lo, double up)
{
    int n = (int)s->nlin;
    char type[2];
    double rhs[2];
    int start[3] = {0, n, 2 * n};
    int nrows = 0, rc = -1;

    if (lo <= -QUENDA_INFINITY && up >= QUENDA_INFINITY) {
        PyErr_SetString(quenda_ModelError, "Branch cannot have a free row");
        return -1;
    }
    if (lo == up) {
        type[nrows] = 'E';
        rhs[nrows++] = lo;
    } else {
        if (lo > -QUENDA_INFINITY) {
            type[nrows] = 'G';
            rhs[nrows++] = lo;
        }
        if (up < QUENDA_INFINITY) {
            type[nrows] = 'L';
            rhs[nrows++] = up;
        }
    }
    int *cols = (int *)PyMem_Malloc(sizeof(int) * (2 * (size_t)n + 1));
    double *coefs = (double *)PyMem_Malloc(sizeof(double) * (2 * (size_t)n + 1));
    if (cols == NULL || coefs == NULL) {
        PyErr_NoMemory();
    } else {
        for (int r = 0; r < nrows; r++)
            for (int k = 0; k < n; k++) {
                cols[r * n + k] = s->lincol[k];
                coefs[r * n + k] = s->lincoef[k];
            }
        if (QNDA_bo_addrows(bo->handle, i, nrows, type, rhs, start, cols, coefs) != 0)
            bo_fail((PyObject *)bo);
        else
            rc = 0;
    }
    PyMem_Free(cols);
    PyMem_Free(coefs);
    return rc;
}

/* One member of branch i: a constraint on one variable becomes its bounds,
 * any other linear constraint a row. */
static int
bo_add_member(branchobj_s *bo, int i, PyObject *m)
{
    constraint_object *c = (constraint_object *)m;
    PyObject *nonlin = NULL, *body;
    lqsplit s;
    int rc = -1;

    if (!CONSTRAINT_CHECK(m)) {
        PyErr_Format(quenda_ModelError, "Branch %i is invalid: %s", i,
                     "element of branch not of the valid type (constraint)");
        return -1;
    }
    if (constraint_body(m, &body) != 0)
        return -1;
    if (body == NULL) {
        /* a row read from a file has bounds but no expression */
        PyErr_Format(quenda_ModelError, "Branch %i is invalid: %s", i, "constraint without a body");
        return -1;
    }
    lqsplit_init(&s);
    if (splitExpr(bo->prob, body, 1.0, &s, &nonlin) != 0) {
        /* The library's wording names the part of a constraint; here the
         * variable is missing from the branching object. */
        if (PyErr_ExceptionMatches(quenda_ModelError)) {
            PyErr_Clear();
            PyErr_SetString(quenda_ModelError,
                            "Variable in branching object has not been added to problem yet");
        }
    } else if (nonlin != NULL || s.nquad > 0) {
        PyErr_Format(quenda_ModelError,
                     "Branch %i contains a quadratic or nonlinear constraint, invalid", i);
    } else {
        double lo = c->lb > -QUENDA_INFINITY ? c->lb - s.constant : -QUENDA_INFINITY;
        double up = c->ub < QUENDA_INFINITY ? c->ub - s.constant : QUENDA_INFINITY;
        if (s.nlin <= 1)
            rc =
                bo_add_bound(bo, i, s.nlin ? s.lincol[0] : -1, s.nlin ? s.lincoef[0] : 0.0, lo, up);
        else
            rc = bo_add_row(bo, i, &s, lo, up);
    }
    Py_XDECREF(nonlin);
    Py_XDECREF(body);
    lqsplit_free(&s);
    return rc;
}

static int
bo_add_branches(branchobj_s *bo, PyObject *branches)
{
    Py_ssize_t n;
    if (!PyList_Check(branches) && !PyTuple_Check(branches)) {
        PyErr_SetString(quenda_ModelError, BO_BAD_BRANCHES);
        return -1;
    }
    n = PySequence_Size(branches);
    if (QNDA_bo_addbranches(bo->handle, (int)n) != 0) {
        bo_fail((PyObject *)bo);
        return -1;
    }
    for (Py_ssize_t i = 0; i < n; i++) {
        PyObject *el = PySequence_GetItem(branches, i);
        int rc = 0;
        if (el == NULL) {
            PyErr_Clear();
            PyErr_Format(quenda_ModelError, "Branch %i is invalid: %s", (int)i,
                         "could not get element of branch");
            return -1;
        }
        if (PyList_Check(el) || PyTuple_Check(el)) {
            for (Py_ssize_t j = 0; rc == 0 && j < PySequence_Size(el); j++) {
                PyObject *m = PySequence_GetItem(el, j);
                if (m == NULL) {
                    PyErr_Clear();
                    PyErr_Format(quenda_ModelError, "Branch %i is invalid: %s", (int)i,
                                 "could not get element of branch");
                    rc = -1;
                } else {
                    rc = bo_add_member(bo, (int)i, m);
                    Py_DECREF(m);
                }
            }
        } else {
            rc = bo_add_member(bo, (int)i, el);
        }
        Py_DECREF(el);
        if (rc != 0)
            return -1;
    }
    return 0;
}

static int
bo_flag_true(PyObject *o)
{
    if (o == NULL || o == Py_True)
        return 1;
    if (PyLong_Check(o) && !PyBool_Check(o)) {
        int overflow = 0;
        long v = PyLong_AsLongAndOverflow(o, &overflow);
        return !overflow && v == 1;
    }
    return 0;
}

/* The module gives every type the generic allocation: the work is here. */
static int
branchobj_init(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"prob", "branches", "isoriginal", NULL};
    PyObject *prob = NULL, *branches = NULL, *isoriginal = NULL;
    branchobj_s *bo = (branchobj_s *)self;
    int orig;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|OO", (char **)kwlist, &prob, &branches,
                                     &isoriginal) ||
        !PyObject_TypeCheck(prob, &quenda_problemType)) {
        PyErr_Clear();
        PyErr_SetString(quenda_ModelError, BO_BAD_CREATE);
        return -1;
    }
    if (api_prob(prob) == NULL)
        return -1;
    orig = bo_flag_true(isoriginal);
    if (!orig && branches != NULL && branches != Py_None) {
        PyErr_SetString(quenda_ModelError,
                        "Cannot define the branches of a branching object if the isoriginal "
                        "flag is false");
        return -1;
    }
    if (bo->handle != NULL) /* __init__ called again */
        QNDA_bo_destroy(bo->handle);
    bo->handle = NULL;
    Py_XSETREF(bo->prob, Py_NewRef(prob));
    if (QNDA_bo_create(&bo->handle, ((problem_s *)prob)->prob, orig) != 0) {
        bo->handle = NULL;
        setQndaErrIfNull(prob, NULL);
        return -1;
    }
    if (branches != NULL && branches != Py_None && bo_add_branches(bo, branches) != 0)
        return -1;
    return 0;
}

static void
branchobj_dealloc(PyObject *self)
{
    branchobj_s *bo = (branchobj_s *)self;
    if (bo->handle != NULL)
        QNDA_bo_destroy(bo->handle);
    bo->handle = NULL;
    Py_CLEAR(bo->prob);
    Py_TYPE(self)->tp_free(self);
}

PyObject *
branchobj_wrap(PyObject *prob, void *handle)
{
    branchobj_s *bo = PyObject_New(branchobj_s, &quenda_branchobjType);
    if (bo == NULL)
        return NULL;
    bo->handle = (QNDAbranchobject)handle;
    bo->prob = Py_XNewRef(prob);
    return (PyObject *)bo;
}

void *
branchobj_detach(PyObject *self)
{
    branchobj_s *bo = (branchobj_s *)self;
    void *handle = bo->handle;
    bo->handle = NULL;
    Py_CLEAR(bo->prob);
    return handle;
}

/* ------------------------------------------------------------------ */
/* Methods                                                              */

#define BO_GET(self, h)                                                                            \
    QNDAbranchobject h = bo_handle(self);                                                          \
    if (h == NULL)                                                                                 \
    return NULL

/* None after a library call that worked, else its error. */
static PyObject *
bo_done(PyObject *self, int rc)
{
    return rc != 0 ? bo_fail(self) : Py_NewRef(Py_None);
}

static PyObject *
branchobj_addbounds(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"ibranch", "bndtype", "bndcol", "bndval", NULL};
    long ib;
    PyObject *t, *c, *v;
    char *type;
    int *cols;
    double *vals;
    QNDAint64 n = -1;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "lOOO", (char **)kwlist, &ib, &t, &c, &v))
        return NULL;
    BO_GET(self, h);
    api_arrays a(((branchobj_s *)self)->prob);
    if (a.in(t, &n, &type, CONV_CHAR) != 0 || a.in(c, &n, &cols, CONV_COL) != 0 ||
        a.in(v, &n, &vals, CONV_DOUBLE) != 0)
        return NULL;
    return bo_done(self, QNDA_bo_addbounds(h, (int)ib, (int)n, type, cols, vals));
}

static PyObject *
branchobj_addrows(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"ibranch", "rtype", "rhs", "beg", "mcol", "val", NULL};
    long ib;
    PyObject *t, *r, *b, *c, *v;
    char *type;
    double *rhs, *vals;
    int *beg, *cols;
    QNDAint64 nrows = -1, nbeg = -1, nel = -1;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "lOOOOO", (char **)kwlist, &ib, &t, &r, &b, &c,
                                     &v))
        return NULL;
    BO_GET(self, h);
    api_arrays a(((branchobj_s *)self)->prob);
    if (a.in(t, &nrows, &type, CONV_CHAR) != 0 || a.in(r, &nrows, &rhs, CONV_DOUBLE) != 0 ||
        a.in(b, &nbeg, &beg, CONV_INT) != 0 || a.in(c, &nel, &cols, CONV_COL) != 0 ||
        a.in(v, &nel, &vals, CONV_DOUBLE) != 0)
        return NULL;
    if (nbeg != nrows && nbeg != nrows + 1) {
        PyErr_SetString(quenda_InterfaceError,
                        "beg must have one entry per row (and may end with the number of "
                        "elements)");
        return NULL;
    }
    int *start = (int *)PyMem_Malloc(sizeof(int) * ((size_t)nrows + 1));
    if (start == NULL)
        return PyErr_NoMemory();
    for (QNDAint64 i = 0; i < nrows; i++)
        start[i] = beg[i];
    start[nrows] = nbeg == nrows + 1 ? beg[nrows] : (int)(nel < 0 ? 0 : nel);
    int rc = QNDA_bo_addrows(h, (int)ib, (int)nrows, type, rhs, start, cols, vals);
    PyMem_Free(start);
    return bo_done(self, rc);
}

static PyObject *
branchobj_addcuts(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"ibranch", "cutind", NULL};
    long ib;
    PyObject *cuts;
    void **ids;
    QNDAint64 n = -1;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "lO", (char **)kwlist, &ib, &cuts))
        return NULL;
    BO_GET(self, h);
    api_arrays a(((branchobj_s *)self)->prob);
    if (a.in(cuts, &n, &ids, CONV_CUT) != 0)
        return NULL;
    return bo_done(self, QNDA_bo_addcuts(h, (int)ib, (int)n, (const QNDAcut *)ids));
}

static PyObject *
branchobj_getbounds(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"ibranch", "nbounds_size", "bndtype", "bndcol", "bndval", NULL};
    long ib, size;
    PyObject *t = Py_None, *c = Py_None, *v = Py_None;
    int n = 0;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "llOOO", (char **)kwlist, &ib, &size, &t, &c,
                                     &v))
        return NULL;
    BO_GET(self, h);
    if (QNDA_bo_getbounds(h, (int)ib, &n, 0, NULL, NULL, NULL) != 0)
        return bo_fail(self);
    int m = (int)(size < n ? (size < 0 ? 0 : size) : n);
    char *type = (char *)PyMem_Malloc((size_t)m + 1);
    int *cols = (int *)PyMem_Malloc(sizeof(int) * ((size_t)m + 1));
    double *vals = (double *)PyMem_Malloc(sizeof(double) * ((size_t)m + 1));
    PyObject *res = NULL;
    PyObject *prob = ((branchobj_s *)self)->prob;
    if (type == NULL || cols == NULL || vals == NULL)
        PyErr_NoMemory();
    else if (QNDA_bo_getbounds(h, (int)ib, &n, m, type, cols, vals) != 0)
        bo_fail(self);
    else if (conv_arr2obj(prob, m, type, &t, CONV_CHAR) == 0 &&
             conv_arr2obj(prob, m, cols, &c, CONV_COL) == 0 &&
             conv_arr2obj(prob, m, vals, &v, CONV_DOUBLE) == 0)
        res = PyLong_FromLong(n);
    PyMem_Free(type);
    PyMem_Free(cols);
    PyMem_Free(vals);
    return res;
}

static PyObject *
branchobj_getrows(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"ibranch", "nrows_size", "nelems_size", "rtype", "rrhs",
                                   "rbeg",    "mcol",       "dval",        NULL};
    long ib, rsize, esize;
    PyObject *t = Py_None, *r = Py_None, *b = Py_None, *c = Py_None, *v = Py_None;
    int nr = 0, ne = 0;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "lllOOOOO", (char **)kwlist, &ib, &rsize, &esize,
                                     &t, &r, &b, &c, &v))
        return NULL;
    BO_GET(self, h);
    if (QNDA_bo_getrows(h, (int)ib, &nr, 0, &ne, 0, NULL, NULL, NULL, NULL, NULL) != 0)
        return bo_fail(self);
    int mr = (int)(rsize < nr ? (rsize < 0 ? 0 : rsize) : nr);
    int me = (int)(esize < ne ? (esize < 0 ? 0 : esize) : ne);
    char *type = (char *)PyMem_Malloc((size_t)mr + 1);
    double *rhs = (double *)PyMem_Malloc(sizeof(double) * ((size_t)mr + 1));
    int *start = (int *)PyMem_Malloc(sizeof(int) * ((size_t)mr + 1));
    int *cols = (int *)PyMem_Malloc(sizeof(int) * ((size_t)me + 1));
    double *vals = (double *)PyMem_Malloc(sizeof(double) * ((size_t)me + 1));
    PyObject *res = NULL;
    PyObject *prob = ((branchobj_s *)self)->prob;
    if (!type || !rhs || !start || !cols || !vals)
        PyErr_NoMemory();
    else if (QNDA_bo_getrows(h, (int)ib, &nr, mr, &ne, me, type, rhs, start, cols, vals) != 0)
        bo_fail(self);
    else if (conv_arr2obj(prob, mr, type, &t, CONV_CHAR) == 0 &&
             conv_arr2obj(prob, mr, rhs, &r, CONV_DOUBLE) == 0 &&
             conv_arr2obj(prob, mr, start, &b, CONV_INT) == 0 &&
             conv_arr2obj(prob, me, cols, &c, CONV_COL) == 0 &&
             conv_arr2obj(prob, me, vals, &v, CONV_DOUBLE) == 0)
        res = Py_BuildValue("(ii)", nr, ne);
    PyMem_Free(type);
    PyMem_Free(rhs);
    PyMem_Free(start);
    PyMem_Free(cols);
    PyMem_Free(vals);
    return res;
}

/* The methods that return one int of the library, or take one. */
static PyObject *
branchobj_getbranches(PyObject *self, PyObject *)
{
    int n = 0;
    BO_GET(self, h);
    return QNDA_bo_getbranches(h, &n) != 0 ? bo_fail(self) : PyLong_FromLong(n);
}

static PyObject *
branchobj_getid(PyObject *self, PyObject *)
{
    int id = 0;
    BO_GET(self, h);
    return QNDA_bo_getid(h, &id) != 0 ? bo_fail(self) : PyLong_FromLong(id);
}

static PyObject *
branchobj_getlasterror_py(PyObject *self, PyObject *)
{
    int code = 0;
    char msg[512];
    branchobj_getlasterror(self, &code, msg, (int)sizeof msg);
    return Py_BuildValue("(is)", code, msg);
}

static PyObject *
bo_int_setter(PyObject *self, PyObject *args, PyObject *kwargs, const char *kw,
              int (*set)(QNDAbranchobject, int))
{
    const char *kwlist[] = {kw, NULL};
    long v;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "l", (char **)kwlist, &v))
        return NULL;
    BO_GET(self, h);
    return bo_done(self, set(h, (int)v));
}

/* The methods that pass one int or get one status: one line each. */
#define BO_INT_METHOD(name, kw, call)                                                              \
    static PyObject *branchobj_##name(PyObject *s, PyObject *a, PyObject *k)                       \
    {                                                                                              \
        return bo_int_setter(s, a, k, kw, call);                                                   \
    }
BO_INT_METHOD(addbranches, "nbranches", QNDA_bo_addbranches)
BO_INT_METHOD(setpriority, "priority", QNDA_bo_setpriority)
BO_INT_METHOD(setpreferredbranch, "ibranch", QNDA_bo_setpreferredbranch)

static PyObject *
bo_status_call(PyObject *self, int (*call)(QNDAbranchobject, int *))
{
    int status = 0;
    BO_GET(self, h);
    return call(h, &status) != 0 ? bo_fail(self) : PyLong_FromLong(status);
}

#define BO_STATUS_METHOD(name, call)                                                               \
    static PyObject *branchobj_##name(PyObject *s, PyObject *)                                     \
    {                                                                                              \
        return bo_status_call(s, call);                                                            \
    }

/* A stored object is the library's: this one is left without a handle. */
static PyObject *
branchobj_store(PyObject *self, PyObject *)
{
    PyObject *res = bo_status_call(self, QNDA_bo_store);
    if (res != NULL && PyLong_AsLong(res) == 0)
        branchobj_detach(self);
    return res;
}
BO_STATUS_METHOD(validate, QNDA_bo_validate)

#define KW (METH_VARARGS | METH_KEYWORDS)
#define KWFUNC(f) ((PyCFunction)(void (*)(void))(f))

#define BO_KW(name, doc) {#name, KWFUNC(branchobj_##name), KW, doc}
#define BO_NOARGS(name, f, doc) {#name, (PyCFunction)f, METH_NOARGS, doc}

static PyMethodDef branchobj_methods[] =
    {BO_KW(addbranches, "addbranches(nbranches) -> None: add nbranches empty branches"),
     BO_KW(addbounds, "addbounds(ibranch, bndtype, bndcol, bndval) -> None: bounds ('L', 'U', "
                      "'B') of branch ibranch"),
     BO_KW(addrows, "addrows(ibranch, rtype, rhs, beg, mcol, val) -> None: rows ('L', 'G', 'E') "
                    "of branch ibranch"),
     BO_KW(addcuts, "addcuts(ibranch, cutind) -> None: the rows of cuts of the cut pool (handles "
                    "from storecuts) become rows of branch ibranch"),
     BO_KW(getbounds, "getbounds(ibranch, nbounds_size, bndtype, bndcol, bndval) -> int: fills "
                      "the lists, returns the branch's number of bounds"),
     BO_KW(getrows, "getrows(ibranch, nrows_size, nelems_size, rtype, rrhs, rbeg, mcol, dval) -> "
                    "tuple[int, int]: fills the lists, returns the branch's numbers of rows and "
                    "elements"),
     BO_NOARGS(getbranches, branchobj_getbranches, "getbranches() -> int: the number of branches"),
     BO_NOARGS(getid, branchobj_getid, "getid() -> int: the object's identifier"),
     BO_NOARGS(getlasterror, branchobj_getlasterror_py,
               "getlasterror() -> tuple[int, str]: code and message of the object's last error"),
     BO_KW(setpriority, "setpriority(priority) -> None: the object's priority (lower first)"),
     BO_KW(setpreferredbranch, "setpreferredbranch(ibranch) -> None: the branch explored first"),
     BO_NOARGS(store, branchobj_store,
               "store() -> int: inside an optnode callback, offer the object as the branching of "
               "the "
               "node at hand; 0 when stored (the solver then owns it and this object holds "
               "nothing), 1 when it cannot be applied (see getlasterror)"),
     BO_NOARGS(validate, branchobj_validate,
               "validate() -> int: 0 when every branch can be applied to the problem, else 1"),
     {NULL, NULL, 0, NULL}};

PyTypeObject quenda_branchobjType = quenda_type_build(
    "quenda.branchobj", sizeof(branchobj_s), Py_TPFLAGS_DEFAULT,
    "branchobj(prob, branches=None, isoriginal=True): a branching object of problem prob, each "
    "branch a constraint or a list of constraints",
    Py_tp_dealloc, branchobj_dealloc, Py_tp_methods, branchobj_methods, Py_tp_init, branchobj_init);
