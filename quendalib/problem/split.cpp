/* Splitting of modelling expressions into constant, linear and quadratic
 * solver data (see split.h).
 *
 * The hot path is a row of a large model: an expression whose linear map is
 * read as one sorted array (linmap_data) and whose variables are looked up
 * once each in the problem's variable map; nothing is allocated per term. */
#include "problem/split.h"

#include <cmath>

#include "algebra/exprtype.h"
#include "algebra/expression.h"
#include "algebra/linterm.h"
#include "algebra/maps.h"
#include "algebra/quadterm.h"
#include "algebra/var.h"
#include "module/session.h"
#include "problem/alloc.h"

#include "qnda.h"

#include <string.h>

#define MSG_LINTERM "Variable in linear term defining constraint has not been added to problem yet"
#define MSG_LINPART "Variable in linear part of constraint has not been added to problem yet"
#define MSG_QUADTERM                                                                               \
    "Variable in quadratic term defining constraint has not been added to problem yet"
#define MSG_QUADPART "Variable in quadratic part of constraint has not been added to problem yet"

void
lqsplit_init(lqsplit *s)
{
    memset(s, 0, sizeof *s);
}

void
lqsplit_drop_cache(lqsplit *s)
{
    qarr_free(&s->dense);
    s->dense_base = 0;
    s->dense_len = 0;
}

void
lqsplit_cache_columns(lqsplit *s, PyObject *prob)
{
    rowcolmap *map = (rowcolmap *)((problem_s *)prob)->varmap;
    void *it = NULL;
    uint32_t id, col, lo = UINT32_MAX, hi = 0;
    size_t n, span;

    lqsplit_drop_cache(s);
    if (map == NULL || (n = rowcolmap_size(map)) == 0)
        return;
    while (rowcolmap_next(map, &it, &id, &col)) {
        if (id < lo)
            lo = id;
        if (id > hi)
            hi = id;
    }
    rowcolmap_iter_free(&it);
    span = (size_t)(hi - lo) + 1;
    if (span > 4 * n + 1024)
        return; /* too sparse to be worth a table */
    if (qo_MemoryAllocator_Alloc_Untyped(qo_MemoryAllocator_DefaultHeap, span * sizeof(int),
                                         (void **)&s->dense) != 0 ||
        s->dense == NULL) {
        s->dense = NULL;
        return;
    }
    memset(s->dense, 0xff, span * sizeof(int));
    while (rowcolmap_next(map, &it, &id, &col))
        s->dense[id - lo] = (int)col;
    rowcolmap_iter_free(&it);
    s->dense_base = lo;
    s->dense_len = (uint32_t)span;
}

void
lqsplit_free(lqsplit *s)
{
    qarr_free_all(&s->dense, &s->lincol, &s->lincoef, &s->qcol1, &s->qcol2, &s->qcoef);
    lqsplit_init(s);
}

void
lqsplit_clear(lqsplit *s)
{
    s->constant = 0.0;
    s->nlin = 0;
    s->nquad = 0;
}

int
lqsplit_reserve(lqsplit *s, int64_t nlin, int64_t nquad)
{
    if (s->nlin + nlin > s->lincap || s->lincol == NULL) {
        int64_t cap = qarr_newcap(s->lincap, s->nlin + nlin, LQSPLIT_INITCAP);
        if (qarr_realloc(&s->lincol, (size_t)cap * sizeof(int)) != 0 ||
            qarr_realloc(&s->lincoef, (size_t)cap * sizeof(double)) != 0)
            return -1;
        s->lincap = cap;
    }
    if (nquad > 0 && (s->nquad + nquad > s->quadcap || s->qcol1 == NULL)) {
        int64_t cap = qarr_newcap(s->quadcap, s->nquad + nquad, LQSPLIT_INITCAP);
        if (qarr_realloc(&s->qcol1, (size_t)cap * sizeof(int)) != 0 ||
            qarr_realloc(&s->qcol2, (size_t)cap * sizeof(int)) != 0 ||
            qarr_realloc(&s->qcoef, (size_t)cap * sizeof(double)) != 0)
            return -1;
        s->quadcap = cap;
    }
    return 0;
}

void
splitExpr_bound(PyObject *obj, int64_t *nlin, int64_t *nquad)
{
    if (expr_kind(obj) == EXPR_EXPRESSION && expression_linmap((expression_object *)obj) != NULL) {
        expression_object *e = (expression_object *)obj;
        size_t n;
        linmap_raw(expression_linmap(e), &n);
        *nlin = (int64_t)n;
        *nquad = e->quadmap != NULL ? (int64_t)quadmap_size(e->quadmap) : 0;
        return;
    }
    splitExpr_count(obj, nlin, nquad);
}

void
splitExpr_count(PyObject *obj, int64_t *nlin, int64_t *nquad)
{
    *nlin = 0;
    *nquad = 0;
    switch (expr_kind(obj)) {
    case EXPR_VARIABLE:
    case EXPR_LINTERM: *nlin = 1; break;
    case EXPR_QUADTERM: *nquad = 1; break;
    case EXPR_EXPRESSION: {
        expression_object *e = (expression_object *)obj;
        if (expression_linmap(e) != NULL)
            *nlin = (int64_t)linmap_size(expression_linmap(e));
        if (e->quadmap != NULL)
            *nquad = (int64_t)quadmap_size(e->quadmap);
        break;
    }
    default: break;
    }
}

/* Column of a variable; -1 with ModelError msg when it is not in the
 * problem. */
static inline int
lq_column(const lqsplit *s, rowcolmap *map, uint32_t id, const char *msg, int *col)
{
    uint32_t v;
    if (s->dense != NULL && id - s->dense_base < s->dense_len &&
        s->dense[id - s->dense_base] >= 0) {
        *col = s->dense[id - s->dense_base];
        return 0;
    }
    if (map == NULL || rowcolmap_get(map, id, &v) != 0) {
        PyErr_SetString(quenda_ModelError, msg);
        return -1;
    }
    *col = (int)v;
    return 0;
}

static int
lq_add_lin(lqsplit *s, rowcolmap *map, PyObject *var, double coef, const char *msg)
{
    int col;
    if (coef == 0.0)
        return 0;
    if (lq_column(s, map, VAR_ID(var), msg, &col) != 0)
        return -1;
    s->lincol[s->nlin] = col;
    s->lincoef[s->nlin] = coef;
    s->nlin++;
    return 0;
}

static int
lq_add_quad(lqsplit *s, rowcolmap *map, PyObject *x, PyObject *y, double coef, const char *msg)
{
    int c1, c2;
    if (coef == 0.0)
        return 0;
    if (lq_column(s, map, VAR_ID(x), msg, &c1) != 0 || lq_column(s, map, VAR_ID(y), msg, &c2) != 0)
        return -1;
    s->qcol1[s->nquad] = c1;
    s->qcol2[s->nquad] = c2;
    s->qcoef[s->nquad] = coef;
    s->nquad++;
    return 0;
}

/* The linear and quadratic maps of an expression. */
/* The linear map's entries as they stand (lqsplit.unfolded): 0, or -1
 * with no exception when one names a column the problem lacks, which the
 * folded map may not (its coefficient may cancel). */
static int
lq_add_unfolded(lqsplit *s, rowcolmap *map, linmap *m, double factor)
{
    size_t n = 0;
    const linmap_entry *ent = linmap_raw(m, &n);
    int *col = s->lincol + s->nlin;
    double *coef = s->lincoef + s->nlin;
    int64_t k = 0;
    for (size_t i = 0; i < n; i++) {
        double c = ent[i].coef * factor;
        if (ent[i].var == NULL || c == 0.0)
            continue;
        uint32_t id = ent[i].id, v;
        if (s->dense != NULL && id - s->dense_base < s->dense_len &&
            s->dense[id - s->dense_base] >= 0)
            col[k] = s->dense[id - s->dense_base];
        else if (map != NULL && rowcolmap_get(map, id, &v) == 0)
            col[k] = (int)v;
        else
            return -1;
        coef[k] = c;
        k++;
    }
    s->nlin += k;
    return 0;
}

static int
lq_add_expression(lqsplit *s, rowcolmap *map, expression_object *e, double factor)
{
    linmap *lin = expression_linmap(e);
    if (lin != NULL && s->unfolded && lq_add_unfolded(s, map, lin, factor) == 0) {
        /* done */
    } else if (lin != NULL) {
        size_t n = 0, i;
        const linmap_entry *ent = linmap_data(expression_linmap(e), &n);
        int *col = s->lincol + s->nlin;
        double *coef = s->lincoef + s->nlin;
        int64_t k = 0;
        for (i = 0; i < n; i++) {
            int v;
            double c = ent[i].coef * factor;
            if (c == 0.0)
                continue;
            if (lq_column(s, map, ent[i].id, MSG_LINPART, &v) != 0)
                return -1;
            col[k] = v;
            coef[k] = c;
            k++;
        }
        s->nlin += k;
    }
    if (e->quadmap != NULL) {
        void *it = NULL;
        PyObject *x;
        linmap *inner;
        int ret = 0;
        while (ret == 0 && quadmap_next(e->quadmap, &it, &x, &inner)) {
            size_t n = 0, i;
            const linmap_entry *ent = linmap_data(inner, &n);
            for (i = 0; i < n; i++) {
                if (lq_add_quad(s, map, x, ent[i].var, ent[i].coef * factor, MSG_QUADPART) != 0) {
                    ret = -1;
                    break;
                }
            }
        }
        quadmap_iter_free(&it);
        if (ret != 0)
            return -1;
    }
    return 0;
}

int
splitExpr(PyObject *prob, PyObject *obj, double factor, lqsplit *s, PyObject **nonlin)
{
    problem_s *p = (problem_s *)prob;
    rowcolmap *map = (rowcolmap *)p->varmap;
    int64_t nlin0 = s->nlin, nquad0 = s->nquad;
    double const0 = s->constant;
    int64_t nl, nq;
    int kind = expr_kind(obj);

    if (nonlin != NULL)
        *nonlin = NULL;
    if (kind == EXPR_CONSTANT) {
        double v = number_value(obj);
        if (v == -1.0 && PyErr_Occurred())
            return -1;
        s->constant += factor * v;
        return 0;
    }
    if (kind == EXPR_NONLINEAR) {
        if (nonlin == NULL) {
            PyErr_SetString(quenda_ModelError, "Nonlinear expressions are not supported here");
            return -1;
        }
        *nonlin = Py_NewRef(obj);
        return 0;
    }
    if (s->unfolded)
        splitExpr_bound(obj, &nl, &nq);
    else
        splitExpr_count(obj, &nl, &nq);
    if (lqsplit_reserve(s, nl, nq) != 0) {
        PyErr_NoMemory();
        return -1;
    }
    switch (kind) {
    case EXPR_VARIABLE:
        if (lq_add_lin(s, map, obj, factor, MSG_LINTERM) != 0)
            goto error;
        break;
    case EXPR_LINTERM: {
        linterm_object *t = (linterm_object *)obj;
        if (lq_add_lin(s, map, t->var, t->coef * factor, MSG_LINTERM) != 0)
            goto error;
        break;
    }
    case EXPR_QUADTERM: {
        quadterm_object *t = (quadterm_object *)obj;
        if (lq_add_quad(s, map, t->var1, t->var2, t->coef * factor, MSG_QUADTERM) != 0)
            goto error;
        break;
    }
    case EXPR_EXPRESSION: {
        expression_object *e = (expression_object *)obj;
        if (lq_add_expression(s, map, e, factor) != 0)
            goto error;
        s->constant += factor * e->constant;
        break;
    }
    default: PyErr_SetString(quenda_ModelError, "Invalid expression"); goto error;
    }
    return 0;
error:
    s->nlin = nlin0;
    s->nquad = nquad0;
    s->constant = const0;
    return -1;
}

const char *
nonfinite_word(double v)
{
    if (std::isnan(v))
        return "NaN";
    return std::isfinite(v) ? NULL : "infinite";
}

/* The name of column col, for messages. */
static PyObject *
split_column_name(PyObject *prob, int col)
{
    PyObject *vars = ((problem_s *)prob)->vars;
    if (vars != NULL && col >= 0 && col < PyList_GET_SIZE(vars))
        return PyObject_Str(PyList_GET_ITEM(vars, col));
    return PyUnicode_FromFormat("column %d", col);
}

static int
split_refuse(PyObject *prob, const char *owner, int col1, int col2, const char *word)
{
    PyObject *a = split_column_name(prob, col1);
    PyObject *b = col2 >= 0 ? split_column_name(prob, col2) : NULL;
    if (a != NULL && (col2 < 0 || b != NULL)) {
        if (b != NULL)
            PyErr_Format(quenda_ModelError, "%s: coefficient of %S*%S is %s", owner, a, b, word);
        else
            PyErr_Format(quenda_ModelError, "%s: coefficient of %S is %s", owner, a, word);
    }
    Py_XDECREF(a);
    Py_XDECREF(b);
    return -1;
}

int
lqsplit_check_values(const lqsplit *s, PyObject *prob, int64_t nlin0, int64_t nquad0,
                     const char *owner)
{
    const char *word;
    for (int64_t k = nlin0; k < s->nlin; k++) {
        if ((word = nonfinite_word(s->lincoef[k])) != NULL)
            return split_refuse(prob, owner, s->lincol[k], -1, word);
    }
    for (int64_t k = nquad0; k < s->nquad; k++) {
        if ((word = nonfinite_word(s->qcoef[k])) != NULL)
            return split_refuse(prob, owner, s->qcol1[k], s->qcol2[k], word);
    }
    if (std::isnan(s->constant)) {
        PyErr_Format(quenda_ModelError, "%s: constant term is NaN", owner);
        return -1;
    }
    return 0;
}
