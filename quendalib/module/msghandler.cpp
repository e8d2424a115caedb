/* Module-level message handlers: Python functions that receive every log
 * line of the library, whatever problem wrote it.
 *
 * Each registration is a two-item list [callback, data] kept in the session
 * record's handler list; the list item's address is the user data given to
 * the library with the one trampoline, wrapper_msghandler, so the entry
 * lives as long as its registration.  The library may log from its own
 * threads, so the trampoline takes the interpreter lock itself.  An
 * exception raised by a handler is reported as unraisable (it cannot
 * travel back through the library) and cleared. */
#include "module/handles.h"
#include "module/session.h"

#include "qnda.h"

static void
wrapper_msghandler(QNDAprob prob, void *data, const char *msg, int len, int msgtype)
{
    PyGILState_STATE gil = PyGILState_Ensure();
    PyObject *entry = (PyObject *)data; /* borrowed from the handler list */
    PyObject *callback = NULL, *udata = NULL, *obj = NULL, *ptr = NULL, *args = NULL;
    PyObject *res = NULL;

    if (PyErr_Occurred())
        goto done; /* a pending exception must surface first */
    if (entry == NULL || !PyList_Check(entry) || PyList_GET_SIZE(entry) < 2) {
        PyErr_SetString(PyExc_RuntimeError,
                        "Incorrect general environment message handler detected");
        PyErr_WriteUnraisable(NULL);
        goto done;
    }
    Py_INCREF(entry); /* a handler may remove itself while it runs */
    callback = Py_NewRef(PyList_GET_ITEM(entry, 0));
    udata = Py_NewRef(PyList_GET_ITEM(entry, 1));

    obj = qndaobject_create((void *)prob);
    ptr = generic_create(data);
    if (obj == NULL || ptr == NULL)
        goto report;
    args = Py_BuildValue("(OOOsll)", obj, udata, ptr, msg, (long)len, (long)msgtype);
    if (args == NULL)
        goto report;
    res = PyObject_CallObject(callback, args);
report:
    if (res == NULL)
        PyErr_WriteUnraisable(callback);
    Py_XDECREF(res);
    Py_XDECREF(args);
    Py_XDECREF(obj);
    Py_XDECREF(ptr);
    Py_XDECREF(callback);
    Py_XDECREF(udata);
    Py_DECREF(entry);
done:
    PyGILState_Release(gil);
}

PyObject *
quendamod_addcbmsghandler(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"msghandler", "data", "priority", NULL};
    PyObject *callback = NULL, *data = NULL, *entry = NULL, *res = NULL;
    long priority = 0;
    int rc;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOl", (char **)kwlist, &callback, &data,
                                     &priority)) {
        PyErr_Clear();
        PyErr_SetString(PyExc_RuntimeError, "Incorrect arguments in addcbmsghandler. Must "
                                            "provide correct list of three arguments");
        goto done;
    }
    if (!PyCallable_Check(callback)) {
        PyErr_SetString(quenda_InterfaceError, "Cannot add callback");
        goto done;
    }
    entry = Py_BuildValue("[OO]", callback, data);
    if (entry == NULL)
        goto done;
    if (turnQNDAon(0) != 0)
        goto done;
    quenda_env_busy = 1;
    rc = PyList_Append(qnda_py_env.msghandlers, entry);
    quenda_env_busy = 0;
    if (rc != 0)
        goto done;
    if (QNDA_ge_addcbmsghandler(wrapper_msghandler, entry, (int)priority) != 0) {
        /* Not registered: take the entry back out. */
        Py_ssize_t n = PyList_GET_SIZE(qnda_py_env.msghandlers);
        PyObject *et, *ev, *tb;
        PyErr_Fetch(&et, &ev, &tb);
        PyList_SetSlice(qnda_py_env.msghandlers, n - 1, n, NULL);
        PyErr_Restore(et, ev, tb);
        goto done;
    }
    res = Py_NewRef(Py_None);
done:
    Py_XDECREF(entry);
    return quenda_result(NULL, res);
}

/* Removes the entries whose callback and data are the very objects given
 * (None matches any), newest first.  Returns 0, -1 with an exception set. */
static int
msghandler_remove(PyObject *callback, PyObject *data, int unregister)
{
    PyObject *list = qnda_py_env.msghandlers;
    Py_ssize_t i;
    int found = 0;

    if (list == NULL)
        return 0;
    for (i = PyList_GET_SIZE(list) - 1; i >= 0; i--) {
        PyObject *entry = PyList_GET_ITEM(list, i); /* borrowed */
        if (!PyList_Check(entry) || PyList_GET_SIZE(entry) < 2) {
            PyErr_SetString(quenda_InterfaceError, "Incorrect data stored in callback");
            return -1;
        }
        if ((callback != Py_None && PyList_GET_ITEM(entry, 0) != callback) ||
            (data != Py_None && PyList_GET_ITEM(entry, 1) != data))
            continue;
        found = 1;
        if (unregister && QNDA_ge_removecbmsghandler(wrapper_msghandler, entry) != 0) {
            setQndaErrIfNull(NULL, NULL);
            return -1;
        }
        quenda_env_busy = 1;
        PyList_SetSlice(list, i, i + 1, NULL);
        quenda_env_busy = 0;
    }
    if (!found && callback != Py_None) {
        PyErr_SetString(quenda_InterfaceError, "Callback not found");
        return -1;
    }
    return 0;
}

PyObject *
quendamod_removecbmsghandler(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"msghandler", "data", NULL};
    PyObject *callback = NULL, *data = NULL, *res = NULL;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &callback, &data)) {
        PyErr_Clear();
        PyErr_SetString(PyExc_RuntimeError, "Incorrect arguments in removecbmsghandler. Must "
                                            "provide correct list of two arguments");
        goto done;
    }
    if (callback != Py_None && !PyCallable_Check(callback)) {
        PyErr_SetString(quenda_InterfaceError, "Cannot remove callback");
        goto done;
    }
    if (turnQNDAon(0) != 0)
        goto done;
    if (msghandler_remove(callback, data, 1) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    return quenda_result(NULL, res);
}

void
quenda_msghandlers_clear(void)
{
    PyObject *et, *ev, *tb;
    PyErr_Fetch(&et, &ev, &tb);
    if (qnda_py_env.msghandlers != NULL && PyList_GET_SIZE(qnda_py_env.msghandlers) > 0) {
        /* The library must forget our trampoline before the entries go. */
        if (qnda_py_env.initialized || turnQNDAon(0) == 0)
            QNDA_ge_removecbmsghandler(wrapper_msghandler, NULL);
        PyErr_Clear();
        PyList_SetSlice(qnda_py_env.msghandlers, 0, PyList_GET_SIZE(qnda_py_env.msghandlers), NULL);
    }
    PyErr_Restore(et, ev, tb);
}
