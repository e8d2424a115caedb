/* addSOS: the batch of new special ordered sets (see batch.h). */
#include "problem/batch.h"

#include "algebra/exprtype.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "module/session.h"
#include "problem/split.h"

#include <stddef.h>
#include <string.h>

struct sosbatch : reg_batch {
    int64_t cap; /* sets */
    char *type;
    QNDAint64 *start;   /* cap + 1 */
    int64_t nel, elcap; /* members */
    int *col;
    double *ref;
};

static void
sosbatch_release(reg_batch *rb)
{
    sosbatch *b = (sosbatch *)rb;
    qarr_free_all(&b->type, &b->start, &b->col, &b->ref);
}

static void
sosbatch_reset(reg_batch *rb)
{
    ((sosbatch *)rb)->nel = 0;
}

static int
sosbatch_reserve(sosbatch *b, int64_t nel, size_t namelen)
{
    if (b->n + 1 > b->cap || b->start == NULL) {
        int64_t cap = qarr_newcap(b->cap, b->n + 1, REG_INITCAP);
        if (qarr_realloc(&b->type, cap) != 0 ||
            qarr_realloc(&b->start, (cap + 1) * sizeof(QNDAint64)) != 0)
            return -1;
        if (b->cap == 0)
            b->start[0] = 0;
        b->cap = cap;
    }
    if (b->nel + nel > b->elcap || b->col == NULL) {
        int64_t cap = qarr_newcap(b->elcap, b->nel + nel, REG_INITCAP);
        if (qarr_realloc(&b->col, cap * sizeof(int)) != 0 ||
            qarr_realloc(&b->ref, cap * sizeof(double)) != 0)
            return -1;
        b->elcap = cap;
    }
    return names_reserve(&b->names, namelen + 1);
}

static int
sos_step(void *ctx, PyObject *obj)
{
    sosbatch *b = (sosbatch *)ctx;
    problem_s *p = b->p;
    sos_object *s = (sos_object *)obj;
    size_t len;
    Py_ssize_t i, n;

    if (reg_check_new(SOS_CHECK(obj), "Object added is not a SOS", "SOS already added to problem",
                      [p, s] { return rowcolmap_has(PROBLEM_SOSMAP(p), s->id); }) != 0)
        return -1;
    if (s->indices == NULL || !PyList_Check(s->indices)) {
        PyErr_SetString(quenda_ModelError, "SOS indices must be passed as a list");
        return -1;
    }
    if (s->weights == NULL || !PyList_Check(s->weights)) {
        PyErr_SetString(quenda_ModelError, "SOS weights must be passed as a list");
        return -1;
    }
    n = PyList_GET_SIZE(s->indices);
    if (PyList_GET_SIZE(s->weights) != n) {
        PyErr_SetString(quenda_ModelError, "SOS indices and weights must have the same length");
        return -1;
    }
    if (s->type != 1 && s->type != 2) {
        PyErr_SetString(quenda_ModelError, "SOS type must be 1 or 2");
        return -1;
    }
    const char *name =
        name_text(s->name, QNDA_MAXNAMELENGTH - 1, &len, "Invalid SOS name (must be a string)");
    if (name == NULL)
        return -1;
    if (sosbatch_reserve(b, n, len) != 0) {
        PyErr_NoMemory();
        return -1;
    }
    for (i = 0; i < n; i++) {
        PyObject *v = PyList_GET_ITEM(s->indices, i), *w = PyList_GET_ITEM(s->weights, i);
        double d;
        if (!VAR_CHECK(v)) {
            PyErr_SetString(quenda_ModelError, "SOS indices must be variables");
            return -1;
        }
        if (problem_var_index(p, v, b->col + b->nel + i) != 0) {
            PyErr_SetString(quenda_ModelError,
                            "SOS contains variable that was not added to the problem");
            return -1;
        }
        if (!is_number(w)) {
            PyErr_SetString(quenda_ModelError, "SOS weights must be numbers");
            return -1;
        }
        d = number_value(w);
        if (d == -1.0 && PyErr_Occurred())
            return -1;
        if (nonfinite_word(d) != NULL) {
            PyErr_Format(quenda_ModelError, "SOS %S: weight of %S is %s", obj, v,
                         nonfinite_word(d));
            return -1;
        }
        b->ref[b->nel + i] = d;
    }
    if (PyList_Append(p->sos, obj) != 0)
        return -1;
    if (rowcolmap_set(PROBLEM_SOSMAP(p), s->id, (uint32_t)(b->first + b->n)) != 0) {
        reg_rollback(p->sos, NULL, PyList_GET_SIZE(p->sos) - 1, id_of_sos);
        PyErr_SetString(quenda_ModelError, "Cannot add SOS to problem");
        return -1;
    }
    b->nel += n;
    b->type[b->n] = (char)('0' + s->type);
    b->start[b->n + 1] = b->nel;
    return reg_batch_took(b, name, len);
}

static int
sosbatch_send(reg_batch *rb, int *added)
{
    sosbatch *b = (sosbatch *)rb;
    problem_s *p = b->p;
    int n = (int)b->n;

    if (QNDAaddsets64(p->prob, n, b->nel, b->type, b->start, b->col, b->ref) != 0)
        return -1;
    *added = 1;
    return QNDAaddnames(p->prob, QNDA_NAMES_SETS, b->names.buf, b->first, b->first + n - 1) != 0
               ? -1
               : 0;
}

const reg_kind reg_kind_sets = {
    &quenda_SOSType,
    sos_step,
    QNDA_SETS,
    offsetof(problem_s, sos),
    offsetof(problem_s, sosmap),
    id_of_sos,
    sosbatch_send,
    QNDAdelsets,
    sosbatch_reset,
    sosbatch_release,
    sizeof(sosbatch),
};
