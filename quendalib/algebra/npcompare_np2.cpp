/* NumPy 2 route of the comparison hook (see npcompare.cpp and
 * docs/numpy.md).
 *
 * For object inputs NumPy 2 has two loops on less_equal, greater_equal and
 * equal, OO->? and OO->O, and picks OO->? unless told otherwise.  We add a
 * promoter, keyed narrowly on an object operand paired with an object or a
 * bool, integer or float DType (Python scalars and NumPy's own; complex
 * too for equal) and no fixed output, that
 * asks for object output.  NumPy then runs its OO->O loop, which returns
 * each pair's own comparison: a constraint for modelling objects, True or
 * False for plain ones.  A signature given by the caller wins.
 *
 * Limits: promoters cannot be removed; NumPy caches its loop choice per
 * pair of DTypes, so a pair compared before this module was imported keeps
 * giving booleans.  The install checks the result and warns when it did
 * not take.
 *
 * This file alone is compiled for NumPy 2's API (promoters and DType
 * classes); its functions are called only when NumPy 2 runs. */
#define NPY_TARGET_VERSION NPY_2_0_API_VERSION
#include "module/npy.h"

#include <numpy/dtype_api.h>

#include "module/session.h"

int quenda_numpy2_compare_install(void);

/* The operands' DTypes, or those of a fixed signature, with object for the
 * rest (the output included). */
static int
quenda_object_promoter(PyObject *ufunc, PyArray_DTypeMeta *const op_dtypes[],
                       PyArray_DTypeMeta *const signature[], PyArray_DTypeMeta *new_op_dtypes[])
{
    for (int i = 0; i < 3; ++i) {
        PyArray_DTypeMeta *d = signature[i] != NULL ? signature[i] : &PyArray_ObjectDType;
        Py_INCREF(d);
        new_op_dtypes[i] = d;
    }
    return 0;
}

/* Registers the promoter for (a, b, None) on ufunc.  0 or -1. */
static int
np2_add_promoter(PyObject *ufunc, PyObject *promoter, PyArray_DTypeMeta *a, PyArray_DTypeMeta *b)
{
    PyObject *key = PyTuple_Pack(3, (PyObject *)a, (PyObject *)b, Py_None);
    int rc;
    if (key == NULL)
        return -1;
    rc = PyUFunc_AddPromoter(ufunc, key, promoter);
    Py_DECREF(key);
    return rc;
}

/* A probe whose comparisons return Ellipsis, to see whether object arrays
 * compare to objects. */
static PyObject *
probe_richcompare(PyObject *a, PyObject *b, int op)
{
    Py_INCREF(Py_Ellipsis);
    return Py_Ellipsis;
}

static PyTypeObject probe_type = {
    PyVarObject_HEAD_INIT(NULL, 0) "quendalib._compare_probe", /* tp_name */
    sizeof(PyObject),                                          /* tp_basicsize */
};

/* 1 when arr <op> other gives an object array holding Ellipsis, 0 when
 * not, -1 on error. */
static int
np2_probe_one(PyObject *arr, PyObject *other, int op)
{
    PyObject *res = PyObject_RichCompare(arr, other, op);
    int ok = 0;
    if (res == NULL) {
        PyErr_Clear();
        return 0;
    }
    if (PyArray_Check(res) && PyArray_TYPE((PyArrayObject *)res) == NPY_OBJECT &&
        PyArray_SIZE((PyArrayObject *)res) == 1) {
        PyObject *item = *(PyObject **)PyArray_DATA((PyArrayObject *)res);
        ok = item == Py_Ellipsis;
    }
    Py_DECREF(res);
    return ok;
}

/* Which (operator, operand) pairs still give booleans, as text for the
 * warning; an empty string when all took.  New reference. */
static PyObject *
np2_check(void)
{
    PyObject *probe = NULL, *arr = NULL, *failed = NULL, *others[4] = {NULL, NULL, NULL, NULL};
    static const char *other_names[4] = {"object array", "int", "float", "bool"};
    static const int ops[3] = {Py_LE, Py_GE, Py_EQ};
    static const char *op_names[3] = {"<=", ">=", "=="};
    npy_intp one = 1;
    int i, k;

    if (PyType_Ready(&probe_type) < 0)
        return NULL;
    probe = PyType_GenericNew(&probe_type, NULL, NULL);
    if (probe == NULL)
        goto error;
    arr = PyArray_SimpleNew(1, &one, NPY_OBJECT);
    if (arr == NULL)
        goto error;
    Py_INCREF(probe);
    *(PyObject **)PyArray_DATA((PyArrayObject *)arr) = probe;
    others[0] = arr;
    Py_INCREF(arr);
    others[1] = PyLong_FromLong(1);
    others[2] = PyFloat_FromDouble(1.0);
    others[3] = Py_True;
    Py_INCREF(Py_True);
    if (others[1] == NULL || others[2] == NULL)
        goto error;
    failed = PyUnicode_FromString("");
    if (failed == NULL)
        goto error;
    for (i = 0; i < 3; ++i) {
        for (k = 0; k < 4; ++k) {
            if (!np2_probe_one(arr, others[k], ops[i])) {
                PyObject *t = PyUnicode_FromFormat("%U%s(%s %s %s)", failed,
                                                   PyUnicode_GET_LENGTH(failed) ? ", " : "",
                                                   "object array", op_names[i], other_names[k]);
                if (t == NULL)
                    goto error;
                Py_SETREF(failed, t);
            }
        }
    }
    Py_DECREF(probe);
    Py_DECREF(arr);
    for (k = 0; k < 4; ++k)
        Py_XDECREF(others[k]);
    return failed;

error:
    Py_XDECREF(probe);
    Py_XDECREF(arr);
    Py_XDECREF(failed);
    for (k = 0; k < 4; ++k)
        Py_XDECREF(others[k]);
    return NULL;
}

int
quenda_numpy2_compare_install(void)
{
    static const char *names[3] = {"less_equal", "greater_equal", "equal"};
    PyObject *numpy = NULL, *promoter = NULL, *ufunc = NULL, *failed = NULL;
    /* Everything an object may be compared with: bools, integers and
     * floats, as Python scalars (abstract DTypes) and as arrays or NumPy
     * scalars (concrete ones); complex numbers for equality only. */
    PyArray_DTypeMeta *real[] = {&PyArray_BoolDType,      &PyArray_PyLongDType,
                                 &PyArray_PyFloatDType,   &PyArray_ByteDType,
                                 &PyArray_UByteDType,     &PyArray_ShortDType,
                                 &PyArray_UShortDType,    &PyArray_IntDType,
                                 &PyArray_UIntDType,      &PyArray_LongDType,
                                 &PyArray_ULongDType,     &PyArray_LongLongDType,
                                 &PyArray_ULongLongDType, &PyArray_HalfDType,
                                 &PyArray_FloatDType,     &PyArray_DoubleDType,
                                 &PyArray_LongDoubleDType};
    PyArray_DTypeMeta *cplx[] = {&PyArray_PyComplexDType, &PyArray_CFloatDType,
                                 &PyArray_CDoubleDType, &PyArray_CLongDoubleDType};
    const int nreal = (int)(sizeof real / sizeof real[0]);
    const int ncplx = (int)(sizeof cplx / sizeof cplx[0]);
    int i, k, j;

    probe_type.tp_richcompare = probe_richcompare;
    probe_type.tp_flags = Py_TPFLAGS_DEFAULT;

    numpy = PyImport_ImportModule("numpy");
    if (numpy == NULL)
        goto error;
    promoter = PyCapsule_New((void *)&quenda_object_promoter, "numpy._ufunc_promoter", NULL);
    if (promoter == NULL)
        goto error;
    for (i = 0; i < 3; ++i) {
        ufunc = PyObject_GetAttrString(numpy, names[i]);
        if (ufunc == NULL)
            goto error;
        if (np2_add_promoter(ufunc, promoter, &PyArray_ObjectDType, &PyArray_ObjectDType) < 0)
            goto error;
        for (k = 0; k < nreal + (i == 2 ? ncplx : 0); ++k) {
            PyArray_DTypeMeta *d = k < nreal ? real[k] : cplx[k - nreal];
            /* Some platforms alias C types (long and long long): once each. */
            for (j = 0; j < k; ++j)
                if ((j < nreal ? real[j] : cplx[j - nreal]) == d)
                    break;
            if (j < k)
                continue;
            if (np2_add_promoter(ufunc, promoter, &PyArray_ObjectDType, d) < 0 ||
                np2_add_promoter(ufunc, promoter, d, &PyArray_ObjectDType) < 0)
                goto error;
        }
        Py_CLEAR(ufunc);
    }

    failed = np2_check();
    if (failed == NULL)
        goto error;
    if (PyUnicode_GET_LENGTH(failed) > 0) {
        if (PyErr_WarnFormat(PyExc_RuntimeWarning, 1,
                             "quendalib: NumPy keeps returning booleans for %U: NumPy had already "
                             "chosen its loop for these operand types before quendalib was "
                             "imported; comparisons of arrays of modelling objects will not build "
                             "constraints for them (import quendalib before comparing object "
                             "arrays)",
                             failed) < 0)
            goto error;
    }
    Py_DECREF(failed);
    Py_DECREF(promoter);
    Py_DECREF(numpy);
    return 0;

error:
    Py_XDECREF(failed);
    Py_XDECREF(ufunc);
    Py_XDECREF(promoter);
    Py_XDECREF(numpy);
    return -1;
}
