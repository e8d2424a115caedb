/* addVariable: the batch of new columns (see batch.h). */
#include "problem/batch.h"

#include <algorithm>
#include <cmath>

#include "algebra/var.h"
#include "module/session.h"

#include <stddef.h>

#define MSG_VARNAME "Invalid variable name (must be a string)"

struct colbatch : reg_batch {
    int64_t cap;          /* room in lb, ub and type, once they exist */
    double *lb;           /* NULL while every column so far has lower bound 0 */
    double *ub;           /*   upper bound 1e20 */
    char *type;           /*   type 'C' */
    int64_t nthr, thrcap; /* thresholds, for the columns of type S, R, P */
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

/* An array of the batch that is needed from column b->n on: allocated with
 * the batch's capacity, the columns before holding the default.  0 or -1. */
template<typename T>
static int
colbatch_start(colbatch *b, T **arr, T dflt)
{
    if (*arr != NULL)
        return 0;
    if (qarr_realloc(arr, (size_t)b->cap * sizeof(T)) != 0)
        return -1;
    std::fill(*arr, *arr + b->n, dflt);
    return 0;
}

/* Room for column b->n in the arrays it needs (lb, ub, type), and for its
 * threshold.  0, or -1 without an exception. */
static int
colbatch_reserve(colbatch *b, const var_object *v, char c)
{
    if (b->n >= b->cap) {
        int64_t cap = qarr_newcap(b->cap, b->n + 1, REG_INITCAP);
        if ((b->lb != NULL && qarr_realloc(&b->lb, cap * sizeof(double)) != 0) ||
            (b->ub != NULL && qarr_realloc(&b->ub, cap * sizeof(double)) != 0) ||
            (b->type != NULL && qarr_realloc(&b->type, cap) != 0))
            return -1;
        b->cap = cap;
    }
    if ((!(v->lb == 0.0 && !std::signbit(v->lb)) && colbatch_start(b, &b->lb, 0.0) != 0) ||
        (v->ub != QNDA_INFINITY && colbatch_start(b, &b->ub, (double)QNDA_INFINITY) != 0) ||
        (c != 'C' && colbatch_start(b, &b->type, 'C') != 0))
        return -1;
    if ((c == 'S' || c == 'R' || c == 'P') && b->nthr >= b->thrcap) {
        int64_t cap = qarr_newcap(b->thrcap, b->nthr + 1, REG_INITCAP);
        if (qarr_realloc(&b->thrcol, cap * sizeof(int)) != 0 ||
            qarr_realloc(&b->thr, cap * sizeof(double)) != 0)
            return -1;
        b->thrcap = cap;
    }
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

    if (reg_check_new(VAR_CHECK(obj), "Incorrect objects added as variables to problem",
                      "Variable already added to problem",
                      [p, v] { return rowcolmap_has(PROBLEM_VARMAP(p), v->id); }) != 0)
        return -1;
    char c = var_letter(v);
    if (c == 0)
        return -1;
    if (std::isnan(v->lb) || std::isnan(v->ub) || std::isnan(var_threshold(obj))) {
        PyErr_Format(quenda_ModelError, "Variable %S: %s is NaN", obj,
                     std::isnan(v->lb)   ? "lower bound"
                     : std::isnan(v->ub) ? "upper bound"
                                         : "threshold");
        return -1;
    }
    /* the name is read again when the batch is sent */
    size_t len;
    if (v->name != NULL && name_text(v->name, REG_VARNAME_MAX, &len, MSG_VARNAME) == NULL)
        return -1;
    if (colbatch_reserve(b, v, c) != 0) {
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
    if (b->lb != NULL)
        b->lb[b->n] = v->lb;
    if (b->ub != NULL)
        b->ub[b->n] = v->ub;
    if (b->type != NULL)
        b->type[b->n] = c;
    if (c == 'S' || c == 'R' || c == 'P') {
        b->thrcol[b->nthr] = b->first + (int)b->n;
        b->thr[b->nthr] = var_threshold(obj);
        b->nthr++;
    }
    return reg_batch_counted(b);
}

static PyObject *
var_name_slot(PyObject *obj)
{
    return ((var_object *)obj)->name;
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
    for (i = 0; b->type != NULL && i < n; i++)
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
    if (reg_send_names(b, QNDA_NAMES_COLUMNS, 'C', REG_VARNAME_MAX, MSG_VARNAME, var_name_slot) !=
        0)
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
