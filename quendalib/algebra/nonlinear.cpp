/* quenda.nonlinear: first cut, so that the dispatch of the other algebra
 * types links; the operations land next. */
#include "algebra/nonlinear.h"

#include <math.h>

const nonlin_op_info printToolArray[NONLIN_NUM_OPS] = {
    {"+", -1, 0},     {"-", 2, 0},      {"-", 1, -1},    {"*", -1, 0},
    {"/", 2, 0},      {"**", 2, 0},     {"exp", 1, -1},  {"log", 1, -1},
    {"log10", 1, -1}, {"sin", 1, -1},   {"cos", 1, -1},  {"tan", 1, -1},
    {"asin", 1, -1},  {"acos", 1, -1},  {"atan", 1, -1}, {"max", -1, -1},
    {"min", -1, -1},  {"abs", 1, -1},   {"sign", 1, -1}, {"erf", 1, -1},
    {"erfc", 1, -1},  {"sqrt", 1, -1},  {"user", -1, -1}, {"user", -1, -1}};

static PyObject *
nonlin_pending(void)
{
    PyErr_SetString(PyExc_NotImplementedError, "nonlinear expressions are not available yet");
    return NULL;
}

PyObject *nonlin_instantiate_binary(int, PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_instantiate_unary(int, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_instantiate(int, int, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_add(PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_sub(PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_mul(PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_div(PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_pow(PyObject *, PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_alg_sum(PyObject *, PyObject *, double) { return nonlin_pending(); }
PyObject *nonlin_inplace_alg_sum(PyObject *, PyObject *, double) { return nonlin_pending(); }
PyObject *nonlin_iadd(PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_isub(PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_imul(PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_idiv(PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_ipow(PyObject *, PyObject *, PyObject *) { return nonlin_pending(); }
PyObject *nonlin_neg(PyObject *) { return nonlin_pending(); }
PyObject *nonlin_copy(PyObject *, double) { return nonlin_pending(); }
Py_ssize_t nonlin_arg_size(PyObject *) { nonlin_pending(); return -1; }
PyObject *nonlin_arg_first(PyObject *, Py_ssize_t *) { return nonlin_pending(); }
PyObject *nonlin_arg_next(PyObject *, Py_ssize_t *) { return nonlin_pending(); }

double
nonlin_eval_unary(int op, double x)
{
    switch (op) {
    case NONLIN_UMINUS: return -x;
    case NONLIN_EXP: return exp(x);
    case NONLIN_LOG: return log(x);
    case NONLIN_LOG10: return log(x) * 0.4342944819032518;
    case NONLIN_SIN: return sin(x);
    case NONLIN_COS: return cos(x);
    case NONLIN_TAN: return tan(x);
    case NONLIN_ASIN: return asin(x);
    case NONLIN_ACOS: return acos(x);
    case NONLIN_ATAN: return atan(x);
    case NONLIN_ABS: return fabs(x);
    case NONLIN_SIGN: return x < 0 ? -1.0 : (x > 0 ? 1.0 : 0.0);
    case NONLIN_ERF: return erf(x);
    case NONLIN_ERFC: return erfc(x);
    case NONLIN_SQRT: return sqrt(x);
    default: return NAN;
    }
}

PyTypeObject quenda_nonlinType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.nonlinear",      /* tp_name */
    sizeof(nonlin_object),   /* tp_basicsize */
};
