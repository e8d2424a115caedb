/* Adding and deleting modelling objects (see registry.h).
 *
 * Each add call walks its arguments (objects, lists, tuples, dict values,
 * other sequences, iterators, NumPy arrays; at most 32 levels deep), checks
 * every object completely before it enters the registry, gathers the new
 * columns, rows or sets of the call in one batch and sends that batch to the
 * library before returning.  A failing object stops the walk: what was
 * gathered before it is still sent, so the lists, the maps and the library
 * agree after every call.  If the library refuses a batch, whatever it took
 * of that batch is deleted again and the batch's objects leave the registry.
 *
 * Batch arrays come from the library's allocator; capacities start at 2,048
 * and double.  When a row batch cannot grow it is flushed and the row
 * started again on the empty batch, so memory pressure gives several smaller
 * batches rather than a failure. */
#include "problem/registry.h"

#include "algebra/constraint.h"
#include "algebra/exprtype.h"
#include "algebra/expression.h"
#include "algebra/linterm.h"
#include "algebra/maps.h"
#include "algebra/quadterm.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "api/conv.h"
#include "module/npy.h"
#include "module/session.h"
#include "module/types.h"
#include "nonlinear/convert.h"

#include "qnda.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#define REG_INITCAP 2048
#define REG_MAXDEPTH 32
#define REG_VARNAME_MAX 150

/* ------------------------------------------------------------------ */
/* Maps                                                                  */

/* Bumped whenever a variable map changes through this file, so that a
 * column table cached by a long addConstraint is dropped if Python code run
 * by the walk (a generator) added or deleted variables. */
static unsigned long reg_varmap_epoch;

void
problem_varmap_changed(void)
{
    reg_varmap_epoch++;
}

int
problem_maps_ensure(problem_s *p)
{
    if (p->varmap == NULL)
        p->varmap = rowcolmap_new();
    if (p->conmap == NULL)
        p->conmap = rowcolmap_new();
    if (p->sosmap == NULL)
        p->sosmap = rowcolmap_new();
    if (p->varmap == NULL || p->conmap == NULL || p->sosmap == NULL) {
        PyErr_SetString(quenda_ModelError, "Could not create problem maps");
        return -1;
    }
    return 0;
}

void
problem_maps_free(problem_s *p)
{
    reg_varmap_epoch++;
    rowcolmap_free((rowcolmap **)&p->varmap);
    rowcolmap_free((rowcolmap **)&p->conmap);
    rowcolmap_free((rowcolmap **)&p->sosmap);
}

void
problem_maps_clear(problem_s *p)
{
    reg_varmap_epoch++;
    if (p->varmap != NULL)
        rowcolmap_clear(PROBLEM_VARMAP(p));
    if (p->conmap != NULL)
        rowcolmap_clear(PROBLEM_CONMAP(p));
    if (p->sosmap != NULL)
        rowcolmap_clear(PROBLEM_SOSMAP(p));
}

int
problem_maps_copy(problem_s *dst, problem_s *src)
{
    void **d[3] = {&dst->varmap, &dst->conmap, &dst->sosmap};
    reg_varmap_epoch++;
    void *s[3] = {src->varmap, src->conmap, src->sosmap};
    int k;
    for (k = 0; k < 3; k++) {
        rowcolmap *m = s[k] != NULL ? rowcolmap_copy((rowcolmap *)s[k]) : rowcolmap_new();
        if (m == NULL) {
            PyErr_SetString(quenda_ModelError, "Could not create problem maps");
            return -1;
        }
        rowcolmap_free((rowcolmap **)d[k]);
        *d[k] = m;
    }
    return 0;
}

static int
reg_index(void *map, uint32_t id, int *index)
{
    uint32_t v;
    if (map == NULL || rowcolmap_get((rowcolmap *)map, id, &v) != 0)
        return -1;
    *index = (int)v;
    return 0;
}

int
problem_var_index(problem_s *p, PyObject *var, int *index)
{
    return reg_index(p->varmap, VAR_ID(var), index);
}

int
problem_con_index(problem_s *p, PyObject *con, int *index)
{
    return reg_index(p->conmap, ((constraint_object *)con)->id, index);
}

int
problem_sos_index(problem_s *p, PyObject *sos, int *index)
{
    return reg_index(p->sosmap, ((sos_object *)sos)->id, index);
}

/* ------------------------------------------------------------------ */
/* Small helpers                                                         */

static void
reg_free(void *pp)
{
    qo_MemoryAllocator_Free_Untyped(qo_MemoryAllocator_DefaultHeap, (void **)pp);
}

/* Resizes *pp to bytes; 0, or -1 leaving *pp untouched.  No exception. */
static int
reg_realloc(void *pp, size_t bytes)
{
    void *q = *(void **)pp;
    if (qo_MemoryAllocator_Realloc_Untyped(qo_MemoryAllocator_DefaultHeap, &q, bytes ? bytes : 1) !=
            0 ||
        q == NULL)
        return -1;
    *(void **)pp = q;
    return 0;
}

/* New capacity >= need: at least REG_INITCAP, doubling. */
static int64_t
reg_newcap(int64_t cap, int64_t need)
{
    if (cap < REG_INITCAP)
        cap = REG_INITCAP;
    while (cap < need)
        cap *= 2;
    return cap;
}

/* A growable packed names buffer (each name ends with a zero byte). */
typedef struct {
    char *buf;
    size_t len;
    size_t cap;
} reg_names;

/* Room for more bytes; 0, or -1 without an exception. */
static int
names_reserve(reg_names *nm, size_t more)
{
    if (nm->len + more <= nm->cap && nm->buf != NULL)
        return 0;
    size_t cap = nm->cap < REG_INITCAP ? REG_INITCAP : nm->cap;
    while (cap < nm->len + more)
        cap *= 2;
    if (reg_realloc(&nm->buf, cap) != 0)
        return -1;
    nm->cap = cap;
    return 0;
}

/* Text of a name object: UTF-8 of a str, the bytes of a bytes, cut at an
 * embedded zero byte and to at most maxlen bytes on a character boundary.
 * Borrowed pointer valid while obj lives; NULL with ModelError msg when obj
 * is not a string. */
static const char *
name_text(PyObject *obj, size_t maxlen, size_t *len, const char *msg)
{
    const char *s;
    Py_ssize_t n;
    size_t l;

    if (obj != NULL && PyUnicode_Check(obj)) {
        s = PyUnicode_AsUTF8AndSize(obj, &n);
        if (s == NULL)
            return NULL;
    } else if (obj != NULL && PyBytes_Check(obj)) {
        s = PyBytes_AS_STRING(obj);
        n = PyBytes_GET_SIZE(obj);
    } else {
        PyErr_SetString(quenda_ModelError, msg);
        return NULL;
    }
    l = strnlen(s, (size_t)n);
    if (l > maxlen) {
        l = maxlen;
        while (l > 0 && ((unsigned char)s[l] & 0xC0) == 0x80)
            l--;
    }
    *len = l;
    return s;
}

static void
names_put(reg_names *nm, const char *s, size_t len)
{
    memcpy(nm->buf + nm->len, s, len);
    nm->buf[nm->len + len] = '\0';
    nm->len += len + 1;
}

/* Takes the last n objects of lst back out of the registry: their map
 * entries are erased and the list is cut to from. */
static void
reg_rollback(PyObject *lst, void *map, Py_ssize_t from, uint32_t (*idof)(PyObject *))
{
    Py_ssize_t i, n = PyList_GET_SIZE(lst);
    PyObject *et, *ev, *tb;

    reg_varmap_epoch++;
    PyErr_Fetch(&et, &ev, &tb);
    for (i = from; i < n; i++)
        if (map != NULL)
            rowcolmap_del((rowcolmap *)map, idof(PyList_GET_ITEM(lst, i)));
    if (from < n && PyList_SetSlice(lst, from, n, NULL) != 0)
        PyErr_Clear();
    PyErr_Restore(et, ev, tb);
}

static uint32_t
id_of_var(PyObject *o)
{
    return VAR_ID(o);
}

static uint32_t
id_of_con(PyObject *o)
{
    return ((constraint_object *)o)->id;
}

static uint32_t
id_of_sos(PyObject *o)
{
    return ((sos_object *)o)->id;
}

/* Integer attribute of the main problem; -1 with the library's error. */
static int
reg_intattr(problem_s *p, int id, int *value)
{
    if (QNDAgetintattrib(p->prob, id, value) != 0) {
        setQndaErrIfNull((PyObject *)p, NULL);
        return -1;
    }
    return 0;
}

static int
reg_check_problem(problem_s *p)
{
    if (p->prob == NULL || p->vars == NULL || p->cons == NULL || p->sos == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        return -1;
    }
    return problem_maps_ensure(p);
}

/* ------------------------------------------------------------------ */
/* One change of a registry at a time                                    */

/* A walk runs Python code (generators, __iter__), which could call back
 * into the registry of the problem being filled; the batch in hand would
 * then refer to stale indices.  Problems in the middle of an add or delete
 * are listed here and refuse such nested calls. */
#define REG_MAXBUSY 16
static problem_s *reg_busy[REG_MAXBUSY];

int
problem_registry_enter(problem_s *p)
{
    int k, free_slot = -1;
    for (k = 0; k < REG_MAXBUSY; k++) {
        if (reg_busy[k] == p) {
            PyErr_SetString(quenda_ModelError,
                            "Cannot change the problem while objects are being added to it or "
                            "deleted from it");
            return -1;
        }
        if (reg_busy[k] == NULL && free_slot < 0)
            free_slot = k;
    }
    if (free_slot >= 0)
        reg_busy[free_slot] = p;
    return 0;
}

void
problem_registry_leave(problem_s *p)
{
    int k;
    for (k = 0; k < REG_MAXBUSY; k++)
        if (reg_busy[k] == p)
            reg_busy[k] = NULL;
}

/* ------------------------------------------------------------------ */
/* The argument walker                                                   */

typedef int (*reg_step_fn)(void *ctx, PyObject *obj);

typedef struct {
    PyTypeObject *type; /* objects of this type go to step */
    reg_step_fn step;   /* also called on anything unusable, to word its error */
    void *ctx;
} reg_walker;

static int reg_walk(const reg_walker *w, PyObject *obj, int budget);

#define MSG_NESTED_ARRAY                                                                          \
    "Incorrect (nested) array/list/sequence passed. Perhaps this is a NumPy array containing a " \
    "tuple?"

static int
reg_walk_array(const reg_walker *w, PyArrayObject *arr)
{
    PyArrayIterObject *it;
    int ret = 0;

    if (PyArray_SIZE(arr) == 0)
        return 0;
    it = (PyArrayIterObject *)PyArray_IterNew((PyObject *)arr);
    if (it == NULL)
        return -1;
    while (it->index < it->size) {
        PyObject *item = PyArray_GETITEM(arr, (const char *)it->dataptr);
        if (item == NULL) {
            ret = -1;
            break;
        }
        if (PyObject_TypeCheck(item, w->type)) {
            ret = w->step(w->ctx, item);
        } else if (PyList_Check(item) || PyTuple_Check(item) || PyArray_Check(item) ||
                   PyDict_Check(item)) {
            PyErr_SetString(quenda_ModelError, MSG_NESTED_ARRAY);
            ret = -1;
        } else {
            ret = w->step(w->ctx, item);
        }
        Py_DECREF(item);
        if (ret != 0)
            break;
        PyArray_ITER_NEXT(it);
    }
    Py_DECREF(it);
    return ret;
}

static int
reg_walk(const reg_walker *w, PyObject *obj, int budget)
{
    int ret = 0;

    if (PyObject_TypeCheck(obj, w->type))
        return w->step(w->ctx, obj);
    if (PyUnicode_Check(obj) || PyBytes_Check(obj))
        return w->step(w->ctx, obj);
    if (!PyList_Check(obj) && !PyTuple_Check(obj) && !PyDict_Check(obj) && !PyArray_Check(obj) &&
        !PySequence_Check(obj) && Py_TYPE(obj)->tp_iter == NULL)
        return w->step(w->ctx, obj);
    if (budget <= 0) {
        PyErr_SetString(quenda_ModelError, "Maximum recursion (inclusion) level reached");
        return -1;
    }
    if (PyArray_Check(obj))
        return reg_walk_array(w, (PyArrayObject *)obj);
    if (PyList_Check(obj) || PyTuple_Check(obj)) {
        Py_ssize_t i;
        for (i = 0; ret == 0 && i < PySequence_Fast_GET_SIZE(obj); i++) {
            PyObject *item = Py_NewRef(PySequence_Fast_GET_ITEM(obj, i));
            ret = reg_walk(w, item, budget - 1);
            Py_DECREF(item);
        }
        return ret;
    }
    if (PyDict_Check(obj)) {
        PyObject *vals = PyDict_Values(obj);
        if (vals == NULL)
            return -1;
        ret = reg_walk(w, vals, budget); /* the values stand for the dict */
        Py_DECREF(vals);
        return ret;
    }
    if (PySequence_Check(obj)) {
        PyObject *fast = PySequence_Fast(obj, "");
        if (fast == NULL) {
            PyErr_Clear();
        } else {
            ret = reg_walk(w, fast, budget);
            Py_DECREF(fast);
            return ret;
        }
    }
    {
        PyObject *it = PyObject_GetIter(obj), *item;
        if (it == NULL)
            return -1;
        while (ret == 0 && (item = PyIter_Next(it)) != NULL) {
            ret = reg_walk(w, item, budget - 1);
            Py_DECREF(item);
        }
        Py_DECREF(it);
        if (ret == 0 && PyErr_Occurred())
            ret = -1;
    }
    return ret;
}

static int
reg_walk_args(const reg_walker *w, PyObject *args)
{
    Py_ssize_t i;
    for (i = 0; i < PyTuple_GET_SIZE(args); i++)
        if (reg_walk(w, PyTuple_GET_ITEM(args, i), REG_MAXDEPTH) != 0)
            return -1;
    return 0;
}

/* ------------------------------------------------------------------ */
/* Variables                                                             */

typedef struct {
    problem_s *p;
    int first;        /* columns before the call */
    Py_ssize_t list0; /* length of the variable list before the batch */
    int64_t n, cap;
    double *lb, *ub;
    char *type;
    int64_t nthr;     /* thresholds, for the columns of type S, R, P */
    int *thrcol;
    double *thr;
    reg_names names;
} colbatch;

static void
colbatch_free(colbatch *b)
{
    reg_free(&b->lb);
    reg_free(&b->ub);
    reg_free(&b->type);
    reg_free(&b->thrcol);
    reg_free(&b->thr);
    reg_free(&b->names.buf);
}

static int
colbatch_reserve(colbatch *b)
{
    if (b->n < b->cap)
        return 0;
    int64_t cap = reg_newcap(b->cap, b->n + 1);
    if (reg_realloc(&b->lb, cap * sizeof(double)) != 0 ||
        reg_realloc(&b->ub, cap * sizeof(double)) != 0 || reg_realloc(&b->type, cap) != 0 ||
        reg_realloc(&b->thrcol, cap * sizeof(int)) != 0 ||
        reg_realloc(&b->thr, cap * sizeof(double)) != 0) {
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
    if ((c == 'S' || c == 'R' || c == 'P') && !(v->lb <= v->threshold && v->threshold <= v->ub)) {
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

    if (!VAR_CHECK(obj)) {
        PyErr_SetString(quenda_ModelError, "Incorrect objects added as variables to problem");
        return -1;
    }
    if (rowcolmap_has(PROBLEM_VARMAP(p), v->id)) {
        PyErr_SetString(quenda_ModelError, "Variable already added to problem");
        return -1;
    }
    if ((c = var_letter(v)) == 0)
        return -1;
    name = name_text(v->name, REG_VARNAME_MAX, &len, "Invalid variable name (must be a string)");
    if (name == NULL)
        return -1;
    if (colbatch_reserve(b) != 0 || names_reserve(&b->names, len + 1) != 0) {
        if (!PyErr_Occurred())
            PyErr_NoMemory();
        return -1;
    }
    if (PyList_Append(p->vars, obj) != 0)
        return -1;
    reg_varmap_epoch++;
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
        b->thr[b->nthr] = v->threshold;
        b->nthr++;
    }
    names_put(&b->names, name, len);
    b->n++;
    return 0;
}

/* Sends the batch; on a refusal deletes what the library took and takes the
 * batch's variables back out.  0, or -1 with an exception set. */
static int
colbatch_flush(colbatch *b)
{
    problem_s *p = b->p;
    int *idx = NULL; /* library allocator */
    char *types = NULL;
    int64_t i, nt = 0;
    int n = (int)b->n, added = 0, ret = -1;

    if (n == 0)
        return 0;
    if (QNDAaddcols64(p->prob, n, 0, NULL, NULL, NULL, NULL, b->lb, b->ub) != 0)
        goto fail;
    added = 1;
    for (i = 0; i < n; i++)
        nt += b->type[i] != 'C';
    if (nt > 0) {
        if (reg_realloc(&idx, (size_t)nt * sizeof(int)) != 0 ||
            reg_realloc(&types, (size_t)nt) != 0) {
            PyErr_NoMemory();
            goto fail;
        }
        nt = 0;
        for (i = 0; i < n; i++) {
            if (b->type[i] != 'C') {
                idx[nt] = b->first + (int)i;
                types[nt++] = b->type[i];
            }
        }
        if (QNDAchgcoltype(p->prob, (int)nt, idx, types) != 0)
            goto fail;
    }
    if (QNDAaddnames(p->prob, QNDA_NAMES_COLUMNS, b->names.buf, b->first, b->first + n - 1) != 0)
        goto fail;
    if (b->nthr > 0 && QNDAchgglblimit(p->prob, (int)b->nthr, b->thrcol, b->thr) != 0)
        goto fail;
    ret = 0;
    goto done;
fail:
    if (!PyErr_Occurred())
        setQndaErrIfNull((PyObject *)p, NULL);
    if (added) {
        PyObject *et, *ev, *tb;
        int *del = NULL;
        PyErr_Fetch(&et, &ev, &tb);
        if (reg_realloc(&del, (size_t)n * sizeof(int)) == 0) {
            for (i = 0; i < n; i++)
                del[i] = b->first + (int)i;
            QNDAdelcols(p->prob, n, del);
        }
        reg_free(&del);
        PyErr_Restore(et, ev, tb);
    }
    reg_rollback(p->vars, p->varmap, b->list0, id_of_var);
done:
    reg_free(&idx);
    reg_free(&types);
    b->n = 0;
    b->nthr = 0;
    b->names.len = 0;
    return ret;
}

/* Sends what a failed walk gathered, keeping the walk's exception. */
typedef int (*reg_flush_fn)(void *batch);

static void
reg_flush_after_error(reg_flush_fn flush, void *batch)
{
    PyObject *et, *ev, *tb;
    PyErr_Fetch(&et, &ev, &tb);
    if (flush(batch) != 0)
        PyErr_Clear();
    PyErr_Restore(et, ev, tb);
}

static int
colbatch_flush_v(void *b)
{
    return colbatch_flush((colbatch *)b);
}

static PyObject *
problem_addVariable_impl(PyObject *self, PyObject *args)
{
    problem_s *p = (problem_s *)self;
    colbatch b;
    reg_walker w;
    PyObject *res = NULL;

    memset(&b, 0, sizeof b);
    if (reg_check_problem(p) != 0)
        return NULL;
    if (reg_intattr(p, QNDA_ORIGINALCOLS, &b.first) != 0)
        return NULL;
    b.p = p;
    b.list0 = PyList_GET_SIZE(p->vars);
    w.type = &quenda_varType;
    w.step = var_step;
    w.ctx = &b;
    if (reg_walk_args(&w, args) != 0) {
        reg_flush_after_error(colbatch_flush_v, &b);
        goto done;
    }
    if (colbatch_flush(&b) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    colbatch_free(&b);
    setQndaErrIfNull(self, res);
    return res;
}

/* ------------------------------------------------------------------ */
/* Constraints and indicators                                            */

typedef struct {
    problem_s *p;
    int first;          /* rows in the library when the batch started */
    Py_ssize_t list0;   /* length of the constraint list then */
    int64_t n, cap;
    QNDAint64 *start;   /* cap + 1: linear start offsets */
    QNDAint64 *qstart;  /* cap + 1: quadratic start offsets */
    char *type;
    double *rhs;
    double *range;
    int *indcol;        /* indicator rows only: condition column */
    int *indcomp;       /*   and 1 (var == 1) or -1 (var == 0) */
    int indicators;     /* the batch holds indicator rows */
    lqsplit t;
    reg_names names;
    /* the condition of the indicator row being added */
    int cur_indcol;
    int cur_indcomp;
    /* column table of the split: built once the call has looked up about
       as many terms as the problem has variables */
    int64_t terms_seen;
    int cache_tried;
    unsigned long cache_epoch;
} rowbatch;

static void
rowbatch_free(rowbatch *b)
{
    reg_free(&b->start);
    reg_free(&b->qstart);
    reg_free(&b->type);
    reg_free(&b->rhs);
    reg_free(&b->range);
    reg_free(&b->indcol);
    reg_free(&b->indcomp);
    lqsplit_free(&b->t);
    reg_free(&b->names.buf);
}

/* Room for one more row with nl linear terms, nq quadratic terms and a
 * name of namelen bytes.  0, or -1 without an exception. */
static int
rowbatch_reserve(rowbatch *b, int64_t nl, int64_t nq, size_t namelen)
{
    if (b->n + 1 > b->cap || b->start == NULL) {
        int64_t cap = reg_newcap(b->cap, b->n + 1);
        if (reg_realloc(&b->start, (cap + 1) * sizeof(QNDAint64)) != 0 ||
            reg_realloc(&b->qstart, (cap + 1) * sizeof(QNDAint64)) != 0 ||
            reg_realloc(&b->type, cap) != 0 || reg_realloc(&b->rhs, cap * sizeof(double)) != 0 ||
            reg_realloc(&b->range, cap * sizeof(double)) != 0)
            return -1;
        if (b->indicators && (reg_realloc(&b->indcol, cap * sizeof(int)) != 0 ||
                              reg_realloc(&b->indcomp, cap * sizeof(int)) != 0))
            return -1;
        if (b->cap == 0) {
            b->start[0] = 0;
            b->qstart[0] = 0;
        }
        b->cap = cap;
    }
    if (lqsplit_reserve(&b->t, nl, nq) != 0)
        return -1;
    return names_reserve(&b->names, namelen + 1);
}

static int
rowbatch_flush(rowbatch *b)
{
    problem_s *p = b->p;
    int *rows = NULL; /* library allocator */
    int n = (int)b->n, added = 0, ret = -1;
    int64_t i;

    if (n == 0)
        return 0;
    if (QNDAaddrows64(p->prob, n, b->t.nlin, b->type, b->rhs, b->range, b->start, b->t.lincol,
                      b->t.lincoef) != 0)
        goto fail;
    added = 1;
    if (QNDAaddnames(p->prob, QNDA_NAMES_ROWS, b->names.buf, b->first, b->first + n - 1) != 0)
        goto fail;
    if (b->t.nquad > 0) {
        for (i = 0; i < n; i++) {
            QNDAint64 q0 = b->qstart[i], q1 = b->qstart[i + 1];
            if (q1 > q0 && QNDAaddqmatrix64(p->prob, b->first + (int)i, q1 - q0, b->t.qcol1 + q0,
                                            b->t.qcol2 + q0, b->t.qcoef + q0) != 0)
                goto fail;
        }
    }
    if (b->indicators) {
        if (reg_realloc(&rows, (size_t)n * sizeof(int)) != 0) {
            PyErr_NoMemory();
            goto fail;
        }
        for (i = 0; i < n; i++)
            rows[i] = b->first + (int)i;
        if (QNDAsetindicators(p->prob, n, rows, b->indcol, b->indcomp) != 0)
            goto fail;
    }
    ret = 0;
    goto done;
fail:
    if (!PyErr_Occurred())
        setQndaErrIfNull((PyObject *)p, NULL);
    if (added) {
        PyObject *et, *ev, *tb;
        int *del = NULL;
        PyErr_Fetch(&et, &ev, &tb);
        if (reg_realloc(&del, (size_t)n * sizeof(int)) == 0) {
            for (i = 0; i < n; i++)
                del[i] = b->first + (int)i;
            QNDAdelrows(p->prob, n, del);
        }
        reg_free(&del);
        PyErr_Restore(et, ev, tb);
    }
    reg_rollback(p->cons, p->conmap, b->list0, id_of_con);
done:
    reg_free(&rows);
    /* The next batch starts where this one ended. */
    b->first += ret == 0 ? n : 0;
    b->list0 = PyList_GET_SIZE(p->cons);
    b->n = 0;
    b->t.nlin = 0;
    b->t.nquad = 0;
    b->names.len = 0;
    return ret;
}

static int
rowbatch_flush_v(void *b)
{
    return rowbatch_flush((rowbatch *)b);
}

#define MSG_INVALID_CON "Invalid constraint"

static int
con_step(void *ctx, PyObject *obj)
{
    rowbatch *b = (rowbatch *)ctx;
    problem_s *p = b->p;
    constraint_object *c = (constraint_object *)obj;
    int64_t nl, nq;
    const char *name;
    size_t len;
    double rhs, range = 0.0;
    char type = 'N';

    if (!CONSTRAINT_CHECK(obj)) {
        PyErr_SetString(quenda_ModelError, MSG_INVALID_CON);
        return -1;
    }
    if (c->body == NULL) {
        PyErr_SetString(quenda_ModelError, "Stale expression link, cannot add constraint");
        return -1;
    }
    if (rowcolmap_has(PROBLEM_CONMAP(p), c->id)) {
        PyErr_SetString(quenda_ModelError, "Constraint already added to problem");
        return -1;
    }
    if (expr_kind(c->body) == EXPR_NONLINEAR) {
        PyErr_SetString(quenda_ModelError,
                        "Constraints with a nonlinear part cannot be added to a problem yet");
        return -1;
    }
    name = name_text(c->name, QNDA_MAXNAMELENGTH - 1, &len,
                     "Invalid constraint name (must be a string)");
    if (name == NULL)
        return -1;
    splitExpr_count(c->body, &nl, &nq);
    if (rowbatch_reserve(b, nl, nq, len) != 0) {
        /* Short of memory: send what we have and try again on an empty batch. */
        if (rowbatch_flush(b) != 0)
            return -1;
        if (rowbatch_reserve(b, nl, nq, len) != 0) {
            PyErr_NoMemory();
            return -1;
        }
    }
    b->terms_seen += nl + nq;
    if (b->t.dense != NULL && b->cache_epoch != reg_varmap_epoch)
        lqsplit_drop_cache(&b->t);
    if (!b->cache_tried && b->terms_seen > 4096 &&
        (size_t)b->terms_seen > rowcolmap_size(PROBLEM_VARMAP(p)) / 4) {
        b->cache_tried = 1;
        b->cache_epoch = reg_varmap_epoch;
        lqsplit_cache_columns(&b->t, (PyObject *)p);
    }
    b->t.constant = 0.0;
    if (splitExpr((PyObject *)p, c->body, 1.0, &b->t, NULL) != 0)
        return -1;
    rhs = -b->t.constant;
    getRhsSense(obj, &type, &rhs, &range);

    if (PyList_Append(p->cons, obj) != 0)
        goto undo;
    if (rowcolmap_set(PROBLEM_CONMAP(p), c->id, (uint32_t)(b->first + b->n)) != 0) {
        reg_rollback(p->cons, NULL, PyList_GET_SIZE(p->cons) - 1, id_of_con);
        PyErr_SetString(quenda_ModelError, "Cannot add constraint to problem");
        goto undo;
    }
    b->type[b->n] = type;
    b->rhs[b->n] = rhs;
    b->range[b->n] = range;
    if (b->indicators) {
        b->indcol[b->n] = b->cur_indcol;
        b->indcomp[b->n] = b->cur_indcomp;
    }
    b->start[b->n + 1] = b->t.nlin;
    b->qstart[b->n + 1] = b->t.nquad;
    names_put(&b->names, name, len);
    b->n++;
    return 0;
undo:
    b->t.nlin = b->start[b->n];
    b->t.nquad = b->qstart[b->n];
    return -1;
}

static int
rowbatch_begin(rowbatch *b, problem_s *p, int indicators)
{
    memset(b, 0, sizeof *b);
    lqsplit_init(&b->t);
    b->p = p;
    b->indicators = indicators;
    b->list0 = PyList_GET_SIZE(p->cons);
    return reg_intattr(p, QNDA_ORIGINALROWS, &b->first);
}

static PyObject *
problem_addConstraint_impl(PyObject *self, PyObject *args)
{
    problem_s *p = (problem_s *)self;
    rowbatch b;
    reg_walker w;
    PyObject *res = NULL;

    memset(&b, 0, sizeof b);
    if (reg_check_problem(p) != 0)
        return NULL;
    if (rowbatch_begin(&b, p, 0) != 0)
        goto done;
    w.type = &quenda_constraintType;
    w.step = con_step;
    w.ctx = &b;
    if (reg_walk_args(&w, args) != 0) {
        reg_flush_after_error(rowbatch_flush_v, &b);
        goto done;
    }
    if (rowbatch_flush(&b) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    rowbatch_free(&b);
    setQndaErrIfNull(self, res);
    return res;
}

#define MSG_IND_DECL "Invalid declaration of indicator constraints."
#define MSG_IND_FORM \
    "Invalid condition for indicator constraints: must be <variable_name> == 0 or " \
    "<variable_name> == 1"
#define MSG_IND_VAR "Invalid condition for indicator constraints: must be a variable"
#define MSG_IND_ONE \
    "Invalid condition for indicator constraints: there must be exactly one variable"
#define MSG_IND_QUAD \
    "Invalid condition for indicator constraints: it cannot contain a quadratic expression"
#define MSG_IND_EXPR \
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

    if (!CONSTRAINT_CHECK(cond) || c->body == NULL) {
        PyErr_SetString(quenda_ModelError, MSG_IND_FORM);
        return -1;
    }
    switch (expr_kind(c->body)) {
    case EXPR_VARIABLE:
        var = c->body;
        break;
    case EXPR_LINTERM:
        var = ((linterm_object *)c->body)->var;
        coef = ((linterm_object *)c->body)->coef;
        break;
    case EXPR_QUADTERM:
        msg = MSG_IND_QUAD;
        break;
    case EXPR_EXPRESSION: {
        expression_object *e = (expression_object *)c->body;
        size_t n = e->linmap != NULL ? linmap_size(e->linmap) : 0;
        if (e->quadmap != NULL && quadmap_size(e->quadmap) > 0)
            msg = MSG_IND_QUAD;
        else if (n == 0)
            msg = MSG_IND_VAR;
        else if (n > 1)
            msg = MSG_IND_ONE;
        else {
            const linmap_entry *ent = linmap_data(e->linmap, &n);
            var = ent[0].var;
            coef = ent[0].coef;
            constant = e->constant;
        }
        break;
    }
    default:
        msg = MSG_IND_VAR;
        break;
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
    PyObject *flat, *res;
    if (!PyArray_Check(o))
        return PySequence_Fast(o, MSG_IND_DECL);
    flat = PyArray_Ravel((PyArrayObject *)o, NPY_CORDER);
    if (flat == NULL)
        return NULL;
    res = PySequence_Fast(flat, MSG_IND_DECL);
    Py_DECREF(flat);
    return res;
}

static PyObject *
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
    if (rowbatch_begin(&b, p, 1) != 0)
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
            failed = ind_pair(&b, PySequence_Fast_GET_ITEM(fc, i),
                              PySequence_Fast_GET_ITEM(fk, i)) != 0;
        Py_CLEAR(fc);
        Py_CLEAR(fk);
    }
    if (failed) {
        reg_flush_after_error(rowbatch_flush_v, &b);
        goto done;
    }
    if (rowbatch_flush(&b) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    Py_XDECREF(fc);
    Py_XDECREF(fk);
    rowbatch_free(&b);
    setQndaErrIfNull(self, res);
    return res;
}

/* ------------------------------------------------------------------ */
/* SOS                                                                   */

typedef struct {
    problem_s *p;
    int first;          /* sets before the call */
    Py_ssize_t list0;
    int64_t n, cap;     /* sets */
    char *type;
    QNDAint64 *start;   /* cap + 1 */
    int64_t nel, elcap; /* members */
    int *col;
    double *ref;
    reg_names names;
} sosbatch;

static void
sosbatch_free(sosbatch *b)
{
    reg_free(&b->type);
    reg_free(&b->start);
    reg_free(&b->col);
    reg_free(&b->ref);
    reg_free(&b->names.buf);
}

static int
sosbatch_reserve(sosbatch *b, int64_t nel, size_t namelen)
{
    if (b->n + 1 > b->cap || b->start == NULL) {
        int64_t cap = reg_newcap(b->cap, b->n + 1);
        if (reg_realloc(&b->type, cap) != 0 ||
            reg_realloc(&b->start, (cap + 1) * sizeof(QNDAint64)) != 0)
            return -1;
        if (b->cap == 0)
            b->start[0] = 0;
        b->cap = cap;
    }
    if (b->nel + nel > b->elcap || b->col == NULL) {
        int64_t cap = reg_newcap(b->elcap, b->nel + nel);
        if (reg_realloc(&b->col, cap * sizeof(int)) != 0 ||
            reg_realloc(&b->ref, cap * sizeof(double)) != 0)
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
    Py_ssize_t i, n;
    const char *name;
    size_t len;

    if (!SOS_CHECK(obj)) {
        PyErr_SetString(quenda_ModelError, "Object added is not a SOS");
        return -1;
    }
    if (rowcolmap_has(PROBLEM_SOSMAP(p), s->id)) {
        PyErr_SetString(quenda_ModelError, "SOS already added to problem");
        return -1;
    }
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
    name = name_text(s->name, QNDA_MAXNAMELENGTH - 1, &len, "Invalid SOS name (must be a string)");
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
    names_put(&b->names, name, len);
    b->n++;
    return 0;
}

static int
sosbatch_flush(sosbatch *b)
{
    problem_s *p = b->p;
    int n = (int)b->n, added = 0, ret = -1;

    if (n == 0)
        return 0;
    if (QNDAaddsets64(p->prob, n, b->nel, b->type, b->start, b->col, b->ref) != 0)
        goto fail;
    added = 1;
    if (QNDAaddnames(p->prob, QNDA_NAMES_SETS, b->names.buf, b->first, b->first + n - 1) != 0)
        goto fail;
    ret = 0;
    goto done;
fail:
    setQndaErrIfNull((PyObject *)p, NULL);
    if (added) {
        PyObject *et, *ev, *tb;
        int *del = NULL, i;
        PyErr_Fetch(&et, &ev, &tb);
        if (reg_realloc(&del, (size_t)n * sizeof(int)) == 0) {
            for (i = 0; i < n; i++)
                del[i] = b->first + i;
            QNDAdelsets(p->prob, n, del);
        }
        reg_free(&del);
        PyErr_Restore(et, ev, tb);
    }
    reg_rollback(p->sos, p->sosmap, b->list0, id_of_sos);
done:
    b->n = 0;
    b->nel = 0;
    b->names.len = 0;
    return ret;
}

static int
sosbatch_flush_v(void *b)
{
    return sosbatch_flush((sosbatch *)b);
}

static PyObject *
problem_addSOS_impl(PyObject *self, PyObject *args)
{
    problem_s *p = (problem_s *)self;
    sosbatch b;
    reg_walker w;
    PyObject *res = NULL;

    memset(&b, 0, sizeof b);
    if (reg_check_problem(p) != 0)
        return NULL;
    if (reg_intattr(p, QNDA_SETS, &b.first) != 0)
        return NULL;
    b.p = p;
    b.list0 = PyList_GET_SIZE(p->sos);
    w.type = &quenda_SOSType;
    w.step = sos_step;
    w.ctx = &b;
    if (reg_walk_args(&w, args) != 0) {
        reg_flush_after_error(sosbatch_flush_v, &b);
        goto done;
    }
    if (sosbatch_flush(&b) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    sosbatch_free(&b);
    setQndaErrIfNull(self, res);
    return res;
}

/* ------------------------------------------------------------------ */
/* Deleting                                                              */

enum { DEL_ROWS = 0, DEL_COLS = 1, DEL_SETS = 2 };

static int
del_cmp(const void *a, const void *b)
{
    int x = *(const int *)a, y = *(const int *)b;
    return (x > y) - (x < y);
}

/* The indices named by "index" (an int, an object of the kind, or a
 * sequence of them) in a new array *idx of *n entries. */
static int
del_indices_from(problem_s *p, PyObject *index, int kind, int **idx, QNDAint64 *n)
{
    PyTypeObject *type = kind == DEL_COLS   ? &quenda_varType
                         : kind == DEL_ROWS ? &quenda_constraintType
                                            : &quenda_SOSType;
    *n = -1;
    /* A name is one item, not a sequence of one-letter names. */
    if (conv_is_integer(index) || PyObject_TypeCheck(index, type) || PyUnicode_Check(index) ||
        PyBytes_Check(index)) {
        if (reg_realloc(idx, sizeof(int)) != 0) {
            PyErr_NoMemory();
            return -1;
        }
        *n = 1;
        return ObjInt2int(index, (PyObject *)p, *idx, kind);
    }
    if (kind != DEL_SETS)
        return conv_obj2arr((PyObject *)p, n, index, (void **)idx, kind);
    {
        /* Sets have no array kind of their own: resolve item by item. */
        PyObject *fast = PySequence_Fast(index, "Invalid sequence of objects");
        Py_ssize_t i, len;
        int ret = 0;
        if (fast == NULL) {
            PyErr_Clear();
            PyErr_SetString(quenda_ModelError, "Invalid sequence of objects");
            return -1;
        }
        len = PySequence_Fast_GET_SIZE(fast);
        if (reg_realloc(idx, (size_t)len * sizeof(int)) != 0) {
            Py_DECREF(fast);
            PyErr_NoMemory();
            return -1;
        }
        for (i = 0; ret == 0 && i < len; i++)
            ret = ObjInt2int(PySequence_Fast_GET_ITEM(fast, i), (PyObject *)p, *idx + i, kind);
        Py_DECREF(fast);
        *n = len;
        return ret;
    }
}

static PyObject *
problem_delete_impl(PyObject *self, PyObject *args, PyObject *kwargs, int kind)
{
    static const char *kwlist[] = {"index", "first", "last", NULL};
    problem_s *p = (problem_s *)self;
    PyObject *index = Py_None, *lst, *survivors = NULL, *res = NULL;
    void **mapp;
    rowcolmap *newmap = NULL;
    int first = -1, last = -1, count, rc;
    int *idx = NULL, *shift = NULL; /* library allocator */
    QNDAint64 n = 0, i, k;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|Oii", (char **)kwlist, &index, &first,
                                     &last))
        return NULL;
    if (reg_check_problem(p) != 0)
        return NULL;
    lst = kind == DEL_COLS ? p->vars : kind == DEL_ROWS ? p->cons : p->sos;
    mapp = kind == DEL_COLS ? &p->varmap : kind == DEL_ROWS ? &p->conmap : &p->sosmap;
    count = (int)PyList_GET_SIZE(lst);

    if (index != Py_None) {
        if (first != -1 || last != -1) {
            PyErr_SetString(quenda_ModelError, "Parameters 'first' and 'last' cannot be "
                                               "specified if 'index' is also specified");
            goto done;
        }
        if (del_indices_from(p, index, kind, &idx, &n) != 0)
            goto done;
    } else {
        if (first < 0) {
            PyErr_SetString(quenda_ModelError,
                            last < 0 ? "At least one parameter must be specified"
                                     : "Parameters 'first' and 'last' must be both nonnegative "
                                       "when specified");
            goto done;
        }
        if (last < 0) {
            PyErr_SetString(quenda_ModelError,
                            "Parameters 'first' and 'last' must be both nonnegative when "
                            "specified");
            goto done;
        }
        if (first >= count || last >= count) {
            PyErr_SetString(quenda_ModelError, "Parameters 'first' or 'last' are out of range");
            goto done;
        }
        if (first > last) {
            PyErr_SetString(quenda_ModelError,
                            "Parameter 'first' must be less than, or equal to, 'last'");
            goto done;
        }
        n = last - first + 1;
        if (reg_realloc(&idx, (size_t)n * sizeof(int)) != 0) {
            PyErr_NoMemory();
            goto done;
        }
        for (i = 0; i < n; i++)
            idx[i] = first + (int)i;
    }
    for (i = 0; i < n; i++) {
        if (idx[i] < 0 || idx[i] >= count) {
            PyErr_SetString(quenda_ModelError, "Index out of bounds");
            goto done;
        }
    }
    if (n == 0) {
        res = Py_NewRef(Py_None);
        goto done;
    }
    /* Ascending and without repeats, so that each object goes once. */
    if (n > 1) {
        qsort(idx, (size_t)n, sizeof(int), del_cmp);
        for (i = 1, k = 1; i < n; i++)
            if (idx[i] != idx[k - 1])
                idx[k++] = idx[i];
        n = k;
    }

    rc = kind == DEL_ROWS   ? QNDAdelrows(p->prob, (int)n, idx)
         : kind == DEL_COLS ? QNDAdelcols(p->prob, (int)n, idx)
                            : QNDAdelsets(p->prob, (int)n, idx);
    if (rc != 0)
        goto done;

    /* shift[j]: how many deleted indices lie below j, -1 for a deleted j. */
    if (reg_realloc(&shift, (size_t)(count > 0 ? count : 1) * sizeof(int)) != 0) {
        PyErr_NoMemory();
        goto done;
    }
    survivors = PyList_New(count - (Py_ssize_t)n);
    if (survivors == NULL)
        goto done;
    for (i = 0, k = 0; i < count; i++) {
        if (k < n && idx[k] == i) {
            shift[i] = -1;
            k++;
        } else {
            shift[i] = (int)k;
            PyList_SET_ITEM(survivors, i - k, Py_NewRef(PyList_GET_ITEM(lst, i)));
        }
    }
    newmap = rowcolmap_new();
    if (newmap == NULL) {
        PyErr_SetString(quenda_ModelError, "Cannot delete item from problem");
        goto done;
    }
    {
        void *it = NULL;
        uint32_t id, val;
        int ok = 1;
        while (ok && rowcolmap_next((rowcolmap *)*mapp, &it, &id, &val)) {
            if (val < (uint32_t)count && shift[val] < 0)
                continue;
            if (rowcolmap_set(newmap, id, val < (uint32_t)count ? val - shift[val] : val) != 0)
                ok = 0;
        }
        rowcolmap_iter_free(&it);
        if (!ok) {
            PyErr_SetString(quenda_ModelError, "Cannot delete item from problem");
            goto done;
        }
    }
    if (PyList_SetSlice(lst, 0, count, survivors) != 0)
        goto done;
    rowcolmap_free((rowcolmap **)mapp);
    *mapp = newmap;
    reg_varmap_epoch++;
    newmap = NULL;
    res = Py_NewRef(Py_None);
done:
    Py_XDECREF(survivors);
    rowcolmap_free(&newmap);
    reg_free(&idx);
    reg_free(&shift);
    setQndaErrIfNull(self, res);
    return res;
}


/* ------------------------------------------------------------------ */
/* The methods: each one change of the registry at a time                */

static PyObject *
reg_guarded(PyObject *self, PyObject *args, PyObject *kwargs, int kind,
            PyObject *(*add)(PyObject *, PyObject *))
{
    problem_s *p = (problem_s *)self;
    PyObject *res;
    if (problem_registry_enter(p) != 0)
        return NULL;
    res = add != NULL ? add(self, args) : problem_delete_impl(self, args, kwargs, kind);
    problem_registry_leave(p);
    return res;
}

static PyObject *
problem_addVariable(PyObject *self, PyObject *args)
{
    return reg_guarded(self, args, NULL, 0, problem_addVariable_impl);
}

static PyObject *
problem_addConstraint(PyObject *self, PyObject *args)
{
    return reg_guarded(self, args, NULL, 0, problem_addConstraint_impl);
}

static PyObject *
problem_addIndicator(PyObject *self, PyObject *args)
{
    return reg_guarded(self, args, NULL, 0, problem_addIndicator_impl);
}

static PyObject *
problem_addSOS(PyObject *self, PyObject *args)
{
    return reg_guarded(self, args, NULL, 0, problem_addSOS_impl);
}

static PyObject *
problem_delVariable(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return reg_guarded(self, args, kwargs, DEL_COLS, NULL);
}

static PyObject *
problem_delConstraint(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return reg_guarded(self, args, kwargs, DEL_ROWS, NULL);
}

static PyObject *
problem_delSOS(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return reg_guarded(self, args, kwargs, DEL_SETS, NULL);
}

#define REG_KW(f) ((PyCFunction)(void (*)(void))(f))

PyMethodDef problem_registry_methods[] = {
    {"addVariable", problem_addVariable, METH_VARARGS,
     "addVariable(*vars): add variables (or any nesting of collections of them) as columns"},
    {"addConstraint", problem_addConstraint, METH_VARARGS,
     "addConstraint(*cons): add constraints (or any nesting of collections of them) as rows"},
    {"addSOS", problem_addSOS, METH_VARARGS,
     "addSOS(*sets): add special ordered sets (or collections of them)"},
    {"addIndicator", problem_addIndicator, METH_VARARGS,
     "addIndicator(cond, con, ...): con must hold when cond (var == 0 or var == 1, var binary) "
     "holds; cond and con may also be equal-length lists or arrays"},
    {"delVariable", REG_KW(problem_delVariable), METH_VARARGS | METH_KEYWORDS,
     "delVariable(index=None, first=-1, last=-1): delete variables by index, object, list or "
     "range"},
    {"delConstraint", REG_KW(problem_delConstraint), METH_VARARGS | METH_KEYWORDS,
     "delConstraint(index=None, first=-1, last=-1): delete constraints"},
    {"delSOS", REG_KW(problem_delSOS), METH_VARARGS | METH_KEYWORDS,
     "delSOS(index=None, first=-1, last=-1): delete special ordered sets"},
    {NULL, NULL, 0, NULL}};
