/* A problem is busy while one of its methods runs.  solve() and read()
 * release the interpreter lock, and callbacks and message handlers run
 * Python code in the middle of a solve: without a guard another thread, or
 * the handler itself, could change the model under the engine.
 *
 * The guard is one place: after the type is readied, every method of the
 * problem's dictionary is replaced by a quenda.problem_method that wraps
 * it.  The wrapper marks the problem busy for the length of the call and
 * refuses, while it is busy,
 *   - every method from another thread (it fails at once: waiting could
 *     deadlock a thread that holds what the solve's callbacks need);
 *   - from the busy thread itself (a callback, a message handler, a value
 *     whose conversion runs Python code), every method that changes the
 *     problem; the queries (get*, write*, copy) keep working.
 * interrupt() is left unwrapped: stopping a solve from anywhere is its use. */
#include <Python.h>
#include <pythread.h>

#include <cstring>

#include "module/session.h"
#include "module/types.h"
#include "problem/object.h"

enum busy_kind { BUSY_CHANGE, BUSY_QUERY };

typedef struct {
    PyObject_HEAD
    PyObject *meth; /* owned: the method descriptor wrapped */
    const char *name;
    int kind;
    vectorcallfunc vectorcall;
} guarded_s;

static int
busy_kind_of(const char *name)
{
    /* Callbacks may read the problem and change its callback lists. */
    static const char *const query_prefixes[] = {"get",   "has",   "write",    "copy", "_",
                                                 "addcb", "setcb", "removecb", "name", "nlFormula"};
    for (const char *pre : query_prefixes) {
        if (strncmp(name, pre, strlen(pre)) == 0)
            return BUSY_QUERY;
    }
    return BUSY_CHANGE;
}

static int
busy_enter(problem_s *p, const char *name, int kind)
{
    unsigned long me = PyThread_get_thread_ident();
    if (p->busy > 0) {
        if (p->busy_thread != me) {
            PyErr_Format(quenda_ModelError,
                         "problem.%s: the problem is busy in %s() in another thread; "
                         "call it after that returns",
                         name, p->busy_method);
            return -1;
        }
        if (kind == BUSY_CHANGE) {
            PyErr_Format(quenda_ModelError,
                         "problem.%s: cannot change the problem while its %s() runs "
                         "(code it calls back may only query it)",
                         name, p->busy_method);
            return -1;
        }
    } else {
        p->busy_thread = me;
        p->busy_method = name;
    }
    p->busy++;
    return 0;
}

static PyObject *
guarded_vectorcall(PyObject *callable, PyObject *const *args, size_t nargsf, PyObject *kwnames)
{
    guarded_s *g = (guarded_s *)callable;
    Py_ssize_t nargs = PyVectorcall_NARGS(nargsf);
    problem_s *p;
    PyObject *res;

    /* An unbound call with no or a foreign self: the method's own check. */
    if (nargs < 1 || !PyObject_TypeCheck(args[0], &quenda_problemType))
        return PyObject_Vectorcall(g->meth, args, nargsf, kwnames);
    p = (problem_s *)args[0];
    if (busy_enter(p, g->name, g->kind) != 0)
        return NULL;
    Py_INCREF(p); /* the call may drop the caller's last reference */
    res = PyObject_Vectorcall(g->meth, args, nargsf, kwnames);
    p->busy--;
    Py_DECREF(p);
    return res;
}

static PyObject *
guarded_descr_get(PyObject *self, PyObject *obj, PyObject *type)
{
    (void)type;
    if (obj == NULL || obj == Py_None)
        return Py_NewRef(self);
    return PyMethod_New(self, obj);
}

/* help(), inspect and the stubs see the wrapped method. */
static PyObject *
guarded_getattro(PyObject *self, PyObject *name)
{
    static const char *const forwarded[] = {"__doc__", "__name__", "__qualname__",
                                            "__text_signature__", "__objclass__"};
    const char *s = PyUnicode_Check(name) ? PyUnicode_AsUTF8(name) : NULL;
    if (s != NULL) {
        for (const char *f : forwarded) {
            if (strcmp(s, f) == 0)
                return PyObject_GetAttr(((guarded_s *)self)->meth, name);
        }
        if (strcmp(s, "__wrapped__") == 0)
            return Py_NewRef(((guarded_s *)self)->meth);
    }
    PyErr_Clear();
    return PyObject_GenericGetAttr(self, name);
}

static PyObject *
guarded_repr(PyObject *self)
{
    return PyUnicode_FromFormat("<method '%s' of 'quenda.problem' objects>",
                                ((guarded_s *)self)->name);
}

static void
guarded_dealloc(PyObject *self)
{
    Py_XDECREF(((guarded_s *)self)->meth);
    Py_TYPE(self)->tp_free(self);
}

/* tp_descr_get, tp_call and the vectorcall offset, which the builder does
 * not take, are filled by problem_guard_methods. */
PyTypeObject quenda_guardedType =
    quenda_type_build("quenda.problem_method", sizeof(guarded_s),
                      Py_TPFLAGS_DEFAULT | Py_TPFLAGS_METHOD_DESCRIPTOR |
                          Py_TPFLAGS_HAVE_VECTORCALL,
                      "A method of quenda.problem, refused while the problem is busy",
                      Py_tp_dealloc, guarded_dealloc, Py_tp_repr, guarded_repr, Py_tp_getattro,
                      guarded_getattro);

/* Puts the method descriptor meth, of the type's dictionary dict, under the
 * guard.  0, or -1 with an exception set. */
static int
guard_one(PyObject *dict, PyObject *name, PyObject *meth)
{
    const char *s = ((PyMethodDescrObject *)meth)->d_method->ml_name;
    if (strcmp(s, "interrupt") == 0)
        return 0;
    guarded_s *g = PyObject_New(guarded_s, &quenda_guardedType);
    if (g == NULL)
        return -1;
    g->meth = Py_NewRef(meth);
    g->name = s;
    g->kind = busy_kind_of(s);
    g->vectorcall = guarded_vectorcall;
    int rc = PyDict_SetItem(dict, name, (PyObject *)g);
    Py_DECREF(g);
    return rc;
}

int
problem_guard_methods(PyTypeObject *type)
{
    Py_ssize_t pos = 0;
    PyObject *key, *value, *snapshot;
    int rc = 0;

    quenda_guardedType.tp_vectorcall_offset = offsetof(guarded_s, vectorcall);
    quenda_guardedType.tp_call = PyVectorcall_Call;
    quenda_guardedType.tp_descr_get = guarded_descr_get;
    if (PyType_Ready(&quenda_guardedType) < 0)
        return -1;
    /* walk a copy: the dictionary itself changes on the way */
    snapshot = PyDict_Copy(type->tp_dict);
    if (snapshot == NULL)
        return -1;
    while (rc == 0 && PyDict_Next(snapshot, &pos, &key, &value)) {
        if (Py_TYPE(value) == &PyMethodDescr_Type)
            rc = guard_one(type->tp_dict, key, value);
    }
    Py_DECREF(snapshot);
    PyType_Modified(type);
    return rc;
}
