/* The number slots shared by the algebra's types (see slots.h). */
#include "algebra/slots.h"

#include "algebra/exprtype.h"
#include "module/session.h"

PyObject *
algebra_array_div(PyObject *arr, PyObject *other)
{
    PyObject *inv = quenda_then_drop(PyFloat_FromDouble(1.0), [arr](PyObject *one) {
        return PyNumber_TrueDivide(one, arr);
    });
    return quenda_then_drop(inv, [other](PyObject *i) { return PyNumber_Multiply(i, other); });
}

PyObject *
algebra_array_sub(PyObject *arr, PyObject *other)
{
    return quenda_then_drop(PyNumber_Negative(arr),
                            [other](PyObject *neg) { return PyNumber_Add(neg, other); });
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

/* a op= b: a itself when b is the operation's neutral number, else a op b
 * by a's own slot (the algebra types are final: a's number slots are its
 * own type's). */
template<binaryfunc PyNumberMethods::*Slot, int Neutral>
static PyObject *
term_inplace(PyObject *a, PyObject *b)
{
    if (number_equals(b, Neutral))
        return term_same(a);
    if constexpr (Slot == &PyNumberMethods::nb_true_divide) {
        if (number_equals(b, 0.0))
            return quenda_model_error("Division by zero");
    }
    return (Py_TYPE(a)->tp_as_number->*Slot)(a, b);
}

const binaryfunc term_iadd = term_inplace<&PyNumberMethods::nb_add, 0>;
const binaryfunc term_isub = term_inplace<&PyNumberMethods::nb_subtract, 0>;
const binaryfunc term_imul = term_inplace<&PyNumberMethods::nb_multiply, 1>;
const binaryfunc term_idiv = term_inplace<&PyNumberMethods::nb_true_divide, 1>;

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
