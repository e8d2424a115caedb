/* The number slots shared by the algebra's types (see slots.h). */
#include "algebra/slots.h"

#include "algebra/exprtype.h"

PyObject *
algebra_array_div(PyObject *arr, PyObject *other)
{
    PyObject *one = PyFloat_FromDouble(1.0), *inv = NULL, *res = NULL;
    if (one == NULL)
        return NULL;
    inv = PyNumber_TrueDivide(one, arr);
    Py_DECREF(one);
    if (inv == NULL)
        return NULL;
    res = PyNumber_Multiply(inv, other);
    Py_DECREF(inv);
    return res;
}

PyObject *
algebra_array_sub(PyObject *arr, PyObject *other)
{
    PyObject *neg = PyNumber_Negative(arr);
    if (neg == NULL)
        return NULL;
    PyObject *res = PyNumber_Add(neg, other);
    Py_DECREF(neg);
    return res;
}

PyObject algebra_pending_object;

PyObject *
algebra_array_right(int op, PyObject *a, PyObject *arr)
{
    switch (op) {
    case ALG_ADD: return PyNumber_Add(arr, a);
    case ALG_SUB: return algebra_array_sub(arr, a);
    case ALG_MUL: return PyNumber_Multiply(arr, a);
    case ALG_DIV: return algebra_array_div(arr, a);
    default: return quenda_model_error("Cannot obtain a power with a vector as an exponent");
    }
}

static inline PyObject *
term_same(PyObject *a)
{
    Py_INCREF(a);
    return a;
}

/* The algebra types are final: a's number slots are its own type's. */
PyObject *
term_iadd(PyObject *a, PyObject *b)
{
    if (number_equals(b, 0.0))
        return term_same(a);
    return Py_TYPE(a)->tp_as_number->nb_add(a, b);
}

PyObject *
term_isub(PyObject *a, PyObject *b)
{
    if (number_equals(b, 0.0))
        return term_same(a);
    return Py_TYPE(a)->tp_as_number->nb_subtract(a, b);
}

PyObject *
term_imul(PyObject *a, PyObject *b)
{
    if (number_equals(b, 1.0))
        return term_same(a);
    return Py_TYPE(a)->tp_as_number->nb_multiply(a, b);
}

PyObject *
term_idiv(PyObject *a, PyObject *b)
{
    if (number_equals(b, 1.0))
        return term_same(a);
    if (number_equals(b, 0.0))
        return quenda_model_error("Division by zero");
    return Py_TYPE(a)->tp_as_number->nb_true_divide(a, b);
}

PyObject *
term_ipow(PyObject *a, PyObject *b, PyObject *mod)
{
    if (is_ndarray(b))
        return quenda_model_error("Cannot obtain a power with a vector as an exponent");
    if (number_equals(b, 1.0))
        return term_same(a);
    if (number_equals(b, 0.0))
        return PyFloat_FromDouble(1.0);
    return Py_TYPE(a)->tp_as_number->nb_power(a, b, mod);
}

PyNumberMethods
algebra_number_methods(binaryfunc add, binaryfunc sub, binaryfunc mul, binaryfunc div,
                       ternaryfunc pow, unaryfunc neg, unaryfunc abs, binaryfunc iadd,
                       binaryfunc isub, binaryfunc imul, binaryfunc idiv, ternaryfunc ipow)
{
    PyNumberMethods nb = {};
    nb.nb_add = add;
    nb.nb_subtract = sub;
    nb.nb_multiply = mul;
    nb.nb_true_divide = div;
    nb.nb_power = pow;
    nb.nb_negative = neg;
    nb.nb_absolute = abs;
    nb.nb_inplace_add = iadd;
    nb.nb_inplace_subtract = isub;
    nb.nb_inplace_multiply = imul;
    nb.nb_inplace_true_divide = idiv;
    nb.nb_inplace_power = ipow;
    return nb;
}
