/* NumPy comparisons of arrays of modelling objects build constraints.
 *
 * `a <= b` with an ndarray operand is decided by NumPy's less_equal ufunc
 * (greater_equal, equal likewise), whose object loop returns booleans.  The
 * hook makes object comparisons return what each pair's comparison returns:
 * a constraint when a modelling object is involved, True/False otherwise.
 *
 * NumPy 1.x: the array operators call the entries of NumPy's numeric-
 * operations table, which can be replaced (PyArray_SetNumericOps).  For
 * each operator we build a ufunc with the same legacy loops as NumPy's,
 * except that the object loops give objects (constraints for modelling
 * objects), and install a small dispatcher that calls it when objects are
 * compared and NumPy's own ufunc otherwise (NumPy's string and other newer
 * loops are not in the legacy table).  The originals are put back at
 * teardown.
 *
 * NumPy 2.x: that table no longer exists; the operators call the very
 * np.less_equal & co.  npcompare_np2.cpp registers promoters on them that
 * send object comparisons to NumPy's own object-output loop.
 *
 * The route is chosen from the version of the NumPy found at run time; the
 * module is built once against NumPy 2's headers.  The NumPy 1.x pieces
 * that NumPy 2's headers no longer describe (the numeric-operations calls,
 * the 1.x ufunc record) are spelt out here from NumPy 1.x's ABI. */
#include "algebra/npcompare.h"

#include "algebra/constraint.h"
#include "algebra/expression.h"
#include "algebra/linterm.h"
#include "algebra/nonlinear.h"
#include "algebra/quadterm.h"
#include "algebra/var.h"
#include "module/npy.h"

/* NumPy 2 route (npcompare_np2.cpp). */
int quenda_numpy2_compare_install(void);

/* ------------------------------------------------------- NumPy 1.x ABI */

/* Slots 40 and 41 of NumPy 1.x's array API table. */
typedef int (*np1_setnumericops_fn)(PyObject *);
typedef PyObject *(*np1_getnumericops_fn)(void);
#define NP1_SET_NUMERIC_OPS ((np1_setnumericops_fn)PyArray_API[40])
#define NP1_GET_NUMERIC_OPS ((np1_getnumericops_fn)PyArray_API[41])

/* The head of NumPy 1.x's ufunc record, up to the type resolver. */
typedef struct {
    PyObject_HEAD
    int nin, nout, nargs;
    int identity;
    PyUFuncGenericFunction *functions;
    void **data;
    int ntypes;
    int reserved1;
    const char *name;
    char *types;
    const char *doc;
    void *ptr;
    PyObject *obj;
    PyObject *userloops;
    int core_enabled;
    int core_num_dim_ix;
    int *core_num_dims;
    int *core_dim_ixs;
    int *core_offsets;
    char *core_signature;
    void *type_resolver;
} np1_ufunc;

/* What the object loop of one replacement ufunc needs. */
typedef struct {
    int op;                      /* Py_LE, Py_GE or Py_EQ */
    PyUFuncGenericFunction orig; /* the original OO->? loop */
    void *orig_data;
} np1_loopinfo;

typedef struct {
    const char *name;
    const char *doc;
    int op;
    PyObject *saved;                   /* owned: NumPy's original ufunc */
    PyObject *replacement;             /* owned: our ufunc with object loops */
    PyObject *installed;               /* owned: the callable put in NumPy's table */
    PyUFuncGenericFunction *functions; /* the three loop arrays of ours */
    void **data;
    char *types;
    np1_loopinfo info;
} np1_hook;

static np1_hook np1_hooks[3] = {
    {"less_equal", "Return constraint lhs <= rhs", Py_LE},
    {"greater_equal", "Return constraint lhs >= rhs", Py_GE},
    {"equal", "Return constraint lhs == rhs", Py_EQ},
};
static int np1_installed;

static inline int
is_algebra_object(PyObject *o)
{
    return VAR_CHECK(o) || LINTERM_CHECK(o) || QUADTERM_CHECK(o) || EXPRESSION_CHECK(o) ||
           NONLIN_CHECK(o);
}

/* Object loop: a constraint when either element is a modelling object,
 * otherwise the original loop's answer as True/False. */
static void
np1_compare_loop(char **args, npy_intp const *dimensions, npy_intp const *steps, void *data)
{
    const np1_loopinfo *info = (const np1_loopinfo *)data;
    char *in1 = args[0], *in2 = args[1], *out = args[2];
    npy_intp i, n = dimensions[0];

    for (i = 0; i < n; ++i, in1 += steps[0], in2 += steps[1], out += steps[2]) {
        PyObject *a = *(PyObject **)in1, *b = *(PyObject **)in2, *res;
        if (a == NULL)
            a = Py_None;
        if (b == NULL)
            b = Py_None;
        if (is_algebra_object(a) || is_algebra_object(b)) {
            /* The pair's own comparison, reflected as Python does it
             * (1 <= x is x >= 1), exactly as under NumPy 2. */
            res = PyObject_RichCompare(a, b, info->op);
        } else {
            npy_bool r = 0;
            char *sub[3] = {(char *)&a, (char *)&b, (char *)&r};
            npy_intp one = 1, zero[3] = {0, 0, 0};
            info->orig(sub, &one, zero, info->orig_data);
            if (PyErr_Occurred())
                return;
            res = PyBool_FromLong(r);
        }
        if (res == NULL)
            return;
        Py_XSETREF(*(PyObject **)out, res);
    }
}

static void
np1_hook_free(np1_hook *h)
{
    Py_CLEAR(h->saved);
    Py_CLEAR(h->installed);
    /* The loop arrays live as long as our ufunc: free them only when
     * nobody else holds it. */
    if (h->replacement != NULL && Py_REFCNT(h->replacement) > 1) {
        Py_CLEAR(h->replacement);
        h->functions = NULL;
        h->data = NULL;
        h->types = NULL;
        return;
    }
    Py_CLEAR(h->replacement);
    PyMem_RawFree(h->functions);
    PyMem_RawFree(h->data);
    PyMem_RawFree(h->types);
    h->functions = NULL;
    h->data = NULL;
    h->types = NULL;
}

/* Builds h->replacement from h->saved.  0 or -1. */
static int
np1_hook_build(np1_hook *h)
{
    np1_ufunc *uf = (np1_ufunc *)h->saved;
    int i, k, nargs = uf->nin + uf->nout, found = 0;

    if (uf->nin != 2 || uf->nout != 1 || uf->ntypes <= 0) {
        PyErr_Format(PyExc_RuntimeError, "Unexpected layout of NumPy's %s", h->name);
        return -1;
    }
    h->functions =
        (PyUFuncGenericFunction *)PyMem_RawCalloc(uf->ntypes, sizeof(PyUFuncGenericFunction));
    h->data = (void **)PyMem_RawCalloc(uf->ntypes, sizeof(void *));
    h->types = (char *)PyMem_RawCalloc((size_t)uf->ntypes * nargs, 1);
    if (h->functions == NULL || h->data == NULL || h->types == NULL) {
        PyErr_NoMemory();
        return -1;
    }
    h->info.op = h->op;
    for (i = 0; i < uf->ntypes; ++i) {
        char *t = uf->types + i * nargs;
        for (k = 0; k < nargs; ++k)
            h->types[i * nargs + k] = t[k];
        h->functions[i] = uf->functions[i];
        h->data[i] = uf->data ? uf->data[i] : NULL;
        if (t[0] == NPY_OBJECT && t[1] == NPY_OBJECT) {
            if (t[2] == NPY_BOOL && !found) {
                h->info.orig = uf->functions[i];
                h->info.orig_data = h->data[i];
                found = 1;
            }
            h->types[i * nargs + 2] = NPY_OBJECT;
            h->functions[i] = np1_compare_loop;
            h->data[i] = &h->info;
        }
    }
    if (!found) {
        PyErr_Format(PyExc_RuntimeError, "NumPy's %s has no object loop", h->name);
        return -1;
    }
    h->replacement = PyUFunc_FromFuncAndData(h->functions, h->data, h->types, uf->ntypes, 2, 1,
                                             PyUFunc_None, h->name, h->doc, 0);
    if (h->replacement == NULL)
        return -1;
    /* Keep NumPy's own resolution of the non-object loops (datetimes,
     * mixed signed/unsigned integers). */
    ((np1_ufunc *)h->replacement)->type_resolver = uf->type_resolver;
    return 0;
}

/* 1 when the operand makes NumPy compare objects: an object array, a
 * modelling object, or something (a list) that becomes an object array. */
static int
np1_operand_is_object(PyObject *o)
{
    PyArrayObject *arr;
    int res;
    if (PyArray_Check(o))
        return PyArray_TYPE((PyArrayObject *)o) == NPY_OBJECT;
    if (is_algebra_object(o))
        return 1;
    if (PyFloat_Check(o) || PyLong_Check(o) || PyComplex_Check(o) || PyUnicode_Check(o) ||
        PyBytes_Check(o) || o == Py_None || PyArray_IsScalar(o, Generic))
        return 0;
    arr = (PyArrayObject *)PyArray_FROM_O(o);
    if (arr == NULL) {
        PyErr_Clear();
        return 0;
    }
    res = PyArray_TYPE(arr) == NPY_OBJECT;
    Py_DECREF(arr);
    return res;
}

/* What NumPy's array operators call: our ufunc when objects are compared,
 * NumPy's own otherwise (so strings, dates and the rest are untouched).
 * self is the hook's (original, replacement) pair. */
static PyObject *
np1_dispatch(PyObject *self, PyObject *args, PyObject *kwargs)
{
    PyObject *orig = PyTuple_GET_ITEM(self, 0), *repl = PyTuple_GET_ITEM(self, 1);
    Py_ssize_t i, n = PyTuple_GET_SIZE(args);
    for (i = 0; i < n && i < 2; ++i)
        if (np1_operand_is_object(PyTuple_GET_ITEM(args, i)))
            return PyObject_Call(repl, args, kwargs);
    return PyObject_Call(orig, args, kwargs);
}

static PyMethodDef np1_dispatch_defs[3] = {
    {"less_equal", (PyCFunction)(void (*)(void))np1_dispatch, METH_VARARGS | METH_KEYWORDS,
     "Return constraint lhs <= rhs"},
    {"greater_equal", (PyCFunction)(void (*)(void))np1_dispatch, METH_VARARGS | METH_KEYWORDS,
     "Return constraint lhs >= rhs"},
    {"equal", (PyCFunction)(void (*)(void))np1_dispatch, METH_VARARGS | METH_KEYWORDS,
     "Return constraint lhs == rhs"},
};

/* NumPy 1.25+ warns that its numeric-operations calls are deprecated; the
 * calls are made with that warning ignored.  New reference to the entered
 * warnings.catch_warnings() context, or NULL. */
static PyObject *
np1_quiet_enter(void)
{
    PyObject *warnings = NULL, *cm = NULL, *r = NULL;
    warnings = PyImport_ImportModule("warnings");
    if (warnings == NULL)
        goto error;
    cm = PyObject_CallMethod(warnings, "catch_warnings", NULL);
    if (cm == NULL)
        goto error;
    r = PyObject_CallMethod(cm, "__enter__", NULL);
    if (r == NULL)
        goto error;
    Py_DECREF(r);
    r = PyObject_CallMethod(warnings, "simplefilter", "sO", "ignore", PyExc_DeprecationWarning);
    if (r == NULL) {
        PyObject *x = PyObject_CallMethod(cm, "__exit__", "OOO", Py_None, Py_None, Py_None);
        Py_XDECREF(x);
        goto error;
    }
    Py_DECREF(r);
    Py_DECREF(warnings);
    return cm;
error:
    Py_XDECREF(warnings);
    Py_XDECREF(cm);
    return NULL;
}

static void
np1_quiet_exit(PyObject *cm)
{
    PyObject *et, *ev, *tb, *r;
    PyErr_Fetch(&et, &ev, &tb);
    r = PyObject_CallMethod(cm, "__exit__", "OOO", Py_None, Py_None, Py_None);
    if (r == NULL)
        PyErr_Clear();
    Py_XDECREF(r);
    Py_DECREF(cm);
    PyErr_Restore(et, ev, tb);
}

static int
np1_install(void)
{
    PyObject *ops = NULL, *repl = NULL, *quiet = NULL, *pair = NULL;
    int i;

    quiet = np1_quiet_enter();
    if (quiet == NULL)
        goto error;
    ops = NP1_GET_NUMERIC_OPS();
    if (ops == NULL)
        goto error;
    for (i = 0; i < 3; ++i) {
        PyObject *u = PyDict_GetItemString(ops, np1_hooks[i].name); /* borrowed */
        if (u == NULL || !PyObject_TypeCheck(u, &PyUFunc_Type)) {
            PyErr_Format(PyExc_RuntimeError, "NumPy has no %s operation", np1_hooks[i].name);
            goto error;
        }
        Py_INCREF(u);
        np1_hooks[i].saved = u;
        if (np1_hook_build(&np1_hooks[i]) < 0)
            goto error;
        pair = PyTuple_Pack(2, np1_hooks[i].saved, np1_hooks[i].replacement);
        if (pair == NULL)
            goto error;
        np1_hooks[i].installed = PyCFunction_New(&np1_dispatch_defs[i], pair);
        Py_CLEAR(pair);
        if (np1_hooks[i].installed == NULL)
            goto error;
    }
    repl = PyDict_New();
    if (repl == NULL)
        goto error;
    for (i = 0; i < 3; ++i)
        if (PyDict_SetItemString(repl, np1_hooks[i].name, np1_hooks[i].installed) < 0)
            goto error;
    if (NP1_SET_NUMERIC_OPS(repl) < 0)
        goto error;
    np1_installed = 1;
    Py_DECREF(repl);
    Py_DECREF(ops);
    np1_quiet_exit(quiet);
    return 0;

error:
    Py_XDECREF(repl);
    Py_XDECREF(ops);
    Py_XDECREF(pair);
    if (quiet != NULL)
        np1_quiet_exit(quiet);
    for (i = 0; i < 3; ++i)
        np1_hook_free(&np1_hooks[i]);
    return -1;
}

static void
np1_restore(void)
{
    PyObject *orig = NULL, *quiet = NULL;
    int i;

    if (!np1_installed)
        return;
    quiet = np1_quiet_enter();
    orig = PyDict_New();
    if (orig != NULL) {
        for (i = 0; i < 3; ++i)
            if (PyDict_SetItemString(orig, np1_hooks[i].name, np1_hooks[i].saved) < 0)
                break;
        if (i == 3)
            NP1_SET_NUMERIC_OPS(orig);
        Py_DECREF(orig);
    }
    if (PyErr_Occurred())
        PyErr_Clear();
    if (quiet != NULL)
        np1_quiet_exit(quiet);
    for (i = 0; i < 3; ++i)
        np1_hook_free(&np1_hooks[i]);
    np1_installed = 0;
}

/* ------------------------------------------------------------ dispatch */

static int
numpy_is_2(void)
{
    return PyArray_GetNDArrayCFeatureVersion() >= NPY_2_0_API_VERSION;
}

int
quenda_numpy_compare_install(void)
{
    if (numpy_is_2())
        return quenda_numpy2_compare_install();
    return np1_install();
}

void
quenda_numpy_compare_restore(void)
{
    /* NumPy 2's promoters cannot be removed; they only route object
     * comparisons to NumPy's own object loop. */
    if (!numpy_is_2())
        np1_restore();
}
