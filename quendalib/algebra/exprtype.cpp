/* Operand classification, number test and the general operations.
 *
 * The general operations hand both operands to the operator table, whose
 * cell belongs to the richest operand type present (nonlinear > expression
 * > quadterm > linterm > var > number); each type's number slot accepts
 * its type on either side, so that is enough.  Two numbers are done here. */
#include "algebra/exprtype.h"

#include "module/npy.h"
#include "module/session.h"
#include "module/types.h"

int
is_number(PyObject *obj)
{
    if (PyFloat_Check(obj) || PyLong_Check(obj))
        return 1;
    PyTypeObject *t = Py_TYPE(obj);
    return t == &PyIntArrType_Type || t == &PyLongArrType_Type || t == &PyLongLongArrType_Type ||
           t == &PyFloatArrType_Type || t == &PyDoubleArrType_Type;
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
number_equals(PyObject *obj, double value)
{
    if (!is_number(obj))
        return 0;
    double x = number_value(obj);
    if (x == -1.0 && PyErr_Occurred()) {
        PyErr_Clear();
        return 0;
    }
    return x == value;
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

/* a op b for two numbers (or NumPy for an array), op ALG_ADD or ALG_MUL. */
static PyObject *
constant_binary(int op, PyObject *a, PyObject *b)
{
    if (is_ndarray(a) || is_ndarray(b))
        return op == ALG_ADD ? PyNumber_Add(a, b) : PyNumber_Multiply(a, b);
    double x = number_value(a);
    if (x == -1.0 && PyErr_Occurred())
        return NULL;
    double y = number_value(b);
    if (y == -1.0 && PyErr_Occurred())
        return NULL;
    return PyFloat_FromDouble(op == ALG_ADD ? x + y : x * y);
}

PyObject *
constant_add(PyObject *a, PyObject *b)
{
    return constant_binary(ALG_ADD, a, b);
}

PyObject *
constant_mul(PyObject *a, PyObject *b)
{
    return constant_binary(ALG_MUL, a, b);
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

/* The richer kind of a and b, or -1 with an exception set. */
static int
general_kind(PyObject *a, PyObject *b, int *ka, int *kb)
{
    if ((*ka = getExprType(a)) < 0 || (*kb = getExprType(b)) < 0)
        return -1;
    return *ka >= *kb ? *ka : *kb;
}

PyObject *
general_copy(PyObject *obj, double factor)
{
    int kind = expr_kind(obj);
    switch (kind) {
    case EXPR_VARIABLE:
    case EXPR_LINTERM:
    case EXPR_QUADTERM:
    case EXPR_EXPRESSION:
    case EXPR_NONLINEAR: return algebra_copy_table[kind](obj, factor);
    case EXPR_CONSTANT: {
        double v = number_value(obj);
        if (v == -1.0 && PyErr_Occurred())
            return NULL;
        return PyFloat_FromDouble(factor * v);
    }
    case EXPR_ARRAY:
        return quenda_then_drop(PyFloat_FromDouble(factor),
                                [obj](PyObject *f) { return PyNumber_Multiply(obj, f); });
    default: getExprType(NULL); return NULL;
    }
}

PyObject *
general_neg(PyObject *obj)
{
    if (expr_kind(obj) == EXPR_NONLINEAR)
        return algebra_ctor.nonlin_neg(obj);
    return general_copy(obj, -1.0);
}

/* The general binary operations: None on either side, arrays to NumPy,
 * two numbers here, every other pair to the table (op is ALG_MUL, ALG_IMUL
 * or ALG_IADD; only the richest two kinds accumulate in place). */
static PyObject *
general_binary(int op, PyObject *a, PyObject *b)
{
    int ka, kb;
    if (a == Py_None)
        return general_copy(b, 1.0);
    if (b == Py_None) {
        Py_INCREF(a);
        return a;
    }
    int add = op == ALG_IADD;
    if (is_ndarray(a) || is_ndarray(b))
        return add ? PyNumber_Add(a, b) : PyNumber_Multiply(a, b);
    switch (general_kind(a, b, &ka, &kb)) {
    case -1: return NULL;
    case EXPR_CONSTANT: return constant_binary(add ? ALG_ADD : ALG_MUL, a, b);
    default: return algebra_binary(op, ka, kb, a, b);
    }
}

PyObject *
general_mul(PyObject *a, PyObject *b)
{
    return general_binary(ALG_MUL, a, b);
}

PyObject *
general_imul(PyObject *a, PyObject *b)
{
    return general_binary(ALG_IMUL, a, b);
}

PyObject *
general_iadd(PyObject *a, PyObject *b)
{
    return general_binary(ALG_IADD, a, b);
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
