/* quenda.quadterm: the immutable value coef*var1*var2.
 *
 * Like the linear term it folds what it can (sums on the same pair,
 * divisions that cancel a variable) and hands everything else to the
 * expression or to a nonlinear node.  Unlike the linear term it keeps a
 * coefficient of 0.0. */
#include "algebra/quadterm.h"

#include <stdio.h>

#include "algebra/exprtype.h"
#include "algebra/slots.h"

#define QT(o) ((quadterm_object *)(o))

/* ------------------------------------------------------------ creation */

PyObject *
quadterm_fill(double coef, PyObject *first, PyObject *second)
{
    quadterm_object *t = PyObject_New(quadterm_object, &quenda_quadtermType);
    if (t == NULL)
        return NULL;
    if (VAR_ID(second) < VAR_ID(first)) {
        PyObject *tmp = first;
        first = second;
        second = tmp;
    }
    t->coef = coef;
    Py_INCREF(first);
    t->var1 = first;
    Py_INCREF(second);
    t->var2 = second;
    return (PyObject *)t;
}

PyObject *
quadterm_copy(PyObject *term, double factor)
{
    quadterm_object *t = QT(term);
    if (t->var1 == NULL || t->var2 == NULL)
        return quenda_model_error("Invalid object in operation");
    return quadterm_fill(factor * t->coef, t->var1, t->var2);
}

static void
quadterm_dealloc(PyObject *self)
{
    Py_XDECREF(QT(self)->var1);
    Py_XDECREF(QT(self)->var2);
    Py_TYPE(self)->tp_free(self);
}

/* ------------------------------------------------------------ helpers */

static int
quadterm_valid(PyObject *o)
{
    if (QT(o)->var1 == NULL || QT(o)->var2 == NULL) {
        quenda_model_error("Invalid object in operation");
        return 0;
    }
    return 1;
}

/* Both operands usable: quadterms and linterms made by the types' own
 * allocators hold no variables. */
static int
quadterm_operands_valid(PyObject *a, int ka, PyObject *b, int kb)
{
    if ((ka == EXPR_QUADTERM && !quadterm_valid(a)) || (kb == EXPR_QUADTERM && !quadterm_valid(b)))
        return 0;
    if ((ka == EXPR_LINTERM && ((linterm_object *)a)->var == NULL) ||
        (kb == EXPR_LINTERM && ((linterm_object *)b)->var == NULL)) {
        quenda_model_error("Invalid object in operation");
        return 0;
    }
    return 1;
}

static inline int
same_var(PyObject *x, PyObject *y)
{
    return VAR_ID(x) == VAR_ID(y);
}

/* A "/" node over (the float num, var). */
static PyObject *
quadterm_div_node_f(double num, PyObject *var)
{
    PyObject *f = PyFloat_FromDouble(num);
    if (f == NULL)
        return NULL;
    PyObject *res = algebra_ctor.nonlin_binary(NONLIN_DIV, f, var);
    Py_DECREF(f);
    return res;
}

/* A "/" node over (r*lvar, var). */
static PyObject *
quadterm_div_node_l(double r, PyObject *lvar, PyObject *var)
{
    PyObject *num = algebra_linterm_new(r, lvar);
    if (num == NULL)
        return NULL;
    PyObject *res = algebra_ctor.nonlin_binary(NONLIN_DIV, num, var);
    Py_DECREF(num);
    return res;
}

/* constant + lc*lv + qc*q1*q2 as an expression (through the door). */
static inline PyObject *
from_quad(double constant, PyObject *lv, double lc, PyObject *q1, PyObject *q2, double qc,
          const char *msg)
{
    return algebra_ctor.expression_from_quad(constant, lv, lc, q1, q2, qc, msg);
}

/* ------------------------------------------------------------ sum */

static PyObject *
quadterm_alg_sum(PyObject *a, PyObject *b, double sign)
{
    int ka = expr_kind(a), kb = expr_kind(b);
    double k;
    static const char bad[] = "Invalid operands in sum with quadratic term";

    if (ka == EXPR_EXPRESSION || kb == EXPR_EXPRESSION || ka == EXPR_NONLINEAR ||
        kb == EXPR_NONLINEAR)
        return algebra_sum(ka, kb, a, b, sign);
    if (!quadterm_operands_valid(a, ka, b, kb))
        return NULL;

    if (kb == EXPR_QUADTERM) {
        quadterm_object *q = QT(b);
        switch (ka) {
        case EXPR_CONSTANT:
            k = number_value(a);
            if (k == -1.0 && PyErr_Occurred())
                return NULL;
            if (k == 0.0)
                return quadterm_copy(b, sign);
            return from_quad(k, NULL, 0.0, q->var1, q->var2, sign * q->coef, bad);
        case EXPR_VARIABLE: return from_quad(0.0, a, 1.0, q->var1, q->var2, sign * q->coef, bad);
        case EXPR_LINTERM: {
            linterm_object *l = (linterm_object *)a;
            return from_quad(0.0, l->var, l->coef, q->var1, q->var2, sign * q->coef, bad);
        }
        case EXPR_QUADTERM: {
            quadterm_object *p = QT(a);
            if (same_var(p->var1, q->var1) && same_var(p->var2, q->var2))
                return quadterm_fill(p->coef + sign * q->coef, p->var1, p->var2);
            PyObject *res = from_quad(0.0, NULL, 0.0, p->var1, p->var2, p->coef, bad);
            if (res != NULL &&
                algebra_ctor.expression_addQuadTerm(res, q->var1, q->var2, sign * q->coef) < 0)
                Py_CLEAR(res);
            return res;
        }
        default: break;
        }
    } else if (ka == EXPR_QUADTERM) {
        quadterm_object *q = QT(a);
        switch (kb) {
        case EXPR_CONSTANT:
            k = number_value(b);
            if (k == -1.0 && PyErr_Occurred())
                return NULL;
            if (sign * k == 0.0)
                return quadterm_copy(a, 1.0);
            return from_quad(sign * k, NULL, 0.0, q->var1, q->var2, q->coef, bad);
        case EXPR_VARIABLE: return from_quad(0.0, b, sign, q->var1, q->var2, q->coef, bad);
        case EXPR_LINTERM: {
            linterm_object *l = (linterm_object *)b;
            return from_quad(0.0, l->var, sign * l->coef, q->var1, q->var2, q->coef, bad);
        }
        default: break;
        }
    }
    return quenda_model_error(bad);
}

/* a + b and a - b (Op ALG_ADD, ALG_SUB): one body, the sign a constant. */
template<int Op>
static PyObject *
quadterm_addsub(PyObject *a, PyObject *b)
{
    int ka = expr_kind(a), kb = expr_kind(b);
    PyObject *front = algebra_front(Op, EXPR_QUADTERM, a, b, ka, kb);
    if (front != ALGEBRA_PENDING)
        return front;
    if (ka != EXPR_QUADTERM && kb != EXPR_QUADTERM) {
        if (getExprType(a) < 0 || getExprType(b) < 0)
            return NULL;
        return quenda_model_error("Invalid operands in sum with quadratic term");
    }
    return quadterm_alg_sum(a, b, Op == ALG_ADD ? 1.0 : -1.0);
}

/* ------------------------------------------------------------ product */

static PyObject *
quadterm_mul(PyObject *a, PyObject *b)
{
    int ka = expr_kind(a), kb = expr_kind(b);
    double k;
    PyObject *front = algebra_front(ALG_MUL, EXPR_QUADTERM, a, b, ka, kb);
    if (front != ALGEBRA_PENDING)
        return front;
    if (ka == EXPR_CONSTANT && kb == EXPR_QUADTERM) {
        k = number_value(a);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        return quadterm_copy(b, k);
    }
    if (kb == EXPR_CONSTANT && ka == EXPR_QUADTERM) {
        k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        return quadterm_copy(a, k);
    }
    if (getExprType(a) < 0 || getExprType(b) < 0)
        return NULL;
    return algebra_ctor.nonlin_binary(NONLIN_MUL, a, b);
}

/* ------------------------------------------------------------ division */

static PyObject *
quadterm_div(PyObject *a, PyObject *b)
{
    int ka = expr_kind(a), kb = expr_kind(b);
    double k;
    static const char zero_bilinear[] = "Division by zero of a bilinear term";
    PyObject *front = algebra_front(ALG_DIV, EXPR_QUADTERM, a, b, ka, kb);
    if (front != ALGEBRA_PENDING)
        return front;
    if (!quadterm_operands_valid(a, ka, b, kb))
        return NULL;

    if (ka == EXPR_QUADTERM) {
        quadterm_object *q = QT(a);
        if (kb == EXPR_CONSTANT) {
            k = number_value(b);
            if (k == -1.0 && PyErr_Occurred())
                return NULL;
            if (k == 0.0)
                return quenda_model_error(zero_bilinear);
            return quadterm_copy(a, 1.0 / k);
        }
        if (kb == EXPR_VARIABLE) {
            if (same_var(b, q->var1))
                return algebra_linterm_new(q->coef, q->var2);
            if (same_var(b, q->var2))
                return algebra_linterm_new(q->coef, q->var1);
            return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
        }
        if (kb == EXPR_LINTERM) {
            linterm_object *l = (linterm_object *)b;
            if (l->coef == 0.0)
                return quenda_model_error(zero_bilinear);
            if (same_var(l->var, q->var1))
                return algebra_linterm_new(q->coef / l->coef, q->var2);
            if (same_var(l->var, q->var2))
                return algebra_linterm_new(q->coef / l->coef, q->var1);
            return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
        }
        if (kb == EXPR_QUADTERM) {
            quadterm_object *p = QT(b);
            double r = q->coef / p->coef;
            if (same_var(q->var2, p->var2) && same_var(q->var1, p->var1))
                return PyFloat_FromDouble(r);
            if (same_var(q->var2, p->var2))
                return quadterm_div_node_l(r, q->var1, p->var1);
            if (same_var(q->var1, p->var1))
                return quadterm_div_node_l(r, q->var2, p->var2);
            if (same_var(q->var1, p->var2))
                return quadterm_div_node_l(r, q->var2, p->var1);
            if (same_var(p->var1, q->var2))
                return quadterm_div_node_l(r, q->var1, p->var2);
            return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
        }
    } else if (kb == EXPR_QUADTERM) {
        quadterm_object *q = QT(b);
        if (ka == EXPR_LINTERM) {
            linterm_object *l = (linterm_object *)a;
            if (q->coef == 0.0)
                return quenda_model_error("Division by zero of a linear term");
            if (same_var(l->var, q->var1))
                return quadterm_div_node_f(l->coef / q->coef, q->var2);
            if (same_var(l->var, q->var2))
                return quadterm_div_node_f(l->coef / q->coef, q->var1);
            return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
        }
        if (ka == EXPR_VARIABLE) {
            if (q->coef == 0.0)
                return quenda_model_error("Division by zero of a variable");
            if (same_var(a, q->var1))
                return quadterm_div_node_f(1.0 / q->coef, q->var2);
            if (same_var(a, q->var2))
                return quadterm_div_node_f(1.0 / q->coef, q->var1);
            return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
        }
    }
    if (getExprType(a) < 0 || getExprType(b) < 0)
        return NULL;
    return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
}

/* ------------------------------------------------------------ power */

static PyObject *
quadterm_pow(PyObject *a, PyObject *b, PyObject *mod)
{
    int ka = expr_kind(a), kb = expr_kind(b);
    double k;
    PyObject *front = algebra_front(ALG_POW, EXPR_QUADTERM, a, b, ka, kb);
    if (front != ALGEBRA_PENDING)
        return front;
    if (ka == EXPR_CONSTANT) {
        k = number_value(a);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        if (k == 1.0)
            return PyFloat_FromDouble(1.0);
    }
    if (kb == EXPR_CONSTANT && ka == EXPR_QUADTERM) {
        k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        if (k == 0.0)
            return PyFloat_FromDouble(1.0);
        if (k == 1.0)
            return quadterm_copy(a, 1.0);
        return algebra_ctor.nonlin_binary(NONLIN_POW, a, b);
    }
    if (getExprType(a) < 0 || getExprType(b) < 0)
        return NULL;
    return algebra_ctor.nonlin_binary(NONLIN_POW, a, b);
}

static PyObject *
quadterm_neg(PyObject *a)
{
    return quadterm_copy(a, -1.0);
}

static PyObject *
quadterm_abs(PyObject *a)
{
    return algebra_ctor.nonlin_unary(NONLIN_ABS, a);
}

/* ------------------------------------------------------------ text */

static PyObject *
quadterm_str(PyObject *self)
{
    quadterm_object *t = QT(self);
    char prefix[512] = "";
    if (t->var1 == NULL || t->var2 == NULL)
        return PyUnicode_FromString("<empty quadterm>");
    if (t->coef != 1.0)
        snprintf(prefix, sizeof prefix, "%g*", t->coef);
    if (same_var(t->var1, t->var2))
        return PyUnicode_FromFormat("%s%S**2", prefix, t->var1);
    return PyUnicode_FromFormat("%s%S*%S", prefix, t->var1, t->var2);
}

/* ------------------------------------------------------------ type */

static PyNumberMethods quadterm_as_number =
    algebra_number_methods(quadterm_addsub<ALG_ADD>, quadterm_addsub<ALG_SUB>, quadterm_mul,
                           quadterm_div, quadterm_pow, quadterm_neg, quadterm_abs, term_iadd,
                           term_isub, term_imul, term_idiv, term_ipow);

PyTypeObject quenda_quadtermType = quenda_type_build(
    "quenda.quadterm", sizeof(quadterm_object), Py_TPFLAGS_DEFAULT,
    "Class for quadratic and bilinear terms alpha * x1 * x2. These can be used and\ncombined "
    "to create constraints and objective function of an\noptimization problem.",
    Py_tp_dealloc, quadterm_dealloc, Py_tp_repr, quadterm_str, QUENDA_TP_AS_NUMBER,
    &quadterm_as_number, Py_tp_str, quadterm_str, Py_tp_richcompare, algebra_richcompare);

/* ------------------------------------------------------------ registration */

int
quadterm_register(void)
{
    algebra_ctor.quadterm_fill = quadterm_fill;
    return algebra_register_type(EXPR_QUADTERM, &quenda_quadtermType, 0, quadterm_alg_sum,
                                 quadterm_copy);
}
