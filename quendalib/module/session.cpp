/* The library session.
 *
 * The module keeps one process-wide record, qnda_py_env.  The library
 * session proper opens lazily: at import the libraries are started only to
 * read their lists of controls and attributes and are freed again, so the
 * session is closed after import.  turnQNDAon opens it at the first
 * operation that needs the library (a problem, the banner, ...), quenda.free()
 * closes it, and the next operation opens it again.  The library counts its
 * own initialisations, so a forced start (quenda.init()) simply starts again.
 */
#include "module/session.h"

#include "qnda.h"
#include "qslp.h"

#include <string.h>

qnda_py_env_t qnda_py_env;
PyObject *quenda_ModelError;
PyObject *quenda_InterfaceError;
PyObject *quenda_SolverError;
int quenda_env_busy;
int quenda_desc_busy;
int (*quenda_session_open_hook)(void);

int
turnQNDAon(int force)
{
    int rc;

    if (!force && qnda_py_env.initialized)
        return 0;

    rc = QNDAinit(NULL);
    if (rc != 0) {
        char msg[QNDA_MAXMESSAGELENGTH] = {0};
        int code = 0;
        QNDA_ge_getlasterror(&code, msg, sizeof msg, NULL);
        PyErr_SetString(PyExc_RuntimeError,
                        msg[0] ? msg : "Error initializing optimization environment");
        return rc;
    }
    qnda_py_env.initialized = 1;

    if (qnda_py_env.slp_state != 0) {
        if (QSLPinit() == 0) {
            qnda_py_env.slp_state = 1;
        } else {
            /* The main library is usable without the nonlinear one: say so
             * and go on rather than failing the caller. */
            PyErr_SetString(PyExc_RuntimeError, "Error initializing QSLP environment");
            PyErr_WriteUnraisable(NULL);
        }
    }

    QNDAenablemessages(1);

    if (quenda_session_open_hook != NULL && qnda_py_env.attr_desc != NULL &&
        PyDict_Size(qnda_py_env.attr_desc) == 0) {
        if (quenda_session_open_hook() != 0)
            return -1;
    }
    return 0;
}

int
turnQNDAoff(int force)
{
    if (!force && !qnda_py_env.initialized)
        return 0;

    if (qnda_py_env.slp_state != 0 && QSLPfree() != 0) {
        setQndaErrIfNull(NULL, NULL);
        return -1;
    }
    if (QNDAfree() != 0) {
        setQndaErrIfNull(NULL, NULL);
        return -1;
    }
    qnda_py_env.initialized = 0;
    return 0;
}

/* ------------------------------------------------------------------ */
/* Module functions                                                     */

/* quenda.init() and quenda.free(): a forced start or end of the session. */
static PyObject *
session_switch(int (*turn)(int))
{
    PyObject *res = NULL;
    if (turn(1) == 0)
        res = Py_NewRef(Py_None);
    return quenda_result(NULL, res);
}

PyObject *
quendamod_init(PyObject *self, PyObject *noargs)
{
    return session_switch(turnQNDAon);
}

PyObject *
quendamod_free(PyObject *self, PyObject *noargs)
{
    return session_switch(turnQNDAoff);
}

/* A string the library writes into a buffer of maxlen + 1 bytes, read in an
 * open session.  New reference, or NULL with an exception set. */
static PyObject *
session_string(int (*get)(char *), int maxlen)
{
    char buf[QNDA_MAXBANNERLENGTH > QNDA_MAXVERSIONLENGTH ? QNDA_MAXBANNERLENGTH + 1
                                                          : QNDA_MAXVERSIONLENGTH + 1] = {0};
    PyObject *res = NULL;

    if (turnQNDAon(0) == 0 && get(buf) == 0) {
        buf[maxlen] = '\0';
        res = PyUnicode_FromString(buf);
    }
    return quenda_result(NULL, res);
}

/* Arguments are accepted and ignored. */
PyObject *
quendamod_getbanner(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return session_string(QNDAgetbanner, QNDA_MAXBANNERLENGTH);
}

PyObject *
quendamod_getversion(PyObject *self, PyObject *noargs)
{
    return session_string(QNDAgetversion, QNDA_MAXVERSIONLENGTH);
}

PyObject *
quendamod_setcheckedmode(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"checked_mode", NULL};
    PyObject *mode = NULL, *res = NULL;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O", (char **)kwlist, &mode))
        goto done;
    if (turnQNDAon(0) != 0)
        goto done;
    /* Identity with True, not truth: the integer 1 switches checking off. */
    if (QNDAsetcheckedmode(mode == Py_True ? 1 : 0) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    return quenda_result(NULL, res);
}

PyObject *
quendamod_getcheckedmode(PyObject *self, PyObject *noargs)
{
    int checked = 0;
    PyObject *res = NULL;

    if (turnQNDAon(0) != 0)
        goto done;
    if (QNDAgetcheckedmode(&checked) != 0)
        goto done;
    res = PyBool_FromLong(checked);
done:
    return quenda_result(NULL, res);
}
