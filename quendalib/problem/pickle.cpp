/* Pickling.
 *
 * A problem travels as its model file (MPS, written and read by the
 * library), its controls, the bytes of its last results (solution, duals,
 * basis, statuses: QNDAsavesolvestate), its name, and the lists of its
 * variables, constraints and sets.  The lists carry the objects
 * themselves, so pickle's memo ties them to any other reference in the
 * same pickle: unpickling (p, x) gives an x2 that is p2's column, and
 * p2.getSolution(x2) answers.
 *
 * The reducers are registered with copyreg (types cannot be named for
 * pickle: their module prefix is not importable) and rebuild through the
 * module's _unpickle.  A variable travels by value; a constraint as its row
 * (name and bounds: the coefficients live in the problem's model), a set
 * by its name, as a model file gives them. */
#include "problem/pickle.h"

#include "algebra/constraint.h"
#include "algebra/maps.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "module/session.h"
#include "problem/files.h"
#include "problem/maps.h"
#include "problem/object.h"
#include "problem/solve.h"

#include "qnda.h"
#include "qslp.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

/* The callable that pickle stores by reference: quendalib._unpickle. */
static PyObject *
pickle_restorer(void)
{
    PyObject *mod = PyImport_ImportModule("quendalib");
    PyObject *fn = mod ? PyObject_GetAttrString(mod, "_unpickle") : NULL;
    Py_XDECREF(mod);
    return fn;
}

/* (quendalib._unpickle, (kind, args)); steals args.  NULL with an
 * exception. */
static PyObject *
pickle_reduction(const char *kind, PyObject *args)
{
    PyObject *fn = args ? pickle_restorer() : NULL;
    PyObject *res = fn ? Py_BuildValue("(O(sO))", fn, kind, args) : NULL;
    Py_XDECREF(fn);
    Py_XDECREF(args);
    return res;
}

/* ------------------------------------------------------------------ */
/* A temporary model file */

struct pickle_tmpfile {
    char path[4096];
    bool made = false;
    ~pickle_tmpfile()
    {
        if (made)
            unlink(path);
    }
    /* 0, or -1 with OSError. */
    int make()
    {
        const char *dir = getenv("TMPDIR");
        snprintf(path, sizeof path, "%s/quendalib-pickle-XXXXXX.mps", dir && *dir ? dir : "/tmp");
        int fd = mkstemps(path, 4);
        if (fd < 0) {
            PyErr_SetFromErrnoWithFilename(PyExc_OSError, path);
            return -1;
        }
        close(fd);
        made = true;
        return 0;
    }
};

/* The problem's model as the bytes of an MPS file.  New reference or NULL. */
static PyObject *
pickle_model_bytes(problem_s *p)
{
    pickle_tmpfile tmp;
    std::string data;
    int rc;

    if (tmp.make() < 0)
        return NULL;
    /* a nonlinear problem's file holds its nonlinear coefficients too */
    QSLPprob slp = problem_is_nonlinear(p) ? p->slpprob : NULL;
    Py_BEGIN_ALLOW_THREADS
    rc = slp != NULL ? QSLPwriteprob(slp, tmp.path, "") : QNDAwriteprob(p->prob, tmp.path, "");
    Py_END_ALLOW_THREADS
    if (rc != 0)
        return setQndaErrIfNull((PyObject *)p, NULL), (PyObject *)NULL;
    FILE *f = fopen(tmp.path, "rb");
    if (f == NULL)
        return PyErr_SetFromErrnoWithFilename(PyExc_OSError, tmp.path);
    char buf[65536];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, f)) > 0)
        data.append(buf, n);
    fclose(f);
    return PyBytes_FromStringAndSize(data.data(), (Py_ssize_t)data.size());
}

/* Reads the model of an MPS file's bytes into the problem (read(), which
 * rebuilds the registry).  0, or -1 with an exception. */
static int
pickle_read_model(PyObject *prob, PyObject *model)
{
    pickle_tmpfile tmp;
    char *data;
    Py_ssize_t len;

    if (PyBytes_AsStringAndSize(model, &data, &len) < 0 || tmp.make() < 0)
        return -1;
    FILE *f = fopen(tmp.path, "wb");
    if (f == NULL) {
        PyErr_SetFromErrnoWithFilename(PyExc_OSError, tmp.path);
        return -1;
    }
    size_t written = fwrite(data, 1, (size_t)len, f);
    if (fclose(f) != 0 || written != (size_t)len) {
        PyErr_SetFromErrnoWithFilename(PyExc_OSError, tmp.path);
        return -1;
    }
    PyObject *r = PyObject_CallMethod(prob, "read", "s", tmp.path);
    Py_XDECREF(r);
    return r ? 0 : -1;
}

/* The bytes of the problem's last results.  New reference or NULL. */
static PyObject *
pickle_results_bytes(problem_s *p)
{
    QNDAint64 n = 0;
    if (QNDAsavesolvestate(p->prob, NULL, 0, &n) != 0)
        return setQndaErrIfNull((PyObject *)p, NULL), (PyObject *)NULL;
    PyObject *res = PyBytes_FromStringAndSize(NULL, (Py_ssize_t)n);
    if (res != NULL && QNDAsavesolvestate(p->prob, PyBytes_AS_STRING(res), n, NULL) != 0) {
        Py_CLEAR(res);
        setQndaErrIfNull((PyObject *)p, NULL);
    }
    return res;
}

/* ------------------------------------------------------------------ */
/* Reducers */

static PyObject *
pickle_reduce_problem(PyObject *unused, PyObject *obj)
{
    problem_s *p = (problem_s *)obj;

    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Cannot pickle a problem that has been destroyed");
        return NULL;
    }
    if (!qnda_py_env.initialized) {
        PyErr_SetString(quenda_ModelError,
                        "Cannot pickle a problem whose library session has ended (quendalib.free)");
        return NULL;
    }
    if (problem_is_nonlinear(p) && p->userfuncs != NULL && PyDict_Size(p->userfuncs) > 0) {
        PyErr_SetString(quenda_ModelError,
                        "Nonlinear problems with user functions cannot be pickled: the model "
                        "file keeps a function's name, not its code");
        return NULL;
    }
    PyObject *items[8] = {PyObject_CallMethod(obj, "name", NULL),
                          pickle_model_bytes(p),
                          PyObject_CallMethod(obj, "getControl", NULL),
                          pickle_results_bytes(p),
                          PySequence_List(p->vars),
                          PySequence_List(p->cons),
                          PySequence_List(p->sos),
                          PyBool_FromLong(p->nl_obj != 0)};
    PyObject *state = NULL;
    bool ok = true;
    for (PyObject *o : items)
        ok = ok && o != NULL;
    if (ok)
        state = Py_BuildValue("{s:O,s:O,s:O,s:O,s:O,s:O,s:O,s:O}", "name", items[0], "model",
                              items[1], "controls", items[2], "results", items[3], "vars", items[4],
                              "cons", items[5], "sos", items[6], "nlobj", items[7]);
    for (PyObject *o : items)
        Py_XDECREF(o);
    return pickle_reduction("problem", state);
}

static PyObject *
pickle_reduce_var(PyObject *unused, PyObject *obj)
{
    var_object *v = (var_object *)obj;
    return pickle_reduction("var", Py_BuildValue("(Odddl)", v->name ? v->name : Py_None, v->lb,
                                                 v->ub, var_threshold(obj), (long)v->vartype));
}

static PyObject *
pickle_reduce_constraint(PyObject *unused, PyObject *obj)
{
    constraint_object *c = (constraint_object *)obj;
    return pickle_reduction("constraint",
                            Py_BuildValue("(Odd)", c->name ? c->name : Py_None, c->lb, c->ub));
}

static PyObject *
pickle_reduce_sos(PyObject *unused, PyObject *obj)
{
    sos_object *s = (sos_object *)obj;
    return pickle_reduction("sos", Py_BuildValue("(O)", s->name ? s->name : Py_None));
}

/* ------------------------------------------------------------------ */
/* Rebuilding */

static PyObject *
unpickle_var(PyObject *args)
{
    PyObject *name;
    double threshold;
    long vartype;
    var_object *v = (var_object *)var_new_bare();
    if (v == NULL ||
        !PyArg_ParseTuple(args, "Odddl", &name, &v->lb, &v->ub, &threshold, &vartype) ||
        var_set_threshold((PyObject *)v, threshold) < 0 ||
        var_set_vartype((PyObject *)v, vartype) < 0) {
        Py_XDECREF(v);
        return NULL;
    }
    Py_XSETREF(v->name, Py_NewRef(name));
    return (PyObject *)v;
}

static PyObject *
unpickle_constraint(PyObject *args)
{
    PyObject *name;
    double bounds[2];
    if (!PyArg_ParseTuple(args, "Odd", &name, &bounds[0], &bounds[1]))
        return NULL;
    PyObject *c = files_new_constraint(name);
    if (c != NULL)
        ((constraint_object *)c)->lb = bounds[0], ((constraint_object *)c)->ub = bounds[1];
    return c;
}

static PyObject *
unpickle_sos(PyObject *args)
{
    PyObject *name;
    if (!PyArg_ParseTuple(args, "O", &name))
        return NULL;
    return files_new_sos(name);
}

/* The identity of a registry object of kind T. */
template<class T>
static uint32_t
pickle_id(PyObject *o)
{
    return ((T *)o)->id;
}

struct pickle_kind {
    const char *key;    /* in the state */
    PyTypeObject *type; /* of its objects */
    uint32_t (*id)(PyObject *);
    PyObject *problem_s::*list;
    void *problem_s::*map;
};

static const pickle_kind pickle_kinds[3] =
    {{"vars", &quenda_varType, pickle_id<var_object>, &problem_s::vars, &problem_s::varmap},
     {"cons", &quenda_constraintType, pickle_id<constraint_object>, &problem_s::cons,
      &problem_s::conmap},
     {"sos", &quenda_SOSType, pickle_id<sos_object>, &problem_s::sos, &problem_s::sosmap}};

/* Puts the pickled objects in place of those read from the model file:
 * same counts, same types.  0, or -1 with ModelError. */
static int
unpickle_registry(problem_s *p, PyObject *state)
{
    PyObject *lists[3];
    for (int k = 0; k < 3; k++) {
        const pickle_kind &kind = pickle_kinds[k];
        lists[k] = PyDict_GetItemString(state, kind.key);
        if (lists[k] == NULL || !PyList_Check(lists[k]) ||
            PyList_GET_SIZE(lists[k]) != PyList_GET_SIZE(p->*kind.list)) {
            PyErr_Format(quenda_ModelError, "Pickled problem: its %s do not match its model",
                         kind.key);
            return -1;
        }
        for (Py_ssize_t i = 0; i < PyList_GET_SIZE(lists[k]); i++) {
            if (!PyObject_TypeCheck(PyList_GET_ITEM(lists[k], i), kind.type)) {
                PyErr_Format(quenda_ModelError, "Pickled problem: an item of its %s has type %s",
                             kind.key, Py_TYPE(PyList_GET_ITEM(lists[k], i))->tp_name);
                return -1;
            }
        }
    }
    problem_maps_clear(p);
    for (int k = 0; k < 3; k++) {
        const pickle_kind &kind = pickle_kinds[k];
        PyObject *copy = PySequence_List(lists[k]);
        if (copy == NULL)
            return -1;
        Py_SETREF(p->*kind.list, copy);
        for (Py_ssize_t i = 0; i < PyList_GET_SIZE(copy); i++) {
            if (rowcolmap_set((rowcolmap *)(p->*kind.map), kind.id(PyList_GET_ITEM(copy, i)),
                              (uint32_t)i) != 0) {
                PyErr_SetString(quenda_ModelError, "Could not create problem maps");
                return -1;
            }
        }
    }
    problem_varmap_changed();
    return 0;
}

/* A nonlinear objective comes back from the file as its transfer row and
 * column, the last of each, read as ordinary objects: they are the
 * objective's again.  0, or -1 with an exception. */
static int
unpickle_transfer(problem_s *p, PyObject *state)
{
    PyObject *nlobj = PyDict_GetItemString(state, "nlobj");
    Py_ssize_t nv = PyList_GET_SIZE(p->vars), nc = PyList_GET_SIZE(p->cons);
    if (nlobj == NULL || !PyObject_IsTrue(nlobj))
        return 0;
    if (nv == 0 || nc == 0 || p->n_nlcons < 1) {
        PyErr_SetString(quenda_ModelError,
                        "Pickled problem: its objective does not match its model");
        return -1;
    }
    if (PyList_SetSlice(p->vars, nv - 1, nv, NULL) != 0 ||
        PyList_SetSlice(p->cons, nc - 1, nc, NULL) != 0)
        return -1;
    p->obj_col = (int)nv - 1;
    p->obj_row = (int)nc - 1;
    p->nl_obj = 1;
    p->n_nlcons--;
    return 0;
}

/* Model, registry, controls and results of a fresh problem from the
 * state.  0, or -1 with an exception. */
static int
unpickle_fill(PyObject *prob, PyObject *state, PyObject *model, PyObject *controls,
              PyObject *results)
{
    problem_s *p = (problem_s *)prob;
    if (pickle_read_model(prob, model) < 0 || unpickle_transfer(p, state) < 0 ||
        unpickle_registry(p, state) < 0)
        return -1;
    PyObject *r = PyObject_CallMethod(prob, "setControl", "O", controls);
    if (r == NULL)
        return -1;
    Py_DECREF(r);
    /* Last: a control that changes the problem would drop the results. */
    if (QNDAloadsolvestate(p->prob, PyBytes_AS_STRING(results), PyBytes_GET_SIZE(results)) != 0)
        return setQndaErrIfNull(prob, NULL), -1;
    return 0;
}

static PyObject *
unpickle_problem(PyObject *state)
{
    PyObject *name, *model, *controls, *results;
    if (!PyDict_Check(state) || (name = PyDict_GetItemString(state, "name")) == NULL ||
        (model = PyDict_GetItemString(state, "model")) == NULL ||
        (controls = PyDict_GetItemString(state, "controls")) == NULL ||
        (results = PyDict_GetItemString(state, "results")) == NULL || !PyBytes_Check(results)) {
        PyErr_SetString(quenda_ModelError, "Pickled problem: its state is incomplete");
        return NULL;
    }
    PyObject *prob = PyObject_CallFunctionObjArgs((PyObject *)&quenda_problemType, name, NULL);
    if (prob != NULL && unpickle_fill(prob, state, model, controls, results) < 0)
        Py_CLEAR(prob);
    return prob;
}

PyObject *
problem_unpickle(PyObject *self, PyObject *args)
{
    const char *kind;
    PyObject *what;
    if (!PyArg_ParseTuple(args, "sO:_unpickle", &kind, &what))
        return NULL;
    if (strcmp(kind, "problem") == 0)
        return unpickle_problem(what);
    if (!PyTuple_Check(what)) {
        PyErr_SetString(PyExc_TypeError, "_unpickle: the arguments must be a tuple");
        return NULL;
    }
    if (strcmp(kind, "var") == 0)
        return unpickle_var(what);
    if (strcmp(kind, "constraint") == 0)
        return unpickle_constraint(what);
    if (strcmp(kind, "sos") == 0)
        return unpickle_sos(what);
    PyErr_Format(PyExc_ValueError, "_unpickle: unknown kind '%s'", kind);
    return NULL;
}

/* ------------------------------------------------------------------ */

static PyMethodDef pickle_reducers[] = {
    {"_reduce_problem", pickle_reduce_problem, METH_O, NULL},
    {"_reduce_var", pickle_reduce_var, METH_O, NULL},
    {"_reduce_constraint", pickle_reduce_constraint, METH_O, NULL},
    {"_reduce_sos", pickle_reduce_sos, METH_O, NULL},
};

int
problem_pickle_init(void)
{
    PyTypeObject *types[] = {&quenda_problemType, &quenda_varType, &quenda_constraintType,
                             &quenda_SOSType};
    PyObject *copyreg = PyImport_ImportModule("copyreg");
    PyObject *table = copyreg ? PyObject_GetAttrString(copyreg, "dispatch_table") : NULL;
    int rc = table ? 0 : -1;
    for (int k = 0; rc == 0 && k < 4; k++) {
        PyObject *fn = PyCFunction_New(&pickle_reducers[k], NULL);
        rc = fn ? PyObject_SetItem(table, (PyObject *)types[k], fn) : -1;
        Py_XDECREF(fn);
    }
    Py_XDECREF(table);
    Py_XDECREF(copyreg);
    return rc;
}
