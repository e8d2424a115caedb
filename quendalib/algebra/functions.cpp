/* Module-level nonlinear functions.  Each one-argument function works on a
 * number (evaluated at once with libm), on a NumPy array (element by
 * element, giving an object array) and on any algebra object (a node).
 * max, min and user always build a node. */
#include "algebra/functions.h"

#include "algebra/exprtype.h"
#include "algebra/nonlinear.h"
#include "module/npy.h"
#include "module/session.h"

static PyObject *unary_function(int op, PyObject *arg);

/* The function applied to every element of the array arr; an object array
 * of the same shape.  New reference. */
static PyObject *
unary_function_array(int op, PyObject *arr)
{
    PyArrayObject *src = NULL, *res = NULL;
    PyObject **in, **out;
    npy_intp i, n;

    src = (PyArrayObject *)PyArray_FROM_OTF(arr, NPY_OBJECT,
                                            NPY_ARRAY_C_CONTIGUOUS | NPY_ARRAY_ALIGNED);
    if (src == NULL) {
        PyErr_Clear();
        PyErr_SetString(quenda_ModelError, "Cannot iterate on sequence of arguments");
        goto error;
    }
    res = (PyArrayObject *)PyArray_ZEROS(PyArray_NDIM(src), PyArray_DIMS(src), NPY_OBJECT, 0);
    if (res == NULL)
        goto error;
    n = PyArray_SIZE(src);
    in = (PyObject **)PyArray_DATA(src);
    out = (PyObject **)PyArray_DATA(res);
    for (i = 0; i < n; ++i) {
        PyObject *v = unary_function(op, in[i] ? in[i] : Py_None);
        if (v == NULL)
            goto error;
        Py_XSETREF(out[i], v);
    }
    Py_DECREF(src);
    return (PyObject *)res;

error:
    Py_XDECREF(src);
    Py_XDECREF(res);
    return NULL;
}

/* New reference. */
static PyObject *
unary_function(int op, PyObject *arg)
{
    if (is_ndarray(arg))
        return unary_function_array(op, arg);
    if (is_number(arg)) {
        double x = number_value(arg);
        if (x == -1.0 && PyErr_Occurred())
            return NULL;
        return PyFloat_FromDouble(nonlin_eval_unary(op, x));
    }
    return nonlin_instantiate(op, 0, arg);
}

#define UNARY_FUNCTION(name, code)                                                                 \
    PyObject *quendamod_##name(PyObject *self, PyObject *arg)                                      \
    {                                                                                              \
        return unary_function(code, arg);                                                          \
    }

UNARY_FUNCTION(sin, NONLIN_SIN)
UNARY_FUNCTION(cos, NONLIN_COS)
UNARY_FUNCTION(tan, NONLIN_TAN)
UNARY_FUNCTION(asin, NONLIN_ASIN)
UNARY_FUNCTION(acos, NONLIN_ACOS)
UNARY_FUNCTION(atan, NONLIN_ATAN)
UNARY_FUNCTION(exp, NONLIN_EXP)
UNARY_FUNCTION(log, NONLIN_LOG)
UNARY_FUNCTION(log10, NONLIN_LOG10)
UNARY_FUNCTION(abs, NONLIN_ABS)
UNARY_FUNCTION(sqrt, NONLIN_SQRT)
UNARY_FUNCTION(sign, NONLIN_SIGN)
UNARY_FUNCTION(erf, NONLIN_ERF)
UNARY_FUNCTION(erfc, NONLIN_ERFC)

/* max and min take positional operands only. */
static PyObject *
nary_function(int op, PyObject *args, PyObject *kwargs)
{
    if (kwargs != NULL && PyDict_GET_SIZE(kwargs) > 0) {
        PyErr_Format(PyExc_TypeError, "%s() takes no keyword arguments", printToolArray[op].symbol);
        return NULL;
    }
    if (args == NULL || !PyTuple_Check(args) || PyTuple_GET_SIZE(args) == 0) {
        PyErr_SetString(quenda_ModelError,
                        "Insufficient number of arguments declared for operator");
        return NULL;
    }
    return nonlin_instantiate(op, 1, args);
}

PyObject *
quendamod_max(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return nary_function(NONLIN_MAX, args, kwargs);
}

PyObject *
quendamod_min(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return nary_function(NONLIN_MIN, args, kwargs);
}

/* user(f, *args, derivatives=False): a node over the whole tuple, the
 * callable first.  The function is registered with the solver only when a
 * problem converts the node. */
PyObject *
quendamod_user(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"arguments", "derivatives", NULL};
    PyObject *placeholder = NULL;
    double unused = 0.0;
    int derivatives = 0;

    placeholder = Py_BuildValue("(d)", 0.0);
    if (placeholder == NULL)
        return NULL;
    if (!PyArg_ParseTupleAndKeywords(placeholder, kwargs, "d|$p", (char **)kwlist, &unused,
                                     &derivatives)) {
        Py_DECREF(placeholder);
        return NULL;
    }
    Py_DECREF(placeholder);
    if (args == NULL || !PyTuple_Check(args)) {
        PyErr_SetString(quenda_ModelError,
                        "Insufficient number of arguments declared for operator");
        return NULL;
    }
    if (PyTuple_GET_SIZE(args) == 0 || !PyCallable_Check(PyTuple_GET_ITEM(args, 0))) {
        PyErr_SetString(quenda_ModelError, "Invalid user function, must specify at least one "
                                           "argument (the user function itself)");
        return NULL;
    }
    return nonlin_instantiate(derivatives ? NONLIN_USERFUNC_DER : NONLIN_USERFUNC, 1, args);
}
