/* addVariable: the batch of new columns (see batch.h). */
#include "problem/batch.h"

#include <cmath>

#include "algebra/var.h"
#include "module/session.h"

#include <stddef.h>

struct colbatch : reg_batch {
    int64_t cap;
    double *lb, *ub;
    char *type;
    int64_t nthr; /* thresholds, for the columns of type S, R, P */
    int *thrcol;
    double *thr;
};

static void
colbatch_release(reg_batch *rb)
{
    colbatch *b = (colbatch *)rb;
    qarr_free_all(&b->lb, &b->ub, &b->type, &b->thrcol, &b->thr);
}

static void
colbatch_reset(reg_batch *rb)
{
    ((colbatch *)rb)->nthr = 0;
}

static int
colbatch_reserve(colbatch *b)
{
    if (b->n < b->cap)
        return 0;
    int64_t cap = qarr_newcap(b->cap, b->n + 1, REG_INITCAP);
    if (qarr_realloc(&b->lb, cap * sizeof(double)) != 0 ||
        qarr_realloc(&b->ub, cap * sizeof(double)) != 0 || qarr_realloc(&b->type, cap) != 0 ||
        qarr_realloc(&b->thrcol, cap * sizeof(int)) != 0 ||
        qarr_realloc(&b->thr, cap * sizeof(double)) != 0) {
        PyErr_NoMemory();
        return -1;
    }
    b->cap = cap;
    return 0;
}

/* Column type letter of a var; 0 with ModelError when unusable. */
static char
var_letter(var_object *v)
{
    char c;
    switch (v->vartype) {
    case 0: c = 'C'; break;
    case 1: c = 'B'; break;
    case 2: c = (v->lb >= 0.0 && v->ub <= 1.1) ? 'B' : 'I'; break;
    case 3: c = 'S'; break;
    case 4: c = 'R'; break;
    case 5: c = 'P'; break;
    default:
        PyErr_SetString(quenda_ModelError, "Incorrect variable type passed to addVariable()");
        return 0;
    }
    double thr = var_threshold((PyObject *)v);
    if ((c == 'S' || c == 'R' || c == 'P') && !(v->lb <= thr && thr <= v->ub)) {
        PyErr_SetString(quenda_ModelError,
                        "Incorrect semi-continuous, semi-integer, or partially integer variable; "
                        "check that its threshold is between its lower and upper bounds");
        return 0;
    }
    return c;
}

static int
var_step(void *ctx, PyObject *obj)
{
    colbatch *b = (colbatch *)ctx;
    problem_s *p = b->p;
    var_object *v = (var_object *)obj;
    const char *name;
    size_t len;
    char c;

    if (reg_check_new(VAR_CHECK(obj), "Incorrect objects added as variables to problem",
                      "Variable already added to problem",
                      [p, v] { return rowcolmap_has(PROBLEM_VARMAP(p), v->id); }) != 0)
        return -1;
    if ((c = var_letter(v)) == 0)
        return -1;
    if (std::isnan(v->lb) || std::isnan(v->ub) || std::isnan(var_threshold(obj))) {
        PyErr_Format(quenda_ModelError, "Variable %S: %s is NaN", obj,
                     std::isnan(v->lb)   ? "lower bound"
                     : std::isnan(v->ub) ? "upper bound"
                                         : "threshold");
        return -1;
    }
    char dflt[16];
    name = name_or_default(v->name, 'C', v->id, dflt, REG_VARNAME_MAX, &len,
                           "Invalid variable name (must be a string)");
    if (name == NULL)
        return -1;
    if (colbatch_reserve(b) != 0 || names_reserve(&b->names, len + 1) != 0) {
        if (!PyErr_Occurred())
            PyErr_NoMemory();
        return -1;
    }
    if (PyList_Append(p->vars, obj) != 0)
        return -1;
    problem_varmap_changed();
    if (rowcolmap_set(PROBLEM_VARMAP(p), v->id, (uint32_t)(b->first + b->n)) != 0) {
        reg_rollback(p->vars, NULL, PyList_GET_SIZE(p->vars) - 1, id_of_var);
        PyErr_SetString(quenda_ModelError, "Could not amend variable map");
        return -1;
    }
    b->lb[b->n] = v->lb;
    b->ub[b->n] = v->ub;
    b->type[b->n] = c;
    if (c == 'S' || c == 'R' || c == 'P') {
        b->thrcol[b->nthr] = b->first + (int)b->n;
        b->thr[b->nthr] = var_threshold(obj);
        b->nthr++;
    }
    return reg_batch_took(b, name, len);
}

static int
colbatch_send(reg_batch *rb, int *added)
{
    colbatch *b = (colbatch *)rb;
    problem_s *p = b->p;
    int *idx = NULL; /* library allocator */
    char *types = NULL;
    int64_t i, nt = 0;
    int n = (int)b->n, ret = -1;

    if (QNDAaddcols64(p->prob, n, 0, NULL, NULL, NULL, NULL, b->lb, b->ub) != 0)
        goto done;
    *added = 1;
    for (i = 0; i < n; i++)
        nt += b->type[i] != 'C';
    if (nt > 0) {
        if (qarr_realloc(&idx, (size_t)nt * sizeof(int)) != 0 ||
            qarr_realloc(&types, (size_t)nt) != 0) {
            PyErr_NoMemory();
            goto done;
        }
        nt = 0;
        for (i = 0; i < n; i++) {
            if (b->type[i] != 'C') {
                idx[nt] = b->first + (int)i;
                types[nt++] = b->type[i];
            }
        }
        if (QNDAchgcoltype(p->prob, (int)nt, idx, types) != 0)
            goto done;
    }
    if (QNDAaddnames(p->prob, QNDA_NAMES_COLUMNS, b->names.buf, b->first, b->first + n - 1) != 0)
        goto done;
    if (b->nthr > 0 && QNDAchgglblimit(p->prob, (int)b->nthr, b->thrcol, b->thr) != 0)
        goto done;
    ret = 0;
done:
    qarr_free(&idx);
    qarr_free(&types);
    return ret;
}

const reg_kind reg_kind_vars = {
    &quenda_varType,
    var_step,
    QNDA_ORIGINALCOLS,
    offsetof(problem_s, vars),
    offsetof(problem_s, varmap),
    id_of_var,
    colbatch_send,
    QNDAdelcols,
    colbatch_reset,
    colbatch_release,
    sizeof(colbatch),
};
