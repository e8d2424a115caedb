/* The one place where a failure of the library becomes a Python exception.
 *
 * Every Python-facing function hands its result to setQndaErrIfNull before
 * returning it.  A NULL result must carry an exception: one already raised
 * by Python code (argument parsing, a conversion, a callback) wins;
 * otherwise the last error that the library recorded on the object the call
 * worked on is raised, as InterfaceError for the global environment and as
 * SolverError for a problem or a branching object. */
#include "module/session.h"

#include "qnda.h"

#include <string.h>

#define QUENDA_ERRBUF 512
#define QUENDA_MAXERRSOURCES 8

typedef struct {
    PyTypeObject *type;
    quenda_lasterror_fn lasterror;
    const char *unidentified;
} quenda_errsource;

static quenda_errsource quenda_errsources[QUENDA_MAXERRSOURCES];
static int quenda_nerrsources;

int
quenda_add_error_source(PyTypeObject *type, quenda_lasterror_fn lasterror, const char *unidentified)
{
    int k;
    for (k = 0; k < quenda_nerrsources; k++) {
        if (quenda_errsources[k].type == type)
            break;
    }
    if (k == QUENDA_MAXERRSOURCES) {
        PyErr_SetString(PyExc_RuntimeError, "Too many sources of library errors");
        return -1;
    }
    quenda_errsources[k].type = type;
    quenda_errsources[k].lasterror = lasterror;
    quenda_errsources[k].unidentified = unidentified;
    if (k == quenda_nerrsources)
        quenda_nerrsources++;
    return 0;
}

/* A library message may hold bytes of a file that are not UTF-8, or a
 * character cut at the buffer's end: they show escaped, never as a
 * UnicodeDecodeError in place of the library's error. */
static void
errors_raise(PyObject *type, const char *msg)
{
    PyObject *text = PyUnicode_DecodeUTF8(msg, (Py_ssize_t)strlen(msg), "backslashreplace");
    if (text == NULL)
        return;
    PyErr_SetObject(type, text);
    Py_DECREF(text);
}

void
setQndaErrIfNull(PyObject *owner, PyObject *result)
{
    char msg[QUENDA_ERRBUF] = {0};
    int code = 0, k;

    if (result != NULL || PyErr_Occurred())
        return;

    if (owner == NULL || PyModule_Check(owner)) {
        QNDA_ge_getlasterror(&code, msg, sizeof msg, NULL);
        msg[QUENDA_ERRBUF - 1] = '\0';
        if (code == 0 && msg[0] == '\0')
            strcpy(msg, "Unidentified error associated with the global environment");
        errors_raise(quenda_InterfaceError, msg);
        return;
    }
    for (k = 0; k < quenda_nerrsources; k++) {
        const quenda_errsource *src = &quenda_errsources[k];
        if (!PyObject_TypeCheck(owner, src->type))
            continue;
        src->lasterror(owner, &code, msg, sizeof msg);
        msg[QUENDA_ERRBUF - 1] = '\0';
        if (code == 0 && msg[0] == '\0')
            strcpy(msg, src->unidentified);
        errors_raise(quenda_SolverError, msg);
        return;
    }
    PyErr_SetString(quenda_InterfaceError, "");
}

PyObject *
quendamod_getlasterror(PyObject *self, PyObject *noargs)
{
    char msg[1024] = {0};
    int code = 0;
    PyObject *res = NULL;

    if (turnQNDAon(0) != 0)
        goto done;
    if (QNDA_ge_getlasterror(&code, msg, sizeof msg, NULL) != 0)
        goto done;
    msg[sizeof msg - 1] = '\0';
    res = Py_BuildValue("(iN)", code,
                        PyUnicode_DecodeUTF8(msg, (Py_ssize_t)strlen(msg), "backslashreplace"));
done:
    return quenda_result(NULL, res);
}

/* ------------------------------------------------------------------ */
/* The exception of a failed callback.  The library may call back on its
 * own threads, whose thread states end with the event, so the exception
 * is moved here and given back to the thread that ran the optimisation
 * when the call returns.  Only the first one is kept: every later event is
 * skipped while it waits. */

static PyObject *quenda_cb_type, *quenda_cb_value, *quenda_cb_tb; /* owned, or NULL */

void
quenda_cb_error_save(void)
{
    PyObject *t, *v, *tb;
    PyErr_Fetch(&t, &v, &tb);
    if (t == NULL)
        return;
    if (quenda_cb_type != NULL) {
        Py_XDECREF(t);
        Py_XDECREF(v);
        Py_XDECREF(tb);
        return;
    }
    quenda_cb_type = t;
    quenda_cb_value = v;
    quenda_cb_tb = tb;
}

int
quenda_cb_error_pending(void)
{
    return quenda_cb_type != NULL || PyErr_Occurred() != NULL;
}

int
quenda_cb_error_restore(void)
{
    if (quenda_cb_type == NULL)
        return PyErr_Occurred() != NULL;
    if (PyErr_Occurred()) {
        Py_CLEAR(quenda_cb_type);
        Py_CLEAR(quenda_cb_value);
        Py_CLEAR(quenda_cb_tb);
        return 1;
    }
    PyErr_Restore(quenda_cb_type, quenda_cb_value, quenda_cb_tb);
    quenda_cb_type = quenda_cb_value = quenda_cb_tb = NULL;
    return 1;
}
