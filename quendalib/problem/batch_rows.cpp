/* addConstraint and addIndicator: the batch of new rows (see batch.h).
 *
 * When a row batch cannot grow it is flushed and the row started again on
 * the empty batch, so memory pressure gives several smaller batches rather
 * than a failure. */
#include "problem/batch.h"

#include <algorithm>
#include <cmath>

#include "algebra/constraint.h"
#include "algebra/exprtype.h"
#include "algebra/expression.h"
#include "algebra/linterm.h"
#include "algebra/var.h"
#include "module/npy.h"
#include "module/session.h"
#include "problem/conbody.h"
#include "problem/nlhooks.h"
#include "problem/split.h"

#include <stddef.h>
#include <string.h>

/* The body of a constraint for the length of a step: its own, or read
 * back from the row of the problem that holds it. */
struct body_ref {
    PyObject *o = NULL;
    explicit body_ref(PyObject *con)
    {
        if (constraint_body(con, &o) == 0 && o == NULL)
            PyErr_SetString(quenda_ModelError, "Stale expression link, cannot add constraint");
    }
    ~body_ref()
    {
        Py_XDECREF(o);
    }
    PyObject *get() const
    {
        return o;
    }
};

#define MSG_CONNAME "Invalid constraint name (must be a string)"

struct rowbatch : reg_batch {
    int64_t cap;
    QNDAint64 *start;  /* cap + 1: linear start offsets */
    QNDAint64 *qstart; /* cap + 1: quadratic start offsets, once a row has any */
    char *type;
    double *rhs;
    double *range;  /* NULL while every row so far has range 0 */
    int *indcol;    /* indicator rows only: condition column */
    int *indcomp;   /*   and 1 (var == 1) or -1 (var == 0) */
    int indicators; /* the batch holds indicator rows */
    lqsplit t;
    /* the condition of the indicator row being added */
    int cur_indcol;
    int cur_indcomp;
    /* column table of the split: built once the call has looked up about
       as many terms as the problem has variables */
    int64_t terms_seen;
    int cache_tried;
    unsigned long cache_epoch;
    PyObject *nlpend; /* owned list of (row, nonlinear body), or NULL */
};

static void
rowbatch_release(reg_batch *rb)
{
    rowbatch *b = (rowbatch *)rb;
    qarr_free_all(&b->start, &b->qstart, &b->type, &b->rhs, &b->range, &b->indcol, &b->indcomp);
    lqsplit_free(&b->t);
    Py_CLEAR(b->nlpend);
}

static void
rowbatch_reset(reg_batch *rb)
{
    rowbatch *b = (rowbatch *)rb;
    b->t.nlin = 0;
    b->t.nquad = 0;
    Py_CLEAR(b->nlpend);
}

/* An array of the batch needed from row b->n on: allocated for the batch's
 * capacity (plus extra entries: 1 for a start array), the rows before
 * holding 0 (so do their start offsets).  0 or -1. */
template<typename T>
static int
rowbatch_start(rowbatch *b, T **arr, int64_t extra)
{
    if (*arr != NULL)
        return 0;
    if (qarr_realloc(arr, (size_t)(b->cap + extra) * sizeof(T)) != 0)
        return -1;
    std::fill(*arr, *arr + b->n + extra, T(0));
    return 0;
}

/* Room for one more row with nl linear terms and nq quadratic terms.  0, or
 * -1 without an exception. */
static int
rowbatch_reserve(rowbatch *b, int64_t nl, int64_t nq)
{
    if (b->n + 1 > b->cap || b->start == NULL) {
        int64_t cap = qarr_newcap(b->cap, b->n + 1, REG_INITCAP);
        if (qarr_realloc(&b->start, (cap + 1) * sizeof(QNDAint64)) != 0 ||
            (b->qstart != NULL && qarr_realloc(&b->qstart, (cap + 1) * sizeof(QNDAint64)) != 0) ||
            qarr_realloc(&b->type, cap) != 0 || qarr_realloc(&b->rhs, cap * sizeof(double)) != 0 ||
            (b->range != NULL && qarr_realloc(&b->range, cap * sizeof(double)) != 0))
            return -1;
        if (b->indicators && (qarr_realloc(&b->indcol, cap * sizeof(int)) != 0 ||
                              qarr_realloc(&b->indcomp, cap * sizeof(int)) != 0))
            return -1;
        if (b->cap == 0)
            b->start[0] = 0;
        b->cap = cap;
    }
    if (nq > 0 && rowbatch_start(b, &b->qstart, 1) != 0)
        return -1;
    return lqsplit_reserve(&b->t, nl, nq);
}

/* Where the quadratic terms of row b->n start. */
static int64_t
rowbatch_q0(const rowbatch *b)
{
    return b->qstart != NULL ? b->qstart[b->n] : 0;
}

static PyObject *
con_name_slot(PyObject *obj)
{
    return ((constraint_object *)obj)->name;
}

static int
rowbatch_send(reg_batch *rb, int *added)
{
    rowbatch *b = (rowbatch *)rb;
    problem_s *p = b->p;
    int *rows = NULL; /* library allocator */
    int n = (int)b->n, ret = -1;
    int64_t i;

    if (QNDAaddrows64(p->prob, n, b->t.nlin, b->type, b->rhs, b->range, b->start, b->t.lincol,
                      b->t.lincoef) != 0)
        goto done;
    *added = 1;
    if (reg_send_names(b, QNDA_NAMES_ROWS, 'R', QNDA_MAXNAMELENGTH - 1, MSG_CONNAME,
                       con_name_slot) != 0)
        goto done;
    if (b->t.nquad > 0) {
        for (i = 0; i < n; i++) {
            QNDAint64 q0 = b->qstart[i], q1 = b->qstart[i + 1];
            if (q1 > q0 && QNDAaddqmatrix64(p->prob, b->first + (int)i, q1 - q0, b->t.qcol1 + q0,
                                            b->t.qcol2 + q0, b->t.qcoef + q0) != 0)
                goto done;
        }
    }
    if (b->nlpend != NULL) {
        /* on failure the batch's rows go, and their coefficients with them */
        for (i = 0; i < PyList_GET_SIZE(b->nlpend); i++) {
            PyObject *pair = PyList_GET_ITEM(b->nlpend, i);
            if (problem_nl_add(p, (int)PyLong_AsLong(PyTuple_GET_ITEM(pair, 0)),
                               PyTuple_GET_ITEM(pair, 1)) != 0)
                goto done;
        }
        p->n_nlcons += (int)PyList_GET_SIZE(b->nlpend);
        Py_CLEAR(b->nlpend);
    }
    if (b->indicators) {
        if (qarr_realloc(&rows, (size_t)n * sizeof(int)) != 0) {
            PyErr_NoMemory();
            goto done;
        }
        for (i = 0; i < n; i++)
            rows[i] = b->first + (int)i;
        if (QNDAsetindicators(p->prob, n, rows, b->indcol, b->indcomp) != 0)
            goto done;
    }
    ret = 0;
done:
    qarr_free(&rows);
    return ret;
}

#define MSG_INVALID_CON "Invalid constraint"

/* NaN or an infinite coefficient in the row just split: ModelError naming
 * the constraint (by its name, else as it prints).  0, or -1. */
static int
con_check_values(rowbatch *b, PyObject *con, const char *name, double rhs, double range)
{
    /* The usual row is all finite: say so before wording any message. */
    bool finite = !std::isnan(b->t.constant) && !std::isnan(rhs) && !std::isnan(range) &&
                  !std::isnan(((constraint_object *)con)->lb) &&
                  !std::isnan(((constraint_object *)con)->ub);
    for (int64_t k = b->start[b->n]; finite && k < b->t.nlin; k++)
        finite = std::isfinite(b->t.lincoef[k]);
    for (int64_t k = rowbatch_q0(b); finite && k < b->t.nquad; k++)
        finite = std::isfinite(b->t.qcoef[k]);
    if (finite)
        return 0;
    PyObject *owner = name[0] != '\0' ? PyUnicode_FromFormat("Constraint %s", name)
                                      : PyUnicode_FromFormat("Constraint %S", con);
    const char *text = owner != NULL ? PyUnicode_AsUTF8(owner) : NULL;
    int rc = -1;
    if (text == NULL)
        goto done;
    if (lqsplit_check_values(&b->t, (PyObject *)b->p, b->start[b->n], rowbatch_q0(b), text) != 0)
        goto done;
    if (std::isnan(rhs) || std::isnan(range) || std::isnan(((constraint_object *)con)->lb) ||
        std::isnan(((constraint_object *)con)->ub)) {
        PyErr_Format(quenda_ModelError, "%s: bound is NaN", text);
        goto done;
    }
    rc = 0;
done:
    Py_XDECREF(owner);
    return rc;
}

static int
con_step(void *ctx, PyObject *obj)
{
    rowbatch *b = (rowbatch *)ctx;
    problem_s *p = b->p;
    constraint_object *c = (constraint_object *)obj;
    int64_t nl, nq;
    const char *name;
    char dflt[16];
    size_t len;
    double rhs, range = 0.0;
    char type = 'N';

    if (!CONSTRAINT_CHECK(obj)) {
        PyErr_SetString(quenda_ModelError, MSG_INVALID_CON);
        return -1;
    }
    if (c->body == NULL && c->home == NULL) {
        PyErr_SetString(quenda_ModelError, "Stale expression link, cannot add constraint");
        return -1;
    }
    if (rowcolmap_has(PROBLEM_CONMAP(p), c->id)) {
        PyErr_SetString(quenda_ModelError, "Constraint already added to problem");
        return -1;
    }
    body_ref body(obj);
    if (body.get() == NULL)
        return -1;
    if (expr_kind(body.get()) == EXPR_NONLINEAR) {
        if (b->indicators) {
            PyErr_SetString(quenda_ModelError, "Indicator constraints cannot be nonlinear");
            return -1;
        }
        if (p->slpprob == NULL) {
            PyErr_SetString(quenda_ModelError, "The nonlinear solver is not available");
            return -1;
        }
        if (b->nlpend == NULL && (b->nlpend = PyList_New(0)) == NULL)
            return -1;
    }
    /* checked (and worded into messages) here, read again when sent */
    name = name_or_default(c->name, 'R', c->id, dflt, QNDA_MAXNAMELENGTH - 1, &len, MSG_CONNAME);
    if (name == NULL)
        return -1;
    splitExpr_bound(body.get(), &nl, &nq);
    if (rowbatch_reserve(b, nl, nq) != 0) {
        /* Short of memory: send what we have and try again on an empty batch. */
        if (reg_batch_flush(b) != 0)
            return -1;
        if (rowbatch_reserve(b, nl, nq) != 0) {
            PyErr_NoMemory();
            return -1;
        }
    }
    b->terms_seen += nl + nq;
    if (b->t.dense != NULL && b->cache_epoch != problem_varmap_epoch())
        lqsplit_drop_cache(&b->t);
    if (!b->cache_tried && b->terms_seen > 4096 &&
        (size_t)b->terms_seen > rowcolmap_size(PROBLEM_VARMAP(p)) / 4) {
        b->cache_tried = 1;
        b->cache_epoch = problem_varmap_epoch();
        lqsplit_cache_columns(&b->t, (PyObject *)p);
    }
    b->t.constant = 0.0;
    b->t.unfolded = 1; /* the library sums a row's repeated columns */
    if (expr_kind(body.get()) != EXPR_NONLINEAR &&
        splitExpr((PyObject *)p, body.get(), 1.0, &b->t, NULL) != 0)
        return -1;
    rhs = -b->t.constant;
    getRhsSense(obj, &type, &rhs, &range);
    if (con_check_values(b, obj, name, rhs, range) != 0)
        goto undo;
    if (!(range == 0.0 && !std::signbit(range)) && rowbatch_start(b, &b->range, 0) != 0) {
        PyErr_NoMemory();
        goto undo;
    }

    if (PyList_Append(p->cons, obj) != 0)
        goto undo;
    if (rowcolmap_set(PROBLEM_CONMAP(p), c->id, (uint32_t)(b->first + b->n)) != 0) {
        reg_rollback(p->cons, NULL, PyList_GET_SIZE(p->cons) - 1, id_of_con);
        PyErr_SetString(quenda_ModelError, "Cannot add constraint to problem");
        goto undo;
    }
    b->type[b->n] = type;
    b->rhs[b->n] = rhs;
    if (b->range != NULL)
        b->range[b->n] = range;
    if (b->indicators) {
        b->indcol[b->n] = b->cur_indcol;
        b->indcomp[b->n] = b->cur_indcomp;
    }
    b->start[b->n + 1] = b->t.nlin;
    if (b->qstart != NULL)
        b->qstart[b->n + 1] = b->t.nquad;
    if (expr_kind(body.get()) == EXPR_NONLINEAR) {
        /* its coefficients follow once the row is in the library */
        PyObject *pair = Py_BuildValue("(LO)", (long long)(b->first + b->n), body.get());
        if (pair == NULL || PyList_Append(b->nlpend, pair) != 0) {
            Py_XDECREF(pair);
            reg_rollback(p->cons, PROBLEM_CONMAP(p), PyList_GET_SIZE(p->cons) - 1, id_of_con);
            goto undo;
        }
        Py_DECREF(pair);
    }
    return reg_batch_counted(b);
undo:
    b->t.nlin = b->start[b->n];
    b->t.nquad = rowbatch_q0(b);
    return -1;
}

const reg_kind reg_kind_rows = {
    &quenda_constraintType,
    con_step,
    QNDA_ORIGINALROWS,
    offsetof(problem_s, cons),
    offsetof(problem_s, conmap),
    id_of_con,
    rowbatch_send,
    QNDAdelrows,
    rowbatch_reset,
    rowbatch_release,
    sizeof(rowbatch),
    conbody_to_rows,
};

#define MSG_IND_DECL "Invalid declaration of indicator constraints."
#define MSG_IND_FORM                                                                               \
    "Invalid condition for indicator constraints: must be <variable_name> == 0 or "                \
    "<variable_name> == 1"
#define MSG_IND_VAR "Invalid condition for indicator constraints: must be a variable"
#define MSG_IND_ONE                                                                                \
    "Invalid condition for indicator constraints: there must be exactly one variable"
#define MSG_IND_QUAD                                                                               \
    "Invalid condition for indicator constraints: it cannot contain a quadratic expression"
#define MSG_IND_EXPR                                                                               \
    "Invalid indicator expression. Must be var==0 or var==1, where var is a binary variable"

/* Reads an indicator condition "var == 0" or "var == 1": the column of the
 * variable and the complement flag (1 for == 1, -1 for == 0).  0, or -1
 * with ModelError. */
static int
ind_condition(problem_s *p, PyObject *cond, int *col, int *comp)
{
    constraint_object *c = (constraint_object *)cond;
    PyObject *var = NULL;
    double coef = 1.0, constant = 0.0, value;
    var_object *v;
    const char *msg = NULL;

    if (!CONSTRAINT_CHECK(cond) || (c->body == NULL && c->home == NULL)) {
        PyErr_SetString(quenda_ModelError, MSG_IND_FORM);
        return -1;
    }
    body_ref body(cond);
    if (body.get() == NULL)
        return -1;
    switch (expr_kind(body.get())) {
    case EXPR_VARIABLE: var = body.get(); break;
    case EXPR_LINTERM:
        var = ((linterm_object *)body.get())->var;
        coef = ((linterm_object *)body.get())->coef;
        break;
    case EXPR_QUADTERM: msg = MSG_IND_QUAD; break;
    case EXPR_EXPRESSION: {
        expression_object *e = (expression_object *)body.get();
        size_t n = expression_linmap(e) != NULL ? linmap_size(expression_linmap(e)) : 0;
        if (e->quadmap != NULL && quadmap_size(e->quadmap) > 0)
            msg = MSG_IND_QUAD;
        else if (n == 0)
            msg = MSG_IND_VAR;
        else if (n > 1)
            msg = MSG_IND_ONE;
        else {
            const linmap_entry *ent = linmap_data(expression_linmap(e), &n);
            var = ent[0].var;
            coef = ent[0].coef;
            constant = e->constant;
        }
        break;
    }
    default: msg = MSG_IND_VAR; break;
    }
    if (msg != NULL) {
        PyErr_SetString(quenda_ModelError, msg);
        return -1;
    }
    if (coef != 1.0) {
        PyErr_SetString(quenda_ModelError, "Indicator variable must have coefficient 1");
        return -1;
    }
    if (c->lb != c->ub) {
        PyErr_SetString(quenda_ModelError, MSG_IND_FORM);
        return -1;
    }
    v = (var_object *)var;
    value = c->lb - constant;
    if ((value != 0.0 && value != 1.0) ||
        !(v->vartype == 1 || (v->vartype == 2 && v->lb >= 0.0 && v->ub <= 1.1))) {
        PyErr_SetString(quenda_ModelError, MSG_IND_EXPR);
        return -1;
    }
    if (problem_var_index(p, var, col) != 0) {
        PyErr_SetString(quenda_ModelError, "Indicator variable has not been added to problem yet");
        return -1;
    }
    *comp = value == 1.0 ? 1 : -1;
    return 0;
}

static int
ind_pair(rowbatch *b, PyObject *cond, PyObject *con)
{
    if (ind_condition(b->p, cond, &b->cur_indcol, &b->cur_indcomp) != 0)
        return -1;
    return con_step(b, con);
}

/* True for what addIndicator takes as a collection of conditions or of
 * constraints. */
static int
ind_is_collection(PyObject *o)
{
    return PyList_Check(o) || PyTuple_Check(o) || PyArray_Check(o);
}

/* The items of a collection of conditions or constraints, arrays taken
 * element by element whatever their shape.  New reference or NULL. */
static PyObject *
ind_items(PyObject *o)
{
    if (!PyArray_Check(o))
        return PySequence_Fast(o, MSG_IND_DECL);
    return quenda_then_drop(PyArray_Ravel((PyArrayObject *)o, NPY_CORDER),
                            [](PyObject *flat) { return PySequence_Fast(flat, MSG_IND_DECL); });
}

PyObject *
problem_addIndicator_impl(PyObject *self, PyObject *args)
{
    problem_s *p = (problem_s *)self;
    rowbatch b;
    PyObject *res = NULL, *fc = NULL, *fk = NULL;
    Py_ssize_t nargs = PyTuple_GET_SIZE(args), a, i;
    int failed = 0;

    memset(&b, 0, sizeof b);
    if (nargs == 0 || nargs % 2 != 0) {
        PyErr_SetString(quenda_ModelError, MSG_IND_DECL);
        return NULL;
    }
    if (reg_check_problem(p) != 0)
        return NULL;
    b.indicators = 1;
    if (reg_batch_begin(&b, p, &reg_kind_rows) != 0)
        goto done;
    for (a = 0; !failed && a < nargs; a += 2) {
        PyObject *cond = PyTuple_GET_ITEM(args, a), *con = PyTuple_GET_ITEM(args, a + 1);
        int cc = ind_is_collection(cond), kc = ind_is_collection(con);
        if (cc != kc) {
            PyErr_SetString(quenda_ModelError, MSG_IND_DECL);
            failed = 1;
            break;
        }
        if (!cc) {
            failed = ind_pair(&b, cond, con) != 0;
            continue;
        }
        fc = ind_items(cond);
        fk = fc != NULL ? ind_items(con) : NULL;
        if (fk == NULL || PySequence_Fast_GET_SIZE(fc) != PySequence_Fast_GET_SIZE(fk)) {
            PyErr_Clear();
            PyErr_SetString(quenda_ModelError, MSG_IND_DECL);
            failed = 1;
        }
        for (i = 0; !failed && i < PySequence_Fast_GET_SIZE(fc); i++)
            failed =
                ind_pair(&b, PySequence_Fast_GET_ITEM(fc, i), PySequence_Fast_GET_ITEM(fk, i)) != 0;
        Py_CLEAR(fc);
        Py_CLEAR(fk);
    }
    if (failed) {
        reg_batch_flush_after_error(&b);
        goto done;
    }
    if (reg_batch_flush(&b) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    Py_XDECREF(fc);
    Py_XDECREF(fk);
    reg_batch_release(&b);
    return quenda_result(self, res);
}
