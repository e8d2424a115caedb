/* quenda.expression: constant + linear part + quadratic part.
 *
 * Plain operators copy the expression operand (scaled by the sign when it
 * stands on the right) and accumulate the other operand into the copy;
 * the in-place forms accumulate into the left operand's own maps, which
 * is what keeps a long sum built with += linear-logarithmic.  Products of
 * affine expressions are expanded; anything of higher degree becomes a
 * nonlinear node. */
#include "algebra/expression.h"

#include <stdio.h>

#include <string>

#include "algebra/exprtype.h"
#include "algebra/slots.h"

#define EX(o) ((expression_object *)(o))

/* ------------------------------------------------------------ creation */

PyObject *
expression_base(void)
{
    expression_object *e = PyObject_New(expression_object, &quenda_expressionType);
    if (e == NULL)
        return NULL;
    e->constant = 0.0;
    e->lin.s = NULL;
    e->lin.n = 0;
    e->quadmap = NULL;
    return (PyObject *)e;
}

static void
expression_dealloc(PyObject *self)
{
    expression_object *e = EX(self);
    linmap_release(&e->lin);
    if (e->quadmap != NULL)
        quadmap_free(&e->quadmap);
    Py_TYPE(self)->tp_free(self);
}

static inline int
ex_need_lin(expression_object *e)
{
    return e->lin.s != NULL ? 0 : linmap_init(&e->lin);
}

static inline int
ex_need_quad(expression_object *e)
{
    if (e->quadmap == NULL)
        e->quadmap = quadmap_new();
    return e->quadmap != NULL ? 0 : -1;
}

/* Raises msg unless an exception is already set; returns -1. */
static int
ex_fail(const char *msg)
{
    if (!PyErr_Occurred())
        quenda_model_error(msg);
    return -1;
}

/* ------------------------------------------------------------ term editing */

/* coef != 0.0 applied to the linear part by edit (linmap_set or
 * linmap_add); msg raised on failure. */
static inline int
ex_lin_edit(PyObject *expr, PyObject *var, double coef, int (*edit)(linmap *, PyObject *, double),
            const char *msg)
{
    expression_object *e = EX(expr);
    if (coef == 0.0)
        return 0;
    if (ex_need_lin(e) < 0 || edit(&e->lin, var, coef) < 0)
        return ex_fail(msg);
    return 0;
}

int
expression_setLinTerm(PyObject *expr, PyObject *var, double coef)
{
    return ex_lin_edit(expr, var, coef, linmap_set, "Error amending expression");
}

int
expression_addLinTerm(PyObject *expr, PyObject *var, double coef)
{
    return ex_lin_edit(expr, var, coef, linmap_add, "Error amending linear expression");
}

/* The pair of a quadratic term, the smaller identity number first. */
static inline void
ex_order(PyObject **x, PyObject **y)
{
    if (VAR_ID(*y) < VAR_ID(*x)) {
        PyObject *t = *x;
        *x = *y;
        *y = t;
    }
}

int
expression_setQuadTerm(PyObject *expr, PyObject *x, PyObject *y, double coef)
{
    expression_object *e = EX(expr);
    linmap *inner = NULL;
    ex_order(&x, &y);
    if (coef == 0.0) {
        if (e->quadmap != NULL && quadmap_get(e->quadmap, x, &inner) == 0)
            linmap_del(inner, y);
        return 0;
    }
    if (ex_need_quad(e) < 0)
        return ex_fail("Error setting quadratic expression");
    if (quadmap_get(e->quadmap, x, &inner) == 0) {
        if (linmap_set(inner, y, coef) < 0)
            return ex_fail("Error setting quadratic term");
    } else {
        inner = linmap_new();
        if (inner == NULL || linmap_set(inner, y, coef) < 0) {
            linmap_free(&inner);
            return ex_fail("Error setting quadratic expression");
        }
        if (quadmap_set(e->quadmap, x, inner) < 0)
            return ex_fail("Error setting quadratic expression");
    }
    return 0;
}

int
expression_addQuadTerm(PyObject *expr, PyObject *x, PyObject *y, double coef)
{
    expression_object *e = EX(expr);
    if (coef == 0.0)
        return 0;
    ex_order(&x, &y);
    if (ex_need_quad(e) < 0 || quadmap_add(e->quadmap, x, y, coef) < 0)
        return ex_fail("Cannot amend quadratic expression");
    return 0;
}

int
expression_has_quad(PyObject *expr)
{
    expression_object *e = EX(expr);
    return e->quadmap != NULL && quadmap_size(e->quadmap) > 0;
}

PyObject *
expression_from_lin(double constant, PyObject *v1, double c1, PyObject *v2, double c2,
                    const char *msg)
{
    PyObject *res = expression_base();
    if (res == NULL)
        goto error;
    EX(res)->constant = constant;
    if (v2 != NULL && c1 != 0.0 && c2 != 0.0) {
        /* x + y, the first sum of two terms: its map made in one go. */
        if (linmap_init_pair(&EX(res)->lin, v1, c1, v2, c2) < 0)
            goto error;
        return res;
    }
    if (expression_addLinTerm(res, v1, c1) < 0)
        goto error;
    if (v2 != NULL && expression_addLinTerm(res, v2, c2) < 0)
        goto error;
    return res;
error:
    Py_XDECREF(res);
    PyErr_Clear();
    return quenda_model_error(msg);
}

PyObject *
expression_from_quad(double constant, PyObject *lv, double lc, PyObject *q1, PyObject *q2,
                     double qc, const char *msg)
{
    PyObject *res = expression_base();
    if (res == NULL)
        goto error;
    EX(res)->constant = constant;
    if (lv != NULL && expression_addLinTerm(res, lv, lc) < 0)
        goto error;
    if (expression_addQuadTerm(res, q1, q2, qc) < 0)
        goto error;
    return res;
error:
    Py_XDECREF(res);
    PyErr_Clear();
    return quenda_model_error(msg);
}

/* ------------------------------------------------------------ copy */

PyObject *
expression_copy(PyObject *obj, double factor)
{
    PyObject *res = NULL;
    int kind = Py_TYPE(obj) == &quenda_expressionType ? EXPR_EXPRESSION : getExprType(obj);
    if (kind < 0)
        return NULL;
    if (kind == EXPR_NONLINEAR && factor != 0.0)
        return algebra_copy_table[EXPR_NONLINEAR](obj, factor);
    res = expression_base();
    if (res == NULL)
        return NULL;
    if (factor == 0.0)
        return res;
    switch (kind) {
    case EXPR_CONSTANT: {
        double v = number_value(obj);
        if (v == -1.0 && PyErr_Occurred())
            goto error;
        EX(res)->constant = factor * v;
        break;
    }
    case EXPR_VARIABLE:
        if (expression_addLinTerm(res, obj, factor) < 0) {
            PyErr_Clear();
            quenda_model_error("Cannot copy linear term into expression");
            goto error;
        }
        break;
    case EXPR_LINTERM: {
        linterm_object *l = (linterm_object *)obj;
        if (l->var == NULL) {
            quenda_model_error("Invalid object in operation");
            goto error;
        }
        if (expression_addLinTerm(res, l->var, factor * l->coef) < 0) {
            PyErr_Clear();
            quenda_model_error("Cannot copy linear term into expression");
            goto error;
        }
        break;
    }
    case EXPR_QUADTERM: {
        quadterm_object *q = (quadterm_object *)obj;
        if (q->var1 == NULL || q->var2 == NULL) {
            quenda_model_error("Invalid object in operation");
            goto error;
        }
        if (expression_addQuadTerm(res, q->var1, q->var2, factor * q->coef) < 0) {
            PyErr_Clear();
            quenda_model_error("Cannot copy quadratic term into expression");
            goto error;
        }
        break;
    }
    case EXPR_EXPRESSION: {
        expression_object *src = EX(obj), *dst = EX(res);
        dst->constant = factor * src->constant;
        if (src->lin.s != NULL && linmap_copy_scaled_into(&dst->lin, &src->lin, factor) < 0)
            goto copy_error;
        if (src->quadmap != NULL &&
            (dst->quadmap = quadmap_copy_scaled(src->quadmap, factor)) == NULL)
            goto copy_error;
        break;
    }
    }
    return res;
copy_error:
    quenda_model_error("Cannot copy expression");
error:
    Py_XDECREF(res);
    return NULL;
}

/* ------------------------------------------------------------ sums */

/* expr += sign*b.  0, or -1 with an exception (msg unless the failure
 * raised its own). */
static int
expression_accumulate_msg(PyObject *expr, PyObject *b, double sign, const char *msg)
{
    expression_object *e = EX(expr);
    switch (expr_kind(b)) {
    case EXPR_CONSTANT: {
        double v = number_value(b);
        if (v == -1.0 && PyErr_Occurred())
            return -1;
        e->constant += sign * v;
        return 0;
    }
    case EXPR_VARIABLE:
        if (ex_need_lin(e) < 0 || linmap_add(&e->lin, b, sign) < 0)
            return ex_fail(msg);
        return 0;
    case EXPR_LINTERM: {
        linterm_object *l = (linterm_object *)b;
        if (l->var == NULL)
            return ex_fail("Invalid object in operation");
        if (ex_need_lin(e) < 0 || linmap_add(&e->lin, l->var, sign * l->coef) < 0)
            return ex_fail(msg);
        return 0;
    }
    case EXPR_QUADTERM: {
        quadterm_object *q = (quadterm_object *)b;
        if (q->var1 == NULL || q->var2 == NULL)
            return ex_fail("Invalid object in operation");
        if (expression_addQuadTerm(expr, q->var1, q->var2, sign * q->coef) < 0) {
            PyErr_Clear();
            return ex_fail(msg);
        }
        return 0;
    }
    case EXPR_EXPRESSION: {
        expression_object *s = EX(b);
        e->constant += sign * s->constant;
        if (s->lin.s != NULL && linmap_size(&s->lin) > 0) {
            if (ex_need_lin(e) < 0 || linmap_add_map(&e->lin, &s->lin, sign) < 0)
                return ex_fail(msg);
        }
        if (s->quadmap != NULL && quadmap_outer_size(s->quadmap) > 0) {
            if (ex_need_quad(e) < 0 || quadmap_add_map(e->quadmap, s->quadmap, sign) < 0)
                return ex_fail(msg);
        }
        return 0;
    }
    default: return ex_fail("Invalid object in operation");
    }
}

int
expression_accumulate(PyObject *expr, PyObject *b, double sign)
{
    return expression_accumulate_msg(expr, b, sign, "Error adding expressions");
}

static PyObject *
expression_alg_sum(PyObject *a, PyObject *b, double sign)
{
    PyObject *res = NULL;
    int ka = expr_kind(a), kb = expr_kind(b);
    if (ka == EXPR_NONLINEAR || kb == EXPR_NONLINEAR)
        return algebra_sum_table[EXPR_NONLINEAR](a, b, sign);
    if (ka == EXPR_EXPRESSION) {
        res = expression_copy(a, 1.0);
        if (res == NULL || expression_accumulate_msg(res, b, sign, "Error adding expressions") < 0)
            goto error;
    } else if (kb == EXPR_EXPRESSION) {
        res = expression_copy(b, sign);
        if (res == NULL || expression_accumulate_msg(res, a, 1.0, "Error adding expressions") < 0)
            goto error;
    } else {
        quenda_model_error("Error adding expressions");
        goto error;
    }
    return res;
error:
    Py_XDECREF(res);
    return NULL;
}

static PyObject *
expression_sum_slot(PyObject *a, PyObject *b, double sign)
{
    /* expression +- term, the step of every sum written out term by term:
     * straight to the copy, without classifying the operands twice. */
    PyTypeObject *tb = Py_TYPE(b);
    if (Py_TYPE(a) == &quenda_expressionType && EX(a)->quadmap == NULL &&
        (tb == &quenda_lintermType || tb == &quenda_varType)) {
        /* A linear sum grows by one term: the result shares a's terms
         * (linmap_copy_scaled by 1 copies nothing) and appends b's. */
        PyObject *var = b;
        double coef = sign;
        if (tb == &quenda_lintermType) {
            var = ((linterm_object *)b)->var;
            coef *= ((linterm_object *)b)->coef;
            if (var == NULL)
                return quenda_model_error("Invalid object in operation");
        }
        expression_object *res = EX(expression_base());
        if (res == NULL)
            return NULL;
        res->constant = EX(a)->constant;
        linmap *lin = expression_linmap(EX(a));
        int made =
            lin != NULL ? linmap_copy_scaled_into(&res->lin, lin, 1.0) : linmap_init(&res->lin);
        if (made < 0 || linmap_add(&res->lin, var, coef) < 0) {
            Py_DECREF(res);
            return quenda_model_error("Error adding expressions");
        }
        return (PyObject *)res;
    }
    if (Py_TYPE(a) == &quenda_expressionType &&
        (tb == &quenda_lintermType || tb == &quenda_varType || tb == &PyFloat_Type ||
         tb == &quenda_expressionType)) {
        PyObject *res = expression_copy(a, 1.0);
        if (res != NULL && expression_accumulate_msg(res, b, sign, "Error adding expressions") < 0)
            Py_CLEAR(res);
        return res;
    }
    if (is_ndarray(b))
        return sign > 0 ? PyNumber_Add(b, a) : algebra_array_sub(b, a);
    if (is_ndarray(a))
        Py_RETURN_NOTIMPLEMENTED;
    /* An accumulator may start as None: "s = None; s += e" lands here. */
    if (a == Py_None && EXPRESSION_CHECK(b))
        return expression_copy(b, sign);
    if (getExprType(a) < 0 || getExprType(b) < 0)
        return NULL;
    return expression_alg_sum(a, b, sign);
}

static PyObject *
expression_add(PyObject *a, PyObject *b)
{
    return expression_sum_slot(a, b, 1.0);
}

static PyObject *
expression_sub(PyObject *a, PyObject *b)
{
    return expression_sum_slot(a, b, -1.0);
}

static PyObject *
expression_inplace_sum(PyObject *a, PyObject *b, double sign)
{
    PyObject *res = NULL;
    if (is_ndarray(b))
        return sign > 0 ? PyNumber_Add(b, a) : algebra_array_sub(b, a);
    if (a == Py_None)
        return expression_copy(b, sign);
    int ka = getExprType(a);
    if (ka < 0)
        return NULL;
    int kb = getExprType(b);
    if (kb < 0)
        return NULL;
    if (ka == EXPR_NONLINEAR)
        return algebra_ctor.nonlin_inplace_alg_sum(a, b, sign);
    if (kb == EXPR_NONLINEAR)
        return algebra_sum_table[EXPR_NONLINEAR](a, b, sign);
    if (ka != EXPR_EXPRESSION) {
        res = expression_copy(b, sign);
        if (res == NULL || expression_accumulate_msg(res, a, 1.0, "Could not add linear part") < 0)
            goto error;
        return res;
    }
    if (expression_accumulate_msg(a, b, sign, "Could not add linear part") < 0)
        return NULL;
    Py_INCREF(a);
    return a;
error:
    Py_XDECREF(res);
    return NULL;
}

static PyObject *
expression_iadd(PyObject *a, PyObject *b)
{
    return expression_inplace_sum(a, b, 1.0);
}

static PyObject *
expression_isub(PyObject *a, PyObject *b)
{
    return expression_inplace_sum(a, b, -1.0);
}

/* ------------------------------------------------------------ product */

/* The affine form of an operand: constant, and its linear entries. */
typedef struct {
    double constant;
    const linmap_entry *lin;
    size_t nlin;
    linmap_entry one; /* storage for a var or linterm operand */
} affine_view;

static void
affine_of(PyObject *o, int kind, affine_view *v)
{
    v->constant = 0.0;
    v->lin = NULL;
    v->nlin = 0;
    switch (kind) {
    case EXPR_CONSTANT: v->constant = number_value(o); break;
    case EXPR_VARIABLE:
        v->one.id = VAR_ID(o);
        v->one.var = o;
        v->one.coef = 1.0;
        v->lin = &v->one;
        v->nlin = 1;
        break;
    case EXPR_LINTERM:
        v->one.var = ((linterm_object *)o)->var;
        v->one.id = VAR_ID(v->one.var);
        v->one.coef = ((linterm_object *)o)->coef;
        v->lin = &v->one;
        v->nlin = 1;
        break;
    case EXPR_EXPRESSION:
        v->constant = EX(o)->constant;
        if (EX(o)->lin.s != NULL)
            v->lin = linmap_data(&EX(o)->lin, &v->nlin);
        break;
    }
}

static int
is_quadratic(PyObject *o, int kind)
{
    return kind == EXPR_QUADTERM || (kind == EXPR_EXPRESSION && expression_has_quad(o));
}

static PyObject *
expression_mul(PyObject *a, PyObject *b)
{
    PyObject *res = NULL;
    affine_view va, vb;
    int ka, kb;

    /* k*e and e*k with a float k, the scaled copy of a row's part,
     * without classifying. */
    if (PyFloat_CheckExact(a) && Py_TYPE(b) == &quenda_expressionType)
        return expression_copy(b, PyFloat_AS_DOUBLE(a));
    if (PyFloat_CheckExact(b) && Py_TYPE(a) == &quenda_expressionType)
        return expression_copy(a, PyFloat_AS_DOUBLE(b));
    if (is_ndarray(b))
        return PyNumber_Multiply(b, a);
    if (is_ndarray(a))
        Py_RETURN_NOTIMPLEMENTED;
    if ((ka = getExprType(a)) < 0 || (kb = getExprType(b)) < 0)
        return NULL;
    if (ka == EXPR_CONSTANT && kb == EXPR_EXPRESSION) {
        double k = number_value(a);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        return expression_copy(b, k);
    }
    if (kb == EXPR_CONSTANT && ka == EXPR_EXPRESSION) {
        double k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        return expression_copy(a, k);
    }
    if (ka == EXPR_NONLINEAR || kb == EXPR_NONLINEAR || is_quadratic(a, ka) || is_quadratic(b, kb))
        return algebra_binary(ALG_MUL, EXPR_NONLINEAR, EXPR_NONLINEAR, a, b);

    if ((ka == EXPR_LINTERM && ((linterm_object *)a)->var == NULL) ||
        (kb == EXPR_LINTERM && ((linterm_object *)b)->var == NULL))
        return quenda_model_error("Invalid object in operation");
    affine_of(a, ka, &va);
    if (va.constant == -1.0 && PyErr_Occurred())
        return NULL;
    affine_of(b, kb, &vb);
    if (vb.constant == -1.0 && PyErr_Occurred())
        return NULL;

    res = expression_base();
    if (res == NULL) {
        quenda_model_error("Error multiplying expressions");
        return NULL;
    }
    EX(res)->constant = va.constant * vb.constant;
    for (size_t j = 0; j < vb.nlin; j++)
        if (expression_addLinTerm(res, vb.lin[j].var, va.constant * vb.lin[j].coef) < 0) {
            PyErr_Clear();
            quenda_model_error("Cannot create linear term in expression");
            goto error;
        }
    for (size_t i = 0; i < va.nlin; i++)
        if (expression_addLinTerm(res, va.lin[i].var, vb.constant * va.lin[i].coef) < 0) {
            PyErr_Clear();
            quenda_model_error("Cannot create linear term for expression");
            goto error;
        }
    for (size_t i = 0; i < va.nlin; i++)
        for (size_t j = 0; j < vb.nlin; j++)
            if (expression_addQuadTerm(res, va.lin[i].var, vb.lin[j].var,
                                       va.lin[i].coef * vb.lin[j].coef) < 0) {
                PyErr_Clear();
                quenda_model_error("Cannot create quadratic term in expression");
                goto error;
            }
    return res;
error:
    Py_XDECREF(res);
    return NULL;
}

/* Multiplies the expression in place by k (not 0.0). */
static void
expression_scale(PyObject *expr, double k)
{
    expression_object *e = EX(expr);
    e->constant *= k;
    if (e->lin.s != NULL)
        linmap_scale(&e->lin, k);
    if (e->quadmap != NULL)
        quadmap_scale(e->quadmap, k);
}

static PyObject *
expression_imul(PyObject *a, PyObject *b)
{
    if (is_ndarray(b))
        return PyNumber_Multiply(b, a);
    if (EXPRESSION_CHECK(a) && is_number(b)) {
        double k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        if (k == 0.0)
            return PyFloat_FromDouble(0.0);
        if (k != 1.0)
            expression_scale(a, k);
        Py_INCREF(a);
        return a;
    }
    return expression_mul(a, b);
}

/* ------------------------------------------------------------ division */

static PyObject *
expression_div(PyObject *a, PyObject *b)
{
    int ka, kb;
    if (is_ndarray(b))
        return algebra_array_div(b, a);
    if (is_ndarray(a))
        Py_RETURN_NOTIMPLEMENTED;
    if ((ka = getExprType(a)) < 0 || (kb = getExprType(b)) < 0)
        return NULL;
    if (ka == EXPR_EXPRESSION && kb == EXPR_CONSTANT) {
        double k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        if (k == 0.0)
            return quenda_model_error("Division by zero");
        return expression_copy(a, 1.0 / k);
    }
    return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
}

static PyObject *
expression_idiv(PyObject *a, PyObject *b)
{
    if (is_ndarray(b))
        return algebra_array_div(b, a);
    if (EXPRESSION_CHECK(a) && is_number(b)) {
        double k = number_value(b);
        if (k == -1.0 && PyErr_Occurred())
            return NULL;
        if (k == 0.0)
            return quenda_model_error("Division by zero");
        if (k != 1.0)
            expression_scale(a, 1.0 / k);
        Py_INCREF(a);
        return a;
    }
    return expression_div(a, b);
}

/* ------------------------------------------------------------ power */

static PyObject *
expression_pow(PyObject *a, PyObject *b, PyObject *mod)
{
    int ka, kb;
    if (is_ndarray(b))
        return quenda_model_error("Cannot obtain a power with a vector as an exponent");
    if (is_ndarray(a))
        Py_RETURN_NOTIMPLEMENTED;
    if ((ka = getExprType(a)) < 0 || (kb = getExprType(b)) < 0)
        return NULL;
    if (ka == EXPR_EXPRESSION && kb == EXPR_CONSTANT) {
        double p = number_value(b);
        if (p == -1.0 && PyErr_Occurred())
            return NULL;
        if (p == 0.0)
            return PyFloat_FromDouble(1.0);
        if (p == 1.0)
            return expression_copy(a, 1.0);
        if (p == 2.0)
            return expression_mul(a, a);
    }
    return algebra_ctor.nonlin_binary(NONLIN_POW, a, b);
}

static PyObject *
expression_neg(PyObject *a)
{
    return expression_copy(a, -1.0);
}

/* ------------------------------------------------------------ text */

/* Appends one coefficient-and-name item by the four printing rules. */
static void
ex_print_term(std::string &out, double c, const char *name, bool printed)
{
    char buf[512];
    if (c == 1.0)
        snprintf(buf, sizeof buf, " %s %s", printed ? "+" : "", name);
    else if (c == -1.0)
        snprintf(buf, sizeof buf, " - %s", name);
    else if (printed)
        snprintf(buf, sizeof buf, " %+g %s", c, name);
    else
        snprintf(buf, sizeof buf, " %g %s", c, name);
    out += buf;
}

PyObject *
expression_str(PyObject *self)
{
    expression_object *e = EX(self);
    std::string out;
    char buf[64];
    size_t nlin = 0, nquad = 0;
    const linmap_entry *lin = NULL;

    try {
        if (e->lin.s != NULL)
            lin = linmap_data(&e->lin, &nlin);
        if (e->quadmap != NULL)
            nquad = quadmap_size(e->quadmap);
        bool printed = false;
        if (e->constant != 0.0 || (nlin == 0 && nquad == 0)) {
            snprintf(buf, sizeof buf, "%g", e->constant);
            out += buf;
            printed = true;
        }
        for (size_t i = 0; i < nlin; i++) {
            const char *name = algebra_ctor.var_name_text(lin[i].var);
            if (name == NULL)
                return NULL;
            ex_print_term(out, lin[i].coef, name, printed);
            printed = true;
        }
        if (nquad > 0) {
            void *it = NULL;
            PyObject *x;
            linmap *inner;
            while (quadmap_next(e->quadmap, &it, &x, &inner)) {
                size_t ni;
                const linmap_entry *d = linmap_data(inner, &ni);
                const char *xname = algebra_ctor.var_name_text(x);
                if (xname == NULL) {
                    quadmap_iter_free(&it);
                    return NULL;
                }
                for (size_t j = 0; j < ni; j++) {
                    const char *yname = algebra_ctor.var_name_text(d[j].var);
                    if (yname == NULL) {
                        quadmap_iter_free(&it);
                        return NULL;
                    }
                    std::string term = xname;
                    if (VAR_ID(x) == d[j].id) {
                        term += "**2";
                    } else {
                        term += "*";
                        term += yname;
                    }
                    ex_print_term(out, d[j].coef, term.c_str(), printed);
                    printed = true;
                }
            }
            quadmap_iter_free(&it);
        }
    } catch (...) {
        return PyErr_NoMemory();
    }
    return PyUnicode_FromStringAndSize(out.data(), (Py_ssize_t)out.size());
}

/* ------------------------------------------------------------ type */

/* No in-place power: the plain one. */
static PyNumberMethods expression_as_number =
    algebra_number_methods(expression_add, expression_sub, expression_mul, expression_div,
                           expression_pow, expression_neg, algebra_abs, expression_iadd,
                           expression_isub, expression_imul, expression_idiv, NULL);

PyTypeObject quenda_expressionType =
    quenda_type_build("quenda.expression", sizeof(expression_object), Py_TPFLAGS_DEFAULT,
                      "Class for linear and quadratic expressions. These can be used and\ncombined "
                      "to create "
                      "constraints and objective function of an\noptimization problem.",
                      Py_tp_dealloc, expression_dealloc, Py_tp_repr, expression_str,
                      QUENDA_TP_AS_NUMBER, &expression_as_number, Py_tp_str, expression_str,
                      Py_tp_richcompare, algebra_richcompare, Py_tp_new, PyType_GenericNew);

/* ------------------------------------------------------------ registration */

int
expression_register(void)
{
    algebra_ctor.expression_base = expression_base;
    algebra_ctor.expression_from_lin = expression_from_lin;
    algebra_ctor.expression_from_quad = expression_from_quad;
    algebra_ctor.expression_addQuadTerm = expression_addQuadTerm;
    algebra_ctor.expression_accumulate = expression_accumulate;
    return algebra_register_type(EXPR_EXPRESSION, &quenda_expressionType, 1, expression_alg_sum,
                                 expression_copy);
}
