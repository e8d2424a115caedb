/* Operand classification, number test and the general operations.
 *
 * The general operations pick the implementation of the richest operand
 * type present (nonlinear > expression > quadterm > linterm > var >
 * number); each type's number slot accepts its type on either side, so
 * handing both operands to the richest one is enough. */
#include "algebra/exprtype.h"

#include "algebra/constraint.h"
#include "algebra/expression.h"
#include "algebra/linterm.h"
#include "algebra/nonlinear.h"
#include "algebra/quadterm.h"
#include "algebra/var.h"
#include "module/npy.h"
#include "module/session.h"
#include "module/types.h"

PyObject *
quenda_model_error(const char *msg)
{
    PyErr_SetString(quenda_ModelError != NULL ? quenda_ModelError : PyExc_RuntimeError, msg);
    return NULL;
}

int
is_ndarray(PyObject *obj)
{
    if (obj == NULL)
        return 0;
    PyTypeObject *t = Py_TYPE(obj);
    if (t == &PyArray_Type)
        return 1;
    /* The operands of the algebra's hot paths, without a walk of the MRO. */
    if (t == &quenda_varType || t == &quenda_lintermType || t == &quenda_expressionType ||
        t == &quenda_quadtermType || t == &PyFloat_Type || t == &PyLong_Type)
        return 0;
    return PyType_IsSubtype(t, &PyArray_Type);
}

int
is_number(PyObject *obj)
{
    if (PyFloat_Check(obj) || PyLong_Check(obj))
        return 1;
    PyTypeObject *t = Py_TYPE(obj);
    return t == &PyIntArrType_Type || t == &PyLongArrType_Type ||
           t == &PyLongLongArrType_Type || t == &PyFloatArrType_Type ||
           t == &PyDoubleArrType_Type;
}

double
number_value(PyObject *obj)
{
    if (PyFloat_CheckExact(obj))
        return PyFloat_AS_DOUBLE(obj);
    if (PyLong_CheckExact(obj))
        return PyLong_AsDouble(obj);
    return PyFloat_AsDouble(obj);
}

int
expr_kind(PyObject *obj)
{
    PyTypeObject *t = Py_TYPE(obj);
    if (t == &PyFloat_Type || t == &PyLong_Type)
        return EXPR_CONSTANT;
    if (t == &quenda_varType)
        return EXPR_VARIABLE;
    if (t == &quenda_lintermType)
        return EXPR_LINTERM;
    if (t == &quenda_expressionType)
        return EXPR_EXPRESSION;
    if (t == &quenda_quadtermType)
        return EXPR_QUADTERM;
    if (PyObject_TypeCheck(obj, &quenda_nonlinType))
        return EXPR_NONLINEAR;
    if (is_number(obj))
        return EXPR_CONSTANT;
    if (PyArray_Check(obj))
        return EXPR_ARRAY;
    if (PyObject_TypeCheck(obj, &quenda_expressionType))
        return EXPR_EXPRESSION;
    if (PyObject_TypeCheck(obj, &quenda_lintermType))
        return EXPR_LINTERM;
    if (PyObject_TypeCheck(obj, &quenda_varType))
        return EXPR_VARIABLE;
    if (PyObject_TypeCheck(obj, &quenda_quadtermType))
        return EXPR_QUADTERM;
    return EXPR_INVALID;
}

int
getExprType(PyObject *obj)
{
    if (obj != NULL) {
        int k = expr_kind(obj);
        if (k != EXPR_INVALID && k != EXPR_ARRAY)
            return k;
    }
    quenda_model_error("Invalid object in operation");
    return EXPR_INVALID;
}

PyObject *
quenda_float_zero(void)
{
    return PyFloat_FromDouble(0.0);
}

PyObject *
quenda_float_one(void)
{
    return PyFloat_FromDouble(1.0);
}

/* ------------------------------------------------------------ numbers */

PyObject *
constant_add(PyObject *a, PyObject *b)
{
    if (is_ndarray(a) || is_ndarray(b))
        return PyNumber_Add(a, b);
    double x = number_value(a);
    if (x == -1.0 && PyErr_Occurred())
        return NULL;
    double y = number_value(b);
    if (y == -1.0 && PyErr_Occurred())
        return NULL;
    return PyFloat_FromDouble(x + y);
}

PyObject *
constant_mul(PyObject *a, PyObject *b)
{
    if (is_ndarray(a) || is_ndarray(b))
        return PyNumber_Multiply(a, b);
    double x = number_value(a);
    if (x == -1.0 && PyErr_Occurred())
        return NULL;
    double y = number_value(b);
    if (y == -1.0 && PyErr_Occurred())
        return NULL;
    return PyFloat_FromDouble(x * y);
}

PyObject *
constant_neg(PyObject *a)
{
    if (is_ndarray(a))
        return PyNumber_Negative(a);
    double x = number_value(a);
    if (x == -1.0 && PyErr_Occurred())
        return NULL;
    return PyFloat_FromDouble(-x);
}

/* ------------------------------------------------------------ general */

/* Rank of a kind for the general operations; -1 for invalid. */
static int
general_rank(int kind)
{
    switch (kind) {
    case EXPR_NONLINEAR: return 5;
    case EXPR_EXPRESSION: return 4;
    case EXPR_QUADTERM: return 3;
    case EXPR_LINTERM: return 2;
    case EXPR_VARIABLE: return 1;
    case EXPR_CONSTANT: return 0;
    default: return -1;
    }
}

/* The richer kind of a and b, or -1 with an exception set. */
static int
general_kind(PyObject *a, PyObject *b)
{
    int ka = getExprType(a);
    if (ka < 0)
        return -1;
    int kb = getExprType(b);
    if (kb < 0)
        return -1;
    return general_rank(ka) >= general_rank(kb) ? ka : kb;
}

PyObject *
general_copy(PyObject *obj, double factor)
{
    switch (expr_kind(obj)) {
    case EXPR_NONLINEAR:
        return nonlin_copy(obj, factor);
    case EXPR_EXPRESSION:
        return expression_copy(obj, factor);
    case EXPR_QUADTERM:
        return quadterm_copy(obj, factor);
    case EXPR_LINTERM:
        return linterm_copy(obj, factor);
    case EXPR_VARIABLE:
        return var_fill(obj, factor);
    case EXPR_CONSTANT: {
        double v = number_value(obj);
        if (v == -1.0 && PyErr_Occurred())
            return NULL;
        return PyFloat_FromDouble(factor * v);
    }
    case EXPR_ARRAY: {
        PyObject *f = PyFloat_FromDouble(factor);
        if (f == NULL)
            return NULL;
        PyObject *res = PyNumber_Multiply(obj, f);
        Py_DECREF(f);
        return res;
    }
    default:
        getExprType(NULL);
        return NULL;
    }
}

PyObject *
general_neg(PyObject *obj)
{
    if (expr_kind(obj) == EXPR_NONLINEAR)
        return nonlin_neg(obj);
    return general_copy(obj, -1.0);
}

/* Shared by general_mul and general_imul: only the richest two kinds can
 * accumulate in place; the others always build a new object. */
static PyObject *
general_mul_impl(PyObject *a, PyObject *b, int inplace)
{
    if (a == Py_None)
        return general_copy(b, 1.0);
    if (b == Py_None) {
        Py_INCREF(a);
        return a;
    }
    if (is_ndarray(a) || is_ndarray(b))
        return PyNumber_Multiply(a, b);
    switch (general_kind(a, b)) {
    case EXPR_NONLINEAR: return inplace ? nonlin_imul(a, b) : nonlin_mul(a, b);
    case EXPR_EXPRESSION: return inplace ? expression_imul(a, b) : expression_mul(a, b);
    case EXPR_QUADTERM: return quadterm_mul(a, b);
    case EXPR_LINTERM: return linterm_mul(a, b);
    case EXPR_VARIABLE: return var_mul(a, b);
    case EXPR_CONSTANT: return constant_mul(a, b);
    default: return NULL;
    }
}

PyObject *
general_mul(PyObject *a, PyObject *b)
{
    return general_mul_impl(a, b, 0);
}

PyObject *
general_imul(PyObject *a, PyObject *b)
{
    return general_mul_impl(a, b, 1);
}

PyObject *
general_iadd(PyObject *a, PyObject *b)
{
    if (a == Py_None)
        return general_copy(b, 1.0);
    if (b == Py_None) {
        Py_INCREF(a);
        return a;
    }
    if (is_ndarray(a) || is_ndarray(b))
        return PyNumber_Add(a, b);
    switch (general_kind(a, b)) {
    case EXPR_NONLINEAR: return nonlin_iadd(a, b);
    case EXPR_EXPRESSION: return expression_iadd(a, b);
    case EXPR_QUADTERM: return quadterm_add(a, b);
    case EXPR_LINTERM: return linterm_add(a, b);
    case EXPR_VARIABLE: return var_add(a, b);
    case EXPR_CONSTANT: return constant_add(a, b);
    default: return NULL;
    }
}

PyObject *
quenda_id_name(char prefix, uint32_t id)
{
    char buf[16];
    char *p = buf + sizeof buf;
    do {
        *--p = (char)('0' + id % 10);
        id /= 10;
    } while (id != 0);
    *--p = prefix;
    return PyUnicode_FromStringAndSize(p, buf + sizeof buf - p);
}
