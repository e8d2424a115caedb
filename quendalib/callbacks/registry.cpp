/* The callback registry of a problem: addcb<kind> / removecb<kind> for the
 * optimiser kinds, setcb<kind> for the nonlinear ones, copycallbacks, and
 * the copying of callbacks by problem.copy().
 *
 * Each slot of problem_s.callback is NULL or a list of entries
 * [problem, function, data, priority] in the order of registration.  The
 * entry is the user data the library hands back to the trampoline; its
 * first item refers to the problem weakly, so that the registry does not
 * keep its own problem alive, and is set to None when the entry goes. */
#include "callbacks/callbacks.h"

static int
cb_check_kind(int kind)
{
    if (kind < 0 || kind >= QUENDA_NCALLBACKS) {
        PyErr_SetString(quenda_InterfaceError, "Incorrect callback function");
        return -1;
    }
    return 0;
}

int
callbackInList(problem_s *p, int kind, PyObject *function, PyObject *data, long priority)
{
    PyObject *ref = NULL, *entry = NULL;
    int rc = -3;

    if (cb_check_kind(kind) != 0)
        return -3;
    if (p->callback[kind] == NULL && (p->callback[kind] = PyList_New(0)) == NULL)
        return -3;
    ref = PyWeakref_NewRef((PyObject *)p, NULL);
    if (ref == NULL)
        goto done;
    entry = Py_BuildValue("[OOOl]", ref, function, data, priority);
    if (entry == NULL || PyList_Append(p->callback[kind], entry) != 0)
        goto done;
    rc = 0;
    if (kind < CB_NKINDS_OPT && p->prob != NULL)
        rc = cb_kinds[kind].add(p->prob, entry, (int)priority);
    else if (kind >= CB_NKINDS_OPT && p->slpprob != NULL)
        rc = cb_kinds[kind].set(p->slpprob, entry);
    if (rc != 0)
        setQndaErrIfNull((PyObject *)p, NULL);
done:
    Py_XDECREF(ref);
    Py_XDECREF(entry);
    return rc;
}

int
removeCallback(problem_s *p, PyObject *function, PyObject *data, int kind, int unregister)
{
    PyObject *list;
    Py_ssize_t i;
    int found = 0;

    if (function == Py_None)
        function = NULL;
    if (data == Py_None)
        data = NULL;
    if (cb_check_kind(kind) != 0)
        return -3;
    list = p->callback[kind];
    if (list == NULL) {
        if (function == NULL)
            return 0;
        PyErr_SetString(quenda_InterfaceError, "Cannot remove callback from an empty set");
        return -3;
    }
    for (i = PyList_GET_SIZE(list) - 1; i >= 0; i--) {
        PyObject *entry = PyList_GET_ITEM(list, i); /* borrowed */
        if (!PyList_Check(entry) || PyList_GET_SIZE(entry) < 4) {
            PyErr_SetString(quenda_InterfaceError, "Incorrect data stored in callback");
            return -3;
        }
        if ((function != NULL && PyList_GET_ITEM(entry, 1) != function) ||
            (data != NULL && PyList_GET_ITEM(entry, 2) != data))
            continue;
        found = 1;
        if (unregister && kind < CB_NKINDS_OPT && p->prob != NULL) {
            int rc = cb_kinds[kind].remove(p->prob, entry);
            if (rc != 0) {
                setQndaErrIfNull((PyObject *)p, NULL);
                return rc;
            }
        }
        if (PyList_SetItem(entry, 0, Py_NewRef(Py_None)) != 0 ||
            PyList_SetSlice(list, i, i + 1, NULL) != 0)
            return -3;
    }
    if ((function == NULL && data == NULL) || PyList_GET_SIZE(list) == 0)
        Py_CLEAR(p->callback[kind]);
    /* A nonlinear kind's single slot follows the last entry left: the
     * library must never hold an entry that is gone. */
    if (found && kind >= CB_NKINDS_OPT && p->slpprob != NULL) {
        PyObject *rest = p->callback[kind];
        Py_ssize_t n = rest != NULL ? PyList_GET_SIZE(rest) : 0;
        if (cb_kinds[kind].set(p->slpprob, n > 0 ? PyList_GET_ITEM(rest, n - 1) : NULL) != 0) {
            setQndaErrIfNull((PyObject *)p, NULL);
            return -3;
        }
    }
    if (!found) {
        PyErr_SetString(quenda_InterfaceError, "Callback not found");
        return -3;
    }
    return 0;
}

/* ------------------------------------------------------------------ */
/* Problem methods                                                      */

/* None after a call that worked, else NULL with the exception raised. */
static PyObject *
cb_result(PyObject *self, int failed)
{
    return quenda_result(self, failed ? NULL : Py_NewRef(Py_None));
}

static PyObject *
cb_add(PyObject *self, PyObject *args, PyObject *kwargs, int kind)
{
    static const char *kwlist[] = {"callback", "data", "priority", NULL};
    PyObject *function = NULL, *data = Py_None;
    long priority = 0;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|Ol", (char **)kwlist, &function, &data,
                                     &priority))
        return cb_result(self, 1);
    if (!PyCallable_Check(function)) {
        PyErr_SetString(quenda_InterfaceError, "Cannot add callback");
        return cb_result(self, 1);
    }
    return cb_result(self, callbackInList((problem_s *)self, kind, function, data, priority));
}

static PyObject *
cb_remove(PyObject *self, PyObject *args, PyObject *kwargs, int kind)
{
    static const char *kwlist[] = {"callback", "data", NULL};
    PyObject *function = Py_None, *data = Py_None;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|OO", (char **)kwlist, &function, &data))
        return cb_result(self, 1);
    if (function != Py_None && !PyCallable_Check(function)) {
        PyErr_SetString(quenda_InterfaceError, "Cannot remove callback");
        return cb_result(self, 1);
    }
    return cb_result(self, removeCallback((problem_s *)self, function, data, kind, 1));
}

/* Copies every entry of src's slots to dst, registering each again. */
static int
cb_copy_all(problem_s *dst, problem_s *src)
{
    for (int k = 0; k < QUENDA_NCALLBACKS; k++) {
        PyObject *list = src->callback[k];
        if (list == NULL)
            continue;
        for (Py_ssize_t i = 0; i < PyList_GET_SIZE(list); i++) {
            PyObject *entry = PyList_GET_ITEM(list, i); /* borrowed */
            long priority;
            if (!PyList_Check(entry) || PyList_GET_SIZE(entry) < 4) {
                PyErr_SetString(quenda_InterfaceError, "Invalid callback to be copied");
                return -1;
            }
            priority = PyLong_AsLong(PyList_GET_ITEM(entry, 3));
            if (priority == -1 && PyErr_Occurred())
                return -1;
            if (callbackInList(dst, k, PyList_GET_ITEM(entry, 1), PyList_GET_ITEM(entry, 2),
                               priority) != 0)
                return -1;
        }
    }
    return 0;
}

static PyObject *
problem_copycallbacks(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"src", NULL};
    PyObject *src = NULL;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O", (char **)kwlist, &src))
        return cb_result(self, 1);
    if (!PyObject_TypeCheck(src, &quenda_problemType) || ((problem_s *)src)->prob == NULL ||
        ((problem_s *)self)->prob == NULL) {
        PyErr_SetString(quenda_InterfaceError,
                        "copycallbacks() must be called with the source problem as argument");
        return cb_result(self, 1);
    }
    return cb_result(self, cb_copy_all((problem_s *)self, (problem_s *)src));
}

/* One add and remove method per optimiser kind, one set method per
 * nonlinear kind: the method table needs a function for each. */
#define CB_OPT_METHODS(k, name)                                                                    \
    static PyObject *problem_addcb##name(PyObject *s, PyObject *a, PyObject *kw)                   \
    {                                                                                              \
        return cb_add(s, a, kw, k);                                                                \
    }                                                                                              \
    static PyObject *problem_removecb##name(PyObject *s, PyObject *a, PyObject *kw)                \
    {                                                                                              \
        return cb_remove(s, a, kw, k);                                                             \
    }
#define CB_SLP_METHODS(k, name)                                                                    \
    static PyObject *problem_setcb##name(PyObject *s, PyObject *a, PyObject *kw)                   \
    {                                                                                              \
        return cb_add(s, a, kw, k);                                                                \
    }

#define CB_OPT_KINDS(X)                                                                            \
    X(0, bariteration)                                                                             \
    X(1, barlog)                                                                                   \
    X(2, chgbranchobject)                                                                          \
    X(3, cutlog)                                                                                   \
    X(4, destroymt)                                                                                \
    X(5, gapnotify)                                                                                \
    X(6, globallog)                                                                                \
    X(7, infnode)                                                                                  \
    X(8, intsol)                                                                                   \
    X(9, lplog)                                                                                    \
    X(10, message)                                                                                 \
    X(11, mipthread)                                                                               \
    X(12, newnode)                                                                                 \
    X(13, nodecutoff)                                                                              \
    X(14, optnode)                                                                                 \
    X(15, preintsol)                                                                               \
    X(16, prenode)                                                                                 \
    X(17, usersolnotify)
#define CB_SLP_KINDS(X)                                                                            \
    X(18, cascadeend)                                                                              \
    X(19, cascadestart)                                                                            \
    X(20, cascadevar)                                                                              \
    X(21, cascadevarfail)                                                                          \
    X(22, coefevalerror)                                                                           \
    X(23, construct)                                                                               \
    X(24, destroy)                                                                                 \
    X(25, drcol)                                                                                   \
    X(26, formula)                                                                                 \
    X(27, iterend)                                                                                 \
    X(28, iterstart)                                                                               \
    X(29, itervar)                                                                                 \
    X(30, msjobend)                                                                                \
    X(31, msjobstart)                                                                              \
    X(32, mswinner)                                                                                \
    X(33, slpend)                                                                                  \
    X(34, slpnode)                                                                                 \
    X(35, slpstart)

CB_OPT_KINDS(CB_OPT_METHODS)
CB_SLP_KINDS(CB_SLP_METHODS)

#define KW (METH_VARARGS | METH_KEYWORDS)
#define KWFUNC(f) ((PyCFunction)(void (*)(void))(f))
#define CB_OPT_ROWS(k, name)                                                                       \
    {"addcb" #name, KWFUNC(problem_addcb##name), KW,                                               \
     "addcb" #name "(callback, data=None, priority=0): call callback at each " #name " event"},    \
        {"removecb" #name, KWFUNC(problem_removecb##name), KW,                                     \
         "removecb" #name "(callback=None, data=None): remove " #name " callbacks"},
#define CB_SLP_ROWS(k, name)                                                                       \
    {"setcb" #name, KWFUNC(problem_setcb##name), KW,                                               \
     "setcb" #name "(callback, data=None, priority=0): nonlinear " #name " callback"},

static PyMethodDef callbacks_methods[] =
    {CB_OPT_KINDS(CB_OPT_ROWS) CB_SLP_KINDS(
         CB_SLP_ROWS){"copycallbacks", KWFUNC(problem_copycallbacks), KW,
                      "copycallbacks(src): add every callback of problem src to this problem"},
     {NULL, NULL, 0, NULL}};

int
callbacks_init(void)
{
    problem_copy_callbacks_hook = cb_copy_all;
    return problem_add_methods(callbacks_methods);
}
