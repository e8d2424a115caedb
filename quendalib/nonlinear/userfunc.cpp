/* Python callables as user functions of the nonlinear library.
 *
 * Each problem keeps a dictionary callable -> (callable, index); the tuple
 * is what the library holds for the function, and the dictionary keeps it
 * alive.  The library calls back through one trampoline, possibly from a
 * thread of its own, so the trampoline takes the interpreter lock itself.
 * A Python exception raised by the callable stays set on the thread and
 * the solve is interrupted: the caller of solve() sees the exception. */
#include "nonlinear/convert.h"

#include "module/session.h"

#include "qslp.h"

#include <math.h>

/* Shared body of the two entry points: flags and partials NULL when no
 * derivatives are wanted. */
static double
uf_call(const double *inputs, const int *flags, double *partials, QSLPfuncctx ctx)
{
    PyGILState_STATE gil = PyGILState_Ensure();
    void *obj = NULL, *slp = NULL;
    int n = 0, index = 0;
    double value = NAN;
    PyObject *args = NULL, *res = NULL;

    if (PyErr_Occurred()) /* an earlier call failed: the solve is stopping */
        goto done;
    if (QSLPgetfuncinfo(ctx, &n, &index) != 0 ||
        QSLPgetfuncobject(ctx, QSLP_FUNCOBJ_SLPPROB, &slp) != 0 ||
        QSLPgetuserfuncobject((QSLPprob)slp, index, &obj) != 0 || obj == NULL) {
        PyErr_SetString(quenda_SolverError, "Could not reach the user function");
        goto fail;
    }
    if ((args = PyTuple_New(n)) == NULL)
        goto fail;
    for (int i = 0; i < n; i++) {
        PyObject *v = PyFloat_FromDouble(inputs[i]);
        if (v == NULL)
            goto fail;
        PyTuple_SET_ITEM(args, i, v);
    }
    res = PyObject_Call(PyTuple_GET_ITEM((PyObject *)obj, 0), args, NULL);
    if (res == NULL)
        goto fail;
    if (PyTuple_Check(res)) {
        if (PyTuple_GET_SIZE(res) < 1) {
            PyErr_SetString(quenda_ModelError, "A user function returned an empty tuple");
            goto fail;
        }
        value = PyFloat_AsDouble(PyTuple_GET_ITEM(res, 0));
        for (int i = 0; flags != NULL && i < n; i++) {
            if (!flags[i])
                continue;
            if (i + 1 >= PyTuple_GET_SIZE(res)) {
                PyErr_SetString(quenda_ModelError,
                                "A user function with derivatives returned too few partials");
                goto fail;
            }
            partials[i] = PyFloat_AsDouble(PyTuple_GET_ITEM(res, i + 1));
        }
    } else {
        if (flags != NULL) {
            PyErr_SetString(quenda_ModelError,
                            "A user function with derivatives must return a tuple (value, "
                            "partials...)");
            goto fail;
        }
        value = PyFloat_AsDouble(res);
    }
    if (PyErr_Occurred())
        goto fail;
    goto done;
fail:
    value = NAN;
    if (slp != NULL)
        QSLPinterrupt((QSLPprob)slp, QNDA_STOP_USER);
done:
    Py_XDECREF(args);
    Py_XDECREF(res);
    PyGILState_Release(gil);
    return value;
}

static double
uf_value(const double *inputs, QSLPfuncctx ctx)
{
    return uf_call(inputs, NULL, NULL, ctx);
}

static double
uf_deriv(const double *inputs, const int *flags, double *partials, QSLPfuncctx ctx)
{
    return uf_call(inputs, flags, partials, ctx);
}

static int
uf_fail(problem_s *p)
{
    setQndaErrIfNull((PyObject *)p, NULL);
    return -1;
}

int
register_userfunc(problem_s *p, PyObject *args, int derivatives, int *index)
{
    PyObject *f, *entry, *name;
    const char *fname = "user_function";
    int sname, slink, types[5];
    double values[5];

    if ((!PyTuple_Check(args) && !PyList_Check(args)) || PySequence_Fast_GET_SIZE(args) < 1 ||
        !PyCallable_Check(PySequence_Fast_GET_ITEM(args, 0))) {
        PyErr_SetString(quenda_ModelError,
                        "Invalid user function, must specify at least one argument (the user "
                        "function itself)");
        return -3;
    }
    f = PySequence_Fast_GET_ITEM(args, 0);
    if (p->userfuncs == NULL && (p->userfuncs = PyDict_New()) == NULL)
        return -3;
    entry = PyDict_GetItemWithError(p->userfuncs, f); /* borrowed */
    if (entry != NULL) {
        *index = (int)PyLong_AsLong(PyTuple_GET_ITEM(entry, 1));
        return 0;
    }
    if (PyErr_Occurred())
        return -3;
    *index = (int)PyDict_Size(p->userfuncs) + 1;
    name = PyObject_GetAttrString(f, "__name__");
    if (name != NULL && PyUnicode_Check(name)) {
        fname = PyUnicode_AsUTF8(name);
        if (fname == NULL) {
            PyErr_Clear();
            fname = "user_function";
        }
    }
    PyErr_Clear();
    if (QSLPsetstring(p->slpprob, &sname, fname) != 0 ||
        QSLPsetstring(p->slpprob, &slink, "DirectC") != 0) {
        Py_XDECREF(name);
        return uf_fail(p);
    }
    types[0] = QSLP_TOK_STRING, values[0] = sname;
    types[1] = QSLP_UFTOK_RETURNS, values[1] = 1.0;
    types[2] = QSLP_UFTOK_CALL;
    values[2] = derivatives ? QSLP_UFCALL_DERIVATIVES : QSLP_UFCALL_VALUE;
    types[3] = QSLP_TOK_STRING, values[3] = slink;
    types[4] = QSLP_TOK_EOF, values[4] = 0.0;
    if (QSLPadduserfuncs(p->slpprob, 1, types, values) != 0 ||
        QSLPaddnames(p->slpprob, QSLP_NAMES_USERFUNCS, fname, *index, *index) != 0 ||
        QSLPchguserfuncaddress(p->slpprob, *index,
                               derivatives ? (void *)uf_deriv : (void *)uf_value) != 0) {
        Py_XDECREF(name);
        return uf_fail(p);
    }
    Py_XDECREF(name);
    entry = Py_BuildValue("(Oi)", f, *index);
    if (entry == NULL || PyDict_SetItem(p->userfuncs, f, entry) != 0) {
        Py_XDECREF(entry);
        return -3;
    }
    Py_DECREF(entry); /* the dictionary keeps it for the library */
    if (QSLPsetuserfuncobject(p->slpprob, *index, entry) != 0)
        return uf_fail(p);
    return 0;
}
