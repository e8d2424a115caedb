/* Module-level aggregates: Sum, Prod, Dot and vars.
 *
 * Sum, Prod and Dot fold a collection into an accumulator that starts as
 * None.  The first item is copied (the general operations copy when the
 * left operand is None), so every later in-place step works on an object
 * that only the fold holds: Sum of n terms accumulates into one expression
 * at n log n, and no object of the caller is ever modified.  Dot's inner
 * loop adds number*variable products straight into the accumulating
 * expression, without a temporary term per product. */
#include "algebra/aggregates.h"

#include <string.h>

#include "algebra/expression.h"
#include "algebra/exprtype.h"
#include "algebra/linterm.h"
#include "algebra/var.h"
#include "module/npy.h"
#include "module/session.h"

/* ------------------------------------------------------------ folding */

typedef PyObject *(*fold_op)(PyObject *acc, PyObject *item);

typedef struct {
    fold_op op;   /* general_iadd or general_imul */
    int flatten;  /* Sum: nested lists, tuples, arrays, iterators */
    int fast_sum; /* Sum: variables and linear terms straight into the map */
} fold_ctx;

static int fold_collection(PyObject *coll, PyObject **acc, const fold_ctx *ctx);

/* *acc = op(*acc, item); *acc is owned by the fold.  0 or -1. */
static int
fold_combine(PyObject *item, PyObject **acc, const fold_ctx *ctx)
{
    PyObject *res;

    /* The algebra types are final: exact type tests suffice. */
    if (ctx->fast_sum && Py_TYPE(*acc) == &quenda_expressionType) {
        if (Py_TYPE(item) == &quenda_lintermType && ((linterm_object *)item)->var != NULL)
            return expression_addLinTerm(*acc, ((linterm_object *)item)->var,
                                         ((linterm_object *)item)->coef);
        if (Py_TYPE(item) == &quenda_varType)
            return expression_addLinTerm(*acc, item, 1.0);
    }
    res = ctx->op(*acc, item);
    if (res == NULL)
        return -1;
    Py_SETREF(*acc, res);
    return 0;
}

static int
fold_item(PyObject *item, PyObject **acc, const fold_ctx *ctx)
{
    PyTypeObject *tp = Py_TYPE(item);
    if (tp == &quenda_lintermType || tp == &quenda_varType || tp == &quenda_expressionType ||
        tp == &quenda_quadtermType || tp == &quenda_nonlinType || tp == &PyFloat_Type)
        return fold_combine(item, acc, ctx);
    if (ctx->flatten &&
        (PyList_Check(item) || PyTuple_Check(item) || is_ndarray(item) || PyIter_Check(item))) {
        int rc;
        if (Py_EnterRecursiveCall(" while summing nested sequences"))
            return -1;
        rc = fold_collection(item, acc, ctx);
        Py_LeaveRecursiveCall();
        return rc;
    }
    return fold_combine(item, acc, ctx);
}

/* fold_item on a borrowed item held meanwhile: its container may change
 * while the item's own code runs. */
static inline int
fold_held(PyObject *item, PyObject **acc, const fold_ctx *ctx)
{
    Py_INCREF(item);
    int rc = fold_item(item, acc, ctx);
    Py_DECREF(item);
    return rc;
}

static int
fold_array(PyObject *arr, PyObject **acc, const fold_ctx *ctx)
{
    PyArrayIterObject *it = (PyArrayIterObject *)PyArray_IterNew(arr);
    if (it == NULL)
        return -1;
    while (it->index < it->size) {
        PyObject *item = PyArray_GETITEM((PyArrayObject *)arr, (const char *)it->dataptr);
        int rc;
        if (item == NULL)
            goto error;
        rc = fold_item(item, acc, ctx);
        Py_DECREF(item);
        if (rc < 0)
            goto error;
        PyArray_ITER_NEXT(it);
    }
    Py_DECREF(it);
    return 0;
error:
    Py_DECREF(it);
    return -1;
}

static int
fold_collection(PyObject *coll, PyObject **acc, const fold_ctx *ctx)
{
    Py_ssize_t i, n;

    if (is_number(coll) || (!PyList_Check(coll) && !PyTuple_Check(coll) && !is_ndarray(coll) &&
                            !PyDict_Check(coll) && getExprType(coll) >= 0))
        return fold_combine(coll, acc, ctx);
    PyErr_Clear();

    if (PyList_Check(coll) || PyTuple_Check(coll)) {
        /* A list may change under us (an item's code may run): re-read
         * its size and hold each item while it is used. */
        for (i = 0; i < PySequence_Fast_GET_SIZE(coll); ++i) {
            if (fold_held(PySequence_Fast_GET_ITEM(coll, i), acc, ctx) < 0)
                return -1;
        }
        return 0;
    }
    if (is_ndarray(coll))
        return fold_array(coll, acc, ctx);
    if (PyDict_Check(coll)) {
        PyObject *key, *value;
        Py_ssize_t pos = 0;
        while (PyDict_Next(coll, &pos, &key, &value)) {
            if (value != Py_None && fold_held(value, acc, ctx) < 0)
                return -1;
        }
        return 0;
    }
    if (PyIter_Check(coll)) {
        PyObject *item;
        while ((item = PyIter_Next(coll)) != NULL) {
            int rc = fold_item(item, acc, ctx);
            Py_DECREF(item);
            if (rc < 0)
                return -1;
        }
        return PyErr_Occurred() ? -1 : 0;
    }
    if (PySequence_Check(coll) && !PyUnicode_Check(coll) && !PyBytes_Check(coll)) {
        n = PySequence_Size(coll);
        if (n < 0) {
            PyErr_Clear();
            PyErr_SetString(PyExc_RuntimeError, "Invalid sequence of objects");
            return -1;
        }
        for (i = 0; i < n; ++i) {
            PyObject *item = PySequence_GetItem(coll, i);
            int rc;
            if (item == NULL)
                return -1;
            rc = fold_item(item, acc, ctx);
            Py_DECREF(item);
            if (rc < 0)
                return -1;
        }
        return 0;
    }
    /* Any other iterable (dict views, sets): by iteration, rather than
     * failing as a single item of unknown kind. */
    if (!PyUnicode_Check(coll) && !PyBytes_Check(coll) && Py_TYPE(coll)->tp_iter != NULL) {
        PyObject *it = PyObject_GetIter(coll), *item;
        if (it == NULL)
            return -1;
        while ((item = PyIter_Next(it)) != NULL) {
            int rc = fold_item(item, acc, ctx);
            Py_DECREF(item);
            if (rc < 0) {
                Py_DECREF(it);
                return -1;
            }
        }
        Py_DECREF(it);
        return PyErr_Occurred() ? -1 : 0;
    }
    return fold_combine(coll, acc, ctx);
}

/* The collection of a fold: the only argument, or the tuple of all. */
static PyObject *
fold_target(PyObject *args)
{
    return PyTuple_GET_SIZE(args) == 1 ? PyTuple_GET_ITEM(args, 0) : args; /* borrowed */
}

PyObject *
quendamod_Sum(PyObject *self, PyObject *args)
{
    fold_ctx ctx = {general_iadd, 1, 1};
    PyObject *acc = Py_None, *res = NULL;

    Py_INCREF(acc);
    if (fold_collection(fold_target(args), &acc, &ctx) < 0)
        goto error;
    if (acc == Py_None) {
        res = expression_base();
    } else if (is_number(acc)) {
        res = expression_copy(acc, 1.0);
    } else {
        Py_INCREF(acc);
        res = acc;
    }
    Py_DECREF(acc);
    return res;

error:
    Py_XDECREF(acc);
    return NULL;
}

PyObject *
quendamod_Prod(PyObject *self, PyObject *args)
{
    fold_ctx ctx = {general_imul, 0, 0};
    PyObject *acc = Py_None;

    Py_INCREF(acc);
    if (fold_collection(fold_target(args), &acc, &ctx) < 0)
        goto error;
    if (acc == Py_None) {
        Py_DECREF(acc);
        return PyFloat_FromDouble(0.0); /* deliberately not 1.0 */
    }
    return acc;

error:
    Py_XDECREF(acc);
    return NULL;
}

/* ------------------------------------------------------------ Dot */

static int
dot_type_rank(int t)
{
    switch (t) {
    case NPY_LONG: return 1;
    case NPY_LONGLONG: return 2;
    case NPY_FLOAT: return 3;
    case NPY_DOUBLE: return 4;
    case NPY_OBJECT: return 5;
    default: return 0;
    }
}

/* Makes sure *acc is an expression that the loop may extend; 0, or 1 when
 * it holds something else (then the general operations must be used), or
 * -1. */
static int
dot_acc_expression(PyObject **acc)
{
    if (*acc == NULL) {
        *acc = expression_base();
        return *acc == NULL ? -1 : 0;
    }
    return EXPRESSION_CHECK(*acc) ? 0 : 1;
}

/* *acc += c*b for a number c and an operand b.  0 or -1. */
static int
dot_add_scaled(PyObject **acc, double c, PyObject *b)
{
    PyObject *k = NULL, *prod = NULL, *res = NULL;
    int rc;

    if (c == 0.0)
        return 0;
    if (VAR_CHECK(b) || (LINTERM_CHECK(b) && ((linterm_object *)b)->var != NULL) || is_number(b)) {
        rc = dot_acc_expression(acc);
        if (rc < 0)
            return -1;
        if (rc == 0) {
            if (VAR_CHECK(b))
                return expression_addLinTerm(*acc, b, c);
            if (LINTERM_CHECK(b))
                return expression_addLinTerm(*acc, ((linterm_object *)b)->var,
                                             c * ((linterm_object *)b)->coef);
            double v = number_value(b);
            if (v == -1.0 && PyErr_Occurred())
                return -1;
            ((expression_object *)*acc)->constant += c * v;
            return 0;
        }
    }
    k = PyFloat_FromDouble(c);
    if (k == NULL)
        goto error;
    prod = general_mul(k, b);
    if (prod == NULL)
        goto error;
    res = general_iadd(*acc ? *acc : Py_None, prod);
    if (res == NULL)
        goto error;
    Py_XSETREF(*acc, res);
    Py_DECREF(k);
    Py_DECREF(prod);
    return 0;
error:
    Py_XDECREF(k);
    Py_XDECREF(prod);
    return -1;
}

/* *acc += a*b for two operands.  0 or -1. */
static int
dot_add_product(PyObject **acc, PyObject *a, PyObject *b)
{
    PyObject *prod = NULL, *res = NULL;
    double v;

    if (is_number(a) || is_number(b)) {
        int a_num = is_number(a);
        v = number_value(a_num ? a : b);
        if (v == -1.0 && PyErr_Occurred())
            return -1;
        return dot_add_scaled(acc, v, a_num ? b : a);
    }
    prod = general_mul(a, b);
    if (prod == NULL)
        return -1;
    res = general_iadd(*acc ? *acc : Py_None, prod);
    Py_DECREF(prod);
    if (res == NULL)
        return -1;
    Py_XSETREF(*acc, res);
    return 0;
}

/* The contiguous operand of the object loop: object elements, or doubles.
 * New reference. */
static PyArrayObject *
dot_operand(PyArrayObject *a)
{
    int t = PyArray_TYPE(a) == NPY_OBJECT ? NPY_OBJECT : NPY_DOUBLE;
    return (PyArrayObject *)PyArray_FROM_OTF((PyObject *)a, t,
                                             NPY_ARRAY_C_CONTIGUOUS | NPY_ARRAY_ALIGNED);
}

/* Tensor product of a and b with object elements; new reference. */
static PyObject *
dot_objects(PyArrayObject *a, PyArrayObject *b, PyObject *out)
{
    PyArrayObject *ca = NULL, *cb = NULL, *res = NULL;
    npy_intp dims[2 * NPY_MAXDIMS];
    int nda = PyArray_NDIM(a), ndb = PyArray_NDIM(b), nd = 0, d;
    npy_intp n = PyArray_DIM(a, nda - 1), I = 1, J = 1, L = 1;
    npy_intp i, j, l, t;
    PyObject **out_data, **oa = NULL, **ob = NULL;
    const double *da = NULL, *db = NULL;
    PyObject *acc = NULL;

    for (d = 0; d < nda - 1; ++d) {
        dims[nd++] = PyArray_DIM(a, d);
        I *= PyArray_DIM(a, d);
    }
    if (ndb >= 2) {
        for (d = 0; d < ndb - 2; ++d) {
            dims[nd++] = PyArray_DIM(b, d);
            J *= PyArray_DIM(b, d);
        }
        L = PyArray_DIM(b, ndb - 1);
        dims[nd++] = L;
    }
    ca = dot_operand(a);
    cb = ca ? dot_operand(b) : NULL;
    if (cb == NULL)
        goto error;
    if (PyArray_TYPE(ca) == NPY_OBJECT)
        oa = (PyObject **)PyArray_DATA(ca);
    else
        da = (const double *)PyArray_DATA(ca);
    if (PyArray_TYPE(cb) == NPY_OBJECT)
        ob = (PyObject **)PyArray_DATA(cb);
    else
        db = (const double *)PyArray_DATA(cb);

    res = (PyArrayObject *)PyArray_ZEROS(nd, dims, NPY_OBJECT, 0);
    if (res == NULL) {
        PyErr_Clear();
        PyErr_SetString(quenda_ModelError, "Could not initialize result of dot product");
        goto error;
    }
    out_data = (PyObject **)PyArray_DATA(res);

    for (i = 0; i < I; ++i) {
        for (j = 0; j < J; ++j) {
            for (l = 0; l < L; ++l) {
                for (t = 0; t < n; ++t) {
                    npy_intp ia = i * n + t, ib = (j * n + t) * L + l;
                    int rc;
                    if (oa && ob)
                        rc = dot_add_product(&acc, oa[ia] ? oa[ia] : Py_None,
                                             ob[ib] ? ob[ib] : Py_None);
                    else if (oa)
                        rc = dot_add_scaled(&acc, db[ib], oa[ia] ? oa[ia] : Py_None);
                    else
                        rc = dot_add_scaled(&acc, da[ia], ob[ib] ? ob[ib] : Py_None);
                    if (rc < 0)
                        goto error;
                }
                if (acc == NULL) {
                    acc = PyFloat_FromDouble(0.0);
                    if (acc == NULL)
                        goto error;
                }
                Py_XSETREF(out_data[(i * J + j) * L + l], acc);
                acc = NULL;
            }
        }
    }
    Py_DECREF(ca);
    Py_DECREF(cb);
    if (out != NULL && out != Py_None) {
        if (PyArray_CopyInto((PyArrayObject *)out, res) < 0)
            goto error_res;
        Py_DECREF(res);
        Py_INCREF(out);
        return out;
    }
    if (nd == 0) {
        /* Vector times vector: the expression itself, as NumPy gives a
         * scalar. */
        PyObject *item = *(PyObject **)PyArray_DATA(res);
        Py_INCREF(item);
        Py_DECREF(res);
        return item;
    }
    return (PyObject *)res;

error:
    Py_XDECREF(acc);
    Py_XDECREF(ca);
    Py_XDECREF(cb);
error_res:
    Py_XDECREF(res);
    return NULL;
}

/* One step of Dot: the tensor product of the arrays a and b.  New reference. */
static PyObject *
dot_step(PyObject *a, PyObject *b, PyObject *out)
{
    PyArrayObject *aa = (PyArrayObject *)a, *ab = (PyArrayObject *)b;
    PyObject *ca = NULL, *cb = NULL, *res = NULL;
    int ta, tb, rt;
    npy_intp na, nb;

    if (!is_ndarray(a) || !is_ndarray(b)) {
        PyErr_SetString(quenda_ModelError, "Dot product can only occur between NumPy arrays");
        return NULL;
    }
    ta = PyArray_TYPE(aa);
    tb = PyArray_TYPE(ab);
    if (dot_type_rank(ta) == 0 || dot_type_rank(tb) == 0) {
        PyErr_SetString(quenda_ModelError,
                        "Dot product must be between long, double, and expressions/variables");
        return NULL;
    }
    rt = dot_type_rank(ta) >= dot_type_rank(tb) ? ta : tb;
    if (out != NULL && out != Py_None &&
        (!is_ndarray(out) || PyArray_TYPE((PyArrayObject *)out) != rt)) {
        PyErr_SetString(quenda_ModelError, "Output argument set with wrong type");
        return NULL;
    }
    if (PyArray_NDIM(aa) < 1 || PyArray_NDIM(ab) < 1) {
        PyErr_SetString(quenda_ModelError,
                        "Dot product must have matching sizes in the multiplying dimension");
        return NULL;
    }
    na = PyArray_DIM(aa, PyArray_NDIM(aa) - 1);
    nb = PyArray_NDIM(ab) >= 2 ? PyArray_DIM(ab, PyArray_NDIM(ab) - 2) : PyArray_DIM(ab, 0);
    if (na != nb) {
        PyErr_SetString(quenda_ModelError,
                        "Dot product must have matching sizes in the multiplying dimension");
        return NULL;
    }
    if (rt == NPY_OBJECT)
        return dot_objects(aa, ab, out);

    /* Numbers only: NumPy's own product in the wider of the two types. */
    ca = PyArray_FROM_OTF(a, rt, NPY_ARRAY_ALIGNED | NPY_ARRAY_FORCECAST);
    if (ca == NULL)
        goto error;
    cb = PyArray_FROM_OTF(b, rt, NPY_ARRAY_ALIGNED | NPY_ARRAY_FORCECAST);
    if (cb == NULL)
        goto error;
    res = PyArray_MatrixProduct2(ca, cb,
                                 (out != NULL && out != Py_None) ? (PyArrayObject *)out : NULL);
error:
    Py_XDECREF(ca);
    Py_XDECREF(cb);
    return res;
}

PyObject *
quendamod_Dot(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"out", NULL};
    PyObject *out = NULL, *empty = NULL, *coll, *seq = NULL, *acc = NULL;
    Py_ssize_t i, n;

    empty = PyTuple_New(0);
    if (empty == NULL)
        return NULL;
    if (!PyArg_ParseTupleAndKeywords(empty, kwargs, "|O", (char **)kwlist, &out))
        goto error;
    coll = fold_target(args);
    if (PyList_Check(coll) || PyTuple_Check(coll)) {
        Py_INCREF(coll);
        seq = coll;
    } else if (is_ndarray(coll) || PyIter_Check(coll) || PySequence_Check(coll)) {
        seq = PySequence_Fast(coll, "Invalid sequence of objects");
        if (seq == NULL) {
            PyErr_Clear();
            PyErr_SetString(PyExc_RuntimeError, "Invalid sequence of objects");
            goto error;
        }
    } else {
        seq = PyTuple_Pack(1, coll);
        if (seq == NULL)
            goto error;
    }
    n = PySequence_Fast_GET_SIZE(seq);
    for (i = 0; i < n; ++i) {
        PyObject *item = PySequence_Fast_GET_ITEM(seq, i); /* borrowed */
        PyObject *next;
        if (acc == NULL) {
            if (!is_ndarray(item)) {
                PyErr_SetString(quenda_ModelError, "Dot product should only be on NumPy arrays");
                goto error;
            }
            acc = PyArray_FROM_O(item);
            if (acc == NULL) {
                PyErr_Clear();
                PyErr_SetString(PyExc_RuntimeError, "Error in setting up dot product");
                goto error;
            }
            continue;
        }
        next = dot_step(acc, item, i == n - 1 ? out : NULL);
        if (next == NULL)
            goto error;
        Py_SETREF(acc, next);
    }
    Py_DECREF(empty);
    Py_DECREF(seq);
    if (acc == NULL)
        return PyFloat_FromDouble(0.0);
    return acc;

error:
    Py_XDECREF(empty);
    Py_XDECREF(seq);
    Py_XDECREF(acc);
    return NULL;
}

/* ------------------------------------------------------------ vars */

#define VARS_NAME_MAX 2500

/* Appends the text of one index to buf (cut at VARS_NAME_MAX).  0 or -1. */
static int
vars_append_index(char *buf, size_t *len, PyObject *idx)
{
    char num[32];
    const char *s = NULL;
    Py_ssize_t slen = 0;
    PyObject *tmp = NULL;

    if (PyLong_Check(idx)) {
        long v = PyLong_AsLong(idx);
        if (v == -1 && PyErr_Occurred())
            return -1;
        slen = snprintf(num, sizeof num, "%ld", v);
        s = num;
    } else if (PyUnicode_Check(idx)) {
        s = PyUnicode_AsUTF8AndSize(idx, &slen);
        if (s == NULL)
            return -1;
    } else if (PyBytes_Check(idx)) {
        s = PyBytes_AS_STRING(idx);
        slen = PyBytes_GET_SIZE(idx);
    } else {
        PyErr_SetString(quenda_ModelError,
                        "Element of index tuple in vars() cannot be represented");
        return -1;
    }
    if (*len + (size_t)slen > VARS_NAME_MAX)
        slen = (Py_ssize_t)(VARS_NAME_MAX - *len);
    memcpy(buf + *len, s, (size_t)slen);
    *len += (size_t)slen;
    Py_XDECREF(tmp);
    return 0;
}

static int
vars_append_char(char *buf, size_t *len, char c)
{
    if (*len < VARS_NAME_MAX)
        buf[(*len)++] = c;
    return 0;
}

/* The elements of one index set as a tuple; new reference. */
static PyObject *
vars_index_set(PyObject *set)
{
    PyObject *res = NULL;
    if (PyLong_Check(set) && !PyBool_Check(set)) {
        long k = PyLong_AsLong(set);
        if (k == -1 && PyErr_Occurred())
            return NULL;
        if (k <= 0) {
            PyErr_SetString(PyExc_RuntimeError,
                            "Invalid index: integer argument to quenda.vars() must be positive "
                            "(it is equivalent to range(k))");
            return NULL;
        }
        res = PyTuple_New(k);
        if (res == NULL) {
            PyErr_Clear();
            PyErr_SetString(PyExc_RuntimeError,
                            "No memory to create variables. Consider restricting one or more index "
                            "sets/lists/ranges in the index argument to quenda.vars()");
            return NULL;
        }
        for (long i = 0; i < k; ++i) {
            PyObject *v = PyLong_FromLong(i);
            if (v == NULL) {
                Py_DECREF(res);
                return NULL;
            }
            PyTuple_SET_ITEM(res, i, v);
        }
    } else if (PyList_Check(set) || PyAnySet_Check(set) || PyRange_Check(set) ||
               PyTuple_Check(set)) {
        res = PySequence_Tuple(set);
        if (res == NULL)
            return NULL;
    } else {
        PyErr_SetString(PyExc_RuntimeError, "Invalid index: a call to quenda.vars() must have a "
                                            "tuple of lists or integer "
                                            "numbers as its first argument");
        return NULL;
    }
    if (PyTuple_GET_SIZE(res) == 0) {
        Py_DECREF(res);
        PyErr_SetString(PyExc_RuntimeError,
                        "Invalid index: empty dimension in creation of variables");
        return NULL;
    }
    return res;
}

PyObject *
quendamod_vars(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"indices", "name", "lb", "ub", "threshold", "vartype", NULL};
    PyObject *placeholder = NULL, *sets = NULL, *dict = NULL, *key = NULL, *v = NULL;
    const char *prefix = "";
    double unused = 0.0, lb = 0.0, ub = QUENDA_INFINITY, threshold = -QUENDA_INFINITY;
    long vartype = 0;
    Py_ssize_t nsets, k;
    Py_ssize_t *pos = NULL;
    char *buf = NULL;
    size_t prefix_len;

    placeholder = Py_BuildValue("(d)", 0.0);
    if (placeholder == NULL)
        goto error;
    if (!PyArg_ParseTupleAndKeywords(placeholder, kwargs, "d|$sdddl", (char **)kwlist, &unused,
                                     &prefix, &lb, &ub, &threshold, &vartype))
        goto error;
    if (args == NULL || !PyTuple_Check(args) || PyTuple_GET_SIZE(args) == 0) {
        PyErr_SetString(quenda_ModelError,
                        "quenda.vars must be invoked with one or more lists of indices");
        goto error;
    }
    nsets = PyTuple_GET_SIZE(args);
    sets = PyTuple_New(nsets);
    if (sets == NULL)
        goto error;
    for (k = 0; k < nsets; ++k) {
        PyObject *s = vars_index_set(PyTuple_GET_ITEM(args, k));
        if (s == NULL)
            goto error;
        PyTuple_SET_ITEM(sets, k, s);
    }

    pos = (Py_ssize_t *)PyMem_Calloc((size_t)nsets, sizeof(Py_ssize_t));
    buf = (char *)PyMem_Malloc(VARS_NAME_MAX + 1);
    if (pos == NULL || buf == NULL) {
        PyErr_SetString(PyExc_RuntimeError,
                        "No memory to create variables. Consider restricting one or more index "
                        "sets/lists/ranges in the index argument to quenda.vars()");
        goto error;
    }
    prefix_len = strlen(prefix);
    if (prefix_len > VARS_NAME_MAX)
        prefix_len = VARS_NAME_MAX;
    memcpy(buf, prefix, prefix_len);

    dict = PyDict_New();
    if (dict == NULL)
        goto error;

    for (;;) {
        size_t len = prefix_len;
        var_object *var;
        int has;

        /* Key and name of the current combination. */
        if (nsets == 1) {
            key = PyTuple_GET_ITEM(PyTuple_GET_ITEM(sets, 0), pos[0]);
            Py_INCREF(key);
        } else {
            key = PyTuple_New(nsets);
            if (key == NULL)
                goto error;
            for (k = 0; k < nsets; ++k) {
                PyObject *idx = PyTuple_GET_ITEM(PyTuple_GET_ITEM(sets, k), pos[k]);
                Py_INCREF(idx);
                PyTuple_SET_ITEM(key, k, idx);
            }
        }
        vars_append_char(buf, &len, '(');
        for (k = 0; k < nsets; ++k) {
            if (k > 0)
                vars_append_char(buf, &len, ',');
            if (vars_append_index(buf, &len, PyTuple_GET_ITEM(PyTuple_GET_ITEM(sets, k), pos[k])) <
                0)
                goto error;
        }
        vars_append_char(buf, &len, ')');

        v = var_new_bare();
        if (v == NULL)
            goto error;
        var = (var_object *)v;
        var->name = PyUnicode_DecodeUTF8(buf, (Py_ssize_t)len, "replace");
        if (var->name == NULL)
            goto error;
        var->lb = lb;
        var->ub = ub;
        if (var_set_threshold(v, threshold) < 0 || var_set_vartype(v, vartype) < 0)
            goto error;

        has = PyDict_Contains(dict, key);
        if (has < 0)
            goto error;
        if (has) {
            PyErr_Format(PyExc_RuntimeError,
                         "Duplicate entry in vars: <%S>. Check arguments for duplicate entries in "
                         "one "
                         "or more of the lists",
                         var->name);
            goto error;
        }
        if (PyDict_SetItem(dict, key, v) < 0)
            goto error;
        Py_CLEAR(key);
        Py_CLEAR(v);

        /* Odometer: the last index set varies fastest. */
        for (k = nsets - 1; k >= 0; --k) {
            if (++pos[k] < PyTuple_GET_SIZE(PyTuple_GET_ITEM(sets, k)))
                break;
            pos[k] = 0;
        }
        if (k < 0)
            break;
    }

    Py_DECREF(placeholder);
    Py_DECREF(sets);
    PyMem_Free(pos);
    PyMem_Free(buf);
    return dict;

error:
    Py_XDECREF(placeholder);
    Py_XDECREF(sets);
    Py_XDECREF(dict);
    Py_XDECREF(key);
    Py_XDECREF(v);
    PyMem_Free(pos);
    PyMem_Free(buf);
    return NULL;
}
