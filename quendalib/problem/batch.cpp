/* The shared parts of the registry: helpers, the argument walker and the
 * one batch routine of every kind (see batch.h). */
#include "problem/batch.h"

#include "algebra/constraint.h"
#include "algebra/exprtype.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "module/npy.h"
#include "module/session.h"

#include <string.h>

/* ------------------------------------------------------------------ */
/* Small helpers                                                         */

int
names_reserve(reg_names *nm, size_t more)
{
    if (nm->len + more <= nm->cap && nm->buf != NULL)
        return 0;
    size_t cap = nm->cap < 16 * REG_INITCAP ? 16 * REG_INITCAP : nm->cap; /* bytes */
    while (cap < nm->len + more)
        cap *= 2;
    if (qarr_realloc(&nm->buf, cap) != 0)
        return -1;
    nm->cap = cap;
    return 0;
}

const char *
name_or_default(PyObject *obj, char prefix, uint32_t id, char (&buf)[16], size_t maxlen,
                size_t *len, const char *msg)
{
    if (obj != NULL)
        return name_text(obj, maxlen, len, msg);
    return quenda_id_text(prefix, id, buf, len);
}

const char *
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
    if (l < (size_t)n) {
        PyErr_Format(quenda_ModelError, "Invalid name %R (it contains a NUL character)", obj);
        return NULL;
    }
    if (l > maxlen) {
        l = maxlen;
        while (l > 0 && ((unsigned char)s[l] & 0xC0) == 0x80)
            l--;
    }
    *len = l;
    return s;
}

void
names_put(reg_names *nm, const char *s, size_t len)
{
    memcpy(nm->buf + nm->len, s, len);
    nm->buf[nm->len + len] = '\0';
    nm->len += len + 1;
}

int
reg_send_names(reg_batch *b, int type, char prefix, size_t maxlen, const char *msg,
               PyObject *(*name_of)(PyObject *))
{
    /* About 64 KiB of names per library call. */
    const size_t piece = 1 << 16;
    PyObject *lst = *(PyObject **)((char *)b->p + b->kind->list_offset);
    reg_names *nm = &b->names;
    int n = (int)b->n, from = 0, i;

    nm->len = 0;
    for (i = 0; i < n; i++) {
        PyObject *obj = PyList_GET_ITEM(lst, b->list0 + i);
        char dflt[16];
        size_t len;
        const char *name =
            name_or_default(name_of(obj), prefix, b->kind->idof(obj), dflt, maxlen, &len, msg);
        if (name == NULL)
            return -1;
        if (names_reserve(nm, len + 1) != 0) {
            PyErr_NoMemory();
            return -1;
        }
        names_put(nm, name, len);
        if (nm->len >= piece || i == n - 1) {
            if (QNDAaddnames(b->p->prob, type, nm->buf, b->first + from, b->first + i) != 0)
                return -1;
            nm->len = 0;
            from = i + 1;
        }
    }
    return 0;
}

void
reg_rollback(PyObject *lst, void *map, Py_ssize_t from, uint32_t (*idof)(PyObject *))
{
    Py_ssize_t i, n = PyList_GET_SIZE(lst);
    PyObject *et, *ev, *tb;

    problem_varmap_changed();
    PyErr_Fetch(&et, &ev, &tb);
    for (i = from; i < n; i++)
        if (map != NULL)
            rowcolmap_del((rowcolmap *)map, idof(PyList_GET_ITEM(lst, i)));
    if (from < n && PyList_SetSlice(lst, from, n, NULL) != 0)
        PyErr_Clear();
    PyErr_Restore(et, ev, tb);
}

uint32_t
id_of_var(PyObject *o)
{
    return VAR_ID(o);
}

uint32_t
id_of_con(PyObject *o)
{
    return ((constraint_object *)o)->id;
}

uint32_t
id_of_sos(PyObject *o)
{
    return ((sos_object *)o)->id;
}

int
reg_check_problem(problem_s *p)
{
    if (p->prob == NULL || p->vars == NULL || p->cons == NULL || p->sos == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        return -1;
    }
    return problem_maps_ensure(p);
}

/* ------------------------------------------------------------------ */
/* The argument walker                                                   */

static int reg_walk(const reg_walker *w, PyObject *obj, int budget);

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
            PyErr_SetString(quenda_ModelError, REG_MSG_NESTED_ARRAY);
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

int
reg_walk_one(const reg_walker *w, PyObject *obj)
{
    return reg_walk(w, obj, REG_MAXDEPTH);
}

int
reg_walk_args(const reg_walker *w, PyObject *args)
{
    Py_ssize_t i;
    for (i = 0; i < PyTuple_GET_SIZE(args); i++)
        if (reg_walk(w, PyTuple_GET_ITEM(args, i), REG_MAXDEPTH) != 0)
            return -1;
    return 0;
}

/* ------------------------------------------------------------------ */
/* Batches                                                               */

static PyObject *
reg_list(const reg_batch *b)
{
    return *(PyObject **)((char *)b->p + b->kind->list_offset);
}

int
reg_batch_begin(reg_batch *b, problem_s *p, const reg_kind *kind)
{
    b->kind = kind;
    b->p = p;
    b->list0 = PyList_GET_SIZE(reg_list(b));
    return problem_intattr(p, kind->count_attrib, &b->first);
}

int
reg_batch_flush(reg_batch *b)
{
    const reg_kind *k = b->kind;
    problem_s *p = b->p;
    int n = (int)b->n, added = 0, ret = -1, i;

    if (n == 0)
        return 0;
    if (k->send(b, &added) == 0) {
        if (k->committed != NULL)
            k->committed(p, b->list0);
        ret = 0;
        goto done;
    }
    if (!PyErr_Occurred())
        setQndaErrIfNull((PyObject *)p, NULL);
    if (added) {
        PyObject *et, *ev, *tb;
        int *del = NULL;
        PyErr_Fetch(&et, &ev, &tb);
        if (qarr_realloc(&del, (size_t)n * sizeof(int)) == 0) {
            for (i = 0; i < n; i++)
                del[i] = b->first + i;
            k->drop(p->prob, n, del);
        }
        qarr_free(&del);
        PyErr_Restore(et, ev, tb);
    }
    reg_rollback(reg_list(b), *(void **)((char *)p + k->map_offset), b->list0, k->idof);
done:
    b->first += ret == 0 ? n : 0;
    b->list0 = PyList_GET_SIZE(reg_list(b));
    b->n = 0;
    b->names.len = 0;
    k->reset(b);
    return ret;
}

void
reg_batch_flush_after_error(reg_batch *b)
{
    PyObject *et, *ev, *tb;
    PyErr_Fetch(&et, &ev, &tb);
    if (reg_batch_flush(b) != 0)
        PyErr_Clear();
    PyErr_Restore(et, ev, tb);
}

void
reg_batch_release(reg_batch *b)
{
    if (b->kind != NULL)
        b->kind->release(b);
    qarr_free(&b->names.buf);
}

PyObject *
reg_batch_add(PyObject *self, PyObject *args, const reg_kind *kind)
{
    problem_s *p = (problem_s *)self;
    reg_batch *b;
    reg_walker w;
    PyObject *res = NULL;

    if (reg_check_problem(p) != 0)
        return NULL;
    b = (reg_batch *)PyMem_Calloc(1, kind->size);
    if (b == NULL)
        return PyErr_NoMemory();
    if (reg_batch_begin(b, p, kind) != 0)
        goto done;
    w.type = kind->type;
    w.step = kind->step;
    w.ctx = b;
    if (reg_walk_args(&w, args) != 0) {
        reg_batch_flush_after_error(b);
        goto done;
    }
    if (reg_batch_flush(b) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    reg_batch_release(b);
    PyMem_Free(b);
    return quenda_result(self, res);
}
