/* Results by object, name or index.
 *
 * Each of getSolution, getRCost, getDual and getSlack reads its whole
 * vector with one library call and then answers the request from it, so
 * the cost of a request is one library call plus one pass over the items
 * asked for.  Items are resolved to solver indices through the problem's
 * index maps; when a run of objects comes in solver order (the usual case:
 * an array or list of the variables as they were added) the next object is
 * checked against the next position of the problem's list first, which
 * skips the map lookup.
 *
 * An array holding exactly the problem's variables (or constraints) in
 * solver order, the usual way a model built from arrays is read back, is
 * answered by one library call straight into the result array.
 *
 * Shapes: no argument gives a list of every value; one NumPy array gives
 * an array of floats of the same shape; one dict gives a dict with the
 * same keys; one other collection (list, tuple, sequence, iterator, nested
 * to any depth up to 32) gives one flat list in walk order; one single
 * item gives a float; several arguments are walked as one collection. */
#include "problem/results.h"

#include "algebra/constraint.h"
#include "algebra/exprtype.h"
#include "algebra/maps.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "module/npy.h"
#include "module/session.h"
#include "problem/maps.h"
#include "problem/solve.h"

#include "qnda.h"
#include "qslp.h"

#include <string.h>

#define RESULTS_ATTR_ROWS 1124
#define RESULTS_ATTR_COLS 1214
#define RESULTS_ATTR_SETS 1194
#define RESULTS_SLP_ATTR_ROWS 11999
#define RESULTS_SLP_ATTR_COLS 12000
#define RESULTS_MAXDEPTH 32

static const char msg_incorrect[] =
    "Incorrect object(s) passed: need index, variable, constraint, or SOS";
static const char msg_range[] = "Index out of range";

/* ------------------------------------------------------------------ */
/* Resolving items                                                      */

static int
results_is_int(PyObject *o)
{
    return PyLong_Check(o) || PyArray_IsScalar(o, Int) || PyArray_IsScalar(o, Long) ||
           PyArray_IsScalar(o, LongLong);
}

/* Borrowed list and map of a kind. */
static PyObject *
results_list(problem_s *p, int kind)
{
    return kind == RESULTS_COLUMNS ? p->vars : kind == RESULTS_ROWS ? p->cons : p->sos;
}

int
problem_item_index(problem_s *p, PyObject *item, int kind, Py_ssize_t count, Py_ssize_t hint,
                   Py_ssize_t *index)
{
    PyObject *lst = results_list(p, kind);
    void *map = NULL;
    uint32_t id = 0;
    Py_ssize_t idx = -1;
    int mapped;

    /* The object expected next, found by its address alone: the item itself
     * is not even read, which keeps long runs to sequential memory. */
    if (hint >= 0 && hint < count && lst != NULL && hint < PyList_GET_SIZE(lst) &&
        PyList_GET_ITEM(lst, hint) == item) {
        *index = hint;
        return 0;
    }
    if (kind == RESULTS_COLUMNS && VAR_CHECK(item)) {
        map = p->varmap;
        id = VAR_ID(item);
    } else if (kind == RESULTS_ROWS && CONSTRAINT_CHECK(item)) {
        map = p->conmap;
        id = ((constraint_object *)item)->id;
    } else if (kind != RESULTS_COLUMNS && SOS_CHECK(item)) {
        /* a set asked for among rows takes its set index, as getIndex does */
        map = p->sosmap;
        id = ((sos_object *)item)->id;
        lst = p->sos;
    } else if (PyUnicode_Check(item)) {
        const char *name = PyUnicode_AsUTF8(item);
        int i = -1;
        if (name == NULL)
            return -1;
        if (QNDAgetindex(p->prob,
                         kind == RESULTS_COLUMNS ? QNDA_NAMES_COLUMNS
                         : kind == RESULTS_ROWS  ? QNDA_NAMES_ROWS
                                                 : QNDA_NAMES_SETS,
                         name, &i) != 0) {
            setQndaErrIfNull((PyObject *)p, NULL);
            return -1;
        }
        if (i < 0 || i >= count)
            goto range;
        *index = i;
        return 0;
    } else if (results_is_int(item)) {
        idx = PyNumber_AsSsize_t(item, NULL);
        if (idx == -1 && PyErr_Occurred())
            return -1;
        if (idx < 0 || idx >= count)
            goto range;
        *index = idx;
        return 0;
    } else {
        PyErr_SetString(quenda_ModelError, msg_incorrect);
        return -1;
    }

    if (problem_map_index(map, id, &mapped) != 0)
        goto range;
    idx = mapped;
    if (idx < 0 || idx >= count)
        goto range;
    *index = idx;
    return 0;
range:
    PyErr_SetString(quenda_ModelError, msg_range);
    return -1;
}

/* ------------------------------------------------------------------ */
/* Walking collections                                                  */

/* Called for every item met; 0 or -1 with an exception. */
typedef int (*results_visit)(PyObject *item, void *ctx);

static int results_walk(PyObject *obj, int depth, results_visit visit, void *ctx);

static int
results_walk_iter(PyObject *iter, int depth, results_visit visit, void *ctx)
{
    PyObject *it;
    while ((it = PyIter_Next(iter)) != NULL) {
        int rc = results_walk(it, depth + 1, visit, ctx);
        Py_DECREF(it);
        if (rc != 0)
            return -1;
    }
    return PyErr_Occurred() ? -1 : 0;
}

/* Lists, tuples, dicts (their values), arrays and other iterables are
 * walked; strings and everything else are items. */
static int
results_walk(PyObject *obj, int depth, results_visit visit, void *ctx)
{
    Py_ssize_t i;
    PyObject *iter = NULL;
    int rc;

    if (depth > RESULTS_MAXDEPTH) {
        PyErr_SetString(quenda_ModelError, "Nesting of arguments too deep");
        return -1;
    }
    if (PyList_Check(obj) || PyTuple_Check(obj)) {
        /* the list may change under a visit only through our own code */
        for (i = 0; i < PySequence_Fast_GET_SIZE(obj); i++)
            if (results_walk(PySequence_Fast_GET_ITEM(obj, i), depth + 1, visit, ctx) != 0)
                return -1;
        return 0;
    }
    if (PyDict_Check(obj)) {
        PyObject *vals = PyDict_Values(obj);
        if (vals == NULL)
            return -1;
        rc = results_walk(vals, depth, visit, ctx);
        Py_DECREF(vals);
        return rc;
    }
    if (PyUnicode_Check(obj) || PyBytes_Check(obj) || results_is_int(obj) ||
        (!is_ndarray(obj) && !PySequence_Check(obj) && !PyIter_Check(obj) &&
         Py_TYPE(obj)->tp_iter == NULL))
        return visit(obj, ctx);
    iter = PyObject_GetIter(obj);
    if (iter == NULL)
        return -1;
    rc = results_walk_iter(iter, depth, visit, ctx);
    Py_DECREF(iter);
    return rc;
}

/* ------------------------------------------------------------------ */
/* Reading one vector                                                   */

enum { READ_SOLUTION, READ_RCOST, READ_DUAL, READ_SLACK };

/* Number of values of a kind (rows or columns) in the library.  0, or -1
 * with the library's error raised. */
static int
results_count(problem_s *p, int kind, Py_ssize_t *count)
{
    int n = 0, rc;

    if (problem_is_nonlinear(p) && p->slpprob != NULL && problem_slp_in_use())
        rc = QSLPgetintattrib(p->slpprob,
                              kind == RESULTS_ROWS ? RESULTS_SLP_ATTR_ROWS : RESULTS_SLP_ATTR_COLS,
                              &n);
    else
        rc = QNDAgetintattrib(p->prob,
                              kind == RESULTS_ROWS   ? RESULTS_ATTR_ROWS
                              : kind == RESULTS_SETS ? RESULTS_ATTR_SETS
                                                     : RESULTS_ATTR_COLS,
                              &n);
    if (rc != 0) {
        setQndaErrIfNull((PyObject *)p, NULL);
        return -1;
    }
    *count = n;
    return 0;
}

/* Fills vals with the vector `what`.  0, or -1 with an exception. */
static int
results_read(problem_s *p, int what, double *vals)
{
    int mip = 0, rc;
    double *x = what == READ_SOLUTION ? vals : NULL;
    double *slack = what == READ_SLACK ? vals : NULL;
    double *dual = what == READ_DUAL ? vals : NULL;
    double *dj = what == READ_RCOST ? vals : NULL;
    static const char *const fails[] = {"Could not get solution",
                                        "Could not retrieve reduced costs",
                                        "Could not get dual solution",
                                        "Could not get constraints' slack"};

    if (problem_is_nonlinear(p) && p->slpprob != NULL && problem_slp_in_use()) {
        PyErr_SetString(quenda_SolverError, fails[what]);
        return -1;
    }
    if (problem_is_mip(p, &mip) != 0)
        return -1;
    if (mip) {
        if (what == READ_DUAL) {
            PyErr_SetString(quenda_SolverError, "Cannot retrieve dual variables in a MIP");
            return -1;
        }
        if (what == READ_RCOST) {
            PyErr_SetString(quenda_SolverError, "Cannot retrieve reduced cost in a MIP");
            return -1;
        }
        rc = QNDAgetmipsol(p->prob, x, slack);
    } else {
        rc = QNDAgetlpsol(p->prob, x, slack, dual, dj);
    }
    if (rc != 0) {
        PyErr_SetString(quenda_SolverError, fails[what]);
        return -1;
    }
    return 0;
}

/* ------------------------------------------------------------------ */
/* Shaping                                                              */

typedef struct {
    problem_s *p;
    const double *vals;
    Py_ssize_t count;
    int kind;
    Py_ssize_t hint; /* index after the last object resolved, or -1 */
    PyObject *out;   /* list being filled by results_visit_value */
} valctx;

static int
valctx_value(valctx *c, PyObject *item, double *v)
{
    Py_ssize_t idx;
    if (problem_item_index(c->p, item, c->kind, c->count, c->hint, &idx) != 0)
        return -1;
    c->hint = idx + 1;
    *v = c->vals[idx];
    return 0;
}

static int
results_visit_value(PyObject *item, void *ctx)
{
    valctx *c = (valctx *)ctx;
    PyObject *f;
    double v;
    int rc;

    if (valctx_value(c, item, &v) != 0)
        return -1;
    f = PyFloat_FromDouble(v);
    if (f == NULL)
        return -1;
    rc = PyList_Append(c->out, f);
    Py_DECREF(f);
    return rc;
}

/* The items of any array as a C-ordered contiguous object array.  New
 * reference or NULL. */
static PyArrayObject *
results_object_array(PyObject *arr)
{
    return (PyArrayObject *)PyArray_FROMANY(arr, NPY_OBJECT, 0, 0,
                                            NPY_ARRAY_C_CONTIGUOUS | NPY_ARRAY_ALIGNED);
}

/* An array of floats shaped like arr.  New reference or NULL. */
static PyObject *
results_shape_array(valctx *c, PyObject *arr)
{
    PyArrayObject *items = NULL;
    PyObject *res = NULL;
    PyObject **src;
    double *dst;
    npy_intp i, n;

    items = results_object_array(arr);
    if (items == NULL)
        goto error;
    res = PyArray_SimpleNew(PyArray_NDIM(items), PyArray_DIMS(items), NPY_DOUBLE);
    if (res == NULL)
        goto error;
    n = PyArray_SIZE(items);
    src = (PyObject **)PyArray_DATA(items);
    dst = (double *)PyArray_DATA((PyArrayObject *)res);
    for (i = 0; i < n; i++)
        if (valctx_value(c, src[i], &dst[i]) != 0)
            goto error;
    Py_DECREF(items);
    return res;
error:
    Py_XDECREF(items);
    Py_XDECREF(res);
    return NULL;
}

static PyObject *results_shape(valctx *c, PyObject *obj);

/* A flat list of the values of everything obj holds.  New reference. */
static PyObject *
results_shape_flat(valctx *c, PyObject *obj)
{
    PyObject *saved = c->out;
    PyObject *res = PyList_New(0);
    if (res == NULL)
        return NULL;
    c->out = res;
    if (results_walk(obj, 0, results_visit_value, c) != 0)
        Py_CLEAR(res);
    c->out = saved;
    return res;
}

static PyObject *
results_shape_dict(valctx *c, PyObject *dict)
{
    PyObject *res = PyDict_New();
    PyObject *key, *value, *v;
    Py_ssize_t pos = 0;

    if (res == NULL)
        return NULL;
    while (PyDict_Next(dict, &pos, &key, &value)) {
        v = results_shape(c, value);
        if (v == NULL || PyDict_SetItem(res, key, v) != 0) {
            Py_XDECREF(v);
            Py_DECREF(res);
            return NULL;
        }
        Py_DECREF(v);
    }
    return res;
}

/* The result for one argument, shaped like it.  New reference or NULL. */
static PyObject *
results_shape(valctx *c, PyObject *obj)
{
    double v;

    if (is_ndarray(obj))
        return results_shape_array(c, obj);
    if (PyDict_Check(obj))
        return results_shape_dict(c, obj);
    if (PyUnicode_Check(obj) || results_is_int(obj) ||
        (!PySequence_Check(obj) && !PyIter_Check(obj))) {
        if (valctx_value(c, obj, &v) != 0)
            return NULL;
        return PyFloat_FromDouble(v);
    }
    return results_shape_flat(c, obj);
}

/* When arg is an object array holding exactly the problem's objects of the
 * kind in solver order (the array the model was built from), the vector is
 * read straight into a new array of its shape.  *res receives the array, or
 * NULL when arg does not qualify.  0, or -1 with an exception. */
static int
results_direct_array(problem_s *p, PyObject *arg, int what, int kind, Py_ssize_t count,
                     PyObject **res)
{
    PyArrayObject *arr = (PyArrayObject *)arg;
    PyObject *lst = results_list(p, kind);
    PyObject *out = NULL;

    *res = NULL;
    if (!is_ndarray(arg) || PyArray_TYPE(arr) != NPY_OBJECT || !PyArray_IS_C_CONTIGUOUS(arr) ||
        lst == NULL || PyArray_SIZE(arr) != count || PyList_GET_SIZE(lst) != count || count == 0 ||
        memcmp(PyArray_DATA(arr), ((PyListObject *)lst)->ob_item,
               (size_t)count * sizeof(PyObject *)) != 0)
        return 0;
    out = PyArray_SimpleNew(PyArray_NDIM(arr), PyArray_DIMS(arr), NPY_DOUBLE);
    if (out == NULL)
        return -1;
    if (results_read(p, what, (double *)PyArray_DATA((PyArrayObject *)out)) != 0) {
        Py_DECREF(out);
        return -1;
    }
    *res = out;
    return 0;
}

static PyObject *
results_all(const double *vals, Py_ssize_t count)
{
    Py_ssize_t i;
    PyObject *res = PyList_New(count);
    if (res == NULL)
        return NULL;
    for (i = 0; i < count; i++) {
        PyObject *f = PyFloat_FromDouble(vals[i]);
        if (f == NULL) {
            Py_DECREF(res);
            return NULL;
        }
        PyList_SET_ITEM(res, i, f);
    }
    return res;
}

/* The four readers share this: read one vector, shape it after args. */
static PyObject *
problem_getResult(PyObject *self, PyObject *args, int what)
{
    problem_s *p = (problem_s *)self;
    int kind = what == READ_SOLUTION || what == READ_RCOST ? RESULTS_COLUMNS : RESULTS_ROWS;
    Py_ssize_t count = 0, nargs = PyTuple_GET_SIZE(args);
    double *vals = NULL; /* library allocator */
    PyObject *res = NULL;
    valctx c;

    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        goto done;
    }
    if (results_count(p, kind, &count) != 0)
        goto done;
    if (nargs == 1 &&
        results_direct_array(p, PyTuple_GET_ITEM(args, 0), what, kind, count, &res) != 0)
        goto done;
    if (res != NULL)
        goto done;
    if (qo_MemoryAllocator_Alloc_Untyped(qo_MemoryAllocator_DefaultHeap,
                                         (size_t)(count > 0 ? count : 1) * sizeof(double),
                                         (void **)&vals) != 0 ||
        vals == NULL) {
        PyErr_NoMemory();
        goto done;
    }
    if (results_read(p, what, vals) != 0)
        goto done;

    c.p = p;
    c.vals = vals;
    c.count = count;
    c.kind = kind;
    c.hint = -1;
    c.out = NULL;
    if (nargs == 0)
        res = results_all(vals, count);
    else if (nargs == 1)
        res = results_shape(&c, PyTuple_GET_ITEM(args, 0));
    else
        res = results_shape_flat(&c, args);
done:
    qo_MemoryAllocator_Free_Untyped(qo_MemoryAllocator_DefaultHeap, (void **)&vals);
    return quenda_result(self, res);
}

/* getSolution, getRCost, getDual and getSlack: one function each for the
 * method table. */
template<int What>
static PyObject *
problem_getResultOf(PyObject *self, PyObject *args)
{
    return problem_getResult(self, args, What);
}

/* ------------------------------------------------------------------ */
/* getIndex                                                             */

static PyObject *
problem_getIndex(PyObject *self, PyObject *obj)
{
    problem_s *p = (problem_s *)self;
    PyObject *res = NULL;
    Py_ssize_t count = 0, idx;
    int kind;

    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        goto done;
    }
    if (VAR_CHECK(obj))
        kind = RESULTS_COLUMNS;
    else if (CONSTRAINT_CHECK(obj))
        kind = RESULTS_ROWS;
    else if (SOS_CHECK(obj))
        kind = RESULTS_SETS;
    else {
        PyErr_SetString(quenda_ModelError, msg_incorrect);
        goto done;
    }
    if (results_count(p, kind, &count) != 0)
        goto done;
    if (problem_item_index(p, obj, kind, count, -1, &idx) != 0)
        goto done;
    res = PyLong_FromSsize_t(idx);
done:
    return quenda_result(self, res);
}

/* ------------------------------------------------------------------ */
/* getVariable, getConstraint, getSOS                                   */

typedef struct {
    problem_s *p;
    int kind;
    PyObject *lst; /* borrowed: the problem's list of the kind */
    PyObject *out; /* list being filled */
    Py_ssize_t hint;
} objctx;

/* The object (borrowed) at the index an item names. */
static PyObject *
objctx_object(objctx *c, PyObject *item)
{
    Py_ssize_t idx;
    if (problem_item_index(c->p, item, c->kind, PyList_GET_SIZE(c->lst), c->hint, &idx) != 0)
        return NULL;
    c->hint = idx + 1;
    return PyList_GET_ITEM(c->lst, idx);
}

static int
results_visit_object(PyObject *item, void *ctx)
{
    objctx *c = (objctx *)ctx;
    PyObject *o = objctx_object(c, item);
    return o == NULL ? -1 : PyList_Append(c->out, o);
}

/* Reads an optional first/last bound; 0 or -1 with an exception. */
static int
results_bound(PyObject *obj, Py_ssize_t *val)
{
    if (obj == NULL || obj == Py_None)
        return 0;
    if (!results_is_int(obj)) {
        PyErr_SetString(quenda_ModelError, "Error in index list(s): must contain only integers");
        return -1;
    }
    *val = PyNumber_AsSsize_t(obj, NULL);
    return *val == -1 && PyErr_Occurred() ? -1 : 0;
}

/* getVariable(index=None, first=None, last=None) and the others: every
 * object with no argument; the object of one index or name; a list for a
 * collection of them or for the range first..last (both included). */
static PyObject *
problem_getObjects(PyObject *self, PyObject *args, PyObject *kwargs, int kind)
{
    static const char *kwlist[] = {"index", "first", "last", NULL};
    problem_s *p = (problem_s *)self;
    PyObject *index = NULL, *first = NULL, *last = NULL; /* borrowed */
    PyObject *res = NULL;
    objctx c;
    Py_ssize_t n, lo = 0, hi;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|OOO", (char **)kwlist, &index, &first, &last))
        goto done;
    c.p = p;
    c.kind = kind;
    c.lst = results_list(p, kind);
    c.hint = -1;
    c.out = NULL;
    if (c.lst == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        goto done;
    }
    n = PyList_GET_SIZE(c.lst);
    hi = n - 1;
    if (index != NULL && index != Py_None) {
        if ((first != NULL && first != Py_None) || (last != NULL && last != Py_None)) {
            PyErr_SetString(quenda_ModelError, "Pass either an index or a range first..last");
            goto done;
        }
        if (PyUnicode_Check(index) || results_is_int(index) ||
            (!is_ndarray(index) && !PySequence_Check(index) && !PyIter_Check(index) &&
             !PyDict_Check(index))) {
            res = objctx_object(&c, index);
            Py_XINCREF(res);
            goto done;
        }
        c.out = PyList_New(0);
        if (c.out == NULL)
            goto done;
        if (results_walk(index, 0, results_visit_object, &c) != 0) {
            Py_CLEAR(c.out);
            goto done;
        }
        res = c.out;
        goto done;
    }
    if (results_bound(first, &lo) != 0 || results_bound(last, &hi) != 0)
        goto done;
    if (lo > hi) {
        res = PyList_New(0);
        goto done;
    }
    if (lo < 0 || hi >= n) {
        PyErr_SetString(quenda_ModelError, msg_range);
        goto done;
    }
    res = PyList_GetSlice(c.lst, lo, hi + 1);
done:
    return quenda_result(self, res);
}

/* getVariable, getConstraint and getSOS. */
template<int Kind>
static PyObject *
problem_getObjectsOf(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return problem_getObjects(self, args, kwargs, Kind);
}

PyMethodDef problem_results_methods[] =
    {{"getSolution", problem_getResultOf<READ_SOLUTION>, METH_VARARGS,
      "getSolution(*items): primal values of variables given by object, name or index"},
     {"getDual", problem_getResultOf<READ_DUAL>, METH_VARARGS,
      "getDual(*items): dual values of constraints given by object, name or index"},
     {"getSlack", problem_getResultOf<READ_SLACK>, METH_VARARGS,
      "getSlack(*items): slacks of constraints given by object, name or index"},
     {"getRCost", problem_getResultOf<READ_RCOST>, METH_VARARGS,
      "getRCost(*items): reduced costs of variables given by object, name or index"},
     {"getIndex", problem_getIndex, METH_O,
      "getIndex(obj): the solver index of a variable, constraint or SOS"},
     {"getVariable", (PyCFunction)(void (*)(void))problem_getObjectsOf<RESULTS_COLUMNS>,
      METH_VARARGS | METH_KEYWORDS,
      "getVariable(index=None, first=None, last=None): variables by index or name"},
     {"getConstraint", (PyCFunction)(void (*)(void))problem_getObjectsOf<RESULTS_ROWS>,
      METH_VARARGS | METH_KEYWORDS,
      "getConstraint(index=None, first=None, last=None): constraints by index or name"},
     {"getSOS", (PyCFunction)(void (*)(void))problem_getObjectsOf<RESULTS_SETS>,
      METH_VARARGS | METH_KEYWORDS,
      "getSOS(index=None, first=None, last=None): SOS by index or name"},
     {NULL, NULL, 0, NULL}};
