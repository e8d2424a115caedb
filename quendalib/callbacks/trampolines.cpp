/* The trampolines: the library calls wrapper_<kind> with the entry
 * [problem, function, data, priority] as its user data, possibly on one of
 * its own threads.  Each takes the interpreter lock, builds a temporary
 * view of the problem bound to the handle of the event (so queries answer
 * for the node or solution at hand), calls the function, converts its
 * result for the library and releases everything again.
 *
 * A Python failure writes one line to standard error, moves the exception
 * to the session's callback-error slot (it surfaces when the optimisation
 * returns) and interrupts the optimisation with the user reason; every
 * later event is skipped, with an interrupt, while the exception waits. */
#include "callbacks/callbacks.h"

#include "api/api.h"

#include "callbacks/trampoline.h"

/* Points the view at the event: its handle, and the owner's lists, maps
 * and callback slots.  Only what changed is swapped, so an event on a view
 * already bound to its owner costs a handful of stores. */
static void
cb_view_bind(problem_s *v, problem_s *owner, QNDAprob prob)
{
    v->prob = prob;
    if (v->vars != owner->vars)
        Py_XSETREF(v->vars, Py_XNewRef(owner->vars));
    if (v->cons != owner->cons)
        Py_XSETREF(v->cons, Py_XNewRef(owner->cons));
    if (v->sos != owner->sos)
        Py_XSETREF(v->sos, Py_XNewRef(owner->sos));
    if (v->userfuncs != owner->userfuncs)
        Py_XSETREF(v->userfuncs, Py_XNewRef(owner->userfuncs));
    v->varmap = owner->varmap; /* borrowed: cleared before the view goes idle */
    v->conmap = owner->conmap;
    v->sosmap = owner->sosmap;
    v->nlp_index = owner->nlp_index;
    v->n_nlcons = owner->n_nlcons;
    v->nl_obj = owner->nl_obj;
    v->obj_col = owner->obj_col;
    v->obj_row = owner->obj_row;
    for (int k = 0; k < QUENDA_NCALLBACKS; k++)
        v->callback[k] = Py_XNewRef(owner->callback[k]);
}

/* A new view of owner for the event: a bare problem with its own control
 * and attribute objects.  New reference, or NULL. */
static PyObject *
cb_view_new(problem_s *owner, QNDAprob prob)
{
    problem_s *v = (problem_s *)problem_alloc();
    if (v == NULL)
        return NULL;
    v->is_view = 1;
    cb_view_bind(v, owner, prob);
    v->ctrl = ctrl_base((PyObject *)v);
    v->attr = v->ctrl != NULL ? attr_base((PyObject *)v) : NULL;
    if (v->attr == NULL)
        Py_CLEAR(v);
    return (PyObject *)v;
}

/* Unbinds the view from the event without touching what it borrowed: a
 * view the function kept is an empty shell afterwards. */
static void
cb_view_unbind(PyObject *view)
{
    problem_s *v = (problem_s *)view;
    v->prob = NULL;
    v->slpprob = NULL;
    v->varmap = v->conmap = v->sosmap = NULL;
    for (int k = 0; k < QUENDA_NCALLBACKS; k++)
        Py_CLEAR(v->callback[k]); /* the slot only: the entries are the owner's */
}

/* The view of an event.  A problem keeps one view between events
 * (owner->cbview) and each event re-binds it; a fresh one is made when
 * there is none yet, or when an outer event (a callback whose library call
 * logged a message) is still using it.  New reference, or NULL. */
static PyObject *
cb_view_get(problem_s *owner, QNDAprob prob)
{
    PyObject *kept = owner->cbview, *v;
    if (kept != NULL && Py_REFCNT(kept) == 1) {
        cb_view_bind((problem_s *)kept, owner, prob);
        return Py_NewRef(kept);
    }
    v = cb_view_new(owner, prob);
    if (v != NULL && kept == NULL)
        owner->cbview = Py_NewRef(v);
    return v;
}

/* Ends the event's use of the view.  One that the function kept is left to
 * it (an empty shell) and the problem makes another next time. */
static void
cb_view_release(problem_s *owner, PyObject *view)
{
    if (view == NULL)
        return;
    cb_view_unbind(view);
    if (owner != NULL && owner->cbview == view && Py_REFCNT(view) > 2)
        Py_CLEAR(owner->cbview);
    Py_DECREF(view);
}

void
cb_interrupt(cb_call *c)
{
    if (c->slp != NULL)
        QSLPinterrupt(c->slp, CB_STOP_USER);
    else if (c->prob != NULL)
        QNDAinterrupt(c->prob, CB_STOP_USER);
}

int
cb_setup_slp(cb_call *c, QNDAprob prob, QSLPprob slp, void *entry)
{
    PyObject *e = (PyObject *)entry, *owner;
    c->gil = PyGILState_Ensure();
    c->prob = prob;
    c->slp = slp;
    c->owner = c->view = c->func = c->data = NULL;
    if (quenda_cb_error_pending()) {
        quenda_cb_error_save();
        cb_interrupt(c);
        return -3;
    }
    if (e == NULL || !PyList_Check(e) || PyList_GET_SIZE(e) < 4 ||
        !PyWeakref_CheckRef(PyList_GET_ITEM(e, 0)))
        return -3;
    owner = PyWeakref_GetObject(PyList_GET_ITEM(e, 0)); /* borrowed */
    if (owner == NULL || owner == Py_None)
        return -3;
    c->owner = Py_NewRef(owner);
    c->func = Py_NewRef(PyList_GET_ITEM(e, 1));
    c->data = Py_NewRef(PyList_GET_ITEM(e, 2));
    c->view = cb_view_get((problem_s *)owner, prob);
    if (c->view == NULL) {
        quenda_cb_error_save();
        cb_interrupt(c);
        return -3;
    }
    ((problem_s *)c->view)->slpprob = slp;
    return 0;
}

/* Takes the lock and reads the entry.  0, or -3 when the event is skipped
 * (the lock is held either way; cb_outro releases it). */
static int
cb_setup(cb_call *c, QNDAprob prob, void *entry)
{
    return cb_setup_slp(c, prob, NULL, entry);
}

void
cb_outro(cb_call *c)
{
    cb_view_release((problem_s *)c->owner, c->view);
    Py_XDECREF(c->func);
    Py_XDECREF(c->data);
    Py_XDECREF(c->owner);
    PyGILState_Release(c->gil);
}

/* A failed Python call: the line on standard error, the exception kept,
 * the optimisation stopped.  name NULL gives the generic line. */
void
cb_failed(cb_call *c, const char *name)
{
    PyObject *t, *v, *tb;
    PyErr_Fetch(&t, &v, &tb); /* writing must not meet the raised exception */
    if (name == NULL)
        PySys_WriteStderr("Problem in callback, stopping optimization\n");
    else
        PySys_WriteStderr("Problem in %s() callback, stopping optimization\n", name);
    PyErr_Restore(t, v, tb);
    quenda_cb_error_save();
    cb_interrupt(c);
}

/* The integer of a result: an int (or NumPy integer), None as 0, anything
 * else -1. */
int
cb_int_result(PyObject *res)
{
    if (res == Py_None)
        return 0;
    if (PyLong_Check(res) || (PyIndex_Check(res) && !PyFloat_Check(res))) {
        Py_ssize_t v = PyNumber_AsSsize_t(res, NULL);
        if (v == -1 && PyErr_Occurred()) {
            PyErr_Clear();
            return -1;
        }
        return (int)v;
    }
    return -1;
}

/* Calls the function with (view, data) followed by the n objects of rest
 * (borrowed), without building a tuple; name as in cb_failed.  New
 * reference, or NULL after cb_failed. */
PyObject *
cb_call_function(cb_call *c, const char *name, PyObject *const *rest, size_t n)
{
    PyObject *stack[5] = {c->view, c->data, NULL, NULL, NULL};
    PyObject *res;
    for (size_t i = 0; i < n; i++)
        stack[2 + i] = rest[i];
    res = PyObject_Vectorcall(c->func, stack, 2 + n, NULL);
    if (res == NULL)
        cb_failed(c, name);
    return res;
}

PyObject *
cb_call_format(cb_call *c, const char *name, const char *fmt, ...)
{
    PyObject *args, *res;
    va_list ap;
    va_start(ap, fmt);
    args = Py_VaBuildValue(fmt, ap);
    va_end(ap);
    res = args != NULL ? PyObject_CallObject(c->func, args) : NULL;
    Py_XDECREF(args);
    if (res == NULL)
        cb_failed(c, name);
    return res;
}

/* As cb_call_function with rest built from new references (any NULL: the
 * call fails as the function would); they are released afterwards. */
static PyObject *
cb_call_built(cb_call *c, const char *name, PyObject **rest, size_t n)
{
    PyObject *res = NULL;
    size_t i;
    for (i = 0; i < n && rest[i] != NULL; i++)
        ;
    if (i == n)
        res = cb_call_function(c, name, rest, n);
    else
        cb_failed(c, name);
    for (i = 0; i < n; i++)
        Py_XDECREF(rest[i]);
    return res;
}

/* The kinds called with (view, data) only; *result gets the converted
 * int when result is not NULL. */
static void
common_wrapper(QNDAprob prob, void *entry, int *result, const char *name)
{
    cb_call c;
    if (cb_setup(&c, prob, entry) == 0) {
        PyObject *res = cb_call_function(&c, name, NULL, 0);
        if (res != NULL && result != NULL)
            *result = cb_int_result(res);
        Py_XDECREF(res);
    }
    cb_outro(&c);
}

static int
wrapper_log(QNDAprob prob, void *entry)
{
    int rc = 0;
    common_wrapper(prob, entry, &rc, NULL);
    return rc;
}

static void
wrapper_noresult(QNDAprob prob, void *entry)
{
    common_wrapper(prob, entry, NULL, NULL);
}

static void
wrapper_bariteration(QNDAprob prob, void *entry, int *action)
{
    common_wrapper(prob, entry, action, NULL);
}

static void
wrapper_optnode(QNDAprob prob, void *entry, int *infeas)
{
    common_wrapper(prob, entry, infeas, NULL);
}

static void
wrapper_message(QNDAprob prob, void *entry, const char *msg, int len, int msgtype)
{
    cb_call c;
    if (msg == NULL)
        return; /* a flush has no line to pass on */
    if (cb_setup(&c, prob, entry) == 0) {
        PyObject *rest[2] = {PyUnicode_FromString(msg), PyLong_FromLong(msgtype)};
        Py_XDECREF(cb_call_built(&c, "message", rest, 2));
    }
    cb_outro(&c);
}

static void
wrapper_usersolnotify(QNDAprob prob, void *entry, const char *solname, int status)
{
    cb_call c;
    if (cb_setup(&c, prob, entry) == 0) {
        PyObject *rest[2] = {PyUnicode_FromString(solname), PyLong_FromLong(status)};
        Py_XDECREF(cb_call_built(&c, "usersolnotify", rest, 2));
    }
    cb_outro(&c);
}

static void
wrapper_newnode(QNDAprob prob, void *entry, int parent, int node, int branch)
{
    cb_call c;
    if (cb_setup(&c, prob, entry) == 0) {
        PyObject *rest[3] = {PyLong_FromLong(parent), PyLong_FromLong(node),
                             PyLong_FromLong(branch)};
        Py_XDECREF(cb_call_built(&c, "newnode", rest, 3));
    }
    cb_outro(&c);
}

static void
wrapper_nodecutoff(QNDAprob prob, void *entry, int node)
{
    cb_call c;
    if (cb_setup(&c, prob, entry) == 0) {
        PyObject *rest[1] = {PyLong_FromLong(node)};
        Py_XDECREF(cb_call_built(&c, "nodecutoff", rest, 1));
    }
    cb_outro(&c);
}

/* True when o is None, an int or a float (for the tuples of preintsol and
 * gapnotify). */
static int
cb_number_or_none(PyObject *o)
{
    return o == Py_None || PyLong_Check(o) || PyFloat_Check(o) ||
           (PyIndex_Check(o) && !PyBool_Check(o));
}

static void
wrapper_preintsol(QNDAprob prob, void *entry, int soltype, int *reject, double *cutoff)
{
    cb_call c;
    PyObject *res = NULL;
    if (cb_setup(&c, prob, entry) == 0) {
        PyObject *rest[2] = {PyLong_FromLong(soltype), PyFloat_FromDouble(*cutoff)};
        res = cb_call_built(&c, "preintsol", rest, 2);
    }
    if (res != NULL) {
        PyObject *r = NULL, *co = NULL;
        int ok = PyTuple_Check(res) && PyTuple_GET_SIZE(res) == 2;
        if (ok) {
            r = PyTuple_GET_ITEM(res, 0);
            co = PyTuple_GET_ITEM(res, 1);
            ok = (r == Py_None || PyLong_Check(r) || (PyIndex_Check(r) && !PyFloat_Check(r))) &&
                 cb_number_or_none(co);
        }
        if (ok && r != Py_None) {
            long v = PyLong_AsLong(r);
            ok = !(v == -1 && PyErr_Occurred());
            if (ok)
                *reject = (int)v;
        }
        if (ok && co != Py_None) {
            double v = PyFloat_AsDouble(co);
            ok = !(v == -1.0 && PyErr_Occurred());
            if (ok)
                *cutoff = v;
        }
        if (!ok) {
            PyErr_Clear();
            PySys_WriteStderr("Problem in PreIntSol callback: must return tuple of two elements, "
                              "both being a number or None.\n");
            cb_interrupt(&c);
        }
        Py_DECREF(res);
    }
    cb_outro(&c);
}

static void
wrapper_gapnotify(QNDAprob prob, void *entry, double *relgap, double *absgap, double *obj,
                  double *bound)
{
    cb_call c;
    PyObject *res = NULL;
    double *out[4] = {relgap, absgap, obj, bound};
    if (cb_setup(&c, prob, entry) == 0)
        res = cb_call_function(&c, "gapnotify", NULL, 0);
    if (res != NULL) {
        int ok = PyTuple_Check(res) && PyTuple_GET_SIZE(res) == 4;
        for (int i = 0; ok && i < 4; i++)
            ok = cb_number_or_none(PyTuple_GET_ITEM(res, i));
        for (int i = 0; ok && i < 4; i++) {
            PyObject *o = PyTuple_GET_ITEM(res, i);
            double v;
            if (o == Py_None)
                continue;
            v = PyFloat_AsDouble(o);
            if (v == -1.0 && PyErr_Occurred())
                ok = 0;
            else
                *out[i] = v;
        }
        if (!ok) {
            PyErr_Clear();
            PySys_WriteStderr("Problem in GapNotify callback: must return tuple of four elements, "
                              "each being a number or None.\n");
            cb_interrupt(&c);
        }
        Py_DECREF(res);
    }
    cb_outro(&c);
}

static void
wrapper_chgbranchobject(QNDAprob prob, void *entry, QNDAbranchobject branch,
                        QNDAbranchobject *newbranch)
{
    cb_call c;
    PyObject *proposed = NULL, *res = NULL;
    if (cb_setup(&c, prob, entry) == 0) {
        proposed = branchobj_wrap(c.view, branch);
        if (proposed == NULL)
            cb_failed(&c, "chgbranchobject");
        else
            res = cb_call_function(&c, "chgbranchobject", &proposed, 1);
    }
    if (res != NULL) {
        if (!PyObject_TypeCheck(res, &quenda_branchobjType)) {
            PySys_WriteStderr("returned object from chgbranchobject() should be a branching "
                              "object\n");
            cb_interrupt(&c);
        } else {
            /* The library owns what it branches on from now on. */
            *newbranch = (QNDAbranchobject)branchobj_detach(res);
        }
        Py_DECREF(res);
    }
    if (proposed != NULL) {
        if (proposed != res)
            branchobj_detach(proposed); /* the library's own proposal is not ours to free */
        Py_DECREF(proposed);
    }
    cb_outro(&c);
}

/* The worker problem: a shell sharing the view's lists, maps and slots,
 * emptied after the call so that one kept by the function holds nothing. */
static void
wrapper_mipthread(QNDAprob prob, void *entry, QNDAprob threadprob)
{
    cb_call c;
    if (cb_setup(&c, prob, entry) == 0) {
        PyObject *worker = cb_view_new((problem_s *)c.view, threadprob);
        if (worker == NULL)
            cb_failed(&c, "mipthread");
        else
            Py_XDECREF(cb_call_function(&c, "mipthread", &worker, 1));
        cb_view_release(NULL, worker);
    }
    cb_outro(&c);
}

/* ------------------------------------------------------------------ */
/* The registrations with the library, one pair per kind. */

#define CB_PAIR(kind, fn, type)                                                                    \
    static int cb_add_##kind(QNDAprob p, void *entry, int priority)                                \
    {                                                                                              \
        return QNDAaddcb##kind(p, (type)fn, entry, priority);                                      \
    }                                                                                              \
    static int cb_remove_##kind(QNDAprob p, void *entry)                                           \
    {                                                                                              \
        return QNDAremovecb##kind(p, (type)fn, entry);                                             \
    }

CB_PAIR(bariteration, wrapper_bariteration, QNDAcb_bariteration)
CB_PAIR(barlog, wrapper_log, QNDAcb_barlog)
CB_PAIR(chgbranchobject, wrapper_chgbranchobject, QNDAcb_chgbranchobject)
CB_PAIR(cutlog, wrapper_log, QNDAcb_cutlog)
CB_PAIR(destroymt, wrapper_noresult, QNDAcb_destroymt)
CB_PAIR(gapnotify, wrapper_gapnotify, QNDAcb_gapnotify)
CB_PAIR(globallog, wrapper_log, QNDAcb_globallog)
CB_PAIR(infnode, wrapper_noresult, QNDAcb_infnode)
CB_PAIR(intsol, wrapper_noresult, QNDAcb_intsol)
CB_PAIR(lplog, wrapper_log, QNDAcb_lplog)
CB_PAIR(mipthread, wrapper_mipthread, QNDAcb_mipthread)
CB_PAIR(newnode, wrapper_newnode, QNDAcb_newnode)
CB_PAIR(nodecutoff, wrapper_nodecutoff, QNDAcb_nodecutoff)
CB_PAIR(optnode, wrapper_optnode, QNDAcb_optnode)
CB_PAIR(preintsol, wrapper_preintsol, QNDAcb_preintsol)
CB_PAIR(prenode, wrapper_optnode, QNDAcb_prenode)
CB_PAIR(usersolnotify, wrapper_usersolnotify, QNDAcb_usersolnotify)

static int
cb_add_message(QNDAprob p, void *entry, int priority)
{
    return QNDAaddcbmessage(p, wrapper_message, entry, priority);
}

static int
cb_remove_message(QNDAprob p, void *entry)
{
    return QNDAremovecbmessage(p, wrapper_message, entry);
}

#define CB_OPT(kind) {#kind, cb_add_##kind, cb_remove_##kind, NULL}
#define CB_SLP(kind) {#kind, NULL, NULL, cb_set_##kind}

const cb_kind cb_kinds[QUENDA_NCALLBACKS] =
    {CB_OPT(bariteration), CB_OPT(barlog), CB_OPT(chgbranchobject), CB_OPT(cutlog),
     CB_OPT(destroymt), CB_OPT(gapnotify), CB_OPT(globallog), CB_OPT(infnode), CB_OPT(intsol),
     CB_OPT(lplog), CB_OPT(message), CB_OPT(mipthread), CB_OPT(newnode), CB_OPT(nodecutoff),
     CB_OPT(optnode), CB_OPT(preintsol), CB_OPT(prenode), CB_OPT(usersolnotify),
     /* The nonlinear kinds: one slot each on the nonlinear handle
     * (slp_trampolines.cpp). */
     CB_SLP(cascadeend), CB_SLP(cascadestart), CB_SLP(cascadevar), CB_SLP(cascadevarfail),
     CB_SLP(coefevalerror), CB_SLP(construct), CB_SLP(destroy), CB_SLP(drcol), CB_SLP(formula),
     CB_SLP(iterend), CB_SLP(iterstart), CB_SLP(itervar), CB_SLP(msjobend), CB_SLP(msjobstart),
     CB_SLP(mswinner), CB_SLP(slpend), CB_SLP(slpnode), CB_SLP(slpstart)};
