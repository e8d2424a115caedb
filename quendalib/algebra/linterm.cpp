/* quenda.linterm: the immutable value coef*var.
 *
 * It spares the commonest products (3*x, -x, x/2) a full expression with
 * its maps.  Every operation folds into a number, a linterm or a quadterm
 * where it can and hands the rest to the richer types. */
#include "algebra/linterm.h"

#include <stdio.h>

#include "algebra/exprtype.h"
#include "algebra/slots.h"

/* ------------------------------------------------------------ creation */

PyObject *
linterm_fill(double coef, PyObject *var)
{
    return algebra_linterm_new(coef, var);
}

PyObject *
linterm_copy(PyObject *term, double factor)
{
    if (term == NULL || !LINTERM_CHECK(term) || ((linterm_object *)term)->var == NULL)
        return quenda_model_error("Linterm copy using an invalid object");
    linterm_object *t = (linterm_object *)term;
    return linterm_fill(factor * t->coef, t->var);
}

static void
linterm_dealloc(PyObject *self)
{
    Py_XDECREF(((linterm_object *)self)->var);
    Py_TYPE(self)->tp_free(self);
}

/* ------------------------------------------------------------ helpers */

static inline double
lt_coef(PyObject *o)
{
    return ((linterm_object *)o)->coef;
}

static inline PyObject *
lt_var(PyObject *o)
{
    return ((linterm_object *)o)->var;
}

/* A fresh term made by the type's own allocator has no variable. */
static int
linterm_valid(PyObject *o)
{
    if (((linterm_object *)o)->var == NULL) {
        quenda_model_error("Invalid object in operation");
        return 0;
    }
    return 1;
}

/* ------------------------------------------------------------ sum */

static PyObject *
linterm_alg_sum(PyObject *a, PyObject *b, double sign)
{
    int ka = expr_kind(a), kb = expr_kind(b);
    double k;

    if (ka > EXPR_LINTERM || kb > EXPR_LINTERM)
        return algebra_sum(ka, kb, a, b, sign);

    if (ka < EXPR_CONSTANT || ka > EXPR_LINTERM || kb < EXPR_CONSTANT || kb > EXPR_LINTERM ||
        (ka != EXPR_LINTERM && kb != EXPR_LINTERM))
        return quenda_model_error("Invalid operands in sum");
    if ((ka == EXPR_LINTERM && !linterm_valid(a)) || (kb == EXPR_LINTERM && !linterm_valid(b)))
        return NULL;

    if (ka == EXPR_LINTERM && kb == EXPR_CONSTANT) {
        k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        if (sign * k == 0.0)
            return linterm_fill(lt_coef(a), lt_var(a));
        return algebra_ctor.expression_from_lin(sign * k, lt_var(a), lt_coef(a), NULL, 0.0,
                                                "Error creating expression");
    }
    if (ka == EXPR_CONSTANT) {
        k = number_value(a);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        if (k == 0.0)
            return linterm_copy(b, sign);
        return algebra_ctor.expression_from_lin(k, lt_var(b), sign * lt_coef(b), NULL, 0.0,
                                                "Error creating expression");
    }
    if (ka == EXPR_LINTERM && kb == EXPR_LINTERM) {
        PyObject *x = lt_var(a), *y = lt_var(b);
        if (VAR_ID(x) == VAR_ID(y))
            return linterm_fill(lt_coef(a) + sign * lt_coef(b), x);
        return algebra_ctor
            .expression_from_lin(0.0, x, lt_coef(a), y, sign * lt_coef(b),
                                 "Error creating expression as sum of two linear terms");
    }
    if (ka == EXPR_LINTERM) { /* b a variable */
        PyObject *x = lt_var(a);
        if (VAR_ID(x) == VAR_ID(b))
            return linterm_fill(lt_coef(a) + sign, x);
        return algebra_ctor
            .expression_from_lin(0.0, b, sign, x, lt_coef(a),
                                 "Error creating expression as sum of linear term and variable");
    }
    /* a a variable, b a linterm */
    PyObject *x = lt_var(b);
    if (VAR_ID(a) == VAR_ID(x))
        return linterm_fill(1.0 + sign * lt_coef(b), a);
    return algebra_ctor
        .expression_from_lin(0.0, a, 1.0, x, sign * lt_coef(b),
                             "Error creating expression as sum of linear term and variable");
}

static PyObject *
linterm_add(PyObject *a, PyObject *b)
{
    if (is_ndarray(b))
        return PyNumber_Add(b, a);
    if (is_ndarray(a))
        Py_RETURN_NOTIMPLEMENTED;
    return linterm_alg_sum(a, b, 1.0);
}

static PyObject *
linterm_sub(PyObject *a, PyObject *b)
{
    if (is_ndarray(b))
        return algebra_array_sub(b, a);
    if (is_ndarray(a))
        Py_RETURN_NOTIMPLEMENTED;
    return linterm_alg_sum(a, b, -1.0);
}

/* ------------------------------------------------------------ product */

static PyObject *
linterm_mul(PyObject *a, PyObject *b)
{
    int ka = expr_kind(a), kb = expr_kind(b);
    double k;
    PyObject *front = algebra_front(ALG_MUL, EXPR_LINTERM, a, b, ka, kb);
    if (front != ALGEBRA_PENDING)
        return front;

    if (ka == EXPR_CONSTANT) {
        k = number_value(a);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        return linterm_copy(b, k);
    }
    if (kb == EXPR_CONSTANT) {
        k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        return linterm_copy(a, k);
    }
    if ((ka != EXPR_LINTERM && ka != EXPR_VARIABLE) || (kb != EXPR_LINTERM && kb != EXPR_VARIABLE))
        return quenda_model_error("Invalid operands in product of linear terms");
    if ((ka == EXPR_LINTERM && !linterm_valid(a)) || (kb == EXPR_LINTERM && !linterm_valid(b)))
        return NULL;
    if (ka == EXPR_LINTERM && kb == EXPR_LINTERM)
        return algebra_ctor.quadterm_fill(lt_coef(a) * lt_coef(b), lt_var(a), lt_var(b));
    if (ka == EXPR_LINTERM)
        return algebra_ctor.quadterm_fill(lt_coef(a), lt_var(a), b);
    if (kb == EXPR_LINTERM)
        return algebra_ctor.quadterm_fill(lt_coef(b), a, lt_var(b));
    return algebra_ctor.quadterm_fill(1.0, a, b);
}

/* ------------------------------------------------------------ division */

static PyObject *
linterm_div(PyObject *a, PyObject *b)
{
    int ka = expr_kind(a), kb = expr_kind(b);
    double k;
    PyObject *front = algebra_front(ALG_DIV, EXPR_LINTERM, a, b, ka, kb);
    if (front != ALGEBRA_PENDING)
        return front;

    if (kb == EXPR_CONSTANT && ka == EXPR_LINTERM) {
        if (!linterm_valid(a))
            return NULL;
        k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        if (k == 0.0)
            return quenda_model_error("Division by zero");
        return linterm_fill(lt_coef(a) / k, lt_var(a));
    }
    if (ka < EXPR_CONSTANT || ka > EXPR_LINTERM || (kb != EXPR_LINTERM && kb != EXPR_VARIABLE))
        return quenda_model_error("Invalid operands in product of linear terms");
    if ((ka == EXPR_LINTERM && !linterm_valid(a)) || (kb == EXPR_LINTERM && !linterm_valid(b)))
        return NULL;
    if (ka == EXPR_CONSTANT)
        return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);

    PyObject *xa = ka == EXPR_LINTERM ? lt_var(a) : a;
    PyObject *xb = kb == EXPR_LINTERM ? lt_var(b) : b;
    if (VAR_ID(xa) != VAR_ID(xb))
        return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
    double ca = ka == EXPR_LINTERM ? lt_coef(a) : 1.0;
    double cb = kb == EXPR_LINTERM ? lt_coef(b) : 1.0;
    if (cb == 0.0)
        return quenda_model_error("Division by zero");
    return PyFloat_FromDouble(ca / cb);
}

/* ------------------------------------------------------------ power */

static PyObject *
linterm_pow(PyObject *a, PyObject *b, PyObject *mod)
{
    int ka = expr_kind(a), kb = expr_kind(b);

    if (kb == EXPR_ARRAY)
        return quenda_model_error("Cannot obtain a power with a vector as an exponent");
    if (ka == EXPR_LINTERM) {
        if (!linterm_valid(a))
            return NULL;
        if (kb == EXPR_CONSTANT) {
            double k = number_value(b);
            if (k == -1.0 && PyErr_Occurred())
                return NULL;
            if (k == 0.0)
                return PyFloat_FromDouble(1.0);
            if (k == 1.0) {
                Py_INCREF(a);
                return a;
            }
            if (k == 2.0) {
                double c = lt_coef(a);
                PyObject *sq = algebra_ctor.quadterm_fill(c * c, lt_var(a), lt_var(a));
                if (sq != NULL)
                    return sq;
                PyErr_Clear();
            }
        }
        return algebra_ctor.nonlin_binary(NONLIN_POW, a, b);
    }
    if (ka == EXPR_ARRAY)
        Py_RETURN_NOTIMPLEMENTED;
    if (ka > EXPR_LINTERM)
        return algebra_binary(ALG_POW, ka, kb, a, b);
    return algebra_ctor.nonlin_binary(NONLIN_POW, a, b);
}

static PyObject *
linterm_neg(PyObject *a)
{
    if (!linterm_valid(a))
        return NULL;
    return linterm_fill(-lt_coef(a), lt_var(a));
}

static PyObject *
linterm_abs(PyObject *a)
{
    return algebra_ctor.nonlin_unary(NONLIN_ABS, a);
}

/* ------------------------------------------------------------ text */

static PyObject *
linterm_str(PyObject *self)
{
    linterm_object *t = (linterm_object *)self;
    char prefix[512] = "";
    if (t->var == NULL)
        return PyUnicode_FromString("<empty linterm>");
    if (t->coef != 1.0)
        snprintf(prefix, sizeof prefix, "%g*", t->coef);
    return PyUnicode_FromFormat("%s%S", prefix, t->var);
}

/* ------------------------------------------------------------ type */

static PyNumberMethods linterm_as_number =
    algebra_number_methods(linterm_add, linterm_sub, linterm_mul, linterm_div, linterm_pow,
                           linterm_neg, linterm_abs, term_iadd, term_isub, term_imul, term_idiv,
                           term_ipow);

PyTypeObject quenda_lintermType = quenda_type_build(
    "quenda.linterm", sizeof(linterm_object), Py_TPFLAGS_DEFAULT,
    "Class for linear terms. These can be used and\ncombined to create constraints and "
    "objective function of an\noptimization problem.",
    Py_tp_dealloc, linterm_dealloc, Py_tp_repr, linterm_str, QUENDA_TP_AS_NUMBER,
    &linterm_as_number, Py_tp_str, linterm_str, Py_tp_richcompare, algebra_richcompare);

/* ------------------------------------------------------------ registration */

int
linterm_register(void)
{
    return algebra_register_type(EXPR_LINTERM, &quenda_lintermType, 0, linterm_alg_sum,
                                 linterm_copy);
}
