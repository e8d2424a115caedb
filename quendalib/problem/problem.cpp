/* quenda.problem: creation, copying, reset, naming and destruction of a
 * problem and its library handles.
 *
 * A problem owns one main library handle and, when the nonlinear library
 * is in use, one nonlinear handle on it.  Both are made in an open session
 * and can only be destroyed in one, so destruction reopens a session that
 * quenda.free() closed and closes it again afterwards. */
#include "problem/problem.h"

#include <string.h>

#include "algebra/algebra.h"
#include "module/session.h"
#include "problem/attribute.h"
#include "problem/busy.h"
#include "problem/conbody.h"
#include "problem/control.h"
#include "problem/conv.h"
#include "problem/files.h"
#include "problem/objtransfer.h"
#include "problem/registry.h"
#include "problem/results.h"
#include "problem/solve.h"

#include <stddef.h>
#include <structmember.h>

/* Main-library integer control saved, zeroed around the initial empty load
 * and restored: with it zero an empty load keeps no free row. */
#define PROBLEM_CTRL_KEEPNROWS 8035
/* Nonlinear integer control set to 0 on every new nonlinear handle, so the
 * nonlinear problem is not filled from the (empty) main one. */
#define PROBLEM_SLP_AUTOINIT 12415
/* Integer attribute: length of the problem name. */
#define PROBLEM_ATTR_NAMELENGTH 1158

static void
problem_set_initial_fields(problem_s *p)
{
    p->nlp_index = -1;
    p->n_nlcons = 0;
    p->nl_obj = 0;
    p->obj_col = -1;
    p->obj_row = -1;
    p->obj_saved = NULL;
}

PyObject *
problem_alloc(void)
{
    problem_s *p = (problem_s *)quenda_problemType.tp_alloc(&quenda_problemType, 0);
    if (p == NULL)
        return NULL;
    problem_set_initial_fields(p);
    return (PyObject *)p;
}

PyObject *
problem_new(void)
{
    problem_s *p = (problem_s *)problem_alloc();
    if (p != NULL && problem_registry_empty(p) == 0 && (p->ctrl = ctrl_base((PyObject *)p)) != NULL)
        p->attr = attr_base((PyObject *)p);
    return p == NULL ? NULL : quenda_keep_if((PyObject *)p, p->attr != NULL);
}

/* Makes the main handle (and the nonlinear one when the library is in use)
 * in an open session.  0, or -1 with the library's error raised for the
 * global environment. */
static int
problem_create_handles(problem_s *p)
{
    int slp;

    if (QNDAcreateprob(&p->prob) != 0) {
        p->prob = NULL;
        setQndaErrIfNull(NULL, NULL);
        return -1;
    }
    quenda_env_busy = 1;
    slp = qnda_py_env.slp_state == 1;
    quenda_env_busy = 0;
    if (slp) {
        if (QSLPcreateprob(&p->slpprob, &p->prob) != 0) {
            p->slpprob = NULL;
            setQndaErrIfNull(NULL, NULL);
            return -1;
        }
        if (QSLPsetintcontrol(p->slpprob, PROBLEM_SLP_AUTOINIT, 0) != 0) {
            setQndaErrIfNull(NULL, NULL);
            return -1;
        }
    }
    return 0;
}

/* Destroys the handles; 0, or -1 with the library's error raised. */
static int
problem_destroy_handles(problem_s *p)
{
    int ret = 0;
    if (p->slpprob != NULL) {
        if (QSLPdestroyprob(p->slpprob) != 0) {
            setQndaErrIfNull((PyObject *)p, NULL);
            ret = -1;
        }
        p->slpprob = NULL;
    }
    if (p->prob != NULL) {
        if (ret == 0 && QNDAdestroyprob(p->prob) != 0) {
            setQndaErrIfNull((PyObject *)p, NULL);
            ret = -1;
        } else if (ret != 0) {
            QNDAdestroyprob(p->prob);
        }
        p->prob = NULL;
    }
    return ret;
}

static int
problem_init(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"name", NULL};
    problem_s *p = (problem_s *)self;
    const char *name = NULL;
    int keep = 0;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|s", (char **)kwlist, &name))
        return -1;
    if (p->prob != NULL) {
        PyErr_SetString(quenda_ModelError, "Problem already initialized");
        return -1;
    }
    if (problem_registry_empty(p) != 0)
        return -1;
    if (turnQNDAon(0) != 0)
        return -1;

    p->slpprob = NULL;
    problem_set_initial_fields(p);
    if (problem_create_handles(p) != 0)
        return -1;

    if (QNDAgetintcontrol(p->prob, PROBLEM_CTRL_KEEPNROWS, &keep) != 0 ||
        QNDAsetintcontrol(p->prob, PROBLEM_CTRL_KEEPNROWS, 0) != 0 ||
        QNDAloadlp(p->prob, name != NULL ? name : "noname", 0, 0, NULL, NULL, NULL, NULL, NULL,
                   NULL, NULL, NULL, NULL, NULL) != 0 ||
        QNDAsetintcontrol(p->prob, PROBLEM_CTRL_KEEPNROWS, keep) != 0) {
        setQndaErrIfNull(self, NULL);
        return -1;
    }

    Py_XSETREF(p->ctrl, ctrl_base(self));
    if (p->ctrl == NULL)
        return -1;
    Py_XSETREF(p->attr, attr_base(self));
    if (p->attr == NULL)
        return -1;
    return problem_apply_user_defaults(self);
}

/* Sets items first .. last-1 of every callback entry [problem, function,
 * data, priority] of the registry to None. */
static void
problem_entries_to_none(problem_s *p, Py_ssize_t first, Py_ssize_t last)
{
    for (int k = 0; k < QUENDA_NCALLBACKS; k++) {
        PyObject *lst = p->callback[k];
        if (lst == NULL || !PyList_Check(lst))
            continue;
        for (Py_ssize_t i = 0; i < PyList_GET_SIZE(lst); i++) {
            PyObject *entry = PyList_GET_ITEM(lst, i);
            for (Py_ssize_t j = first;
                 PyList_Check(entry) && j < last && j < PyList_GET_SIZE(entry); j++)
                PyList_SetItem(entry, j, Py_NewRef(Py_None));
        }
    }
}

/* Drops the registry's callback entries without telling the library (the
 * handles are going away).  Entries refer to their problem without a
 * reference; clearing that item keeps a stray entry from pointing at us. */
static void
problem_drop_callbacks(problem_s *p)
{
    problem_entries_to_none(p, 0, 1);
    for (int k = 0; k < QUENDA_NCALLBACKS; k++)
        Py_CLEAR(p->callback[k]);
}

/* A problem takes part in the collector's search for cycles: a callback,
 * user function or multistart job that refers to its own problem (a
 * closure, a bound method) closes a cycle through the registry. */
static int
problem_traverse(PyObject *self, visitproc visit, void *arg)
{
    problem_s *p = (problem_s *)self;
    Py_VISIT(p->vars);
    Py_VISIT(p->cons);
    Py_VISIT(p->sos);
    Py_VISIT(p->ctrl);
    Py_VISIT(p->attr);
    for (int k = 0; k < QUENDA_NCALLBACKS; k++)
        Py_VISIT(p->callback[k]);
    Py_VISIT(p->userfuncs);
    Py_VISIT(p->msjobs);
    Py_VISIT(p->cbview);
    return 0;
}

/* Breaks the cycles of an unreachable problem.  The callback entries stay
 * (the library holds them as user data until dealloc destroys the handles)
 * but let go of their function and data; user functions and multistart
 * jobs are left to their own clearing, as the nonlinear handle may still
 * name them. */
static int
problem_clear(PyObject *self)
{
    problem_s *p = (problem_s *)self;
    problem_entries_to_none(p, 1, 3);
    Py_CLEAR(p->cbview);
    return 0;
}

static void
problem_dealloc(PyObject *self)
{
    problem_s *p = (problem_s *)self;
    PyObject *et, *ev, *tb;

    PyObject_GC_UnTrack(self);
    PyErr_Fetch(&et, &ev, &tb); /* an exception in flight must survive us */
    if (p->weakreflist != NULL)
        PyObject_ClearWeakRefs(self);
    Py_CLEAR(p->cbview); /* unbound between events: it holds no handle */

    if (p->prob != NULL || p->slpprob != NULL) {
        int was_open = qnda_py_env.initialized;
        if (!was_open && turnQNDAon(0) != 0)
            PyErr_WriteUnraisable(self);
        /* constraints that outlive us take their bodies from our rows */
        conbody_from_rows(p, p->cons, NULL, 0);
        if (problem_destroy_handles(p) != 0)
            PyErr_WriteUnraisable(self);
        if (!was_open && turnQNDAoff(0) != 0)
            PyErr_WriteUnraisable(self);
    }
    problem_drop_callbacks(p);

    Py_CLEAR(p->ctrl);
    Py_CLEAR(p->attr);
    conbody_from_rows(p, p->cons, NULL, 0); /* no handle was left to read */
    Py_CLEAR(p->vars);
    Py_CLEAR(p->cons);
    Py_CLEAR(p->sos);
    Py_CLEAR(p->userfuncs);
    Py_CLEAR(p->msjobs);
    objtransfer_forget(p);
    problem_maps_free(p);
    Py_TYPE(self)->tp_free(self);
    PyErr_Restore(et, ev, tb);
}

/* ------------------------------------------------------------------ */
/* Methods                                                              */

static PyObject *
problem_name(PyObject *self, PyObject *noargs)
{
    problem_s *p = (problem_s *)self;
    void *buf = NULL; /* library allocator */
    int len = 0;
    PyObject *res = NULL;

    if (p->prob == NULL)
        goto done;
    if (QNDAgetintattrib(p->prob, PROBLEM_ATTR_NAMELENGTH, &len) != 0 || len < 0)
        goto done;
    if (qo_MemoryAllocator_Alloc_Untyped(qo_MemoryAllocator_DefaultHeap, (size_t)len + 1, &buf) !=
            0 ||
        buf == NULL) {
        PyErr_NoMemory();
        goto done;
    }
    if (QNDAgetprobname(p->prob, (char *)buf, len + 1, NULL) == 0) {
        ((char *)buf)[len] = '\0';
        res = PyUnicode_FromString((char *)buf);
    }
    qo_MemoryAllocator_Free_Untyped(qo_MemoryAllocator_DefaultHeap, &buf);
done:
    return quenda_result(self, res);
}

static PyObject *
problem_str(PyObject *self)
{
    return problem_name(self, NULL);
}

/* A shallow copy: the model is copied in the library, the modelling
 * objects are shared with the source. */
static PyObject *
problem_copy(PyObject *self, PyObject *noargs)
{
    problem_s *src = (problem_s *)self;
    problem_s *dst = NULL;
    PyObject *res = NULL;
    int k;

    if (src->prob == NULL)
        goto done;
    if (turnQNDAon(0) != 0)
        goto done;
    dst = (problem_s *)problem_new();
    if (dst == NULL)
        goto done;
    if (problem_create_handles(dst) != 0)
        goto done;
    if (problem_apply_user_defaults((PyObject *)dst) != 0)
        goto done;
    if (QNDAcopyprob(dst->prob, src->prob, "") != 0)
        goto done;
    if (dst->slpprob != NULL && src->slpprob != NULL &&
        QSLPcopyprob(dst->slpprob, src->slpprob, "") != 0)
        goto done;
    if (QNDAcopycontrols(dst->prob, src->prob) != 0)
        goto done;
    if (dst->slpprob != NULL && src->slpprob != NULL &&
        QSLPcopycontrols(dst->slpprob, src->slpprob) != 0)
        goto done;
    if (problem_maps_copy(dst, src) != 0)
        goto done;
    if (problem_copy_callbacks_hook != NULL && problem_copy_callbacks_hook(dst, src) != 0)
        goto done;
    /* the copied nonlinear problem holds the same user-function objects:
       the copy keeps them alive too, and stays nonlinear */
    if (src->userfuncs != NULL && (dst->userfuncs = PyDict_Copy(src->userfuncs)) == NULL)
        goto done;
    dst->n_nlcons = src->n_nlcons;
    dst->nl_obj = src->nl_obj;
    dst->obj_col = src->obj_col;
    dst->obj_row = src->obj_row;
    for (k = 0; k < 3; k++) {
        PyObject *from = k == 0 ? src->vars : k == 1 ? src->cons : src->sos;
        PyObject *to = k == 0 ? dst->vars : k == 1 ? dst->cons : dst->sos;
        if (from != NULL && PyList_SetSlice(to, 0, 0, from) != 0)
            goto done;
    }
    res = (PyObject *)dst;
    dst = NULL;
done:
    if (dst != NULL) {
        /* Keep the library's message: it is read from the source below. */
        PyObject *et, *ev, *tb;
        PyErr_Fetch(&et, &ev, &tb);
        Py_DECREF(dst);
        PyErr_Restore(et, ev, tb);
    }
    return quenda_result(self, res);
}

static PyObject *
problem_reset(PyObject *self, PyObject *noargs)
{
    problem_s *p = (problem_s *)self;
    PyObject *res = NULL;

    if (problem_registry_empty(p) != 0)
        goto done;
    if (p->prob == NULL) {
        if (problem_apply_user_defaults(self) != 0)
            goto done;
        res = Py_NewRef(Py_None);
        goto done;
    }
    if (turnQNDAon(0) != 0)
        goto done;
    if (problem_destroy_handles(p) != 0)
        goto done;
    Py_CLEAR(p->msjobs); /* the jobs went with the nonlinear handle */
    if (problem_create_handles(p) != 0)
        goto done;
    /* The user's defaults go on the new handles, not the old ones. */
    if (problem_apply_user_defaults(self) != 0)
        goto done;
    if (QNDAsetprobname(p->prob, "") != 0 || QNDAloadlp(p->prob, "", 0, 0, NULL, NULL, NULL, NULL,
                                                        NULL, NULL, NULL, NULL, NULL, NULL) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    return quenda_result(self, res);
}

static PyMethodDef problem_core_methods[] = {{"name", problem_name, METH_NOARGS,
                                              "Return the problem's name"},
                                             {NULL, NULL, 0, NULL}};

static PyMethodDef problem_ctrl_methods[] =
    {{"getAttrib", problem_getAttrib, METH_VARARGS,
      "getAttrib(): every attribute; getAttrib(name) its value; getAttrib(names) a dict"},
     {"getControl", problem_getControl, METH_VARARGS,
      "getControl(): every control; getControl(name) its value; getControl(names) a dict"},
     {"setControl", problem_setControl, METH_VARARGS,
      "setControl(name, value) or setControl({name: value, ...})"},
     {NULL, NULL, 0, NULL}};

static PyMethodDef problem_life_methods[] = {{"reset", problem_reset, METH_NOARGS,
                                              "Empty the problem, keeping its callbacks"},
                                             {"copy", problem_copy, METH_NOARGS,
                                              "Return a copy sharing the modelling objects"},
                                             {NULL, NULL, 0, NULL}};

/* The method table of the type, gathered from the files that implement the
 * problem's parts, modelling methods first, then the tables the layers above
 * (low-level API, callbacks, nonlinear) register at module init. */
#define PROBLEM_MAXMETHODS 1024
#define PROBLEM_MAXTABLES 32
static PyMethodDef problem_methods[PROBLEM_MAXMETHODS + 1];
static PyMethodDef *problem_extra_tables[PROBLEM_MAXTABLES];
static int problem_nextra = 0;

int (*problem_copy_callbacks_hook)(problem_s *dst, problem_s *src) = NULL;

int
problem_add_methods(PyMethodDef *table)
{
    if (problem_nextra == PROBLEM_MAXTABLES) {
        PyErr_SetString(PyExc_RuntimeError, "Too many problem method tables");
        return -1;
    }
    problem_extra_tables[problem_nextra++] = table;
    return 0;
}

static int
problem_append_methods(PyMethodDef *table, int *n)
{
    for (PyMethodDef *m = table; m->ml_name != NULL; m++) {
        if (*n == PROBLEM_MAXMETHODS) {
            PyErr_SetString(PyExc_RuntimeError, "Too many problem methods");
            return -1;
        }
        /* Two tables defining one name would hide a method silently. */
        for (int i = 0; i < *n; i++) {
            if (strcmp(problem_methods[i].ml_name, m->ml_name) == 0) {
                PyErr_Format(PyExc_RuntimeError, "Problem method %s defined twice", m->ml_name);
                return -1;
            }
        }
        problem_methods[(*n)++] = *m;
    }
    return 0;
}

int
problem_type_prepare(void)
{
    PyMethodDef *parts[] = {problem_core_methods, problem_registry_methods, problem_solve_methods,
                            problem_ctrl_methods, problem_results_methods,  problem_files_methods,
                            problem_life_methods, problem_conv_methods};
    int n = 0;

    for (PyMethodDef *part : parts) {
        if (problem_append_methods(part, &n) < 0)
            return -1;
    }
    for (int i = 0; i < problem_nextra; i++) {
        if (problem_append_methods(problem_extra_tables[i], &n) < 0)
            return -1;
    }
    problem_methods[n] = PyMethodDef{NULL, NULL, 0, NULL};
    /* readied here, not with the other types: the guard wraps the methods
     * of its dictionary */
    if (PyType_Ready(&quenda_problemType) < 0)
        return -1;
    return problem_guard_methods(&quenda_problemType);
}

/* The last error of a problem: the main library's, or the nonlinear
 * library's when the main one recorded none. */
static void
problem_lasterror(PyObject *owner, int *code, char *msg, int maxbytes)
{
    problem_s *p = (problem_s *)owner;
    if (p->prob != NULL)
        QNDAgetlasterror(p->prob, code, msg, maxbytes, NULL);
    msg[maxbytes - 1] = '\0';
    if (msg[0] == '\0' && qnda_py_env.slp_state != 0 && p->slpprob != NULL) {
        *code = 0;
        QSLPgetlasterror(p->slpprob, code, msg, maxbytes, NULL);
    }
}

static int
problem_fill_descriptions(void)
{
    return ctrl_attr_fill_typeobj(1);
}

int
problem_layer_init(void)
{
    quenda_session_open_hook = problem_fill_descriptions;
    algebra_ctor.constraint_row_body = conbody_from_row;
    return quenda_add_error_source(&quenda_problemType, problem_lasterror,
                                   "Unidentified error associated with optimization problem");
}

static PyMemberDef problem_members[] = {{(char *)"controls", T_OBJECT, offsetof(problem_s, ctrl),
                                         READONLY, (char *)"Problem's controls"},
                                        {(char *)"attributes", T_OBJECT, offsetof(problem_s, attr),
                                         READONLY, (char *)"Problem's attributes"},
                                        {NULL, 0, 0, 0, NULL}};

/* tp_methods is gathered by problem_type_prepare. */
PyTypeObject quenda_problemType =
    quenda_type_build("quenda.problem", sizeof(problem_s), Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC,
                      "An optimization problem: problem(name=None)", Py_tp_dealloc, problem_dealloc,
                      Py_tp_traverse, problem_traverse, Py_tp_clear, problem_clear, Py_tp_str,
                      problem_str, Py_tp_methods, problem_methods, Py_tp_members, problem_members,
                      Py_tp_init, problem_init, QUENDA_TP_WEAKLISTOFFSET,
                      offsetof(problem_s, weakreflist));
