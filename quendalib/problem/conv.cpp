/* Argument conversion between Python objects and the library's arrays (see
 * conv.h).  Every low-level wrapper is: parse, convert inputs, call the
 * library, convert outputs, free the temporaries; this file is the two
 * conversion steps. */
#include "problem/conv.h"

#include "algebra/constraint.h"
#include "algebra/exprtype.h"
#include "algebra/maps.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "module/npy.h"
#include "module/session.h"
#include "problem/alloc.h"
#include "problem/maps.h"
#include "problem/object.h"
#include "problem/split.h"

#include <math.h>
#include <string.h>

#define CONV_ITER_INITCAP 256

void
conv_free(void **arr, QNDAint64 count, int kind)
{
    if (*arr == NULL)
        return;
    if (kind == CONV_STRING) {
        char **s = (char **)*arr;
        QNDAint64 i;
        for (i = 0; i < count; i++)
            qarr_free((void **)&s[i]);
    }
    qarr_free(arr);
}

int
conv_is_integer(PyObject *obj)
{
    PyTypeObject *t = Py_TYPE(obj);
    return PyLong_Check(obj) || t == &PyIntArrType_Type || t == &PyLongArrType_Type ||
           t == &PyLongLongArrType_Type;
}

/* Value of an integer object (a Python or NumPy integer); 0, or -1 with an
 * exception. */
static int
conv_ll_value(PyObject *obj, long long *out)
{
    if (PyLong_Check(obj)) {
        *out = PyLong_AsLongLong(obj);
    } else {
        PyObject *i = PyNumber_Index(obj);
        if (i == NULL)
            return -1;
        *out = PyLong_AsLongLong(i);
        Py_DECREF(i);
    }
    return *out == -1 && PyErr_Occurred() ? -1 : 0;
}

/* Value of an integer object as an int; -1 with OverflowError when it does
 * not fit. */
static int
conv_int_value(PyObject *obj, int *out)
{
    long long v;
    if (conv_ll_value(obj, &v) != 0)
        return -1;
    if (v < INT32_MIN || v > INT32_MAX) {
        PyErr_Format(PyExc_OverflowError, "Index %lld does not fit in a 32-bit integer", v);
        return -1;
    }
    *out = (int)v;
    return 0;
}

/* Library-allocated copy of the UTF-8 text of a str (or the bytes of a
 * bytes).  NULL with an exception set. */
static char *
conv_strdup(PyObject *obj)
{
    const char *text;
    Py_ssize_t len;
    char *res;

    if (PyUnicode_Check(obj)) {
        text = PyUnicode_AsUTF8AndSize(obj, &len);
        if (text == NULL)
            return NULL;
    } else if (PyBytes_Check(obj)) {
        text = PyBytes_AS_STRING(obj);
        len = PyBytes_GET_SIZE(obj);
    } else {
        PyErr_SetString(quenda_ModelError, "String argument expected");
        return NULL;
    }
    res = (char *)qarr_alloc((size_t)len + 1);
    if (res == NULL)
        return NULL;
    memcpy(res, text, (size_t)len);
    res[len] = '\0';
    return res;
}

static int
conv_rows_spare(problem_s *p, int *total)
{
    int rows = 0, spare = 0;
    int rc = problem_intattr2(p, QNDA_ROWS, &rows, QNDA_SPAREROWS, &spare);
    *total = rows + spare;
    return rc;
}

/* Index of a row (kind CONV_ROW) or column name; the library answers -1
 * for an unknown name without recording an error, so that case is worded
 * here. */
static int
conv_name_index(problem_s *p, PyObject *obj, int kind, int *out)
{
    char *name = conv_strdup(obj);
    int type = kind == CONV_ROW ? QNDA_NAMES_ROWS : QNDA_NAMES_COLUMNS;
    int index = -1, ret = -1;

    if (name == NULL)
        return -1;
    if (p->prob == NULL || QNDAgetindex(p->prob, type, name, &index) != 0) {
        setQndaErrIfNull((PyObject *)p, NULL);
        goto done;
    }
    if (index < 0) {
        PyErr_Format(quenda_SolverError, "No %s named '%s' in the problem",
                     type == QNDA_NAMES_ROWS ? "row" : "column", name);
        goto done;
    }
    *out = index;
    ret = 0;
done:
    qarr_free((void **)&name);
    return ret;
}

int
ObjInt2int(PyObject *obj, PyObject *prob, int *out, int kind)
{
    problem_s *p = (problem_s *)prob;
    uint32_t v;

    if (conv_is_integer(obj))
        return conv_int_value(obj, out);
    if (PyUnicode_Check(obj) || PyBytes_Check(obj))
        return conv_name_index(p, obj, kind, out);

    if (VAR_CHECK(obj) && (kind == CONV_COL || kind == CONV_ROWCOL)) {
        if (p->varmap == NULL || rowcolmap_get(PROBLEM_VARMAP(p), VAR_ID(obj), &v) != 0) {
            PyErr_Format(quenda_ModelError, "Variable %S not in problem", obj);
            return -1;
        }
        if (kind == CONV_ROWCOL) {
            int rs;
            if (conv_rows_spare(p, &rs) != 0)
                return -1;
            /* The subtraction mirrors convSeqToRowCol's historic reading and
             * is relied upon by callers. */
            *out = (int)v - rs;
        } else {
            *out = (int)v;
        }
        return 0;
    }
    if (CONSTRAINT_CHECK(obj) && (kind == CONV_ROW || kind == CONV_ROWCOL)) {
        if (p->conmap == NULL ||
            rowcolmap_get(PROBLEM_CONMAP(p), ((constraint_object *)obj)->id, &v) != 0) {
            PyErr_Format(quenda_ModelError, "Constraint %S not in problem", obj);
            return -1;
        }
        *out = (int)v;
        return 0;
    }
    if (SOS_CHECK(obj) && kind == CONV_SET) {
        if (p->sosmap == NULL ||
            rowcolmap_get(PROBLEM_SOSMAP(p), ((sos_object *)obj)->id, &v) != 0) {
            PyErr_Format(quenda_ModelError, "SOS %S not in problem", obj);
            return -1;
        }
        *out = (int)v;
        return 0;
    }
    switch (kind) {
    case CONV_COL: PyErr_Format(quenda_ModelError, "Invalid variable object %S", obj); break;
    case CONV_ROW: PyErr_Format(quenda_ModelError, "Invalid constraint object %S", obj); break;
    case CONV_SET: PyErr_Format(quenda_ModelError, "Invalid SOS object %S", obj); break;
    default: PyErr_Format(quenda_ModelError, "Invalid object %S", obj); break;
    }
    return -1;
}

/* The library handle inside an object of the given type into *out; 0, or
 * -1 with ModelError worded by msg (one %S, the item). */
static int
conv_handle(PyObject *item, PyTypeObject *type, void *(*get)(PyObject *), const char *msg,
            void **out)
{
    void *h = PyObject_TypeCheck(item, type) ? get(item) : NULL;
    if (h == NULL) {
        PyErr_Format(quenda_ModelError, msg, item);
        return -1;
    }
    *out = h;
    return 0;
}

/* Stores item as element i of arr by kind.  0, or -1 with an exception. */
static int
conv_store(problem_s *p, void *arr, QNDAint64 i, PyObject *item, int kind)
{
    switch (kind) {
    case CONV_ROW:
    case CONV_COL: return ObjInt2int(item, (PyObject *)p, (int *)arr + i, kind);
    case CONV_INT:
    case CONV_INT64:
        if (!conv_is_integer(item)) {
            PyErr_Format(quenda_ModelError, "Integer expected, found %S", item);
            return -1;
        }
        if (kind == CONV_INT)
            return conv_int_value(item, (int *)arr + i);
        {
            long long v;
            if (conv_ll_value(item, &v) != 0)
                return -1;
            ((QNDAint64 *)arr)[i] = v;
        }
        return 0;
    case CONV_DOUBLE: {
        double d = PyFloat_AsDouble(item);
        if (d == -1.0 && PyErr_Occurred())
            return -1;
        ((double *)arr)[i] = d;
        return 0;
    }
    case CONV_CHAR:
        if (PyUnicode_Check(item) && PyUnicode_GET_LENGTH(item) > 0) {
            ((char *)arr)[i] = (char)PyUnicode_READ_CHAR(item, 0);
            return 0;
        }
        if (PyBytes_Check(item) && PyBytes_GET_SIZE(item) > 0) {
            ((char *)arr)[i] = PyBytes_AS_STRING(item)[0];
            return 0;
        }
        PyErr_Format(quenda_ModelError, "Character expected, found %R", item);
        return -1;
    case CONV_CHARNUM: {
        long v;
        if (!conv_is_integer(item)) {
            PyErr_Format(quenda_ModelError, "Integer expected, found %S", item);
            return -1;
        }
        v = PyLong_AsLong(item);
        if (v == -1 && PyErr_Occurred())
            return -1;
        ((char *)arr)[i] = (char)(v & 0xff);
        return 0;
    }
    case CONV_STRING: {
        char *s = conv_strdup(item);
        if (s == NULL)
            return -1;
        ((char **)arr)[i] = s;
        return 0;
    }
    case CONV_CUT:
        return conv_handle(item, &quenda_poolcutType, poolcut_getcut, "Invalid cut object %S",
                           (void **)arr + i);
    case CONV_OBJECT:
        return conv_handle(item, &quenda_objattrType, qndaobject_getobj, "Invalid object %S",
                           (void **)arr + i);
    }
    PyErr_SetString(quenda_ModelError, "Invalid sequence of objects");
    return -1;
}

static size_t
conv_elsize(int kind)
{
    switch (kind) {
    case CONV_ROW:
    case CONV_COL:
    case CONV_INT: return sizeof(int);
    case CONV_INT64: return sizeof(QNDAint64);
    case CONV_DOUBLE: return sizeof(double);
    case CONV_CHAR:
    case CONV_CHARNUM: return 1;
    case CONV_STRING:
    case CONV_CUT:
    case CONV_OBJECT: return sizeof(void *);
    }
    return 0;
}

/* Fast path for one-dimensional NumPy arrays of numbers: the whole array
 * is cast once instead of item by item.  Taken only where the item by item
 * conversion would accept every element (integer kinds: arrays of the
 * integer types the integer test accepts; reals: any non-complex numbers),
 * so the result is the same.  1 when done, 0 when not applicable, -1 with
 * an exception. */
static int
conv_from_ndarray(PyObject *obj, void *arr, Py_ssize_t len, int kind)
{
    PyArrayObject *a = (PyArrayObject *)obj, *c = NULL;
    int t, ret = -1;
    Py_ssize_t i;

    if (!PyArray_Check(obj) || PyArray_NDIM(a) != 1 || PyArray_DIM(a, 0) != len)
        return 0;
    t = PyArray_TYPE(a);
    if (kind == CONV_DOUBLE) {
        if (!(PyTypeNum_ISBOOL(t) || PyTypeNum_ISINTEGER(t) || PyTypeNum_ISFLOAT(t)))
            return 0;
        c = (PyArrayObject *)PyArray_FROM_OTF(obj, NPY_DOUBLE,
                                              NPY_ARRAY_IN_ARRAY | NPY_ARRAY_FORCECAST);
        if (c == NULL)
            return -1;
        memcpy(arr, PyArray_DATA(c), (size_t)len * sizeof(double));
        Py_DECREF(c);
        return 1;
    }
    if (kind == CONV_CHAR && (t == NPY_STRING || t == NPY_UNICODE)) {
        /* The first character of each item, as str items would give; a
         * contiguous array of one-byte strings is the array itself. */
        npy_intp stride = PyArray_STRIDE(a, 0);
        if (t == NPY_STRING && PyArray_ITEMSIZE(a) == 1 && PyArray_IS_C_CONTIGUOUS(a) &&
            memchr(PyArray_DATA(a), 0, (size_t)len) == NULL) {
            memcpy(arr, PyArray_DATA(a), (size_t)len);
            return 1;
        }
        const char *src = (const char *)PyArray_DATA(a);
        for (i = 0; i < len; i++, src += stride) {
            Py_UCS4 ch = 0;
            if (t == NPY_STRING)
                ch = PyArray_ITEMSIZE(a) > 0 ? (unsigned char)src[0] : 0;
            else if (PyArray_ITEMSIZE(a) >= 4)
                memcpy(&ch, src, sizeof ch);
            if (ch == 0) {
                PyErr_SetString(quenda_ModelError, "Character expected, found an empty string");
                return -1;
            }
            ((char *)arr)[i] = (char)ch;
        }
        return 1;
    }
    if (kind != CONV_ROW && kind != CONV_COL && kind != CONV_INT && kind != CONV_INT64)
        return 0;
    if (t != NPY_INT && t != NPY_LONG && t != NPY_LONGLONG)
        return 0;
    if ((t == NPY_INT && kind != CONV_INT64) || (PyArray_ITEMSIZE(a) == 8 && kind == CONV_INT64)) {
        /* Same width: one copy (cast only when not contiguous). */
        c = (PyArrayObject *)PyArray_FROM_OTF(obj, kind == CONV_INT64 ? NPY_LONGLONG : NPY_INT,
                                              NPY_ARRAY_IN_ARRAY);
        if (c == NULL)
            return -1;
        memcpy(arr, PyArray_DATA(c), (size_t)len * PyArray_ITEMSIZE(c));
        Py_DECREF(c);
        return 1;
    }
    c = (PyArrayObject *)PyArray_FROM_OTF(obj, NPY_LONGLONG, NPY_ARRAY_IN_ARRAY);
    if (c == NULL)
        return -1;
    {
        const long long *v = (const long long *)PyArray_DATA(c);
        if (kind == CONV_INT64) {
            memcpy(arr, v, (size_t)len * sizeof(long long));
        } else {
            for (i = 0; i < len; i++) {
                if (v[i] < INT32_MIN || v[i] > INT32_MAX) {
                    PyErr_Format(PyExc_OverflowError, "Index %lld does not fit in a 32-bit integer",
                                 v[i]);
                    goto done;
                }
                ((int *)arr)[i] = (int)v[i];
            }
        }
    }
    ret = 1;
done:
    Py_DECREF(c);
    return ret;
}

int
conv_obj2arr(PyObject *prob, QNDAint64 *count, PyObject *obj, void **out, int kind)
{
    problem_s *p = (problem_s *)prob;
    void *arr = NULL; /* library allocator, ours until handed out */
    QNDAint64 n = 0, cap, i;
    size_t elsize = conv_elsize(kind);
    PyObject *item = NULL;
    int is_list, is_tuple, is_iter = 0;
    Py_ssize_t len = -1;

    *out = NULL;
    if (obj == NULL || obj == Py_None)
        return 0;
    Py_INCREF(obj);

    is_list = PyList_Check(obj);
    is_tuple = !is_list && PyTuple_Check(obj);
    if (is_list)
        len = PyList_GET_SIZE(obj);
    else if (is_tuple)
        len = PyTuple_GET_SIZE(obj);
    else if (PyIter_Check(obj))
        is_iter = 1;
    else if (PySequence_Check(obj)) {
        len = PySequence_Size(obj);
        if (len < 0)
            PyErr_Clear();
    }
    if (elsize == 0 || (!is_iter && len < 0)) {
        PyErr_SetString(quenda_ModelError, "Invalid sequence of objects");
        goto error;
    }

    if (!is_iter) {
        if (count != NULL) {
            if (*count >= 0 && *count != (QNDAint64)len) {
                PyErr_Format(quenda_ModelError,
                             "Mismatched lengths in arguments: expected %lld, found %lld",
                             (long long)*count, (long long)len);
                goto error;
            }
            *count = len;
        }
        arr = qarr_alloc((size_t)len * elsize);
        if (arr == NULL)
            goto error;
        if (kind == CONV_STRING)
            memset(arr, 0, (size_t)len * elsize);
        switch (conv_from_ndarray(obj, arr, len, kind)) {
        case 1: n = len; goto out;
        case -1: goto error;
        }
        for (i = 0; i < len; i++) {
            if (is_list || is_tuple) {
                PyObject *b = is_list ? PyList_GET_ITEM(obj, i) : PyTuple_GET_ITEM(obj, i);
                if (conv_store(p, arr, i, b, kind) != 0) {
                    n = i;
                    goto error;
                }
            } else {
                item = PySequence_GetItem(obj, i);
                if (item == NULL || conv_store(p, arr, i, item, kind) != 0) {
                    n = i;
                    goto error;
                }
                Py_CLEAR(item);
            }
        }
        n = len;
    } else {
        cap = CONV_ITER_INITCAP;
        arr = qarr_alloc((size_t)cap * elsize);
        if (arr == NULL)
            goto error;
        while ((item = PyIter_Next(obj)) != NULL) {
            if (n >= cap) {
                void *q = arr;
                cap = 2 * n;
                if (qo_MemoryAllocator_Realloc_Untyped(qo_MemoryAllocator_DefaultHeap, &q,
                                                       (size_t)cap * elsize) != 0 ||
                    q == NULL) {
                    PyErr_NoMemory();
                    goto error;
                }
                arr = q;
            }
            if (kind == CONV_STRING)
                ((char **)arr)[n] = NULL;
            if (conv_store(p, arr, n, item, kind) != 0)
                goto error;
            n++;
            Py_CLEAR(item);
        }
        if (PyErr_Occurred())
            goto error;
        if (n > 0) {
            double l = log2((double)n + 1.0);
            if (l + 0.5 > ceil(l)) {
                void *q = arr;
                if (qo_MemoryAllocator_Realloc_Untyped(qo_MemoryAllocator_DefaultHeap, &q,
                                                       (size_t)n * elsize) == 0 &&
                    q != NULL)
                    arr = q;
            }
        }
        if (count != NULL)
            *count = n;
    }
out:
    *out = arr;
    Py_DECREF(obj);
    return 0;
error:
    Py_XDECREF(item);
    conv_free(&arr, n, kind);
    Py_DECREF(obj);
    return -1;
}

/* The object of a row or column index for an output list: -1 for a
 * negative index.  New reference or NULL. */
static PyObject *
conv_list_item(PyObject *lst, int index)
{
    if (index < 0)
        return PyLong_FromLong(-1);
    if (lst == NULL || index >= PyList_GET_SIZE(lst))
        return NULL;
    return Py_NewRef(PyList_GET_ITEM(lst, index));
}

static PyObject *
conv_make_item(problem_s *p, const void *arr, QNDAint64 i, int kind)
{
    switch (kind) {
    case CONV_ROW: return conv_list_item(p->cons, ((const int *)arr)[i]);
    case CONV_COL: return conv_list_item(p->vars, ((const int *)arr)[i]);
    case CONV_INT: return PyLong_FromLong(((const int *)arr)[i]);
    case CONV_INT64: return PyLong_FromLongLong(((const QNDAint64 *)arr)[i]);
    case CONV_DOUBLE: return PyFloat_FromDouble(((const double *)arr)[i]);
    case CONV_CHAR: return PyUnicode_FromStringAndSize((const char *)arr + i, 1);
    case CONV_CHARNUM: return PyUnicode_FromFormat("%d", (int)((const char *)arr)[i]);
    case CONV_STRING: {
        const char *s = ((char *const *)arr)[i];
        return s != NULL ? PyUnicode_FromString(s) : NULL;
    }
    case CONV_CUT: return poolcut_create(((void *const *)arr)[i]);
    case CONV_OBJECT: return qndaobject_create(((void *const *)arr)[i]);
    case CONV_ROWCOL: {
        int idx = ((const int *)arr)[i];
        if (idx < 0)
            return PyLong_FromLong(-1);
        return convSeqToRowCol((PyObject *)p, idx);
    }
    }
    return NULL;
}

int
conv_arr2obj(PyObject *prob, QNDAint64 count, const void *arr, PyObject **target, int kind)
{
    problem_s *p = (problem_s *)prob;
    PyObject *lst;
    Py_ssize_t m;
    QNDAint64 i;

    if (arr == NULL || target == NULL || *target == NULL || *target == Py_None)
        return 0;
    lst = *target;
    if (!PyList_Check(lst)) {
        PyErr_SetString(quenda_ModelError, "Argument of type List required");
        return -1;
    }
    m = PyList_GET_SIZE(lst);
    if (m > count) {
        int r = PyList_SetSlice(lst, (Py_ssize_t)count, m, NULL);
        if (r != 0)
            return r;
        m = (Py_ssize_t)count;
    }
    for (i = 0; i < count; i++) {
        PyObject *item = conv_make_item(p, arr, i, kind);
        int r;
        if (item == NULL) {
            if (!PyErr_Occurred() || kind == CONV_ROW || kind == CONV_COL) {
                PyErr_Clear();
                PyErr_Format(quenda_InterfaceError, "Wrong item returned from API call, type %d",
                             kind);
            }
            return -1;
        }
        if (i < m) {
            r = PyList_SetItem(lst, (Py_ssize_t)i, item); /* steals item */
        } else {
            r = PyList_Append(lst, item);
            Py_DECREF(item);
        }
        if (r != 0)
            return r;
    }
    return 0;
}

PyObject *
convSeqToRowCol(PyObject *prob, int index)
{
    problem_s *p = (problem_s *)prob;
    PyObject *res = NULL;
    int rs;

    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        return NULL;
    }
    if (conv_rows_spare(p, &rs) != 0)
        return NULL;
    if (index >= rs)
        res = conv_list_item(p->vars, index - rs);
    else
        res = conv_list_item(p->cons, index);
    if (res == NULL && !PyErr_Occurred())
        PyErr_Format(quenda_ModelError, "Index %d out of bounds", index);
    return res;
}

/* Variable type of a column letter; -1 for an unknown letter. */
static long
conv_letter_vartype(char c)
{
    switch (c) {
    case 'B': return 1;
    case 'C': return 0;
    case 'I': return 2;
    case 'P': return 5;
    case 'R': return 4;
    case 'S': return 3;
    }
    return -1;
}

/* Before n objects join the list *lst of the registry: names (a list or
 * absent) must hold n, the maps and the list must exist.  1 when there is
 * work, 0 when n < 1, -1 with an exception set. */
static int
conv_registry_ready(problem_s *p, PyObject *names, int n, PyObject **lst, const char *msg)
{
    if (names != NULL && names != Py_None &&
        (!PyList_Check(names) || PyList_GET_SIZE(names) != n)) {
        PyErr_SetString(quenda_ModelError, msg);
        return -1;
    }
    if (n < 1)
        return 0;
    if (problem_maps_ensure(p) != 0)
        return -1;
    if (*lst == NULL && (*lst = PyList_New(0)) == NULL)
        return -1;
    return 1;
}

char *
conv_default_names(PyObject *prob, int rows, int first, int *count)
{
    problem_s *p = (problem_s *)prob;
    PyObject *list = rows ? p->cons : p->vars;
    Py_ssize_t n = list != NULL ? PyList_GET_SIZE(list) - first : 0;
    char *buf, *w;

    *count = 0;
    if (n <= 0)
        return NULL;
    /* a prefix, at most 10 digits and the zero */
    if ((buf = (char *)qarr_alloc((size_t)n * 12)) == NULL) {
        PyErr_NoMemory();
        return NULL;
    }
    w = buf;
    for (Py_ssize_t i = 0; i < n; i++) {
        PyObject *o = PyList_GET_ITEM(list, first + i);
        uint32_t id = rows ? ((constraint_object *)o)->id : VAR_ID(o);
        char text[16];
        size_t len;
        const char *t = quenda_id_text(rows ? 'R' : 'C', id, text, &len);
        memcpy(w, t, len);
        w[len] = 0;
        w += len + 1;
    }
    *count = (int)n;
    return buf;
}

int
addColsAsVariables(PyObject *prob, PyObject *names, PyObject *types, int nEntities,
                   const int *entityCols, const char *entityTypes, const double *entityLimits,
                   int firstCol, int n)
{
    problem_s *p = (problem_s *)prob;
    char *letters = NULL;  /* library allocator: per new column */
    double *limits = NULL; /* library allocator: per new column */
    PyObject *var = NULL;
    int i, ret = -1;

    if (types != NULL && types != Py_None &&
        (!PyList_Check(types) || PyList_GET_SIZE(types) != n)) {
        PyErr_SetString(quenda_ModelError, "Incorrect length of variable type list");
        return -1;
    }
    if ((i = conv_registry_ready(p, names, n, &p->vars,
                                 "Incorrect length of variable name list")) <= 0)
        return i;

    if ((types == NULL || types == Py_None) && nEntities > 0 && entityCols != NULL &&
        entityTypes != NULL) {
        letters = (char *)qarr_alloc((size_t)n);
        if (letters == NULL)
            goto done;
        memset(letters, 'C', (size_t)n);
        if (entityLimits != NULL) {
            limits = (double *)qarr_alloc((size_t)n * sizeof(double));
            if (limits == NULL)
                goto done;
            for (i = 0; i < n; i++)
                limits[i] = -QUENDA_INFINITY;
        }
        for (i = 0; i < nEntities; i++) {
            int c = entityCols[i];
            if (c < 0 || c >= n)
                continue;
            letters[c] = entityTypes[i];
            if (limits != NULL)
                limits[c] = entityLimits[i];
        }
    }

    for (i = 0; i < n; i++) {
        var_object *v;
        char letter = 0;

        var = var_base_new();
        if (var == NULL)
            goto done;
        v = (var_object *)var;
        if (names != NULL && names != Py_None)
            Py_XSETREF(v->name, Py_NewRef(PyList_GET_ITEM(names, i)));
        if (types != NULL && types != Py_None) {
            PyObject *t = PyList_GET_ITEM(types, i);
            if (PyUnicode_Check(t) && PyUnicode_GET_LENGTH(t) > 0)
                letter = (char)PyUnicode_READ_CHAR(t, 0);
            else if (PyBytes_Check(t) && PyBytes_GET_SIZE(t) > 0)
                letter = PyBytes_AS_STRING(t)[0];
            else {
                PyErr_Format(quenda_ModelError, "Cannot get variable type with index %d", i);
                goto done;
            }
        } else if (letters != NULL) {
            letter = letters[i];
            if (limits != NULL && (letter == 'S' || letter == 'R' || letter == 'P') &&
                var_set_threshold(var, limits[i]) < 0)
                goto done;
        }
        if (letter != 0) {
            long t = conv_letter_vartype(letter);
            if (t < 0) {
                PyErr_SetString(quenda_ModelError, "Incorrect variable type");
                goto done;
            }
            v->vartype = (int16_t)t;
        }
        if (PyList_Append(p->vars, var) != 0)
            goto done;
        problem_varmap_changed();
        if (rowcolmap_set(PROBLEM_VARMAP(p), VAR_ID(var), (uint32_t)(firstCol + i)) != 0) {
            PyErr_SetString(quenda_ModelError, "Could not amend variable map");
            goto done;
        }
        Py_CLEAR(var);
    }
    ret = 0;
done:
    Py_XDECREF(var);
    qarr_free((void **)&letters);
    qarr_free((void **)&limits);
    return ret;
}

PyObject *
conv_new_constraint(PyObject *name, char rowtype, double rhs, double range)
{
    constraint_object *c =
        (constraint_object *)quenda_constraintType.tp_alloc(&quenda_constraintType, 0);
    if (c == NULL)
        return NULL;
    c->id = qnda_py_env.concounter++;
    c->name = name != NULL ? Py_NewRef(name) : quenda_id_name('R', c->id);
    c->body = NULL;
    c->lb = -QUENDA_INFINITY;
    c->ub = QUENDA_INFINITY;
    if (c->name == NULL) {
        Py_DECREF(c);
        return NULL;
    }
    switch (rowtype) {
    case 'E': c->lb = c->ub = rhs; break;
    case 'G': c->lb = rhs; break;
    case 'L': c->ub = rhs; break;
    case 'R':
        c->ub = rhs;
        c->lb = rhs - range;
        break;
    default: break;
    }
    return (PyObject *)c;
}

int
addRowsAsConstraints(PyObject *prob, PyObject *names, const char *rowtype, const double *rhs,
                     const double *range, int firstRow, int n)
{
    problem_s *p = (problem_s *)prob;
    int i = conv_registry_ready(p, names, n, &p->cons, "Incorrect length of constraint name list");

    if (i <= 0)
        return i;
    for (i = 0; i < n; i++) {
        PyObject *name = names != NULL && names != Py_None ? PyList_GET_ITEM(names, i) : NULL;
        PyObject *c =
            conv_new_constraint(name, rowtype != NULL ? rowtype[i] : 'N',
                                rhs != NULL ? rhs[i] : 0.0, range != NULL ? range[i] : 0.0);
        int rc = c == NULL ? -1 : PyList_Append(p->cons, c);
        if (rc == 0 && rowcolmap_set(PROBLEM_CONMAP(p), ((constraint_object *)c)->id,
                                     (uint32_t)(firstRow + i)) != 0) {
            PyErr_SetString(quenda_InterfaceError,
                            "Internal error -- Could not amend constraint map");
            rc = -1;
        }
        Py_XDECREF(c);
        if (rc != 0)
            return -1;
    }
    return 0;
}

/* ------------------------------------------------------------------ */
/* Problem method                                                        */

static PyObject *
problem_getIndexFromName(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"type", "name", NULL};
    problem_s *p = (problem_s *)self;
    int type = 0, index = -1;
    const char *name = NULL;
    PyObject *res = NULL;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "is", (char **)kwlist, &type, &name))
        return NULL;
    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        return NULL;
    }
    if (QNDAgetindex(p->prob, type, name, &index) == 0)
        res = PyLong_FromLong(index);
    return quenda_result(self, res);
}

/* Test hook: obj through conv_obj2arr and back through conv_arr2obj.
 * _convroundtrip(kind, obj, count=-1, target=None) returns (count, list),
 * the list being target itself when one is given. */
static PyObject *
problem__convroundtrip(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"kind", "obj", "count", "target", NULL};
    int kind = 0;
    long long cnt = -1;
    PyObject *obj = NULL, *target = Py_None, *res = NULL, *own = NULL;
    QNDAint64 count;
    void *arr = NULL; /* library allocator */

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "iO|LO", (char **)kwlist, &kind, &obj, &cnt,
                                     &target))
        return NULL;
    count = cnt;
    if (conv_obj2arr(self, &count, obj, &arr, kind) != 0)
        goto done;
    if (target == Py_None) {
        own = PyList_New(0);
        if (own == NULL)
            goto done;
        target = own;
    }
    if (conv_arr2obj(self, count, arr, &target, kind) != 0)
        goto done;
    res = Py_BuildValue("(LO)", (long long)count, target);
done:
    conv_free(&arr, count, kind);
    Py_XDECREF(own);
    return res;
}

/* Test hook: _split(expr, factor=1.0) returns (constant, [(col, coef)...],
 * [(col1, col2, coef)...]) as splitExpr sees them. */
static PyObject *
problem__split(PyObject *self, PyObject *args)
{
    PyObject *obj, *lin = NULL, *quad = NULL, *res = NULL, *nl = NULL;
    double factor = 1.0;
    lqsplit s;
    int64_t i;

    lqsplit_init(&s);
    if (!PyArg_ParseTuple(args, "O|d", &obj, &factor))
        return NULL;
    if (splitExpr(self, obj, factor, &s, &nl) != 0)
        goto done;
    if (nl != NULL) {
        PyErr_SetString(quenda_ModelError, "Nonlinear expressions are not supported here");
        goto done;
    }
    if ((lin = PyList_New((Py_ssize_t)s.nlin)) == NULL ||
        (quad = PyList_New((Py_ssize_t)s.nquad)) == NULL)
        goto done;
    for (i = 0; i < s.nlin; i++) {
        PyObject *t = Py_BuildValue("(id)", s.lincol[i], s.lincoef[i]);
        if (t == NULL)
            goto done;
        PyList_SET_ITEM(lin, i, t);
    }
    for (i = 0; i < s.nquad; i++) {
        PyObject *t = Py_BuildValue("(iid)", s.qcol1[i], s.qcol2[i], s.qcoef[i]);
        if (t == NULL)
            goto done;
        PyList_SET_ITEM(quad, i, t);
    }
    res = Py_BuildValue("(dOO)", s.constant, lin, quad);
done:
    Py_XDECREF(nl);
    Py_XDECREF(lin);
    Py_XDECREF(quad);
    lqsplit_free(&s);
    return res;
}

PyMethodDef problem_conv_methods[] =
    {{"getIndexFromName", (PyCFunction)(void (*)(void))problem_getIndexFromName,
      METH_VARARGS | METH_KEYWORDS,
      "getIndexFromName(type, name): index of the row (type 1), column (2) or set (3) named "
      "name, -1 when there is none"},
     {"_convroundtrip", (PyCFunction)(void (*)(void))problem__convroundtrip,
      METH_VARARGS | METH_KEYWORDS, "Test hook of the argument conversion layer"},
     {"_split", problem__split, METH_VARARGS, "Test hook of the expression split"},
     {NULL, NULL, 0, NULL}};
